#include "platform/vision/correlation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

xcPelBuffer8 randomImage(long w, long h, unsigned seed, int lo = 0, int hi = 255) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> d(lo, hi);
    xcPelBuffer8 b(w, h);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) b.set(x, y, static_cast<unsigned char>(d(rng)));
    return b;
}

// r of the model (with ignore mask) placed with its upper-left on image pixel (px, py), in
// doubles from the definition.
double naiveR(const xcPelBuffer8_const& img, const xcPelBuffer8_const& model,
              const xcPelBuffer8_const& ignore, long px, long py) {
    const xcPelRect mw = model.window();
    double n = 0, sx = 0, sy = 0, sxx = 0, syy = 0, sxy = 0;
    for (long j = 0; j < mw.height(); ++j)
        for (long i = 0; i < mw.width(); ++i) {
            if (ignore.isBound() &&
                ignore.get(ignore.window().x() + i, ignore.window().y() + j) >= 128)
                continue;
            const double x = model.get(mw.x() + i, mw.y() + j), y = img.get(px + i, py + j);
            n += 1;
            sx += x;
            sy += y;
            sxx += x * x;
            syy += y * y;
            sxy += x * y;
        }
    const double vm = n * sxx - sx * sx, vi = n * syy - sy * sy;
    if (n == 0 || vm <= 0 || vi <= 0) return 0;
    return (n * sxy - sx * sy) / std::sqrt(vm * vi);
}

void checkAgainstNaive(const xcPelBuffer8_const& img, const xcPelBuffer8_const& model,
                       const xcPelBuffer8_const& ignore) {
    xc_CorrelationModel<unsigned char> m(model, ignore);
    xcPelBuffer<std::int16_t> scores;
    for (int mode : {0, 1, 2}) {
        xc_CorrelationBest best = xf_corr_exhaustive(img, m, mode, scores);
        const xcPelRect iw = img.window(), sw = scores.window();
        ASSERT_EQ(sw, xcPelRect(iw.x(), iw.y(), iw.width() - model.width() + 1,
                                iw.height() - model.height() + 1));
        short top = -32768;
        long bx = -1, by = -1;
        for (long y = sw.y(); y < sw.y() + sw.height(); ++y)
            for (long x = sw.x(); x < sw.x() + sw.width(); ++x) {
                const double r = naiveR(img, model, ignore, x, y);
                const double s = mode == 0 ? (r > 0 ? r * r : 0) : r;
                ASSERT_NEAR(scores.get(x, y), 1000 * s, 0.5 + 1e-6) << x << "," << y;
                if (scores.get(x, y) > top) {
                    top = scores.get(x, y);
                    bx = x;
                    by = y;
                }
            }
        ASSERT_TRUE(best.found());
        EXPECT_EQ(best.score(), top);
        EXPECT_EQ(best.x(), bx);
        EXPECT_EQ(best.y(), by);
    }
}

}  // namespace

TEST(CorrelationModel, SumsAndVarianceOfCarePels) {
    xcPelBuffer8 model(3, 2), ignore(3, 2);
    const unsigned char v[6] = {10, 20, 30, 40, 50, 60};
    for (int k = 0; k < 6; ++k) model.set(k % 3, k / 3, v[k]);
    ignore.set(2, 1, 128);  // leave out 60
    ignore.set(1, 0, 127);  // 127 still takes part
    xc_CorrelationModel<unsigned char> m(model, ignore);
    EXPECT_EQ(m.nCarePels(), 5);
    EXPECT_EQ(m.sums().sum, 150);
    EXPECT_EQ(m.sums().sumSq, 100 + 400 + 900 + 1600 + 2500);
    EXPECT_DOUBLE_EQ(m.variance(), 5.0 * 5500 - 150.0 * 150);
    EXPECT_FALSE(m.allCare());
    xc_CorrelationModel<unsigned char> all(model, xcPelBuffer8_const());
    EXPECT_EQ(all.nCarePels(), 6);
    EXPECT_TRUE(all.allCare());
    EXPECT_THROW(xc_CorrelationModel<unsigned char>(model, xcPelBuffer8(2, 2)), xcBadArgument);
    EXPECT_THROW(xc_CorrelationModel<unsigned char>(xcPelBuffer8_const(), xcPelBuffer8_const()),
                 xcPel::UnboundWindow);
}

TEST(CorrelationScore, ModesFromTheSixSums) {
    // x = (1, 2, 3), y = (2, 4, 7): r from the definition.
    const double r = (3 * 31.0 - 6 * 13) / std::sqrt((3 * 14.0 - 36) * (3 * 69.0 - 169));
    EXPECT_NEAR(xf_corr_score(3, 6, 14, 13, 69, 31, 1), r, 1e-15);
    EXPECT_NEAR(xf_corr_score(3, 6, 14, 13, 69, 31, 0), r * r, 1e-15);
    EXPECT_EQ(xf_corr_score(3, 6, 14, 13, 69, 31, 2), std::round(1000 * r));
    // Anti-correlated: mode 0 clips to 0, mode 2 is negative.
    EXPECT_EQ(xf_corr_score(2, 3, 5, 3, 5, 4, 0), 0.0);  // x = (1, 2), y = (2, 1)
    EXPECT_EQ(xf_corr_score(2, 3, 5, 3, 5, 4, 2), -1000.0);
    EXPECT_EQ(xf_corr_score16(2, 3, 5, 3, 5, 4, 1), -1000);
    // Flat model or flat image, and no pels at all, score 0.
    EXPECT_EQ(xf_corr_score(2, 4, 8, 3, 5, 6, 1), 0.0);
    EXPECT_EQ(xf_corr_score(0, 0, 0, 0, 0, 0, 2), 0.0);
    EXPECT_THROW(xf_corr_score(3, 6, 14, 13, 69, 31, 3), xcBadArgument);
}

TEST(CorrelationExhaustive, MatchesNaiveReferenceAtOddSizesAndBorders) {
    // A window of a larger image, so placements reach the window's borders but never past.
    xcPelBuffer8 big = randomImage(37, 29, 1);
    xcPelBuffer8_const img = big;
    img.window(xcPelRect(4, 3, 23, 19));
    xcPelBuffer8 model = randomImage(7, 5, 2);
    checkAgainstNaive(img, model, xcPelBuffer8_const());
    // With an ignore mask: image sums run under the care pels only.
    xcPelBuffer8 ignore = randomImage(7, 5, 3);
    checkAgainstNaive(img, model, ignore);
    // A model as large as the image: exactly one placement.
    xcPelBuffer8_const whole = big;
    whole.window(xcPelRect(10, 10, 9, 6));
    checkAgainstNaive(whole, randomImage(9, 6, 4), xcPelBuffer8_const());
    // A model too large for 32-bit products (183 x 181 pixels of up to 255 * 255).
    xcPelBuffer8 large = randomImage(186, 183, 8, 200, 255);
    checkAgainstNaive(large, randomImage(183, 181, 9, 200, 255), xcPelBuffer8_const());
}

TEST(CorrelationExhaustive, FindsAPlantedModel) {
    xcPelBuffer8 img = randomImage(64, 48, 5);
    xcPelBuffer8_const model = img;
    model.window(xcPelRect(31, 17, 24, 20));
    xc_CorrelationModel<unsigned char> m(model, xcPelBuffer8_const());
    xcPelBuffer<std::int16_t> scores;
    xc_CorrelationBest best = xf_corr_exhaustive(img, m, 2, scores);
    EXPECT_EQ(best.x(), 31);
    EXPECT_EQ(best.y(), 17);
    EXPECT_EQ(best.score(), 1000);
    // An inverted image correlates at -1000 there.
    xcPelBuffer8 inv(64, 48);
    for (long y = 0; y < 48; ++y)
        for (long x = 0; x < 64; ++x) inv.set(x, y, static_cast<unsigned char>(255 - img.get(x, y)));
    xf_corr_exhaustive(inv, m, 2, scores);
    EXPECT_EQ(scores.get(31, 17), -1000);
}

TEST(CorrelationExhaustive, NoPlacementGivesAnEmptyScoreImage) {
    xcPelBuffer8 img = randomImage(10, 8, 6);
    xc_CorrelationModel<unsigned char> m(randomImage(11, 3, 7), xcPelBuffer8_const());
    xcPelBuffer<std::int16_t> scores;
    xc_CorrelationBest best = xf_corr_exhaustive(img, m, 2, scores);
    EXPECT_FALSE(best.found());
    EXPECT_TRUE(scores.isBound());
    EXPECT_EQ(scores.width(), 0);
    EXPECT_EQ(scores.height(), 0);
    EXPECT_EQ(xf_corr_alloc_space(xcPelRect(2, 3, 10, 8), 4, 8, scores), xcPelRect(2, 3, 7, 1));
    EXPECT_THROW(xf_corr_alloc_space(xcPelRect(0, 0, 5, 5), -1, 2, scores), xcBadArgument);
    // A bad mode leaves the score image untouched.
    EXPECT_THROW(xf_corr_exhaustive(img, m, 7, scores), xcBadArgument);
    EXPECT_EQ(scores.window(), xcPelRect(2, 3, 7, 1));
}
