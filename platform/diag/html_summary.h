// Module-private: the summary that opens a diagnostics page (xcDiagHtmlPage, html_writer.h).
#pragma once

#include <string>

#include "platform/diag/html_writer.h"

// The summary section of `page`: its facts, its colour legend, its table and, when
// `featuredFigure` is not empty, that figure's HTML under a heading linking to record
// `featuredRecord` titled `featuredTitle`. Empty when the page has nothing to show.
std::string xf_DiagHtmlSummary(const xcDiagHtmlPage& page, const std::string& featuredFigure,
                               long featuredRecord, const std::wstring& featuredTitle);
