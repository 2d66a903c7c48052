// The flexible sub-model: a trained character (or any small pattern) image, and the
// parameters and results of the sub-model tool (sub_model_tool.h) that finds how well, and
// where, it appears in another image.
//
// Frames: a sub-model's client frame is the client frame of its image (the image's
// client-from-image transform). A pose maps the sub-model's client frame into the searched
// image's client frame.
//
// Setters check their argument and throw xcBadArgument, changing nothing, when it is out of
// range.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/core/xform_base.h"

class xcFlexSubModelDefs {
public:
    // Degrees of freedom beyond translation, as bits of a zone mask.
    enum Zone : long { eZoneAngle = 1, eZoneScale = 2 };
};

// A pattern to train the sub-model tool on: an 8-bit image window, an optional care mask
// (same window; pixels whose mask value is >= 128 are cared for) and a name. The buffers are
// shared, not copied.
class xcFlexSubModel {
public:
    // An empty sub-model (no image); training the tool on it throws.
    xcFlexSubModel() = default;
    // Throws xcPel::UnboundWindow for an unbound image.
    xcFlexSubModel(const xcPelBuffer_const<unsigned char>& image, const std::wstring& name);
    // Also throws xcBadArgument when the mask is bound and its window differs from the image's.
    // An unbound mask means every pixel is cared for.
    xcFlexSubModel(const xcPelBuffer_const<unsigned char>& image,
                   const xcPelBuffer_const<unsigned char>& mask, const std::wstring& name);

    const xcPelBuffer_const<unsigned char>& image() const { return m_image; }
    const xcPelBuffer_const<unsigned char>& mask() const { return m_mask; }
    const std::wstring& name() const { return m_name; }

private:
    xcPelBuffer_const<unsigned char> m_image;
    xcPelBuffer_const<unsigned char> m_mask;
    std::wstring m_name;
};

// How the sub-model tool trains. Defaults: coarse grain limit 1.0, zones allowed 0.
class xcFlexSubModelCorTrainParams {
public:
    xcFlexSubModelCorTrainParams() = default;

    // The coarsest sampling step, in pixels, the tool may use while it searches; at least 1.0
    // (1.0: full resolution only). The tool correlates at full resolution, which any limit
    // permits. Throws xcBadArgument below 1.0 or when not finite.
    double coarseGrainLimit() const { return m_coarseGrainLimit; }
    void coarseGrainLimit(double value);

    // The degrees of freedom beyond translation that runs may search: a mask of
    // xcFlexSubModelDefs::Zone bits. The tool searches translation only; angle and scale zones
    // are accepted and not searched. Throws xcBadArgument for other bits.
    long zonesAllowed() const { return m_zonesAllowed; }
    void zonesAllowed(long mask);

private:
    double m_coarseGrainLimit = 1.0;
    long m_zonesAllowed = 0;
};

// How the sub-model tool runs. Defaults: accept threshold 0.5, zones enabled 0, partial match
// rectangle (0, 0, 0, 0), XY uncertainty (0, 0).
class xcFlexSubModelCorRunParams {
public:
    xcFlexSubModelCorRunParams() = default;

    // A placement is reported when its score is at least this. In [0, 1].
    double acceptThreshold() const { return m_accept; }
    void acceptThreshold(double value);

    // The zones (xcFlexSubModelDefs::Zone bits) this run searches; like zonesAllowed, accepted
    // and not searched. Throws xcBadArgument for other bits.
    long zonesEnabled() const { return m_zonesEnabled; }
    void zonesEnabled(long mask);

    // How far the model may hang out of the searched image, in image pixels, as a rectangle
    // about the origin: the model may pass the image window's left edge by -x pixels, its top
    // edge by -y, its right edge by x + width and its bottom edge by y + height. The default
    // (0, 0, 0, 0) keeps the model wholly inside; (-w/2, -h/2, w, h) for a w x h model lets up
    // to half of it leave the image along each axis, so at least a quarter of it stays. Throws
    // xcBadArgument unless the rectangle holds the origin (every margin >= 0).
    const xcPelRect& partialMatchRect() const { return m_partial; }
    void partialMatchRect(const xcPelRect& r);

    // The translation range searched about the start pose, in image pixels: the model's offset
    // varies by up to half the x value either way along x, and half the y value along y.
    // Throws xcBadArgument for a negative or non-finite component.
    const xcVector<2>& xyUncertainty() const { return m_xyUncertainty; }
    void xyUncertainty(const xcVector<2>& v);

private:
    double m_accept = 0.5;
    long m_zonesEnabled = 0;
    xcPelRect m_partial;
    xcVector<2> m_xyUncertainty;
};

// One placement found by the sub-model tool.
class xc_SubModelResult {
public:
    xc_SubModelResult() = default;
    xc_SubModelResult(double score, double coverage, const xc2XformLinear& pose,
                      std::vector<xcVector<2>> points)
        : m_score(score), m_coverage(coverage), m_pose(pose), m_points(std::move(points)) {}

    // The match score in [0, 1]: r^2 times the coverage (sub_model_tool.h).
    double score() const { return m_score; }
    // The fraction of the model's care pixels that lie on care pixels of the image.
    double coverage() const { return m_coverage; }
    // Maps the model's client frame into the searched image's client frame.
    const xc2XformLinear& pose() const { return m_pose; }
    // The run's points (model client coordinates) mapped by the pose.
    const std::vector<xcVector<2>>& points() const { return m_points; }

private:
    double m_score = 0.0;
    double m_coverage = 0.0;
    xc2XformLinear m_pose;
    std::vector<xcVector<2>> m_points;
};

// The results of one run, best first.
class xc_SubModelResultSet {
public:
    std::size_t size() const { return m_results.size(); }
    bool empty() const { return m_results.empty(); }
    // Result i; throws xcBadArgument when i >= size().
    const xc_SubModelResult& result(std::size_t i) const;
    const std::vector<xc_SubModelResult>& results() const { return m_results; }

    void clear() { m_results.clear(); }
    void add(xc_SubModelResult r) { m_results.push_back(std::move(r)); }

private:
    std::vector<xc_SubModelResult> m_results;
};
