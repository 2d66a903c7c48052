#include "platform/vision/enclose_rect.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "platform/core/exception.h"

namespace {

void checkUncertainty(double v, const wchar_t* what) {
    if (!std::isfinite(v) || v < 0)
        throw xcBadArgument(std::wstring(what) + L" uncertainty must be finite and >= 0");
}

// Extremes of A cos(t) + B sin(t) over |t| <= r.
void rotationExtremes(double a, double b, double r, double& lo, double& hi) {
    const double c = std::cos(r), s = std::sin(r);
    const double e1 = a * c + b * s, e2 = a * c - b * s;  // at t = r and t = -r
    lo = std::min(e1, e2);
    hi = std::max(e1, e2);
    const double amp = std::hypot(a, b);
    if (r >= std::numbers::pi) {
        lo = -amp;
        hi = amp;
        return;
    }
    if (amp == 0) return;
    const double tMax = std::atan2(b, a);  // (-pi, pi]
    const double tMin = tMax > 0 ? tMax - std::numbers::pi : tMax + std::numbers::pi;
    if (std::fabs(tMax) <= r) hi = amp;
    if (std::fabs(tMin) <= r) lo = -amp;
}

// The ends -u and +u of an uncertainty interval (one value when u is 0).
std::vector<double> ends(double u) {
    if (u == 0) return {0.0};
    return {-u, u};
}

}  // namespace

xcRect xfEncloseRect(std::span<const xcVector<2>> polygon, const xcXform<2>& xform1,
                     const xcXform<2>& xform2, double xUncertainty, double yUncertainty,
                     xcRadian rotationUncertainty, double scaleUncertainty,
                     double aspectUncertainty, double shearUncertainty, double margin,
                     long count) {
    checkUncertainty(xUncertainty, L"X translation");
    checkUncertainty(yUncertainty, L"Y translation");
    checkUncertainty(rotationUncertainty.toDouble(), L"Rotation");
    checkUncertainty(scaleUncertainty, L"Scale");
    checkUncertainty(aspectUncertainty, L"Aspect");
    checkUncertainty(shearUncertainty, L"Shear");
    if (!std::isfinite(margin) || margin < 0)
        throw xcBadArgument(L"Enclosing margin must be finite and >= 0");
    if (count < 0) throw xcBadArgument(L"Enclosing count must be >= 0");
    for (size_t i = 0; i < polygon.size(); ++i)
        if (!std::isfinite(polygon[i].x()) || !std::isfinite(polygon[i].y()))
            throw xcBadArgument(L"Polygon vertex " + std::to_wstring(i) + L" is not finite");
    const xcXform<2> place = xform2.inverse() * xform1;  // throws xcMath::Singular
    if (polygon.empty()) return xcRect();

    const double n = static_cast<double>(count);
    const double xu = n * xUncertainty, yu = n * yUncertainty;
    const double ru = n * rotationUncertainty.toDouble();
    const std::vector<double> ss = ends(n * scaleUncertainty);
    const std::vector<double> as = ends(n * aspectUncertainty);
    const std::vector<double> hs = ends(n * shearUncertainty);
    const double grow = n * margin;

    const xcMatrix<2>& m = place.matrix();
    double lo[2], hi[2];
    for (int k = 0; k < 2; ++k) {
        lo[k] = std::numeric_limits<double>::infinity();
        hi[k] = -std::numeric_limits<double>::infinity();
    }
    for (const xcVector<2>& p : polygon)
        for (double s : ss)
            for (double a : as)
                for (double h : hs) {
                    // v = (1 + s) K(a, h) p; R(t) v = cos(t) v + sin(t) v.perp().
                    const xcVector<2> v = xcVector<2>(p.x() + (1 + a) * h * p.y(), (1 + a) * p.y()) *
                                          (1 + s);
                    const xcVector<2> w = v.perp();
                    for (int k = 0; k < 2; ++k) {
                        const double mk0 = m(k, 0), mk1 = m(k, 1);
                        double l, u;
                        rotationExtremes(mk0 * v.x() + mk1 * v.y(), mk0 * w.x() + mk1 * w.y(), ru,
                                         l, u);
                        lo[k] = std::min(lo[k], l);
                        hi[k] = std::max(hi[k], u);
                    }
                }
    for (int k = 0; k < 2; ++k) {
        const double spread = std::fabs(m(k, 0)) * xu + std::fabs(m(k, 1)) * yu + grow;
        const double t = place.trans()[k];
        lo[k] += t - spread;
        hi[k] += t + spread;
    }
    return xcRect(lo[0], lo[1], hi[0] - lo[0], hi[1] - lo[1]);
}

xcRect xfEncloseRect(const xcPolygon& polygon, const xcXform<2>& xform1, const xcXform<2>& xform2,
                     double xUncertainty, double yUncertainty, xcRadian rotationUncertainty,
                     double scaleUncertainty, double aspectUncertainty, double shearUncertainty,
                     double margin, long count) {
    return xfEncloseRect(std::span<const xcVector<2>>(polygon.vertices()), xform1, xform2,
                         xUncertainty, yUncertainty, rotationUncertainty, scaleUncertainty,
                         aspectUncertainty, shearUncertainty, margin, count);
}
