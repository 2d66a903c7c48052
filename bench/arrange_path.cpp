// The arranger's path search on planted candidate sets.
//
// BM_PathSearchStraight / BM_PathSearchCircular: a 20-character line (ocsynth layout of
// DejaVu Sans at 32 px), each position with its true instance (score 0.88 ... 0.98) and 2 to 5
// decoys (the same character turned by 90 degrees, a copy far away, a part of it at an
// offset, a look-alike at a neighbour's place; score 0.55 ... 0.85), so 3 to 6 instances per
// position. As the candidate search does, a position may choose the instances scoring within
// 0.15 of its key's o-th best (o = occurrences of the key), and may stay unmatched when that
// o-th best scores below 0.7. Eight candidate sets are searched in turn. Target: median <= 2 ms
// per search. The true instances carry the small pose errors of a real search (up to 0.2 px
// and 0.3 degrees), so straight lines are not exactly straight.
//
// BM_PathSearchAdversarial: every position of a 20-character line holds 12 look-alike
// instances a fraction of a pixel and a degree apart, all scoring alike, so that the open list
// fills up to maxCandidates (500000 by default). Reports the time, the peak bytes of the open
// list and the path nodes (peak_MB), and the process's peak resident size (maxrss_MB).
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "oc/arrange/path_search.h"
#include "oc/font/alphabet.h"
#include "tools/synth/glyph_model.h"
#include "tools/synth/layout.h"

namespace {

struct Candidates {
    std::vector<long> keys;
    std::vector<xc_CharData> data;
    std::vector<std::vector<xc_Pose>> poses;
    std::vector<std::vector<double>> scores;
    std::vector<xcVector<2>> truth;  // true origin of each position
};

// Positions whose chosen instance stands where the true one does (within 1 px: a look-alike
// decoy of a neighbour with the same key may stand there too).
long numRight(const Candidates& c, const xc_ArrangePath& best) {
    long right = 0;
    for (long i = 0; i < best.size(); ++i) {
        const long ch = best.choice(i);
        const std::size_t ui = static_cast<std::size_t>(i);
        if (ch >= 0 &&
            (c.poses[ui][static_cast<std::size_t>(ch)].translation - c.truth[ui]).len() < 1.0)
            ++right;
    }
    return right;
}

const std::wstring kText = L"LOT2024EXP1226BATCH7";

Candidates planted(bool circular, int minDecoys, int maxDecoys, bool adversarial, unsigned seed) {
    static const xcSynthFont font(xcSynthFont::locate("DejaVuSans.ttf"));
    xcSynthLineSpec spec;
    spec.text = kText;
    if (circular) {
        spec.kind = xcSynthLineSpec::eCircular;
        spec.centre = xcVector<2>(300, 300);
        spec.radius = 150;
        spec.startAngle = -200;
    } else {
        spec.start = xcVector<2>(40, 100);
        spec.angle = -7;
    }
    xcSynthGlyphParams gp;
    gp.pixelSize = 32;
    const std::vector<xcSynthPose> truth = xfSynthLayoutLine(font, gp.pixelSize, spec);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    Candidates c;
    const std::size_t n = kText.size();
    std::vector<std::vector<std::pair<double, xc_Pose>>> lists;
    for (std::size_t i = 0; i < n; ++i) {
        const xcSynthGlyph g = xfSynthGlyphModel(font, static_cast<char32_t>(kText[i]), gp);
        xc_CharData d;
        d.cellRect(g.cell, g.clientFromImage);
        // The found instance of the character: its true pose with the small errors of a
        // real search (up to 0.2 px and 0.3 degrees).
        xc_Pose t(truth[i].xform());
        t.translation += xcVector<2>(0.4 * (u(rng) - 0.5), 0.4 * (u(rng) - 0.5));
        t.angle += xcRadian(0.6 * (u(rng) - 0.5) * std::numbers::pi / 180);
        c.truth.push_back(t.translation);
        std::vector<std::pair<double, xc_Pose>> list;
        list.emplace_back(adversarial ? 0.85 + 0.1 * u(rng) : 0.88 + 0.1 * u(rng), t);
        if (adversarial) {
            for (int k = 0; k < 11; ++k) {
                xc_Pose p = t;
                p.translation += xcVector<2>(u(rng) - 0.5, u(rng) - 0.5);
                p.angle += xcRadian((u(rng) - 0.5) * 0.02);
                list.emplace_back(0.85 + 0.1 * u(rng), p);
            }
        } else {
            const int decoys = minDecoys + static_cast<int>(u(rng) * (maxDecoys - minDecoys + 1));
            for (int k = 0; k < decoys; ++k) {
                xc_Pose p = t;
                switch (k % 4) {
                    case 0:
                        p.angle += xcRadian(std::numbers::pi / 2);
                        break;
                    case 1:
                        p.translation += xcVector<2>(400, 250);
                        break;
                    case 2:
                        p = xc_Pose(t.translation + xcVector<2>(0.4 * d.cellDiagonal1().x(), 3),
                                    t.angle, t.scale * 0.6);
                        break;
                    default:
                        p.translation =
                            xc_Pose(truth[i + 1 < n ? i + 1 : i - 1].xform()).translation;
                }
                list.emplace_back(0.55 + 0.3 * u(rng), p);
            }
        }
        std::shuffle(list.begin(), list.end(), rng);
        c.keys.push_back(static_cast<long>(kText[i]));
        c.data.push_back(d);
        lists.push_back(std::move(list));
    }
    // Positions with the same key share one list of all its instances, best first, as the
    // extraction gives them; the candidate search's limits follow from the o-th best score
    // (o = occurrences of the key).
    c.poses.resize(n);
    c.scores.resize(n);
    for (std::size_t i = 0; i < n; ++i) {
        std::vector<std::pair<double, xc_Pose>> all;
        long o = 0;
        for (std::size_t j = 0; j < n; ++j)
            if (c.keys[j] == c.keys[i]) {
                all.insert(all.end(), lists[j].begin(), lists[j].end());
                ++o;
            }
        std::stable_sort(all.begin(), all.end(),
                         [](const auto& a, const auto& b) { return a.first > b.first; });
        xc_CharData& d = c.data[i];
        d.numOccurrences = o;
        const long k = static_cast<long>(all.size());
        d.numCandidates = k;
        d.canBeUnmatched = false;
        if (!adversarial) {
            const double cut = all[static_cast<std::size_t>(o - 1)].first - 0.15;
            long nc = o;
            while (nc < k && all[static_cast<std::size_t>(nc)].first >= cut) ++nc;
            d.numCandidates = nc;
            d.canBeUnmatched = all[static_cast<std::size_t>(o - 1)].first < 0.7;
        }
        for (auto& [score, p] : all) {
            c.poses[i].push_back(p);
            c.scores[i].push_back(score);
        }
    }
    return c;
}

void run(benchmark::State& state, bool circular) {
    std::vector<Candidates> sets;
    for (unsigned seed = 1; seed <= 8; ++seed) sets.push_back(planted(circular, 2, 5, false, seed));
    const xcPelBuffer<unsigned char> image(8, 8);
    const xcOCAlphabet alphabet;
    const xcOCArrangeParams params;
    xc_ArrangePath best;
    xc_PathSearchStats st;
    std::size_t k = 0;
    long evaluations = 0, complete = 0, right = 0;
    for (auto _ : state) {
        const Candidates& c = sets[k++ % sets.size()];
        const bool ok = xf_SearchArrangePath(image, alphabet, c.keys, c.data, c.poses, c.scores,
                                             params, best, &st);
        benchmark::DoNotOptimize(ok);
        evaluations += st.evaluations;
        complete += ok ? 1 : 0;
        right += numRight(c, best);
    }
    state.counters["right"] =
        benchmark::Counter(static_cast<double>(right), benchmark::Counter::kAvgIterations);
    state.counters["evaluations"] =
        benchmark::Counter(static_cast<double>(evaluations), benchmark::Counter::kAvgIterations);
    state.counters["complete"] =
        benchmark::Counter(static_cast<double>(complete), benchmark::Counter::kAvgIterations);
    state.SetItemsProcessed(state.iterations() * static_cast<long>(kText.size()));
}

void BM_PathSearchStraight(benchmark::State& state) { run(state, false); }
void BM_PathSearchCircular(benchmark::State& state) { run(state, true); }

void BM_PathSearchAdversarial(benchmark::State& state) {
    const Candidates c = planted(state.range(0) != 0, 0, 0, true, 11);
    const xcPelBuffer<unsigned char> image(8, 8);
    const xcOCAlphabet alphabet;
    const xcOCArrangeParams params;
    xc_ArrangePath best;
    xc_PathSearchStats st;
    for (auto _ : state) {
        const bool ok = xf_SearchArrangePath(image, alphabet, c.keys, c.data, c.poses, c.scores,
                                             params, best, &st);
        benchmark::DoNotOptimize(ok);
    }
    rusage ru{};
    getrusage(RUSAGE_SELF, &ru);
    state.counters["maxOpen"] = static_cast<double>(st.maxOpen);
    state.counters["peak_MB"] = static_cast<double>(st.peakBytes) / (1024.0 * 1024.0);
    state.counters["maxrss_MB"] = static_cast<double>(ru.ru_maxrss) / 1024.0;
    state.counters["evaluations"] = static_cast<double>(st.evaluations);
}

}  // namespace

BENCHMARK(BM_PathSearchStraight)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PathSearchCircular)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PathSearchAdversarial)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(1);

BENCHMARK_MAIN();
