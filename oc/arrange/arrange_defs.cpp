#include "oc/arrange/arrange_defs.h"

XC_OC_ERRORS_BASE_DEFINE(xcOCArrangeDefs, "xcOCArrangeDefs::Errors")
XC_OC_ERROR_DEFINE(xcOCArrangeDefs, BadParams, "xcOCArrangeDefs::BadParams")
XC_OC_ERROR_DEFINE(xcOCArrangeDefs, BadMask, "xcOCArrangeDefs::BadMask")

namespace {

template <class E>
xcArchive& exchangeEnum(xcArchive& ar, E& e) {
    std::uint32_t v = static_cast<std::uint32_t>(e);
    ar || v;
    if (ar.isLoading()) e = static_cast<E>(v);
    return ar;
}

}  // namespace

xcArchive& operator||(xcArchive& ar, xcOCArrangeDefs::LineType& v) { return exchangeEnum(ar, v); }
xcArchive& operator||(xcArchive& ar, xcOCArrangeDefs::OrientationMode& v) {
    return exchangeEnum(ar, v);
}
xcArchive& operator||(xcArchive& ar, xcOCArrangeDefs::OrientationReference& v) {
    return exchangeEnum(ar, v);
}
xcArchive& operator||(xcArchive& ar, xcOCArrangeDefs::CharStatus& v) { return exchangeEnum(ar, v); }
