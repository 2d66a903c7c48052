#include "platform/clevel/image_record.h"

#include <cstdint>
#include <limits>
#include <new>

// One counted reference on a root image: a buffer handle viewing the whole root, carrying the
// client-from-image transform. Copies of the handle share the root's reference count.
struct ximg_imageRef {
    xcPelBuffer_const<unsigned char> buffer;
};

namespace {

bool fits32(long v) {
    return v >= std::numeric_limits<std::int32_t>::min() &&
           v <= std::numeric_limits<std::int32_t>::max();
}

// The record's window as a rectangle.
xcPelRect windowOf(const ximg_image8Const& r) { return xcPelRect(r.x, r.y, r.width, r.height); }

// The address the pels field must hold for a window of `root`.
const unsigned char* pelsOf(const xcPelBuffer_const<unsigned char>& root, const xcPelRect& w) {
    return w.isNull() ? nullptr : root.pelPointer(w.x(), w.y());
}

}  // namespace

xstd_status ximg_imageConst_constructUnbound(ximg_image8Const* self) {
    if (!self) return xstd_eBadArgument;
    *self = ximg_image8Const{nullptr, 0, 0, 0, 0, 0, nullptr};
    return xstd_eSuccess;
}

void ximg_imageConst_destruct(ximg_image8Const* self) {
    if (!self) return;
    delete self->ref;
    *self = ximg_image8Const{nullptr, 0, 0, 0, 0, 0, nullptr};
}

int ximg_imageConst_isBound(const ximg_image8Const* self) { return self && self->ref ? 1 : 0; }

xstd_status ximg_imageConst_check(const ximg_image8Const* self) {
    if (!self) return xstd_eBadArgument;
    if (!self->ref) return self->pels ? xstd_eBadArgument : xstd_eSuccess;
    const xcPelBuffer_const<unsigned char>& root = self->ref->buffer;
    if (!root.isBound() || self->width < 0 || self->height < 0) return xstd_eBadArgument;
    const xcPelRect w = windowOf(*self);
    const xcPelRect extent = root.rootWindow();
    // Containment in 64-bit arithmetic (the record's numbers are 32-bit).
    if (w.x() < extent.x() || w.y() < extent.y() ||
        w.x() + w.width() > extent.x() + extent.width() ||
        w.y() + w.height() > extent.y() + extent.height())
        return xstd_eBadArgument;
    if (self->rowUpdate != root.rowUpdate() || self->pels != pelsOf(root, w))
        return xstd_eBadArgument;
    return xstd_eSuccess;
}

xstd_status ximg_imageConst_assign(ximg_image8Const* self, const ximg_image8Const* from) {
    if (!self || !from) return xstd_eBadArgument;
    if (self == from) return ximg_imageConst_check(from);
    if (const xstd_status s = ximg_imageConst_check(from); xstd_failed(s)) return s;
    ximg_imageRef* ref = nullptr;
    if (from->ref) {
        ref = new (std::nothrow) ximg_imageRef;
        if (!ref) return xstd_eOutOfMemory;
        ref->buffer = from->ref->buffer;  // counts one more reference on the root
    }
    delete self->ref;
    *self = *from;
    self->ref = ref;
    return xstd_eSuccess;
}

xstd_status ximg_imageConst_bind_(ximg_image8Const* self,
                                  const xcPelBuffer_const<unsigned char>& buffer) {
    if (!self) return xstd_eBadArgument;
    if (!buffer.isBound()) {
        ximg_imageConst_destruct(self);
        return xstd_eSuccess;
    }
    const xcPelRect w = buffer.window();
    if (!fits32(w.x()) || !fits32(w.y()) || !fits32(w.width()) || !fits32(w.height()))
        return xoc_eIntegerOverflow;
    ximg_imageRef* ref = new (std::nothrow) ximg_imageRef;
    if (!ref) return xstd_eOutOfMemory;
    ref->buffer = buffer;
    ref->buffer.setEntire();
    ximg_image8Const r;
    r.pels = pelsOf(ref->buffer, w);
    r.x = static_cast<std::int32_t>(w.x());
    r.y = static_cast<std::int32_t>(w.y());
    r.width = static_cast<std::int32_t>(w.width());
    r.height = static_cast<std::int32_t>(w.height());
    r.rowUpdate = ref->buffer.rowUpdate();
    r.ref = ref;
    delete self->ref;
    *self = r;
    return xstd_eSuccess;
}

xstd_status ximg_imageConst_toPelBuffer_(const ximg_image8Const* self,
                                         xcPelBuffer_const<unsigned char>* out) {
    if (!self || !out) return xstd_eBadArgument;
    if (const xstd_status s = ximg_imageConst_check(self); xstd_failed(s)) return s;
    if (!self->ref) {
        *out = xcPelBuffer_const<unsigned char>();
        return xstd_eSuccess;
    }
    try {
        xcPelBuffer_const<unsigned char> b = self->ref->buffer;
        b.window(windowOf(*self));  // inside the root, checked above
        *out = std::move(b);
    } catch (const std::bad_alloc&) {
        return xstd_eOutOfMemory;
    }
    return xstd_eSuccess;
}

xcPelBuffer_const<unsigned char> xfConvertImage(const ximg_image8Const& image) {
    xcPelBuffer_const<unsigned char> b;
    const xstd_status s = ximg_imageConst_toPelBuffer_(&image, &b);
    if (s == xstd_eOutOfMemory) throw std::bad_alloc();
    if (xstd_failed(s)) throw xcBadArgument(L"Inconsistent image record");
    return b;
}

xc_Image::xc_Image() { ximg_imageConst_constructUnbound(&m_image); }

xc_Image::xc_Image(const xcPelBuffer_const<unsigned char>& buffer) {
    ximg_imageConst_constructUnbound(&m_image);
    const xstd_status s = ximg_imageConst_bind_(&m_image, buffer);
    if (s == xstd_eOutOfMemory) throw std::bad_alloc();
    if (xstd_failed(s)) throw xcBadArgument(L"Pel buffer window does not fit an image record");
}

xc_Image::~xc_Image() { ximg_imageConst_destruct(&m_image); }
