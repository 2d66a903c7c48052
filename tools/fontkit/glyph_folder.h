// Alphabets trained from crops of real print: a folder of glyph images (PNG or binary PGM,
// one per character) described by a manifest, `manifest.txt` in the folder. One line per
// character, fields separated by white space; empty lines and lines starting with '#' are
// skipped:
//
//     CHAR  FILE  X Y WIDTH HEIGHT  ORIGIN_X ORIGIN_Y
//
//   CHAR      the character (one UTF-8 character), or U+XXXX (hex code point); its key is the
//             code point and its name the character
//   FILE      the image file, relative to the folder; "-" for a blank character (a space)
//   X Y WIDTH HEIGHT   the character's cell (image area) in image pixels
//   ORIGIN_X ORIGIN_Y  the character's origin in image pixels (for example the lower-left
//             corner of the cell on the baseline): the model's client frame is
//             client = image - origin, x right, y down, so poses the arranger reports are
//             poses of this origin
//
// A malformed line, a duplicate character, an unreadable image or a cell outside its image
// throws xcBadArgument naming the manifest line and what is wrong.
#pragma once

#include <filesystem>

#include "oc/font/alphabet.h"

xcPtrHandle<xcOCAlphabet> xfReadGlyphFolder(const std::filesystem::path& folder,
                                            bool compile = false);
