// The one error expectation of the test suites: run a call, expect it to throw exactly one
// exception class, check the exact message, and hand the caught exception back for checks of
// its other fields.
//
//     expectError<xcBadArgument>([&] { m.element(0, 3); },
//                                L"Matrix element (0, 3) is outside the 2 x 3 matrix");
//     if (const auto e = expectError<xcArchive::UnknownVersion>([&] { in || target; }))
//         EXPECT_EQ(e->number(), 1573);
//
// A failure is reported at the caller's line and names the expected class and what was seen
// instead: nothing, another class (with its message), or the right class with another message.
#pragma once

#include <gtest/gtest.h>

#include <cxxabi.h>

#include <cstdlib>
#include <exception>
#include <optional>
#include <source_location>
#include <string>
#include <typeinfo>
#include <utility>

#include "platform/core/exception.h"

namespace test_support {

// The readable name of a type.
inline std::string typeName(const std::type_info& t) {
    int status = 0;
    char* s = abi::__cxa_demangle(t.name(), nullptr, nullptr, &status);
    std::string name = status == 0 && s ? s : t.name();
    std::free(s);
    return name;
}

// Runs `f` and expects it to throw exactly E (not a class derived from it). Returns a copy of the
// exception, or nothing (with a test failure) when `f` returned or threw something else.
template <class E, class F>
std::optional<E> expectError(F&& f, std::source_location at = std::source_location::current()) {
    const std::string expected = typeName(typeid(E));
    try {
        static_cast<void>(f());
    } catch (const E& e) {
        if (typeid(e) == typeid(E)) return e;
        ADD_FAILURE_AT(at.file_name(), static_cast<int>(at.line()))
            << "expected " << expected << ", caught " << typeName(typeid(e)) << ": "
            << testing::PrintToString(e.message());
        return std::nullopt;
    } catch (const xcException& e) {
        ADD_FAILURE_AT(at.file_name(), static_cast<int>(at.line()))
            << "expected " << expected << ", caught " << typeName(typeid(e)) << ": "
            << testing::PrintToString(e.message());
        return std::nullopt;
    } catch (const std::exception& e) {
        ADD_FAILURE_AT(at.file_name(), static_cast<int>(at.line()))
            << "expected " << expected << ", caught " << typeName(typeid(e)) << ": " << e.what();
        return std::nullopt;
    }
    ADD_FAILURE_AT(at.file_name(), static_cast<int>(at.line()))
        << "expected " << expected << ", nothing was thrown";
    return std::nullopt;
}

// As above, and the exception's message must be exactly `message`.
template <class E, class F>
std::optional<E> expectError(F&& f, const std::wstring& message,
                             std::source_location at = std::source_location::current()) {
    std::optional<E> e = expectError<E>(std::forward<F>(f), at);
    if (e && e->message() != message)
        ADD_FAILURE_AT(at.file_name(), static_cast<int>(at.line()))
            << "expected " << typeName(typeid(E)) << " with message "
            << testing::PrintToString(message) << ", caught it with message "
            << testing::PrintToString(e->message());
    return e;
}

}  // namespace test_support

using test_support::expectError;
