// Angle zones that nearly close the turn: an instance near one end is found at its own angle,
// also when the coarse grid's nearest angle lies across the turn at the zone's other end.
#include <gtest/gtest.h>

#include "geo_align_scenes.h"
#include "platform/vision/geo_align_pattern.h"

TEST(GeoAlignZone, InstancesNearTheEndsOfANearlyFullZone) {
    xcGeoAlignPattern pattern;
    pattern.train(geo_test::trainingImage());
    for (const double angle : {178.6, 179.7, -178.8, 0.5}) {
        SCOPED_TRACE(angle);
        geo_test::Scene s(160, 160);
        const xcXform<2> truth =
            geo_test::pose(80.0, 80.0, angle, 1.0) *
            xcXform<2>::translation(-(geo_test::kShapeOffset + xcVector<2>(8.0, 12.0)));
        s.add(truth);
        const xcPelBuffer8 img = s.render(40.0, 210.0, true, 2.0, 3);
        xcGeoAlignRunParams rp;
        rp.zoneEnable(xc_GeoDefs::eZoneAngle);
        rp.zone(xc_GeoDefs::eDofAngle, -179.0, 180.0);
        xcGeoAlignResultSet rs;
        pattern.run(img, rp, rs);
        ASSERT_GE(rs.numAccepted(), 1u);
        EXPECT_NEAR(geo_test::angleDiff(rs[0].angle(), angle), 0.0, 0.3);
        EXPECT_LT(geo_test::centreDistance(rs[0].pose(), truth), 0.3);
        EXPECT_GT(rs[0].score(), 0.8);
    }
}
