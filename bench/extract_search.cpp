// Speed of the character extraction: xc_OCExtractModel::search on a 640 x 480 scene holding
// one 16-character line with 11 distinct keys ("7A3K9XB27A3KQ5M7"), DejaVu Sans Mono 28 px,
// dark on light, blur 0.7 px, noise sigma 4, the line at one of 8 angles over the turn (one
// scene per angle, taken in turn) and scale 1.04; the search asks for the 16 keys over the
// whole turn (-179 ... 180 degrees) and scales 0.9 ... 1.1, accept 0.5.
//
// BM_ExtractSearch/0: train + search (the whole call); counters give the parts: train_ms
//   (training and symmetry tests), symmetry_ms (the symmetry tests alone) and search_ms (wall
//   clock means), found (positions with an instance), returned_false (searches cut short).
// BM_ExtractSearch/1: the same with a time-out of 1 ms per character.
// BM_PatternRuns/0 and /1: the 11 trained patterns run one after the other over the scene with
//   the search's settings (full scale zone, no scale lock): /0 each run on the plain image,
//   /1 every run on one prepared image (xcGeoAlignImage) made once per scene.
//
//   build/bench/bin/bench_extract_search --benchmark_repetitions=9
//                                        --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "oc/extract/extract_model.h"
#include "platform/vision/geo_align_image.h"
#include "tools/synth/font.h"
#include "tools/synth/glyph_model.h"
#include "tools/synth/scene.h"

namespace {

const std::wstring kText = L"7A3K9XB27A3KQ5M7";
constexpr double kEm = 28.0;
constexpr int kScenes = 8;

struct Setup {
    xcPtrHandle_const<xcOCAlphabet> alphabet;
    std::vector<long> keys;
    std::vector<xcPelBuffer<unsigned char>> scenes;
    std::vector<std::unique_ptr<xcGeoAlignPattern>> patterns;
};

const Setup& setup() {
    static const Setup s = [] {
        Setup out;
        const xcSynthFont font(xcSynthFont::locate("DejaVuSansMono.ttf"));
        xcOCAlphabet::ConstModels models;
        std::wstring distinct = kText;
        std::sort(distinct.begin(), distinct.end());
        distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
        for (wchar_t c : distinct) {
            xcSynthGlyphParams gp;
            gp.pixelSize = kEm;
            gp.tones.dark = 30.0;
            gp.tones.light = 220.0;
            const xcSynthGlyph g = xfSynthGlyphModel(font, static_cast<char32_t>(c), gp);
            models.push_back(xcPtrHandle<xcOCModel>(new xcOCModel(
                static_cast<long>(c), g.image, g.cell, xcOCModel::eNormal, std::wstring(1, c))));
            xcPelBuffer_const<unsigned char> img = g.image;
            img.window(g.cell);
            auto p = std::make_unique<xcGeoAlignPattern>();
            p->train(img, xc_GeoDefs::eTrainAllFlags);
            out.patterns.push_back(std::move(p));
        }
        out.alphabet = xcPtrHandle_const<xcOCAlphabet>(new xcOCAlphabet(models, 0.5, false));
        for (wchar_t c : kText) out.keys.push_back(static_cast<long>(c));
        for (int k = 0; k < kScenes; ++k) {
            const double angle = -180.0 + 45.0 * k + 7.0;
            const double a = angle * M_PI / 180.0;
            xcSynthSceneParams p;
            p.width = 640;
            p.height = 480;
            p.pixelSize = kEm;
            p.tones = xcSynthTones{eDarkOnLight, 30.0, 220.0};
            p.blurSigma = 0.7;
            p.noiseSigma = 4.0;
            p.seed = 40 + static_cast<unsigned>(k);
            xcSynthLineSpec line;
            line.text = kText;
            line.scale = 1.04;
            line.angle = angle;
            const double length = 0.6 * kEm * 1.04 * 16;
            line.start =
                xcVector<2>(320.0 - 0.5 * length * std::cos(a), 240.0 - 0.5 * length * std::sin(a));
            p.lines.push_back(line);
            out.scenes.push_back(xfSynthScene(font, p).image);
        }
        return out;
    }();
    return s;
}

void BM_ExtractSearch(benchmark::State& state) {
    const Setup& s = setup();
    xc_OCExtractModelParams mp;
    mp.angleRange(xcRange(-179.0, 180.0));
    mp.scaleRange(xcRange(0.9, 1.1));
    xc_OCExtractRunParams rp;
    if (state.range(0) == 1) rp.timeout(0.001);
    long incomplete = 0;
    size_t i = 0;
    double train = 0, symmetry = 0, search = 0;
    long found = 0, n = 0;
    for (auto _ : state) {
        xc_OCExtractModel model;
        xc_OCExtractStringResult r;
        if (!model.search(s.alphabet, s.keys, s.scenes[i++ % s.scenes.size()],
                          xcPelBuffer_const<unsigned char>(), mp, rp, r))
            ++incomplete;
        train += r.trainTime();
        symmetry += model.symmetryTime();
        search += r.searchTime();
        for (const auto& h : r.results()) found += h->found();
        ++n;
        benchmark::DoNotOptimize(r);
    }
    state.counters["train_ms"] = train / static_cast<double>(n);
    state.counters["symmetry_ms"] = symmetry / static_cast<double>(n);
    state.counters["search_ms"] = search / static_cast<double>(n);
    state.counters["found"] = static_cast<double>(found) / static_cast<double>(n);
    state.counters["returned_false"] = static_cast<double>(incomplete) / static_cast<double>(n);
    state.SetItemsProcessed(state.iterations() * static_cast<long>(kText.size()));
}
BENCHMARK(BM_ExtractSearch)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_PatternRuns(benchmark::State& state) {
    const Setup& s = setup();
    const bool prepared = state.range(0) == 1;
    xcGeoAlignRunParams rp;
    rp.acceptThreshold(0.5);
    rp.zoneEnable(xc_GeoDefs::eZoneAll);
    rp.zone(xc_GeoDefs::eDofAngle, -179.0, 180.0);
    rp.zone(xc_GeoDefs::eDofScale, 0.9, 1.1);
    rp.xyOverlap(0.2);
    rp.numToFind(4);
    size_t i = 0;
    xcGeoAlignResultSet set;
    for (auto _ : state) {
        const xcPelBuffer<unsigned char>& scene = s.scenes[i++ % s.scenes.size()];
        if (prepared) {
            const xcGeoAlignImage image(scene);
            for (const auto& p : s.patterns) p->run(image, rp, set);
        } else {
            for (const auto& p : s.patterns) p->run(scene, rp, set);
        }
        benchmark::DoNotOptimize(set);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long>(s.patterns.size()));
}
BENCHMARK(BM_PatternRuns)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
