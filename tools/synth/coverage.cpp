#include "tools/synth/coverage.h"

#include <algorithm>
#include <cmath>

#include "platform/core/exception.h"
#include "platform/core/math_util.h"

namespace {

// Largest distance, in pixels, between a curve and its flattened polygon.
constexpr double kFlatness = 0.01;
// Upper bound on the pieces of one flattened curve.
constexpr long kMaxPieces = 4096;

// R(z) = integral from 0 to z of clamp(s, 0, 1) ds.
inline double ramp(double z) {
    if (z <= 0.0) return 0.0;
    if (z >= 1.0) return z - 0.5;
    return 0.5 * z * z;
}

// Adds a piece that crosses one pixel row between x = xl and x = xr (xl <= xr), with signed
// height d, to the row's accumulator. A pixel i (covering [i, i+1)) receives the mean over the
// piece of clamp(i + 1 - x, 0, 1) times d: the part of the row's winding change that lies to
// its left. The accumulator holds the differences of these values from pixel to pixel.
inline void addSpan(double* acc, double xl, double xr, double d) {
    if (xr - xl < 1e-9) {  // vertical within rounding
        const double xm = 0.5 * (xl + xr);
        const long i = xfIFloor(xm);
        const double f = static_cast<double>(i + 1) - xm;
        acc[i] += d * f;
        acc[i + 1] += d * (1.0 - f);
        return;
    }
    const long i0 = xfIFloor(xl), i1 = xfIFloor(xr);
    const double inv = 1.0 / (xr - xl);
    double prev = 0.0;
    for (long i = i0; i <= i1; ++i) {
        const double c = static_cast<double>(i + 1);
        const double f = d * (ramp(c - xl) - ramp(c - xr)) * inv;
        acc[i] += f - prev;
        prev = f;
    }
    acc[i1 + 1] += d - prev;
}

}  // namespace

xcPelRect xcSynthBounds::pixels() const {
    const long ix0 = xfIFloor(x0), iy0 = xfIFloor(y0);
    return {ix0, iy0, xfICeil(x1) - ix0, xfICeil(y1) - iy0};
}

xcSynthBounds xfSynthOutlineBounds(const xcSynthOutline& outline, const xcXform<2>& xform) {
    xcSynthBounds b;
    bool first = true;
    for (const xcVector<2>& p : outline.points) {
        const xcVector<2> q = xform.mapPoint(p);
        if (first) {
            b = {q.x(), q.y(), q.x(), q.y()};
            first = false;
        } else {
            b.x0 = std::min(b.x0, q.x());
            b.y0 = std::min(b.y0, q.y());
            b.x1 = std::max(b.x1, q.x());
            b.y1 = std::max(b.y1, q.y());
        }
    }
    return b;
}

xcSynthCoverage::xcSynthCoverage(const xcPelRect& rect) : m_rect(rect) {
    if (rect.isNull()) {
        m_rect = xcPelRect(rect.x(), rect.y(), 0, 0);
        return;
    }
    if (rect.width() > (1L << 16) || rect.height() > (1L << 16))
        throw xcBadArgument(L"Coverage tile too large");
    m_stride = rect.width() + 2;
    m_acc.assign(static_cast<std::size_t>(m_stride * rect.height()), 0.0);
}

void xcSynthCoverage::addLine(const xcVector<2>& p0, const xcVector<2>& p1) {
    if (empty()) return;
    // Tile-local coordinates; the pieces are split where they cross x = 0 and x = w, then
    // clamped into [0, w]: a piece left of the tile becomes a vertical piece on its left edge,
    // which gives the pixels to its right the same winding.
    const double w = static_cast<double>(m_rect.width());
    const double ox = static_cast<double>(m_rect.x()), oy = static_cast<double>(m_rect.y());
    const double xa = p0.x() - ox, ya = p0.y() - oy, xb = p1.x() - ox, yb = p1.y() - oy;
    if (!(std::isfinite(xa) && std::isfinite(ya) && std::isfinite(xb) && std::isfinite(yb)))
        throw xcBadArgument(L"Shape point is not finite");
    if (ya == yb) return;
    double ts[4] = {0.0, 0.0, 0.0, 1.0};
    int n = 1;
    if (xa != xb) {
        for (double edge : {0.0, w}) {
            const double t = (edge - xa) / (xb - xa);
            if (t > 0.0 && t < 1.0) ts[n++] = t;
        }
    }
    ts[n] = 1.0;
    if (n == 3 && ts[1] > ts[2]) std::swap(ts[1], ts[2]);  // at most two crossings
    const auto clampX = [w](double x) { return std::clamp(x, 0.0, w); };
    double px = xa, py = ya;
    for (int k = 1; k <= n; ++k) {
        const double t = ts[k];
        const double qx = k == n ? xb : xa + t * (xb - xa);
        const double qy = k == n ? yb : ya + t * (yb - ya);
        piece_(clampX(px), py, clampX(qx), qy);
        px = qx;
        py = qy;
    }
}

void xcSynthCoverage::piece_(double xa, double ya, double xb, double yb) {
    if (ya == yb) return;
    double dir = 1.0;
    if (ya > yb) {
        std::swap(xa, xb);
        std::swap(ya, yb);
        dir = -1.0;
    }
    const double h = static_cast<double>(m_rect.height());
    if (yb <= 0.0 || ya >= h) return;
    const double dxdy = (xb - xa) / (yb - ya);
    const double w = static_cast<double>(m_rect.width());
    const long r0 = std::max(0L, xfIFloor(ya));
    const long r1 = std::min(m_rect.height(), xfICeil(yb));
    for (long r = r0; r < r1; ++r) {
        const double ys = std::max(ya, static_cast<double>(r));
        const double ye = std::min(yb, static_cast<double>(r + 1));
        if (ye <= ys) continue;
        const double xs = std::clamp(xa + (ys - ya) * dxdy, 0.0, w);
        const double xe = std::clamp(xa + (ye - ya) * dxdy, 0.0, w);
        addSpan(&m_acc[r * m_stride], std::min(xs, xe), std::max(xs, xe), dir * (ye - ys));
    }
}

void xcSynthCoverage::addPolygon(const std::vector<xcVector<2>>& points) {
    if (points.size() < 3) return;
    for (std::size_t i = 0; i < points.size(); ++i)
        addLine(points[i], points[(i + 1) % points.size()]);
}

void xcSynthCoverage::quad_(const xcVector<2>& p0, const xcVector<2>& c, const xcVector<2>& p1) {
    // Uniform steps of 1/n keep within |p0 - 2c + p1| / (4 n^2) of the curve.
    const double dd = (p0 - c * 2.0 + p1).len();
    const long n = std::clamp(xfICeil(std::sqrt(dd / (4.0 * kFlatness))), 1L, kMaxPieces);
    xcVector<2> prev = p0;
    for (long i = 1; i <= n; ++i) {
        const double t = static_cast<double>(i) / static_cast<double>(n), u = 1.0 - t;
        const xcVector<2> q = i == n ? p1 : p0 * (u * u) + c * (2.0 * u * t) + p1 * (t * t);
        addLine(prev, q);
        prev = q;
    }
}

void xcSynthCoverage::cubic_(const xcVector<2>& p0, const xcVector<2>& c1, const xcVector<2>& c2,
                             const xcVector<2>& p1) {
    // The second derivative is at most 6 max(|p0 - 2c1 + c2|, |c1 - 2c2 + p1|), so uniform
    // steps of 1/n keep within 0.75 of that maximum over n^2.
    const double dd = std::max((p0 - c1 * 2.0 + c2).len(), (c1 - c2 * 2.0 + p1).len());
    const long n = std::clamp(xfICeil(std::sqrt(0.75 * dd / kFlatness)), 1L, kMaxPieces);
    xcVector<2> prev = p0;
    for (long i = 1; i <= n; ++i) {
        const double t = static_cast<double>(i) / static_cast<double>(n), u = 1.0 - t;
        const xcVector<2> q = i == n ? p1
                                     : p0 * (u * u * u) + c1 * (3.0 * u * u * t) +
                                           c2 * (3.0 * u * t * t) + p1 * (t * t * t);
        addLine(prev, q);
        prev = q;
    }
}

void xcSynthCoverage::addOutline(const xcSynthOutline& outline, const xcXform<2>& pointsFromFont) {
    if (empty() || outline.empty()) return;
    const auto& pts = outline.points;
    std::size_t k = 0;
    xcVector<2> start, cur;
    bool open = false;
    for (xcSynthOutline::Op op : outline.ops) {
        switch (op) {
            case xcSynthOutline::eMove:
                if (open) addLine(cur, start);
                start = cur = pointsFromFont.mapPoint(pts[k++]);
                open = true;
                break;
            case xcSynthOutline::eLine: {
                const xcVector<2> p = pointsFromFont.mapPoint(pts[k++]);
                addLine(cur, p);
                cur = p;
                break;
            }
            case xcSynthOutline::eQuad: {
                const xcVector<2> c = pointsFromFont.mapPoint(pts[k]);
                const xcVector<2> p = pointsFromFont.mapPoint(pts[k + 1]);
                k += 2;
                quad_(cur, c, p);
                cur = p;
                break;
            }
            case xcSynthOutline::eCubic: {
                const xcVector<2> c1 = pointsFromFont.mapPoint(pts[k]);
                const xcVector<2> c2 = pointsFromFont.mapPoint(pts[k + 1]);
                const xcVector<2> p = pointsFromFont.mapPoint(pts[k + 2]);
                k += 3;
                cubic_(cur, c1, c2, p);
                cur = p;
                break;
            }
        }
    }
    if (open) addLine(cur, start);
}

void xcSynthCoverage::resolve(bool evenOdd) {
    if (m_resolved) throw xcBadArgument(L"Coverage tile is already resolved");
    m_resolved = true;
    const long w = m_rect.width(), h = m_rect.height();
    for (long y = 0; y < h; ++y) {
        double* a = &m_acc[y * m_stride];
        double sum = 0.0;
        for (long x = 0; x < w; ++x) {
            sum += a[x];
            double c = std::fabs(sum);
            if (evenOdd) {
                c = std::fmod(c, 2.0);
                if (c > 1.0) c = 2.0 - c;
            } else if (c > 1.0) {
                c = 1.0;
            }
            // Round-off of the accumulation must not leave faint ink outside the shape.
            if (c < 1e-12) c = 0.0;
            if (c > 1.0 - 1e-12) c = 1.0;
            a[x] = c;
        }
        a[w] = a[w + 1] = 0.0;
    }
}

double xcSynthCoverage::at(long x, long y) const {
    if (!m_rect.contains(x, y)) return 0.0;
    return row(y)[x - m_rect.x()];
}

void xcSynthCoverage::erase(const xcSynthCoverage& other) {
    const xcPelRect r = m_rect.intersect(other.m_rect);
    if (r.isNull()) return;
    for (long y = r.y(); y < r.y() + r.height(); ++y) {
        double* a = row(y) + (r.x() - m_rect.x());
        const double* b = other.row(y) + (r.x() - other.m_rect.x());
        for (long i = 0; i < r.width(); ++i) a[i] *= 1.0 - b[i];
    }
}

xcSynthCoverage xfSynthRenderOutline(const xcSynthOutline& outline, const xcXform<2>& imageFromFont,
                                     const xcPelRect& clip) {
    const xcVector<2> t = imageFromFont.trans();
    const xcMatrix<2>& m = imageFromFont.matrix();
    constexpr double kFar = 0x1.0p40;
    if (!(std::fabs(t.x()) < kFar && std::fabs(t.y()) < kFar && std::isfinite(m(0, 0)) &&
          std::isfinite(m(0, 1)) && std::isfinite(m(1, 0)) && std::isfinite(m(1, 1))))
        throw xcBadArgument(L"Glyph transform is not finite or too far away");
    const long ix = xfIFloor(t.x()), iy = xfIFloor(t.y());
    const xcXform<2> local(
        m, xcVector<2>(t.x() - static_cast<double>(ix), t.y() - static_cast<double>(iy)));
    if (outline.empty()) return xcSynthCoverage();
    const xcSynthBounds b = xfSynthOutlineBounds(outline, local);
    if (!(std::fabs(b.x0) < kFar && std::fabs(b.y0) < kFar && std::fabs(b.x1) < kFar &&
          std::fabs(b.y1) < kFar))
        throw xcBadArgument(L"Glyph transform is not finite or too far away");
    const xcPelRect rect = b.pixels().intersect(clip.translated(-ix, -iy));
    if (rect.isNull()) return xcSynthCoverage();
    xcSynthCoverage cov(rect);
    cov.addOutline(outline, local);
    cov.resolve(outline.evenOdd);
    cov.translate(ix, iy);
    return cov;
}
