#include "platform/vision/circle_fit.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "platform/core/exception.h"
#include "platform/core/linear_solve.h"

namespace {

struct CircleGeom {
    xcFitStatus status = xcFitStatus::eTooFewPoints;
    xcVector<2> center;
    double radius = 0;
    long iterations = 0;
};

// Largest radius, relative to the points' spread, still taken for a circle: beyond it the
// points are a straight line as far as doubles can tell.
constexpr double kMaxRelativeRadius = 1e7;

// Distances in the normalised frame (unit spread, radius below kMaxRelativeRadius) cannot
// overflow, so the plain root of the squares serves (std::hypot is several times slower).
double cost(const std::vector<xcVector<2>>& u, double a, double b, double r) {
    double c = 0;
    for (const auto& p : u) {
        const double dx = p.x() - a, dy = p.y() - b;
        const double e = std::sqrt(dx * dx + dy * dy) - r;
        c += e * e;
    }
    return c;
}

CircleGeom fitOnce(std::span<const xcVector<2>> pts, const std::vector<bool>& use,
                   const xcCircleFitParams& params) {
    CircleGeom g;
    // Normalise: centre on the centroid, scale to unit rms spread, for conditioning.
    double sx = 0, sy = 0;
    long n = 0;
    for (size_t i = 0; i < pts.size(); ++i)
        if (use[i]) {
            sx += pts[i].x();
            sy += pts[i].y();
            ++n;
        }
    if (n < 3) return g;
    const xcVector<2> c0(sx / static_cast<double>(n), sy / static_cast<double>(n));
    double cxx = 0, cxy = 0, cyy = 0;
    std::vector<xcVector<2>> u;
    u.reserve(static_cast<size_t>(n));
    for (size_t i = 0; i < pts.size(); ++i)
        if (use[i]) {
            const xcVector<2> d = pts[i] - c0;
            cxx += d.x() * d.x();
            cxy += d.x() * d.y();
            cyy += d.y() * d.y();
            u.push_back(d);
        }
    const double spread2 = (cxx + cyy) / static_cast<double>(n);
    const double scale0 = 1.0 + std::fabs(c0.x()) + std::fabs(c0.y());
    g.status = xcFitStatus::eDegenerate;
    if (spread2 <= 1e-24 * scale0 * scale0) return g;  // coincident
    // Collinear: the scatter's smaller eigenvalue vanishes against the larger.
    const double tr = cxx + cyy, det = cxx * cyy - cxy * cxy;
    const double disc = std::sqrt(std::max(0.0, 0.25 * tr * tr - det));
    const double lmin = 0.5 * tr - disc;
    if (lmin <= 1e-20 * tr) return g;

    const double s = std::sqrt(spread2);
    for (auto& p : u) p /= s;

    // Algebraic fit: minimise sum (x^2 + y^2 + D x + E y + F)^2.
    double a[3][3] = {}, b[3] = {}, x[3];
    for (const auto& p : u) {
        const double row[3] = {p.x(), p.y(), 1.0};
        const double z = p.len2();
        for (int r = 0; r < 3; ++r) {
            for (int k = 0; k < 3; ++k) a[r][k] += row[r] * row[k];
            b[r] -= z * row[r];
        }
    }
    if (!xfLinearSolve({&a[0][0], 9}, 3, b, x)) return g;
    double ca = -0.5 * x[0], cb = -0.5 * x[1];
    const double r2 = ca * ca + cb * cb - x[2];
    if (!(r2 > 0)) return g;
    double rad = std::sqrt(r2);
    if (!(rad < kMaxRelativeRadius)) return g;

    if (params.fitMode() == xcCircleFitParams::eGeometric) {
        double lambda = params.damping();
        double f = cost(u, ca, cb, rad);
        bool converged = false;
        for (long it = 0; it < 200 && !converged; ++it) {
            double jtj[3][3] = {}, jtr[3] = {};
            for (const auto& p : u) {
                const double dx = p.x() - ca, dy = p.y() - cb;
                const double d = std::sqrt(dx * dx + dy * dy);
                const double e = d - rad;
                const double j[3] = {d > 0 ? -dx / d : 0.0, d > 0 ? -dy / d : 0.0, -1.0};
                for (int r = 0; r < 3; ++r) {
                    for (int k = 0; k < 3; ++k) jtj[r][k] += j[r] * j[k];
                    jtr[r] -= j[r] * e;
                }
            }
            const double mean = (jtj[0][0] + jtj[1][1] + jtj[2][2]) / 3.0;
            bool improved = false;
            double step[3] = {0, 0, 0};
            for (int attempt = 0; attempt < 30 && !improved; ++attempt) {
                double m[3][3], rhs[3] = {jtr[0], jtr[1], jtr[2]};
                for (int r = 0; r < 3; ++r)
                    for (int k = 0; k < 3; ++k) m[r][k] = jtj[r][k] + (r == k ? lambda * mean : 0);
                if (!xfLinearSolve({&m[0][0], 9}, 3, rhs, step)) {
                    lambda *= 10;
                    continue;
                }
                const double f2 = cost(u, ca + step[0], cb + step[1], rad + step[2]);
                if (f2 <= f) {
                    improved = true;
                    ca += step[0];
                    cb += step[1];
                    rad += step[2];
                    const double gain = f - f2;
                    f = f2;
                    lambda = std::max(lambda * 0.1, 1e-12);
                    g.iterations = it + 1;
                    const double size = std::fabs(step[0]) + std::fabs(step[1]) + std::fabs(step[2]);
                    converged = size <= 1e-13 * (1.0 + rad) || gain <= 1e-20 * (1.0 + f);
                } else {
                    lambda *= 10;
                }
            }
            if (!improved) break;  // no step lowers the cost: at the minimum to rounding
            if (!(rad < kMaxRelativeRadius)) return g;
        }
    }
    if (!(rad > 0) || !std::isfinite(ca) || !std::isfinite(cb)) return g;
    g.center = c0 + xcVector<2>(ca, cb) * s;
    g.radius = rad * s;
    g.status = xcFitStatus::eOk;
    return g;
}

}  // namespace

xcCircleFitParams::xcCircleFitParams(int fitMode, double damping, long numIgnore, double limit) {
    if (fitMode != eGeometric && fitMode != eAlgebraic)
        throw xcBadArgument(L"Unknown circle fit mode " + std::to_wstring(fitMode));
    if (!std::isfinite(damping) || !(damping > 0))
        throw xcBadArgument(L"Circle fit: the damping must be finite and > 0");
    if (numIgnore < 0) throw xcBadArgument(L"Circle fit: the number of points to ignore is < 0");
    if (std::isnan(limit) || limit < 0)
        throw xcBadArgument(L"Circle fit: the residual limit must be >= 0");
    m_mode = static_cast<FitMode>(fitMode);
    m_damping = damping;
    m_numIgnore = numIgnore;
    m_limit = limit;
}

xcCircleFitResult xfCircleFit(std::span<const xcVector<2>> points,
                              const xcCircleFitParams& params) {
    xf_CheckFitInput(points, {});
    xcCircleFitResult r;
    std::vector<bool> use(points.size(), true);
    CircleGeom g = fitOnce(points, use, params);
    auto residualsOf = [&](const CircleGeom& cg) {
        std::vector<double> res(points.size());
        for (size_t i = 0; i < points.size(); ++i)
            res[i] = (points[i] - cg.center).len() - cg.radius;
        return res;
    };
    if (g.status == xcFitStatus::eOk &&
        (params.numIgnore() > 0 || std::isfinite(params.limit()))) {
        use = xf_FitKeep(residualsOf(g), params.numIgnore(), params.limit());
        g = fitOnce(points, use, params);
    }
    r.m_status = g.status;
    if (g.status != xcFitStatus::eOk) return r;
    r.m_center = g.center;
    r.m_radius = g.radius;
    r.m_iterations = g.iterations;
    r.m_residuals = residualsOf(g);
    r.m_angles.resize(points.size());
    double sum = 0;
    for (size_t i = 0; i < points.size(); ++i) {
        r.m_angles[i] = (points[i] - g.center).angle();
        if (use[i]) {
            ++r.m_numUsed;
            sum += r.m_residuals[i] * r.m_residuals[i];
        }
    }
    r.m_rms = std::sqrt(sum / static_cast<double>(r.m_numUsed));
    r.m_used = std::move(use);
    return r;
}
