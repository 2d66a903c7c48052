// The geometric alignment tool's machinery against naive references: the coarse scan with its
// early-termination bounds, the response planes, the 2 x 2 pyramid, footprint overlaps and the
// sub-pixel edge estimator.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "platform/vision/angle8.h"
#include "platform/vision/geo_align_coarse.h"
#include "platform/vision/geo_align_edge.h"
#include "platform/vision/geo_align_overlap.h"
#include "platform/vision/geo_align_search.h"

TEST(GeoAlignCoarse, FastScanMatchesThePlainScanAtOddSizes) {
    std::mt19937 rng(11);
    for (const auto& [w, h] : {std::pair{77L, 53L}, {33L, 1L}, {1L, 9L}, {130L, 41L}}) {
        // A plane of sparse random blobs.
        std::vector<unsigned char> pels(static_cast<size_t>(w * h), 128);
        for (auto& p : pels)
            if (rng() % 9 == 0) p = static_cast<unsigned char>(rng() % 256);
        xc_GeoPlane plane{pels.data(), w, w, h};
        for (bool polarity : {true, false}) {
            const xc_GeoResponse resp(plane, nullptr, 5.0, polarity, 6);
            std::vector<xc_GeoPoint> pts;
            std::uniform_real_distribution<float> pos(-5.0f, 5.0f), dir(-3.2f, 3.2f);
            for (int i = 0; i < 37; ++i) {
                const float a = dir(rng);
                pts.push_back({pos(rng), pos(rng), std::cos(a), std::sin(a)});
            }
            for (double angle : {0.0, 0.7, -2.5}) {
                const xc_GeoTemplate t = xf_GeoMakeTemplate(pts, 0, angle, 1.0, resp);
                for (std::int32_t minSum : {1, 255 * 4, 255 * 12, 255 * 30}) {
                    std::vector<std::int32_t> fast(static_cast<size_t>(w)),
                        plain(static_cast<size_t>(w));
                    const size_t runs = static_cast<size_t>((w + 31) / 32);
                    std::vector<unsigned char> fastRuns(runs, 7), plainRuns(runs, 7);
                    long reached = 0;
                    for (long v = 0; v < h; ++v) {
                        const bool a =
                            xf_GeoScanRow(resp, t, v, minSum, fast.data(), fastRuns.data());
                        const bool b =
                            xf_GeoScanRowPlain(resp, t, v, minSum, plain.data(), plainRuns.data());
                        EXPECT_EQ(a, b) << w << "x" << h << " row " << v << " " << minSum;
                        EXPECT_EQ(fastRuns, plainRuns) << w << "x" << h << " row " << v;
                        for (size_t r = 0; r < runs; ++r) {
                            bool hit = false;
                            for (size_t k = 32 * r; k < std::min(32 * r + 32, plain.size()); ++k)
                                hit |= plain[k] >= minSum;
                            EXPECT_EQ(plainRuns[r] != 0, hit) << "run " << r << " row " << v;
                        }
                        for (long u = 0; u < w; ++u) {
                            const size_t k = static_cast<size_t>(u);
                            if (plain[k] >= minSum) {
                                ++reached;
                                EXPECT_EQ(fast[k], plain[k]) << u << " " << v;
                            } else {
                                EXPECT_LT(fast[k], minSum) << u << " " << v;
                                EXPECT_TRUE(fast[k] == -1 || fast[k] == plain[k]) << u << " " << v;
                            }
                        }
                    }
                    if (minSum == 1 && w > 1 && h > 1) {
                        EXPECT_GT(reached, 0);
                    }
                }
            }
        }
    }
}

TEST(GeoAlignCoarse, ResponsePlanesHoldDirectionAgreement) {
    // A vertical step: dark left, light right; the gradient points along +x.
    std::vector<unsigned char> pels(20 * 10);
    for (long y = 0; y < 10; ++y)
        for (long x = 0; x < 20; ++x) pels[static_cast<size_t>(y * 20 + x)] = x < 10 ? 20 : 220;
    xc_GeoPlane plane{pels.data(), 20, 20, 10};
    const xc_GeoResponse pol(plane, nullptr, 10.0, true, 3);
    const long k0 = 0, k8 = 8 * pol.planeSize(), k4 = 4 * pol.planeSize();
    const unsigned char* at = pol.origin() + 5 * pol.stride() + 10;  // pixel (10, 5)
    EXPECT_EQ(at[k0], 255);                                          // along +x: full agreement
    EXPECT_EQ(at[k8], 0);                              // opposite direction: none with polarity
    EXPECT_EQ(at[k4], 0);                              // perpendicular
    EXPECT_EQ(at[2 * pol.planeSize()], 180);           // 45 degrees: round(255 cos 45)
    EXPECT_EQ(pol.origin()[5 * pol.stride() + 3], 0);  // flat
    const xc_GeoResponse any(plane, nullptr, 10.0, false, 3);
    EXPECT_EQ(any.origin()[5 * any.stride() + 10 + k8], 255);
    // Edge pixels: columns 9 and 10 of every row.
    EXPECT_EQ(pol.edgeCount(0, 0, 19, 9), 20);
    EXPECT_EQ(pol.edgeCount(10, 2, 30, 4), 3);
    EXPECT_EQ(pol.edgeCount(11, 0, 19, 9), 0);
    // A mask removes the edges it does not care for.
    std::vector<unsigned char> m(20 * 10, 255);
    for (long x = 0; x < 20; ++x) m[static_cast<size_t>(4 * 20 + x)] = 127;
    xc_GeoPlane mp{m.data(), 20, 20, 10};
    const xc_GeoResponse masked(plane, &mp, 10.0, true, 3);
    EXPECT_EQ(masked.edgeCount(0, 0, 19, 9), 18);
}

TEST(GeoAlignPyramid, HalvesByRoundedMeans) {
    std::vector<unsigned char> pels = {0, 1, 2, 3, 9, 10, 11, 12, 13, 250, 251, 252, 253, 254, 99};
    xc_GeoPlane p{pels.data(), 5, 5, 3};  // 5 x 3
    std::vector<unsigned char> store;
    const xc_GeoPlane h = xf_Plane8Halve(p, store);
    ASSERT_EQ(h.w, 2);
    ASSERT_EQ(h.h, 1);
    EXPECT_EQ(h.row(0)[0], (0 + 1 + 10 + 11 + 2) / 4);
    EXPECT_EQ(h.row(0)[1], (2 + 3 + 12 + 13 + 2) / 4);
    const xc_GeoPlane b = xf_Plane8Halve(p, store, true);
    EXPECT_EQ(b.row(0)[0], 0);
    // The owned, padded plane halves the same way.
    xc_Plane8Buffer in, out;
    in.resize(5, 3);
    for (long y = 0; y < 3; ++y) std::copy_n(pels.data() + 5 * y, 5, in.row(y));
    xf_Plane8Halve(in, out);
    ASSERT_EQ(out.width, 2);
    ASSERT_EQ(out.height, 1);
    EXPECT_EQ(out.row(0)[0], (0 + 1 + 10 + 11 + 2) / 4);
    EXPECT_EQ(out.row(0)[1], (2 + 3 + 12 + 13 + 2) / 4);
}

TEST(GeoAlignSearch, ConvexOverlapAreas) {
    auto square = [](double x, double y, double s) {
        return std::vector<xcVector<2>>{{x, y}, {x + s, y}, {x + s, y + s}, {x, y + s}};
    };
    EXPECT_NEAR(xf_GeoConvexOverlapArea(square(0, 0, 2), square(1, 1, 2)), 1.0, 1e-12);
    EXPECT_NEAR(xf_GeoConvexOverlapArea(square(0, 0, 2), square(3, 0, 2)), 0.0, 1e-12);
    EXPECT_NEAR(xf_GeoConvexOverlapArea(square(0, 0, 4), square(1, 1, 1)), 1.0, 1e-12);
    // Either turn; a diamond inside a square of side 2 covers half of it.
    std::vector<xcVector<2>> diamond = {{1, 0}, {2, 1}, {1, 2}, {0, 1}};
    std::vector<xcVector<2>> sq = square(0, 0, 2);
    EXPECT_NEAR(xf_GeoConvexOverlapArea(sq, diamond), 2.0, 1e-12);
    std::reverse(sq.begin(), sq.end());
    EXPECT_NEAR(xf_GeoConvexOverlapArea(diamond, sq), 2.0, 1e-12);
    // A square turned by 45 degrees about the centre of another of the same size.
    const double r = std::sqrt(2.0);
    std::vector<xcVector<2>> turned = {{1, 1 - r}, {1 + r, 1}, {1, 1 + r}, {1 - r, 1}};
    EXPECT_NEAR(xf_GeoConvexOverlapArea(square(0, 0, 2), turned), 8.0 * (r - 1.0), 1e-9);
}

TEST(GeoAlignEdge, FindsBlurredStepEdgesToAFractionOfAPixel) {
    // Steps blurred by a Gaussian of 1 pixel, at sub-pixel positions and several directions.
    for (double angle : {0.0, 0.3, 0.785, 1.2, 2.0, 3.5}) {
        for (double shift : {0.0, 0.25, 0.5, 0.8}) {
            const long n = 41;
            std::vector<unsigned char> pels(static_cast<size_t>(n * n));
            const double nx = std::cos(angle), ny = std::sin(angle);
            const double cx = 20.5 + shift * nx, cy = 20.5 + shift * ny;  // a point on the edge
            for (long y = 0; y < n; ++y)
                for (long x = 0; x < n; ++x) {
                    const double d = (x + 0.5 - cx) * nx + (y + 0.5 - cy) * ny;
                    const double v = 40.0 + 170.0 * 0.5 * (1.0 + std::erf(d / std::sqrt(2.0)));
                    pels[static_cast<size_t>(y * n + x)] =
                        static_cast<unsigned char>(std::lround(v));
                }
            xc_GeoPlane plane{pels.data(), n, n, n};
            xc_GeoGradField field;
            field.compute(plane, nullptr, 0.0, 5, 5, 31, 31);
            xc_GeoEdgeProbe probe;
            probe.reach = 2.0;
            probe.threshold = 10.0f * xc_GeoGradField::kUnits;
            // From 0.7 pixels off the edge along the normal.
            double delta = 99.0;
            ASSERT_TRUE(xf_GeoEdgeAlongNormal(field, cx - 0.7 * nx, cy - 0.7 * ny,
                                              static_cast<float>(nx), static_cast<float>(ny), probe,
                                              delta))
                << angle << " " << shift;
            EXPECT_NEAR(delta, 0.7, 0.07) << angle << " " << shift;
            // The reversed polarity finds nothing.
            probe.sign = -1.0f;
            EXPECT_FALSE(xf_GeoEdgeAlongNormal(field, cx, cy, static_cast<float>(nx),
                                               static_cast<float>(ny), probe, delta));
        }
    }
}
