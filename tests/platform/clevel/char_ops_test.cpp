#include "platform/clevel/char_ops.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using Buffer = xcPelBuffer_const<unsigned char>;

unsigned char pel(long x, long y) {
    return static_cast<unsigned char>((x * 19 + y * 23 + 5) & 255);
}

xcPelBuffer<unsigned char> pattern(const xcPelRect& extent) {
    xcPelBuffer<unsigned char> b(extent);
    for (long y = extent.y(); y < extent.y() + extent.height(); ++y)
        for (long x = extent.x(); x < extent.x() + extent.width(); ++x) b.set(x, y, pel(x, y));
    return b;
}

xoc_rect32Fixed fixed(double x, double y, double w, double h, std::uint32_t bits = 16) {
    const xoc_rectD d{x, y, w, h};
    xoc_rect32Fixed f{};
    EXPECT_EQ(xoc_rect32FixedInitFromRectD_(&f, &d, bits), xstd_eSuccess);
    return f;
}

// A record holding a 13 x 11 normalized pattern with the given setting and no mark rectangle.
void prepare(xc_OCCharRecord& rec, int threshold, int invert) {
    xc_Image img(pattern(xcPelRect(0, 0, 13, 11)));
    ASSERT_EQ(xoc_char_setNormalizedImageThresholdAndInvert8(rec.get(), img.get(), 1, threshold,
                                                             invert, nullptr),
              xstd_eSuccess);
    rec.record().metrics.specifiedRects = 0;
}

// Runs the call and returns its result as a buffer (unbound on failure).
xstd_status binarizedMarkRect(const xc_OCCharRecord& rec, Buffer& out) {
    xc_Image result;
    const xstd_status s = xoc_char_getBinarizedImageMarkRect8(rec.get(), result.get());
    out = result.pelBuffer();
    return s;
}

// The naive oracle: every pixel of the window against the threshold.
void expectBinarized(const Buffer& b, int threshold, bool invert) {
    const xcPelRect w = b.window();
    for (long y = w.y(); y < w.y() + w.height(); ++y)
        for (long x = w.x(); x < w.x() + w.width(); ++x) {
            const bool low = pel(x, y) < threshold;
            ASSERT_EQ(b.get(x, y), (low != invert) ? 0 : 255) << x << "," << y << " t" << threshold;
        }
}

}  // namespace

TEST(CharOps, BinarizedMarkRectMatchesTheNaiveOracle) {
    for (int threshold : {0, 1, 100, 255, 256}) {
        for (int invert : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "threshold " << threshold << " invert " << invert);
            xc_OCCharRecord rec;
            prepare(rec, threshold, invert);
            rec.record().metrics.specifiedRects = xoc_eMarkRectImage;
            rec.record().metrics.markRectImage = fixed(2.5, 1.25, 6.5, 7.0);
            Buffer b;
            ASSERT_EQ(binarizedMarkRect(rec, b), xstd_eSuccess);
            ASSERT_TRUE(b.isBound());
            EXPECT_EQ(b.window(), xcPelRect(2, 1, 7, 8));  // floor of ul, ceiling of lr
            expectBinarized(b, threshold, invert != 0);
            EXPECT_EQ(rec.record().binarizedImageCached, 0);  // the record is not changed
        }
    }
}

TEST(CharOps, MarkRectangleTypesAreTriedInOrder) {
    xc_OCCharRecord rec;
    prepare(rec, 100, 0);
    xoc_charMetrics& m = rec.record().metrics;
    m.fractionBits = 4;
    m.markRect = xoc_rectD{14, 2, 6, 4};
    m.detectedMarkRect = xoc_rectD{10, 0, 2, 2};
    m.markRectImage = fixed(1, 1, 2, 2, 4);
    m.detectedMarkRectImage = fixed(3, 4, 5, 6, 4);
    Buffer b;
    m.specifiedRects = 63;
    ASSERT_EQ(binarizedMarkRect(rec, b), xstd_eSuccess);
    EXPECT_EQ(b.window(), xcPelRect(1, 1, 2, 2));
    m.specifiedRects = xoc_eDetectedMarkRectImage | xoc_eMarkRect | xoc_eDetectedMarkRect;
    ASSERT_EQ(binarizedMarkRect(rec, b), xstd_eSuccess);
    EXPECT_EQ(b.window(), xcPelRect(3, 4, 5, 6));
    // Client rectangles go through the image-from-client transform: client = 2 image + (10, 0).
    xc_Image scaled([] {
        xcPelBuffer<unsigned char> p = pattern(xcPelRect(0, 0, 13, 11));
        p.clientFromImageXform(xcXform<2>(xcMatrix<2>(2, 0, 0, 2), xcVector<2>(10, 0)));
        return p;
    }());
    ASSERT_EQ(
        xoc_char_setNormalizedImageThresholdAndInvert8(rec.get(), scaled.get(), 1, 100, 0, nullptr),
        xstd_eSuccess);
    m.specifiedRects = xoc_eMarkRect | xoc_eDetectedMarkRect;
    ASSERT_EQ(binarizedMarkRect(rec, b), xstd_eSuccess);
    EXPECT_EQ(b.window(), xcPelRect(2, 1, 3, 2));
    EXPECT_EQ(b.clientFromImageXform().trans(), xcVector<2>(10, 0));
    expectBinarized(b, 100, false);
    m.specifiedRects = xoc_eDetectedMarkRect;
    m.detectedMarkRect = xoc_rectD{10.5, 0.5, 2, 2};
    ASSERT_EQ(binarizedMarkRect(rec, b), xstd_eSuccess);
    EXPECT_EQ(b.window(), xcPelRect(0, 0, 2, 2));  // (0.25, 0.25) - (1.25, 1.25) enclosed
    // A rectangle reaching out of the image is clipped to its window.
    m.specifiedRects = xoc_eMarkRectImage;
    m.markRectImage = fixed(-3, -2, 6, 5, 4);
    ASSERT_EQ(binarizedMarkRect(rec, b), xstd_eSuccess);
    EXPECT_EQ(b.window(), xcPelRect(0, 0, 3, 3));
}

TEST(CharOps, BinarizedMarkRectFailuresLeaveTheResultUnchanged) {
    xc_OCCharRecord rec;
    prepare(rec, 100, 0);
    xoc_char& c = rec.record();
    xc_Image result(pattern(xcPelRect(0, 0, 3, 3)));
    const ximg_image8Const before = result.image();
    auto status = [&] { return xoc_char_getBinarizedImageMarkRect8(rec.get(), result.get()); };
    EXPECT_EQ(status(), xoc_eRectNotSpecified);
    c.metrics.specifiedRects = xoc_eMarkRectImage;
    c.metrics.markRectImage = fixed(1, 1, 3, 3);
    c.hasThresholdAndInvert = 0;
    EXPECT_EQ(status(), xoc_eThresholdAndInvertNotSpecified);
    c.hasThresholdAndInvert = 1;
    c.threshold = 257;
    EXPECT_EQ(status(), xoc_eThresholdRange);
    c.threshold = -1;
    EXPECT_EQ(status(), xoc_eThresholdRange);
    c.threshold = 100;
    c.metrics.specifiedRects = xoc_eMarkRect;
    c.metrics.markRect = xoc_rectD{3e9, 0, 1, 1};
    EXPECT_EQ(status(), xoc_eIntegerOverflow);
    c.metrics.specifiedRects = xoc_eMarkRectImage;
    c.metrics.fractionBits = 0;
    c.metrics.markRectImage = xoc_rect32Fixed{2147483647, 0, 2147483647, 1};  // lower right 2^32
    EXPECT_EQ(status(), xoc_eIntegerOverflow);
    // A client rectangle needs an invertible transform.
    xcPelBuffer<unsigned char> flat = pattern(xcPelRect(0, 0, 4, 4));
    flat.clientFromImageXform(xcXform<2>(xcMatrix<2>(1, 2, 2, 4), xcVector<2>()));
    xc_Image singular(flat);
    ASSERT_EQ(ximg_imageConst_assign(&c.normalizedImage, singular.get()), xstd_eSuccess);
    c.metrics.specifiedRects = xoc_eMarkRect;
    EXPECT_EQ(status(), xstd_eBadArgument);
    EXPECT_EQ(std::memcmp(result.get(), &before, sizeof before), 0);
    EXPECT_EQ(xoc_char_getBinarizedImageMarkRect8(nullptr, result.get()), xstd_eBadArgument);
    EXPECT_EQ(xoc_char_getBinarizedImageMarkRect8(rec.get(), nullptr), xstd_eBadArgument);
}

TEST(CharOps, CachedOrMissingImagesAreUsedAsTheyAre) {
    xc_OCCharRecord rec;
    prepare(rec, 100, 0);
    xoc_char& c = rec.record();
    c.threshold = 300;  // could not binarize afresh
    c.metrics.specifiedRects = xoc_eMarkRectImage;
    c.metrics.markRectImage = fixed(1, 2, 3, 4);
    xcPelBuffer<unsigned char> cache(xcPelRect(0, 0, 13, 11));
    cache.set(2, 3, 77);
    ASSERT_EQ(ximg_imageConst_bind_(&c.binarizedImage, cache), xstd_eSuccess);
    c.binarizedImageCached = 1;
    Buffer b;
    ASSERT_EQ(binarizedMarkRect(rec, b), xstd_eSuccess);
    EXPECT_TRUE(b.sharesRoot(cache));
    EXPECT_EQ(b.window(), xcPelRect(1, 2, 3, 4));
    EXPECT_EQ(b.get(2, 3), 77);
    // Without cache and without a normalized image the result is unbound.
    c.binarizedImageCached = 0;
    ximg_imageConst_destruct(&c.normalizedImage);
    xc_Image result(pattern(xcPelRect(0, 0, 2, 2)));
    ASSERT_EQ(xoc_char_getBinarizedImageMarkRect8(rec.get(), result.get()), xstd_eSuccess);
    EXPECT_EQ(ximg_imageConst_isBound(result.get()), 0);
}

TEST(CharOps, NormalizedImageKeepsItsRootCopyRectangle) {
    xcPelBuffer<unsigned char> src = pattern(xcPelRect(0, 0, 10, 8));
    src.window(xcPelRect(2, 1, 4, 3));
    const xcXform<2> t(xcMatrix<2>(1, 0, 0, 1), xcVector<2>(-2.5, 4));
    src.clientFromImageXform(t);
    xc_Image img(src);
    xc_OCCharRecord rec;
    const xoc_rect32 rootCopy{1, 0, 6, 5};
    ASSERT_EQ(
        xoc_char_setNormalizedImageThresholdAndInvert8(rec.get(), img.get(), 5, 0, -3, &rootCopy),
        xstd_eSuccess);
    const xoc_char& c = rec.record();
    EXPECT_EQ(c.hasThresholdAndInvert, 1);
    EXPECT_EQ(c.threshold, 0);
    EXPECT_EQ(c.invert, 1);
    Buffer stored = xfConvertImage(c.normalizedImage);
    EXPECT_EQ(stored.window(), xcPelRect(2, 1, 4, 3));
    EXPECT_EQ(stored.rootWindow(), xcPelRect(1, 0, 6, 5));
    EXPECT_EQ(stored.clientFromImageXform(), t);
    EXPECT_FALSE(stored.sharesRoot(src));
    src.set(3, 2, static_cast<unsigned char>(pel(3, 2) + 1));  // the copy does not see this
    stored.setEntire();
    for (long y = 0; y < 5; ++y)
        for (long x = 1; x < 7; ++x) ASSERT_EQ(stored.get(x, y), pel(x, y)) << x << "," << y;
    // Without a root copy rectangle (null or empty) only the window is kept.
    const xoc_rect32 empty{0, 0, 0, 9};
    for (const xoc_rect32* r : {static_cast<const xoc_rect32*>(nullptr), &empty}) {
        ASSERT_EQ(
            xoc_char_setNormalizedImageThresholdAndInvert8(rec.get(), img.get(), 0, 256, 0, r),
            xstd_eSuccess);
        EXPECT_EQ(xfConvertImage(c.normalizedImage).rootWindow(), xcPelRect(2, 1, 4, 3));
        EXPECT_EQ(c.hasThresholdAndInvert, 0);
        EXPECT_EQ(c.threshold, 256);
    }
}

TEST(CharOps, NormalizedImageDropsTheCacheAndUndetectsOrFailsUnchanged) {
    xc_OCCharRecord rec;
    xoc_char& c = rec.record();
    ASSERT_EQ(ximg_imageConst_bind_(&c.binarizedImage, pattern(xcPelRect(0, 0, 3, 3))), 0);
    c.binarizedImageCached = 1;
    c.metrics.specifiedRects = 63;
    c.metrics.detectedMarkRect = xoc_rectD{1, 2, 3, 4};
    c.metrics.detectedMarkRectImage = xoc_rect32Fixed{5, 6, 7, 8};
    xc_Image img(pattern(xcPelRect(0, 0, 8, 8)));
    const xoc_rect32 misses{1, 1, 4, 4};  // does not contain the window
    std::vector<unsigned char> before(sizeof c);
    std::memcpy(before.data(), &c, sizeof c);
    auto unchanged = [&] { return std::memcmp(before.data(), &c, sizeof c) == 0; };
    EXPECT_EQ(
        xoc_char_setNormalizedImageThresholdAndInvert8(rec.get(), img.get(), 1, 10, 0, &misses),
        xstd_eBadArgument);
    EXPECT_TRUE(unchanged());
    EXPECT_EQ(
        xoc_char_setNormalizedImageThresholdAndInvert8(rec.get(), img.get(), 1, 257, 0, nullptr),
        xoc_eThresholdRange);
    EXPECT_EQ(
        xoc_char_setNormalizedImageThresholdAndInvert8(rec.get(), img.get(), 0, -1, 0, nullptr),
        xoc_eThresholdRange);
    EXPECT_EQ(xoc_char_setNormalizedImageThresholdAndInvert8(rec.get(), nullptr, 1, 1, 0, nullptr),
              xstd_eBadArgument);
    EXPECT_TRUE(unchanged());
    const xc_Image unbound;
    ASSERT_EQ(
        xoc_char_setNormalizedImageThresholdAndInvert8(rec.get(), unbound.get(), 1, 10, 0, nullptr),
        xstd_eSuccess);
    EXPECT_EQ(ximg_imageConst_isBound(&c.normalizedImage), 0);
    EXPECT_EQ(c.binarizedImageCached, 0);
    EXPECT_EQ(ximg_imageConst_isBound(&c.binarizedImage), 0);
    EXPECT_EQ(c.metrics.specifiedRects, 63u - xoc_eDetectedMarkRect);
    EXPECT_EQ(c.metrics.detectedMarkRect.width, 0.0);
    EXPECT_EQ(c.metrics.detectedMarkRect.x, 0.0);
    EXPECT_EQ(c.metrics.detectedMarkRectImage.x, 5);  // the image form is kept
}
