// Test scenes for the geometric alignment tool: an asymmetric shape (an F with a disc beside its
// foot) drawn at planted poses with area anti-aliasing (8 x 8 samples per pixel), an optional
// 3 x 3 binomial blur and seeded Gaussian noise.
//
// Frames. The shape's own frame spans about (0, 0) ... (16, 24). The training image places it
// at kShapeOffset (image = shape + offset) in a kTrainW x kTrainH image whose client frame is
// its image frame, so a pattern trained on it has the training image frame as its client
// frame. An instance drawn with pose P (pattern client -> scene image) covers the scene points
// P(offset + s) for the shape points s.
#pragma once

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/core/xform.h"

namespace geo_test {

constexpr long kTrainW = 40, kTrainH = 46;
inline const xcVector<2> kShapeOffset(12.0, 11.0);

// The shape: an F (stem, top bar, middle bar) and a disc at its lower right.
inline bool insideShape(double x, double y) {
    if (x >= 0 && x < 4 && y >= 0 && y < 24) return true;      // stem
    if (x >= 0 && x < 15 && y >= 0 && y < 4) return true;      // top bar
    if (x >= 0 && x < 11 && y >= 10 && y < 13.5) return true;  // middle bar
    const double dx = x - 12.0, dy = y - 20.0;
    return dx * dx + dy * dy < 3.5 * 3.5;  // disc
}

// Pose of the pattern client frame in a scene: image = pose(client point).
inline xcXform<2> pose(double x, double y, double angleDeg, double scale) {
    const double a = angleDeg * 3.14159265358979323846 / 180.0;
    return xcXform<2>(xcMatrix<2>(std::cos(a) * scale, -std::sin(a) * scale, std::sin(a) * scale,
                                  std::cos(a) * scale),
                      xcVector<2>(x, y));
}

// A scene of grey levels under construction: coverage accumulates, then renders to 8 bits.
class Scene {
public:
    Scene(long w, long h) : m_w(w), m_h(h), m_c(static_cast<size_t>(w * h), 0.0) {}

    // Adds an instance of the shape placed by `p` (pattern client -> scene image).
    void add(const xcXform<2>& p) { addShape(p, insideShape); }

    // Adds another shape, given by its inside test in the shape frame (within (-1, -1) ...
    // (17, 25)), placed by `p` as the shape would be.
    template <class Inside>
    void addShape(const xcXform<2>& p, Inside inside) {
        const xcXform<2> inv = p.inverse();
        // Bounding box of the shape's corners.
        double x0 = 1e9, y0 = 1e9, x1 = -1e9, y1 = -1e9;
        for (const auto& [sx, sy] :
             {std::pair{-1.0, -1.0}, {17.0, -1.0}, {-1.0, 25.0}, {17.0, 25.0}}) {
            const xcVector<2> q = p.mapPoint(kShapeOffset + xcVector<2>(sx, sy));
            x0 = std::min(x0, q.x());
            y0 = std::min(y0, q.y());
            x1 = std::max(x1, q.x());
            y1 = std::max(y1, q.y());
        }
        const long ya = std::max(0L, static_cast<long>(std::floor(y0)));
        const long yb = std::min(m_h - 1, static_cast<long>(std::ceil(y1)));
        const long xa = std::max(0L, static_cast<long>(std::floor(x0)));
        const long xb = std::min(m_w - 1, static_cast<long>(std::ceil(x1)));
        constexpr int kS = 8;
        for (long y = ya; y <= yb; ++y)
            for (long x = xa; x <= xb; ++x) {
                int n = 0;
                for (int j = 0; j < kS; ++j)
                    for (int i = 0; i < kS; ++i) {
                        const xcVector<2> s =
                            inv.mapPoint(xcVector<2>(x + (i + 0.5) / kS, y + (j + 0.5) / kS)) -
                            kShapeOffset;
                        n += inside(s.x(), s.y());
                    }
                double& c = m_c[static_cast<size_t>(y * m_w + x)];
                const double a = static_cast<double>(n) / (kS * kS);
                c = c + a * (1.0 - c);
            }
    }

    // The 8-bit image: background + coverage (ink - background), blurred by a 3 x 3 binomial
    // when asked, plus Gaussian noise of `noise` grey levels (fixed seed).
    xcPelBuffer8 render(double ink = 40.0, double background = 210.0, bool blur = true,
                        double noise = 0.0, unsigned seed = 7) const {
        std::vector<double> v(m_c.size());
        for (size_t i = 0; i < v.size(); ++i) v[i] = background + m_c[i] * (ink - background);
        if (blur) {
            std::vector<double> t(v.size());
            for (long y = 0; y < m_h; ++y)
                for (long x = 0; x < m_w; ++x) {
                    auto at = [&](long xx, long yy) {
                        xx = std::clamp(xx, 0L, m_w - 1);
                        yy = std::clamp(yy, 0L, m_h - 1);
                        return v[static_cast<size_t>(yy * m_w + xx)];
                    };
                    t[static_cast<size_t>(y * m_w + x)] =
                        (at(x - 1, y - 1) + 2 * at(x, y - 1) + at(x + 1, y - 1) + 2 * at(x - 1, y) +
                         4 * at(x, y) + 2 * at(x + 1, y) + at(x - 1, y + 1) + 2 * at(x, y + 1) +
                         at(x + 1, y + 1)) /
                        16.0;
                }
            v.swap(t);
        }
        std::mt19937 rng(seed);
        std::normal_distribution<double> nd(0.0, noise > 0 ? noise : 1.0);
        xcPelBuffer8 img(m_w, m_h);
        for (long y = 0; y < m_h; ++y)
            for (long x = 0; x < m_w; ++x) {
                double g = v[static_cast<size_t>(y * m_w + x)];
                if (noise > 0) g += nd(rng);
                img.set(x, y, static_cast<unsigned char>(std::clamp(std::lround(g), 0L, 255L)));
            }
        return img;
    }

private:
    long m_w, m_h;
    std::vector<double> m_c;
};

// The training image: the shape at scale 1, angle 0, at kShapeOffset.
inline xcPelBuffer8 trainingImage(bool blur = false) {
    Scene s(kTrainW, kTrainH);
    s.add(xcXform<2>());
    return s.render(40.0, 210.0, blur);
}

// Distance between where two poses put the shape's centre, pixels.
inline double centreDistance(const xcXform<2>& a, const xcXform<2>& b) {
    const xcVector<2> c = kShapeOffset + xcVector<2>(8.0, 12.0);
    const xcVector<2> d = a.mapPoint(c) - b.mapPoint(c);
    return std::hypot(d.x(), d.y());
}

// Angle difference a - b in degrees, in (-180, 180].
inline double angleDiff(double a, double b) { return std::remainder(a - b, 360.0); }

}  // namespace geo_test
