// Parameters of the rotation- and scale-tolerant correlation model (rsi_ncc_search.h).
//
// xcRSINccSearchParams is the grid of variants a model is trained at: angles from the angle
// range's start in steps of angleStep (degrees, added) while they stay <= its end, and scales
// from the scale range's start in relative steps (the next scale is scale * (1 + scaleStep))
// while they stay <= its end. Every variant is the model image turned by its angle and scaled
// by scale / baseScale. With the angle range -3 ... 3 step 0.5 and the scale range
// 0.95 ... 1.065 step 0.03 the grid holds 13 angles and 4 scales.
//
// xcRSINccSearchRunParams says how the variants are run: accept and confusion thresholds of the
// correlation, the largest number of instances kept, and the search rectangle handed to the
// correlation tool.
//
// Setters check their value first and change nothing when it is bad; the error is
// xc_OCExtractDefs::xc_OCExtractError with a message naming the field.
#pragma once

#include <vector>

#include "platform/core/pel_rect.h"
#include "platform/core/range.h"

class xcRSINccSearchParams {
public:
    // The largest grid a model trains (angles times scales).
    static constexpr long kMaxVariants = 4096;

    // Angles -180 ... 180 step 5, scales 0.5 ... 2.0 step 0.25, base scale 1.
    xcRSINccSearchParams();
    // All five fields, checked in this order as the setters check them.
    xcRSINccSearchParams(const xcRange& angleRange, double angleStep, const xcRange& scaleRange,
                         double scaleStep, double baseScale);

    // Degrees. A normal range of finite ends: "Invalid angle range".
    const xcRange& angleRange() const { return m_angleRange; }
    void angleRange(const xcRange& r);
    // Degrees added from one angle to the next, finite and > 0: "Invalid angle step".
    double angleStep() const { return m_angleStep; }
    void angleStep(double v);
    // A normal range of finite ends with start > 0: "Invalid scale range".
    const xcRange& scaleRange() const { return m_scaleRange; }
    void scaleRange(const xcRange& r);
    // Relative step, finite and > 0: "Invalid scale step".
    double scaleStep() const { return m_scaleStep; }
    void scaleStep(double v);
    // The scale that stands for the model image's own size, finite and > 0: "Invalid base
    // scale".
    double baseScale() const { return m_baseScale; }
    void baseScale(double v);

    // The grid's angles (degrees) and scales, in training order, by the same accumulation of
    // steps as training (a value that lands on the range's end counts). A list stops after
    // kMaxVariants + 1 values, and after the first value when the step is too small to change
    // it.
    std::vector<double> angles() const;
    std::vector<double> scales() const;

    bool operator==(const xcRSINccSearchParams& o) const;
    bool operator!=(const xcRSINccSearchParams& o) const { return !(*this == o); }

private:
    xcRange m_angleRange;
    double m_angleStep = 5.0;
    xcRange m_scaleRange;
    double m_scaleStep = 0.25;
    double m_baseScale = 1.0;
};

class xcRSINccSearchRunParams {
public:
    // accept 0.5, confusion 0.6, overlap 0.1, maxNumResults -1, searchRect (0, 0, 1, 1).
    xcRSINccSearchRunParams() = default;

    // Correlation score a variant's result needs to become an instance, in [0, 1]:
    // "Invalid accept threshold".
    double accept() const { return m_accept; }
    void accept(double v);
    // Score at which the correlation tool takes a result for certain, in [0, 1]:
    // "Invalid confusion threshold".
    double confusion() const { return m_confusion; }
    void confusion(double v);
    // Carried with the parameters, in [0, 1] ("Invalid overlap"); a run does not apply it: the
    // correlation tool's own overlap is fixed at 0.3.
    double overlap() const { return m_overlap; }
    void overlap(double v);
    // The largest number of instances a run keeps, handed to the correlation tool as a 16-bit
    // count; a value below 1 keeps every instance.
    long maxNumResults() const { return m_maxNumResults; }
    void maxNumResults(long v) { m_maxNumResults = v; }
    // Handed unchanged to the correlation tool. The platform's correlation search searches the
    // whole window of the image it is given; (0, 0, 1, 1) stands for that.
    const xcPelRect& searchRect() const { return m_searchRect; }
    void searchRect(const xcPelRect& r) { m_searchRect = r; }

    bool operator==(const xcRSINccSearchRunParams& o) const;
    bool operator!=(const xcRSINccSearchRunParams& o) const { return !(*this == o); }

private:
    double m_accept = 0.5;
    double m_confusion = 0.6;
    double m_overlap = 0.1;
    long m_maxNumResults = -1;
    xcPelRect m_searchRect{0, 0, 1, 1};
};
