#include "oc/arrange/line_evaluation.h"

#include <gtest/gtest.h>

#include <cmath>

#include "arrange_test_util.h"

using namespace arrange_test;
using D = xcOCArrangeDefs;

namespace {

xcVector<2> rot(const xcVector<2>& v, double a) {
    return {std::cos(a) * v.x() - std::sin(a) * v.y(), std::sin(a) * v.x() + std::cos(a) * v.y()};
}

// A line of matched characters, one candidate each, all cells w x h.
Target line(const std::vector<xc_Pose>& poses, double w = 10, double h = 20) {
    Target t;
    for (std::size_t i = 0; i < poses.size(); ++i)
        t.add(static_cast<long>(i), cell(w, h), {poses[i]}, {0.9});
    return t;
}

xc_ArrangePath oneLine(std::size_t n) {
    xc_ArrangePath p;
    for (std::size_t i = 0; i < n; ++i) p.append(0, i == 0);
    return p;
}

}  // namespace

TEST(ArrangeLineCost, SmallStraightLineByHand) {
    Target t;
    t.add(0, cell(10, 20), {pose(0, 0, 0.0, 1.0)}, {0.9});
    t.add(1, cell(10, 20), {pose(12, 1.5, 0.2, 1.1)}, {0.8});
    t.add(2, cell(10, 20), {pose(24, 0, 0.0, 1.0)}, {0.7});
    xcOCArrangeParams params;
    params.lineType(D::eStraight);
    xc_ArrangeCost cost;
    ASSERT_TRUE(evaluate(t, oneLine(3), params, cost, true));

    // The fitted line is y = 0.5 (the points' cross moment is 0); the layout puts the middle
    // position at x = 12 whatever its width.
    const double c = std::cos(0.2), s = std::sin(0.2);
    const double H1 = 1.1 * (10 * s + 20 * c);
    const double omega = std::atan2(s, 2 + c);
    const double lambda = std::log(1.1) / 3;
    const double norm = 0.5 / 20 + 1.0 / H1 + 0.5 / 20;
    const double orient = (2 * omega + std::fabs(0.2 - omega)) * 4 / kPi;
    const double scale = (std::log(1.1) + lambda) / std::log(2.0);
    EXPECT_NEAR(cost.cost[0], 0.6, 1e-12);
    EXPECT_EQ(cost.cost[1], 0.0);
    EXPECT_EQ(cost.cost[2], 0.0);
    EXPECT_NEAR(cost.cost[3], norm, 1e-9);
    EXPECT_NEAR(cost.cost[4], 0.0, 1e-9);
    EXPECT_NEAR(cost.cost[5], orient, 1e-9);
    EXPECT_NEAR(cost.cost[6], scale, 1e-9);
    EXPECT_NEAR(cost.cost[7], 0.0, 1e-12);
    ASSERT_EQ(cost.lineTypes, std::vector<D::LineType>({D::eStraight}));
    EXPECT_NEAR(cost.lineAngles[0].toDouble(), omega, 1e-12);
    EXPECT_NEAR(cost.lineScales[0], std::exp(lambda), 1e-12);
    EXPECT_TRUE(xfRealEq(cost.nominalPositions[1], xcVector<2>(12, 0.5), 1e-9));
    EXPECT_NEAR(cost.expectedAngles[1].toDouble(), omega, 1e-12);
    EXPECT_NEAR(cost.normDeviations[1], 1.0 / H1, 1e-9);
    EXPECT_NEAR(cost.scaleDeviations[1], (std::log(1.1) - lambda) / std::log(2.0), 1e-12);
    EXPECT_NEAR(cost.scaleDeviations[0], -lambda / std::log(2.0), 1e-12);
    ASSERT_EQ(cost.lineSegments.size(), 1u);
    EXPECT_TRUE(xfRealEq(cost.lineSegments[0].p1(), xcVector<2>(0, 0.5), 1e-9));
    EXPECT_TRUE(xfRealEq(cost.lineSegments[0].p2(), xcVector<2>(24, 0.5), 1e-9));
    EXPECT_TRUE(cost.lineArcs.empty());
}

TEST(ArrangeLineCost, SmallCircularLineByHand) {
    const xcVector<2> centre(100, 100);
    const double R = 50;
    const double phi[3] = {deg(60), deg(80), deg(90)};
    const double extra[3] = {0.0, 0.1, 0.0};
    Target t;
    const double widths[3] = {10, 14, 10};
    for (int k = 0; k < 3; ++k) {
        const xcVector<2> p = centre + xcVector<2>(std::cos(phi[k]), std::sin(phi[k])) * R;
        t.add(k, cell(widths[k], 20), {pose(p.x(), p.y(), phi[k] + kPi / 2 + extra[k])}, {1.0});
    }
    xcOCArrangeParams params;
    params.lineType(D::eCircular);
    xc_ArrangeCost cost;
    ASSERT_TRUE(evaluate(t, oneLine(3), params, cost, true));

    // Counter-clockwise sweep of 30 degrees; tangent offset +90 degrees.
    const double psi = deg(30);
    const double omega = std::atan2(std::sin(0.1), 2 + std::cos(0.1));
    const double r1 = deg(5) + 0.1;  // middle character against the evenly spread direction
    const double w1 = 14 * std::cos(r1) + 20 * std::sin(r1);
    const double W = 10 + w1;
    const double g = (psi - W / R) / 2;
    const double a1 = phi[0] + (10 + w1) / (2 * R) + g;
    const double delta1 = a1 + kPi / 2;
    const xcVector<2> N1 = centre + xcVector<2>(std::cos(a1), std::sin(a1)) * R;
    const double turn = phi[1] + 0.1 - a1;
    const xcVector<2> d1 = rot(xcVector<2>(14, -20), turn), d2 = rot(xcVector<2>(14, 20), turn);
    const double W1 = std::max(std::fabs(d1.x()), std::fabs(d2.x()));
    const double H1 = std::max(std::fabs(d1.y()), std::fabs(d2.y()));
    const xcVector<2> P1 = centre + xcVector<2>(std::cos(phi[1]), std::sin(phi[1])) * R;
    const xcVector<2> off = rot(P1 - N1, -delta1);
    const double orient = (2 * std::fabs(omega) +
                           std::fabs(xcRadian(phi[1] + 0.1 - a1 - omega).signedNorm().toDouble())) *
                          4 / kPi;
    // Neighbours 1 and 2 stand closer than 0.8 times their mean width.
    const double gap12 = 2 * R * std::sin(deg(5));
    const double lo = 0.8 * 0.5 * (W1 + 10);
    const double spacing = gap12 < lo ? (lo - gap12) / lo : 0.0;
    ASSERT_GT(spacing, 0.0);

    EXPECT_NEAR(cost.cost[3], std::fabs(off.y()) / H1, 1e-9);
    EXPECT_NEAR(cost.cost[4], std::fabs(off.x()) / W1, 1e-9);
    EXPECT_NEAR(cost.cost[5], orient, 1e-9);
    EXPECT_NEAR(cost.cost[6], 0.0, 1e-12);
    EXPECT_NEAR(cost.cost[7], spacing, 1e-9);
    ASSERT_EQ(cost.lineTypes, std::vector<D::LineType>({D::eCircular}));
    ASSERT_EQ(cost.lineArcs.size(), 1u);
    EXPECT_NEAR(cost.lineArcs[0].start().toDouble(), phi[0], 1e-9);
    EXPECT_NEAR(cost.lineArcs[0].span().toDouble(), psi, 1e-9);
    EXPECT_NEAR(cost.lineArcs[0].ellipse().xRadius(), R, 1e-9);
    EXPECT_TRUE(xfRealEq(cost.nominalPositions[1], N1, 1e-9));
    EXPECT_NEAR(cost.expectedAngles[1].toDouble(), omega + delta1, 1e-9);
}

TEST(ArrangeLineCost, ShapeRules) {
    xc_ArrangeCost cost;
    // Two matched characters: the straight pass alone, even for circular lines.
    for (D::LineType type : {D::eDontCare, D::eCircular}) {
        SCOPED_TRACE(type);
        xcOCArrangeParams p;
        p.lineType(type);
        ASSERT_TRUE(evaluate(line({pose(0, 0), pose(12, 0)}), oneLine(2), p, cost));
        EXPECT_EQ(cost.lineTypes, std::vector<D::LineType>({D::eStraight}));
    }
    // Projections that do not advance in target order.
    xcOCArrangeParams dontCare;
    EXPECT_FALSE(
        evaluate(line({pose(0, 0), pose(24, 0), pose(12, 0)}), oneLine(3), dontCare, cost));
    // Three characters on an arc of 4 degrees: no circle; a circular line is then invalid.
    std::vector<xc_Pose> arc;
    for (int k = 0; k < 3; ++k) {
        const double a = deg(88 + 2 * k);
        arc.push_back(pose(600 * std::cos(a), 600 * std::sin(a), a + kPi / 2));
    }
    xcOCArrangeParams circular;
    circular.lineType(D::eCircular);
    EXPECT_FALSE(evaluate(line(arc), oneLine(3), circular, cost));
    ASSERT_TRUE(evaluate(line(arc), oneLine(3), dontCare, cost));
    EXPECT_EQ(cost.lineTypes, std::vector<D::LineType>({D::eStraight}));

    // Text direction 0: a line running right to left in the client frame is invalid.
    xcOCArrangeParams direction;
    direction.isTextDirectionSpecified(true);
    direction.straightTextDirection(xcRadian(0.0));
    const Target rtl = line({pose(24, 0, kPi), pose(12, 0, kPi), pose(0, 0, kPi)});
    EXPECT_FALSE(evaluate(rtl, oneLine(3), direction, cost));
    EXPECT_TRUE(evaluate(rtl, oneLine(3), dontCare, cost));
    direction.straightTextDirection(xcRadian(kPi));
    EXPECT_TRUE(evaluate(rtl, oneLine(3), direction, cost));

    // Sense of a circle: counter-clockwise in the mathematical sense (sweep >= 0) counts as
    // clockwise unless the client frame is mirrored.
    std::vector<xc_Pose> ccw;
    for (int k = 0; k < 4; ++k) {
        const double a = deg(20 * k);
        ccw.push_back(pose(50 * std::cos(a), 50 * std::sin(a), a + kPi / 2));
    }
    xcOCArrangeParams sense;
    sense.lineType(D::eCircular);
    sense.isTextDirectionSpecified(true);
    sense.isCircularTextDirectionClockwise(true);
    EXPECT_TRUE(evaluate(line(ccw, 8, 16), oneLine(4), sense, cost, false, false));
    EXPECT_FALSE(evaluate(line(ccw, 8, 16), oneLine(4), sense, cost, false, true));
    sense.isCircularTextDirectionClockwise(false);
    EXPECT_FALSE(evaluate(line(ccw, 8, 16), oneLine(4), sense, cost, false, false));
    EXPECT_TRUE(evaluate(line(ccw, 8, 16), oneLine(4), sense, cost, false, true));
}

TEST(ArrangeLineCost, HalfTurnSymmetricOrientation) {
    // Expected orientation 0 in the client frame; the middle character is symmetric under a
    // half turn and stands at 180, then at 90 degrees.
    xcOCArrangeParams p;
    p.orientationMode(D::eSpecified);
    p.orientationReference(D::eAbsolute);
    for (auto [angle, expected] :
         {std::pair{kPi, 0.0}, std::pair{kPi / 2, 2.0}, std::pair{deg(135), 1.0}}) {
        SCOPED_TRACE(angle);
        Target t = line({pose(0, 0), pose(12, 0, angle), pose(24, 0)});
        t.data[1].symmetry = xc_OCExtractDefs::eSymmetric180;
        xc_ArrangeCost cost;
        ASSERT_TRUE(evaluate(t, oneLine(3), p, cost, true));
        EXPECT_NEAR(cost.orientDeviations[1], expected, 1e-12);
        EXPECT_NEAR(cost.orientDeviations[0], 0.0, 1e-12);
        // Not symmetric: a half turn scores 4.
        t.data[1].symmetry = xc_OCExtractDefs::eNotSymmetric;
        ASSERT_TRUE(evaluate(t, oneLine(3), p, cost, true));
        EXPECT_NEAR(cost.orientDeviations[1], std::fabs(angle) * 4 / kPi, 1e-12);
        t.data[1].symmetry = xc_OCExtractDefs::eSymmetricAllAngles;
        ASSERT_TRUE(evaluate(t, oneLine(3), p, cost, true));
        EXPECT_EQ(cost.orientDeviations[1], 0.0);
    }
}

TEST(ArrangeLineCost, SpacingBand) {
    // Two characters 10 wide: no cost between 8 and 25 apart.
    xcOCArrangeParams p;
    for (auto [gap, expected] : {std::pair{8.0, 0.0}, std::pair{15.0, 0.0}, std::pair{25.0, 0.0},
                                 std::pair{4.0, 0.5}, std::pair{30.0, 0.5}}) {
        SCOPED_TRACE(gap);
        xc_ArrangeCost cost;
        ASSERT_TRUE(evaluate(line({pose(0, 0), pose(gap, 0)}), oneLine(2), p, cost));
        EXPECT_NEAR(cost.cost[7], expected, 1e-12);
        EXPECT_NEAR(cost.cost[3] + cost.cost[4] + cost.cost[5] + cost.cost[6], 0.0, 1e-12);
    }
    // The spacing term follows the tangential factor.
    p.tangentialTransCost(3.0);
    xc_ArrangeCost cost;
    ASSERT_TRUE(evaluate(line({pose(0, 0), pose(4, 0)}), oneLine(2), p, cost));
    EXPECT_NEAR(cost.cost[7], 1.5, 1e-12);
}

TEST(ArrangeLineCost, EqualTotalsKeepTheStraightLine) {
    // Five characters on a gentle arc: the circle fits better...
    std::vector<xc_Pose> arc;
    for (int k = 0; k < 5; ++k) {
        const double a = deg(-100 + 8 * k);
        arc.push_back(pose(100 * std::cos(a), 100 * std::sin(a), a + kPi / 2));
    }
    xcOCArrangeParams p;
    xc_ArrangeCost cost;
    ASSERT_TRUE(evaluate(line(arc, 12, 20), oneLine(5), p, cost));
    EXPECT_EQ(cost.lineTypes, std::vector<D::LineType>({D::eCircular}));
    // ...but when no deviation costs anything both totals are 0 and the straight line stays.
    p.normalTransCost(0);
    p.tangentialTransCost(0);
    p.orientationCost(0);
    ASSERT_TRUE(evaluate(line(arc, 12, 20), oneLine(5), p, cost));
    EXPECT_EQ(cost.lineTypes, std::vector<D::LineType>({D::eStraight}));
}
