// Small numeric helpers: integer floor and ceiling of reals, and tolerant comparison.
#pragma once

#include <cmath>

// The largest integer <= v, and the smallest integer >= v.
inline long xfIFloor(double v) { return static_cast<long>(std::floor(v)); }
inline long xfICeil(double v) { return static_cast<long>(std::ceil(v)); }
inline long xfIRound(double v) { return static_cast<long>(std::lround(v)); }

// True when a and b differ by at most tol, absolutely or relative to the larger magnitude.
inline bool xfRealEq(double a, double b, double tol = 1e-10) {
    double d = std::fabs(a - b);
    if (d <= tol) return true;
    double m = std::fmax(std::fabs(a), std::fabs(b));
    return d <= tol * m;
}
