#include "platform/core/timeout.h"

XC_EXCEPTION_DEFINE(xcTimeout::Expired, xcExceptionWithString, "xcTimeout::Expired")
XC_EXCEPTION_DEFINE(xcTimeout::InternalExpired, xcExceptionWithString,
                    "xcTimeout::InternalExpired")
