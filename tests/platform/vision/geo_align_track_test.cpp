// Tracking's neighbourhood scores against a plain per-offset reference.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "platform/vision/geo_align_track.h"

namespace {

// The score of one pose, summed point by point in double from the plane's unit gradients; a
// point counts only when the whole (2r + 1)-wide square around it lies in the window.
std::vector<double> plainScores(const xc_GeoPlane& plane, double contrast, long x0, long y0, long w,
                                long h, const std::vector<xc_GeoPoint>& pts, const xc_GeoPose& pose,
                                int level, bool polarity, int r) {
    std::vector<std::int16_t> gx(static_cast<size_t>(plane.w * plane.h)),
        gy(static_cast<size_t>(plane.w * plane.h));
    xf_SobelPlane(plane, nullptr, 0, 0, plane.w, plane.h, gx.data(), gy.data(), plane.w);
    auto unit = [&](long x, long y, double& ux, double& uy) {
        ux = uy = 0;
        x += x0;
        y += y0;
        if (x < 0 || y < 0 || x >= plane.w || y >= plane.h) return;
        const double fx = gx[static_cast<size_t>(y * plane.w + x)];
        const double fy = gy[static_cast<size_t>(y * plane.w + x)];
        const double m = std::hypot(fx, fy);
        if (m < 8.0 * contrast) return;
        ux = fx / m;
        uy = fy / m;
    };
    const int n = 2 * r + 1;
    std::vector<double> out(static_cast<size_t>(n * n), 0.0);
    const double g = std::ldexp(1.0, level);
    const double c = std::cos(pose.angle), s = std::sin(pose.angle);
    for (const xc_GeoPoint& p : pts) {
        const double qx = pose.x / g - x0 + pose.scale / g * (c * p.x - s * p.y);
        const double qy = pose.y / g - y0 + pose.scale / g * (s * p.x + c * p.y);
        const long ix = static_cast<long>(std::floor(qx)), iy = static_cast<long>(std::floor(qy));
        if (ix - r < 0 || iy - r < 0 || ix + r >= w || iy + r >= h) continue;
        const double dx = c * p.ux - s * p.uy, dy = s * p.ux + c * p.uy;
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < n; ++i) {
                double ux, uy;
                unit(ix - r + i, iy - r + j, ux, uy);
                const double a = ux * dx + uy * dy;
                out[static_cast<size_t>(j * n + i)] += polarity ? std::max(0.0, a) : std::fabs(a);
            }
    }
    for (double& v : out) v /= static_cast<double>(pts.size());
    return out;
}

}  // namespace

TEST(GeoLevelScorer, NeighbourhoodScoresMatchAPlainSumAtWindowBorders) {
    std::mt19937 rng(23);
    // A plane of random blobs; the window reaches past the plane's left and bottom edges.
    const long pw = 61, ph = 47;
    std::vector<unsigned char> pels(static_cast<size_t>(pw * ph), 120);
    for (auto& v : pels)
        if (rng() % 4 == 0) v = static_cast<unsigned char>(rng() % 256);
    const xc_GeoPlane plane{pels.data(), pw, pw, ph};
    const long x0 = -3, y0 = 20, w = 37, h = 29;
    const double contrast = 6.0;
    xc_GeoLevelScorer scorer;
    scorer.prepare(plane, nullptr, contrast, x0, y0, w, h);

    const int level = 1;
    const xc_GeoPose pose{31.3, 71.9, 0.7, 1.08};
    // Points spread so that some fall near or beyond the window's borders; none within 0.01 px
    // of a pixel edge, where float and double rounding could pick different pixels.
    std::uniform_real_distribution<float> pos(-34.0f, 34.0f), dir(-3.2f, 3.2f);
    std::vector<xc_GeoPoint> pts;
    const double c = std::cos(pose.angle), s = std::sin(pose.angle);
    while (pts.size() < 53) {
        const float a = dir(rng);
        const xc_GeoPoint p{pos(rng), pos(rng), std::cos(a), std::sin(a)};
        const double qx = pose.x / 2 - x0 + pose.scale / 2 * (c * p.x - s * p.y);
        const double qy = pose.y / 2 - y0 + pose.scale / 2 * (s * p.x + c * p.y);
        const double fx = qx - std::floor(qx), fy = qy - std::floor(qy);
        if (fx < 0.01 || fx > 0.99 || fy < 0.01 || fy > 0.99) continue;
        pts.push_back(p);
    }
    for (bool polarity : {true, false}) {
        double s3[9], s5[25];
        scorer.score3x3(pts, pose, level, polarity, s3);
        scorer.score5x5(pts, pose, level, polarity, s5);
        const std::vector<double> r3 =
            plainScores(plane, contrast, x0, y0, w, h, pts, pose, level, polarity, 1);
        const std::vector<double> r5 =
            plainScores(plane, contrast, x0, y0, w, h, pts, pose, level, polarity, 2);
        double sum3 = 0, sum5 = 0;
        for (int k = 0; k < 9; ++k) {
            EXPECT_NEAR(s3[k], r3[static_cast<size_t>(k)], 1e-5) << polarity << " " << k;
            sum3 += r3[static_cast<size_t>(k)];
        }
        for (int k = 0; k < 25; ++k) {
            EXPECT_NEAR(s5[k], r5[static_cast<size_t>(k)], 1e-5) << polarity << " " << k;
            sum5 += r5[static_cast<size_t>(k)];
        }
        // The scene must give the comparison something to compare.
        EXPECT_GT(sum3, 0.5);
        EXPECT_GT(sum5, 1.0);
    }
}
