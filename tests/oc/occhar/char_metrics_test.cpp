#include "oc/occhar/char_metrics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "oc/defs/oc_defs.h"
#include "occhar_test_util.h"
#include "platform/core/status.h"
#include "tests/support/expect_error.h"

using namespace occhar_test;
using M = xcOCCharMetrics;

namespace {

// A transform that is not affine (a gentle quadratic bend), for the linearity errors.
class Bend : public xc2XformBase {
public:
    xcVector<2> mapPoint(const xcVector<2>& p) const override {
        return {p.x() + 0.001 * p.y() * p.y(), p.y()};
    }
    bool isLinear() const override { return false; }
    xc2XformLinear linearAt(const xcVector<2>& p) const override {
        return xc2XformLinear(xcMatrix<2>(1, 0.002 * p.y(), 0, 1),
                              xcVector<2>(-0.001 * p.y() * p.y(), 0));
    }
    std::shared_ptr<xc2XformBase> clone() const override { return std::make_shared<Bend>(*this); }
};

// Every rectangle and the advance set to distinct values, some of them specified.
M filled() {
    M m;
    m.rect(M::eCellRect, xcRect(1, 2, 30, 40));
    m.rect(M::eMarkRect, xcRect(3.5, 4.25, 10, 12));
    m.rect(M::eDetectedMarkRect, xcRect(-1, -2, 3, 4));
    m.rect(M::eCellRectImage, xcRect(0.5, 1.5, 20, 25));
    m.rect(M::eMarkRectImage, xcRect(2, 3, 7.75, 9));
    m.rect(M::eDetectedMarkRectImage, xcRect(4, 5, 6, 7));
    m.advance(xcVector<2>(11.5, -0.25));
    m.isRectSpecified(M::eCellRect, true);
    m.isRectSpecified(M::eMarkRectImage, true);
    m.isAdvanceSpecified(true);
    return m;
}

}  // namespace

TEST(OCCharMetrics, ResetStateAndBlankMetrics) {
    const M m;
    EXPECT_EQ(m.specifiedRects(), 0u);
    EXPECT_FALSE(m.isAdvanceSpecified());
    EXPECT_EQ(m.fractionBits(), 16);
    EXPECT_FALSE(m.isBlank());  // no mark rectangle specified
    EXPECT_THROW(m.advance(), xcOCDefs::MetricNotSpecified);
    for (M::RectType t : {M::eCellRect, M::eCellRectImage, M::eMarkRect, M::eMarkRectImage,
                          M::eDetectedMarkRect, M::eDetectedMarkRectImage})
        expectError<xcOCDefs::RectNotSpecified>([&] { m.rect(t); }, L"");

    const M blank = M::blankMetrics();
    EXPECT_TRUE(blank.isBlank());
    EXPECT_EQ(blank.specifiedRects(), 60u);
    EXPECT_FALSE(blank.isRectSpecified(M::eCellRect));
    EXPECT_EQ(blank.markRect(), xcRect());
    EXPECT_EQ(blank.rect(M::eMarkRectImage), xcRect());

    // makeBlank keeps the cell rectangles, the advance and the fraction bits.
    M f = filled();
    f.makeBlank();
    EXPECT_EQ(f.specifiedRects(), 61u);
    EXPECT_EQ(f.cellRect(), xcRect(1, 2, 30, 40));
    EXPECT_EQ(f.advance(), xcVector<2>(11.5, -0.25));
    f.isRectSpecified(M::eCellRectImage, true);
    EXPECT_EQ(f.rect(M::eCellRectImage), xcRect(0.5, 1.5, 20, 25));
    EXPECT_TRUE(f.isBlank());
    f.reset();
    EXPECT_EQ(f, M());
}

TEST(OCCharMetrics, SettingAValueDoesNotSpecifyIt) {
    M m;
    m.markRect(xcRect(1, 1, 5, 5));
    EXPECT_THROW(m.markRect(), xcOCDefs::RectNotSpecified);
    m.isMarkRectSpecified(true);
    EXPECT_EQ(m.markRect(), xcRect(1, 1, 5, 5));
    m.isMarkRectSpecified(false);  // clearing keeps the value
    m.isMarkRectSpecified(true);
    EXPECT_EQ(m.markRect(), xcRect(1, 1, 5, 5));
    m.detectedMarkRect(xcRect(2, 2, 1, 1));
    EXPECT_FALSE(m.hasDetectedMarkRect());
    m.hasDetectedMarkRect(true);
    EXPECT_EQ(m.detectedMarkRect(), xcRect(2, 2, 1, 1));
    m.cellRect(xcRect(0, 0, 9, 9));
    m.isRectSpecified(M::eCellRect, true);
    EXPECT_EQ(m.cellRect(), xcRect(0, 0, 9, 9));
    m.advance(xcVector<2>(3, 4));
    EXPECT_THROW(m.advance(), xcOCDefs::MetricNotSpecified);
    m.isAdvanceSpecified(true);
    EXPECT_EQ(m.advance(), xcVector<2>(3, 4));
}

TEST(OCCharMetrics, IllegalRectTypesAreRejectedEverywhere) {
    M m = filled();
    const M before = m;
    for (int bad : {0, 3, 5, 12, 64, -1}) {
        const auto t = static_cast<M::RectType>(bad);
        const std::wstring msg = L"Illegal metrics rect type";
        expectError<xcOCDefs::BadParams>([&] { m.isRectSpecified(t); }, msg);
        expectError<xcOCDefs::BadParams>([&] { m.isRectSpecified(t, true); }, msg);
        expectError<xcOCDefs::BadParams>([&] { m.rect(t); }, msg);
        expectError<xcOCDefs::BadParams>([&] { m.rect(t, xcRect(0, 0, 1, 1)); }, msg);
        expectError<xcOCDefs::BadParams>([&] { m.rect(t, xcPelRect(0, 0, 1, 1)); }, msg);
        expectError<xcOCDefs::BadParams>([&] { m.encloseRect(t); }, msg);
        expectError<xcOCDefs::BadParams>([&] { m.encloseRectImage(t, xcXform<2>()); }, msg);
        expectError<xcOCDefs::BadParams>(
            [&] { m.encloseRectImage(t, xcPelBuffer<unsigned char>(2, 2)); }, msg);
    }
    EXPECT_EQ(m, before);
}

TEST(OCCharMetrics, FixedPointRoundTripsAndOverflows) {
    M m;
    m.rect(M::eMarkRectImage, xcRect(12.5, -3.25, 0.0000152587890625, 100));
    m.isRectSpecified(M::eMarkRectImage, true);
    xoc_charMetrics rec{};
    m.getMetrics(rec);
    EXPECT_EQ(rec.markRectImage.x, 819200);  // 12.5 * 2^16
    EXPECT_EQ(rec.markRectImage.y, -212992);
    EXPECT_EQ(rec.markRectImage.width, 1);
    EXPECT_EQ(rec.markRectImage.height, 6553600);
    EXPECT_EQ(m.rect(M::eMarkRectImage), xcRect(12.5, -3.25, 0.0000152587890625, 100));
    // Values between steps round to the nearest step.
    m.rect(M::eMarkRectImage, xcRect(0.3, 0, 1, 1));
    EXPECT_EQ(m.rect(M::eMarkRectImage).ul().x(), std::round(0.3 * 65536) / 65536);
    // The xcPelRect form stores the continuous area of the pixels.
    m.rect(M::eMarkRectImage, xcPelRect(-4, 5, 6, 7));
    EXPECT_EQ(m.rect(M::eMarkRectImage), xcRect(-4, 5, 6, 7));
    m.rect(M::eMarkRect, xcPelRect(1, 2, 3, 4));
    m.isMarkRectSpecified(true);
    EXPECT_EQ(m.markRect(), xcRect(1, 2, 3, 4));

    // 32768 * 2^16 = 2^31 does not fit: the C status becomes the module's overflow error, and
    // the stored value stays.
    const M before = m;
    for (const xcRect& bad : {xcRect(32768, 0, 1, 1), xcRect(0, -32768.5, 1, 1),
                              xcRect(0, 0, std::numeric_limits<double>::quiet_NaN(), 1),
                              xcRect(0, 0, 1, std::numeric_limits<double>::infinity())}) {
        expectError<xcOCDefs::IntegerOverflow>([&] { m.rect(M::eMarkRectImage, bad); },
                                               L"Value overflows fixed point value range");
        EXPECT_EQ(m, before);
    }
    // Just inside the range: -32768 is -2^31.
    m.rect(M::eCellRectImage, xcRect(-32768, 32767.99998, 0, 0));
    m.isRectSpecified(M::eCellRectImage, true);
    EXPECT_EQ(m.rect(M::eCellRectImage).ul().x(), -32768.0);
    // The C-level statuses of the module all convert as documented.
    expectError<xcOCDefs::IntegerOverflow>([] { xfThrowExceptionOnFailure(0x800013F1l); },
                                           L"Value overflows integer value range");
}

TEST(OCCharMetrics, FractionBitsComeFromTheRecord) {
    xoc_charMetrics rec{};
    rec.fractionBits = 4;
    rec.specifiedRects = M::eCellRectImage;
    rec.cellRectImage = xoc_rect32Fixed{40, -8, 17, 160};
    M m;
    m.setMetrics(rec);
    EXPECT_EQ(m.fractionBits(), 4);
    EXPECT_EQ(m.rect(M::eCellRectImage), xcRect(2.5, -0.5, 1.0625, 10));
    m.rect(M::eCellRectImage, xcRect(0.5, 0, 1, 1));
    xoc_charMetrics out{};
    m.getMetrics(out);
    EXPECT_EQ(out.cellRectImage.x, 8);
    EXPECT_EQ(out.fractionBits, 4u);
}

TEST(OCCharMetrics, EncloseRectChecksTheIntegerRange) {
    M m;
    m.rect(M::eMarkRect, xcRect(1.5, -2.25, 3, 4.5));
    m.isMarkRectSpecified(true);
    EXPECT_EQ(m.encloseRect(M::eMarkRect), xcPelRect(1, -3, 4, 6));
    const std::wstring msg = L"Value overflows integer value range";
    for (const xcRect& bad : {xcRect(2147483648.0, 0, 1, 1), xcRect(0, -2147483649.0, 1, 1),
                              xcRect(2147483647.0, 0, 1, 1),  // lower-right beyond the range
                              xcRect(std::numeric_limits<double>::quiet_NaN(), 0, 1, 1)}) {
        m.markRect(bad);
        expectError<xcOCDefs::IntegerOverflow>([&] { m.encloseRect(M::eMarkRect); }, msg);
        expectError<xcOCDefs::IntegerOverflow>(
            [&] { m.encloseRectImage(M::eMarkRect, xcXform<2>()); }, msg);
    }
    m.markRect(xcRect(-2147483648.0, 0, 2147483647.0 + 2147483648.0, 1));
    EXPECT_EQ(m.encloseRect(M::eMarkRect), xcPelRect(-2147483648l, 0, 4294967295l, 1));
    // Image rectangles are enclosed in image coordinates whatever the transform.
    m.rect(M::eMarkRectImage, xcRect(0.25, 0.5, 2, 2));
    m.isRectSpecified(M::eMarkRectImage, true);
    const xcXform<2> scale(xcMatrix<2>(3, 0, 0, 3), xcVector<2>(100, 100));
    EXPECT_EQ(m.encloseRectImage(M::eMarkRectImage, scale), xcPelRect(0, 0, 3, 3));
    EXPECT_THROW(m.encloseRect(M::eCellRect), xcOCDefs::RectNotSpecified);
}

TEST(OCCharMetrics, EncloseRectImageMapsClientRectangles) {
    M m;
    m.cellRect(xcRect(0, 0, 4, 2));
    m.isRectSpecified(M::eCellRect, true);
    // A quarter turn about the origin and a shift: (x, y) -> (-y + 10, x + 20).
    const xcXform<2> turn(xcMatrix<2>(0, -1, 1, 0), xcVector<2>(10, 20));
    EXPECT_EQ(m.encloseRectImage(M::eCellRect, turn), xcPelRect(8, 20, 2, 4));
    // A 45 degree turn: the box of the rotated rectangle, not the rotated box of its corners.
    const double c = std::sqrt(0.5);
    const xcXform<2> diag(xcMatrix<2>(c, -c, c, c), xcVector<2>(0.1, 0.1));
    // Corners (0,0), (4,0), (0,2), (4,2) map to x in [-1.414, 2.828], y in [0, 4.243].
    EXPECT_EQ(m.encloseRectImage(M::eCellRect, diag), xcPelRect(-2, 0, 5, 5));

    // The buffer form uses the inverse of the client-from-image transform.
    xcPelBuffer<unsigned char> img(10, 10);
    img.clientFromImageXform(xcXform<2>(xcMatrix<2>(0.5, 0, 0, 0.5), xcVector<2>(1, 1)));
    EXPECT_EQ(m.encloseRectImage(M::eCellRect, img), xcPelRect(-2, -2, 8, 4));
    img.clientFromImageXformBase(Bend());
    expectError<xcOCDefs::BadParams>([&] { m.encloseRectImage(M::eCellRect, img); },
                                     L"image must have a linear imageFromClient transform");
    expectError<xcOCDefs::BadParams>([&] { m.setImageRectsFromClientRects(img); },
                                     L"image must have a linear imageFromClient transform");
}

TEST(OCCharMetrics, ImageRectsFromClientRectsFollowTheClientFlags) {
    M m;
    m.markRect(xcRect(1.5, 2.5, 3, 3));
    m.isMarkRectSpecified(true);
    m.rect(M::eCellRectImage, xcRect(5, 5, 5, 5));
    m.isRectSpecified(M::eCellRectImage, true);
    m.isRectSpecified(M::eDetectedMarkRectImage, true);
    const xcXform<2> shift(xcMatrix<2>(2, 0, 0, 2), xcVector<2>(-1, 0));
    m.setImageRectsFromClientRects(shift);
    EXPECT_EQ(m.specifiedRects(), static_cast<std::uint32_t>(M::eMarkRect | M::eMarkRectImage));
    // (1.5, 2.5) - (4.5, 5.5) maps to (2, 5) - (8, 11).
    EXPECT_EQ(m.rect(M::eMarkRectImage), xcRect(2, 5, 6, 6));
    // Unspecified image rectangles keep their values.
    m.isRectSpecified(M::eCellRectImage, true);
    EXPECT_EQ(m.rect(M::eCellRectImage), xcRect(5, 5, 5, 5));

    // An overflow part way leaves the metrics unchanged (the cell pair is done first).
    M n;
    n.cellRect(xcRect(0, 0, 1, 1));
    n.markRect(xcRect(1e12, 0, 1, 1));
    n.isRectSpecified(M::eCellRect, true);
    n.isMarkRectSpecified(true);
    const M before = n;
    EXPECT_THROW(n.setImageRectsFromClientRects(xcXform<2>()), xcOCDefs::IntegerOverflow);
    EXPECT_EQ(n, before);
    // A box that fits 32 bits but not 16.16 fixed point fails in the conversion.
    n.markRect(xcRect(40000, 0, 1, 1));
    expectError<xcOCDefs::IntegerOverflow>([&] { n.setImageRectsFromClientRects(xcXform<2>()); },
                                           L"Value overflows fixed point value range");
}

TEST(OCCharMetrics, BlanknessIsDecidedByTheMarkRectangle) {
    M m;
    m.markRect(xcRect(0, 0, 0, 5));
    m.isMarkRectSpecified(true);
    EXPECT_TRUE(m.isBlank());
    m.markRect(xcRect(0, 0, 1, 5));
    EXPECT_FALSE(m.isBlank());
    m.isMarkRectSpecified(false);
    m.rect(M::eMarkRectImage, xcRect(0, 0, 3, -1));
    m.isRectSpecified(M::eMarkRectImage, true);
    EXPECT_TRUE(m.isBlank());
    m.isMarkRectSpecified(true);  // client says not blank, image says blank
    expectError<xcOCDefs::MetricNotSpecified>([&] { m.isBlank(); }, L"");
    m.rect(M::eMarkRectImage, xcRect(0, 0, 3, 1));
    EXPECT_FALSE(m.isBlank());
}

TEST(OCCharMetrics, RecordConversionKeepsKnownFlagsAndCopiesFixedPoint) {
    xoc_charMetrics rec;
    std::memset(&rec, 0xAB, sizeof rec);
    rec.specifiedRects = 0xFFFFFFFFu;
    rec.advanceSpecified = 7;
    rec.fractionBits = 8;
    rec.cellRectImage = xoc_rect32Fixed{-1, 2, 3, 2147483647};
    rec.markRect = xoc_rectD{0.5, 1.5, 2.5, 3.5};
    rec.advanceX = -2;
    rec.advanceY = 9.75;
    M m;
    m.setMetrics(rec);
    EXPECT_EQ(m.specifiedRects(), 63u);
    EXPECT_TRUE(m.isAdvanceSpecified());
    EXPECT_EQ(m.advance(), xcVector<2>(-2, 9.75));
    EXPECT_EQ(m.markRect(), xcRect(0.5, 1.5, 2.5, 3.5));
    EXPECT_EQ(m.rect(M::eCellRectImage),
              xcRect(-1.0 / 256, 2.0 / 256, 3.0 / 256, 2147483647.0 / 256));

    xoc_charMetrics out;
    std::memset(&out, 0, sizeof out);
    m.getMetrics(out);
    EXPECT_EQ(out.specifiedRects, 63u);
    EXPECT_EQ(out.advanceSpecified, 1);
    EXPECT_EQ(out.fractionBits, 8u);
    EXPECT_EQ(out.cellRectImage.height, 2147483647);
    M again;
    again.setMetrics(out);
    EXPECT_EQ(again, m);
}

TEST(OCCharMetrics, ArchiveRoundTripAndVersions) {
    M m = filled();
    const Bytes stream = store(m);
    M back;
    load(stream, back);
    EXPECT_EQ(back, m);
    // The layout: version, flags, advance flag, three i32 rectangles, fraction bits, ...
    const Bytes p = payload(stream);
    ASSERT_GE(p.size(), 1u + 4 + 1 + 48 + 4);
    EXPECT_EQ(p[0], 1);
    EXPECT_EQ(p[1], m.specifiedRects());
    EXPECT_EQ(p[5], 1);  // advance specified
    std::int32_t cellX = 0, bits = 0;
    std::memcpy(&cellX, &p[6], 4);
    std::memcpy(&bits, &p[54], 4);
    EXPECT_EQ(cellX, 32768);  // 0.5 in 16.16
    EXPECT_EQ(bits, 16);
    EXPECT_EQ(p[58], 0);  // the xcRect object's own version byte
    // 1 + 4 + 1 + 48 + 4 + 3 * (1 + 32) + 16
    EXPECT_EQ(p.size(), 173u);

    for (unsigned char version : {0, 2}) {
        SCOPED_TRACE(int(version));
        Bytes bad = stream;
        bad[8] = version;
        xcArchive in{std::span<const unsigned char>(bad)};
        M target;
        if (const auto e = expectError<xcArchive::UnknownVersion>([&] { in || target; })) {
            EXPECT_EQ(e->className(), L"oc/occhar");
            EXPECT_EQ(e->number(), 504);
        }
    }
}
