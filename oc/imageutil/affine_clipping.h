// Resampling of a character image and its care mask through a sampling rectangle that may
// reach outside the image.
//
// Masks here: 255 marks a pixel to use, 0 a pixel to leave out. Where the rectangle reaches
// past the source, the source is first padded with its own median grey and the padding is
// marked 0 in the resampled mask, so later scores ignore it.
#pragma once

#include "platform/core/affine_sampling.h"
#include "platform/core/pel_buffer.h"

// Resamples `source` (and `sourceMask` when bound) through `params`, whose rectangle is in
// the source's client coordinates, into `outImage` and `outMask` (both must be unbound; they
// are assigned at the end). Without a source mask and without clipping no out mask is made.
// Broken preconditions (an out buffer already bound, a bound source mask whose window differs
// from the source's) are reported through xstd_assert_.
void xfAffineTransformWithClipping(const xcPelBuffer_const<unsigned char>& source,
                                   const xcPelBuffer_const<unsigned char>& sourceMask,
                                   const xcAffineSamplingParams& params,
                                   xcPelBuffer<unsigned char>& outImage,
                                   xcPelBuffer<unsigned char>& outMask);
