// Normalised-correlation search: a 32 x 32 pattern in a 640 x 480 scene, the scene a smooth
// random texture with the pattern planted once. Items are scene pixels.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>

#include "platform/vision/ncc_search.h"

namespace {

// A smooth texture: a sum of random Gaussian blobs on a mid-grey background.
xcPelBuffer<unsigned char> makeScene(long w, long h, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> ux(0.0, static_cast<double>(w)),
        uy(0.0, static_cast<double>(h)), ua(-60.0, 60.0), us(2.0, 6.0);
    std::vector<double> acc(static_cast<std::size_t>(w * h), 128.0);
    for (int b = 0; b < 900; ++b) {
        const double cx = ux(rng), cy = uy(rng), a = ua(rng), s = us(rng);
        const long r = static_cast<long>(3 * s);
        for (long y = std::max(0L, static_cast<long>(cy) - r);
             y <= std::min(h - 1, static_cast<long>(cy) + r); ++y)
            for (long x = std::max(0L, static_cast<long>(cx) - r);
                 x <= std::min(w - 1, static_cast<long>(cx) + r); ++x) {
                const double dx = x + 0.5 - cx, dy = y + 0.5 - cy;
                acc[y * w + x] += a * std::exp(-(dx * dx + dy * dy) / (2 * s * s));
            }
    }
    xcPelBuffer<unsigned char> img(w, h);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x)
            img.rowPointer(y)[x] =
                static_cast<unsigned char>(std::clamp(std::lround(acc[y * w + x]), 0L, 255L));
    return img;
}

void BM_NccSearch32In640x480(benchmark::State& state) {
    const xcPelBuffer<unsigned char> scene = makeScene(640, 480, 7);
    xcPelBuffer_const<unsigned char> patch = scene;
    patch.window(xcPelRect(401, 233, 32, 32));
    xcPelBuffer<unsigned char> model(32, 32);
    for (long y = 0; y < 32; ++y)
        for (long x = 0; x < 32; ++x) model.rowPointer(y)[x] = patch.get(401 + x, 233 + y);
    xcNccSearchModel m;
    m.train(model);
    xcNccSearchRunParams rp;
    rp.accept(0.5);
    xcNccSearchResultSet rs;
    for (auto _ : state) {
        m.run(scene, rp, rs);
        benchmark::DoNotOptimize(rs);
    }
    if (rs.empty() || std::fabs(rs.result(0).location().x() - 401) > 0.25 ||
        std::fabs(rs.result(0).location().y() - 233) > 0.25)
        state.SkipWithError("the planted pattern was not found");
    state.SetItemsProcessed(state.iterations() * 640 * 480);
    state.counters["levels"] = static_cast<double>(m.numLevels());
}
BENCHMARK(BM_NccSearch32In640x480)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
