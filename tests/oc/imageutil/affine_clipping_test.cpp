#include "oc/imageutil/affine_clipping.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "oc/imageutil/blankness.h"
#include "platform/core/affine_rectangle.h"
#include "platform/core/pel_ops.h"
#include "tests/support/expect_error.h"

namespace {

xcPelBuffer<unsigned char> ramp(long w, long h) {
    xcPelBuffer<unsigned char> b(w, h);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) b.set(x, y, static_cast<unsigned char>(10 + 3 * x + 5 * y));
    return b;
}

xcAffineSamplingParams rectParams(double x, double y, long w, long h) {
    return xcAffineSamplingParams(xcAffineRectangle(xcRect(x, y, w, h)), w, h,
                                  xcAffineSamplingParams::eBilinear);
}

}  // namespace

TEST(AffineTransformWithClipping, InsideTheSourceResamplesDirectly) {
    xcPelBuffer<unsigned char> src = ramp(20, 16);
    xcPelBuffer<unsigned char> out, outMask;
    xfAffineTransformWithClipping(src, xcPelBuffer_const<unsigned char>(), rectParams(4, 3, 8, 6),
                                  out, outMask);
    ASSERT_TRUE(out.isBound());
    EXPECT_FALSE(outMask.isBound());  // no source mask, no clipping: no out mask
    for (long y = 0; y < 6; ++y)
        for (long x = 0; x < 8; ++x) EXPECT_EQ(out.get(x, y), src.get(x + 4, y + 3));

    // With a mask, the mask is resampled the same way.
    xcPelBuffer<unsigned char> mask(20, 16);
    xfPelSet(mask, 255);
    mask.set(6, 4, 0);
    xcPelBuffer<unsigned char> out2, outMask2;
    xfAffineTransformWithClipping(src, mask, rectParams(4, 3, 8, 6), out2, outMask2);
    ASSERT_TRUE(outMask2.isBound());
    EXPECT_EQ(outMask2.get(2, 1), 0);
    EXPECT_EQ(outMask2.get(3, 1), 255);
}

TEST(AffineTransformWithClipping, PaddingTakesTheMedianAndIsMaskedOut) {
    // A source whose median is 50: 60 % of the pixels are 50.
    xcPelBuffer<unsigned char> src(10, 10);
    xfPelSet(src, 50);
    for (long y = 0; y < 4; ++y)
        for (long x = 0; x < 10; ++x) src.set(x, y, 200);
    xcPelBuffer<unsigned char> out, outMask;
    // Half of the sampled area lies right of the source.
    xfAffineTransformWithClipping(src, xcPelBuffer_const<unsigned char>(), rectParams(5, 0, 10, 10),
                                  out, outMask);
    ASSERT_TRUE(out.isBound());
    ASSERT_TRUE(outMask.isBound());
    EXPECT_EQ(out.get(9, 2), 50);       // padding, in the rows that are 200 in the source
    EXPECT_EQ(out.get(1, 2), 200);      // real source pixels
    EXPECT_EQ(outMask.get(9, 5), 0);    // padding is left out
    EXPECT_EQ(outMask.get(1, 5), 255);  // source is used
    EXPECT_EQ(outMask.get(4, 5), 255);  // the last source column
    EXPECT_EQ(outMask.get(5, 5), 0);    // the first padded column

    // Half a pixel further, an output pixel samples the edge between the two: the mask is
    // interpolated bilinearly.
    xcPelBuffer<unsigned char> out2, outMask2;
    xfAffineTransformWithClipping(src, xcPelBuffer_const<unsigned char>(),
                                  rectParams(5.5, 0, 10, 10), out2, outMask2);
    EXPECT_EQ(outMask2.get(4, 5), 128);
}

TEST(AffineTransformWithClipping, BrokenPreconditionsAreAssertions) {
    xcPelBuffer<unsigned char> src = ramp(8, 8);
    xcPelBuffer<unsigned char> bound(2, 2), unbound;
    EXPECT_THROW(xfAffineTransformWithClipping(src, xcPelBuffer_const<unsigned char>(),
                                               rectParams(0, 0, 4, 4), unbound, bound),
                 xcAssertionFailure);
    xcPelBuffer<unsigned char> bound2(2, 2), unbound2;
    EXPECT_THROW(xfAffineTransformWithClipping(src, xcPelBuffer_const<unsigned char>(),
                                               rectParams(0, 0, 4, 4), bound2, unbound2),
                 xcAssertionFailure);
    xcPelBuffer<unsigned char> badMask(7, 8), o1, o2;
    EXPECT_THROW(xfAffineTransformWithClipping(src, badMask, rectParams(0, 0, 4, 4), o1, o2),
                 xcAssertionFailure);
}

TEST(ScoreBlankness, UniformPatchScoresZeroAndNoCareScoresOne) {
    xcPelBuffer<unsigned char> target(24, 32);
    xfPelSet(target, 128);
    xcPelBuffer<unsigned char> model(24, 32);
    const xcPelRect area(0, 0, 24, 32);
    EXPECT_EQ(xfScoreBlankness(target, {}, xcXform<2>(), model, area, {}), 0.0);

    xcPelBuffer<unsigned char> noCare(24, 32);  // all zero: nothing cared for
    xcPelBuffer<unsigned char> textured = ramp(24, 32);
    EXPECT_EQ(xfScoreBlankness(textured, {}, xcXform<2>(), model, area, noCare), 1.0);
}

TEST(ScoreBlankness, MoreStructureScoresLower) {
    // A smooth ramp stays correlated under small shifts; a fine checkerboard does not.
    const xcPelRect area(0, 0, 24, 32);
    xcPelBuffer<unsigned char> model(24, 32);
    xcPelBuffer<unsigned char> smooth = ramp(24, 32);
    xcPelBuffer<unsigned char> checker(24, 32);
    for (long y = 0; y < 32; ++y)
        for (long x = 0; x < 24; ++x) checker.set(x, y, ((x / 2 + y / 2) % 2) ? 220 : 30);
    const double sSmooth = xfScoreBlankness(smooth, {}, xcXform<2>(), model, area, {});
    const double sChecker = xfScoreBlankness(checker, {}, xcXform<2>(), model, area, {});
    EXPECT_GT(sSmooth, 0.0);
    EXPECT_GT(sChecker, 0.0);
    EXPECT_NEAR(sSmooth, 1000.0, 1.0);  // a linear ramp stays a ramp under every shift
    EXPECT_LT(sChecker, sSmooth);
    // A period-4 checkerboard: |r| = 1 at shifts of 0 or 2 in both axes, 0 elsewhere.
    EXPECT_NEAR(sChecker, 1000.0 * 9.0 / 25.0, 1.0);
}

namespace {

// The clipping path's result by its definition: the source padded with its median over the
// whole sampled area (plus the margin), mask 255 over the source, then resampled.
void paddedReference(const xcPelBuffer<unsigned char>& src, const xcAffineSamplingParams& p,
                     xcPelBuffer<unsigned char>& image, xcPelBuffer<unsigned char>& mask) {
    const xcRect r = p.rect().boundingBox(src.imageFromClientXform());
    const long x0 = static_cast<long>(std::floor(r.ul().x() - 4.0));
    const long y0 = static_cast<long>(std::floor(r.ul().y() - 4.0));
    const xcPelRect pad(x0, y0, static_cast<long>(std::ceil(r.size().x() + 8.0)),
                        static_cast<long>(std::ceil(r.size().y() + 8.0)));
    xcPelBuffer<unsigned char> padded(pad), care(pad);
    xfPelSet(padded, 50);  // the median of the sources below
    xfPelCopy(src, padded);
    xfPelSet(care, 0);
    xcPelBuffer<unsigned char> over = care;
    over.window(src.window(), true);
    xfPelSet(over, 255);
    image = xfAffineTransformImage(padded, p);
    xcAffineSamplingParams mp = p;
    mp.interpolation(xcAffineSamplingParams::eBilinear);
    mask = xfAffineTransformImage(care, mp);
}

}  // namespace

TEST(AffineTransformWithClipping, FarReachingRectanglesCostNoMoreThanTheSource) {
    // Sources whose median is 50 (more than half of the pixels).
    xcPelBuffer<unsigned char> src(12, 10);
    xfPelSet(src, 50);
    for (long x = 0; x < 12; ++x) src.set(x, 2, static_cast<unsigned char>(100 + 10 * x));
    struct Case {
        xcAffineRectangle rect;
        long nx, ny, interpolation;
    };
    const Case cases[] = {
        {xcAffineRectangle(xcRect(-30, -20, 70, 50)), 35, 25, 2},  // around the source
        {xcAffineRectangle(xcRect(6, 5, 200, 3)), 50, 6, 3},       // far to the right
        {xcAffineRectangle(xcRect(-120, -80, 260, 190)), 64, 48, 0},
        {xcAffineRectangle(xcVector<2>(6, 5), 150.0, 40.0, xcRadian(0.7)), 60, 30, 3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.nx);
        const xcAffineSamplingParams p(c.rect, c.nx, c.ny, c.interpolation);
        xcPelBuffer<unsigned char> out, outMask, ref, refMask;
        xfAffineTransformWithClipping(src, {}, p, out, outMask);
        paddedReference(src, p, ref, refMask);
        EXPECT_TRUE(xfPelEqual(out, ref));
        EXPECT_TRUE(xfPelEqual(outMask, refMask));
    }

    // A rectangle a million pixels wide sampled into 40 x 40 pixels pads no more than the
    // source: every output pixel is padding, mask 0.
    const xcAffineSamplingParams huge(xcAffineRectangle(xcRect(-5e5, -5e5, 1e6, 1e6)), 40, 40);
    xcPelBuffer<unsigned char> out, outMask;
    xfAffineTransformWithClipping(src, {}, huge, out, outMask);
    EXPECT_EQ(xfPelMax(out), 50);
    EXPECT_EQ(xfPelMin(out), 50);
    EXPECT_EQ(xfPelMax(outMask), 0);
}

TEST(AffineTransformWithClipping, OutputAndAreaLimitsAreAssertions) {
    xcPelBuffer<unsigned char> src = ramp(8, 8);
    const auto expectAssertion = [](auto f, const char* fragment) {
        if (const auto e = expectError<xcAssertionFailure>([&] { f(); })) {
            EXPECT_NE(std::string(e->what()).find(fragment), std::string::npos) << e->what();
        }
    };
    // Outputs beyond 2^24 pixels or 32767 on a side (4096 x 4096 is the largest square).
    for (const auto& [nx, ny] :
         {std::pair{4097L, 4096L}, std::pair{32768L, 1L}, std::pair{100000L, 100000L}}) {
        SCOPED_TRACE(nx);
        const xcAffineSamplingParams p(xcAffineRectangle(xcRect(0, 0, 8, 8)), nx, ny);
        xcPelBuffer<unsigned char> o1, o2;
        expectAssertion([&] { xfAffineTransformWithClipping(src, {}, p, o1, o2); },
                        "2^24 pixels or 32767 on a side");
        EXPECT_FALSE(o1.isBound());
    }

    // A blankness area beyond 16 bits is refused, never narrowed (65544 would become 8).
    const xcPelBuffer_const<unsigned char> noModel;
    for (long w : {32768L, 65544L}) {
        SCOPED_TRACE(w);
        expectAssertion(
            [&] { xfScoreBlankness(src, {}, xcXform<2>(), noModel, xcPelRect(0, 0, w, 2), {}); },
            "model area larger than 2^24 pixels or 32767 on a side");
    }
    expectAssertion(
        [&] { xfScoreBlankness(src, {}, xcXform<2>(), noModel, xcPelRect(0, 0, 5000, 5000), {}); },
        "model area larger");
}
