// Whole-window pixel operations on pel buffers: copy, fill, lookup-table mapping, pixelwise and
// global minimum and maximum, histograms and equality.
//
// Frames: operations between several buffers work at equal image coordinates, over the common
// part of their windows (the intersection of the windows; nothing happens when it is empty).
// The client-from-image transforms play no part, except that the forms returning a new buffer
// give it the source's window and transform.
//
// Ownership: the functions never keep a buffer. Buffers are views, so a "const" destination
// buffer is still written: constness belongs to the view, not to the pixels.
//
// Aliasing: a source and a destination may be the same buffer or share a root image (equal
// image coordinates are then the same pixels). Distinct roots wrapping overlapping memory are
// not supported.
//
// Errors: an unbound buffer throws xcPel::UnboundWindow, before anything is written.
#pragma once

#include <array>
#include <cstring>
#include <type_traits>
#include <vector>

#include "platform/core/pel_buffer.h"

// A 256-entry grey-level lookup table: pixel value v becomes table[v].
using xcPelMapTable = std::array<unsigned char, 256>;

// ---- Copy and fill (any trivially copyable pixel type) --------------------------------------

// Copies the pixels of src into dst at equal image coordinates, over the common part of the two
// windows. Returns that part (null when the windows do not meet).
template <class T>
xcPelRect xfPelCopy(const xcPelBuffer_const<T>& src, const xcPelBuffer<T>& dst) {
    static_assert(std::is_trivially_copyable_v<T>);
    const xcPelRect r = src.window().intersect(dst.window());
    if (r.isNull() || src.sharesRoot(dst)) return r;  // same root: the pixels are the same
    const std::size_t bytes = static_cast<std::size_t>(r.width()) * sizeof(T);
    for (long y = r.y(); y < r.y() + r.height(); ++y)
        std::memcpy(dst.pelPointer(r.x(), y), src.pelPointer(r.x(), y), bytes);
    return r;
}

// A new buffer with its own pixels, holding a copy of src: same window (its root image covers
// exactly that window) and same client-from-image transform. An unbound src gives an unbound
// buffer that carries src's transform.
template <class T>
xcPelBuffer<T> xfPelCopy(const xcPelBuffer_const<T>& src) {
    if (!src.isBound()) {
        xcPelBuffer<T> out;
        out.clientFromImageXformBase(src.clientFromImageXformBasePtr());
        return out;
    }
    xcPelBuffer<T> out(src.window());
    out.clientFromImageXformBase(src.clientFromImageXformBasePtr());
    xfPelCopy(src, out);
    return out;
}

// Sets every pixel of dst's window to `value`.
template <class T>
void xfPelSet(const xcPelBuffer<T>& dst, std::type_identity_t<T> value) {
    const xcPelRect r = dst.window();
    if (r.isNull()) return;
    for (long y = r.y(); y < r.y() + r.height(); ++y) {
        T* p = dst.rowPointer(y);
        if constexpr (sizeof(T) == 1) {
            std::memset(p, static_cast<unsigned char>(value), static_cast<std::size_t>(r.width()));
        } else {
            for (long x = 0; x < r.width(); ++x) p[x] = value;
        }
    }
}

// True when both windows have the same size and the pixels at equal positions relative to the
// windows' upper-left corners are equal (bytewise). Offsets and transforms are not compared.
// Two unbound buffers are equal; an unbound and a bound one are not.
template <class T>
bool xfPelEqual(const xcPelBuffer_const<T>& a, const xcPelBuffer_const<T>& b) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (!a.isBound() || !b.isBound()) return a.isBound() == b.isBound();
    if (a.width() != b.width() || a.height() != b.height()) return false;
    if (a.window().isNull()) return true;
    const std::size_t bytes = static_cast<std::size_t>(a.width()) * sizeof(T);
    const long dy = b.offset().y - a.offset().y;
    for (long y = a.offset().y; y < a.offset().y + a.height(); ++y)
        if (std::memcmp(a.rowPointer(y), b.rowPointer(y + dy), bytes) != 0) return false;
    return true;
}

// ---- 8-bit operations -----------------------------------------------------------------------

// Maps every pixel of buf's window through the table, in place.
void xfPelMap(const xcPelBuffer<unsigned char>& buf, const xcPelMapTable& table);
// dst(x, y) = table[src(x, y)] over the common part of the windows, which is returned.
xcPelRect xfPelMap(const xcPelBuffer_const<unsigned char>& src,
                   const xcPelBuffer<unsigned char>& dst, const xcPelMapTable& table);

// dst = min(a, b) (resp. max) pixelwise over the common part of the three windows, which is
// returned. dst may be a or b.
xcPelRect xfPelMin(const xcPelBuffer_const<unsigned char>& a,
                   const xcPelBuffer_const<unsigned char>& b,
                   const xcPelBuffer<unsigned char>& dst);
xcPelRect xfPelMax(const xcPelBuffer_const<unsigned char>& a,
                   const xcPelBuffer_const<unsigned char>& b,
                   const xcPelBuffer<unsigned char>& dst);

// The smallest (resp. largest) pixel value of buf's window. Throws xcBadArgument when the
// window holds no pixel.
unsigned char xfPelMin(const xcPelBuffer_const<unsigned char>& buf);
unsigned char xfPelMax(const xcPelBuffer_const<unsigned char>& buf);

// The 256-bin histogram of buf's window: entry v counts the pixels of value v. An empty window
// gives 256 zeros.
std::vector<long> xfPelHistogram(const xcPelBuffer_const<unsigned char>& buf);
// The histogram of the pixels of buf's window that the mask marks as cared for: the pixels of
// the common part of the two windows (at equal image coordinates) whose mask value is 128 or
// more. Pixels outside the mask's window are not counted.
std::vector<long> xfPelHistogram(const xcPelBuffer_const<unsigned char>& buf,
                                 const xcPelBuffer_const<unsigned char>& mask);
