// One arranger run as the program reports it: the results of xfOCArrange on one image with
// its time, the table a person reads, the JSON object a program reads, and the report page.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "oc/arrange/arrange.h"

struct xcArrangeRun {
    std::string file;            // the image's path ("" for the demo's scene)
    std::wstring target;
    std::vector<long> keys;
    std::vector<char> blank;     // per position: a blank character (a space), never drawn
    xcOCArrangeResults results;
    double milliseconds = 0.0;
    std::string error;           // set when the image could not be arranged (nothing else is)

    // Matched positions, and the positions that must be matched: every one but the blanks,
    // which have nothing to find (they are inferred between their neighbours).
    long numMatched() const;
    long numNeeded() const;
    bool allMatched() const { return error.empty() && numMatched() == numNeeded(); }
};

// Arranges `image` (with `mask` when bound); with `report`, also records every diagnostic
// and writes the page to that folder. Errors of the library propagate.
xcArrangeRun xfRunArrange(const xcPelBuffer_const<unsigned char>& image,
                          const xcPelBuffer_const<unsigned char>& mask,
                          const xcOCAlphabet& alphabet, const std::wstring& target,
                          const xcOCArrangeParams& params,
                          const std::filesystem::path& report = {});

// The table: one row per position (index, character, status, score, x, y, angle in degrees,
// scale), then the verdict line.
std::string xfArrangeTable(const xcArrangeRun& run);
// The verdict line alone, e.g. "PASS  15 of 15 characters matched, 1 space  (23.4 ms)".
std::string xfArrangeVerdict(const xcArrangeRun& run);
// The run as one JSON object on one line (fields in docs/ocarrange.md).
std::string xfArrangeJson(const xcArrangeRun& run);
