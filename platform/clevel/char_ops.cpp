#include "platform/clevel/char_ops.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <new>

#include "platform/core/affine_rectangle.h"
#include "platform/core/exception.h"
#include "platform/core/pel_ops.h"

namespace {

using Buffer = xcPelBuffer_const<unsigned char>;

// True when v lies in the signed 32-bit range (false for NaN).
bool inInt32(double v) { return v >= -2147483648.0 && v <= 2147483647.0; }

// The pixel rectangle enclosing the real rectangle r (floor of the upper-left, ceiling of the
// lower-right corner ul + size), its corners range-checked first.
xstd_status encloseRect(const xcRect& r, xcPelRect& out) {
    const xcVector<2> ul = r.ul(), lr = r.lr();
    if (!inInt32(ul.x()) || !inInt32(ul.y()) || !inInt32(lr.x()) || !inInt32(lr.y()))
        return xoc_eIntegerOverflow;
    out = r.enclosePelRect();
    return xstd_eSuccess;
}

// The image rectangle of the first specified mark rectangle (see the header, step 3). It is
// computed exactly as the character metrics compute a rectangle's image rectangle on a
// buffer, so the two always agree: the buffer's transform must be linear and invertible
// whatever the type; an image rectangle is enclosed as it stands; a client rectangle's
// upper-left, upper-right and lower-left corners are mapped as an affine rectangle, whose
// bounding box is enclosed.
xstd_status markRectImage(const xoc_charMetrics& m, const Buffer& image, xcPelRect& out) {
    static constexpr xoc_charRectType kOrder[] = {xoc_eMarkRectImage, xoc_eDetectedMarkRectImage,
                                                  xoc_eMarkRect, xoc_eDetectedMarkRect};
    const std::uint32_t flags = m.specifiedRects;
    const auto found = std::find_if(std::begin(kOrder), std::end(kOrder),
                                    [&](xoc_charRectType t) { return (flags & t) != 0; });
    if (found == std::end(kOrder)) return xoc_eRectNotSpecified;
    if (!image.clientFromImageXformBase().isLinear()) return xstd_eBadArgument;
    const xcXform<2> clientFromImage = image.clientFromImageXform();
    if (!(std::isfinite(clientFromImage.det()) && clientFromImage.det() != 0.0))
        return xstd_eBadArgument;
    const xcXform<2> imageFromClient = clientFromImage.inverse();
    switch (*found) {
        case xoc_eMarkRectImage:
        case xoc_eDetectedMarkRectImage: {
            const xoc_rect32Fixed& f =
                *found == xoc_eMarkRectImage ? m.markRectImage : m.detectedMarkRectImage;
            xoc_rectD d{};
            if (const xstd_status s = xoc_rectDInitFromRect32Fixed_(&d, &f, m.fractionBits);
                xstd_failed(s))
                return s;
            return encloseRect(xcRect(d.x, d.y, d.width, d.height), out);
        }
        default: {
            const xoc_rectD& d = *found == xoc_eMarkRect ? m.markRect : m.detectedMarkRect;
            const xcRect r(d.x, d.y, d.width, d.height);
            return encloseRect(
                xcAffineRectangle(r.ul(), r.ur(), r.ll()).boundingBox(imageFromClient), out);
        }
    }
}

// The window of `source` binarized into a new buffer covering just that window, with the
// source's client-from-image transform.
Buffer binarize(const Buffer& source, int threshold, bool invert) {
    xcPelMapTable table;
    const unsigned char low = invert ? 255 : 0, high = invert ? 0 : 255;
    for (int v = 0; v < 256; ++v) table[static_cast<std::size_t>(v)] = v < threshold ? low : high;
    xcPelBuffer<unsigned char> out(source.window());
    out.clientFromImageXformBase(source.clientFromImageXformBasePtr());
    xfPelMap(source, out, table);
    return out;
}

// A copy of `image`'s pixels over `region` (inside its root), windowed to its window.
Buffer copyRegion(const Buffer& image, const xcPelRect& region) {
    Buffer source = image;
    source.setEntire();
    source.window(region);
    xcPelBuffer<unsigned char> out = xfPelCopy(source);  // keeps the transform
    out.window(image.window());
    return out;
}

}  // namespace

xstd_status xoc_char_getBinarizedImageMarkRect8(const xoc_char* self, ximg_image8Const* result) {
    if (!self || !result) return xstd_eBadArgument;
    if (!self->hasThresholdAndInvert) return xoc_eThresholdAndInvertNotSpecified;
    try {
        const bool cached = self->binarizedImageCached != 0;
        Buffer source;
        xstd_status s = ximg_imageConst_toPelBuffer_(
            cached ? &self->binarizedImage : &self->normalizedImage, &source);
        if (xstd_failed(s)) return s;
        if (!cached && source.isBound() && (self->threshold < 0 || self->threshold > 256))
            return xoc_eThresholdRange;
        xcPelRect r;
        s = markRectImage(self->metrics, source, r);
        if (xstd_failed(s)) return s;
        Buffer view;
        if (source.isBound()) {
            view = source;
            view.window(r, true);
            if (!cached) view = binarize(view, self->threshold, self->invert != 0);
        }
        return ximg_imageConst_bind_(result, view);
    } catch (const std::bad_alloc&) {
        return xstd_eOutOfMemory;
    } catch (const xcAssertionFailure&) {
        throw;
    } catch (const xcException&) {
        return xstd_eBadArgument;
    }
}

xstd_status xoc_char_setNormalizedImageThresholdAndInvert8(
    xoc_char* self, const ximg_image8Const* image, std::int32_t hasThresholdAndInvert,
    std::int32_t threshold, std::int32_t invert, const xoc_rect32* rootCopyRect) {
    if (!self || !image) return xstd_eBadArgument;
    if (threshold < 0 || threshold > 256) return xoc_eThresholdRange;
    ximg_image8Const fresh;
    ximg_imageConst_constructUnbound(&fresh);
    try {
        Buffer source;
        xstd_status s = ximg_imageConst_toPelBuffer_(image, &source);
        if (xstd_failed(s)) return s;
        Buffer stored;
        if (source.isBound()) {
            const xcPelRect w = source.window();
            const xcPelRect rootCopy = rootCopyRect
                                           ? xcPelRect(rootCopyRect->x, rootCopyRect->y,
                                                       rootCopyRect->width, rootCopyRect->height)
                                           : xcPelRect();
            if (!rootCopy.isNull() && !rootCopy.contains(w)) return xstd_eBadArgument;
            // An empty window keeps no pixels, whatever the root copy rectangle says.
            const xcPelRect region =
                rootCopy.isNull() || w.isNull() ? w : rootCopy.intersect(source.rootWindow());
            stored = copyRegion(source, region);
        }
        s = ximg_imageConst_bind_(&fresh, stored);
        if (xstd_failed(s)) return s;
    } catch (const std::bad_alloc&) {
        ximg_imageConst_destruct(&fresh);
        return xstd_eOutOfMemory;
    } catch (const xcAssertionFailure&) {
        ximg_imageConst_destruct(&fresh);
        throw;
    } catch (const xcException&) {
        ximg_imageConst_destruct(&fresh);
        return xstd_eBadArgument;
    }
    // Nothing can fail from here on.
    ximg_imageConst_destruct(&self->binarizedImage);
    self->binarizedImageCached = 0;
    ximg_imageConst_destruct(&self->normalizedImage);
    self->normalizedImage = fresh;
    self->metrics.specifiedRects &= ~static_cast<std::uint32_t>(xoc_eDetectedMarkRect);
    self->metrics.detectedMarkRect = xoc_rectD{};
    self->hasThresholdAndInvert = hasThresholdAndInvert != 0 ? 1 : 0;
    self->threshold = threshold;
    self->invert = invert != 0 ? 1 : 0;
    return xstd_eSuccess;
}
