// The pattern every error family of the module is built on.
//
// A family is a scope class (xcOCDefs, xcOCArrangeDefs, xc_OCExtractDefs) holding an abstract
// `Errors` base derived from xcExceptionWithString and concrete errors derived from it. Each
// concrete error carries a wide message, answers a fixed number, rethrows itself as its own
// type, and is persistent: its archive form is its version byte (0), the version byte of the
// family's `Errors` level (0), then the message as xcExceptionWithString writes it. A version
// byte above 0 at either level throws xcArchive::UnknownVersion naming that level.
#pragma once

#include <cstdint>
#include <string>

#include "platform/core/archive.h"
#include "platform/core/exception.h"

// The archive exchange of one class level: the visited test, the version byte (the byte read
// replaces it), the level's serialize_, then the visited mark.
#define XC_OC_DISPATCH_LEVEL_(Qualified)                                                 \
    void Qualified::dispatchSerialize(xcArchive& ar) {                                   \
        if (xcPersistent::haveVisited(ar, this, sizeof(Qualified))) return;              \
        std::uint8_t version = 0;                                                        \
        ar || version;                                                                   \
        serialize_(ar, version);                                                         \
        xcPersistent::setVisited(ar, this, sizeof(Qualified));                           \
    }

// Body of a family's abstract base `Errors`: protected constructor from the message, copy,
// and its archive level.
#define XC_OC_ERRORS_BASE_BODY()                                                         \
protected:                                                                               \
    explicit Errors(const std::wstring& message) : xcExceptionWithString(message) {}     \
    Errors(const Errors&) = default;                                                     \
    Errors& operator=(const Errors&) = default;                                          \
    void dispatchSerialize(xcArchive& ar) override;                                      \
    void serialize_(xcArchive& ar, std::uint8_t version);                                \
                                                                                         \
public:                                                                                  \
    ~Errors() override = default;

// Body of a concrete error `Cls` of a family, with its number. It is constructed from a wide
// string or a wide C string (a null pointer gives the empty message).
#define XC_OC_ERROR_BODY(Cls, number)                                                    \
public:                                                                                  \
    explicit Cls(const wchar_t* message = nullptr)                                       \
        : Errors(message ? std::wstring(message) : std::wstring()) {}                    \
    explicit Cls(const std::wstring& message) : Errors(message) {}                       \
    Cls(const Cls&) = default;                                                           \
    Cls& operator=(const Cls&) = default;                                                \
    ~Cls() override = default;                                                           \
    long errorNumber() const override { return static_cast<long>(number); }              \
    void suicideAndRethrow() override {                                                  \
        Cls copy(*this);                                                                 \
        delete this;                                                                     \
        throw copy;                                                                      \
    }                                                                                    \
                                                                                         \
protected:                                                                               \
    void dispatchSerialize(xcArchive& ar) override;                                      \
    void serialize_(xcArchive& ar, std::uint8_t version);                                \
                                                                                         \
private:                                                                                 \
    static xcPersistent* make();                                                         \
    static const xc_Instantiator sExemplar;

// Out-of-line part of a family's `Errors` (in the family's .cpp file).
#define XC_OC_ERRORS_BASE_DEFINE(Family, qualified)                                      \
    XC_OC_DISPATCH_LEVEL_(Family::Errors)                                                \
    void Family::Errors::serialize_(xcArchive& ar, std::uint8_t version) {               \
        if (version > 0) throw xcArchive::UnknownVersion(std::string(qualified), 0);     \
        xcExceptionWithString::dispatchSerialize(ar);                                    \
    }

// Out-of-line part of a concrete error (in the family's .cpp file).
#define XC_OC_ERROR_DEFINE(Family, Cls, qualified)                                       \
    XC_OC_DISPATCH_LEVEL_(Family::Cls)                                                   \
    void Family::Cls::serialize_(xcArchive& ar, std::uint8_t version) {                  \
        if (version > 0) throw xcArchive::UnknownVersion(std::string(qualified), 0);     \
        Family::Errors::dispatchSerialize(ar);                                           \
    }                                                                                    \
    xcPersistent* Family::Cls::make() { return new Family::Cls(); }                      \
    const xc_Instantiator Family::Cls::sExemplar(typeid(Family::Cls), &Family::Cls::make);
