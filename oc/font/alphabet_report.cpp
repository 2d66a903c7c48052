// Reports of an alphabet: confusion matrix text and diagnostic records.
#include "oc/font/alphabet_report.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "oc/font/alphabet.h"
#include "platform/clevel/assert.h"
#include "platform/core/pel_ops.h"
#include "platform/core/text.h"
#include "platform/diag/diag_object.h"
#include "platform/diag/graphic_geometry.h"
#include "platform/diag/graphic_shapes.h"

namespace {

std::wstring quoted(const std::wstring& s) { return L"'" + s + L"'"; }
std::wstring dbl(double v) { return xfDbl(v, 3, false); }
std::wstring hexKey(long key) { return xfHex(static_cast<std::int64_t>(key), 8); }

std::wstring rectText(const xcPelRect& r) {
    return L"ul(" + xfStr(r.ul().x) + L", " + xfStr(r.ul().y) + L") lr(" +
           xfStr(r.lr().x) + L", " + xfStr(r.lr().y) + L") size(" + xfStr(r.width()) +
           L", " + xfStr(r.height()) + L")";
}

std::wstring typeName(xcOCModel::CharType t) {
    switch (t) {
    case xcOCModel::eNormal: return L"eNormal";
    case xcOCModel::eBlank: return L"eBlank";
    }
    return L"InvalidEnumValue";
}

// The image area (green outline, image coordinates) and the client axes (blue).
void addGraphics(xcDiagRecord* record, const xcPelRect& area) {
    xcGraphicList areaList;
    areaList.append(xcGraphicHandle(new xcGraphicWithFill<xcRect, xcGenRect>(
        xcRect(area), xcColor::greenColor(), false)));
    const double a =
        std::max(3.0, 0.5 * static_cast<double>(std::min(area.width(), area.height())));
    xcGraphicList axes;
    axes.append(xcGraphicHandle(new xcGraphicSimple<xcCoordAxes>(
        xcCoordAxes({0.0, 0.0}, {a, 0.0}, {0.0, a}), xcColor::blueColor())));
    record->graphics(areaList, 1, L"Image area");
    record->graphics(axes, 2, L"Client coordinate axes");
}

void addCharacter(xcDiagObject* diag, long index, const xcOCModel& m) {
    const std::wstring title = L"Character #" + xfStr(index) + L": " + quoted(m.name());
    xcDiagRecord* record = xf_AddImage(diag, m.image(), title, true);
    if (record == nullptr) xstd_assert_(__LINE__, "no image record");
    std::wstring text = L"Character info\n";
    text += L"  key = " + hexKey(m.key()) + L"\n";
    text += L"  name = " + quoted(m.name()) + L"\n";
    text += L"  description = '" + m.description() + L"'\n";
    text += L"  type = " + typeName(m.charType()) + L"\n";
    text += L"  imageArea = " + rectText(m.imageArea()) + L"\n";
    if (m.image().isBound() && m.charType() != xcOCModel::eBlank) {
        if (!m.image().window().contains(m.imageArea()))
            xstd_assert_(__LINE__, "image window does not contain the image area");
        xcPelBuffer_const<unsigned char> area = m.image();
        area.window(m.imageArea());
        text += L"  minPixelValue = " + xfStr(static_cast<int>(xfPelMin(area))) + L"\n";
        text += L"  maxPixelValue = " + xfStr(static_cast<int>(xfPelMax(area))) + L"\n";
    }
    record->text(text, L"Character info");
    addGraphics(record, m.imageArea());

    if (!m.mask().isBound()) return;
    diag->level(diag->level() + 1);
    xcDiagRecord* maskRecord = xf_AddImage(diag, m.mask(), L"mask", true);
    if (maskRecord == nullptr) xstd_assert_(__LINE__, "no mask record");
    addGraphics(maskRecord, m.imageArea());
    if (m.charType() != xcOCModel::eBlank) {
        if (!m.mask().window().contains(m.imageArea()))
            xstd_assert_(__LINE__, "mask window does not contain the image area");
        xcPelBuffer_const<unsigned char> area = m.mask();
        area.window(m.imageArea());
        const std::vector<long> histogram = xfPelHistogram(area);
        long dontCare = 0;
        for (int v = 0; v < 128; ++v) dontCare += histogram[static_cast<std::size_t>(v)];
        const long care = m.imageArea().width() * m.imageArea().height() - dontCare;
        maskRecord->text(L"Mask info\n  nCarePixels = " + xfStr(care) +
                             L"\n  nDontCarePixels = " + xfStr(dontCare) + L"\n",
                         L"Mask info");
    }
    diag->level(diag->level() - 1);
}

}  // namespace

std::wstring xf_ConfusionMatrix(const xcOCAlphabet* alphabet, bool listPairs) {
    if (alphabet == nullptr || alphabet->numChars() == 0 || !alphabet->isCompiled()) return L"";
    const double threshold = alphabet->confusionThreshold();
    const auto& chars = alphabet->characters();

    std::wstring text = L"Confusion matrix:\n";
    for (const auto& c : chars)
        if (c) text += L"\t" + quoted(c->name());
    text += L"\n";

    std::wstring pairs;
    for (const auto& r : chars) {
        if (!r) continue;
        text += quoted(r->name());
        for (const auto& c : chars) {
            if (!c) continue;
            const double confusion = alphabet->confusion(r->key(), c->key());
            text += L"\t" + dbl(confusion);
            if (listPairs && r->key() != c->key() && confusion > threshold) {
                const xcXform<2> x = alphabet->characterOffset(r->key(), c->key());
                if (!xfRealEq(x.matrix(), xcMatrix<2>(), 1e-15))
                    xstd_assert_(__LINE__, "offset of a confusing pair is not a translation");
                pairs += L"score " + dbl(confusion) + L" for (" + quoted(r->name()) + L", " +
                         quoted(c->name()) + L") keys(" + hexKey(r->key()) + L", " +
                         hexKey(c->key()) + L") at (" + dbl(x.trans().x()) + L", " +
                         dbl(x.trans().y()) + L")\n";
            }
        }
        text += L"\n";
    }
    if (listPairs) text += L"Confusing pairs:\n" + pairs;
    return text;
}

xcDiagRecord* xf_AddAlphabet(xcDiagObject* diag, const xcOCAlphabet* alphabet,
                             const std::wstring& annotation, bool addCharacters) {
    if (diag == nullptr || alphabet == nullptr) return nullptr;
    xcDiagRecord* record = diag->newDiagRecord();
    record->recordAnnotation(annotation);
    std::wstring text = L"Alphabet general info\n";
    text += L"  name = '" + alphabet->name() + L"'\n";
    text += L"  numChars = " + xfStr(alphabet->numChars()) + L"\n";
    text += L"  confusionThreshold = " + dbl(alphabet->confusionThreshold()) + L"\n";
    text += L"  isCompiled = " + xfStr(alphabet->isCompiled()) + L"\n";
    text += xf_ConfusionMatrix(alphabet, true) + L"\n";
    record->text(text, L"Alphabet general info");
    if (!addCharacters) return record;

    const long index = diag->numRecords() - 1;
    diag->level(diag->level() + 1);
    const auto& chars = alphabet->characters();
    for (std::size_t i = 0; i < chars.size(); ++i)
        if (chars[i]) addCharacter(diag, static_cast<long>(i), *chars[i]);
    diag->level(diag->level() - 1);
    if (index < 0 || index >= diag->numRecords()) xstd_assert_(__LINE__, "record index");
    return diag->diagRecord(index);
}
