#include "platform/vision/geo_align_fitset.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "platform/core/attention.h"
#include "platform/vision/geo_align_edge.h"
#include "platform/vision/gradient.h"

namespace {

// The shifts: the rank-1 lattice (k / 5, 2k / 5) centred on 0, so that edges of every
// direction meet several phases.
constexpr int kShifts = 5;

// Rows between attention polls for rows of `w` units of work: about 2^15 units (well under a
// millisecond).
long pollRows(long w) { return std::max(1L, 32768L / std::max(1L, w)); }

// Normalised Gaussian weights w[i + r] for taps i = -r ... r of a Gaussian of `sigma` centred
// at `shift`.
std::vector<float> shiftedGaussian(double sigma, double shift, long r) {
    std::vector<float> w(static_cast<size_t>(2 * r + 1));
    double sum = 0;
    for (long i = -r; i <= r; ++i) {
        const double d = i - shift;
        const double v = std::exp(-0.5 * d * d / (sigma * sigma));
        w[static_cast<size_t>(i + r)] = static_cast<float>(v);
        sum += v;
    }
    for (float& v : w) v = static_cast<float>(v / sum);
    return w;
}

// std::lround for values well inside the 16-bit range, without the library call and without
// branches (so that the loop over a row is vectorised).
inline std::int16_t roundHalfAway(float v) {
    const int i = static_cast<int>(v);  // towards zero
    const float frac = v - static_cast<float>(i);
    return static_cast<std::int16_t>(i + (frac >= 0.5f ? 1 : 0) - (frac <= -0.5f ? 1 : 0));
}

// The gradient field of the rectangle [x0, x0 + w) x [y0, y0 + h) of the plane blurred by a
// Gaussian of `sigma` centred at (sx, sy) (the image content moves by the shift), in the
// field's units (xc_GeoGradField::kUnits per grey level per pixel).
void shiftedField(const xc_GeoPlane& plane, double sigma, double sx, double sy, long x0, long y0,
                  long w, long h, xc_GeoGradField& out) {
    const long r = static_cast<long>(std::ceil(3.0 * sigma + std::fabs(sx) + std::fabs(sy))) + 1;
    const std::vector<float> kx = shiftedGaussian(sigma, sx, r);
    const std::vector<float> ky = shiftedGaussian(sigma, sy, r);
    // Blurred values of the rectangle grown by one pixel for the Sobel operator, streamed: a
    // ring of the 2r + 1 horizontally blurred rows that one blurred row needs, and a ring of
    // the 3 blurred rows that one gradient row needs. Polled between bands of rows; only the
    // gradients are as large as the rectangle, and they grow a row at a time, so that their
    // pages are first touched (and the small rings freed) between polls.
    const long bw = w + 2, bh = h + 2, taps = 2 * r + 1;
    const long polls = pollRows(bw * 2 * taps);
    std::vector<float> rows(static_cast<size_t>(bw * taps)), img(static_cast<size_t>(bw * 3));
    const auto rowAt = [&](long j) { return rows.data() + (j % taps) * bw; };
    std::vector<float> src(static_cast<size_t>(bw + 2 * r));  // a row, edge pixels repeated
    // The horizontal pass convolves: tap t = -r ... r reads the source t pixels to the left.
    std::vector<const float*> tapRows(static_cast<size_t>(taps));
    for (long t = 0; t < taps; ++t) tapRows[static_cast<size_t>(t)] = src.data() + 2 * r - t;
    const auto blurRow = [&](long j) {
        const long y = std::clamp(y0 - 1 - r + j, 0L, plane.h - 1);
        const unsigned char* in = plane.row(y);
        // Pixels k of the row with x0 - 1 - r + k inside the plane are copied as they are;
        // those beyond either end repeat the end pixel.
        const long n = bw + 2 * r, first = x0 - 1 - r;
        const long ka = std::clamp(-first, 0L, n), kb = std::clamp(plane.w - first, ka, n);
        float* sp = src.data();
        std::fill(sp, sp + ka, static_cast<float>(in[0]));
        for (long k = ka; k < kb; ++k) sp[k] = in[first + k];
        std::fill(sp + kb, sp + n, static_cast<float>(in[plane.w - 1]));
        xf_WeightedRowSum(kx.data(), tapRows.data(), taps, bw, rowAt(j));
    };
    // Sobel, scaled from 8 per grey level per pixel to the field's units.
    const float scale = xc_GeoGradField::kUnits / 8.0f;
    std::vector<const float*> colRows(static_cast<size_t>(taps));
    std::vector<float> dx(static_cast<size_t>(w)), dy(static_cast<size_t>(w));
    std::vector<std::int16_t> gx, gy;
    gx.reserve(static_cast<size_t>(w * h));
    gy.reserve(static_cast<size_t>(w * h));
    for (long j = 0; j < 2 * r; ++j) blurRow(j);
    for (long j = 0; j < bh; ++j) {
        if (j % polls == 0) xcAttention::check();
        blurRow(j + 2 * r);
        float* d = img.data() + (j % 3) * bw;
        for (long t = -r; t <= r; ++t) colRows[static_cast<size_t>(t + r)] = rowAt(j + r - t);
        xf_WeightedRowSum(ky.data(), colRows.data(), taps, bw, d);
        if (j < 2) continue;
        const float* a = img.data() + ((j - 2) % 3) * bw;
        const float* b = img.data() + ((j - 1) % 3) * bw;
        xf_SobelRow(a + 1, b + 1, d + 1, w, dx.data(), dy.data());
        const size_t at = gx.size();
        gx.resize(at + static_cast<size_t>(w));
        gy.resize(at + static_cast<size_t>(w));
        std::int16_t* ox = gx.data() + at;
        std::int16_t* oy = gy.data() + at;
        for (long i = 0; i < w; ++i) {
            ox[i] = roundHalfAway(dx[static_cast<size_t>(i)] * scale);
            oy[i] = roundHalfAway(dy[static_cast<size_t>(i)] * scale);
        }
    }
    out.assign(x0, y0, w, h, std::move(gx), std::move(gy));
}

}  // namespace

void xf_GeoBuildFitSets(const xc_GeoPlane& plane, double off, const std::vector<xc_GeoSeed>& seeds,
                        int level, const xcVector<2>& ref, double thr, xc_GeoModel& model) {
    constexpr int K = xc_GeoModel::kFitSets;
    // The rectangle of the plane that the estimator may read around the seeds.
    double xmin = 1e300, ymin = 1e300, xmax = -1e300, ymax = -1e300;
    for (const xc_GeoSeed& s : seeds) {
        xmin = std::min(xmin, s.x);
        xmax = std::max(xmax, s.x);
        ymin = std::min(ymin, s.y);
        ymax = std::max(ymax, s.y);
    }
    const long margin = 6;
    const long x0 = std::max(0L, static_cast<long>(std::floor(xmin + off)) - margin);
    const long y0 = std::max(0L, static_cast<long>(std::floor(ymin + off)) - margin);
    const long x1 = std::min(plane.w, static_cast<long>(std::ceil(xmax + off)) + margin);
    const long y1 = std::min(plane.h, static_cast<long>(std::ceil(ymax + off)) + margin);

    xc_GeoEdgeProbe probe;
    probe.reach = 1.5;
    probe.threshold = static_cast<float>(xc_GeoGradField::kUnits * thr);
    const size_t n = seeds.size();
    // Offsets along the normal of every seed at every blur; NaN where not found.
    std::vector<double> delta(n * K, std::nan(""));
    xc_GeoGradField field;
    for (int k = 0; k < K; ++k) {
        std::vector<double> sum(n, 0.0);
        std::vector<int> count(n, 0);
        for (int q = 0; q < kShifts; ++q) {
            xcAttention::check();
            const double sx = static_cast<double>(q) / kShifts - 0.4;
            const double sy = std::fmod(2.0 * q / kShifts, 1.0) - 0.4;
            shiftedField(plane, xc_GeoModel::kFitBlurs[k], sx, sy, x0, y0, x1 - x0, y1 - y0, field);
            for (size_t i = 0; i < n; ++i) {
                const xc_GeoSeed& s = seeds[i];
                double d;
                if (xf_GeoEdgeAlongNormal(field, s.x + off + sx, s.y + off + sy, s.ux, s.uy, probe,
                                          d)) {
                    // The seed was moved with the image, so d is the offset in either frame.
                    sum[i] += d;
                    ++count[i];
                }
            }
        }
        for (size_t i = 0; i < n; ++i)
            if (2 * count[i] > kShifts) delta[i * K + static_cast<size_t>(k)] = sum[i] / count[i];
    }
    const double g = xf_GeoGrain(level);
    model.fitSets.assign(K, {});
    for (size_t i = 0; i < n; ++i) {
        if (std::isnan(delta[i * K])) continue;
        const xc_GeoSeed& s = seeds[i];
        double last = delta[i * K];
        for (int k = 0; k < K; ++k) {
            const double d = delta[i * K + static_cast<size_t>(k)];
            if (!std::isnan(d)) last = d;
            xc_GeoPoint p;
            p.x = static_cast<float>((s.x + last * s.ux) * g - ref.x());
            p.y = static_cast<float>((s.y + last * s.uy) * g - ref.y());
            p.ux = s.ux;
            p.uy = s.uy;
            model.fitSets[static_cast<size_t>(k)].push_back(p);
        }
    }
    model.fitPoints = model.fitSets.front();
}
