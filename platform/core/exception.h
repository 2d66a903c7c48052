// Exception bases of the platform and the exceptions of the core library.
//
// Every failure is a thrown object derived from xcException, which is persistent and also a
// std::exception: what() gives the message in UTF-8. Each concrete exception answers a fixed
// errorNumber() and can rethrow itself as its own concrete type (suicideAndRethrow) after it
// has been made on the heap, as the archive registry does.
#pragma once

#include <exception>
#include <ostream>
#include <string>

#include "platform/core/persistent.h"

class xcException : public xcPersistent, public std::exception {
public:
    ~xcException() override = default;

    // The fixed number of the concrete class.
    virtual long errorNumber() const = 0;
    // Copies *this to a local, deletes this (it must live on the heap) and throws the copy.
    virtual void suicideAndRethrow() = 0;

    // The message as composed by message_().
    std::wstring message() const;
    // The message in UTF-8.
    const char* what() const noexcept override;

protected:
    xcException() = default;
    xcException(const xcException&) = default;
    xcException& operator=(const xcException&) = default;

    // Writes the message. The default writes nothing.
    virtual void message_(std::wostream& os) const;
    void dispatchSerialize(xcArchive& ar) override;

private:
    mutable std::string m_what;
};

// An exception that carries a wide-string message.
class xcExceptionWithString : public xcException {
public:
    const std::wstring& string() const { return m_message; }

protected:
    explicit xcExceptionWithString(const std::wstring& message = L"") : m_message(message) {}
    xcExceptionWithString(const xcExceptionWithString&) = default;
    xcExceptionWithString& operator=(const xcExceptionWithString&) = default;

    void message_(std::wostream& os) const override;
    void dispatchSerialize(xcArchive& ar) override;

    std::wstring m_message;
};

// Declares the body of a concrete exception class `Cls` deriving from `Base` with a fixed
// number. The class gets a constructor from a wide message, errorNumber(),
// suicideAndRethrow() and, through XC_EXCEPTION_DEFINE in one .cpp file, its persistence.
#define XC_EXCEPTION_BODY(Cls, Base, number)                          \
public:                                                               \
    explicit Cls(const std::wstring& message = L"") : Base(message) {} \
    long errorNumber() const override { return (number); }            \
    void suicideAndRethrow() override {                               \
        Cls copy(*this);                                              \
        delete this;                                                  \
        throw copy;                                                   \
    }                                                                 \
                                                                      \
protected:                                                            \
    void dispatchSerialize(xcArchive& ar) override;                   \
                                                                      \
private:                                                              \
    static xcPersistent* make();                                      \
    static const xc_Instantiator sExemplar;

// Defines the out-of-line persistence of a concrete exception declared with
// XC_EXCEPTION_BODY: version byte 0, then the base part. Use in exactly one .cpp file.
// (`qualified` is the name the unknown-version error carries.)
#define XC_EXCEPTION_DEFINE(Cls, Base, qualified)                                      \
    void Cls::dispatchSerialize(xcArchive& ar) {                                       \
        xf_SerializeExceptionLevel(ar, this, sizeof(Cls), qualified,                   \
                                   [](xcArchive& a, void* self) {                      \
                                       static_cast<Cls*>(self)->Base::dispatchSerialize(a); \
                                   });                                                 \
    }                                                                                  \
    xcPersistent* Cls::make() { return new Cls(); }                                    \
    const xc_Instantiator Cls::sExemplar(typeid(Cls), &Cls::make);

// ---- Core library exceptions ---------------------------------------------------------------

// Scope of the pel-buffer errors.
class xcPel {
public:
    class UnboundWindow;
    class BadWindow;
};
class xcPel::UnboundWindow : public xcExceptionWithString {
    XC_EXCEPTION_BODY(UnboundWindow, xcExceptionWithString, 0x10000101)
};
class xcPel::BadWindow : public xcExceptionWithString {
    XC_EXCEPTION_BODY(BadWindow, xcExceptionWithString, 0x10000102)
};

// Raised when a C-level status is negative and no registered converter claims it.
class xcStatusError : public xcExceptionWithString {
    XC_EXCEPTION_BODY(xcStatusError, xcExceptionWithString, 0x10000103)
public:
    xcStatusError(long status, const std::wstring& message) : xcExceptionWithString(message), m_status(status) {}
    long status() const { return m_status; }

private:
    long m_status = 0;
};

// A singular matrix was inverted or solved.
class xcMath {
public:
    class Singular;
};
class xcMath::Singular : public xcExceptionWithString {
    XC_EXCEPTION_BODY(Singular, xcExceptionWithString, 0x10000104)
};

// Broken precondition reported by xstd_assert_ (the message names file and line).
class xcAssertionFailure : public xcExceptionWithString {
    XC_EXCEPTION_BODY(xcAssertionFailure, xcExceptionWithString, 0x10000105)
};

// A character code that cannot be represented in the requested character type.
class xcCharCodeDefs {
public:
    class NotRepresentable;
};
class xcCharCodeDefs::NotRepresentable : public xcExceptionWithString {
    XC_EXCEPTION_BODY(NotRepresentable, xcExceptionWithString, 0x10000106)
};

// A bad argument to a core-library call (negative sizes, non-linear transform where a
// linear one is needed, and the like).
class xcBadArgument : public xcExceptionWithString {
    XC_EXCEPTION_BODY(xcBadArgument, xcExceptionWithString, 0x10000107)
};

// An I/O failure (file missing, unreadable, corrupt, not writable).
class xcIOError : public xcExceptionWithString {
    XC_EXCEPTION_BODY(xcIOError, xcExceptionWithString, 0x10000108)
};
