// 2x2 real matrices.
//
// xcMatrix<2>(a, b, c, d) holds the rows (a b; c d). xcMatrix<2>(xRot, yRot, xScale, yScale)
// has the columns xScale (cos xRot, sin xRot) and yScale (-sin yRot, cos yRot); xRot(), yRot(),
// xScale() and yScale() decompose any matrix that way (xScale, yScale >= 0 are the column
// lengths, xRot and yRot the column angles).
#pragma once

#include <cmath>

#include "platform/core/angle.h"
#include "platform/core/vector.h"

template <int N>
class xcMatrix;

template <>
class xcMatrix<2> {
public:
    // The identity.
    constexpr xcMatrix() = default;
    constexpr xcMatrix(double a, double b, double c, double d) : m_e{a, b, c, d} {}
    xcMatrix(xcRadian xRot, xcRadian yRot, double xScale, double yScale)
        : m_e{xScale * cos(xRot), -yScale * sin(yRot), xScale * sin(xRot), yScale * cos(yRot)} {}

    static constexpr xcMatrix identity() { return {}; }
    // Rotation by `a` (x towards y).
    static xcMatrix rotation(xcRadian a) { return xcMatrix(a, a, 1.0, 1.0); }
    static constexpr xcMatrix scale(double sx, double sy) { return {sx, 0, 0, sy}; }

    // Element at row r, column c.
    constexpr double element(int r, int c) const { return m_e[2 * r + c]; }
    void element(int r, int c, double v) { m_e[2 * r + c] = v; }
    constexpr double operator()(int r, int c) const { return m_e[2 * r + c]; }

    constexpr double determinant() const { return m_e[0] * m_e[3] - m_e[1] * m_e[2]; }
    constexpr double det() const { return determinant(); }
    // Throws xcMath::Singular when the determinant is 0 (or not finite).
    xcMatrix inverse() const;
    constexpr xcMatrix transpose() const { return {m_e[0], m_e[2], m_e[1], m_e[3]}; }

    constexpr xcMatrix operator*(const xcMatrix& o) const {
        return {m_e[0] * o.m_e[0] + m_e[1] * o.m_e[2], m_e[0] * o.m_e[1] + m_e[1] * o.m_e[3],
                m_e[2] * o.m_e[0] + m_e[3] * o.m_e[2], m_e[2] * o.m_e[1] + m_e[3] * o.m_e[3]};
    }
    constexpr xcVector<2> operator*(const xcVector<2>& v) const {
        return {m_e[0] * v.x() + m_e[1] * v.y(), m_e[2] * v.x() + m_e[3] * v.y()};
    }
    constexpr xcMatrix operator*(double s) const {
        return {m_e[0] * s, m_e[1] * s, m_e[2] * s, m_e[3] * s};
    }
    constexpr xcMatrix operator+(const xcMatrix& o) const {
        return {m_e[0] + o.m_e[0], m_e[1] + o.m_e[1], m_e[2] + o.m_e[2], m_e[3] + o.m_e[3]};
    }
    constexpr xcMatrix operator-(const xcMatrix& o) const {
        return {m_e[0] - o.m_e[0], m_e[1] - o.m_e[1], m_e[2] - o.m_e[2], m_e[3] - o.m_e[3]};
    }
    constexpr bool operator==(const xcMatrix& o) const {
        return m_e[0] == o.m_e[0] && m_e[1] == o.m_e[1] && m_e[2] == o.m_e[2] && m_e[3] == o.m_e[3];
    }

    xcRadian xRot() const { return xcRadian(std::atan2(m_e[2], m_e[0])); }
    xcRadian yRot() const { return xcRadian(std::atan2(-m_e[1], m_e[3])); }
    double xScale() const { return std::hypot(m_e[0], m_e[2]); }
    double yScale() const { return std::hypot(m_e[1], m_e[3]); }

private:
    double m_e[4] = {1.0, 0.0, 0.0, 1.0};
};

// True when every element agrees within tol (see xfRealEq for doubles).
inline bool xfRealEq(const xcMatrix<2>& a, const xcMatrix<2>& b, double tol = 1e-10) {
    for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 2; ++c)
            if (!xfRealEq(a(r, c), b(r, c), tol)) return false;
    return true;
}
