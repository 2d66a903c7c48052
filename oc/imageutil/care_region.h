// The tightest rectangle around the care pixels of a mask (value >= care value).
#pragma once

#include "platform/core/pel_buffer.h"

// Returns the rectangle (image coordinates) of the care pixels of `mask`'s window and sets ok:
//   - unbound mask: the null rectangle, ok true;
//   - no care pixel: the mask handle is unbound, ok false, the null rectangle;
//   - otherwise ok true; when a don't-care pixel lies inside the rectangle the mask handle is
//     narrowed to it, else the rectangle alone describes the care area and the handle is
//     unbound.
xcPelRect xf_OCWindowMaskCareRegion(xcPelBuffer_const<unsigned char>& mask,
                                    unsigned char careValue, bool& ok);
