#include "oc/extract/extract_params.h"

xc_OCExtractModelParams::xc_OCExtractModelParams()
    : m_angleRange(-180.0, 180.0), m_scaleRange(0.5, 2.0) {}
