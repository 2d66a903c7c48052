// Image effects of synthetic scenes, applied to a field of real grey levels before it is
// rounded to 8 bits: illumination gradient, Gaussian blur, Gaussian noise, salt-and-pepper
// noise. Coordinates are image coordinates; pixel (x, y) is sampled at (x + 0.5, y + 0.5).
#pragma once

#include <vector>

#include "platform/core/pel_buffer.h"
#include "tools/synth/random.h"

// A row-major field of doubles, window (0, 0, width, height).
class xcSynthField {
public:
    xcSynthField() = default;
    // A field of the given size filled with `value`. Throws xcBadArgument for a negative size.
    xcSynthField(long width, long height, double value = 0.0);

    long width() const { return m_width; }
    long height() const { return m_height; }
    double* row(long y) { return m_v.data() + y * m_width; }
    const double* row(long y) const { return m_v.data() + y * m_width; }
    double at(long x, long y) const { return m_v[static_cast<std::size_t>(y * m_width + x)]; }

private:
    long m_width = 0;
    long m_height = 0;
    std::vector<double> m_v;
};

// Multiplies every value by a gain that grows linearly along the direction `angle` (degrees,
// x towards y), from 1 - amplitude at the image's first extreme along that direction to
// 1 + amplitude at the last (the image's corners). Throws xcBadArgument unless amplitude is
// in [0, 1) and angle finite.
void xfSynthApplyGain(xcSynthField& field, double amplitude, double angle);

// Gaussian blur of standard deviation `sigma` pixels (separable, kernel radius
// ceil(3.5 sigma), normalised; the borders repeat the edge values). sigma 0 leaves the field
// as it is. Throws xcBadArgument unless sigma is in [0, 100].
void xfSynthBlur(xcSynthField& field, double sigma);

// Adds independent normal noise of standard deviation `sigma` grey levels to every value,
// row by row. Throws xcBadArgument unless sigma is in [0, 255].
void xfSynthAddNoise(xcSynthField& field, double sigma, xcSynthRandom& random);

// Sets a fraction of the pixels (each independently with probability `fraction`) to 0 or to
// 255 with equal chance. Throws xcBadArgument unless fraction is in [0, 1].
void xfSynthSaltPepper(xcSynthField& field, double fraction, xcSynthRandom& random);

// The field rounded and clamped to 8 bits (xfSynthQuantize), window (0, 0, width, height).
xcPelBuffer<unsigned char> xfSynthToPels(const xcSynthField& field);
