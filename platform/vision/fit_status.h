// Outcome of the least-squares fits (line_fit.h, circle_fit.h) and the shared point
// validation. A fit never returns NaN: when it cannot be made, its status says why and its
// geometry is zero.
#pragma once

#include <span>
#include <vector>

#include "platform/core/exception.h"
#include "platform/core/vector.h"

enum class xcFitStatus {
    eOk = 0,
    eTooFewPoints = 1,  // fewer points (after rejection) than the shape needs
    eDegenerate = 2,    // the points do not fix the shape: coincident (line) or collinear (circle)
};

// Throws xcBadArgument when a point is not finite, `weights` is neither empty nor of the
// points' size, or a weight is negative or not finite. Module-private.
void xf_CheckFitInput(std::span<const xcVector<2>> points, std::span<const double> weights);

// The indices of the points kept after a first fit: those whose |residual| is at most `limit`,
// less the `numIgnore` largest residuals among them. Module-private.
std::vector<bool> xf_FitKeep(const std::vector<double>& residuals, long numIgnore, double limit);
