// xcOCDefs: the scope of the font model's error family and of the polarity enumeration.
//
// Every failure of the font model, the character records and several image utilities is one
// of the errors below, thrown by value with a fixed message (sometimes empty). Numbers:
// 0x10005E00 ... 0x10005E0F (0x10005E08 belongs to no class).
#pragma once

#include "oc/defs/error_family.h"

class xcOCDefs {
public:
    // Polarity of a character's marks: dark on light, light on dark, not known.
    enum Polarity { eDarkOnLight = 1, eLightOnDark = 2, ePolarityUnknown = 4 };

    class Errors;
    class BadParams;
    class BadImage;
    class NotImplemented;
    class SameKey;
    class BadKey;
    class BadIndex;
    class NotCompiled;
    class MarkRectNotSpecified;
    class RectNotSpecified;
    class MetricNotSpecified;
    class ThresholdAndInvertNotSpecified;
    class NoImage;
    class IntegerOverflow;
    class UnrepresentableKey;
    class BadFileFormat;
};

// The abstract base of the family.
class xcOCDefs::Errors : public xcExceptionWithString {
    XC_OC_ERRORS_BASE_BODY()
};

// clang-format off
class xcOCDefs::BadParams : public xcOCDefs::Errors { XC_OC_ERROR_BODY(BadParams, 0x10005E00) };
class xcOCDefs::BadImage : public xcOCDefs::Errors { XC_OC_ERROR_BODY(BadImage, 0x10005E01) };
class xcOCDefs::NotImplemented : public xcOCDefs::Errors { XC_OC_ERROR_BODY(NotImplemented, 0x10005E02) };
class xcOCDefs::SameKey : public xcOCDefs::Errors { XC_OC_ERROR_BODY(SameKey, 0x10005E03) };
class xcOCDefs::BadKey : public xcOCDefs::Errors { XC_OC_ERROR_BODY(BadKey, 0x10005E04) };
class xcOCDefs::BadIndex : public xcOCDefs::Errors { XC_OC_ERROR_BODY(BadIndex, 0x10005E05) };
class xcOCDefs::NotCompiled : public xcOCDefs::Errors { XC_OC_ERROR_BODY(NotCompiled, 0x10005E06) };
class xcOCDefs::MarkRectNotSpecified : public xcOCDefs::Errors { XC_OC_ERROR_BODY(MarkRectNotSpecified, 0x10005E07) };
class xcOCDefs::RectNotSpecified : public xcOCDefs::Errors { XC_OC_ERROR_BODY(RectNotSpecified, 0x10005E09) };
class xcOCDefs::MetricNotSpecified : public xcOCDefs::Errors { XC_OC_ERROR_BODY(MetricNotSpecified, 0x10005E0A) };
class xcOCDefs::ThresholdAndInvertNotSpecified : public xcOCDefs::Errors { XC_OC_ERROR_BODY(ThresholdAndInvertNotSpecified, 0x10005E0B) };
class xcOCDefs::NoImage : public xcOCDefs::Errors { XC_OC_ERROR_BODY(NoImage, 0x10005E0C) };
class xcOCDefs::IntegerOverflow : public xcOCDefs::Errors { XC_OC_ERROR_BODY(IntegerOverflow, 0x10005E0D) };
class xcOCDefs::UnrepresentableKey : public xcOCDefs::Errors { XC_OC_ERROR_BODY(UnrepresentableKey, 0x10005E0E) };
class xcOCDefs::BadFileFormat : public xcOCDefs::Errors { XC_OC_ERROR_BODY(BadFileFormat, 0x10005E0F) };
// clang-format on
