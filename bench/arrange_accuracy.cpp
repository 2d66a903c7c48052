// Accuracy harness of the arranger: suites of synthetic scenes with ground truth, each run
// through xfOCArrange, with the figures an inspection engineer asks for.
//
//   bench_arrange_accuracy [--scenes=N] [--seed=S] [--suite=NAME] [--origin=centre] [--verbose]
//                          [--inferred] [--only=K]
//
// The character models have their client origin at the lower-left corner of the cell, or with
// --origin=centre at its centre; reported poses are compared with the truth in the
// lower-left-origin frame either way.
// Every scene: 640 x 480, DejaVu Sans Mono or DejaVu Sans (alternating), 20 to 40 px per em,
// blur 0.7, noise sigma 4, a target of 8 to 20 digits, capitals and spaces. Suites:
//   straight0   one straight line at 0 degrees
//   straight    one straight line at any angle
//   circular    one circular line, radius 100 to 200 px, clockwise and counter-clockwise
//   two-lines   two parallel straight lines at any angle
//   scale       one straight line at any angle, scale 0.8 to 1.2, scaleRange 0.8 to 1.2
//   missing     one straight line at any angle with one inner character not drawn
//   damaged     one straight line at any angle with two characters 40 to 60 % erased
//   distractor  one straight line at any angle and a line of other text beside it
// Per suite: intact drawn characters eMatched within 0.5 px and 1 degree of the truth;
// missing characters reported eMatched, and eInferred within 1 px; damaged characters
// reported eMatched at the default minMatchScore and at 0.7; scenes whose lines and shapes
// are right; median and 95th-percentile time of the call. The intact characters that are not
// matched are split by cause: a character without a geometric pattern (its edges fail the
// extraction's edge test: fewer than 25 edgelets, or more than half of them in one direction
// window of about 21 degrees, as for H, N, L, M, U, T and 7) with no patterned character
// between it and one end of its line cannot be placed by the rules (a line begins and ends
// with a matched character), so it stays unknown: "rule-bound". A patternless character
// inside its line is inferred and left to the refinement: "patternless". All other misses,
// of characters with a pattern, are "patterned".
// "Lines and shapes right" is given twice. Strict: the arrangement has exactly the target's
// lines, of the right shape, and every intact character is eMatched. Without rule-bound: a
// rule-bound or damaged character at a line end may be left on a line of its own (the rules
// give it no other place), every other intact character is eMatched, and the lines of two or
// more positions are the target's lines (same count, each within one target line, shape right).
// --inferred also runs the stages up to the position results and measures every inferred pose
// before the refinement: distance to the truth, split along and across the text, and how many
// lie beyond what the refinement covers (a third of the cell along either axis, 3 degrees).
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "oc/arrange/arrange.h"
#include "oc/arrange/arrange_construct.h"
#include "oc/arrange/arrange_records.h"
#include "oc/arrange/candidate_search.h"
#include "oc/arrange/path_search.h"
#include "oc/extract/extract_model.h"
#include "oc/imageutil/affine_transform.h"
#include "platform/diag/diag_object.h"
#include "tools/fontkit/synth_alphabet.h"
#include "tools/synth/font.h"
#include "tools/synth/layout.h"
#include "tools/synth/scene.h"

namespace {

struct Options {
    long scenes = 200;
    std::uint64_t seed = 1;
    std::string suite;  // empty: all
    bool verbose = false;
    bool centred = false;   // models with their client origin at the cell centre
    bool inferred = false;  // measure the inferred poses before the refinement
    long only = -1;         // run only this scene of each suite
};

bool parse(int argc, char** argv, Options& o) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto val = [&](const char* p) {
            return a.rfind(p, 0) == 0 ? a.c_str() + std::strlen(p) : nullptr;
        };
        if (const char* v = val("--scenes="))
            o.scenes = std::atol(v);
        else if (const char* v2 = val("--seed="))
            o.seed = std::strtoull(v2, nullptr, 10);
        else if (const char* v3 = val("--suite="))
            o.suite = v3;
        else if (a == "--origin=centre")
            o.centred = true;
        else if (a == "--verbose")
            o.verbose = true;
        else if (const char* v4 = val("--only="))
            o.only = std::atol(v4);
        else if (a == "--inferred")
            o.inferred = true;
        else {
            std::fprintf(stderr, "unknown option %s\n", a.c_str());
            return false;
        }
    }
    return o.scenes > 0;
}

// What one suite adds up.
struct Tally {
    long scenes = 0, scenesRight = 0, scenesRightHonest = 0;
    long intact = 0, intactOk = 0;
    long missesRuleBound = 0;    // patternless characters at a line end, left unknown
    long missesPatternless = 0;  // other patternless characters (placed by the refinement)
    long missing = 0, missingMatched = 0, missingInferredNear = 0;
    long damaged = 0, damagedMatched = 0, damagedMatched07 = 0;
    std::vector<double> ms;
    std::map<wchar_t, long> misses;  // intact characters not found, by character
    // --inferred: inferred poses before the refinement, per line shape (0 straight, 1 circular)
    std::vector<double> infDist[2], infAlong[2], infAcross[2], infAngle[2];
    long infBeyond[2] = {0, 0};
    // Circular lines: the same, laid out with the cell widths taken in the sense of the sweep.
    std::vector<double> infDistSensed;
    long infBeyondSensed = 0;
};

struct Scene {
    xcSynthSceneParams params;
    const xcSynthFont* font = nullptr;
    std::wstring target;  // the arranged text (the first lines; distractor excluded)
    long targetLines = 1;
    bool circular = false;
    xcOCArrangeParams arrange;
    long index = 0;  // within its suite
};

const std::wstring kChars = L"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

std::wstring randomText(std::mt19937_64& rng, long n) {
    std::uniform_int_distribution<std::size_t> pick(0, kChars.size() - 1);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    std::wstring t;
    for (long i = 0; i < n; ++i) {
        const bool space = i > 0 && i + 1 < n && t.back() != L' ' && u(rng) < 0.1;
        t.push_back(space ? L' ' : kChars[pick(rng)]);
    }
    return t;
}

// Moves a straight line so that its characters are centred on `centre`.
void centreLine(const xcSynthFont& font, double em, double globalScale, xcSynthLineSpec& line,
                const xcVector<2>& centre) {
    line.start = xcVector<2>(0.0, 0.0);
    const std::vector<xcSynthPose> poses = xfSynthLayoutLine(font, em, line, globalScale);
    const double a = line.angle * M_PI / 180.0;
    const xcVector<2> dir(std::cos(a), std::sin(a)), up(std::sin(a), -std::cos(a));
    const double length =
        (poses.back().position - poses.front().position).len() + 0.6 * em * globalScale;
    line.start = centre - dir * (0.5 * length) - up * (0.35 * em * globalScale);
}

bool inside(const xcSynthTruth& truth, double margin) {
    for (const auto& c : truth.chars)
        for (const auto& p : c.cell)
            if (p.x() < margin || p.y() < margin || p.x() > truth.width - margin ||
                p.y() > truth.height - margin)
                return false;
    return true;
}

Scene makeScene(const std::string& suite, long index, std::mt19937_64& rng, const xcSynthFont& mono,
                const xcSynthFont& sans) {
    std::uniform_real_distribution<double> u(0.0, 1.0);
    Scene s;
    s.index = index;
    s.font = index % 2 == 0 ? &mono : &sans;
    const double em = 20.0 + 20.0 * u(rng);
    xcSynthSceneParams& p = s.params;
    p.pixelSize = em;
    p.tones = xcSynthTones{eDarkOnLight, 30.0, 220.0};
    p.blurSigma = 0.7;
    p.noiseSigma = 4.0;
    p.seed = rng();
    const double angle = suite == "straight0" ? 0.0 : -180.0 + 360.0 * u(rng);
    const xcVector<2> centre(320.0 + 30.0 * (u(rng) - 0.5), 240.0 + 30.0 * (u(rng) - 0.5));
    // The longest line that fits across the image at this size (advances up to ~0.75 em).
    const long fit = std::clamp(static_cast<long>(440.0 / (0.75 * em)), 8L, 20L);
    std::uniform_int_distribution<long> len(8, fit);

    if (suite == "circular") {
        s.circular = true;
        const double radius = std::min(100.0 + 100.0 * u(rng), 232.0 - 1.3 * em);
        const long most =
            std::clamp(static_cast<long>(0.75 * 2 * M_PI * radius / (0.75 * em)), 8L, 20L);
        xcSynthLineSpec l;
        l.kind = xcSynthLineSpec::eCircular;
        l.text = randomText(rng, std::uniform_int_distribution<long>(8, most)(rng));
        l.centre = xcVector<2>(320.0, 240.0);
        l.radius = radius;
        l.startAngle = -180.0 + 360.0 * u(rng);
        l.clockwise = index % 4 < 2;
        p.lines.push_back(l);
    } else if (suite == "two-lines") {
        s.targetLines = 2;
        const double a = angle * M_PI / 180.0;
        const xcVector<2> normal(-std::sin(a), std::cos(a));
        for (int k = 0; k < 2; ++k) {
            xcSynthLineSpec l;
            l.text = randomText(rng, std::uniform_int_distribution<long>(4, fit / 2 + 2)(rng));
            l.angle = angle;
            centreLine(*s.font, em, 1.0, l, centre + normal * ((k - 0.5) * 1.8 * em));
            p.lines.push_back(l);
        }
    } else {
        if (suite == "scale") {
            p.globalScale = 0.8 + 0.4 * u(rng);
            s.arrange.scaleRange(xcRange(0.8, 1.2));
        }
        xcSynthLineSpec l;
        l.text = randomText(rng, len(rng));
        l.angle = angle;
        centreLine(*s.font, em, p.globalScale, l, centre);
        p.lines.push_back(l);
        if (suite == "missing") {
            std::vector<long> inner;
            for (long i = 1; i + 1 < static_cast<long>(l.text.size()); ++i)
                if (l.text[static_cast<std::size_t>(i)] != L' ') inner.push_back(i);
            p.missing = {inner[rng() % inner.size()]};
        } else if (suite == "damaged") {
            std::vector<long> drawn;
            for (long i = 0; i < static_cast<long>(l.text.size()); ++i)
                if (l.text[static_cast<std::size_t>(i)] != L' ') drawn.push_back(i);
            std::shuffle(drawn.begin(), drawn.end(), rng);
            p.damaged = {drawn[0], drawn[1]};
            p.damageAmount = 0.4 + 0.2 * u(rng);
        } else if (suite == "distractor") {
            const double a = angle * M_PI / 180.0;
            const xcVector<2> normal(-std::sin(a), std::cos(a));
            xcSynthLineSpec d;
            d.text = randomText(rng, len(rng));
            d.angle = angle;
            centreLine(*s.font, em, 1.0, d, centre + normal * (1.9 * em));
            p.lines.push_back(d);
        }
    }
    for (long k = 0; k < s.targetLines; ++k) s.target += p.lines[static_cast<std::size_t>(k)].text;
    return s;
}

double percentile(std::vector<double> v, double q) {
    if (v.empty()) return 0.0;
    std::sort(v.begin(), v.end());
    return v[static_cast<std::size_t>(std::min<double>(v.size() - 1, q * (v.size() - 1) + 0.5))];
}

// The lines the arranger chose, in path order, read from its "Build arrangement" details:
// the shape's name and the number of positions. A line of one position reads "Circular".
struct LineShape {
    std::wstring shape;
    long positions = 0;
};
std::vector<LineShape> lineShapes(const xcDiagObject& diag) {
    std::vector<LineShape> shapes;
    for (long r = 0; r < diag.numRecords(); ++r) {
        const xcDiagRecord* rec = diag.diagRecord(r);
        if (rec->annotation() != L"Build arrangement") continue;
        for (const xcDiagText& t : rec->texts()) {
            if (t.name.rfind(L"Line #", 0) != 0 || t.name.find(L" details") == std::wstring::npos)
                continue;
            const std::size_t nl = t.text.find(L'\n'), comma = t.text.find(L',', nl);
            shapes.push_back({t.text.substr(nl + 1, comma - nl - 1),
                              std::wcstol(t.text.c_str() + comma + 1, nullptr, 10)});
        }
    }
    return shapes;
}

// Whether the extraction trains a pattern for the model: not blank, and its training image
// (enlarged two times under 15 pels on a side) passes the edge test.
bool hasPattern(const xcOCModel& m) {
    if (m.charType() == xcOCModel::eBlank) return false;
    xcPelBuffer_const<unsigned char> image = m.image();
    image.window(m.imageArea(), false);
    double offDirection = 0.0;
    if (image.width() >= 15 && image.height() >= 15)
        return !xc_OCExtractModel::isEdgeDegenerate(image, offDirection);
    xcPelBuffer<unsigned char> enlarged;
    xf_AffineTransform(image, xcRadian(0.0), 2.0, enlarged, 2);
    return !xc_OCExtractModel::isEdgeDegenerate(enlarged, offDirection);
}

// Per position of the target: 2 for a patternless character that no patterned character
// separates from one end of its line, 1 for another patternless character, else 0.
std::vector<int> patternClass(const Scene& s, const xcOCAlphabet& alphabet) {
    std::vector<int> bound;
    for (long k = 0; k < s.targetLines; ++k) {
        const std::wstring& text = s.params.lines[static_cast<std::size_t>(k)].text;
        std::vector<bool> patterned;
        for (wchar_t c : text) patterned.push_back(hasPattern(*alphabet.character(long(c))));
        const auto first = std::find(patterned.begin(), patterned.end(), true);
        const auto last = std::find(patterned.rbegin(), patterned.rend(), true);
        const long lo = first - patterned.begin();
        const long hi = static_cast<long>(patterned.size()) - 1 - (last - patterned.rbegin());
        for (long i = 0; i < static_cast<long>(text.size()); ++i)
            bound.push_back(patterned[static_cast<std::size_t>(i)] ? 0
                            : (i < lo || i > hi)                   ? 2
                                                                   : 1);
    }
    return bound;
}

// Per position of the target: whether the rules may leave it on a line of its own, that is
// whether every position from it to one end of its line is one that no search can place
// (patternless, missing or damaged).
std::vector<bool> mayBeLone(const Scene& s, const xcSynthTruth& truth,
                            const std::vector<int>& bound) {
    std::vector<bool> lone(bound.size(), false);
    std::size_t begin = 0;
    for (long k = 0; k < s.targetLines; ++k) {
        const std::size_t n = s.params.lines[static_cast<std::size_t>(k)].text.size();
        auto unplaceable = [&](std::size_t i) {
            const xcSynthCharTruth& c = truth.chars[i];
            return bound[i] != 0 || c.missing || c.damaged;
        };
        for (std::size_t i = begin; i < begin + n && unplaceable(i); ++i) lone[i] = true;
        for (std::size_t i = begin + n; i > begin && unplaceable(i - 1); --i) lone[i - 1] = true;
        begin += n;
    }
    return lone;
}

// Whether the lines are right once the rule-bound ends are allowed lines of their own (see
// the file comment).
bool linesRightHonest(const Scene& s, const xcSynthTruth& truth, const std::vector<bool>& lone,
                      const std::vector<LineShape>& shapes,
                      const std::vector<xcOCArrangeDefs::CharStatus>& status) {
    std::vector<long> lineOf;
    for (long k = 0; k < s.targetLines; ++k)
        lineOf.insert(lineOf.end(), s.params.lines[static_cast<std::size_t>(k)].text.size(), k);
    long start = 0, multi = 0, lastTargetLine = -1;
    for (const LineShape& l : shapes) {
        const long end = start + l.positions;
        if (l.positions < 1 || end > static_cast<long>(lineOf.size())) return false;
        if (l.positions == 1) {
            if (!lone[static_cast<std::size_t>(start)]) return false;
        } else {
            const long tl = lineOf[static_cast<std::size_t>(start)];
            if (tl != lineOf[static_cast<std::size_t>(end - 1)] || tl == lastTargetLine ||
                (l.shape == L"Circular") != s.circular)
                return false;
            lastTargetLine = tl;
            ++multi;
        }
        start = end;
    }
    if (multi != s.targetLines || start != static_cast<long>(lineOf.size())) return false;
    for (std::size_t i = 0; i < truth.chars.size() && i < status.size(); ++i) {
        const xcSynthCharTruth& c = truth.chars[i];
        if (c.drawn && !c.damaged && !lone[i] && status[i] != xcOCArrangeDefs::eMatched)
            return false;
    }
    return true;
}

// Runs the arranger's stages up to the position results (as xfOCArrange does) and measures
// every inferred pose of a drawn character against the truth, before any refinement.
bool o_dump = false;
void measureInferred(const Scene& s, const xcSynthScene& scene, const xcOCAlphabet& alphabet,
                     const std::vector<long>& keys, Tally& t, bool verbose,
                     const std::string& suite) {
    const xcPtrHandle_const<xcOCAlphabet> copy(new xcOCAlphabet(alphabet));
    std::vector<xc_CharData> chars(keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const xcOCModel& m = *alphabet.character(keys[i]);
        chars[i].isBlank = m.charType() == xcOCModel::eBlank;
        chars[i].cellRect(m.imageArea(), m.image().clientFromImageXform());
    }
    std::vector<std::vector<xc_Pose>> cp;
    std::vector<std::vector<double>> cs;
    xf_SearchCharCandidates(scene.image, xcPelBuffer_const<unsigned char>(), copy, keys, s.arrange,
                            cp, cs, chars, nullptr, 0);
    xc_ArrangePath path;
    xf_SearchArrangePath(scene.image, alphabet, keys, chars, cp, cs, s.arrange, path);
    xc_ArrangeCost cost;
    xf_EvaluateArrangePath(path, alphabet, keys, chars, cp, cs, s.arrange,
                           xf_IsClientFrameFlipped(scene.image), true, cost);
    std::vector<xc_Pose> poses;
    std::vector<double> scores;
    std::vector<xcOCArrangeDefs::CharStatus> status;
    xf_ComputePositionResults(cp, cs, path, cost, chars, s.arrange, poses, scores, status);
    std::size_t arc = 0;
    for (long l = 0; l < path.numLines(); ++l) {
        const int shape = l < static_cast<long>(cost.lineTypes.size()) &&
                          cost.lineTypes[static_cast<std::size_t>(l)] == xcOCArrangeDefs::eCircular;
        // The arc's layout with the widths counted in the sense of its sweep: positions from
        // the line's start to its last matched one, cell widths of upright characters.
        std::vector<xcVector<2>> sensed;
        if (shape && arc < cost.lineArcs.size()) {
            const xcEllipseArc2& a = cost.lineArcs[arc++];
            long b = path.lineEnd(l) - 1;
            while (b > path.lineStart(l) &&
                   status[static_cast<std::size_t>(b)] != xcOCArrangeDefs::eMatched)
                --b;
            const long L = b - path.lineStart(l) + 1;
            std::vector<double> w;
            for (long j = path.lineStart(l); j <= b; ++j)
                w.push_back(double(
                    alphabet.character(keys[static_cast<std::size_t>(j)])->imageArea().width()));
            double W = 0.5 * (w.front() + w.back());
            for (std::size_t j = 1; j + 1 < w.size(); ++j) W += w[j];
            const double R = a.ellipse().xRadius(), psi = a.span().toDouble();
            const double sense = psi >= 0 ? 1.0 : -1.0;
            const double g = L > 1 ? (psi - sense * W / R) / double(L - 1) : 0.0;
            double ang = a.start().toDouble();
            for (long j = 0; j < L; ++j) {
                if (j > 0)
                    ang +=
                        sense *
                            (w[static_cast<std::size_t>(j - 1)] + w[static_cast<std::size_t>(j)]) /
                            (2 * R) +
                        g;
                sensed.push_back(a.ellipse().center() +
                                 xcVector<2>(std::cos(ang), std::sin(ang)) * R);
            }
        }
        for (long i = path.lineStart(l); i < path.lineEnd(l); ++i) {
            const std::size_t u = static_cast<std::size_t>(i);
            const xcSynthCharTruth& c = scene.truth.chars[u];
            if (status[u] != xcOCArrangeDefs::eInferred || !c.drawn) continue;
            const xcOCModel& m = *alphabet.character(keys[u]);
            const xcXform<2> pose =
                poses[u].xform() * xcXform<2>::translation(xfSynthCellLowerLeft(m));
            const xcVector<2> d = pose.trans() - c.pose.position;
            const double a = c.pose.angle * M_PI / 180.0;
            const double along = d.x() * std::cos(a) + d.y() * std::sin(a);
            const double across = -d.x() * std::sin(a) + d.y() * std::cos(a);
            const double ang = std::abs(
                std::remainder(poses[u].angle.toDouble() * 180.0 / M_PI - c.pose.angle, 360.0));
            t.infDist[shape].push_back(d.len());
            t.infAlong[shape].push_back(std::abs(along));
            t.infAcross[shape].push_back(std::abs(across));
            t.infAngle[shape].push_back(ang);
            const bool beyond =
                std::abs(along) > poses[u].scale * double(m.imageArea().width()) / 3.0 ||
                std::abs(across) > poses[u].scale * double(m.imageArea().height()) / 3.0 ||
                ang > 3.0;
            t.infBeyond[shape] += beyond;
            const std::size_t js = static_cast<std::size_t>(i - path.lineStart(l));
            if (shape && js < sensed.size()) {
                const xcVector<2> ds = d + (sensed[js] - poses[u].translation);
                const double alongS = ds.x() * std::cos(a) + ds.y() * std::sin(a);
                const double acrossS = -ds.x() * std::sin(a) + ds.y() * std::cos(a);
                t.infDistSensed.push_back(ds.len());
                t.infBeyondSensed +=
                    std::abs(alongS) > poses[u].scale * double(m.imageArea().width()) / 3.0 ||
                    std::abs(acrossS) > poses[u].scale * double(m.imageArea().height()) / 3.0;
            }
            if (verbose && beyond) {
                std::string line;  // m matched, i inferred, per position of the line
                for (long j = path.lineStart(l); j < path.lineEnd(l); ++j)
                    line += status[static_cast<std::size_t>(j)] == xcOCArrangeDefs::eMatched ? 'm'
                                                                                             : 'i';
                std::printf(
                    "  %s inferred '%lc' at %ld beyond the refinement: along %.2f, across "
                    "%.2f px, %.2f deg, line %s, seed %llu\n",
                    suite.c_str(), static_cast<wint_t>(c.code), i, along, across, ang, line.c_str(),
                    static_cast<unsigned long long>(s.params.seed));
                for (long j = path.lineStart(l); j < path.lineEnd(l) && o_dump; ++j) {
                    const std::size_t v = static_cast<std::size_t>(j);
                    const xcXform<2> pj =
                        poses[v].xform() *
                        xcXform<2>::translation(xfSynthCellLowerLeft(*alphabet.character(keys[v])));
                    std::printf(
                        "    %ld '%lc' %c nominal (%.2f, %.2f) truth (%.2f, %.2f) angle %.2f / "
                        "%.2f\n",
                        j, static_cast<wint_t>(scene.truth.chars[v].code),
                        status[v] == xcOCArrangeDefs::eMatched ? 'm' : 'i', pj.trans().x(),
                        pj.trans().y(), scene.truth.chars[v].pose.position.x(),
                        scene.truth.chars[v].pose.position.y(),
                        poses[v].angle.toDouble() * 180 / M_PI, scene.truth.chars[v].pose.angle);
                }
                if (shape && !cost.lineArcs.empty())
                    std::printf("    arc centre (%.2f, %.2f), radius %.2f\n",
                                cost.lineArcs[0].ellipse().center().x(),
                                cost.lineArcs[0].ellipse().center().y(),
                                cost.lineArcs[0].ellipse().xRadius());
            }
        }
    }
}

void runScene(const Scene& s, const std::string& suite, Tally& t, const Options& o) {
    const bool verbose = o.verbose;
    const xcSynthScene scene = xfSynthScene(*s.font, s.params);
    if (!inside(scene.truth, 4.0)) return;  // rare: a layout that leaves the image
    xcSynthGlyphParams gp;
    gp.pixelSize = s.params.pixelSize;
    gp.tones = s.params.tones;
    xcPtrHandle<xcOCAlphabet> alphabet = xfSynthAlphabet(*s.font, s.target, gp);
    if (o.centred) alphabet = xfSynthCentredAlphabet(*alphabet);
    const std::vector<int> bound = patternClass(s, *alphabet);
    const std::vector<long> keys = xfSynthKeys(s.target);

    xcOCArrangeResults r;
    const auto t0 = std::chrono::steady_clock::now();
    xfOCArrange(scene.image, *alphabet, keys, s.arrange, r);
    t.ms.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count());
    ++t.scenes;
    if (verbose && t.ms.back() > 1000.0)
        std::printf("  %s slow scene: %.0f ms, %zu positions, seed %llu\n", suite.c_str(),
                    t.ms.back(), keys.size(), static_cast<unsigned long long>(s.params.seed));

    xcDiagObject diag;
    xcOCArrangeResults again;
    xfOCArrange(scene.image, *alphabet, keys, s.arrange, again, &diag, 0x40000);
    const std::vector<LineShape> shapes = lineShapes(diag);
    bool right = r.arrangement() && r.arrangement()->numLines() == s.targetLines &&
                 static_cast<long>(shapes.size()) == s.targetLines;
    for (const auto& shape : shapes) right = right && (shape.shape == L"Circular") == s.circular;
    const bool rightHonest =
        linesRightHonest(s, scene.truth, mayBeLone(s, scene.truth, bound), shapes, r.statusFlags());
    if (o.inferred) measureInferred(s, scene, *alphabet, keys, t, verbose, suite);

    bool damagedRun07 = false;
    xcOCArrangeResults r07;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const xcSynthCharTruth& c = scene.truth.chars[i];
        const auto status = r.statusFlags()[i];
        const xcXform<2> pose =
            xfOCArrangeCharPose(r, static_cast<long>(i)) *
            xcXform<2>::translation(xfSynthCellLowerLeft(*alphabet->character(keys[i])));
        const double dist = (pose.trans() - c.pose.position).len();
        const double ang =
            std::abs(std::remainder(std::atan2(pose.matrix()(1, 0) - pose.matrix()(0, 1),
                                               pose.matrix()(0, 0) + pose.matrix()(1, 1)) *
                                            180.0 / M_PI -
                                        c.pose.angle,
                                    360.0));
        if (c.missing) {
            ++t.missing;
            t.missingMatched += status == xcOCArrangeDefs::eMatched;
            t.missingInferredNear += status == xcOCArrangeDefs::eInferred && dist <= 1.0;
        } else if (c.damaged) {
            ++t.damaged;
            t.damagedMatched += status == xcOCArrangeDefs::eMatched;
            if (!damagedRun07) {
                xcOCArrangeParams p07 = s.arrange;
                p07.minMatchScore(0.7);
                xfOCArrange(scene.image, *alphabet, keys, p07, r07);
                damagedRun07 = true;
            }
            t.damagedMatched07 += r07.statusFlags()[i] == xcOCArrangeDefs::eMatched;
        } else if (c.drawn) {
            ++t.intact;
            const bool ok = status == xcOCArrangeDefs::eMatched && dist <= 0.5 && ang <= 1.0;
            t.intactOk += ok;
            if (!ok) {
                ++t.misses[static_cast<wchar_t>(c.code)];
                t.missesRuleBound += bound[i] == 2;
                t.missesPatternless += bound[i] == 1;
                right = right && status == xcOCArrangeDefs::eMatched;
                if (verbose)
                    std::printf(
                        "  %s miss '%lc' at %zu%s: status %d, %.2f px, %.2f deg, seed "
                        "%llu\n",
                        suite.c_str(), static_cast<wint_t>(c.code), i,
                        bound[i] == 2   ? " (rule-bound)"
                        : bound[i] == 1 ? " (patternless)"
                                        : "",
                        int(status), dist, ang, static_cast<unsigned long long>(s.params.seed));
            }
        }
    }
    t.scenesRight += right;
    t.scenesRightHonest += rightHonest;
    if (verbose && !rightHonest) {
        // Per line: its positions, each as m (matched), i (inferred) or u (unknown), upper case
        // when the character has a pattern, '-' for a blank, '!' for a missing or damaged one ('#'
        // when it is reported matched); 'c' or 's' for a circular or straight line of two or more
        // positions.
        std::string text;
        std::size_t i = 0;
        for (const LineShape& l : shapes) {
            text += l.positions > 1 ? (l.shape == L"Circular" ? " c:" : " s:") : " ";
            for (long k = 0; k < l.positions && i < keys.size(); ++k, ++i) {
                const xcSynthCharTruth& c = scene.truth.chars[i];
                const auto st = r.statusFlags()[i];
                char ch = st == xcOCArrangeDefs::eMatched    ? 'm'
                          : st == xcOCArrangeDefs::eInferred ? 'i'
                                                             : 'u';
                if (c.blank)
                    ch = '-';
                else if (c.missing || c.damaged)
                    ch = st == xcOCArrangeDefs::eMatched ? '#' : '!';
                else if (bound[i] == 0)
                    ch = static_cast<char>(ch - 'a' + 'A');
                text += ch;
            }
        }
        std::printf("  %s lines wrong, scene %ld:%s\n", suite.c_str(), s.index, text.c_str());
    }
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    if (!parse(argc, argv, o)) {
        std::fprintf(stderr,
                     "usage: bench_arrange_accuracy [--scenes=N] [--seed=S] [--suite=NAME] "
                     "[--origin=centre] [--verbose] [--inferred] [--only=K]\n");
        return 2;
    }
    o_dump = o.only >= 0;
    const xcSynthFont mono(xcSynthFont::locate("DejaVuSansMono.ttf")),
        sans(xcSynthFont::locate("DejaVuSans.ttf"));
    const char* suites[] = {"straight0", "straight", "circular", "two-lines",
                            "scale",     "missing",  "damaged",  "distractor"};
    std::printf(
        "| suite | scenes | intact matched <= 0.5 px, 1 deg | misses rule-bound / patternless / "
        "patterned | "
        "matched without rule-bound | missing matched | missing inferred <= 1 px | "
        "damaged matched (0.4 / 0.7) | lines and shapes right (strict / without rule-bound) | "
        "median ms | p95 ms |\n|---|---|---|---|---|---|---|---|---|---|---|\n");
    for (const char* name : suites) {
        if (!o.suite.empty() && o.suite != name) continue;
        std::mt19937_64 rng(o.seed * 1000003ULL + std::hash<std::string>()(name));
        Tally t;
        for (long i = 0; i < o.scenes; ++i) {
            const Scene scene = makeScene(name, i, rng, mono, sans);
            if (o.only < 0 || o.only == i) runScene(scene, name, t, o);
        }
        auto pct = [](long a, long b) { return b ? 100.0 * double(a) / double(b) : 0.0; };
        const long patterned = t.intact - t.intactOk - t.missesRuleBound - t.missesPatternless;
        std::printf(
            "| %s | %ld | %ld / %ld (%.2f %%) | %ld / %ld / %ld | %ld / %ld (%.2f %%) | %ld / "
            "%ld | %ld / %ld | %ld / %ld, %ld / %ld | %ld / %ld, %ld / %ld | %.1f | %.1f |\n",
            name, t.scenes, t.intactOk, t.intact, pct(t.intactOk, t.intact), t.missesRuleBound,
            t.missesPatternless, patterned, t.intactOk, t.intact - t.missesRuleBound,
            pct(t.intactOk, t.intact - t.missesRuleBound), t.missingMatched, t.missing,
            t.missingInferredNear, t.missing, t.damagedMatched, t.damaged, t.damagedMatched07,
            t.damaged, t.scenesRight, t.scenes, t.scenesRightHonest, t.scenes,
            percentile(t.ms, 0.5), percentile(t.ms, 0.95));
        if (!t.misses.empty()) {
            std::printf("|   misses by character: ");
            for (const auto& [c, n] : t.misses) std::printf("%lc %ld  ", static_cast<wint_t>(c), n);
            std::printf("| | | | | | | | | |\n");
        }
        for (int shape = 0; shape < 2 && o.inferred; ++shape) {
            if (t.infDist[shape].empty()) continue;
            std::printf(
                "|   inferred poses before refinement, %s lines: %zu, distance median %.2f / p90 "
                "%.2f / max %.2f px, along %.2f / %.2f, across %.2f / %.2f px, angle %.2f / "
                "%.2f deg, beyond the refinement's reach %ld | | | | | | | | | |\n",
                shape ? "circular" : "straight", t.infDist[shape].size(),
                percentile(t.infDist[shape], 0.5), percentile(t.infDist[shape], 0.9),
                percentile(t.infDist[shape], 1.0), percentile(t.infAlong[shape], 0.5),
                percentile(t.infAlong[shape], 0.9), percentile(t.infAcross[shape], 0.5),
                percentile(t.infAcross[shape], 0.9), percentile(t.infAngle[shape], 0.5),
                percentile(t.infAngle[shape], 0.9), t.infBeyond[shape]);
        }
        if (o.inferred && !t.infDistSensed.empty())
            std::printf(
                "|   circular, widths in the sense of the sweep: distance median %.2f / p90 "
                "%.2f / max %.2f px, beyond the refinement's reach (position) %ld | | | | | | "
                "| | | |\n",
                percentile(t.infDistSensed, 0.5), percentile(t.infDistSensed, 0.9),
                percentile(t.infDistSensed, 1.0), t.infBeyondSensed);
        std::fflush(stdout);
    }
    return 0;
}
