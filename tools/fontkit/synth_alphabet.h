// Alphabets rendered from a font: one character model per distinct character of a text,
// keyed by its code point and named by the character itself. A character's image is its
// ocsynth glyph model (glyph_model.h): the cell is the image area and the client frame has
// its origin at the cell's lower-left corner, x right, y down, so that scene poses written by
// ocsynth are the poses the arranger reports. A space (or any character with nothing to
// draw) becomes a blank character with the same cell.
#pragma once

#include <string>
#include <vector>

#include "oc/font/alphabet.h"
#include "oc/font/model.h"
#include "tools/synth/font.h"
#include "tools/synth/glyph_model.h"

// The alphabet of the distinct characters of `chars` (in their first order). Not compiled
// unless `compile` (compiling renders every pair: seconds for a few dozen characters).
// Throws xcBadArgument for a character the font lacks or bad glyph parameters.
xcPtrHandle<xcOCAlphabet> xfSynthAlphabet(const xcSynthFont& font, const std::wstring& chars,
                                          const xcSynthGlyphParams& params, bool compile = false,
                                          double confusionThreshold = 0.5);

// The same models with their client origin moved to the centre of the cell (the image area,
// to the nearest pel for a blank character): the half-turn centre of a character symmetric
// under a half turn then lies near the origin. Models are copied (images deep-copied, care
// masks not kept); the result is not compiled.
xcPtrHandle<xcOCAlphabet> xfSynthCentredAlphabet(const xcOCAlphabet& alphabet);

// The lower-left corner of a model's cell in its client coordinates: (0, 0) for the models of
// xfSynthAlphabet. A pose P reported for a model becomes the pose of the lower-left-origin
// frame, the frame of ocsynth's ground truth, as P * translation(xfSynthCellLowerLeft(model)).
xcVector<2> xfSynthCellLowerLeft(const xcOCModel& model);

// The target keys of a text: one code point per character.
std::vector<long> xfSynthKeys(const std::wstring& text);
