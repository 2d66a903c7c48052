// Mark rectangle detection and character origins.
//
// The mark is the inked part of a character image's area. xf_DetectMarkRect_ thresholds the
// area automatically (within-group variance), takes the pixels on the mark side of the
// threshold (below it for dark marks, polarity 1; at or above it for light marks, polarity 2;
// polarity 4 decides from the area's border) and returns their bounding rectangle, pixel edges
// included, in the image's client coordinates. Mask pixels of 128 or more are cared for.
//
// The origin functions pick a character's origin in client coordinates, each falling back on
// the image area's lower-left corner (and returning false) when its rule cannot be applied.
#pragma once

#include "oc/defs/oc_defs.h"
#include "platform/core/pel_buffer.h"
#include "platform/core/rect.h"
#include "platform/core/vector.h"

// True when a mark was found; `out` is the default rectangle otherwise.
bool xf_DetectMarkRect_(const xcPelBuffer_const<unsigned char>& image, const xcPelRect& area,
                        const xcPelBuffer_const<unsigned char>& mask, bool blank,
                        xcOCDefs::Polarity polarity, xcRect& out);

// The centre of the area. Always true.
bool xf_computeOriginImageCenter_(const xcPelBuffer_const<unsigned char>& image,
                                  const xcPelRect& area,
                                  const xcPelBuffer_const<unsigned char>& mask, xcVector<2>& out);
// The area's lower-left corner. Always true.
bool xf_computeOriginImageLowerLeft_(const xcPelBuffer_const<unsigned char>& image,
                                     const xcPelRect& area,
                                     const xcPelBuffer_const<unsigned char>& mask,
                                     xcVector<2>& out);
// The lower-left corner of the detected mark (given, or detected now). True when the origin
// comes from a mark.
bool xf_computeOriginDetectedMarkLowerLeft_(const xcPelBuffer_const<unsigned char>& image,
                                            const xcPelRect& area,
                                            const xcPelBuffer_const<unsigned char>& mask,
                                            bool blank, bool hasDetected,
                                            const xcRect& detected, xcOCDefs::Polarity polarity,
                                            xcVector<2>& out);
// The lower-left corner of the specified mark; without one, the detected-mark rule (but the
// result is then false). True only when the origin comes from the specified mark.
bool xf_computeOriginSpecifiedMarkLowerLeft_(const xcPelBuffer_const<unsigned char>& image,
                                             const xcPelRect& area,
                                             const xcPelBuffer_const<unsigned char>& mask,
                                             bool blank, bool markSpecified,
                                             const xcRect& markRect, bool hasDetected,
                                             const xcRect& detected, xcOCDefs::Polarity polarity,
                                             xcVector<2>& out);
