#include "oc/imageutil/affine_clipping.h"

#include <gtest/gtest.h>

#include "oc/imageutil/blankness.h"
#include "platform/core/affine_rectangle.h"
#include "platform/core/pel_ops.h"

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
    xfAffineTransformWithClipping(src, xcPelBuffer_const<unsigned char>(),
                                  rectParams(5, 0, 10, 10), out, outMask);
    ASSERT_TRUE(out.isBound());
    ASSERT_TRUE(outMask.isBound());
    EXPECT_EQ(out.get(9, 2), 50);      // padding, in the rows that are 200 in the source
    EXPECT_EQ(out.get(1, 2), 200);     // real source pixels
    EXPECT_EQ(outMask.get(9, 5), 0);   // padding is left out
    EXPECT_EQ(outMask.get(1, 5), 255); // source is used
    EXPECT_EQ(outMask.get(4, 5), 255); // the last source column
    EXPECT_EQ(outMask.get(5, 5), 0);   // the first padded column

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
