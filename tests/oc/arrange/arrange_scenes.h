// Shared scenes of the arranger's tests: alphabets and scenes rendered by ocsynth from real
// fonts, whose ground-truth poses are the poses the arranger must report.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "oc/arrange/arrange.h"
#include "tools/synth/font.h"
#include "tools/synth/scene.h"
#include "tools/fontkit/synth_alphabet.h"

namespace arrange_test {

constexpr double kEm = 28.0;

// Fonts are loaded once per process (a font is not thread-safe; the tests use one thread).
inline const xcSynthFont& font(const std::string& file) {
    static std::map<std::string, std::unique_ptr<xcSynthFont>> fonts;
    auto& f = fonts[file];
    if (!f) f = std::make_unique<xcSynthFont>(xcSynthFont::locate(file));
    return *f;
}
inline const xcSynthFont& mono() { return font("DejaVuSansMono.ttf"); }
inline const xcSynthFont& sans() { return font("DejaVuSans.ttf"); }

inline xcSynthGlyphParams glyphParams() {
    xcSynthGlyphParams p;
    p.pixelSize = kEm;
    p.tones = xcSynthTones{eDarkOnLight, 30.0, 220.0};
    return p;
}

// Scene parameters of the usual kind: 640 x 480, blur 0.7, noise sigma 4.
inline xcSynthSceneParams sceneParams(std::uint64_t seed) {
    xcSynthSceneParams p;
    p.pixelSize = kEm;
    p.tones = xcSynthTones{eDarkOnLight, 30.0, 220.0};
    p.blurSigma = 0.7;
    p.noiseSigma = 4.0;
    p.seed = seed;
    return p;
}

inline xcSynthLineSpec straightLine(const std::wstring& text, double x, double y, double angle) {
    xcSynthLineSpec l;
    l.text = text;
    l.start = xcVector<2>(x, y);
    l.angle = angle;
    return l;
}

inline xcSynthLineSpec circularLine(const std::wstring& text, double cx, double cy, double radius,
                                    double startAngle, bool clockwise) {
    xcSynthLineSpec l;
    l.kind = xcSynthLineSpec::eCircular;
    l.text = text;
    l.centre = xcVector<2>(cx, cy);
    l.radius = radius;
    l.startAngle = startAngle;
    l.clockwise = clockwise;
    return l;
}

// The whole target of a scene: every line's text in order.
inline std::wstring targetOf(const xcSynthSceneParams& p) {
    std::wstring t;
    for (const auto& l : p.lines) t += l.text;
    return t;
}

// Distance (px) and angle difference (degrees, folded to [0, 180]) between a reported pose and
// the truth.
struct PoseError {
    double distance = 0.0;
    double angle = 0.0;
};
inline PoseError poseError(const xcXform<2>& reported, const xcSynthCharTruth& truth) {
    PoseError e;
    e.distance = (reported.trans() - truth.pose.position).len();
    const double a = std::atan2(reported.matrix()(1, 0) - reported.matrix()(0, 1),
                                reported.matrix()(0, 0) + reported.matrix()(1, 1)) *
                     180.0 / M_PI;
    e.angle = std::abs(std::remainder(a - truth.pose.angle, 360.0));
    return e;
}

}  // namespace arrange_test
