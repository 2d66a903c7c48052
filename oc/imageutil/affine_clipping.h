// Resampling of a character image and its care mask through a sampling rectangle that may
// reach outside the image.
//
// Masks here: 255 marks a pixel to use, 0 a pixel to leave out. Where the rectangle reaches
// past the source, the source is first padded with its own median grey and the padding is
// marked 0 in the resampled mask, so later scores ignore it.
#pragma once

#include "platform/core/affine_sampling.h"
#include "platform/core/pel_buffer.h"

// The largest output xfAffineTransformWithClipping makes: 2^24 pixels (4096 x 4096, or any
// other shape of that area), each side at most 32767.
struct xcAffineClippingLimits {
    static constexpr long kMaxOutputPels = 1L << 24;
    static constexpr long kMaxOutputSide = 32767;
};

// Resamples `source` (and `sourceMask` when bound) through `params`, whose rectangle is in
// the source's client coordinates, into `outImage` and `outMask` (both must be unbound; they
// are assigned at the end). Without a source mask and without clipping no out mask is made.
// Broken preconditions (an out buffer already bound, a bound source mask whose window differs
// from the source's, an output beyond xcAffineClippingLimits) are reported through
// xstd_assert_. Memory: the output, and at most a copy of the source window grown by the
// 4-pixel clipping margin, however far the rectangle reaches past the source (samples beyond
// that margin read the padding's median grey, with mask 0, as the edge of the padded copy).
void xfAffineTransformWithClipping(const xcPelBuffer_const<unsigned char>& source,
                                   const xcPelBuffer_const<unsigned char>& sourceMask,
                                   const xcAffineSamplingParams& params,
                                   xcPelBuffer<unsigned char>& outImage,
                                   xcPelBuffer<unsigned char>& outMask);
