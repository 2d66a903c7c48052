#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "platform/core/affine_rectangle.h"
#include "platform/core/ellipse.h"
#include "platform/core/exception.h"
#include "platform/core/line.h"
#include "platform/core/polygon.h"

namespace {

constexpr double kPi = std::numbers::pi;

void expectNear(const xcVector<2>& a, const xcVector<2>& b, double tol = 1e-12) {
    EXPECT_NEAR(a.x(), b.x(), tol);
    EXPECT_NEAR(a.y(), b.y(), tol);
}

void expectBoxNear(const xcRect& a, const xcRect& b, double tol) {
    expectNear(a.ul(), b.ul(), tol);
    expectNear(a.lr(), b.lr(), tol);
}

}  // namespace

TEST(AffineRectangle, CornersSidesAndAngles) {
    xcAffineRectangle r({1, 2}, {5, 2}, {1, 4});  // ul, ur, ll
    EXPECT_EQ(r.cornerPo(), xcVector<2>(1, 2));
    EXPECT_EQ(r.cornerPx(), xcVector<2>(5, 2));
    EXPECT_EQ(r.cornerPy(), xcVector<2>(1, 4));
    EXPECT_EQ(r.cornerPopp(), xcVector<2>(5, 4));
    EXPECT_EQ(r.center(), xcVector<2>(3, 3));
    EXPECT_DOUBLE_EQ(r.xLength(), 4);
    EXPECT_DOUBLE_EQ(r.yLength(), 2);
    EXPECT_DOUBLE_EQ(r.xRotation().toDouble(), 0);
    EXPECT_DOUBLE_EQ(r.skew().toDouble(), 0);
    EXPECT_EQ(r.boundingBox(), xcRect(1, 2, 4, 2));
    EXPECT_EQ(xcAffineRectangle(xcPelRect(1, 2, 4, 2)), r);

    // Lengths and angles follow the matrix conventions: a rotated, skewed rectangle.
    xcAffineRectangle s({0, 0}, 3.0, 2.0, xcDegree(30), xcDegree(10));
    expectNear(s.xSide(), xcVector<2>(3 * std::cos(kPi / 6), 3 * std::sin(kPi / 6)));
    expectNear(s.ySide(), xcVector<2>(-2 * std::sin(40 * kPi / 180), 2 * std::cos(40 * kPi / 180)));
    EXPECT_NEAR(xcDegree(s.skew()).toDouble(), 10, 1e-12);
    EXPECT_NEAR(xcDegree(s.yRotation()).toDouble(), 40, 1e-12);
    // A mirrored rectangle has skew pi.
    EXPECT_NEAR(xcAffineRectangle({0, 0}, {1, 0}, {0, -1}).skew().toDouble(), kPi, 1e-15);
    EXPECT_THROW(xcAffineRectangle({0, 0}, -1.0, 2.0), xcBadArgument);
}

TEST(AffineRectangle, SettersKeepTheCentre) {
    xcAffineRectangle a;  // unit square
    a.xLength(10);
    a.yLength(4);
    a.xRotation(xcDegree(90));
    a.skew(xcDegree(5));
    a.center({100, 50});
    expectNear(a.center(), {100, 50});
    EXPECT_NEAR(a.xLength(), 10, 1e-12);
    EXPECT_NEAR(a.yLength(), 4, 1e-12);
    EXPECT_NEAR(xcDegree(a.xRotation()).toDouble(), 90, 1e-12);
    EXPECT_NEAR(xcDegree(a.skew()).toDouble(), 5, 1e-12);
    xcAffineRectangle b = a;
    b.xLength(3);
    expectNear(b.center(), {100, 50}, 1e-12);
    EXPECT_NEAR(xcDegree(b.skew()).toDouble(), 5, 1e-12);
    EXPECT_THROW(b.yLength(std::nan("")), xcBadArgument);
    EXPECT_NEAR(b.yLength(), 4, 1e-12);  // unchanged by the failure
}

TEST(AffineRectangle, MappingAndEnclosingImageRect) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> u(-5, 5);
    for (int k = 0; k < 100; ++k) {
        xcAffineRectangle r({u(rng), u(rng)}, {u(rng), u(rng)}, {u(rng), u(rng)});
        xcXform<2> x(xcMatrix<2>(u(rng), u(rng), u(rng), u(rng)), {u(rng), u(rng)});
        xcAffineRectangle m = r.map(x);
        expectNear(m.cornerPopp(), x.mapPoint(r.cornerPopp()), 1e-10);
        expectNear(m.center(), x.mapPoint(r.center()), 1e-10);
        // The unit-square transform sends (u, v) to corner + u xSide + v ySide.
        expectNear(r.fromUnitSquare().mapPoint({0.25, 0.75}),
                   r.cornerPo() + r.xSide() * 0.25 + r.ySide() * 0.75, 1e-12);
        EXPECT_TRUE(xfRealEq(xcAffineRectangle(r.fromUnitSquare()), r, 1e-15));
        EXPECT_TRUE(r.contains(r.center()) || r.isDegenerate());
        EXPECT_FALSE(r.contains(r.cornerPo() * 2.0 - r.center()));
    }
    // A square of side 2 turned by 45 degrees about (10, 10): its corners reach 10 +- sqrt(2).
    xcAffineRectangle d({0, 0}, 2.0, 2.0, xcDegree(45));
    d.center({10, 10});
    const double h = std::sqrt(2.0);
    expectBoxNear(d.boundingBox(), xcRect(10 - h, 10 - h, 2 * h, 2 * h), 1e-12);
    EXPECT_EQ(d.encloseImageRect(), xcPelRect(8, 8, 4, 4));
    // Mapped into image coordinates by a scale of 2 and a shift.
    xcXform<2> imageFromClient(xcMatrix<2>::scale(2, 2), {-0.5, 3});
    EXPECT_EQ(d.encloseImageRect(imageFromClient), xcPelRect(16, 20, 7, 6));
    // Exact integer corners enclose exactly, without a spare pixel.
    EXPECT_EQ(xcAffineRectangle(xcPelRect(-3, 4, 5, 6)).encloseImageRect(), xcPelRect(-3, 4, 5, 6));
}

TEST(Polygon, AreaContainsAndFillModes) {
    xcPolygon sq({{0, 0}, {4, 0}, {4, 4}, {0, 4}});
    EXPECT_EQ(sq.fillMode(), xcPolygon::eEvenOdd);
    EXPECT_DOUBLE_EQ(sq.signedArea(), 16);
    EXPECT_DOUBLE_EQ(sq.perimeter(), 16);
    EXPECT_TRUE(sq.contains({1, 1}));
    EXPECT_FALSE(sq.contains({5, 1}));
    EXPECT_EQ(sq.boundingBox(), xcRect(0, 0, 4, 4));
    // A pentagram: its centre is wound twice, inside only by the non-zero rule.
    std::vector<xcVector<2>> star;
    for (int k = 0; k < 5; ++k) {
        double a = kPi / 2 + k * 4 * kPi / 5;
        star.emplace_back(std::cos(a), std::sin(a));
    }
    xcPolygon even(star), nonzero(star, xcPolygon::eNonZero);
    EXPECT_FALSE(even.contains({0, 0}));
    EXPECT_TRUE(nonzero.contains({0, 0}));
    EXPECT_TRUE(even.contains({0, 0.7}));  // a point of the star
    xcXform<2> x(xcMatrix<2>::rotation(xcDegree(90)), {10, 0});
    xcPolygon m = sq.map(x);
    expectBoxNear(m.boundingBox(), xcRect(6, 0, 4, 4), 1e-12);
    expectBoxNear(sq.boundingBox(x), m.boundingBox(), 0);
    EXPECT_THROW(xcPolygon().boundingBox(), xcBadArgument);
    EXPECT_THROW(sq.vertex(4), xcBadArgument);
    EXPECT_THROW(sq.fillMode(static_cast<xcPolygon::FillMode>(9)), xcBadArgument);
    EXPECT_EQ(sq.fillMode(), xcPolygon::eEvenOdd);
}

TEST(Line, DistanceProjectionAndIntersection) {
    xcLine l({0, 1}, xcDegree(45));
    const double s = std::sqrt(0.5);
    expectNear(l.direction(), {s, s});
    EXPECT_NEAR(l.signedDistance({0, 2}), s, 1e-15);  // left of the direction is positive
    EXPECT_NEAR(l.signedDistance({1, 1}), -s, 1e-15);
    expectNear(l.project({1, 1}), {0.5, 1.5});
    EXPECT_NEAR(l.along({1, 1}), s, 1e-15);
    xcLine v = xcLine::fromPoints({3, -1}, {3, 5});
    expectNear(l.intersect(v), {3, 4});
    EXPECT_THROW(l.intersect(xcLine({5, 5}, xcDegree(45))), xcBadArgument);
    EXPECT_THROW(xcLine::fromPoints({1, 1}, {1, 1}), xcBadArgument);
    xcLine m = l.map(xcXform<2>(xcMatrix<2>::scale(2, 1), {0, 0}));
    EXPECT_NEAR(m.distance({0, 1}), 0, 1e-15);
    EXPECT_NEAR(m.angle().toDouble(), std::atan2(1, 2), 1e-15);

    xcLineSeg seg({0, 0}, {3, 4});
    EXPECT_DOUBLE_EQ(seg.length(), 5);
    EXPECT_DOUBLE_EQ(seg.distance({6, 8}), 5);   // beyond p2: distance to the endpoint
    EXPECT_DOUBLE_EQ(seg.distance({4, -3}), 5);  // beside the middle: perpendicular
    EXPECT_EQ(seg.boundingBox(), xcRect(0, 0, 3, 4));
    EXPECT_EQ(seg.map(xcXform<2>::translation({1, 1})), xcLineSeg({1, 1}, {4, 5}));
}

TEST(Ellipse, MappingKeepsPointsOnTheImage) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> u(-3, 3), r(0.5, 4);
    for (int k = 0; k < 200; ++k) {
        xcEllipseArc2 arc(xcEllipse2({u(rng), u(rng)}, r(rng), r(rng), xcRadian(u(rng))),
                          xcRadian(u(rng)), xcRadian(2 * u(rng)));
        xcXform<2> x(xcMatrix<2>(u(rng), u(rng), u(rng), u(rng)), {u(rng), u(rng)});
        if (std::fabs(x.det()) < 0.05) continue;
        xcEllipseArc2 m = arc.map(x);
        EXPECT_GE(m.ellipse().xRadius(), m.ellipse().yRadius());
        for (double f : {0.0, 0.3, 1.0}) {
            SCOPED_TRACE(testing::Message() << "f " << f);
            const xcRadian t = arc.start() + arc.span() * f;
            const xcRadian tm = m.start() + m.span() * f;
            expectNear(m.ellipse().pointAt(tm), x.mapPoint(arc.ellipse().pointAt(t)), 1e-9);
        }
    }
    xcCircle c({1, 2}, 3);
    EXPECT_EQ(c.boundingBox(), xcRect(-2, -1, 6, 6));
    EXPECT_EQ(xcEllipse2(c).boundingBox(), c.boundingBox());
    expectBoxNear(xcEllipse2({0, 0}, 2, 1, xcDegree(90)).boundingBox(), xcRect(-1, -2, 2, 4),
                  1e-15);
    EXPECT_THROW(xcCircle({0, 0}, -1), xcBadArgument);
    EXPECT_THROW(xcEllipse2({0, 0}, 1, std::nan("")), xcBadArgument);
}

TEST(EllipseArc, BoundingBoxMatchesDenseSampling) {
    std::mt19937 rng(9);
    std::uniform_real_distribution<double> u(-4, 4), r(0.5, 5), span(-7, 7);
    for (int k = 0; k < 300; ++k) {
        xcEllipseArc2 arc(xcEllipse2({u(rng), u(rng)}, r(rng), r(rng), xcRadian(u(rng))),
                          xcRadian(u(rng)), xcRadian(span(rng)));
        const int n = 20000;
        xcRect dense(arc.startPoint(), {0, 0});
        double sweep = std::min(std::fabs(arc.span().toDouble()), 2 * kPi);
        double dir = arc.span().toDouble() >= 0 ? 1 : -1;
        double x0 = 1e9, y0 = 1e9, x1 = -1e9, y1 = -1e9;
        for (int i = 0; i <= n; ++i) {
            xcVector<2> p = arc.ellipse().pointAt(arc.start() + xcRadian(dir * sweep * i / n));
            x0 = std::min(x0, p.x());
            y0 = std::min(y0, p.y());
            x1 = std::max(x1, p.x());
            y1 = std::max(y1, p.y());
        }
        xcRect box = arc.boundingBox();
        // Dense sampling can only fall short of a tight box, by at most the sagitta of a step.
        const double slack = 5.0 * (2 * kPi / n) * (2 * kPi / n) * 10;
        EXPECT_LE(box.ul().x(), x0 + 1e-12);
        EXPECT_GE(box.ul().x(), x0 - slack);
        EXPECT_LE(box.ul().y(), y0 + 1e-12);
        EXPECT_GE(box.ul().y(), y0 - slack);
        EXPECT_GE(box.lr().x(), x1 - 1e-12);
        EXPECT_LE(box.lr().x(), x1 + slack);
        EXPECT_GE(box.lr().y(), y1 - 1e-12);
        EXPECT_LE(box.lr().y(), y1 + slack);
    }
    // An arc of the unit circle across the top (90 degrees) reaches y = 1 there, not at its
    // endpoints.
    xcEllipseArc2 top(xcEllipse2(xcCircle({0, 0}, 1)), xcDegree(60), xcDegree(60));
    expectBoxNear(top.boundingBox(), xcRect(-0.5, std::sqrt(0.75), 1, 1 - std::sqrt(0.75)), 1e-12);
    // The same arc given by its ends, and the short arc that does not cross an extreme.
    EXPECT_EQ(xcEllipseArc2::fromStartEnd(top.ellipse(), xcDegree(60), xcDegree(120)).span(),
              top.span());
    xcEllipseArc2 side(xcEllipse2(xcCircle({0, 0}, 2)), xcDegree(10), xcDegree(20));
    expectBoxNear(side.boundingBox(),
                  xcRect(2 * std::cos(30 * kPi / 180), 2 * std::sin(10 * kPi / 180),
                         2 * (std::cos(10 * kPi / 180) - std::cos(30 * kPi / 180)),
                         2 * (std::sin(30 * kPi / 180) - std::sin(10 * kPi / 180))),
                  1e-12);
    // Crossing angle 0 (the +x extreme) reaches x = radius.
    xcEllipseArc2 cross(xcEllipse2(xcCircle({0, 0}, 2)), xcDegree(-5), xcDegree(10));
    EXPECT_NEAR(cross.boundingBox().lr().x(), 2.0, 1e-15);
}
