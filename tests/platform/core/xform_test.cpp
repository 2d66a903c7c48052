#include "platform/core/xform.h"

#include <gtest/gtest.h>

#include <numbers>
#include <random>

#include "platform/core/exception.h"
#include "platform/core/xform_base.h"

namespace {

xcXform<2> randomXform(std::mt19937& rng) {
    std::uniform_real_distribution<double> u(-3, 3), s(0.2, 4);
    return {xcMatrix<2>(xcRadian(u(rng)), xcRadian(u(rng)), s(rng), s(rng)),
            xcVector<2>(u(rng) * 50, u(rng) * 50)};
}

}  // namespace

TEST(Xform, CompositionAppliesRightOperandFirst) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> u(-100, 100);
    for (int k = 0; k < 200; ++k) {
        xcXform<2> a = randomXform(rng), b = randomXform(rng);
        xcVector<2> p(u(rng), u(rng));
        EXPECT_TRUE(xfRealEq((a * b).mapPoint(p), a.mapPoint(b.mapPoint(p)), 1e-9));
        EXPECT_TRUE(xfRealEq(a.inverse().mapPoint(a.mapPoint(p)), p, 1e-9));
        EXPECT_TRUE(xfRealEq(a * a.inverse(), xcXform<2>(), 1e-12));
        EXPECT_TRUE(xfRealEq((a * b).inverse(), b.inverse() * a.inverse(), 1e-9));
        EXPECT_TRUE(xfRealEq(a.mapVector(p), a.mapPoint(p) - a.mapPoint({0, 0}), 1e-9));
    }
}

TEST(Xform, DecompositionRoundTrips) {
    std::mt19937 rng(12);
    std::uniform_real_distribution<double> ang(-3.1, 3.1), s(0.1, 10);
    for (int k = 0; k < 500; ++k) {
        xcRadian xr(ang(rng)), yr(ang(rng));
        double xs = s(rng), ys = s(rng);
        xcMatrix<2> m(xr, yr, xs, ys);
        EXPECT_NEAR(m.xRot().toDouble(), xr.toDouble(), 1e-12);
        EXPECT_NEAR(m.yRot().toDouble(), yr.toDouble(), 1e-12);
        EXPECT_NEAR(m.xScale(), xs, 1e-12 * xs);
        EXPECT_NEAR(m.yScale(), ys, 1e-12 * ys);
        // The decomposition of any matrix rebuilds it.
        xcMatrix<2> r(m.xRot(), m.yRot(), m.xScale(), m.yScale());
        EXPECT_TRUE(xfRealEq(r, m, 1e-12));
        xcXform<2> x(m, {1, 2});
        EXPECT_NEAR(x.xRot().toDouble(), xr.toDouble(), 1e-12);
        EXPECT_NEAR(x.yScale(), ys, 1e-12 * ys);
    }
    // Columns are xScale (cos xRot, sin xRot) and yScale (-sin yRot, cos yRot).
    xcMatrix<2> m(xcDegree(90), xcDegree(0), 2.0, 3.0);
    EXPECT_NEAR(m(0, 0), 0.0, 1e-15);
    EXPECT_NEAR(m(1, 0), 2.0, 1e-15);
    EXPECT_NEAR(m(0, 1), 0.0, 1e-15);
    EXPECT_NEAR(m(1, 1), 3.0, 1e-15);
}

TEST(Xform, FiveArgumentConstructor) {
    // R(rotation) * [[scale, scale*aspect*shear], [0, scale*aspect]] plus the translation.
    xcXform<2> x(xcVector<2>(5, -7), 2.0, 1.5, 0.25, xcDegree(90));
    EXPECT_TRUE(xfRealEq(x.matrix(), xcMatrix<2>(0, -3, 2, 0.75), 1e-14));
    EXPECT_EQ(x.trans(), xcVector<2>(5, -7));
    std::mt19937 rng(13);
    std::uniform_real_distribution<double> ang(-3.1, 3.1), s(0.2, 5), sh(-0.5, 0.5);
    for (int k = 0; k < 200; ++k) {
        double scale = s(rng), aspect = s(rng), rot = ang(rng);
        xcXform<2> y(xcVector<2>(1, 1), scale, aspect, 0.0, xcRadian(rot));
        // Without shear the pose decomposes into its rotation and the two scales.
        EXPECT_NEAR(xcRadian(y.xRot() - xcRadian(rot)).signedNorm().toDouble(), 0, 1e-12);
        EXPECT_NEAR(xcRadian(y.yRot() - xcRadian(rot)).signedNorm().toDouble(), 0, 1e-12);
        EXPECT_NEAR(y.xScale(), scale, 1e-12 * scale);
        EXPECT_NEAR(y.yScale(), scale * aspect, 1e-12 * scale * aspect);
        double shear = sh(rng);
        xcXform<2> z(xcVector<2>(), scale, aspect, shear, xcRadian(rot));
        EXPECT_NEAR(z.det(), scale * scale * aspect, 1e-10 * scale * scale * aspect);
    }
}

TEST(Xform, SingularInverseThrowsAndTolerantEquality) {
    xcXform<2> flat(xcMatrix<2>(1, 2, 2, 4), {0, 0});
    EXPECT_THROW(flat.inverse(), xcMath::Singular);
    xcXform<2> a(xcMatrix<2>(1, 0, 0, 1), {100, 0});
    xcXform<2> b(xcMatrix<2>(1 + 1e-12, 0, 0, 1), {100 + 1e-9, 0});
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(xfRealEq(a, b, 1e-10));  // translation compared relative to its size
    EXPECT_FALSE(xfRealEq(a, b, 1e-13));
    EXPECT_FALSE(xfRealEq(a, xcXform<2>(xcMatrix<2>(1, 1e-6, 0, 1), {100, 0}), 1e-9));
    EXPECT_TRUE(xfRealEq(xc2XformLinear(a), xc2XformLinear(b), 1e-10));
    EXPECT_TRUE(xfRealEq(xcVector<2>(1, 2), xcVector<2>(1, 2 + 1e-11)));
    EXPECT_FALSE(xfRealEq(xcVector<2>(1, 2), xcVector<2>(1.001, 2)));
}
