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
// Errors: xcIOError naming the path and the reason when the folder cannot be made or a file
// cannot be written (nothing is left of a new folder then); xcBadArgument for an empty path.
#pragma once

#include <filesystem>

#include "platform/diag/diag_object.h"

// Writes the report; returns the path of index.html.
std::filesystem::path xfWriteDiagHtml(const xcDiagObject& diag,
                                      const std::filesystem::path& folder);
