#include "oc/arrange/path_search.h"

#include <gtest/gtest.h>

#include "arrange_test_util.h"

using namespace arrange_test;
using D = xcOCArrangeDefs;

namespace {

// n characters 12 apart along x, one candidate each scoring 0.9.
Target row(int n) {
    Target t;
    for (int i = 0; i < n; ++i) t.add(i, cell(10, 20), {pose(12.0 * i, 0)}, {0.9});
    return t;
}

}  // namespace

TEST(ArrangePathSearch, MaxCandidatesZeroPlacesNothing) {
    xcOCArrangeParams p;
    p.maxCandidates(0);
    xc_ArrangePath best;
    xc_PathSearchStats st;
    EXPECT_FALSE(search(row(4), p, best, &st));
    EXPECT_EQ(st.iterations, 0);
    EXPECT_EQ(best.choices(), std::vector<long>(4, -1));
    EXPECT_EQ(best.lineStarts(), std::vector<long>({0, 1, 2, 3}));
}

TEST(ArrangePathSearch, FindsTheSingleLineAndStartsOnlyNewLinesAtPositionZero) {
    xc_ArrangePath best;
    xc_PathSearchStats st;
    ASSERT_TRUE(search(row(5), xcOCArrangeParams(), best, &st));
    EXPECT_EQ(best.choices(), std::vector<long>(5, 0));
    EXPECT_EQ(best.lineStarts(), std::vector<long>({0}));
    // One position, one candidate, no unmatched choice: the empty path has one child only.
    xc_PathSearchStats one;
    ASSERT_TRUE(search(row(1), xcOCArrangeParams(), best, &one));
    EXPECT_EQ(one.evaluations, 1);
    EXPECT_EQ(best.lineStarts(), std::vector<long>({0}));
}

TEST(ArrangePathSearch, FarNeighboursShareNoLine) {
    // Cells 10 x 20: the longest diagonal is sqrt(500) = 22.4. Neighbours 44 apart may share a
    // line; 45 apart only across a line break.
    for (auto [gap, lines] : {std::pair{44.0, 1u}, std::pair{45.0, 2u}}) {
        SCOPED_TRACE(gap);
        Target t;
        t.add(0, cell(10, 20), {pose(0, 0)}, {0.9});
        t.add(1, cell(10, 20), {pose(gap, 0)}, {0.9});
        xc_ArrangePath best;
        ASSERT_TRUE(search(t, xcOCArrangeParams(), best));
        EXPECT_EQ(best.lineStarts().size(), lines);
    }
    // Orientations more than 30 degrees apart do not share a line either; a half-turn
    // symmetric pair compares its doubled angle.
    Target turned;
    turned.add(0, cell(10, 20), {pose(0, 0)}, {0.9});
    turned.add(1, cell(10, 20), {pose(12, 0, deg(31))}, {0.9});
    xc_ArrangePath best;
    ASSERT_TRUE(search(turned, xcOCArrangeParams(), best));
    EXPECT_EQ(best.numLines(), 2);
    turned.poses[1][0] = pose(12, 0, deg(181));
    turned.data[0].symmetry = turned.data[1].symmetry = xc_OCExtractDefs::eSymmetric180;
    ASSERT_TRUE(search(turned, xcOCArrangeParams(), best));
    EXPECT_EQ(best.numLines(), 1);
}

TEST(ArrangePathSearch, OneInstanceServesOnePosition) {
    // Key 7 twice with the same two instances; the better one cannot serve both.
    // The text runs along +x, so the better instance must stand first.
    Target t;
    const std::vector<xc_Pose> both = {pose(0, 0), pose(12, 0)};
    t.add(7, cell(10, 20), both, {0.95, 0.9});
    t.add(7, cell(10, 20), both, {0.95, 0.9});
    xcOCArrangeParams p;
    p.isTextDirectionSpecified(true);
    xc_ArrangePath best;
    ASSERT_TRUE(search(t, p, best));
    EXPECT_EQ(best.choices(), std::vector<long>({0, 1}));
    xc_ArrangeCost cost;
    EXPECT_FALSE(evaluate(t, makePath({{0, true}, {0, false}}), p, cost));
    EXPECT_FALSE(evaluate(t, makePath({{1, true}, {1, true}}), p, cost));
    EXPECT_TRUE(evaluate(t, makePath({{0, true}, {1, true}}), p, cost));
}

TEST(ArrangePathSearch, LineBreaksLinesAndUnmatchedPositions) {
    // Three positions; the third stands far away. Leaving it unmatched costs more than a
    // line break.
    xcOCArrangeParams defaults;
    defaults.unmatchedCharCost(3.0);
    Target t;
    t.add(0, cell(10, 20), {pose(0, 0)}, {0.9});
    t.add(1, cell(10, 20), {pose(12, 0)}, {0.9});
    t.add(2, cell(10, 20), {pose(200, 0)}, {0.9});
    t.data[2].canBeUnmatched = true;
    xc_ArrangePath best;
    ASSERT_TRUE(search(t, defaults, best));
    EXPECT_EQ(best.choices(), std::vector<long>({0, 0, 0}));
    EXPECT_EQ(best.lineStarts(), std::vector<long>({0, 2}));
    xc_ArrangeCost cost;
    ASSERT_TRUE(evaluate(t, best, defaults, cost));
    EXPECT_DOUBLE_EQ(cost.cost[2], 2.0);

    // One line allowed: a second line with a matched character is invalid, a lone unmatched
    // position is no line.
    xcOCArrangeParams one = defaults;
    one.maxLines(1);
    EXPECT_FALSE(evaluate(t, best, one, cost));
    ASSERT_TRUE(search(t, one, best));
    EXPECT_EQ(best.choices(), std::vector<long>({0, 0, -1}));
    EXPECT_EQ(best.lineStarts(), std::vector<long>({0, 2}));
    ASSERT_TRUE(evaluate(t, best, one, cost));
    EXPECT_EQ(cost.cost[2], 0.0);
    EXPECT_DOUBLE_EQ(cost.cost[1], 3.0);

    // No unmatched position allowed: the far one must be matched.
    xcOCArrangeParams none;
    none.maxUnmatchedChars(0);
    EXPECT_FALSE(evaluate(t, makePath({{0, true}, {0, false}, {-1, true}}), none, cost));
    // ...except in a final evaluation.
    EXPECT_TRUE(evaluate(t, makePath({{0, true}, {0, false}, {-1, true}}), none, cost, true));
}

TEST(ArrangePathSearch, BlanksAndPositionsWithoutInstances) {
    // 0 1 _ 3 4: position 2 is a blank (no candidates); with no unmatched character allowed
    // the path still completes, and the blank costs nothing.
    Target t = row(5);
    t.poses[2].clear();
    t.scores[2].clear();
    t.data[2].numCandidates = 0;
    t.data[2].hasCandidates = false;
    t.data[2].canBeUnmatched = true;
    t.data[2].isBlank = true;
    xcOCArrangeParams none;
    none.maxUnmatchedChars(0);
    xc_ArrangePath best;
    ASSERT_TRUE(search(t, none, best));
    EXPECT_EQ(best.choices(), std::vector<long>({0, 0, -1, 0, 0}));
    EXPECT_EQ(best.lineStarts(), std::vector<long>({0}));
    xc_ArrangeCost cost;
    ASSERT_TRUE(evaluate(t, best, none, cost, true));
    EXPECT_EQ(cost.cost[1], 0.0);
    EXPECT_EQ(cost.cost[2], 0.0);

    // A non-blank position without instances costs nothing but counts as unmatched.
    t.data[2].isBlank = false;
    EXPECT_FALSE(search(t, none, best));
    xcOCArrangeParams defaults;
    ASSERT_TRUE(search(t, defaults, best));
    EXPECT_EQ(best.choices(), std::vector<long>({0, 0, -1, 0, 0}));
    ASSERT_TRUE(evaluate(t, best, defaults, cost));
    EXPECT_EQ(cost.cost[1], 0.0);
    // With an instance it would have cost the unmatched price.
    t.data[2].hasCandidates = true;
    ASSERT_TRUE(evaluate(t, best, defaults, cost));
    EXPECT_DOUBLE_EQ(cost.cost[1], 1.0);
}

TEST(ArrangePathSearch, LinesBeginAndEndMatchedExceptAtTheGrowingEnd) {
    Target t = row(4);
    for (auto& d : t.data) d.canBeUnmatched = true;
    const xcOCArrangeParams p;
    xc_ArrangeCost cost;
    EXPECT_FALSE(evaluate(t, makePath({{-1, true}, {0, false}, {0, false}, {0, false}}), p, cost));
    EXPECT_FALSE(evaluate(t, makePath({{0, true}, {0, false}, {-1, false}, {0, true}}), p, cost));
    EXPECT_FALSE(evaluate(t, makePath({{0, true}, {0, false}, {0, false}, {-1, false}}), p, cost));
    // The last line of an incomplete path may end unmatched, but not begin so.
    EXPECT_TRUE(evaluate(t, makePath({{0, true}, {0, false}, {-1, false}}), p, cost));
    EXPECT_FALSE(evaluate(t, makePath({{0, true}, {-1, true}, {0, false}}), p, cost));
    EXPECT_TRUE(evaluate(t, makePath({{0, true}, {-1, false}, {0, false}, {0, false}}), p, cost));
}

TEST(ArrangePathSearch, IncompleteBestPathIsFixedUp) {
    // Position 2 has a candidate that fits nowhere (turned against both neighbours and far
    // from everything) and may not stay unmatched, and only one line is allowed: no complete
    // path exists. The best partial path ends with the two good characters.
    Target t = row(4);
    t.poses[2][0] = pose(500, 500, deg(90));
    xcOCArrangeParams p;
    p.maxLines(1);
    xc_ArrangePath best;
    EXPECT_FALSE(search(t, p, best));
    EXPECT_EQ(best.choices(), std::vector<long>({0, 0, -1, -1}));
    EXPECT_EQ(best.lineStarts(), std::vector<long>({0, 2, 3}));
    // A partial path whose last line ends unmatched is split into lone positions.
    Target u = row(4);
    u.data[2].canBeUnmatched = true;
    u.poses[2][0] = pose(500, 500, deg(90));  // fits nowhere: position 2 stays unmatched
    u.poses[3][0] = pose(6, 0, deg(90));      // stands back between the first two
    xcOCArrangeParams q;
    q.maxLines(1);
    q.maxUnmatchedChars(1);
    EXPECT_FALSE(search(u, q, best));
    EXPECT_EQ(best.choices(), std::vector<long>({0, 0, -1, -1}));
    EXPECT_EQ(best.lineStarts(), std::vector<long>({0, 2, 3}));
}
