#include "platform/core/linear_solve.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "platform/core/exception.h"

namespace {

// Working storage: on the stack up to kLocal doubles, on the heap beyond.
class Scratch {
public:
    explicit Scratch(std::size_t count) {
        if (count > kLocal) {
            m_heap.resize(count);
            m_p = m_heap.data();
        }
    }
    double* data() { return m_p; }

private:
    static constexpr std::size_t kLocal = 2 * 64 + 8;  // an 8 x 8 inverse
    std::array<double, kLocal> m_local;
    std::vector<double> m_heap;
    double* m_p = m_local.data();
};

// Solves w X = r in place for the m columns of r: w is n x n (stride n), r is n x m (stride m);
// on success r holds X (w is destroyed either way). rowMax holds each row's largest magnitude
// as given and travels with its row through the swaps.
bool eliminate(double* w, double* rowMax, std::size_t n, double* r, std::size_t m) {
    for (std::size_t c = 0; c < n; ++c) {
        std::size_t piv = c;
        for (std::size_t i = c + 1; i < n; ++i)
            if (std::fabs(w[i * n + c]) > std::fabs(w[piv * n + c])) piv = i;
        if (!(std::fabs(w[piv * n + c]) > kXcLinearPivotTolerance * rowMax[piv])) return false;
        if (piv != c) {
            for (std::size_t j = 0; j < n; ++j) std::swap(w[c * n + j], w[piv * n + j]);
            for (std::size_t j = 0; j < m; ++j) std::swap(r[c * m + j], r[piv * m + j]);
            std::swap(rowMax[c], rowMax[piv]);
        }
        for (std::size_t i = c + 1; i < n; ++i) {
            const double f = w[i * n + c] / w[c * n + c];
            for (std::size_t j = c; j < n; ++j) w[i * n + j] -= f * w[c * n + j];
            for (std::size_t j = 0; j < m; ++j) r[i * m + j] -= f * r[c * m + j];
        }
    }
    for (std::size_t k = 0; k < m; ++k)
        for (std::size_t c = n; c-- > 0;) {
            double s = r[c * m + k];
            for (std::size_t j = c + 1; j < n; ++j) s -= w[c * n + j] * r[j * m + k];
            s /= w[c * n + c];
            if (!std::isfinite(s)) return false;
            r[c * m + k] = s;
        }
    return true;
}

// Copies the n x n matrix a (row stride `stride`) into w (stride n) and each row's largest
// magnitude into rowMax (NaN for a row holding a non-finite entry, which no pivot passes).
void load(std::span<const double> a, std::size_t stride, std::size_t n, double* w, double* rowMax) {
    for (std::size_t i = 0; i < n; ++i) {
        double big = 0;
        for (std::size_t j = 0; j < n; ++j) {
            const double v = a[i * stride + j];
            w[i * n + j] = v;
            big = std::isfinite(v) && !std::isnan(big) ? std::max(big, std::fabs(v)) : NAN;
        }
        rowMax[i] = big;
    }
}

std::wstring str(std::size_t v) { return std::to_wstring(v); }

}  // namespace

bool xfLinearSolve(std::span<const double> a, std::size_t stride, std::span<const double> b,
                   std::span<double> x) {
    const std::size_t n = b.size();
    if (stride < n || x.size() != n || (n > 0 && a.size() < (n - 1) * stride + n))
        throw xcBadArgument(L"Linear system of " + str(n) + L" unknowns: matrix of " +
                            str(a.size()) + L" values with row stride " + str(stride) +
                            L", solution of " + str(x.size()) + L" values");
    Scratch s(n * n + 2 * n);
    double* w = s.data();
    double* rowMax = w + n * n;
    double* r = rowMax + n;
    load(a, stride, n, w, rowMax);
    std::copy(b.begin(), b.end(), r);
    if (!eliminate(w, rowMax, n, r, 1)) return false;
    std::copy(r, r + n, x.begin());
    return true;
}

bool xfLinearInvert(std::span<const double> a, std::span<double> inv) {
    std::size_t n = 0;
    while (n * n < a.size()) ++n;
    if (n * n != a.size() || inv.size() != a.size())
        throw xcBadArgument(L"Matrix inverse: " + str(a.size()) +
                            L" values do not make a square matrix of the inverse's " +
                            str(inv.size()));
    Scratch s(2 * n * n + n);
    double* w = s.data();
    double* rowMax = w + n * n;
    double* r = rowMax + n;
    load(a, n, n, w, rowMax);
    std::fill(r, r + n * n, 0.0);
    for (std::size_t i = 0; i < n; ++i) r[i * n + i] = 1.0;
    if (!eliminate(w, rowMax, n, r, n)) return false;
    std::copy(r, r + n * n, inv.begin());
    return true;
}
