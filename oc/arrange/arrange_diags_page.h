// The report page of one arranger run: the diagnostics library's HTML page (html_writer.h)
// opened by a summary of the results, so that an engineer sees what was found before reading
// the records.
//
// The summary holds: the target (the models' names), the counts of matched, inferred and
// unknown positions, the number of lines, whether the search was truncated, the run time; a
// table with one row per target position (index, key, name, status with its colour, score,
// line); the legend of the graphics' colours (matched green, inferred orange, fitted lines
// and arcs red, line rectangles and character origins yellow); and the figure of the run's
// "OC Arranger: Output" record (else its "Build arrangement" record), every line's graphics on
// the image.
#pragma once

#include <filesystem>
#include <vector>

#include "oc/arrange/arrange_results.h"
#include "oc/font/alphabet.h"
#include "platform/diag/diag_object.h"
#include "platform/diag/html_writer.h"

// The summary of a run whose records are in `diag`. `seconds` is the run time; a negative
// value shows "not measured". Keys missing from the alphabet show as their hexadecimal key.
xcDiagHtmlPage xf_ArrangeReportPage(const std::vector<long>& keys, const xcOCAlphabet& alphabet,
                                    const xcOCArrangeResults& results, double seconds,
                                    const xcDiagObject& diag);

// Writes the page of the run into `folder` (xfWriteDiagHtml, with its errors); returns the path
// of index.html.
std::filesystem::path xf_WriteArrangeReport(const xcDiagObject& diag,
                                            const std::filesystem::path& folder,
                                            const std::vector<long>& keys,
                                            const xcOCAlphabet& alphabet,
                                            const xcOCArrangeResults& results, double seconds);
