// Attention: cancellation, time-outs and worker errors, raised where a thread polls for them.
//
// Long loops call xcAttention::check() (at least once per millisecond of work). It raises, on
// the calling thread and in this order:
//   1. a pending abort requested through xcAttention::abort(id)  -> xcAttention::Aborted;
//   2. an error that escaped a worker thread this thread created with xfCreateThreadLib
//      (thread.h)                                                 -> that error, as thrown;
//   3. an expired time-out of an xcAttentionTag attached to this thread
//                                                                 -> xcTimeout::Expired, or
//      xcTimeout::InternalExpired with its code for a tag attached with attachTimeoutCustom.
// An abort and a worker error are raised once (check() clears them); an expired time-out is
// raised by every check() for as long as its tag stays attached.
//
// check() is cheap: one thread-local load, one relaxed atomic load and a counter decrement.
// Time-outs reach a thread two ways, whichever comes first:
//   - check() reads the steady clock every few calls; the number of calls between reads adapts
//     to the caller's pace (a read about every 50 microseconds of work, never more than 64
//     calls apart);
//   - a timer thread of the library, started with the first time-out, posts an expired
//     deadline to its thread, whose next check() then reads the clock.
// So a time-out fires at the first check() after its deadline, give or take the scheduler.
//
// Every thread has its own state; nothing is shared between threads but the abort and
// worker-error requests, which are atomic. All of this is thread-safe.
#pragma once

#include <cstdint>

#include "platform/core/exception.h"
#include "platform/core/thread_id.h"
#include "platform/core/timeout.h"

struct xc_AttentionAccess;

class xcAttention {
public:
    class Aborted;

    // Raises the calling thread's pending abort, a worker's error or an expired time-out (see
    // above); returns when there is none.
    static void check();

    // Asks `thread` to stop: its next check() raises xcAttention::Aborted. The request also
    // reaches the workers that thread has running (xfCreateThreadLib), and the workers they
    // run. A request to a thread that has ended does nothing. Throws xcBadArgument for the null
    // ID.
    static void abort(const xcThreadID& thread);

    // Drops an abort pending for the calling thread without raising it; true when there was
    // one.
    static bool clearAbort();

private:
    static void raisePending_();
    static void checkClock_();
    friend struct xc_AttentionAccess;
};

// Raised by check() on a thread whose abort was requested.
class xcAttention::Aborted : public xcExceptionWithString {
    XC_EXCEPTION_BODY(Aborted, xcExceptionWithString, 0x10000122)
};

// An attention tag: a time-out attached to the calling thread for the tag's lifetime.
//
// A tag attaches itself to the thread that constructs it and detaches when destroyed; it must
// be destroyed on that thread (RAII: make it a local variable). Tags nest: the effective
// deadline is the earliest of all attached tags, and it is that tag's kind (Expired or
// InternalExpired with its code) that check() raises. Destroying an inner tag restores the
// outer ones. A tag without a time-out changes nothing.
//
// Time-outs are in seconds from the call that attaches them, measured on the steady clock.
// 0 expires at once; +infinity means no time-out. Negative or NaN seconds throw xcBadArgument
// and leave the tag as it was.
class xcAttentionTag {
public:
    xcAttentionTag();
    ~xcAttentionTag();
    xcAttentionTag(const xcAttentionTag&) = delete;
    xcAttentionTag& operator=(const xcAttentionTag&) = delete;

    // Sets this tag's time-out (replacing an earlier one of this tag). On expiry check()
    // raises xcTimeout::Expired.
    void attachTimeout(double seconds);
    // Same, but expiry raises xcTimeout::InternalExpired carrying `code`.
    void attachTimeoutCustom(double seconds, long code);
    // Removes this tag's time-out; the tag stays attached.
    void detachTimeout();

    bool hasTimeout() const { return m_deadline != kNoDeadline; }
    // True when this tag's own time-out has expired (reads the clock).
    bool expired() const;
    // Seconds left before this tag's own time-out expires (negative once expired, +infinity
    // without a time-out).
    double secondsLeft() const;

private:
    static constexpr std::int64_t kNoDeadline = INT64_MAX;

    void attachDeadline_(std::int64_t deadline, double seconds, bool custom, long code);
    // Makes the earliest deadline of the calling thread's tags effective.
    static void recompute_();

    xcAttentionTag* m_outer = nullptr;      // next tag out on the same thread
    void* m_thread = nullptr;               // the thread state the tag is attached to
    std::int64_t m_deadline = kNoDeadline;  // steady-clock nanoseconds
    double m_seconds = 0.0;                 // as attached, for the message
    bool m_custom = false;
    long m_code = 0;

    friend class xcAttention;
    friend struct xc_AttentionAccess;
};
