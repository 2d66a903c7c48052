// Where a program's alphabet comes from: an alphabet file (alphabet_file.h) or a TrueType /
// OpenType font rendered at a pixel size (synth_alphabet.h), chosen by the file's content.
#pragma once

#include <string>
#include <vector>

#include "oc/font/alphabet.h"

struct xcFontSource {
    std::string path;
    double pixelSize = 0.0;    // required for a font file
    bool lightOnDark = false;  // a font file's ink: light marks on a dark background
};

// The alphabet for `text`: the file's alphabet, or the font's characters of `text` (a space
// becomes a blank character; each character's origin is the centre of its cell). Throws xcBadArgument with a message that says what to fix: an
// unknown file, a font file without a size, a character of `text` the font or the alphabet
// lacks.
xcPtrHandle_const<xcOCAlphabet> xfLoadFontSource(const xcFontSource& source,
                                                 const std::wstring& text);

// The keys of `text` (code points), after checking that `alphabet` has each of them.
std::vector<long> xfTargetKeys(const xcOCAlphabet& alphabet, const std::wstring& text);
