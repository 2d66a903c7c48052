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

#include <cstdint>
#include <vector>

#include "platform/core/pel_buffer.h"

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
