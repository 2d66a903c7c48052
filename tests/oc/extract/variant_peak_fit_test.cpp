#include "oc/extract/variant_peak_fit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

// Samples of the hill 0.9 - 0.01 (x - tx)^2 - 0.02 (y - ty)^2 + 0.004 (x - tx)(y - ty) and of
// the location (10 + 0.3 x, 20 - 0.5 y) over x in [x0, x1], y in [y0, y1].
std::vector<xc_VariantSample> hill(double tx, double ty, int x0, int x1, int y0, int y1) {
    std::vector<xc_VariantSample> s;
    for (int y = y0; y <= y1; ++y)
        for (int x = x0; x <= x1; ++x) {
            const double dx = x - tx, dy = y - ty;
            s.push_back({double(x), double(y),
                         0.9 - 0.01 * dx * dx - 0.02 * dy * dy + 0.004 * dx * dy,
                         xcVector<2>(10.0 + 0.3 * x, 20.0 - 0.5 * y)});
        }
    return s;
}

TEST(VariantPeakFit, FindsTheTopAndItsLocation) {
    struct Case {
        double tx, ty;
        int x0, x1, y0, y1;
        double ex, ey;  // expected offsets
    };
    const Case cases[] = {
        {0.3, -0.4, -3, 3, -1, 1, 0.3, -0.4},  // inside the grid
        {-0.2, 0.6, -3, 3, -2, 0, -0.2, 0.6},  // at the top end of the scales: one-sided
        {0.4, 3.0, -3, 3, -1, 1, 0.0, 1.0},    // a top beyond one step is held at one step
        {0.25, 0.0, -2, 2, 0, 0, 0.25, 0.0},   // one scale only: the angle alone is fitted
    };
    // A top beyond the grid's end is held at the end.
    const xc_VariantPeak end =
        xf_FitVariantPeak(hill(0.0, 0.6, -3, 3, -2, 0), xcVector<2>(10.0, 20.0),
                          xcVector<2>(-3.0, -2.0), xcVector<2>(3.0, 0.0));
    EXPECT_NEAR(end.x, 0.0, 1e-9);
    EXPECT_EQ(end.y, 0.0);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.tx);
        const xc_VariantPeak p =
            xf_FitVariantPeak(hill(c.tx, c.ty, c.x0, c.x1, c.y0, c.y1), xcVector<2>(10.0, 20.0));
        if (c.ey == 1.0) {
            EXPECT_EQ(p.y, 1.0);
        } else {
            EXPECT_NEAR(p.x, c.ex, 1e-9);
            EXPECT_NEAR(p.y, c.ey, 1e-9);
        }
        EXPECT_NEAR(p.location.x(), 10.0 + 0.3 * p.x, 1e-9);
        EXPECT_NEAR(p.location.y(), 20.0 - 0.5 * p.y, 1e-9);
    }
}

TEST(VariantPeakFit, WithoutATopTheBestVariantStays) {
    const xcVector<2> best(4.0, 5.0);
    // A saddle, a valley, two samples along each axis, nothing.
    std::vector<xc_VariantSample> saddle, valley;
    for (int y = -1; y <= 1; ++y)
        for (int x = -1; x <= 1; ++x) {
            saddle.push_back({double(x), double(y), 0.9 - 0.01 * x * x + 0.01 * y * y, best});
            valley.push_back({double(x), double(y), 0.9 + 0.01 * (x * x + y * y), best});
        }
    const std::vector<xc_VariantSample> two = {{0, 0, 0.9, best}, {1, 1, 0.8, best}};
    for (const auto& s : {saddle, valley, two, std::vector<xc_VariantSample>()}) {
        SCOPED_TRACE(s.size());
        const xc_VariantPeak p = xf_FitVariantPeak(s, best);
        EXPECT_EQ(p.x, 0.0);
        EXPECT_EQ(p.y, 0.0);
        EXPECT_EQ(p.location, best);
    }
}

}  // namespace

// A smooth, asymmetric grey-level surface of the pattern's pixel frame.
double surface(double x, double y) {
    auto bump = [&](double cx, double cy, double s) {
        return std::exp(-((x - cx) * (x - cx) + (y - cy) * (y - cy)) / s);
    };
    return 110.0 + 90.0 * bump(8.0, 10.0, 30.0) - 70.0 * bump(16.0, 22.0, 20.0) + 1.5 * x;
}

// The pattern (24 x 32) and an image (64 x 64) holding it at `truth`.
void plant(const xc_SimilarityPose& truth, xcPelBuffer<unsigned char>& pattern,
           xcPelBuffer<unsigned char>& image) {
    pattern = xcPelBuffer<unsigned char>(24, 32);
    for (long y = 0; y < 32; ++y)
        for (long x = 0; x < 24; ++x)
            pattern.rowPointer(y)[x] =
                static_cast<unsigned char>(std::lround(surface(x + 0.5, y + 0.5)));
    image = xcPelBuffer<unsigned char>(64, 64);
    const double c = std::cos(truth.angle), s = std::sin(truth.angle);
    for (long y = 0; y < 64; ++y)
        for (long x = 0; x < 64; ++x) {
            const xcVector<2> d = (xcVector<2>(x + 0.5, y + 0.5) - truth.translation) / truth.scale;
            const double v = surface(c * d.x() + s * d.y(), -s * d.x() + c * d.y());
            image.rowPointer(y)[x] =
                static_cast<unsigned char>(std::lround(std::clamp(v, 0.0, 255.0)));
        }
}

TEST(SimilarityPoseRefinement, ReachesThePlantedPoseOrKeepsTheStart) {
    const xc_SimilarityPose truth{1.2 * M_PI / 180.0, 1.0, xcVector<2>(18.3, 14.6)};
    xcPelBuffer<unsigned char> pattern, image;
    plant(truth, pattern, image);
    xc_SimilarityPose start = truth;
    start.angle += 0.5 * M_PI / 180.0;
    start.translation += xcVector<2>(0.35, -0.3);

    const xc_SimilarityPose fit = xf_RefineSimilarityPose(pattern, image, start, 1.0);
    EXPECT_NEAR(fit.angle * 180.0 / M_PI, 1.2, 0.03);
    EXPECT_NEAR(fit.translation.x(), truth.translation.x(), 0.03);
    EXPECT_NEAR(fit.translation.y(), truth.translation.y(), 0.03);
    EXPECT_EQ(fit.scale, start.scale);

    // Moving further than allowed, or a pattern without contrast, keeps the start.
    const xc_SimilarityPose held = xf_RefineSimilarityPose(pattern, image, start, 0.2);
    EXPECT_EQ(held.angle, start.angle);
    EXPECT_EQ(held.translation, start.translation);
    xcPelBuffer<unsigned char> flat(24, 32);
    for (long y = 0; y < 32; ++y) std::fill_n(flat.rowPointer(y), 24, 100);
    const xc_SimilarityPose same = xf_RefineSimilarityPose(flat, image, start, 1.0);
    EXPECT_EQ(same.angle, start.angle);
    EXPECT_EQ(same.translation, start.translation);
}
