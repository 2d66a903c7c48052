// Exhaustive search at the coarsest pyramid level of the geometric alignment tool
// (module-private).
//
// The coarse level's gradients become kDirections response planes: plane k holds, at every
// pixel whose gradient reaches the contrast threshold (and that is cared for), 255 times the
// agreement of the gradient's direction with direction k (k turns of 2 pi / kDirections from
// +x towards +y): max(0, cos) when polarity counts, |cos| otherwise; other pixels hold 0. A
// template is the pattern's coarse points turned and scaled by one (angle, scale) of the
// coarse grid and rounded to whole pixels, each reading the plane of its turned direction.
// Its score at a placement is the sum of what its points read; placements are every pixel of
// the level (the reference point at the pixel's centre), and points that fall outside the image
// read 0 (the planes carry a zero border).
//
// Two bounds end a placement early without ever losing one that reaches the threshold:
//   - a run of 32 placements of a row is skipped when even every edge pixel under the
//     template's reach could not add up to the threshold (an integral image counts them);
//   - after every 8 points, the placements stop when their best partial sum plus 255 for each
//     remaining point stays below the threshold.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/vision/geo_align_model.h"
#include "platform/vision/geo_align_pyramid.h"

// A pose of the pattern in a searched image: the reference point's position in level-0
// window-relative pixels, the angle in radians (x towards y) and the scale, all in the image's
// pixel frame.
struct xc_GeoPose {
    double x = 0, y = 0;
    double angle = 0;
    double scale = 1;
};

struct xc_GeoCandidate {
    xc_GeoPose pose;
    double score = 0;  // fraction of the best possible score
};

// The response planes of one level, with a zero border of `border` pixels on every side (and
// 32 more on the right, so that a run of 32 placements never reads past a row).
class xc_GeoResponse {
public:
    static constexpr int kDirections = 16;

    // contrast: grey levels per pixel; polarity: signed agreement. Polls xcAttention::check().
    xc_GeoResponse(const xc_GeoPlane& plane, const xc_GeoPlane* mask, double contrast,
                   bool polarity, long border);

    long width() const { return m_w; }
    long height() const { return m_h; }
    long border() const { return m_border; }
    long stride() const { return m_stride; }
    long planeSize() const { return m_planeSize; }
    // The byte of plane 0 at placement (0, 0) (pixel (0, 0) of the level); plane k starts
    // k * planeSize() bytes further.
    const unsigned char* origin() const { return m_data.data() + m_border * m_stride + m_border; }
    // The number of edge pixels (contrast reached, cared for) in [x0, x1] x [y0, y1] (clipped).
    long edgeCount(long x0, long y0, long x1, long y1) const;

private:
    long m_w = 0, m_h = 0, m_border = 0, m_stride = 0, m_planeSize = 0;
    std::vector<unsigned char> m_data;
    std::vector<std::int32_t> m_integral;  // (w + 1) x (h + 1)
};

// One template: the byte offset of each point from the placement's byte in plane 0, and the
// reach of its points.
struct xc_GeoTemplate {
    std::vector<std::int32_t> offsets;
    long dxMin = 0, dxMax = 0, dyMin = 0, dyMax = 0;
    long multiplicity = 1;  // most points that fall on one pixel
    long angleIndex = 0, scaleIndex = 0;
};

// The template of `points` (coarse level `level`) at angle (radians) and scale.
xc_GeoTemplate xf_GeoMakeTemplate(const std::vector<xc_GeoPoint>& points, int level, double angle,
                                  double scale, const xc_GeoResponse& resp);

struct xc_GeoHit {
    std::int32_t sum;  // score in units of 1/255 point
    std::int32_t u, v;
    std::int32_t t;  // template index
};

// Scores row v of placements of template t into sums[0 ... width): the exact sum of every
// placement that may reach minSum; the fast version (SSE2 where available) writes -1 for the
// placements that the bounds above rule out (their sums are below minSum). Both return whether
// some placement of the row reaches minSum; where a sum reaches minSum, both hold the same.
// runHits, when given, gets one flag per run of 32 placements ((width + 31) / 32 of them):
// whether a sum of the run reaches minSum.
bool xf_GeoScanRowPlain(const xc_GeoResponse& resp, const xc_GeoTemplate& t, long v,
                        std::int32_t minSum, std::int32_t* sums, unsigned char* runHits = nullptr);
bool xf_GeoScanRow(const xc_GeoResponse& resp, const xc_GeoTemplate& t, long v, std::int32_t minSum,
                   std::int32_t* sums, unsigned char* runHits = nullptr);

// The coarse grid of a run and its search.
struct xc_GeoCoarseGrid {
    std::vector<double> angles;  // radians
    bool angleCircular = false;  // the angles cover the full turn
    std::vector<double> scales;
};

// Searches every placement of every (angle, scale) of the grid at image level `level`, and
// returns the best maxima whose score reaches minScore (a fraction), at most maxCandidates of
// them, best first. A hit is a maximum of its template's score map over the 3 x 3 placements
// around it; a hit is dropped when a better one lies within one pixel and two angle steps and
// one scale step. Templates are made one at a time as the search reaches them, and the search
// keeps only the strongest hits (256 per candidate asked for, at least 2^16 and at most 2^20
// of them, 16 bytes each), so its memory is the response planes, one score map of the level
// and that pool, whatever the grid's size; only when more hits than the pool holds are dropped
// as near a better one can a candidate be missed. Polls xcAttention::check() before making
// each template and before each row of placements (well under a millisecond of work apart).
std::vector<xc_GeoCandidate> xf_GeoCoarseSearch(const xc_GeoResponse& resp,
                                                const std::vector<xc_GeoPoint>& points, int level,
                                                const xc_GeoCoarseGrid& grid, double minScore,
                                                long maxCandidates);
