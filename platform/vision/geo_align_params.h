// Run parameters of the geometric alignment tool (geo_align_pattern.h).
//
// A pose has a translation and two more degrees of freedom: 1, the angle in degrees (x towards
// y, as xcXform<2>::xRot turns), and 2, the uniform scale. Each has a zone (the range a run
// searches) and a nominal value; bit (dof - 1) of zoneEnable() says whether the run searches
// the zone or keeps the degree of freedom at its nominal value. Angles and scales are those of
// the client pose (pattern client to image client); see xcGeoAlignPattern::run.
//
// Setters check their argument and throw xcBadArgument, changing nothing, when it is out of
// range.
#pragma once

#include "platform/core/range.h"
#include "platform/vision/geo_align_defs.h"

// Defaults: accept 0.5, contrast 10, algorithm eAlgorithmRefined, no clutter scoring,
// xyOverlap 0.3, numToFind 1, no zone enabled, angle zone [-180, 180] with nominal 0, scale
// zone [0.8, 1.25] with nominal 1.
class xcGeoAlignRunParams {
public:
    xcGeoAlignRunParams() = default;

    // A result is accepted when its score is at least accept. In [0, 1].
    double acceptThreshold() const { return m_accept; }
    void acceptThreshold(double value);

    // The smallest gradient magnitude the image must have at a pattern point for the point to
    // count, in grey levels per pixel (a step edge of height h gives about h / 2). Finite and
    // >= 0.
    double contrastThreshold() const { return m_contrast; }
    void contrastThreshold(double value);

    // An xc_GeoDefs::Algorithm value.
    long algorithm() const { return m_algorithm; }
    void algorithm(long value);

    // With clutter scoring, image edges inside a result's footprint that no pattern point
    // explains count as points of zero agreement: score = sum of agreements / (number of
    // pattern points + number of unexplained edge pixels).
    bool clutterScoring() const { return m_clutter; }
    void clutterScoring(bool on) { m_clutter = on; }

    // Two results overlap by the fraction of the smaller footprint (the training window mapped
    // by the pose) that they share. Of two results overlapping by more than xyOverlap the
    // weaker is dropped. In [0, 1].
    double xyOverlap() const { return m_xyOverlap; }
    void xyOverlap(double value);

    // The largest number of accepted results, >= 1.
    long numToFind() const { return m_numToFind; }
    void numToFind(long value);

    // Zone of a degree of freedom (1 angle, 2 scale). An angle zone is a normal range of
    // degrees (a full range means every angle; a zone wider than 360 degrees is the full turn);
    // a scale zone a normal range of positive factors. Throws xcBadArgument for another dof or
    // an unsuitable range.
    const xcRange& zone(long dof) const;
    void zone(long dof, const xcRange& range);
    void zone(long dof, double low, double high) { zone(dof, xcRange(low, high)); }

    // Bit mask of the searched degrees of freedom: 1 angle, 2 scale (xc_GeoDefs::ZoneBits).
    long zoneEnable() const { return m_zoneEnable; }
    void zoneEnable(long mask);
    bool zoneEnabled(long dof) const;

    // Value a degree of freedom keeps when its zone is not enabled: any finite angle in
    // degrees, a finite positive scale.
    double nominal(long dof) const;
    void nominal(long dof, double value);

private:
    static long checkDof_(long dof);

    double m_accept = 0.5;
    double m_contrast = 10.0;
    long m_algorithm = xc_GeoDefs::eAlgorithmRefined;
    bool m_clutter = false;
    double m_xyOverlap = 0.3;
    long m_numToFind = 1;
    long m_zoneEnable = 0;
    xcRange m_zone[2] = {xcRange(-180.0, 180.0), xcRange(0.8, 1.25)};
    double m_nominal[2] = {0.0, 1.0};
};
