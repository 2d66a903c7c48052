#include "oc/arrange/arrange_diags_page.h"

#include "oc/arrange/arrange_diag_text.h"
#include "oc/font/line_arrangement.h"
#include "platform/core/text.h"

namespace {

std::wstring nameOf(long key, const xcOCAlphabet& alphabet) {
    return alphabet.hasCharacter(key) ? alphabet.character(key)->name() : xfHex(key, 8);
}

// The target as its characters' names, one quoted string per line of the arrangement (the
// whole target in one when there is none): run together when every name is one character
// long, else separated by spaces.
std::wstring targetText(const std::vector<long>& keys, const xcOCAlphabet& alphabet,
                        const std::vector<long>& lineOf) {
    bool single = true;
    for (long k : keys) single = single && nameOf(k, alphabet).size() == 1;
    std::wstring t;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (i == 0 || lineOf[i] != lineOf[i - 1]) {
            t += i == 0 ? L"\u201c" : L"\u201d \u201c";
        } else if (!single) {
            t += L" ";
        }
        t += nameOf(keys[i], alphabet);
    }
    return keys.empty() ? std::wstring(L"(empty)") : t + L"\u201d";
}

std::wstring statusWord(long s) {
    switch (s) {
        case xcOCArrangeDefs::eMatched:
            return L"matched";
        case xcOCArrangeDefs::eInferred:
            return L"inferred";
        case xcOCArrangeDefs::eUnknown:
            return L"unknown";
        default:
            return L"invalid (" + xfStr(s) + L")";
    }
}

std::wstring timeText(double seconds) {
    if (!(seconds >= 0.0)) return L"not measured";
    if (seconds < 1.0) return xfDbl(seconds * 1000.0, 1, false) + L" ms";
    return xfDbl(seconds, 2, false) + L" s";
}

// The index of the last record titled `title`, or -1.
long lastRecord(const xcDiagObject& diag, const wchar_t* title) {
    for (long i = diag.numRecords() - 1; i >= 0; --i)
        if (diag.diagRecord(i)->annotation() == title) return i;
    return -1;
}

}  // namespace

xcDiagHtmlPage xf_ArrangeReportPage(const std::vector<long>& keys, const xcOCAlphabet& alphabet,
                                    const xcOCArrangeResults& results, double seconds,
                                    const xcDiagObject& diag) {
    xcDiagHtmlPage page;
    page.title = L"OC Arranger run";
    const std::vector<xcOCArrangeDefs::CharStatus>& statuses = results.statusFlags();
    long counts[3] = {0, 0, 0};
    for (xcOCArrangeDefs::CharStatus s : statuses)
        if (s >= 0 && s <= 2) ++counts[s];
    const xcOCLineArrangement* a = results.arrangement().get();

    page.facts.push_back({L"Positions", xfStr(keys.size()) + L": " + xfStr(counts[0]) +
                                            L" matched, " + xfStr(counts[1]) + L" inferred, " +
                                            xfStr(counts[2]) + L" unknown"});
    page.facts.push_back({L"Lines", xfStr(a ? a->numLines() : 0L)});
    page.facts.push_back({L"Found", results.isFound() ? L"yes" : L"no"});
    page.facts.push_back({L"Search truncated", results.isSearchTruncated() ? L"yes" : L"no"});
    page.facts.push_back({L"Time", timeText(seconds)});

    // The line of each position: the arrangement's lines hold the positions in target order.
    std::vector<long> lineOf(keys.size(), -1);
    if (a) {
        std::size_t p = 0;
        for (long l = 0; l < a->numLines(); ++l) {
            const long np = a->lines()[l] ? a->lines()[l]->numPositions() : 0;
            for (long k = 0; k < np && p < lineOf.size(); ++k) lineOf[p++] = l;
        }
    }
    page.facts.insert(page.facts.begin(), {L"Target", targetText(keys, alphabet, lineOf)});
    page.tableCaption = L"Target positions";
    page.tableHeader = {L"#", L"Key", L"Name", L"Status", L"Score", L"Line"};
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const long s = i < statuses.size() ? static_cast<long>(statuses[i])
                                           : static_cast<long>(xcOCArrangeDefs::eUnknown);
        const double score = i < results.scores().size() ? results.scores()[i] : 0.0;
        xcDiagHtmlPage::Cell status{statusWord(s), xf_ArrangeStatusIsDrawn(s),
                                    xf_ArrangeStatusColor(s)};
        if (!status.hasColor) {
            status.hasColor = true;
            status.color = xcColor::greyColor();
        }
        page.tableRows.push_back({{xfStr(i), false, {}},
                                  {xfHex(keys[i], 8), false, {}},
                                  {L"'" + nameOf(keys[i], alphabet) + L"'", false, {}},
                                  status,
                                  {xfDbl(score, 3, false), false, {}},
                                  {lineOf[i] >= 0 ? xfStr(lineOf[i]) : L"-", false, {}}});
    }
    page.legend = {{xf_ArrangeStatusColor(xcOCArrangeDefs::eMatched),
                    L"matched character: cell and direction"},
                   {xf_ArrangeStatusColor(xcOCArrangeDefs::eInferred),
                    L"inferred character: cell and direction"},
                   {xf_ArrangeLinePen().color(), L"fitted line or arc"},
                   {xcColor::yellowColor(), L"line's enclosing rectangle, character origin"},
                   {xcColor::greyColor(), L"unknown position (not drawn)"}};
    page.featuredRecord = lastRecord(diag, L"OC Arranger: Output");
    if (page.featuredRecord < 0) page.featuredRecord = lastRecord(diag, L"Build arrangement");
    return page;
}

std::filesystem::path xf_WriteArrangeReport(const xcDiagObject& diag,
                                            const std::filesystem::path& folder,
                                            const std::vector<long>& keys,
                                            const xcOCAlphabet& alphabet,
                                            const xcOCArrangeResults& results, double seconds) {
    return xfWriteDiagHtml(diag, folder,
                           xf_ArrangeReportPage(keys, alphabet, results, seconds, diag));
}
