// Pel buffers: windows onto reference-counted images of pixels.
//
// A root image covers a rectangle of image coordinates (usually (0, 0, width, height), but any
// rectangle, negative corners included) with rows rowUpdate() bytes apart. A buffer is a window
// (an xcPelRect in image coordinates) onto a root. Copying a buffer shares the pixels; use
// xfPelCopy for a deep copy. A buffer may be unbound (no root): everything but isBound() and
// the transform accessors then throws xcPel::UnboundWindow.
//
// Pixel (x, y) covers [x, x+1) x [y, y+1) and is sampled at its centre (x + 0.5, y + 0.5).
// Every buffer carries a client-from-image transform (identity by default); client coordinates
// are what geometry, poses and results are expressed in.
//
// rowPointer(y) points at the window's leftmost pixel of image row y: rowPointer(y)[i] is pixel
// (window().x() + i, y).
#pragma once

#include <cstddef>
#include <memory>

#include "platform/core/exception.h"
#include "platform/core/pel_rect.h"
#include "platform/core/xform_base.h"

// The shared pixel store of one root image.
struct xc_PelRoot {
    unsigned char* data = nullptr;  // address of the root's upper-left pixel
    long rowUpdate = 0;             // bytes from one row to the next
    long pelSize = 1;               // bytes per pixel
    xcPelRect extent;               // image coordinates the root covers
    std::shared_ptr<void> owner;    // keeps `data` alive; null for memory a caller owns
};

class xc_PelBuffer {
public:
    bool isBound() const { return static_cast<bool>(m_root); }
    // Drops the pixels; the buffer becomes unbound. The transform is kept.
    void unbind() { m_root.reset(); m_window = xcPelRect(); }

    // The current window, in image coordinates.
    const xcPelRect& window() const { checkBound_(); return m_window; }
    // Narrows the window to r. With clip false, throws xcPel::BadWindow when r is not inside
    // the current window; with clip true, r is first intersected with it.
    void window(const xcPelRect& r, bool clip = false);
    // Widens the window to the whole root image.
    void setEntire();
    // The whole root image's rectangle.
    xcPelRect rootWindow() const { checkBound_(); return m_root->extent; }

    xcPelVector offset() const { return window().offset(); }
    xcPelVector size() const { return window().size(); }
    long width() const { return window().width(); }
    long height() const { return window().height(); }
    long rowUpdate() const { checkBound_(); return m_root->rowUpdate; }
    long pelSize() const { checkBound_(); return m_root->pelSize; }
    // True when both buffers view the same root image.
    bool sharesRoot(const xc_PelBuffer& o) const { return m_root && m_root == o.m_root; }

    // The client-from-image transform and its inverse. clientFromImageXform() and
    // imageFromClientXform() throw xcBadArgument when the transform is not linear.
    const xc2XformBase& clientFromImageXformBase() const;
    std::shared_ptr<const xc2XformBase> clientFromImageXformBasePtr() const;
    const xcXform<2>& clientFromImageXform() const;
    xcXform<2> imageFromClientXform() const;
    void clientFromImageXform(const xcXform<2>& x);
    void clientFromImageXformBase(std::shared_ptr<const xc2XformBase> x);
    void clientFromImageXformBase(const xc2XformBase& x) { clientFromImageXformBase(x.clone()); }

protected:
    xc_PelBuffer() = default;
    // Allocates a zeroed root covering `extent` with `pelSize`-byte pixels.
    xc_PelBuffer(const xcPelRect& extent, long pelSize);
    // Wraps a caller's memory (not copied, not freed).
    xc_PelBuffer(void* data, long width, long height, long rowUpdate, long pelSize,
                 std::shared_ptr<void> owner);

    void checkBound_() const {
        if (!m_root) throw xcPel::UnboundWindow(L"Pel buffer is unbound");
    }
    unsigned char* address_(long x, long y) const {
        checkBound_();
        return m_root->data + (y - m_root->extent.y()) * m_root->rowUpdate +
               (x - m_root->extent.x()) * m_root->pelSize;
    }
    void checkPixel_(long x, long y) const;

    std::shared_ptr<xc_PelRoot> m_root;
    xcPelRect m_window;
    xc2XformLinear m_linear;                       // the transform when it is linear
    std::shared_ptr<const xc2XformBase> m_general;  // set only for a non-linear transform
};

// A read-only view.
template <class T>
class xcPelBuffer_const : public xc_PelBuffer {
public:
    // An unbound buffer.
    xcPelBuffer_const() = default;
    // A new zeroed image with window (0, 0, width, height).
    xcPelBuffer_const(long width, long height)
        : xc_PelBuffer(xcPelRect(0, 0, width, height), sizeof(T)) {}
    // A new zeroed image covering `extent`, with that window.
    explicit xcPelBuffer_const(const xcPelRect& extent) : xc_PelBuffer(extent, sizeof(T)) {}
    // A view of a caller's pixels (rows rowUpdate bytes apart), window (0, 0, width, height).
    // Nothing is copied; the caller keeps the memory alive, or passes an owner that does.
    xcPelBuffer_const(const T* data, long width, long height, long rowUpdate,
                      std::shared_ptr<void> owner = nullptr)
        : xc_PelBuffer(const_cast<T*>(data), width, height, rowUpdate, sizeof(T),
                       std::move(owner)) {}

    // Image row y from the window's left edge (no range check; an unbound buffer throws).
    const T* rowPointer(long y) const {
        return reinterpret_cast<const T*>(address_(m_window.x(), y));
    }
    // Address of pixel (x, y) in image coordinates (no range check).
    const T* pelPointer(long x, long y) const { return reinterpret_cast<const T*>(address_(x, y)); }
    // Pixel (x, y) in image coordinates; throws xcPel::BadWindow outside the window.
    T get(long x, long y) const {
        checkPixel_(x, y);
        return *pelPointer(x, y);
    }
};

// A writable view. It converts to the read-only view (sharing pixels).
template <class T>
class xcPelBuffer : public xcPelBuffer_const<T> {
public:
    xcPelBuffer() = default;
    xcPelBuffer(long width, long height) : xcPelBuffer_const<T>(width, height) {}
    explicit xcPelBuffer(const xcPelRect& extent) : xcPelBuffer_const<T>(extent) {}
    xcPelBuffer(T* data, long width, long height, long rowUpdate,
                std::shared_ptr<void> owner = nullptr)
        : xcPelBuffer_const<T>(data, width, height, rowUpdate, std::move(owner)) {}

    T* rowPointer(long y) const {
        return reinterpret_cast<T*>(this->address_(this->m_window.x(), y));
    }
    T* pelPointer(long x, long y) const { return reinterpret_cast<T*>(this->address_(x, y)); }
    void set(long x, long y, T v) const {
        this->checkPixel_(x, y);
        *pelPointer(x, y) = v;
    }
};

using xcPelBuffer8 = xcPelBuffer<unsigned char>;
using xcPelBuffer8_const = xcPelBuffer_const<unsigned char>;
