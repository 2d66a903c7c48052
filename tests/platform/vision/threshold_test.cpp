#include "platform/vision/threshold.h"

#include <gtest/gtest.h>

#include <random>

namespace {

// Within-group variance (times n) of the split at t, by brute force.
double withinGroup(const long long (&h)[256], int t) {
    double out = 0;
    for (int g = 0; g < 2; ++g) {
        double n = 0, s = 0, ss = 0;
        for (int v = g ? t : 0; v < (g ? 256 : t); ++v) {
            n += h[v];
            s += h[v] * v;
            ss += static_cast<double>(h[v]) * v * v;
        }
        if (n > 0) out += ss - s * s / n;
    }
    return out;
}

}  // namespace

TEST(ThresholdWGV, RecoversThePlantedThresholdOfABimodalImage) {
    // Two noisy populations around 60 and 180: the threshold lies between them and the score
    // is close to 1.
    std::mt19937 rng(3);
    std::normal_distribution<double> dark(60, 8), light(180, 8);
    xcPelBuffer8 img(41, 37);
    long nDark = 0;
    for (long y = 0; y < 37; ++y)
        for (long x = 0; x < 41; ++x) {
            const bool isDark = x < 15;
            nDark += isDark;
            const double v = std::clamp(isDark ? dark(rng) : light(rng), 0.0, 255.0);
            img.set(x, y, static_cast<unsigned char>(std::lround(v)));
        }
    xcThresholdResult r;
    xfThresholdWGV(img, r);
    EXPECT_GT(r.threshold(), 100);
    EXPECT_LT(r.threshold(), 140);
    EXPECT_GT(r.score(), 0.9);
    EXPECT_LE(r.score(), 1.0);
    EXPECT_EQ(r.count(), 41 * 37);
    long below = 0;
    for (long y = 0; y < 37; ++y)
        for (long x = 0; x < 41; ++x) below += img.get(x, y) < r.threshold();
    EXPECT_EQ(below, nDark);
}

TEST(ThresholdWGV, MinimisesTheWithinGroupVarianceAgainstBruteForce) {
    std::mt19937 rng(5);
    for (int trial = 0; trial < 20; ++trial) {
        long long h[256] = {};
        for (int k = 0; k < 300; ++k) ++h[std::min<unsigned>(rng() % 200 + (k % 3) * 25, 255)];
        xcThresholdResult r = xfThresholdWGV(h);
        double best = 1e300;
        for (int t = 1; t < 256; ++t) best = std::min(best, withinGroup(h, t));
        EXPECT_NEAR(withinGroup(h, r.threshold()), best, 1e-6 * best);
    }
}

TEST(ThresholdWGV, TwoLevelsSplitInTheMiddleOfTheGapWithScoreOne) {
    long long h[256] = {};
    h[50] = 10;
    h[200] = 30;
    xcThresholdResult r = xfThresholdWGV(h);
    EXPECT_EQ(r.threshold(), 125);  // (50 + 200 + 1) / 2
    EXPECT_DOUBLE_EQ(r.score(), 1.0);
    long long adj[256] = {};
    adj[7] = 1;
    adj[8] = 1;
    EXPECT_EQ(xfThresholdWGV(adj).threshold(), 8);
    long long top[256] = {};
    top[254] = 3;
    top[255] = 3;
    EXPECT_EQ(xfThresholdWGV(top).threshold(), 255);
}

TEST(ThresholdWGV, UniformImageScoresZero) {
    xcPelBuffer8 img(9, 5);
    for (long y = 0; y < 5; ++y)
        for (long x = 0; x < 9; ++x) img.set(x, y, 77);
    xcThresholdResult r;
    xfThresholdWGV(img, r);
    EXPECT_EQ(r.threshold(), 77);
    EXPECT_EQ(r.score(), 0.0);
    // Any second grey level makes the score positive.
    img.set(4, 2, 78);
    xfThresholdWGV(img, r);
    EXPECT_GT(r.score(), 0.0);
    EXPECT_EQ(r.threshold(), 78);
}

TEST(ThresholdWGV, MaskSelectsCarePixelsOfAWindow) {
    xcPelBuffer8 img(20, 10), mask(20, 10);
    for (long y = 0; y < 10; ++y)
        for (long x = 0; x < 20; ++x) {
            img.set(x, y, x < 10 ? 20 : 220);
            mask.set(x, y, x >= 5 ? 128 : 127);  // 128 cares, 127 does not
        }
    xcPelBuffer8_const win = img;
    win.window(xcPelRect(2, 1, 12, 8));
    xcThresholdResult r;
    xfThresholdWGV(win, mask, r);
    EXPECT_EQ(r.count(), 9 * 8);  // columns 5 .. 13
    EXPECT_EQ(r.threshold(), 120);
    // A mask that excludes the light side leaves one level: score 0.
    xcPelBuffer8 dark(20, 10);
    for (long y = 0; y < 10; ++y)
        for (long x = 0; x < 20; ++x) dark.set(x, y, x < 10 ? 255 : 0);
    xfThresholdWGV(img, dark, r);
    EXPECT_EQ(r.score(), 0.0);
    EXPECT_EQ(r.threshold(), 20);
    // Nothing cared for: threshold 0, score 0, count 0.
    xfThresholdWGV(img, xcPelBuffer8(20, 10), r);
    EXPECT_EQ(r.threshold(), 0);
    EXPECT_EQ(r.count(), 0);
}

TEST(ThresholdWGV, BadMasksThrowAndLeaveTheResult) {
    xcPelBuffer8 img(8, 8);
    xcThresholdResult r(42, 0.5, 3);
    EXPECT_THROW(xfThresholdWGV(img, xcPelBuffer8(7, 8), r), xcBadArgument);
    EXPECT_THROW(xfThresholdWGV(img, xcPelBuffer8_const(), r), xcBadArgument);
    EXPECT_THROW(xfThresholdWGV(xcPelBuffer8_const(), r), xcPel::UnboundWindow);
    EXPECT_EQ(r.threshold(), 42);
    long long neg[256] = {};
    neg[3] = -1;
    EXPECT_THROW(xfThresholdWGV(neg), xcBadArgument);
}
