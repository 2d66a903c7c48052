// ocarrange's command line: what to arrange, with which font and parameters, and where the
// answers go.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "oc/arrange/arrange_params.h"

struct xcArrangeCliOptions {
    bool demo = false;             // no arguments: the embedded scene
    bool help = false;
    std::string image;             // one image
    std::string batch;             // a folder of images or a file listing them
    std::string font;              // an alphabet file (ocfont) or a TrueType/OpenType file
    double size = 0.0;             // px per em, with a font file
    std::string polarity = "dark"; // with a font file: dark marks on light, or light on dark
    std::wstring target;
    std::string mask;
    std::string json;              // file, "-" for standard output, empty for none
    std::string report;            // folder of the HTML report page, empty for none
    long jobs = 0;                 // batch workers; 0: every core
    bool quiet = false;
    xcOCArrangeParams params;
};

// Parses argv. Throws xcBadArgument with a message that says what to fix.
xcArrangeCliOptions xfParseArrangeCli(const std::vector<std::string>& args);

// The usage text.
const char* xfArrangeCliUsage();
