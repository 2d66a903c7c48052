// Affine transforms of the plane: x -> M x + t.
//
// `a * b` applies b first. mapPoint applies the whole transform, mapVector the matrix only.
// The five-argument constructor (translation, scale, aspect, shear, rotation) builds
// R(rotation) * [[scale, scale*aspect*shear], [0, scale*aspect]] with the translation.
#pragma once

#include "platform/core/matrix.h"
#include "platform/core/vector.h"

template <int N>
class xcXform;

template <>
class xcXform<2> {
public:
    // The identity.
    constexpr xcXform() = default;
    constexpr xcXform(const xcMatrix<2>& m, const xcVector<2>& t) : m_m(m), m_t(t) {}
    xcXform(const xcVector<2>& translation, double scale, double aspect, double shear,
            xcRadian rotation);

    static constexpr xcXform identity() { return {}; }
    static constexpr xcXform translation(const xcVector<2>& t) { return {xcMatrix<2>(), t}; }

    constexpr const xcMatrix<2>& matrix() const { return m_m; }
    constexpr const xcVector<2>& trans() const { return m_t; }
    void matrix(const xcMatrix<2>& m) { m_m = m; }
    void trans(const xcVector<2>& t) { m_t = t; }

    constexpr xcVector<2> mapPoint(const xcVector<2>& p) const { return m_m * p + m_t; }
    constexpr xcVector<2> mapVector(const xcVector<2>& v) const { return m_m * v; }
    constexpr double determinant() const { return m_m.determinant(); }
    constexpr double det() const { return determinant(); }
    // Throws xcMath::Singular when the matrix cannot be inverted.
    xcXform inverse() const;

    constexpr xcXform operator*(const xcXform& o) const {
        return {m_m * o.m_m, m_m * o.m_t + m_t};
    }
    constexpr xcVector<2> operator*(const xcVector<2>& p) const { return mapPoint(p); }
    constexpr bool operator==(const xcXform& o) const { return m_m == o.m_m && m_t == o.m_t; }

    // Decomposition of the matrix (see xcMatrix<2>).
    xcRadian xRot() const { return m_m.xRot(); }
    xcRadian yRot() const { return m_m.yRot(); }
    double xScale() const { return m_m.xScale(); }
    double yScale() const { return m_m.yScale(); }

private:
    xcMatrix<2> m_m;
    xcVector<2> m_t;
};

// True when the matrices and the translations agree element by element within tol (see
// xfRealEq for doubles). The tolerance is absolute for elements of magnitude up to 1 and
// relative above.
inline bool xfRealEq(const xcXform<2>& a, const xcXform<2>& b, double tol = 1e-10) {
    return xfRealEq(a.matrix(), b.matrix(), tol) && xfRealEq(a.trans(), b.trans(), tol);
}
