// Least-squares straight-line fit (total least squares: orthogonal distances), optionally
// weighted, with optional rejection of outliers and a refit.
//
// The fitted line, in the frame of the points: with direction u = (cos angle, sin angle) and
// normal n = (-sin angle, cos angle) (the angle + pi/2), the line is the set of points p with
// p . n = distance. It passes through distance * n, the point at the fit's distance from the
// origin in the direction angle + pi/2. angle lies in (-pi/2, pi/2]; distance is signed.
// Each point's along-line coordinate is p . u (its signed distance along the line from the
// foot of the origin) and its residual p . n - distance (signed orthogonal distance).
#pragma once

#include <limits>
#include <span>
#include <vector>

#include "platform/core/angle.h"
#include "platform/core/vector.h"
#include "platform/vision/fit_status.h"

class xcLineFitParams {
public:
    enum FitMode {
        eOrthogonal = 0,  // total least squares, every point of weight 1
        eWeighted = 1,    // total least squares with the caller's weights
    };

    // fitMode: a FitMode value. numIgnore: after a first fit, this many points with the
    // largest residuals are left out and the line is fitted again (0 for none). limit: after
    // a first fit, points whose |residual| exceeds it are left out too (infinity for none).
    // Throws xcBadArgument for an unknown mode, a negative numIgnore, or a limit that is NaN
    // or negative.
    xcLineFitParams(int fitMode = eOrthogonal, long numIgnore = 0,
                    double limit = std::numeric_limits<double>::infinity());

    FitMode fitMode() const { return m_mode; }
    long numIgnore() const { return m_numIgnore; }
    double limit() const { return m_limit; }

private:
    FitMode m_mode;
    long m_numIgnore;
    double m_limit;
};

class xcLineFitResult {
public:
    xcFitStatus status() const { return m_status; }
    bool valid() const { return m_status == xcFitStatus::eOk; }

    // The line (see the file comment); zero when not valid.
    xcRadian angle() const { return m_angle; }
    double distance() const { return m_distance; }
    // Unit direction (cos angle, sin angle) and normal (-sin angle, cos angle).
    xcVector<2> direction() const;
    xcVector<2> normal() const;
    // The (weighted) centroid of the points the final fit used; it lies on the line.
    const xcVector<2>& centroid() const { return m_centroid; }
    // Root-mean-square (weighted) residual of the points the final fit used.
    double rms() const { return m_rms; }

    // Per input point, in input order (empty when not valid): along-line coordinate, signed
    // residual, and whether the final fit used the point.
    const std::vector<double>& alongs() const { return m_alongs; }
    const std::vector<double>& residuals() const { return m_residuals; }
    const std::vector<bool>& used() const { return m_used; }
    long numUsed() const { return m_numUsed; }

    // The point of the line nearest to p, and p's along-line coordinate and residual.
    xcVector<2> project(const xcVector<2>& p) const;
    double along(const xcVector<2>& p) const;
    double residual(const xcVector<2>& p) const;

private:
    friend xcLineFitResult xfLineFit(std::span<const xcVector<2>>, const xcLineFitParams&,
                                     std::span<const double>);
    xcFitStatus m_status = xcFitStatus::eTooFewPoints;
    xcRadian m_angle;
    double m_distance = 0;
    xcVector<2> m_centroid;
    double m_rms = 0;
    std::vector<double> m_alongs;
    std::vector<double> m_residuals;
    std::vector<bool> m_used;
    long m_numUsed = 0;
};

// Fits a line to `points` (any frame; results are in the same frame). `weights` is used in
// mode eWeighted (empty means all 1) and must then hold one weight >= 0 per point; in mode
// eOrthogonal it must be empty. Status eTooFewPoints: fewer than 2 points of positive weight
// (before or after rejection); eDegenerate: they all coincide. Throws xcBadArgument for
// non-finite points or bad weights (see xf_CheckFitInput).
xcLineFitResult xfLineFit(std::span<const xcVector<2>> points, const xcLineFitParams& params = {},
                          std::span<const double> weights = {});
