// Synthetic text scenes with exact ground truth.
//
// A scene is an 8-bit image of `width` x `height` pixels holding one or more lines of text
// (layout.h) in a font, plus optional distractors and image effects. Every character is
// rendered unhinted from its outline straight at its exact pose (never by resampling a
// rendered bitmap), so the ground truth is exact to a small fraction of a pixel.
//
// Frames. Layout, poses and ground truth are in the scene's client coordinates; the image's
// client-from-image transform is `clientFromImage` (identity by default, so client = image).
// A pose maps the glyph model's client frame (glyph_model.h: origin at the cell's lower-left
// corner, x right, y down, models of `pixelSize` px per em) into the scene's client frame.
//
// Rendering order: glyph and distractor coverage c in [0, 1] is combined over the scene
// (c_total = c_total + c (1 - c_total)) and composited as background + c_total (ink -
// background) in double; then the illumination gradient, the blur, the Gaussian noise and the
// salt-and-pepper noise are applied in this order; last the values are rounded and clamped to
// 8 bits.
//
// Randomness: std::mt19937_64 streams derived from `seed`, one per purpose (jitter, damage and
// missing characters, distractors, noise, salt and pepper), with portable transforms
// (random.h). The same parameters and seed give the same image and truth, bit for bit.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/core/xform.h"
#include "tools/synth/font.h"
#include "tools/synth/layout.h"
#include "tools/synth/tones.h"

// Per-character random deviations from the nominal layout, each uniform in its range.
struct xcSynthJitter {
    double position = 0.0;  // px: x and y offsets each in [-position, position], [0, 1000]
    double angle = 0.0;     // degrees: offset in [-angle, angle], [0, 180]
    double scale = 0.0;     // relative: factor in [1 - scale, 1 + scale], [0, 1)
};

struct xcSynthSceneParams {
    long width = 640;  // image size, 1 ... 16384 each, at most 2^25 pixels
    long height = 480;
    xcXform<2> clientFromImage;  // must be invertible
    double pixelSize = 32.0;     // em size of the glyph models that scale 1 refers to
    double globalScale = 1.0;    // multiplies every character's scale (and advance spacing)
    xcSynthTones tones{eDarkOnLight, 30.0, 220.0};
    std::vector<xcSynthLineSpec> lines;
    xcSynthJitter jitter;
    // Illumination: gain 1 -+ gradient across the image along gradientAngle (effects.h).
    double gradient = 0.0;
    double gradientAngle = 0.0;
    double blurSigma = 0.0;   // px
    double noiseSigma = 0.0;  // grey levels
    double saltPepper = 0.0;  // fraction of pixels
    // Distractors: glyphs chosen from distractorChars at random positions (uniform over the
    // image), angles (any) and scales (0.7 ... 1.3 times the global scale), and straight
    // strokes of distractorLineWidth px and random length. With distractorsAvoidText each is
    // placed (up to 100 tries, else dropped) so that it keeps 2 px away from every target cell.
    long distractorGlyphs = 0;
    std::wstring distractorChars = L"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    long distractorLines = 0;
    double distractorLineWidth = 2.0;
    bool distractorsAvoidText = true;
    // Damage: the characters listed in `damaged` (indices into the target, all lines in
    // order, blanks counted) and each other drawn character with probability damagedFraction
    // lose a part of their ink: a band across the glyph's ink box (horizontal or vertical,
    // damageAmount of its height or width) or a block (damageAmount of its area), erased to
    // background.
    double damagedFraction = 0.0;
    std::vector<long> damaged;
    double damageAmount = 0.35;  // (0, 1]
    // Missing: the listed characters and each other one with probability missingFraction are
    // not drawn at all.
    double missingFraction = 0.0;
    std::vector<long> missing;
    std::uint64_t seed = 1;
};

// The truth about one target character.
struct xcSynthCharTruth {
    char32_t code = 0;
    long line = 0;         // index of its line
    long index = 0;        // index within the line
    bool blank = false;    // nothing to draw (a space)
    bool missing = false;  // left out on purpose
    bool damaged = false;  // drawn with a part erased
    bool drawn = false;    // not blank and not missing
    xcSynthPose pose;      // actual pose (jitter included), scene client frame
    xcSynthPose nominal;   // pose of the layout before jitter
    xcXform<2> xform;      // pose.xform(): model client -> scene client
    // The model's cell corners in scene client coordinates: the origin (lower-left), the
    // lower-right, upper-right and upper-left corners.
    std::array<xcVector<2>, 4> cell;
    // For a damaged character: the erased region (a quadrilateral), scene client coordinates.
    std::vector<xcVector<2>> erased;
};

struct xcSynthDistractor {
    enum Kind { eGlyph, eStroke };
    Kind kind = eGlyph;
    char32_t code = 0;     // eGlyph: the character
    xcSynthPose pose;      // eGlyph: its pose, scene client frame
    xcVector<2> from, to;  // eStroke: end points of the stroke's centre line, scene client
    double width = 0.0;    // eStroke: px (image)
};

struct xcSynthTruth {
    long width = 0, height = 0;
    xcXform<2> clientFromImage;
    double pixelSize = 0.0;
    double ink = 0.0, background = 0.0;
    xcSynthPolarity polarity = eDarkOnLight;
    std::uint64_t seed = 0;
    std::string fontPath;
    std::string fontName;
    std::vector<xcSynthCharTruth> chars;         // the target, all lines in order
    std::vector<xcSynthDistractor> distractors;  // those drawn
};

struct xcSynthScene {
    xcPelBuffer<unsigned char> image;  // carries clientFromImage
    xcSynthTruth truth;
};

// Renders a scene. Every parameter is checked first; a bad one throws xcBadArgument with a
// message naming it (nothing is rendered).
xcSynthScene xfSynthScene(const xcSynthFont& font, const xcSynthSceneParams& params);
