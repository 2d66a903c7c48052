// Arrangement refinement: training the correlation variants of one 28-px character (52
// variants: 13 angles x 4 scales) and refining one inferred position (cutting its region and
// running the 52 variants there). Items are keys and positions.
//
// Run on one core with medians, e.g.
//   taskset -c 0 build/bench/bin/bench_refine --benchmark_repetitions=9
//       --benchmark_report_aggregates_only=true
// `bench_refine --refine_report` prints instead how exact the refined poses are on planted
// scenes and which other characters the refinement takes for the expected one.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "oc/arrange/refine.h"
#include "oc/extract/rsi_ncc_search.h"
#include "oc/font/alphabet.h"
#include "tools/synth/font.h"
#include "tools/synth/glyph_model.h"
#include "tools/synth/scene.h"

namespace {

constexpr double kPixelSize = 28.0;

struct Setup {
    xcSynthGlyph glyph;
    xcPelBuffer_const<unsigned char> cell;
    xcSynthScene scene;
};

// DejaVu Sans Mono 'R' at 28 px; the scene holds the text "OCR 28" with noise, the 'R' turned
// by 1.2 degrees.
const Setup& setup() {
    static const Setup s = [] {
        const xcSynthFont font(xcSynthFont::locate("DejaVuSansMono.ttf"));
        Setup r;
        xcSynthGlyphParams gp;
        gp.pixelSize = kPixelSize;
        gp.tones = xcSynthTones{eDarkOnLight, 30.0, 220.0};
        r.glyph = xfSynthGlyphModel(font, U'R', gp);
        r.cell = r.glyph.image;
        r.cell.window(r.glyph.cell);
        xcSynthSceneParams sp;
        sp.width = 240;
        sp.height = 100;
        sp.pixelSize = kPixelSize;
        sp.tones = gp.tones;
        sp.noiseSigma = 3.0;
        sp.seed = 3;
        xcSynthLineSpec line;
        line.text = L"OCR 28";
        line.start = xcVector<2>(20.3, 70.6);
        line.angle = 1.2;
        sp.lines.push_back(line);
        r.scene = xfSynthScene(font, sp);
        return r;
    }();
    return s;
}

void BM_RefineTrainKey(benchmark::State& state) {
    const Setup& s = setup();
    const xcRSINccSearchParams grid = xf_RefineGridParams();
    long variants = 0;
    for (auto _ : state) {
        const xcRSINccSearchModel m(s.cell, xcPelBuffer_const<unsigned char>(), grid, L"R");
        variants = m.numVariants();
        benchmark::DoNotOptimize(m);
    }
    if (variants != 52) state.SkipWithError("the grid does not hold 52 variants");
    state.SetItemsProcessed(state.iterations());
    state.counters["cell_w"] = static_cast<double>(s.glyph.cell.width());
    state.counters["cell_h"] = static_cast<double>(s.glyph.cell.height());
}
BENCHMARK(BM_RefineTrainKey)->Unit(benchmark::kMillisecond);

// One inferred position 0.8 px, 1.5 degrees and 2 % of scale off the truth: the region cut and
// the run of the trained variants.
void BM_RefinePosition(benchmark::State& state) {
    const Setup& s = setup();
    const xcRSINccSearchModel model(s.cell, xcPelBuffer_const<unsigned char>(),
                                    xf_RefineGridParams(), L"R");
    const xcRSINccSearchRunParams run = xf_RefineRunParams();
    xcSynthPose inferred = s.scene.truth.chars[2].pose;
    inferred.position = inferred.position + xcVector<2>(0.8, 0.0);
    inferred.angle += 1.5;
    inferred.scale *= 1.02;
    const xcXform<2> pose = inferred.xform();
    xcPtrHandle<xc_SearchResult> result;
    double error = 1e9;
    for (auto _ : state) {
        xcPelBuffer<unsigned char> region;
        if (!xf_CutRefineRegion(s.scene.image, model.window(), s.glyph.clientFromImage, pose,
                                region))
            break;
        result = xcPtrHandle<xc_SearchResult>(new xc_SearchResult());
        model.run(region, run, result);
        benchmark::DoNotOptimize(result);
    }
    if (!result.isNull() && result->found())
        error = ((result->pose(0) * s.glyph.clientFromImage.inverse()).trans() -
                 s.scene.truth.chars[2].pose.position)
                    .len();
    if (!(error < 0.2)) state.SkipWithError("the position was not refined onto the truth");
    state.SetItemsProcessed(state.iterations());
    state.counters["error_px"] = error;
}
BENCHMARK(BM_RefinePosition)->Unit(benchmark::kMillisecond);

// --- Accuracy and look-alike report ------------------------------------------------------

const char* const kFonts[] = {"DejaVuSansMono.ttf", "DejaVuSans.ttf", "DejaVuSerif.ttf"};
const std::u32string kCodes = U"AKRS3x7bg";

xcPtrHandle_const<xcOCAlphabet> alphabet(const xcSynthFont& font, const std::u32string& codes) {
    xcOCAlphabet::ConstModels models;
    xcSynthGlyphParams gp;
    gp.pixelSize = kPixelSize;
    gp.tones = xcSynthTones{eDarkOnLight, 30.0, 220.0};
    for (char32_t c : codes) {
        const xcSynthGlyph g = xfSynthGlyphModel(font, c, gp);
        models.emplace_back(new xcOCModel(static_cast<long>(c), g.image, g.cell, xcOCModel::eNormal,
                                          std::wstring(1, wchar_t(c))));
    }
    return xcPtrHandle_const<xcOCAlphabet>(new xcOCAlphabet(models, 0.5, false, L"report"));
}

xcSynthScene lineScene(const xcSynthFont& font, const std::vector<xcSynthPose>& poses,
                       const std::u32string& codes, std::uint64_t seed) {
    xcSynthSceneParams sp;
    sp.width = 40 + 32 * static_cast<long>(codes.size());
    sp.height = 100;
    sp.pixelSize = kPixelSize;
    sp.tones = xcSynthTones{eDarkOnLight, 30.0, 220.0};
    sp.noiseSigma = 3.0;
    sp.seed = seed;
    for (std::size_t i = 0; i < codes.size(); ++i) {
        xcSynthLineSpec line;
        line.text = std::wstring(1, static_cast<wchar_t>(codes[i]));
        line.start = poses[i].position;
        line.angle = poses[i].angle;
        line.scale = poses[i].scale;
        sp.lines.push_back(line);
    }
    return xfSynthScene(font, sp);
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0.0 : v[v.size() / 2];
}

// Characters drawn at random poses (+-2 degrees, +-4 % of scale), each inferred up to 1 px,
// 2 degrees and 3 % of scale away from its truth, refined; then every character of the set
// expected where another one is drawn.
void report() {
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    std::vector<double> angleErr, transErr, scaleErr;
    long cases = 0, found = 0, within = 0;
    std::map<char32_t, long> withinByChar;
    std::string outside;
    for (const char* name : kFonts) {
        const xcSynthFont font(xcSynthFont::locate(name));
        const auto a = alphabet(font, kCodes);
        for (int rep = 0; rep < 4; ++rep) {
            std::vector<xcSynthPose> drawn;
            for (std::size_t i = 0; i < kCodes.size(); ++i)
                drawn.push_back({xcVector<2>(30.0 + 32.0 * i + 0.5 * u(rng), 60.0 + 0.5 * u(rng)),
                                 2.0 * u(rng), 1.0 + 0.04 * u(rng)});
            const xcSynthScene s = lineScene(font, drawn, kCodes, 1 + rep);
            std::vector<long> keys;
            std::vector<xc_Pose> poses;
            std::vector<xcOCArrangeDefs::CharStatus> st(kCodes.size(), xcOCArrangeDefs::eInferred);
            std::vector<double> sc(kCodes.size(), 0.0);
            for (std::size_t i = 0; i < kCodes.size(); ++i) {
                keys.push_back(static_cast<long>(kCodes[i]));
                xcSynthPose p = s.truth.chars[i].pose;
                const double r = std::fabs(u(rng)), th = 3.14159265358979 * u(rng);
                p.position = p.position + xcVector<2>(r * std::cos(th), r * std::sin(th));
                p.angle += 2.0 * u(rng);
                p.scale *= 1.0 + 0.03 * u(rng);
                poses.push_back(xc_Pose(p.xform()));
            }
            xf_RefineArrangement(s.image, a, keys, poses, st, sc, nullptr, 0);
            for (std::size_t i = 0; i < kCodes.size(); ++i) {
                ++cases;
                if (st[i] != xcOCArrangeDefs::eMatched) continue;
                ++found;
                const xcSynthPose& t = s.truth.chars[i].pose;
                const double ea = std::fabs(xcDegree(poses[i].angle).toDouble() - t.angle);
                const double et = (poses[i].translation - t.position).len();
                const double es = poses[i].scale / t.scale - 1.0;
                angleErr.push_back(ea);
                scaleErr.push_back(std::fabs(es));
                transErr.push_back(et);
                if (ea <= 0.3 + 1e-9 && et <= 0.2) {
                    ++within;
                    ++withinByChar[kCodes[i]];
                } else {
                    char line[160];
                    std::snprintf(line, sizeof line,
                                  "  outside: '%c' %s: %.3f deg, %.3f px, scale %+.2f %%\n",
                                  char(kCodes[i]), name, ea, et, 100.0 * es);
                    outside += line;
                }
            }
        }
    }
    std::printf("planted: %ld inferred positions, %ld matched, %ld within 0.2 px and 0.3 deg\n",
                cases, found, within);
    std::printf(
        "  angle error: median %.3f max %.3f deg; position error: median %.3f max %.3f px\n",
        median(angleErr), *std::max_element(angleErr.begin(), angleErr.end()), median(transErr),
        *std::max_element(transErr.begin(), transErr.end()));
    std::printf("  scale error: median %.4f max %.4f\n", median(scaleErr),
                *std::max_element(scaleErr.begin(), scaleErr.end()));
    std::printf("  within by character (of 12 each):");
    for (char32_t c : kCodes) std::printf(" %c %ld", char(c), withinByChar[c]);
    std::printf("\n%s", outside.c_str());

    for (const char* name : kFonts) {
        const xcSynthFont font(xcSynthFont::locate(name));
        const auto a = alphabet(font, kCodes);
        std::vector<xcSynthPose> drawn;
        for (std::size_t i = 0; i < kCodes.size(); ++i)
            drawn.push_back({xcVector<2>(30.0 + 32.0 * i, 60.0), 0.0, 1.0});
        const xcSynthScene s = lineScene(font, drawn, kCodes, 9);
        long matched = 0, pairs = 0;
        double worst = 0.0;
        std::string which;
        for (std::size_t i = 0; i < kCodes.size(); ++i)
            for (std::size_t j = 0; j < kCodes.size(); ++j) {
                if (i == j) continue;
                std::vector<long> keys = {static_cast<long>(kCodes[j])};
                std::vector<xc_Pose> poses = {xc_Pose(s.truth.chars[i].xform)};
                std::vector<xcOCArrangeDefs::CharStatus> st = {xcOCArrangeDefs::eInferred};
                std::vector<double> sc = {0.0};
                xf_RefineArrangement(s.image, a, keys, poses, st, sc, nullptr, 0);
                ++pairs;
                if (st[0] != xcOCArrangeDefs::eMatched) continue;
                ++matched;
                if (sc[0] > worst) {
                    worst = sc[0];
                    which = std::string("'") + char(kCodes[j]) + "' on '" + char(kCodes[i]) + "'";
                }
            }
        std::printf("%s: another key drawn there taken in %ld of %ld pairs, highest %.3f (%s)\n",
                    name, matched, pairs, worst, which.c_str());
    }

    struct Pair {
        const char* font;
        char32_t expected, drawn;
    };
    const Pair pairs[] = {{"DejaVuSans.ttf", U'B', U'8'},     {"DejaVuSans.ttf", U'8', U'B'},
                          {"DejaVuSans.ttf", U'O', U'Q'},     {"DejaVuSans.ttf", U'Q', U'O'},
                          {"DejaVuSans.ttf", U'1', U'I'},     {"DejaVuSans.ttf", U'I', U'l'},
                          {"DejaVuSansMono.ttf", U'O', U'0'}, {"DejaVuSans.ttf", U'C', U'G'},
                          {"DejaVuSans.ttf", U'E', U'F'},     {"DejaVuSansMono.ttf", U'0', U'O'},
                          {"DejaVuSansMono.ttf", U'1', U'l'}, {"DejaVuSerif.ttf", U'5', U'S'},
                          {"DejaVuSerif.ttf", U'R', U'A'}};
    for (const Pair& p : pairs) {
        const xcSynthFont font(xcSynthFont::locate(p.font));
        const auto a = alphabet(font, std::u32string{p.expected, p.drawn});
        const xcSynthScene s =
            lineScene(font, {{xcVector<2>(30.0, 70.0), 0.0, 1.0}}, std::u32string(1, p.drawn), 2);
        std::vector<long> keys = {static_cast<long>(p.expected)};
        std::vector<xc_Pose> poses = {xc_Pose(s.truth.chars[0].xform)};
        std::vector<xcOCArrangeDefs::CharStatus> st = {xcOCArrangeDefs::eInferred};
        std::vector<double> sc = {0.0};
        xf_RefineArrangement(s.image, a, keys, poses, st, sc, nullptr, 0);
        std::printf("look-alike %s: '%c' expected where '%c' is drawn: %s\n", p.font,
                    char(p.expected), char(p.drawn),
                    st[0] == xcOCArrangeDefs::eMatched
                        ? ("matched, score " + std::to_string(sc[0])).c_str()
                        : "stays inferred (no variant reaches 0.3)");
    }
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "--refine_report") == 0) {
            report();
            return 0;
        }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
