// A demonstration run of the arranger's diagnostics on an ocsynth scene: the records and the
// report page of an arrangement planted from the scene's ground truth.
//
// The scene (straight: two lines of text; circular: one line on a circle) is rendered with
// light noise, jitter and one missing character. The alphabet holds the distinct characters of
// the text (keys are code points, names the characters, a space is blank). The planted
// arrangement puts every drawn character at its true pose (eMatched, with a score that falls
// off with the character's jitter), every missing character and space inside a line where the
// line's layout puts it (eInferred), one line per text line with its true straight segment or
// circular arc; the records are made by the same calls, in the same order, as the arranger's
// own (input, intermediate image, "Build arrangement", output).
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "oc/arrange/arrange_params.h"
#include "oc/arrange/arrange_records.h"
#include "oc/arrange/arrange_results.h"
#include "oc/font/alphabet.h"
#include "platform/core/rigid.h"
#include "platform/diag/diag_object.h"
#include "tools/synth/scene.h"

struct xcPlantedRunOptions {
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

struct xcPlantedRun {
    xcSynthScene scene;
    xcPtrHandle_const<xcOCAlphabet> alphabet;
    std::vector<long> keys;
    xcOCArrangeParams params;
    xcOCArrangeResults results;
    double seconds = 0.0;  // time spent building the arrangement and its records
    // The cell of every position in the image's client frame (upper-left, upper-right,
    // lower-right, lower-left corners), from the ground truth.
    std::vector<std::vector<xcVector<2>>> cells;
};

// Renders the scene and records the planted run into diag (may be null) with `flags`.
// Throws xcBadArgument or xcIOError from ocsynth (missing font).
xcPlantedRun xfPlantedRun(const xcPlantedRunOptions& options, xcDiagObject* diag,
                          unsigned long flags);
