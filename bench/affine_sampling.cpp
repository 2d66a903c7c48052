// Affine sampling speed: a 640 x 480 output sampled from a 640 x 480 source under a rotation
// (17 degrees) and under a rotation with a scale, per interpolation. Items are output pixels.
#include <benchmark/benchmark.h>

#include <random>

#include "platform/core/affine_sampling.h"

namespace {

constexpr long kW = 640, kH = 480;

const xcPelBuffer<unsigned char>& source() {
    static const xcPelBuffer<unsigned char> src = [] {
        xcPelBuffer<unsigned char> b(kW, kH);
        std::mt19937 rng(1);
        for (long y = 0; y < kH; ++y) {
            unsigned char* row = b.rowPointer(y);
            for (long x = 0; x < kW; ++x) row[x] = static_cast<unsigned char>(rng() & 0xFF);
        }
        return b;
    }();
    return src;
}

// The window's own rectangle turned by `degrees` about its centre and scaled by `scale`.
xcAffineSamplingParams params(double degrees, double scale, long interpolation) {
    xcAffineRectangle r(xcVector<2>(0, 0), kW * scale, kH * scale, xcDegree(degrees));
    r.center(xcVector<2>(kW / 2.0, kH / 2.0));
    return xcAffineSamplingParams(r, kW, kH, interpolation);
}

void run(benchmark::State& state, double degrees, double scale, long interpolation) {
    const xcAffineSamplingParams p = params(degrees, scale, interpolation);
    xcPelBuffer<unsigned char> out(kW, kH);
    for (auto _ : state) {
        xfAffineTransformImage(source(), p, out);
        benchmark::DoNotOptimize(out.rowPointer(0));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kW * kH);
}

void BM_AffineSampleNearestRot17(benchmark::State& s) { run(s, 17, 1.0, 0); }
void BM_AffineSampleBilinearRot17(benchmark::State& s) { run(s, 17, 1.0, 2); }
void BM_AffineSampleBicubicRot17(benchmark::State& s) { run(s, 17, 1.0, 3); }
void BM_AffineSampleBilinearRot17Scale07(benchmark::State& s) { run(s, 17, 0.7, 2); }
void BM_AffineSampleBicubicRot17Scale07(benchmark::State& s) { run(s, 17, 0.7, 3); }
// Fresh output buffer per call (allocation included).
void BM_AffineSampleBilinearRot17NewBuffer(benchmark::State& state) {
    const xcAffineSamplingParams p = params(17, 1.0, 2);
    for (auto _ : state) {
        xcPelBuffer<unsigned char> out = xfAffineTransformImage(source(), p);
        benchmark::DoNotOptimize(out.rowPointer(0));
    }
    state.SetItemsProcessed(state.iterations() * kW * kH);
}

}  // namespace

BENCHMARK(BM_AffineSampleNearestRot17);
BENCHMARK(BM_AffineSampleBilinearRot17);
BENCHMARK(BM_AffineSampleBicubicRot17);
BENCHMARK(BM_AffineSampleBilinearRot17Scale07);
BENCHMARK(BM_AffineSampleBicubicRot17Scale07);
BENCHMARK(BM_AffineSampleBilinearRot17NewBuffer);

BENCHMARK_MAIN();
