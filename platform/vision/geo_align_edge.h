// Sub-pixel edges of the geometric alignment tool (module-private): a window of gradients of
// one pyramid level, and the edge found along a normal. Training places the pattern's fit
// points with the same estimator that runs use on the searched image, so that whatever bias
// the estimator has is shared by both.
//
// Coordinates are continuous level coordinates: level pixel (x, y) has its centre at
// (x + 0.5, y + 0.5). Gradient values are xfGradient's (gradient.h): 128 per grey level per
// pixel.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "platform/core/affine_sampling.h"
#include "platform/vision/geo_align_pyramid.h"

class xc_GeoGradField {
public:
    static constexpr float kUnits = 128.0f;  // gradient units per grey level per pixel

    xc_GeoGradField() = default;
    // The gradients (after Gaussian smoothing of `smoothing` pixels) of the window
    // [x0, x0 + w) x [y0, y0 + h) of the plane, grown by the smoothing's reach and clipped to the
    // plane. Pixels whose mask value is below 128 get a zero gradient.
    void compute(const xc_GeoPlane& plane, const xc_GeoPlane* mask, double smoothing, long x0,
                 long y0, long w, long h);

    long x0() const { return m_x0; }
    long y0() const { return m_y0; }
    long width() const { return m_w; }
    long height() const { return m_h; }
    // Takes the gradients of the window [x0, x0 + w) x [y0, y0 + h) as given (row by row, in
    // the field's units).
    void assign(long x0, long y0, long w, long h, std::vector<std::int16_t> gx,
                std::vector<std::int16_t> gy);

    // The gradient at level pixel (x, y) (inside the window, unchecked).
    std::int16_t gx(long x, long y) const { return m_gx[idx_(x, y)]; }
    std::int16_t gy(long x, long y) const { return m_gy[idx_(x, y)]; }
    // Bilinear (sample) and Catmull-Rom bicubic (sampleCubic) interpolation of the gradient at
    // the continuous level point (x, y). False when the taps are not all inside the window.
    bool sample(double x, double y, float& gx, float& gy) const;
    bool sampleCubic(double x, double y, float& gx, float& gy) const;

private:
    std::size_t idx_(long x, long y) const {
        return static_cast<std::size_t>((y - m_y0) * m_w + (x - m_x0));
    }

    // The interpolations read the gradients as floats, converted once per window.
    void toFloat_();

    long m_x0 = 0, m_y0 = 0, m_w = 0, m_h = 0;
    std::vector<std::int16_t> m_gx, m_gy;
    std::vector<float> m_fx, m_fy;
};

// Inline: the edge estimator samples the field a dozen times per point.
// std::floor of a coordinate well inside the long range (|v| < 2^31), without the library call.
inline double xf_GeoFloor(double v) {
    const double t = static_cast<double>(static_cast<long>(v));
    return t > v ? t - 1.0 : t;
}

inline bool xc_GeoGradField::sample(double x, double y, float& gxOut, float& gyOut) const {
    const double fx = x - 0.5, fy = y - 0.5;
    if (!(std::fabs(fx) < 2e9 && std::fabs(fy) < 2e9)) return false;
    const double flx = xf_GeoFloor(fx), fly = xf_GeoFloor(fy);
    const long ix = static_cast<long>(flx), iy = static_cast<long>(fly);
    if (ix < m_x0 || iy < m_y0 || ix + 1 >= m_x0 + m_w || iy + 1 >= m_y0 + m_h) return false;
    const float ax = static_cast<float>(fx - flx), ay = static_cast<float>(fy - fly);
    const std::size_t i = idx_(ix, iy);
    const std::size_t j = i + static_cast<std::size_t>(m_w);
    const float w00 = (1 - ax) * (1 - ay), w10 = ax * (1 - ay), w01 = (1 - ax) * ay, w11 = ax * ay;
    gxOut = w00 * m_fx[i] + w10 * m_fx[i + 1] + w01 * m_fx[j] + w11 * m_fx[j + 1];
    gyOut = w00 * m_fy[i] + w10 * m_fy[i + 1] + w01 * m_fy[j] + w11 * m_fy[j + 1];
    return true;
}

inline bool xc_GeoGradField::sampleCubic(double x, double y, float& gxOut, float& gyOut) const {
    const double fx = x - 0.5, fy = y - 0.5;
    if (!(std::fabs(fx) < 2e9 && std::fabs(fy) < 2e9)) return false;
    const double flx = xf_GeoFloor(fx), fly = xf_GeoFloor(fy);
    const long ix = static_cast<long>(flx), iy = static_cast<long>(fly);
    if (ix - 1 < m_x0 || iy - 1 < m_y0 || ix + 2 >= m_x0 + m_w || iy + 2 >= m_y0 + m_h)
        return false;
    float wx[4], wy[4];
    xf_CatmullRomWeights(static_cast<float>(fx - flx), wx);
    xf_CatmullRomWeights(static_cast<float>(fy - fly), wy);
    float sx = 0, sy = 0;
    for (int j = 0; j < 4; ++j) {
        const std::size_t r = idx_(ix - 1, iy - 1 + j);
        float rx = 0, ry = 0;
        for (int i = 0; i < 4; ++i) {
            rx += wx[i] * m_fx[r + static_cast<size_t>(i)];
            ry += wx[i] * m_fy[r + static_cast<size_t>(i)];
        }
        sx += wy[j] * rx;
        sy += wy[j] * ry;
    }
    gxOut = sx;
    gyOut = sy;
    return true;
}

// How an edge is looked for along a normal.
struct xc_GeoEdgeProbe {
    double reach = 1.5;   // level pixels either way
    float threshold = 0;  // smallest directional derivative, field units
    float minCos = 0.7f;  // the gradient's direction within acos(minCos) of the normal
    float sign = 1.0f;    // -1 looks for edges of reversed polarity
};

// The edge nearest to q (level coordinates) along the unit normal n: the local maximum of the
// directional derivative sign * (gradient . n), sampled every half pixel within the reach, that
// reaches the threshold, placed by a Gaussian (log-parabola) fit through bicubic samples around
// it. delta is its signed distance from q along n, level pixels.
bool xf_GeoEdgeAlongNormal(const xc_GeoGradField& field, double qx, double qy, float nx, float ny,
                           const xc_GeoEdgeProbe& probe, double& delta);
