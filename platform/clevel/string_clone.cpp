#include "platform/clevel/string_clone.h"

#include <cstdlib>
#include <cstring>

#include "platform/core/char_code.h"

namespace {

template <class T>
std::size_t length(const T* s) {
    if (!s) return 0;
    std::size_t n = 0;
    while (s[n] != 0) ++n;
    return n;
}

// Memory for n units plus the terminating zero, or null.
template <class T>
T* allocate(std::size_t n) {
    if (n >= static_cast<std::size_t>(-1) / sizeof(T) - 1) return nullptr;
    return static_cast<T*>(std::malloc((n + 1) * sizeof(T)));
}

}  // namespace

xstd_status xstd_string_cloneW(const wchar_t* source, char16_t** destination) {
    if (!destination) return xstd_eBadArgument;
    if (!source) {
        xstd_string_freeW(*destination);
        *destination = nullptr;
        return xstd_eSuccess;
    }
    // First pass: validate and count the UTF-16 units.
    std::size_t units = 0;
    for (const wchar_t* p = source; *p != 0; ++p) {
        const auto c = static_cast<std::uint32_t>(*p);
        if (c > 0x10FFFF) return xstd_eNotRepresentable;
        units += c > 0xFFFF ? 2 : 1;
    }
    char16_t* out = allocate<char16_t>(units);
    if (!out) return xstd_eOutOfMemory;
    std::size_t k = 0;
    for (const wchar_t* p = source; *p != 0; ++p)
        k += static_cast<std::size_t>(xcCharCode(static_cast<std::uint32_t>(*p)).toUtf16(out + k));
    out[k] = 0;
    xstd_string_freeW(*destination);
    *destination = out;
    return xstd_eSuccess;
}

xstd_status xstd_string_clone32(const std::uint32_t* source, std::uint32_t** destination) {
    if (!destination) return xstd_eBadArgument;
    if (!source) {
        xstd_string_free32(*destination);
        *destination = nullptr;
        return xstd_eSuccess;
    }
    const std::size_t n = length(source);
    std::uint32_t* out = allocate<std::uint32_t>(n);
    if (!out) return xstd_eOutOfMemory;
    std::memcpy(out, source, (n + 1) * sizeof(std::uint32_t));
    xstd_string_free32(*destination);
    *destination = out;
    return xstd_eSuccess;
}

void xstd_string_freeW(char16_t* s) { std::free(s); }
void xstd_string_free32(std::uint32_t* s) { std::free(s); }

std::size_t xstd_string_lengthW(const char16_t* s) { return length(s); }
std::size_t xstd_string_length32(const std::uint32_t* s) { return length(s); }

std::wstring xfFromRecordStringW(const char16_t* s) {
    return s ? xfFromUtf16(std::u16string(s)) : std::wstring();
}
