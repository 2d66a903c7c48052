// Time-out exceptions: what xcAttention::check() raises when a time-out attached to the
// calling thread through an xcAttentionTag (attention.h) has expired.
//
// xcTimeout::Expired is raised for a tag attached with attachTimeout(seconds);
// xcTimeout::InternalExpired for a tag attached with attachTimeoutCustom(seconds, code), and it
// carries that code so that a caller can tell its own time-out from one set further out.
#pragma once

#include <string>

#include "platform/core/exception.h"

// Scope of the time-out errors.
class xcTimeout {
public:
    class Expired;
    class InternalExpired;
};

// A time-out attached with xcAttentionTag::attachTimeout expired.
class xcTimeout::Expired : public xcExceptionWithString {
    XC_EXCEPTION_BODY(Expired, xcExceptionWithString, 0x10000120)
};

// A time-out attached with xcAttentionTag::attachTimeoutCustom expired; code() is the code the
// tag was attached with (for instance 0x80000064). The code is part of the message as well,
// "Time-out expired (code 0x80000064)", so that it survives wherever only the message goes.
class xcTimeout::InternalExpired : public xcExceptionWithString {
    XC_EXCEPTION_BODY(InternalExpired, xcExceptionWithString, 0x10000121)
public:
    InternalExpired(long code, const std::wstring& message)
        : xcExceptionWithString(message), m_code(code) {}
    // The custom code of the tag that expired.
    long code() const { return m_code; }

private:
    long m_code = 0;
};
