// Polymorphic plane transforms. A pel buffer's client-from-image transform is one of these:
// usually linear (affine, xc2XformLinear), possibly not. Code that needs an affine transform
// asks isLinear() and takes the linear form; linearAt(p) is the best affine approximation
// (first-order Taylor expansion) at the point p.
#pragma once

#include <memory>

#include "platform/core/xform.h"

class xc2XformLinear;

class xc2XformBase {
public:
    virtual ~xc2XformBase() = default;

    virtual xcVector<2> mapPoint(const xcVector<2>& p) const = 0;
    // True when the transform is affine everywhere.
    virtual bool isLinear() const = 0;
    // The affine transform that agrees with this one to first order at p.
    virtual xc2XformLinear linearAt(const xcVector<2>& p) const = 0;
    // A copy of the same dynamic type.
    virtual std::shared_ptr<xc2XformBase> clone() const = 0;

protected:
    xc2XformBase() = default;
    xc2XformBase(const xc2XformBase&) = default;
    xc2XformBase& operator=(const xc2XformBase&) = default;
};

// The affine case.
class xc2XformLinear : public xc2XformBase {
public:
    xc2XformLinear() = default;
    xc2XformLinear(const xcXform<2>& x) : m_x(x) {}  // NOLINT: converts implicitly
    xc2XformLinear(const xcMatrix<2>& m, const xcVector<2>& offset) : m_x(m, offset) {}

    const xcXform<2>& xform() const { return m_x; }
    operator const xcXform<2>&() const { return m_x; }  // NOLINT

    xcVector<2> mapPoint(const xcVector<2>& p) const override { return m_x.mapPoint(p); }
    bool isLinear() const override { return true; }
    xc2XformLinear linearAt(const xcVector<2>&) const override { return *this; }
    std::shared_ptr<xc2XformBase> clone() const override {
        return std::make_shared<xc2XformLinear>(*this);
    }
    xc2XformLinear inverse() const { return xc2XformLinear(m_x.inverse()); }
    xc2XformLinear operator*(const xc2XformLinear& o) const { return xc2XformLinear(m_x * o.m_x); }
    bool operator==(const xc2XformLinear& o) const { return m_x == o.m_x; }

private:
    xcXform<2> m_x;
};

inline bool xfRealEq(const xc2XformLinear& a, const xc2XformLinear& b, double tol = 1e-10) {
    return xfRealEq(a.xform(), b.xform(), tol);
}
