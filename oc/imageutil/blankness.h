// Blankness score: how much structure the part of a target image under a character model's
// image area holds.
//
// The area is resampled (bilinear, with clipping) into the model's pixel grid, and the patch
// is correlated with its own centre (the patch less 2 pixels on each side) at the 5 x 5 shifts
// that keep the centre inside the patch. A structured patch decorrelates quickly under shifts
// and scores low; a smooth one stays correlated and scores high. The score is the mean of
// |1000 r| over the shifts, in 0 ... 1000; special cases: 1.0 when no pixel is cared for (or
// the patch is too small to shift), 0.0 for a patch whose grey variance is at most 1.0.
#pragma once

#include "oc/imageutil/affine_clipping.h"
#include "platform/core/pel_buffer.h"
#include "platform/core/xform.h"

// target / targetMask: the image scored (mask 255 = use, 0 = leave out; unbound for none).
// clientTransform maps the model's client coordinates into the target's client coordinates.
// modelArea is in the model image's pixel coordinates; modelMask (255 = use) may be unbound.
// Polls xcAttention::check() while correlating. A model area beyond the sampling limits of
// xfAffineTransformWithClipping (xcAffineClippingLimits: 2^24 pixels, 32767 on a side) is a
// broken precondition (xstd_assert_), as are that function's own; the memory taken follows
// the area and the target's size.
double xfScoreBlankness(const xcPelBuffer_const<unsigned char>& target,
                        const xcPelBuffer_const<unsigned char>& targetMask,
                        const xcXform<2>& clientTransform,
                        const xcPelBuffer_const<unsigned char>& modelImage,
                        const xcPelRect& modelArea,
                        const xcPelBuffer_const<unsigned char>& modelMask);
