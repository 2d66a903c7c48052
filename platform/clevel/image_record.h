// The C-level 8-bit image record, ximg_image8Const, and its exchange with pel buffers.
//
// The record is a 40-byte view of 8-bit pixels in image coordinates:
//
//   offset  field      type
//   0       pels       const unsigned char*: pixel (x, y), the window's upper-left; null when
//                      unbound or when the window holds no pixel
//   8       x          signed 32-bit: the window's upper-left, image coordinates
//   12      y          signed 32-bit
//   16      width      signed 32-bit: the window's size in pixels
//   20      height     signed 32-bit
//   24      rowUpdate  signed 64-bit: bytes from one row to the next
//   32      ref        ximg_imageRef*: the reference that keeps the pixels alive; null when
//                      unbound
//
// Pixel (x + i, y + j) of the window is pels[j * rowUpdate + i].
//
// Ownership: a bound record holds one reference on the pel buffer's shared root image, the
// same reference count that pel buffers use. The pixels therefore stay alive as long as any
// record or buffer refers to them, whichever goes first. The reference is a small heap block
// behind `ref`. It also carries the client-from-image transform, since the record itself has
// no room for the six reals of an affine transform (or for a non-linear one): converting a
// buffer to a record and back keeps its transform.
//
// A record must be constructed (ximg_imageConst_constructUnbound, or as part of a character
// record) before other calls use it, and destructed (ximg_imageConst_destruct, or with its
// character record) to release the reference. Records are filled only through this layer's
// calls: copying a bound record byte by byte duplicates its reference without counting it.
// The fields may be read freely.
#pragma once

#include <cstdint>

#include "platform/clevel/status.h"
#include "platform/core/pel_buffer.h"

// The reference of a bound image record (opaque to C code).
struct ximg_imageRef;

struct ximg_image8Const {
    const unsigned char* pels;
    std::int32_t x;
    std::int32_t y;
    std::int32_t width;
    std::int32_t height;
    std::int64_t rowUpdate;
    ximg_imageRef* ref;
};

// ---- C-level calls ---------------------------------------------------------------------------

// Makes *self an unbound record (every field zero). *self is taken as raw memory: a previous
// reference is not released. Returns xstd_eBadArgument for null.
xstd_status ximg_imageConst_constructUnbound(ximg_image8Const* self);

// Makes the constructed record *self a view of the same pixels, window and transform as
// *from, taking a reference of its own, and releases *self's previous reference.
// Self-assignment is allowed. Fails with *self unchanged: xstd_eBadArgument for a null pointer
// or an inconsistent *from (see ximg_imageConst_check), xstd_eOutOfMemory.
xstd_status ximg_imageConst_assign(ximg_image8Const* self, const ximg_image8Const* from);

// Releases the reference of *self (if any) and makes it unbound. Null is accepted.
void ximg_imageConst_destruct(ximg_image8Const* self);

// Whether the record refers to pixels (1) or not (0); 0 for null.
int ximg_imageConst_isBound(const ximg_image8Const* self);

// xstd_eSuccess when *self is consistent: unbound with a null pels pointer, or bound with a
// non-negative size, a window inside the referenced root image, the root's row update and pels
// pointing at the window's upper-left pixel (null for an empty window). Otherwise
// xstd_eBadArgument.
xstd_status ximg_imageConst_check(const ximg_image8Const* self);

// ---- Exchange with pel buffers (C++) -----------------------------------------------------

// Makes the constructed record *self a view of `buffer` (sharing its pixels, window and
// transform) and releases *self's previous reference; an unbound buffer gives an unbound
// record. Fails with *self unchanged: xstd_eBadArgument for null, xoc_eIntegerOverflow when
// the window's corner or size does not fit 32 bits, xstd_eOutOfMemory.
xstd_status ximg_imageConst_bind_(ximg_image8Const* self,
                                  const xcPelBuffer_const<unsigned char>& buffer);

// Sets *out to a pel buffer viewing the record's pixels (shared, not copied) with the record's
// window and the transform its reference carries; an unbound record gives an unbound buffer
// with the identity transform. Fails with *out unchanged: xstd_eBadArgument for null pointers
// or an inconsistent record, xstd_eOutOfMemory.
xstd_status ximg_imageConst_toPelBuffer_(const ximg_image8Const* self,
                                         xcPelBuffer_const<unsigned char>* out);

// The pel buffer of an image record, as ximg_imageConst_toPelBuffer_. Throws xcBadArgument
// ("Inconsistent image record") for a record that fails ximg_imageConst_check.
xcPelBuffer_const<unsigned char> xfConvertImage(const ximg_image8Const& image);

// A C-level image record owned by C++ code: the view of a pel buffer handed to C-level calls,
// or an unbound record that a C-level call fills. The reference is released on destruction.
class xc_Image {
public:
    // An unbound record.
    xc_Image();
    // A view of `buffer`, sharing its pixels. Throws xcBadArgument ("Pel buffer window does
    // not fit an image record") when the window does not fit 32 bits, std::bad_alloc.
    explicit xc_Image(const xcPelBuffer_const<unsigned char>& buffer);
    xc_Image(const xc_Image&) = delete;
    xc_Image& operator=(const xc_Image&) = delete;
    ~xc_Image();

    const ximg_image8Const& image() const { return m_image; }
    const ximg_image8Const* get() const { return &m_image; }
    ximg_image8Const* get() { return &m_image; }
    // The record as a pel buffer (xfConvertImage).
    xcPelBuffer_const<unsigned char> pelBuffer() const { return xfConvertImage(m_image); }

private:
    ximg_image8Const m_image;
};
