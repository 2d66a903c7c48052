#include "oc/imageutil/mark_rect.h"

#include <gtest/gtest.h>

#include "platform/core/pel_ops.h"

namespace {

xcPelBuffer<unsigned char> whiteWithDot(long x, long y) {
    xcPelBuffer<unsigned char> b(12, 12);
    xfPelSet(b, 255);
    b.set(x, y, 0);
    return b;
}

}  // namespace

TEST(DetectMarkRect, FindsAPlantedPixelInEitherPolarity) {
    xcPelBuffer<unsigned char> img = whiteWithDot(5, 7);
    const xcPelRect area(0, 0, 12, 12);
    xcRect out;
    ASSERT_TRUE(xf_DetectMarkRect_(img, area, {}, false, xcOCDefs::eDarkOnLight, out));
    EXPECT_EQ(out, xcRect(5, 7, 1, 1));
    // Unknown polarity: the all-white border says the marks are dark.
    ASSERT_TRUE(xf_DetectMarkRect_(img, area, {}, false, xcOCDefs::ePolarityUnknown, out));
    EXPECT_EQ(out, xcRect(5, 7, 1, 1));

    // Light marks on dark, and a client transform (scale 2, shift 10).
    xcPelBuffer<unsigned char> inv(12, 12);
    inv.set(3, 4, 250);
    inv.set(8, 6, 250);
    inv.clientFromImageXform(xcXform<2>(xcMatrix<2>(2, 0, 0, 2), xcVector<2>(10, 0)));
    ASSERT_TRUE(xf_DetectMarkRect_(inv, area, {}, false, xcOCDefs::ePolarityUnknown, out));
    EXPECT_EQ(out, xcRect(16, 8, 12, 6));

    // Blank characters have no mark.
    EXPECT_FALSE(xf_DetectMarkRect_(img, area, {}, true, xcOCDefs::eDarkOnLight, out));
    EXPECT_EQ(out, xcRect());
}

TEST(DetectMarkRect, UndecidableBorderAndMaskedMarks) {
    // Left half dark, right half light: the border counts as many of each.
    xcPelBuffer<unsigned char> half(8, 8);
    xfPelSet(half, 200);
    xcPelBuffer<unsigned char> left = half;
    left.window(xcPelRect(0, 0, 4, 8));
    xfPelSet(left, 20);
    xcRect out;
    EXPECT_FALSE(xf_DetectMarkRect_(half, half.window(), {}, false, xcOCDefs::ePolarityUnknown, out));
    EXPECT_EQ(out, xcRect());

    // A mask that leaves out the only dark pixel.
    xcPelBuffer<unsigned char> img = whiteWithDot(5, 7);
    img.set(1, 1, 100);  // something else below the threshold... but masked too
    xcPelBuffer<unsigned char> mask(12, 12);
    xfPelSet(mask, 255);
    mask.set(5, 7, 0);
    mask.set(1, 1, 0);
    EXPECT_FALSE(xf_DetectMarkRect_(img, img.window(), mask, false, xcOCDefs::eDarkOnLight, out));
}

TEST(ComputeOrigin, RulesAndFallbacks) {
    xcPelBuffer<unsigned char> img = whiteWithDot(5, 7);
    const xcPelRect area(1, 2, 10, 8);
    xcVector<2> p;
    EXPECT_TRUE(xf_computeOriginImageCenter_(img, area, {}, p));
    EXPECT_EQ(p, xcVector<2>(6, 6));
    EXPECT_TRUE(xf_computeOriginImageLowerLeft_(img, area, {}, p));
    EXPECT_EQ(p, xcVector<2>(1, 10));

    // Detected mark: given, degenerate, or detected now.
    EXPECT_TRUE(xf_computeOriginDetectedMarkLowerLeft_(img, area, {}, false, true,
                                                       xcRect(3, 4, 2, 2), xcOCDefs::eDarkOnLight, p));
    EXPECT_EQ(p, xcVector<2>(3, 6));
    EXPECT_FALSE(xf_computeOriginDetectedMarkLowerLeft_(img, area, {}, false, true, xcRect(),
                                                        xcOCDefs::eDarkOnLight, p));
    EXPECT_EQ(p, xcVector<2>(1, 10));
    EXPECT_TRUE(xf_computeOriginDetectedMarkLowerLeft_(img, area, {}, false, false, xcRect(),
                                                       xcOCDefs::eDarkOnLight, p));
    EXPECT_EQ(p, xcVector<2>(5, 8));

    // Specified mark, or the detected one (reported false).
    EXPECT_TRUE(xf_computeOriginSpecifiedMarkLowerLeft_(img, area, {}, false, true,
                                                        xcRect(2, 2, 3, 3), false, xcRect(),
                                                        xcOCDefs::eDarkOnLight, p));
    EXPECT_EQ(p, xcVector<2>(2, 5));
    EXPECT_FALSE(xf_computeOriginSpecifiedMarkLowerLeft_(img, area, {}, false, false, xcRect(),
                                                         true, xcRect(4, 4, 1, 1),
                                                         xcOCDefs::eDarkOnLight, p));
    EXPECT_EQ(p, xcVector<2>(4, 5));

    // A blank character gets the area's lower-left from both mark rules.
    EXPECT_FALSE(xf_computeOriginDetectedMarkLowerLeft_(img, area, {}, true, true,
                                                        xcRect(3, 4, 2, 2), xcOCDefs::eDarkOnLight, p));
    EXPECT_EQ(p, xcVector<2>(1, 10));
    EXPECT_FALSE(xf_computeOriginSpecifiedMarkLowerLeft_(img, area, {}, true, true,
                                                         xcRect(2, 2, 3, 3), false, xcRect(),
                                                         xcOCDefs::eDarkOnLight, p));
    EXPECT_EQ(p, xcVector<2>(1, 10));
}
