#include "platform/vision/geo_align_register.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "platform/core/angle.h"
#include "platform/core/attention.h"
#include "platform/core/linear_solve.h"

namespace {

constexpr double kEdgeFraction = 0.2;  // of the window's largest gradient magnitude
constexpr long kGrow = 2;              // level pixels around the edge pixels
constexpr double kBlur = 0.7;          // sigmas of the blurred training images, level pixels
constexpr double kBlur2 = 1.4;
constexpr long kBorder = 1;        // the window's outer ring, level pixels
constexpr long kMaxPixels = 4000;  // beyond this a lattice of the pixels is kept
constexpr int kMaxSteps = 12;
constexpr double kConverged = 1e-3;   // a step moving no pixel farther (level pixels) ends
constexpr double kMaxStepMove = 0.5;  // largest movement of one step, level pixels
constexpr double kMaxShift = 0.5;     // largest distance from the start, level pixels
constexpr double kMaxTurn = 5.0 * std::numbers::pi / 180.0;
constexpr double kMaxLogScale = 0.05;
constexpr double kHuber = 4.0;     // Huber threshold in robust standard deviations
constexpr double kMinHuber = 1.0;  // grey levels
constexpr long kMinPixels = 24;
constexpr double kSettle = 8.0;  // level pixels of image around the taps

// Rows between attention polls for rows of `w` units of work: about 2^15 units (well under a
// millisecond).
long pollRows(long w) { return std::max(1L, 32768L / std::max(1L, w)); }

// Cubic B-spline weights of the taps -1, 0, 1, 2 at fraction t, and their derivatives.
inline void bspline(double t, double w[4], double d[4]) {
    const double t2 = t * t, t3 = t2 * t, u = 1 - t;
    w[0] = u * u * u / 6;
    w[1] = (3 * t3 - 6 * t2 + 4) / 6;
    w[2] = (-3 * t3 + 3 * t2 + 3 * t + 1) / 6;
    w[3] = t3 / 6;
    d[0] = -0.5 * u * u;
    d[1] = 0.5 * (3 * t2 - 4 * t);
    d[2] = 0.5 * (-3 * t2 + 2 * t + 1);
    d[3] = 0.5 * t2;
}

// Replaces the n values v[0], v[stride], ... by their cubic B-spline coefficients (mirrored
// ends), so that the spline through the coefficients interpolates the values.
void prefilter(float* v, long n, long stride) {
    if (n < 2) return;
    const double z = std::sqrt(3.0) - 2.0;
    // Causal: c+[0] from the mirrored start, then c+[k] = v[k] + z c+[k - 1].
    double zk = 1, sum = 0;
    for (long k = 0; k < std::min(n, 16L); ++k, zk *= z) sum += zk * v[k * stride];
    std::vector<double> c(static_cast<size_t>(n));
    c[0] = sum;
    for (long k = 1; k < n; ++k)
        c[static_cast<size_t>(k)] = v[k * stride] + z * c[static_cast<size_t>(k - 1)];
    // Anticausal.
    double prev =
        z / (z * z - 1) * (c[static_cast<size_t>(n - 1)] + z * c[static_cast<size_t>(n - 2)]);
    v[(n - 1) * stride] = static_cast<float>(6 * prev);
    for (long k = n - 2; k >= 0; --k) {
        prev = z * (prev - c[static_cast<size_t>(k)]);
        v[k * stride] = static_cast<float>(6 * prev);
    }
}

// Solves the n x n system A x = b (A symmetric, only its lower triangle filled, a positive
// diagonal), its diagonal raised by a relative 1e-10 against round-off; false when singular.
bool solve(double A[8][8], double b[8], int n, double x[8]) {
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < i; ++j) A[j][i] = A[i][j];
    for (int i = 0; i < n; ++i) {
        if (!(A[i][i] > 0)) return false;
        A[i][i] *= 1.0 + 1e-10;
    }
    const size_t m = static_cast<size_t>(n);
    return xfLinearSolve({&A[0][0], 64}, 8, {b, m}, {x, m});
}

// A registration pixel as sampled in the searched image.
struct Sample {
    double i = 0, ix = 0, iy = 0;  // value and gradient (per level-0 pixel)
    double vx = 0, vy = 0;         // s R p, level-0 pixels
    float m = 0, mb = 0, mb2 = 0;
};

class Registrar {
public:
    Registrar(const xc_GeoRegLevel& reg, const xc_GeoPyramid& pyr, const xc_GeoRunSetup& setup)
        : m_reg(reg),
          m_plane(pyr.plane(setup.fitLevel)),
          m_mask(pyr.hasMask() ? &pyr.maskPlane(setup.fitLevel) : nullptr),
          m_g(xf_GeoGrain(setup.fitLevel)) {}

    // Interpolation coefficients of the image around the pattern at `start`, for poses that
    // move no pixel farther than `reach` level pixels.
    void prepare(const xc_GeoPose& start, double reach);
    // Samples every registration pixel at the pose; the samples land in m_s.
    void sample(const xc_GeoPose& pose);
    const std::vector<Sample>& samples() const { return m_s; }

private:
    const xc_GeoRegLevel& m_reg;
    const xc_GeoPlane& m_plane;
    const xc_GeoPlane* m_mask;
    double m_g;
    long m_x0 = 0, m_y0 = 0, m_w = 0, m_h = 0;  // the coefficients' rectangle of the plane
    std::vector<float> m_coef;
    std::vector<Sample> m_s;
};

void Registrar::prepare(const xc_GeoPose& start, double reach) {
    const double c = start.scale * std::cos(start.angle), s = start.scale * std::sin(start.angle);
    const double inv = 1.0 / m_g;
    double xmin = 1e300, ymin = 1e300, xmax = -1e300, ymax = -1e300;
    for (const xc_GeoRegPixel& p : m_reg.pixels) {
        const double x = (start.x + c * p.x - s * p.y) * inv,
                     y = (start.y + s * p.x + c * p.y) * inv;
        xmin = std::min(xmin, x);
        xmax = std::max(xmax, x);
        ymin = std::min(ymin, y);
        ymax = std::max(ymax, y);
    }
    // Taps reach two pixels; the prefilter's ends settle within a few more.
    const double grow = reach + kSettle;
    m_x0 = std::max(0L, static_cast<long>(std::floor(std::max(-1e9, xmin - grow))));
    m_y0 = std::max(0L, static_cast<long>(std::floor(std::max(-1e9, ymin - grow))));
    const long x1 = std::min(m_plane.w, static_cast<long>(std::ceil(std::min(1e9, xmax + grow))));
    const long y1 = std::min(m_plane.h, static_cast<long>(std::ceil(std::min(1e9, ymax + grow))));
    m_w = std::max(0L, x1 - m_x0);
    m_h = std::max(0L, y1 - m_y0);
    m_coef.resize(static_cast<size_t>(m_w * m_h));
    for (long y = 0; y < m_h; ++y) {
        const unsigned char* r = m_plane.row(m_y0 + y) + m_x0;
        float* o = m_coef.data() + y * m_w;
        for (long x = 0; x < m_w; ++x) o[x] = r[x];
    }
    if (m_w < 4 || m_h < 4) return;
    for (long y = 0; y < m_h; ++y) prefilter(m_coef.data() + y * m_w, m_w, 1);
    for (long x = 0; x < m_w; ++x) prefilter(m_coef.data() + x, m_h, m_w);
}

void Registrar::sample(const xc_GeoPose& pose) {
    m_s.clear();
    const double c = pose.scale * std::cos(pose.angle), s = pose.scale * std::sin(pose.angle);
    const double inv = 1.0 / m_g;
    // Taps must lie kSettle - 2 pixels inside the coefficients' rectangle, unless it meets
    // the plane's border there.
    const long in = static_cast<long>(kSettle) - 2;
    const long lx = m_x0 > 0 ? m_x0 + in : 0, ly = m_y0 > 0 ? m_y0 + in : 0;
    const long hx = m_x0 + m_w < m_plane.w ? m_x0 + m_w - in : m_plane.w;
    const long hy = m_y0 + m_h < m_plane.h ? m_y0 + m_h - in : m_plane.h;
    for (const xc_GeoRegPixel& p : m_reg.pixels) {
        Sample q;
        q.vx = c * p.x - s * p.y;
        q.vy = s * p.x + c * p.y;
        // Level coordinates of the turned pixel centre, relative to pixel centres.
        const double u = (pose.x + q.vx) * inv - 0.5, v = (pose.y + q.vy) * inv - 0.5;
        if (!(u >= lx + 1 && v >= ly + 1 && u < hx - 3 && v < hy - 3)) continue;
        const double fu = std::floor(u), fv = std::floor(v);
        const long x0 = static_cast<long>(fu) - 1, y0 = static_cast<long>(fv) - 1;
        if (m_mask) {
            bool care = true;
            for (long j = 0; j < 4 && care; ++j) {
                const unsigned char* mr = m_mask->row(y0 + j) + x0;
                care = mr[0] >= 128 && mr[1] >= 128 && mr[2] >= 128 && mr[3] >= 128;
            }
            if (!care) continue;
        }
        double wx[4], dx[4], wy[4], dy[4];
        bspline(u - fu, wx, dx);
        bspline(v - fv, wy, dy);
        double val = 0, gu = 0, gv = 0;
        for (long j = 0; j < 4; ++j) {
            const float* r = m_coef.data() + (y0 + j - m_y0) * m_w + (x0 - m_x0);
            const double a = wx[0] * r[0] + wx[1] * r[1] + wx[2] * r[2] + wx[3] * r[3];
            const double b = dx[0] * r[0] + dx[1] * r[1] + dx[2] * r[2] + dx[3] * r[3];
            val += wy[j] * a;
            gu += wy[j] * b;
            gv += dy[j] * a;
        }
        q.i = val;
        q.ix = gu * inv;
        q.iy = gv * inv;
        q.m = p.m;
        q.mb = p.mb;
        q.mb2 = p.mb2;
        m_s.push_back(q);
    }
}

// The registration level that suits the run: the coarsest whose pixels, at the pose's scale,
// are not much larger than the fit level's.
const xc_GeoRegLevel* pickLevel(const xc_GeoModel& model, const xc_GeoRunSetup& setup,
                                double scale) {
    const xc_GeoRegLevel* best = nullptr;
    const double gi = xf_GeoGrain(setup.fitLevel);
    for (const xc_GeoRegLevel& r : model.regLevels) {
        if (r.pixels.empty()) continue;
        if (!best || xf_GeoGrain(r.level) * scale <= 1.25 * gi) best = &r;
    }
    return best;
}

// The window [i0, i1) x [j0, j1) of the plane blurred by a Gaussian of sigma (separable); what
// lies outside the window is taken as the window's border pixels repeated. The rows are
// produced in increasing order from a ring of the horizontally blurred rows they need, so that
// the memory stays a few rows whatever the window's size; every row of the window must be
// passed through advance(), in order, even when its blurred values are not needed.
class BlurredRows {
public:
    BlurredRows(const xc_GeoPlane& plane, long i0, long j0, long i1, long j1, double sigma)
        : m_plane(plane),
          m_i0(i0),
          m_j0(j0),
          m_w(i1 - i0),
          m_h(j1 - j0),
          m_r(static_cast<long>(std::ceil(3 * sigma))),
          m_taps(2 * m_r + 1),
          m_k(static_cast<size_t>(m_taps)),
          m_rows(static_cast<size_t>(m_taps * m_w)),
          m_out(static_cast<size_t>(m_w)),
          m_tapRows(static_cast<size_t>(m_taps)) {
        double ks = 0;
        for (long d = -m_r; d <= m_r; ++d) {
            m_k[static_cast<size_t>(d + m_r)] = std::exp(-0.5 * d * d / (sigma * sigma));
            ks += m_k[static_cast<size_t>(d + m_r)];
        }
        for (double& v : m_k) v /= ks;
    }
    long work() const { return m_w * m_taps; }  // per row and pass
    // Moves to window row j (the previous j + 1, from 0).
    void advance(long j) {
        for (; m_next <= std::min(m_h - 1, j + m_r); ++m_next) horizontal(m_next);
    }
    // The blurred values of window row j (after advance(j)).
    const float* row(long j) {
        for (long d = -m_r; d <= m_r; ++d)
            m_tapRows[static_cast<size_t>(d + m_r)] = ringRow(at(j + d, m_h));
        for (long i = 0; i < m_w; ++i) {
            double s = 0;
            for (long d = 0; d < m_taps; ++d)
                s += m_k[static_cast<size_t>(d)] * m_tapRows[static_cast<size_t>(d)][i];
            m_out[static_cast<size_t>(i)] = static_cast<float>(s);
        }
        return m_out.data();
    }

private:
    // Window-relative index of a tap t in [-r, n + r).
    static long at(long t, long n) { return std::clamp(t, 0L, n - 1); }
    float* ringRow(long j) { return m_rows.data() + (j % m_taps) * m_w; }
    void horizontal(long j) {
        const unsigned char* src = m_plane.row(m_j0 + j) + m_i0;
        float* dst = ringRow(j);
        for (long i = 0; i < m_w; ++i) {
            double s = 0;
            for (long d = -m_r; d <= m_r; ++d)
                s += m_k[static_cast<size_t>(d + m_r)] * src[at(i + d, m_w)];
            dst[i] = static_cast<float>(s);
        }
    }

    const xc_GeoPlane& m_plane;
    long m_i0, m_j0, m_w, m_h, m_r, m_taps;
    std::vector<double> m_k;
    std::vector<float> m_rows, m_out;
    std::vector<const float*> m_tapRows;
    long m_next = 0;
};

// The Sobel gradient magnitudes (grey levels per pixel) of the plane, band by band between
// polls; calls f(j, magnitudes of row j) for every row j in order.
template <class F>
void forMagnitudeRows(const xc_GeoPlane& plane, F f) {
    const long w = plane.w, h = plane.h;
    const long band = pollRows(w);
    std::vector<std::int16_t> gx(static_cast<size_t>(w * band)), gy(gx.size());
    std::vector<float> mag(static_cast<size_t>(w));
    for (long y0 = 0; y0 < h; y0 += band) {
        xcAttention::check();
        const long rows = std::min(band, h - y0);
        xf_SobelPlane(plane, nullptr, 0, y0, w, rows, gx.data(), gy.data(), w);
        for (long j = y0; j < y0 + rows; ++j) {
            for (long i = 0; i < w; ++i) {
                const size_t b = static_cast<size_t>((j - y0) * w + i);
                mag[static_cast<size_t>(i)] =
                    0.125f * std::sqrt(static_cast<float>(gx[b] * gx[b] + gy[b] * gy[b]));
            }
            f(j, mag.data());
        }
    }
}

}  // namespace

void xf_GeoBuildRegLevel(const xc_GeoPlane& plane, double off, long winW, long winH, int level,
                         const xcVector<2>& ref, double thr, xc_GeoRegLevel& out) {
    out.level = level;
    out.pixels.clear();
    const double g = xf_GeoGrain(level);
    // The level pixels lying wholly inside the training window.
    const long i0 = static_cast<long>(std::ceil(off - 1e-9));
    const long j0 = i0;
    const long i1 = std::min(plane.w, static_cast<long>(std::floor(off + winW / g + 1e-9)));
    const long j1 = std::min(plane.h, static_cast<long>(std::floor(off + winH / g + 1e-9)));
    if (i1 <= i0 || j1 <= j0) return;
    const long w = plane.w, h = plane.h;
    // Two passes over the gradients, which are not kept: the window's largest magnitude, then
    // the edge pixels grown by kGrow pixels (a square), inside the window only. The mask grows a
    // band of rows ahead of the rows that mark it, between polls.
    float top = 0;
    forMagnitudeRows(plane, [&](long j, const float* mag) {
        if (j >= j0 && j < j1) top = std::max(top, *std::max_element(mag + i0, mag + i1));
    });
    const float t = std::max(static_cast<float>(thr), static_cast<float>(kEdgeFraction) * top);
    if (top <= 0 || top < t) return;
    const long polls = pollRows(w);
    std::vector<unsigned char> keep;
    keep.reserve(static_cast<size_t>(w * h));
    forMagnitudeRows(plane, [&](long j, const float* mag) {
        if ((j - j0) % polls == 0)
            keep.resize(static_cast<size_t>(std::min(h, j + polls + kGrow) * w), 0);
        if (j < j0 || j >= j1) return;
        for (long i = i0; i < i1; ++i) {
            if (mag[i] < t) continue;
            for (long y = std::max(j0, j - kGrow); y <= std::min(j1 - 1, j + kGrow); ++y)
                std::fill(keep.begin() + y * w + std::max(i0, i - kGrow),
                          keep.begin() + y * w + std::min(i1 - 1, i + kGrow) + 1, 1);
        }
    });
    keep.resize(static_cast<size_t>(w * h), 0);
    long count = 0;
    for (long j = j0; j < j1; ++j) {
        if ((j - j0) % polls == 0) xcAttention::check();
        const auto row = keep.begin() + j * w;
        count += std::count(row + i0, row + i1, 1);
    }
    const long lattice =
        count > kMaxPixels
            ? static_cast<long>(std::ceil(std::sqrt(static_cast<double>(count) / kMaxPixels)))
            : 1;
    // The blurred values of the window's outer ring of pixels depend on what lies beyond the
    // window, which the training image does not show: that ring is left out.
    BlurredRows blur1(plane, i0, j0, i1, j1, kBlur), blur2(plane, i0, j0, i1, j1, kBlur2);
    const long blurPolls = pollRows(2 * blur2.work());
    out.pixels.reserve(static_cast<size_t>(count / (lattice * lattice) + 1));
    for (long j = j0; j < j1; ++j) {
        if ((j - j0) % blurPolls == 0) xcAttention::check();
        blur1.advance(j - j0);
        blur2.advance(j - j0);
        if ((j - j0) % lattice != 0) continue;
        const float* b1 = nullptr;
        const float* b2 = nullptr;
        for (long i = i0; i < i1; ++i) {
            if ((i - i0) % lattice != 0 || !keep[static_cast<size_t>(j * w + i)]) continue;
            if (i < i0 + kBorder || j < j0 + kBorder || i >= i1 - kBorder || j >= j1 - kBorder)
                continue;
            if (!b1) {
                b1 = blur1.row(j - j0);
                b2 = blur2.row(j - j0);
            }
            xc_GeoRegPixel p;
            p.x = static_cast<float>((i + 0.5 - off) * g - ref.x());
            p.y = static_cast<float>((j + 0.5 - off) * g - ref.y());
            p.m = plane.row(j)[i];
            p.mb = b1[i - i0];
            p.mb2 = b2[i - i0];
            out.pixels.push_back(p);
        }
    }
}

xc_GeoRegResult xf_GeoRegister(const xc_GeoModel& model, const xc_GeoPyramid& pyr,
                               const xc_GeoRunSetup& setup, float sign, const xc_GeoPose& start) {
    xc_GeoRegResult res;
    res.pose = start;
    const xc_GeoRegLevel* reg = pickLevel(model, setup, start.scale);
    if (!reg) return res;
    Registrar rs(*reg, pyr, setup);
    const double gi = xf_GeoGrain(setup.fitLevel);
    const double radius = model.radius() * start.scale;
    rs.prepare(start, kMaxShift + radius / gi * (kMaxTurn + kMaxLogScale) + 2 * kMaxStepMove);

    // The free parameters: x, y, [angle], [log scale], then the linear a, b1, b2, c.
    int idx[8];
    int n = 0;
    idx[n++] = 0;
    idx[n++] = 1;
    if (setup.angleFree) idx[n++] = 2;
    if (setup.scaleFree) idx[n++] = 3;
    for (int i = 4; i < 8; ++i) idx[n++] = i;

    xc_GeoPose pose = start;
    double lin[4] = {};  // a, b1, b2, c
    auto model_ = [&](const Sample& q) {
        return lin[0] * q.m + lin[1] * q.mb + lin[2] * q.mb2 + lin[3];
    };
    std::vector<double> resid;
    bool converged = false;
    for (int step = 0; step < kMaxSteps; ++step) {
        xcAttention::check();
        rs.sample(pose);
        const std::vector<Sample>& s = rs.samples();
        res.pixels = static_cast<long>(s.size());
        res.steps = step + 1;
        if (res.pixels < std::max<long>(kMinPixels, static_cast<long>(reg->pixels.size() / 2))) {
            res.outcome = xc_GeoRegOutcome::eNoPixels;
            return res;
        }
        if (step == 0) {
            // The linear part alone at the start pose.
            double A[8][8] = {}, r[8] = {}, x[8] = {};
            for (const Sample& q : s) {
                const double row[4] = {q.m, q.mb, q.mb2, 1.0};
                for (int i = 0; i < 4; ++i) {
                    r[i] += row[i] * q.i;
                    for (int j = 0; j <= i; ++j) A[i][j] += row[i] * row[j];
                }
            }
            if (!solve(A, r, 4, x)) {
                res.outcome = xc_GeoRegOutcome::eSingular;
                return res;
            }
            for (int i = 0; i < 4; ++i) lin[i] = x[i];
        }
        // Huber threshold from the residuals' median.
        resid.resize(s.size());
        for (size_t k = 0; k < s.size(); ++k) resid[k] = std::fabs(s[k].i - model_(s[k]));
        std::vector<double> sorted = resid;
        std::nth_element(sorted.begin(), sorted.begin() + static_cast<long>(sorted.size() / 2),
                         sorted.end());
        const double huber = std::max(kMinHuber, kHuber * 1.4826 * sorted[sorted.size() / 2]);
        double A[8][8] = {}, rhs[8] = {};
        for (size_t k = 0; k < s.size(); ++k) {
            const Sample& q = s[k];
            const double e = q.i - model_(q);
            const double wt = resid[k] <= huber ? 1.0 : huber / resid[k];
            // d e / d (x, y, angle, log scale, a, b1, b2, c)
            const double row[8] = {
                q.ix,   q.iy, -q.ix * q.vy + q.iy * q.vx, q.ix * q.vx + q.iy * q.vy, -q.m, -q.mb,
                -q.mb2, -1.0};
            for (int i = 0; i < n; ++i) {
                const double ri = row[idx[i]] * wt;
                rhs[i] -= ri * e;
                for (int j = 0; j <= i; ++j) A[i][j] += ri * row[idx[j]];
            }
        }
        double x[8] = {};
        if (!solve(A, rhs, n, x)) {
            res.outcome = xc_GeoRegOutcome::eSingular;
            return res;
        }
        double d[8] = {};
        for (int i = 0; i < n; ++i) d[idx[i]] = x[i];
        double move = std::hypot(d[0], d[1]) + radius * (std::fabs(d[2]) + std::fabs(d[3]));
        if (move > kMaxStepMove * gi) {
            const double f = kMaxStepMove * gi / move;
            for (int i = 0; i < 4; ++i) d[i] *= f;
            move = kMaxStepMove * gi;
        }
        pose.x += d[0];
        pose.y += d[1];
        pose.angle = setup.clampAngle(pose.angle + d[2]);
        pose.scale = setup.clampScale(pose.scale * std::exp(d[3]));
        for (int i = 0; i < 4; ++i) lin[i] += d[4 + i];
        if (move < kConverged * gi) {
            converged = true;
            break;
        }
    }
    const double a = lin[0], b = lin[1] + lin[2], c = lin[3];
    res.pose = pose;
    res.gain = a;
    res.blend = b;
    res.offset = c;
    if (!converged) {
        res.outcome = xc_GeoRegOutcome::eNotConverged;
        return res;
    }
    if ((a + b) * sign <= 0) {
        res.outcome = xc_GeoRegOutcome::eReversed;
        return res;
    }
    const double turn = std::fabs(xcRadian(pose.angle - start.angle).signedNorm().value());
    if (std::hypot(pose.x - start.x, pose.y - start.y) > kMaxShift * gi || turn > kMaxTurn ||
        std::fabs(std::log(pose.scale / start.scale)) > kMaxLogScale) {
        res.outcome = xc_GeoRegOutcome::eTooFar;
        return res;
    }
    res.outcome = xc_GeoRegOutcome::eMoved;
    return res;
}
