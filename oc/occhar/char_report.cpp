#include "oc/occhar/char_report.h"

#include <cstdint>

#include "platform/core/text.h"
#include "platform/diag/graphic_geometry.h"
#include "platform/diag/graphic_shapes.h"

namespace {

using RectType = xcOCCharMetrics::RectType;

// Appends the unfilled outline of the metrics' rectangle `type` when it is specified.
void appendOutline(xcGraphicList& list, const xcOCCharMetrics& m, RectType type,
                   const xcColor& color) {
    if (!m.isRectSpecified(type)) return;
    list.append(
        xcGraphicHandle(new xcGraphicWithFill<xcRect, xcGenRect>(m.rect(type), color, false)),
        true);
}

}  // namespace

std::wstring xf_OCCharKeyText(const xcOCCharKey& key) {
    return L"Character code : " + xfStr(static_cast<std::uint32_t>(key.characterCode())) + L"\n" +
           L"Instance : " + xfStr(static_cast<std::int32_t>(key.instance())) + L"\n" +
           L"Variant : " + xfStr(static_cast<std::int32_t>(key.variant())) + L"\n" + L"FontID : " +
           xfStr(static_cast<std::int32_t>(key.fontID())) + L"\n";
}

xcDiagRecord* xf_AddOCChar(xcDiagObject* diag, const xcOCChar& c, const std::wstring& title) {
    xcDiagRecord* record = xf_AddImage(diag, c.image(false), title, false);
    if (!record) return nullptr;

    std::wstring text;
    try {
        text = L"Name : " + c.name() + L"\n";
    } catch (const xcCharCodeDefs::NotRepresentable&) {
        // An unrepresentable name is left out.
    }
    text += xf_OCCharKeyText(c.key());
    text += L"Polarity : " + xfStr(static_cast<long>(c.polarity())) + L"\n";
    record->text(text, L"Key");

    const xcOCCharMetrics& m = c.metrics();
    xcGraphicList imageList, clientList;
    appendOutline(imageList, m, xcOCCharMetrics::eMarkRectImage, xcColor::greenColor());
    appendOutline(imageList, m, xcOCCharMetrics::eCellRectImage, xcColor::orangeColor());
    appendOutline(clientList, m, xcOCCharMetrics::eMarkRect, xcColor::greenColor());
    appendOutline(clientList, m, xcOCCharMetrics::eCellRect, xcColor::orangeColor());
    if (clientList.size() > imageList.size())
        record->graphics(clientList, xcDisplay::eClientCoords, L"rect(s)");
    else
        record->graphics(imageList, xcDisplay::eImageCoords, L"rect(s)");
    return record;
}
