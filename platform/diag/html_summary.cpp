#include "platform/diag/html_summary.h"

#include "platform/diag/html_text.h"

namespace {

std::string swatch(const xcColor& c) {
    return "<span class=\"sw\" style=\"background:" + c.hex() + "\"></span>";
}

}  // namespace

std::string xf_DiagHtmlSummary(const xcDiagHtmlPage& page, const std::string& featuredFigure,
                               long featuredRecord, const std::wstring& featuredTitle) {
    const bool table = !page.tableHeader.empty() || !page.tableRows.empty();
    if (page.facts.empty() && page.legend.empty() && !table && featuredFigure.empty()) return "";

    std::string out = "<section class=\"page-summary\" id=\"summary\">\n";
    if (!page.facts.empty()) {
        out += "<dl class=\"facts\">";
        for (const xcDiagHtmlPage::Fact& f : page.facts) {
            out += "<div><dt>" + xf_HtmlEscape(f.label) + "</dt><dd>" + xf_HtmlEscape(f.value) +
                   "</dd></div>";
        }
        out += "</dl>\n";
    }
    if (!page.legend.empty()) {
        out += "<div class=\"legend\"><span class=\"legend-title\">Colours</span>";
        for (const xcDiagHtmlPage::LegendEntry& e : page.legend)
            out += "<span class=\"item\">" + swatch(e.color) + xf_HtmlEscape(e.label) + "</span>";
        out += "</div>\n";
    }
    out += "<div class=\"summary-body\">";
    if (!featuredFigure.empty()) {
        out += "<div class=\"featured\"><h2><a href=\"#rec-" + std::to_string(featuredRecord) +
               "\">" +
               (featuredTitle.empty() ? std::string("(untitled record)")
                                      : xf_HtmlEscape(featuredTitle)) +
               "</a> <span class=\"n\">record #" + std::to_string(featuredRecord) +
               "</span></h2>\n" + featuredFigure + "</div>";
    }
    if (table) {
        out += "<div class=\"summary-table-wrap\"><table class=\"summary-table\">";
        if (!page.tableCaption.empty())
            out += "<caption>" + xf_HtmlEscape(page.tableCaption) + "</caption>";
        if (!page.tableHeader.empty()) {
            out += "<thead><tr>";
            for (const std::wstring& h : page.tableHeader)
                out += "<th>" + xf_HtmlEscape(h) + "</th>";
            out += "</tr></thead>";
        }
        out += "<tbody>";
        for (const std::vector<xcDiagHtmlPage::Cell>& row : page.tableRows) {
            out += "<tr>";
            for (const xcDiagHtmlPage::Cell& c : row) {
                out += "<td>" + (c.hasColor ? swatch(c.color) : std::string()) +
                       xf_HtmlEscape(c.text) + "</td>";
            }
            out += "</tr>";
        }
        out += "</tbody></table></div>";
    }
    out += "</div>\n</section>\n";
    return out;
}
