// Grey-level registration of geometric alignment results (module-private).
//
// The edge fit (geo_align_refine.h) places each fit point with a sub-pixel edge estimator whose
// error depends on the edge's blur and on where the edge falls within a pixel. Over a turned
// instance these errors do not quite cancel: on small patterns they leave angle errors of a
// tenth of a degree and scale errors of a few tenths of a percent. The registration matches
// grey values instead. Over the training pixels p near the pattern's edges it minimises
//     sum_p w_p [I(pose(p)) - (a M(p) + b1 M1(p) + b2 M2(p) + c)]^2
// over the pose (translation, and angle and scale where the run searches them) and the linear
// a, b1, b2, c, jointly in every Gauss-Newton step. M is the training image on its own pixel
// grid (never interpolated), M1 and M2 the training image blurred by 0.7 and 1.4 pixels, I the
// searched image interpolated by a cubic B-spline (with its gradient) at the turned pixel
// centres; a is the gain, b1 and b2 the blends that let a sharp training image match a blurred
// instance, c the offset. w_p are Huber weights on the residuals (the threshold follows the
// residuals' median). Pixels whose samples would read a don't-care pixel of the mask, or fall
// outside the image, are left out.
//
// Coordinates: poses as in geo_align_coarse.h (level-0 pixels of the searched window; pattern
// points in level-0 training pixels relative to the reference point).
#pragma once

#include "platform/vision/geo_align_model.h"
#include "platform/vision/geo_align_pyramid.h"
#include "platform/vision/geo_align_track.h"

// Fills `out` with the registration pixels of training level `level`: the pixels of the
// training window whose Sobel magnitude reaches a fifth of the window's largest (and the edge
// threshold thr, grey levels per pixel), grown by two pixels, without the window's outer ring
// (whose blurred values depend on what lies beyond the window). `plane` is the level's padded
// training plane, the window starting `off` level pixels in from its corner and measuring
// winW x winH level-0 pixels; ref is the reference point (level-0 window coordinates). Very
// large patterns keep a regular lattice of these pixels. Polls xcAttention::check().
void xf_GeoBuildRegLevel(const xc_GeoPlane& plane, double off, long winW, long winH, int level,
                         const xcVector<2>& ref, double thr, xc_GeoRegLevel& out);

// Why a registration kept or changed a pose.
enum class xc_GeoRegOutcome {
    eMoved,         // converged within the allowed move: the pose is the registration's
    eNoPixels,      // too few registration pixels could be sampled
    eSingular,      // the system could not be solved
    eNotConverged,  // still moving after the last step
    eTooFar,        // converged more than half a pixel, 5 degrees or 5 % of scale away
    eReversed       // the instance's contrast is reversed with respect to the polarity asked
};

struct xc_GeoRegResult {
    xc_GeoRegOutcome outcome = xc_GeoRegOutcome::eNoPixels;
    xc_GeoPose pose;  // the registered pose (set when the system could be solved)
    double gain = 0, blend = 0, offset = 0;  // a, b1 + b2 and c of the last step
    long pixels = 0;                         // pixels sampled at the last step
    int steps = 0;
};

// Registers the pattern at `start` (a pose of image level setup.fitLevel's run, level-0
// pixels) against the pyramid. sign is the instance's polarity: 1 when its contrast is the
// training image's, -1 when reversed; a registration finding the other polarity is refused.
// The caller keeps start unless the outcome is eMoved. Throws the attention errors.
xc_GeoRegResult xf_GeoRegister(const xc_GeoModel& model, const xc_GeoPyramid& pyr,
                               const xc_GeoRunSetup& setup, float sign, const xc_GeoPose& start);
