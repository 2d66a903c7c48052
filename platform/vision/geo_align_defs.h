// Geometric alignment tool: its scope class xc_GeoDefs, with the numbers callers pass (train
// flags, algorithm values, degrees of freedom) and the tool's error family.
//
// Errors:
//   - xc_GeoDefs::Errors is the abstract base of everything that makes a training fail
//     (a bad training image, bad train flags, bad grain limits, too few edges at the grain
//     asked for) and of the errors of using an untrained pattern outside a run;
//   - xc_GeoDefs::InternalError is what a run raises for any failure that is not a caller's
//     time-out or cancellation (those pass through as the core library raised them); its
//     subclass xc_GeoDefs::BadRunInput tells the caller's own mistakes (an untrained pattern,
//     an unbound image, a mask that does not cover the image, a singular client transform)
//     from failures of the machinery, while a handler of InternalError still sees both.
// Every error carries a descriptive wide message, a fixed errorNumber() in
// 0x10000200 ... 0x10000207, and is persistent (version byte 0 per class level, then the
// message).
#pragma once

#include <string>

#include "platform/core/exception.h"

class xc_GeoDefs {
public:
    // Train flags: a bit mask.
    enum TrainFlags : long {
        // Scores count only gradients of the trained polarity (dark on light stays dark on
        // light). Without it a reversed-contrast instance matches as well.
        eTrainMatchPolarity = 1,
        // The training edge threshold follows the training image's own contrast (a fraction
        // of its strong gradients, never below the fixed threshold). Without it the fixed
        // threshold kTrainContrast is used.
        eTrainAutoContrast = 2,
        eTrainAllFlags = 3,
    };

    // Run algorithms.
    enum Algorithm : long {
        // Poses to the resolution of the finest pyramid grid (no least-squares fit).
        eAlgorithmGrid = 1,
        // Poses refined by a least-squares fit of the pattern's edges to the image's sub-pixel
        // edges: the accurate default.
        eAlgorithmRefined = 2,
    };

    // Degrees of freedom of a pose besides translation, and their zone-enable bits.
    enum DegreeOfFreedom : long {
        eDofAngle = 1,  // rotation in degrees, x towards y
        eDofScale = 2,  // uniform scale factor
    };
    enum ZoneBits : long { eZoneAngle = 1, eZoneScale = 2, eZoneAll = 3 };

    // Fixed training edge threshold: gradient magnitude in grey levels per pixel (a step edge
    // of height h has a magnitude of about h / 2).
    static constexpr double kTrainContrast = 10.0;

    class Errors;
    class BadTrainImage;
    class BadTrainFlags;
    class BadGrainLimits;
    class TooFewEdges;
    class NotTrained;
    class InternalError;
    class BadRunInput;
};

// Abstract base of the training errors.
class xc_GeoDefs::Errors : public xcExceptionWithString {
protected:
    explicit Errors(const std::wstring& message) : xcExceptionWithString(message) {}
    Errors(const Errors&) = default;
    Errors& operator=(const Errors&) = default;
    void dispatchSerialize(xcArchive& ar) override;

public:
    ~Errors() override = default;
};

// The training image is unbound, too small, or its client transform cannot be used.
class xc_GeoDefs::BadTrainImage : public xc_GeoDefs::Errors {
    XC_EXCEPTION_BODY(BadTrainImage, xc_GeoDefs::Errors, 0x10000200)
};
// Train flags outside eTrainAllFlags.
class xc_GeoDefs::BadTrainFlags : public xc_GeoDefs::Errors {
    XC_EXCEPTION_BODY(BadTrainFlags, xc_GeoDefs::Errors, 0x10000201)
};
// Grain limits that are not finite, below 1 pixel, coarse below fine, or above 64 pixels.
class xc_GeoDefs::BadGrainLimits : public xc_GeoDefs::Errors {
    XC_EXCEPTION_BODY(BadGrainLimits, xc_GeoDefs::Errors, 0x10000202)
};
// The training image has too few edge points at one of the grains asked for.
class xc_GeoDefs::TooFewEdges : public xc_GeoDefs::Errors {
    XC_EXCEPTION_BODY(TooFewEdges, xc_GeoDefs::Errors, 0x10000203)
};
// A trained pattern's data was asked of an untrained pattern.
class xc_GeoDefs::NotTrained : public xc_GeoDefs::Errors {
    XC_EXCEPTION_BODY(NotTrained, xc_GeoDefs::Errors, 0x10000204)
};

// Any failure of a run other than a caller's time-out or cancellation: the caller's mistakes
// (as BadRunInput below) or a failure of the machinery itself (out of memory, an error of a
// tool the run calls).
class xc_GeoDefs::InternalError : public xcExceptionWithString {
    XC_EXCEPTION_BODY(InternalError, xcExceptionWithString, 0x10000207)
};
// A run given what it cannot use: an untrained pattern, an unbound image, a mask whose window
// does not contain the image's window, or an image whose client-from-image transform is
// singular. Archived as its version byte 0, then the InternalError level.
class xc_GeoDefs::BadRunInput : public xc_GeoDefs::InternalError {
    XC_EXCEPTION_BODY(BadRunInput, xc_GeoDefs::InternalError, 0x10000205)
};
