#include "oc/defs/polarity.h"

namespace {

bool legal(long v) { return v == 1 || v == 2 || v == 4; }

}  // namespace

void xfConvertPolarity(xoc_charPolarity in, xcOCDefs::Polarity& out) {
    if (!legal(static_cast<long>(in))) throw xcOCDefs::BadParams(L"Illegal polarity");
    out = static_cast<xcOCDefs::Polarity>(static_cast<int>(in));
}

void xfConvertPolarity(xcOCDefs::Polarity in, xoc_charPolarity& out) {
    if (!legal(static_cast<long>(in))) throw xcOCDefs::BadParams(L"Illegal polarity");
    out = static_cast<xoc_charPolarity>(static_cast<int>(in));
}
