#include "platform/vision/geo_align_search.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "platform/core/angle.h"
#include "platform/core/attention.h"
#include "platform/vision/geo_align_defs.h"
#include "platform/vision/geo_align_overlap.h"
#include "platform/vision/geo_align_refine.h"
#include "platform/vision/geo_align_register.h"
#include "platform/vision/geo_align_track.h"

namespace {

constexpr double kPi = std::numbers::pi;
// Grid steps move the pattern's farthest point by this many pixels of their level.
constexpr double kStepPixels = 1.0;
// Thresholds of the coarse search and of the tracking, as fractions of the accept threshold.
constexpr double kCoarseFactor = 0.7;
constexpr double kTrackFactor = 0.7;
constexpr double kMinCoarseScore = 0.1;
// Tracking from the coarse level searches two steps either way (in x, y and angle): a coarse hit
// on a glyph between two others can lie more than a step from the glyph's narrow peak one level
// finer, and a one-step neighbourhood then climbs onto a partial match with a neighbour. Finer
// levels search one step either way. Each searches again around a best pose on its edge.
constexpr int kFirstTrackReach = 2;
constexpr int kTrackRounds = 2;
// Candidates fitted beyond numToFind, and the overlap beyond which a tracked candidate is taken
// for the same instance as a better one (and not fitted).
constexpr long kExtraFits = 2;
constexpr double kSameInstance = 0.7;
constexpr double kSameAngle = 10.0 * kPi / 180.0;
constexpr double kSameLogScale = 0.1;
// A fit gives up on a candidate whose points mostly miss their edges: fewer than this fraction
// of the accept threshold found one within a pixel.
constexpr double kGiveUpFactor = 0.8;

// Candidates kept at the coarse level and through the tracking. Each neighbouring character of
// a line of text leaves a few strong partial matches at the coarse level, some scoring better
// than the instance itself, and in a long line those of the other characters alone can fill a
// fixed quota; so every pattern-sized lump of edges in the searched level (its edge pixels over
// the pattern's coarse points) adds kPerLump candidates.
constexpr double kPerLump = 1.0;
long maxCandidates(long numToFind, long edgePixels, long patternPoints) {
    const double lumps =
        static_cast<double>(edgePixels) / static_cast<double>(std::max(1L, patternPoints));
    return 24 + 4 * numToFind + static_cast<long>(std::ceil(kPerLump * lumps));
}

// How client angles and scales relate to those of the image pixel frame: client angle =
// sign * pixel angle + offset, client scale = factor * pixel scale (exact for similarity
// client transforms).
struct FrameMap {
    double sign = 1, offset = 0, factor = 1;
    xcMatrix<2> imageToClient;  // linear part of the searched image's client transform
    xcXform<2> clientFromImage;
    xcMatrix<2> patternFromClient;  // inverse linear part of the pattern's client transform
};

double rotOf(const xcMatrix<2>& m) { return std::atan2(m(1, 0), m(0, 0)); }

FrameMap frameMap(const xc_GeoModel& model, const xcPelBuffer_const<unsigned char>& image) {
    const xcPelRect win = image.window();
    const xcVector<2> centre(win.x() + 0.5 * win.width(), win.y() + 0.5 * win.height());
    FrameMap f;
    f.clientFromImage = image.clientFromImageXformBase().linearAt(centre).xform();
    const double dets = f.clientFromImage.determinant();
    if (!std::isfinite(dets) || dets == 0.0)
        throw xc_GeoDefs::BadRunInput(
            L"Geometric alignment run: the image's client-from-image transform is singular");
    f.imageToClient = f.clientFromImage.matrix();
    f.patternFromClient = model.clientFromImageLinear.matrix().inverse();
    const xcMatrix<2> m0 = f.imageToClient * f.patternFromClient;
    const xcMatrix<2> m1 =
        f.imageToClient * xcMatrix<2>::rotation(xcRadian(kPi / 2)) * f.patternFromClient;
    f.offset = rotOf(m0);
    const double d = xcRadian(rotOf(m1) - f.offset).signedNorm().value();
    f.sign = d >= 0 ? 1.0 : -1.0;
    f.factor = m0.xScale();
    return f;
}

// Cells of a zone: n samples at the centres of equal cells of [lo, hi], n the fewest that keeps
// cells within `step`.
std::vector<double> cells(double lo, double hi, double step) {
    const double w = hi - lo;
    const long n = w <= step ? 1 : static_cast<long>(std::ceil(w / step - 1e-9));
    std::vector<double> v;
    for (long i = 0; i < n; ++i) v.push_back(lo + (i + 0.5) * w / n);
    return v;
}

std::vector<xcVector<2>> footprint(const xc_GeoModel& model, const xc_GeoPose& p) {
    const double w = model.window.width(), h = model.window.height();
    const double rx = model.reference.x(), ry = model.reference.y();
    const double c = std::cos(p.angle) * p.scale, s = std::sin(p.angle) * p.scale;
    std::vector<xcVector<2>> out;
    for (const auto& [x, y] : {std::pair{0.0, 0.0}, {w, 0.0}, {w, h}, {0.0, h}}) {
        const double px = x - rx, py = y - ry;
        out.emplace_back(p.x + c * px - s * py, p.y + s * px + c * py);
    }
    return out;
}

// The angle from b to a, in (-pi, pi].
double angleApart(const xc_GeoPose& a, const xc_GeoPose& b) {
    return xcRadian(a.angle - b.angle).signedNorm().value();
}

// Drops candidates within one pixel, one angle step and one scale step of a better one.
void dedupe(std::vector<xc_GeoCandidate>& cands, int level, const xc_GeoRunSetup& setup, long cap) {
    std::stable_sort(
        cands.begin(), cands.end(),
        [](const xc_GeoCandidate& a, const xc_GeoCandidate& b) { return a.score > b.score; });
    const double g = xf_GeoGrain(level);
    const double da = setup.angleStep0 * g * 1.01, ds = setup.logScaleStep0 * g * 1.01;
    std::vector<xc_GeoCandidate> kept;
    for (const xc_GeoCandidate& c : cands) {
        if (static_cast<long>(kept.size()) >= cap) break;
        bool near = false;
        for (const xc_GeoCandidate& k : kept) {
            if (std::fabs(k.pose.x - c.pose.x) > g * 1.01 ||
                std::fabs(k.pose.y - c.pose.y) > g * 1.01)
                continue;
            if (std::fabs(angleApart(k.pose, c.pose)) > da) continue;
            if (std::fabs(std::log(k.pose.scale / c.pose.scale)) > ds) continue;
            near = true;
            break;
        }
        if (!near) kept.push_back(c);
    }
    cands.swap(kept);
}

// The zones of a run in the searched image's pixel frame, and the levels it searches.
xc_GeoRunSetup runSetup(const xc_GeoModel& model, const xcGeoAlignRunParams& params,
                        const FrameMap& fm) {
    xc_GeoRunSetup setup;
    setup.contrast = params.contrastThreshold();
    setup.polarity = model.matchPolarity();
    setup.angleFree = params.zoneEnabled(xc_GeoDefs::eDofAngle);
    setup.scaleFree = params.zoneEnabled(xc_GeoDefs::eDofScale);
    const double deg = kPi / 180.0;
    setup.angleNominal = fm.sign * (params.nominal(xc_GeoDefs::eDofAngle) * deg - fm.offset);
    setup.scaleNominal = params.nominal(xc_GeoDefs::eDofScale) / fm.factor;
    const xcRange& az = params.zone(xc_GeoDefs::eDofAngle);
    if (setup.angleFree) {
        if (az.isFull() || az.end() - az.start() >= 360.0) {
            setup.angleCircular = true;
        } else {
            const double a = fm.sign * (az.start() * deg - fm.offset);
            const double b = fm.sign * (az.end() * deg - fm.offset);
            setup.angleLo = std::min(a, b);
            setup.angleHi = std::max(a, b);
        }
    }
    const xcRange& sz = params.zone(xc_GeoDefs::eDofScale);
    setup.scaleLo = sz.start() / fm.factor;
    setup.scaleHi = sz.end() / fm.factor;
    // Image levels pair with the model levels of the nearest grain at the middle scale.
    const double smid =
        setup.scaleFree ? std::sqrt(setup.scaleLo * setup.scaleHi) : setup.scaleNominal;
    setup.levelShift = static_cast<int>(std::lround(-std::log2(smid)));
    setup.fitLevel = std::max(0, model.fineLevel - setup.levelShift);
    return setup;
}

// The coarse grid at level `coarse`: steps that move the farthest point by about kStepPixels
// pixels; sets the setup's level-0 steps.
xc_GeoCoarseGrid coarseGrid(const xc_GeoModel& model, int coarse, xc_GeoRunSetup& setup) {
    const double g = xf_GeoGrain(coarse);
    const double smax = setup.scaleFree ? setup.scaleHi : setup.scaleNominal;
    const double r0 = std::max(1.0, model.radius() * smax);
    const double step = kStepPixels * g / r0;
    xc_GeoCoarseGrid grid;
    if (!setup.angleFree) {
        grid.angles = {setup.angleNominal};
        setup.angleStep0 = 0;
    } else if (setup.angleCircular) {
        const long n = static_cast<long>(std::ceil(2 * kPi / step));
        for (long i = 0; i < n; ++i) grid.angles.push_back(-kPi + 2 * kPi * i / n);
        grid.angleCircular = true;
        setup.angleStep0 = 2 * kPi / n / g;
    } else {
        grid.angles = cells(setup.angleLo, setup.angleHi, step);
        setup.angleStep0 = std::min(step, (setup.angleHi - setup.angleLo) /
                                              static_cast<double>(grid.angles.size())) /
                           g;
    }
    if (!setup.scaleFree) {
        grid.scales = {setup.scaleNominal};
        setup.logScaleStep0 = 0;
    } else {
        const double lo = std::log(setup.scaleLo), hi = std::log(setup.scaleHi);
        for (double v : cells(lo, hi, step)) grid.scales.push_back(std::exp(v));
        setup.logScaleStep0 =
            std::max(1e-6, std::min(step, (hi - lo) / static_cast<double>(grid.scales.size()))) / g;
    }
    return grid;
}

// The candidates of the coarse level, at most `cap` of them (set here: it grows with the
// level's edges).
std::vector<xc_GeoCandidate> coarseCandidates(const xc_GeoModel& model, xc_GeoImageCache& cache,
                                              const xc_GeoRunSetup& setup, int coarse,
                                              const xc_GeoCoarseGrid& grid,
                                              const xcGeoAlignRunParams& params, long& cap) {
    const xc_GeoLevel& top = model.level(setup.modelLevel(model, coarse));
    const double smax = setup.scaleFree ? setup.scaleHi : setup.scaleNominal;
    const long border = static_cast<long>(std::ceil(top.radius * smax / xf_GeoGrain(coarse))) + 2;
    const xc_GeoResponse& resp = cache.response(coarse, setup.contrast, setup.polarity, border);
    cap = maxCandidates(params.numToFind(), resp.edgeCount(0, 0, resp.width(), resp.height()),
                        static_cast<long>(top.points.size()));
    return xf_GeoCoarseSearch(resp, top.points, coarse, grid,
                              std::max(kMinCoarseScore, kCoarseFactor * params.acceptThreshold()),
                              cap);
}

// Tracks the candidates from the coarse level down to the fit level.
void trackDown(std::vector<xc_GeoCandidate>& cands, const xc_GeoModel& model,
               xc_GeoImageCache& cache, const xc_GeoPyramid& pyr, const xc_GeoRunSetup& setup,
               int coarse, double accept, long cap) {
    xc_GeoLevelScorer scorer;
    for (int l = coarse - 1; l >= setup.fitLevel; --l) {
        std::vector<xc_GeoCandidate> next;
        // Whole-level unit gradients pay once several runs share them.
        const xc_GeoLevelScorer* units =
            cands.empty() ? nullptr : cache.unitGradients(l, setup.contrast);
        for (const xc_GeoCandidate& c : cands) {
            xc_GeoCandidate t =
                xf_GeoTrackLevel(c, model, l, pyr, setup, scorer,
                                 l == coarse - 1 ? kFirstTrackReach : 1, kTrackRounds, units);
            if (t.score >= kTrackFactor * accept) next.push_back(t);
        }
        dedupe(next, l, setup, cap);
        cands.swap(next);
    }
}

struct Scored {
    xc_GeoFit fit;
    std::vector<xcVector<2>> foot;
};

// The share of the smaller of two footprints (at scales sa and sb) that their overlap covers.
double overlapFraction(const xc_GeoModel& model, const std::vector<xcVector<2>>& a, double sa,
                       const std::vector<xcVector<2>>& b, double sb) {
    const double footArea = static_cast<double>(model.window.width()) * model.window.height();
    const double smaller = footArea * std::min(sa, sb) * std::min(sa, sb);
    return smaller > 0 ? xf_GeoConvexOverlapArea(a, b) / smaller : 1.0;
}

// Fits the best candidates that do not overlap a better one much, at most numToFind + kExtraFits.
std::vector<Scored> fitCandidates(const std::vector<xc_GeoCandidate>& cands,
                                  const xc_GeoModel& model, const xc_GeoPyramid& pyr,
                                  const xc_GeoRunSetup& setup, const xcGeoAlignRunParams& params) {
    std::vector<Scored> fits;
    const bool ls = params.algorithm() == xc_GeoDefs::eAlgorithmRefined;
    const long fitCap = params.numToFind() + kExtraFits;
    std::vector<xc_GeoCandidate> tracked;
    for (const xc_GeoCandidate& c : cands) {
        if (static_cast<long>(fits.size()) >= fitCap) break;
        std::vector<xcVector<2>> foot = footprint(model, c.pose);
        // A candidate that a better one already covers, at about the same angle and scale, is
        // the same instance (instances turned apart are fitted: the fit decides between them).
        bool covered = false;
        for (const xc_GeoCandidate& k : tracked)
            if (std::fabs(angleApart(k.pose, c.pose)) < kSameAngle &&
                std::fabs(std::log(k.pose.scale / c.pose.scale)) < kSameLogScale &&
                overlapFraction(model, footprint(model, k.pose), k.pose.scale, foot, c.pose.scale) >
                    kSameInstance) {
                covered = true;
                break;
            }
        if (covered) continue;
        tracked.push_back(c);
        Scored s;
        s.fit = xf_GeoFit(c.pose, model, pyr, setup, ls, params.clutterScoring(),
                          kGiveUpFactor * params.acceptThreshold());
        s.foot = footprint(model, s.fit.pose);
        fits.push_back(std::move(s));
    }
    return fits;
}

// The best fits that do not overlap a better one by more than xyOverlap: accepted ones, at most
// numToFind, or the best one alone when none is accepted.
std::vector<Scored*> selectResults(std::vector<Scored>& fits, const xc_GeoModel& model,
                                   const xcGeoAlignRunParams& params) {
    std::stable_sort(fits.begin(), fits.end(),
                     [](const Scored& a, const Scored& b) { return a.fit.score > b.fit.score; });
    const double accept = params.acceptThreshold();
    std::vector<Scored*> kept;
    for (Scored& s : fits) {
        if (static_cast<long>(kept.size()) >= params.numToFind()) break;
        if (s.fit.score < accept && !kept.empty()) break;
        bool overlaps = false;
        for (const Scored* k : kept) {
            if (overlapFraction(model, k->foot, k->fit.pose.scale, s.foot, s.fit.pose.scale) >
                params.xyOverlap()) {
                overlaps = true;
                break;
            }
        }
        if (overlaps) continue;
        kept.push_back(&s);
        if (s.fit.score < accept) break;  // the best candidate, not accepted: it comes alone
    }
    return kept;
}

// Appends the kept results with their poses in client coordinates: image client <- image <-
// pattern image <- pattern client.
void addResults(const std::vector<Scored*>& kept, const xc_GeoModel& model,
                const xcPelBuffer_const<unsigned char>& image, const FrameMap& fm, double accept,
                xcGeoAlignResultSet& results) {
    const xcVector<2> so(static_cast<double>(image.window().x()),
                         static_cast<double>(image.window().y()));
    const xcVector<2> to(model.window.x() + model.reference.x(),
                         model.window.y() + model.reference.y());
    const xcXform<2> patternImageFromClient = model.clientFromImageLinear.inverse();
    for (const Scored* k : kept) {
        const xc_GeoPose& p = k->fit.pose;
        const xcMatrix<2> m = xcMatrix<2>::rotation(xcRadian(p.angle)) * p.scale;
        const xcXform<2> imageFromPattern(m, so + xcVector<2>(p.x, p.y) - m * to);
        const xcXform<2> pose = fm.clientFromImage * imageFromPattern * patternImageFromClient;
        results.add(xcGeoAlignResult(k->fit.score >= accept, k->fit.score, k->fit.coverage, pose));
    }
}

}  // namespace

void xf_GeoSearch(const xc_GeoModel& model, const xcPelBuffer_const<unsigned char>& image,
                  const xcPelBuffer_const<unsigned char>& mask, const xcGeoAlignRunParams& params,
                  xcGeoAlignResultSet& results) {
    xc_GeoImageCache own(image, mask, false);
    xf_GeoSearch(model, own, params, results);
}

void xf_GeoSearch(const xc_GeoModel& model, xc_GeoImageCache& cache,
                  const xcGeoAlignRunParams& params, xcGeoAlignResultSet& results) {
    results.clear();
    const FrameMap fm = frameMap(model, cache.image);
    xc_GeoRunSetup setup = runSetup(model, params, fm);
    const int sceneCoarse = std::max(setup.fitLevel, model.coarseLevel - setup.levelShift);

    // The pyramid, and the coarse level it allows.
    const xc_GeoPyramid& pyr = cache.pyramid(sceneCoarse);
    const int coarse = std::min(pyr.top(), sceneCoarse);
    if (coarse < setup.fitLevel) return;  // the image is smaller than the finest grain
    const xc_GeoCoarseGrid grid = coarseGrid(model, coarse, setup);

    long cap = 0;
    std::vector<xc_GeoCandidate> cands =
        coarseCandidates(model, cache, setup, coarse, grid, params, cap);
    trackDown(cands, model, cache, pyr, setup, coarse, params.acceptThreshold(), cap);
    std::vector<Scored> fits = fitCandidates(cands, model, pyr, setup, params);
    const std::vector<Scored*> kept = selectResults(fits, model, params);

    // The accepted results' poses, registered on grey levels (the fit's sub-pixel edges carry
    // small phase and blur biases); a registration that fails keeps the fit's pose.
    const double accept = params.acceptThreshold();
    if (params.algorithm() == xc_GeoDefs::eAlgorithmRefined)
        for (Scored* k : kept) {
            if (k->fit.score < accept) continue;
            const xc_GeoRegResult reg = xf_GeoRegister(model, pyr, setup, k->fit.sign, k->fit.pose);
            if (reg.outcome == xc_GeoRegOutcome::eMoved) k->fit.pose = reg.pose;
        }
    addResults(kept, model, cache.image, fm, accept, results);
}
