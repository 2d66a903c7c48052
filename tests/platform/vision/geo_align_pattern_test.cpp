// The geometric alignment pattern: training errors, planted poses, zones, nominal values,
// masks, numToFind and overlap, polarity, client frames and time-outs.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>

#include "platform/core/affine_sampling.h"
#include "platform/core/attention.h"
#include "platform/core/pel_ops.h"
#include "platform/core/timeout.h"
#include "platform/vision/geo_align_pattern.h"
#include "tests/platform/vision/geo_align_scenes.h"
#include "tests/support/expect_error.h"

using geo_test::angleDiff;
using geo_test::centreDistance;
using geo_test::pose;

namespace {

xcGeoAlignPattern trained(long flags = xc_GeoDefs::eTrainAllFlags) {
    xcGeoAlignPattern p;
    p.train(geo_test::trainingImage(), flags);
    return p;
}

xcGeoAlignRunParams searchAll(long numToFind = 1) {
    xcGeoAlignRunParams r;
    r.zoneEnable(xc_GeoDefs::eZoneAll);
    r.zone(xc_GeoDefs::eDofAngle, -180.0, 180.0);
    r.zone(xc_GeoDefs::eDofScale, 0.8, 1.25);
    r.numToFind(numToFind);
    return r;
}

// Two instances far apart: A at 30 degrees, B at 120 degrees, both at scale 1.
xcPelBuffer8 twoInstances() {
    geo_test::Scene s(220, 170);
    s.add(pose(45.3, 40.2, 30.0, 1.0));
    s.add(pose(190.6, 95.7, 120.0, 1.0));
    return s.render();
}

// The angle lies in [lo, hi] up to whole turns.
bool inAngleZone(double a, double lo, double hi) {
    const double k = std::floor((a - lo) / 360.0);
    const double r = a - 360.0 * k;  // in [lo, lo + 360)
    return r <= hi + 1e-9;
}

}  // namespace

TEST(GeoAlignPattern, TrainingErrorsLeaveThePatternAsItWas) {
    xcGeoAlignPattern pat;
    EXPECT_FALSE(pat.isTrained());
    EXPECT_THROW(pat.trainWindow(), xc_GeoDefs::NotTrained);
    EXPECT_THROW(pat.trainClientFromImage(), xc_GeoDefs::NotTrained);
    EXPECT_THROW(pat.numLevels(), xc_GeoDefs::NotTrained);
    expectError<xc_GeoDefs::BadTrainImage>([&] { pat.train(xcPelBuffer8_const()); },
                                           L"Cannot train a geometric pattern on an unbound image");

    xcPelBuffer8 img = geo_test::trainingImage();
    img.clientFromImageXform(xcXform<2>::translation(xcVector<2>(-3.0, 5.0)));
    pat.train(img);
    EXPECT_TRUE(pat.isTrained());
    EXPECT_EQ(pat.trainWindow(), xcPelRect(0, 0, geo_test::kTrainW, geo_test::kTrainH));
    EXPECT_TRUE(pat.trainClientFromImage().isLinear());
    EXPECT_EQ(pat.trainClientFromImage().mapPoint(xcVector<2>(1.0, 1.0)), xcVector<2>(-2.0, 6.0));
    EXPECT_TRUE(pat.autoSelectGrainLimits());
    EXPECT_EQ(pat.grainLimitFine(), 1.0);
    const double coarse = pat.grainLimitCoarse();
    EXPECT_GE(coarse, 2.0);
    const long fit = pat.numFitPoints();
    EXPECT_GE(fit, 50);

    expectError<xc_GeoDefs::BadTrainFlags>(
        [&] { pat.train(img, 4); },
        L"Unknown geometric pattern train flags 4 (1 match polarity, 2 automatic contrast)");
    pat.autoSelectGrainLimits(false);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const auto& [f, c] : {std::pair{0.5, 4.0}, {4.0, 2.0}, {1.0, 128.0}, {nan, 2.0}}) {
        pat.grainLimits(f, c);
        EXPECT_THROW(pat.train(img), xc_GeoDefs::BadGrainLimits) << f << " " << c;
    }
    pat.grainLimits(0.5, 4.0);
    expectError<xc_GeoDefs::BadGrainLimits>(
        [&] { pat.train(img); },
        L"Bad grain limits (0.5, 4): the fine grain must be at least 1 pixel and the coarse grain "
        L"between the fine grain and 64 pixels");
    // The shape is too small for a coarsest grain of 32.
    pat.grainLimits(1.0, 32.0);
    EXPECT_THROW(pat.train(img), xc_GeoDefs::TooFewEdges);
    xcPelBuffer8 flat(40, 40);
    xfPelSet(flat, 100);
    pat.grainLimits(1.0, 1.0);
    expectError<xc_GeoDefs::TooFewEdges>(
        [&] { pat.train(flat); },
        L"Too few edges to train at grain 1: 0 edge points, at least 12 needed");
    xcPelBuffer8 tiny(2, 2);
    expectError<xc_GeoDefs::TooFewEdges>(
        [&] { pat.train(tiny); }, L"The training window (2 x 2 pixels) is too small to hold edges");
    // Every failure left the first training in place.
    EXPECT_EQ(pat.trainWindow(), xcPelRect(0, 0, geo_test::kTrainW, geo_test::kTrainH));
    EXPECT_EQ(pat.numFitPoints(), fit);
    EXPECT_EQ(pat.trainClientFromImage().mapPoint(xcVector<2>(0.0, 0.0)), xcVector<2>(-3.0, 5.0));

    // Grain limits set by hand are used; (1, 1) gives a single level.
    pat.train(img);
    EXPECT_EQ(pat.numLevels(), 1);
    pat.grainLimits(1.0, 2.0);
    pat.train(img);
    EXPECT_EQ(pat.numLevels(), 2);
    EXPECT_EQ(pat.grainLimitCoarse(), 2.0);
}

TEST(GeoAlignPattern, RecoversPlantedPoses) {
    const xcGeoAlignPattern pat = trained();
    struct Case {
        double x, y, angle, scale;
    };
    for (const Case& c :
         {Case{95.3, 70.6, 0.0, 1.0}, Case{80.25, 90.8, 37.5, 1.1}, Case{100.7, 75.2, -123.4, 0.87},
          Case{90.1, 85.9, 179.2, 1.2}, Case{70.4, 60.35, 91.0, 0.95}}) {
        geo_test::Scene s(190, 160);
        const xcXform<2> truth = pose(c.x, c.y, c.angle, c.scale);
        s.add(truth);
        xcGeoAlignResultSet rs;
        pat.run(s.render(), searchAll(), rs);
        ASSERT_EQ(rs.size(), 1u) << c.angle;
        const xcGeoAlignResult& r = rs[0];
        EXPECT_TRUE(r.accepted());
        EXPECT_GT(r.score(), 0.9);
        EXPECT_GT(r.coverage(), 0.95);
        EXPECT_LT(centreDistance(r.pose(), truth), 0.1) << c.angle;
        EXPECT_LT(std::fabs(angleDiff(r.angle(), c.angle)), 0.3) << c.angle;
        EXPECT_LT(std::fabs(r.xScale() / c.scale - 1.0), 0.005) << c.angle;
        EXPECT_GT(rs.time(), 0.0);
    }
}

TEST(GeoAlignPattern, NoiseAndGridAlgorithm) {
    const xcGeoAlignPattern pat = trained();
    geo_test::Scene s(190, 160);
    const xcXform<2> truth = pose(88.6, 77.1, -61.0, 1.04);
    s.add(truth);
    const xcPelBuffer8 img = s.render(40.0, 210.0, true, 6.0);
    xcGeoAlignResultSet rs;
    pat.run(img, searchAll(), rs);
    ASSERT_EQ(rs.numAccepted(), 1u);
    EXPECT_LT(centreDistance(rs[0].pose(), truth), 0.1);
    EXPECT_LT(std::fabs(angleDiff(rs[0].angle(), -61.0)), 0.3);
    // Without the least-squares fit the pose keeps the finest grid's resolution.
    xcGeoAlignRunParams grid = searchAll();
    grid.algorithm(xc_GeoDefs::eAlgorithmGrid);
    xcGeoAlignResultSet rg;
    pat.run(img, grid, rg);
    ASSERT_EQ(rg.numAccepted(), 1u);
    EXPECT_LT(centreDistance(rg[0].pose(), truth), 1.5);
    EXPECT_LT(std::fabs(angleDiff(rg[0].angle(), -61.0)), 4.0);
    EXPECT_GT(centreDistance(rg[0].pose(), truth) + std::fabs(angleDiff(rg[0].angle(), -61.0)),
              centreDistance(rs[0].pose(), truth) + std::fabs(angleDiff(rs[0].angle(), -61.0)));
}

TEST(GeoAlignPattern, ZonesAreRespected) {
    const xcGeoAlignPattern pat = trained();
    const xcPelBuffer8 img = twoInstances();
    xcGeoAlignRunParams r;
    r.numToFind(5);
    r.zoneEnable(xc_GeoDefs::eZoneAngle);
    struct Zone {
        double lo, hi;
        std::vector<double> angles;  // the instances inside, best first not required
    };
    for (const Zone& z :
         {Zone{0.0, 60.0, {30.0}}, Zone{90.0, 150.0, {120.0}}, Zone{-60.0, -10.0, {}},
          Zone{100.0, 400.0, {30.0, 120.0}}, Zone{-180.0, 180.0, {30.0, 120.0}}}) {
        r.zone(xc_GeoDefs::eDofAngle, z.lo, z.hi);
        xcGeoAlignResultSet rs;
        pat.run(img, r, rs);
        EXPECT_EQ(rs.numAccepted(), z.angles.size()) << z.lo << " " << z.hi;
        for (const xcGeoAlignResult& res : rs.results()) {
            EXPECT_TRUE(inAngleZone(res.angle(), z.lo, z.hi)) << res.angle();
            if (!res.accepted()) continue;
            bool planted = false;
            for (double a : z.angles) planted |= std::fabs(angleDiff(res.angle(), a)) < 0.2;
            EXPECT_TRUE(planted) << res.angle();
            EXPECT_NEAR(res.xScale(), 1.0, 1e-12);  // the scale zone is not enabled
        }
    }
    // Scale zones: instances at 0.9 and 1.15.
    geo_test::Scene s(220, 170);
    s.add(pose(50.0, 40.0, 10.0, 0.9));
    s.add(pose(150.0, 90.0, 10.0, 1.15));
    const xcPelBuffer8 scaled = s.render();
    r.zoneEnable(xc_GeoDefs::eZoneAll);
    r.zone(xc_GeoDefs::eDofAngle, -180.0, 180.0);
    r.zone(xc_GeoDefs::eDofScale, 0.8, 1.0);
    xcGeoAlignResultSet rs;
    pat.run(scaled, r, rs);
    ASSERT_EQ(rs.numAccepted(), 1u);
    EXPECT_NEAR(rs[0].xScale(), 0.9, 0.005);
    r.zone(xc_GeoDefs::eDofScale, 1.05, 1.3);
    pat.run(scaled, r, rs);
    ASSERT_EQ(rs.numAccepted(), 1u);
    EXPECT_NEAR(rs[0].xScale(), 1.15, 0.005);
    for (const xcGeoAlignResult& res : rs.results()) {
        EXPECT_GE(res.xScale(), 1.05 - 1e-9);
        EXPECT_LE(res.xScale(), 1.3 + 1e-9);
    }
}

TEST(GeoAlignPattern, NominalValuesHoldDisabledDegreesOfFreedom) {
    const xcGeoAlignPattern pat = trained();
    const xcPelBuffer8 img = twoInstances();
    xcGeoAlignRunParams r;
    r.numToFind(5);
    // Nothing enabled: angle 30 and scale 1 exactly, so only A matches.
    r.nominal(xc_GeoDefs::eDofAngle, 30.0);
    xcGeoAlignResultSet rs;
    pat.run(img, r, rs);
    ASSERT_EQ(rs.numAccepted(), 1u);
    EXPECT_NEAR(rs[0].angle(), 30.0, 1e-9);
    EXPECT_NEAR(rs[0].xScale(), 1.0, 1e-12);
    EXPECT_LT(centreDistance(rs[0].pose(), pose(45.3, 40.2, 30.0, 1.0)), 0.05);
    // A nominal angle a turn away is the same angle.
    r.nominal(xc_GeoDefs::eDofAngle, 120.0 - 360.0);
    pat.run(img, r, rs);
    ASSERT_EQ(rs.numAccepted(), 1u);
    EXPECT_NEAR(angleDiff(rs[0].angle(), 120.0), 0.0, 1e-9);
    // A nominal scale is kept as well.
    geo_test::Scene s(200, 160);
    s.add(pose(100.0, 80.0, 0.0, 1.15));
    r.nominal(xc_GeoDefs::eDofAngle, 0.0);
    r.nominal(xc_GeoDefs::eDofScale, 1.15);
    pat.run(s.render(), r, rs);
    ASSERT_EQ(rs.numAccepted(), 1u);
    EXPECT_NEAR(rs[0].xScale(), 1.15, 1e-12);
    EXPECT_NEAR(rs[0].angle(), 0.0, 1e-9);
    // The wrong nominal scale does not reach the accept threshold.
    r.nominal(xc_GeoDefs::eDofScale, 0.8);
    pat.run(s.render(), r, rs);
    EXPECT_EQ(rs.numAccepted(), 0u);
}

TEST(GeoAlignPattern, MaskExcludesInstancesInDontCareRegions) {
    const xcGeoAlignPattern pat = trained();
    const xcPelBuffer8 img = twoInstances();
    xcPelBuffer8 mask(220, 170);
    for (long y = 0; y < 170; ++y)
        for (long x = 0; x < 220; ++x) mask.set(x, y, x < 110 ? 255 : 0);
    xcGeoAlignResultSet rs;
    pat.run(img, mask, searchAll(5), rs);
    ASSERT_EQ(rs.numAccepted(), 1u);
    EXPECT_NEAR(angleDiff(rs[0].angle(), 30.0), 0.0, 0.2);
    // 128 cares, 127 does not.
    for (long y = 0; y < 170; ++y)
        for (long x = 0; x < 220; ++x) mask.set(x, y, x < 110 ? 127 : 128);
    pat.run(img, mask, searchAll(5), rs);
    ASSERT_EQ(rs.numAccepted(), 1u);
    EXPECT_NEAR(angleDiff(rs[0].angle(), 120.0), 0.0, 0.2);
    // A mask that does not cover the image is an error, and the results are emptied.
    xcPelBuffer8 small(100, 100);
    expectError<xc_GeoDefs::BadRunInput>(
        [&] { pat.run(img, small, searchAll(), rs); },
        L"Geometric alignment run: the mask's window does not contain the image's window");
    EXPECT_TRUE(rs.empty());
}

TEST(GeoAlignPattern, NumToFindAndOverlapSuppression) {
    const xcGeoAlignPattern pat = trained();
    geo_test::Scene s(260, 200);
    s.add(pose(50.0, 40.0, 0.0, 1.0));
    s.add(pose(180.0, 45.0, 90.0, 1.0));
    s.add(pose(60.0, 140.0, -45.0, 1.0));
    s.add(pose(190.0, 150.0, 160.0, 1.0));
    const xcPelBuffer8 img = s.render();
    xcGeoAlignResultSet rs;
    pat.run(img, searchAll(2), rs);
    ASSERT_EQ(rs.size(), 2u);
    EXPECT_EQ(rs.numAccepted(), 2u);
    EXPECT_GE(rs[0].score(), rs[1].score());
    pat.run(img, searchAll(10), rs);
    ASSERT_EQ(rs.numAccepted(), 4u);
    for (size_t i = 1; i < rs.size(); ++i) EXPECT_GE(rs[i - 1].score(), rs[i].score());
    // Nothing reaches an accept threshold of 1: the best candidate comes back alone.
    xcGeoAlignRunParams strict = searchAll(10);
    strict.acceptThreshold(1.0);
    pat.run(img, strict, rs);
    ASSERT_EQ(rs.size(), 1u);
    EXPECT_FALSE(rs[0].accepted());
    EXPECT_GT(rs[0].score(), 0.9);

    // Two instances whose footprints (40 x 46 training windows) overlap by 55 %.
    geo_test::Scene o(200, 150);
    o.add(pose(60.0, 50.0, 0.0, 1.0));
    o.add(pose(78.0, 50.0, 0.0, 1.0));
    const xcPelBuffer8 pair = o.render();
    xcGeoAlignRunParams r = searchAll(5);
    r.xyOverlap(0.3);
    pat.run(pair, r, rs);
    EXPECT_EQ(rs.numAccepted(), 1u);
    r.xyOverlap(0.7);
    pat.run(pair, r, rs);
    EXPECT_EQ(rs.numAccepted(), 2u);
}

TEST(GeoAlignPattern, PolarityCountsWhenTrainedSo) {
    geo_test::Scene s(190, 160);
    const xcXform<2> truth = pose(90.0, 80.0, 25.0, 1.0);
    s.add(truth);
    const xcPelBuffer8 reversed = s.render(210.0, 40.0);  // light shape on a dark ground
    xcGeoAlignResultSet rs;
    trained(xc_GeoDefs::eTrainAllFlags).run(reversed, searchAll(), rs);
    EXPECT_EQ(rs.numAccepted(), 0u);
    trained(xc_GeoDefs::eTrainAutoContrast).run(reversed, searchAll(), rs);
    ASSERT_EQ(rs.numAccepted(), 1u);
    EXPECT_LT(centreDistance(rs[0].pose(), truth), 0.05);
    EXPECT_GT(rs[0].score(), 0.9);
}

TEST(GeoAlignPattern, PosesMapClientFrames) {
    geo_test::Scene s(190, 160);
    const xcXform<2> truth = pose(95.0, 82.5, -20.0, 1.1);  // pattern image -> scene image
    s.add(truth);
    xcPelBuffer8 scene = s.render();
    // The scene's client frame: turned by 90 degrees, halved, moved.
    const xcXform<2> sceneClient(xcMatrix<2>(0.0, -0.5, 0.5, 0.0), xcVector<2>(7.0, -3.0));
    scene.clientFromImageXform(sceneClient);
    // The pattern's client frame: the shape's own frame.
    xcPelBuffer8 train = geo_test::trainingImage();
    const xcXform<2> trainClient = xcXform<2>::translation(-geo_test::kShapeOffset);
    train.clientFromImageXform(trainClient);
    xcGeoAlignPattern pat;
    pat.train(train);
    xcGeoAlignRunParams r = searchAll();
    r.zone(xc_GeoDefs::eDofScale, 0.4, 0.7);  // client scale = 0.5 * image scale
    xcGeoAlignResultSet rs;
    pat.run(scene, r, rs);
    ASSERT_EQ(rs.numAccepted(), 1u);
    const xcXform<2> expected = sceneClient * truth * trainClient.inverse();
    EXPECT_TRUE(xfRealEq(rs[0].pose().matrix(), expected.matrix(), 2e-3));
    const xcVector<2> d =
        rs[0].pose().mapPoint(xcVector<2>(8, 12)) - expected.mapPoint(xcVector<2>(8, 12));
    EXPECT_LT(std::hypot(d.x(), d.y()), 0.03);  // half of 0.05 image pixels
    EXPECT_NEAR(rs[0].xScale(), 0.55, 0.002);
    EXPECT_NEAR(angleDiff(rs[0].angle(), -20.0 + 90.0), 0.0, 0.1);

    // A pattern trained on a two-times enlargement keeps the original client frame.
    const xcXform<2> c = train.clientFromImageXform();
    const xcAffineRectangle rect(c.mapPoint(xcVector<2>(0, 0)),
                                 c.mapPoint(xcVector<2>(geo_test::kTrainW, 0)),
                                 c.mapPoint(xcVector<2>(0, geo_test::kTrainH)));
    const xcPelBuffer8 big = xfAffineTransformImage(
        train, xcAffineSamplingParams(rect, 2 * geo_test::kTrainW, 2 * geo_test::kTrainH, 2));
    xcGeoAlignPattern pat2;
    pat2.train(big);
    pat2.run(scene, r, rs);
    ASSERT_EQ(rs.numAccepted(), 1u);
    const xcVector<2> d2 =
        rs[0].pose().mapPoint(xcVector<2>(8, 12)) - expected.mapPoint(xcVector<2>(8, 12));
    EXPECT_LT(std::hypot(d2.x(), d2.y()), 0.05);
    EXPECT_NEAR(rs[0].xScale(), 0.55, 0.003);
}

TEST(GeoAlignPattern, BadRunInputsAreTheirOwnErrorAndEmptyTheResults) {
    xcGeoAlignResultSet rs;
    rs.add(xcGeoAlignResult(true, 1.0, 1.0, xcXform<2>()));
    xcGeoAlignPattern untrained;
    expectError<xc_GeoDefs::BadRunInput>([&] { untrained.run(twoInstances(), searchAll(), rs); },
                                         L"Geometric alignment run: the pattern is not trained");
    EXPECT_TRUE(rs.empty());
    rs.add(xcGeoAlignResult());
    expectError<xc_GeoDefs::BadRunInput>(
        [&] { trained().run(xcPelBuffer8_const(), searchAll(), rs); },
        L"Geometric alignment run: the image is unbound");
    EXPECT_TRUE(rs.empty());
    // A singular client transform of the searched image.
    xcPelBuffer8 flat = twoInstances();
    flat.clientFromImageXform(xcXform<2>(xcMatrix<2>(1.0, 0.0, 0.0, 0.0), xcVector<2>(0, 0)));
    expectError<xc_GeoDefs::BadRunInput>(
        [&] { trained().run(flat, searchAll(), rs); },
        L"Geometric alignment run: the image's client-from-image transform is singular");
    // An image smaller than the pattern gives no result, and no error.
    xcPelBuffer8 small(10, 10);
    trained().run(small, searchAll(), rs);
    EXPECT_EQ(rs.numAccepted(), 0u);
}

TEST(GeoAlignPattern, TimeOutsEndTrainingAndRuns) {
    const xcPelBuffer8 train = geo_test::trainingImage();
    xcGeoAlignPattern pat;
    pat.train(train);
    const long fit = pat.numFitPoints();
    const xcPelBuffer8 img = twoInstances();
    xcGeoAlignResultSet rs;
    rs.add(xcGeoAlignResult());
    {
        xcAttentionTag tag;
        tag.attachTimeoutCustom(0.0, 0x80000064);
        if (const auto e =
                expectError<xcTimeout::InternalExpired>([&] { pat.run(img, searchAll(), rs); })) {
            EXPECT_EQ(e->code(), 0x80000064);
        }
        EXPECT_TRUE(rs.empty());
        xcGeoAlignPattern other;
        EXPECT_THROW(other.train(train), xcTimeout::InternalExpired);
        EXPECT_FALSE(other.isTrained());
    }
    {
        xcAttentionTag tag;
        tag.attachTimeout(0.0);
        EXPECT_THROW(pat.train(img), xcTimeout::Expired);
        EXPECT_EQ(pat.numFitPoints(), fit);
    }

    // A time-out ends a long run promptly: a single-level pattern searching every angle and
    // scale from 0.5 to 2 on a busy image.
    xcGeoAlignPattern slow;
    slow.autoSelectGrainLimits(false);
    slow.grainLimits(1.0, 1.0);
    slow.train(train);
    geo_test::Scene busy(240, 180);
    for (int i = 0; i < 6; ++i)
        busy.add(pose(30.0 + 37.0 * i, 50.0 + 20.0 * (i % 4), 31.0 * i, 0.7 + 0.1 * (i % 5)));
    const xcPelBuffer8 busyImg = busy.render(40.0, 210.0, true, 8.0);
    xcGeoAlignRunParams wide = searchAll(20);
    wide.zone(xc_GeoDefs::eDofScale, 0.6, 1.6);
    wide.acceptThreshold(0.3);
    using clock = std::chrono::steady_clock;
    const auto t0 = clock::now();
    slow.run(busyImg, wide, rs);
    const double full = std::chrono::duration<double>(clock::now() - t0).count();
    xcAttentionTag tag;
    tag.attachTimeoutCustom(full / 20.0, 0x80000064);
    const auto t1 = clock::now();
    EXPECT_THROW(slow.run(busyImg, wide, rs), xcTimeout::InternalExpired);
    const double cut = std::chrono::duration<double>(clock::now() - t1).count();
    EXPECT_LT(cut, full / 4.0) << "full run " << full << " s";
    EXPECT_TRUE(rs.empty());
}
