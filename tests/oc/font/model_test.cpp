#include "oc/font/model.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "font_test_util.h"
#include "platform/core/pel_ops.h"
#include "tests/support/expect_error.h"

using namespace font_test;

namespace {

const wchar_t* const kAreaMsg = L"The image area must fit within the mask and image windows.";
const wchar_t* const kMaskMsg =
    L"Character mask window must be equal to the image character model window.";

xcXform<2> scaleXform(double sx, double sy, const xcVector<2>& t = xcVector<2>()) {
    return xcXform<2>(xcMatrix<2>(sx, 0.0, 0.0, sy), t);
}

// Brute-force bounds of the placed image area: every corner under translations of +-t, scales
// 1 +- s and a dense set of rotations in [-r, r], in the frame reached through c^-1.
xcRect sampledEnclosure(const xcOCModel& m, const xcXform<2>& a, const xcXform<2>& b,
                        const xcXform<2>& c, double t, double r, double s) {
    const xcPelRect& area = m.imageArea();
    const xcXform<2> toFrame = b.inverse() * m.image().clientFromImageXform();
    const xcXform<2> place = a * b;
    const xcXform<2> out = c.inverse();
    double x0 = 1e300, y0 = 1e300, x1 = -1e300, y1 = -1e300;
    const xcVector<2> corners[] = {area.ul(), area.ur(), area.lr(), area.ll()};
    const int steps = 2000;
    for (const xcVector<2>& v : corners) {
        const xcVector<2> w = toFrame.mapPoint(v);
        for (int k = 0; k <= steps; ++k) {
            const double th = -r + 2.0 * r * k / steps;
            for (double sc : {1.0 - s, 1.0 + s}) {
                const xcVector<2> rs(sc * (std::cos(th) * w.x() - std::sin(th) * w.y()),
                                     sc * (std::sin(th) * w.x() + std::cos(th) * w.y()));
                for (double dx : {-t, t})
                    for (double dy : {-t, t}) {
                        const xcVector<2> q =
                            out.mapPoint(place.mapPoint(rs + xcVector<2>(dx, dy)));
                        x0 = std::min(x0, q.x());
                        y0 = std::min(y0, q.y());
                        x1 = std::max(x1, q.x());
                        y1 = std::max(y1, q.y());
                    }
            }
        }
    }
    return xcRect(x0, y0, x1 - x0, y1 - y0);
}

}  // namespace

TEST(OCModel, DefaultIsABlankModelWithKeyMinusOne) {
    xcOCModel m;
    EXPECT_EQ(m.charType(), xcOCModel::eBlank);
    EXPECT_EQ(m.key(), -1);
    EXPECT_FALSE(m.image().isBound());
    EXPECT_FALSE(m.mask().isBound());
    EXPECT_EQ(m.imageArea(), xcPelRect());
    EXPECT_TRUE(m.name().empty());
    EXPECT_TRUE(m.description().empty());
    EXPECT_TRUE(m == xcOCModel());
    EXPECT_FALSE(m != xcOCModel());
}

TEST(OCModel, ConstructorChecksComeInOrder) {
    const Buffer img = patternImage(10, 12);
    const Buffer otherMask(9, 12);
    const xcPelBuffer_const<unsigned char> none;
    const xcPelRect tooLarge(0, 0, 11, 12);
    // A normal character without an image fails first, whatever the area.
    expectError<xcOCDefs::BadImage>([&] { xcOCModel(1, none, tooLarge, xcOCModel::eNormal); },
                                    L"Image models must be bound for normal characters.");
    expectError<xcOCDefs::NotImplemented>([&] { xcOCModel(1, img, tooLarge, xcOCModel::eBlank); },
                                          L"Bound images are not supported for blank characters");
    // The mask window is checked before the area.
    expectError<xcOCDefs::BadParams>(
        [&] { xcOCModel(1, img, otherMask, tooLarge, xcOCModel::eNormal); }, kMaskMsg);
    expectError<xcOCDefs::BadParams>([&] { xcOCModel(1, img, tooLarge, xcOCModel::eNormal); },
                                     kAreaMsg);
    expectError<xcOCDefs::BadParams>(
        [&] { xcOCModel(1, img, xcPelRect(-1, 0, 5, 5), xcOCModel::eNormal); }, kAreaMsg);
    // The area may equal the window; the caller's buffer keeps its window.
    xcOCModel ok(7, img, Buffer(10, 12), xcPelRect(0, 0, 10, 12), xcOCModel::eNormal, L"a",
                 L"the letter a");
    EXPECT_EQ(img.window(), xcPelRect(0, 0, 10, 12));
    EXPECT_EQ(ok.key(), 7);
    EXPECT_EQ(ok.name(), L"a");
    EXPECT_EQ(ok.description(), L"the letter a");
    EXPECT_TRUE(ok.image().sharesRoot(img));
    // A blank model accepts any area: nothing is bound to check it against.
    xcOCModel blank(3, none, xcPelRect(-50, 40, 1000, 3), xcOCModel::eBlank);
    EXPECT_EQ(blank.imageArea(), xcPelRect(-50, 40, 1000, 3));
}

TEST(OCModel, AreaIsCheckedAgainstAWindowAwayFromTheOrigin) {
    Buffer big = patternImage(40, 40);
    big.window(xcPelRect(10, 20, 15, 10));
    xcOCModel m(1, big, xcPelRect(12, 22, 5, 5), xcOCModel::eNormal);
    EXPECT_EQ(big.window(), xcPelRect(10, 20, 15, 10));
    expectError<xcOCDefs::BadParams>(
        [&] { xcOCModel(1, big, xcPelRect(0, 0, 5, 5), xcOCModel::eNormal); }, kAreaMsg);
    expectError<xcOCDefs::BadParams>([&] { m.imageArea(xcPelRect(10, 20, 16, 10)); }, kAreaMsg);
    EXPECT_EQ(m.imageArea(), xcPelRect(12, 22, 5, 5));
}

TEST(OCModel, FailedSettersLeaveTheModelUnchanged) {
    const Buffer img = patternImage(10, 12);
    const Buffer mask(10, 12);
    xcOCModel m(5, img, mask, xcPelRect(1, 1, 8, 10), xcOCModel::eNormal, L"n", L"d");
    const xcOCModel before = m;

    expectError<xcOCDefs::BadParams>([&] { m.mask(Buffer(10, 11)); }, kMaskMsg);
    EXPECT_TRUE(m.mask().sharesRoot(mask));
    // An image too small for the current area, with no mask conflict: the area check fails.
    m.mask(xcPelBuffer_const<unsigned char>());
    const xcOCModel unmasked = m;
    expectError<xcOCDefs::BadParams>([&] { m.image(patternImage(5, 5)); }, kAreaMsg);
    EXPECT_TRUE(m == unmasked);
    expectError<xcOCDefs::BadImage>([&] { m.image(xcPelBuffer_const<unsigned char>()); },
                                    L"Image models must be bound for normal characters.");
    EXPECT_TRUE(m.image().sharesRoot(img));
    expectError<xcOCDefs::BadParams>([&] { m.model(img, Buffer(3, 3)); }, kMaskMsg);
    EXPECT_FALSE(m.mask().isBound());
    expectError<xcOCDefs::BadParams>([&] { m.imageArea(xcPelRect(0, 0, 10, 13)); }, kAreaMsg);
    EXPECT_EQ(m.imageArea(), xcPelRect(1, 1, 8, 10));

    m.model(img, mask);
    EXPECT_TRUE(m == before);
    m.imageArea(xcPelRect(0, 0, 10, 12));
    EXPECT_EQ(m.imageArea(), xcPelRect(0, 0, 10, 12));
    m.key(-40);
    m.name(L"x");
    m.description(L"y");
    EXPECT_EQ(m.key(), -40);
    EXPECT_EQ(m.name(), L"x");
    EXPECT_EQ(m.description(), L"y");

    // A blank model refuses any bound image and keeps its unbound one.
    xcOCModel blank(2, xcPelBuffer_const<unsigned char>(), xcPelRect(0, 0, 4, 4),
                    xcOCModel::eBlank);
    expectError<xcOCDefs::NotImplemented>([&] { blank.image(img); },
                                          L"Bound images are not supported for blank characters");
    EXPECT_FALSE(blank.image().isBound());
    // A blank model's mask has no image window to match, but must hold the area.
    expectError<xcOCDefs::BadParams>([&] { blank.mask(Buffer(2, 2)); }, kAreaMsg);
    EXPECT_FALSE(blank.mask().isBound());
    blank.mask(Buffer(4, 5));
    EXPECT_TRUE(blank.mask().isBound());
}

TEST(OCModel, EncloseRectChecksUncertaintiesInOrder) {
    const xcOCModel m(1, patternImage(10, 20), xcPelRect(0, 0, 10, 20), xcOCModel::eNormal);
    const xcXform<2> id;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    expectError<xcOCDefs::BadParams>([&] { m.encloseRect(id, id, id, 1.0, xcRadian(-0.1), 0.0); },
                                     L"Rotation uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>([&] { m.encloseRect(id, id, id, nan, xcRadian(-0.1), -1.0); },
                                     L"Translation uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>([&] { m.encloseRect(id, id, id, 0.0, xcRadian(nan), -1.0); },
                                     L"Rotation uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>([&] { m.encloseRect(id, id, id, 0.0, xcRadian(0.0), -1e-9); },
                                     L"Scale uncertainty must be >= 0");
}

TEST(OCModel, EncloseRectPlacesTheAreaInTheRequestedFrame) {
    Buffer img = patternImage(10, 20);
    img.clientFromImageXform(scaleXform(2.0, 2.0));  // client units are half pixels
    const xcOCModel m(1, img, xcPelRect(0, 0, 10, 20), xcOCModel::eNormal);
    const xcXform<2> id;
    // The area in client units.
    EXPECT_EQ(m.encloseRect(id, id, id, 0.0, xcRadian(0.0), 0.0), xcRect(0, 0, 20, 40));
    // Placed by a translation, then with a translation uncertainty on both axes.
    const xcXform<2> a = xcXform<2>::translation({5, 7});
    EXPECT_EQ(m.encloseRect(a, id, id, 0.0, xcRadian(0.0), 0.0), xcRect(5, 7, 20, 40));
    const xcRect grown = m.encloseRect(a, id, id, 1.0, xcRadian(0.0), 0.0);
    EXPECT_NEAR(grown.ul().x(), 4.0, 1e-12);
    EXPECT_NEAR(grown.ul().y(), 6.0, 1e-12);
    EXPECT_NEAR(grown.width(), 22.0, 1e-12);
    EXPECT_NEAR(grown.height(), 42.0, 1e-12);
    // Expressed in another model's pixel grid with the same geometry: back to pixels.
    const xcRect pixels = m.encloseRect(id, id, img.clientFromImageXform(), 0.0, xcRadian(0), 0);
    EXPECT_NEAR(pixels.width(), 10.0, 1e-12);
    EXPECT_NEAR(pixels.height(), 20.0, 1e-12);
}

TEST(OCModel, EncloseRectAgreesWithSampledPlacements) {
    Buffer img = patternImage(30, 30);
    img.clientFromImageXform(xcXform<2>(xcVector<2>(3.0, -2.0), 0.5, 1.2, 0.1, xcRadian(0.3)));
    const xcOCModel m(1, img, xcPelRect(4, 6, 17, 11), xcOCModel::eNormal);
    const xcXform<2> a(xcVector<2>(40.0, 25.0), 1.5, 1.0, 0.0, xcRadian(-0.7));
    const xcXform<2> b(xcVector<2>(-3.0, 4.0), 0.8, 1.0, 0.0, xcRadian(0.2));
    const xcXform<2> c(xcVector<2>(1.0, 2.0), 2.0, 1.0, 0.0, xcRadian(0.1));
    for (double r : {0.0, 0.25, 1.0}) {
        const xcRect got = m.encloseRect(a, b, c, 1.5, xcRadian(r), 0.1);
        const xcRect want = sampledEnclosure(m, a, b, c, 1.5, r, 0.1);
        // Sampling rotations can only miss a little of the true extreme.
        EXPECT_NEAR(got.ul().x(), want.ul().x(), 1e-3) << r;
        EXPECT_NEAR(got.ul().y(), want.ul().y(), 1e-3) << r;
        EXPECT_NEAR(got.lr().x(), want.lr().x(), 1e-3) << r;
        EXPECT_NEAR(got.lr().y(), want.lr().y(), 1e-3) << r;
        EXPECT_LE(got.ul().x(), want.ul().x() + 1e-9);
        EXPECT_GE(got.lr().y(), want.lr().y() - 1e-9);
    }
}

TEST(OCModel, EqualityComparesEveryFieldAndThePixels) {
    const Buffer img = patternImage(10, 12);
    const xcOCModel base(4, img, Buffer(10, 12), xcPelRect(1, 1, 6, 6), xcOCModel::eNormal, L"n",
                         L"d");
    xcOCModel same(4, patternImage(10, 12), Buffer(10, 12), xcPelRect(1, 1, 6, 6),
                   xcOCModel::eNormal, L"n", L"d");
    EXPECT_TRUE(base == same);  // equal pixels in different buffers

    auto differs = [&](auto change) {
        xcOCModel m = base;
        change(m);
        EXPECT_FALSE(m == base);
        EXPECT_TRUE(m != base);
    };
    differs([](xcOCModel& m) { m.key(5); });
    differs([](xcOCModel& m) { m.name(L"N"); });
    differs([](xcOCModel& m) { m.description(L""); });
    differs([](xcOCModel& m) { m.imageArea(xcPelRect(1, 1, 6, 5)); });
    differs([](xcOCModel& m) { m.mask(xcPelBuffer_const<unsigned char>()); });
    differs([&](xcOCModel& m) {
        Buffer changed = patternImage(10, 12);
        changed.set(9, 11, 0);  // outside the area, still compared
        m.image(changed);
    });
    differs([&](xcOCModel& m) {
        Buffer mask(10, 12);
        mask.set(0, 0, 255);
        m.mask(mask);
    });
    differs([&](xcOCModel& m) {
        Buffer shifted = patternImage(10, 12);
        shifted.clientFromImageXform(xcXform<2>::translation({0.5, 0}));
        m.image(shifted);
    });
    // Same pixels and size under another window position.
    Buffer big = patternImage(10, 12);
    Buffer moved(xcPelRect(1, 1, 10, 12));
    for (long y = 1; y < 13; ++y)
        for (long x = 1; x < 11; ++x) moved.set(x, y, big.get(x - 1, y - 1));
    xcOCModel atOne(4, moved, xcPelRect(1, 1, 6, 6), xcOCModel::eNormal, L"n", L"d");
    xcOCModel atZero(4, big, xcPelRect(1, 1, 6, 6), xcOCModel::eNormal, L"n", L"d");
    EXPECT_FALSE(atOne == atZero);
}

TEST(OCModel, RealEqToleratesSmallTransformDifferencesOnly) {
    Buffer a = patternImage(6, 6);
    Buffer b = patternImage(6, 6);
    Buffer am(6, 6), bm(6, 6);
    a.clientFromImageXform(scaleXform(1.0, 1.0, {2.0, 3.0}));
    b.clientFromImageXform(scaleXform(1.0 + 1e-9, 1.0, {2.0, 3.0 - 1e-9}));
    am.clientFromImageXform(scaleXform(2.0, 2.0));
    bm.clientFromImageXform(scaleXform(2.0, 2.0 + 1e-9));
    const xcOCModel ma(1, a, am, xcPelRect(0, 0, 6, 6), xcOCModel::eNormal);
    const xcOCModel mb(1, b, bm, xcPelRect(0, 0, 6, 6), xcOCModel::eNormal);
    EXPECT_FALSE(ma == mb);
    EXPECT_TRUE(xfRealEq(ma, mb, 1e-6));
    EXPECT_FALSE(xfRealEq(ma, mb, 1e-12));
    // Everything else stays exact under the tolerance.
    xcOCModel mc = mb;
    mc.key(2);
    EXPECT_FALSE(xfRealEq(ma, mc, 1.0));
}

TEST(OCModel, ArchiveRoundTripKeepsEveryField) {
    Buffer img = patternImage(9, 7, 3);
    img.clientFromImageXform(xcXform<2>(xcVector<2>(1.5, -2.0), 0.25, 1.0, 0.0, xcRadian(0.4)));
    Buffer mask = patternImage(9, 7, 200);
    mask.clientFromImageXform(img.clientFromImageXform());
    ModelHandle m(new xcOCModel(-123456, img, mask, xcPelRect(2, 1, 5, 6), xcOCModel::eNormal,
                                L"\u00e9t\u00e9", L"summer"));
    xcArchive out;
    out || m;
    xcArchive in{std::span<const unsigned char>(out.bytes())};
    xcPtrHandle<xcOCModel> back;
    in || back;
    ASSERT_FALSE(back.isNull());
    EXPECT_NE(back.get(), m.get());
    EXPECT_TRUE(*back == *m);
    EXPECT_EQ(back->description(), L"summer");

    // By value, a blank model with an odd type value read back as stored.
    xcOCModel blank(9, xcPelBuffer_const<unsigned char>(), xcPelRect(-3, 4, 5, 6),
                    xcOCModel::eBlank, L"space");
    xcOCModel loaded;
    loadValue(storeValue(blank), loaded);
    EXPECT_TRUE(loaded == blank);
}

TEST(OCModel, ArchiveLayoutOfVersionOne) {
    xcOCModel m;  // blank, key -1, unbound buffers
    m.key(0x01020304);
    const std::vector<unsigned char> b = storeValue(m);
    std::size_t at = kBodyOffset;
    EXPECT_EQ(b[at], 1);  // version
    at += 1;
    EXPECT_EQ(b[at], 0x04);  // key, little-endian signed 32-bit
    EXPECT_EQ(b[at + 3], 0x01);
    at += 4;
    at += 1 + 48;         // image: unbound, transform
    at += 1 + 48;         // mask
    EXPECT_EQ(b[at], 1);  // type eBlank as u32
    EXPECT_EQ(b[at + 1] | b[at + 2] | b[at + 3], 0);
    at += 4 + 4 + 4;  // type, empty name, empty description
    at += 16;         // image area
    EXPECT_EQ(b.size(), at);
}

TEST(OCModel, VersionZeroReadsWithAnEmptyDescription) {
    xcArchive out;
    std::uint8_t version = 0;
    long key = 42;
    xcPelBuffer_const<unsigned char> image = patternImage(5, 6);
    xcPelBuffer_const<unsigned char> mask;
    xcOCModel::CharType type = xcOCModel::eNormal;
    std::wstring name = L"old";
    xcPelRect area(1, 1, 3, 3);
    out || version || key || image || mask || type || name;
    xf_PersistenceHelper(out, area);

    xcOCModel m(1, xcPelBuffer_const<unsigned char>(), xcPelRect(), xcOCModel::eBlank, L"x",
                L"will be cleared");
    loadValue(out.bytes(), m);
    EXPECT_EQ(m.key(), 42);
    EXPECT_EQ(m.charType(), xcOCModel::eNormal);
    EXPECT_EQ(m.name(), L"old");
    EXPECT_EQ(m.description(), L"");
    EXPECT_EQ(m.imageArea(), area);
    EXPECT_TRUE(xfPelEqual(m.image(), image));
}

TEST(OCModel, TooNewVersionIsRefusedWithoutAClassName) {
    xcOCModel m(3, patternImage(4, 4), xcPelRect(0, 0, 4, 4), xcOCModel::eNormal, L"keep");
    std::vector<unsigned char> b = storeValue(m);
    b[kBodyOffset] = 2;
    xcOCModel target(8, xcPelBuffer_const<unsigned char>(), xcPelRect(), xcOCModel::eBlank);
    const xcOCModel before = target;
    xcArchive in{std::span<const unsigned char>(b)};
    if (const auto e = expectError<xcArchive::UnknownVersion>([&] { in || target; })) {
        EXPECT_EQ(e->className(), L"");
        EXPECT_EQ(e->number(), 0);
    }
    EXPECT_TRUE(target == before);
}
