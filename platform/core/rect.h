// Axis-aligned real rectangles: an upper-left corner and a size, in whatever frame the user
// states. A rectangle whose width or height is <= 0 is degenerate (degen()).
#pragma once

#include <algorithm>
#include <cmath>

#include "platform/core/pel_rect.h"
#include "platform/core/persistent.h"
#include "platform/core/vector.h"

class xcRect : public xcPersistent {
public:
    xcRect() = default;
    xcRect(const xcVector<2>& ul, const xcVector<2>& size) : m_ul(ul), m_size(size) {}
    xcRect(double x, double y, double width, double height) : m_ul(x, y), m_size(width, height) {}
    // The continuous area of a pixel rectangle.
    explicit xcRect(const xcPelRect& r)
        : m_ul(static_cast<double>(r.x()), static_cast<double>(r.y())),
          m_size(static_cast<double>(r.width()), static_cast<double>(r.height())) {}
    xcRect(const xcRect&) = default;
    xcRect& operator=(const xcRect&) = default;
    ~xcRect() override = default;

    const xcVector<2>& ul() const { return m_ul; }
    const xcVector<2>& size() const { return m_size; }
    void ul(const xcVector<2>& v) { m_ul = v; }
    void size(const xcVector<2>& v) { m_size = v; }
    xcVector<2> ur() const { return {m_ul.x() + m_size.x(), m_ul.y()}; }
    xcVector<2> ll() const { return {m_ul.x(), m_ul.y() + m_size.y()}; }
    xcVector<2> lr() const { return m_ul + m_size; }
    xcVector<2> center() const { return m_ul + m_size * 0.5; }
    double width() const { return m_size.x(); }
    double height() const { return m_size.y(); }

    // True when the width or the height is not positive.
    bool degen() const { return !(m_size.x() > 0) || !(m_size.y() > 0); }

    // The smallest rectangle holding both; a degenerate operand is ignored.
    xcRect enclose(const xcRect& r) const;
    // The smallest rectangle holding this one and the point.
    xcRect enclose(const xcVector<2>& p) const;
    // The smallest pixel rectangle whose area holds this one: floor of the upper-left, ceiling
    // of the lower-right corner.
    xcPelRect enclosePelRect() const;

    bool operator==(const xcRect& o) const { return m_ul == o.m_ul && m_size == o.m_size; }
    bool operator!=(const xcRect& o) const { return !(*this == o); }

protected:
    void dispatchSerialize(xcArchive& ar) override;

private:
    xcVector<2> m_ul;
    xcVector<2> m_size;
};
