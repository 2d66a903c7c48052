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

// The caller's source file: std::source_location where the standard library offers it; a
// stand-in built on the same compiler builtin where it does not (clang 14 with libstdc++ 12,
// the fuzz build).
#if defined(__cpp_lib_source_location)
using xstd_SourceLocation = std::source_location;
#else
struct xstd_SourceLocation {
    static constexpr xstd_SourceLocation current(const char* file = __builtin_FILE()) noexcept {
        return xstd_SourceLocation{file};
    }
    constexpr const char* file_name() const noexcept { return m_file; }
    const char* m_file = "";
};
#endif

// Throws xcAssertionFailure naming the caller's file and `line`. `what`, when not null, is
// appended to the message after ": ".
[[noreturn]] void xstd_assert_(long line, const char* what = nullptr,
                               xstd_SourceLocation where = xstd_SourceLocation::current());

#define XSTD_ASSERT(condition) \
    ((condition) ? static_cast<void>(0) : xstd_assert_(__LINE__, #condition))
