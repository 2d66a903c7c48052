#include "platform/core/rect.h"

#include "platform/core/math_util.h"

xcRect xcRect::enclose(const xcRect& r) const {
    if (r.degen()) return *this;
    if (degen()) return r;
    xcVector<2> a(std::min(m_ul.x(), r.m_ul.x()), std::min(m_ul.y(), r.m_ul.y()));
    xcVector<2> b(std::max(lr().x(), r.lr().x()), std::max(lr().y(), r.lr().y()));
    return xcRect(a, b - a);
}

xcRect xcRect::enclose(const xcVector<2>& p) const {
    xcVector<2> a(std::min(m_ul.x(), p.x()), std::min(m_ul.y(), p.y()));
    xcVector<2> b(std::max(lr().x(), p.x()), std::max(lr().y(), p.y()));
    return xcRect(a, b - a);
}

xcPelRect xcRect::enclosePelRect() const {
    long x0 = xfIFloor(m_ul.x()), y0 = xfIFloor(m_ul.y());
    long x1 = xfICeil(lr().x()), y1 = xfICeil(lr().y());
    return xcPelRect(x0, y0, x1 - x0, y1 - y0);
}
