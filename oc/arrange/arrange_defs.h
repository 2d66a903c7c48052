// xcOCArrangeDefs: the arranger's enumerations and its error family.
//
// The enumerations are archived as unsigned 32-bit values (operator|| below); their underlying
// type is int, so any value read or passed in is representable and can be rejected by a check. The
// errors follow the module's error pattern (oc/defs/error_family.h): an abstract `Errors` base
// derived from xcExceptionWithString and two concrete errors, each persistent (version 0 at both
// levels), self-rethrowing and registered with the persistence registry:
//   BadParams  0x10007400  a parameter outside its valid values
//   BadMask    0x10007401  a care mask whose size or offset differs from the image's
// They are constructed from a wide C string; a null pointer gives the empty message.
#pragma once

#include <cstdint>
#include <string>

#include "oc/defs/error_family.h"

class xcOCArrangeDefs {
public:
    // How the characters of a line lie: on a straight line, on a circular arc, or whichever
    // of the two is cheaper for each line.
    enum LineType : int { eStraight = 0, eCircular = 1, eDontCare = 2 };
    // What a character's orientation is judged against: the expected orientation, or the
    // line's own average orientation.
    enum OrientationMode : int { eSpecified = 0, eAverage = 1 };
    // The frame of the expected orientation: the image's client frame, or the line direction.
    enum OrientationReference : int { eAbsolute = 0, eRelative = 1 };
    // What the arranger made of one target position.
    enum CharStatus : int { eMatched = 0, eInferred = 1, eUnknown = 2 };

    class Errors;
    class BadParams;
    class BadMask;
};

// The abstract base of the family.
class xcOCArrangeDefs::Errors : public xcExceptionWithString {
    XC_OC_ERRORS_BASE_BODY()
};

class xcOCArrangeDefs::BadParams : public xcOCArrangeDefs::Errors {
    XC_OC_ERROR_BODY(BadParams, 0x10007400)
};
class xcOCArrangeDefs::BadMask : public xcOCArrangeDefs::Errors {
    XC_OC_ERROR_BODY(BadMask, 0x10007401)
};

// The enumerations as unsigned 32-bit values. Loading assigns the value read unchecked.
xcArchive& operator||(xcArchive& ar, xcOCArrangeDefs::LineType& v);
xcArchive& operator||(xcArchive& ar, xcOCArrangeDefs::OrientationMode& v);
xcArchive& operator||(xcArchive& ar, xcOCArrangeDefs::OrientationReference& v);
xcArchive& operator||(xcArchive& ar, xcOCArrangeDefs::CharStatus& v);
