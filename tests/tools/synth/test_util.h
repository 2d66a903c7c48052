// Helpers shared by the ocsynth tests.
#pragma once

#include <cmath>

#include "platform/core/pel_buffer.h"
#include "tools/synth/font.h"

// DejaVu Sans, loaded once per test program.
inline const xcSynthFont& testFont() {
    static const xcSynthFont font(xcSynthFont::locate("DejaVuSans.ttf"));
    return font;
}

// Ink weight of a pixel value: 0 at the background level, 1 at the ink level.
inline double inkWeight(unsigned char v, double ink, double bg) { return (bg - v) / (bg - ink); }

// Ink-weighted centroid of a buffer's pixels (sampled at pixel centres), image coordinates.
inline xcVector<2> inkCentroid(const xcPelBuffer_const<unsigned char>& b, double ink, double bg) {
    double sw = 0.0, sx = 0.0, sy = 0.0;
    const xcPelRect w = b.window();
    for (long y = w.y(); y < w.y() + w.height(); ++y) {
        const unsigned char* r = b.rowPointer(y);
        for (long x = 0; x < w.width(); ++x) {
            const double k = inkWeight(r[x], ink, bg);
            sw += k;
            sx += k * (static_cast<double>(w.x() + x) + 0.5);
            sy += k * (static_cast<double>(y) + 0.5);
        }
    }
    return {sx / sw, sy / sw};
}
