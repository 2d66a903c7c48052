// The module's converter of C-level statuses, registered with the core library under the
// number 159 when the module loads. xfThrowExceptionOnFailure (platform/core/status.h) hands
// it every negative status; it throws:
//   0x800013EC  xcOCDefs::BadParams                       "Threshold must be between 0 and 256 inclusive"
//   0x800013ED  xcOCDefs::ThresholdAndInvertNotSpecified  "Threshold and invert not specified"
//   0x800013EF  xcOCDefs::RectNotSpecified                "Rect not specified"
//   0x800013F0  xcOCDefs::IntegerOverflow                 "Value overflows fixed point value range"
//   0x800013F1  xcOCDefs::IntegerOverflow                 "Value overflows integer value range"
// and returns for any other status.
#pragma once

#include <cstdint>

// The number the converter is registered under.
inline constexpr long kOCStatusConverterId = 159;

// The converter itself (registered at load; exposed for tests).
void xf_OCConvertStatus(std::int32_t status);
