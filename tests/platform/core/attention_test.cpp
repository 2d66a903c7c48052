#include "platform/core/attention.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

#include "platform/core/archive.h"
#include "platform/core/thread.h"
#include "platform/core/timer.h"
#include "tests/support/expect_error.h"

namespace {

using Clock = std::chrono::steady_clock;

// Busy work for about `us` microseconds (no sleeping: the loop stays on the CPU).
void work(int us) {
    const auto end = Clock::now() + std::chrono::microseconds(us);
    while (Clock::now() < end) {
    }
}

// Polls check() with `us` microseconds of work between calls until it throws; gives up (and
// fails) after `limitMs`.
template <class E>
void pollUntilThrown(int us, double limitMs = 10000.0) {
    xcTimer timer(true);
    try {
        while (timer.elapsed() < limitMs) {
            xcAttention::check();
            work(us);
        }
    } catch (const E&) {
        return;
    }
    ADD_FAILURE() << "check() did not throw within " << limitMs << " ms";
}

}  // namespace

TEST(AttentionTag, TimeoutFiresInPollingLoopNotBefore) {
    xcTimer timer(true);
    xcAttentionTag tag;
    tag.attachTimeout(0.020);
    EXPECT_TRUE(tag.hasTimeout());
    pollUntilThrown<xcTimeout::Expired>(100);
    EXPECT_GE(timer.elapsed(), 20.0);  // the timer started before the tag was attached
    EXPECT_TRUE(tag.expired());
    EXPECT_LT(tag.secondsLeft(), 0.0);
    // Still expired while attached.
    EXPECT_THROW(xcAttention::check(), xcTimeout::Expired);
    EXPECT_THROW(xcAttention::check(), xcTimeout::Expired);
}

TEST(AttentionTag, TightPollingLoopStillFires) {
    // Millions of calls per second: the clock is read only every few calls.
    xcTimer timer(true);
    xcAttentionTag tag;
    tag.attachTimeout(0.020);
    long calls = 0;
    if (const auto e = expectError<xcTimeout::Expired>(
            [&] {
                while (timer.elapsed() < 10000.0) {
                    xcAttention::check();
                    ++calls;
                }
            },
            L"Time-out of 0.02 s expired")) {
        EXPECT_GE(timer.elapsed(), 20.0);
        EXPECT_EQ(e->errorNumber(), 0x10000120);
    }
    EXPECT_GT(calls, 100);
}

TEST(AttentionTag, CustomTimeoutCarriesItsCode) {
    xcAttentionTag tag;
    tag.attachTimeoutCustom(0.0, 0x80000064);
    if (const auto e = expectError<xcTimeout::InternalExpired>(
            [&] { xcAttention::check(); }, L"Time-out of 0 s expired (code 0x80000064)")) {
        EXPECT_EQ(e->code(), 0x80000064);
        EXPECT_EQ(e->errorNumber(), 0x10000121);
        EXPECT_STREQ(e->what(), "Time-out of 0 s expired (code 0x80000064)");
    }
}

TEST(AttentionTag, NoTimeoutAfterTagIsGone) {
    {
        xcAttentionTag tag;
        tag.attachTimeout(0.0);
        EXPECT_THROW(xcAttention::check(), xcTimeout::Expired);
    }
    for (int i = 0; i < 1000; ++i) xcAttention::check();
    xcAttentionTag tag;
    tag.attachTimeout(0.0);
    tag.detachTimeout();
    EXPECT_FALSE(tag.hasTimeout());
    EXPECT_NO_THROW(xcAttention::check());
}

TEST(AttentionTag, NestedTagsEarliestDeadlineWins) {
    // Outer deadline earlier: the outer tag's kind fires inside the inner one.
    {
        xcAttentionTag outer;
        outer.attachTimeoutCustom(0.020, 7);
        xcAttentionTag inner;
        inner.attachTimeout(3600.0);
        if (const auto e = expectError<xcTimeout::InternalExpired>([&] {
                pollUntilThrown<xcTimeout::InternalExpired>(50);
                xcAttention::check();
            })) {
            EXPECT_EQ(e->code(), 7);
        }
    }
    // Inner deadline earlier: it fires as Expired; once it is gone, the outer (custom, far
    // away) one is in force again and nothing fires.
    {
        xcAttentionTag outer;
        outer.attachTimeoutCustom(3600.0, 7);
        {
            xcAttentionTag inner;
            inner.attachTimeout(0.020);
            pollUntilThrown<xcTimeout::Expired>(50);
            EXPECT_THROW(xcAttention::check(), xcTimeout::Expired);
        }
        for (int i = 0; i < 1000; ++i) xcAttention::check();
        // Three levels, the middle one expired: the innermost tag does not hide it.
        xcAttentionTag middle;
        middle.attachTimeoutCustom(0.0, 9);
        xcAttentionTag innermost;
        innermost.attachTimeoutCustom(3600.0, 11);
        if (const auto e = expectError<xcTimeout::InternalExpired>([&] { xcAttention::check(); })) {
            EXPECT_EQ(e->code(), 9);
        }
    }
    EXPECT_NO_THROW(xcAttention::check());
}

TEST(AttentionTag, TagsDestroyedOutOfOrder) {
    auto a = std::make_unique<xcAttentionTag>();
    auto b = std::make_unique<xcAttentionTag>();
    a->attachTimeout(0.0);
    b->attachTimeout(3600.0);
    EXPECT_THROW(xcAttention::check(), xcTimeout::Expired);
    a.reset();  // the outer, expired one goes first
    EXPECT_NO_THROW(xcAttention::check());
    b->attachTimeoutCustom(0.0, 3);
    EXPECT_THROW(xcAttention::check(), xcTimeout::InternalExpired);
    b.reset();
    EXPECT_NO_THROW(xcAttention::check());
}

TEST(AttentionTag, BadSecondsLeaveTagUnchanged) {
    xcAttentionTag tag;
    EXPECT_THROW(tag.attachTimeout(-0.001), xcBadArgument);
    EXPECT_THROW(tag.attachTimeoutCustom(std::nan(""), 5), xcBadArgument);
    EXPECT_FALSE(tag.hasTimeout());
    tag.attachTimeout(3600.0);
    double left = tag.secondsLeft();
    EXPECT_GT(left, 3599.0);
    expectError<xcBadArgument>([&] { tag.attachTimeout(-1.0); },
                               L"A time-out must be a non-negative number of seconds, not -1");
    EXPECT_TRUE(tag.hasTimeout());
    EXPECT_GT(tag.secondsLeft(), 3599.0);
    EXPECT_LE(tag.secondsLeft(), left);
    // Infinite or astronomically long time-outs never fire.
    tag.attachTimeout(std::numeric_limits<double>::infinity());
    EXPECT_FALSE(tag.hasTimeout());
    tag.attachTimeout(1e300);
    EXPECT_FALSE(tag.expired());
    EXPECT_NO_THROW(xcAttention::check());
}

TEST(Attention, AbortFromAnotherThreadEndsLoop) {
    std::atomic<bool> started{false}, aborted{false}, lateThrow{false};
    xcThreadID loopThread;
    std::thread t([&] {
        loopThread = xfGetCurrentThreadID();
        started = true;
        try {
            xcTimer timer(true);
            while (timer.elapsed() < 10000.0) {
                xcAttention::check();
                work(20);
            }
        } catch (const xcAttention::Aborted& e) {
            aborted = e.message() == L"The operation was aborted" && e.errorNumber() == 0x10000122;
        }
        // An abort is raised once.
        try {
            xcAttention::check();
        } catch (...) {
            lateThrow = true;
        }
    });
    while (!started) std::this_thread::yield();
    xcAttention::abort(loopThread);
    t.join();
    EXPECT_TRUE(aborted);
    EXPECT_FALSE(lateThrow);
    EXPECT_TRUE(xfThreadHasEnded(loopThread));
    EXPECT_NO_THROW(xcAttention::abort(loopThread));  // ended: nothing happens
    EXPECT_THROW(xcAttention::abort(xcThreadID()), xcBadArgument);
}

TEST(Attention, AbortOfCallingThreadAndClear) {
    xcThreadID self = xfGetCurrentThreadID();
    EXPECT_FALSE(self.isNull());
    EXPECT_EQ(self, xfGetCurrentThreadID());
    EXPECT_FALSE(xcAttention::clearAbort());
    xcAttention::abort(self);
    EXPECT_TRUE(xcAttention::clearAbort());
    EXPECT_NO_THROW(xcAttention::check());
    xcAttention::abort(self);
    // The abort comes before an expired time-out, which stays.
    xcAttentionTag tag;
    tag.attachTimeout(0.0);
    EXPECT_THROW(xcAttention::check(), xcAttention::Aborted);
    EXPECT_THROW(xcAttention::check(), xcTimeout::Expired);
}

TEST(AttentionTag, TimeoutErrorsRoundTripThroughArchive) {
    std::vector<xcException*> errors = {
        new xcTimeout::InternalExpired(0x80000064, L"Time-out of 10 s expired (code 0x80000064)"),
        new xcTimeout::Expired(L"Time-out of 1 s expired"),
        new xcAttention::Aborted(L"The operation was aborted")};
    xcArchive ar;
    for (xcException*& e : errors) ar || e;
    xcArchive in(ar.bytes());
    for (xcException* e : errors) {
        xcException* back = nullptr;
        in || back;
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(typeid(*back), typeid(*e));
        EXPECT_EQ(back->message(), e->message());
        delete e;
        if (auto* ie = dynamic_cast<xcTimeout::InternalExpired*>(back)) {
            EXPECT_EQ(ie->code(), 0x80000064);
            if (const auto thrown =
                    expectError<xcTimeout::InternalExpired>([&] { back->suicideAndRethrow(); })) {
                EXPECT_EQ(thrown->code(), 0x80000064);
            }
        } else {
            delete back;
        }
    }
    EXPECT_TRUE(in.atEnd());
    // A negative code has no unsigned 32-bit form.
    xcException* neg = new xcTimeout::InternalExpired(-5, L"x");
    xcArchive bad;
    EXPECT_THROW(bad || neg, xcArchive::BadData);
    delete neg;
}
