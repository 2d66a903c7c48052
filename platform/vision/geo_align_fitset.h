// The fit point sets of a geometric alignment pattern (module-private): where the run's edge
// estimator (geo_align_edge.h) places the finest level's edge points when the training image
// is blurred by each of the model's fit blurs.
//
// Two effects would otherwise bias a fit:
//   - blur: the two edges of a thin stroke move apart under blur, so a blurred image of a
//     pattern trained sharp looks bolder (the run fits a blend between the blurred sets);
//   - pixel phase: the estimator's error depends on where an edge falls within a pixel. An
//     upright training image holds long axis-aligned strokes whose points all share one phase
//     and so one error, which distorts the pattern's shape, while an instance turned in the
//     searched image meets every phase. Each point is therefore placed at the mean of its
//     positions in copies of the training image shifted by a rank-1 lattice of sub-pixel
//     offsets (the shift comes with the blur: the Gaussian is centred off the pixel).
#pragma once

#include <vector>

#include "platform/vision/geo_align_model.h"
#include "platform/vision/geo_align_pyramid.h"

// A seed point: window-relative level coordinates and the unit gradient direction.
struct xc_GeoSeed {
    double x = 0, y = 0;
    float ux = 0, uy = 0;
};

// Fills model.fitSets and model.fitPoints from the seeds of level `level`, whose plane is
// `plane` with the window starting `off` pixels in from its corner (the plane is padded).
// thr: the edge threshold, grey levels per pixel. A seed that the estimator does not find in
// most shifted copies of the least blurred image is dropped; one that a stronger blur makes
// vanish (thin strokes merge) keeps its place at the blur before. Polls xcAttention::check().
void xf_GeoBuildFitSets(const xc_GeoPlane& plane, double off, const std::vector<xc_GeoSeed>& seeds,
                        int level, const xcVector<2>& ref, double thr, xc_GeoModel& model);
