// The main job end to end: xfOCArrange on a 640 x 480 scene holding a 16-character line with
// 11 distinct keys (DejaVu Sans Mono, 28 px per em), straight at any angle and circular, with
// the peak heap memory of one call; and the same call stage by stage (training with the
// symmetry probes, search, path search, final evaluation and position results, refinement,
// construction).
//
//   build/bench/bin/bench_arrange --benchmark_repetitions=9 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "oc/arrange/arrange.h"
#include "oc/arrange/arrange_construct.h"
#include "oc/arrange/candidate_search.h"
#include "oc/arrange/path_search.h"
#include "oc/arrange/refine.h"
#include "oc/extract/extract_model.h"
#include "oc/extract/extract_result.h"
#include "platform/core/timer.h"
#include "tools/synth/scene.h"
#include "tools/fontkit/synth_alphabet.h"

// ---- Heap accounting: live bytes and their peak, for every allocation of the process -------
namespace {
std::atomic<long long> g_live{0}, g_peak{0};
void track(long long delta) {
    const long long now = g_live.fetch_add(delta) + delta;
    long long peak = g_peak.load();
    while (now > peak && !g_peak.compare_exchange_weak(peak, now)) {
    }
}
}  // namespace

void* operator new(std::size_t n) {
    void* p = std::malloc(n + 16);
    if (!p) throw std::bad_alloc();
    *static_cast<std::size_t*>(p) = n;
    track(static_cast<long long>(n));
    return static_cast<char*>(p) + 16;
}
void operator delete(void* p) noexcept {
    if (!p) return;
    char* base = static_cast<char*>(p) - 16;
    track(-static_cast<long long>(*reinterpret_cast<std::size_t*>(base)));
    std::free(base);
}
void operator delete(void* p, std::size_t) noexcept { operator delete(p); }
void* operator new[](std::size_t n) { return operator new(n); }
void operator delete[](void* p) noexcept { operator delete(p); }
void operator delete[](void* p, std::size_t) noexcept { operator delete(p); }

namespace {

// 16 characters, 11 distinct keys (Q X 7 K 2 R 9 M A 4 T).
const std::wstring kText = L"QX7K2R9MAQ4TQXK2";

struct Fixture {
    xcSynthFont font{xcSynthFont::locate("DejaVuSansMono.ttf")};
    xcPtrHandle<xcOCAlphabet> alphabet;
    std::vector<long> keys = xfSynthKeys(kText);
    std::vector<xcSynthScene> scenes;  // several angles, so that the median covers them

    explicit Fixture(bool circular) {
        xcSynthGlyphParams gp;
        gp.pixelSize = 28.0;
        gp.tones = xcSynthTones{eDarkOnLight, 30.0, 220.0};
        alphabet = xfSynthAlphabet(font, kText, gp);
        for (int k = 0; k < 6; ++k) {
            xcSynthSceneParams sp;
            sp.pixelSize = 28.0;
            sp.tones = gp.tones;
            sp.blurSigma = 0.7;
            sp.noiseSigma = 4.0;
            sp.seed = 100 + static_cast<std::uint64_t>(k);
            xcSynthLineSpec l;
            l.text = kText;
            if (circular) {
                l.kind = xcSynthLineSpec::eCircular;
                l.centre = xcVector<2>(320, 240);
                l.radius = 150;
                l.startAngle = -170.0 + 61.0 * k;
                l.clockwise = k % 2 == 0;
            } else {
                const double a = -170.0 + 61.0 * k;
                l.angle = a;
                const double r = a * M_PI / 180.0;
                l.start = xcVector<2>(320.0 - 130.0 * std::cos(r), 240.0 - 130.0 * std::sin(r));
            }
            sp.lines.push_back(l);
            scenes.push_back(xfSynthScene(font, sp));
        }
    }
};

void BM_Arrange(benchmark::State& state) {
    static Fixture straight(false), circular(true);
    Fixture& f = state.range(0) ? circular : straight;
    std::size_t k = 0;
    long long peak = 0;
    for (auto _ : state) {
        const xcSynthScene& scene = f.scenes[k++ % f.scenes.size()];
        xcOCArrangeResults results;
        const long long before = g_live.load();
        g_peak.store(before);
        xfOCArrange(scene.image, *f.alphabet, f.keys, xcOCArrangeParams(), results);
        peak = std::max(peak, g_peak.load() - before);
        benchmark::DoNotOptimize(results);
    }
    state.counters["peak_MB"] = double(peak) / (1024.0 * 1024.0);
    state.SetItemsProcessed(state.iterations() * static_cast<long>(kText.size()));
}
BENCHMARK(BM_Arrange)->Arg(0)->Arg(1)->ArgName("circular")->Unit(benchmark::kMillisecond);

// The same call stage by stage: milliseconds per stage as counters (means over iterations).
void BM_ArrangeStages(benchmark::State& state) {
    static Fixture straight(false), circular(true);
    Fixture& f = state.range(0) ? circular : straight;
    std::size_t k = 0;
    double train = 0, symmetry = 0, search = 0, path = 0, position = 0, refine = 0, build = 0;
    const xcOCArrangeParams params;
    const xcPtrHandle_const<xcOCAlphabet> alphabet(f.alphabet);
    for (auto _ : state) {
        const xcSynthScene& scene = f.scenes[k++ % f.scenes.size()];
        std::vector<xc_CharData> chars(f.keys.size());
        for (std::size_t i = 0; i < f.keys.size(); ++i) {
            const xcOCModel& m = *f.alphabet->character(f.keys[i]);
            chars[i].cellRect(m.imageArea(), m.image().clientFromImageXform());
        }
        xc_OCExtractModel model;
        xc_OCExtractModelParams mp;
        mp.scaleRange(params.scaleRange());
        mp.angleRange(xcRange(-179.0, 180.0));
        xc_OCExtractRunParams rp;
        rp.acceptThreshold(params.minMatchScore());
        xc_OCExtractStringResult sr;
        model.search(alphabet, f.keys, scene.image, xcPelBuffer_const<unsigned char>(), mp, rp,
                     sr);
        train += sr.trainTime() - model.symmetryTime();
        symmetry += model.symmetryTime();
        search += sr.searchTime();

        // The candidate lists again from a fresh search would double the cost: build them
        // from this result as the candidate search does.
        std::vector<std::vector<xc_Pose>> poses(f.keys.size());
        std::vector<std::vector<double>> scores(f.keys.size());
        for (std::size_t i = 0; i < f.keys.size(); ++i) {
            const auto& r = *sr.results()[i];
            chars[i].symmetry = r.symmetry();
            chars[i].rot180Pose = r.rot180Pose();
            chars[i].numOccurrences = r.numOccurrences();
            for (long j = 0; j < r.numInstances(); ++j) {
                poses[i].emplace_back(r.pose(j));
                scores[i].push_back(r.score(j));
            }
            const auto limits = xf_CandidateLimits(scores[i], r.numOccurrences());
            chars[i].numCandidates = limits.numCandidates;
            chars[i].canBeUnmatched = limits.canBeUnmatched;
            chars[i].hasCandidates = r.numInstances() > 0;
        }
        xcTimer timer(true);
        xc_ArrangePath best;
        xf_SearchArrangePath(scene.image, *f.alphabet, f.keys, chars, poses, scores, params, best);
        path += timer.elapsed();
        timer.start();
        xc_ArrangeCost cost;
        xf_EvaluateArrangePath(best, *f.alphabet, f.keys, chars, poses, scores, params, false,
                               true, cost);
        std::vector<xc_Pose> at;
        std::vector<double> s;
        std::vector<xcOCArrangeDefs::CharStatus> st;
        xf_ComputePositionResults(poses, scores, best, cost, chars, params, at, s, st);
        position += timer.elapsed();
        timer.start();
        xf_RefineArrangement(scene.image, alphabet, f.keys, at, st, s, nullptr, 0);
        refine += timer.elapsed();
        timer.start();
        xcPtrHandle_const<xcOCLineArrangement> arrangement;
        xcXform<2> frame;
        xf_BuildLineArrangement(alphabet, f.keys, best, cost, at, false, arrangement, frame);
        build += timer.elapsed();
        benchmark::DoNotOptimize(arrangement);
    }
    const double n = double(state.iterations());
    state.counters["train_ms"] = train / n;
    state.counters["symmetry_ms"] = symmetry / n;
    state.counters["search_ms"] = search / n;
    state.counters["path_ms"] = path / n;
    state.counters["final_ms"] = position / n;
    state.counters["refine_ms"] = refine / n;
    state.counters["build_ms"] = build / n;
}
BENCHMARK(BM_ArrangeStages)->Arg(0)->Arg(1)->ArgName("circular")->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
