// Affine sampling: resampling an 8-bit image over an affine rectangle into an upright image.
//
// The rectangle is given in the source's client coordinates. The output has nx x ny pixels,
// window (0, 0, nx, ny); output pixel (i, j) takes the source at the client point
//     cornerPo + (i + 0.5) / nx * xSide + (j + 0.5) / ny * ySide,
// mapped into source image coordinates by the source's image-from-client transform. The
// source pixel (x, y) is the value at its centre (x + 0.5, y + 0.5). The output's
// client-from-image transform maps its pixels back onto the rectangle (pixel centre
// (i + 0.5, j + 0.5) goes to the client point above), so resampled pixels keep their client
// coordinates.
//
// Interpolation values: 0 nearest pixel (the pixel whose area holds the sample point),
// 2 bilinear, 3 bicubic (Catmull-Rom, a = -0.5). Values are rounded to the nearest grey level
// and clamped to 0 .. 255. A sample whose interpolation taps leave the source window takes
// the nearest window pixel for every such tap (clamp to edge); willClip(source) says in
// advance whether that happens. A tap whose weight is exactly 0 (as for samples that fall
// exactly on pixel centres) does not count, so sampling a window exactly never clips.
#pragma once

#include "platform/core/affine_rectangle.h"
#include "platform/core/pel_buffer.h"

// Catmull-Rom (a = -0.5) weights of the taps at -1, 0, 1, 2 for the fraction t in [0, 1) of
// a sample between taps 0 and 1: they sum to 1, and t = 0 gives (0, 1, 0, 0). Inline: every
// bicubic sample of the library computes them.
inline void xf_CatmullRomWeights(float t, float w[4]) {
    const float t2 = t * t, t3 = t2 * t;
    w[0] = 0.5f * (-t3 + 2.0f * t2 - t);
    w[1] = 0.5f * (3.0f * t3 - 5.0f * t2 + 2.0f);
    w[2] = 0.5f * (-3.0f * t3 + 4.0f * t2 + t);
    w[3] = 0.5f * (t3 - t2);
}

class xcAffineSamplingParams {
public:
    enum Interpolation { eNearestNeighbor = 0, eBilinear = 2, eBicubic = 3 };

    // The unit square sampled by one bilinear pixel.
    xcAffineSamplingParams() = default;
    // Samples `rect` (source client coordinates) with nx x ny output pixels. Throws
    // xcBadArgument, in this order, when nx or ny is below 1, when the interpolation is not
    // 0, 2 or 3, or when the rectangle is not finite.
    xcAffineSamplingParams(const xcAffineRectangle& rect, long nx, long ny,
                           long interpolation = eBilinear);

    const xcAffineRectangle& affineRect() const { return m_rect; }
    const xcAffineRectangle& rect() const { return m_rect; }
    long nx() const { return m_nx; }
    long ny() const { return m_ny; }
    Interpolation interpolation() const { return m_interp; }

    // Setters; each checks its value as the constructor does and changes nothing on failure.
    void affineRect(const xcAffineRectangle& r);
    void nx(long v);
    void ny(long v);
    void interpolation(long v);

    // The output's client-from-image transform: output image point (x, y) goes to
    // cornerPo + x / nx * xSide + y / ny * ySide.
    xcXform<2> clientFromOutputImage() const;

    // True when some output sample needs a source pixel outside src's window (a tap of
    // non-zero weight). In doubtful cases it answers true; it never misses a clip. Throws
    // xcPel::UnboundWindow for an unbound source and xcBadArgument when its client-from-image
    // transform is not linear or the mapped sample coordinates are not finite.
    bool willClip(const xc_PelBuffer& src) const;

    bool operator==(const xcAffineSamplingParams& o) const {
        return m_rect == o.m_rect && m_nx == o.m_nx && m_ny == o.m_ny && m_interp == o.m_interp;
    }
    bool operator!=(const xcAffineSamplingParams& o) const { return !(*this == o); }

private:
    xcAffineRectangle m_rect;
    long m_nx = 1;
    long m_ny = 1;
    Interpolation m_interp = eBilinear;
};

// Resamples src into a new nx x ny buffer (window (0, 0, nx, ny), client-from-image transform
// as described above). Throws xcPel::UnboundWindow for an unbound source; xcBadArgument for
// an empty source window, a non-linear source transform or non-finite sample coordinates.
xcPelBuffer<unsigned char> xfAffineTransformImage(const xcPelBuffer_const<unsigned char>& src,
                                                  const xcAffineSamplingParams& params);

// The same into the caller's buffer, whose window must be nx x ny (any offset) and must not
// share its root image with src. dst's client-from-image transform is set so that its window
// pixels map onto the rectangle. Throws as above, and xcBadArgument for a wrong or shared
// destination (dst then stays unchanged).
void xfAffineTransformImage(const xcPelBuffer_const<unsigned char>& src,
                            const xcAffineSamplingParams& params, xcPelBuffer<unsigned char>& dst);
