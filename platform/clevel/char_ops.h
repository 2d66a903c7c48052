// Image operations of the C-level character record: the binarized image restricted to the mark
// rectangle, and storing a normalized image together with its threshold-and-invert setting.
//
// The binarized image of a record is its normalized image mapped through the threshold and
// invert: pixels below the threshold become 0 and the others 255, or the other way round with
// invert. A threshold of 0 therefore gives all 255 (without invert) and 256 all 0.
#pragma once

#include <cstdint>

#include "platform/clevel/char_record.h"
#include "platform/clevel/fixed_rect.h"
#include "platform/clevel/image_record.h"
#include "platform/clevel/status.h"

// Fills the constructed image record *result with the binarized image of *self viewed through
// the mark rectangle, releasing *result's previous reference. *self is not changed.
//
// 1. Without threshold and invert: xoc_eThresholdAndInvertNotSpecified.
// 2. The binarized image: the record's cached one when binarizedImageCached is set; otherwise
//    the normalized image binarized afresh (an unbound normalized image gives an unbound
//    result; a bound one with a threshold outside 0 to 256 gives xoc_eThresholdRange).
// 3. The mark rectangle r, in image coordinates: the first specified of the metrics' mark rect
//    image, detected mark rect image, mark rect and detected mark rect. None specified gives
//    xoc_eRectNotSpecified. The binarized image's client-from-image transform must then be
//    linear and invertible, whatever the type (xstd_eBadArgument otherwise). An image
//    rectangle is converted from fixed point; a client one has its upper-left, upper-right and
//    lower-left corners mapped into image coordinates as an affine rectangle, which is boxed.
//    Corners outside the signed 32-bit range give xoc_eIntegerOverflow. r is the pixel
//    rectangle enclosing the result (upper-left floored, lower-right = upper-left + size
//    ceiled) - the same rectangle as the character metrics' encloseRectImage on that image.
// 4. The result is the binarized image windowed to r intersected with its window, in the
//    binarized image's client frame; an unbound binarized image is returned unbound. A cached
//    binarized image is shared; a fresh one holds only the pixels of the result's window.
//
// On failure *result is unchanged. xstd_eBadArgument also for null pointers or inconsistent
// image records, xstd_eOutOfMemory when pixels cannot be allocated.
xstd_status xoc_char_getBinarizedImageMarkRect8(const xoc_char* self, ximg_image8Const* result);

// Stores `image` as the normalized image of *self, with the threshold-and-invert setting.
//
// 1. A threshold outside 0 to 256 gives xoc_eThresholdRange (whatever hasThresholdAndInvert).
// 2. An unbound image leaves the normalized image unbound. A bound one is copied: the copy
//    holds the pixels of rootCopyRect intersected with the image's root image, or of the
//    image's window when rootCopyRect is null (a null pointer or an empty rectangle), and is
//    windowed to the image's window with the image's client-from-image transform. A non-null
//    rootCopyRect that does not contain the window gives xstd_eBadArgument.
// 3. The binarized cache is dropped (flag 0, image unbound), the detected mark rect is
//    undetected (its flag cleared, its client rectangle zeroed; the image form is kept), and
//    hasThresholdAndInvert, threshold and invert are stored (the flags as 0 or 1).
//
// On failure *self is unchanged. xstd_eBadArgument also for null self or image and for an
// inconsistent image record, xstd_eOutOfMemory when pixels cannot be allocated.
xstd_status xoc_char_setNormalizedImageThresholdAndInvert8(
    xoc_char* self, const ximg_image8Const* image, std::int32_t hasThresholdAndInvert,
    std::int32_t threshold, std::int32_t invert, const xoc_rect32* rootCopyRect);
