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

namespace {

// The pattern's pixels: centres and grey levels.
struct PatternPixels {
    std::vector<xcVector<2>> at;
    std::vector<double> value;
    xcVector<2> centre;
};

PatternPixels patternPixels(const xcPelBuffer_const<unsigned char>& pattern) {
    PatternPixels p;
    const xcPelRect w = pattern.window();
    double sx = 0.0, sy = 0.0;
    for (long y = 0; y < w.height(); ++y) {
        const unsigned char* row = pattern.rowPointer(w.y() + y);
        for (long x = 0; x < w.width(); ++x) {
            p.at.emplace_back(double(w.x() + x) + 0.5, double(w.y() + y) + 0.5);
            p.value.push_back(row[x]);
            sx += double(w.x() + x) + 0.5;
            sy += double(w.y() + y) + 0.5;
        }
    }
    const double n = static_cast<double>(std::max<std::size_t>(1, p.at.size()));
    p.centre = xcVector<2>(sx / n, sy / n);
    return p;
}

// Bilinear value and gradient (central differences, interpolated the same way) of `image` at
// the point q of its pixel frame; false when the taps leave the window.
bool sample(const xcPelBuffer_const<unsigned char>& image, const xcVector<2>& q, double& v,
            double& gx, double& gy) {
    const xcPelRect w = image.window();
    const double x = q.x() - 0.5, y = q.y() - 0.5;
    if (!(x >= double(w.x() + 1) && y >= double(w.y() + 1) && x < double(w.x() + w.width() - 2) &&
          y < double(w.y() + w.height() - 2)))
        return false;
    const long x0 = static_cast<long>(std::floor(x)), y0 = static_cast<long>(std::floor(y));
    const double fx = x - double(x0), fy = y - double(y0);
    auto px = [&](long dx, long dy) -> double {
        return image.rowPointer(y0 + dy)[x0 + dx - w.x()];
    };
    double val[2][2], ddx[2][2], ddy[2][2];
    for (long j = 0; j < 2; ++j)
        for (long i = 0; i < 2; ++i) {
            val[j][i] = px(i, j);
            ddx[j][i] = 0.5 * (px(i + 1, j) - px(i - 1, j));
            ddy[j][i] = 0.5 * (px(i, j + 1) - px(i, j - 1));
        }
    auto lerp = [fx, fy](const double(&a)[2][2]) {
        return (1 - fy) * ((1 - fx) * a[0][0] + fx * a[0][1]) +
               fy * ((1 - fx) * a[1][0] + fx * a[1][1]);
    };
    v = lerp(val);
    gx = lerp(ddx);
    gy = lerp(ddy);
    return true;
}

// The pose about the pattern's centre c: x = s R(theta) (u - c) + t, s = exp(sigma).
struct Params {
    xcVector<2> t;
    double theta = 0.0, sigma = 0.0;
    xcVector<2> map(const xcVector<2>& u, const xcVector<2>& c) const {
        return Mapper(*this, c)(u);
    }
    // The map with its matrix worked out once.
    struct Mapper {
        double a, b;  // s cos(theta), s sin(theta)
        xcVector<2> t, c;
        Mapper(const Params& p, const xcVector<2>& centre)
            : a(std::exp(p.sigma) * std::cos(p.theta)),
              b(std::exp(p.sigma) * std::sin(p.theta)),
              t(p.t),
              c(centre) {}
        xcVector<2> operator()(const xcVector<2>& u) const {
            const double dx = u.x() - c.x(), dy = u.y() - c.y();
            return t + xcVector<2>(a * dx - b * dy, b * dx + a * dy);
        }
    };
};

// Normalised correlation of the pattern with the image under `q`, and the gain and offset
// that map the pattern's grey levels onto the image's; false when more than a tenth of the
// pattern leaves the image or either side has no contrast.
bool correlate(const PatternPixels& pat, const xcPelBuffer_const<unsigned char>& image,
               const Params& q, double& ncc, double& gain, double& offset) {
    double n = 0, st = 0, si = 0, stt = 0, sii = 0, sti = 0;
    const Params::Mapper map(q, pat.centre);
    for (std::size_t k = 0; k < pat.at.size(); ++k) {
        double v, gx, gy;
        if (!sample(image, map(pat.at[k]), v, gx, gy)) continue;
        const double t = pat.value[k];
        n += 1, st += t, si += v, stt += t * t, sii += v * v, sti += t * v;
    }
    if (n < 0.9 * static_cast<double>(pat.at.size()) || n < 4) return false;
    const double vt = stt - st * st / n, vi = sii - si * si / n, c = sti - st * si / n;
    if (!(vt > 1e-9 && vi > 1e-9)) return false;
    ncc = c / std::sqrt(vt * vi);
    gain = c / vt;
    offset = (si - gain * st) / n;
    return true;
}

}  // namespace

xc_SimilarityPose xf_RefineSimilarityPose(const xcPelBuffer_const<unsigned char>& pattern,
                                          const xcPelBuffer_const<unsigned char>& image,
                                          const xc_SimilarityPose& start, double maxShift) {
    constexpr int kIterations = 6;
    constexpr int kTerms = 5;
    const PatternPixels pat = patternPixels(pattern);
    if (pat.at.empty() || !(start.scale > 0.0)) return start;
    Params q;
    q.theta = start.angle;
    q.sigma = std::log(start.scale);
    q.t = start.translation;
    q.t = q.map(pat.centre, xcVector<2>(0.0, 0.0));  // where the centre goes
    const Params first = q;
    double ncc = 0, gain = 1, offset = 0;
    if (!correlate(pat, image, q, ncc, gain, offset)) return start;
    for (int it = 0; it < kIterations; ++it) {
        // Normal equations of I(x(u)) - gain T(u) - offset over (t, theta, gain, offset).
        std::array<Row, kMaxTerms> ata{};
        Row atb{};
        std::size_t inside = 0;
        const Params::Mapper map(q, pat.centre);
        for (std::size_t k = 0; k < pat.at.size(); ++k) {
            const xcVector<2> x = map(pat.at[k]);
            double v, gx, gy;
            if (!sample(image, x, v, gx, gy)) continue;
            ++inside;
            const xcVector<2> d = x - q.t;
            const Row j{gx, gy, gx * -d.y() + gy * d.x(), -pat.value[k], -1.0, 0.0};
            const double r = v - gain * pat.value[k] - offset;
            for (int a = 0; a < kTerms; ++a) {
                for (int b = 0; b < kTerms; ++b) ata[a][b] += j[a] * j[b];
                atb[a] -= j[a] * r;
            }
        }
        Row step{};
        if (10 * inside < 9 * pat.at.size() || !solve(ata, atb, kTerms, step)) return start;
        // Whole Gauss-Newton steps: the correlation of bilinear samples, which is highest where
        // the samples fall on pixel centres, would judge the steps by their phase, not their fit.
        q.t = q.t + xcVector<2>(step[0], step[1]);
        q.theta = q.theta + step[2];
        gain += step[3];
        offset += step[4];
        if (std::hypot(step[0], step[1]) < 1e-3 && std::fabs(step[2]) < 1e-5) break;
    }
    // The farthest any corner of the pattern moved.
    const xcPelRect w = pattern.window();
    double moved = 0.0;
    for (int corner = 0; corner < 4; ++corner) {
        const xcVector<2> u(double(w.x() + (corner & 1 ? w.width() : 0)),
                            double(w.y() + (corner & 2 ? w.height() : 0)));
        moved = std::max(moved, (q.map(u, pat.centre) - first.map(u, pat.centre)).len());
    }
    if (moved > maxShift) return start;
    xc_SimilarityPose out;
    out.angle = q.theta;
    out.scale = std::exp(q.sigma);
    out.translation = q.map(xcVector<2>(0.0, 0.0), pat.centre);
    return out;
}
