#include "platform/core/text.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "platform/core/exception.h"

namespace {

// Widens ASCII printf output.
std::wstring widen(const char* s, int n) {
    std::wstring out;
    out.reserve(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) out += static_cast<wchar_t>(static_cast<unsigned char>(s[i]));
    return out;
}

// Drops the sign of a text that shows only zeros ("-0", "-0.000", "-0e+00", "-0.00e+00").
void dropNegativeZero(std::wstring& s) {
    if (s.empty() || s[0] != L'-') return;
    for (std::size_t i = 1; i < s.size(); ++i) {
        const wchar_t c = s[i];
        if (c == L'e') break;  // the exponent does not decide
        if (c >= L'1' && c <= L'9') return;
        if (c != L'0' && c != L'.') return;  // "inf", "nan"
    }
    s.erase(0, 1);
}

std::wstring formatDouble(const char* format, int digits, double v) {
    // Large enough for any double with 100 decimals in fixed notation (309 integer digits).
    char buf[512];
    const int n = std::snprintf(buf, sizeof buf, format, digits, v);
    if (n < 0 || n >= static_cast<int>(sizeof buf))
        throw xcBadArgument(L"Number too long to format");
    std::wstring s = widen(buf, n);
    dropNegativeZero(s);
    return s;
}

std::wstring hexDigits(unsigned long long v, int digits) {
    if (digits < 0 || digits > 16)
        throw xcBadArgument(L"Hexadecimal digit count must be between 0 and 16, not " +
                            xf_StrSigned(digits));
    wchar_t buf[16];
    int n = 0;
    do {
        buf[n++] = L"0123456789ABCDEF"[v & 0xF];
        v >>= 4;
    } while (v != 0);
    std::wstring s(static_cast<std::size_t>(digits > n ? digits - n : 0), L'0');
    while (n > 0) s += buf[--n];
    return s;
}

}  // namespace

std::wstring xf_StrUnsigned(unsigned long long v) {
    wchar_t buf[24];
    int n = 0;
    do {
        buf[n++] = static_cast<wchar_t>(L'0' + v % 10);
        v /= 10;
    } while (v != 0);
    std::wstring s;
    s.reserve(static_cast<std::size_t>(n));
    while (n > 0) s += buf[--n];
    return s;
}

std::wstring xf_StrSigned(long long v) {
    if (v >= 0) return xf_StrUnsigned(static_cast<unsigned long long>(v));
    // The magnitude of the most negative value is representable only unsigned.
    return L"-" + xf_StrUnsigned(0ULL - static_cast<unsigned long long>(v));
}

std::wstring xfStr(bool v) { return v ? L"true" : L"false"; }

std::wstring xfStr(double v) {
    if (std::isnan(v)) return L"nan";
    return formatDouble("%.*g", 6, v);
}

std::wstring xfDbl(double v, int digits, bool scientific) {
    if (digits < 0 || digits > 100)
        throw xcBadArgument(L"Decimal count must be between 0 and 100, not " +
                            xf_StrSigned(digits));
    if (std::isnan(v)) return L"nan";
    return formatDouble(scientific ? "%.*e" : "%.*f", digits, v);
}

std::wstring xf_HexUnsigned(unsigned long long v, int digits) { return hexDigits(v, digits); }

std::wstring xf_HexSigned(long long v, int digits) {
    if (v < 0 && v >= std::numeric_limits<std::int32_t>::min())
        return hexDigits(static_cast<std::uint32_t>(static_cast<std::int32_t>(v)), digits);
    return hexDigits(static_cast<unsigned long long>(v), digits);
}
