#include "oc/occhar/oc_char.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "occhar_test_util.h"
#include "platform/core/pel_ops.h"
#include "platform/core/status.h"
#include "tests/support/expect_error.h"

using namespace occhar_test;
using M = xcOCCharMetrics;
using Image = xcOCChar::Image;

namespace {

// A transform that is not affine, for the linearity paths.
class Bend : public xc2XformBase {
public:
    xcVector<2> mapPoint(const xcVector<2>& p) const override {
        return {p.x() + 0.01 * p.y() * p.y(), p.y()};
    }
    bool isLinear() const override { return false; }
    xc2XformLinear linearAt(const xcVector<2>& p) const override {
        return xc2XformLinear(xcMatrix<2>(1, 0.02 * p.y(), 0, 1),
                              xcVector<2>(-0.01 * p.y() * p.y(), 0));
    }
    std::shared_ptr<xc2XformBase> clone() const override { return std::make_shared<Bend>(*this); }
};

// A 16 x 16 image holding every grey level once: pixel (x, y) is 16 y + x.
xcPelBuffer<unsigned char> ramp() {
    xcPelBuffer<unsigned char> b(16, 16);
    for (long y = 0; y < 16; ++y)
        for (long x = 0; x < 16; ++x) b.set(x, y, static_cast<unsigned char>(16 * y + x));
    return b;
}

// A character with all three images, an image area, names and a detected mark rectangle.
xcOCChar sample() {
    xcOCChar c;
    c.key(xcOCCharKey(65, 2, 0, 1));
    c.name(L"A");
    c.description(L"capital a");
    c.polarity(xcOCDefs::eDarkOnLight);
    c.image(pattern(xcPelRect(0, 0, 12, 10)), xcPelRect());
    c.mask(pattern(xcPelRect(0, 0, 12, 10)), xcPelRect());
    c.normalizedImage(ramp(), xcPelRect());
    c.imageArea(xcPelRect(1, 1, 8, 7));
    M m;
    m.cellRect(xcRect(0, 0, 12, 10));
    m.isRectSpecified(M::eCellRect, true);
    m.markRect(xcRect(2, 1, 5, 6));
    m.isMarkRectSpecified(true);
    m.detectedMarkRect(xcRect(2.5, 1.5, 4, 5));
    m.hasDetectedMarkRect(true);
    m.rect(M::eDetectedMarkRectImage, xcRect(2, 1, 5, 6));
    m.isRectSpecified(M::eDetectedMarkRectImage, true);
    c.metrics(m);
    return c;
}

}  // namespace

TEST(OCChar, DefaultCharacter) {
    const xcOCChar c;
    EXPECT_EQ(c.polarity(), xcOCDefs::ePolarityUnknown);
    EXPECT_FALSE(c.hasThresholdAndInvert());
    expectError<xcOCDefs::ThresholdAndInvertNotSpecified>([&] { c.threshold(); }, L"");
    expectError<xcOCDefs::ThresholdAndInvertNotSpecified>([&] { c.invert(); }, L"");
    expectError<xcOCDefs::ThresholdAndInvertNotSpecified>([&] { c.binarizedImage(false); }, L"");
    EXPECT_EQ(c.metrics(), M::blankMetrics());
    EXPECT_EQ(c.key(), xcOCCharKey());
    EXPECT_FALSE(c.image(true).isBound());
    EXPECT_FALSE(c.mask(false).isBound());
    EXPECT_FALSE(c.normalizedImage(true).isBound());
    EXPECT_EQ(c.markOrImageArea(), xcPelRect());
    EXPECT_EQ(c.name(), L"");
    EXPECT_TRUE(c.name32().empty());
    // The threshold is 128 once a setting is switched on.
    xcOCChar d;
    d.hasThresholdAndInvert(true);
    EXPECT_EQ(d.threshold(), 128);
    EXPECT_FALSE(d.invert());
    d.reset();
    EXPECT_EQ(d, xcOCChar());
}

TEST(OCChar, NamesAreKeptInBothForms) {
    xcOCChar c;
    c.name(L"A\U0001F600\xD800");
    EXPECT_EQ(c.name(), L"A\U0001F600\xD800");
    EXPECT_EQ(c.name32(), (std::u32string{U'A', 0x1F600, 0xD800}));
    c.name32(U"xy");
    EXPECT_EQ(c.name(), L"xy");
    // A code that has no wide form empties the wide name.
    c.name32(std::u32string{U'A', 0x110000});
    EXPECT_EQ(c.name32(), (std::u32string{U'A', 0x110000}));
    expectError<xcCharCodeDefs::NotRepresentable>([&] { c.name(); }, L"");
    c.name32(std::u32string{0xDC00});
    EXPECT_THROW(c.name(), xcCharCodeDefs::NotRepresentable);
    c.name32(U"");
    EXPECT_EQ(c.name(), L"");
    // Descriptions behave alike, independently.
    c.description32(std::u32string{0xFFFFFFFFu});
    EXPECT_THROW(c.description(), xcCharCodeDefs::NotRepresentable);
    EXPECT_EQ(c.name(), L"");
    c.description(L"d");
    EXPECT_EQ(c.description(), L"d");
    EXPECT_EQ(c.description32(), U"d");
}

TEST(OCChar, FailingSettersLeaveTheCharacterUnchanged) {
    xcOCChar c = sample();
    c.hasThresholdAndInvert(true);
    c.binarizedImage(false);  // fills the cache
    const xcOCChar before = c;
    expectError<xcOCDefs::BadParams>([&] { c.polarity(static_cast<xcOCDefs::Polarity>(3)); },
                                     L"Unknown polarity");
    expectError<xcOCDefs::BadParams>([&] { c.threshold(-1); }, L"Threshold must be >= 0.");
    xcPelBuffer<unsigned char> img = pattern(xcPelRect(0, 0, 10, 8));
    img.window(xcPelRect(2, 1, 4, 3));
    const std::wstring rootMsg = L"Root copy rect does not contain image window";
    expectError<xcOCDefs::BadParams>([&] { c.image(img, xcPelRect(3, 0, 6, 5)); }, rootMsg);
    expectError<xcOCDefs::BadParams>([&] { c.mask(img, xcPelRect(0, 0, 5, 3)); }, rootMsg);
    expectError<xcOCDefs::BadParams>([&] { c.normalizedImage(img, xcPelRect(2, 2, 4, 3)); },
                                     rootMsg);
    expectError<xcOCDefs::BadParams>([&] { c.normalizedImage(img, true, 257, false, xcPelRect()); },
                                     L"Threshold must be between 0 and 256 inclusive");
    expectError<xcOCDefs::BadParams>([&] { c.normalizedImage(img, true, -1, false, xcPelRect()); },
                                     L"Threshold must be between 0 and 256 inclusive");
    EXPECT_THROW(c.normalizedImage(img, true, 5000000000l, false, xcPelRect()),
                 xcOCDefs::BadParams);
    EXPECT_THROW(c.normalizedImage(img, false, 10, false, xcPelRect(3, 0, 6, 5)),
                 xcStatusError);  // the C-level layer's bad argument
    EXPECT_EQ(c, before);
    // The cache is still the one filled before.
    EXPECT_TRUE(c.binarizedImage(false).sharesRoot(before.binarizedImage(false)));
}

TEST(OCChar, BinarizationFollowsThresholdAndInvert) {
    xcOCChar c;
    xcPelBuffer<unsigned char> n = ramp();
    n.clientFromImageXform(xcXform<2>(xcMatrix<2>(2, 0, 0, 2), xcVector<2>(5, 6)));
    c.normalizedImage(n, xcPelRect());
    c.hasThresholdAndInvert(true);
    for (long t : {0l, 1l, 100l, 255l, 256l}) {
        for (bool inv : {false, true}) {
            c.threshold(t);
            c.invert(inv);
            const Image b = c.binarizedImage(false);
            ASSERT_TRUE(b.isBound());
            EXPECT_EQ(b.window(), xcPelRect(0, 0, 16, 16));
            EXPECT_EQ(b.clientFromImageXform(), n.clientFromImageXform());
            for (long y = 0; y < 16; ++y)
                for (long x = 0; x < 16; ++x) {
                    const bool low = 16 * y + x < t;
                    ASSERT_EQ(b.get(x, y), (low != inv) ? 0 : 255) << t << " " << inv;
                }
        }
    }
    c.threshold(100);
    c.invert(false);
    EXPECT_EQ(c.binarizedImage(false).get(3, 6), 0);    // 99
    EXPECT_EQ(c.binarizedImage(false).get(4, 6), 255);  // 100
    c.invert(true);
    EXPECT_EQ(c.binarizedImage(false).get(3, 6), 255);
    EXPECT_EQ(c.binarizedImage(false).get(4, 6), 0);

    // The same threshold keeps the cache; a different one, invert, the flag or a new
    // normalized image drop it.
    const Image cached = c.binarizedImage(false);
    c.threshold(100);
    c.invert(true);
    c.hasThresholdAndInvert(true);
    EXPECT_TRUE(c.binarizedImage(false).sharesRoot(cached));
    c.threshold(101);
    const Image b2 = c.binarizedImage(false);
    EXPECT_FALSE(b2.sharesRoot(cached));
    c.invert(false);
    const Image b3 = c.binarizedImage(false);
    EXPECT_FALSE(b3.sharesRoot(b2));
    c.hasThresholdAndInvert(false);
    c.hasThresholdAndInvert(true);
    const Image b4 = c.binarizedImage(false);
    EXPECT_FALSE(b4.sharesRoot(b3));
    c.normalizedImage(ramp(), xcPelRect());
    EXPECT_FALSE(c.binarizedImage(false).sharesRoot(b4));

    // Above 256 the setter accepts and binarizing fails.
    c.threshold(300);
    EXPECT_EQ(c.threshold(), 300);
    expectError<xcOCDefs::BadParams>([&] { c.binarizedImage(false); }, L"threshold() > 256)");
    // Without a normalized image nothing is made, and the binarized image is unbound.
    xcOCChar e;
    e.hasThresholdAndInvert(true);
    e.threshold(999);
    EXPECT_FALSE(e.binarizedImage(true).isBound());
}

TEST(OCChar, ImageViewsRestrictToTheImageArea) {
    xcOCChar c = sample();
    const Image whole = c.image(false);
    EXPECT_EQ(whole.window(), xcPelRect(0, 0, 12, 10));
    const Image area = c.image(true);
    EXPECT_EQ(area.window(), xcPelRect(1, 1, 8, 7));
    EXPECT_TRUE(area.sharesRoot(whole));
    EXPECT_EQ(c.mask(true).window(), xcPelRect(1, 1, 8, 7));
    EXPECT_EQ(c.normalizedImage(true).window(), xcPelRect(1, 1, 8, 7));
    c.hasThresholdAndInvert(true);
    EXPECT_EQ(c.binarizedImage(true).window(), xcPelRect(1, 1, 8, 7));

    c.imageArea(xcPelRect(5, 5, 0, 3));
    expectError<xcOCDefs::BadParams>([&] { c.image(true); }, L"imageArea cannot be null");
    EXPECT_EQ(c.image(false).window(), xcPelRect(0, 0, 12, 10));  // no area needed
    c.imageArea(xcPelRect(6, 6, 7, 3));
    expectError<xcOCDefs::BadParams>([&] { c.mask(true); }, L"image does not contain imageArea");
    // The normalized image (16 x 16) does contain it.
    EXPECT_EQ(c.normalizedImage(true).window(), xcPelRect(6, 6, 7, 3));
    // An unbound image needs no area.
    c.image(Image(), xcPelRect());
    c.imageArea(xcPelRect());
    EXPECT_FALSE(c.image(true).isBound());
}

TEST(OCChar, StoredImagesCarryTheirRootCopyRectangle) {
    xcPelBuffer<unsigned char> src = pattern(xcPelRect(0, 0, 10, 8));
    src.clientFromImageXform(xcXform<2>(xcMatrix<2>(1, 0, 0, 1), xcVector<2>(-3, 4)));
    src.window(xcPelRect(2, 1, 4, 3));
    xcOCChar c;
    c.image(src, xcPelRect(1, 0, 6, 5));
    Image stored = c.image(false);
    EXPECT_FALSE(stored.sharesRoot(src));
    EXPECT_EQ(stored.window(), xcPelRect(2, 1, 4, 3));
    EXPECT_EQ(stored.rootWindow(), xcPelRect(1, 0, 6, 5));
    EXPECT_EQ(stored.clientFromImageXform(), src.clientFromImageXform());
    stored.setEntire();
    for (long y = 0; y < 5; ++y)
        for (long x = 1; x < 7; ++x) ASSERT_EQ(stored.get(x, y), pel(x, y));
    // A root copy rect reaching past the source's root keeps what the root has.
    c.mask(src, xcPelRect(-5, -5, 30, 30));
    EXPECT_EQ(c.mask(false).rootWindow(), xcPelRect(0, 0, 10, 8));
    // Without a root copy rect only the window is kept.
    c.normalizedImage(src, xcPelRect());
    EXPECT_EQ(c.normalizedImage(false).rootWindow(), xcPelRect(2, 1, 4, 3));
    // An empty window keeps no pixels, wherever it is.
    xcPelBuffer<unsigned char> empty = pattern(xcPelRect(0, 0, 10, 8));
    empty.window(xcPelRect(9, 7, 0, 0));
    c.image(empty, xcPelRect(0, 0, 3, 3));
    EXPECT_EQ(c.image(false).window(), xcPelRect(9, 7, 0, 0));
    // Storing an unbound image unbinds.
    c.image(Image(), xcPelRect(0, 0, 3, 3));
    EXPECT_FALSE(c.image(false).isBound());
}

TEST(OCChar, ChangesUndetectTheMarkRectangle) {
    auto detected = [](const xcOCChar& c) { return c.metrics().hasDetectedMarkRect(); };
    const auto check = [&](const std::function<void(xcOCChar&)>& change, bool undetects) {
        xcOCChar c = sample();
        ASSERT_TRUE(detected(c));
        change(c);
        EXPECT_EQ(!detected(c), undetects);
        if (undetects) {
            M m = c.metrics();
            m.hasDetectedMarkRect(true);
            EXPECT_EQ(m.detectedMarkRect(), xcRect());
            // The image form stays.
            EXPECT_TRUE(c.metrics().isRectSpecified(M::eDetectedMarkRectImage));
            EXPECT_EQ(c.metrics().rect(M::eDetectedMarkRectImage), xcRect(2, 1, 5, 6));
        }
    };
    check([](xcOCChar& c) { c.image(ramp(), xcPelRect()); }, true);
    check([](xcOCChar& c) { c.mask(Image(), xcPelRect()); }, true);
    check([](xcOCChar& c) { c.normalizedImage(ramp(), xcPelRect()); }, true);
    check([](xcOCChar& c) { c.imageArea(xcPelRect(0, 0, 2, 2)); }, true);
    check([](xcOCChar& c) { c.polarity(xcOCDefs::eLightOnDark); }, true);
    check([](xcOCChar& c) { c.normalizedImage(ramp(), true, 10, false, xcPelRect()); }, true);
    // Setting what is already there, or other settings, keeps it.
    check([](xcOCChar& c) { c.imageArea(xcPelRect(1, 1, 8, 7)); }, false);
    check([](xcOCChar& c) { c.polarity(xcOCDefs::eDarkOnLight); }, false);
    check([](xcOCChar& c) { c.threshold(3); }, false);
    check([](xcOCChar& c) { c.key(xcOCCharKey(1)); }, false);
}

TEST(OCChar, MarkRectViewsTryTheRectanglesInOrder) {
    xcOCChar c = sample();
    // The mark rect image is not specified, so the detected mark rect image decides.
    EXPECT_EQ(c.imageMarkRect().window(), xcPelRect(2, 1, 5, 6));
    M m = c.metrics();
    m.rect(M::eMarkRectImage, xcRect(0.5, 0.5, 3, 3));
    m.isRectSpecified(M::eMarkRectImage, true);
    c.metrics(m);
    EXPECT_EQ(c.imageMarkRect().window(), xcPelRect(0, 0, 4, 4));
    EXPECT_EQ(c.maskMarkRect().window(), xcPelRect(0, 0, 4, 4));
    // Client rectangles go through each buffer's own transform.
    m.isRectSpecified(M::eMarkRectImage, false);
    m.isRectSpecified(M::eDetectedMarkRectImage, false);
    c.metrics(m);
    xcPelBuffer<unsigned char> n = ramp();
    n.clientFromImageXform(xcXform<2>(xcMatrix<2>(0.5, 0, 0, 0.5), xcVector<2>(1, 0)));
    c.normalizedImage(n, xcPelRect());  // undetects: the mark rect (2, 1, 5, 6) decides
    EXPECT_EQ(c.imageMarkRect().window(), xcPelRect(2, 1, 5, 6));
    EXPECT_EQ(c.normalizedImageMarkRect().window(), xcPelRect(2, 2, 10, 12));
    // Clipped to the window.
    m = c.metrics();
    m.markRect(xcRect(-3, 8, 20, 20));
    c.metrics(m);
    EXPECT_EQ(c.imageMarkRect().window(), xcPelRect(0, 8, 12, 2));
    m.markRect(xcRect(50, 50, 2, 2));  // outside: an empty view at the window's corner
    c.metrics(m);
    EXPECT_EQ(c.imageMarkRect().window(), xcPelRect(0, 0, 0, 0));
    // Unbound buffers come back as they are; no mark rectangle at all is an error.
    c.mask(Image(), xcPelRect());
    EXPECT_FALSE(c.maskMarkRect().isBound());
    m.isMarkRectSpecified(false);
    c.metrics(m);
    expectError<xcOCDefs::RectNotSpecified>([&] { c.maskMarkRect(); }, L"");
    // A non-linear transform cannot map a rectangle.
    m.isMarkRectSpecified(true);
    c.metrics(m);
    xcPelBuffer<unsigned char> bent = ramp();
    bent.clientFromImageXformBase(Bend());
    c.image(bent, xcPelRect());
    expectError<xcOCDefs::BadParams>([&] { c.imageMarkRect(); },
                                     L"image must have a linear imageFromClient transform");
}

TEST(OCChar, MarkOrImageArea) {
    xcOCChar c = sample();
    EXPECT_EQ(c.markOrImageArea(), xcPelRect(2, 1, 5, 6));
    M m = c.metrics();
    m.makeBlank();
    c.metrics(m);
    EXPECT_EQ(c.markOrImageArea(), xcPelRect(1, 1, 8, 7));
    // Not blank, but no mark rectangle of any kind: the image area.
    M cellOnly;
    cellOnly.cellRect(xcRect(0, 0, 3, 3));
    cellOnly.isRectSpecified(M::eCellRect, true);
    c.metrics(cellOnly);
    EXPECT_EQ(c.markOrImageArea(), xcPelRect(1, 1, 8, 7));
    // Disagreeing mark tests pass their error on.
    M bad;
    bad.markRect(xcRect(0, 0, 2, 2));
    bad.isMarkRectSpecified(true);
    bad.isRectSpecified(M::eMarkRectImage, true);  // zero: blank
    c.metrics(bad);
    EXPECT_THROW(c.markOrImageArea(), xcOCDefs::MetricNotSpecified);
}

TEST(OCChar, MoveOriginShiftsTheClientFrame) {
    xcOCChar c = sample();
    M m = c.metrics();
    m.cellRect(xcRect(12, 3, 4, 5));
    m.markRect(xcRect(1, 1, 0, 4));  // degenerate: stays
    m.rect(M::eCellRectImage, xcRect(7, 7, 1, 1));
    m.isRectSpecified(M::eCellRectImage, true);
    c.metrics(m);
    xcPelBuffer<unsigned char> n = ramp();
    n.clientFromImageXform(xcXform<2>(xcMatrix<2>(2, 0, 0, 2), xcVector<2>(1, 1)));
    c.normalizedImage(n, xcPelRect());
    m = c.metrics();
    m.detectedMarkRect(xcRect(4, 4, 2, 2));
    m.hasDetectedMarkRect(true);
    c.metrics(m);
    const xcXform<2> normalizedBefore = c.normalizedImage(false).clientFromImageXform();

    const xcVector<2> v(10, -2);
    c.moveOrigin(v);
    EXPECT_EQ(c.metrics().cellRect(), xcRect(2, 5, 4, 5));
    EXPECT_EQ(c.metrics().markRect(), xcRect(1, 1, 0, 4));
    EXPECT_EQ(c.metrics().detectedMarkRect(), xcRect(-6, 6, 2, 2));
    EXPECT_EQ(c.metrics().rect(M::eCellRectImage), xcRect(7, 7, 1, 1));
    // Every pixel's client coordinates are smaller by v in the image and the mask.
    const xcVector<2> p(3.5, 2.5);
    EXPECT_EQ(c.image(false).clientFromImageXform().mapPoint(p), p - v);
    EXPECT_EQ(c.mask(false).clientFromImageXform().mapPoint(p), p - v);
    EXPECT_EQ(c.normalizedImage(false).clientFromImageXform(), normalizedBefore);

    // A non-linear transform is followed by the translation too, and keeps being shifted.
    xcPelBuffer<unsigned char> bent = ramp();
    bent.clientFromImageXformBase(Bend());
    c.image(bent, xcPelRect());
    c.moveOrigin(v);
    c.moveOrigin(xcVector<2>(1, 1));
    const xc2XformBase& x = c.image(false).clientFromImageXformBase();
    EXPECT_FALSE(x.isLinear());
    const xcVector<2> q = Bend().mapPoint(p) - v - xcVector<2>(1, 1);
    EXPECT_NEAR(x.mapPoint(p).x(), q.x(), 1e-12);
    EXPECT_NEAR(x.mapPoint(p).y(), q.y(), 1e-12);
    EXPECT_NEAR(x.linearAt(p).mapPoint(p).x(), q.x(), 1e-12);
}

TEST(OCChar, UniqueInstanceKeys) {
    using K = xcOCCharKey;
    const std::vector<K> k013{K(65, 0), K(65, 1), K(65, 3), K(66, 2), K(65, -1)};
    EXPECT_EQ(xcOCChar::makeUniqueInstanceKey(K(65, -1, 0, 0), k013), K(65, 2, 0, 0));
    const std::vector<K> k012{K(65, 2), K(65, 0), K(65, 1)};
    EXPECT_EQ(xcOCChar::makeUniqueInstanceKey(K(65, -1), k012), K(65, 3));
    EXPECT_EQ(xcOCChar::makeUniqueInstanceKey(K(65, 5, 1, 1), k012), K(65, 5, 1, 1));
    EXPECT_EQ(xcOCChar::makeUniqueInstanceKey(K(65, 1), k012), K(65, 3));  // 1 is in use
    EXPECT_EQ(xcOCChar::makeUniqueInstanceKey(K(67, 1), k012), K(67, 1));
    EXPECT_EQ(xcOCChar::makeUniqueInstanceKey(K(67), k012), K(67, 0));
    // Repeated or negative instances never give an instance in use.
    const std::vector<K> odd{K(65, 0), K(65, 0), K(65, -5), K(65, 1), K(65, 3)};
    EXPECT_EQ(xcOCChar::makeUniqueInstanceKey(K(65), odd), K(65, 2));
    // The same on characters.
    std::vector<xcOCChar> chars(3);
    chars[0].key(K(65, 0));
    chars[1].key(K(65, 1));
    chars[2].key(K(65, 3));
    EXPECT_EQ(xcOCChar::makeUniqueInstanceKey(K(65, 3), chars), K(65, 2));

    std::vector<K> three{K(65), K(65), K(65)};
    EXPECT_TRUE(xcOCChar::makeUniqueInstanceKeys(three));
    EXPECT_EQ(three, (std::vector<K>{K(65, 0), K(65, 1), K(65, 2)}));
    std::vector<K> one{K(65)};
    EXPECT_FALSE(xcOCChar::makeUniqueInstanceKeys(one));
    EXPECT_EQ(one.front(), K(65, 0));
    std::vector<K> distinct{K(65, 4), K(66), K(65, 4), K(66)};
    EXPECT_TRUE(xcOCChar::makeUniqueInstanceKeys(distinct));
    EXPECT_EQ(distinct, (std::vector<K>{K(65, 4), K(66, 0), K(65, 0), K(66, 1)}));
    std::vector<K> none;
    EXPECT_FALSE(xcOCChar::makeUniqueInstanceKeys(none));
}

TEST(OCChar, EqualityCoversEveryFieldAndTheCache) {
    // Without a detected mark rect, so that storing images leaves the metrics equal.
    xcOCChar a = sample();
    M undetected = a.metrics();
    undetected.hasDetectedMarkRect(false);
    undetected.detectedMarkRect(xcRect());
    a.metrics(undetected);
    xcOCChar b = a;
    EXPECT_EQ(a, b);
    b = b;  // self-assignment keeps everything
    EXPECT_EQ(a, b);
    const std::vector<std::function<void(xcOCChar&)>> changes = {
        [](xcOCChar& c) { c.key(xcOCCharKey(65, 2, 0, 2)); },
        [](xcOCChar& c) { c.polarity(xcOCDefs::eLightOnDark); },
        [](xcOCChar& c) { c.image(Image(), xcPelRect()); },
        [](xcOCChar& c) { c.mask(ramp(), xcPelRect()); },
        [](xcOCChar& c) {
            xcPelBuffer<unsigned char> r = ramp();
            r.set(15, 15, 0);
            c.normalizedImage(r, xcPelRect());
        },
        [](xcOCChar& c) { c.hasThresholdAndInvert(true); },
        [](xcOCChar& c) { c.threshold(129); },
        [](xcOCChar& c) { c.invert(true); },
        [](xcOCChar& c) { c.imageArea(xcPelRect(1, 1, 8, 6)); },
        [](xcOCChar& c) { c.metrics(M()); },
        [](xcOCChar& c) { c.name(L"B"); },
        [](xcOCChar& c) { c.description32(U"x"); },
    };
    for (std::size_t i = 0; i < changes.size(); ++i) {
        xcOCChar c = a;
        changes[i](c);
        EXPECT_NE(c, a) << i;
    }
    // Equal pixels in another buffer are equal; another window position too.
    xcOCChar same = a;
    xcPelBuffer<unsigned char> moved(xcPelRect(5, 5, 12, 10));
    for (long y = 0; y < 10; ++y)
        for (long x = 0; x < 12; ++x) moved.set(x + 5, y + 5, pel(x, y));
    same.image(moved, xcPelRect());
    EXPECT_FALSE(same.image(false).sharesRoot(a.image(false)));
    EXPECT_EQ(same, a);
    // Differing only in whether the binarized image is cached.
    xcOCChar d = a;
    d.hasThresholdAndInvert(true);
    xcOCChar e = d;
    EXPECT_EQ(d, e);
    e.binarizedImage(false);
    EXPECT_NE(d, e);
    d.binarizedImage(false);
    EXPECT_EQ(d, e);
    // A copy shares pixels, so equal images need not be copies.
    EXPECT_TRUE(a.image(false).sharesRoot(xcOCChar(a).image(false)));
}

TEST(OCChar, ArchiveRoundTripIncludesTheCache) {
    xcOCChar c = sample();
    c.hasThresholdAndInvert(true);
    c.threshold(77);
    c.invert(true);
    c.binarizedImage(false);
    c.name32(std::u32string{U'Z', 0x110000});
    const Bytes stream = store(c);
    xcOCChar back;
    load(stream, back);
    EXPECT_EQ(back, c);
    EXPECT_EQ(back.binarizedImage(false).get(3, 4), c.binarizedImage(false).get(3, 4));
    EXPECT_EQ(back.name32(), (std::u32string{U'Z', 0x110000}));
    // The layout opens with the version, the key record and the polarity.
    const Bytes p = payload(stream);
    EXPECT_EQ(p[0], 1);
    EXPECT_EQ(p[1], 1);  // the key's own version
    EXPECT_EQ(p[2], 65);
    std::uint32_t polarity = 0;
    std::memcpy(&polarity, &p[18], 4);
    EXPECT_EQ(polarity, 1u);

    xcOCChar empty;
    const Bytes emptyStream = store(empty);
    xcOCChar backEmpty = sample();
    load(emptyStream, backEmpty);
    EXPECT_EQ(backEmpty, empty);

    for (unsigned char version : {0, 2}) {
        SCOPED_TRACE(int(version));
        Bytes bad = stream;
        bad[8] = version;
        xcArchive in{std::span<const unsigned char>(bad)};
        xcOCChar target;
        if (const auto e = expectError<xcArchive::UnknownVersion>([&] { in || target; })) {
            EXPECT_EQ(e->className(), L"oc/occhar");
            EXPECT_EQ(e->number(), 1428);
        }
    }
    // A polarity that is not 1, 2 or 4 is bad data.
    Bytes badPolarity = stream;
    badPolarity[8 + 18] = 3;
    xcArchive in{std::span<const unsigned char>(badPolarity)};
    xcOCChar target;
    EXPECT_THROW(in || target, xcArchive::BadData);
}
