// "OC Arranger: Input": the image, alphabet, target and parameters the arranger was given.
#include <limits>
#include <numbers>
#include <sstream>

#include "oc/arrange/arrange_diag_text.h"
#include "oc/arrange/arrange_diags.h"
#include "oc/arrange/arrange_diags_level.h"
#include "oc/font/alphabet_report.h"
#include "platform/core/text.h"

namespace {

// "No limit" stands for the largest value of a count limit.
std::wstring limitText(long v) {
    return v == xcOCArrangeParams::kNoLimit ? std::wstring(L"No limit") : xfStr(v);
}

std::wstring imageInfo(const xcPelBuffer_const<unsigned char>& image) {
    std::wostringstream s;
    s << L"Image info" << L"\n";
    s << L"Size:\t" << image.width() << L" x " << image.height() << L"\n";
    s << L"Offset:\t" << image.offset().x << L" x " << image.offset().y << L"\n";
    s << L"\n" << std::ends;
    return s.str();
}

std::wstring runParams(const xcOCArrangeParams& p) {
    std::wostringstream s;
    s << L"Run params" << L"\n";
    s << L"Max lines\t\t" << limitText(p.maxLines()) << L"\n";
    s << L"Max unmatched chars\t" << limitText(p.maxUnmatchedChars()) << L"\n";
    s << L"Line type\t\t\t";
    switch (p.lineType()) {
        case xcOCArrangeDefs::eStraight:
            s << L"Straight\n";
            break;
        case xcOCArrangeDefs::eCircular:
            s << L"Circular\n";
            break;
        default:
            s << L"Don't care\n";
            break;
    }
    const bool specified = p.orientationMode() == xcOCArrangeDefs::eSpecified;
    s << L"Orientation mode\t\t" << (specified ? L"Specified\n" : L"Average\n");
    s << L"Orientation frame\t\t"
      << (p.orientationReference() == xcOCArrangeDefs::eAbsolute ? L"Absolute\n" : L"Relative\n");
    const double radians = p.expectedOrientation().toDouble();
    s << L"Expected Orientation\t" << radians << L" rad/" << radians * 180.0 / std::numbers::pi
      << L" deg (" << (specified ? L"used)\n" : L"not used)\n");
    s << L"\n";
    s << L"Line break cost\t\t" << p.lineBreakCost() << L"\n";
    s << L"Unmatched char cost\t" << p.unmatchedCharCost() << L"\n";
    s << L"Normal trans cost\t\t" << p.normalTransCost() << L"\n";
    s << L"Tangential trans cost\t" << p.tangentialTransCost() << L"\n";
    s << L"Orientation cost\t\t" << p.orientationCost() << L"\n";
    s << L"Scale cost\t\t" << p.scaleCost() << L"\n";
    s << L"\n" << std::ends;
    return s.str();
}

}  // namespace

void xf_AddArrangeInputDiags(const xcPelBuffer_const<unsigned char>& image,
                             const xcPelBuffer_const<unsigned char>& mask,
                             const xcOCAlphabet& alphabet, const std::vector<long>& keys,
                             const xcOCArrangeParams& params, xcDiagObject* diag) {
    if (diag == nullptr) return;
    std::vector<long> alphabetKeys;
    alphabetKeys.reserve(alphabet.characters().size());
    for (const auto& m : alphabet.characters()) alphabetKeys.push_back(m->key());

    xcDiagRecord* record = xf_AddImage(diag, image, L"OC Arranger: Input", false);
    record->text(image.isBound() ? imageInfo(image) : std::wstring(L"Image info\n\n") + L'\0',
                 L"Image info");
    record->text(L"Alphabet info\n" + xf_ArrangeKeyListText(alphabetKeys, alphabet) + L"\n",
                 L"Alphabet info");
    record->text(L"Target string\n" + xf_ArrangeKeyListText(keys, alphabet) + L"\n",
                 L"Target string");
    record->text(runParams(params), L"Run params");

    xc_ArrangeDiagLevel nested(*diag, 1);
    if (mask.isBound()) xf_AddImage(diag, mask, L"Runtime mask", false);
    xf_AddAlphabet(diag, &alphabet, L"Alphabet details", true);
}
