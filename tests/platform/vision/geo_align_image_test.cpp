// The prepared image of the geometric alignment tool: runs on it give exactly the results of
// plain runs, whatever patterns, parameters and masks come one after the other.
#include <gtest/gtest.h>

#include <vector>

#include "geo_align_scenes.h"
#include "platform/core/attention.h"
#include "platform/core/timeout.h"
#include "platform/vision/geo_align_image.h"
#include "platform/vision/geo_align_pattern.h"

namespace {

// Four instances of the shape at assorted poses, and a few disc distractors.
xcPelBuffer8 scene() {
    geo_test::Scene s(320, 240);
    s.add(geo_test::pose(40, 30, 0.0, 1.0));
    s.add(geo_test::pose(200, 40, 73.0, 1.08));
    s.add(geo_test::pose(90, 150, -140.0, 0.93));
    s.add(geo_test::pose(230, 160, 171.0, 1.0));
    s.addShape(geo_test::pose(150, 100, 0.0, 1.0),
               [](double x, double y) { return (x - 8) * (x - 8) + (y - 12) * (y - 12) < 30.0; });
    return s.render(40.0, 210.0, true, 3.0, 5);
}

void expectSame(const xcGeoAlignResultSet& a, const xcGeoAlignResultSet& b) {
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i) {
        EXPECT_EQ(a[i].accepted(), b[i].accepted()) << i;
        EXPECT_EQ(a[i].score(), b[i].score()) << i;
        EXPECT_EQ(a[i].coverage(), b[i].coverage()) << i;
        EXPECT_EQ(a[i].pose(), b[i].pose()) << i;
    }
}

}  // namespace

TEST(GeoAlignImage, RunsGiveExactlyThePlainResults) {
    // Patterns of different sizes (so different coarse levels) and grains.
    std::vector<xcGeoAlignPattern> patterns(3);
    patterns[0].train(geo_test::trainingImage());
    xcPelBuffer8 big(2 * geo_test::kTrainW, 2 * geo_test::kTrainH);
    {
        geo_test::Scene s(2 * geo_test::kTrainW, 2 * geo_test::kTrainH);
        s.add(geo_test::pose(0, 0, 0.0, 2.0));
        big = s.render(40.0, 210.0, false);
    }
    patterns[1].train(big);
    patterns[2].autoSelectGrainLimits(false);
    patterns[2].grainLimits(1.0, 2.0);
    patterns[2].train(geo_test::trainingImage(true));

    std::vector<xcGeoAlignRunParams> params(4);
    params[0].zoneEnable(xc_GeoDefs::eZoneAll);
    params[0].zone(xc_GeoDefs::eDofScale, 0.9, 1.1);
    params[0].numToFind(4);
    params[1].zoneEnable(xc_GeoDefs::eZoneAngle);
    params[1].nominal(xc_GeoDefs::eDofScale, 0.5);  // the big pattern at the scenes' size
    params[1].numToFind(3);
    params[2].zoneEnable(xc_GeoDefs::eZoneAll);
    params[2].zone(xc_GeoDefs::eDofAngle, 60.0, 90.0);
    params[2].contrastThreshold(25.0);
    params[3].algorithm(xc_GeoDefs::eAlgorithmGrid);
    params[3].zoneEnable(xc_GeoDefs::eZoneAngle);
    params[3].clutterScoring(true);
    params[3].numToFind(5);

    const xcPelBuffer8 img = scene();
    // A mask that hides the right quarter.
    xcPelBuffer8 mask(320, 240);
    for (long y = 0; y < 240; ++y)
        for (long x = 0; x < 320; ++x) mask.set(x, y, x < 240 ? 255 : 0);
    // A window of the scene with a client transform.
    xcPelBuffer8_const windowed = img;
    windowed.window(xcPelRect(10, 5, 300, 220));
    windowed.clientFromImageXform(xcXform<2>(xcMatrix<2>(0.0, -1.0, 1.0, 0.0), xcVector<2>(7, 3)));

    struct Case {
        xcPelBuffer8_const image, mask;
    };
    for (const Case& c :
         {Case{img, xcPelBuffer8_const()}, Case{img, mask}, Case{windowed, xcPelBuffer8_const()}}) {
        SCOPED_TRACE(c.mask.isBound() ? "mask" : "no mask");
        const xcGeoAlignImage prepared(c.image, c.mask);
        // Every pattern with every parameter set, twice over (the second round reads only
        // what the first left).
        for (int round = 0; round < 2; ++round)
            for (size_t p = 0; p < patterns.size(); ++p)
                for (size_t q = 0; q < params.size(); ++q) {
                    SCOPED_TRACE(testing::Message() << round << " " << p << " " << q);
                    xcGeoAlignResultSet plain, shared;
                    patterns[p].run(c.image, c.mask, params[q], plain);
                    patterns[p].run(prepared, params[q], shared);
                    expectSame(plain, shared);
                    if (p == 0 && q == 0) {
                        EXPECT_GE(shared.numAccepted(), 3u);
                    }
                }
    }
}

TEST(GeoAlignImage, ErrorsAsAPlainRun) {
    xcGeoAlignPattern pattern;
    pattern.train(geo_test::trainingImage());
    xcGeoAlignResultSet rs;
    rs.add(xcGeoAlignResult());
    EXPECT_THROW(pattern.run(xcGeoAlignImage(xcPelBuffer8_const()), xcGeoAlignRunParams(), rs),
                 xc_GeoDefs::BadRunInput);
    EXPECT_TRUE(rs.empty());
    xcPelBuffer8 small(20, 20);
    const xcPelBuffer8 img = scene();
    EXPECT_THROW(pattern.run(xcGeoAlignImage(img, small), xcGeoAlignRunParams(), rs),
                 xc_GeoDefs::BadRunInput);
    // A time-out while a prepared image is being filled leaves it usable.
    const xcGeoAlignImage prepared(img);
    {
        xcAttentionTag tag;
        tag.attachTimeout(1e-9);
        EXPECT_THROW(pattern.run(prepared, xcGeoAlignRunParams(), rs), xcTimeout::Expired);
    }
    xcGeoAlignResultSet plain;
    xcGeoAlignRunParams rp;
    rp.zoneEnable(xc_GeoDefs::eZoneAngle);
    rp.numToFind(4);
    pattern.run(img, rp, plain);
    pattern.run(prepared, rp, rs);
    expectSame(plain, rs);
}
