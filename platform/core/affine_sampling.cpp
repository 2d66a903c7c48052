#include "platform/core/affine_sampling.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "platform/core/exception.h"

// How the sampler works. Sample coordinates are taken relative to the source window in
// "pixel-index" units (u, v) = image point - (window corner + 0.5), so that integer (u, v) is a
// pixel centre. They advance by a fixed step per output column, so each row is walked in
// 32.32 fixed point: a row start is computed exactly in double, then only integer additions
// follow. Each row splits into at most three spans: samples whose taps all lie inside the
// window (the interior: no checks, no clamping) and the border samples before and after it,
// which clamp every tap to the window. The interior span is found once per row by integer
// division on the fixed-point coordinates, so it agrees exactly with the per-pixel
// arithmetic. Rows whose coordinates are too large for fixed point take a slow double path
// that first moves the sample to the window's neighbourhood (clamp to edge does not change
// the value of a sample beyond the window).

namespace {

using u8 = unsigned char;

constexpr int kFracBits = 32;
constexpr std::int64_t kOne = std::int64_t(1) << kFracBits;
constexpr double kOneD = 4294967296.0;
// Bilinear weights have 11 bits: two stages of 11-bit weights on 8-bit values fit in 31 bits.
constexpr int kWBits = 11;
// Fixed-point rows are used while every coordinate lies below this; source windows must be
// smaller.
constexpr double kSafe = double(1L << 28);
// Coordinates closer than this to a whole number count as that number in willClip.
constexpr double kSnap = 1e-9;

struct Source {
    const u8* p;  // window's upper-left pixel
    long stride;
    long w, h;
};

// Sample (i, j) is at (u0 + i au + j bu, v0 + i av + j bv) in pixel-index units.
struct Grid {
    double u0, v0, au, av, bu, bv;
};

std::int64_t toFixed(double v) { return std::llround(v * kOneD); }

std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
    std::int64_t q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
    return q;
}
std::int64_t ceilDiv(std::int64_t a, std::int64_t b) { return -floorDiv(-a, b); }

// The indices i in [0, n) with lo <= a + i d <= hi, as [first, end) (first >= end if none).
void span(std::int64_t a, std::int64_t d, std::int64_t lo, std::int64_t hi, long n, long& first,
          long& end) {
    std::int64_t f, l;
    if (d == 0) {
        const bool in = a >= lo && a <= hi;
        first = in ? 0 : n;
        end = in ? n : 0;
        return;
    }
    if (d > 0) {
        f = ceilDiv(lo - a, d);
        l = floorDiv(hi - a, d);
    } else {
        f = ceilDiv(hi - a, d);
        l = floorDiv(lo - a, d);
    }
    first = static_cast<long>(std::clamp<std::int64_t>(f, 0, n));
    end = static_cast<long>(std::clamp<std::int64_t>(l + 1, 0, n));
}

long clampIndex(long v, long n) { return v < 0 ? 0 : (v >= n ? n - 1 : v); }

// ---- kernels: kLo/kHi are the taps left/above and right/below of the base pixel ----------

struct Nearest {
    static constexpr long kLo = 0, kHi = 0;
    static constexpr std::int64_t kBias = kOne / 2;  // base pixel = floor(u + 0.5)

    static u8 clamped(const Source& s, std::int64_t uf, std::int64_t vf) {
        const long x = clampIndex(static_cast<long>((uf + kBias) >> kFracBits), s.w);
        const long y = clampIndex(static_cast<long>((vf + kBias) >> kFracBits), s.h);
        return s.p[y * s.stride + x];
    }
    static void interior(const Source& s, std::int64_t uf, std::int64_t vf, std::int64_t du,
                         std::int64_t dv, u8* o, long n) {
        const u8* base = s.p;
        const long st = s.stride;
        uf += kBias;
        vf += kBias;
        for (long i = 0; i < n; ++i) {
            o[i] = base[(vf >> kFracBits) * st + (uf >> kFracBits)];
            uf += du;
            vf += dv;
        }
    }
};

struct Bilinear {
    static constexpr long kLo = 0, kHi = 1;
    // Positions are rounded (not truncated) to the weights' 1/2048 grid.
    static constexpr std::int64_t kBias = std::int64_t(1) << (kFracBits - kWBits - 1);

    static int mix(int a, int b, int c, int d, int fx, int fy) {
        const int top = (a << kWBits) + (b - a) * fx;
        const int bot = (c << kWBits) + (d - c) * fx;
        return ((top << kWBits) + (bot - top) * fy + (1 << (2 * kWBits - 1))) >> (2 * kWBits);
    }
    static int frac(std::int64_t f) {
        return static_cast<int>(static_cast<std::uint32_t>(f) >> (kFracBits - kWBits));
    }
    static u8 clamped(const Source& s, std::int64_t uf, std::int64_t vf) {
        uf += kBias;
        vf += kBias;
        const long x0 = static_cast<long>(uf >> kFracBits), y0 = static_cast<long>(vf >> kFracBits);
        const long xa = clampIndex(x0, s.w), xb = clampIndex(x0 + 1, s.w);
        const u8* ra = s.p + clampIndex(y0, s.h) * s.stride;
        const u8* rb = s.p + clampIndex(y0 + 1, s.h) * s.stride;
        return static_cast<u8>(mix(ra[xa], ra[xb], rb[xa], rb[xb], frac(uf), frac(vf)));
    }
    static void interior(const Source& s, std::int64_t uf, std::int64_t vf, std::int64_t du,
                         std::int64_t dv, u8* o, long n) {
        const u8* base = s.p;
        const long st = s.stride;
        uf += kBias;
        vf += kBias;
        for (long i = 0; i < n; ++i) {
            const u8* p = base + (vf >> kFracBits) * st + (uf >> kFracBits);
            o[i] = static_cast<u8>(mix(p[0], p[1], p[st], p[st + 1], frac(uf), frac(vf)));
            uf += du;
            vf += dv;
        }
    }
};

struct Bicubic {
    static constexpr long kLo = 1, kHi = 2;
    static constexpr std::int64_t kBias = 0;

    // Catmull-Rom weights of the taps at -1, 0, 1, 2 for the fraction t.
    static void weights(std::int64_t f, float w[4]) {
        xf_CatmullRomWeights(
            static_cast<float>(static_cast<std::uint32_t>(f)) * (1.0f / 4294967296.0f), w);
    }
    // Rounded and clamped without branches (overshoot is common on sharp edges).
    static u8 finish(float v) {
        v = std::min(std::max(v, 0.0f), 255.0f);
        return static_cast<u8>(static_cast<int>(v + 0.5f));
    }
    static u8 clamped(const Source& s, std::int64_t uf, std::int64_t vf) {
        const long x0 = static_cast<long>(uf >> kFracBits), y0 = static_cast<long>(vf >> kFracBits);
        float wx[4], wy[4];
        weights(uf, wx);
        weights(vf, wy);
        long xs[4];
        for (int k = 0; k < 4; ++k) xs[k] = clampIndex(x0 - 1 + k, s.w);
        float v = 0.0f;
        for (int r = 0; r < 4; ++r) {
            const u8* row = s.p + clampIndex(y0 - 1 + r, s.h) * s.stride;
            v += wy[r] * (wx[0] * row[xs[0]] + wx[1] * row[xs[1]] + wx[2] * row[xs[2]] +
                          wx[3] * row[xs[3]]);
        }
        return finish(v);
    }
    static void interior(const Source& s, std::int64_t uf, std::int64_t vf, std::int64_t du,
                         std::int64_t dv, u8* o, long n) {
#if defined(__SSE2__)
        interiorSse2(s, uf, vf, du, dv, o, n);
#else
        // Without SSE2 the clamping kernel serves (its clamps never act in the interior).
        for (long i = 0; i < n; ++i, uf += du, vf += dv) o[i] = clamped(s, uf, vf);
#endif
    }

#if defined(__SSE2__)
    // The same sums with four taps per instruction: the weights of all four taps come from
    // one polynomial evaluation, each source row's four pixels are widened and converted
    // together, and the rows are summed before one horizontal addition. Every x86-64 has SSE2.
    static void interiorSse2(const Source& s, std::int64_t uf, std::int64_t vf, std::int64_t du,
                             std::int64_t dv, u8* o, long n) {
        const long st = s.stride;
        const __m128 c3 = _mm_setr_ps(-0.5f, 1.5f, -1.5f, 0.5f);
        const __m128 c2 = _mm_setr_ps(1.0f, -2.5f, 2.0f, -0.5f);
        const __m128 c1 = _mm_setr_ps(-0.5f, 0.0f, 0.5f, 0.0f);
        const __m128 c0 = _mm_setr_ps(0.0f, 1.0f, 0.0f, 0.0f);
        const __m128i zero = _mm_setzero_si128();
        const __m128 scale = _mm_set1_ps(1.0f / 16777216.0f);
        const __m128 lo = _mm_setzero_ps(), hi = _mm_set1_ps(255.0f), half = _mm_set1_ps(0.5f);
        for (long i = 0; i < n; ++i) {
            const u8* p = s.p + ((vf >> kFracBits) - 1) * st + (uf >> kFracBits) - 1;
            // 24-bit fractions (exact in float).
            const int fx = static_cast<int>(static_cast<std::uint32_t>(uf) >> 8);
            const int fy = static_cast<int>(static_cast<std::uint32_t>(vf) >> 8);
            const __m128 tx = _mm_mul_ps(_mm_set1_ps(static_cast<float>(fx)), scale);
            const __m128 ty = _mm_mul_ps(_mm_set1_ps(static_cast<float>(fy)), scale);
            const __m128 wx = poly(tx, c3, c2, c1, c0), wy = poly(ty, c3, c2, c1, c0);
            __m128 acc = _mm_mul_ps(row(p, zero), _mm_shuffle_ps(wy, wy, 0x00));
            acc = _mm_add_ps(acc, _mm_mul_ps(row(p + st, zero), _mm_shuffle_ps(wy, wy, 0x55)));
            acc = _mm_add_ps(acc, _mm_mul_ps(row(p + 2 * st, zero), _mm_shuffle_ps(wy, wy, 0xAA)));
            acc = _mm_add_ps(acc, _mm_mul_ps(row(p + 3 * st, zero), _mm_shuffle_ps(wy, wy, 0xFF)));
            acc = _mm_mul_ps(acc, wx);
            acc = _mm_add_ps(acc, _mm_movehl_ps(acc, acc));
            acc = _mm_add_ss(acc, _mm_shuffle_ps(acc, acc, 0x55));
            acc = _mm_min_ss(_mm_max_ss(acc, lo), hi);
            o[i] = static_cast<u8>(_mm_cvttss_si32(_mm_add_ss(acc, half)));
            uf += du;
            vf += dv;
        }
    }
    static __m128 poly(__m128 t, __m128 c3, __m128 c2, __m128 c1, __m128 c0) {
        // ((c3 t + c2) t + c1) t + c0, lane k being the weight of tap k - 1.
        return _mm_add_ps(
            _mm_mul_ps(_mm_add_ps(_mm_mul_ps(_mm_add_ps(_mm_mul_ps(c3, t), c2), t), c1), t), c0);
    }
    static __m128 row(const u8* p, __m128i zero) {
        std::int32_t v;
        std::memcpy(&v, p, 4);
        const __m128i b = _mm_cvtsi32_si128(v);
        return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(b, zero), zero));
    }
#endif
};

bool finite(double v) { return std::isfinite(v); }

template <class K>
void sampleRows(const Source& s, const Grid& g, long nx, long ny, u8* out, long outStride) {
    const bool fixedSteps = std::fabs(g.au) * double(nx) < kSafe &&
                            std::fabs(g.av) * double(nx) < kSafe;
    const std::int64_t du = fixedSteps ? toFixed(g.au) : 0, dv = fixedSteps ? toFixed(g.av) : 0;
    // Base pixel range of the interior, in fixed point (inclusive bounds).
    const std::int64_t loU = K::kLo * kOne, hiU = (s.w - 1 - K::kHi) * kOne + (kOne - 1);
    const std::int64_t loV = K::kLo * kOne, hiV = (s.h - 1 - K::kHi) * kOne + (kOne - 1);
    const bool anyInterior = s.w - 1 - K::kHi >= K::kLo && s.h - 1 - K::kHi >= K::kLo;

    for (long j = 0; j < ny; ++j) {
        u8* o = out + j * outStride;
        const double su = g.u0 + double(j) * g.bu, sv = g.v0 + double(j) * g.bv;
        const double eu = su + double(nx - 1) * g.au, ev = sv + double(nx - 1) * g.av;
        const bool safe = fixedSteps && std::fabs(su) < kSafe &&
                          std::fabs(sv) < kSafe && std::fabs(eu) < kSafe &&
                          std::fabs(ev) < kSafe;
        if (!safe) {
            // Far-away or huge coordinates: bring each sample next to the window first.
            for (long i = 0; i < nx; ++i) {
                const double u = std::clamp(su + double(i) * g.au, -3.0, double(s.w) + 2.0);
                const double v = std::clamp(sv + double(i) * g.av, -3.0, double(s.h) + 2.0);
                o[i] = K::clamped(s, toFixed(u), toFixed(v));
            }
            continue;
        }
        const std::int64_t uf = toFixed(su), vf = toFixed(sv);
        long i0 = nx, i1 = nx;
        if (anyInterior) {
            long fu, eu2, fv, ev2;
            span(uf + K::kBias, du, loU, hiU, nx, fu, eu2);
            span(vf + K::kBias, dv, loV, hiV, nx, fv, ev2);
            i0 = std::max(fu, fv);
            i1 = std::min(eu2, ev2);
            if (i0 >= i1) i0 = i1 = nx;
        }
        for (long i = 0; i < i0; ++i) o[i] = K::clamped(s, uf + i * du, vf + i * dv);
        if (i1 > i0) K::interior(s, uf + i0 * du, vf + i0 * dv, du, dv, o + i0, i1 - i0);
        for (long i = i1; i < nx; ++i) o[i] = K::clamped(s, uf + i * du, vf + i * dv);
    }
}

Grid makeGrid(const xcAffineSamplingParams& p, const xc_PelBuffer& src) {
    const xcXform<2> a = src.imageFromClientXform();
    const xcPelRect win = src.window();
    const xcAffineRectangle& r = p.affineRect();
    const double nx = double(p.nx()), ny = double(p.ny());
    const xcVector<2> first = a.mapPoint(r.cornerPo() + r.xSide() * (0.5 / nx) +
                                         r.ySide() * (0.5 / ny));
    const xcVector<2> stepI = a.mapVector(r.xSide() * (1.0 / nx));
    const xcVector<2> stepJ = a.mapVector(r.ySide() * (1.0 / ny));
    Grid g{first.x() - double(win.x()) - 0.5, first.y() - double(win.y()) - 0.5,
           stepI.x(), stepI.y(), stepJ.x(), stepJ.y()};
    const double last[2] = {g.u0 + (nx - 1) * g.au + (ny - 1) * g.bu,
                            g.v0 + (nx - 1) * g.av + (ny - 1) * g.bv};
    if (!finite(g.u0) || !finite(g.v0) || !finite(g.au) || !finite(g.av) || !finite(g.bu) ||
        !finite(g.bv) || !finite(last[0]) || !finite(last[1]))
        throw xcBadArgument(L"Affine sampling coordinates are not finite");
    return g;
}

double snap(double v) {
    const double r = std::round(v);
    return std::fabs(v - r) <= kSnap ? r : v;
}
bool isWhole(double v) { return snap(v) == std::round(v); }

// The lowest and highest tap (inclusive) that samples in [lo, hi] along one axis can need.
// `whole` says every sample along the axis lies on a pixel centre.
void tapRange(xcAffineSamplingParams::Interpolation in, double lo, double hi, bool whole,
              double& first, double& last) {
    lo = snap(lo);
    hi = snap(hi);
    switch (in) {
        case xcAffineSamplingParams::eNearestNeighbor:
            first = std::floor(snap(lo + 0.5));
            last = std::floor(snap(hi + 0.5));
            return;
        case xcAffineSamplingParams::eBilinear:
            first = std::floor(lo);
            last = std::ceil(hi);
            return;
        case xcAffineSamplingParams::eBicubic: {
            // A sample on a pixel centre needs that pixel only; any other needs the two
            // pixels on either side. When some samples of the axis are off-centre, one of
            // them may lie just inside the extreme one, so a centred extreme counts one more.
            const bool loOnCentre = lo == std::floor(lo), hiOnCentre = hi == std::floor(hi);
            first = loOnCentre ? (whole ? lo : lo - 1) : std::floor(lo) - 1;
            last = hiOnCentre ? (whole ? hi : hi + 1) : std::floor(hi) + 2;
            return;
        }
    }
}

template <class Buf>
void checkSource(const Buf& src) {
    const xcPelRect w = src.window();  // throws xcPel::UnboundWindow
    if (w.isNull()) throw xcBadArgument(L"Cannot sample an empty source window");
    if (double(w.width()) >= kSafe || double(w.height()) >= kSafe)
        throw xcBadArgument(L"Source window too large for affine sampling");
}

void sample(const xcPelBuffer_const<unsigned char>& src, const xcAffineSamplingParams& params,
            const Grid& g, u8* out, long outStride) {
    const xcPelRect w = src.window();
    const Source s{src.rowPointer(w.y()), src.rowUpdate(), w.width(), w.height()};
    switch (params.interpolation()) {
        case xcAffineSamplingParams::eNearestNeighbor:
            sampleRows<Nearest>(s, g, params.nx(), params.ny(), out, outStride);
            return;
        case xcAffineSamplingParams::eBilinear:
            sampleRows<Bilinear>(s, g, params.nx(), params.ny(), out, outStride);
            return;
        case xcAffineSamplingParams::eBicubic:
            sampleRows<Bicubic>(s, g, params.nx(), params.ny(), out, outStride);
            return;
    }
}

void checkSize(long v, const wchar_t* which) {
    if (v < 1)
        throw xcBadArgument(std::wstring(L"Affine sampling ") + which + L" must be at least 1, not " +
                            std::to_wstring(v));
}

xcAffineSamplingParams::Interpolation checkInterpolation(long v) {
    if (v != xcAffineSamplingParams::eNearestNeighbor && v != xcAffineSamplingParams::eBilinear &&
        v != xcAffineSamplingParams::eBicubic)
        throw xcBadArgument(L"Unknown affine sampling interpolation " + std::to_wstring(v) +
                            L" (0 nearest, 2 bilinear, 3 bicubic)");
    return static_cast<xcAffineSamplingParams::Interpolation>(v);
}

void checkRect(const xcAffineRectangle& r) {
    for (const xcVector<2>& v : {r.cornerPo(), r.xSide(), r.ySide()})
        if (!std::isfinite(v.x()) || !std::isfinite(v.y()))
            throw xcBadArgument(L"Affine sampling rectangle is not finite");
}

}  // namespace

xcAffineSamplingParams::xcAffineSamplingParams(const xcAffineRectangle& rect, long nx, long ny,
                                               long interpolation) {
    checkSize(nx, L"x size");
    checkSize(ny, L"y size");
    m_interp = checkInterpolation(interpolation);
    checkRect(rect);
    m_rect = rect;
    m_nx = nx;
    m_ny = ny;
}

void xcAffineSamplingParams::affineRect(const xcAffineRectangle& r) {
    checkRect(r);
    m_rect = r;
}

void xcAffineSamplingParams::nx(long v) {
    checkSize(v, L"x size");
    m_nx = v;
}

void xcAffineSamplingParams::ny(long v) {
    checkSize(v, L"y size");
    m_ny = v;
}

void xcAffineSamplingParams::interpolation(long v) { m_interp = checkInterpolation(v); }

xcXform<2> xcAffineSamplingParams::clientFromOutputImage() const {
    const xcVector<2> x = m_rect.xSide() * (1.0 / double(m_nx));
    const xcVector<2> y = m_rect.ySide() * (1.0 / double(m_ny));
    return {xcMatrix<2>(x.x(), y.x(), x.y(), y.y()), m_rect.cornerPo()};
}

bool xcAffineSamplingParams::willClip(const xc_PelBuffer& src) const {
    const xcPelRect w = src.window();
    if (w.isNull()) return true;
    const Grid g = makeGrid(*this, src);
    const double n = double(m_nx - 1), m = double(m_ny - 1);
    const double us[4] = {g.u0, g.u0 + n * g.au, g.u0 + m * g.bu, g.u0 + n * g.au + m * g.bu};
    const double vs[4] = {g.v0, g.v0 + n * g.av, g.v0 + m * g.bv, g.v0 + n * g.av + m * g.bv};
    const bool wholeU = isWhole(g.u0) && (m_nx == 1 || isWhole(g.au)) &&
                        (m_ny == 1 || isWhole(g.bu));
    const bool wholeV = isWhole(g.v0) && (m_nx == 1 || isWhole(g.av)) &&
                        (m_ny == 1 || isWhole(g.bv));
    double first, last;
    tapRange(m_interp, *std::min_element(us, us + 4), *std::max_element(us, us + 4), wholeU,
             first, last);
    if (first < 0 || last > double(w.width() - 1)) return true;
    tapRange(m_interp, *std::min_element(vs, vs + 4), *std::max_element(vs, vs + 4), wholeV,
             first, last);
    return first < 0 || last > double(w.height() - 1);
}

xcPelBuffer<unsigned char> xfAffineTransformImage(const xcPelBuffer_const<unsigned char>& src,
                                                  const xcAffineSamplingParams& params) {
    checkSource(src);
    const Grid g = makeGrid(params, src);
    xcPelBuffer<unsigned char> out(params.nx(), params.ny());
    sample(src, params, g, out.rowPointer(0), out.rowUpdate());
    out.clientFromImageXform(params.clientFromOutputImage());
    return out;
}

void xfAffineTransformImage(const xcPelBuffer_const<unsigned char>& src,
                            const xcAffineSamplingParams& params,
                            xcPelBuffer<unsigned char>& dst) {
    checkSource(src);
    const xcPelRect dw = dst.window();
    if (dw.width() != params.nx() || dw.height() != params.ny())
        throw xcBadArgument(L"Affine sampling destination must be " +
                            std::to_wstring(params.nx()) + L" x " + std::to_wstring(params.ny()) +
                            L" pixels, not " + std::to_wstring(dw.width()) + L" x " +
                            std::to_wstring(dw.height()));
    if (dst.sharesRoot(src))
        throw xcBadArgument(L"Affine sampling destination must not share the source's pixels");
    const Grid g = makeGrid(params, src);
    sample(src, params, g, dst.rowPointer(dw.y()), dst.rowUpdate());
    dst.clientFromImageXform(params.clientFromOutputImage() *
                             xcXform<2>::translation(xcVector<2>(-double(dw.x()), -double(dw.y()))));
}
