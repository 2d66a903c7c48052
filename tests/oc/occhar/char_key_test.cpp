#include "oc/occhar/char_key.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "occhar_test_util.h"
#include "tests/support/expect_error.h"

using namespace occhar_test;

TEST(OCCharKey, DefaultKeyIsOpenAndMatchesNothing) {
    const xcOCCharKey k;
    EXPECT_EQ(k.characterCode(), 0xF800u);
    EXPECT_EQ(k.instance(), -1);
    EXPECT_EQ(k.variant(), -1);
    EXPECT_EQ(k.fontID(), -1);
    EXPECT_FALSE(k.isCharacterCodeKnown());
    EXPECT_FALSE(k.isInstanceSpecified());
    EXPECT_FALSE(k.isVariantSpecified());
    EXPECT_FALSE(k.isFontIDSpecified());
    EXPECT_FALSE(k.isMatch(k));
    EXPECT_FALSE(k.isMatch(xcOCCharKey(65)));
    EXPECT_TRUE(k.equalCharacterCode(xcOCCharKey()));
    EXPECT_TRUE(k.equalCharacterCode(0xF800ul));
    // Code 0 is known, and every value but -1 is specified.
    const xcOCCharKey z(0, -2, 0, -7);
    EXPECT_TRUE(z.isCharacterCodeKnown());
    EXPECT_TRUE(z.isInstanceSpecified() && z.isVariantSpecified() && z.isFontIDSpecified());
    // The argument order is code, instance, variant, font; reset opens everything again.
    xcOCCharKey a(66, 1, 2, 3);
    EXPECT_EQ(a.instance(), 1);
    EXPECT_EQ(a.variant(), 2);
    EXPECT_EQ(a.fontID(), 3);
    a.reset();
    EXPECT_EQ(a, xcOCCharKey());
}

TEST(OCCharKey, MatchingUsesOpenFieldsAsWildCards) {
    EXPECT_TRUE(xcOCCharKey(65).isMatch(xcOCCharKey(65, 3, 0, 7)));
    EXPECT_TRUE(xcOCCharKey(65, 3, 0, 7).isMatch(xcOCCharKey(65)));
    EXPECT_FALSE(xcOCCharKey(65, 2).isMatch(xcOCCharKey(65, 3)));
    EXPECT_FALSE(xcOCCharKey(65).isMatch(xcOCCharKey(66)));
    EXPECT_FALSE(xcOCCharKey(65, -1, 1).isMatch(xcOCCharKey(65, -1, 2)));
    EXPECT_FALSE(xcOCCharKey(65, -1, -1, 1).isMatch(xcOCCharKey(65, -1, -1, 2)));
    EXPECT_TRUE(xcOCCharKey(65, 3, -1, 2).isMatch(xcOCCharKey(65, -1, 9, 2)));
    // -2 is a specified value, not a wild card.
    EXPECT_FALSE(xcOCCharKey(65, -2).isMatch(xcOCCharKey(65, 0)));
    // An unknown code matches nothing, even with equal fields.
    EXPECT_FALSE(xcOCCharKey(0xF800, 1, 1, 1).isMatch(xcOCCharKey(0xF800, 1, 1, 1)));
    // Symmetry over a grid of values.
    const long vals[] = {-2, -1, 0, 3};
    for (long i1 : vals)
        for (long i2 : vals)
            for (long f1 : vals)
                for (long f2 : vals) {
                    const xcOCCharKey a(70, i1, 0, f1), b(70, i2, -1, f2);
                    EXPECT_EQ(a.isMatch(b), b.isMatch(a));
                    EXPECT_EQ(a.isMatch(b), (i1 == i2 || i1 == -1 || i2 == -1) &&
                                                (f1 == f2 || f1 == -1 || f2 == -1));
                }
}

TEST(OCCharKey, OrderSortsOpenValuesLastAndFontBeforeInstance) {
    EXPECT_LT(xcOCCharKey(65, 0, 0, 0), xcOCCharKey(65, -1, 0, 0));
    EXPECT_FALSE(xcOCCharKey(65, -1, 0, 0) < xcOCCharKey(65, 0, 0, 0));
    EXPECT_LT(xcOCCharKey(0x10FFFF), xcOCCharKey(0xF800));
    EXPECT_LT(xcOCCharKey(65, 5, 0, 1), xcOCCharKey(65, 0, 0, 2));
    EXPECT_LT(xcOCCharKey(65, 0, 9, 1), xcOCCharKey(65, 1, 0, 1));   // instance before variant
    EXPECT_LT(xcOCCharKey(65, 0, -2, 1), xcOCCharKey(65, 0, 3, 1));  // signed
    EXPECT_LT(xcOCCharKey(65, 0, 3, 1), xcOCCharKey(65, 0, -1, 1));
    EXPECT_LT(xcOCCharKey(65), xcOCCharKey(0x80000000ul));  // codes compare unsigned
    EXPECT_FALSE(xcOCCharKey(65, 1, 2, 3) < xcOCCharKey(65, 1, 2, 3));

    // A strict weak order whose equivalence is equality, over every combination of a few
    // values (brute-force transitivity).
    std::vector<xcOCCharKey> keys;
    for (unsigned long c : {0ul, 65ul, 0xF800ul, 0xFFFFFFFFul})
        for (long i : {-2l, -1l, 4l})
            for (long v : {-1l, 0l})
                for (long f : {-1l, 1l, 2l}) keys.emplace_back(c, i, v, f);
    for (const auto& a : keys)
        for (const auto& b : keys) {
            EXPECT_FALSE(a < b && b < a);
            EXPECT_EQ(!(a < b) && !(b < a), a == b);
            for (const auto& c : keys) {
                if (a < b && b < c) {
                    EXPECT_LT(a, c);
                }
            }
        }
    std::vector<xcOCCharKey> sorted = keys;
    std::reverse(sorted.begin(), sorted.end());
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted.back(), xcOCCharKey(0xF800, -1, -1, -1));
    EXPECT_EQ(sorted.front(), xcOCCharKey(0, -2, 0, 1));
}

TEST(OCCharKey, CharacterConversionsAreTheCharCodes) {
    const xcOCCharKey a(65);
    EXPECT_TRUE(a.isRepresentableAsChar());
    EXPECT_EQ(static_cast<char>(a), 'A');
    EXPECT_EQ(static_cast<wchar_t>(xcOCCharKey(0x1F600)), L'\U0001F600');
    EXPECT_FALSE(xcOCCharKey(0x100).isRepresentableAsChar());
    EXPECT_TRUE(xcOCCharKey(0x100).isRepresentableAsWChar());
    EXPECT_FALSE(xcOCCharKey(0xD800).isRepresentableAsTChar());
    EXPECT_THROW(static_cast<void>(static_cast<char>(xcOCCharKey(0x100))),
                 xcCharCodeDefs::NotRepresentable);
    EXPECT_THROW(static_cast<void>(static_cast<wchar_t>(xcOCCharKey(0x110000))),
                 xcCharCodeDefs::NotRepresentable);
    EXPECT_TRUE(xcOCCharKey(0x20).isSpace());
    EXPECT_TRUE(xcOCCharKey(0x3000).isSpace());
    EXPECT_FALSE(xcOCCharKey(65).isSpace());
}

TEST(OCCharKey, FieldsAre32BitAndCopyToTheRecordOneToOne) {
    xcOCCharKey k;
    k.characterCode(0x1'0000'0041ul);  // only the low 32 bits are kept
    k.instance(-5);
    k.variant(0x1'0000'0002l);
    k.fontID(2147483647);
    EXPECT_EQ(k.characterCode(), 0x41u);
    EXPECT_EQ(k.variant(), 2);

    xoc_charKey rec{1, 2, 3, 4};
    k.getKey(rec);
    unsigned char bytes[16];
    std::memcpy(bytes, &rec, 16);
    const unsigned char expected[16] = {0x41, 0, 0, 0, 0xFB, 0xFF, 0xFF, 0xFF,
                                        2,    0, 0, 0, 0xFF, 0xFF, 0xFF, 0x7F};
    EXPECT_EQ(std::memcmp(bytes, expected, 16), 0);

    const xoc_charKey other{0xF800, 7, -1, -9};
    xcOCCharKey back(1, 1, 1, 1);
    back.setKey(other);
    EXPECT_EQ(back, xcOCCharKey(0xF800, 7, -1, -9));
}

TEST(OCCharKey, ArchiveWritesVersion1AndReadsVersion0) {
    xcOCCharKey k(0x10FFFF, 3, -2, 9);
    const Bytes stream = store(k);
    const Bytes expected = payload(rawStream([](xcArchive& ar) {
        ar.put8(1);
        ar.put32(0x10FFFF);
        ar.put32(3);
        ar.put32(9);  // the font comes before the variant
        ar.put32(static_cast<std::uint32_t>(-2));
    }));
    EXPECT_EQ(payload(stream), expected);
    xcOCCharKey back;
    load(stream, back);
    EXPECT_EQ(back, k);

    // Version 0 has no variant: it loads as -1.
    const Bytes v0 = rawStream([](xcArchive& ar) {
        ar.put8(0);
        ar.put32(66);
        ar.put32(4);
        ar.put32(5);
    });
    xcOCCharKey old(1, 1, 1, 1);
    load(v0, old);
    EXPECT_EQ(old, xcOCCharKey(66, 4, -1, 5));

    // Version 2 is unknown.
    const Bytes v2 = rawStream([](xcArchive& ar) {
        ar.put8(2);
        for (int i = 0; i < 4; ++i) ar.put32(0);
    });
    xcArchive in{std::span<const unsigned char>(v2)};
    xcOCCharKey target(7);
    if (const auto e = expectError<xcArchive::UnknownVersion>(
            [&] { in || target; }, L"Unknown version of oc/occhar (136) in the archive")) {
        EXPECT_EQ(e->className(), L"oc/occhar");
        EXPECT_EQ(e->number(), 136);
    }
}

TEST(OCCharKey, ArchiveOfAVectorAndThroughAPointer) {
    std::vector<xcOCCharKey> keys{xcOCCharKey(65, 0), xcOCCharKey(65, 0), xcOCCharKey()};
    xcArchive out;
    out || keys;
    xcOCCharKey* p = &keys[1];
    out || p;
    xcArchive in{std::span<const unsigned char>(out.bytes())};
    std::vector<xcOCCharKey> back;
    in || back;
    xcOCCharKey* q = nullptr;
    in || q;
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(back, keys);  // equal keys at distinct addresses are each written
    EXPECT_EQ(*q, keys[1]);
    delete q;
}
