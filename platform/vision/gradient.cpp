#include "platform/vision/gradient.h"

#include <algorithm>
#include <cmath>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "platform/core/attention.h"

namespace {

// The source after smoothing, with 4 fractional bits, padded by one replicated pixel on
// every side so that the Sobel loop needs no border test.
struct Padded {
    long w = 0, h = 0;  // size of the source window
    long stride = 0;    // w + 2
    std::vector<std::int16_t> pels;
    std::int16_t* row(long y) { return pels.data() + (y + 1) * stride + 1; }  // y in -1 .. h
};

// Rows are processed in blocks of about this many pixels between attention polls.
constexpr long kPollPixels = 1L << 16;

long rowsPerPoll(long w) { return std::max(1L, kPollPixels / std::max(1L, w)); }

void replicateBorder(Padded& p) {
    for (long y = 0; y < p.h; ++y) {
        std::int16_t* r = p.row(y);
        r[-1] = r[0];
        r[p.w] = r[p.w - 1];
    }
    std::copy_n(p.row(0) - 1, p.stride, p.row(-1) - 1);
    std::copy_n(p.row(p.h - 1) - 1, p.stride, p.row(p.h) - 1);
}

// No smoothing: the source shifted to 4 fractional bits.
void loadPlain(const xcPelBuffer_const<unsigned char>& image, Padded& p) {
    const long y0 = image.window().y();
    for (long y = 0; y < p.h; ++y) {
        if (y % rowsPerPoll(p.w) == 0) xcAttention::check();
        const unsigned char* s = image.rowPointer(y0 + y);
        std::int16_t* d = p.row(y);
        for (long x = 0; x < p.w; ++x) d[x] = static_cast<std::int16_t>(s[x] << 4);
    }
}

// Separable Gaussian with integer weights summing to 256: a horizontal pass into 16-bit rows
// with 8 fractional bits, then a vertical pass back to 4 fractional bits.
void loadSmoothed(const xcPelBuffer_const<unsigned char>& image, const std::vector<int>& k,
                  Padded& p) {
    const long w = p.w, h = p.h;
    const long r = static_cast<long>(k.size() / 2);
    const long y0 = image.window().y();
    std::vector<std::uint16_t> horiz(static_cast<size_t>(w * h));
    std::vector<std::uint16_t> line(static_cast<size_t>(w + 2 * r));
    std::vector<std::int32_t> acc(static_cast<size_t>(w));
    const long polls = rowsPerPoll(w * static_cast<long>(k.size()));
    std::vector<const std::uint16_t*> taps(k.size());
    for (size_t t = 0; t < k.size(); ++t) taps[t] = line.data() + t;
    for (long y = 0; y < h; ++y) {
        if (y % polls == 0) xcAttention::check();
        const unsigned char* s = image.rowPointer(y0 + y);
        std::uint16_t* ln = line.data();
        for (long i = 0; i < r; ++i) {
            ln[i] = s[0];
            ln[r + w + i] = s[w - 1];
        }
        for (long x = 0; x < w; ++x) ln[r + x] = s[x];
        xf_WeightedRowSum(k.data(), taps.data(), static_cast<long>(k.size()), w, acc.data());
        std::uint16_t* d = horiz.data() + y * w;
        for (long x = 0; x < w; ++x) d[x] = static_cast<std::uint16_t>(acc[static_cast<size_t>(x)]);
    }
    for (long y = 0; y < h; ++y) {
        if (y % polls == 0) xcAttention::check();
        for (size_t t = 0; t < k.size(); ++t)
            taps[t] = horiz.data() + std::clamp(y + static_cast<long>(t) - r, 0L, h - 1) * w;
        xf_WeightedRowSum(k.data(), taps.data(), static_cast<long>(k.size()), w, acc.data());
        std::int16_t* d = p.row(y);
        for (long x = 0; x < w; ++x)
            d[x] = static_cast<std::int16_t>((acc[static_cast<size_t>(x)] + 2048) >> 12);
    }
}

}  // namespace

std::vector<int> xf_GaussianKernel256(double smoothing) {
    std::vector<int> k;
    if (smoothing <= 0) return k;
    const long r = std::max(1L, static_cast<long>(std::ceil(3.0 * smoothing)));
    std::vector<double> g(static_cast<size_t>(2 * r + 1));
    double sum = 0;
    for (long i = -r; i <= r; ++i) {
        g[static_cast<size_t>(i + r)] = std::exp(-0.5 * (i * i) / (smoothing * smoothing));
        sum += g[static_cast<size_t>(i + r)];
    }
    k.resize(g.size());
    int total = 0;
    for (size_t i = 0; i < g.size(); ++i) {
        k[i] = static_cast<int>(std::lround(256.0 * g[i] / sum));
        total += k[i];
    }
    k[static_cast<size_t>(r)] += 256 - total;  // exact unit gain; the rounding error is small
    return k;
}

void xfGradient(const xcPelBuffer_const<unsigned char>& image, double smoothing,
                xcGradientImage& out) {
    const xcPelRect win = image.window();  // throws when unbound
    if (!std::isfinite(smoothing) || smoothing < 0 || smoothing > kXcMaxGradientSmoothing)
        throw xcBadArgument(L"Gradient smoothing must lie in [0, 20] pixels, not " +
                            std::to_wstring(smoothing));
    xcGradientImage g;
    g.gx = xcPelBuffer<std::int16_t>(win);
    g.gy = xcPelBuffer<std::int16_t>(win);
    g.mag = xcPelBuffer<std::uint16_t>(win);
    g.gx.clientFromImageXformBase(image.clientFromImageXformBasePtr());
    g.gy.clientFromImageXformBase(image.clientFromImageXformBasePtr());
    g.mag.clientFromImageXformBase(image.clientFromImageXformBasePtr());
    if (win.isNull()) {
        out = std::move(g);
        return;
    }

    Padded p;
    p.w = win.width();
    p.h = win.height();
    p.stride = p.w + 2;
    p.pels.resize(static_cast<size_t>(p.stride * (p.h + 2)));
    const std::vector<int> kernel = xf_GaussianKernel256(smoothing);
    if (kernel.empty())
        loadPlain(image, p);
    else
        loadSmoothed(image, kernel, p);
    replicateBorder(p);

    const long w = p.w;
    const long polls = rowsPerPoll(w);
    std::vector<float> mf(static_cast<size_t>(w));
    for (long y = 0; y < p.h; ++y) {
        if (y % polls == 0) xcAttention::check();
        std::int16_t* gx = g.gx.rowPointer(win.y() + y);
        std::int16_t* gy = g.gy.rowPointer(win.y() + y);
        std::uint16_t* m = g.mag.rowPointer(win.y() + y);
        xf_SobelRow(p.row(y - 1), p.row(y), p.row(y + 1), w, gx, gy);
        xf_MagnitudeRow(gx, gy, w, mf.data());
        // Magnitudes are at most 23081: rounded by adding a half and truncating.
        for (long x = 0; x < w; ++x)
            m[x] = static_cast<std::uint16_t>(static_cast<int>(mf[static_cast<size_t>(x)] + 0.5f));
    }
    out = std::move(g);
}

void xf_SobelPlane(const xc_Plane8& plane, const xc_Plane8* mask, long x0, long y0, long w, long h,
                   std::int16_t* gx, std::int16_t* gy, long stride) {
    const long W = plane.w, H = plane.h;
    for (long j = 0; j < h; ++j) {
        const long y = y0 + j;
        const unsigned char* r0 = plane.row(std::max(0L, y - 1));
        const unsigned char* r1 = plane.row(y);
        const unsigned char* r2 = plane.row(std::min(H - 1, y + 1));
        std::int16_t* ox = gx + j * stride;
        std::int16_t* oy = gy + j * stride;
        // Columns whose neighbours lie inside the plane go through the row kernel; the first
        // and last columns of the plane replicate their border pixel (a row of three
        // replicated values).
        const long xa = std::max(x0, 1L);
        const long xb = std::min(x0 + w, W - 1);
        auto border = [&](long x) {
            const long xm = std::max(0L, x - 1), xp = std::min(W - 1, x + 1);
            const unsigned char a[3] = {r0[xm], r0[x], r0[xp]}, b[3] = {r1[xm], r1[x], r1[xp]},
                                c[3] = {r2[xm], r2[x], r2[xp]};
            xf_SobelRow(a + 1, b + 1, c + 1, 1, ox + (x - x0), oy + (x - x0));
        };
        for (long x = x0; x < std::min(xa, x0 + w); ++x) border(x);
        if (xb > xa)
            xf_SobelRow(r0 + xa, r1 + xa, r2 + xa, xb - xa, ox + (xa - x0), oy + (xa - x0));
        for (long x = std::max(xb, x0); x < x0 + w; ++x) border(x);
        if (mask) {
            const unsigned char* m = mask->row(y);
            for (long x = x0; x < x0 + w; ++x)
                if (m[x] < 128) ox[x - x0] = oy[x - x0] = 0;
        }
    }
}

void xf_MagnitudeRow(const std::int16_t* gx, const std::int16_t* gy, long n, float* m) {
    long x = 0;
#if defined(__SSE2__)
    // The fast path: four values at a time, the same float conversion and correctly rounded
    // square root as the plain loop.
    for (; x + 8 <= n; x += 8) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(gx + x));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(gy + x));
        const __m128i lo = _mm_unpacklo_epi16(a, b), hi = _mm_unpackhi_epi16(a, b);
        const __m128i l2 = _mm_madd_epi16(lo, lo), h2 = _mm_madd_epi16(hi, hi);  // gx^2 + gy^2
        _mm_storeu_ps(m + x, _mm_sqrt_ps(_mm_cvtepi32_ps(l2)));
        _mm_storeu_ps(m + x + 4, _mm_sqrt_ps(_mm_cvtepi32_ps(h2)));
    }
#endif
    xf_MagnitudeRowPlain(gx + x, gy + x, n - x, m + x);
}

void xf_MagnitudeRowPlain(const std::int16_t* gx, const std::int16_t* gy, long n, float* m) {
    for (long x = 0; x < n; ++x)
        m[x] = std::sqrt(static_cast<float>(gx[x] * gx[x] + gy[x] * gy[x]));
}
