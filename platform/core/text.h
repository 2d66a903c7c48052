// Number-to-text functions of the core library, used by every report and diagnostics text.
//
// All functions return wide strings (one code point per unit), so results concatenate
// directly with wide literals: L"numChars = " + xfStr(n) + L"\n". For a narrow (UTF-8) form,
// pass the result to xfToUtf8 (char_code.h); every character these functions produce is ASCII.
//
// Formats:
// - xfStr(integer): decimal, a leading '-' for negatives, no padding or grouping. Every integer
//   type is printed as a number, character types included (xfStr('A') is "65").
// - xfStr(bool): "true" or "false".
// - xfStr(double): 6 significant digits in the shortest of fixed and exponent form, trailing
//   zeros dropped, as a default-formatted stream prints it: 0.1 -> "0.1", 1234567 ->
//   "1.23457e+06", 1e-5 -> "1e-05". Not-a-number prints "nan", infinities "inf" / "-inf".
// - xfDbl(v, d, false): fixed notation with exactly d decimals ("3.142" for pi and d = 3).
//   xfDbl(v, d, true): exponent notation with d decimals in the mantissa ("3.142e+00").
//   Rounding is to nearest from the exact binary value of v (0.125 -> "0.12" for d = 2, since
//   0.125 is exact and ties go to even; 1.0005 -> "1.000" for d = 3, since its binary value
//   is just below 1.0005).
// - xfHex(v, d): upper-case hexadecimal digits, no prefix, zero-padded to at least d digits
//   (never truncated: a value needing more digits prints them all). A negative value is shown
//   as its two's complement on 32 bits when it fits in a signed 32-bit integer (-1 -> "FFFFFFFF"
//   for d = 8, and a key widened with its sign to 64 bits prints like the 32-bit key), and on
//   64 bits otherwise.
// In every form a value that rounds to zero prints without a minus sign ("0", "0.000").
//
// Errors: xfDbl throws xcBadArgument for d outside 0 .. 100; xfHex for d outside 0 .. 16.
#pragma once

#include <concepts>
#include <string>
#include <type_traits>

std::wstring xf_StrSigned(long long v);
std::wstring xf_StrUnsigned(unsigned long long v);
std::wstring xf_HexSigned(long long v, int digits);
std::wstring xf_HexUnsigned(unsigned long long v, int digits);

// Decimal text of any integer (not bool, which has its own overload).
template <std::integral T>
requires(!std::same_as<T, bool>) std::wstring xfStr(T v) {
    if constexpr (std::is_signed_v<T>)
        return xf_StrSigned(static_cast<long long>(v));
    else
        return xf_StrUnsigned(static_cast<unsigned long long>(v));
}

// "true" or "false".
std::wstring xfStr(bool v);

// Six significant digits, as described above.
std::wstring xfStr(double v);
inline std::wstring xfStr(float v) { return xfStr(static_cast<double>(v)); }

// Fixed (scientific false) or exponent (scientific true) notation with `digits` decimals.
std::wstring xfDbl(double v, int digits, bool scientific);

// Upper-case hexadecimal, at least `digits` digits, as described above.
template <std::integral T>
requires(!std::same_as<T, bool>) std::wstring xfHex(T v, int digits) {
    if constexpr (std::is_signed_v<T>)
        return xf_HexSigned(static_cast<long long>(v), digits);
    else
        return xf_HexUnsigned(static_cast<unsigned long long>(v), digits);
}
