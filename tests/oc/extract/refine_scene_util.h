// Shared helpers of the correlation-model and refinement tests: fonts, glyph models and scenes
// of ocsynth with characters at chosen exact poses.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/core/xform.h"
#include "tools/synth/font.h"
#include "tools/synth/glyph_model.h"
#include "tools/synth/scene.h"

namespace refine_test {

// The font file `name` (DejaVu fonts), loaded once per test program.
inline const xcSynthFont& font(const std::string& name) {
    static std::map<std::string, std::unique_ptr<xcSynthFont>> fonts;
    auto& f = fonts[name];
    if (!f) f = std::make_unique<xcSynthFont>(xcSynthFont::locate(name));
    return *f;
}

// A glyph model at `pixelSize` px per em on a light background with dark ink.
inline xcSynthGlyph glyph(const std::string& fontName, char32_t code, double pixelSize) {
    xcSynthGlyphParams p;
    p.pixelSize = pixelSize;
    p.tones = xcSynthTones{eDarkOnLight, 30.0, 220.0};
    return xfSynthGlyphModel(font(fontName), code, p);
}

// The glyph's image windowed to its cell, as the character model's image area is used.
inline xcPelBuffer_const<unsigned char> cellImage(const xcSynthGlyph& g) {
    xcPelBuffer_const<unsigned char> b = g.image;
    b.window(g.cell);
    return b;
}

// One drawn character of a scene.
struct Placed {
    char32_t code = 0;
    xcVector<2> origin;  // scene client coordinates of the model's client origin
    double angle = 0.0;  // degrees
    double scale = 1.0;
};

// A width x height scene holding the given characters, each a one-character line at its exact
// pose, with Gaussian noise of `noise` grey levels.
inline xcSynthScene scene(const std::string& fontName, double pixelSize,
                          const std::vector<Placed>& chars, long width, long height,
                          double noise = 0.0, std::uint64_t seed = 5) {
    xcSynthSceneParams p;
    p.width = width;
    p.height = height;
    p.pixelSize = pixelSize;
    p.tones = xcSynthTones{eDarkOnLight, 30.0, 220.0};
    p.noiseSigma = noise;
    p.seed = seed;
    for (const Placed& c : chars) {
        xcSynthLineSpec line;
        line.text = std::wstring(1, static_cast<wchar_t>(c.code));
        line.start = c.origin;
        line.angle = c.angle;
        line.scale = c.scale;
        p.lines.push_back(line);
    }
    return xfSynthScene(font(fontName), p);
}

// Angle in degrees of a similarity transform (x towards y).
inline double angleDeg(const xcXform<2>& x) {
    return std::atan2(x.matrix()(1, 0) - x.matrix()(0, 1), x.matrix()(0, 0) + x.matrix()(1, 1)) *
           180.0 / 3.14159265358979323846;
}

inline double scaleOf(const xcXform<2>& x) { return std::sqrt(std::fabs(x.det())); }

}  // namespace refine_test
