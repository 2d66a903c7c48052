// Rigid motions of the plane: a rotation followed by a translation, x -> R(angle) x + t.
//
// Poses of characters in a line and of lines in an arrangement are rigid motions. `a * b`
// applies b first, as for xcXform<2>. The angle is in radians (an xcDegree converts
// implicitly); it is kept as given, not normalised, so that a pose round-trips exactly.
// linear() (and the conversion) gives the same motion as an affine xcXform<2>.
#pragma once

#include "platform/core/angle.h"
#include "platform/core/vector.h"
#include "platform/core/xform.h"

class xc2Rigid {
public:
    // The identity.
    xc2Rigid() = default;
    xc2Rigid(const xcVector<2>& translation, xcRadian angle) : m_t(translation), m_a(angle) {}
    xc2Rigid(xcRadian angle, const xcVector<2>& translation) : m_t(translation), m_a(angle) {}

    static xc2Rigid identity() { return {}; }
    static xc2Rigid rotation(xcRadian angle) { return {xcVector<2>(), angle}; }
    static xc2Rigid translationBy(const xcVector<2>& t) { return {t, xcRadian()}; }

    // The rotation angle (radians), as given.
    xcRadian angle() const { return m_a; }
    xcRadian rotation() const { return m_a; }
    void angle(xcRadian a) { m_a = a; }
    // The translation: where the origin goes.
    const xcVector<2>& trans() const { return m_t; }
    const xcVector<2>& translation() const { return m_t; }
    void trans(const xcVector<2>& t) { m_t = t; }
    void translation(const xcVector<2>& t) { m_t = t; }

    xcVector<2> mapPoint(const xcVector<2>& p) const {
        double c = cos(m_a), s = sin(m_a);
        return {c * p.x() - s * p.y() + m_t.x(), s * p.x() + c * p.y() + m_t.y()};
    }
    xcVector<2> mapVector(const xcVector<2>& v) const {
        double c = cos(m_a), s = sin(m_a);
        return {c * v.x() - s * v.y(), s * v.x() + c * v.y()};
    }
    xcVector<2> operator*(const xcVector<2>& p) const { return mapPoint(p); }

    // Composition: (a * b).mapPoint(p) == a.mapPoint(b.mapPoint(p)). Angles add.
    xc2Rigid operator*(const xc2Rigid& o) const { return {mapPoint(o.m_t), m_a + o.m_a}; }
    // The inverse motion (never singular): angle -a, translation -R(-a) t.
    xc2Rigid inverse() const {
        xc2Rigid r(xcVector<2>(), -m_a);
        r.m_t = -r.mapVector(m_t);
        return r;
    }

    // The same motion as an affine transform (rotation matrix and translation).
    xcXform<2> linear() const { return {xcMatrix<2>::rotation(m_a), m_t}; }
    xcXform<2> xform() const { return linear(); }
    operator xcXform<2>() const { return linear(); }  // NOLINT: converts implicitly

    // Exact equality of translation and angle (2 pi apart counts as different).
    bool operator==(const xc2Rigid& o) const { return m_t == o.m_t && m_a == o.m_a; }
    bool operator!=(const xc2Rigid& o) const { return !(*this == o); }

private:
    xcVector<2> m_t;
    xcRadian m_a;
};

// True when translations and angles agree within tol (see xfRealEq for doubles); angles are
// compared as given, so 0 and 2 pi differ.
inline bool xfRealEq(const xc2Rigid& a, const xc2Rigid& b, double tol = 1e-10) {
    return xfRealEq(a.translation(), b.translation(), tol) &&
           xfRealEq(a.angle().toDouble(), b.angle().toDouble(), tol);
}
