// Statistics of a grey-level histogram: count, mean, variance, standard deviation, median,
// mode, smallest and largest level.
//
// A histogram is a vector of bins; bin g counts the pixels of grey level g (xfPelHistogram
// gives 256 bins, but any non-zero number of bins works). Levels are bin indices.
//
// Definitions, over the counted bins (see ignoreEnds), with n = count() and h[g] the bins:
// - mean = sum(g h[g]) / n; variance = sum(h[g] (g - mean)^2) / n (the population variance,
//   divided by n, not n - 1); standardDeviation = sqrt(variance).
// - median: the smallest level g whose cumulative count h[0] + ... + h[g] is at least n / 2.
//   For an even split (levels 10 and 20 twice each) this is the lower middle level, 10.
// - mode: the level with the largest count, the smallest such level on a tie.
// - min / max: the smallest / largest level with a non-zero count.
#pragma once

#include <vector>

class xcHistoStats {
public:
    // Takes the statistics of `histogram`. With ignoreEnds true, the first and last bins (the
    // saturated levels 0 and 255 of a 256-bin grey histogram) are left out of every statistic;
    // with false, every bin counts.
    // Throws xcBadArgument when the histogram has no bin, a negative bin, or a total beyond the
    // range of long.
    xcHistoStats(const std::vector<long>& histogram, bool ignoreEnds);

    // The number of counted pixels; 0 when every counted bin is empty.
    long count() const { return m_count; }
    bool isEmpty() const { return m_count == 0; }
    // The number of bins of the histogram given.
    long numBins() const { return static_cast<long>(m_hist.size()); }

    // The statistics below throw xcBadArgument when count() is 0.
    long median() const;
    double mean() const;
    double variance() const;
    double standardDeviation() const;
    long mode() const;
    long min() const;
    long max() const;

private:
    void checkNotEmpty_() const;

    std::vector<long> m_hist;  // the histogram, with the ignored end bins set to 0
    long m_count = 0;
    double m_mean = 0.0;
    double m_variance = 0.0;
    long m_median = 0;
    long m_mode = 0;
    long m_min = 0;
    long m_max = 0;
};
