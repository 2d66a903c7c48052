// Image gradients: optional Gaussian smoothing followed by the 3x3 Sobel operator, in integer
// arithmetic, for the edge detector and the geometric shape matcher.
//
// Everything is in image coordinates of the source window: gradient pixel (x, y) is the
// gradient at the centre of source pixel (x, y), +x to the right and +y down. Outside the
// window the source is taken as its nearest edge pixel (replicated border), so the outermost
// ring of gradients sees a flat continuation of the image.
//
// Units: gx and gy hold xcGradientImage::kScale (128) times the derivative in grey levels per
// pixel (Sobel's weights sum to 8, and the smoothed image keeps 4 fractional bits: 8 * 16);
// mag holds the rounded Euclidean magnitude in the same units. A step edge of height h between
// two pixels gives a peak magnitude of about 128 * h / 2 without smoothing.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/vision/plane8.h"

struct xcGradientImage {
    // Units of gx, gy and mag per grey level per pixel.
    static constexpr int kScale = 128;

    // Sobel responses along +x and +y; windows equal the source window, transforms the
    // source's. Values lie within +-16320.
    xcPelBuffer<std::int16_t> gx;
    xcPelBuffer<std::int16_t> gy;
    // Rounded magnitude sqrt(gx^2 + gy^2), at most 23081.
    xcPelBuffer<std::uint16_t> mag;
};

// Largest smoothing accepted by xfGradient, in pixels.
inline constexpr double kXcMaxGradientSmoothing = 20.0;

// Gradient of the bound 8-bit `image` (its window) after Gaussian smoothing with standard
// deviation `smoothing` pixels (0 for none). `out` is replaced by new buffers.
// Throws xcPel::UnboundWindow for an unbound image, xcBadArgument for a smoothing that is
// negative, not finite or above kXcMaxGradientSmoothing. Polls xcAttention::check() between
// row blocks. `out` is left unchanged when it throws.
void xfGradient(const xcPelBuffer_const<unsigned char>& image, double smoothing,
                xcGradientImage& out);

// The integer Gaussian kernel xfGradient uses: weights that sum to 256, symmetric about the
// middle entry, radius ceil(3 * smoothing) (at least 1). Empty for smoothing 0.
std::vector<int> xf_GaussianKernel256(double smoothing);

// The two kernels every gradient and blur of the library is made of (inline: they are the inner
// loops of the matcher's training and runs).
//
// Weighted sum of rows: out[i] = k[0] rows[0][i] + k[1] rows[1][i] + ... + k[taps - 1]
// rows[taps - 1][i] for i in [0, n), summed from zero in the order of the taps in the
// accumulator type A, so that the result does not depend on how the loop is vectorised. One
// pass of a separable blur: the vertical pass gives the rows of the taps, the horizontal pass
// the taps' shifted starts within one (padded) row. Example: k = {1, 2, 1}, rows = {s - 1, s,
// s + 1} gives out[i] = s[i - 1] + 2 s[i] + s[i + 1].
template <class W, class S, class A>
inline void xf_WeightedRowSum(const W* k, const S* const* rows, long taps, long n,
                              A* __restrict out) {
    std::fill(out, out + n, A(0));
    long t = 0;
    // Four taps per pass over the row (the same sums in the same order, fewer loads and
    // stores of the accumulators).
    for (; t + 4 <= taps; t += 4) {
        const A w0 = static_cast<A>(k[t]), w1 = static_cast<A>(k[t + 1]);
        const A w2 = static_cast<A>(k[t + 2]), w3 = static_cast<A>(k[t + 3]);
        const S *s0 = rows[t], *s1 = rows[t + 1], *s2 = rows[t + 2], *s3 = rows[t + 3];
        for (long i = 0; i < n; ++i) {
            A v = out[i];
            v += w0 * s0[i];
            v += w1 * s1[i];
            v += w2 * s2[i];
            v += w3 * s3[i];
            out[i] = v;
        }
    }
    for (; t < taps; ++t) {
        const A wt = static_cast<A>(k[t]);
        const S* s = rows[t];
        for (long i = 0; i < n; ++i) out[i] += wt * s[i];
    }
}

// Sobel responses of the middle row b of three consecutive rows a, b, c (each readable at
// [-1, n]): dx[i] and dy[i] for i in [0, n), weights summing to 8 per direction, +x to the
// right and +y down, computed in the arithmetic of S (int for 8- and 16-bit values) and stored
// as A.
template <class S, class A>
inline void xf_SobelRow(const S* __restrict a, const S* __restrict b, const S* __restrict c, long n,
                        A* __restrict dx, A* __restrict dy) {
    for (long i = 0; i < n; ++i) {
        dx[i] = static_cast<A>((a[i + 1] - a[i - 1]) + 2 * (b[i + 1] - b[i - 1]) +
                               (c[i + 1] - c[i - 1]));
        dy[i] = static_cast<A>((c[i - 1] + 2 * c[i] + c[i + 1]) - (a[i - 1] + 2 * a[i] + a[i + 1]));
    }
}

// Sobel responses (xf_SobelRow's, 8 per grey level per pixel) of the rectangle
// [x0, x0 + w) x [y0, y0 + h) of `plane` (inside the plane), the plane's border pixels
// replicated, written row by row into gx and gy (rows `stride` elements apart). Pixels whose
// mask value is below 128 get a zero gradient when a mask plane (same size as the plane) is
// given.
void xf_SobelPlane(const xc_Plane8& plane, const xc_Plane8* mask, long x0, long y0, long w, long h,
                   std::int16_t* gx, std::int16_t* gy, long stride);

// Gradient magnitudes m[i] = sqrt(gx[i]^2 + gy[i]^2) (in float, correctly rounded) for i in
// [0, n). xf_MagnitudeRow takes an SSE2 path where there is one; xf_MagnitudeRowPlain is the
// plain loop, its exact reference (std::sqrt keeps the compiler from vectorising it: it must
// be able to set errno).
void xf_MagnitudeRow(const std::int16_t* gx, const std::int16_t* gy, long n, float* m);
void xf_MagnitudeRowPlain(const std::int16_t* gx, const std::int16_t* gy, long n, float* m);
