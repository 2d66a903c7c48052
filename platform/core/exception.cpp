#include "platform/core/exception.h"

#include <sstream>

#include "platform/core/archive.h"
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

// ---- Archive exchange of the exception bases -----------------------------------------------
// Each level: the visited test, its version byte (0 is the only version), the base level, its
// own fields, the visited mark.

void xcException::dispatchSerialize(xcArchive& ar) {
    if (ar.haveVisited(this, sizeof(xcException))) return;
    unsigned char version = 0;
    ar || version;
    if (version > 0) throw xcArchive::UnknownVersion("xcException", 0);
    ar.setVisited(this, sizeof(xcException));
}

void xcExceptionWithString::dispatchSerialize(xcArchive& ar) {
    if (ar.haveVisited(this, sizeof(xcExceptionWithString))) return;
    unsigned char version = 0;
    ar || version;
    if (version > 0) throw xcArchive::UnknownVersion("xcExceptionWithString", 0);
    xcException::dispatchSerialize(ar);
    ar || m_message;
    ar.setVisited(this, sizeof(xcExceptionWithString));
}

void xf_SerializeExceptionLevel(xcArchive& ar, const void* self, std::size_t size,
                                const char* qualifiedName, void (*base)(xcArchive&, void*)) {
    if (ar.haveVisited(self, size)) return;
    unsigned char version = 0;
    ar || version;
    if (version > 0) throw xcArchive::UnknownVersion(std::string(qualifiedName), 0);
    base(ar, const_cast<void*>(self));
    ar.setVisited(self, size);
}
