// Fixed-size real vectors. Only the 2-D form is used: xcVector<2> is a point or a direction
// in whatever frame its user states (image or client coordinates).
#pragma once

#include <cmath>

#include "platform/core/math_util.h"

template <int N>
class xcVector;

template <>
class xcVector<2> {
public:
    constexpr xcVector() = default;
    constexpr xcVector(double x, double y) : m_x(x), m_y(y) {}

    constexpr double x() const { return m_x; }
    constexpr double y() const { return m_y; }
    void x(double v) { m_x = v; }
    void y(double v) { m_y = v; }
    constexpr double operator[](int i) const { return i == 0 ? m_x : m_y; }
    double& operator[](int i) { return i == 0 ? m_x : m_y; }

    constexpr xcVector operator+(const xcVector& o) const { return {m_x + o.m_x, m_y + o.m_y}; }
    constexpr xcVector operator-(const xcVector& o) const { return {m_x - o.m_x, m_y - o.m_y}; }
    constexpr xcVector operator-() const { return {-m_x, -m_y}; }
    constexpr xcVector operator*(double s) const { return {m_x * s, m_y * s}; }
    constexpr xcVector operator/(double s) const { return {m_x / s, m_y / s}; }
    xcVector& operator+=(const xcVector& o) { m_x += o.m_x; m_y += o.m_y; return *this; }
    xcVector& operator-=(const xcVector& o) { m_x -= o.m_x; m_y -= o.m_y; return *this; }
    xcVector& operator*=(double s) { m_x *= s; m_y *= s; return *this; }
    xcVector& operator/=(double s) { m_x /= s; m_y /= s; return *this; }
    constexpr bool operator==(const xcVector& o) const { return m_x == o.m_x && m_y == o.m_y; }
    constexpr bool operator!=(const xcVector& o) const { return !(*this == o); }

    // Dot product; `cross` is the z component of the 3-D cross product.
    constexpr double dot(const xcVector& o) const { return m_x * o.m_x + m_y * o.m_y; }
    constexpr double cross(const xcVector& o) const { return m_x * o.m_y - m_y * o.m_x; }
    double len() const { return std::hypot(m_x, m_y); }
    constexpr double len2() const { return m_x * m_x + m_y * m_y; }
    // Direction in radians, atan2(y, x); 0 for the zero vector.
    double angle() const { return std::atan2(m_y, m_x); }
    // The vector scaled to length 1; the zero vector stays zero.
    xcVector unit() const {
        double l = len();
        return l > 0 ? xcVector(m_x / l, m_y / l) : xcVector();
    }
    // The vector turned by +90 degrees (x to y).
    constexpr xcVector perp() const { return {-m_y, m_x}; }

private:
    double m_x = 0.0;
    double m_y = 0.0;
};

inline constexpr xcVector<2> operator*(double s, const xcVector<2>& v) { return v * s; }

using xcVec2 = xcVector<2>;

// True when both coordinates agree within tol (see xfRealEq for doubles).
inline bool xfRealEq(const xcVector<2>& a, const xcVector<2>& b, double tol = 1e-10) {
    return xfRealEq(a.x(), b.x(), tol) && xfRealEq(a.y(), b.y(), tol);
}
