#include "oc/imageutil/affine_transform.h"

#include <gtest/gtest.h>

#include <numbers>

#include "oc/imageutil/mirror_fill.h"
#include "platform/core/pel_ops.h"

namespace {

xcPelBuffer<unsigned char> pattern(long w, long h, long x0 = 0, long y0 = 0) {
    xcPelBuffer<unsigned char> b(xcPelRect(x0, y0, w, h));
    for (long y = y0; y < y0 + h; ++y)
        for (long x = x0; x < x0 + w; ++x)
            b.set(x, y, static_cast<unsigned char>((x * 7 + y * 13) % 251));
    return b;
}

}  // namespace

TEST(AffineTransform, IdentityReproducesTheWindow) {
    xcPelBuffer<unsigned char> src = pattern(13, 9);
    xcPelBuffer<unsigned char> out;
    xf_AffineTransform(src, xcRadian(0.0), 1.0, out, 2);
    ASSERT_EQ(out.width(), 13);
    ASSERT_EQ(out.height(), 9);
    for (long y = 0; y < 9; ++y)
        for (long x = 0; x < 13; ++x) EXPECT_EQ(out.get(x, y), src.get(x, y)) << x << "," << y;
    // The result maps its pixels back onto the source's pixel grid.
    const xcVector<2> p = out.clientFromImageXform().mapPoint(xcVector<2>(0.5, 0.5));
    EXPECT_NEAR(p.x(), 0.5, 1e-9);
    EXPECT_NEAR(p.y(), 0.5, 1e-9);
}

TEST(AffineTransform, BorderIsRealInsideALargerImageAndMirroredAtItsEdge) {
    // A window in the middle of a larger image: a 2x enlargement samples its outermost half
    // pixels between the window and its real neighbours.
    xcPelBuffer<unsigned char> big(20, 20);
    xfPelSet(big, 0);
    xcPelBuffer<unsigned char> inner = big;
    inner.window(xcPelRect(5, 5, 10, 10));
    xfPelSet(inner, 200);
    xcPelBuffer<unsigned char> out;
    xf_AffineTransform(inner, xcRadian(0.0), 2.0, out, 2);
    ASSERT_EQ(out.width(), 20);
    // Output pixel 0 samples source x = 5.25: a quarter of the way from the real neighbour
    // (0, centre 4.5) to the window's first column (200, centre 5.5).
    EXPECT_EQ(out.get(0, 10), 150);
    EXPECT_EQ(out.get(10, 10), 200);

    // The whole image: the same sample meets a mirrored copy of the edge pixel instead.
    xcPelBuffer<unsigned char> alone(10, 10);
    xfPelSet(alone, 200);
    xcPelBuffer<unsigned char> out2;
    xf_AffineTransform(alone, xcRadian(0.0), 2.0, out2, 2);
    EXPECT_EQ(out2.get(0, 10), 200);
}

TEST(AffineTransform, QuarterTurnMovesAPlantedPixel) {
    xcPelBuffer<unsigned char> src(9, 5);
    src.set(7, 1, 255);
    xcPelBuffer<unsigned char> out;
    xf_AffineTransform(src, xcRadian(std::numbers::pi / 2), 1.0, out, 0);
    ASSERT_EQ(out.width(), 5);
    ASSERT_EQ(out.height(), 9);
    // Find the planted pixel and check it maps back onto source pixel (7, 1).
    long found = 0;
    for (long y = 0; y < out.height(); ++y)
        for (long x = 0; x < out.width(); ++x)
            if (out.get(x, y) == 255) {
                ++found;
                const xcVector<2> s =
                    out.clientFromImageXform().mapPoint(xcVector<2>(x + 0.5, y + 0.5));
                EXPECT_NEAR(s.x(), 7.5, 1e-6);
                EXPECT_NEAR(s.y(), 1.5, 1e-6);
            }
    EXPECT_EQ(found, 1);
}

TEST(AffineTransform, MaskMarksWhatLiesOutsideTheSource) {
    xcPelBuffer<unsigned char> src = pattern(10, 10);
    xcPelBuffer<unsigned char> out, mask;
    xf_AffineTransform(src, xcPelBuffer_const<unsigned char>(), xcRadian(std::numbers::pi / 4),
                       1.0, out, mask, 2, 2);
    ASSERT_TRUE(mask.isBound());
    EXPECT_EQ(mask.window(), out.window());
    // The centre came from the source, the corners from outside it.
    EXPECT_EQ(mask.get(mask.width() / 2, mask.height() / 2), 0);
    EXPECT_EQ(mask.get(0, 0), 255);
    EXPECT_EQ(mask.get(mask.width() - 1, mask.height() - 1), 255);
    for (long y = 0; y < mask.height(); ++y)
        for (long x = 0; x < mask.width(); ++x) {
            const unsigned char v = mask.get(x, y);
            EXPECT_TRUE(v == 0 || v == 255);
        }

    // A source mask's values of 128 and more come out 255.
    xcPelBuffer<unsigned char> srcMask(10, 10);
    xcPelBuffer<unsigned char> corner = srcMask;
    corner.window(xcPelRect(0, 0, 5, 10));
    xfPelSet(corner, 200);
    xcPelBuffer<unsigned char> out2, mask2;
    xf_AffineTransform(src, srcMask, xcRadian(0.0), 1.0, out2, mask2, 2, 2);
    EXPECT_EQ(mask2.get(1, 5), 255);
    EXPECT_EQ(mask2.get(8, 5), 0);
}

TEST(AffineTransform, OutputSizeLimitsAreAssertions) {
    xcPelBuffer<unsigned char> src = pattern(4, 4);
    xcPelBuffer<unsigned char> out;
    EXPECT_THROW(xf_AffineTransform(src, xcRadian(0.0), 0.1, out, 2), xcAssertionFailure);
    EXPECT_FALSE(out.isBound());
    EXPECT_THROW(xf_AffineTransform(src, xcRadian(0.0), 9000.0, out, 2), xcAssertionFailure);
}

TEST(MirrorFill, ReflectsWithTheEdgeRepeated) {
    xcPelBuffer<unsigned char> b(xcPelRect(0, 0, 7, 6));
    const xcPelRect d(2, 1, 3, 3);  // data columns 2..4, rows 1..3
    for (long y = 1; y <= 3; ++y)
        for (long x = 2; x <= 4; ++x) b.set(x, y, static_cast<unsigned char>(10 * y + x));
    xf_MirrorFill(b, d);
    // Rows: the row above D repeats D's first row; the two rows below repeat D's last two.
    EXPECT_EQ(b.get(3, 0), 13);
    EXPECT_EQ(b.get(3, 4), 33);
    EXPECT_EQ(b.get(3, 5), 23);
    // Columns: left band 1, 0 takes columns 2, 3; right band 5, 6 takes columns 4, 3.
    EXPECT_EQ(b.get(1, 2), 22);
    EXPECT_EQ(b.get(0, 2), 23);
    EXPECT_EQ(b.get(5, 2), 24);
    EXPECT_EQ(b.get(6, 2), 23);
    EXPECT_EQ(b.get(0, 0), 13);  // corners from the filled bands
    EXPECT_EQ(b.get(6, 5), 23);
    EXPECT_THROW(xf_MirrorFill(b, xcPelRect(5, 4, 4, 4)), xcAssertionFailure);
}
