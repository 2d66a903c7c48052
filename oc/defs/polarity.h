// Conversion between the module's polarity (xcOCDefs::Polarity) and the C-level record's
// (xoc_charPolarity). Both use the values 1 (dark marks on light), 2 (light marks on dark) and
// 4 (not known); no other value is legal.
#pragma once

#include "oc/defs/oc_defs.h"
#include "platform/clevel/char_record.h"

// 1, 2 and 4 map to themselves. Any other input throws xcOCDefs::BadParams "Illegal polarity"
// and leaves `out` unchanged.
void xfConvertPolarity(xoc_charPolarity in, xcOCDefs::Polarity& out);
void xfConvertPolarity(xcOCDefs::Polarity in, xoc_charPolarity& out);
