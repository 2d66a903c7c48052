// The HTML report of a diagnostics object: what a person opens to see what an operation did.
//
// xfWriteDiagHtml(diag, folder) writes one self-contained folder:
//   folder/index.html         every record, nested by level (collapsible), with a table of
//                             contents; annotations as headings, texts as preformatted blocks;
//   folder/images/rec-N.png   the window of each record image (N = record index, 4+ digits).
// Each image is shown zoomable (click or, once clicked, mouse wheel; shift-click zooms out),
// pixelated, with the cursor's image and client coordinates, and with its graphics drawn over
// it as SVG: image-coordinate lists as they are (pixel (x, y) of a window at (x0, y0) covers
// [x - x0, x - x0 + 1) in the picture), client-coordinate lists mapped through the inverse of
// the image's client-from-image transform. A record with graphics but no image of its own is
// drawn over the image of the nearest enclosing record that has one, or on a blank canvas
// fitted to its shapes when none has.
//
// The folder appears complete or not at all when it did not exist; when it exists, the images
// are written first and index.html is replaced in one rename, so index.html is never half
// written. Image files of earlier reports that the new page does not use are removed.
//
// Records whose images view the same pixels (the same root buffer and window) share one image
// file, the first such record's, so an operation that shows one image in many records writes
// it once.
//
// A page may open with a summary (xcDiagHtmlPage): a title, "label: value" facts, a table
// whose cells may carry a colour swatch, a legend of the colours its graphics use, and the
// figure of one record repeated there, so that the result is seen before the details. What
// goes into it is the caller's: the writer knows nothing of the operation.
//
// Errors: xcIOError naming the path and the reason when the folder cannot be made or a file
// cannot be written (nothing is left of a new folder then); xcBadArgument for an empty path.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/diag/color.h"
#include "platform/diag/diag_object.h"

// What a page shows above its records. Every part is optional; a default page shows the
// title "Diagnostics" and no summary.
struct xcDiagHtmlPage {
    struct Fact {
        std::wstring label;
        std::wstring value;
    };
    struct Cell {
        std::wstring text;
        bool hasColor = false;  // show `color` as a swatch before the text
        xcColor color;
    };
    struct LegendEntry {
        xcColor color;
        std::wstring label;
    };

    std::wstring title = L"Diagnostics";  // the page's title and heading
    std::vector<Fact> facts;              // shown first, one per line
    std::wstring tableCaption;            // the table, shown when it has a header or rows
    std::vector<std::wstring> tableHeader;
    std::vector<std::vector<Cell>> tableRows;
    std::vector<LegendEntry> legend;  // what each colour of the graphics means
    // The index of a record whose figure (its image and graphics) the summary repeats, with a
    // link to the record; -1 (or an index out of range) for none.
    long featuredRecord = -1;
};

// Writes the report; returns the path of index.html.
std::filesystem::path xfWriteDiagHtml(const xcDiagObject& diag,
                                      const std::filesystem::path& folder);
// The same, opening with `page`'s title and summary.
std::filesystem::path xfWriteDiagHtml(const xcDiagObject& diag, const std::filesystem::path& folder,
                                      const xcDiagHtmlPage& page);
