#include "platform/diag/graphic_shapes.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

#include "platform/core/exception.h"

namespace {

std::wstring num(double v) {
    wchar_t buf[40];
    std::swprintf(buf, sizeof buf / sizeof buf[0], L"%.6g", v);
    return buf;
}

std::wstring degrees(xcRadian a) { return num(xcDegree(a).toDouble()) + L"\u00b0"; }

// An arrow head at `tip` for a shaft coming from `from`, `size` drawing pixels long.
void arrowHead(xcGraphicPainter& p, const xcVector<2>& from, const xcVector<2>& tip, double size,
               const xcGraphicProps& props) {
    const xcVector<2> d = (tip - from).unit();
    if (d.len2() == 0.0) return;
    const xcVector<2> back = tip - d * size, side = d.perp() * (0.45 * size);
    p.polyline({back + side, tip, back - side}, false, false, props);
}

}  // namespace

// ---- Drawing ----------------------------------------------------------------------------

void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcAffineRectangle& s,
                  const xcGraphicProps& props, bool fill) {
    const xcAffineRectangle m = s.map(x);
    p.polyline({m.cornerPo(), m.cornerPx(), m.cornerPopp(), m.cornerPy()}, true, fill, props);
}

void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcRect& s,
                  const xcGraphicProps& props, bool fill) {
    xf_DrawShape(p, x, xcAffineRectangle(s), props, fill);
}

void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcLineSeg& s,
                  const xcGraphicProps& props, bool) {
    p.polyline({x.mapPoint(s.p1()), x.mapPoint(s.p2())}, false, false, props);
}

void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcEllipseArc2& s,
                  const xcGraphicProps& props, bool) {
    p.ellipseArc(s.map(x), props);
}

void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcEllipse2& s,
                  const xcGraphicProps& props, bool fill) {
    xf_DrawShape(p, x, xcEllipseArc2(s, xcRadian(0.0), xcRadian(2 * std::numbers::pi)), props,
                 fill);
}

void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcCircle& s,
                  const xcGraphicProps& props, bool fill) {
    xf_DrawShape(p, x, xcEllipse2(s), props, fill);
}

void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcPolygon& s,
                  const xcGraphicProps& props, bool fill) {
    std::vector<xcVector<2>> pts;
    pts.reserve(s.vertices().size());
    for (const auto& v : s.vertices()) pts.push_back(x.mapPoint(v));
    if (!pts.empty()) p.polyline(pts, true, fill, props);
}

void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcCoordAxes& s,
                  const xcGraphicProps& props, bool) {
    const xcCoordAxes m = s.map(x);
    const double len = std::max((m.xEnd() - m.origin()).len(), (m.yEnd() - m.origin()).len());
    const double head = std::clamp(0.25 * len, 0.5, 8.0);
    p.polyline({m.xEnd(), m.origin(), m.yEnd()}, false, false, props);
    arrowHead(p, m.origin(), m.xEnd(), head, props);
    arrowHead(p, m.origin(), m.yEnd(), head, props);
    // Labels just beyond the tips.
    const double h = std::clamp(0.3 * len, 1.0, 12.0);
    auto beyond = [&](const xcVector<2>& tip) {
        return tip + (tip - m.origin()).unit() * (0.4 * h) + xcVector<2>(-0.3 * h, 0.35 * h);
    };
    p.label(beyond(m.xEnd()), L"x", h, props);
    p.label(beyond(m.yEnd()), L"y", h, props);
}

// ---- Descriptions -----------------------------------------------------------------------

std::wstring xf_DescribeShape(const xcAffineRectangle& s) {
    return L"Affine rectangle " + xf_PointText(s.cornerPo()) + L", " + xf_PointText(s.cornerPx()) +
           L", " + xf_PointText(s.cornerPopp()) + L", " + xf_PointText(s.cornerPy());
}

std::wstring xf_DescribeShape(const xcRect& s) {
    return L"Rectangle " + xf_PointText(s.ul()) + L" size " + num(s.width()) + L" x " +
           num(s.height());
}

std::wstring xf_DescribeShape(const xcLineSeg& s) {
    return L"Line segment " + xf_PointText(s.p1()) + L" to " + xf_PointText(s.p2());
}

std::wstring xf_DescribeShape(const xcEllipseArc2& s) {
    const xcEllipse2& e = s.ellipse();
    std::wstring r = (s.isFull() ? L"Ellipse centre " : L"Elliptical arc centre ") +
                     xf_PointText(e.center()) + L" radii " + num(e.xRadius()) + L", " +
                     num(e.yRadius()) + L" rotation " + degrees(e.rotation());
    if (!s.isFull()) r += L" from " + degrees(s.start()) + L" over " + degrees(s.span());
    return r;
}

std::wstring xf_DescribeShape(const xcEllipse2& s) {
    return L"Ellipse centre " + xf_PointText(s.center()) + L" radii " + num(s.xRadius()) + L", " +
           num(s.yRadius()) + L" rotation " + degrees(s.rotation());
}

std::wstring xf_DescribeShape(const xcCircle& s) {
    return L"Circle centre " + xf_PointText(s.center()) + L" radius " + num(s.radius());
}

std::wstring xf_DescribeShape(const xcPolygon& s) {
    std::wstring r = L"Polygon of " + std::to_wstring(s.vertices().size()) + L" vertices";
    for (std::size_t i = 0; i < s.vertices().size() && i < 8; ++i)
        r += (i ? L", " : L" ") + xf_PointText(s.vertices()[i]);
    if (s.vertices().size() > 8) r += L", ...";
    return r;
}

std::wstring xf_DescribeShape(const xcCoordAxes& s) {
    return L"Coordinate axes origin " + xf_PointText(s.origin()) + L" x to " +
           xf_PointText(s.xEnd()) + L" y to " + xf_PointText(s.yEnd());
}

xcRect xf_ShapeBox(const xcRect& s, const xcXform<2>& x) {
    return xcAffineRectangle(s).boundingBox(x);
}

xcRect xf_ShapeBox(const xcPolygon& s, const xcXform<2>& x) {
    if (s.vertices().empty()) return xcRect();
    return s.boundingBox(x);
}

// ---- Point icon ---------------------------------------------------------------------------

xcGraphicPointIcon::xcGraphicPointIcon(const xcVector<2>& point, const xcGraphicProps& props,
                                       double size)
    : xcGraphic(props), m_point(point), m_size(size) {
    if (!(size > 0.0) || !std::isfinite(size))
        throw xcBadArgument(L"xcGraphicPointIcon: the size must be a positive number of pixels");
}

xcRect xcGraphicPointIcon::boundingBox(const xcXform<2>& x) const {
    const xcVector<2> c = x.mapPoint(m_point);
    return xcRect(c.x(), c.y(), 0.0, 0.0);
}

std::wstring xcGraphicPointIcon::describe() const { return L"Point " + xf_PointText(m_point); }

void xcGraphicPointIcon::drawShape_(xcGraphicPainter& p, const xcXform<2>& x) const {
    p.pointMark(x.mapPoint(m_point), m_size, props());
}
