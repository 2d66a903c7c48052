#include "oc/defs/status_converter.h"

#include "oc/defs/oc_defs.h"
#include "platform/core/status.h"

void xf_OCConvertStatus(std::int32_t status) {
    switch (static_cast<std::uint32_t>(status)) {
        case 0x800013ECu:
            throw xcOCDefs::BadParams(L"Threshold must be between 0 and 256 inclusive");
        case 0x800013EDu:
            throw xcOCDefs::ThresholdAndInvertNotSpecified(L"Threshold and invert not specified");
        case 0x800013EFu:
            throw xcOCDefs::RectNotSpecified(L"Rect not specified");
        case 0x800013F0u:
            throw xcOCDefs::IntegerOverflow(L"Value overflows fixed point value range");
        case 0x800013F1u:
            throw xcOCDefs::IntegerOverflow(L"Value overflows integer value range");
        default:
            return;  // not ours: the core library handles it
    }
}

namespace {

const bool sRegistered = [] {
    xfRegisterExceptionConverter(kOCStatusConverterId, &xf_OCConvertStatus);
    return true;
}();

}  // namespace
