// Zero-terminated strings of the C-level records: cloning, freeing, measuring and decoding.
//
// The character record keeps two kinds of strings:
// - wide strings: 16-bit units (char16_t) holding UTF-16. The platform's wchar_t is 32-bit (one
//   code point per unit), so cloning a wchar_t string into a record encodes each code above
//   0xFFFF as a surrogate pair, and xfFromRecordStringW decodes the pairs again. Encoding and
//   decoding are the core library's (xcCharCode::toUtf16, xfFromUtf16): a lone surrogate is
//   one unit as it stands, so any 16-bit string survives decoding and cloning back;
// - 32-bit strings: unsigned 32-bit character codes, copied as they are.
// Clones are allocated by this layer and released with xstd_string_freeW / xstd_string_free32
// (the record's destruction does that for its own strings). A null pointer stands for "no
// string"; it is distinct from an empty string.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/clevel/status.h"

// Replaces *destination with a UTF-16 clone of the zero-terminated wchar_t string `source`
// (a null source gives a null *destination). The previous *destination is freed on success.
// Fails, leaving *destination unchanged, with xstd_eBadArgument when destination is null,
// xstd_eNotRepresentable when a code is above 0x10FFFF (UTF-16 has no form for it), and
// xstd_eOutOfMemory when the clone cannot be allocated.
xstd_status xstd_string_cloneW(const wchar_t* source, char16_t** destination);

// Replaces *destination with a clone of the zero-terminated string of 32-bit codes `source`
// (a null source gives a null *destination); codes are copied unchecked. The previous
// *destination is freed on success. Fails, leaving *destination unchanged, with
// xstd_eBadArgument when destination is null and xstd_eOutOfMemory when allocation fails.
xstd_status xstd_string_clone32(const std::uint32_t* source, std::uint32_t** destination);

// Release a string cloned by this layer; null is accepted.
void xstd_string_freeW(char16_t* s);
void xstd_string_free32(std::uint32_t* s);

// Number of units before the terminating zero; 0 for null.
std::size_t xstd_string_lengthW(const char16_t* s);
std::size_t xstd_string_length32(const std::uint32_t* s);

// The wide string of a record's zero-terminated UTF-16 string: one code point per wchar_t, a
// surrogate pair becoming one code above 0xFFFF and an unpaired surrogate kept as its own unit
// (xfFromUtf16). Null gives an empty string. Throws std::bad_alloc only.
std::wstring xfFromRecordStringW(const char16_t* s);
