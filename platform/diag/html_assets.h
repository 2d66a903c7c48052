// Module-private: the style sheet and the script embedded in the HTML report, so that the
// page works from a folder opened straight from disk (no network, no other files).
#pragma once

// The CSS of the page.
const char* xf_DiagHtmlStyle();
// The script: zoom and pan of the images, cursor coordinates, graphic-layer switches,
// expanding and collapsing records.
const char* xf_DiagHtmlScript();
