// Layout of synthetic text lines: the nominal pose of every character of a straight or
// circular line, before any per-character jitter.
//
// A pose maps a glyph model's client frame (origin at the cell's lower-left corner, x right,
// y down: glyph_model.h) into the scene's client frame:
//     scene = position + scale * R(angle) * model,
// where R(angle) turns x towards y (clockwise on an image whose y axis points down). Angles
// are in degrees.
#pragma once

#include <string>
#include <vector>

#include "platform/core/vector.h"
#include "platform/core/xform.h"
#include "tools/synth/font.h"

struct xcSynthPose {
    xcVector<2> position;  // scene client coordinates of the model's client origin
    double angle = 0.0;    // degrees, x towards y
    double scale = 1.0;    // > 0, relative to the glyph model's pixel size

    // The pose as a transform from model client to scene client coordinates.
    xcXform<2> xform() const;
};

// One line of text.
//
// Spacing: consecutive origins are `pitch` pixels apart when pitch > 0, otherwise the
// character's advance (at the model's pixel size) times its nominal scale times
// `advanceScale`. On a circle the spacing is the chord between consecutive origins.
//
// Straight: the first origin is `start`; the line runs at `angle` degrees (x towards y) and
// every character is turned by that angle.
//
// Circular: every origin lies on the circle of `radius` around `centre`; the first at polar
// angle `startAngle` (degrees, measured from +x towards +y). With `clockwise` the polar angle
// grows from character to character (clockwise on screen when y points down), otherwise it
// shrinks. With `turnWithArc` each character is turned so that the lower edge of its spacing
// step is the chord from its origin to the next origin: clockwise text stands with its top
// outwards, counter-clockwise text with its top inwards. Without it every character stays
// upright (angle 0).
struct xcSynthLineSpec {
    enum Kind { eStraight, eCircular };
    Kind kind = eStraight;
    std::wstring text;
    double scale = 1.0;         // nominal character scale of this line (times the global scale)
    double pitch = 0.0;         // px between origins; 0: advance based
    double advanceScale = 1.0;  // advance factor when pitch is 0
    // Straight lines.
    xcVector<2> start;
    double angle = 0.0;
    // Circular lines.
    xcVector<2> centre;
    double radius = 100.0;
    double startAngle = 0.0;
    bool clockwise = true;
    bool turnWithArc = true;
};

// The nominal poses of the characters of `line` (one per character, blanks included), with
// glyph models of `pixelSize` px per em and the scene's `globalScale`. Throws xcBadArgument
// for a non-finite or out-of-range value (scales and advanceScale must be > 0, pitch >= 0,
// radius > 0), a step longer than the circle's diameter, or a character the font lacks.
std::vector<xcSynthPose> xfSynthLayoutLine(const xcSynthFont& font, double pixelSize,
                                           const xcSynthLineSpec& line, double globalScale = 1.0);
