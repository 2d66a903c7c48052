// How late a time-out fires in a loop that polls xcAttention::check(), and what one check()
// costs.
//
// BM_TimeoutLateness/<us>: a 20 ms time-out; the loop does about <us> microseconds of
// arithmetic between checks. Each iteration is one run; the counters give the lateness
// (time from the deadline to the catch) in milliseconds: median, 99th percentile and maximum
// over the runs; and late_calls, the number of check() calls that returned normally after the
// deadline (median and 99th percentile), which does not count the time the loop spent waiting
// for a CPU. On a loaded machine the lateness in milliseconds is mostly scheduling delay.
// BM_TimeoutLatenessPaceChange: the loop polls every ~0.5 us until just before the deadline,
// then slows to ~500 us per check: the worst case of the adaptive clock reads.
// BM_Check*: one check() per iteration, without a tag, with a far tag, with three nested tags.
// BM_GeoAlignTimeout/<case>/<ms>: the geometric alignment tool under a time-out of <ms>, where
// lateness is the time from the deadline to the catch (every time-out must end within 10 ms):
//   0: a run over a 2000 x 1500 text scene with a wide scale zone (0.25 ... 4, full turn,
//      accept 0.3, numToFind 1000), the search whose template loop once went unpolled;
//   1: a run over a 4000 x 3000 text scene with the same zones;
//   2: training on a 4000 x 3000 text image (auto contrast, every flag).
// "completed" counts the runs that ended before their deadline (no lateness then).
//
//   build/bench/bin/bench_timeout_lateness --benchmark_filter=GeoAlign
//       --benchmark_repetitions=9 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <vector>

#include "platform/core/attention.h"
#include "platform/core/timeout.h"
#include "platform/vision/geo_align_pattern.h"
#include "tools/synth/font.h"
#include "tools/synth/glyph_model.h"
#include "tools/synth/scene.h"

namespace {

using Clock = std::chrono::steady_clock;

// Arithmetic the compiler cannot drop, `n` rounds of it.
std::uint64_t spin(std::uint64_t n, std::uint64_t x) {
    for (std::uint64_t i = 0; i < n; ++i) {
        x = x * 6364136223846793005ULL + 1442695040888963407ULL;
        benchmark::DoNotOptimize(x);
    }
    return x;
}

// Rounds of spin() per microsecond, measured once.
double roundsPerMicrosecond() {
    static const double rate = [] {
        std::uint64_t x = 1;
        const std::uint64_t n = 2'000'000;
        auto t0 = Clock::now();
        x = spin(n, x);
        auto t1 = Clock::now();
        benchmark::DoNotOptimize(x);
        return n / std::chrono::duration<double, std::micro>(t1 - t0).count();
    }();
    return rate;
}

double quantile(std::vector<double>& v, double q) {
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, static_cast<std::size_t>(q * v.size()))];
}

void reportLateness(benchmark::State& state, std::vector<double>& lateMs,
                    std::vector<double>& lateCalls) {
    state.counters["late_median_ms"] = quantile(lateMs, 0.5);
    state.counters["late_p99_ms"] = quantile(lateMs, 0.99);
    state.counters["late_max_ms"] = lateMs.back();
    state.counters["late_calls_median"] = quantile(lateCalls, 0.5);
    state.counters["late_calls_p99"] = quantile(lateCalls, 0.99);
    state.counters["runs"] = static_cast<double>(lateMs.size());
}

void BM_TimeoutLateness(benchmark::State& state) {
    const auto rounds = static_cast<std::uint64_t>(state.range(0) * roundsPerMicrosecond());
    std::vector<double> lateMs, lateCalls;
    std::uint64_t x = 1;
    for (auto _ : state) {
        const auto deadline = Clock::now() + std::chrono::milliseconds(20);
        xcAttentionTag tag;
        tag.attachTimeout(0.020);
        int late = 0;
        try {
            for (;;) {
                xcAttention::check();
                late += Clock::now() >= deadline;
                x = spin(rounds, x);
            }
        } catch (const xcTimeout::Expired&) {
            lateMs.push_back(
                std::chrono::duration<double, std::milli>(Clock::now() - deadline).count());
            lateCalls.push_back(late);
        }
    }
    benchmark::DoNotOptimize(x);
    reportLateness(state, lateMs, lateCalls);
}
BENCHMARK(BM_TimeoutLateness)
    ->Arg(200)
    ->Arg(20)
    ->Arg(1)
    ->Iterations(200)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_TimeoutLatenessPaceChange(benchmark::State& state) {
    const auto fast = static_cast<std::uint64_t>(0.5 * roundsPerMicrosecond());
    const auto slow = static_cast<std::uint64_t>(500 * roundsPerMicrosecond());
    std::vector<double> lateMs, lateCalls;
    std::uint64_t x = 1;
    for (auto _ : state) {
        const auto start = Clock::now();
        const auto deadline = start + std::chrono::milliseconds(20);
        const auto slowFrom = start + std::chrono::microseconds(19'900);
        xcAttentionTag tag;
        tag.attachTimeout(0.020);
        int late = 0;
        try {
            for (;;) {
                xcAttention::check();
                const auto now = Clock::now();
                late += now >= deadline;
                x = spin(now < slowFrom ? fast : slow, x);
            }
        } catch (const xcTimeout::Expired&) {
            lateMs.push_back(
                std::chrono::duration<double, std::milli>(Clock::now() - deadline).count());
            lateCalls.push_back(late);
        }
    }
    benchmark::DoNotOptimize(x);
    reportLateness(state, lateMs, lateCalls);
}
BENCHMARK(BM_TimeoutLatenessPaceChange)
    ->Iterations(100)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_CheckWithoutTag(benchmark::State& state) {
    for (auto _ : state) xcAttention::check();
}
BENCHMARK(BM_CheckWithoutTag);

void BM_CheckWithFarTimeout(benchmark::State& state) {
    xcAttentionTag tag;
    tag.attachTimeout(3600.0);
    for (auto _ : state) xcAttention::check();
}
BENCHMARK(BM_CheckWithFarTimeout);

void BM_CheckWithNestedTags(benchmark::State& state) {
    xcAttentionTag a, b, c;
    a.attachTimeout(3600.0);
    b.attachTimeoutCustom(7200.0, 1);
    c.attachTimeout(1800.0);
    for (auto _ : state) xcAttention::check();
}
BENCHMARK(BM_CheckWithNestedTags);

// Attaching and detaching a tag (one per character of a search, for instance).
void BM_AttachTag(benchmark::State& state) {
    for (auto _ : state) {
        xcAttentionTag tag;
        tag.attachTimeoutCustom(10.0, 0x80000064);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_AttachTag);

// A grey text scene of width x height pixels: rows of mixed glyphs at several angles and
// sizes (fixed seed).
xcPelBuffer<unsigned char> textScene(long width, long height) {
    const xcSynthFont font(xcSynthFont::locate());
    xcSynthSceneParams p;
    p.width = width;
    p.height = height;
    p.pixelSize = 30.0;
    p.blurSigma = 0.7;
    p.noiseSigma = 4.0;
    p.seed = 7;
    for (long y = 60, k = 0; y < height - 40; y += 70, ++k) {
        xcSynthLineSpec line;
        line.text = L"AGK4R7eh2JPy 0815 QUALITY LOT";
        line.start = xcVector<2>(40.0 + (k % 5) * 37.0, static_cast<double>(y));
        line.angle = (k % 7) - 3.0;
        line.scale = 0.8 + 0.1 * (k % 5);
        p.lines.push_back(line);
    }
    return xfSynthScene(font, p).image;
}

void BM_GeoAlignTimeout(benchmark::State& state) {
    const long kind = state.range(0);
    static const xcPelBuffer<unsigned char> medium = textScene(2000, 1500);
    static const xcPelBuffer<unsigned char> large = textScene(4000, 3000);
    static const xcGeoAlignPattern pattern = [] {
        const xcSynthFont font(xcSynthFont::locate());
        xcSynthGlyphParams gp;
        gp.pixelSize = 30.0;
        const xcSynthGlyph g = xfSynthGlyphModel(font, U'R', gp);
        xcPelBuffer_const<unsigned char> img = g.image;
        img.window(g.cell);
        xcGeoAlignPattern p;
        p.train(img, xc_GeoDefs::eTrainAllFlags);
        return p;
    }();
    xcGeoAlignRunParams run;
    run.acceptThreshold(0.3);
    run.numToFind(1000);
    run.zone(xc_GeoDefs::eDofAngle, -180.0, 180.0);
    run.zone(xc_GeoDefs::eDofScale, 0.25, 4.0);
    run.zoneEnable(xc_GeoDefs::eZoneAll);
    std::vector<double> lateMs, unused;
    long completed = 0;
    for (auto _ : state) {
        xcGeoAlignResultSet rs;
        xcGeoAlignPattern trained;
        Clock::time_point deadline;
        try {
            xcAttentionTag tag;
            deadline = Clock::now() + std::chrono::milliseconds(state.range(1));
            tag.attachTimeout(static_cast<double>(state.range(1)) / 1000.0);
            if (kind == 2)
                trained.train(large, xc_GeoDefs::eTrainAllFlags);
            else
                pattern.run(kind == 0 ? medium : large, run, rs);
            ++completed;
        } catch (const xcTimeout::Expired&) {
            lateMs.push_back(
                std::chrono::duration<double, std::milli>(Clock::now() - deadline).count());
            unused.push_back(0);
        }
    }
    if (!lateMs.empty()) reportLateness(state, lateMs, unused);
    state.counters["completed"] = static_cast<double>(completed);
}
BENCHMARK(BM_GeoAlignTimeout)
    ->Args({0, 50})
    ->Args({0, 400})
    ->Args({1, 50})
    ->Args({1, 400})
    ->Args({2, 50})
    ->Args({2, 200})
    ->Args({2, 600})
    ->Args({2, 1500})
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
