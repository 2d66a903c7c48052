#include "platform/clevel/char_record.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "platform/clevel/string_clone.h"

namespace {

template <class T>
T fieldAt(const void* record, std::size_t offset) {
    T v;
    std::memcpy(&v, static_cast<const unsigned char*>(record) + offset, sizeof v);
    return v;
}

xcPelBuffer<unsigned char> filled(long w, long h, unsigned char v) {
    xcPelBuffer<unsigned char> b(w, h);
    for (long y = 0; y < h; ++y) std::memset(b.rowPointer(y), v, static_cast<std::size_t>(w));
    return b;
}

}  // namespace

TEST(CharRecord, ConstructionGivesTheDefaultCharacter) {
    xoc_char c;
    std::memset(&c, 0xA5, sizeof c);  // raw memory
    ASSERT_EQ(xoc_char_construct(&c), xstd_eSuccess);
    EXPECT_EQ(c.key.characterCode, 0xF800u);
    EXPECT_EQ(c.key.instance, -1);
    EXPECT_EQ(c.key.variant, -1);
    EXPECT_EQ(c.key.fontID, -1);
    EXPECT_EQ(c.polarity, xoc_ePolarityUnknown);
    for (const ximg_image8Const* i : {&c.image, &c.mask, &c.normalizedImage, &c.binarizedImage}) {
        EXPECT_EQ(ximg_imageConst_isBound(i), 0);
        EXPECT_EQ(i->pels, nullptr);
    }
    EXPECT_EQ(c.binarizedImageCached, 0);
    EXPECT_EQ(c.hasThresholdAndInvert, 0);
    EXPECT_EQ(c.threshold, 128);
    EXPECT_EQ(c.invert, 0);
    EXPECT_EQ(c.imageArea.width, 0);
    // Blank metrics: mark and detected mark rectangles specified, nothing else.
    EXPECT_EQ(c.metrics.specifiedRects, 60u);
    EXPECT_EQ(c.metrics.advanceSpecified, 0);
    EXPECT_EQ(c.metrics.fractionBits, 16u);
    EXPECT_EQ(c.metrics.markRect.width, 0.0);
    EXPECT_EQ(c.name32, nullptr);
    EXPECT_EQ(c.description32, nullptr);
    EXPECT_EQ(c.name, nullptr);
    EXPECT_EQ(c.description, nullptr);
    xoc_char_destruct(&c);
    EXPECT_EQ(xoc_char_construct(nullptr), xstd_eBadArgument);
}

TEST(CharRecord, FilledRecordHasItsBytesAtTheBindingOffsets) {
    xc_OCCharRecord holder;
    xoc_char& c = holder.record();
    c.key = xoc_charKey{0x11223344u, -2, 77, 0x0A0B0C0D};
    c.polarity = xoc_eLightOnDark;
    xcPelBuffer<unsigned char> img = filled(6, 5, 1), msk = filled(6, 5, 2), nrm = filled(6, 5, 3),
                               bin = filled(6, 5, 4);
    ASSERT_EQ(ximg_imageConst_bind_(&c.image, img), xstd_eSuccess);
    ASSERT_EQ(ximg_imageConst_bind_(&c.mask, msk), xstd_eSuccess);
    ASSERT_EQ(ximg_imageConst_bind_(&c.normalizedImage, nrm), xstd_eSuccess);
    ASSERT_EQ(ximg_imageConst_bind_(&c.binarizedImage, bin), xstd_eSuccess);
    c.binarizedImageCached = 1;
    c.hasThresholdAndInvert = 1;
    c.threshold = 201;
    c.invert = 1;
    c.imageArea = xoc_rect32{-3, 4, 50, 60};
    xoc_charMetrics& m = c.metrics;
    m.specifiedRects = 0x2A;
    m.advanceSpecified = 1;
    m.cellRectImage = xoc_rect32Fixed{101, 102, 103, 104};
    m.markRectImage = xoc_rect32Fixed{201, 202, 203, 204};
    m.detectedMarkRectImage = xoc_rect32Fixed{301, 302, 303, 304};
    m.fractionBits = 12;
    m.cellRect = xoc_rectD{1.5, 2.5, 3.5, 4.5};
    m.markRect = xoc_rectD{5.5, 6.5, 7.5, 8.5};
    m.detectedMarkRect = xoc_rectD{9.5, 10.5, 11.5, 12.5};
    m.advanceX = 13.25;
    m.advanceY = -14.75;
    ASSERT_EQ(xstd_string_clone32(std::array<std::uint32_t, 2>{65, 0}.data(), &c.name32), 0);
    ASSERT_EQ(xstd_string_clone32(std::array<std::uint32_t, 2>{66, 0}.data(), &c.description32), 0);
    ASSERT_EQ(xstd_string_cloneW(L"n", &c.name), xstd_eSuccess);
    ASSERT_EQ(xstd_string_cloneW(L"d", &c.description), xstd_eSuccess);

    const void* r = &c;
    const unsigned char* bytes = static_cast<const unsigned char*>(r);
    EXPECT_EQ(bytes[0], 0x44);  // little-endian
    EXPECT_EQ(bytes[3], 0x11);
    EXPECT_EQ(fieldAt<std::int32_t>(r, 4), -2);
    EXPECT_EQ(fieldAt<std::int32_t>(r, 8), 77);
    EXPECT_EQ(fieldAt<std::int32_t>(r, 12), 0x0A0B0C0D);
    EXPECT_EQ(fieldAt<std::int32_t>(r, 16), 2);
    EXPECT_EQ(fieldAt<const unsigned char*>(r, 24), img.pelPointer(0, 0));
    EXPECT_EQ(fieldAt<std::int32_t>(r, 24 + 16), 6);
    EXPECT_EQ(fieldAt<const unsigned char*>(r, 64), msk.pelPointer(0, 0));
    EXPECT_EQ(fieldAt<const unsigned char*>(r, 104), nrm.pelPointer(0, 0));
    EXPECT_EQ(fieldAt<std::int32_t>(r, 144), 1);
    EXPECT_EQ(fieldAt<const unsigned char*>(r, 152), bin.pelPointer(0, 0));
    EXPECT_EQ(fieldAt<std::int32_t>(r, 192), 1);
    EXPECT_EQ(fieldAt<std::int32_t>(r, 196), 201);
    EXPECT_EQ(fieldAt<std::int32_t>(r, 200), 1);
    EXPECT_EQ(fieldAt<std::int32_t>(r, 204), -3);
    EXPECT_EQ(fieldAt<std::int32_t>(r, 216), 60);
    const std::size_t mo = 224;
    EXPECT_EQ(fieldAt<std::uint32_t>(r, mo + 0), 0x2Au);
    EXPECT_EQ(fieldAt<std::int32_t>(r, mo + 4), 1);
    EXPECT_EQ(fieldAt<std::int32_t>(r, mo + 8), 101);
    EXPECT_EQ(fieldAt<std::int32_t>(r, mo + 20), 104);
    EXPECT_EQ(fieldAt<std::int32_t>(r, mo + 24), 201);
    EXPECT_EQ(fieldAt<std::int32_t>(r, mo + 40), 301);
    EXPECT_EQ(fieldAt<std::int32_t>(r, mo + 52), 304);
    EXPECT_EQ(fieldAt<std::uint32_t>(r, mo + 56), 12u);
    EXPECT_EQ(fieldAt<double>(r, mo + 64), 1.5);
    EXPECT_EQ(fieldAt<double>(r, mo + 88), 4.5);
    EXPECT_EQ(fieldAt<double>(r, mo + 96), 5.5);
    EXPECT_EQ(fieldAt<double>(r, mo + 128), 9.5);
    EXPECT_EQ(fieldAt<double>(r, mo + 152), 12.5);
    EXPECT_EQ(fieldAt<double>(r, mo + 160), 13.25);
    EXPECT_EQ(fieldAt<double>(r, mo + 168), -14.75);
    EXPECT_EQ(fieldAt<const std::uint32_t*>(r, 400)[0], 65u);
    EXPECT_EQ(fieldAt<const std::uint32_t*>(r, 408)[0], 66u);
    EXPECT_EQ(fieldAt<const char16_t*>(r, 416)[0], u'n');
    EXPECT_EQ(fieldAt<const char16_t*>(r, 424)[0], u'd');
    EXPECT_EQ(sizeof(xoc_char), 432u);
    EXPECT_EQ(sizeof(xoc_charMetrics), 176u);
    EXPECT_EQ(sizeof(xoc_charKey), 16u);
}  // destruction frees the strings and releases the four images (checked by the leak checker)

TEST(CharRecord, DestructionReleasesImagesButNotSharedPixels) {
    xcPelBuffer<unsigned char> b = filled(4, 4, 9);
    xoc_char c;
    ASSERT_EQ(xoc_char_construct(&c), xstd_eSuccess);
    ASSERT_EQ(ximg_imageConst_bind_(&c.image, b), xstd_eSuccess);
    ASSERT_EQ(xstd_string_cloneW(L"\U0001F600", &c.name), xstd_eSuccess);
    xoc_char_destruct(&c);
    EXPECT_EQ(c.image.ref, nullptr);
    EXPECT_EQ(c.name, nullptr);
    xoc_char_destruct(&c);  // harmless a second time
    xoc_char_destruct(nullptr);
    EXPECT_EQ(b.get(3, 3), 9);  // the caller's buffer is untouched
}

TEST(CharRecord, MakeBlankKeepsCellAdvanceAndFractionBits) {
    xoc_charMetrics m;
    ASSERT_EQ(xoc_charMetrics_construct(&m), xstd_eSuccess);
    EXPECT_EQ(m.specifiedRects, 0u);
    m.specifiedRects = xoc_eCellRect | xoc_eCellRectImage;
    m.cellRect = xoc_rectD{1, 2, 3, 4};
    m.markRect = xoc_rectD{5, 6, 7, 8};
    m.markRectImage = xoc_rect32Fixed{1, 1, 1, 1};
    m.detectedMarkRect = xoc_rectD{1, 1, 1, 1};
    m.detectedMarkRectImage = xoc_rect32Fixed{2, 2, 2, 2};
    m.advanceX = 3;
    m.fractionBits = 8;
    ASSERT_EQ(xoc_charMetrics_makeBlank(&m), xstd_eSuccess);
    EXPECT_EQ(m.specifiedRects, 63u);
    EXPECT_EQ(m.cellRect.width, 3.0);
    EXPECT_EQ(m.markRect.x, 0.0);
    EXPECT_EQ(m.markRect.height, 0.0);
    EXPECT_EQ(m.markRectImage.x, 0);
    EXPECT_EQ(m.detectedMarkRect.width, 0.0);
    EXPECT_EQ(m.detectedMarkRectImage.height, 0);
    EXPECT_EQ(m.advanceX, 3.0);
    EXPECT_EQ(m.fractionBits, 8u);
    EXPECT_EQ(xoc_charMetrics_makeBlank(nullptr), xstd_eBadArgument);
    EXPECT_EQ(xoc_charKey_construct(nullptr), xstd_eBadArgument);
}
