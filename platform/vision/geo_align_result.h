// Results of the geometric alignment tool (geo_align_pattern.h).
#pragma once

#include <cstddef>
#include <vector>

#include "platform/core/xform.h"

// One found instance of a pattern.
class xcGeoAlignResult {
public:
    xcGeoAlignResult() = default;
    xcGeoAlignResult(bool accepted, double score, double coverage, const xcXform<2>& pose)
        : m_accepted(accepted), m_score(score), m_coverage(coverage), m_pose(pose) {}

    // True when the score reached the run's accept threshold.
    bool accepted() const { return m_accepted; }
    // In [0, 1]: the mean over the pattern's edge points of the agreement of gradient
    // directions (the cosine of their difference, 0 when negative, and 0 where the image's
    // gradient is below the contrast threshold), each weighted by how near the image's edge
    // lies (1 - (d / 1 px)^2, 0 beyond a pixel). With clutter scoring, unexplained image edges in
    // the footprint count as further points of agreement 0.
    double score() const { return m_score; }
    // In [0, 1]: the fraction of the pattern's edge points that found an image edge of the
    // same direction within a pixel.
    double coverage() const { return m_coverage; }
    // The pose: pattern client coordinates (the training image's client frame) to the searched
    // image's client coordinates, to sub-pixel precision.
    const xcXform<2>& pose() const { return m_pose; }
    // The pose's x scale (its uniform scale for a similarity pose).
    double xScale() const { return m_pose.xScale(); }
    // The pose's x rotation in degrees, in (-180, 180].
    double angle() const;

private:
    bool m_accepted = false;
    double m_score = 0.0;
    double m_coverage = 0.0;
    xcXform<2> m_pose;
};

// The results of one run, best score first: the accepted results (at most numToFind, none
// overlapping a better one by more than xyOverlap), or, when none was accepted, at most the
// best candidate with accepted() false.
class xcGeoAlignResultSet {
public:
    std::size_t size() const { return m_results.size(); }
    bool empty() const { return m_results.empty(); }
    // The number of accepted results.
    std::size_t numAccepted() const;
    // Result i; throws xcBadArgument when i >= size().
    const xcGeoAlignResult& result(std::size_t i) const;
    const xcGeoAlignResult& operator[](std::size_t i) const { return result(i); }
    const std::vector<xcGeoAlignResult>& results() const { return m_results; }
    // Milliseconds the run that filled the set took.
    double time() const { return m_time; }

    void clear() {
        m_results.clear();
        m_time = 0.0;
    }
    void add(const xcGeoAlignResult& r) { m_results.push_back(r); }
    void time(double ms) { m_time = ms; }

private:
    std::vector<xcGeoAlignResult> m_results;
    double m_time = 0.0;
};
