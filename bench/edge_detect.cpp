// Edge detection and gradient speed on a 640 x 480 image of blobs, edges and noise.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "platform/vision/edge_detect.h"
#include "platform/vision/gradient.h"

namespace {

xcPelBuffer8 scene() {
    xcPelBuffer8 b(640, 480);
    std::mt19937 rng(1);
    std::normal_distribution<double> noise(0, 4);
    for (long y = 0; y < 480; ++y)
        for (long x = 0; x < 640; ++x) {
            double v = 60 + 0.1 * x;
            if (std::hypot(x - 200.0, y - 240.0) < 120) v += 90;
            if ((x / 40 + y / 40) % 2 == 0 && x > 380) v += 70;
            v += noise(rng);
            b.set(x, y, static_cast<unsigned char>(std::clamp(v, 0.0, 255.0)));
        }
    return b;
}

void BM_EdgeDetect(benchmark::State& state) {
    const xcPelBuffer8 img = scene();
    const xcEdgeletParams params(static_cast<double>(state.range(0)) / 10, 10.0, 1);
    xcEdgeletSet set;
    for (auto _ : state) {
        xfEdgeDetect(img, params, set);
        benchmark::DoNotOptimize(set.size());
    }
    state.SetItemsProcessed(state.iterations() * 640 * 480);
    state.counters["edgelets"] = static_cast<double>(set.size());
}
BENCHMARK(BM_EdgeDetect)->Arg(0)->Arg(10)->Arg(20)->ArgName("smoothing_x10")
    ->Unit(benchmark::kMillisecond);

void BM_Gradient(benchmark::State& state) {
    const xcPelBuffer8 img = scene();
    xcGradientImage g;
    for (auto _ : state) {
        xfGradient(img, static_cast<double>(state.range(0)) / 10, g);
        benchmark::DoNotOptimize(g.mag.rowPointer(0));
    }
    state.SetItemsProcessed(state.iterations() * 640 * 480);
}
BENCHMARK(BM_Gradient)->Arg(0)->Arg(10)->ArgName("smoothing_x10")->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
