#include "platform/clevel/fixed_rect.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace {

xoc_rectD rectD(double x, double y, double w, double h) { return xoc_rectD{x, y, w, h}; }

// Converts a rectangle whose only interesting value is x.
xstd_status fixX(double x, std::uint32_t bits, std::int32_t& out) {
    xoc_rectD d = rectD(x, 0, 0, 0);
    xoc_rect32Fixed f{7, 7, 7, 7};
    const xstd_status s = xoc_rect32FixedInitFromRectD_(&f, &d, bits);
    out = f.x;
    return s;
}

}  // namespace

TEST(FixedRect, SixteenFractionBitsRoundTrip) {
    xoc_rectD d = rectD(12.5, -3.25, 100.0, 0.0078125);
    xoc_rect32Fixed f;
    ASSERT_EQ(xoc_rect32FixedInitFromRectD_(&f, &d, 16), xstd_eSuccess);
    EXPECT_EQ(f.x, 819200);
    EXPECT_EQ(f.y, -212992);
    EXPECT_EQ(f.width, 6553600);
    EXPECT_EQ(f.height, 512);
    xoc_rectD back;
    ASSERT_EQ(xoc_rectDInitFromRect32Fixed_(&back, &f, 16), xstd_eSuccess);
    EXPECT_EQ(back.x, 12.5);
    EXPECT_EQ(back.y, -3.25);
    EXPECT_EQ(back.width, 100.0);
    EXPECT_EQ(back.height, 0.0078125);
}

TEST(FixedRect, EveryFixedValueSurvivesTheRealForm) {
    std::mt19937 rng(1234);
    std::uniform_int_distribution<std::int32_t> any(std::numeric_limits<std::int32_t>::min(),
                                                    std::numeric_limits<std::int32_t>::max());
    for (std::uint32_t bits : {0u, 1u, 16u, 31u, 40u}) {
        SCOPED_TRACE(testing::Message() << "bits " << bits);
        for (int i = 0; i < 200; ++i) {
            const xoc_rect32Fixed f{any(rng), any(rng), any(rng), any(rng)};
            xoc_rectD d;
            ASSERT_EQ(xoc_rectDInitFromRect32Fixed_(&d, &f, bits), xstd_eSuccess);
            EXPECT_EQ(d.x, std::ldexp(static_cast<double>(f.x), -static_cast<int>(bits)));
            xoc_rect32Fixed g;
            ASSERT_EQ(xoc_rect32FixedInitFromRectD_(&g, &d, bits), xstd_eSuccess);
            EXPECT_EQ(g.x, f.x);
            EXPECT_EQ(g.y, f.y);
            EXPECT_EQ(g.width, f.width);
            EXPECT_EQ(g.height, f.height);
        }
    }
}

TEST(FixedRect, RoundsToNearestWithHalvesAwayFromZero) {
    const double unit = std::ldexp(1.0, -16);
    std::int32_t v = 0;
    EXPECT_EQ(fixX(0.5 * unit, 16, v), xstd_eSuccess);
    EXPECT_EQ(v, 1);
    EXPECT_EQ(fixX(-0.5 * unit, 16, v), xstd_eSuccess);
    EXPECT_EQ(v, -1);
    EXPECT_EQ(fixX(0.49 * unit, 16, v), xstd_eSuccess);
    EXPECT_EQ(v, 0);
    EXPECT_EQ(fixX(2.51 * unit, 16, v), xstd_eSuccess);
    EXPECT_EQ(v, 3);
    EXPECT_EQ(fixX(-2.49 * unit, 16, v), xstd_eSuccess);
    EXPECT_EQ(v, -2);
}

TEST(FixedRect, OverflowAtTheSigned32BitBoundaries) {
    const double unit = std::ldexp(1.0, -16);
    std::int32_t v = 0;
    EXPECT_EQ(fixX(2147483647.0 * unit, 16, v), xstd_eSuccess);
    EXPECT_EQ(v, 2147483647);
    EXPECT_EQ(fixX(2147483647.49 * unit, 16, v), xstd_eSuccess);
    EXPECT_EQ(v, 2147483647);
    EXPECT_EQ(fixX(2147483647.5 * unit, 16, v), xoc_eFixedPointOverflow);  // rounds to 2^31
    EXPECT_EQ(v, 7);                                                       // unchanged
    EXPECT_EQ(fixX(32768.0, 16, v), xoc_eFixedPointOverflow);
    EXPECT_EQ(fixX(-32768.0, 16, v), xstd_eSuccess);
    EXPECT_EQ(v, std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(fixX(-2147483648.49 * unit, 16, v), xstd_eSuccess);
    EXPECT_EQ(v, std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(fixX(-2147483648.5 * unit, 16, v), xoc_eFixedPointOverflow);
    EXPECT_EQ(fixX(-32768.0 - unit, 16, v), xoc_eFixedPointOverflow);
    // No fraction bits: plain integers; 31 fraction bits: [-1, 1).
    EXPECT_EQ(fixX(2147483647.0, 0, v), xstd_eSuccess);
    EXPECT_EQ(fixX(2147483648.0, 0, v), xoc_eFixedPointOverflow);
    EXPECT_EQ(fixX(0.5, 31, v), xstd_eSuccess);
    EXPECT_EQ(v, 1 << 30);
    EXPECT_EQ(fixX(1.0, 31, v), xoc_eFixedPointOverflow);
    EXPECT_EQ(fixX(-1.0, 31, v), xstd_eSuccess);
    // Values that are not numbers or not finite.
    EXPECT_EQ(fixX(std::nan(""), 16, v), xoc_eFixedPointOverflow);
    EXPECT_EQ(fixX(std::numeric_limits<double>::infinity(), 0, v), xoc_eFixedPointOverflow);
    EXPECT_EQ(fixX(-std::numeric_limits<double>::infinity(), 0, v), xoc_eFixedPointOverflow);
}

TEST(FixedRect, HugeFractionBitCountsStayExact) {
    std::int32_t v = 1;
    EXPECT_EQ(fixX(0.0, 4000000000u, v), xstd_eSuccess);
    EXPECT_EQ(v, 0);
    EXPECT_EQ(fixX(1e-300, 4000000000u, v), xoc_eFixedPointOverflow);
    EXPECT_EQ(fixX(std::ldexp(1.0, -100), 100, v), xstd_eSuccess);
    EXPECT_EQ(v, 1);
    const xoc_rect32Fixed f{1, -1, 0, 2147483647};
    xoc_rectD d;
    ASSERT_EQ(xoc_rectDInitFromRect32Fixed_(&d, &f, 4000000000u), xstd_eSuccess);
    EXPECT_EQ(d.x, 0.0);
    EXPECT_EQ(d.height, 0.0);
    ASSERT_EQ(xoc_rectDInitFromRect32Fixed_(&d, &f, 1000), xstd_eSuccess);
    EXPECT_EQ(d.x, std::ldexp(1.0, -1000));
}

TEST(FixedRect, FailureLeavesTheRecordUnchanged) {
    xoc_rectD d = rectD(1.0, 2.0, 3.0, 1e9);  // height overflows with 16 fraction bits
    xoc_rect32Fixed f{11, 12, 13, 14};
    EXPECT_EQ(xoc_rect32FixedInitFromRectD_(&f, &d, 16), xoc_eFixedPointOverflow);
    EXPECT_EQ(f.x, 11);
    EXPECT_EQ(f.y, 12);
    EXPECT_EQ(f.width, 13);
    EXPECT_EQ(f.height, 14);
    EXPECT_EQ(xoc_rect32FixedInitFromRectD_(nullptr, &d, 16), xstd_eBadArgument);
    EXPECT_EQ(xoc_rect32FixedInitFromRectD_(&f, nullptr, 16), xstd_eBadArgument);
    EXPECT_EQ(xoc_rectDInitFromRect32Fixed_(nullptr, &f, 16), xstd_eBadArgument);
    EXPECT_EQ(xoc_rectDInitFromRect32Fixed_(&d, nullptr, 16), xstd_eBadArgument);
    EXPECT_EQ(d.height, 1e9);
}
