#include "platform/clevel/string_clone.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

std::vector<unsigned> unitsOf(const char16_t* s) {
    std::vector<unsigned> v;
    for (std::size_t i = 0; i < xstd_string_lengthW(s); ++i) v.push_back(s[i]);
    return v;
}

}  // namespace

TEST(StringClone, WideStringsBecomeUtf16WithSurrogatePairs) {
    const std::wstring text = L"A\U0001F600z\U00010000\U0010FFFF\uFFFF\u00E9";
    char16_t* clone = nullptr;
    ASSERT_EQ(xstd_string_cloneW(text.c_str(), &clone), xstd_eSuccess);
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(unitsOf(clone), (std::vector<unsigned>{'A', 0xD83D, 0xDE00, 'z', 0xD800, 0xDC00,
                                                     0xDBFF, 0xDFFF, 0xFFFF, 0xE9}));
    EXPECT_EQ(clone[10], 0);
    EXPECT_EQ(xfFromRecordStringW(clone), text);
    xstd_string_freeW(clone);
}

TEST(StringClone, UnencodableCodesFailAndKeepTheOldString) {
    char16_t* clone = nullptr;
    ASSERT_EQ(xstd_string_cloneW(L"old", &clone), xstd_eSuccess);
    char16_t* const before = clone;
    const wchar_t tooLarge[] = {L'a', static_cast<wchar_t>(0x110000), 0};
    EXPECT_EQ(xstd_string_cloneW(tooLarge, &clone), xstd_eNotRepresentable);
    EXPECT_EQ(clone, before);
    EXPECT_EQ(xfFromRecordStringW(clone), L"old");
    EXPECT_EQ(xstd_string_cloneW(L"x", nullptr), xstd_eBadArgument);
    // Replacing frees the old clone; a null source gives a null string.
    ASSERT_EQ(xstd_string_cloneW(L"new", &clone), xstd_eSuccess);
    EXPECT_EQ(xfFromRecordStringW(clone), L"new");
    ASSERT_EQ(xstd_string_cloneW(nullptr, &clone), xstd_eSuccess);
    EXPECT_EQ(clone, nullptr);
    ASSERT_EQ(xstd_string_cloneW(L"", &clone), xstd_eSuccess);
    ASSERT_NE(clone, nullptr);  // empty is not the same as no string
    EXPECT_EQ(clone[0], 0);
    xstd_string_freeW(clone);
}

TEST(StringClone, UnpairedSurrogatesSurviveDecodingAndCloningBack) {
    const char16_t units[] = {0xD83D, 'a', 0xDE00, 0xD83D, 0xDE00, 'b', 0xDBFF, 0};
    const std::wstring wide = xfFromRecordStringW(units);
    const wchar_t expected[] = {0xD83D, L'a', 0xDE00, 0x1F600, L'b', 0xDBFF, 0};
    EXPECT_EQ(wide, std::wstring(expected));
    char16_t* clone = nullptr;
    ASSERT_EQ(xstd_string_cloneW(wide.c_str(), &clone), xstd_eSuccess);
    ASSERT_EQ(xstd_string_lengthW(clone), 7u);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(clone[i], units[i]) << i;
    xstd_string_freeW(clone);
    EXPECT_EQ(xfFromRecordStringW(nullptr), L"");
    EXPECT_EQ(xstd_string_lengthW(nullptr), 0u);
}

TEST(StringClone, ThirtyTwoBitStringsAreCopiedUnchecked) {
    const std::uint32_t codes[] = {65, 0x1F600, 0x110000, 0xD800, 0xFFFFFFFFu, 0};
    std::uint32_t* clone = nullptr;
    ASSERT_EQ(xstd_string_clone32(codes, &clone), xstd_eSuccess);
    ASSERT_NE(clone, nullptr);
    EXPECT_NE(clone, codes);
    ASSERT_EQ(xstd_string_length32(clone), 5u);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(clone[i], codes[i]) << i;
    const std::uint32_t other[] = {1, 2, 0};
    ASSERT_EQ(xstd_string_clone32(other, &clone), xstd_eSuccess);  // frees the first clone
    EXPECT_EQ(xstd_string_length32(clone), 2u);
    EXPECT_EQ(xstd_string_clone32(other, nullptr), xstd_eBadArgument);
    ASSERT_EQ(xstd_string_clone32(nullptr, &clone), xstd_eSuccess);
    EXPECT_EQ(clone, nullptr);
    EXPECT_EQ(xstd_string_length32(nullptr), 0u);
}
