// The C-level layer's assertion.
//
// Broken preconditions and internal invariants are reported through xstd_assert_, called with
// the line number of the failed check: `if (!ok) xstd_assert_(__LINE__);`. The caller's source
// file is captured automatically. The assertion throws xcAssertionFailure (platform/core/
// exception.h) whose message names the file and the line, "Assertion failed at <file>:<line>",
// so that a broken precondition is testable and never undefined behaviour.
//
// XSTD_ASSERT(condition) checks a condition and adds its text to the message:
// "Assertion failed at <file>:<line>: <condition>".
#pragma once

#include <source_location>

// Throws xcAssertionFailure naming the caller's file and `line`. `what`, when not null, is
// appended to the message after ": ".
[[noreturn]] void xstd_assert_(long line, const char* what = nullptr,
                               std::source_location where = std::source_location::current());

#define XSTD_ASSERT(condition) \
    ((condition) ? static_cast<void>(0) : xstd_assert_(__LINE__, #condition))
