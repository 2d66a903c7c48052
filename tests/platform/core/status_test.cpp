#include "platform/core/status.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/core/exception.h"
#include "tests/support/expect_error.h"

namespace {

class Claimed : public xcExceptionWithString {
    XC_EXCEPTION_BODY(Claimed, xcExceptionWithString, 0x7FFF0001)
};
XC_EXCEPTION_DEFINE(Claimed, xcExceptionWithString, "Claimed")

// Removes the test's converters whatever the outcome.
struct Unregister {
    std::vector<long> ids;
    ~Unregister() {
        for (long id : ids) xfUnregisterExceptionConverter(id);
    }
};

}  // namespace

TEST(StatusConverter, ClaimsItsStatusesOthersFallThrough) {
    Unregister guard{{9159, 9160}};
    std::atomic<int> calls{0};
    xfRegisterExceptionConverter(9159, [&](std::int32_t s) {
        ++calls;
        if (s == static_cast<std::int32_t>(0x800013ECu)) throw Claimed(L"threshold");
    });
    EXPECT_EQ(xfThrowExceptionOnFailure(0), 0);
    EXPECT_EQ(xfThrowExceptionOnFailure(17), 17);
    EXPECT_EQ(xfThrowExceptionOnFailure(0x7FFFFFFFL), 0x7FFFFFFF);
    EXPECT_EQ(calls, 0);  // successes never reach a converter

    // The same status given as its unsigned pattern and as the signed value.
    EXPECT_THROW(xfThrowExceptionOnFailure(0x800013ECL), Claimed);
    EXPECT_THROW(xfThrowExceptionOnFailure(-2147478548L), Claimed);

    if (const auto e =
            expectError<xcStatusError>([&] { xfThrowExceptionOnFailure(0x800013EDL); })) {
        EXPECT_EQ(e->status(), static_cast<std::int32_t>(0x800013EDu));
        EXPECT_NE(e->message().find(L"0x800013ED"), std::wstring::npos) << e->message().c_str();
    }
    EXPECT_THROW(xfThrowExceptionOnFailure(-1), xcStatusError);

    // A second converter sees what the first does not claim; re-registering replaces.
    xfRegisterExceptionConverter(9160, [](std::int32_t s) {
        if (s == -1) throw xcBadArgument(L"minus one");
    });
    EXPECT_THROW(xfThrowExceptionOnFailure(-1), xcBadArgument);
    xfRegisterExceptionConverter(9160, [](std::int32_t) {});
    EXPECT_THROW(xfThrowExceptionOnFailure(-1), xcStatusError);

    EXPECT_TRUE(xfUnregisterExceptionConverter(9159));
    EXPECT_FALSE(xfUnregisterExceptionConverter(9159));
    EXPECT_THROW(xfThrowExceptionOnFailure(0x800013ECL), xcStatusError);
}

TEST(StatusConverter, RejectsNonStatusesAndEmptyConverters) {
    EXPECT_THROW(xfThrowExceptionOnFailure(0x100000000L), xcBadArgument);
    EXPECT_THROW(xfThrowExceptionOnFailure(-2147483649L), xcBadArgument);
    EXPECT_THROW(xfThrowExceptionOnFailure(0xFFFFFFFFL), xcStatusError);  // the pattern of -1
    EXPECT_THROW(xfRegisterExceptionConverter(9161, xcExceptionConverter()), xcBadArgument);
    EXPECT_FALSE(xfUnregisterExceptionConverter(9161));
}

TEST(StatusConverter, ConcurrentRegistrationAndConversion) {
    Unregister guard;
    for (long id = 9200; id < 9204; ++id) guard.ids.push_back(id);
    std::vector<std::thread> threads;
    std::atomic<int> claimed{0};
    for (long id = 9200; id < 9204; ++id) {
        threads.emplace_back([id, &claimed] {
            for (int i = 0; i < 200; ++i) {
                xfRegisterExceptionConverter(id, [id](std::int32_t s) {
                    if (s == -static_cast<std::int32_t>(id)) throw Claimed();
                });
                try {
                    xfThrowExceptionOnFailure(-id);
                } catch (const Claimed&) {
                    ++claimed;
                }
            }
        });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(claimed, 800);
}
