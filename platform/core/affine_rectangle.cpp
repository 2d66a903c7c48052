#include "platform/core/affine_rectangle.h"

#include <array>
#include <cmath>
#include <string>

#include "platform/core/exception.h"

namespace {

void checkLength(double v, const wchar_t* which) {
    if (!std::isfinite(v) || v < 0)
        throw xcBadArgument(std::wstring(L"Affine rectangle ") + which +
                            L" length must be finite and >= 0");
}

void checkAngle(xcRadian a) {
    if (!std::isfinite(a.toDouble()))
        throw xcBadArgument(L"Affine rectangle angles must be finite");
}

}  // namespace

xcAffineRectangle::xcAffineRectangle(const xcVector<2>& corner, double xLength, double yLength,
                                     xcRadian xRotation, xcRadian skew) {
    checkLength(xLength, L"x");
    checkLength(yLength, L"y");
    checkAngle(xRotation);
    checkAngle(skew);
    setSides_(xLength, yLength, xRotation.toDouble(), (xRotation + skew).toDouble());
    m_po = corner;
}

xcAffineRectangle::xcAffineRectangle(const xcXform<2>& x)
    : m_po(x.trans()),
      m_x(x.matrix()(0, 0), x.matrix()(1, 0)),
      m_y(x.matrix()(0, 1), x.matrix()(1, 1)) {}

void xcAffineRectangle::setSides_(double xLen, double yLen, double xRot, double yRot) {
    m_x = xcVector<2>(xLen * std::cos(xRot), xLen * std::sin(xRot));
    m_y = xcVector<2>(-yLen * std::sin(yRot), yLen * std::cos(yRot));
}

void xcAffineRectangle::xLength(double v) {
    checkLength(v, L"x");
    const xcVector<2> c = center();
    const double a = xRotation().toDouble();
    m_x = xcVector<2>(v * std::cos(a), v * std::sin(a));
    center(c);
}

void xcAffineRectangle::yLength(double v) {
    checkLength(v, L"y");
    const xcVector<2> c = center();
    const double a = yRotation().toDouble();
    m_y = xcVector<2>(-v * std::sin(a), v * std::cos(a));
    center(c);
}

void xcAffineRectangle::xRotation(xcRadian a) {
    checkAngle(a);
    const xcVector<2> c = center();
    const xcRadian s = skew();
    setSides_(xLength(), yLength(), a.toDouble(), (a + s).toDouble());
    center(c);
}

void xcAffineRectangle::skew(xcRadian a) {
    checkAngle(a);
    const xcVector<2> c = center();
    const xcRadian r = xRotation();
    setSides_(xLength(), yLength(), r.toDouble(), (r + a).toDouble());
    center(c);
}

xcXform<2> xcAffineRectangle::fromUnitSquare() const {
    return {xcMatrix<2>(m_x.x(), m_y.x(), m_x.y(), m_y.y()), m_po};
}

xcAffineRectangle xcAffineRectangle::map(const xcXform<2>& x) const {
    xcAffineRectangle r;
    r.m_po = x.mapPoint(m_po);
    r.m_x = x.mapVector(m_x);
    r.m_y = x.mapVector(m_y);
    return r;
}

bool xcAffineRectangle::contains(const xcVector<2>& p) const {
    const double d = signedArea();
    if (d == 0.0) return false;
    const xcVector<2> q = p - m_po;
    // Coordinates of p in the unit-square frame, by Cramer's rule.
    const double u = q.cross(m_y) / d, v = m_x.cross(q) / d;
    return u >= 0 && u <= 1 && v >= 0 && v <= 1;
}

xcRect xcAffineRectangle::boundingBox() const {
    const std::array<xcVector<2>, 4> c{m_po, cornerPx(), cornerPy(), cornerPopp()};
    return xf_BoundingBoxOfPoints(c.begin(), c.end());
}

xcRect xcAffineRectangle::boundingBox(const xcXform<2>& x) const {
    return map(x).boundingBox();
}

bool xfRealEq(const xcAffineRectangle& a, const xcAffineRectangle& b, double tol) {
    return xfRealEq(a.cornerPo(), b.cornerPo(), tol) && xfRealEq(a.xSide(), b.xSide(), tol) &&
           xfRealEq(a.ySide(), b.ySide(), tol);
}
