#include "platform/core/histo_stats.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "platform/core/exception.h"
#include "platform/core/pel_ops.h"

TEST(HistoStats, PlantedDistribution) {
    // 10 pixels at 50, 30 at 100, 60 at 200.
    std::vector<long> h(256, 0);
    h[50] = 10;
    h[100] = 30;
    h[200] = 60;
    const xcHistoStats s(h, false);
    EXPECT_EQ(s.count(), 100);
    EXPECT_EQ(s.median(), 200);  // cumulative 40 at 100, 100 at 200
    EXPECT_EQ(s.mode(), 200);
    EXPECT_EQ(s.min(), 50);
    EXPECT_EQ(s.max(), 200);
    EXPECT_DOUBLE_EQ(s.mean(), (50.0 * 10 + 100.0 * 30 + 200.0 * 60) / 100);  // 155
    const double var = (10 * 105.0 * 105 + 30 * 55.0 * 55 + 60 * 45.0 * 45) / 100;
    EXPECT_DOUBLE_EQ(s.variance(), var);
    EXPECT_DOUBLE_EQ(s.standardDeviation(), std::sqrt(var));
}

TEST(HistoStats, MedianIsTheLowerMiddleOnAnEvenSplit) {
    std::vector<long> h(256, 0);
    h[10] = 2;
    h[20] = 2;
    EXPECT_EQ(xcHistoStats(h, false).median(), 10);
    h[20] = 3;  // 2 of 5: not yet half
    EXPECT_EQ(xcHistoStats(h, false).median(), 20);
    h.assign(256, 0);
    h[7] = 1;
    EXPECT_EQ(xcHistoStats(h, false).median(), 7);
    // Mode ties go to the smaller level.
    h[3] = 1;
    EXPECT_EQ(xcHistoStats(h, false).mode(), 3);
}

TEST(HistoStats, IgnoreEndsDropsSaturatedLevels) {
    std::vector<long> h(256, 0);
    h[0] = 1000;
    h[255] = 500;
    h[40] = 3;
    h[60] = 1;
    const xcHistoStats all(h, false), inner(h, true);
    EXPECT_EQ(all.count(), 1504);
    EXPECT_EQ(all.median(), 0);
    EXPECT_EQ(inner.count(), 4);
    EXPECT_EQ(inner.median(), 40);
    EXPECT_EQ(inner.min(), 40);
    EXPECT_EQ(inner.max(), 60);
    EXPECT_DOUBLE_EQ(inner.mean(), 45.0);
}

TEST(HistoStats, MedianOfAnImageAgainstSorting) {
    std::mt19937 rng(12);
    xcPelBuffer<unsigned char> b(xcPelRect(0, 0, 23, 17));
    std::vector<int> values;
    for (long y = 0; y < 17; ++y)
        for (long x = 0; x < 23; ++x) {
            const auto v = static_cast<unsigned char>(60 + rng() % 90);
            b.set(x, y, v);
            values.push_back(v);
        }
    std::sort(values.begin(), values.end());
    const xcHistoStats s(xfPelHistogram(b), false);
    // n = 391 (odd): the median is the middle element of the sorted values.
    EXPECT_EQ(s.median(), values[195]);
    EXPECT_EQ(s.min(), values.front());
    EXPECT_EQ(s.max(), values.back());
}

TEST(HistoStats, BadAndEmptyHistograms) {
    EXPECT_THROW(xcHistoStats(std::vector<long>(), false), xcBadArgument);
    std::vector<long> h(256, 0);
    h[3] = -1;
    EXPECT_THROW(xcHistoStats(h, false), xcBadArgument);
    h[3] = 0;
    const xcHistoStats empty(h, false);
    EXPECT_EQ(empty.count(), 0);
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_THROW(empty.median(), xcBadArgument);
    EXPECT_THROW(empty.mean(), xcBadArgument);
    h[0] = 5;
    EXPECT_TRUE(xcHistoStats(h, true).isEmpty());
    h[1] = std::numeric_limits<long>::max();
    EXPECT_THROW(xcHistoStats(h, false), xcBadArgument);
    // Any number of bins.
    const xcHistoStats small(std::vector<long>{0, 4, 4}, false);
    EXPECT_EQ(small.median(), 1);
    EXPECT_EQ(small.numBins(), 3);
}
