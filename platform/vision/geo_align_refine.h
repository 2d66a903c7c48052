// Final pose, score and coverage of a geometric alignment candidate (module-private).
//
// At the pattern's finest level, each of the pattern's fit points looks for the image's edge
// along its turned normal (geo_align_edge.h). A Gauss-Newton fit then moves the pose
// (translation, and angle and scale where the run searches them) to minimise the weighted
// (Huber) squared distances from the turned points to the lines through their edges along their
// normals; correspondences are found again after every step until the pose stops moving. A
// degree of freedom that leaves its zone is held at the zone's end.
//
// Blur. Under blur the two edges of a thin stroke move apart, so a blurred image of a pattern
// trained on a sharp image looks slightly bolder, and a fit would trade scale for stroke width.
// The model therefore holds its fit points as placed on its training image blurred by several
// amounts (geo_align_model.h), and the fit solves for a fifth parameter, the blend between those
// sets, with the pose: the points move with the blend as they move with blur.
//
// The score is the mean over the fit points of max(0, cos) of the angle between the turned
// direction and the image gradient there (0 below the contrast threshold), each weighted by
// 1 - (d / 1 px)^2 where d is the distance to the point's edge (0 beyond a pixel or without an
// edge); the coverage is the fraction of fit points that found an edge within one pixel.
// Without polarity, an instance is matched with the polarity (normal or reversed) that agrees
// best. With clutter scoring, edge pixels inside the footprint farther than 1.5 pixels from
// every turned point count as further points of agreement 0.
#pragma once

#include "platform/vision/geo_align_track.h"

struct xc_GeoFit {
    xc_GeoPose pose;
    double score = 0;
    double coverage = 0;
    float sign = 1.0f;  // the instance's polarity: 1 as trained, -1 reversed
};

// Fits (with leastSquares) and scores a candidate at the model's finest level. The fit stops
// early, after a few steps, when fewer than the fraction giveUp of the points have found an
// edge within a pixel (0: never).
xc_GeoFit xf_GeoFit(const xc_GeoPose& start, const xc_GeoModel& model, const xc_GeoPyramid& pyr,
                    const xc_GeoRunSetup& setup, bool leastSquares, bool clutter,
                    double giveUp = 0.0);
