// Background padding: overwrites everything of an image's window outside a care rectangle R
// with a smooth continuation of R's border, so later tools see no false edges at R's border.
//
// The rows above and below R continue R's top and bottom rows (extended to the window's width
// with their end values, then running-median filtered); the columns left and right of R take
// R's first and last column values of each row, running-median filtered along the column.
// Pixels inside R never change. The running median of a line of n pixels has half-width n / 4
// (integer); lines shorter than 4 pixels are not filtered.
#pragma once

#include "platform/core/pel_buffer.h"

// Pads `image` in place to `care` (which must lie inside the window: xstd_assert_).
void xf_OCBackgroundPadImage(xcPelBuffer<unsigned char>& image, const xcPelRect& care);
// Pads a private copy of the pixels and rebinds `image` to it; other handles to the old
// pixels see no change.
void xf_OCBackgroundPadImage(xcPelBuffer_const<unsigned char>& image, const xcPelRect& care);
// Pads image (and the mask, when it stays bound) to the care region of the mask intersected
// with `rect` (xf_OCWindowMaskCareRegion: the mask handle may be narrowed or unbound). Without
// a mask, pads to `rect`. ok is false when the mask has no care pixel: nothing is padded then.
// The image must be bound and contain `rect` (xstd_assert_).
void xf_OCBackgroundPadImage(xcPelBuffer<unsigned char>& image, xcPelBuffer<unsigned char>& mask,
                             unsigned char careValue, const xcPelRect& rect, bool& ok);
// The same on private copies: only the caller's handles change.
void xf_OCBackgroundPadImage(xcPelBuffer_const<unsigned char>& image,
                             xcPelBuffer_const<unsigned char>& mask, unsigned char careValue,
                             const xcPelRect& rect, bool& ok);

// The running-median filter of a line, in place (exposed for tests). A negative n, or a null
// line with n > 0, is a broken precondition (xstd_assert_).
void xf_OCRunningMedian(unsigned char* line, long n);
