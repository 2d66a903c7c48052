// Cramer-Rao lower bounds of a glyph's pose in a synthetic scene, for the geometric alignment
// accuracy harness (bench/geo_align_accuracy.cpp). Independent of the tool: the bound comes
// from the scene model alone.
//
// The scene renderer gives 8-bit images only, and rounding to 8 bits would swamp the tiny
// changes that finite differences need. So the grey levels are rebuilt here, unquantised, from
// the renderer's public pieces in the renderer's own order: exact-area coverage of each shape
// (xfSynthRenderOutline), combined as c_total + c (1 - c_total), composited as background +
// c_total (ink - background), then blurred (xfSynthBlur). No gradient, noise or damage: the
// harness uses none besides the noise. Rounded to 8 bits, this field equals the renderer's
// noise-free scene pixel for pixel (the harness checks it on every trial).
//
// Pose parameters of the target shape, all about the model point `centre` (the cell centre,
// where the harness measures position errors): x and y of that point in the image (px), the
// angle (degrees, x towards y) and the scale (percent of the true scale); the centre stays put
// when the angle or the scale move. The derivative of every pixel's grey level with respect to
// each parameter is the central difference (I(p + e) - I(p - e)) / 2e of two rendered fields.
// Fisher information F = J^T J / sigma^2 over the pixels of a window that holds every pixel the
// target's blurred ink can reach (so no pose information is lost outside it). Bounds are
// sqrt of diagonal terms of F^-1: the angle and the scale each, the position as sqrt(var x +
// var y) (the RMS of the distance error, as the harness reports it). sigma is the added noise;
// the rounding to 8 bits adds about 1/12 grey level^2 of variance, which would raise the bounds
// by 0.26 % at sigma 4 and is left out.
//
// The step: large enough that the flattening of curves (its number of pieces changes with the
// scale) does not show, small enough that the coverage's kinks (where a polygon corner crosses
// a pixel edge) and the curvature of the grey levels do not; the harness reports how much the
// bounds change when it is halved.
//
// Two bounds: "known" (only the four pose parameters unknown) and "nuisance" (an offset added
// to every grey level of the window and a contrast factor multiplying (I - background) are
// unknown too: columns 1 and (I - background) / (ink - background), the gain and offset a
// practical fit has to estimate from the same window).
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cwchar>
#include <numbers>
#include <vector>

#include "platform/core/exception.h"
#include "platform/core/linear_solve.h"
#include "platform/core/pel_rect.h"
#include "platform/core/xform.h"
#include "tools/synth/coverage.h"
#include "tools/synth/effects.h"
#include "tools/synth/font.h"
#include "tools/synth/layout.h"

// One filled shape of a scene: an outline (font units), the map from font units to its model
// frame, and its pose (model frame -> image, the scene's client frame being the image here).
struct xc_BoundShape {
    const xcSynthOutline* outline = nullptr;
    xcXform<2> modelFromFont;
    xcSynthPose pose;
};

// The scene's grey-level model.
struct xc_BoundScene {
    std::vector<xc_BoundShape> shapes;  // drawn in this order
    double background = 220.0, ink = 30.0;
    double blur = 0.7;  // px
};

struct xc_PoseBound {
    bool ok = false;     // false when F is singular (a pose parameter the image does not determine)
    double angle = 0.0;  // degrees
    double scale = 0.0;  // percent
    double position = 0.0;  // px, sqrt(var x + var y) at the centre
};

struct xc_PoseBounds {
    xc_PoseBound known, nuisance;
    double fisherAngle = 0.0;  // F(angle, angle) of the known model, 1 / degree^2
};

// Blur radius in pixels of xfSynthBlur for `sigma` (its kernel's half width).
inline long xf_BoundBlurRadius(double sigma) {
    return sigma == 0.0 ? 0 : std::max(1L, static_cast<long>(std::ceil(3.5 * sigma)));
}

// Grey levels of `scene` over `rect` (image pixels), with the shape `moved` drawn at `pose`
// instead of its own. Pixels outside the image are not rendered (the rectangle is clipped by
// the caller); the blur repeats the rectangle's border values, so only pixels at least one
// blur radius inside the rectangle are exact.
inline xcSynthField xf_BoundRender(const xc_BoundScene& scene, const xcPelRect& rect, long moved,
                                   const xcSynthPose& pose) {
    xcSynthField total(rect.width(), rect.height(), 0.0);
    const xcXform<2> imageFromClient = xcXform<2>().inverse();
    for (size_t i = 0; i < scene.shapes.size(); ++i) {
        const xc_BoundShape& s = scene.shapes[i];
        const xcSynthPose& p = static_cast<long>(i) == moved ? pose : s.pose;
        const xcXform<2> imageFromModel = imageFromClient * p.xform();
        const xcSynthCoverage c =
            xfSynthRenderOutline(*s.outline, imageFromModel * s.modelFromFont, rect);
        const xcPelRect r = c.rect().intersect(rect);
        for (long y = r.y(); y < r.y() + r.height(); ++y) {
            double* t = total.row(y - rect.y()) + (r.x() - rect.x());
            const double* v = c.row(y) + (r.x() - c.rect().x());
            for (long k = 0; k < r.width(); ++k) t[k] += v[k] * (1.0 - t[k]);
        }
    }
    const double span = scene.ink - scene.background;
    for (long y = 0; y < total.height(); ++y) {
        double* v = total.row(y);
        for (long x = 0; x < total.width(); ++x) v[x] = scene.background + v[x] * span;
    }
    xfSynthBlur(total, scene.blur);
    return total;
}

// The pose moved by (dx, dy) px at the model point `centre`, turned by da degrees and scaled
// by (1 + du) about that point.
inline xcSynthPose xf_BoundMove(const xcSynthPose& p, const xcVector<2>& centre, double dx,
                                double dy, double da, double du) {
    xcSynthPose q;
    q.angle = p.angle + da;
    q.scale = p.scale * (1.0 + du);
    const xcVector<2> at = p.xform().mapPoint(centre) + xcVector<2>(dx, dy);
    q.position = at - q.xform().mapVector(centre);
    return q;
}

// The window of the bound: every pixel the target's blurred ink can reach under its pose moved
// by a fraction of a pixel, together with the box of its cell, clipped to the image.
inline xcPelRect xf_BoundWindow(const xc_BoundScene& scene, long target,
                                const xcVector<2>& cellSize, long imageWidth, long imageHeight) {
    const xc_BoundShape& s = scene.shapes[static_cast<size_t>(target)];
    const xcXform<2> m = s.pose.xform();
    xcSynthBounds b = xfSynthOutlineBounds(*s.outline, m * s.modelFromFont);
    for (const xcVector<2>& q :
         {xcVector<2>(0.0, 0.0), xcVector<2>(cellSize.x(), 0.0),
          xcVector<2>(cellSize.x(), -cellSize.y()), xcVector<2>(0.0, -cellSize.y())}) {
        const xcVector<2> p = m.mapPoint(q);
        b.x0 = std::min(b.x0, p.x());
        b.x1 = std::max(b.x1, p.x());
        b.y0 = std::min(b.y0, p.y());
        b.y1 = std::max(b.y1, p.y());
    }
    const long g = xf_BoundBlurRadius(scene.blur) + 2;
    const xcPelRect r = b.pixels();
    return xcPelRect(r.x() - g, r.y() - g, r.width() + 2 * g, r.height() + 2 * g)
        .intersect(xcPelRect(0, 0, imageWidth, imageHeight));
}

// Bounds of the pose of shape `target` at noise `sigma` (grey levels), over `window`.
// `eps` is the position step in px; the angle and scale steps move the point of the cell
// farthest from the centre (distance `reach` px) by the same amount. Throws xcBadArgument for
// a bad target, sigma or step.
inline xc_PoseBounds xfPoseBounds(const xc_BoundScene& scene, long target,
                                  const xcVector<2>& centre, double reach, const xcPelRect& window,
                                  long imageWidth, long imageHeight, double sigma, double eps) {
    if (target < 0 || target >= static_cast<long>(scene.shapes.size()))
        throw xcBadArgument(L"Bound target is not one of the scene's shapes");
    if (!(sigma > 0.0) || !(eps > 0.0) || !(reach > 0.0))
        throw xcBadArgument(L"Bound noise, step and reach must be positive");
    const long g = xf_BoundBlurRadius(scene.blur) + 1;
    const xcPelRect render =
        xcPelRect(window.x() - g, window.y() - g, window.width() + 2 * g, window.height() + 2 * g)
            .intersect(xcPelRect(0, 0, imageWidth, imageHeight));
    const xcSynthPose& p0 = scene.shapes[static_cast<size_t>(target)].pose;
    const double stepA = eps / reach * 180.0 / std::numbers::pi;  // degrees
    const double stepU = eps / reach;                             // relative
    // Per parameter: the two moved fields and the factor from their difference to a
    // derivative in the reported units (px, degree, percent).
    const double steps[4][4] = {{eps, 0, 0, 0}, {0, eps, 0, 0}, {0, 0, stepA, 0}, {0, 0, 0, stepU}};
    const double per[4] = {1.0 / (2 * eps), 1.0 / (2 * eps), 1.0 / (2 * stepA),
                           1.0 / (2 * stepU * 100.0)};
    std::vector<xcSynthField> plus, minus;
    for (const auto& s : steps) {
        plus.push_back(xf_BoundRender(scene, render, target,
                                      xf_BoundMove(p0, centre, s[0], s[1], s[2], s[3])));
        minus.push_back(xf_BoundRender(scene, render, target,
                                       xf_BoundMove(p0, centre, -s[0], -s[1], -s[2], -s[3])));
    }
    const xcSynthField base = xf_BoundRender(scene, render, -1, p0);
    const double toContrast = 1.0 / (scene.ink - scene.background);
    double f[6][6] = {};
    const long ox = window.x() - render.x(), oy = window.y() - render.y();
    for (long y = 0; y < window.height(); ++y) {
        const double* pr[4];
        const double* mr[4];
        for (int k = 0; k < 4; ++k) {
            pr[k] = plus[static_cast<size_t>(k)].row(y + oy) + ox;
            mr[k] = minus[static_cast<size_t>(k)].row(y + oy) + ox;
        }
        const double* br = base.row(y + oy) + ox;
        for (long x = 0; x < window.width(); ++x) {
            double j[6];
            for (int k = 0; k < 4; ++k) j[k] = (pr[k][x] - mr[k][x]) * per[k];
            j[4] = 1.0;
            j[5] = (br[x] - scene.background) * toContrast;
            for (int a = 0; a < 6; ++a)
                for (int b = a; b < 6; ++b) f[a][b] += j[a] * j[b];
        }
    }
    const double w = 1.0 / (sigma * sigma);
    for (int a = 0; a < 6; ++a)
        for (int b = a; b < 6; ++b) f[b][a] = f[a][b] *= w;

    xc_PoseBounds out;
    out.fisherAngle = f[2][2];
    auto bound = [&](int n) {
        std::vector<double> m(static_cast<size_t>(n * n)), inv(m.size());
        for (int a = 0; a < n; ++a)
            for (int b = 0; b < n; ++b) m[static_cast<size_t>(a * n + b)] = f[a][b];
        xc_PoseBound r;
        if (!xfLinearInvert(m, inv)) return r;
        auto c = [&](int a) { return std::max(0.0, inv[static_cast<size_t>(a * n + a)]); };
        r.ok = true;
        r.position = std::sqrt(c(0) + c(1));
        r.angle = std::sqrt(c(2));
        r.scale = std::sqrt(c(3));
        return r;
    };
    out.known = bound(4);
    out.nuisance = bound(6);
    return out;
}

// Checks of the bound against cases whose answer is known, printed one per line; returns the
// number that failed.
// - A bar (L x W px, axis-aligned, contrast C), analytically: the derivative of a pixel's
//   coverage with respect to a turn about the bar's centre is the flux of the boundary's
//   normal speed through the pixel (on the long edges the speed is the distance t from the
//   centre along the edge, on the short edges the distance across), and the grey levels are C
//   times the blurred coverage; so dI / d angle is C times that flux field blurred, with no
//   rendering and no finite difference. Its F(angle) must equal the one from the rendered
//   central differences. (The continuous estimate (C / sigma)^2 (sum of squared kernel
//   weights) (L^3 + W^3) / 6 is printed too: the blur spreading the speed's jump at the bar's
//   ends takes a few percent off it.)
// - Twice as long a bar: the angle bound falls as the analytic information says (close to
//   2^1.5).
// - A disc (a 720-gon) carries no angle information.
// - Glyphs twice as large: the angle bound falls as size^-1.5 when the strokes are wide
//   against the blur and the pixel (40 -> 80 px); between 20 and 40 px the exponent is higher
//   (printed), since thin strokes' two edges blur into each other and carry less information.
// - The bound is proportional to sigma (J does not depend on sigma).
inline int xfPoseBoundSelfCheck(const xcSynthFont& font, double blur, double sigma) {
    int failed = 0;
    auto report = [&](bool ok, const char* what) {
        std::printf("  [%s] %s\n", ok ? "ok" : "FAILED", what);
        if (!ok) ++failed;
    };
    const long width = 640, height = 480;
    const double eps = 0.05;
    // Sum of squared weights of the blur kernel: an impulse through xfSynthBlur.
    const long r = xf_BoundBlurRadius(blur);
    xcSynthField impulse(4 * r + 1, 1, 0.0);
    impulse.row(0)[2 * r] = 1.0;
    xfSynthBlur(impulse, blur);
    double k2 = 0.0;
    for (long x = 0; x < impulse.width(); ++x) k2 += impulse.at(x, 0) * impulse.at(x, 0);

    auto polygonOutline = [](const std::vector<xcVector<2>>& pts) {
        xcSynthOutline o;
        for (size_t i = 0; i < pts.size(); ++i) {
            o.ops.push_back(i == 0 ? xcSynthOutline::eMove : xcSynthOutline::eLine);
            o.points.push_back(pts[i]);
        }
        return o;
    };
    auto shapeBounds = [&](const xcSynthOutline& o, const xcVector<2>& at, double reach) {
        xc_BoundScene sc;
        sc.blur = blur;
        sc.shapes.push_back({&o, xcXform<2>(), xcSynthPose{at, 0.0, 1.0}});
        const xcPelRect win = xf_BoundWindow(sc, 0, xcVector<2>(0, 0), width, height);
        return xfPoseBounds(sc, 0, xcVector<2>(0, 0), reach, win, width, height, sigma, eps);
    };
    const double contrast = 30.0 - 220.0, wbar = 4.0;
    const double rad = std::numbers::pi / 180.0;
    double barInfo[2] = {0, 0}, exact[2] = {0, 0};
    for (int i = 0; i < 2; ++i) {
        const double len = 40.0 * (i + 1);
        const xcVector<2> c(320.3, 240.6);
        const xcSynthOutline bar = polygonOutline({{-len / 2, -wbar / 2},
                                                   {len / 2, -wbar / 2},
                                                   {len / 2, wbar / 2},
                                                   {-len / 2, wbar / 2}});
        const xc_PoseBounds b = shapeBounds(bar, c, len / 2);
        // The flux field of the turn, then blurred.
        const double x0 = c.x() - len / 2, x1 = c.x() + len / 2;
        const double y0 = c.y() - wbar / 2, y1 = c.y() + wbar / 2;
        const long fx = static_cast<long>(std::floor(x0)) - 2 * r - 2;
        const long fy = static_cast<long>(std::floor(y0)) - 2 * r - 2;
        xcSynthField flux(static_cast<long>(len + wbar) + 4 * r + 6,
                          static_cast<long>(wbar) + 4 * r + 6, 0.0);
        // Integral of (u - mid) over [lo, hi] clipped to [a, b].
        auto moment = [](double lo, double hi, double from, double to, double mid) {
            lo = std::max(lo, from);
            hi = std::min(hi, to);
            return hi > lo ? 0.5 * ((hi - mid) * (hi - mid) - (lo - mid) * (lo - mid)) : 0.0;
        };
        for (long px = fx; px < fx + flux.width(); ++px) {
            const double m = moment(px, px + 1.0, x0, x1, c.x());
            flux.row(static_cast<long>(std::floor(y0)) - fy)[px - fx] -= m;
            flux.row(static_cast<long>(std::floor(y1)) - fy)[px - fx] += m;
        }
        for (long py = fy; py < fy + flux.height(); ++py) {
            const double m = moment(py, py + 1.0, y0, y1, c.y());
            flux.row(py - fy)[static_cast<long>(std::floor(x1)) - fx] -= m;
            flux.row(py - fy)[static_cast<long>(std::floor(x0)) - fx] += m;
        }
        xfSynthBlur(flux, blur);
        double s2 = 0.0;
        for (long y = 0; y < flux.height(); ++y)
            for (long x = 0; x < flux.width(); ++x) s2 += flux.at(x, y) * flux.at(x, y);
        exact[i] = contrast * contrast / (sigma * sigma) * s2 * rad * rad;  // 1 / degree^2
        barInfo[i] = b.fisherAngle;
        const double continuous = contrast * contrast / (sigma * sigma) * k2 *
                                  (len * len * len + wbar * wbar * wbar) / 6.0 * rad * rad;
        char line[300];
        std::snprintf(line, sizeof line,
                      "bar %.0f x %.0f px: angle information %.2f / deg^2 rendered, %.2f "
                      "analytic (%+.3f %%), %.2f continuous; bound %.5f deg, 1 / sqrt(F) %.5f deg",
                      len, wbar, b.fisherAngle, exact[i], 100.0 * (b.fisherAngle / exact[i] - 1.0),
                      continuous, b.known.angle, 1.0 / std::sqrt(exact[i]));
        report(b.known.ok && std::fabs(b.fisherAngle / exact[i] - 1.0) < 0.002 &&
                   std::fabs(b.known.angle * std::sqrt(exact[i]) - 1.0) < 0.005,
               line);
    }
    {
        char line[200];
        const double got = std::sqrt(barInfo[1] / barInfo[0]);
        const double expect = std::sqrt(exact[1] / exact[0]);
        std::snprintf(line, sizeof line,
                      "bar 40 -> 80 px: angle bound ratio %.4f (analytic %.4f, 2^1.5 = %.4f)", got,
                      expect, std::pow(2.0, 1.5));
        report(std::fabs(got / expect - 1.0) < 0.002, line);
    }
    {
        std::vector<xcVector<2>> pts;
        for (int i = 0; i < 720; ++i) {
            const double a = 2.0 * std::numbers::pi * i / 720;
            pts.emplace_back(12.0 * std::cos(a), 12.0 * std::sin(a));
        }
        const xcSynthOutline disc = polygonOutline(pts);
        const xc_PoseBounds b = shapeBounds(disc, xcVector<2>(300.7, 200.2), 12.0);
        char line[200];
        std::snprintf(line, sizeof line,
                      "disc radius 12 px: angle information %.3g of the 40-px bar's (%s)",
                      b.fisherAngle / barInfo[0],
                      b.known.ok ? "pose block invertible" : "pose block singular");
        report(b.fisherAngle / barInfo[0] < 1e-6, line);
    }
    for (const char32_t code : {U'G', U'k', U'4', U'r'}) {
        double bound[3] = {0, 0, 0}, bound8 = 0;
        for (int i = 0; i < 3; ++i) {
            const double size = 20.0 * (1 << i);
            const xcSynthGlyphMetrics m = font.metrics(code, size);
            xc_BoundScene sc;
            sc.blur = blur;
            sc.shapes.push_back({&font.outline(code), m.clientFromFont,
                                 xcSynthPose{xcVector<2>(301.37, 222.81), 17.0, 1.0}});
            const xcVector<2> cell(static_cast<double>(m.cellWidth),
                                   static_cast<double>(m.cellHeight));
            const xcVector<2> centre(cell.x() * 0.5, -cell.y() * 0.5);
            const xcPelRect win = xf_BoundWindow(sc, 0, cell, width, height);
            const double reach = 0.5 * std::hypot(cell.x(), cell.y());
            bound[i] =
                xfPoseBounds(sc, 0, centre, reach, win, width, height, sigma, eps).known.angle;
            if (i == 0)
                bound8 = xfPoseBounds(sc, 0, centre, reach, win, width, height, 2 * sigma, eps)
                             .known.angle;
        }
        const double lo = std::log(bound[0] / bound[1]) / std::log(2.0);
        const double hi = std::log(bound[1] / bound[2]) / std::log(2.0);
        char line[300];
        std::snprintf(line, sizeof line,
                      "glyph %lc 20 / 40 / 80 px: angle bound %.4f / %.4f / %.4f deg, exponent "
                      "%.2f (20 -> 40), %.2f (40 -> 80); sigma x2: bound x%.4f",
                      static_cast<wint_t>(code), bound[0], bound[1], bound[2], lo, hi,
                      bound8 / bound[0]);
        report(hi > 1.4 && hi < 1.65 && lo >= hi && std::fabs(bound8 / bound[0] - 2.0) < 1e-9,
               line);
    }
    return failed;
}
