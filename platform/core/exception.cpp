#include "platform/core/exception.h"

#include <sstream>

#include "platform/core/char_code.h"

std::wstring xcException::message() const {
    std::wostringstream os;
    message_(os);
    return os.str();
}

const char* xcException::what() const noexcept {
    try {
        m_what = xfToUtf8(message());
    } catch (...) {
        m_what = "exception";
    }
    return m_what.c_str();
}

void xcException::message_(std::wostream&) const {}

void xcExceptionWithString::message_(std::wostream& os) const { os << m_message; }

XC_EXCEPTION_DEFINE(xcPel::UnboundWindow, xcExceptionWithString, "xcPel::UnboundWindow")
XC_EXCEPTION_DEFINE(xcPel::BadWindow, xcExceptionWithString, "xcPel::BadWindow")
XC_EXCEPTION_DEFINE(xcStatusError, xcExceptionWithString, "xcStatusError")
XC_EXCEPTION_DEFINE(xcMath::Singular, xcExceptionWithString, "xcMath::Singular")
XC_EXCEPTION_DEFINE(xcAssertionFailure, xcExceptionWithString, "xcAssertionFailure")
XC_EXCEPTION_DEFINE(xcCharCodeDefs::NotRepresentable, xcExceptionWithString,
                    "xcCharCodeDefs::NotRepresentable")
XC_EXCEPTION_DEFINE(xcBadArgument, xcExceptionWithString, "xcBadArgument")
XC_EXCEPTION_DEFINE(xcIOError, xcExceptionWithString, "xcIOError")
