#include "platform/clevel/assert.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/core/exception.h"
#include "tests/support/expect_error.h"

namespace {

// A function with a broken precondition, reported on a known line.
int checkedHalf(int v) {
    if (v % 2 != 0) xstd_assert_(__LINE__);
    return v / 2;
}
const long kCheckedHalfLine = __LINE__ - 3;

}  // namespace

TEST(XstdAssert, ThrowsAssertionFailureNamingFileAndLine) {
    EXPECT_EQ(checkedHalf(8), 4);
    if (const auto e = expectError<xcAssertionFailure>([&] { checkedHalf(7); })) {
        const std::string what = e->what();
        EXPECT_EQ(what.rfind("Assertion failed at ", 0), 0u) << what;
        EXPECT_NE(what.find("assert_test.cpp:" + std::to_string(kCheckedHalfLine)),
                  std::string::npos)
            << what;
        EXPECT_EQ(e->errorNumber(), 0x10000105);
    }
}

TEST(XstdAssert, MacroAddsTheConditionText) {
    const int size = 3;
    XSTD_ASSERT(size == 3);  // holds: nothing happens
    const long line = __LINE__ + 1;
    if (const auto e = expectError<xcAssertionFailure>([&] { XSTD_ASSERT(size > 4); })) {
        const std::string what = e->what();
        EXPECT_NE(what.find("assert_test.cpp:" + std::to_string(line) + ": size > 4"),
                  std::string::npos)
            << what;
    }
}
