// Worker threads of the core library.
//
// xfCreateThreadLib runs function(argument) on a new thread and returns its xcThreadID;
// xfWaitForThreadTermination waits for it to end. Every worker must be waited for once (or
// its ID dropped, which lets it finish on its own).
//
// Errors: an exception escaping the worker's function is kept and raised by the creating
// thread's next xcAttention::check() (attention.h), as thrown, with its own type. Only the
// first such error is kept until that check(); errors of other workers arriving before it are
// dropped. xfWaitForThreadTermination itself never raises a worker's error: wait, then check().
// An error of a worker whose creating thread has already ended is lost.
//
// What a worker inherits from its creator when it starts:
//   - the creator's effective time-out (the earliest deadline of its attached tags, with the
//     same kind and code), so that a worker polling check() stops when the creator's time is up;
//   - a pending abort of the creator. Later aborts of the creator reach its running workers
//     too (xcAttention::abort).
// The worker raises these on its own check() calls; when they escape the worker they reach the
// creator like any other error.
#pragma once

#include "platform/core/exception.h"
#include "platform/core/thread_id.h"

// Thread entry: takes the argument given to xfCreateThreadLib and returns nothing.
using xcThreadFunction = void (*)(void* argument);

// Thread creation failed (the system is out of threads or memory).
class xcThreadError : public xcExceptionWithString {
    XC_EXCEPTION_BODY(xcThreadError, xcExceptionWithString, 0x10000123)
};

// Starts function(argument) on a new thread. `priority` and `stack` (bytes) are hints that
// this platform does not act on; -1 asks for the defaults. The argument is not owned: it must
// stay valid until the worker has ended. Throws xcBadArgument for a null function and
// xcThreadError when the thread cannot be started.
xcThreadID xfCreateThreadLib(xcThreadFunction function, void* argument, long priority = -1,
                             long stack = -1);

// Blocks until the worker `thread` has ended; returns at once when it already has (or was
// waited for before). Several threads may wait for the same worker. Throws xcBadArgument for
// the null ID, for a thread not made by xfCreateThreadLib, and for a worker waiting for itself.
void xfWaitForThreadTermination(const xcThreadID& thread);

// The calling thread's ID (for xcAttention::abort from another thread).
xcThreadID xfGetCurrentThreadID();

// True when the thread has ended (a worker whose function returned or threw, or any thread
// that has exited).
bool xfThreadHasEnded(const xcThreadID& thread);
