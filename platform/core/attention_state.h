// Private to the core library: the per-thread record behind an xcThreadID, and the calls that
// the thread wrapper (thread.cpp) makes into the attention machinery (attention.cpp).
// Nothing outside platform/core includes this file.
#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/core/attention.h"

// What other threads may ask of one thread, and what its workers left for it.
struct xc_ThreadRecord {
    static constexpr unsigned kAbort = 1;        // an abort is pending
    static constexpr unsigned kWorkerError = 2;  // workerError holds an error to raise
    static constexpr unsigned kTimeout = 4;      // the timer thread saw the deadline pass

    xc_ThreadRecord();
    ~xc_ThreadRecord();
    xc_ThreadRecord(const xc_ThreadRecord&) = delete;
    xc_ThreadRecord& operator=(const xc_ThreadRecord&) = delete;

    // Requests the owner thread polls with check(). Read relaxed on the fast path; every
    // change goes through fetch_or / fetch_and.
    std::atomic<unsigned> pending{0};
    const unsigned long number;  // 1, 2, ... in order of creation

    std::mutex mutex;                                      // guards the fields below
    std::exception_ptr workerError;                        // first error a worker left
    std::vector<std::weak_ptr<xc_ThreadRecord>> children;  // workers this thread started
    bool ended = false;                                    // the thread has finished

    // Set only for threads made by xfCreateThreadLib.
    bool isWorker = false;
    std::weak_ptr<xc_ThreadRecord> parent;  // the creating thread
    std::mutex joinMutex;                   // serialises xfWaitForThreadTermination
    std::thread thread;                     // joined by xfWaitForThreadTermination

    // The deadline the timer thread watches for this thread; guarded by the timer's mutex.
    bool timerScheduled = false;
    std::multimap<std::int64_t, xc_ThreadRecord*>::iterator timerEntry;
};

// The timer thread: it sets kTimeout on a thread's record when that thread's effective
// deadline passes, so that the next check() raises the time-out however long the caller goes
// between clock reads. It starts with the first scheduled deadline and runs until the process
// ends. It only speeds things up: check() reads the clock on its own as well, so a failure to
// schedule (no memory, no thread) costs promptness, never correctness.
//
// Makes `deadline` (steady-clock ns; INT64_MAX cancels) the one watched for `record`.
void xf_ScheduleTimeout(xc_ThreadRecord& record, std::int64_t deadline) noexcept;

// A time-out as a worker inherits it from its creator: an absolute steady-clock deadline and
// the kind of exception it raises.
struct xc_InheritedTimeout {
    std::int64_t deadline = INT64_MAX;  // INT64_MAX: none
    double seconds = 0.0;
    bool custom = false;
    long code = 0;
};

struct xc_AttentionAccess {
    // The calling thread's record, made on first use.
    static std::shared_ptr<xc_ThreadRecord> currentRecord();
    // Makes `record` the calling thread's record (first thing a worker does). The thread keeps
    // it until it ends, then marks it ended.
    static void adoptRecord(std::shared_ptr<xc_ThreadRecord> record);
    // The calling thread's effective time-out.
    static xc_InheritedTimeout currentTimeout();
    // Attaches an inherited time-out to a fresh tag on the calling thread.
    static void attach(xcAttentionTag& tag, const xc_InheritedTimeout& timeout);
    // Sets the abort request on `record` and on its running workers, recursively.
    static void requestAbort(const std::shared_ptr<xc_ThreadRecord>& record);
};
