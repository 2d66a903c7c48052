// Accuracy harness of the geometric alignment tool on synthetic scenes with exact truth.
//
// Each trial renders one DejaVu Sans glyph (em size uniform in [minSize, maxSize] px) at a
// random position, an angle uniform in [-180, 180) degrees and a scale uniform in [0.9, 1.1]
// into a 640 x 480 scene (dark on light, blur 0.7 px, Gaussian noise sigma 4 grey levels),
// trains a pattern on the glyph's model (its cell, enlarged twice when narrower or lower than
// 15 px, as the character extraction does), and searches the whole turn and the scale range
// with accept 0.5. Found: an accepted result within 2 px (cell centre) and 3 degrees of the
// truth. The pose errors (cell centre position, angle, scale) are taken over the found trials.
// Absent trials run the same pattern on a scene holding another glyph and count accepted
// results.
//
//   bench_geo_align_accuracy [--trials=N] [--seed=S] [--min-size=20] [--max-size=40]
//                            [--chars=...] [--absent=N] [--clutter] [--neighbours] [--verbose]
//                            [--bound [--bound-eps=0.035]] [--bound-check]
// --clutter runs the present trials with clutter scoring (absent trials run both ways);
// --neighbours draws each present glyph between two other random glyphs of the set on one line.
// --bound also computes, for every present trial, the Cramer-Rao bounds of the glyph's pose
// from the scene model (geo_align_bound.h) and prints them next to the errors achieved; each
// trial is computed with the step --bound-eps (px) and with half of it, and the largest
// relative change of a bound is reported. --bound-check runs the bound's checks against known
// answers (a bar, a disc, sizes, noise) and exits.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench/geo_align_bound.h"
#include "platform/core/affine_sampling.h"
#include "platform/vision/geo_align_pattern.h"
#include "tools/synth/font.h"
#include "tools/synth/glyph_model.h"
#include "tools/synth/random.h"
#include "tools/synth/scene.h"

namespace {

struct Options {
    long trials = 1000;
    long absent = 300;
    unsigned long seed = 1;
    double minSize = 20, maxSize = 40;
    // Glyphs that no turn maps onto themselves or onto another glyph of the set.
    std::wstring chars = L"ABCDEFGJKLPQRTUVY234579abefghkrty";
    double blur = 0.7, noise = 4.0;
    double scaleLo = 0.9, scaleHi = 1.1;
    bool verbose = false;
    bool clutter = false;     // present trials with clutter scoring
    bool neighbours = false;  // present glyphs between two others of the set, on one line
    long only = -1;           // run this present trial only
    bool bound = false;       // Cramer-Rao bounds of every present trial
    double boundEps = 0.035;  // px, finite-difference step of the bound
    bool boundCheck = false;  // check the bound computation and exit
};

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto val = [&](const char* key) -> const char* {
            const size_t n = std::strlen(key);
            return a.compare(0, n, key) == 0 ? a.c_str() + n : nullptr;
        };
        if (const char* v = val("--trials="))
            o.trials = std::atol(v);
        else if (const char* v2 = val("--absent="))
            o.absent = std::atol(v2);
        else if (const char* v3 = val("--seed="))
            o.seed = std::strtoul(v3, nullptr, 10);
        else if (const char* v4 = val("--min-size="))
            o.minSize = std::atof(v4);
        else if (const char* v5 = val("--max-size="))
            o.maxSize = std::atof(v5);
        else if (const char* v6 = val("--chars=")) {
            o.chars.clear();
            for (const char* p = v6; *p; ++p) o.chars.push_back(static_cast<unsigned char>(*p));
        } else if (const char* v7 = val("--blur="))
            o.blur = std::atof(v7);
        else if (const char* v8 = val("--noise="))
            o.noise = std::atof(v8);
        else if (const char* v9 = val("--scale="))
            o.scaleLo = o.scaleHi = std::atof(v9);
        else if (const char* v10 = val("--only="))
            o.only = std::atol(v10);
        else if (const char* v11 = val("--bound-eps=")) {
            o.boundEps = std::atof(v11);
            if (!(o.boundEps > 0.0 && o.boundEps <= 1.0)) {
                std::fprintf(stderr, "--bound-eps must be in (0, 1] px\n");
                std::exit(2);
            }
        } else if (a == "--bound")
            o.bound = true;
        else if (a == "--bound-check")
            o.boundCheck = true;
        else if (a == "--verbose")
            o.verbose = true;
        else if (a == "--clutter")
            o.clutter = true;
        else if (a == "--neighbours")
            o.neighbours = true;
        else {
            std::fprintf(stderr, "unknown option %s\n", a.c_str());
            std::exit(2);
        }
    }
    if (o.bound && !(o.noise > 0.0)) {
        std::fprintf(stderr, "--bound needs a noise sigma above 0\n");
        std::exit(2);
    }
    return o;
}

// The training image of a glyph model: its cell, enlarged twice below 15 pixels.
xcPelBuffer_const<unsigned char> trainingImage(const xcSynthGlyph& g) {
    xcPelBuffer_const<unsigned char> img = g.image;
    img.window(g.cell);
    if (g.cell.width() >= 15 && g.cell.height() >= 15) return img;
    const xcXform<2> c = img.clientFromImageXform();
    const xcVector<2> o = c.mapPoint(xcVector<2>(g.cell.x(), g.cell.y()));
    const xcVector<2> ox = c.mapPoint(xcVector<2>(g.cell.x() + g.cell.width(), g.cell.y()));
    const xcVector<2> oy = c.mapPoint(xcVector<2>(g.cell.x(), g.cell.y() + g.cell.height()));
    const xcAffineRectangle rect(o, ox, oy);
    return xfAffineTransformImage(
        img, xcAffineSamplingParams(rect, 2 * g.cell.width(), 2 * g.cell.height(), 2));
}

// The glyph model of `code` at `size` px per em, and a pattern trained on it.
struct TrainedGlyph {
    xcSynthGlyph glyph;
    xcGeoAlignPattern pattern;
};

TrainedGlyph trainGlyph(const xcSynthFont& font, char32_t code, double size) {
    xcSynthGlyphParams gp;
    gp.pixelSize = size;
    TrainedGlyph t{xfSynthGlyphModel(font, code, gp), xcGeoAlignPattern()};
    t.pattern.train(trainingImage(t.glyph), xc_GeoDefs::eTrainAllFlags);
    return t;
}

struct Trial {
    char32_t code = 0;
    std::wstring text;  // the line drawn (the glyph alone when empty)
    long index = 0;     // the glyph's place in it
    double size = 0;
    xcSynthPose pose;
};

xcSynthScene render(const xcSynthFont& font, const Trial& t, std::uint64_t seed, const Options& o) {
    xcSynthSceneParams p;
    p.width = 640;
    p.height = 480;
    p.pixelSize = t.size;
    p.blurSigma = o.blur;
    p.noiseSigma = o.noise;
    p.seed = seed;
    xcSynthLineSpec line;
    line.text = t.text.empty() ? std::wstring(1, static_cast<wchar_t>(t.code)) : t.text;
    line.start = t.pose.position;
    line.angle = t.pose.angle;
    line.scale = t.pose.scale;
    p.lines = {line};
    return xfSynthScene(font, p);
}

double wrap180(double a) { return std::remainder(a, 360.0); }

// The bounds of one present trial's glyph with the step eps and with eps / 2, and how many
// pixels of the bound's window the unquantised model, rounded to 8 bits, gets different from
// the renderer's noise-free scene (0 when the model is the renderer's).
struct TrialBound {
    xc_PoseBounds b, half;
    long mismatched = 0;
};

TrialBound trialBound(const xcSynthFont& font, const Trial& t, const xcSynthScene& scene,
                      const xcSynthGlyph& glyph, std::uint64_t seed, const Options& o) {
    xc_BoundScene sc;
    sc.blur = o.blur;
    sc.background = scene.truth.background;
    sc.ink = scene.truth.ink;
    long target = -1;
    for (size_t i = 0; i < scene.truth.chars.size(); ++i) {
        const xcSynthCharTruth& c = scene.truth.chars[i];
        if (!c.drawn) continue;
        if (static_cast<long>(i) == t.index) target = static_cast<long>(sc.shapes.size());
        sc.shapes.push_back(
            {&font.outline(c.code), font.metrics(c.code, t.size).clientFromFont, c.pose});
    }
    const xcVector<2> cell(static_cast<double>(glyph.metrics.cellWidth),
                           static_cast<double>(glyph.metrics.cellHeight));
    const xcVector<2> centre(cell.x() * 0.5, -cell.y() * 0.5);
    const double reach = 0.5 * std::hypot(cell.x(), cell.y()) * t.pose.scale;
    const long w = scene.image.width(), h = scene.image.height();
    const xcPelRect win = xf_BoundWindow(sc, target, cell, w, h);
    TrialBound r;
    r.b = xfPoseBounds(sc, target, centre, reach, win, w, h, o.noise, o.boundEps);
    r.half = xfPoseBounds(sc, target, centre, reach, win, w, h, o.noise, 0.5 * o.boundEps);

    Options quiet = o;
    quiet.noise = 0.0;
    const xcSynthScene clean = render(font, t, seed, quiet);
    const long g = xf_BoundBlurRadius(o.blur) + 1;
    const xcPelRect rr =
        xcPelRect(win.x() - g, win.y() - g, win.width() + 2 * g, win.height() + 2 * g)
            .intersect(xcPelRect(0, 0, w, h));
    const xcSynthField model =
        xf_BoundRender(sc, rr, -1, sc.shapes[static_cast<size_t>(target)].pose);
    for (long y = win.y(); y < win.y() + win.height(); ++y) {
        const unsigned char* p = clean.image.rowPointer(y);
        for (long x = win.x(); x < win.x() + win.width(); ++x)
            if (xfSynthQuantize(model.at(x - rr.x(), y - rr.y())) != p[x]) ++r.mismatched;
    }
    return r;
}

// The size bin (0 to 3) of an em size.
int binOf(const Options& opt, double size) {
    return std::clamp(static_cast<int>((size - opt.minSize) / (opt.maxSize - opt.minSize) * 4), 0,
                      3);
}

// Per size bin (em sizes [20, 25), [25, 30), [30, 35), [35, 40]): trials, found, errors.
struct Bin {
    long trials = 0, found = 0;
    std::vector<double> ep, ea, es;
    std::vector<xc_PoseBounds> bounds;  // every present trial, with --bound
};

// What the present trials gathered.
struct PresentTally {
    long found = 0;
    double minFoundScore = 1.0;
    std::vector<double> ep, ea, es;
    // Largest relative change of each bound (known: angle, scale, position; then nuisance)
    // when the step is halved.
    double epsChange[6] = {};
    double sumSq[6] = {}, sumSqHalf[6] = {};  // of each bound over the trials, step and half
    long mismatched = 0, singular = 0;
    Bin bins[4];
    std::map<wchar_t, long> misses;
    double runMs = 0;
};

Trial makeTrial(xcSynthRandom& rnd, const Options& opt, wchar_t ch) {
    Trial t;
    t.code = static_cast<char32_t>(ch);
    t.size = rnd.uniform(opt.minSize, opt.maxSize);
    t.pose.angle = rnd.uniform(-180.0, 180.0);
    t.pose.scale = rnd.uniform(opt.scaleLo, opt.scaleHi);
    t.pose.position = xcVector<2>(rnd.uniform(80.0, 560.0), rnd.uniform(80.0, 400.0));
    return t;
}

// The next present trial: a random glyph of the set, between two others with --neighbours.
Trial presentTrial(xcSynthRandom& rnd, const Options& opt) {
    const wchar_t ch =
        opt.chars[static_cast<size_t>(rnd.index(static_cast<long>(opt.chars.size())))];
    Trial t = makeTrial(rnd, opt, ch);
    if (opt.neighbours) {
        // Two other glyphs (a copy of the glyph itself would be a second instance).
        const long n = static_cast<long>(opt.chars.size());
        const long at = static_cast<long>(opt.chars.find(ch));
        auto other = [&] {
            long k = rnd.index(n - 1);
            if (k >= at) ++k;
            return opt.chars[static_cast<size_t>(k)];
        };
        t.text = {other(), ch, other()};
        t.index = 1;
    }
    return t;
}

// Adds the bounds of present trial i to its bin and to the step-halving figures.
void tallyBound(const xcSynthFont& font, const Options& opt, long i, const Trial& t,
                const xcSynthScene& scene, const xcSynthGlyph& glyph, Bin& bin,
                PresentTally& tally) {
    const TrialBound tb =
        trialBound(font, t, scene, glyph, opt.seed * 1000003 + static_cast<std::uint64_t>(i), opt);
    tally.mismatched += tb.mismatched;
    if (!tb.b.known.ok || !tb.b.nuisance.ok || !tb.half.known.ok || !tb.half.nuisance.ok) {
        ++tally.singular;
    } else {
        bin.bounds.push_back(tb.b);
        const std::pair<double, double> steps[] = {
            {tb.b.known.angle, tb.half.known.angle},
            {tb.b.known.scale, tb.half.known.scale},
            {tb.b.known.position, tb.half.known.position},
            {tb.b.nuisance.angle, tb.half.nuisance.angle},
            {tb.b.nuisance.scale, tb.half.nuisance.scale},
            {tb.b.nuisance.position, tb.half.nuisance.position}};
        for (int k = 0; k < 6; ++k) {
            tally.sumSq[k] += steps[k].first * steps[k].first;
            tally.sumSqHalf[k] += steps[k].second * steps[k].second;
        }
        for (int k = 0; k < 6; ++k)
            tally.epsChange[k] =
                std::max(tally.epsChange[k], std::fabs(steps[k].second / steps[k].first - 1.0));
    }
    if (opt.verbose)
        std::printf(
            "bound trial %ld: angle %.4f / %.4f deg, scale %.4f / %.4f %%, "
            "position %.4f / %.4f px (known / nuisance)\n",
            i, tb.b.known.angle, tb.b.nuisance.angle, tb.b.known.scale, tb.b.nuisance.scale,
            tb.b.known.position, tb.b.nuisance.position);
}

// Runs present trial i: renders it, searches it and tallies whether the truth was found.
void runPresentTrial(const xcSynthFont& font, const Options& opt,
                     const xcGeoAlignRunParams& present, long i, const Trial& t,
                     PresentTally& tally) {
    const wchar_t ch = static_cast<wchar_t>(t.code);
    TrainedGlyph tg = trainGlyph(font, t.code, t.size);
    const xcSynthGlyph& glyph = tg.glyph;
    xcGeoAlignPattern& pat = tg.pattern;
    const xcSynthScene scene =
        render(font, t, opt.seed * 1000003 + static_cast<std::uint64_t>(i), opt);
    xcGeoAlignResultSet rs;
    pat.run(scene.image, present, rs);
    tally.runMs += rs.time();
    const xcXform<2>& truth = scene.truth.chars[static_cast<size_t>(t.index)].xform;
    const xcVector<2> c(glyph.metrics.cellWidth * 0.5, -glyph.metrics.cellHeight * 0.5);
    bool ok = false;
    for (const xcGeoAlignResult& r : rs.results()) {
        if (!r.accepted()) continue;
        const xcVector<2> d = r.pose().mapPoint(c) - truth.mapPoint(c);
        const double dp = std::hypot(d.x(), d.y());
        const double da = wrap180(r.angle() - t.pose.angle);
        if (dp < 2.0 && std::fabs(da) < 3.0) {
            ok = true;
            tally.minFoundScore = std::min(tally.minFoundScore, r.score());
            tally.ep.push_back(dp);
            tally.ea.push_back(da);
            tally.es.push_back(r.xScale() / t.pose.scale - 1.0);
            if (opt.verbose)
                std::printf(
                    "trial %ld %lc size %.1f angle %.1f scale %.3f: dp %.3f da %.3f ds %.3f "
                    "%%\n",
                    i, ch, t.size, t.pose.angle, t.pose.scale, dp, da, 100 * tally.es.back());
            break;
        }
    }
    Bin& bin = tally.bins[binOf(opt, t.size)];
    ++bin.trials;
    if (opt.bound) tallyBound(font, opt, i, t, scene, glyph, bin, tally);
    if (ok) {
        ++tally.found;
        ++bin.found;
        bin.ep.push_back(tally.ep.back());
        bin.ea.push_back(tally.ea.back());
        bin.es.push_back(tally.es.back());
    } else {
        ++tally.misses[ch];
        if (opt.verbose) {
            std::printf("miss %lc size %.1f angle %.1f scale %.3f at (%.1f, %.1f):", ch, t.size,
                        t.pose.angle, t.pose.scale, t.pose.position.x(), t.pose.position.y());
            for (const xcGeoAlignResult& r : rs.results()) {
                const xcVector<2> d = r.pose().mapPoint(c) - truth.mapPoint(c);
                std::printf(" [%s score %.3f cov %.3f dp %.2f da %.2f s %.3f]",
                            r.accepted() ? "acc" : "rej", r.score(), r.coverage(),
                            std::hypot(d.x(), d.y()), wrap180(r.angle() - t.pose.angle),
                            r.xScale());
            }
            std::printf("\n");
        }
    }
}

// The present trials: every one drawn (so that --only keeps the random sequence), the selected
// ones run.
PresentTally runPresent(const xcSynthFont& font, const Options& opt, xcSynthRandom& rnd,
                        const xcGeoAlignRunParams& present) {
    PresentTally tally;
    for (long i = 0; i < opt.trials; ++i) {
        const Trial t = presentTrial(rnd, opt);
        if (opt.only >= 0 && i != opt.only) continue;
        if (opt.only >= 0)
            std::printf(
                "trial %ld: position (%.4f, %.4f) seed %lu\n", i, t.pose.position.x(),
                t.pose.position.y(),
                static_cast<unsigned long>(opt.seed * 1000003 + static_cast<std::uint64_t>(i)));
        runPresentTrial(font, opt, present, i, t, tally);
    }
    return tally;
}

double rms(const std::vector<double>& v, double f) {
    double s = 0;
    for (double x : v) s += x * x * f * f;
    return v.empty() ? 0.0 : std::sqrt(s / v.size());
}

double mean(const std::vector<double>& v, double f) {
    double s = 0;
    for (double x : v) s += x * f;
    return v.empty() ? 0.0 : s / v.size();
}

// Prints the median, 90 %, 99 % and largest of |v| * f.
void printPercentiles(std::vector<double> v, double f) {
    for (double& x : v) x = std::fabs(x) * f;
    std::sort(v.begin(), v.end());
    auto at = [&](double q) {
        return v.empty() ? 0.0 : v[static_cast<size_t>(q * (v.size() - 1))];
    };
    std::printf("%.4f / %.4f / %.4f / %.4f", at(0.5), at(0.9), at(0.99), at(1.0));
}

void printPresent(const Options& opt, const PresentTally& t) {
    std::printf(
        "present: %ld trials, found %ld (%.2f %%), lowest score found %.3f, mean run %.2f "
        "ms\n",
        opt.trials, t.found, 100.0 * t.found / std::max(1L, opt.trials), t.minFoundScore,
        t.runMs / std::max(1L, opt.trials));
    std::printf("pose error RMS: position %.4f px, angle %.4f deg, scale %.4f %%\n", rms(t.ep, 1),
                rms(t.ea, 1), rms(t.es, 100));
    std::printf("pose error mean: angle %.4f deg, scale %.4f %%\n", mean(t.ea, 1), mean(t.es, 100));
    std::printf("|error| median / 90 %% / 99 %% / max: position ");
    printPercentiles(t.ep, 1);
    std::printf(" px; angle ");
    printPercentiles(t.ea, 1);
    std::printf(" deg; scale ");
    printPercentiles(t.es, 100);
    std::printf(" %%\n");
    std::printf("%-12s %7s %7s %10s %10s %10s\n", "em size px", "trials", "found", "pos RMS",
                "angle RMS", "scale RMS");
    for (int b = 0; b < 4; ++b) {
        const double lo = opt.minSize + b * (opt.maxSize - opt.minSize) / 4;
        const double hi = lo + (opt.maxSize - opt.minSize) / 4;
        const Bin& bin = t.bins[b];
        std::printf("%5.1f-%-6.1f %7ld %6.2f%% %7.4f px %6.4f deg %7.4f %%\n", lo, hi, bin.trials,
                    100.0 * bin.found / std::max(1L, bin.trials), rms(bin.ep, 1), rms(bin.ea, 1),
                    rms(bin.es, 100));
    }
}

// RMS of one bound over the trials, known or with the nuisance parameters.
double boundRms(const std::vector<xc_PoseBounds>& v, double xc_PoseBound::*q, bool known) {
    double s = 0;
    for (const xc_PoseBounds& b : v) {
        const double x = (known ? b.known : b.nuisance).*q;
        s += x * x;
    }
    return v.empty() ? 0.0 : std::sqrt(s / v.size());
}

// The bounds' step check, then per quantity the errors achieved against the bounds, per bin.
void printBounds(const Options& opt, const PresentTally& t) {
    std::printf(
        "Cramer-Rao bounds at noise sigma %.2f (RMS over the present trials; known: pose "
        "only unknown; nuisance: grey offset and contrast unknown too) against the errors "
        "achieved (RMS over the found trials)\n",
        opt.noise);
    std::printf(
        "bound step %.3f px; halving it changes the bounds by at most (angle, scale, "
        "position) %.3f, %.3f, %.3f %% known, %.3f, %.3f, %.3f %% nuisance; "
        "singular: %ld; model pixels differing from the renderer's: %ld\n",
        opt.boundEps, 100 * t.epsChange[0], 100 * t.epsChange[1], 100 * t.epsChange[2],
        100 * t.epsChange[3], 100 * t.epsChange[4], 100 * t.epsChange[5], t.singular, t.mismatched);
    double rmsChange = 0.0;
    for (int k = 0; k < 6; ++k)
        if (t.sumSq[k] > 0)
            rmsChange =
                std::max(rmsChange, std::fabs(std::sqrt(t.sumSqHalf[k] / t.sumSq[k]) - 1.0));
    std::printf(
        "halving the step changes the RMS of every bound over the trials by at most "
        "%.3f %%\n",
        100 * rmsChange);
    struct Quantity {
        const char* name;
        const char* unit;
        double xc_PoseBound::*field;
        std::vector<double> Bin::*errors;
        double factor;
    };
    const Quantity qs[] = {{"angle", "deg", &xc_PoseBound::angle, &Bin::ea, 1.0},
                           {"scale", "%", &xc_PoseBound::scale, &Bin::es, 100.0},
                           {"position", "px", &xc_PoseBound::position, &Bin::ep, 1.0}};
    for (const Quantity& q : qs) {
        std::printf("%-12s %10s %10s %10s %9s %9s   (%s, %s)\n", "em size px", "achieved",
                    "CRB known", "CRB nuis.", "/ known", "/ nuis.", q.name, q.unit);
        std::vector<double> all;
        std::vector<xc_PoseBounds> allB;
        auto row = [&](const char* label, const std::vector<double>& err,
                       const std::vector<xc_PoseBounds>& b) {
            const double a = rms(err, q.factor), k = boundRms(b, q.field, true),
                         n = boundRms(b, q.field, false);
            std::printf("%-12s %10.4f %10.4f %10.4f %9.2f %9.2f\n", label, a, k, n,
                        k > 0 ? a / k : 0.0, n > 0 ? a / n : 0.0);
        };
        for (int b = 0; b < 4; ++b) {
            const double lo = opt.minSize + b * (opt.maxSize - opt.minSize) / 4;
            char label[32];
            std::snprintf(label, sizeof label, "%.1f-%.1f", lo,
                          lo + (opt.maxSize - opt.minSize) / 4);
            const Bin& bin = t.bins[b];
            row(label, bin.*q.errors, bin.bounds);
            all.insert(all.end(), (bin.*q.errors).begin(), (bin.*q.errors).end());
            allB.insert(allB.end(), bin.bounds.begin(), bin.bounds.end());
        }
        row("all", all, allB);
    }
}

// Absent: the pattern of one glyph on a scene holding another, searched without and with
// clutter scoring; prints what was accepted.
void runAbsent(const xcSynthFont& font, const Options& opt, xcSynthRandom& rnd,
               const xcGeoAlignRunParams& run) {
    long absentAccepted = 0, clutterAccepted = 0;
    double worst = 0, clutterWorst = 0;
    std::map<std::wstring, double> pairs;
    for (long i = 0; i < opt.absent; ++i) {
        const size_t a = static_cast<size_t>(rnd.index(static_cast<long>(opt.chars.size())));
        size_t b = static_cast<size_t>(rnd.index(static_cast<long>(opt.chars.size()) - 1));
        if (b >= a) ++b;
        const Trial t = makeTrial(rnd, opt, opt.chars[b]);
        TrainedGlyph tg = trainGlyph(font, static_cast<char32_t>(opt.chars[a]), t.size);
        xcGeoAlignPattern& pat = tg.pattern;
        const xcSynthScene scene =
            render(font, t, opt.seed * 7000003 + static_cast<std::uint64_t>(i), opt);
        xcGeoAlignResultSet rs;
        pat.run(scene.image, run, rs);
        xcGeoAlignRunParams cr = run;
        cr.clutterScoring(true);
        xcGeoAlignResultSet rc;
        pat.run(scene.image, cr, rc);
        for (const xcGeoAlignResult& r : rc.results()) {
            clutterWorst = std::max(clutterWorst, r.score());
            if (r.accepted()) ++clutterAccepted;
        }
        for (const xcGeoAlignResult& r : rs.results()) {
            worst = std::max(worst, r.score());
            if (!r.accepted()) continue;
            ++absentAccepted;
            if (opt.verbose)
                std::printf(
                    "absent %lc on %lc size %.1f: score %.3f cov %.3f angle %.1f scale %.3f at "
                    "(%.1f %.1f) truth (%.1f %.1f)\n",
                    opt.chars[a], opt.chars[b], t.size, r.score(), r.coverage(), r.angle(),
                    r.xScale(), r.pose().trans().x(), r.pose().trans().y(), t.pose.position.x(),
                    t.pose.position.y());
            std::wstring key = std::wstring(1, opt.chars[a]) + L" on " + opt.chars[b];
            pairs[key] = std::max(pairs[key], r.score());
        }
    }
    std::printf("absent: %ld trials, %ld accepted results, best score %.3f\n", opt.absent,
                absentAccepted, worst);
    std::printf("absent with clutter scoring: %ld accepted results, best score %.3f\n",
                clutterAccepted, clutterWorst);
    for (const auto& [k, s] : pairs) std::printf("  accepted %ls: %.3f\n", k.c_str(), s);
}

}  // namespace

int main(int argc, char** argv) {
    const Options opt = parse(argc, argv);
    const xcSynthFont font(xcSynthFont::locate());
    if (opt.boundCheck) {
        std::printf("bound checks (blur %.2f px, noise sigma %.2f):\n", opt.blur, opt.noise);
        const int failed = xfPoseBoundSelfCheck(font, opt.blur, opt.noise > 0 ? opt.noise : 4.0);
        std::printf("%d failed\n", failed);
        return failed == 0 ? 0 : 1;
    }
    xcSynthRandom rnd(opt.seed, 11);
    xcGeoAlignRunParams run;
    run.acceptThreshold(0.5);
    run.zoneEnable(xc_GeoDefs::eZoneAll);
    run.zone(xc_GeoDefs::eDofAngle, -180.0, 180.0);
    run.zone(xc_GeoDefs::eDofScale, 0.9, 1.1);
    run.numToFind(1);
    xcGeoAlignRunParams present = run;
    present.clutterScoring(opt.clutter);

    const PresentTally tally = runPresent(font, opt, rnd, present);
    printPresent(opt, tally);
    if (opt.bound) printBounds(opt, tally);
    if (!tally.misses.empty()) {
        std::printf("misses:");
        for (const auto& [ch, n] : tally.misses) std::printf(" %lc:%ld", ch, n);
        std::printf("\n");
    }
    runAbsent(font, opt, rnd, run);
    return opt.bound && (tally.mismatched > 0 || tally.singular > 0) ? 1 : 0;
}
