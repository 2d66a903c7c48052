#include "platform/vision/geo_align_defs.h"

#include "platform/core/archive.h"

void xc_GeoDefs::Errors::dispatchSerialize(xcArchive& ar) {
    xf_SerializeExceptionLevel(
        ar, this, sizeof(Errors), "xc_GeoDefs::Errors", [](xcArchive& a, void* self) {
            static_cast<Errors*>(self)->xcExceptionWithString::dispatchSerialize(a);
        });
}

XC_EXCEPTION_DEFINE(xc_GeoDefs::BadTrainImage, xc_GeoDefs::Errors, "xc_GeoDefs::BadTrainImage")
XC_EXCEPTION_DEFINE(xc_GeoDefs::BadTrainFlags, xc_GeoDefs::Errors, "xc_GeoDefs::BadTrainFlags")
XC_EXCEPTION_DEFINE(xc_GeoDefs::BadGrainLimits, xc_GeoDefs::Errors, "xc_GeoDefs::BadGrainLimits")
XC_EXCEPTION_DEFINE(xc_GeoDefs::TooFewEdges, xc_GeoDefs::Errors, "xc_GeoDefs::TooFewEdges")
XC_EXCEPTION_DEFINE(xc_GeoDefs::NotTrained, xc_GeoDefs::Errors, "xc_GeoDefs::NotTrained")
XC_EXCEPTION_DEFINE(xc_GeoDefs::InternalError, xcExceptionWithString, "xc_GeoDefs::InternalError")
XC_EXCEPTION_DEFINE(xc_GeoDefs::BadRunInput, xc_GeoDefs::InternalError, "xc_GeoDefs::BadRunInput")
