#include "platform/core/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "platform/core/exception.h"

TEST(Text, IntegersOfEveryWidth) {
    EXPECT_EQ(xfStr(0), L"0");
    EXPECT_EQ(xfStr(-1), L"-1");
    EXPECT_EQ(xfStr(63488UL), L"63488");
    EXPECT_EQ(xfStr(static_cast<std::int8_t>(-128)), L"-128");
    EXPECT_EQ(xfStr(static_cast<unsigned char>(255)), L"255");
    EXPECT_EQ(xfStr(static_cast<short>(-32768)), L"-32768");
    EXPECT_EQ(xfStr(std::numeric_limits<std::int32_t>::min()), L"-2147483648");
    EXPECT_EQ(xfStr(std::numeric_limits<std::uint32_t>::max()), L"4294967295");
    EXPECT_EQ(xfStr(std::numeric_limits<long long>::min()), L"-9223372036854775808");
    EXPECT_EQ(xfStr(std::numeric_limits<unsigned long long>::max()), L"18446744073709551615");
    EXPECT_EQ(xfStr('A'), L"65");
    EXPECT_EQ(xfStr(true), L"true");
    EXPECT_EQ(xfStr(false), L"false");
    EXPECT_EQ(L"n = " + xfStr(42L) + L"\n", L"n = 42\n");
}

TEST(Text, DoublesWithSixSignificantDigits) {
    EXPECT_EQ(xfStr(0.0), L"0");
    EXPECT_EQ(xfStr(-0.0), L"0");
    EXPECT_EQ(xfStr(0.1), L"0.1");
    EXPECT_EQ(xfStr(-2.5), L"-2.5");
    EXPECT_EQ(xfStr(3.14159265), L"3.14159");
    EXPECT_EQ(xfStr(123456.0), L"123456");
    EXPECT_EQ(xfStr(1234567.0), L"1.23457e+06");
    EXPECT_EQ(xfStr(0.0001), L"0.0001");
    EXPECT_EQ(xfStr(0.00001), L"1e-05");
    EXPECT_EQ(xfStr(-1e-7), L"-1e-07");
    EXPECT_EQ(xfStr(2.0000004), L"2");
    EXPECT_EQ(xfStr(99999.95), L"99999.9");  // binary value is just below ...95
    EXPECT_EQ(xfStr(999999.5), L"1e+06");
    EXPECT_EQ(xfStr(1.5f), L"1.5");
    EXPECT_EQ(xfStr(std::numeric_limits<double>::infinity()), L"inf");
    EXPECT_EQ(xfStr(-std::numeric_limits<double>::infinity()), L"-inf");
    EXPECT_EQ(xfStr(std::nan("")), L"nan");
}

TEST(Text, FixedAndExponentDecimals) {
    EXPECT_EQ(xfDbl(3.14159265, 3, false), L"3.142");
    EXPECT_EQ(xfDbl(2.0, 3, false), L"2.000");
    EXPECT_EQ(xfDbl(-0.5, 3, false), L"-0.500");
    EXPECT_EQ(xfDbl(-0.0004, 3, false), L"0.000");  // rounds to zero: no sign
    EXPECT_EQ(xfDbl(-0.0005001, 3, false), L"-0.001");
    EXPECT_EQ(xfDbl(0.125, 2, false), L"0.12");  // exact tie goes to even
    EXPECT_EQ(xfDbl(0.375, 2, false), L"0.38");
    EXPECT_EQ(xfDbl(1.0005, 3, false), L"1.000");  // binary value below the tie
    EXPECT_EQ(xfDbl(2.5, 0, false), L"2");
    EXPECT_EQ(xfDbl(1e6, 1, false), L"1000000.0");
    EXPECT_EQ(xfDbl(1234.5678, 3, true), L"1.235e+03");
    EXPECT_EQ(xfDbl(-0.00012, 1, true), L"-1.2e-04");
    EXPECT_EQ(xfDbl(1e300, 100, false).size(), 301u + 1u + 100u);
    EXPECT_THROW(xfDbl(1.0, -1, false), xcBadArgument);
    EXPECT_THROW(xfDbl(1.0, 101, false), xcBadArgument);
}

TEST(Text, HexDigitsAndNegatives) {
    EXPECT_EQ(xfHex(0, 8), L"00000000");
    EXPECT_EQ(xfHex(255, 2), L"FF");
    EXPECT_EQ(xfHex(0xABCDEF, 4), L"ABCDEF");  // never truncated
    EXPECT_EQ(xfHex(65, 8), L"00000041");
    EXPECT_EQ(xfHex(-1, 8), L"FFFFFFFF");
    EXPECT_EQ(xfHex(static_cast<long long>(-1), 8), L"FFFFFFFF");  // key widened to 64 bits
    EXPECT_EQ(xfHex(static_cast<long long>(-2), 4), L"FFFFFFFE");
    EXPECT_EQ(xfHex(std::numeric_limits<std::int32_t>::min(), 8), L"80000000");
    EXPECT_EQ(xfHex(-2147483649LL, 8), L"FFFFFFFF7FFFFFFF");
    EXPECT_EQ(xfHex(0xFFFFFFFFFFFFFFFFULL, 8), L"FFFFFFFFFFFFFFFF");
    EXPECT_EQ(xfHex(0x800013ECu, 8), L"800013EC");
    EXPECT_EQ(xfHex(static_cast<unsigned char>(10), 0), L"A");
    EXPECT_EQ(xfHex(0, 0), L"0");
    EXPECT_EQ(xfHex(7, 16), L"0000000000000007");
    EXPECT_THROW(xfHex(1, 17), xcBadArgument);
    EXPECT_THROW(xfHex(1, -1), xcBadArgument);
}
