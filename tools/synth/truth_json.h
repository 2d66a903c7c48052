// JSON texts of synthetic ground truth: a scene's truth and a glyph set's description.
//
// Numbers are written in their shortest form that reads back to the same double; characters
// as their code point ("code") and as UTF-8 text ("char"). Transforms are written as
// [m00, m01, m10, m11, tx, ty] (x' = m00 x + m01 y + tx, y' = m10 x + m11 y + ty); points as
// [x, y]; rectangles as [x, y, width, height].
#pragma once

#include <string>
#include <vector>

#include "tools/synth/glyph_model.h"
#include "tools/synth/scene.h"

// The whole truth of a scene: image size and transform, font, grey levels, seed, every
// target character (line, index, flags, pose, nominal pose, cell corners, erased region) and
// every distractor.
std::string xfSynthTruthJson(const xcSynthTruth& truth);

// A glyph set: font, pixel size, and per glyph its code, blank flag, image file (empty for a
// blank), image size, cell (image area), client-from-image transform, advance and descent.
// `files` holds one file name per glyph (may be shorter: the rest are written empty).
std::string xfSynthGlyphsJson(const xcSynthFont& font, const xcSynthGlyphParams& params,
                              const std::vector<xcSynthGlyph>& glyphs,
                              const std::vector<std::string>& files);
