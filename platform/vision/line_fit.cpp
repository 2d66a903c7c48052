#include "platform/vision/line_fit.h"

#include <cmath>
#include <numbers>
#include <string>

#include "platform/core/exception.h"

namespace {

struct LineGeom {
    xcFitStatus status = xcFitStatus::eTooFewPoints;
    double angle = 0, distance = 0;
    xcVector<2> centroid;
};

// Total least squares over the points with use[i] and a positive weight.
LineGeom fitOnce(std::span<const xcVector<2>> pts, std::span<const double> wts,
                 const std::vector<bool>& use) {
    LineGeom g;
    double sw = 0, sx = 0, sy = 0;
    long n = 0;
    for (size_t i = 0; i < pts.size(); ++i) {
        const double w = wts.empty() ? 1.0 : wts[i];
        if (!use[i] || !(w > 0)) continue;
        ++n;
        sw += w;
        sx += w * pts[i].x();
        sy += w * pts[i].y();
    }
    if (n < 2) return g;
    const xcVector<2> c(sx / sw, sy / sw);
    double cxx = 0, cxy = 0, cyy = 0;
    for (size_t i = 0; i < pts.size(); ++i) {
        const double w = wts.empty() ? 1.0 : wts[i];
        if (!use[i] || !(w > 0)) continue;
        const double dx = pts[i].x() - c.x(), dy = pts[i].y() - c.y();
        cxx += w * dx * dx;
        cxy += w * dx * dy;
        cyy += w * dy * dy;
    }
    cxx /= sw;
    cxy /= sw;
    cyy /= sw;
    g.centroid = c;
    // Coincident points: no spread beyond rounding of the coordinates.
    const double scale = 1.0 + std::fabs(c.x()) + std::fabs(c.y());
    if (cxx + cyy <= 1e-24 * scale * scale) {
        g.status = xcFitStatus::eDegenerate;
        return g;
    }
    // The major axis of the scatter: the direction of least orthogonal spread's normal.
    double a = 0.5 * std::atan2(2.0 * cxy, cxx - cyy);  // (-pi/2, pi/2]
    if (a <= -std::numbers::pi / 2) a += std::numbers::pi;
    g.angle = a;
    g.distance = -std::sin(a) * c.x() + std::cos(a) * c.y();
    g.status = xcFitStatus::eOk;
    return g;
}

}  // namespace

xcLineFitParams::xcLineFitParams(int fitMode, long numIgnore, double limit) {
    if (fitMode != eOrthogonal && fitMode != eWeighted)
        throw xcBadArgument(L"Unknown line fit mode " + std::to_wstring(fitMode));
    if (numIgnore < 0) throw xcBadArgument(L"Line fit: the number of points to ignore is < 0");
    if (std::isnan(limit) || limit < 0)
        throw xcBadArgument(L"Line fit: the residual limit must be >= 0");
    m_mode = static_cast<FitMode>(fitMode);
    m_numIgnore = numIgnore;
    m_limit = limit;
}

xcVector<2> xcLineFitResult::direction() const {
    return {std::cos(m_angle.toDouble()), std::sin(m_angle.toDouble())};
}

xcVector<2> xcLineFitResult::normal() const {
    return {-std::sin(m_angle.toDouble()), std::cos(m_angle.toDouble())};
}

double xcLineFitResult::along(const xcVector<2>& p) const { return p.dot(direction()); }

double xcLineFitResult::residual(const xcVector<2>& p) const {
    return p.dot(normal()) - m_distance;
}

xcVector<2> xcLineFitResult::project(const xcVector<2>& p) const {
    return normal() * m_distance + direction() * along(p);
}

xcLineFitResult xfLineFit(std::span<const xcVector<2>> points, const xcLineFitParams& params,
                          std::span<const double> weights) {
    if (params.fitMode() == xcLineFitParams::eOrthogonal && !weights.empty())
        throw xcBadArgument(L"Line fit: weights given for an unweighted fit");
    xf_CheckFitInput(points, weights);

    xcLineFitResult r;
    std::vector<bool> use(points.size(), true);
    LineGeom g = fitOnce(points, weights, use);
    const bool reject = params.numIgnore() > 0 || std::isfinite(params.limit());
    auto residualsOf = [&](const LineGeom& lg) {
        std::vector<double> res(points.size());
        const double s = std::sin(lg.angle), c = std::cos(lg.angle);
        for (size_t i = 0; i < points.size(); ++i)
            res[i] = -s * points[i].x() + c * points[i].y() - lg.distance;
        return res;
    };
    if (g.status == xcFitStatus::eOk && reject) {
        use = xf_FitKeep(residualsOf(g), params.numIgnore(), params.limit());
        g = fitOnce(points, weights, use);
    }
    r.m_status = g.status;
    if (g.status != xcFitStatus::eOk) return r;

    r.m_angle = xcRadian(g.angle);
    r.m_distance = g.distance;
    r.m_centroid = g.centroid;
    r.m_residuals = residualsOf(g);
    r.m_alongs.resize(points.size());
    const xcVector<2> u = r.direction();
    double sw = 0, swr = 0;
    for (size_t i = 0; i < points.size(); ++i) {
        r.m_alongs[i] = points[i].dot(u);
        const double w = weights.empty() ? 1.0 : weights[i];
        const bool used = use[i] && w > 0;
        if (!used) continue;
        ++r.m_numUsed;
        sw += w;
        swr += w * r.m_residuals[i] * r.m_residuals[i];
    }
    for (size_t i = 0; i < points.size(); ++i)
        use[i] = use[i] && (weights.empty() || weights[i] > 0);
    r.m_used = std::move(use);
    r.m_rms = std::sqrt(swr / sw);
    return r;
}
