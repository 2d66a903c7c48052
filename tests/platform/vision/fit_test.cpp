#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "platform/vision/circle_fit.h"
#include "platform/vision/line_fit.h"

TEST(LineFit, RecoversAPlantedLineFromNoisyPoints) {
    std::mt19937 rng(1);
    std::normal_distribution<double> noise(0, 0.05);
    const double angle = 0.4, dist = -3.0;
    const xcVector<2> u(std::cos(angle), std::sin(angle)), n(-std::sin(angle), std::cos(angle));
    std::vector<xcVector<2>> pts;
    for (int k = 0; k < 40; ++k) pts.push_back(n * (dist + noise(rng)) + u * (k * 0.7 - 5));
    xcLineFitResult r = xfLineFit(pts);
    ASSERT_TRUE(r.valid());
    EXPECT_NEAR(r.angle().toDouble(), angle, 0.01);
    EXPECT_NEAR(r.distance(), dist, 0.03);
    EXPECT_NEAR(r.rms(), 0.05, 0.02);
    for (size_t k = 0; k < pts.size(); ++k) {
        EXPECT_NEAR(r.alongs()[k], k * 0.7 - 5, 0.02);
        EXPECT_NEAR(r.residuals()[k], r.residual(pts[k]), 1e-12);
        EXPECT_NEAR(r.residual(r.project(pts[k])), 0, 1e-12);
    }
}

TEST(LineFit, ReturnsTheAngleInTheHalfOpenRangeAndOrthogonalDistances) {
    // A vertical line x = 2 has angle pi/2 and distance -2 (normal (-1, 0)).
    std::vector<xcVector<2>> v = {{2, 5}, {2, -1}, {2, 3}};
    xcLineFitResult r = xfLineFit(v);
    ASSERT_TRUE(r.valid());
    EXPECT_NEAR(r.angle().toDouble(), std::numbers::pi / 2, 1e-12);
    EXPECT_NEAR(r.distance(), -2.0, 1e-12);
    EXPECT_NEAR(r.alongs()[0], 5.0, 1e-12);
    // Orthogonal, not vertical, distances: a steep line is fitted as well as a flat one.
    std::vector<xcVector<2>> steep = {{0, 0}, {0.01, 10}, {-0.01, 20}, {0, 30}};
    EXPECT_LT(xfLineFit(steep).rms(), 0.01);
}

TEST(LineFit, WeightsAndRejectionRemoveOutliers) {
    std::vector<xcVector<2>> pts;
    for (int k = 0; k < 10; ++k) pts.push_back({k * 1.0, 1.0});
    pts.push_back({5.0, 9.0});  // outlier
    std::vector<double> w(pts.size(), 1.0);
    w.back() = 0.0;
    xcLineFitResult r = xfLineFit(pts, xcLineFitParams(1), w);
    ASSERT_TRUE(r.valid());
    EXPECT_NEAR(r.angle().toDouble(), 0, 1e-12);
    EXPECT_NEAR(r.distance(), 1.0, 1e-12);
    EXPECT_FALSE(r.used().back());
    EXPECT_EQ(r.numUsed(), 10);
    EXPECT_NEAR(r.residuals().back(), 8.0, 1e-12);

    xcLineFitResult ig = xfLineFit(pts, xcLineFitParams(0, 1));
    ASSERT_TRUE(ig.valid());
    EXPECT_NEAR(ig.distance(), 1.0, 1e-12);
    EXPECT_FALSE(ig.used().back());
    xcLineFitResult lim = xfLineFit(pts, xcLineFitParams(0, 0, 2.0));
    EXPECT_NEAR(lim.distance(), 1.0, 1e-12);
    EXPECT_EQ(lim.numUsed(), 10);
}

TEST(LineFit, ReportsDegenerateInputAndRejectsBadInput) {
    std::vector<xcVector<2>> one = {{1, 2}};
    EXPECT_EQ(xfLineFit(one).status(), xcFitStatus::eTooFewPoints);
    EXPECT_EQ(xfLineFit(std::vector<xcVector<2>>{}).status(), xcFitStatus::eTooFewPoints);
    std::vector<xcVector<2>> same = {{1e6, 3}, {1e6, 3}, {1e6, 3}};
    xcLineFitResult r = xfLineFit(same);
    EXPECT_EQ(r.status(), xcFitStatus::eDegenerate);
    EXPECT_FALSE(r.valid());
    EXPECT_EQ(r.distance(), 0.0);
    EXPECT_TRUE(r.residuals().empty());
    std::vector<xcVector<2>> two = {{0, 0}, {1, 1}};
    std::vector<double> oneWeight = {1.0, 0.0};
    EXPECT_EQ(xfLineFit(two, xcLineFitParams(1), oneWeight).status(), xcFitStatus::eTooFewPoints);

    std::vector<xcVector<2>> bad = {{0, 0}, {1, std::nan("")}};
    EXPECT_THROW(xfLineFit(bad), xcBadArgument);
    std::vector<double> shortW = {1.0};
    EXPECT_THROW(xfLineFit(two, xcLineFitParams(1), shortW), xcBadArgument);
    std::vector<double> negW = {1.0, -1.0};
    EXPECT_THROW(xfLineFit(two, xcLineFitParams(1), negW), xcBadArgument);
    EXPECT_THROW(xfLineFit(two, xcLineFitParams(0), oneWeight), xcBadArgument);
    EXPECT_THROW(xcLineFitParams(2), xcBadArgument);
    EXPECT_THROW(xcLineFitParams(0, -1), xcBadArgument);
    EXPECT_THROW(xcLineFitParams(0, 0, std::nan("")), xcBadArgument);
}

TEST(CircleFit, RecoversAPlantedCircleFromNoisyPointsOnAnArc) {
    std::mt19937 rng(2);
    std::normal_distribution<double> noise(0, 0.05);
    const xcVector<2> c(120.5, -40.25);
    const double rad = 35.0;
    std::vector<xcVector<2>> pts;
    // A 70-degree arc, where the algebraic start alone is biased.
    for (int k = 0; k < 25; ++k) {
        const double a = 0.3 + k * (70.0 / 24) * std::numbers::pi / 180;
        pts.push_back(c + xcVector<2>(std::cos(a), std::sin(a)) * (rad + noise(rng)));
    }
    xcCircleFitResult r = xfCircleFit(pts);
    ASSERT_TRUE(r.valid());
    EXPECT_NEAR(r.center().x(), c.x(), 0.3);
    EXPECT_NEAR(r.center().y(), c.y(), 0.3);
    EXPECT_NEAR(r.radius(), rad, 0.3);
    EXPECT_NEAR(r.rms(), 0.05, 0.02);
    for (size_t k = 0; k < pts.size(); ++k) {
        EXPECT_NEAR(r.residuals()[k], (pts[k] - r.center()).len() - r.radius(), 1e-9);
        EXPECT_NEAR(r.angles()[k], 0.3 + k * (70.0 / 24) * std::numbers::pi / 180, 0.01);
    }
    // The geometric fit's residuals are no larger than the algebraic fit's.
    xcCircleFitResult alg = xfCircleFit(pts, xcCircleFitParams(1));
    ASSERT_TRUE(alg.valid());
    EXPECT_EQ(alg.iterations(), 0);
    EXPECT_LE(r.rms(), alg.rms() + 1e-12);
}

TEST(CircleFit, ExactPointsGiveTheExactCircle) {
    std::vector<xcVector<2>> three = {{1, 0}, {0, 1}, {-1, 0}};
    xcCircleFitResult r = xfCircleFit(three);
    ASSERT_TRUE(r.valid());
    EXPECT_NEAR(r.center().x(), 0, 1e-9);
    EXPECT_NEAR(r.center().y(), 0, 1e-9);
    EXPECT_NEAR(r.radius(), 1, 1e-9);
}

TEST(CircleFit, RejectsOutliersAndReportsDegenerateInput) {
    std::vector<xcVector<2>> pts;
    for (int k = 0; k < 12; ++k)
        pts.push_back(xcVector<2>(std::cos(k * 0.5), std::sin(k * 0.5)) * 10.0);
    pts.push_back({0, 14});  // 4 outside the circle
    xcCircleFitResult r = xfCircleFit(pts, xcCircleFitParams(0, 1.0, 1));
    ASSERT_TRUE(r.valid());
    EXPECT_NEAR(r.radius(), 10, 1e-6);
    EXPECT_FALSE(r.used().back());
    EXPECT_EQ(r.numUsed(), 12);

    std::vector<xcVector<2>> two = {{0, 0}, {1, 1}};
    EXPECT_EQ(xfCircleFit(two).status(), xcFitStatus::eTooFewPoints);
    std::vector<xcVector<2>> line = {{0, 0}, {1, 1}, {2, 2}, {3.5, 3.5}};
    xcCircleFitResult lr = xfCircleFit(line);
    EXPECT_EQ(lr.status(), xcFitStatus::eDegenerate);
    EXPECT_EQ(lr.radius(), 0.0);
    EXPECT_TRUE(lr.residuals().empty());
    std::vector<xcVector<2>> same = {{4, 4}, {4, 4}, {4, 4}};
    EXPECT_EQ(xfCircleFit(same).status(), xcFitStatus::eDegenerate);
    // Rejecting down to two points leaves too few.
    std::vector<xcVector<2>> four = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
    EXPECT_EQ(xfCircleFit(four, xcCircleFitParams(0, 1.0, 2)).status(),
              xcFitStatus::eTooFewPoints);

    std::vector<xcVector<2>> inf = {{0, 0}, {1, 1}, {INFINITY, 2}};
    EXPECT_THROW(xfCircleFit(inf), xcBadArgument);
    EXPECT_THROW(xcCircleFitParams(0, 0.0), xcBadArgument);
    EXPECT_THROW(xcCircleFitParams(3), xcBadArgument);
    EXPECT_THROW(xcCircleFitParams(0, 1.0, -1), xcBadArgument);
}
