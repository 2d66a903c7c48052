#include "platform/vision/edge_detect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

#include "platform/vision/gradient.h"

namespace {

// An image of a straight step edge: pixels with (p . n) > d are `hi`, the others `lo`, each
// pixel the area average over 16 x 16 sub-samples (the edge is exact to 1/256 of a grey step).
xcPelBuffer8 stepImage(long w, long h, double angle, double d, int lo, int hi) {
    xcPelBuffer8 b(w, h);
    const double nx = std::cos(angle), ny = std::sin(angle);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) {
            int inside = 0;
            for (int j = 0; j < 16; ++j)
                for (int i = 0; i < 16; ++i) {
                    const double px = x + (i + 0.5) / 16, py = y + (j + 0.5) / 16;
                    inside += (px * nx + py * ny > d) ? 1 : 0;
                }
            b.set(x, y, static_cast<unsigned char>(std::lround(lo + (hi - lo) * inside / 256.0)));
        }
    return b;
}

int stepDistance(xcAngle8 a, xcAngle8 b) {
    const int d = (a - b).plainValue();
    return std::min(d, 256 - d);
}

// Sobel with replicated borders, in double precision, on the raw pixels of the window.
double naiveSobel(const xcPelBuffer8_const& b, long x, long y, bool alongX) {
    const xcPelRect w = b.window();
    auto at = [&](long i, long j) {
        i = std::clamp(i, w.x(), w.x() + w.width() - 1);
        j = std::clamp(j, w.y(), w.y() + w.height() - 1);
        return static_cast<double>(b.get(i, j));
    };
    if (alongX)
        return (at(x + 1, y - 1) - at(x - 1, y - 1)) + 2 * (at(x + 1, y) - at(x - 1, y)) +
               (at(x + 1, y + 1) - at(x - 1, y + 1));
    return (at(x - 1, y + 1) - at(x - 1, y - 1)) + 2 * (at(x, y + 1) - at(x, y - 1)) +
           (at(x + 1, y + 1) - at(x + 1, y - 1));
}

}  // namespace

TEST(Angle8, QuantisesGradientsToTheNearestStep) {
    // Every step's exact direction maps to itself, and so do directions a third of a step off.
    for (int k = 0; k < 256; ++k)
        for (double off : {-0.33, 0.0, 0.33}) {
            const double a = (k + off) * std::numbers::pi / 128;
            const auto gx = static_cast<std::int64_t>(std::llround(1e6 * std::cos(a)));
            const auto gy = static_cast<std::int64_t>(std::llround(1e6 * std::sin(a)));
            EXPECT_EQ(xfAngle8FromGradient(gx, gy).plainValue(), k) << k << " " << off;
        }
    EXPECT_EQ(xfAngle8FromGradient(0, 0).plainValue(), 0);
    EXPECT_EQ(xfAngle8FromGradient(0, 5).plainValue(), 64);  // +y
    EXPECT_EQ(xfAngle8FromGradient(-5, 0).plainValue(), 128);
    EXPECT_EQ(xfAngle8FromGradient(0, -5).plainValue(), 192);
    EXPECT_EQ(xcAngle8::fromRadian(xcRadian(-std::numbers::pi / 2)).plainValue(), 192);
    EXPECT_EQ((xcAngle8(250) + xcAngle8(10)).plainValue(), 4);
}

TEST(Gradient, PlainSobelMatchesNaiveReferenceAtOddSizesAndBorders) {
    std::mt19937 rng(7);
    xcPelBuffer8 big(23, 17);
    for (long y = 0; y < 17; ++y)
        for (long x = 0; x < 23; ++x) big.set(x, y, static_cast<unsigned char>(rng() & 255));
    // A window inside a larger root: the border must replicate the window, not the root.
    xcPelBuffer8_const win = big;
    win.window(xcPelRect(3, 2, 13, 11));
    xcGradientImage g;
    xfGradient(win, 0.0, g);
    ASSERT_EQ(g.gx.window(), xcPelRect(3, 2, 13, 11));
    for (long y = 2; y < 13; ++y)
        for (long x = 3; x < 16; ++x) {
            const double sx = naiveSobel(win, x, y, true), sy = naiveSobel(win, x, y, false);
            ASSERT_EQ(g.gx.get(x, y), 16 * sx) << x << "," << y;
            ASSERT_EQ(g.gy.get(x, y), 16 * sy) << x << "," << y;
            ASSERT_NEAR(g.mag.get(x, y), 16 * std::hypot(sx, sy), 0.5 + 1e-9);
        }
}

TEST(Gradient, SmoothedGradientMatchesDoublePrecisionConvolution) {
    std::mt19937 rng(11);
    const long w = 19, h = 14;
    xcPelBuffer8 img(w, h);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) img.set(x, y, static_cast<unsigned char>(rng() & 255));
    const double sigma = 1.3;
    std::vector<int> k = xf_GaussianKernel256(sigma);
    ASSERT_EQ(k.size(), 2u * 4 + 1);  // radius ceil(3.9)
    int sum = 0;
    for (int v : k) sum += v;
    EXPECT_EQ(sum, 256);
    // Reference: the same kernel in doubles, replicated border, then Sobel.
    const long r = static_cast<long>(k.size() / 2);
    std::vector<double> hz(static_cast<size_t>(w * h)), sm(static_cast<size_t>(w * h));
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) {
            double a = 0;
            for (long t = -r; t <= r; ++t)
                a += k[static_cast<size_t>(t + r)] / 256.0 *
                     img.get(std::clamp(x + t, 0L, w - 1), y);
            hz[static_cast<size_t>(y * w + x)] = a;
        }
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) {
            double a = 0;
            for (long t = -r; t <= r; ++t)
                a += k[static_cast<size_t>(t + r)] / 256.0 *
                     hz[static_cast<size_t>(std::clamp(y + t, 0L, h - 1) * w + x)];
            sm[static_cast<size_t>(y * w + x)] = a;
        }
    auto at = [&](long x, long y) {
        return sm[static_cast<size_t>(std::clamp(y, 0L, h - 1) * w + std::clamp(x, 0L, w - 1))];
    };
    xcGradientImage g;
    xfGradient(img, sigma, g);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) {
            const double gx = (at(x + 1, y - 1) - at(x - 1, y - 1)) +
                              2 * (at(x + 1, y) - at(x - 1, y)) +
                              (at(x + 1, y + 1) - at(x - 1, y + 1));
            // Rounding to 1/16 grey level per smoothed pixel: at most 8 * 1/32 grey level.
            ASSERT_NEAR(g.gx.get(x, y) / 16.0, gx, 0.3) << x << "," << y;
        }
}

// The row kernels of every blur and gradient: the fast forms (taps four at a time, vectorised
// loops) give exactly the plain sums, for float and integer arithmetic and any count of taps.
TEST(Gradient, RowKernelsGiveExactlyThePlainSums) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> uf(-2.0f, 2.0f);
    std::vector<float> fs(64), fk(12);
    std::vector<std::uint16_t> us(64);
    std::vector<int> ik(12);
    for (size_t i = 0; i < fs.size(); ++i) {
        fs[i] = uf(rng) * 100.0f;
        us[i] = static_cast<std::uint16_t>(rng() & 4095);
    }
    for (size_t t = 0; t < fk.size(); ++t) {
        fk[t] = uf(rng);
        ik[t] = static_cast<int>(rng() % 200) - 50;
    }
    for (long taps = 1; taps <= 9; ++taps)
        for (long n = 1; n <= 13; n += 3) {
            SCOPED_TRACE(testing::Message() << taps << " taps, " << n << " values");
            std::vector<const float*> fr;
            std::vector<const std::uint16_t*> ur;
            for (long t = 0; t < taps; ++t) {
                fr.push_back(fs.data() + 3 * t);
                ur.push_back(us.data() + 5 * t);
            }
            std::vector<float> fo(static_cast<size_t>(n));
            std::vector<std::int32_t> io(static_cast<size_t>(n));
            xf_WeightedRowSum(fk.data(), fr.data(), taps, n, fo.data());
            xf_WeightedRowSum(ik.data(), ur.data(), taps, n, io.data());
            for (long i = 0; i < n; ++i) {
                float f = 0.0f;
                std::int32_t v = 0;
                for (long t = 0; t < taps; ++t) {
                    f += fk[static_cast<size_t>(t)] * fr[static_cast<size_t>(t)][i];
                    v += ik[static_cast<size_t>(t)] * ur[static_cast<size_t>(t)][i];
                }
                ASSERT_EQ(fo[static_cast<size_t>(i)], f) << i;
                ASSERT_EQ(io[static_cast<size_t>(i)], v) << i;
            }
        }
}

// The plane Sobel (border columns and rows replicated, a care mask) against the naive sums,
// its magnitudes' fast path against the plain loop, and the row kernel in float against the
// same kernel in integers.
TEST(Gradient, PlaneSobelReplicatesBordersAndZeroesMaskedPixels) {
    std::mt19937 rng(9);
    const long W = 11, H = 7;
    std::vector<unsigned char> pels(static_cast<size_t>(W * H)), mask(pels.size(), 255);
    for (unsigned char& v : pels) v = static_cast<unsigned char>(rng() & 255);
    mask[static_cast<size_t>(3 * W + 4)] = 0;
    const xc_Plane8 plane{pels.data(), W, W, H}, care{mask.data(), W, W, H};
    std::vector<std::int16_t> gx(static_cast<size_t>(W * H)), gy(gx.size());
    xf_SobelPlane(plane, &care, 0, 0, W, H, gx.data(), gy.data(), W);
    auto at = [&](long x, long y) {
        return static_cast<int>(
            pels[static_cast<size_t>(std::clamp(y, 0L, H - 1) * W + std::clamp(x, 0L, W - 1))]);
    };
    for (long y = 0; y < H; ++y)
        for (long x = 0; x < W; ++x) {
            SCOPED_TRACE(testing::Message() << x << "," << y);
            const bool cares = mask[static_cast<size_t>(y * W + x)] >= 128;
            const int dx = at(x + 1, y - 1) - at(x - 1, y - 1) + 2 * (at(x + 1, y) - at(x - 1, y)) +
                           at(x + 1, y + 1) - at(x - 1, y + 1);
            const int dy = at(x - 1, y + 1) + 2 * at(x, y + 1) + at(x + 1, y + 1) -
                           at(x - 1, y - 1) - 2 * at(x, y - 1) - at(x + 1, y - 1);
            EXPECT_EQ(gx[static_cast<size_t>(y * W + x)], cares ? dx : 0);
            EXPECT_EQ(gy[static_cast<size_t>(y * W + x)], cares ? dy : 0);
        }
    std::vector<float> fast(gx.size()), plain(gx.size());
    xf_MagnitudeRow(gx.data(), gy.data(), W * H, fast.data());
    xf_MagnitudeRowPlain(gx.data(), gy.data(), W * H, plain.data());
    EXPECT_EQ(fast, plain);
    std::vector<float> f(pels.begin(), pels.end()), fdx(W - 2), fdy(W - 2);
    std::vector<int> idx(W - 2), idy(W - 2);
    xf_SobelRow(f.data() + 1, f.data() + W + 1, f.data() + 2 * W + 1, W - 2, fdx.data(),
                fdy.data());
    xf_SobelRow(pels.data() + 1, pels.data() + W + 1, pels.data() + 2 * W + 1, W - 2, idx.data(),
                idy.data());
    for (long i = 0; i < W - 2; ++i) {
        EXPECT_EQ(fdx[static_cast<size_t>(i)], static_cast<float>(idx[static_cast<size_t>(i)]));
        EXPECT_EQ(fdy[static_cast<size_t>(i)], static_cast<float>(idy[static_cast<size_t>(i)]));
    }
}

TEST(Gradient, RejectsBadSmoothingAndUnboundImages) {
    xcGradientImage g;
    xcPelBuffer8 img(4, 4);
    EXPECT_THROW(xfGradient(img, -0.5, g), xcBadArgument);
    EXPECT_THROW(xfGradient(img, std::nan(""), g), xcBadArgument);
    EXPECT_THROW(xfGradient(img, 20.5, g), xcBadArgument);
    EXPECT_FALSE(g.gx.isBound());  // untouched
    EXPECT_THROW(xfGradient(xcPelBuffer8_const(), 1.0, g), xcPel::UnboundWindow);
}

TEST(EdgeDetect, FindsAPlantedStepEdgeToATenthOfAPixel) {
    // Edges at several angles and sub-pixel offsets; the gradient points to the bright side.
    for (double deg : {0.0, 17.0, 45.0, 90.0, 133.0, 200.0, 301.5}) {
        const double a = deg * std::numbers::pi / 180;
        const double cx = 32.3, cy = 24.7;  // a point of the edge line
        const double d = cx * std::cos(a) + cy * std::sin(a);
        xcPelBuffer8 img = stepImage(64, 48, a, d, 40, 200);
        xcEdgeletSet set;
        xfEdgeDetect(img, xcEdgeletParams(1.0, 10.0, 1), set);
        const xcAngle8 truth = xcAngle8::fromRadian(xcRadian(a));
        std::vector<xcVector<2>> kept;
        for (const xcEdgelet& e : set.edgelets()) {
            const xcVector<2> p = e.position;
            if (p.x() < 5 || p.y() < 5 || p.x() > 59 || p.y() > 43) continue;  // away from borders
            kept.push_back(p);
            const double dist = p.x() * std::cos(a) + p.y() * std::sin(a) - d;
            EXPECT_LE(std::fabs(dist), 0.1) << deg << " at " << p.x() << "," << p.y();
            EXPECT_LE(stepDistance(e.angle, truth), 1) << deg;
            EXPECT_NEAR(e.magnitude, 160 * 0.5 * 0.8, 160 * 0.5 * 0.3);  // smoothed peak
        }
        // The edge's length inside the checked region, by dense sampling along the line.
        const xcVector<2> along(-std::sin(a), std::cos(a));
        double length = 0;
        for (double t = -100; t < 100; t += 0.01) {
            const xcVector<2> q = xcVector<2>(cx, cy) + along * t;
            if (q.x() >= 5 && q.y() >= 5 && q.x() <= 59 && q.y() <= 43) length += 0.01;
        }
        // No gap (an edgelet at least every 1.2 pixels of edge) and no doubled edgelet: two
        // edgelets across the edge would lie at the same place along it, while neighbouring pixels
        // that both hold the maximum are at least sin(22.5 degrees) apart along it.
        EXPECT_GE(static_cast<double>(kept.size()), length / 1.2) << deg;
        for (size_t i = 0; i < kept.size(); ++i)
            for (size_t j = i + 1; j < kept.size(); ++j)
                EXPECT_GE(std::fabs((kept[i] - kept[j]).dot(along)), 0.38) << deg;
    }
}

TEST(EdgeDetect, ClientPositionsFollowTheImageTransform) {
    xcPelBuffer8 img = stepImage(30, 20, 0.0, 15.4, 0, 100);
    img.clientFromImageXform(xcXform<2>(xcMatrix<2>(2, 0, 0, 2), xcVector<2>(10, -5)));
    xcEdgeletSet set;
    xfEdgeDetect(img, xcEdgeletParams(1.0, 10.0, 1), set);
    ASSERT_GT(set.size(), 10);
    for (long i = 0; i < set.size(); ++i) {
        const xcVector<2> c = set.clientPosition(i);
        EXPECT_DOUBLE_EQ(c.x(), 2 * set[i].position.x() + 10);
        EXPECT_DOUBLE_EQ(c.y(), 2 * set[i].position.y() - 5);
    }
    EXPECT_THROW(set.clientPosition(set.size()), std::out_of_range);
}

TEST(EdgeDetect, TypesThresholdsAndFlatImages) {
    xcPelBuffer8 img = stepImage(40, 30, 0.3, 20, 50, 150);
    xcEdgeletSet thin, all;
    xfEdgeDetect(img, xcEdgeletParams(1.0, 10.0, 1), thin);
    xfEdgeDetect(img, xcEdgeletParams(1.0, 10.0, 0), all);
    // Every thinned edgelet comes from a pixel above the threshold, and the unthinned set has
    // each pixel at its centre.
    EXPECT_GT(all.size(), 2 * thin.size());
    for (const xcEdgelet& e : all.edgelets()) {
        EXPECT_EQ(e.position.x() - std::floor(e.position.x()), 0.5);
        EXPECT_GE(e.magnitude, 10.0 - 1.0 / 128);
    }
    // A threshold above the edge's strength keeps nothing; a flat image has no edge at all.
    xcEdgeletSet none;
    xfEdgeDetect(img, xcEdgeletParams(1.0, 60.0, 1), none);
    EXPECT_EQ(none.size(), 0);
    xcPelBuffer8 flat(25, 25);
    xfEdgeDetect(flat, xcEdgeletParams(0.0, 0.0, 0), none);
    EXPECT_EQ(none.size(), 0);
    // A one-pixel image is valid and has no edgelet.
    xfEdgeDetect(xcPelBuffer8(1, 1), xcEdgeletParams(), none);
    EXPECT_EQ(none.size(), 0);

    EXPECT_THROW(xcEdgeletParams(1.0, 10.0, 2), xcBadArgument);
    EXPECT_THROW(xcEdgeletParams(-1.0, 10.0, 1), xcBadArgument);
    EXPECT_THROW(xcEdgeletParams(1.0, -1.0, 1), xcBadArgument);
    EXPECT_THROW(xcEdgeletParams(1.0, std::nan(""), 1), xcBadArgument);
}
