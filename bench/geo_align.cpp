// Speed of the geometric alignment tool: one 30-px DejaVu Sans glyph (em size 30 px) in a
// 640 x 480 scene (dark on light, blur 0.7 px, noise sigma 4), full turn, numToFind 3.
//
// BM_GeoAlignRun/0: scale zone 0.9 ... 1.1 searched (zone enable 3).
// BM_GeoAlignRun/1: scale fixed (zone enable 1, nominal scale 1.0, glyph drawn at scale 1).
// BM_GeoAlignRun/2: the character extraction's default zones (angle -180 ... 180, scale 0.5 ...
// 2.0) on the scenes of /0.
// Each iteration runs one of 12 scenes (glyphs and poses in turn), so the median is over
// glyphs as well as repetitions. BM_GeoAlignTrain: training on one glyph model.
//
//   build/bench/bin/bench_geo_align --benchmark_repetitions=9
//                                   --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "platform/vision/geo_align_pattern.h"
#include "tools/synth/font.h"
#include "tools/synth/glyph_model.h"
#include "tools/synth/random.h"
#include "tools/synth/scene.h"

namespace {

struct Case {
    xcGeoAlignPattern pattern;
    xcPelBuffer<unsigned char> scene;
};

std::vector<Case> makeCases(bool fixedScale) {
    const xcSynthFont font(xcSynthFont::locate());
    const std::wstring chars = L"AGK4R7eh2JPy";
    xcSynthRandom rnd(5, fixedScale ? 2 : 1);
    std::vector<Case> cases;
    for (wchar_t ch : chars) {
        xcSynthGlyphParams gp;
        gp.pixelSize = 30.0;
        const xcSynthGlyph g = xfSynthGlyphModel(font, static_cast<char32_t>(ch), gp);
        xcPelBuffer_const<unsigned char> img = g.image;
        img.window(g.cell);
        Case c;
        c.pattern.train(img, xc_GeoDefs::eTrainAllFlags);
        xcSynthSceneParams p;
        p.width = 640;
        p.height = 480;
        p.pixelSize = 30.0;
        p.blurSigma = 0.7;
        p.noiseSigma = 4.0;
        p.seed = 100 + static_cast<unsigned>(cases.size());
        xcSynthLineSpec line;
        line.text = std::wstring(1, ch);
        line.start = xcVector<2>(rnd.uniform(80.0, 560.0), rnd.uniform(80.0, 400.0));
        line.angle = rnd.uniform(-180.0, 180.0);
        line.scale = fixedScale ? 1.0 : rnd.uniform(0.9, 1.1);
        p.lines = {line};
        c.scene = xfSynthScene(font, p).image;
        cases.push_back(std::move(c));
    }
    return cases;
}

void BM_GeoAlignRun(benchmark::State& state) {
    const bool fixedScale = state.range(0) == 1;
    const bool wideScale = state.range(0) == 2;
    static const std::vector<Case> free = makeCases(false);
    static const std::vector<Case> fixed = makeCases(true);
    const std::vector<Case>& cases = fixedScale ? fixed : free;
    xcGeoAlignRunParams run;
    run.acceptThreshold(0.5);
    run.numToFind(3);
    run.zone(xc_GeoDefs::eDofAngle, -180.0, 180.0);
    run.zone(xc_GeoDefs::eDofScale, wideScale ? 0.5 : 0.9, wideScale ? 2.0 : 1.1);
    run.zoneEnable(fixedScale ? xc_GeoDefs::eZoneAngle : xc_GeoDefs::eZoneAll);
    run.nominal(xc_GeoDefs::eDofScale, 1.0);
    xcGeoAlignResultSet rs;
    size_t i = 0;
    long found = 0;
    for (auto _ : state) {
        const Case& c = cases[i++ % cases.size()];
        c.pattern.run(c.scene, run, rs);
        found += static_cast<long>(rs.numAccepted() > 0);
        benchmark::DoNotOptimize(rs);
    }
    state.SetItemsProcessed(state.iterations() * 640 * 480);
    state.counters["found"] =
        benchmark::Counter(static_cast<double>(found), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_GeoAlignRun)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void BM_GeoAlignTrain(benchmark::State& state) {
    const xcSynthFont font(xcSynthFont::locate());
    xcSynthGlyphParams gp;
    gp.pixelSize = 30.0;
    const xcSynthGlyph g = xfSynthGlyphModel(font, U'R', gp);
    xcPelBuffer_const<unsigned char> img = g.image;
    img.window(g.cell);
    for (auto _ : state) {
        xcGeoAlignPattern p;
        p.train(img, xc_GeoDefs::eTrainAllFlags);
        benchmark::DoNotOptimize(p);
    }
}
BENCHMARK(BM_GeoAlignTrain)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
