// Glyph models: one 8-bit image per character of a font, with its cell as the image area,
// ready to become the character models of an alphabet.
//
// Frames. A model's client frame has its origin at the lower-left corner of the character's
// cell, x to the right, y down (see font.h): the cell spans client x in [0, cellWidth] and
// y in [-cellHeight, 0], the baseline is the line y = -descent. The image holds the cell at
// `cell` (image coordinates) with a margin around it, grown where the glyph's ink reaches out
// of the cell; its client-from-image transform is the translation
//     client = image - (cell.x(), cell.y() + cell.height())
// so client (0, 0) is the cell's lower-left corner cell.ll(). A scene's poses (scene.h) are
// poses of these origins: a pose maps a model's client frame into the scene's client frame.
//
// The glyph is rendered unhinted from its outline (coverage.h) and composited as
// background + coverage * (ink - background), rounded to 8 bits.
#pragma once

#include <string>
#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/core/pel_rect.h"
#include "platform/core/xform.h"
#include "tools/synth/font.h"
#include "tools/synth/tones.h"

struct xcSynthGlyphParams {
    double pixelSize = 32.0;  // em size in pixels, (0, 4096]
    long margin = 4;          // background pixels around the cell (and the ink), 0 ... 1024
    xcSynthTones tones;       // ink and background levels
};

struct xcSynthGlyph {
    char32_t code = 0;
    // A character with nothing to draw (a space): its image is unbound, as a blank character
    // model's is. Cell, transform and metrics are still set.
    bool blank = false;
    // 8-bit image, window (0, 0, width, height), carrying clientFromImage. Unbound when blank.
    xcPelBuffer<unsigned char> image;
    // The character cell (cellWidth x cellHeight) in image coordinates: the image area. For a
    // blank character (0, 0, cellWidth, cellHeight).
    xcPelRect cell;
    // Client-from-image: translation by -(cell.x(), cell.y() + cell.height()).
    xcXform<2> clientFromImage;
    // Advance (px), descent and font-to-client transform at the model's pixel size.
    xcSynthGlyphMetrics metrics;
};

// The model of one character. Throws xcBadArgument for bad parameters or a character the font
// does not have.
xcSynthGlyph xfSynthGlyphModel(const xcSynthFont& font, char32_t code,
                               const xcSynthGlyphParams& params);
// One model per character of `text`, in order (repeated characters repeat). Checks every
// character and parameter before rendering any.
std::vector<xcSynthGlyph> xfSynthGlyphModels(const xcSynthFont& font, const std::wstring& text,
                                             const xcSynthGlyphParams& params);
