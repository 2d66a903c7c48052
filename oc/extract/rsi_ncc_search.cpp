#include "oc/extract/rsi_ncc_search.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

#include "oc/extract/extract_defs.h"
#include "oc/extract/variant_peak_fit.h"
#include "oc/imageutil/affine_transform.h"
#include "platform/core/angle.h"
#include "platform/core/exception.h"
#include "platform/core/math_util.h"
#include "platform/core/matrix.h"
#include "platform/core/timeout.h"
#include "platform/core/timer.h"
#include "platform/vision/ncc_search_params.h"

namespace {

// The correlation tool's settings of the variants: its finest pyramid and sub-pixel fit, and
// normalised correlation (the values 4 and 8 of the tool's enumerations).
constexpr long kAccuracy = xcNccSearchDefs::eAccuracyFine;
constexpr long kAlgorithm = xcNccSearchDefs::eNormalizedCorrelation;
static_assert(kAccuracy == 4 && kAlgorithm == 8);
constexpr double kToolOverlap = 0.3;
constexpr long kInterpolation = 2;  // bilinear
// Screening: the variants whose halved patterns score best over the halved window are run in
// full, and the search climbs from the best of them through its neighbours in the grid.
constexpr std::size_t kScreenedVariants = 6;
constexpr int kClimbSteps = 8;
constexpr long kClimbAngleSteps = 4;
// The neighbours the pose is fitted over: up to 2 angle steps and 1 scale step away.
constexpr long kFitAngleSteps = 3;
constexpr long kFitScaleSteps = 1;
// A neighbour is run on the window around where it is expected, this many pixels either way.
constexpr long kLocalMargin = 3;
// The continuous pose fit may move the pattern's corners this far (pixels) from the pose
// between the variants; a fit that goes further has left the variants' peak.
constexpr double kMaxPoseShift = 1.0;

// 2 x 2 means of the window (floor(width / 2) x floor(height / 2)), identity transform.
xcPelBuffer<unsigned char> halved(const xcPelBuffer_const<unsigned char>& image) {
    const xcPelRect w = image.window();
    xcPelBuffer<unsigned char> out(w.width() / 2, w.height() / 2);
    for (long y = 0; y < w.height() / 2; ++y) {
        const unsigned char* a = image.rowPointer(w.y() + 2 * y);
        const unsigned char* b = image.rowPointer(w.y() + 2 * y + 1);
        unsigned char* o = out.rowPointer(y);
        for (long x = 0; x < w.width() / 2; ++x)
            o[x] = static_cast<unsigned char>(
                (a[2 * x] + a[2 * x + 1] + b[2 * x] + b[2 * x + 1] + 2) >> 2);
    }
    return out;
}

[[noreturn]] void throwBad(const wchar_t* message) {
    throw xc_OCExtractDefs::xc_OCExtractError(message);
}

}  // namespace

// [1 2 1] / 4 along x, then along y. Both the variants and the searched image are smoothed so
// that the bilinear resampling of a variant (which blurs it by up to a quarter pixel^2,
// depending on the sampling phase of each angle and scale) changes its scores less next to
// what its angle and scale change. (A wider kernel helps the pose no further and raises the
// scores of other characters.)
xcPelBuffer<unsigned char> xcRSINccSearchModel::bandLimited(
    const xcPelBuffer_const<unsigned char>& image) {
    const xcPelRect w = image.window();
    const long width = w.width(), height = w.height();
    if (w.isNull()) throw xcBadArgument(L"Correlation model: an empty image cannot be smoothed");
    xcPelBuffer<unsigned char> out(w);
    out.clientFromImageXformBase(image.clientFromImageXformBasePtr());
    std::vector<std::uint16_t> rows(static_cast<std::size_t>(width * height));
    for (long y = 0; y < height; ++y) {
        const unsigned char* r = image.rowPointer(w.y() + y);
        std::uint16_t* o = &rows[static_cast<std::size_t>(y * width)];
        for (long x = 0; x < width; ++x) {
            const long left = x > 0 ? x - 1 : 0, right = x + 1 < width ? x + 1 : x;
            o[x] = static_cast<std::uint16_t>(r[left] + 2 * r[x] + r[right]);
        }
    }
    for (long y = 0; y < height; ++y) {
        const std::uint16_t* above = &rows[static_cast<std::size_t>((y > 0 ? y - 1 : 0) * width)];
        const std::uint16_t* mid = &rows[static_cast<std::size_t>(y * width)];
        const std::uint16_t* below =
            &rows[static_cast<std::size_t>((y + 1 < height ? y + 1 : y) * width)];
        unsigned char* o = out.rowPointer(w.y() + y);
        for (long x = 0; x < width; ++x)
            o[x] = static_cast<unsigned char>((above[x] + 2 * mid[x] + below[x] + 8) >> 4);
    }
    return out;
}

xcRSINccSearchModel::xcRSINccSearchModel() = default;
xcRSINccSearchModel::~xcRSINccSearchModel() = default;

xcRSINccSearchModel::xcRSINccSearchModel(const xcPelBuffer_const<unsigned char>& image,
                                         const xcPelBuffer_const<unsigned char>&,
                                         const xcRSINccSearchParams& params,
                                         const std::wstring& name, xcDiagObject*, unsigned long)
    : m_name(name), m_window(image.window()), m_params(params) {
    train_(image);
}

void xcRSINccSearchModel::train_(const xcPelBuffer_const<unsigned char>& image) {
    m_models.clear();
    m_variantPoses.clear();
    m_screens.clear();
    m_templateFromModel.clear();
    m_pattern = bandLimited(image);
    const std::vector<double> angles = m_params.angles();
    const std::vector<double> scales = m_params.scales();
    if (static_cast<long>(angles.size() * scales.size()) > xcRSINccSearchParams::kMaxVariants)
        throwBad(L"Too many variants");

    xcNccSearchTrainParams train;
    train.accuracy(kAccuracy);
    train.algorithms(kAlgorithm);
    xcNccSearchTrainParams screenTrain;
    screenTrain.accuracy(xcNccSearchDefs::eAccuracyCoarse);
    std::vector<xcNccSearchModel> models, screens;
    std::vector<xcXform<2>> poses;
    std::vector<xcXform<2>> placements;
    bool screened = true;
    for (double s : scales) {
        const double scale = s / m_params.baseScale();
        for (double a : angles) {
            const xcRadian angle = xcDegree(a);
            xcPelBuffer<unsigned char> turned;
            xf_AffineTransform(image, angle, scale, turned, kInterpolation);
            const xcPelBuffer<unsigned char> smooth = bandLimited(turned);
            xcNccSearchModel m;
            m.train(smooth, train);
            models.push_back(m);
            poses.emplace_back(xcMatrix<2>(angle, angle, scale, scale), xcVector<2>());
            const xcXform<2> toPixels = turned.imageFromClientXform();
            placements.emplace_back(toPixels.matrix(),
                                    toPixels.trans() - turned.window().offset().toVector());
            // A variant too small or too flat to halve leaves the model without screening.
            try {
                xcNccSearchModel h;
                if (screened) h.train(halved(smooth), screenTrain);
                screens.push_back(h);
            } catch (const xcBadArgument&) {
                screened = false;
            }
        }
    }
    m_models = std::move(models);
    m_variantPoses = std::move(poses);
    m_templateFromModel = std::move(placements);
    if (screened) m_screens = std::move(screens);
}

namespace {

// The correlation run parameters of the variants.
xcNccSearchRunParams variantRunParams(const xcRSINccSearchRunParams& runParams) {
    xcNccSearchRunParams run;
    run.algorithm(kAlgorithm);
    run.accuracy(kAccuracy);
    run.accept(runParams.accept());
    run.confusion(runParams.confusion());
    run.xyOverlap(kToolOverlap);
    run.maxNumResults(static_cast<std::int16_t>(runParams.maxNumResults()));
    return run;
}

}  // namespace

// Runs variant k on `image`; false when it has no result or fails with an error other than a
// time-out (which passes).
bool xcRSINccSearchModel::runVariant_(std::size_t k, const xcPelBuffer_const<unsigned char>& image,
                                      const xcNccSearchRunParams& run,
                                      xcNccSearchResultSet& found) const {
    try {
        m_models[k].run(image, run, found);
    } catch (const xcTimeout::Expired&) {
        throw;
    } catch (const xcException& e) {
        (void)e.message();  // a variant that cannot run is skipped
        return false;
    }
    return !found.empty();
}

// Every variant over the whole window: every found correlation result is an instance.
std::vector<xc_SearchInstance> xcRSINccSearchModel::allVariants_(
    const xcPelBuffer_const<unsigned char>& searched, const xcNccSearchRunParams& run) const {
    std::vector<xc_SearchInstance> instances;
    xcNccSearchResultSet found;
    for (std::size_t k = 0; k < m_models.size(); ++k) {
        if (!runVariant_(k, searched, run, found)) continue;
        for (const xcNccSearchResult& r : found.results())
            if (r.found())
                instances.emplace_back(r.score(), xcXform<2>(), xcAffineRectangle(), r.location(),
                                       static_cast<long>(k));
    }
    return instances;
}

// Variant k run on the part of the window that holds its pattern with its corner at `corner`
// (searched image pixels) and kLocalMargin pixels either way. Falls back to the whole window
// when the peak comes to lie near the edge of that part. False when the variant has no result.
bool xcRSINccSearchModel::runAround_(std::size_t k, const xcVector<2>& corner,
                                     const xcPelBuffer_const<unsigned char>& searched,
                                     const xcNccSearchRunParams& run,
                                     xc_SearchInstance& out) const {
    const xcPelRect tw = m_models[k].window();
    xcNccSearchResultSet found;
    bool ok = false;
    xcVector<2> at = corner;
    // A peak found near the edge of the part is looked for again around itself.
    for (int attempt = 0; attempt < 2 && !ok; ++attempt) {
        const xcPelRect part(xfIFloor(at.x() + 0.5) - kLocalMargin,
                             xfIFloor(at.y() + 0.5) - kLocalMargin, tw.width() + 2 * kLocalMargin,
                             tw.height() + 2 * kLocalMargin);
        xcPelBuffer_const<unsigned char> near = searched;
        near.window(part, true);
        if (near.window().isNull() || !runVariant_(k, near, run, found)) break;
        at = searched.imageFromClientXform().mapPoint(found.result(0).location()) -
             m_templateFromModel[k].trans();
        // A side of the part that is a side of the whole window limits both runs alike.
        const xcPelRect w = near.window(), all = searched.window();
        ok = (at.x() >= w.x() + 2.0 || w.x() == all.x()) &&
             (at.y() >= w.y() + 2.0 || w.y() == all.y()) &&
             (at.x() <= w.x() + w.width() - tw.width() - 2.0 ||
              w.x() + w.width() == all.x() + all.width()) &&
             (at.y() <= w.y() + w.height() - tw.height() - 2.0 ||
              w.y() + w.height() == all.y() + all.height());
    }
    if (!ok && !runVariant_(k, searched, run, found)) return false;
    const xcNccSearchResult& r = found.result(0);
    out = xc_SearchInstance(r.score(), xcXform<2>(), xcAffineRectangle(), r.location(),
                            static_cast<long>(k));
    return true;
}

// Variant k run around where it should find the pattern that `best` found: with the point of
// the model window's centre where `best` puts it.
bool xcRSINccSearchModel::runNear_(std::size_t k, const xc_SearchInstance& best,
                                   const xcPelBuffer_const<unsigned char>& searched,
                                   const xcNccSearchRunParams& run, xc_SearchInstance& out) const {
    const xcVector<2> centre((m_window.x() + 0.5 * m_window.width()),
                             (m_window.y() + 0.5 * m_window.height()));
    const xcXform<2>& from = m_templateFromModel[static_cast<std::size_t>(best.variant())];
    const xcVector<2> anchor = searched.imageFromClientXform().mapPoint(best.location()) -
                               from.trans() + from.mapPoint(centre);
    return runAround_(k, anchor - m_templateFromModel[k].mapPoint(centre), searched, run, out);
}

// The variants near `best` in the grid (angleSteps angles and kFitScaleSteps scales either
// way), each run near where `best` found the pattern, `best` itself included.
std::vector<xc_SearchInstance> xcRSINccSearchModel::neighbours_(
    const xc_SearchInstance& best, const xcPelBuffer_const<unsigned char>& searched,
    const xcNccSearchRunParams& run, long angleSteps, RunCache& cache) const {
    const long na = static_cast<long>(m_params.angles().size());
    const long ns = static_cast<long>(m_models.size()) / na;
    const long ai = best.variant() % na, si = best.variant() / na;
    cache.state.resize(m_models.size(), 0);
    cache.results.resize(m_models.size());
    std::vector<xc_SearchInstance> out;
    // At an end of the grid the neighbours reach as far inwards as they would have reached on
    // both sides together.
    const long s0 = std::max(0L, std::min(si - kFitScaleSteps, ns - 1 - 2 * kFitScaleSteps));
    const long s1 = std::min(ns - 1, std::max(si + kFitScaleSteps, 2 * kFitScaleSteps));
    const long a0 = std::max(0L, std::min(ai - angleSteps, na - 1 - 2 * angleSteps));
    const long a1 = std::min(na - 1, std::max(ai + angleSteps, 2 * angleSteps));
    for (long s = s0; s <= s1; ++s)
        for (long a = a0; a <= a1; ++a) {
            const std::size_t k = static_cast<std::size_t>(s * na + a);
            if (s == si && a == ai) {
                out.push_back(best);
                continue;
            }
            if (cache.state[k] == 0)
                cache.state[k] = runNear_(k, best, searched, run, cache.results[k]) ? 1 : -1;
            if (cache.state[k] == 1) out.push_back(cache.results[k]);
        }
    return out;
}

// The best instance by screening: the kScreenedVariants variants whose halved patterns score
// best on the halved window run around where their halved patterns found it, then the search moves
// to a better neighbour of the best one while there is one. Empty when no variant has a result.
std::vector<xc_SearchInstance> xcRSINccSearchModel::screened_(
    const xcPelBuffer_const<unsigned char>& searched, const xcNccSearchRunParams& run,
    RunCache& cache) const {
    const xcPelBuffer<unsigned char> small = halved(searched);
    xcNccSearchRunParams screen;
    screen.accuracy(xcNccSearchDefs::eAccuracyCoarse);
    screen.accept(0.0);
    screen.confusion(0.0);
    std::vector<std::pair<double, std::size_t>> order;
    std::vector<xcVector<2>> corners(m_screens.size());
    const xcVector<2> origin = searched.window().offset().toVector();
    xcNccSearchResultSet found;
    for (std::size_t k = 0; k < m_screens.size(); ++k) {
        try {
            m_screens[k].run(small, screen, found);
        } catch (const xcTimeout::Expired&) {
            throw;
        } catch (const xcException& e) {
            (void)e.message();
            continue;
        }
        if (!found.empty()) {
            order.emplace_back(found.result(0).score(), k);
            corners[k] = origin + found.result(0).location() * 2.0;
        }
    }
    const std::size_t keep = std::min(kScreenedVariants, order.size());
    std::partial_sort(order.begin(), order.begin() + static_cast<long>(keep), order.end(),
                      [](const auto& a, const auto& b) { return a.first > b.first; });
    std::vector<xc_SearchInstance> best;
    for (std::size_t i = 0; i < keep; ++i) {
        const std::size_t k = order[i].second;
        cache.state.resize(m_models.size(), 0);
        cache.results.resize(m_models.size());
        xc_SearchInstance& r = cache.results[k];
        cache.state[k] = runAround_(k, corners[k], searched, run, r) ? 1 : -1;
        if (cache.state[k] == 1 && (best.empty() || r.score() > best[0].score())) best.assign(1, r);
    }
    for (int step = 0; step < kClimbSteps && !best.empty(); ++step) {
        const xc_SearchInstance from = best[0];
        for (const xc_SearchInstance& n : neighbours_(from, searched, run, kClimbAngleSteps, cache))
            if (n.score() > best[0].score()) best[0] = n;
        if (best[0].variant() == from.variant()) break;
    }
    if (!best.empty() && best[0].score() < run.accept()) best.clear();
    return best;
}

// The pose of an instance: the top of the scores of the variants around its own (see
// variant_peak_fit.h), with the location that goes with it; its score, location and variant
// stay the best variant's.
void xcRSINccSearchModel::fitPose_(xc_SearchInstance& inst,
                                   const xcPelBuffer_const<unsigned char>& searched,
                                   const xcNccSearchRunParams& run, RunCache& cache) const {
    const std::vector<double> angles = m_params.angles();
    const std::vector<double> scales = m_params.scales();
    const long na = static_cast<long>(angles.size());
    const long ai = inst.variant() % na, si = inst.variant() / na;
    const double logStep = std::log1p(m_params.scaleStep());
    std::vector<xc_VariantSample> samples;
    for (const xc_SearchInstance& n : neighbours_(inst, searched, run, kFitAngleSteps, cache)) {
        const long dx = n.variant() % na - ai, dy = n.variant() / na - si;
        // Another peak than the instance's own does not belong to its hill.
        if ((n.location() - inst.location()).len() > 2.0) continue;
        samples.push_back(
            {static_cast<double>(dx), static_cast<double>(dy), n.score(), n.location()});
    }
    // The pose stays within the grid.
    const long ns = static_cast<long>(scales.size());
    const xc_VariantPeak peak = xf_FitVariantPeak(
        samples, inst.location(), xcVector<2>(static_cast<double>(-ai), static_cast<double>(-si)),
        xcVector<2>(static_cast<double>(na - 1 - ai), static_cast<double>(ns - 1 - si)));
    const xcRadian angle =
        xcDegree(angles[static_cast<std::size_t>(ai)] + peak.x * m_params.angleStep());
    const double scale =
        scales[static_cast<std::size_t>(si)] * std::exp(peak.y * logStep) / m_params.baseScale();
    // Then the continuous pose near the fitted one (the searched image's pixel frame).
    xc_SimilarityPose fitted;
    fitted.angle = angle.toDouble();
    fitted.scale = scale;
    fitted.translation = searched.imageFromClientXform().mapPoint(peak.location);
    const xc_SimilarityPose best =
        m_pattern.isBound() ? xf_RefineSimilarityPose(m_pattern, searched, fitted, kMaxPoseShift)
                            : fitted;
    const xcXform<2> x =
        searched.clientFromImageXform() *
        xcXform<2>(xcMatrix<2>(xcRadian(best.angle), xcRadian(best.angle), best.scale, best.scale),
                   xcVector<2>());
    const xcXform<2> pose(xcMatrix<2>(x.xRot(), x.yRot(), x.xScale(), x.yScale()),
                          searched.clientFromImageXform().mapPoint(best.translation));
    inst.pose(pose);
    inst.affRect(xcAffineRectangle(m_window).map(pose));
}

void xcRSINccSearchModel::run(const xcPelBuffer_const<unsigned char>& image,
                              const xcRSINccSearchRunParams& runParams,
                              xcPtrHandle<xc_SearchResult>& result, xcDiagObject*,
                              unsigned long) const {
    const xcTimer timer(true);
    if (!image.clientFromImageXformBase().isLinear())
        throw xcBadArgument(L"Correlation model run: the image's client transform is not linear");
    // An unbound image throws here, before the result changes.
    const bool empty = image.window().isNull();
    const xcPelBuffer<unsigned char> searched =
        empty ? xcPelBuffer<unsigned char>() : bandLimited(image);
    if (result.isNull())
        result = xcPtrHandle<xc_SearchResult>(new xc_SearchResult());
    else
        result->init();
    if (empty) {
        result->time(timer.elapsed());
        return;
    }

    const xcNccSearchRunParams run = variantRunParams(runParams);
    const long keep = runParams.maxNumResults();
    const bool screen = m_screening && keep == 1 && !m_screens.empty() &&
                        searched.window().width() >= 2 && searched.window().height() >= 2;
    RunCache cache;
    std::vector<xc_SearchInstance> instances =
        screen ? screened_(searched, run, cache) : allVariants_(searched, run);
    std::sort(instances.begin(), instances.end(),
              [](const xc_SearchInstance& a, const xc_SearchInstance& b) {
                  return a.score() > b.score();
              });
    if (keep >= 1 && static_cast<long>(instances.size()) > keep)
        instances.resize(static_cast<std::size_t>(keep));
    for (xc_SearchInstance& inst : instances) {
        if (!screen) cache = RunCache();  // each instance's neighbours are run around it
        fitPose_(inst, searched, run, cache);
    }
    result->found(!instances.empty());
    result->instances(instances);
    result->time(timer.elapsed());
}
