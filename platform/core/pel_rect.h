// Integer rectangles of pixels in image coordinates.
//
// xcPelRect(x, y, width, height) covers the pixels x .. x+width-1, y .. y+height-1, that is the
// continuous area [x, x+width) x [y, y+height). Its corners are the continuous corners of that
// area: ul = (x, y), ur = (x+width, y), ll = (x, y+height), lr = (x+width, y+height).
// A rectangle with width <= 0 or height <= 0 is null (holds no pixel).
#pragma once

#include <algorithm>

#include "platform/core/vector.h"

// An integer point (pixel corner or index).
struct xcPelVector {
    long x = 0;
    long y = 0;
    constexpr xcPelVector() = default;
    constexpr xcPelVector(long x_, long y_) : x(x_), y(y_) {}
    constexpr xcVector<2> toVector() const {
        return {static_cast<double>(x), static_cast<double>(y)};
    }
    constexpr operator xcVector<2>() const { return toVector(); }  // NOLINT
    constexpr bool operator==(const xcPelVector&) const = default;
};

class xcPelRect {
public:
    constexpr xcPelRect() = default;
    constexpr xcPelRect(long x, long y, long width, long height)
        : m_x(x), m_y(y), m_w(width), m_h(height) {}

    constexpr long x() const { return m_x; }
    constexpr long y() const { return m_y; }
    constexpr long width() const { return m_w; }
    constexpr long height() const { return m_h; }
    constexpr long area() const { return isNull() ? 0 : m_w * m_h; }
    constexpr xcPelVector offset() const { return {m_x, m_y}; }
    constexpr xcPelVector size() const { return {m_w, m_h}; }

    constexpr xcPelVector ul() const { return {m_x, m_y}; }
    constexpr xcPelVector ur() const { return {m_x + m_w, m_y}; }
    constexpr xcPelVector ll() const { return {m_x, m_y + m_h}; }
    constexpr xcPelVector lr() const { return {m_x + m_w, m_y + m_h}; }

    // True when the rectangle holds no pixel.
    constexpr bool isNull() const { return m_w <= 0 || m_h <= 0; }

    // True when pixel (px, py) lies inside.
    constexpr bool contains(long px, long py) const {
        return px >= m_x && py >= m_y && px < m_x + m_w && py < m_y + m_h;
    }
    // True when every pixel of r lies inside; a null r is contained in anything.
    constexpr bool contains(const xcPelRect& r) const {
        return r.isNull() || (!isNull() && r.m_x >= m_x && r.m_y >= m_y &&
                              r.m_x + r.m_w <= m_x + m_w && r.m_y + r.m_h <= m_y + m_h);
    }

    // The common pixels; a null rectangle (0 x 0 at the origin) when there are none.
    constexpr xcPelRect intersect(const xcPelRect& r) const {
        long x0 = std::max(m_x, r.m_x), y0 = std::max(m_y, r.m_y);
        long x1 = std::min(m_x + m_w, r.m_x + r.m_w), y1 = std::min(m_y + m_h, r.m_y + r.m_h);
        if (isNull() || r.isNull() || x1 <= x0 || y1 <= y0) return {};
        return {x0, y0, x1 - x0, y1 - y0};
    }
    // The smallest rectangle holding both; a null operand is ignored.
    constexpr xcPelRect enclose(const xcPelRect& r) const {
        if (r.isNull()) return *this;
        if (isNull()) return r;
        long x0 = std::min(m_x, r.m_x), y0 = std::min(m_y, r.m_y);
        long x1 = std::max(m_x + m_w, r.m_x + r.m_w), y1 = std::max(m_y + m_h, r.m_y + r.m_h);
        return {x0, y0, x1 - x0, y1 - y0};
    }
    // Moves each side inwards by the given number of pixels (outwards when negative).
    constexpr xcPelRect trim(long left, long top, long right, long bottom) const {
        return {m_x + left, m_y + top, m_w - left - right, m_h - top - bottom};
    }
    constexpr xcPelRect translated(long dx, long dy) const { return {m_x + dx, m_y + dy, m_w, m_h}; }

    constexpr bool operator==(const xcPelRect&) const = default;

private:
    long m_x = 0, m_y = 0, m_w = 0, m_h = 0;
};
