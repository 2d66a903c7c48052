#include "platform/core/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/core/attention.h"
#include "platform/core/timer.h"
#include "tests/support/expect_error.h"

namespace {

struct RowOrder {
    int row = 0;
    std::vector<int>* out = nullptr;
};

void fillRow(void* p) {
    auto* o = static_cast<RowOrder*>(p);
    (*o->out)[o->row] = o->row * o->row;
}

void throwSingular(void*) { throw xcMath::Singular(L"row 3 is singular"); }
void throwStd(void*) { throw std::runtime_error("plain error"); }

// Polls check() until it throws (or 10 s pass) and records what came out.
struct PollResult {
    bool expired = false, internal = false, aborted = false;
    long code = 0;
    std::atomic<bool> polling{false};
};
void pollUntilThrown(void* p) {
    auto* r = static_cast<PollResult*>(p);
    r->polling = true;
    xcTimer timer(true);
    try {
        while (timer.elapsed() < 10000.0) xcAttention::check();
    } catch (const xcTimeout::InternalExpired& e) {
        r->internal = true;
        r->code = e.code();
    } catch (const xcTimeout::Expired&) {
        r->expired = true;
    } catch (const xcAttention::Aborted&) {
        r->aborted = true;
        throw;  // and let the creator hear of it
    }
}

}  // namespace

TEST(Thread, WorkersRunAndAreWaitedForInOrder) {
    std::vector<int> out(6, -1);
    std::vector<RowOrder> orders(6);
    std::vector<xcThreadID> ids;
    for (int i = 0; i < 6; ++i) {
        orders[i] = {i, &out};
        ids.push_back(xfCreateThreadLib(fillRow, &orders[i], -1, -1));
    }
    for (const xcThreadID& id : ids) xfWaitForThreadTermination(id);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(out[i], i * i);
    for (const xcThreadID& id : ids) {
        EXPECT_TRUE(xfThreadHasEnded(id));
        EXPECT_NE(id.value(), 0u);
        EXPECT_NE(id, xfGetCurrentThreadID());
        xfWaitForThreadTermination(id);  // again: returns at once
    }
    EXPECT_NE(ids[0], ids[1]);
    EXPECT_NO_THROW(xcAttention::check());
}

TEST(Thread, WorkerErrorComesOutOfCreatorsNextCheck) {
    xcThreadID id = xfCreateThreadLib(throwSingular, nullptr);
    xfWaitForThreadTermination(id);  // waiting does not raise it
    expectError<xcMath::Singular>([&] { xcAttention::check(); }, L"row 3 is singular");
    EXPECT_NO_THROW(xcAttention::check());  // raised once

    // Any exception type passes through as thrown; the first of two errors wins.
    xcThreadID a = xfCreateThreadLib(throwStd, nullptr);
    xfWaitForThreadTermination(a);
    xcThreadID b = xfCreateThreadLib(throwSingular, nullptr);
    xfWaitForThreadTermination(b);
    EXPECT_THROW(xcAttention::check(), std::runtime_error);
    EXPECT_NO_THROW(xcAttention::check());
}

TEST(Thread, ErrorGoesToTheCreatorNotToOtherThreads) {
    std::atomic<bool> raisedInCreator{false};
    std::thread creator([&] {
        xcThreadID id = xfCreateThreadLib(throwSingular, nullptr);
        xfWaitForThreadTermination(id);
        try {
            xcAttention::check();
        } catch (const xcMath::Singular&) {
            raisedInCreator = true;
        }
    });
    creator.join();
    EXPECT_TRUE(raisedInCreator);
    EXPECT_NO_THROW(xcAttention::check());  // this thread did not create that worker
}

TEST(Thread, WorkerInheritsCreatorsTimeout) {
    PollResult r;
    {
        xcAttentionTag tag;
        tag.attachTimeoutCustom(0.020, 0x80000064);
        xcThreadID id = xfCreateThreadLib(pollUntilThrown, &r);
        xfWaitForThreadTermination(id);
    }
    EXPECT_TRUE(r.internal);
    EXPECT_EQ(r.code, 0x80000064);
    EXPECT_NO_THROW(xcAttention::check());  // the worker handled it; the tag is gone
}

TEST(Thread, AbortReachesRunningWorkers) {
    PollResult r;
    xcThreadID self = xfGetCurrentThreadID();
    xcThreadID worker = xfCreateThreadLib(pollUntilThrown, &r);
    while (!r.polling) std::this_thread::yield();
    std::thread aborter([&] { xcAttention::abort(self); });
    aborter.join();
    xfWaitForThreadTermination(worker);
    EXPECT_TRUE(r.aborted);
    // The creator's own abort first, then the worker's escaped Aborted.
    EXPECT_THROW(xcAttention::check(), xcAttention::Aborted);
    EXPECT_THROW(xcAttention::check(), xcAttention::Aborted);
    EXPECT_NO_THROW(xcAttention::check());

    // A worker started while an abort is pending starts aborted.
    PollResult r2;
    xcAttention::abort(self);
    xcThreadID w2 = xfCreateThreadLib(pollUntilThrown, &r2);
    xfWaitForThreadTermination(w2);
    EXPECT_TRUE(r2.aborted);
    EXPECT_TRUE(xcAttention::clearAbort());
    EXPECT_THROW(xcAttention::check(), xcAttention::Aborted);  // the worker's
    EXPECT_NO_THROW(xcAttention::check());
}

TEST(Thread, BadCallsAreRefused) {
    EXPECT_THROW(xfCreateThreadLib(nullptr, nullptr), xcBadArgument);
    EXPECT_THROW(xfWaitForThreadTermination(xcThreadID()), xcBadArgument);
    EXPECT_THROW(xfThreadHasEnded(xcThreadID()), xcBadArgument);
    expectError<xcBadArgument>(
        [&] { xfWaitForThreadTermination(xfGetCurrentThreadID()); },
        L"xfWaitForThreadTermination: the thread was not started by xfCreateThreadLib");
    struct SelfWait {
        bool refused = false;
    } s;
    xcThreadID id = xfCreateThreadLib(
        [](void* p) {
            try {
                xfWaitForThreadTermination(xfGetCurrentThreadID());
            } catch (const xcBadArgument&) {
                static_cast<SelfWait*>(p)->refused = true;
            }
        },
        &s);
    xfWaitForThreadTermination(id);
    EXPECT_TRUE(s.refused);
}

TEST(Thread, DroppedIdLetsWorkerFinish) {
    static std::atomic<int> done{0};
    done = 0;
    for (int i = 0; i < 4; ++i) {
        xfCreateThreadLib([](void*) { done.fetch_add(1); }, nullptr);
    }
    xcTimer timer(true);
    while (done.load() < 4 && timer.elapsed() < 10000.0) std::this_thread::yield();
    EXPECT_EQ(done.load(), 4);
}
