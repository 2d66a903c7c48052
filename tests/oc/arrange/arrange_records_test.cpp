#include "oc/arrange/arrange_records.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {
const double kPi = std::numbers::pi;
}

TEST(ArrangePose, ConversionsFromAndToTransforms) {
    // A similarity round-trips.
    xc_Pose p(xcVector<2>(3.0, -4.0), xcRadian(0.7), 1.5);
    EXPECT_DOUBLE_EQ(p.logScale, std::log(1.5));
    xc_Pose q(p.xform());
    EXPECT_NEAR(q.angle.toDouble(), 0.7, 1e-12);
    EXPECT_NEAR(q.scale, 1.5, 1e-12);
    EXPECT_NEAR(q.logScale, std::log(1.5), 1e-12);
    EXPECT_EQ(q.translation, xcVector<2>(3.0, -4.0));
    const xcXform<2> x = p.xform();
    EXPECT_NEAR(x.matrix()(0, 0), 1.5 * std::cos(0.7), 1e-15);
    EXPECT_NEAR(x.matrix()(0, 1), -1.5 * std::sin(0.7), 1e-15);
    EXPECT_NEAR(x.matrix()(1, 0), 1.5 * std::sin(0.7), 1e-15);

    // A sheared matrix: the angle averages the two columns' rotations, the scale is the root
    // of the determinant's magnitude.
    const xcXform<2> sheared(xcMatrix<2>(2.0, 1.0, 0.0, 3.0), xcVector<2>(1.0, 1.0));
    xc_Pose s(sheared);
    EXPECT_DOUBLE_EQ(s.angle.toDouble(), std::atan2(0.0 - 1.0, 2.0 + 3.0));
    EXPECT_DOUBLE_EQ(s.scale, std::sqrt(6.0));
    EXPECT_DOUBLE_EQ(s.logScale, std::log(std::sqrt(6.0)));

    // Both sums exactly zero: angle 0 (a mirror x -> (x, -y) has m00 + m11 = 0 and m10 - m01 =
    // 0). A negative determinant counts by its magnitude.
    xc_Pose m(xcXform<2>(xcMatrix<2>(1.0, 0.0, 0.0, -1.0), xcVector<2>()));
    EXPECT_EQ(m.angle.toDouble(), 0.0);
    EXPECT_DOUBLE_EQ(m.scale, 1.0);
    // A turn by 180 degrees is not a zero-sum case.
    xc_Pose r(xcXform<2>(xcMatrix<2>(-2.0, 0.0, 0.0, -2.0), xcVector<2>()));
    EXPECT_NEAR(std::fabs(r.angle.toDouble()), kPi, 1e-15);
    EXPECT_DOUBLE_EQ(r.scale, 2.0);

    // The rigid form drops the scale.
    xc2Rigid rigid = p.rigid();
    EXPECT_EQ(rigid.angle(), xcRadian(0.7));
    EXPECT_EQ(rigid.translation(), xcVector<2>(3.0, -4.0));

    const xc_Pose d;
    EXPECT_EQ(d.translation, xcVector<2>(0.0, 0.0));
    EXPECT_EQ(d.angle.toDouble(), 0.0);
    EXPECT_EQ(d.scale, 1.0);
    EXPECT_EQ(d.logScale, 0.0);
}

TEST(ArrangeCharData, CellRectAndItsDiagonals) {
    xc_CharData c;
    EXPECT_FALSE(c.isBlank);
    EXPECT_TRUE(c.hasCandidates);
    EXPECT_TRUE(c.canBeUnmatched);
    EXPECT_EQ(c.symmetry, xc_OCExtractDefs::eNotSymmetric);
    EXPECT_EQ(c.numCandidates, 0);
    EXPECT_EQ(c.cellDiagonal1(), xcVector<2>(0.0, 0.0));
    EXPECT_EQ(c.cellDiagonal2(), xcVector<2>(0.0, 0.0));

    // An image area of 10 x 20 pixels at (2, 3), client origin at the cell's lower-left
    // corner with y up (client = (x - 2, 23 - y)).
    const xcXform<2> clientFromImage(xcMatrix<2>(1.0, 0.0, 0.0, -1.0), xcVector<2>(-2.0, 23.0));
    c.cellRect(xcPelRect(2, 3, 10, 20), clientFromImage);
    EXPECT_EQ(c.cellRect().cornerPo(), xcVector<2>(0.0, 20.0));
    EXPECT_EQ(c.cellRect().cornerPx(), xcVector<2>(10.0, 20.0));
    EXPECT_EQ(c.cellRect().cornerPy(), xcVector<2>(0.0, 0.0));
    // Diagonal 1 = Px - Py, diagonal 2 = Px + Py - 2 Po.
    EXPECT_EQ(c.cellDiagonal1(), xcVector<2>(10.0, 20.0));
    EXPECT_EQ(c.cellDiagonal2(), xcVector<2>(10.0, -20.0));

    // Setting the rectangle directly recomputes both.
    c.cellRect(xcAffineRectangle(xcVector<2>(1, 1), xcVector<2>(4, 1), xcVector<2>(1, 3)));
    EXPECT_EQ(c.cellDiagonal1(), xcVector<2>(3.0, -2.0));
    EXPECT_EQ(c.cellDiagonal2(), xcVector<2>(3.0, 2.0));
}

TEST(ArrangePath, AppendRemoveLastAndLineRanges) {
    xc_ArrangePath p;
    p.append(2, true);
    EXPECT_EQ(p.lineStarts(), std::vector<long>({0}));
    p.removeLast();
    EXPECT_EQ(p.size(), 0);
    EXPECT_TRUE(p.lineStarts().empty());

    p.append(0, true);
    p.append(-1, false);
    p.append(3, false);
    p.append(1, true);
    p.append(-1, true);
    EXPECT_EQ(p.choices(), std::vector<long>({0, -1, 3, 1, -1}));
    EXPECT_EQ(p.lineStarts(), std::vector<long>({0, 3, 4}));
    ASSERT_EQ(p.numLines(), 3);
    EXPECT_EQ(p.lineStart(0), 0);
    EXPECT_EQ(p.lineEnd(0), 3);
    EXPECT_EQ(p.lineStart(1), 3);
    EXPECT_EQ(p.lineEnd(1), 4);
    EXPECT_EQ(p.lineEnd(2), 5);

    // Taking back a position that began a line takes the line back; one inside a line not.
    p.removeLast();
    EXPECT_EQ(p.lineStarts(), std::vector<long>({0, 3}));
    p.removeLast();
    EXPECT_EQ(p.lineStarts(), std::vector<long>({0}));
    p.removeLast();
    EXPECT_EQ(p.lineStarts(), std::vector<long>({0}));
    EXPECT_EQ(p.choices(), std::vector<long>({0, -1}));
    EXPECT_EQ(p.lineEnd(0), 2);
}

TEST(ArrangeCost, ResetZeroAndTotal) {
    xc_ArrangeCost c;
    for (int i = 0; i < xc_ArrangeCost::kNumCosts; ++i) c.cost[i] = 0.5 * (i + 1);
    EXPECT_DOUBLE_EQ(c.total(), 18.0);
    c.lineTypes.push_back(xcOCArrangeDefs::eCircular);
    c.lineScales.push_back(1.0);
    c.zeroPositions(3);
    EXPECT_EQ(c.tanDeviations, std::vector<double>(3, 0.0));
    EXPECT_EQ(c.nominalPositions.size(), 3u);
    c.reset();
    EXPECT_EQ(c.total(), 0.0);
    EXPECT_TRUE(c.lineTypes.empty());
    EXPECT_TRUE(c.lineScales.empty());
    EXPECT_TRUE(c.tanDeviations.empty());
    EXPECT_TRUE(c.expectedAngles.empty());
}
