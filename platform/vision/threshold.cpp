#include "platform/vision/threshold.h"

#include <algorithm>
#include <cstring>

#include "platform/core/attention.h"

namespace {

// Rows are counted in blocks of about this many pixels between attention polls.
constexpr long kPollPixels = 1L << 18;

}  // namespace

xcThresholdResult xfThresholdWGV(const long long (&hist)[256]) {
    long long n = 0, s = 0;
    int lowest = -1;
    for (int v = 0; v < 256; ++v) {
        if (hist[v] < 0) throw xcBadArgument(L"Histogram counts must not be negative");
        n += hist[v];
        s += hist[v] * v;
        if (lowest < 0 && hist[v] > 0) lowest = v;
    }
    if (n == 0) return {0, 0.0, 0};

    // Between-group variance of the split at t, times n^2: (n0 * s - n * s0)^2 / (n0 * n1).
    // Maximising it minimises the within-group variance.
    double best = -1.0;
    int bestT = lowest;
    long long n0 = 0, s0 = 0;
    for (int t = 1; t < 256; ++t) {
        n0 += hist[t - 1];
        s0 += hist[t - 1] * (t - 1);
        const long long n1 = n - n0;
        if (n0 == 0 || n1 == 0) continue;
        const double d = static_cast<double>(n0) * static_cast<double>(s) -
                         static_cast<double>(n) * static_cast<double>(s0);
        const double between = d * d / (static_cast<double>(n0) * static_cast<double>(n1));
        if (between > best) {
            best = between;
            bestT = t;
        }
    }
    if (best < 0) return {lowest, 0.0, static_cast<long>(n)};  // a single grey level

    // bestT is the first threshold of its gap: the low group ends at a = bestT - 1.
    const int a = bestT - 1;
    int b = bestT;
    while (hist[b] == 0) ++b;
    const int t = (a + b + 1) / 2;

    // best = n0 * n1 * (m1 - m0)^2 and total = n * sum(v^2) - s^2 are the between-group and
    // the total variance, both times n^2.
    long long ss = 0;
    for (int v = 0; v < 256; ++v) ss += hist[v] * v * v;
    const double total = static_cast<double>(n) * static_cast<double>(ss) -
                         static_cast<double>(s) * static_cast<double>(s);
    double score = total > 0 ? best / total : 0.0;
    if (score > 1.0) score = 1.0;
    return {t, score, static_cast<long>(n)};
}

namespace {

// The histogram of the window's pixels (those the mask cares for, when one is given), polling
// the attention check every block of rows.
void windowHistogram(const xcPelBuffer_const<unsigned char>& image,
                     const xcPelBuffer_const<unsigned char>* mask, long long (&hist)[256]) {
    std::memset(hist, 0, sizeof hist);
    const xcPelRect win = image.window();
    const long w = win.width();
    const long pollRows = std::max(1L, kPollPixels / std::max(1L, w));
    for (long y = 0; y < win.height(); ++y) {
        if (y % pollRows == 0) xcAttention::check();
        const unsigned char* r = image.rowPointer(win.y() + y);
        if (!mask) {
            for (long x = 0; x < w; ++x) ++hist[r[x]];
            continue;
        }
        const unsigned char* m = mask->pelPointer(win.x(), win.y() + y);
        for (long x = 0; x < w; ++x) hist[r[x]] += m[x] >> 7;  // 1 exactly when m >= 128
    }
}

}  // namespace

void xfThresholdWGV(const xcPelBuffer_const<unsigned char>& image, xcThresholdResult& result) {
    long long hist[256];
    windowHistogram(image, nullptr, hist);
    result = xfThresholdWGV(hist);
}

void xfThresholdWGV(const xcPelBuffer_const<unsigned char>& image,
                    const xcPelBuffer_const<unsigned char>& mask, xcThresholdResult& result) {
    const xcPelRect win = image.window();
    if (!mask.isBound()) throw xcBadArgument(L"Threshold mask is unbound");
    if (!win.isNull() && !mask.window().contains(win))
        throw xcBadArgument(L"Threshold mask window does not cover the image window");
    long long hist[256];
    windowHistogram(image, &mask, hist);
    result = xfThresholdWGV(hist);
}
