// Character codes and text encodings.
//
// xcCharCode is a Unicode code point (unsigned 32-bit) with the conversions the character
// records need. Character types of this platform:
// - char holds one Latin-1 code unit: codes 0 .. 0xFF are representable, and getAsChar()
//   gives the code's low byte. (A char here is a character, not a UTF-8 byte; whole narrow
//   strings of the platform are UTF-8 and go through xfToUtf8 / xfFromUtf8.)
// - wchar_t is 32-bit, so a std::wstring holds one code point per unit. A code is
//   representable as wchar_t when it is a Unicode scalar value: at most 0x10FFFF and not a
//   surrogate (0xD800 .. 0xDFFF).
// - TChar, the platform's text character, is wchar_t, with the same rule.
// - The C records carry 16-bit strings (char16_t, UTF-16): xfToUtf16 / xfFromUtf16 encode and
//   decode surrogate pairs.
#pragma once

#include <cstdint>
#include <string>

using xcTChar = wchar_t;

class xcCharCode {
public:
    constexpr xcCharCode() = default;
    constexpr xcCharCode(std::uint32_t code) : m_code(code) {}  // NOLINT: a code is a value

    constexpr std::uint32_t value() const { return m_code; }

    // Code <= 0xFF (Latin-1).
    constexpr bool isRepresentableAsChar() const { return m_code <= 0xFF; }
    // Code <= 0x10FFFF and not a surrogate.
    constexpr bool isRepresentableAsWChar() const { return m_code <= 0x10FFFF && !isSurrogate(); }
    constexpr bool isRepresentableAsTChar() const { return isRepresentableAsWChar(); }

    // The code as each character type. Throw xcCharCodeDefs::NotRepresentable (naming the
    // code in hexadecimal) when the matching isRepresentableAs... is false.
    char getAsChar() const;
    wchar_t getAsWChar() const;
    xcTChar getAsTChar() const;

    // True for the Unicode white-space characters: U+0009 .. U+000D, U+0020, U+0085, U+00A0,
    // U+1680, U+2000 .. U+200A, U+2028, U+2029, U+202F, U+205F and U+3000.
    bool isSpace() const;

    constexpr bool isSurrogate() const { return m_code >= 0xD800 && m_code <= 0xDFFF; }
    constexpr bool isHighSurrogate() const { return m_code >= 0xD800 && m_code <= 0xDBFF; }
    constexpr bool isLowSurrogate() const { return m_code >= 0xDC00 && m_code <= 0xDFFF; }

    // Writes the UTF-16 form into out and returns the number of units (1 or 2). A code above
    // 0xFFFF becomes a surrogate pair; a code up to 0xFFFF (a lone surrogate included) is one
    // unit as it stands; a code above 0x10FFFF becomes U+FFFD.
    int toUtf16(char16_t out[2]) const;

    constexpr bool operator==(const xcCharCode&) const = default;
    constexpr auto operator<=>(const xcCharCode&) const = default;

private:
    std::uint32_t m_code = 0;
};

// Appends the UTF-8 form of one code point; a surrogate or a value above 0x10FFFF becomes
// U+FFFD.
void xfAppendUtf8(std::string& out, std::uint32_t code);
// UTF-8 form of a wide string; a unit that is not a code point (a surrogate or above
// 0x10FFFF) becomes U+FFFD.
std::string xfToUtf8(const std::wstring& s);
// Wide form of a UTF-8 string; a malformed sequence becomes U+FFFD.
std::wstring xfFromUtf8(const std::string& s);

// UTF-16 form of a wide string, each unit as xcCharCode::toUtf16 encodes it.
std::u16string xfToUtf16(const std::wstring& s);
// Wide form of a UTF-16 string: a high surrogate followed by a low one becomes one code; an
// unpaired surrogate is kept as its own unit, so any 16-bit string survives the round trip
// xfToUtf16(xfFromUtf16(s)) == s.
std::wstring xfFromUtf16(const std::u16string& s);
