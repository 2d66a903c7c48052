#include "oc/extract/extract_defs.h"

XC_EXCEPTION_DEFINE(xc_OCExtractDefs::xc_OCExtractError, xcExceptionWithString,
                    "xc_OCExtractDefs::xc_OCExtractError")
