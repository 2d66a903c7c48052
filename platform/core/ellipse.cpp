#include "platform/core/ellipse.h"

#include <cmath>
#include <numbers>
#include <vector>

#include "platform/core/exception.h"

namespace {

constexpr double kTwoPi = 2 * std::numbers::pi;

void checkRadius(double r) {
    if (!std::isfinite(r) || r < 0) throw xcBadArgument(L"Radius must be finite and >= 0");
}

void checkAngle(xcRadian a) {
    if (!std::isfinite(a.toDouble())) throw xcBadArgument(L"Angles must be finite");
}

// Half extents of the ellipse c + A (cos t, sin t) along x and y, and the parameters at which
// x and y are largest.
struct Extremes {
    double hx, hy, tx, ty;
};

Extremes extremes(const xcMatrix<2>& a) {
    // x(t) - cx = a00 cos t + a01 sin t = hx cos(t - tx), likewise for y.
    return {std::hypot(a(0, 0), a(0, 1)), std::hypot(a(1, 0), a(1, 1)),
            std::atan2(a(0, 1), a(0, 0)), std::atan2(a(1, 1), a(1, 0))};
}

}  // namespace

// ---- xcCircle ------------------------------------------------------------------------------

xcCircle::xcCircle(const xcVector<2>& center, double radius) : m_c(center) {
    checkRadius(radius);
    m_r = radius;
}

void xcCircle::radius(double r) {
    checkRadius(r);
    m_r = r;
}

xcRect xcCircle::boundingBox() const {
    return xcRect(m_c.x() - m_r, m_c.y() - m_r, 2 * m_r, 2 * m_r);
}

xcRect xcCircle::boundingBox(const xcXform<2>& x) const { return xcEllipse2(*this).boundingBox(x); }

// ---- xcEllipse2 ----------------------------------------------------------------------------

xcEllipse2::xcEllipse2(const xcVector<2>& center, double xRadius, double yRadius,
                       xcRadian rotation)
    : m_c(center) {
    checkRadius(xRadius);
    checkRadius(yRadius);
    checkAngle(rotation);
    m_rx = xRadius;
    m_ry = yRadius;
    m_rot = rotation;
}

xcXform<2> xcEllipse2::fromUnitCircle() const {
    return {xcMatrix<2>::rotation(m_rot) * xcMatrix<2>::scale(m_rx, m_ry), m_c};
}

xcVector<2> xcEllipse2::pointAt(xcRadian t) const {
    return fromUnitCircle().mapPoint(xcVector<2>(cos(t), sin(t)));
}

xcEllipse2 xcEllipse2::map_(const xcXform<2>& x, double& shift, double& sign) const {
    const xcMatrix<2> m = x.matrix() * fromUnitCircle().matrix();
    // Signed singular value decomposition m = R(phi) diag(s1, s2) R(theta), s1 >= |s2|.
    const double e = 0.5 * (m(0, 0) + m(1, 1)), f = 0.5 * (m(0, 0) - m(1, 1));
    const double g = 0.5 * (m(1, 0) + m(0, 1)), h = 0.5 * (m(1, 0) - m(0, 1));
    const double q = std::hypot(e, h), r = std::hypot(f, g);
    const double a1 = std::atan2(g, f), a2 = std::atan2(h, e);
    const double theta = 0.5 * (a2 - a1), phi = 0.5 * (a2 + a1);
    const double s1 = q + r, s2 = q - r;
    if (!std::isfinite(s1) || !std::isfinite(phi) || !std::isfinite(theta))
        throw xcBadArgument(L"Cannot map an ellipse by a non-finite transform");
    // m (cos t, sin t) = R(phi) diag(s1, s2) (cos(t + theta), sin(t + theta)); a negative s2
    // is a mirror, which reverses the parameter.
    if (s2 >= 0) {
        shift = theta;
        sign = 1.0;
    } else {
        shift = -theta;
        sign = -1.0;
    }
    xcEllipse2 out;
    out.m_c = x.mapPoint(m_c);
    out.m_rx = s1;
    out.m_ry = std::fabs(s2);
    out.m_rot = xcRadian(phi);
    return out;
}

xcEllipse2 xcEllipse2::map(const xcXform<2>& x) const {
    double shift = 0, sign = 1;
    return map_(x, shift, sign);
}

xcRect xcEllipse2::boundingBox() const {
    const Extremes e = extremes(fromUnitCircle().matrix());
    return xcRect(m_c.x() - e.hx, m_c.y() - e.hy, 2 * e.hx, 2 * e.hy);
}

xcRect xcEllipse2::boundingBox(const xcXform<2>& x) const {
    // The image of c + A u (|u| = 1) is x(c) + (M A) u, an ellipse with the same extremes form.
    const Extremes e = extremes(x.matrix() * fromUnitCircle().matrix());
    const xcVector<2> c = x.mapPoint(m_c);
    return xcRect(c.x() - e.hx, c.y() - e.hy, 2 * e.hx, 2 * e.hy);
}

// ---- xcEllipseArc2 -------------------------------------------------------------------------

xcEllipseArc2::xcEllipseArc2() : m_span(kTwoPi) {}

xcEllipseArc2::xcEllipseArc2(const xcEllipse2& ellipse, xcRadian start, xcRadian span)
    : m_e(ellipse) {
    checkAngle(start);
    checkAngle(span);
    m_start = start;
    m_span = span;
}

xcEllipseArc2 xcEllipseArc2::fromStartEnd(const xcEllipse2& ellipse, xcRadian start,
                                          xcRadian end) {
    checkAngle(start);
    checkAngle(end);
    return xcEllipseArc2(ellipse, start, (end - start).norm());
}

bool xcEllipseArc2::isFull() const { return std::fabs(m_span.toDouble()) >= kTwoPi; }

xcEllipseArc2 xcEllipseArc2::map(const xcXform<2>& x) const {
    double shift = 0, sign = 1;
    xcEllipse2 e = m_e.map_(x, shift, sign);
    return xcEllipseArc2(e, xcRadian(sign * m_start.toDouble() + shift), m_span * sign);
}

xcRect xcEllipseArc2::boundingBox() const {
    if (isFull()) return m_e.boundingBox();
    const double span = m_span.toDouble();
    const double lo = span >= 0 ? m_start.toDouble() : m_start.toDouble() + span;
    const double len = std::fabs(span);
    // True when parameter t lies on the arc [lo, lo + len] (modulo 2 pi).
    auto onArc = [&](double t) { return xcRadian(t - lo).norm().toDouble() <= len; };

    std::vector<xcVector<2>> pts{startPoint(), endPoint()};
    const Extremes e = extremes(m_e.fromUnitCircle().matrix());
    const xcVector<2>& c = m_e.center();
    for (int k = 0; k < 2; ++k) {
        const double sx = k == 0 ? 1.0 : -1.0;
        const double tx = e.tx + (k == 0 ? 0.0 : std::numbers::pi);
        const double ty = e.ty + (k == 0 ? 0.0 : std::numbers::pi);
        if (onArc(tx)) pts.emplace_back(c.x() + sx * e.hx, m_e.pointAt(xcRadian(tx)).y());
        if (onArc(ty)) pts.emplace_back(m_e.pointAt(xcRadian(ty)).x(), c.y() + sx * e.hy);
    }
    return xf_BoundingBoxOfPoints(pts.begin(), pts.end());
}
