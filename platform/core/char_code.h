// Character codes and text encodings.
//
// xcCharCode is a Unicode code point (unsigned 32-bit) with the conversions the character
// records need. wchar_t is 32-bit here, so a std::wstring holds one code point per unit.
// TChar is wchar_t. xfToUtf8 / xfFromUtf8 convert whole strings.
#pragma once

#include <cstdint>
#include <string>

// UTF-8 form of a wide string; a unit that is not a code point (a surrogate or above
// 0x10FFFF) becomes U+FFFD.
std::string xfToUtf8(const std::wstring& s);
// Wide form of a UTF-8 string; a malformed sequence becomes U+FFFD.
std::wstring xfFromUtf8(const std::string& s);
