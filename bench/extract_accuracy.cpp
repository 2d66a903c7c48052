// Accuracy harness of the character extraction (xc_OCExtractModel::search) on synthetic scenes
// with exact truth.
//
// Each scene is 720 x 720 pixels, dark on light, blur 0.7 px, Gaussian noise sigma 4, and holds
// one or two straight lines of 10 to 20 characters drawn from the digits and capitals, in
// DejaVu Sans Mono (even scenes) or DejaVu Sans (odd scenes), em size uniform in [minSize,
// maxSize] px, every line at the scene's angle (uniform over the turn) and scale (uniform in
// [0.9, 1.1]). The alphabet holds the scene's characters rendered at the em size; the search
// asks for every character of the lines (angles -179 ... 180, scales 0.9 ... 1.1, accept 0.5,
// as the arranger asks). A drawn character whose key has a pattern is found when one instance
// of its result lies within 0.5 px (cell centre) and 1 degree of its truth; a character whose
// result is symmetric (it matches itself turned by 180 degrees) is also found when an instance
// turned back through the result's rot180Pose lies there, as the arranger turns it.
//
// Reported: the found fraction, the misses by character, the characters without a pattern,
// how often the scale locked and at which place of the search order, the instances each
// result holds beyond its occurrences, and the times.
//
//   bench_extract_accuracy [--scenes=300] [--seed=1] [--min-size=20] [--max-size=40]
//                          [--verbose] [--only=N] [--symmetry-table [--size=28]]
// --verbose prints every miss and a line per scene ending in a digest of every instance's pose
// and score (two builds with the same digests found the same instances).
// --symmetry-table prints, for DejaVu Sans Mono 0-9, A-Z and a few lower-case letters, whether
// the character gets a pattern (edge test), its symmetry class and the score of its pattern on
// its own image turned by 180 degrees, then exits.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "oc/extract/extract_model.h"
#include "platform/core/timer.h"
#include "tools/synth/font.h"
#include "tools/synth/glyph_model.h"
#include "tools/synth/random.h"
#include "tools/synth/scene.h"

namespace {

struct Options {
    long scenes = 300;
    unsigned long seed = 1;
    double minSize = 20, maxSize = 40;
    bool verbose = false;
    bool symmetryTable = false;
    long only = -1;  // run this scene only
    double size = 28;
};

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const char* a = argv[i];
        auto val = [&](const char* name) -> const char* {
            const size_t n = std::strlen(name);
            return std::strncmp(a, name, n) == 0 && a[n] == '=' ? a + n + 1 : nullptr;
        };
        if (const char* v = val("--scenes"))
            o.scenes = std::atol(v);
        else if (const char* v2 = val("--seed"))
            o.seed = std::strtoul(v2, nullptr, 10);
        else if (const char* v3 = val("--min-size"))
            o.minSize = std::atof(v3);
        else if (const char* v4 = val("--max-size"))
            o.maxSize = std::atof(v4);
        else if (const char* v5 = val("--size"))
            o.size = std::atof(v5);
        else if (const char* v6 = val("--only"))
            o.only = std::atol(v6);
        else if (std::strcmp(a, "--verbose") == 0)
            o.verbose = true;
        else if (std::strcmp(a, "--symmetry-table") == 0)
            o.symmetryTable = true;
        else {
            std::fprintf(stderr, "unknown option %s\n", a);
            std::exit(2);
        }
    }
    return o;
}

xcPtrHandle<xcOCModel> model(const xcSynthFont& font, wchar_t c, double em) {
    xcSynthGlyphParams gp;
    gp.pixelSize = em;
    gp.tones.dark = 30.0;
    gp.tones.light = 220.0;
    const xcSynthGlyph g = xfSynthGlyphModel(font, static_cast<char32_t>(c), gp);
    return xcPtrHandle<xcOCModel>(new xcOCModel(static_cast<long>(c), g.image, g.cell,
                                                xcOCModel::eNormal, std::wstring(1, c)));
}

const char* className(xc_OCExtractDefs::Symmetry s) {
    switch (s) {
        case xc_OCExtractDefs::eNotSymmetric:
            return "eNotSymmetric";
        case xc_OCExtractDefs::eSymmetric180:
            return "eSymmetric180";
        case xc_OCExtractDefs::eSymmetricAllAngles:
            return "eSymmetricAllAngles";
    }
    return "?";
}

int symmetryTable(const Options& o) {
    const xcSynthFont font(xcSynthFont::locate("DejaVuSansMono.ttf"));
    const std::wstring chars = L"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabdnopqsuxz";
    xcOCAlphabet::ConstModels models;
    for (wchar_t c : chars) models.push_back(model(font, c, o.size));
    xcPtrHandle_const<xcOCAlphabet> alphabet(new xcOCAlphabet(models, 0.5, false));
    std::vector<long> keys;
    for (wchar_t c : chars) keys.push_back(static_cast<long>(c));
    xcPelBuffer<unsigned char> plain(64, 64);
    for (long y = 0; y < 64; ++y)
        for (long x = 0; x < 64; ++x) plain.set(x, y, 220);
    xc_OCExtractModel m;
    xc_OCExtractStringResult r;
    m.search(alphabet, keys, plain, xcPelBuffer_const<unsigned char>(), xc_OCExtractModelParams(),
             xc_OCExtractRunParams(), r);
    std::printf("| char | pattern | class | 180-degree score |\n|---|---|---|---|\n");
    for (size_t k = 0; k < chars.size(); ++k) {
        const xcOCModel& mc = *alphabet->character(keys[k]);
        xcPelBuffer_const<unsigned char> img = mc.image();
        img.window(mc.imageArea());
        double off = 0;
        const bool degenerate = xc_OCExtractModel::isEdgeDegenerate(img, off);
        // The score of a pattern trained on the character whatever the edge test says.
        xcGeoAlignPattern p;
        p.train(img, xc_GeoDefs::eTrainAllFlags);
        xcXform<2> pose;
        double score = 0;
        xc_OCExtractModel::matchesRotated(img, p, 180.0, pose, score);
        std::printf("| %c | %s | %s | %.3f |\n", static_cast<char>(chars[k]),
                    degenerate ? "none (edges in one direction)" : "yes",
                    className(r.results()[k]->symmetry()), score);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const Options o = parse(argc, argv);
    if (o.symmetryTable) return symmetryTable(o);

    const xcSynthFont fonts[2] = {xcSynthFont(xcSynthFont::locate("DejaVuSansMono.ttf")),
                                  xcSynthFont(xcSynthFont::locate("DejaVuSans.ttf"))};
    const std::wstring pool = L"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    xcSynthRandom rnd(o.seed, 11);

    long drawn = 0, withPattern = 0, found = 0, foundTwin = 0, nearMisses = 0;
    long scenesLocked = 0, falseRuns = 0;
    std::map<wchar_t, long> misses, drawnBy, noPattern;
    std::map<long, long> lockPlace;       // place in the search order -> scenes
    std::map<long, long> extraInstances;  // instances beyond occurrences -> results
    std::vector<double> trainMs, searchMs;
    for (long s = 0; s < o.scenes; ++s) {
        const xcSynthFont& font = fonts[s % 2];
        const double em = rnd.uniform(o.minSize, o.maxSize);
        const double angle = rnd.uniform(-180.0, 180.0);
        const double scale = rnd.uniform(0.9, 1.1);
        const int numLines = rnd.uniform() < 0.5 ? 1 : 2;
        xcSynthSceneParams p;
        p.width = 720;
        p.height = 720;
        p.pixelSize = em;
        p.globalScale = scale;
        p.tones = xcSynthTones{eDarkOnLight, 30.0, 220.0};
        p.blurSigma = 0.7;
        p.noiseSigma = 4.0;
        p.seed = o.seed * 1000 + static_cast<unsigned long>(s);
        const double a = angle * M_PI / 180.0;
        const xcVector<2> dir(std::cos(a), std::sin(a)), down(-std::sin(a), std::cos(a));
        std::wstring all;
        for (int l = 0; l < numLines; ++l) {
            xcSynthLineSpec line;
            const long n = 10 + static_cast<long>(rnd.uniform() * 11.0);
            for (long i = 0; i < std::min(n, 20L); ++i)
                line.text.push_back(pool[static_cast<size_t>(rnd.uniform() * 36.0) % 36]);
            // Centre the line on the image (an advance of about 0.65 em per character), the
            // second line 1.4 em below the first.
            const double length = 0.65 * em * scale * static_cast<double>(line.text.size());
            const xcVector<2> centre =
                xcVector<2>(360.0, 360.0) + down * ((l - 0.5 * (numLines - 1)) * 1.4 * em * scale);
            line.start = centre - dir * (0.5 * length) + down * (0.3 * em * scale);
            line.angle = angle;
            all += line.text;
            p.lines.push_back(line);
        }
        if (o.only >= 0 && s != o.only) continue;
        const xcSynthScene scene = xfSynthScene(font, p);

        std::wstring distinct = all;
        std::sort(distinct.begin(), distinct.end());
        distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
        xcOCAlphabet::ConstModels models;
        for (wchar_t c : distinct) models.push_back(model(font, c, em));
        xcPtrHandle_const<xcOCAlphabet> alphabet(new xcOCAlphabet(models, 0.5, false));
        std::vector<long> keys;
        for (wchar_t c : all) keys.push_back(static_cast<long>(c));

        xc_OCExtractModelParams mp;
        mp.angleRange(xcRange(-179.0, 180.0));
        mp.scaleRange(xcRange(0.9, 1.1));
        xc_OCExtractRunParams rp;
        xc_OCExtractModel m;
        xc_OCExtractStringResult r;
        if (!m.search(alphabet, keys, scene.image, xcPelBuffer_const<unsigned char>(), mp, rp, r))
            ++falseRuns;
        trainMs.push_back(r.trainTime());
        searchMs.push_back(r.searchTime());
        if (m.scaleLockIndex() >= 0) {
            ++scenesLocked;
            ++lockPlace[m.scaleLockIndex()];
        }
        for (const auto& h : r.uniqueCharResults())
            if (h->numInstances() > 0 || h->numOccurrences() > 0)
                ++extraInstances[h->numInstances() - h->numOccurrences()];

        long sceneMisses = 0;
        for (size_t k = 0; k < all.size(); ++k) {
            const xcSynthCharTruth& t = scene.truth.chars[k];
            if (!t.drawn) continue;
            ++drawn;
            ++drawnBy[all[k]];
            const xc_OCExtractCharResult& cr = *r.results()[k];
            const xcOCModel& mc = *alphabet->character(keys[k]);
            if (!m.hasPattern(keys[k])) {
                ++noPattern[all[k]];
                continue;
            }
            ++withPattern;
            const xcVector<2> centre(0.5 * mc.imageArea().width(), -0.5 * mc.imageArea().height());
            // A character that looks alike turned by half a turn may be found as its own twin:
            // the arranger turns such a pose back through rot180Pose.
            const bool twin = cr.symmetry() != xc_OCExtractDefs::eNotSymmetric;
            bool hit = false, hitTwin = false, near = false;
            for (long i = 0; i < cr.numInstances(); ++i) {
                for (int turned = 0; turned < (twin ? 2 : 1); ++turned) {
                    const xcXform<2> pose =
                        turned ? cr.pose(i) * cr.rot180Pose().inverse() : cr.pose(i);
                    const xcVector<2> d = pose.mapPoint(centre) - t.xform.mapPoint(centre);
                    const double da =
                        std::fabs(std::remainder(pose.xRot().toDouble() - t.xform.xRot().toDouble(),
                                                 2 * M_PI)) *
                        180.0 / M_PI;
                    const bool ok = std::hypot(d.x(), d.y()) <= 0.5 && da <= 1.0;
                    if (ok && !turned) hit = true;
                    if (ok) hitTwin = true;
                    if (std::hypot(d.x(), d.y()) <= 2.0) near = true;
                }
            }
            if (hit) ++found;
            if (hitTwin) {
                ++foundTwin;
            } else {
                ++misses[all[k]];
                ++sceneMisses;
                if (near) ++nearMisses;
                if (o.verbose) {
                    double best = 1e9, bestAngle = 0, bestScale = 0;
                    for (long i = 0; i < cr.numInstances(); ++i) {
                        const xcVector<2> d =
                            cr.pose(i).mapPoint(centre) - t.xform.mapPoint(centre);
                        if (std::hypot(d.x(), d.y()) < best) {
                            best = std::hypot(d.x(), d.y());
                            bestAngle = cr.pose(i).xRot().toDouble() * 180.0 / M_PI;
                            bestScale = cr.pose(i).xScale();
                        }
                    }
                    std::printf(
                        "  miss %c (#%zu): %ld instances, nearest %.2f px at %.2f deg, "
                        "scale %.3f (truth %.2f deg, scale %.3f)\n",
                        static_cast<char>(all[k]), k, cr.numInstances(), best, bestAngle, bestScale,
                        t.xform.xRot().toDouble() * 180.0 / M_PI, t.xform.xScale());
                }
            }
        }
        if (o.verbose) {
            // A digest of every instance (pose to 1e-9, score), to tell whether a change of the
            // search changed its results.
            std::uint64_t digest = 1469598103934665603ull;
            for (const auto& h : r.uniqueCharResults())
                for (long i = 0; i < h->numInstances(); ++i) {
                    const xcXform<2> q = h->pose(i);
                    char buf[160];
                    std::snprintf(buf, sizeof buf, "%.9g %.9g %.9g %.9g %.9g %.9g %.9g",
                                  q.matrix()(0, 0), q.matrix()(0, 1), q.matrix()(1, 0),
                                  q.matrix()(1, 1), q.trans().x(), q.trans().y(), h->score(i));
                    for (const char* c = buf; *c; ++c)
                        digest = (digest ^ static_cast<unsigned char>(*c)) * 1099511628211ull;
                }
            std::printf(
                "scene %ld: %s em %.1f angle %.1f scale %.3f lines %d chars %zu misses %ld "
                "lock %ld at %.3f train %.1f ms search %.1f ms digest %016llx\n",
                s, s % 2 ? "Sans" : "Mono", em, angle, scale, numLines, all.size(), sceneMisses,
                m.scaleLockIndex(), m.lockedScale(), r.trainTime(), r.searchTime(),
                static_cast<unsigned long long>(digest));
        }
    }
    auto median = [](std::vector<double> v) {
        std::sort(v.begin(), v.end());
        return v.empty() ? 0.0 : v[v.size() / 2];
    };
    std::printf("scenes %ld, drawn characters %ld, with a pattern %ld\n", o.scenes, drawn,
                withPattern);
    std::printf(
        "found within 0.5 px and 1 degree: %ld of %ld = %.3f %%\n", found, withPattern,
        100.0 * static_cast<double>(found) / static_cast<double>(std::max(1L, withPattern)));
    std::printf(
        "found, symmetric characters also as their half-turned twin: %ld of %ld = %.3f %%\n",
        foundTwin, withPattern,
        100.0 * static_cast<double>(foundTwin) / static_cast<double>(std::max(1L, withPattern)));
    std::printf("misses with an instance within 2 px (angle or position off): %ld\n", nearMisses);
    std::printf("misses by character (twins allowed):");
    for (const auto& [c, n] : misses)
        std::printf(" %c %ld/%ld", static_cast<char>(c), n, drawnBy[c]);
    std::printf("\nwithout a pattern (edge test):");
    for (const auto& [c, n] : noPattern) std::printf(" %c %ld", static_cast<char>(c), n);
    std::printf("\nsearches returning false: %ld\n", falseRuns);
    std::printf("scale locked in %ld of %ld scenes; at search place:", scenesLocked, o.scenes);
    for (const auto& [k, n] : lockPlace) std::printf(" %ld:%ld", k, n);
    std::printf("\ninstances beyond the occurrences, per result:");
    for (const auto& [k, n] : extraInstances) std::printf(" %+ld:%ld", k, n);
    std::printf("\nmedian train %.1f ms, median search %.1f ms\n", median(trainMs),
                median(searchMs));
    return 0;
}
