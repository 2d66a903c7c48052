// Exhaustive correlation speed: a 24 x 32 model over a 48 x 64 area (825 placements), and over
// a 640 x 480 image; with and without an ignore mask.
#include <benchmark/benchmark.h>

#include <random>

#include "platform/vision/correlation.h"

namespace {

xcPelBuffer8 noise(long w, long h, unsigned seed) {
    xcPelBuffer8 b(w, h);
    std::mt19937 rng(seed);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) b.set(x, y, static_cast<unsigned char>(rng() & 255));
    return b;
}

void run(benchmark::State& state, long w, long h, bool masked) {
    const xcPelBuffer8 img = noise(w, h, 1);
    const xcPelBuffer8 model = noise(24, 32, 2);
    xcPelBuffer8 ignore;
    if (masked) {
        ignore = xcPelBuffer8(24, 32);
        for (long y = 0; y < 32; ++y)
            for (long x = 0; x < 24; ++x) ignore.set(x, y, (x + y) % 5 == 0 ? 255 : 0);
    }
    const xc_CorrelationModel<unsigned char> m(model, ignore);
    xcPelBuffer<std::int16_t> scores;
    for (auto _ : state) {
        xc_CorrelationBest best = xf_corr_exhaustive(img, m, 2, scores);
        benchmark::DoNotOptimize(best);
    }
    const long placements = (w - 24 + 1) * (h - 32 + 1);
    state.SetItemsProcessed(state.iterations() * placements);  // placements per second
    state.counters["MAC/s"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * placements * 24 * 32, benchmark::Counter::kIsRate);
}

void BM_CorrelationSmall(benchmark::State& s) { run(s, 48, 64, false); }
void BM_CorrelationSmallMasked(benchmark::State& s) { run(s, 48, 64, true); }
void BM_CorrelationLarge(benchmark::State& s) { run(s, 640, 480, false); }
void BM_CorrelationLargeMasked(benchmark::State& s) { run(s, 640, 480, true); }
BENCHMARK(BM_CorrelationSmall)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CorrelationSmallMasked)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CorrelationLarge)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CorrelationLargeMasked)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
