#include "platform/vision/edge_detect.h"

#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "platform/core/attention.h"
#include "platform/vision/gradient.h"

namespace {

// tan(22.5 degrees) in 12 fractional bits: the border between a horizontal (or vertical) and
// a diagonal gradient for non-maximum suppression.
constexpr std::int64_t kTan22 = 1697;

const xc2XformLinear& identityXform() {
    static const xc2XformLinear id;
    return id;
}

}  // namespace

xcEdgeletParams::xcEdgeletParams(double smoothing, double magnitudeThreshold, int edgeType) {
    if (!std::isfinite(smoothing) || smoothing < 0 || smoothing > kXcMaxGradientSmoothing)
        throw xcBadArgument(L"Edge smoothing must lie in [0, 20] pixels, not " +
                            std::to_wstring(smoothing));
    if (!std::isfinite(magnitudeThreshold) || magnitudeThreshold < 0)
        throw xcBadArgument(L"Edge magnitude threshold must be >= 0, not " +
                            std::to_wstring(magnitudeThreshold));
    if (edgeType != eAllAboveThreshold && edgeType != eThinned)
        throw xcBadArgument(L"Unknown edge type " + std::to_wstring(edgeType));
    m_smoothing = smoothing;
    m_threshold = magnitudeThreshold;
    m_type = static_cast<EdgeType>(edgeType);
}

const xc2XformBase& xcEdgeletSet::clientFromImage() const {
    return m_clientFromImage ? *m_clientFromImage : identityXform();
}

xcVector<2> xcEdgeletSet::clientPosition(long i) const {
    if (i < 0 || i >= size())
        throw std::out_of_range("edgelet index " + std::to_string(i) + " out of range");
    return clientFromImage().mapPoint(m_edgelets[static_cast<size_t>(i)].position);
}

void xfEdgeDetect(const xcPelBuffer_const<unsigned char>& image, const xcEdgeletParams& params,
                  xcEdgeletSet& out) {
    const xcPelRect win = image.window();  // throws when unbound
    xcGradientImage g;
    xfGradient(image, params.smoothing(), g);

    xcEdgeletSet set;
    set.clientFromImage(image.clientFromImageXformBasePtr());
    const double toGrey = 1.0 / xcGradientImage::kScale;
    // Magnitudes are rounded integers: keep those whose true value can reach the threshold.
    const double thr = params.magnitudeThreshold() * xcGradientImage::kScale;
    const long thrInt = static_cast<long>(std::min(std::ceil(thr - 0.5), 65536.0));
    const long x0 = win.x(), y0 = win.y(), w = win.width(), h = win.height();
    const long pollRows = std::max(1L, (1L << 16) / std::max(1L, w));

    if (params.edgeType() == xcEdgeletParams::eAllAboveThreshold) {
        for (long y = 0; y < h; ++y) {
            if (y % pollRows == 0) xcAttention::check();
            const std::uint16_t* m = g.mag.rowPointer(y0 + y);
            const std::int16_t* gx = g.gx.rowPointer(y0 + y);
            const std::int16_t* gy = g.gy.rowPointer(y0 + y);
            for (long x = 0; x < w; ++x) {
                if (m[x] < thrInt || m[x] == 0) continue;
                set.push_back({xcVector<2>(x0 + x + 0.5, y0 + y + 0.5), m[x] * toGrey,
                               xfAngle8FromGradient(gx[x], gy[x])});
            }
        }
        out = std::move(set);
        return;
    }

    const long magStride = g.mag.rowUpdate() / static_cast<long>(sizeof(std::uint16_t));
    for (long y = 1; y + 1 < h; ++y) {
        if (y % pollRows == 0) xcAttention::check();
        const std::uint16_t* m = g.mag.rowPointer(y0 + y);
        const std::int16_t* gxr = g.gx.rowPointer(y0 + y);
        const std::int16_t* gyr = g.gy.rowPointer(y0 + y);
        for (long x = 1; x + 1 < w; ++x) {
            const long mc = m[x];
            if (mc < thrInt || mc == 0) continue;
            const std::int64_t gx = gxr[x], gy = gyr[x];
            const std::int64_t ax = gx < 0 ? -gx : gx, ay = gy < 0 ? -gy : gy;
            // Neighbour step (sx, sy) along the gradient, quantised to 45 degrees.
            long sx, sy;
            if ((ay << 12) <= ax * kTan22) {
                sx = 1;
                sy = 0;
            } else if ((ax << 12) <= ay * kTan22) {
                sx = 0;
                sy = 1;
            } else {
                sx = 1;
                sy = (gx > 0) == (gy > 0) ? 1 : -1;
            }
            const long off = sy * magStride + sx;
            const long mf = m[x + off];  // forward, along +step
            const long mb = m[x - off];  // backward
            // Ties go to the forward pixel, so a plateau two pixels wide gives one edgelet.
            if (!(mc > mb && mc >= mf)) continue;
            const double denom = static_cast<double>(mb - 2 * mc + mf);
            const double t = 0.5 * static_cast<double>(mb - mf) / denom;  // in steps, |t| <= 0.5
            // Move along the gradient to where the edge line crosses it: the nearest edge point.
            const double gl = std::sqrt(static_cast<double>(gx * gx + gy * gy));
            const double ux = static_cast<double>(gx) / gl, uy = static_cast<double>(gy) / gl;
            const double along = t * (static_cast<double>(sx) * ux + static_cast<double>(sy) * uy);
            set.push_back({xcVector<2>(x0 + x + 0.5 + along * ux, y0 + y + 0.5 + along * uy),
                           mc * toGrey, xfAngle8FromGradient(gx, gy)});
        }
    }
    out = std::move(set);
}
