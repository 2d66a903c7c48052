// Character image utilities: blankness score of a 24x32 area and a 30-degree turn of a
// 64x64 image.
#include <benchmark/benchmark.h>

#include <numbers>

#include "oc/imageutil/affine_transform.h"
#include "oc/imageutil/blankness.h"

namespace {

xcPelBuffer<unsigned char> texture(long w, long h) {
    xcPelBuffer<unsigned char> b(w, h);
    unsigned s = 12345;
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) {
            s = s * 1103515245u + 12345u;
            b.set(x, y, static_cast<unsigned char>(((x / 3 + y / 4) % 2 ? 200 : 40) + ((s >> 16) & 15)));
        }
    return b;
}

void BM_ScoreBlankness24x32(benchmark::State& state) {
    xcPelBuffer<unsigned char> target = texture(24, 32);
    xcPelBuffer<unsigned char> model(24, 32);
    const xcPelRect area(0, 0, 24, 32);
    for (auto _ : state) {
        double s = xfScoreBlankness(target, {}, xcXform<2>(), model, area, {});
        benchmark::DoNotOptimize(s);
    }
    state.SetItemsProcessed(state.iterations() * 24 * 32);
}
BENCHMARK(BM_ScoreBlankness24x32);

void BM_AffineTransform64x64By30Degrees(benchmark::State& state) {
    xcPelBuffer<unsigned char> src = texture(64, 64);
    for (auto _ : state) {
        xcPelBuffer<unsigned char> out, mask;
        xf_AffineTransform(src, {}, xcRadian(std::numbers::pi / 6), 1.0, out, mask, 2, 2);
        benchmark::DoNotOptimize(out);
    }
    state.SetItemsProcessed(state.iterations() * 64 * 64);
}
BENCHMARK(BM_AffineTransform64x64By30Degrees);

}  // namespace

BENCHMARK_MAIN();
