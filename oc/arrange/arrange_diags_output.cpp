// "OC Arranger: Output": what the arranger returns, and the details of every line.
#include "oc/arrange/arrange_diag_text.h"
#include "oc/arrange/arrange_diags.h"
#include "oc/arrange/arrange_diags_level.h"
#include "oc/font/line_arrangement.h"
#include "platform/clevel/assert.h"
#include "platform/core/text.h"
#include "platform/diag/graphic_geometry.h"
#include "platform/diag/graphic_shapes.h"

namespace {

std::wstring overallInfo(const std::vector<long>& keys, const xcOCAlphabet& alphabet,
                         const xcOCArrangeResults& r) {
    std::wstring t = L"isFound: " + xfStr(r.isFound()) + L"\n";
    t += L"isSearchTruncated: " + xfStr(r.isSearchTruncated()) + L"\n";
    t += L"clientFromArrangementXform: " +
         xf_ArrangeDecomposedXformText(r.clientFromArrangementXform()) + L"\n";
    t += L"\n";
    t += L"Number of characters: " + xfStr(keys.size()) + L"\n";
    t += L"Index\tStatus\t\tScore\tKey\t\tName\tType\tSize\n";
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const long status = i < r.statusFlags().size()
                                ? static_cast<long>(r.statusFlags()[i])
                                : static_cast<long>(xcOCArrangeDefs::eUnknown);
        const double score = i < r.scores().size() ? r.scores()[i] : 0.0;
        t += xfStr(i) + L"\t" + xf_ArrangeStatusName(status) + L"\t" + xfDbl(score, 3, false) +
             L"\t" + xfHex(keys[i], 8) + L"\t";
        if (alphabet.hasCharacter(keys[i])) {
            const xcOCModel& m = *alphabet.character(keys[i]);
            t += L"'" + m.name() + L"'\t" + xf_ArrangeCharTypeName(m.charType()) + L"\t" +
                 xfStr(m.imageArea().width()) + L"x" + xfStr(m.imageArea().height());
        } else {
            t += L"Key not found in alphabet!";
        }
        t += L"\n";
    }
    t += L"\n";
    const xcOCLineArrangement* a = r.arrangement().get();
    t += L"Arrangement name: " + (a ? a->name() : std::wstring()) + L"\n";
    t += L"Number of lines: " + xfStr(a ? a->numLines() : 0L) + L"\n";
    return t;
}

// The status of the first target position holding `key`; eUnknown when none does.
long statusOfKey(long key, const std::vector<long>& keys,
                 const std::vector<xcOCArrangeDefs::CharStatus>& statuses) {
    for (std::size_t i = 0; i < keys.size() && i < statuses.size(); ++i)
        if (keys[i] == key) return statuses[i];
    return xcOCArrangeDefs::eUnknown;
}

}  // namespace

void xf_AddArrangeLineDetails(const xcPtrHandle_const<xcOCLine>& lineHandle,
                              const xc2Rigid& linePose, const std::vector<long>& keys,
                              const std::vector<xcOCArrangeDefs::CharStatus>& statuses,
                              const xcXform<2>& clientFromArrangement, xcDiagObject* diag,
                              xcGraphicList& graphics) {
    if (diag == nullptr || !lineHandle) return;
    const xcOCLine& line = *lineHandle;
    const long n = line.numPositions();
    if (static_cast<long>(line.charPoses().size()) != n ||
        static_cast<long>(line.charScales().size()) != n ||
        static_cast<long>(line.keySetSequence().size()) != n)
        xstd_assert_(__LINE__, "line vectors differ in length");
    if (diag->numRecords() == 0) xstd_assert_(__LINE__, "no record to attach the line to");
    xcDiagRecord* record = diag->diagRecord(diag->numRecords() - 1);

    const xcXform<2> clientFromLine = clientFromArrangement * linePose.xform();
    std::wstring t = L"Line pose: " + xf_ArrangeRigidText(linePose) + L"\n" + L"\n";
    t += L"Number of positions: " + xfStr(n) + L"\n";
    bool anyKnown = false;
    for (long p = 0; p < n; ++p) {
        const xcOCKeySet& set = line.keySetSequence()[p];
        t += L"Position #" + xfStr(p) + L"\n";
        t += L"  Number of characters: " + xfStr(set.keys().size()) + L"\n";
        for (std::size_t c = 0; c < set.keys().size(); ++c) {
            t += L"    Character #" + xfStr(c) + L"\n";
            const xcOCAlphabet* alphabet = line.alphabet().get();
            if (alphabet == nullptr || !alphabet->hasCharacter(set.keys()[c])) continue;
            const xcOCModel& m = *alphabet->character(set.keys()[c]);
            const long status = statusOfKey(m.key(), keys, statuses);
            const double scale = line.charScales()[p];
            t += L"      Name: '" + m.name() + L"' " + L"  Type: " +
                 xf_ArrangeCharTypeName(m.charType()) + L"  Key: " + xfHex(m.key(), 8) + L"\n";
            t += L"      Status: " + xf_ArrangeStatusName(status) + L"\n";
            t += L"      Pose: " + xf_ArrangeRigidText(line.charPoses()[p]) + L"\n";
            t += L"      Scale: " + xfStr(scale) + L"\n";
            const xcXform<2> clientFromChar =
                clientFromLine * line.charPoses()[p].xform() *
                xcXform<2>(xcMatrix<2>(scale, 0.0, 0.0, scale), xcVector<2>(0.0, 0.0));
            xf_AddArrangeCharGraphic(graphics, xf_ArrangeCellRect(m), clientFromChar, status);
            anyKnown = anyKnown || status != xcOCArrangeDefs::eUnknown;
        }
        t += L"\n";
    }
    if (anyKnown) {
        const xcRect box = line.encloseRect(xcXform<2>(), xcXform<2>(), xcXform<2>(), 0.0,
                                            xcRadian(0.0), 0.0, false);
        graphics.append(xcGraphicHandle(new xcGraphicWithFill<xcRect, xcGenRect>(
            xcGenRect(box, clientFromLine), xcColor::yellowColor(), false)));
    }
    record->graphics(graphics, xcDisplay::eClientCoords, L"Graphics");
    record->text(t, L"Details");
}

void xf_AddArrangeOutputDiags(const xcPelBuffer_const<unsigned char>& image,
                              const std::vector<long>& keys, const xcOCAlphabet& alphabet,
                              const xcOCArrangeResults& results, xcDiagObject* diag,
                              unsigned long flags) {
    if (diag == nullptr || !xcDiagObject::shouldRecord(flags, xcDiagObject::eResults)) return;
    xcDiagRecord* record = xf_AddImage(diag, image, L"OC Arranger: Output", false);
    record->text(overallInfo(keys, alphabet, results), L"Overall info");

    xcGraphicList graphics;
    if (const xcOCLineArrangement* a = results.arrangement().get()) {
        for (long l = 0; l < a->numLines(); ++l) {
            xc_ArrangeDiagLevel nested(*diag, 1);
            xf_AddImage(diag, image, L"Details for line #" + xfStr(l), false);
            xf_AddArrangeLineDetails(a->lines()[l], a->linePoses()[l], keys, results.statusFlags(),
                                     results.clientFromArrangementXform(), diag, graphics);
        }
    }
    record->graphics(graphics, xcDisplay::eClientCoords, L"Arrangement graphics");
}
