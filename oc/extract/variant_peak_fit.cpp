#include "oc/extract/variant_peak_fit.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr int kMaxTerms = 6;
using Row = std::array<double, kMaxTerms>;

// Solves the n x n system a z = b by Gaussian elimination with partial pivoting; false when it
// is singular.
bool solve(std::array<Row, kMaxTerms> a, Row b, int n, Row& z) {
    for (int c = 0; c < n; ++c) {
        int p = c;
        for (int r = c + 1; r < n; ++r)
            if (std::fabs(a[r][c]) > std::fabs(a[p][c])) p = r;
        if (std::fabs(a[p][c]) < 1e-12) return false;
        std::swap(a[p], a[c]);
        std::swap(b[p], b[c]);
        for (int r = c + 1; r < n; ++r) {
            const double f = a[r][c] / a[c][c];
            for (int k = c; k < n; ++k) a[r][k] -= f * a[c][k];
            b[r] -= f * b[c];
        }
    }
    for (int r = n - 1; r >= 0; --r) {
        double s = b[r];
        for (int k = r + 1; k < n; ++k) s -= a[r][k] * z[k];
        z[r] = s / a[r][r];
    }
    return true;
}

// Least-squares coefficients of value(sample) over the given terms of (x, y).
template <class Terms, class Value>
bool leastSquares(const std::vector<xc_VariantSample>& samples, int n, Terms terms, Value value,
                  Row& coef) {
    std::array<Row, kMaxTerms> ata{};
    Row atb{};
    for (const xc_VariantSample& s : samples) {
        const Row t = terms(s.x, s.y);
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < n; ++j) ata[i][j] += t[i] * t[j];
            atb[i] += t[i] * value(s);
        }
    }
    return solve(ata, atb, n, coef);
}

}  // namespace

xc_VariantPeak xf_FitVariantPeak(const std::vector<xc_VariantSample>& samples,
                                 const xcVector<2>& bestLocation, const xcVector<2>& lo,
                                 const xcVector<2>& hi) {
    xc_VariantPeak none{0.0, 0.0, bestLocation};
    std::vector<double> xs, ys;
    for (const xc_VariantSample& s : samples) {
        if (std::find(xs.begin(), xs.end(), s.x) == xs.end()) xs.push_back(s.x);
        if (std::find(ys.begin(), ys.end(), s.y) == ys.end()) ys.push_back(s.y);
    }
    const bool fx = xs.size() >= 3, fy = ys.size() >= 3;
    // Terms: 1, then x, x^2 when x is fitted, then y, y^2, then xy when both are.
    const int n = 1 + (fx ? 2 : 0) + (fy ? 2 : 0) + (fx && fy ? 1 : 0);
    if (n == 1 || static_cast<int>(samples.size()) < n + 1) return none;
    auto quadric = [fx, fy](double x, double y) {
        Row t{};
        int k = 0;
        t[k++] = 1.0;
        if (fx) t[k++] = x, t[k++] = x * x;
        if (fy) t[k++] = y, t[k++] = y * y;
        if (fx && fy) t[k++] = x * y;
        return t;
    };
    Row q{};
    if (!leastSquares(
            samples, n, quadric, [](const xc_VariantSample& s) { return s.score; }, q))
        return none;
    // Top of the quadric: gradient zero, the Hessian negative definite.
    const double gx = fx ? q[1] : 0.0, hxx = fx ? 2.0 * q[2] : -1.0;
    const double gy = fy ? q[fx ? 3 : 1] : 0.0, hyy = fy ? 2.0 * q[fx ? 4 : 2] : -1.0;
    const double hxy = fx && fy ? q[5] : 0.0;
    const double det = hxx * hyy - hxy * hxy;
    if (!(hxx < 0.0 && hyy < 0.0 && det > 0.0)) return none;
    xc_VariantPeak peak;
    peak.x = std::clamp((-gx * hyy + gy * hxy) / det, std::max(-1.0, std::min(0.0, lo.x())),
                        std::min(1.0, std::max(0.0, hi.x())));
    peak.y = std::clamp((-gy * hxx + gx * hxy) / det, std::max(-1.0, std::min(0.0, lo.y())),
                        std::min(1.0, std::max(0.0, hi.y())));

    // The locations over a plane in (x, y).
    const int m = 1 + (fx ? 1 : 0) + (fy ? 1 : 0);
    auto plane = [fx, fy](double x, double y) {
        Row t{};
        int k = 0;
        t[k++] = 1.0;
        if (fx) t[k++] = x;
        if (fy) t[k++] = y;
        return t;
    };
    Row lx{}, ly{};
    if (!leastSquares(
            samples, m, plane, [](const xc_VariantSample& s) { return s.location.x(); }, lx) ||
        !leastSquares(
            samples, m, plane, [](const xc_VariantSample& s) { return s.location.y(); }, ly))
        return none;
    const Row at = plane(peak.x, peak.y);
    double px = 0.0, py = 0.0;
    for (int k = 0; k < m; ++k) px += lx[k] * at[k], py += ly[k] * at[k];
    peak.location = xcVector<2>(px, py);
    return peak;
}
