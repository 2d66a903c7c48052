// xc_OCExtractDefs: the scope of the character extraction's enumeration and of its one error.
//
// Symmetry says how a character's image matches itself when turned (measured when the
// extraction model trains its pattern, extract_model.h). xc_OCExtractError is the error of the
// extraction and of the arrangement refinement: number 0x10007402, a fixed wide message per
// throw, persistent (version byte 0, then the message as xcExceptionWithString writes it).
#pragma once

#include "platform/core/exception.h"

class xc_OCExtractDefs {
public:
    // How a character's image matches itself when turned.
    enum Symmetry {
        // No match at 180 degrees; also the value of characters that have no pattern.
        eNotSymmetric = 0,
        // The pattern finds the image turned by 180 degrees, but not at every probe angle.
        eSymmetric180 = 1,
        // The pattern finds the image turned by 180 degrees and at every probe angle.
        eSymmetricAllAngles = 2,
    };

    class xc_OCExtractError;
};

// The error of the extraction ("Bad index" for an instance index outside a result) and of the
// refinement. Derives directly from xcExceptionWithString.
class xc_OCExtractDefs::xc_OCExtractError : public xcExceptionWithString {
    XC_EXCEPTION_BODY(xc_OCExtractError, xcExceptionWithString, 0x10007402)
};
