// Archive forms of the geometry and image types (see archive.h for the stream and its rules).
//
//   xcVector<2>        x, y (f64)
//   xcRadian           the angle in radians (f64)
//   xcXform<2>         m00 m01 m10 m11 tx ty (f64): the matrix row by row, then the translation
//   xc2Rigid           translation x, y, then the angle in radians (f64)
//   xcRange            u8 kind (0 normal, 1 empty, 2 full), then start, end (f64); loading a
//                      normal range whose start > end (or NaN), or another kind, throws BadData
//   xcNMMatrix         rows, cols (u32), then rows * cols elements row by row (f64)
//   xcPelRect          x, y, width, height (i32; storing a value outside 32 bits throws BadData)
//   xcRect             a persistent object of its own, through the generic by-value operator:
//                      u8 version 0, upper-left corner, size (each an xcVector<2>)
//   pel buffers        u8 bound (0 or 1); a bound buffer then has its window (xcPelRect), its
//                      client-from-image transform (xcXform<2>) and the window's pixels row by
//                      row (width bytes per row); an unbound one has only its transform.
//                      Storing a buffer whose transform is not linear throws BadData. A loaded
//                      buffer owns new pixels whose root image is exactly the window.
//
// Loading checks what it reads: a negative rectangle size, a pixel count larger than the bytes
// left or a bound byte other than 0 or 1 throws BadData. A failed load leaves the operand
// unchanged.
#pragma once

#include "platform/core/angle.h"
#include "platform/core/archive.h"
#include "platform/core/nm_matrix.h"
#include "platform/core/pel_buffer.h"
#include "platform/core/pel_rect.h"
#include "platform/core/range.h"
#include "platform/core/rect.h"
#include "platform/core/rigid.h"
#include "platform/core/vector.h"
#include "platform/core/xform.h"

xcArchive& operator||(xcArchive& ar, xcVector<2>& v);
xcArchive& operator||(xcArchive& ar, xcRadian& a);
xcArchive& operator||(xcArchive& ar, xcXform<2>& x);
xcArchive& operator||(xcArchive& ar, xcPelRect& r);
xcArchive& operator||(xcArchive& ar, xc2Rigid& r);
xcArchive& operator||(xcArchive& ar, xcRange& r);
xcArchive& operator||(xcArchive& ar, xcNMMatrix& m);
xcArchive& operator||(xcArchive& ar, xcPelBuffer_const<unsigned char>& b);
xcArchive& operator||(xcArchive& ar, xcPelBuffer<unsigned char>& b);

// The rectangle of signed 32-bit values that persistent classes write for an image area; the
// same as ar || r.
inline xcArchive& xf_PersistenceHelper(xcArchive& ar, xcPelRect& r) { return ar || r; }

template <>
struct xc_ArchiveMinBytes<xcVector<2>> : std::integral_constant<std::size_t, 16> {};
template <>
struct xc_ArchiveMinBytes<xcRadian> : std::integral_constant<std::size_t, 8> {};
template <>
struct xc_ArchiveMinBytes<xcXform<2>> : std::integral_constant<std::size_t, 48> {};
template <>
struct xc_ArchiveMinBytes<xcPelRect> : std::integral_constant<std::size_t, 16> {};
template <>
struct xc_ArchiveMinBytes<xc2Rigid> : std::integral_constant<std::size_t, 24> {};
template <>
struct xc_ArchiveMinBytes<xcRange> : std::integral_constant<std::size_t, 17> {};
template <>
struct xc_ArchiveMinBytes<xcNMMatrix> : std::integral_constant<std::size_t, 8> {};
template <>
struct xc_ArchiveMinBytes<xcRect> : std::integral_constant<std::size_t, 33> {};
template <>
struct xc_ArchiveMinBytes<xcPelBuffer_const<unsigned char>>
    : std::integral_constant<std::size_t, 49> {};
template <>
struct xc_ArchiveMinBytes<xcPelBuffer<unsigned char>> : std::integral_constant<std::size_t, 49> {
};
