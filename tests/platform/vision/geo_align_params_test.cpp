// Run parameters, results and the error family of the geometric alignment tool.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/vision/geo_align_params.h"
#include "platform/vision/geo_align_result.h"
#include "tests/support/expect_error.h"

TEST(GeoAlignRunParams, DefaultsAndChecks) {
    xcGeoAlignRunParams p;
    EXPECT_EQ(p.acceptThreshold(), 0.5);
    EXPECT_EQ(p.contrastThreshold(), 10.0);
    EXPECT_EQ(p.algorithm(), xc_GeoDefs::eAlgorithmRefined);
    EXPECT_FALSE(p.clutterScoring());
    EXPECT_EQ(p.xyOverlap(), 0.3);
    EXPECT_EQ(p.numToFind(), 1);
    EXPECT_EQ(p.zoneEnable(), 0);
    EXPECT_EQ(p.zone(1), xcRange(-180.0, 180.0));
    EXPECT_EQ(p.zone(2), xcRange(0.8, 1.25));
    EXPECT_EQ(p.nominal(1), 0.0);
    EXPECT_EQ(p.nominal(2), 1.0);

    // Out-of-range values throw and change nothing.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THROW(p.acceptThreshold(1.01), xcBadArgument);
    EXPECT_THROW(p.acceptThreshold(nan), xcBadArgument);
    EXPECT_EQ(p.acceptThreshold(), 0.5);
    p.acceptThreshold(1.0);
    EXPECT_EQ(p.acceptThreshold(), 1.0);
    EXPECT_THROW(p.contrastThreshold(-0.1), xcBadArgument);
    EXPECT_THROW(p.contrastThreshold(INFINITY), xcBadArgument);
    EXPECT_EQ(p.contrastThreshold(), 10.0);
    EXPECT_THROW(p.algorithm(3), xcBadArgument);
    EXPECT_THROW(p.algorithm(0), xcBadArgument);
    p.algorithm(1);
    EXPECT_EQ(p.algorithm(), 1);
    EXPECT_THROW(p.xyOverlap(-0.01), xcBadArgument);
    EXPECT_EQ(p.xyOverlap(), 0.3);
    EXPECT_THROW(p.numToFind(0), xcBadArgument);
    EXPECT_EQ(p.numToFind(), 1);
    EXPECT_THROW(p.zoneEnable(4), xcBadArgument);
    EXPECT_THROW(p.zoneEnable(-1), xcBadArgument);
    p.zoneEnable(3);
    EXPECT_TRUE(p.zoneEnabled(1));
    EXPECT_TRUE(p.zoneEnabled(2));
    p.zoneEnable(1);
    EXPECT_TRUE(p.zoneEnabled(xc_GeoDefs::eDofAngle));
    EXPECT_FALSE(p.zoneEnabled(xc_GeoDefs::eDofScale));

    // Degrees of freedom are 1 and 2 only.
    EXPECT_THROW(p.zone(0), xcBadArgument);
    EXPECT_THROW(p.zone(3, 0.0, 1.0), xcBadArgument);
    EXPECT_THROW(p.nominal(3), xcBadArgument);
    EXPECT_THROW(p.zoneEnabled(0), xcBadArgument);

    // Zones: angles any normal or full range; scales positive and finite.
    p.zone(1, -30.0, 45.0);
    EXPECT_EQ(p.zone(1), xcRange(-30.0, 45.0));
    p.zone(1, xcRange::full());
    EXPECT_TRUE(p.zone(1).isFull());
    EXPECT_THROW(p.zone(1, xcRange()), xcBadArgument);
    EXPECT_THROW(p.zone(2, 0.0, 2.0), xcBadArgument);
    EXPECT_THROW(p.zone(2, xcRange::full()), xcBadArgument);
    EXPECT_EQ(p.zone(2), xcRange(0.8, 1.25));
    p.zone(2, 0.5, 2.0);
    EXPECT_EQ(p.zone(2), xcRange(0.5, 2.0));

    // Nominal values: finite angles, positive scales.
    p.nominal(1, -720.0);
    EXPECT_EQ(p.nominal(1), -720.0);
    EXPECT_THROW(p.nominal(1, nan), xcBadArgument);
    EXPECT_THROW(p.nominal(2, 0.0), xcBadArgument);
    EXPECT_THROW(p.nominal(2, -1.0), xcBadArgument);
    EXPECT_EQ(p.nominal(2), 1.0);
}

TEST(GeoAlignResultSet, AccessAndAngle) {
    xcGeoAlignResultSet set;
    EXPECT_TRUE(set.empty());
    const xcXform<2> pose(
        xcMatrix<2>(xcRadian(xcDegree(150.0)), xcRadian(xcDegree(150.0)), 1.2, 1.2),
        xcVector<2>(3.0, 4.0));
    set.add(xcGeoAlignResult(true, 0.9, 0.95, pose));
    set.add(xcGeoAlignResult(false, 0.4, 0.5, xcXform<2>()));
    EXPECT_EQ(set.size(), 2u);
    EXPECT_EQ(set.numAccepted(), 1u);
    EXPECT_NEAR(set[0].angle(), 150.0, 1e-12);
    EXPECT_NEAR(set[0].xScale(), 1.2, 1e-12);
    EXPECT_EQ(set.result(1).score(), 0.4);
    EXPECT_FALSE(set.result(1).accepted());
    expectError<xcBadArgument>([&] { set.result(2); },
                               L"Geometric alignment result 2 does not exist (the set holds 2)");
    set.time(3.5);
    set.clear();
    EXPECT_TRUE(set.empty());
    EXPECT_EQ(set.time(), 0.0);
}

TEST(GeoAlignErrors, NumbersAndFamily) {
    EXPECT_EQ(xc_GeoDefs::BadTrainImage(L"x").errorNumber(), 0x10000200);
    EXPECT_EQ(xc_GeoDefs::BadTrainFlags().errorNumber(), 0x10000201);
    EXPECT_EQ(xc_GeoDefs::BadGrainLimits().errorNumber(), 0x10000202);
    EXPECT_EQ(xc_GeoDefs::TooFewEdges().errorNumber(), 0x10000203);
    EXPECT_EQ(xc_GeoDefs::NotTrained().errorNumber(), 0x10000204);
    EXPECT_EQ(xc_GeoDefs::BadRunInput().errorNumber(), 0x10000205);
    EXPECT_EQ(xc_GeoDefs::InternalError().errorNumber(), 0x10000207);
    // Training errors are Errors; a run's internal error is not; a run's bad input is one.
    try {
        throw xc_GeoDefs::TooFewEdges(L"few");
    } catch (const xc_GeoDefs::Errors& e) {
        EXPECT_EQ(e.message(), L"few");
    }
    const bool isErrors = std::is_base_of_v<xc_GeoDefs::Errors, xc_GeoDefs::InternalError>;
    EXPECT_FALSE(isErrors);
    const bool isInternal = std::is_base_of_v<xc_GeoDefs::InternalError, xc_GeoDefs::BadRunInput>;
    EXPECT_TRUE(isInternal);
    // A heap copy rethrows itself as its own type.
    xcException* heap = new xc_GeoDefs::BadGrainLimits(L"bad");
    EXPECT_THROW(heap->suicideAndRethrow(), xc_GeoDefs::BadGrainLimits);
}
