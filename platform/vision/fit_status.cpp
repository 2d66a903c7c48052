#include "platform/vision/fit_status.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>

#include "platform/core/exception.h"

void xf_CheckFitInput(std::span<const xcVector<2>> points, std::span<const double> weights) {
    for (size_t i = 0; i < points.size(); ++i)
        if (!std::isfinite(points[i].x()) || !std::isfinite(points[i].y()))
            throw xcBadArgument(L"Fit point " + std::to_wstring(i) + L" is not finite");
    if (!weights.empty() && weights.size() != points.size())
        throw xcBadArgument(L"Fit weights: " + std::to_wstring(weights.size()) +
                            L" weights for " + std::to_wstring(points.size()) + L" points");
    for (size_t i = 0; i < weights.size(); ++i)
        if (!std::isfinite(weights[i]) || weights[i] < 0)
            throw xcBadArgument(L"Fit weight " + std::to_wstring(i) +
                                L" must be finite and >= 0");
}

std::vector<bool> xf_FitKeep(const std::vector<double>& residuals, long numIgnore, double limit) {
    std::vector<bool> keep(residuals.size());
    std::vector<size_t> kept;
    for (size_t i = 0; i < residuals.size(); ++i)
        if (std::fabs(residuals[i]) <= limit) kept.push_back(i);
    // Drop the numIgnore worst of the remaining points; equal residuals drop the later point.
    std::stable_sort(kept.begin(), kept.end(), [&](size_t a, size_t b) {
        return std::fabs(residuals[a]) < std::fabs(residuals[b]);
    });
    const size_t drop = std::min(kept.size(), static_cast<size_t>(std::max(0L, numIgnore)));
    kept.resize(kept.size() - drop);
    for (size_t i : kept) keep[i] = true;
    return keep;
}
