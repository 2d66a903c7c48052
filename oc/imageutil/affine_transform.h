// Rotation and scaling of a whole image (and optionally its mask) so that the entire source
// fits in the result.
//
// The source gets a 3-pixel border first: real pixels where the source is a window into a
// larger image, mirrored ones where the image ends. The result's client-from-image transform
// maps its pixels back onto the source's image coordinates (so a point of the result maps to
// where it was sampled in the source's pixel grid).
//
// The result mask is 255 where the sample came from outside the source window (or from a
// source-mask value of 128 or more) and 0 elsewhere.
#pragma once

#include "platform/core/angle.h"
#include "platform/core/pel_buffer.h"

// Turns the source by `angle` and scales it by `scale` (the output is `scale` times larger),
// resampling with `imageInterpolation` (0 nearest, 2 bilinear, 3 bicubic); the mask, with
// `maskInterpolation`, thresholded at 128. An output side below 0.5 or of 32767 or more
// before rounding is a broken precondition (xstd_assert_).
void xf_AffineTransform(const xcPelBuffer_const<unsigned char>& source,
                        const xcPelBuffer_const<unsigned char>& sourceMask, xcRadian angle,
                        double scale, xcPelBuffer<unsigned char>& outImage,
                        xcPelBuffer<unsigned char>& outMask, long imageInterpolation,
                        long maskInterpolation);

// The same without masks.
void xf_AffineTransform(const xcPelBuffer_const<unsigned char>& source, xcRadian angle,
                        double scale, xcPelBuffer<unsigned char>& outImage, long interpolation);
