#include "platform/vision/geo_align_track.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

#include <emmintrin.h>
#if defined(__GNUC__) && defined(__x86_64__)
#include <immintrin.h>
#define XC_GEO_TRACK_AVX2 1
#endif

#include "platform/core/angle.h"
#include "platform/core/attention.h"

double xc_GeoRunSetup::clampAngle(double a) const {
    if (!angleFree) return angleNominal;
    if (angleCircular) return a;
    // Angles are taken on the circle: a zone that nearly closes the turn (-179 ... 180, say)
    // holds an angle just below its start as the same angle a turn higher. Outside the zone the
    // angle goes to the end nearer on the circle.
    constexpr double kTurn = 2.0 * std::numbers::pi;
    if (a < angleLo && a + kTurn <= angleHi) return a + kTurn;
    if (a > angleHi && a - kTurn >= angleLo) return a - kTurn;
    if (a >= angleLo && a <= angleHi) return a;
    const double toLo = std::fabs(xcRadian(a - angleLo).signedNorm().value());
    const double toHi = std::fabs(xcRadian(a - angleHi).signedNorm().value());
    return toLo <= toHi ? angleLo : angleHi;
}

int xc_GeoRunSetup::modelLevel(const xc_GeoModel& model, int level) const {
    return std::clamp(level + levelShift, model.fineLevel, model.coarseLevel);
}

double xc_GeoRunSetup::clampScale(double s) const {
    if (!scaleFree) return scaleNominal;
    return std::clamp(s, scaleLo, scaleHi);
}

void xc_GeoLevelScorer::prepare(const xc_GeoPlane& plane, const xc_GeoPlane* mask, double contrast,
                                long x0, long y0, long w, long h) {
    m_x0 = x0;
    m_y0 = y0;
    m_w = std::max(0L, w);
    m_h = std::max(0L, h);
    // Rows are read four columns at a time: the padding keeps the last row's reads inside.
    const size_t n = static_cast<size_t>(m_w * m_h) + kPad;
    m_ux.assign(n, 0.0f);
    m_uy.assign(n, 0.0f);
    m_rx = m_ux.data();
    m_ry = m_uy.data();
    m_stride = m_w;
    const long xa = std::max(0L, x0), ya = std::max(0L, y0);
    const long xb = std::min(plane.w, x0 + w), yb = std::min(plane.h, y0 + h);
    if (xb <= xa || yb <= ya) return;
    const long cw = xb - xa;
    std::vector<std::int16_t> gx(static_cast<size_t>(cw)), gy(static_cast<size_t>(cw));
    const float t = static_cast<float>(8.0 * contrast);
    const float t2 = std::max(t * t, 1e-12f);
    for (long y = ya; y < yb; ++y) {
        if (((y - ya) & 31) == 31) xcAttention::check();  // whole levels take a while
        xf_SobelPlane(plane, mask, xa, y, cw, 1, gx.data(), gy.data(), cw);
        const long off = (y - y0) * m_w + (xa - x0);
        float* ux = m_ux.data() + off;
        float* uy = m_uy.data() + off;
        for (long i = 0; i < cw; ++i) {
            const float fx = gx[static_cast<size_t>(i)], fy = gy[static_cast<size_t>(i)];
            const float m2 = fx * fx + fy * fy;
            if (m2 >= t2) {
                const float inv = 1.0f / std::sqrt(m2);
                ux[i] = fx * inv;
                uy[i] = fy * inv;
            }
        }
    }
}

void xc_GeoLevelScorer::prepareFrom(const xc_GeoLevelScorer& level, long x0, long y0, long w,
                                    long h) {
    m_x0 = x0;
    m_y0 = y0;
    m_w = std::max(0L, w);
    m_h = std::max(0L, h);
    if (x0 >= level.m_x0 && y0 >= level.m_y0 && x0 + m_w <= level.m_x0 + level.m_w &&
        y0 + m_h <= level.m_y0 + level.m_h) {
        const long at = (y0 - level.m_y0) * level.m_stride + (x0 - level.m_x0);
        m_rx = level.m_rx + at;
        m_ry = level.m_ry + at;
        m_stride = level.m_stride;
        return;
    }
    const size_t n = static_cast<size_t>(m_w * m_h) + kPad;
    m_ux.assign(n, 0.0f);
    m_uy.assign(n, 0.0f);
    m_rx = m_ux.data();
    m_ry = m_uy.data();
    m_stride = m_w;
    const long xa = std::max(level.m_x0, x0), ya = std::max(level.m_y0, y0);
    const long xb = std::min(level.m_x0 + level.m_w, x0 + m_w);
    const long yb = std::min(level.m_y0 + level.m_h, y0 + m_h);
    if (xb <= xa || yb <= ya) return;
    for (long y = ya; y < yb; ++y) {
        const long from = (y - level.m_y0) * level.m_stride + (xa - level.m_x0);
        const size_t to = static_cast<size_t>((y - y0) * m_w + (xa - x0));
        std::copy_n(level.m_rx + from, xb - xa, m_ux.begin() + static_cast<std::ptrdiff_t>(to));
        std::copy_n(level.m_ry + from, xb - xa, m_uy.begin() + static_cast<std::ptrdiff_t>(to));
    }
}

namespace {

// Where a model point lands in the window for one pose: the first pixel of the (2R + 1) squared
// block of offsets around it and the point's turned direction. Every scoring loop maps its
// points through this one step, so the vector widths differ only in how they sum the block.
struct xc_TrackMap {
    const float *ux, *uy;
    long stride, w, h;
    float ox, oy, cs, ss, cf, sf;

    // False when the block leaves the window.
    template <int R>
    bool tap(const xc_GeoPoint& p, long& first, float& dx, float& dy) const {
        const float qx = ox + cs * p.x - ss * p.y;
        const float qy = oy + ss * p.x + cs * p.y;
        const long ix = static_cast<long>(std::floor(qx)), iy = static_cast<long>(std::floor(qy));
        if (ix < R || iy < R || ix + R >= w || iy + R >= h) return false;
        dx = cf * p.ux - sf * p.uy;
        dy = sf * p.ux + cf * p.uy;
        first = (iy - R) * stride + ix - R;
        return true;
    }
};

#if defined(XC_GEO_TRACK_AVX2)
// The 5 x 5 scores with 8 float lanes: a row's five offsets in one register. Each lane sums the
// same products in the same order as the SSE2 loop (no fused multiply-add), so the scores are
// the same to the last bit.
template <bool Polarity>
__attribute__((target("avx2"))) void score5x5Avx2(const xc_TrackMap& m,
                                                  const std::vector<xc_GeoPoint>& pts,
                                                  double* out) {
    constexpr int R = 2, n = 5;
    __m256 acc[n];
    for (int j = 0; j < n; ++j) acc[j] = _mm256_setzero_ps();
    const __m256 zero = _mm256_setzero_ps();
    const __m256 absMask = _mm256_castsi256_ps(_mm256_set1_epi32(0x7fffffff));
    const float *ux = m.ux, *uy = m.uy;
    const long stride = m.stride;
    for (const xc_GeoPoint& p : pts) {
        long b;
        float px, py;
        if (!m.tap<R>(p, b, px, py)) continue;
        const __m256 dx = _mm256_set1_ps(px);
        const __m256 dy = _mm256_set1_ps(py);
        for (int j = 0; j < n; ++j) {
            const long o = b + j * stride;
            __m256 a = _mm256_add_ps(_mm256_mul_ps(_mm256_loadu_ps(ux + o), dx),
                                     _mm256_mul_ps(_mm256_loadu_ps(uy + o), dy));
            a = Polarity ? _mm256_max_ps(a, zero) : _mm256_and_ps(a, absMask);
            acc[j] = _mm256_add_ps(acc[j], a);
        }
    }
    const double np = static_cast<double>(std::max<size_t>(1, pts.size()));
    for (int j = 0; j < n; ++j) {
        alignas(32) float row[8];
        _mm256_store_ps(row, acc[j]);
        for (int i = 0; i < n; ++i) out[j * n + i] = row[i] / np;
    }
}

// The 3 x 3 scores: the first two rows' offsets in the two halves of one 8-lane register, the
// third row in a 4-lane one (same sums as the SSE2 loop, lane by lane).
template <bool Polarity>
__attribute__((target("avx2"))) void score3x3Avx2(const xc_TrackMap& m,
                                                  const std::vector<xc_GeoPoint>& pts,
                                                  double* out) {
    constexpr int R = 1;
    __m256 acc01 = _mm256_setzero_ps();
    __m128 acc2 = _mm_setzero_ps();
    const __m256 zero = _mm256_setzero_ps();
    const __m256 absMask = _mm256_castsi256_ps(_mm256_set1_epi32(0x7fffffff));
    const float *ux = m.ux, *uy = m.uy;
    const long stride = m.stride;
    for (const xc_GeoPoint& p : pts) {
        long b;
        float px, py;
        if (!m.tap<R>(p, b, px, py)) continue;
        const __m256 dx = _mm256_set1_ps(px);
        const __m256 dy = _mm256_set1_ps(py);
        const __m256 x01 = _mm256_set_m128(_mm_loadu_ps(ux + b + stride), _mm_loadu_ps(ux + b));
        const __m256 y01 = _mm256_set_m128(_mm_loadu_ps(uy + b + stride), _mm_loadu_ps(uy + b));
        __m256 a = _mm256_add_ps(_mm256_mul_ps(x01, dx), _mm256_mul_ps(y01, dy));
        a = Polarity ? _mm256_max_ps(a, zero) : _mm256_and_ps(a, absMask);
        acc01 = _mm256_add_ps(acc01, a);
        const long o = b + 2 * stride;
        __m128 c = _mm_add_ps(_mm_mul_ps(_mm_loadu_ps(ux + o), _mm256_castps256_ps128(dx)),
                              _mm_mul_ps(_mm_loadu_ps(uy + o), _mm256_castps256_ps128(dy)));
        c = Polarity ? _mm_max_ps(c, _mm256_castps256_ps128(zero))
                     : _mm_and_ps(c, _mm256_castps256_ps128(absMask));
        acc2 = _mm_add_ps(acc2, c);
    }
    const double np = static_cast<double>(std::max<size_t>(1, pts.size()));
    alignas(32) float rows[12];
    _mm256_store_ps(rows, acc01);
    _mm_store_ps(rows + 8, acc2);
    for (int j = 0; j < 3; ++j)
        for (int i = 0; i < 3; ++i) out[j * 3 + i] = rows[j * 4 + i] / np;
}

bool hasAvx2() {
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
}
#endif

}  // namespace

template <int R, bool Polarity>
void xc_GeoLevelScorer::scoreSquare_(const std::vector<xc_GeoPoint>& pts, const xc_GeoPose& pose,
                                     int level, double* out) const {
    constexpr int n = 2 * R + 1;
    const double g = xf_GeoGrain(level);
    const double c = std::cos(pose.angle), s = std::sin(pose.angle);
    const float cs = static_cast<float>(c * pose.scale / g),
                ss = static_cast<float>(s * pose.scale / g);
    const float cf = static_cast<float>(c), sf = static_cast<float>(s);
    // Window coordinates of the pose's reference point.
    const float ox = static_cast<float>(pose.x / g - m_x0),
                oy = static_cast<float>(pose.y / g - m_y0);
    // Per row of offsets, columns -R .. -R + 3 in one register; with R = 2 the fifth column
    // in the low lane of a second one.
    __m128 acc[n], acc5[n];
    for (int j = 0; j < n; ++j) acc[j] = acc5[j] = _mm_setzero_ps();
    const __m128 zero = _mm_setzero_ps();
    const __m128 absMask = _mm_castsi128_ps(_mm_set1_epi32(0x7fffffff));
    const long stride = m_stride;
    const float* ux = m_rx;
    const float* uy = m_ry;
    const xc_TrackMap map{ux, uy, stride, m_w, m_h, ox, oy, cs, ss, cf, sf};
#if defined(XC_GEO_TRACK_AVX2)
    if (hasAvx2()) {
        if constexpr (R == 2)
            score5x5Avx2<Polarity>(map, pts, out);
        else
            score3x3Avx2<Polarity>(map, pts, out);
        return;
    }
#endif
    for (const xc_GeoPoint& p : pts) {
        long b;
        float px, py;
        if (!map.tap<R>(p, b, px, py)) continue;
        const __m128 dx = _mm_set1_ps(px);
        const __m128 dy = _mm_set1_ps(py);
        for (int j = 0; j < n; ++j) {
            const long o = b + j * stride;
            __m128 a = _mm_add_ps(_mm_mul_ps(_mm_loadu_ps(ux + o), dx),
                                  _mm_mul_ps(_mm_loadu_ps(uy + o), dy));
            a = Polarity ? _mm_max_ps(a, zero) : _mm_and_ps(a, absMask);
            acc[j] = _mm_add_ps(acc[j], a);
            if constexpr (R == 2) {
                __m128 e = _mm_add_ss(_mm_mul_ss(_mm_load_ss(ux + o + 4), dx),
                                      _mm_mul_ss(_mm_load_ss(uy + o + 4), dy));
                e = Polarity ? _mm_max_ss(e, zero) : _mm_and_ps(e, absMask);
                acc5[j] = _mm_add_ss(acc5[j], e);
            }
        }
    }
    const double np = static_cast<double>(std::max<size_t>(1, pts.size()));
    for (int j = 0; j < n; ++j) {
        alignas(16) float row[4];
        _mm_store_ps(row, acc[j]);
        for (int i = 0; i < n && i < 4; ++i) out[j * n + i] = row[i] / np;
        if constexpr (R == 2) out[j * n + 4] = _mm_cvtss_f32(acc5[j]) / np;
    }
}

void xc_GeoLevelScorer::score3x3(const std::vector<xc_GeoPoint>& pts, const xc_GeoPose& pose,
                                 int level, bool polarity, double out[9]) const {
    if (polarity)
        scoreSquare_<1, true>(pts, pose, level, out);
    else
        scoreSquare_<1, false>(pts, pose, level, out);
}

void xc_GeoLevelScorer::score5x5(const std::vector<xc_GeoPoint>& pts, const xc_GeoPose& pose,
                                 int level, bool polarity, double out[25]) const {
    if (polarity)
        scoreSquare_<2, true>(pts, pose, level, out);
    else
        scoreSquare_<2, false>(pts, pose, level, out);
}

namespace {

// The best pose of the neighbourhood of R steps either way in x, y and angle (one step in scale),
// searched again around a best pose on the neighbourhood's edge, `rounds` searches at most.
template <int R>
xc_GeoCandidate climb(const xc_GeoCandidate& c, const xc_GeoLevel& lv, int level,
                      const xc_GeoRunSetup& setup, const xc_GeoLevelScorer& scorer, double da,
                      double ds, int rounds) {
    constexpr int side = 2 * R + 1;
    xc_GeoCandidate best = c;
    best.score = -1.0;
    xc_GeoPose centre = c.pose;
    const double g = xf_GeoGrain(level);
    const int ra = da > 0 ? R : 0, rs = ds > 0 ? 1 : 0;
    for (int round = 0; round < rounds; ++round) {
        xcAttention::check();
        xc_GeoCandidate roundBest = best;
        int bi = 0, bj = 0, ba = 0, bs = 0;
        for (int ia = -ra; ia <= ra; ++ia)
            for (int is = -rs; is <= rs; ++is) {
                xc_GeoPose p = centre;
                if (ra > 0) p.angle = setup.clampAngle(centre.angle + ia * da);
                if (rs > 0) p.scale = setup.clampScale(centre.scale * std::exp(is * ds));
                double sc[side * side];
                if constexpr (R == 2)
                    scorer.score5x5(lv.points, p, level, setup.polarity, sc);
                else
                    scorer.score3x3(lv.points, p, level, setup.polarity, sc);
                for (int k = 0; k < side * side; ++k)
                    if (sc[k] > roundBest.score) {
                        roundBest.score = sc[k];
                        roundBest.pose = p;
                        bi = k % side - R;
                        bj = k / side - R;
                        roundBest.pose.x = p.x + bi * g;
                        roundBest.pose.y = p.y + bj * g;
                        ba = ia;
                        bs = is;
                    }
            }
        if (!(roundBest.score > best.score)) break;
        best = roundBest;
        const bool onEdge = std::abs(bi) == R || std::abs(bj) == R ||
                            (ra > 0 && std::abs(ba) == ra) || (rs > 0 && std::abs(bs) == rs);
        if (!onEdge) break;
        centre = best.pose;
    }
    return best;
}

}  // namespace

xc_GeoCandidate xf_GeoTrackLevel(const xc_GeoCandidate& c, const xc_GeoModel& model, int level,
                                 const xc_GeoPyramid& pyr, const xc_GeoRunSetup& setup,
                                 xc_GeoLevelScorer& scorer, int reach, int maxRounds,
                                 const xc_GeoLevelScorer* levelUnits) {
    const xc_GeoLevel& lv = model.level(setup.modelLevel(model, level));
    const double g = xf_GeoGrain(level);
    const double da = setup.angleFree ? setup.angleStep0 * g : 0.0;
    const double ds = setup.scaleFree ? setup.logScaleStep0 * g : 0.0;
    const double smax = setup.scaleFree ? setup.scaleHi : setup.scaleNominal;
    const int rounds = std::max(1, maxRounds);
    // The window covers every point of every pose the climbs can reach.
    const long win = static_cast<long>(std::ceil(lv.radius * smax * std::exp(ds) / g)) + 2 +
                     std::max(1, reach) * rounds;
    const long cx = static_cast<long>(std::floor(c.pose.x / g));
    const long cy = static_cast<long>(std::floor(c.pose.y / g));
    if (levelUnits)
        scorer.prepareFrom(*levelUnits, cx - win, cy - win, 2 * win + 1, 2 * win + 1);
    else
        scorer.prepare(pyr.plane(level), pyr.hasMask() ? &pyr.maskPlane(level) : nullptr,
                       setup.contrast, cx - win, cy - win, 2 * win + 1, 2 * win + 1);
    if (reach >= 2) return climb<2>(c, lv, level, setup, scorer, da, ds, rounds);
    return climb<1>(c, lv, level, setup, scorer, da, ds, rounds);
}
