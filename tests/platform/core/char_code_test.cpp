#include "platform/core/char_code.h"

#include <gtest/gtest.h>

#include "platform/core/exception.h"
#include "tests/support/expect_error.h"

TEST(CharCode, Representability) {
    EXPECT_TRUE(xcCharCode(0x41).isRepresentableAsChar());
    EXPECT_TRUE(xcCharCode(0xFF).isRepresentableAsChar());
    EXPECT_FALSE(xcCharCode(0x100).isRepresentableAsChar());
    EXPECT_EQ(xcCharCode(0x41).getAsChar(), 'A');
    EXPECT_EQ(static_cast<unsigned char>(xcCharCode(0xE9).getAsChar()), 0xE9);
    EXPECT_THROW(xcCharCode(0x20AC).getAsChar(), xcCharCodeDefs::NotRepresentable);

    EXPECT_TRUE(xcCharCode(0xF800).isRepresentableAsWChar());  // private use: a character
    EXPECT_TRUE(xcCharCode(0x10FFFF).isRepresentableAsWChar());
    EXPECT_FALSE(xcCharCode(0x110000).isRepresentableAsWChar());
    EXPECT_FALSE(xcCharCode(0xD800).isRepresentableAsWChar());
    EXPECT_FALSE(xcCharCode(0xDFFF).isRepresentableAsTChar());
    EXPECT_EQ(xcCharCode(0x1F600).getAsWChar(), L'\U0001F600');
    EXPECT_EQ(xcCharCode(0x20AC).getAsTChar(), L'\u20AC');
    expectError<xcCharCodeDefs::NotRepresentable>(
        [&] { xcCharCode(0x110000).getAsTChar(); },
        L"Character code 0x110000 cannot be represented as TChar");
}

TEST(CharCode, UnicodeWhiteSpace) {
    for (std::uint32_t c : {0x09u, 0x0Au, 0x0Bu, 0x0Cu, 0x0Du, 0x20u, 0x85u, 0xA0u, 0x1680u,
                            0x2000u, 0x200Au, 0x2028u, 0x2029u, 0x202Fu, 0x205Fu, 0x3000u})
        EXPECT_TRUE(xcCharCode(c).isSpace()) << std::hex << c;
    for (std::uint32_t c :
         {0x00u, 0x08u, 0x0Eu, 0x1Fu, 0x41u, 0x84u, 0x200Bu, 0xFEFFu, 0xF800u, 0x110020u})
        EXPECT_FALSE(xcCharCode(c).isSpace()) << std::hex << c;
}

TEST(CharCode, Utf16SurrogatePairs) {
    char16_t u[2];
    ASSERT_EQ(xcCharCode(0x1F600).toUtf16(u), 2);
    EXPECT_EQ(u[0], 0xD83D);
    EXPECT_EQ(u[1], 0xDE00);
    ASSERT_EQ(xcCharCode(0x10FFFF).toUtf16(u), 2);
    EXPECT_EQ(u[0], 0xDBFF);
    EXPECT_EQ(u[1], 0xDFFF);
    ASSERT_EQ(xcCharCode(0x10000).toUtf16(u), 2);
    EXPECT_EQ(u[0], 0xD800);
    EXPECT_EQ(u[1], 0xDC00);
    ASSERT_EQ(xcCharCode(0xFFFF).toUtf16(u), 1);
    EXPECT_EQ(u[0], 0xFFFF);
    ASSERT_EQ(xcCharCode(0x110000).toUtf16(u), 1);
    EXPECT_EQ(u[0], 0xFFFD);

    const std::wstring w = L"A\u00E9\U0001F600z";
    const std::u16string s = xfToUtf16(w);
    EXPECT_EQ(s, u"A\u00E9\U0001F600z");
    EXPECT_EQ(s.size(), 5u);
    EXPECT_EQ(xfFromUtf16(s), w);

    // Unpaired surrogates survive both ways; a reversed pair is two lone units.
    const std::u16string odd = {0xDC00, u'x', 0xD800, 0xDE00, 0xD800};
    const std::wstring wodd = xfFromUtf16(odd);
    EXPECT_EQ(wodd, (std::wstring{wchar_t(0xDC00), L'x', wchar_t(0x10200), wchar_t(0xD800)}));
    EXPECT_EQ(xfToUtf16(wodd), odd);
}

TEST(CharCode, Utf8RoundTrip) {
    const std::wstring w = L"\u00E9t\u00E9 \U0001F600";
    EXPECT_EQ(xfToUtf8(w), "\xC3\xA9t\xC3\xA9 \xF0\x9F\x98\x80");
    EXPECT_EQ(xfFromUtf8(xfToUtf8(w)), w);
    EXPECT_EQ(xfFromUtf8("a\xC3"), L"a\uFFFD");
}
