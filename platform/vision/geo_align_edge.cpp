#include "platform/vision/geo_align_edge.h"

#include <algorithm>
#include <cmath>

#include "platform/vision/gradient.h"

namespace {

constexpr double kStep = 0.5;  // sampling step along a normal, level pixels
constexpr int kMaxSamples = 17;

}  // namespace

void xc_GeoGradField::compute(const xc_GeoPlane& plane, const xc_GeoPlane* mask, double smoothing,
                              long x0, long y0, long w, long h) {
    const long grow = smoothing > 0 ? static_cast<long>(std::ceil(3.0 * smoothing)) + 1 : 1;
    const long xa = std::max(0L, x0 - grow), ya = std::max(0L, y0 - grow);
    const long xb = std::min(plane.w, x0 + w + grow), yb = std::min(plane.h, y0 + h + grow);
    m_x0 = xa;
    m_y0 = ya;
    m_w = std::max(0L, xb - xa);
    m_h = std::max(0L, yb - ya);
    m_gx.assign(static_cast<size_t>(m_w * m_h), 0);
    m_gy.assign(static_cast<size_t>(m_w * m_h), 0);
    if (m_w <= 0 || m_h <= 0) {
        toFloat_();
        return;
    }
    const xcPelBuffer_const<unsigned char> view(plane.row(ya) + xa, m_w, m_h, plane.stride);
    xcGradientImage g;
    xfGradient(view, smoothing, g);
    for (long y = 0; y < m_h; ++y) {
        const std::int16_t* sx = g.gx.rowPointer(y);
        const std::int16_t* sy = g.gy.rowPointer(y);
        std::copy(sx, sx + m_w, m_gx.begin() + y * m_w);
        std::copy(sy, sy + m_w, m_gy.begin() + y * m_w);
        if (mask) {
            const unsigned char* m = mask->row(ya + y) + xa;
            for (long x = 0; x < m_w; ++x)
                if (m[x] < 128)
                    m_gx[static_cast<size_t>(y * m_w + x)] =
                        m_gy[static_cast<size_t>(y * m_w + x)] = 0;
        }
    }
    toFloat_();
}

void xc_GeoGradField::toFloat_() {
    m_fx.assign(m_gx.begin(), m_gx.end());
    m_fy.assign(m_gy.begin(), m_gy.end());
}

void xc_GeoGradField::assign(long x0, long y0, long w, long h, std::vector<std::int16_t> gx,
                             std::vector<std::int16_t> gy) {
    m_x0 = x0;
    m_y0 = y0;
    m_w = w;
    m_h = h;
    m_gx = std::move(gx);
    m_gy = std::move(gy);
    toFloat_();
}

bool xf_GeoEdgeAlongNormal(const xc_GeoGradField& field, double qx, double qy, float nx, float ny,
                           const xc_GeoEdgeProbe& probe, double& delta) {
    const int half =
        std::min(kMaxSamples / 2 - 1, static_cast<int>(std::lround(probe.reach / kStep)));
    const int n = 2 * half + 1;
    float d[kMaxSamples];
    float gxs[kMaxSamples], gys[kMaxSamples];
    for (int j = 0; j < n; ++j) {
        const double o = (j - half) * kStep;
        if (!field.sample(qx + o * nx, qy + o * ny, gxs[j], gys[j])) {
            gxs[j] = gys[j] = 0.0f;
            d[j] = 0.0f;
            continue;
        }
        d[j] = probe.sign * (gxs[j] * nx + gys[j] * ny);
    }
    // The local maximum nearest to q (the stronger of two as near), whose direction is close
    // enough to the normal: D >= minCos |gradient|.
    int best = -1;
    for (int j = 1; j + 1 < n; ++j) {
        if (!(d[j] >= probe.threshold && d[j] > 0.0f && d[j] >= d[j - 1] && d[j] > d[j + 1]))
            continue;
        if (d[j] * d[j] < probe.minCos * probe.minCos * (gxs[j] * gxs[j] + gys[j] * gys[j]))
            continue;
        if (best < 0 || std::abs(j - half) < std::abs(best - half) ||
            (std::abs(j - half) == std::abs(best - half) && d[j] > d[best]))
            best = j;
    }
    if (best < 0) return false;
    // Bicubic samples around the peak, moved at most twice to keep the peak in the middle.
    double at = (best - half) * kStep;
    auto cubic = [&](double o, float& v) {
        float gx, gy;
        if (!field.sampleCubic(qx + o * nx, qy + o * ny, gx, gy)) return false;
        v = probe.sign * (gx * nx + gy * ny);
        return true;
    };
    float sm[3];
    for (int k = 0; k < 3; ++k)
        if (!cubic(at + (k - 1) * kStep, sm[k])) return false;
    for (int round = 0; round < 2; ++round) {
        if (sm[0] > sm[1]) {
            at -= kStep;
            sm[2] = sm[1];
            sm[1] = sm[0];
            if (!cubic(at - kStep, sm[0])) return false;
        } else if (sm[2] > sm[1]) {
            at += kStep;
            sm[0] = sm[1];
            sm[1] = sm[2];
            if (!cubic(at + kStep, sm[2])) return false;
        } else {
            break;
        }
    }
    if (!(sm[1] > 0.0f && sm[1] >= sm[0] && sm[1] >= sm[2])) return false;
    double off;
    if (sm[0] > 0.0f && sm[2] > 0.0f) {
        const double l0 = std::log(sm[0]), l1 = std::log(sm[1]), l2 = std::log(sm[2]);
        const double den = l0 - 2 * l1 + l2;
        off = den < 0 ? 0.5 * (l0 - l2) / den : 0.0;
    } else {
        const double den = sm[0] - 2.0 * sm[1] + sm[2];
        off = den < 0 ? 0.5 * (sm[0] - sm[2]) / den : 0.0;
    }
    delta = at + std::clamp(off, -0.5, 0.5) * kStep;
    return std::fabs(delta) <= probe.reach + kStep;
}
