// Parameters of one extraction search (xc_OCExtractModel::search, extract_model.h): what the
// patterns are trained and searched with (xc_OCExtractModelParams) and how each character's
// search runs (xc_OCExtractRunParams). Both are plain copyable values with getter / setter
// pairs; the setters store what they are given (the alignment tool checks the values it uses
// when the search hands them on, and its errors pass through the search).
#pragma once

#include <utility>

#include "platform/core/range.h"

class xc_OCExtractModelParams {
public:
    // Angles -180 ... 180 degrees, scales 0.5 ... 2.0, reserved factor 1.0, automatic grain
    // limits (-1, -1).
    xc_OCExtractModelParams();

    // The angle zone of every character's search, degrees (x towards y, client frame).
    const xcRange& angleRange() const { return m_angleRange; }
    void angleRange(const xcRange& r) { m_angleRange = r; }
    // The scale zone of every character's search until the scale locks.
    const xcRange& scaleRange() const { return m_scaleRange; }
    void scaleRange(const xcRange& r) { m_scaleRange = r; }
    // Carried and copied; nothing reads it.
    double reservedFactor() const { return m_reservedFactor; }
    void reservedFactor(double f) { m_reservedFactor = f; }
    // Grain limits (fine, coarse) in pixels handed to each trained pattern; either member -1
    // selects the automatic choice of the alignment tool.
    const std::pair<double, double>& grainLimits() const { return m_grainLimits; }
    void grainLimits(const std::pair<double, double>& g) { m_grainLimits = g; }
    void grainLimits(double fine, double coarse) { m_grainLimits = {fine, coarse}; }

private:
    xcRange m_angleRange;
    xcRange m_scaleRange;
    double m_reservedFactor = 1.0;
    std::pair<double, double> m_grainLimits{-1.0, -1.0};
};

class xc_OCExtractRunParams {
public:
    xc_OCExtractRunParams() = default;

    // Time-out of each character's geometric search, seconds (the unit of
    // xcAttentionTag::attachTimeoutCustom). Default 10.
    double timeout() const { return m_timeout; }
    void timeout(double s) { m_timeout = s; }
    // Accept threshold of the geometric search, in [0, 1]. Default 0.5.
    double acceptThreshold() const { return m_acceptThreshold; }
    void acceptThreshold(double t) { m_acceptThreshold = t; }
    // Printed by the runtime diagnostics only. Default 0.6.
    double confusionThreshold() const { return m_confusionThreshold; }
    void confusionThreshold(double t) { m_confusionThreshold = t; }
    // Printed by the runtime diagnostics only. Default 0.1.
    double overlap() const { return m_overlap; }
    void overlap(double o) { m_overlap = o; }
    // Carried and copied; nothing reads it. Default -1.
    long reservedCount() const { return m_reservedCount; }
    void reservedCount(long n) { m_reservedCount = n; }

private:
    double m_timeout = 10.0;
    double m_acceptThreshold = 0.5;
    double m_confusionThreshold = 0.6;
    double m_overlap = 0.1;
    long m_reservedCount = -1;
};
