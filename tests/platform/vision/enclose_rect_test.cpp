#include "platform/vision/enclose_rect.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace {

struct Box {
    double x0 = std::numeric_limits<double>::infinity(), y0 = x0;
    double x1 = -std::numeric_limits<double>::infinity(), y1 = x1;
    void add(const xcVector<2>& p) {
        x0 = std::min(x0, p.x());
        y0 = std::min(y0, p.y());
        x1 = std::max(x1, p.x());
        y1 = std::max(y1, p.y());
    }
};

// Every placement on a grid over the uncertainty box, the grid including each interval's ends,
// the stationary angles of every vertex coordinate, and many interior values.
Box sample(const std::vector<xcVector<2>>& poly, const xcXform<2>& x1, const xcXform<2>& x2,
           double xu, double yu, double ru, double su, double au, double hu) {
    const xcXform<2> place = x2.inverse() * x1;
    std::vector<double> thetas;
    for (int k = 0; k <= 200; ++k) thetas.push_back(-ru + 2 * ru * k / 200);
    // The stationary angles of m_k . R(t) v for each vertex, row and (s, a, h) corner.
    for (const auto& p : poly)
        for (double s : {-su, su})
            for (double a : {-au, au})
                for (double h : {-hu, hu}) {
                    const xcVector<2> v =
                        xcVector<2>(p.x() + (1 + a) * h * p.y(), (1 + a) * p.y()) * (1 + s);
                    for (int k = 0; k < 2; ++k) {
                        const double m0 = place.matrix()(k, 0), m1 = place.matrix()(k, 1);
                        const double A = m0 * v.x() + m1 * v.y();
                        const double B = m0 * -v.y() + m1 * v.x();
                        for (double t : {std::atan2(B, A), std::atan2(B, A) + std::numbers::pi,
                                         std::atan2(B, A) - std::numbers::pi})
                            if (std::fabs(t) <= ru) thetas.push_back(t);
                    }
                }
    Box b;
    for (const auto& p : poly)
        for (double t : thetas)
            for (double s : {-su, -su / 3, su})
                for (double a : {-au, au / 2, au})
                    for (double h : {-hu, 0.0, hu})
                        for (double dx : {-xu, 0.0, xu})
                            for (double dy : {-yu, yu}) {
                                const xcMatrix<2> k(1, (1 + a) * h, 0, 1 + a);
                                const xcVector<2> q =
                                    xcMatrix<2>::rotation(xcRadian(t)) * (k * p) * (1 + s) +
                                    xcVector<2>(dx, dy);
                                b.add(place.mapPoint(q));
                            }
    return b;
}

void expectMatches(const xcRect& r, const Box& b) {
    EXPECT_NEAR(r.ul().x(), b.x0, 1e-9);
    EXPECT_NEAR(r.ul().y(), b.y0, 1e-9);
    EXPECT_NEAR(r.lr().x(), b.x1, 1e-9);
    EXPECT_NEAR(r.lr().y(), b.y1, 1e-9);
}

}  // namespace

TEST(EncloseRect, NominalPlacementIsTheBoundingBoxOfTheMappedPolygon) {
    xcPolygon poly(std::vector<xcVector<2>>{{0, 0}, {10, 0}, {10, 5}, {0, 5}});
    const xcXform<2> x1(xcVector<2>(3, 4), 2.0, 1.0, 0.0, xcRadian(std::numbers::pi / 2));
    xcRect r = xfEncloseRect(poly, x1, xcXform<2>(), 0, 0, xcRadian(0), 0, 0, 0, 0, 1);
    // Turned a quarter turn and doubled: x in [3 - 10, 3], y in [4, 4 + 20].
    EXPECT_NEAR(r.ul().x(), -7, 1e-12);
    EXPECT_NEAR(r.ul().y(), 4, 1e-12);
    EXPECT_NEAR(r.width(), 10, 1e-12);
    EXPECT_NEAR(r.height(), 20, 1e-12);
    // xform2 re-expresses the result: its inverse is applied last.
    const xcXform<2> x2(xcMatrix<2>(0.5, 0, 0, 0.5), xcVector<2>(1, 1));
    xcRect q = xfEncloseRect(poly, x1, x2, 0, 0, xcRadian(0), 0, 0, 0, 0, 1);
    EXPECT_NEAR(q.ul().x(), (-7 - 1) / 0.5, 1e-12);
    EXPECT_NEAR(q.height(), 40, 1e-12);
}

TEST(EncloseRect, MatchesDenseSamplingOfEveryPlacement) {
    const std::vector<xcVector<2>> poly = {{-3, -2}, {7, -1.5}, {6, 4}, {-2.5, 5}, {1, 9}};
    struct Case {
        xcXform<2> x1, x2;
        double xu, yu, ru, su, au, hu;
    };
    const Case cases[] = {
        {xcXform<2>(), xcXform<2>(), 0.5, 0.25, 0.3, 0.1, 0, 0},
        {xcXform<2>(xcVector<2>(20, -4), 1.5, 1.0, 0.0, xcRadian(0.7)), xcXform<2>(), 1, 2, 0.05,
         0.0, 0, 0},
        {xcXform<2>(xcVector<2>(5, 5), 0.8, 1.2, 0.3, xcRadian(-2.0)),
         xcXform<2>(xcMatrix<2>(2, 0.5, -0.3, 1.5), xcVector<2>(-3, 8)), 0.7, 0.1, 1.2, 0.2, 0.1,
         0.15},
        {xcXform<2>(), xcXform<2>(), 0, 0, 3.5, 0, 0, 0},  // more than half a turn each way
        {xcXform<2>(xcVector<2>(1, 2), 1.0, 1.0, 0.0, xcRadian(3.0)), xcXform<2>(), 0.3, 0.3,
         std::numbers::pi / 2, 0.5, 0.2, 0.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << (&c - cases));
        xcRect r =
            xfEncloseRect(poly, c.x1, c.x2, c.xu, c.yu, xcRadian(c.ru), c.su, c.au, c.hu, 0.0, 1);
        expectMatches(r, sample(poly, c.x1, c.x2, c.xu, c.yu, c.ru, c.su, c.au, c.hu));
    }
}

TEST(EncloseRect, CountScalesTheUncertaintiesAndMarginGrows) {
    const std::vector<xcVector<2>> poly = {{0, 0}, {4, 0}, {4, 3}};
    const xcXform<2> id;
    xcRect two = xfEncloseRect(poly, id, id, 0.5, 0.2, xcRadian(0.1), 0.05, 0, 0, 0.25, 2);
    xcRect once = xfEncloseRect(poly, id, id, 1.0, 0.4, xcRadian(0.2), 0.1, 0, 0, 0.5, 1);
    EXPECT_EQ(two, once);
    xcRect nominal = xfEncloseRect(poly, id, id, 9, 9, xcRadian(1), 0.5, 0, 0, 3, 0);
    EXPECT_EQ(nominal, xcRect(0, 0, 4, 3));
    xcRect grown = xfEncloseRect(poly, id, id, 0, 0, xcRadian(0), 0, 0, 0, 1.5, 1);
    EXPECT_EQ(grown, xcRect(-1.5, -1.5, 7, 6));
    EXPECT_EQ(xfEncloseRect(std::vector<xcVector<2>>{}, id, id, 1, 1, xcRadian(0), 0, 0, 0, 0, 1),
              xcRect());
}

TEST(EncloseRect, RejectsBadUncertaintiesBeforeAnythingElse) {
    const std::vector<xcVector<2>> poly = {{0, 0}, {1, 1}};
    const xcXform<2> id, singular(xcMatrix<2>(1, 2, 2, 4), xcVector<2>());
    const double nan = std::nan("");
    auto msg = [&](auto&& call) {
        try {
            call();
        } catch (const xcBadArgument& e) {
            return std::string(e.what());
        }
        return std::string("no error");
    };
    EXPECT_EQ(msg([&] { xfEncloseRect(poly, id, singular, nan, -1, xcRadian(0), 0, 0, 0, 0, 1); }),
              "X translation uncertainty must be finite and >= 0");
    EXPECT_EQ(msg([&] { xfEncloseRect(poly, id, id, 0, 0, xcRadian(-0.1), 0, 0, 0, 0, 1); }),
              "Rotation uncertainty must be finite and >= 0");
    EXPECT_EQ(msg([&] { xfEncloseRect(poly, id, id, 0, 0, xcRadian(0), nan, 0, 0, 0, 1); }),
              "Scale uncertainty must be finite and >= 0");
    EXPECT_EQ(msg([&] { xfEncloseRect(poly, id, id, 0, 0, xcRadian(0), 0, 0, 0, 0, -1); }),
              "Enclosing count must be >= 0");
    EXPECT_THROW(xfEncloseRect(poly, id, singular, 0, 0, xcRadian(0), 0, 0, 0, 0, 1),
                 xcMath::Singular);
}
