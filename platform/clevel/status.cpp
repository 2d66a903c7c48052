#include "platform/clevel/status.h"

const char* xstd_statusText(xstd_status s) {
    switch (s) {
        case xstd_eSuccess:
            return "Success";
        case xstd_eBadArgument:
            return "Bad argument";
        case xstd_eOutOfMemory:
            return "Out of memory";
        case xstd_eNotRepresentable:
            return "Character code not representable";
        case xoc_eThresholdRange:
            return "Threshold must be between 0 and 256 inclusive";
        case xoc_eThresholdAndInvertNotSpecified:
            return "Threshold and invert not specified";
        case xoc_eRectNotSpecified:
            return "Rect not specified";
        case xoc_eFixedPointOverflow:
            return "Value overflows fixed point value range";
        case xoc_eIntegerOverflow:
            return "Value overflows integer value range";
        default:
            return "Unknown status";
    }
}
