// Sub-model tool: one run of a 24 x 32 character image against another within a 24 x 32
// translation range, half of the model allowed out of the image along each axis (the
// parameters an alphabet compilation uses). Items are offsets tried (25 x 33).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "platform/vision/sub_model_tool.h"

namespace {

// A character-like image: dark anti-aliased strokes between the given points on a light
// background.
xcPelBuffer<unsigned char> strokes(const std::vector<std::array<double, 4>>& segs) {
    xcPelBuffer<unsigned char> img(24, 32);
    for (long y = 0; y < 32; ++y)
        for (long x = 0; x < 24; ++x) {
            double dmin = 1e9;
            for (const auto& s : segs) {
                const double px = x + 0.5 - s[0], py = y + 0.5 - s[1];
                const double vx = s[2] - s[0], vy = s[3] - s[1];
                const double t = std::clamp((px * vx + py * vy) / (vx * vx + vy * vy), 0.0, 1.0);
                dmin = std::min(dmin, std::hypot(px - t * vx, py - t * vy));
            }
            const double ink = std::clamp(2.0 - dmin, 0.0, 1.0);
            img.rowPointer(y)[x] = static_cast<unsigned char>(std::lround(220 - 180 * ink));
        }
    return img;
}

void runBench(benchmark::State& state, const xcPelBuffer<unsigned char>& mask) {
    const auto a = strokes({{3, 29, 12, 3}, {12, 3, 21, 29}, {7, 19, 17, 19}});
    const auto x = strokes({{4, 3, 20, 29}, {20, 3, 4, 29}});
    xc_SubModelTool tool;
    tool.train(xcFlexSubModel(a, mask, L"A"), xcFlexSubModelCorTrainParams());
    xcFlexSubModelCorRunParams rp;
    rp.acceptThreshold(0.0);
    rp.partialMatchRect(xcPelRect(-12, -16, 24, 32));
    rp.xyUncertainty({24, 32});
    xc_SubModelResultSet rs;
    for (auto _ : state) {
        tool.run(x, xc2XformLinear(), rp, {}, rs);
        benchmark::DoNotOptimize(rs);
    }
    if (rs.empty()) state.SkipWithError("no result");
    state.SetItemsProcessed(state.iterations() * 25 * 33);
}

void BM_SubModel24x32(benchmark::State& state) { runBench(state, {}); }
BENCHMARK(BM_SubModel24x32)->Unit(benchmark::kMicrosecond);

// The same with a care mask on the model (the general path: six sums per offset).
void BM_SubModel24x32Masked(benchmark::State& state) {
    xcPelBuffer<unsigned char> mask(24, 32);
    for (long y = 0; y < 32; ++y)
        for (long x = 0; x < 24; ++x) mask.rowPointer(y)[x] = (x < 2 || x > 21) ? 0 : 255;
    runBench(state, mask);
}
BENCHMARK(BM_SubModel24x32Masked)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
