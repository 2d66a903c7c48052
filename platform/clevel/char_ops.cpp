#include "platform/clevel/char_ops.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "platform/core/exception.h"
#include "platform/core/math_util.h"
#include "platform/core/pel_ops.h"

namespace {

using Buffer = xcPelBuffer_const<unsigned char>;

// True when v lies in the signed 32-bit range (false for NaN).
bool inInt32(double v) { return v >= -2147483648.0 && v <= 2147483647.0; }

// The pixel rectangle enclosing the real box (x0, y0) - (x1, y1), range-checked first.
xstd_status encloseBox(double x0, double y0, double x1, double y1, xcPelRect& out) {
    if (!inInt32(x0) || !inInt32(y0) || !inInt32(x1) || !inInt32(y1)) return xoc_eIntegerOverflow;
    const long left = xfIFloor(x0), top = xfIFloor(y0);
    out = xcPelRect(left, top, xfICeil(x1) - left, xfICeil(y1) - top);
    return xstd_eSuccess;
}

// The image rectangle of the first specified mark rectangle (see the header, step 3).
xstd_status markRectImage(const xoc_charMetrics& m, const Buffer& image, xcPelRect& out) {
    const std::uint32_t flags = m.specifiedRects;
    if (flags & (xoc_eMarkRectImage | xoc_eDetectedMarkRectImage)) {
        const xoc_rect32Fixed& f =
            (flags & xoc_eMarkRectImage) ? m.markRectImage : m.detectedMarkRectImage;
        xoc_rectD d{};
        if (const xstd_status s = xoc_rectDInitFromRect32Fixed_(&d, &f, m.fractionBits);
            xstd_failed(s))
            return s;
        return encloseBox(d.x, d.y, d.x + d.width, d.y + d.height, out);
    }
    if (!(flags & (xoc_eMarkRect | xoc_eDetectedMarkRect))) return xoc_eRectNotSpecified;
    const xoc_rectD& d = (flags & xoc_eMarkRect) ? m.markRect : m.detectedMarkRect;
    if (!image.clientFromImageXformBase().isLinear()) return xstd_eBadArgument;
    const xcXform<2> clientFromImage = image.clientFromImageXform();
    if (!(std::isfinite(clientFromImage.det()) && clientFromImage.det() != 0.0))
        return xstd_eBadArgument;
    const xcXform<2> imageFromClient = clientFromImage.inverse();
    const xcVector<2> ul(d.x, d.y), lr(d.x + d.width, d.y + d.height);
    const xcVector<2> corners[4] = {
        imageFromClient.mapPoint(ul), imageFromClient.mapPoint({lr.x(), ul.y()}),
        imageFromClient.mapPoint({ul.x(), lr.y()}), imageFromClient.mapPoint(lr)};
    double x0 = corners[0].x(), x1 = x0, y0 = corners[0].y(), y1 = y0;
    for (const xcVector<2>& c : corners) {
        x0 = std::min(x0, c.x());
        x1 = std::max(x1, c.x());
        y0 = std::min(y0, c.y());
        y1 = std::max(y1, c.y());
    }
    return encloseBox(x0, y0, x1, y1, out);
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
