#include "platform/vision/geo_align_track.h"

#include <algorithm>
#include <cmath>

#include "platform/core/attention.h"

double xc_GeoRunSetup::clampAngle(double a) const {
    if (!angleFree) return angleNominal;
    if (angleCircular) return a;
    return std::clamp(a, angleLo, angleHi);
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
    m_u.assign(static_cast<size_t>(2 * m_w * m_h), 0.0f);
    const long xa = std::max(0L, x0), ya = std::max(0L, y0);
    const long xb = std::min(plane.w, x0 + w), yb = std::min(plane.h, y0 + h);
    if (xb <= xa || yb <= ya) return;
    const long cw = xb - xa;
    std::vector<std::int16_t> gx(static_cast<size_t>(cw)), gy(static_cast<size_t>(cw));
    const float t = static_cast<float>(8.0 * contrast);
    const float t2 = std::max(t * t, 1e-12f);
    for (long y = ya; y < yb; ++y) {
        xf_GeoSobel(plane, mask, xa, y, cw, 1, gx.data(), gy.data(), cw);
        float* u = m_u.data() + 2 * ((y - y0) * m_w + (xa - x0));
        for (long i = 0; i < cw; ++i) {
            const float fx = gx[static_cast<size_t>(i)], fy = gy[static_cast<size_t>(i)];
            const float m2 = fx * fx + fy * fy;
            if (m2 >= t2) {
                const float inv = 1.0f / std::sqrt(m2);
                u[2 * i] = fx * inv;
                u[2 * i + 1] = fy * inv;
            }
        }
    }
}

void xc_GeoLevelScorer::score3x3(const std::vector<xc_GeoPoint>& pts, const xc_GeoPose& pose,
                                 int level, bool polarity, double out[9]) const {
    const double g = xf_GeoGrain(level);
    const double c = std::cos(pose.angle), s = std::sin(pose.angle);
    const float cs = static_cast<float>(c * pose.scale / g),
                ss = static_cast<float>(s * pose.scale / g);
    const float cf = static_cast<float>(c), sf = static_cast<float>(s);
    // Window coordinates of the pose's reference point.
    const float ox = static_cast<float>(pose.x / g - m_x0),
                oy = static_cast<float>(pose.y / g - m_y0);
    float acc[9] = {0, 0, 0, 0, 0, 0, 0, 0, 0};
    const long w = m_w;
    const float* u = m_u.data();
    for (const xc_GeoPoint& p : pts) {
        const float qx = ox + cs * p.x - ss * p.y;
        const float qy = oy + ss * p.x + cs * p.y;
        const long ix = static_cast<long>(std::floor(qx)), iy = static_cast<long>(std::floor(qy));
        if (ix < 1 || iy < 1 || ix + 1 >= w || iy + 1 >= m_h) continue;
        const float dx = cf * p.ux - sf * p.uy, dy = sf * p.ux + cf * p.uy;
        const float* b = u + 2 * ((iy - 1) * w + ix - 1);
        for (int j = 0; j < 3; ++j) {
            const float* r = b + 2 * j * w;
            for (int i = 0; i < 3; ++i) {
                const float a = r[2 * i] * dx + r[2 * i + 1] * dy;
                acc[j * 3 + i] += polarity ? std::max(0.0f, a) : std::fabs(a);
            }
        }
    }
    const double n = static_cast<double>(std::max<size_t>(1, pts.size()));
    for (int k = 0; k < 9; ++k) out[k] = acc[k] / n;
}

xc_GeoCandidate xf_GeoTrackLevel(const xc_GeoCandidate& c, const xc_GeoModel& model, int level,
                                 const xc_GeoPyramid& pyr, const xc_GeoRunSetup& setup,
                                 xc_GeoLevelScorer& scorer) {
    const xc_GeoLevel& lv = model.level(setup.modelLevel(model, level));
    const double g = xf_GeoGrain(level);
    const double da = setup.angleFree ? setup.angleStep0 * g : 0.0;
    const double ds = setup.scaleFree ? setup.logScaleStep0 * g : 0.0;
    const double smax = setup.scaleFree ? setup.scaleHi : setup.scaleNominal;
    // The window covers every point of every pose of two neighbourhoods.
    const long reach = static_cast<long>(std::ceil(lv.radius * smax * std::exp(ds) / g)) + 4;
    const long cx = static_cast<long>(std::floor(c.pose.x / g));
    const long cy = static_cast<long>(std::floor(c.pose.y / g));
    scorer.prepare(pyr.plane(level), pyr.hasMask() ? &pyr.maskPlane(level) : nullptr,
                   setup.contrast, cx - reach, cy - reach, 2 * reach + 1, 2 * reach + 1);

    xc_GeoCandidate best = c;
    best.score = -1.0;
    xc_GeoPose centre = c.pose;
    for (int round = 0; round < 2; ++round) {
        xcAttention::check();
        const int na = da > 0 ? 3 : 1, ns = ds > 0 ? 3 : 1;
        xc_GeoCandidate roundBest = best;
        int bi = 0, bj = 0, ba = 0, bs = 0;
        for (int ia = 0; ia < na; ++ia)
            for (int is = 0; is < ns; ++is) {
                xc_GeoPose p = centre;
                if (na == 3) p.angle = setup.clampAngle(centre.angle + (ia - 1) * da);
                if (ns == 3) p.scale = setup.clampScale(centre.scale * std::exp((is - 1) * ds));
                double sc[9];
                scorer.score3x3(lv.points, p, level, setup.polarity, sc);
                for (int k = 0; k < 9; ++k)
                    if (sc[k] > roundBest.score) {
                        roundBest.score = sc[k];
                        roundBest.pose = p;
                        roundBest.pose.x = p.x + (k % 3 - 1) * g;
                        roundBest.pose.y = p.y + (k / 3 - 1) * g;
                        bi = k % 3 - 1;
                        bj = k / 3 - 1;
                        ba = na == 3 ? ia - 1 : 0;
                        bs = ns == 3 ? is - 1 : 0;
                    }
            }
        const bool improved = roundBest.score > best.score;
        if (improved) best = roundBest;
        // Search once more around a best pose on the neighbourhood's edge.
        if (!improved || (bi == 0 && bj == 0 && ba == 0 && bs == 0)) break;
        centre = best.pose;
    }
    return best;
}
