#include "oc/extract/extract_model.h"

#include <algorithm>
#include <cmath>

#include "oc/imageutil/affine_transform.h"
#include "platform/clevel/assert.h"
#include "platform/core/attention.h"
#include "platform/core/pel_ops.h"
#include "platform/core/timeout.h"
#include "platform/core/timer.h"
#include "platform/vision/geo_align_defs.h"
#include "platform/vision/geo_align_image.h"

namespace {

// Training images narrower or lower than this are trained from their two-times enlargement.
constexpr long kMinTrainSide = 15;
// Scales agree when the largest is less than this factor times the smallest.
constexpr double kScaleAgreement = 1.08;
// Geometric search settings of every character's run.
constexpr double kContrastThreshold = 10.0;
constexpr double kSearchOverlap = 0.2;

// The model's image windowed to its image area (shared pixels); unbound when the model has no
// image.
xcPelBuffer_const<unsigned char> characterImage(const xcOCModel& model) {
    xcPelBuffer_const<unsigned char> image = model.image();
    if (image.isBound()) image.window(model.imageArea(), false);
    return image;
}

}  // namespace

xc_OCExtractModel::xc_OCExtractModel() { init(); }

xc_OCExtractModel::~xc_OCExtractModel() { init(); }

void xc_OCExtractModel::init() {
    m_patterns.clear();
    m_occurrences.clear();
    m_keys.clear();
    m_searchOrder.clear();
    m_diagText.clear();
}

bool xc_OCExtractModel::search(
    const xcPtrHandle_const<xcOCAlphabet>& alphabet, const std::vector<long>& keys,
    const xcPelBuffer_const<unsigned char>& image, const xcPelBuffer_const<unsigned char>& mask,
    const xc_OCExtractModelParams& modelParams, const xc_OCExtractRunParams& runParams,
    xc_OCExtractStringResult& stringResult, xcDiagObject* diag, unsigned long flags) {
    if (!alphabet) xstd_assert_(__LINE__, "null alphabet");
    init();
    m_params = modelParams;
    stringResult.init();
    train_(*alphabet, keys, stringResult);
    drawTrainDiags_(*alphabet, image, keys, diag, flags);
    const xcTimer timer(true);
    const bool found = searchGeoFind_(*alphabet, image, mask, runParams, stringResult);
    postProcessResults_(stringResult, keys);
    stringResult.m_searchTime = timer.elapsed();
    drawRuntimeDiags_(*alphabet, image, runParams, stringResult, diag, flags);
    return found;
}

void xc_OCExtractModel::train_(const xcOCAlphabet& alphabet, const std::vector<long>& keys,
                               xc_OCExtractStringResult& stringResult) {
    stringResult.m_trainTime = 0.0;
    const xcTimer timer(true);

    m_keys = keys;
    std::sort(m_keys.begin(), m_keys.end());
    m_keys.erase(std::unique(m_keys.begin(), m_keys.end()), m_keys.end());
    const size_t n = m_keys.size();
    m_occurrences.assign(n, 0);
    for (size_t i = 0; i < n; ++i)
        m_occurrences[i] = static_cast<long>(std::count(keys.begin(), keys.end(), m_keys[i]));

    m_patterns.clear();
    m_patterns.resize(n);
    m_searchOrder.clear();
    std::vector<std::pair<long, double>> ranks;
    for (size_t i = 0; i < n; ++i) ranks.emplace_back(static_cast<long>(i), 0.0);

    const auto& [fine, coarse] = m_params.grainLimits();
    const bool autoGrain = fine == -1.0 || coarse == -1.0;

    for (size_t i = 0; i < n; ++i) {
        if (!alphabet.hasCharacter(m_keys[i])) continue;
        const xcOCModel& model = *alphabet.character(m_keys[i]);
        const xcPelBuffer_const<unsigned char> image = characterImage(model);
        if (!image.isBound()) continue;
        xcPelBuffer_const<unsigned char> training;
        if (image.width() >= kMinTrainSide && image.height() >= kMinTrainSide) {
            training = xfPelCopy(image);
        } else {
            xcPelBuffer<unsigned char> enlarged;
            xf_AffineTransform(image, xcRadian(0.0), 2.0, enlarged, 2);
            // The enlargement's client frame is the character's own.
            enlarged.clientFromImageXform(
                image.clientFromImageXformBase().linearAt(xcVector<2>(0.0, 0.0)).xform() *
                enlarged.clientFromImageXform());
            training = enlarged;
        }
        if (model.charType() == xcOCModel::eBlank) continue;
        double offDirectionEdges = 0.0;
        if (isEdgeDegenerate(training, offDirectionEdges)) continue;

        auto pattern = std::make_unique<xcGeoAlignPattern>();
        pattern->autoSelectGrainLimits(autoGrain);
        if (!autoGrain) pattern->grainLimits(static_cast<float>(fine), static_cast<float>(coarse));
        bool trained = false;
        for (int attempt = 0; attempt < 2 && !trained; ++attempt) {
            if (attempt == 1) {
                pattern->autoSelectGrainLimits(false);
                pattern->grainLimits(1.0, 1.0);
            }
            try {
                pattern->train(training, xc_GeoDefs::eTrainAllFlags, nullptr, 0);
                trained = true;
            } catch (const xc_GeoDefs::Errors& e) {
                (void)e.message();  // the next attempt follows
            }
        }
        if (!trained) continue;
        m_patterns[i] = std::move(pattern);
        ranks[i].second = offDirectionEdges;
    }

    std::stable_sort(ranks.begin(), ranks.end(), [](const auto& a, const auto& b) {
        return a.second > b.second || (a.second == b.second && a.first < b.first);
    });
    for (const auto& r : ranks) m_searchOrder.push_back(r.first);

    const xcTimer symmetryTimer(true);
    computeModelSymmetries_(alphabet);
    m_symmetryTime = symmetryTimer.elapsed();
    stringResult.m_trainTime += timer.elapsed();
}

std::vector<xcGeoAlignResult> xc_OCExtractModel::collectAcceptedResults(
    const xcGeoAlignResultSet& set) {
    std::vector<xcGeoAlignResult> out;
    for (const xcGeoAlignResult& r : set.results())
        if (r.accepted() && r.coverage() >= 0.0) out.push_back(r);
    if (out.empty()) out = set.results();
    return out;
}

bool xc_OCExtractModel::estimateCommonScale(const std::vector<double>& values, long k,
                                            double& scale) {
    const long n = static_cast<long>(values.size());
    if (n < k || k < 1) return false;
    std::vector<double> sorted = values;
    std::sort(sorted.begin(), sorted.end());
    if (values.front() < 0.0) return false;
    const long m = k - 1;
    double best = kScaleAgreement;
    long start = -1;
    for (long s = 0; s + m < n; ++s) {
        const double lo = sorted[static_cast<size_t>(s)], hi = sorted[static_cast<size_t>(s + m)];
        if (best * lo > hi) {
            best = hi / lo;
            start = s;
        }
    }
    if (start < 0) return false;
    scale = std::sqrt(sorted[static_cast<size_t>(start)] * sorted[static_cast<size_t>(start + m)]);
    return true;
}

bool xc_OCExtractModel::searchGeoFind_(const xcOCAlphabet&,
                                       const xcPelBuffer_const<unsigned char>& image,
                                       const xcPelBuffer_const<unsigned char>& mask,
                                       const xc_OCExtractRunParams& runParams,
                                       xc_OCExtractStringResult& stringResult) {
    xcGeoAlignRunParams rp;
    rp.acceptThreshold(runParams.acceptThreshold());
    rp.algorithm(xc_GeoDefs::eAlgorithmRefined);
    rp.zoneEnable(xc_GeoDefs::eZoneAll);
    rp.zone(xc_GeoDefs::eDofAngle, m_params.angleRange());
    rp.clutterScoring(false);
    rp.contrastThreshold(kContrastThreshold);
    rp.xyOverlap(kSearchOverlap);

    const long agree = minAgree(numModels());
    m_scaleLockIndex = -1;
    m_lockedScale = 1.0;
    long position = 0;
    std::vector<double> scales;
    bool locked = false;
    xcTimer timer(true);
    bool ok = true;

    // Every character's run derives the same pyramid, response planes and gradients from the
    // image: derived once here and shared.
    const xcGeoAlignImage prepared(image,
                                   mask.isBound() ? mask : xcPelBuffer_const<unsigned char>());
    if (static_cast<long>(m_searchOrder.size()) != numModels())
        xstd_assert_(__LINE__, "search order does not cover the models");
    for (const long i : m_searchOrder) {
        if (i < 0 || i >= numModels()) xstd_assert_(__LINE__, "search order out of range");
        const size_t u = static_cast<size_t>(i);
        xc_OCExtractCharResultHandle result(new xc_OCExtractCharResult());
        result->symmetry(m_symmetries[u]);
        result->rot180Pose(m_rot180Poses[u]);
        if (const xcGeoAlignPattern* pattern = m_patterns[u].get()) {
            const xcXform<2> t =
                pattern->trainClientFromImage().linearAt(xcVector<2>(0.0, 0.0)).xform();
            const long wanted = m_occurrences[u] + 2;
            rp.zone(xc_GeoDefs::eDofScale, m_params.scaleRange());  // unused once locked
            rp.numToFind(wanted);
            xcGeoAlignResultSet set;
            try {
                xcAttentionTag tag;
                tag.attachTimeoutCustom(runParams.timeout(), kSearchTimeoutCode);
                pattern->run(prepared, rp, set, nullptr, 0);
            } catch (const xcTimeout::InternalExpired&) {
                ok = false;
            } catch (const xc_GeoDefs::InternalError&) {
                ok = false;
                if (!set.empty()) xstd_assert_(__LINE__, "results after an internal error");
            }
            const std::vector<xcGeoAlignResult> list = collectAcceptedResults(set);
            if (!locked && !list.empty() && list.front().accepted()) {
                scales.push_back(list.front().xScale());
                double common = 1.0;
                if (estimateCommonScale(scales, agree, common)) {
                    locked = true;
                    rp.zoneEnable(xc_GeoDefs::eZoneAngle);
                    rp.nominal(xc_GeoDefs::eDofScale, common);
                    m_scaleLockIndex = position;
                    m_lockedScale = common;
                }
            }
            const xcPelRect window = pattern->trainWindow();
            long taken = 0;
            for (const xcGeoAlignResult& r : list) {
                if (taken >= wanted) break;
                if (!r.accepted()) continue;
                result->append_(xc_OCExtractCharInstance(r, t, window));
                ++taken;
            }
        }
        result->found(result->numInstances() >= 1);
        result->time(timer.elapsed());
        timer.start();
        result->numOccurrences(m_occurrences[u]);
        stringResult.addToResult_(m_keys[u], result);
        ++position;
    }
    return ok;
}

bool xc_OCExtractModel::hasPattern(long key) const {
    const auto it = std::lower_bound(m_keys.begin(), m_keys.end(), key);
    return it != m_keys.end() && *it == key &&
           m_patterns[static_cast<size_t>(it - m_keys.begin())] != nullptr;
}

std::vector<long> xc_OCExtractModel::searchOrderKeys() const {
    std::vector<long> out;
    for (const long i : m_searchOrder) out.push_back(m_keys[static_cast<size_t>(i)]);
    return out;
}

void xc_OCExtractModel::postProcessResults_(xc_OCExtractStringResult& stringResult,
                                            const std::vector<long>& keys) {
    for (const long key : m_keys) {
        auto it = stringResult.m_resultsByKey.find(key);
        if (it != stringResult.m_resultsByKey.end())
            stringResult.m_uniqueCharResults.push_back(it->second);
    }
    for (const xc_OCExtractCharResultHandle& h : stringResult.m_uniqueCharResults) {
        if (!h) xstd_assert_(__LINE__, "null character result");
        h->sortByScore_();
    }
    stringResult.m_results.clear();
    for (const long key : keys) {
        const auto it = std::lower_bound(m_keys.begin(), m_keys.end(), key);
        if (it == m_keys.end() || *it != key) xstd_assert_(__LINE__, "key not among the keys");
        const size_t u = static_cast<size_t>(it - m_keys.begin());
        if (u >= stringResult.m_uniqueCharResults.size())
            xstd_assert_(__LINE__, "key without a result");
        stringResult.m_results.push_back(stringResult.m_uniqueCharResults[u]);
    }
}
