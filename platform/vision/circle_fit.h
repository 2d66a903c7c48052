// Least-squares circle fit minimising the geometric (orthogonal) distances of the points to
// the circle, by Levenberg-Marquardt iterations started from the algebraic (Kasa) fit, with
// optional rejection of outliers and a refit.
//
// Results are in the frame of the points: centre, radius > 0, and per point its signed
// residual |p - centre| - radius (positive outside) and its angle atan2 about the centre.
#pragma once

#include <limits>
#include <span>
#include <vector>

#include "platform/core/vector.h"
#include "platform/vision/fit_status.h"

class xcCircleFitParams {
public:
    enum FitMode {
        eGeometric = 0,  // Levenberg-Marquardt on the orthogonal distances
        eAlgebraic = 1,  // the algebraic (Kasa) fit alone
    };

    // fitMode: a FitMode value. damping: the initial Levenberg-Marquardt damping, relative to
    // the mean diagonal of the normal equations (> 0; 1.0 is a safe start, smaller values
    // trust the start more). numIgnore and limit: outlier rejection as for the line fit
    // (after a first fit, drop the points whose |residual| exceeds limit, then the numIgnore
    // worst, and refit). Throws xcBadArgument for an unknown mode, a damping that is not
    // finite and positive, a negative numIgnore, or a limit that is NaN or negative.
    xcCircleFitParams(int fitMode = eGeometric, double damping = 1.0, long numIgnore = 0,
                      double limit = std::numeric_limits<double>::infinity());

    FitMode fitMode() const { return m_mode; }
    double damping() const { return m_damping; }
    long numIgnore() const { return m_numIgnore; }
    double limit() const { return m_limit; }

private:
    FitMode m_mode;
    double m_damping;
    long m_numIgnore;
    double m_limit;
};

class xcCircleFitResult {
public:
    xcFitStatus status() const { return m_status; }
    bool valid() const { return m_status == xcFitStatus::eOk; }

    // The circle; zero when not valid.
    const xcVector<2>& center() const { return m_center; }
    double radius() const { return m_radius; }
    // Root-mean-square residual of the points the final fit used.
    double rms() const { return m_rms; }
    // Levenberg-Marquardt iterations of the final fit (0 for the algebraic mode).
    long iterations() const { return m_iterations; }

    // Per input point, in input order (empty when not valid): signed residual, angle about
    // the centre in radians (-pi, pi], and whether the final fit used the point.
    const std::vector<double>& residuals() const { return m_residuals; }
    const std::vector<double>& angles() const { return m_angles; }
    const std::vector<bool>& used() const { return m_used; }
    long numUsed() const { return m_numUsed; }

private:
    friend xcCircleFitResult xfCircleFit(std::span<const xcVector<2>>, const xcCircleFitParams&);
    xcFitStatus m_status = xcFitStatus::eTooFewPoints;
    xcVector<2> m_center;
    double m_radius = 0;
    double m_rms = 0;
    long m_iterations = 0;
    std::vector<double> m_residuals;
    std::vector<double> m_angles;
    std::vector<bool> m_used;
    long m_numUsed = 0;
};

// Fits a circle to `points`. Status eTooFewPoints: fewer than 3 points (before or after
// rejection); eDegenerate: the points are collinear or coincide (no finite circle), or the
// geometric fit runs off to an unbounded radius. Throws xcBadArgument for non-finite points.
xcCircleFitResult xfCircleFit(std::span<const xcVector<2>> points,
                              const xcCircleFitParams& params = {});
