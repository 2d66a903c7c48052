#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "oc/occhar/oc_char.h"
#include "occhar_test_util.h"
#include "platform/clevel/char_ops.h"
#include "platform/clevel/image_record.h"
#include "platform/clevel/string_clone.h"
#include "platform/core/pel_ops.h"
#include "platform/core/status.h"
#include "tests/support/expect_error.h"

using namespace occhar_test;
using M = xcOCCharMetrics;
using Image = xcOCChar::Image;

namespace {

template <class T>
T at(const xoc_char& r, std::size_t offset) {
    T v;
    std::memcpy(&v, reinterpret_cast<const unsigned char*>(&r) + offset, sizeof v);
    return v;
}

// A character using every field, with its binarized image cached.
xcOCChar full() {
    xcOCChar c;
    c.key(xcOCCharKey(0x42, 3, -7, 12));
    c.name(L"B\U0001F600");
    c.description32(std::u32string{U'd', 0x110000});
    c.polarity(xcOCDefs::eLightOnDark);
    xcPelBuffer<unsigned char> img = pattern(xcPelRect(-2, -1, 14, 11));
    img.clientFromImageXform(xcXform<2>(xcMatrix<2>(0.5, 0, 0, 0.5), xcVector<2>(3, 4)));
    img.window(xcPelRect(0, 0, 10, 9));
    c.image(img, xcPelRect(-1, -1, 12, 11));
    c.mask(pattern(xcPelRect(0, 0, 10, 9)), xcPelRect());
    c.normalizedImage(pattern(xcPelRect(0, 0, 10, 9)), xcPelRect());
    c.hasThresholdAndInvert(true);
    c.threshold(90);
    c.invert(true);
    c.imageArea(xcPelRect(1, 2, 7, 6));
    M m;
    m.cellRect(xcRect(0.5, -1.25, 9, 10));
    m.markRect(xcRect(2, 3, 4, 5));
    m.rect(M::eCellRectImage, xcRect(1, 2, 3, 4));
    m.rect(M::eMarkRectImage, xcRect(2.5, 3.5, 4, 4));
    m.isRectSpecified(M::eCellRect, true);
    m.isRectSpecified(M::eMarkRect, true);
    m.isRectSpecified(M::eMarkRectImage, true);
    m.advance(xcVector<2>(11, 0.5));
    m.isAdvanceSpecified(true);
    c.metrics(m);
    c.binarizedImage(false);
    return c;
}

}  // namespace

TEST(OCCharRecord, GetThenSetGivesAnEqualCharacter) {
    const xcOCChar c = full();
    for (bool copyOut : {false, true}) {
        for (bool copyIn : {false, true}) {
            xc_OCCharRecord rec;
            c.getCharacter(rec.record(), copyOut);
            xcOCChar back;
            back.setCharacter(rec.record(), copyIn);
            EXPECT_EQ(back, c) << copyOut << copyIn;
            EXPECT_EQ(back.image(false).clientFromImageXform(),
                      c.image(false).clientFromImageXform());
            // Pixels are shared only when neither direction copies them.
            EXPECT_EQ(back.image(false).sharesRoot(c.image(false)), !copyOut && !copyIn);
            EXPECT_EQ(back.binarizedImage(false).sharesRoot(c.binarizedImage(false)),
                      !copyOut && !copyIn);
            if (!copyOut && !copyIn) {
                EXPECT_EQ(back.image(false).rootWindow(), xcPelRect(-1, -1, 12, 11));
            }
        }
    }
    // A default character too, and one without a cache.
    xc_OCCharRecord rec;
    xcOCChar empty;
    empty.getCharacter(rec.record(), true);
    xcOCChar back = full();
    back.setCharacter(rec.record(), true);
    EXPECT_EQ(back, empty);
    xcOCChar uncached = full();
    uncached.threshold(91);
    uncached.getCharacter(rec.record(), false);
    EXPECT_EQ(rec.record().binarizedImageCached, 0);
    EXPECT_EQ(ximg_imageConst_isBound(&rec.record().binarizedImage), 0);
    back.setCharacter(rec.record(), false);
    EXPECT_EQ(back, uncached);
}

TEST(OCCharRecord, RecordBytesAtTheirOffsets) {
    const xcOCChar c = full();
    xc_OCCharRecord rec;
    c.getCharacter(rec.record(), false);
    const xoc_char& r = rec.record();
    EXPECT_EQ(at<std::uint32_t>(r, 0), 0x42u);
    EXPECT_EQ(at<std::int32_t>(r, 4), 3);
    EXPECT_EQ(at<std::int32_t>(r, 8), -7);
    EXPECT_EQ(at<std::int32_t>(r, 12), 12);
    EXPECT_EQ(at<std::int32_t>(r, 16), 2);  // light on dark
    // Image records: pels, then x, y, width, height.
    EXPECT_EQ(at<const unsigned char*>(r, 24), c.image(false).pelPointer(0, 0));
    EXPECT_EQ(at<std::int32_t>(r, 24 + 16), 10);
    EXPECT_EQ(at<std::int32_t>(r, 24 + 20), 9);
    EXPECT_EQ(at<std::int32_t>(r, 64 + 16), 10);
    EXPECT_EQ(at<const unsigned char*>(r, 104), c.normalizedImage(false).pelPointer(0, 0));
    EXPECT_EQ(at<std::int32_t>(r, 144), 1);
    EXPECT_EQ(at<const unsigned char*>(r, 152), c.binarizedImage(false).pelPointer(0, 0));
    EXPECT_EQ(at<std::int32_t>(r, 192), 1);
    EXPECT_EQ(at<std::int32_t>(r, 196), 90);
    EXPECT_EQ(at<std::int32_t>(r, 200), 1);
    EXPECT_EQ(at<std::int32_t>(r, 204), 1);
    EXPECT_EQ(at<std::int32_t>(r, 208), 2);
    EXPECT_EQ(at<std::int32_t>(r, 212), 7);
    EXPECT_EQ(at<std::int32_t>(r, 216), 6);
    // Metrics at 224.
    EXPECT_EQ(at<std::uint32_t>(r, 224), 1u | 4u | 8u);
    EXPECT_EQ(at<std::int32_t>(r, 228), 1);
    EXPECT_EQ(at<std::int32_t>(r, 232), 65536);      // cell rect image x
    EXPECT_EQ(at<std::int32_t>(r, 244), 4 * 65536);  // its height
    EXPECT_EQ(at<std::int32_t>(r, 248), 163840);     // mark rect image x = 2.5
    EXPECT_EQ(at<std::uint32_t>(r, 280), 16u);       // fraction bits
    EXPECT_EQ(at<double>(r, 288), 0.5);              // cell rect x
    EXPECT_EQ(at<double>(r, 296), -1.25);
    EXPECT_EQ(at<double>(r, 312), 10.0);  // its height
    EXPECT_EQ(at<double>(r, 320), 2.0);   // mark rect x
    EXPECT_EQ(at<double>(r, 384), 11.0);  // advance
    EXPECT_EQ(at<double>(r, 392), 0.5);
    const auto* name32 = at<const std::uint32_t*>(r, 400);
    ASSERT_NE(name32, nullptr);
    EXPECT_EQ(name32[0], U'B');
    EXPECT_EQ(name32[1], 0x1F600u);
    EXPECT_EQ(name32[2], 0u);
    const auto* desc32 = at<const std::uint32_t*>(r, 408);
    EXPECT_EQ(desc32[1], 0x110000u);
    const auto* name = at<const char16_t*>(r, 416);
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(std::u16string(name), u"B\U0001F600");  // UTF-16, a surrogate pair
    const auto* desc = at<const char16_t*>(r, 424);
    ASSERT_NE(desc, nullptr);
    EXPECT_EQ(desc[0], 0);  // the wide description is empty
}

TEST(OCCharRecord, SetCharacterReadsTheRecordAsItIs) {
    xc_OCCharRecord rec;
    xoc_char& r = rec.record();
    r.metrics.specifiedRects = 0xFFFFFFFFu;
    r.threshold = 400;  // not validated
    r.hasThresholdAndInvert = 5;
    r.invert = 9;
    xcOCChar c;
    c.setCharacter(r, true);
    EXPECT_EQ(c.metrics().specifiedRects(), 63u);
    EXPECT_EQ(c.threshold(), 400);
    EXPECT_TRUE(c.invert());
    EXPECT_EQ(c.name(), L"");  // null name pointers: empty names, no error
    EXPECT_EQ(c.description(), L"");
    EXPECT_TRUE(c.name32().empty());

    // A polarity the conversion rejects leaves the character unchanged.
    const xcOCChar before = c;
    r.polarity = static_cast<xoc_charPolarity>(3);
    expectError<xcOCDefs::BadParams>([&] { c.setCharacter(r, false); }, L"Illegal polarity");
    EXPECT_EQ(c, before);
    // So does an inconsistent image record.
    r.polarity = xoc_eDarkOnLight;
    xc_OCCharRecord broken;
    broken.record().mask.width = 5;  // unbound but sized
    broken.record().mask.pels = reinterpret_cast<const unsigned char*>(&r);
    EXPECT_THROW(c.setCharacter(broken.record(), false), xcBadArgument);
    broken.record().mask.pels = nullptr;
    EXPECT_EQ(c, before);
}

TEST(OCCharRecord, CopyPixelsDecidesWhetherRecordPixelsAreShared) {
    xcPelBuffer<unsigned char> pixels = pattern(xcPelRect(0, 0, 6, 5));
    for (bool copy : {false, true}) {
        xc_OCCharRecord rec;
        ASSERT_EQ(ximg_imageConst_bind_(&rec.record().image, pixels), xstd_eSuccess);
        ASSERT_EQ(ximg_imageConst_bind_(&rec.record().normalizedImage, pixels), xstd_eSuccess);
        xcOCChar c;
        c.setCharacter(rec.record(), copy);
        pixels.set(2, 3, 0);
        EXPECT_EQ(c.image(false).get(2, 3), copy ? pel(2, 3) : 0);
        EXPECT_EQ(c.normalizedImage(false).get(2, 3), copy ? pel(2, 3) : 0);
        pixels.set(2, 3, pel(2, 3));
        // And out again: with copying the record holds its own pixels.
        xc_OCCharRecord out;
        c.getCharacter(out.record(), copy);
        EXPECT_EQ(out.record().image.pels == c.image(false).pelPointer(0, 0), !copy);
    }
}

// The C-level binarized mark-rectangle image agrees with the character's own views: the
// binarized image through the mark rectangle that the metrics give on it.
TEST(OCCharRecord, BinarizedMarkRectAgreesWithTheCharacterViews) {
    struct Case {
        M::RectType type;
        xcRect rect;
        xcXform<2> clientFromImage;
    };
    const double c30 = std::cos(0.5236), s30 = std::sin(0.5236);
    const Case cases[] = {
        {M::eMarkRectImage, xcRect(2.5, 1.25, 6.5, 7), xcXform<2>()},
        {M::eDetectedMarkRectImage, xcRect(-3, -2, 6, 5), xcXform<2>()},
        {M::eMarkRect, xcRect(1.1, 0.3, 3.7, 2.2),
         xcXform<2>(xcMatrix<2>(c30, -s30, s30, c30), xcVector<2>(0.7, -1.3))},
        {M::eDetectedMarkRect, xcRect(10.5, 0.5, 2, 2),
         xcXform<2>(xcMatrix<2>(2, 0, 0, 2), xcVector<2>(10, 0))},
        {M::eMarkRect, xcRect(0.1, 0.2, 0.3, 0.3),
         xcXform<2>(xcMatrix<2>(0.1, 0, 0, 0.1), xcVector<2>(0, 0))},
        {M::eMarkRect, xcRect(40, 40, 2, 2), xcXform<2>()},  // outside: empty
    };
    for (const Case& k : cases) {
        for (long threshold : {0l, 77l, 256l}) {
            for (bool inv : {false, true}) {
                for (bool cached : {false, true}) {
                    SCOPED_TRACE(testing::Message()
                                 << "case " << (&k - cases) << " threshold " << threshold
                                 << " invert " << inv << " cached " << cached);
                    xcOCChar c;
                    xcPelBuffer<unsigned char> n = pattern(xcPelRect(0, 0, 13, 11));
                    n.clientFromImageXform(k.clientFromImage);
                    c.normalizedImage(n, xcPelRect());
                    c.hasThresholdAndInvert(true);
                    c.threshold(threshold);
                    c.invert(inv);
                    M m;
                    m.rect(k.type, k.rect);
                    m.isRectSpecified(k.type, true);
                    c.metrics(m);
                    if (cached) c.binarizedImage(false);
                    const Image viaC = c.binarizedImageMarkRect();
                    // The same view from the character's own parts.
                    Image own = c.binarizedImage(false);
                    own.window(c.metrics().encloseRectImage(k.type, own), true);
                    ASSERT_TRUE(viaC.isBound());
                    EXPECT_EQ(viaC.window(), own.window()) << k.rect.ul().x();
                    EXPECT_TRUE(xfPelEqual(viaC, own));
                    EXPECT_EQ(viaC.clientFromImageXform(), n.clientFromImageXform());
                    EXPECT_EQ(viaC.window(), c.normalizedImageMarkRect().window());
                }
            }
        }
    }
}

TEST(OCCharRecord, BinarizedMarkRectErrors) {
    xcOCChar c;
    c.normalizedImage(pattern(xcPelRect(0, 0, 8, 8)), xcPelRect());
    expectError<xcOCDefs::ThresholdAndInvertNotSpecified>([&] { c.binarizedImageMarkRect(); },
                                                          L"Threshold and invert not specified");
    c.hasThresholdAndInvert(true);
    c.threshold(300);
    expectError<xcOCDefs::BadParams>([&] { c.binarizedImageMarkRect(); },
                                     L"Threshold must be between 0 and 256 inclusive");
    c.threshold(10);
    c.metrics(M());
    expectError<xcOCDefs::RectNotSpecified>([&] { c.binarizedImageMarkRect(); },
                                            L"Rect not specified");
    M m;
    m.markRect(xcRect(3e9, 0, 1, 1));
    m.isMarkRectSpecified(true);
    c.metrics(m);
    expectError<xcOCDefs::IntegerOverflow>([&] { c.binarizedImageMarkRect(); },
                                           L"Value overflows integer value range");
    // A non-linear transform fails the character's view and the C-level call alike, for
    // image rectangles as well.
    struct Bend : xc2XformBase {
        xcVector<2> mapPoint(const xcVector<2>& p) const override { return {p.x() * p.x(), p.y()}; }
        bool isLinear() const override { return false; }
        xc2XformLinear linearAt(const xcVector<2>& p) const override {
            return xc2XformLinear(xcMatrix<2>(2 * p.x(), 0, 0, 1), xcVector<2>(-p.x() * p.x(), 0));
        }
        std::shared_ptr<xc2XformBase> clone() const override {
            return std::make_shared<Bend>(*this);
        }
    };
    xcPelBuffer<unsigned char> bent = pattern(xcPelRect(0, 0, 8, 8));
    bent.clientFromImageXformBase(Bend());
    c.normalizedImage(bent, xcPelRect());
    M mi;
    mi.rect(M::eMarkRectImage, xcRect(1, 1, 2, 2));
    mi.isRectSpecified(M::eMarkRectImage, true);
    c.metrics(mi);
    EXPECT_THROW(c.normalizedImageMarkRect(), xcOCDefs::BadParams);
    EXPECT_THROW(c.binarizedImageMarkRect(), xcStatusError);
    // Without a normalized image the result is unbound.
    c.normalizedImage(Image(), xcPelRect());
    EXPECT_FALSE(c.binarizedImageMarkRect().isBound());
}

// The normalized image stored with its setting through the C-level layer agrees with the
// character's own setters.
TEST(OCCharRecord, NormalizedImageWithThresholdAgreesWithTheSetters) {
    xcPelBuffer<unsigned char> src = pattern(xcPelRect(0, 0, 12, 9));
    src.clientFromImageXform(xcXform<2>(xcMatrix<2>(1, 0, 0, 1), xcVector<2>(-2, 5)));
    src.window(xcPelRect(3, 2, 5, 4));
    for (const xcPelRect& rootCopy :
         {xcPelRect(), xcPelRect(1, 1, 9, 6), xcPelRect(-4, -4, 40, 40)}) {
        for (bool has : {false, true}) {
            xcOCChar viaC = full();
            xcOCChar own = full();
            viaC.normalizedImage(src, has, 40, true, rootCopy);
            own.normalizedImage(src, rootCopy);
            own.hasThresholdAndInvert(has);
            own.threshold(40);
            own.invert(true);
            EXPECT_EQ(viaC, own);
            EXPECT_EQ(viaC.normalizedImage(false).rootWindow(),
                      own.normalizedImage(false).rootWindow());
            EXPECT_EQ(viaC.normalizedImage(false).clientFromImageXform(),
                      src.clientFromImageXform());
            EXPECT_FALSE(viaC.normalizedImage(false).sharesRoot(src));
            if (has) {
                EXPECT_TRUE(xfPelEqual(viaC.binarizedImage(false), own.binarizedImage(false)));
            }
        }
    }
    // An empty window, outside the root copy rectangle.
    xcPelBuffer<unsigned char> empty = pattern(xcPelRect(0, 0, 12, 9));
    empty.window(xcPelRect(11, 8, 0, 0));
    xcOCChar viaC, own;
    viaC.normalizedImage(empty, true, 0, false, xcPelRect(0, 0, 2, 2));
    own.normalizedImage(empty, xcPelRect(0, 0, 2, 2));
    own.hasThresholdAndInvert(true);
    own.threshold(0);
    EXPECT_EQ(viaC, own);
    EXPECT_EQ(viaC.normalizedImage(false).window(), xcPelRect(11, 8, 0, 0));
}
