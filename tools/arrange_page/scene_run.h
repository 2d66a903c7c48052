// A demonstration run of the arranger on an ocsynth scene, with its records: what the report
// page of a real run shows.
//
// The scene (straight: two lines of text; circular: one line on a circle) is rendered with
// light noise, jitter and one missing character. The alphabet holds the distinct characters of
// the text, rendered from the same font (keys are code points, names the characters, a space
// is blank, origins at the cell centres), and the arranger is called on the scene with the whole text as its target, the
// layout's line type and the records asked for by `flags`.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "oc/arrange/arrange_params.h"
#include "oc/arrange/arrange_results.h"
#include "oc/font/alphabet.h"
#include "platform/core/rigid.h"
#include "platform/diag/diag_object.h"
#include "tools/synth/scene.h"

struct xcSceneRunOptions {
    enum Layout { eStraight, eCircular };
    Layout layout = eStraight;
    std::string font = "DejaVuSans.ttf";  // a file name or path (xcSynthFont::locate)
    double size = 32.0;                   // em size in pixels
    std::uint64_t seed = 7;
    // The image's client frame. The text is laid out in image coordinates and carried into
    // the client frame, so the image looks the same whatever the frame; poses, records and
    // graphics are in client coordinates.
    xc2Rigid clientFromImage;
};

struct xcSceneRun {
    xcSynthScene scene;
    xcPtrHandle_const<xcOCAlphabet> alphabet;
    std::vector<long> keys;
    xcOCArrangeParams params;
    xcOCArrangeResults results;
    double seconds = 0.0;  // time spent in the arranger
    // The cell of every position in the image's client frame (upper-left, upper-right,
    // lower-right, lower-left corners), from the ground truth.
    std::vector<std::vector<xcVector<2>>> cells;
};

// Renders the scene and arranges it, recording into diag (may be null) with `flags`.
// Throws xcBadArgument or xcIOError from ocsynth (missing font, a character the font lacks)
// and whatever the arranger throws.
xcSceneRun xfSceneRun(const xcSceneRunOptions& options, xcDiagObject* diag, unsigned long flags);
