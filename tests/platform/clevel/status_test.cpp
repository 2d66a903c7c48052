#include "platform/clevel/status.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/core/exception.h"
#include "platform/core/status.h"
#include "tests/support/expect_error.h"

TEST(ClevelStatus, FailuresAreNegativeAndReachTheCoreConverterUnchanged) {
    EXPECT_EQ(xoc_eThresholdRange, -2147478548);  // the 32-bit pattern 0x800013EC
    EXPECT_EQ(static_cast<std::uint32_t>(xoc_eThresholdAndInvertNotSpecified), 0x800013EDu);
    EXPECT_EQ(static_cast<std::uint32_t>(xoc_eRectNotSpecified), 0x800013EFu);
    EXPECT_EQ(static_cast<std::uint32_t>(xoc_eFixedPointOverflow), 0x800013F0u);
    EXPECT_EQ(static_cast<std::uint32_t>(xoc_eIntegerOverflow), 0x800013F1u);
    EXPECT_FALSE(xstd_failed(xstd_eSuccess));
    for (xstd_status s : {xstd_eBadArgument, xstd_eOutOfMemory, xstd_eNotRepresentable,
                          xoc_eThresholdRange, xoc_eThresholdAndInvertNotSpecified,
                          xoc_eRectNotSpecified, xoc_eFixedPointOverflow, xoc_eIntegerOverflow}) {
        SCOPED_TRACE(s);
        EXPECT_TRUE(xstd_failed(s));
        EXPECT_STRNE(xstd_statusText(s), "Unknown status");
        // With no converter claiming it, the core library reports the status itself.
        if (const auto e = expectError<xcStatusError>([&] { xfThrowExceptionOnFailure(s); })) {
            EXPECT_EQ(e->status(), s);
        }
    }
    EXPECT_EQ(xfThrowExceptionOnFailure(xstd_eSuccess), 0);
    EXPECT_STREQ(xstd_statusText(xoc_eFixedPointOverflow),
                 "Value overflows fixed point value range");
    EXPECT_STREQ(xstd_statusText(-5), "Unknown status");
}
