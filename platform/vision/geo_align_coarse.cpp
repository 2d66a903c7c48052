#include "platform/vision/geo_align_coarse.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "platform/core/attention.h"
#include "platform/vision/angle8.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__GNUC__) && defined(__x86_64__)
#include <immintrin.h>
#define XC_GEO_COARSE_AVX2 1
#endif

namespace {

constexpr long kRun = 32;  // placements scored together
// Suppression reach of a kept coarse hit. The same instance seen by templates a step or two
// apart in angle peaks within a pixel of itself (an angle step moves the farthest point by one
// pixel, and the reference point is the points' centroid); a hit two pixels from a better one is
// another placement: in a line of text, the pattern shifted by a stroke onto a neighbouring
// character often scores better at this level than the character itself, and must not hide it.
constexpr long kNearPixels = 1;
constexpr long kNearAngleSteps = 2;
// Bounds of the hits a search keeps (16 bytes each): 256 per candidate asked for, within these.
constexpr long kMinCoarseHits = 1L << 16;
constexpr long kMaxCoarseHits = 1L << 20;

// table[a][k]: 255 times the agreement of direction a (xcAngle8 steps) with direction k.
struct AgreementTable {
    unsigned char v[2][256][xc_GeoResponse::kDirections];
    AgreementTable() {
        for (int a = 0; a < 256; ++a)
            for (int k = 0; k < xc_GeoResponse::kDirections; ++k) {
                const double d = 2 * std::numbers::pi *
                                 (a / 256.0 - static_cast<double>(k) / xc_GeoResponse::kDirections);
                const double c = std::cos(d);
                v[1][a][k] = static_cast<unsigned char>(std::lround(255.0 * std::max(0.0, c)));
                v[0][a][k] = static_cast<unsigned char>(std::lround(255.0 * std::fabs(c)));
            }
    }
};

const AgreementTable& agreementTable() {
    static const AgreementTable t;
    return t;
}

// Appends the maxima of a template's score map (rows with `live` set hold sums, -1 for the
// placements ruled out; other rows hold nothing): placements whose sum reaches minSum and beats
// its eight neighbours (ties go to the first in raster order). runHits holds, for each row, a
// flag per run of kRun placements: whether the run holds a sum that reaches minSum; only those
// runs are looked at.
template <class Sink>
void mapMaxima(const std::vector<std::int32_t>& sums, const std::vector<char>& live,
               const std::vector<unsigned char>& runHits, long w, long h, std::int32_t minSum,
               long ti, Sink&& add) {
    const long runs = (w + kRun - 1) / kRun;
    for (long v = 0; v < h; ++v) {
        if (!live[static_cast<size_t>(v)]) continue;
        const std::int32_t* row = sums.data() + v * w;
        const std::int32_t* up = v > 0 && live[static_cast<size_t>(v - 1)] ? row - w : nullptr;
        const std::int32_t* down =
            v + 1 < h && live[static_cast<size_t>(v + 1)] ? row + w : nullptr;
        const unsigned char* flags = runHits.data() + v * runs;
        for (long r = 0; r < runs; ++r) {
            if (!flags[r]) continue;
            for (long u = r * kRun; u < std::min(w, (r + 1) * kRun); ++u) {
                const std::int32_t s = row[u];
                if (s < minSum) continue;
                // Earlier neighbours must not exceed s, later ones must stay below it.
                if (u > 0 && row[u - 1] > s) continue;
                if (u + 1 < w && row[u + 1] >= s) continue;
                bool top = true;
                if (up)
                    for (long x = std::max(0L, u - 1); x <= std::min(w - 1, u + 1) && top; ++x)
                        top = up[x] <= s;
                if (top && down)
                    for (long x = std::max(0L, u - 1); x <= std::min(w - 1, u + 1) && top; ++x)
                        top = down[x] < s;
                if (top)
                    add(xc_GeoHit{s, static_cast<std::int32_t>(u), static_cast<std::int32_t>(v),
                                  static_cast<std::int32_t>(ti)});
            }
        }
    }
}

// The order of hits: stronger first, then raster order, then template order.
bool strongerHit(const xc_GeoHit& a, const xc_GeoHit& b) {
    if (a.sum != b.sum) return a.sum > b.sum;
    if (a.v != b.v) return a.v < b.v;
    if (a.u != b.u) return a.u < b.u;
    return a.t < b.t;
}

#if defined(__SSE2__)
// The sums of one run of kRun placements in four registers of 8 lanes of 16 bits, ended early by
// bound 2: false when the run is ruled out.
bool sumRunSse2(const unsigned char* p, const std::int32_t* off, long n, std::int32_t minSum,
                std::int16_t lanes[kRun]) {
    const __m128i zero = _mm_setzero_si128();
    __m128i a0 = zero, a1 = zero, a2 = zero, a3 = zero;
    for (long i = 0; i < n;) {
        const long blockEnd = std::min(n, i + 8);
        for (; i < blockEnd; ++i) {
            const unsigned char* q = p + off[i];
            const __m128i x0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
            const __m128i x1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(q + 16));
            a0 = _mm_add_epi16(a0, _mm_unpacklo_epi8(x0, zero));
            a1 = _mm_add_epi16(a1, _mm_unpackhi_epi8(x0, zero));
            a2 = _mm_add_epi16(a2, _mm_unpacklo_epi8(x1, zero));
            a3 = _mm_add_epi16(a3, _mm_unpackhi_epi8(x1, zero));
        }
        if (i < n) {
            // Bound 2: the best partial sum with every remaining point at 255.
            __m128i mx = _mm_max_epi16(_mm_max_epi16(a0, a1), _mm_max_epi16(a2, a3));
            mx = _mm_max_epi16(mx, _mm_srli_si128(mx, 8));
            mx = _mm_max_epi16(mx, _mm_srli_si128(mx, 4));
            mx = _mm_max_epi16(mx, _mm_srli_si128(mx, 2));
            const long best = static_cast<std::int16_t>(_mm_cvtsi128_si32(mx));
            if (best + 255 * (n - i) < minSum) return false;
        }
    }
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), a0);
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes + 8), a1);
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes + 16), a2);
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes + 24), a3);
    return true;
}
#endif

#if defined(XC_GEO_COARSE_AVX2)
bool hasAvx2() {
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
}

// The same with two registers of 16 lanes (same sums, same decisions).
__attribute__((target("avx2"))) bool sumRunAvx2(const unsigned char* p, const std::int32_t* off,
                                                long n, std::int32_t minSum,
                                                std::int16_t lanes[kRun]) {
    __m256i a0 = _mm256_setzero_si256(), a1 = _mm256_setzero_si256();
    for (long i = 0; i < n;) {
        const long blockEnd = std::min(n, i + 8);
        for (; i < blockEnd; ++i) {
            const unsigned char* q = p + off[i];
            a0 = _mm256_add_epi16(
                a0, _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(q))));
            a1 = _mm256_add_epi16(
                a1,
                _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(q + 16))));
        }
        if (i < n) {
            const __m256i m2 = _mm256_max_epi16(a0, a1);
            __m128i mx = _mm_max_epi16(_mm256_castsi256_si128(m2), _mm256_extracti128_si256(m2, 1));
            mx = _mm_max_epi16(mx, _mm_srli_si128(mx, 8));
            mx = _mm_max_epi16(mx, _mm_srli_si128(mx, 4));
            mx = _mm_max_epi16(mx, _mm_srli_si128(mx, 2));
            const long best = static_cast<std::int16_t>(_mm_cvtsi128_si32(mx));
            if (best + 255 * (n - i) < minSum) return false;
        }
    }
    _mm256_store_si256(reinterpret_cast<__m256i*>(lanes), a0);
    _mm256_store_si256(reinterpret_cast<__m256i*>(lanes + 16), a1);
    return true;
}
#endif

}  // namespace

xc_GeoResponse::xc_GeoResponse(const xc_GeoPlane& plane, const xc_GeoPlane* mask, double contrast,
                               bool polarity, long border)
    : m_w(plane.w), m_h(plane.h), m_border(border) {
    m_stride = m_w + 2 * m_border + kRun;
    m_planeSize = m_stride * (m_h + 2 * m_border);
    m_data.assign(static_cast<size_t>(m_planeSize * kDirections), 0);
    m_integral.assign(static_cast<size_t>((m_w + 1) * (m_h + 1)), 0);
    std::vector<std::int16_t> gx(static_cast<size_t>(m_w)), gy(static_cast<size_t>(m_w));
    const double t = 8.0 * contrast;
    const std::int64_t t2 = static_cast<std::int64_t>(std::ceil(t * t));
    const auto& table = agreementTable().v[polarity ? 1 : 0];
    unsigned char* o = m_data.data() + m_border * m_stride + m_border;
    for (long y = 0; y < m_h; ++y) {
        if ((y & 15) == 0) xcAttention::check();
        xf_SobelPlane(plane, mask, 0, y, m_w, 1, gx.data(), gy.data(), m_w);
        unsigned char* row = o + y * m_stride;
        std::int32_t* irow = m_integral.data() + (y + 1) * (m_w + 1);
        const std::int32_t* iabove = irow - (m_w + 1);
        std::int32_t run = 0;
        for (long x = 0; x < m_w; ++x) {
            const std::int64_t m2 =
                static_cast<std::int64_t>(gx[x]) * gx[x] + static_cast<std::int64_t>(gy[x]) * gy[x];
            if (m2 >= t2 && m2 > 0) {
                const unsigned char a = xfAngle8FromGradient(gx[x], gy[x]).plainValue();
                for (int k = 0; k < kDirections; ++k) row[x + k * m_planeSize] = table[a][k];
                ++run;
            }
            irow[x + 1] = iabove[x + 1] + run;
        }
    }
}

long xc_GeoResponse::edgeCount(long x0, long y0, long x1, long y1) const {
    x0 = std::max(x0, 0L);
    y0 = std::max(y0, 0L);
    x1 = std::min(x1, m_w - 1);
    y1 = std::min(y1, m_h - 1);
    if (x1 < x0 || y1 < y0) return 0;
    const long s = m_w + 1;
    const std::int32_t* I = m_integral.data();
    return I[(y1 + 1) * s + x1 + 1] - I[y0 * s + x1 + 1] - I[(y1 + 1) * s + x0] + I[y0 * s + x0];
}

xc_GeoTemplate xf_GeoMakeTemplate(const std::vector<xc_GeoPoint>& points, int level, double angle,
                                  double scale, const xc_GeoResponse& resp) {
    xc_GeoTemplate t;
    const double g = xf_GeoGrain(level);
    const double c = std::cos(angle) * scale / g, s = std::sin(angle) * scale / g;
    const double ca = std::cos(angle), sa = std::sin(angle);
    const double binsPerRad = xc_GeoResponse::kDirections / (2 * std::numbers::pi);
    std::vector<std::pair<long, long>> cells;
    cells.reserve(points.size());
    t.offsets.reserve(points.size());
    t.dxMin = t.dyMin = 1L << 30;
    t.dxMax = t.dyMax = -(1L << 30);
    for (const xc_GeoPoint& p : points) {
        const long dx = static_cast<long>(std::floor(c * p.x - s * p.y + 0.5));
        const long dy = static_cast<long>(std::floor(s * p.x + c * p.y + 0.5));
        const double ux = ca * p.ux - sa * p.uy, uy = sa * p.ux + ca * p.uy;
        double a = std::atan2(uy, ux) * binsPerRad;
        long k = static_cast<long>(std::floor(a + 0.5)) % xc_GeoResponse::kDirections;
        if (k < 0) k += xc_GeoResponse::kDirections;
        t.offsets.push_back(
            static_cast<std::int32_t>(k * resp.planeSize() + dy * resp.stride() + dx));
        t.dxMin = std::min(t.dxMin, dx);
        t.dxMax = std::max(t.dxMax, dx);
        t.dyMin = std::min(t.dyMin, dy);
        t.dyMax = std::max(t.dyMax, dy);
        cells.emplace_back(dx, dy);
    }
    std::sort(cells.begin(), cells.end());
    long run = 0;
    for (size_t i = 0; i < cells.size(); ++i) {
        run = (i > 0 && cells[i] == cells[i - 1]) ? run + 1 : 1;
        t.multiplicity = std::max(t.multiplicity, run);
    }
    return t;
}

bool xf_GeoScanRowPlain(const xc_GeoResponse& resp, const xc_GeoTemplate& t, long v,
                        std::int32_t minSum, std::int32_t* sums, unsigned char* runHits) {
    const long w = resp.width();
    std::fill(sums, sums + w, 0);
    const unsigned char* base = resp.origin() + v * resp.stride();
    for (std::int32_t off : t.offsets)
        for (long u = 0; u < w; ++u) sums[u] += base[u + off];
    if (runHits) std::fill(runHits, runHits + (w + kRun - 1) / kRun, 0);
    bool any = false;
    for (long u = 0; u < w; ++u)
        if (sums[u] >= minSum) {
            any = true;
            if (runHits) runHits[u / kRun] = 1;
        }
    return any;
}

bool xf_GeoScanRow(const xc_GeoResponse& resp, const xc_GeoTemplate& t, long v, std::int32_t minSum,
                   std::int32_t* out, unsigned char* runHits) {
#if defined(__SSE2__)
    const long w = resp.width();
    const long n = static_cast<long>(t.offsets.size());
    // Sums stay below 2^15 (at most 128 points of 255), so signed 16-bit lanes hold them.
    if (n > 128) return xf_GeoScanRowPlain(resp, t, v, minSum, out, runHits);
    const long runs = (w + kRun - 1) / kRun;
    const unsigned char* base = resp.origin() + v * resp.stride();
    const std::int32_t* off = t.offsets.data();
    // Bound 1 over the whole row first: most rows of a scene lie away from its edges.
    if (std::min(n, resp.edgeCount(t.dxMin, v + t.dyMin, w - 1 + t.dxMax, v + t.dyMax) *
                        t.multiplicity) *
            255 <
        minSum) {
        std::fill(out, out + w, -1);
        if (runHits) std::fill(runHits, runHits + runs, 0);
        return false;
    }
#if defined(XC_GEO_COARSE_AVX2)
    const bool avx2 = hasAvx2();
#endif
    bool anyRow = false;
    for (long r = 0; r < runs; ++r) {
        const long u0 = r * kRun;
        const long m = std::min(kRun, w - u0);  // placements of this run inside the row
        std::int32_t* o = out + u0;
        // Bound 1: the edge pixels under the template's reach for these placements.
        const long edges =
            resp.edgeCount(u0 + t.dxMin, v + t.dyMin, u0 + kRun - 1 + t.dxMax, v + t.dyMax);
        if (runHits) runHits[r] = 0;
        if (std::min(n, edges * t.multiplicity) * 255 < minSum) {
            std::fill(o, o + m, -1);
            continue;
        }
        const unsigned char* p = base + u0;
        alignas(32) std::int16_t lanes[kRun];
#if defined(XC_GEO_COARSE_AVX2)
        const bool summed =
            avx2 ? sumRunAvx2(p, off, n, minSum, lanes) : sumRunSse2(p, off, n, minSum, lanes);
#else
        const bool summed = sumRunSse2(p, off, n, minSum, lanes);
#endif
        if (!summed) {
            std::fill(o, o + m, -1);
            continue;
        }
        bool anyRun = false;
        for (long j = 0; j < m; ++j) {
            o[j] = lanes[j];
            anyRun |= lanes[j] >= minSum;
        }
        if (runHits) runHits[r] = anyRun;
        anyRow |= anyRun;
    }
    return anyRow;
#else
    return xf_GeoScanRowPlain(resp, t, v, minSum, out, runHits);
#endif
}

std::vector<xc_GeoCandidate> xf_GeoCoarseSearch(const xc_GeoResponse& resp,
                                                const std::vector<xc_GeoPoint>& points, int level,
                                                const xc_GeoCoarseGrid& grid, double minScore,
                                                long maxCandidates) {
    const long na = static_cast<long>(grid.angles.size());
    const long ns = static_cast<long>(grid.scales.size());
    const long n = static_cast<long>(points.size());
    std::int32_t minSum =
        std::max<std::int32_t>(1, static_cast<std::int32_t>(std::ceil(minScore * 255.0 * n)));
    // The strongest hits, at most kMaxCoarseHits: a plain list until it is full, then a heap
    // whose top is the weakest kept, whose sum becomes the bar (the bounds then rule out more).
    const std::size_t cap = static_cast<std::size_t>(
        std::clamp(256 * std::min(maxCandidates, kMaxCoarseHits), kMinCoarseHits, kMaxCoarseHits));
    std::vector<xc_GeoHit> hits;
    const auto add = [&](const xc_GeoHit& hit) {
        if (hits.size() < cap) {
            hits.push_back(hit);
            if (hits.size() < cap) return;
            std::make_heap(hits.begin(), hits.end(), strongerHit);
        } else {
            if (!strongerHit(hit, hits.front())) return;
            std::pop_heap(hits.begin(), hits.end(), strongerHit);
            hits.back() = hit;
            std::push_heap(hits.begin(), hits.end(), strongerHit);
        }
        minSum = std::max(minSum, hits.front().sum);
    };
    const long mw = resp.width(), mh = resp.height();
    std::vector<std::int32_t> sums(static_cast<size_t>(mw * mh));
    std::vector<char> live(static_cast<size_t>(mh));
    const long runs = (mw + kRun - 1) / kRun;
    std::vector<unsigned char> runHits(static_cast<size_t>(mh * runs));
    // Templates are made as they are used, one at a time: a run's memory does not grow with
    // the grid, and every template's making and scan are polled.
    for (long ti = 0; ti < na * ns; ++ti) {
        xcAttention::check();
        const xc_GeoTemplate t =
            xf_GeoMakeTemplate(points, level, grid.angles[static_cast<size_t>(ti / ns)],
                               grid.scales[static_cast<size_t>(ti % ns)], resp);
        bool any = false;
        for (long v = 0; v < mh; ++v) {
            xcAttention::check();
            const bool row =
                xf_GeoScanRow(resp, t, v, minSum, sums.data() + v * mw, runHits.data() + v * runs);
            live[static_cast<size_t>(v)] = row;
            any |= row;
        }
        if (any) mapMaxima(sums, live, runHits, mw, mh, minSum, ti, add);
    }

    // Strongest first; a hit within kNearPixels pixels and kNearAngleSteps angle steps (one scale
    // step) of a kept one is dropped.
    std::sort(hits.begin(), hits.end(), strongerHit);
    const long w = resp.width(), h = resp.height();
    std::vector<std::int32_t> head(static_cast<size_t>(w * h), -1);
    std::vector<std::int32_t> next;
    std::vector<const xc_GeoHit*> kept;
    std::vector<xc_GeoCandidate> out;
    const double g = xf_GeoGrain(level);
    for (const xc_GeoHit& hit : hits) {
        if (static_cast<long>(out.size()) >= maxCandidates) break;
        const long hitAngle = hit.t / ns, hitScale = hit.t % ns;
        bool near = false;
        for (long y = std::max(0L, hit.v - kNearPixels);
             y <= std::min(h - 1, hit.v + kNearPixels) && !near; ++y)
            for (long x = std::max(0L, hit.u - kNearPixels);
                 x <= std::min(w - 1, hit.u + kNearPixels) && !near; ++x)
                for (std::int32_t k = head[static_cast<size_t>(y * w + x)]; k >= 0;
                     k = next[static_cast<size_t>(k)]) {
                    const long kt = kept[static_cast<size_t>(k)]->t;
                    long da = std::labs(kt / ns - hitAngle);
                    if (grid.angleCircular) da = std::min(da, na - da);
                    if (da <= kNearAngleSteps && std::labs(kt % ns - hitScale) <= 1) {
                        near = true;
                        break;
                    }
                }
        if (near) continue;
        const size_t cell = static_cast<size_t>(hit.v * w + hit.u);
        next.push_back(head[cell]);
        head[cell] = static_cast<std::int32_t>(kept.size());
        kept.push_back(&hit);
        xc_GeoCandidate c;
        c.pose.x = g * (hit.u + 0.5);
        c.pose.y = g * (hit.v + 0.5);
        c.pose.angle = grid.angles[static_cast<size_t>(hitAngle)];
        c.pose.scale = grid.scales[static_cast<size_t>(hitScale)];
        c.score = hit.sum / (255.0 * n);
        out.push_back(c);
    }
    return out;
}
