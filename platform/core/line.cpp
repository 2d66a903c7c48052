#include "platform/core/line.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "platform/core/exception.h"

xcLine::xcLine(const xcVector<2>& point, xcRadian angle)
    : m_p(point), m_d(cos(angle), sin(angle)) {
    if (!std::isfinite(angle.toDouble())) throw xcBadArgument(L"Line angle must be finite");
}

xcLine xcLine::fromPointDirection(const xcVector<2>& point, const xcVector<2>& direction) {
    const double l = direction.len();
    if (!(l > 0) || !std::isfinite(l))
        throw xcBadArgument(L"Line direction must be a finite non-zero vector");
    xcLine r;
    r.m_p = point;
    r.m_d = direction / l;
    return r;
}

xcLine xcLine::fromPoints(const xcVector<2>& p, const xcVector<2>& q) {
    if (p == q) throw xcBadArgument(L"A line needs two distinct points");
    return fromPointDirection(p, q - p);
}

xcVector<2> xcLine::intersect(const xcLine& o) const {
    const double d = m_d.cross(o.m_d);
    if (d == 0.0) throw xcBadArgument(L"Parallel lines do not intersect");
    // m_p + t m_d lies on o: cross(o.m_d, m_p + t m_d - o.m_p) = 0.
    const double t = (o.m_p - m_p).cross(o.m_d) / d;
    return pointAt(t);
}

xcLine xcLine::map(const xcXform<2>& x) const {
    const xcVector<2> d = x.mapVector(m_d);
    if (!(d.len() > 0)) throw xcBadArgument(L"The transform flattens the line to a point");
    return fromPointDirection(x.mapPoint(m_p), d);
}

double xcLineSeg::distance(const xcVector<2>& p) const {
    const xcVector<2> d = m_p2 - m_p1;
    const double l2 = d.len2();
    if (l2 == 0.0) return (p - m_p1).len();
    const double t = std::clamp(d.dot(p - m_p1) / l2, 0.0, 1.0);
    return (p - (m_p1 + d * t)).len();
}

xcRect xcLineSeg::boundingBox() const {
    const std::array<xcVector<2>, 2> e{m_p1, m_p2};
    return xf_BoundingBoxOfPoints(e.begin(), e.end());
}
