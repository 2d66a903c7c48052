// Tracking candidates of the geometric alignment tool down the pyramid (module-private).
//
// A candidate found at one level is scored at the next finer level over a small neighbourhood:
// one pixel of that level either way in x and y, one angle step either way and one scale step
// either way (for the degrees of freedom the run searches). The best pose of the neighbourhood
// goes on to the next level; when it lies on the neighbourhood's edge, the neighbourhood is
// searched once more around it. The score at a level is the mean, over the level's points, of
// the agreement of the point's turned direction with the unit gradient of the nearest pixel
// (max(0, cos) when polarity counts, |cos| otherwise; 0 below the contrast threshold).
#pragma once

#include <vector>

#include "platform/vision/geo_align_coarse.h"
#include "platform/vision/geo_align_model.h"
#include "platform/vision/geo_align_pyramid.h"

// What a run searches, in the searched image's pixel frame (angles in radians).
struct xc_GeoRunSetup {
    double contrast = 10.0;  // grey levels per pixel
    bool polarity = true;
    bool angleFree = false, scaleFree = false;
    bool angleCircular = false;  // the angle zone is the full turn
    double angleLo = 0, angleHi = 0;
    double scaleLo = 1, scaleHi = 1;
    double angleNominal = 0, scaleNominal = 1;
    // Steps at level 0; a level l uses 2^l times these. The scale step is a step of ln(scale).
    double angleStep0 = 0, logScaleStep0 = 0;
    // Pyramid levels of the searched image pair with the model's levels whose grain, at the
    // zone's middle scale, is the nearest: model level = image level + levelShift (a pattern
    // trained on an enlarged image has a positive shift). fitLevel: the image level of the fit.
    int levelShift = 0;
    int fitLevel = 0;

    // The model level that serves image level `level`.
    int modelLevel(const xc_GeoModel& model, int level) const;

    // The angle held in the angle zone: itself a whole turn up or down when that lies in the
    // zone, else the zone's end nearer on the circle.
    double clampAngle(double a) const;
    double clampScale(double s) const;
};

// Unit gradients of a window of one level (zero below the contrast threshold, outside the
// level and at don't-care pixels), for scoring poses at whole-pixel steps.
class xc_GeoLevelScorer {
public:
    // The window [x0, x0 + w) x [y0, y0 + h) of the level (it may reach outside the plane).
    void prepare(const xc_GeoPlane& plane, const xc_GeoPlane* mask, double contrast, long x0,
                 long y0, long w, long h);
    // The same window as prepare() makes, from a scorer prepared over a whole level (window at
    // (0, 0) of the level's size) with the same plane, mask and contrast: a window inside the
    // level is read from `level` in place (which must then outlive the scoring), others are
    // copied.
    void prepareFrom(const xc_GeoLevelScorer& level, long x0, long y0, long w, long h);
    // The scores of the 3 x 3 poses pose + (i, j) level pixels, i, j in {-1, 0, 1}, row by row
    // (out[(j + 1) * 3 + i + 1]), as fractions of the number of points.
    void score3x3(const std::vector<xc_GeoPoint>& pts, const xc_GeoPose& pose, int level,
                  bool polarity, double out[9]) const;
    // The same over the 5 x 5 poses pose + (i, j), i, j in {-2, ..., 2}
    // (out[(j + 2) * 5 + i + 2]).
    void score5x5(const std::vector<xc_GeoPoint>& pts, const xc_GeoPose& pose, int level,
                  bool polarity, double out[25]) const;

private:
    template <int R, bool Polarity>
    void scoreSquare_(const std::vector<xc_GeoPoint>& pts, const xc_GeoPose& pose, int level,
                      double* out) const;

    long m_x0 = 0, m_y0 = 0, m_w = 0, m_h = 0;
    static constexpr size_t kPad = 4;
    std::vector<float> m_ux, m_uy;  // unit gradient, row by row (kPad floats beyond the end,
                                    // where a row's eight-float loads reach)
    // The window's first pixel and the distance between its rows: in m_ux and m_uy, or in the
    // whole level's scorer.
    const float* m_rx = nullptr;
    const float* m_ry = nullptr;
    long m_stride = 0;
};

// Tracks a candidate from the image level above `level` to `level` (with the points of the model
// level that serves it); returns the best pose of the neighbourhood and its score. With
// `levelUnits` (a scorer prepared over the whole level) the candidate's window is copied from it
// instead of computed.
xc_GeoCandidate xf_GeoTrackLevel(const xc_GeoCandidate& c, const xc_GeoModel& model, int level,
                                 const xc_GeoPyramid& pyr, const xc_GeoRunSetup& setup,
                                 xc_GeoLevelScorer& scorer, int reach, int maxRounds,
                                 const xc_GeoLevelScorer* levelUnits = nullptr);
