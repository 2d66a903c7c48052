#include "platform/core/affine_sampling.h"
#include "tests/support/expect_error.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

namespace {

using Interp = xcAffineSamplingParams::Interpolation;

xcPelBuffer<unsigned char> randomImage(long w, long h, std::mt19937& rng,
                                       const xcPelRect& window = xcPelRect()) {
    xcPelBuffer<unsigned char> b(w, h);
    std::uniform_int_distribution<int> v(0, 255);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) b.set(x, y, static_cast<unsigned char>(v(rng)));
    if (!window.isNull()) b.window(window);
    return b;
}

// The value of window pixel (x, y) of src (indices from the window corner), clamped to it.
double pel(const xcPelBuffer_const<unsigned char>& src, long x, long y) {
    const xcPelRect w = src.window();
    x = std::clamp(x, 0L, w.width() - 1);
    y = std::clamp(y, 0L, w.height() - 1);
    return src.get(w.x() + x, w.y() + y);
}

double catmullRom(double t, int k) {
    const double t2 = t * t, t3 = t2 * t;
    switch (k) {
        case 0:
            return 0.5 * (-t3 + 2 * t2 - t);
        case 1:
            return 0.5 * (3 * t3 - 5 * t2 + 2);
        case 2:
            return 0.5 * (-3 * t3 + 4 * t2 + t);
        default:
            return 0.5 * (t3 - t2);
    }
}

// Straightforward double-precision sampler: each sample mapped on its own, every tap clamped.
double referenceSample(const xcPelBuffer_const<unsigned char>& src, const xcVector<2>& client,
                       Interp in) {
    const xcVector<2> s = src.imageFromClientXform().mapPoint(client);
    const double u = s.x() - src.window().x() - 0.5, v = s.y() - src.window().y() - 0.5;
    if (in == xcAffineSamplingParams::eNearestNeighbor)
        return pel(src, static_cast<long>(std::floor(u + 0.5)),
                   static_cast<long>(std::floor(v + 0.5)));
    const long x0 = static_cast<long>(std::floor(u)), y0 = static_cast<long>(std::floor(v));
    const double fx = u - x0, fy = v - y0;
    if (in == xcAffineSamplingParams::eBilinear)
        return (1 - fy) * ((1 - fx) * pel(src, x0, y0) + fx * pel(src, x0 + 1, y0)) +
               fy * ((1 - fx) * pel(src, x0, y0 + 1) + fx * pel(src, x0 + 1, y0 + 1));
    double sum = 0;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            sum += catmullRom(fy, r) * catmullRom(fx, c) * pel(src, x0 - 1 + c, y0 - 1 + r);
    return sum;
}

xcVector<2> samplePoint(const xcAffineSamplingParams& p, long i, long j) {
    const xcAffineRectangle& r = p.affineRect();
    return r.cornerPo() + r.xSide() * ((i + 0.5) / p.nx()) + r.ySide() * ((j + 0.5) / p.ny());
}

// True when some sample has a tap of non-zero weight outside the source window.
bool referenceClips(const xcPelBuffer_const<unsigned char>& src, const xcAffineSamplingParams& p) {
    const xcPelRect w = src.window();
    for (long j = 0; j < p.ny(); ++j)
        for (long i = 0; i < p.nx(); ++i) {
            const xcVector<2> s = src.imageFromClientXform().mapPoint(samplePoint(p, i, j));
            for (int axis = 0; axis < 2; ++axis) {
                const double u = (axis == 0 ? s.x() - w.x() : s.y() - w.y()) - 0.5;
                const long n = axis == 0 ? w.width() : w.height();
                double lo, hi;
                const double r = std::round(u);
                const bool centre = std::fabs(u - r) < 1e-9;
                if (p.interpolation() == xcAffineSamplingParams::eNearestNeighbor) {
                    lo = hi = std::floor(u + 0.5);
                } else if (centre) {
                    lo = hi = r;
                } else if (p.interpolation() == xcAffineSamplingParams::eBilinear) {
                    lo = std::floor(u);
                    hi = lo + 1;
                } else {
                    lo = std::floor(u) - 1;
                    hi = lo + 3;
                }
                if (lo < 0 || hi > n - 1) return true;
            }
        }
    return false;
}

const Interp kAll[] = {xcAffineSamplingParams::eNearestNeighbor, xcAffineSamplingParams::eBilinear,
                       xcAffineSamplingParams::eBicubic};

}  // namespace

TEST(AffineSampling, IdentityRectangleReproducesTheSource) {
    std::mt19937 rng(1);
    // An odd-sized window inside a larger root, with a non-trivial client frame.
    xcPelBuffer<unsigned char> src = randomImage(40, 30, rng, xcPelRect(3, 5, 31, 17));
    const xcXform<2> clientFromImage(xcMatrix<2>(xcDegree(20), xcDegree(25), 1.5, 0.75),
                                     {12.0, -4.0});
    src.clientFromImageXform(clientFromImage);
    const xcAffineRectangle area = xcAffineRectangle(src.window()).map(clientFromImage);
    for (Interp in : kAll) {
        xcAffineSamplingParams p(area, 31, 17, in);
        EXPECT_FALSE(p.willClip(src)) << in;
        xcPelBuffer<unsigned char> out = xfAffineTransformImage(src, p);
        ASSERT_EQ(out.window(), xcPelRect(0, 0, 31, 17));
        for (long y = 0; y < 17; ++y)
            for (long x = 0; x < 31; ++x)
                ASSERT_EQ(out.get(x, y), src.get(x + 3, y + 5)) << in << " at " << x << "," << y;
        // Output pixels keep their client coordinates.
        EXPECT_TRUE(xfRealEq(out.clientFromImageXform().mapPoint({2.5, 7.5}),
                             clientFromImage.mapPoint({5.5, 12.5}), 1e-12));
    }
}

TEST(AffineSampling, AgreesWithDoubleReferenceIncludingBorders) {
    std::mt19937 rng(2);
    std::uniform_real_distribution<double> ang(-3.2, 3.2), len(2, 40), pos(-10, 40);
    std::uniform_int_distribution<long> size(1, 29);
    long samples = 0, offByOne = 0;
    for (int trial = 0; trial < 60; ++trial) {
        const long w = 2 * size(rng) + 1, h = 2 * size(rng) + 1;  // odd sizes, 3 .. 59
        xcPelBuffer<unsigned char> src = randomImage(w + 4, h + 2, rng, xcPelRect(2, 1, w, h));
        if (trial % 3 == 0)
            src.clientFromImageXform(
                xcXform<2>(xcMatrix<2>(xcDegree(-10), xcDegree(-10), 2, 2), {-3.0, 7.0}));
        // Rectangles that wander over the window edges, turned and skewed, up and down sampled.
        const xcAffineRectangle rect({pos(rng), pos(rng)}, len(rng), len(rng), xcRadian(ang(rng)),
                                     xcRadian(ang(rng) * 0.2));
        const long nx = size(rng) * 2 + 1, ny = size(rng) + 2;
        for (Interp in : kAll) {
            xcAffineSamplingParams p(rect, nx, ny, in);
            xcPelBuffer<unsigned char> out = xfAffineTransformImage(src, p);
            for (long j = 0; j < ny; ++j)
                for (long i = 0; i < nx; ++i) {
                    const double ref = referenceSample(src, samplePoint(p, i, j), in);
                    const double want = std::clamp(std::floor(ref + 0.5), 0.0, 255.0);
                    const double got = out.get(i, j);
                    ++samples;
                    if (in == xcAffineSamplingParams::eNearestNeighbor) {
                        ASSERT_EQ(got, want) << "trial " << trial << " at " << i << "," << j;
                        continue;
                    }
                    // Fixed-point weights may round a value that sits on a half the other way.
                    ASSERT_LE(std::fabs(got - want), 1.0)
                        << "trial " << trial << " interp " << in << " at " << i << "," << j;
                    if (got != want) {
                        ++offByOne;
                        const double tol = in == xcAffineSamplingParams::eBilinear ? 0.07 : 0.001;
                        EXPECT_LT(std::fabs(ref - std::floor(ref) - 0.5), tol) << ref << " " << in;
                    }
                }
            EXPECT_EQ(p.willClip(src), referenceClips(src, p)) << "trial " << trial;
        }
    }
    EXPECT_LT(offByOne, samples / 100);
}

TEST(AffineSampling, RotatedDiscLandsWhereGeometrySays) {
    // A bright disc of radius 6 centred at image point (60.5, 40.5) in a 101 x 81 image whose
    // client frame is scaled by 0.5 and shifted.
    xcPelBuffer<unsigned char> src(101, 81);
    const xcVector<2> disc(60.5, 40.5);
    for (long y = 0; y < 81; ++y)
        for (long x = 0; x < 101; ++x)
            src.set(x, y, (xcVector<2>(x + 0.5, y + 0.5) - disc).len() <= 6.0 ? 200 : 20);
    const xcXform<2> cfi(xcMatrix<2>::scale(0.5, 0.5), {100.0, 50.0});
    src.clientFromImageXform(cfi);
    // A 20 x 14 client rectangle turned by 17 degrees near the disc's client position,
    // sampled at 4 pixels per client unit.
    xcAffineRectangle rect({0, 0}, 20.0, 14.0, xcDegree(17));
    rect.center(cfi.mapPoint(disc) + xcVector<2>(3.0, -2.0));
    for (Interp in : kAll) {
        xcAffineSamplingParams p(rect, 80, 56, in);
        EXPECT_FALSE(p.willClip(src));
        xcPelBuffer<unsigned char> out = xfAffineTransformImage(src, p);
        double sx = 0, sy = 0, sw = 0;
        for (long y = 0; y < 56; ++y)
            for (long x = 0; x < 80; ++x) {
                const double wgt = std::max(0, out.get(x, y) - 20);
                sx += wgt * (x + 0.5);
                sy += wgt * (y + 0.5);
                sw += wgt;
            }
        const xcVector<2> expect =
            out.clientFromImageXform().inverse().mapPoint(cfi.mapPoint(disc));
        EXPECT_NEAR(sx / sw, expect.x(), 0.05) << in;
        EXPECT_NEAR(sy / sw, expect.y(), 0.05) << in;
        // The disc's area: radius 6 source pixels = 3 client units = 12 output pixels.
        EXPECT_NEAR(sw / 180.0, std::numbers::pi * 144, 0.03 * std::numbers::pi * 144) << in;
    }
}

TEST(AffineSampling, WillClipBoundaries) {
    xcPelBuffer<unsigned char> src(10, 8);
    const xcAffineRectangle whole(xcPelRect(0, 0, 10, 8));
    EXPECT_FALSE(xcAffineSamplingParams(whole, 10, 8, 3).willClip(src));
    // Half a pixel to the right: every sample lies between two centres (bilinear needs the
    // column beyond the right edge) and on a pixel boundary (nearest takes the pixel on its
    // right, outside for the last sample).
    xcAffineRectangle half = whole;
    half.center(whole.center() + xcVector<2>(0.5, 0));
    EXPECT_TRUE(xcAffineSamplingParams(half, 10, 8, 2).willClip(src));
    EXPECT_TRUE(xcAffineSamplingParams(half, 10, 8, 0).willClip(src));
    // Inset by one pixel on each side: bilinear fits, bicubic needs one more.
    const xcAffineRectangle inset(xcPelRect(1, 1, 8, 6));
    xcAffineRectangle insetHalf = inset;
    insetHalf.center(inset.center() + xcVector<2>(0.5, 0.5));
    EXPECT_FALSE(xcAffineSamplingParams(insetHalf, 8, 6, 2).willClip(src));
    EXPECT_TRUE(xcAffineSamplingParams(insetHalf, 8, 6, 3).willClip(src));
    EXPECT_FALSE(xcAffineSamplingParams(xcAffineRectangle(xcPelRect(2, 2, 6, 4)), 3, 2, 3)
                     .willClip(src));  // samples between centres, two pixels from every edge
    // Upsampling the whole window puts samples between the edge centre and the edge.
    EXPECT_TRUE(xcAffineSamplingParams(whole, 20, 16, 2).willClip(src));
    EXPECT_FALSE(xcAffineSamplingParams(whole, 20, 16, 0).willClip(src));
    EXPECT_THROW(xcAffineSamplingParams(whole, 1, 1, 2).willClip(xcPelBuffer<unsigned char>()),
                 xcPel::UnboundWindow);
}

TEST(AffineSampling, FarOutsideClampsToTheEdge) {
    std::mt19937 rng(4);
    xcPelBuffer<unsigned char> src = randomImage(9, 7, rng);
    for (double far : {1e5, 1e9, 1e14}) {
        SCOPED_TRACE(testing::Message() << "far " << far);
        xcAffineRectangle rect({far, -far}, 5.0, 5.0);
        for (Interp in : kAll) {
            xcPelBuffer<unsigned char> out =
                xfAffineTransformImage(src, xcAffineSamplingParams(rect, 4, 3, in));
            for (long y = 0; y < 3; ++y)
                for (long x = 0; x < 4; ++x) EXPECT_EQ(out.get(x, y), src.get(8, 0)) << far;
        }
    }
    // A rectangle much larger than the window: every sample is clamped or interpolated inside.
    xcPelBuffer<unsigned char> big = xfAffineTransformImage(
        src, xcAffineSamplingParams(xcAffineRectangle({-1e6, -1e6}, 2e6, 2e6), 33, 33, 3));
    EXPECT_EQ(big.get(0, 0), src.get(0, 0));
    EXPECT_EQ(big.get(32, 32), src.get(8, 6));
}

TEST(AffineSampling, BadArgumentsAndCallerBuffer) {
    const xcAffineRectangle r;
    expectError<xcBadArgument>([&] { xcAffineSamplingParams(r, 0, 5, 2); },
                               L"Affine sampling x size must be at least 1, not 0");
    EXPECT_THROW(xcAffineSamplingParams(r, 5, -1, 2), xcBadArgument);
    EXPECT_THROW(xcAffineSamplingParams(r, 5, 5, 1), xcBadArgument);
    EXPECT_THROW(
        xcAffineSamplingParams(xcAffineRectangle({std::nan(""), 0}, {1, 0}, {0, 1}), 5, 5, 2),
        xcBadArgument);
    xcAffineSamplingParams p(r, 3, 4, 3);
    EXPECT_THROW(p.interpolation(7), xcBadArgument);
    EXPECT_EQ(p.interpolation(), xcAffineSamplingParams::eBicubic);
    EXPECT_THROW(p.nx(0), xcBadArgument);
    EXPECT_EQ(p.nx(), 3);

    EXPECT_THROW(xfAffineTransformImage(xcPelBuffer<unsigned char>(), p), xcPel::UnboundWindow);
    EXPECT_THROW(xfAffineTransformImage(xcPelBuffer<unsigned char>(0, 4), p), xcBadArgument);

    std::mt19937 rng(5);
    xcPelBuffer<unsigned char> src = randomImage(12, 12, rng);
    xcAffineSamplingParams q(xcAffineRectangle({2.0, 3.0}, 6.0, 4.0, xcDegree(30)), 7, 5, 2);
    xcPelBuffer<unsigned char> dst(xcPelRect(-4, 10, 7, 5));
    xfAffineTransformImage(src, q, dst);
    xcPelBuffer<unsigned char> fresh = xfAffineTransformImage(src, q);
    for (long y = 0; y < 5; ++y)
        for (long x = 0; x < 7; ++x) EXPECT_EQ(dst.get(x - 4, y + 10), fresh.get(x, y));
    EXPECT_TRUE(xfRealEq(dst.clientFromImageXform().mapPoint({-4 + 0.5, 10 + 0.5}),
                         fresh.clientFromImageXform().mapPoint({0.5, 0.5}), 1e-12));
    xcPelBuffer<unsigned char> wrong(6, 5);
    EXPECT_THROW(xfAffineTransformImage(src, q, wrong), xcBadArgument);
    EXPECT_EQ(wrong.clientFromImageXform(), xcXform<2>());  // unchanged by the failure
    xcPelBuffer<unsigned char> alias = src;
    alias.window(xcPelRect(0, 0, 7, 5));
    EXPECT_THROW(xfAffineTransformImage(src, q, alias), xcBadArgument);
}
