// Speed of the whole-window pixel operations on a 1024 x 1024 window that starts at an odd
// column of a wider root (so rows are not aligned), in pixels per second.
#include <benchmark/benchmark.h>

#include <random>

#include "platform/core/histo_stats.h"
#include "platform/core/pel_ops.h"

namespace {

using Buf = xcPelBuffer<unsigned char>;
constexpr long kSize = 1024;

Buf noiseWindow(unsigned seed) {
    Buf b(kSize + 7, kSize + 2);
    std::mt19937 rng(seed);
    for (long y = 0; y < b.height(); ++y) {
        unsigned char* p = b.rowPointer(y);
        for (long x = 0; x < b.width(); ++x) p[x] = static_cast<unsigned char>(rng());
    }
    b.window(xcPelRect(3, 1, kSize, kSize));
    return b;
}

void setPixels(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * kSize * kSize);
}

void BM_PelCopy(benchmark::State& state) {
    const Buf src = noiseWindow(1);
    Buf dst = noiseWindow(2);
    for (auto _ : state) {
        xfPelCopy(src, dst);
        benchmark::ClobberMemory();
    }
    setPixels(state);
}
BENCHMARK(BM_PelCopy);

void BM_PelSet(benchmark::State& state) {
    Buf dst = noiseWindow(3);
    for (auto _ : state) {
        xfPelSet(dst, 17);
        benchmark::ClobberMemory();
    }
    setPixels(state);
}
BENCHMARK(BM_PelSet);

void BM_PelMap(benchmark::State& state) {
    const Buf src = noiseWindow(4);
    Buf dst = noiseWindow(5);
    xcPelMapTable t;
    for (int v = 0; v < 256; ++v) t[v] = static_cast<unsigned char>(255 - v);
    for (auto _ : state) {
        xfPelMap(src, dst, t);
        benchmark::ClobberMemory();
    }
    setPixels(state);
}
BENCHMARK(BM_PelMap);

void BM_PelMinPixelwise(benchmark::State& state) {
    const Buf a = noiseWindow(6), b = noiseWindow(7);
    Buf dst = noiseWindow(8);
    for (auto _ : state) {
        xfPelMin(a, b, dst);
        benchmark::ClobberMemory();
    }
    setPixels(state);
}
BENCHMARK(BM_PelMinPixelwise);

void BM_PelMaxValue(benchmark::State& state) {
    Buf a = noiseWindow(9);
    xfPelMap(a, [] {
        xcPelMapTable t;  // values 0 .. 127, so the scan cannot stop early
        for (int v = 0; v < 256; ++v) t[v] = static_cast<unsigned char>(v / 2);
        return t;
    }());
    for (auto _ : state) benchmark::DoNotOptimize(xfPelMax(a));
    setPixels(state);
}
BENCHMARK(BM_PelMaxValue);

void BM_PelHistogram(benchmark::State& state) {
    const Buf a = noiseWindow(10);
    for (auto _ : state) benchmark::DoNotOptimize(xfPelHistogram(a));
    setPixels(state);
}
BENCHMARK(BM_PelHistogram);

void BM_PelHistogramFlat(benchmark::State& state) {
    Buf a = noiseWindow(11);
    xfPelSet(a, 128);  // one value: the worst case for a single counter table
    for (auto _ : state) benchmark::DoNotOptimize(xfPelHistogram(a));
    setPixels(state);
}
BENCHMARK(BM_PelHistogramFlat);

void BM_PelEqual(benchmark::State& state) {
    const Buf a = noiseWindow(12);
    const Buf b = xfPelCopy(a);
    for (auto _ : state) benchmark::DoNotOptimize(xfPelEqual(a, b));
    setPixels(state);
}
BENCHMARK(BM_PelEqual);

void BM_HistoStatsMedian(benchmark::State& state) {
    const std::vector<long> h = xfPelHistogram(noiseWindow(13));
    for (auto _ : state) benchmark::DoNotOptimize(xcHistoStats(h, false).median());
}
BENCHMARK(BM_HistoStatsMedian);

}  // namespace

BENCHMARK_MAIN();
