#include "platform/core/rigid.h"

#include <gtest/gtest.h>

#include <numbers>
#include <random>

namespace {

void expectNear(const xcVector<2>& a, const xcVector<2>& b, double tol = 1e-12) {
    EXPECT_NEAR(a.x(), b.x(), tol);
    EXPECT_NEAR(a.y(), b.y(), tol);
}

}  // namespace

TEST(Rigid, MapsLikeItsTransform) {
    xc2Rigid r(xcVector<2>(3, -2), xcDegree(90));
    expectNear(r.mapPoint({1, 0}), {3, -1});  // x axis turns onto y
    expectNear(r.mapVector({1, 0}), {0, 1});
    expectNear(r * xcVector<2>(0, 0), {3, -2});
    EXPECT_EQ(r.angle(), xcRadian(xcDegree(90)));
    EXPECT_EQ(r.translation(), xcVector<2>(3, -2));
    xcXform<2> x = r;  // conversion
    EXPECT_EQ(x, r.linear());
    EXPECT_NEAR(x.det(), 1.0, 1e-15);
    EXPECT_EQ(xc2Rigid(xcDegree(90), xcVector<2>(3, -2)), r);
    EXPECT_EQ(xc2Rigid().linear(), xcXform<2>());
}

TEST(Rigid, CompositionAndInverseRoundTrip) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> u(-10, 10);
    for (int k = 0; k < 200; ++k) {
        xc2Rigid a({u(rng), u(rng)}, xcRadian(u(rng))), b({u(rng), u(rng)}, xcRadian(u(rng)));
        xcVector<2> p(u(rng), u(rng));
        expectNear((a * b).mapPoint(p), a.mapPoint(b.mapPoint(p)), 1e-11);
        expectNear((a * b).linear().mapPoint(p), (a.linear() * b.linear()).mapPoint(p), 1e-11);
        expectNear(a.inverse().mapPoint(a.mapPoint(p)), p, 1e-11);
        xc2Rigid id = a * a.inverse();
        EXPECT_NEAR(id.angle().toDouble(), 0.0, 1e-15);
        expectNear(id.translation(), {0, 0}, 1e-11);
    }
    // Repeated steps, as a line lays out its characters: pose k = step * pose k-1.
    xc2Rigid step({10, 0}, xcDegree(30)), pose;
    for (int k = 0; k < 12; ++k) pose = step * pose;
    EXPECT_NEAR(pose.angle().toDouble(), 2 * std::numbers::pi, 1e-12);  // angles add, unwrapped
    expectNear(pose.translation(), {0, 0}, 1e-9);  // twelve 30-degree steps close the polygon
}
