#include "platform/core/histo_stats.h"

#include <cmath>

#include "platform/core/exception.h"
#include "platform/core/text.h"

xcHistoStats::xcHistoStats(const std::vector<long>& histogram, bool ignoreEnds)
    : m_hist(histogram) {
    const long nBins = static_cast<long>(m_hist.size());
    if (nBins == 0) throw xcBadArgument(L"Histogram statistics of a histogram without bins");
    for (long g = 0; g < nBins; ++g)
        if (m_hist[g] < 0)
            throw xcBadArgument(L"Histogram bin " + xfStr(g) + L" has the negative count " +
                                xfStr(m_hist[g]));
    if (ignoreEnds) {
        m_hist.front() = 0;
        m_hist.back() = 0;
    }

    long n = 0;
    double sum = 0.0;
    m_min = -1;
    for (long g = 0; g < nBins; ++g) {
        const long h = m_hist[g];
        if (__builtin_add_overflow(n, h, &n))
            throw xcBadArgument(L"Histogram total exceeds the range of long");
        if (h == 0) continue;
        sum += static_cast<double>(g) * static_cast<double>(h);
        if (m_min < 0) m_min = g;
        m_max = g;
        if (h > m_hist[m_mode] || m_hist[m_mode] == 0) m_mode = g;
    }
    m_count = n;
    if (n == 0) {
        m_min = 0;
        return;
    }
    m_mean = sum / static_cast<double>(n);

    // Second pass about the mean: no cancellation between large sums.
    double ss = 0.0;
    for (long g = m_min; g <= m_max; ++g) {
        const double d = static_cast<double>(g) - m_mean;
        ss += static_cast<double>(m_hist[g]) * d * d;
    }
    m_variance = ss / static_cast<double>(n);

    // Smallest g with 2 * cumulative >= n (exact, in integers).
    long cumulative = 0;
    for (long g = m_min; g <= m_max; ++g) {
        cumulative += m_hist[g];
        if (cumulative >= n - cumulative) {
            m_median = g;
            break;
        }
    }
}

void xcHistoStats::checkNotEmpty_() const {
    if (m_count == 0) throw xcBadArgument(L"Statistics of an empty histogram");
}

long xcHistoStats::median() const {
    checkNotEmpty_();
    return m_median;
}

double xcHistoStats::mean() const {
    checkNotEmpty_();
    return m_mean;
}

double xcHistoStats::variance() const {
    checkNotEmpty_();
    return m_variance;
}

double xcHistoStats::standardDeviation() const {
    checkNotEmpty_();
    return std::sqrt(m_variance);
}

long xcHistoStats::mode() const {
    checkNotEmpty_();
    return m_mode;
}

long xcHistoStats::min() const {
    checkNotEmpty_();
    return m_min;
}

long xcHistoStats::max() const {
    checkNotEmpty_();
    return m_max;
}
