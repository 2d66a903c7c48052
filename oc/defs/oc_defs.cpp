#include "oc/defs/oc_defs.h"

XC_OC_ERRORS_BASE_DEFINE(xcOCDefs, "xcOCDefs::Errors")
XC_OC_ERROR_DEFINE(xcOCDefs, BadParams, "xcOCDefs::BadParams")
XC_OC_ERROR_DEFINE(xcOCDefs, BadImage, "xcOCDefs::BadImage")
XC_OC_ERROR_DEFINE(xcOCDefs, NotImplemented, "xcOCDefs::NotImplemented")
XC_OC_ERROR_DEFINE(xcOCDefs, SameKey, "xcOCDefs::SameKey")
XC_OC_ERROR_DEFINE(xcOCDefs, BadKey, "xcOCDefs::BadKey")
XC_OC_ERROR_DEFINE(xcOCDefs, BadIndex, "xcOCDefs::BadIndex")
XC_OC_ERROR_DEFINE(xcOCDefs, NotCompiled, "xcOCDefs::NotCompiled")
XC_OC_ERROR_DEFINE(xcOCDefs, MarkRectNotSpecified, "xcOCDefs::MarkRectNotSpecified")
XC_OC_ERROR_DEFINE(xcOCDefs, RectNotSpecified, "xcOCDefs::RectNotSpecified")
XC_OC_ERROR_DEFINE(xcOCDefs, MetricNotSpecified, "xcOCDefs::MetricNotSpecified")
XC_OC_ERROR_DEFINE(xcOCDefs, ThresholdAndInvertNotSpecified,
                   "xcOCDefs::ThresholdAndInvertNotSpecified")
XC_OC_ERROR_DEFINE(xcOCDefs, NoImage, "xcOCDefs::NoImage")
XC_OC_ERROR_DEFINE(xcOCDefs, IntegerOverflow, "xcOCDefs::IntegerOverflow")
XC_OC_ERROR_DEFINE(xcOCDefs, UnrepresentableKey, "xcOCDefs::UnrepresentableKey")
XC_OC_ERROR_DEFINE(xcOCDefs, BadFileFormat, "xcOCDefs::BadFileFormat")
