#include "platform/vision/geo_align_model.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <numeric>
#include <string>

#include "platform/core/attention.h"
#include "platform/vision/geo_align_defs.h"
#include "platform/vision/geo_align_fitset.h"
#include "platform/vision/geo_align_pyramid.h"
#include "platform/vision/geo_align_register.h"

namespace {

// Automatic grain: the coarsest level keeps at least this many edge points and this radius
// (level pixels), so that the coarse search still tells the pattern from clutter.
constexpr long kMinCoarseEdges = 12;
constexpr double kMinCoarseRadius = 3.0;
constexpr int kMaxAutoLevel = 4;  // the coarsest automatic grain is 16
// With eTrainAutoContrast the edge threshold is this fraction of the 90th percentile of the
// magnitudes that reach the fixed threshold.
constexpr double kAutoContrastFraction = 0.2;

// An edge point of one level: level-l window-relative coordinates, unit direction, magnitude
// (grey levels per pixel).
struct RawEdge {
    double x = 0, y = 0;
    float ux = 0, uy = 0;
    float mag = 0;
};

// Rows between attention polls: about 2^15 pixels of work (well under a millisecond).
long pollRows(long w) { return std::max(1L, 32768L / std::max(1L, w)); }

// Sobel gradients and magnitudes (grey levels per pixel) of the rows [y0, y0 + rows) of a
// plane, row-major in buffers of the caller (reused from band to band, so that a large plane
// keeps no whole-plane array: freeing one, as a time-out unwinds, would take unpolled time).
struct GradientBand {
    std::vector<std::int16_t> gx, gy;
    std::vector<float> mag;

    void compute(const xc_GeoPlane& plane, long y0, long rows) {
        const size_t n = static_cast<size_t>(rows * plane.w);
        gx.resize(n);
        gy.resize(n);
        mag.resize(n);
        xf_SobelPlane(plane, nullptr, 0, y0, plane.w, rows, gx.data(), gy.data(), plane.w);
        xf_MagnitudeRow(gx.data(), gy.data(), static_cast<long>(n), mag.data());
        for (float& m : mag) m *= 0.125f;
    }
};

// Calls f(magnitudes, count) for every band of rows of the plane, polling between bands.
template <class F>
void forMagnitudeBands(const xc_GeoPlane& plane, F f) {
    GradientBand g;
    const long band = pollRows(plane.w);
    for (long y0 = 0; y0 < plane.h; y0 += band) {
        xcAttention::check();
        const long rows = std::min(band, plane.h - y0);
        g.compute(plane, y0, rows);
        f(g.mag.data(), g.mag.size());
    }
}

// The edge points of a plane: maxima of the magnitude across the edge, at or above `thr`,
// away from the plane's outer ring (whose gradients see the replicated border). Bands of rows
// with one more row either side, for the neighbours across the edge.
std::vector<RawEdge> findEdges(const xc_GeoPlane& plane, double thr) {
    std::vector<RawEdge> out;
    const long w = plane.w, h = plane.h;
    if (w < 3 || h < 3) return out;
    const float t = static_cast<float>(thr);
    const long band = pollRows(w);
    GradientBand grad;
    for (long y0 = 1; y0 + 1 < h; y0 += band) {
        xcAttention::check();
        const long rows = std::min(band, h - 1 - y0);
        grad.compute(plane, y0 - 1, rows + 2);
        const std::int16_t* gx = grad.gx.data() - (y0 - 1) * w;  // indexed by plane row
        const std::int16_t* gy = grad.gy.data() - (y0 - 1) * w;
        const float* mag = grad.mag.data() - (y0 - 1) * w;
        for (long y = y0; y < y0 + rows; ++y) {
            for (long x = 1; x + 1 < w; ++x) {
                const long i = y * w + x;
                const float m = mag[i];
                if (m < t || m <= 0.0f) continue;
                const int ax = std::abs(gx[i]), ay = std::abs(gy[i]);
                long dx = 1, dy = 0;  // the neighbour across the edge
                if (ay * 1000L > ax * 2414L) {
                    dx = 0;
                    dy = 1;
                } else if (ay * 1000L > ax * 414L) {
                    dy = (gx[i] > 0) == (gy[i] > 0) ? 1 : -1;
                }
                const float m1 = mag[(y - dy) * w + (x - dx)];
                const float m2 = mag[(y + dy) * w + (x + dx)];
                if (!(m > m1 && m >= m2)) continue;
                const float den = m1 - 2 * m + m2;
                const double off = den < 0 ? std::clamp(0.5 * (m1 - m2) / den, -0.5, 0.5) : 0.0;
                RawEdge e;
                e.x = x + 0.5 + off * dx;
                e.y = y + 0.5 + off * dy;
                const float inv =
                    1.0f / std::sqrt(static_cast<float>(gx[i] * gx[i] + gy[i] * gy[i]));
                e.ux = gx[i] * inv;
                e.uy = gy[i] * inv;
                e.mag = m;
                out.push_back(e);
            }
        }
    }
    return out;
}

// Indices of the edges kept by thinning: strongest first, each at least `spacing` (level
// pixels) from those kept before, the spacing growing until at most `target` remain.
std::vector<size_t> thin(const std::vector<RawEdge>& edges, long target) {
    std::vector<size_t> order(edges.size());
    std::iota(order.begin(), order.end(), size_t{0});
    if (static_cast<long>(edges.size()) <= target) return order;
    // Strongest first, ties in raster order: a stable radix sort on the magnitudes' bits
    // (non-negative floats order as their bit patterns), two polled passes of 16 bits.
    {
        std::vector<std::uint32_t> key(edges.size());
        for (size_t i = 0; i < edges.size(); ++i) {
            std::uint32_t b;
            std::memcpy(&b, &edges[i].mag, sizeof b);
            key[i] = ~b;  // ascending keys: descending magnitudes
        }
        std::vector<size_t> sorted(order.size());
        for (int shift : {0, 16}) {
            std::vector<size_t> start((1 << 16) + 1, 0);
            for (size_t i : order) ++start[((key[i] >> shift) & 0xFFFF) + 1];
            for (size_t b = 1; b < start.size(); ++b) start[b] += start[b - 1];
            size_t visited = 0;
            for (size_t i : order) {
                if ((++visited & 32767) == 0) xcAttention::check();
                sorted[start[(key[i] >> shift) & 0xFFFF]++] = i;
            }
            order.swap(sorted);
        }
    }
    double xmax = 0, ymax = 0;
    for (const RawEdge& e : edges) {
        xmax = std::max(xmax, e.x);
        ymax = std::max(ymax, e.y);
    }
    std::vector<size_t> kept;
    for (double d = 1.0;; d *= 1.15) {
        xcAttention::check();
        const long gw = static_cast<long>(xmax / d) + 1, gh = static_cast<long>(ymax / d) + 1;
        // The grid of the finest spacing is as large as the level: filled between polls.
        std::vector<long> head;
        const size_t cells = static_cast<size_t>(gw * gh);
        head.reserve(cells);
        while (head.size() < cells) {
            xcAttention::check();
            head.insert(head.end(), std::min<size_t>(cells - head.size(), 1 << 16), -1L);
        }
        std::vector<long> next;
        kept.clear();
        size_t visited = 0;
        for (size_t i : order) {
            if ((++visited & 4095) == 0) xcAttention::check();
            const RawEdge& e = edges[i];
            const long cx = static_cast<long>(e.x / d), cy = static_cast<long>(e.y / d);
            bool near = false;
            for (long yy = std::max(0L, cy - 1); yy <= std::min(gh - 1, cy + 1) && !near; ++yy)
                for (long xx = std::max(0L, cx - 1); xx <= std::min(gw - 1, cx + 1) && !near; ++xx)
                    for (long k = head[static_cast<size_t>(yy * gw + xx)]; k >= 0;
                         k = next[static_cast<size_t>(k)]) {
                        const RawEdge& o = edges[kept[static_cast<size_t>(k)]];
                        const double ddx = o.x - e.x, ddy = o.y - e.y;
                        if (ddx * ddx + ddy * ddy < d * d) {
                            near = true;
                            break;
                        }
                    }
            if (near) continue;
            const size_t cell = static_cast<size_t>(cy * gw + cx);
            next.push_back(head[cell]);
            head[cell] = static_cast<long>(kept.size());
            kept.push_back(i);
        }
        if (static_cast<long>(kept.size()) <= target) break;
    }
    std::sort(kept.begin(), kept.end());  // back to raster order
    return kept;
}

std::vector<xc_GeoPoint> toPoints(const std::vector<RawEdge>& edges, const std::vector<size_t>& idx,
                                  int level, const xcVector<2>& ref) {
    const double g = xf_GeoGrain(level);
    std::vector<xc_GeoPoint> pts;
    pts.reserve(idx.size());
    for (size_t i : idx) {
        xc_GeoPoint p;
        p.x = static_cast<float>(edges[i].x * g - ref.x());
        p.y = static_cast<float>(edges[i].y * g - ref.y());
        p.ux = edges[i].ux;
        p.uy = edges[i].uy;
        pts.push_back(p);
    }
    return pts;
}

double radiusOf(const std::vector<RawEdge>& edges, int level, const xcVector<2>& ref) {
    const double g = xf_GeoGrain(level);
    double r2 = 0;
    for (const RawEdge& e : edges) {
        const double dx = e.x * g - ref.x(), dy = e.y * g - ref.y();
        r2 = std::max(r2, dx * dx + dy * dy);
    }
    return std::sqrt(r2);
}

// The 90th percentile of the magnitudes that reach the training contrast, times
// kAutoContrastFraction (at least the training contrast). The percentile is selected exactly
// in two polled passes over the gradients (computed band by band, not kept): a histogram of
// the values' high 16 bits (non-negative floats order as
// their bit patterns), then the values of the one bin that holds it.
double autoThreshold(const xc_GeoPlane& plane) {
    const auto bits = [](float m) {
        std::uint32_t b;
        std::memcpy(&b, &m, sizeof b);
        return b;
    };
    const float floor = static_cast<float>(xc_GeoDefs::kTrainContrast);
    std::vector<std::size_t> histogram(1 << 16, 0);
    std::size_t strong = 0;
    forMagnitudeBands(plane, [&](const float* mag, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i)
            if (mag[i] >= floor) {
                ++histogram[bits(mag[i]) >> 16];
                ++strong;
            }
    });
    if (strong == 0) return xc_GeoDefs::kTrainContrast;
    std::size_t k = strong * 9 / 10, bin = 0;
    while (k >= histogram[bin]) k -= histogram[bin++];
    std::vector<float> inBin;
    inBin.reserve(histogram[bin]);
    forMagnitudeBands(plane, [&](const float* mag, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i)
            if (mag[i] >= floor && (bits(mag[i]) >> 16) == bin) inBin.push_back(mag[i]);
    });
    std::nth_element(inBin.begin(), inBin.begin() + static_cast<long>(k), inBin.end());
    return std::max(xc_GeoDefs::kTrainContrast, kAutoContrastFraction * inBin[k]);
}

// The plane padded by `pad` pixels on every side, replicating its border pixels.
xc_GeoPlane padPlane(const xc_GeoPlane& src, long pad, std::vector<unsigned char>& store) {
    xc_GeoPlane out;
    out.w = src.w + 2 * pad;
    out.h = src.h + 2 * pad;
    out.stride = out.w;
    // Reserved, then grown a row at a time: the pages are touched between polls.
    store.clear();
    store.reserve(static_cast<size_t>(out.w * out.h));
    const long polls = pollRows(out.w);
    for (long y = 0; y < out.h; ++y) {
        if (y % polls == 0) xcAttention::check();
        const unsigned char* s = src.row(std::clamp(y - pad, 0L, src.h - 1));
        store.resize(store.size() + static_cast<size_t>(out.w));
        unsigned char* d = store.data() + y * out.w;
        std::fill(d, d + pad, s[0]);
        std::copy(s, s + src.w, d + pad);
        std::fill(d + pad + src.w, d + out.w, s[src.w - 1]);
    }
    out.p = store.data();
    return out;
}

int levelOfGrain(double grain) { return static_cast<int>(std::lround(std::log2(grain))); }

std::wstring grainText(double v) {
    std::wstring s = std::to_wstring(v);
    while (s.size() > 1 && s.back() == L'0') s.pop_back();
    if (!s.empty() && s.back() == L'.') s.pop_back();
    return s;
}

}  // namespace

bool xc_GeoModel::matchPolarity() const {
    return (trainFlags & xc_GeoDefs::eTrainMatchPolarity) != 0;
}

std::shared_ptr<const xc_GeoModel> xf_GeoTrain(const xcPelBuffer_const<unsigned char>& image,
                                               long trainFlags, bool autoGrain, double fine,
                                               double coarse) {
    if (!image.isBound())
        throw xc_GeoDefs::BadTrainImage(L"Cannot train a geometric pattern on an unbound image");
    if (trainFlags < 0 || (trainFlags & ~static_cast<long>(xc_GeoDefs::eTrainAllFlags)) != 0)
        throw xc_GeoDefs::BadTrainFlags(L"Unknown geometric pattern train flags " +
                                        std::to_wstring(trainFlags) +
                                        L" (1 match polarity, 2 automatic contrast)");
    int fineLevel = 0, coarseLevel = xc_GeoModel::kMaxLevel;
    if (!autoGrain) {
        if (!std::isfinite(fine) || !std::isfinite(coarse) || fine < 1.0 || coarse < fine ||
            coarse > xf_GeoGrain(xc_GeoModel::kMaxLevel))
            throw xc_GeoDefs::BadGrainLimits(
                L"Bad grain limits (" + grainText(fine) + L", " + grainText(coarse) +
                L"): the fine grain must be at least 1 pixel and the coarse grain between the "
                L"fine grain and 64 pixels");
        fineLevel = levelOfGrain(fine);
        coarseLevel = levelOfGrain(coarse);
    }
    const xcPelRect win = image.window();
    if (win.width() < 3 || win.height() < 3)
        throw xc_GeoDefs::TooFewEdges(L"The training window (" + std::to_wstring(win.width()) +
                                      L" x " + std::to_wstring(win.height()) +
                                      L" pixels) is too small to hold edges");

    auto model = std::make_shared<xc_GeoModel>();
    model->window = win;
    model->clientFromImage = image.clientFromImageXformBasePtr();
    const xcVector<2> centre(win.x() + 0.5 * win.width(), win.y() + 0.5 * win.height());
    model->clientFromImageLinear = model->clientFromImage->linearAt(centre).xform();
    if (!std::isfinite(model->clientFromImageLinear.determinant()) ||
        model->clientFromImageLinear.determinant() == 0.0)
        throw xc_GeoDefs::BadTrainImage(
            L"The training image's client-from-image transform is singular");
    model->trainFlags = trainFlags;

    xc_GeoPlane plane;
    plane.w = win.width();
    plane.h = win.height();
    plane.stride = image.rowUpdate();
    plane.p = image.pelPointer(win.x(), win.y());
    model->edgeThreshold = (trainFlags & xc_GeoDefs::eTrainAutoContrast)
                               ? autoThreshold(plane)
                               : xc_GeoDefs::kTrainContrast;

    // The window padded by replicating its border pixels, so that the coarse levels see the
    // pattern's edges near the window's border; only edges inside the window count.
    const int topLevel = autoGrain ? kMaxAutoLevel : coarseLevel;
    const long pad = 2L << topLevel;
    std::vector<unsigned char> padded;
    const xc_GeoPlane base = padPlane(plane, pad, padded);

    // Edges of every level up to the coarsest that may be used, in window-relative level
    // coordinates.
    std::vector<std::vector<unsigned char>> store;
    store.reserve(static_cast<size_t>(topLevel) + 1);
    std::vector<std::vector<RawEdge>> edges;
    std::vector<xc_GeoPlane> planes;
    xc_GeoPlane lp = base;
    for (int l = 0; l <= topLevel; ++l) {
        xcAttention::check();
        if (l > 0) {
            if (lp.w < 6 || lp.h < 6) break;
            store.emplace_back();
            lp = xf_Plane8Halve(lp, store.back());
        }
        planes.push_back(lp);
        const double g = xf_GeoGrain(l), off = pad / g;
        std::vector<RawEdge> inside;
        size_t visited = 0;
        for (RawEdge e : findEdges(lp, model->edgeThreshold)) {
            if ((++visited & 32767) == 0) xcAttention::check();
            e.x -= off;
            e.y -= off;
            if (e.x >= 0 && e.y >= 0 && e.x * g <= plane.w && e.y * g <= plane.h)
                inside.push_back(e);
        }
        edges.push_back(std::move(inside));
    }
    auto tooFew = [&](int l) {
        const long n = l < static_cast<int>(edges.size()) ? static_cast<long>(edges[l].size()) : 0;
        return xc_GeoDefs::TooFewEdges(L"Too few edges to train at grain " +
                                       grainText(xf_GeoGrain(l)) + L": " + std::to_wstring(n) +
                                       L" edge points, at least " +
                                       std::to_wstring(xc_GeoModel::kMinPoints) + L" needed");
    };
    if (static_cast<int>(edges.size()) <= fineLevel ||
        static_cast<long>(edges[static_cast<size_t>(fineLevel)].size()) < xc_GeoModel::kMinPoints)
        throw tooFew(fineLevel);

    // The reference point: the centroid of the finest level's edges, level-0 pixels.
    const std::vector<RawEdge>& fineEdges = edges[static_cast<size_t>(fineLevel)];
    double sx = 0, sy = 0;
    for (const RawEdge& e : fineEdges) {
        sx += e.x;
        sy += e.y;
    }
    const double g0 = xf_GeoGrain(fineLevel);
    model->reference = xcVector<2>(g0 * sx / fineEdges.size(), g0 * sy / fineEdges.size());
    const double r0 = radiusOf(fineEdges, fineLevel, model->reference);

    if (autoGrain) {
        coarseLevel = fineLevel;
        for (int l = fineLevel + 1; l < static_cast<int>(edges.size()); ++l) {
            if (static_cast<long>(edges[static_cast<size_t>(l)].size()) < kMinCoarseEdges) break;
            if (r0 / xf_GeoGrain(l) < kMinCoarseRadius) break;
            coarseLevel = l;
        }
    } else {
        for (int l = fineLevel; l <= coarseLevel; ++l)
            if (l >= static_cast<int>(edges.size()) ||
                static_cast<long>(edges[static_cast<size_t>(l)].size()) < xc_GeoModel::kMinPoints)
                throw tooFew(l);
    }
    model->fineLevel = fineLevel;
    model->coarseLevel = coarseLevel;
    for (int l = fineLevel; l <= coarseLevel; ++l) {
        const std::vector<RawEdge>& e = edges[static_cast<size_t>(l)];
        xc_GeoLevel lv;
        lv.level = l;
        lv.numEdges = static_cast<long>(e.size());
        lv.radius = radiusOf(e, l, model->reference);
        const long target =
            l == coarseLevel ? xc_GeoModel::kCoarsePoints : xc_GeoModel::kSearchPoints;
        lv.points = toPoints(e, thin(e, target), l, model->reference);
        model->levels.push_back(std::move(lv));
    }
    std::vector<xc_GeoSeed> seeds;
    for (size_t i : thin(fineEdges, xc_GeoModel::kFitPoints))
        seeds.push_back({fineEdges[i].x, fineEdges[i].y, fineEdges[i].ux, fineEdges[i].uy});
    xf_GeoBuildFitSets(planes[static_cast<size_t>(fineLevel)], pad / g0, seeds, fineLevel,
                       model->reference, model->edgeThreshold, *model);
    if (static_cast<long>(model->fitPoints.size()) < xc_GeoModel::kMinPoints)
        throw tooFew(fineLevel);
    const int regTop = std::min(fineLevel + 1, static_cast<int>(planes.size()) - 1);
    for (int l = fineLevel; l <= regTop; ++l) {
        xc_GeoRegLevel reg;
        xf_GeoBuildRegLevel(planes[static_cast<size_t>(l)], pad / xf_GeoGrain(l), plane.w, plane.h,
                            l, model->reference, model->edgeThreshold, reg);
        if (!reg.pixels.empty()) model->regLevels.push_back(std::move(reg));
    }
    return model;
}
