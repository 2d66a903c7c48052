#include "oc/arrange/candidate_search.h"

#include "oc/extract/extract_model.h"
#include "oc/extract/extract_result.h"
#include "platform/clevel/assert.h"
#include "platform/diag/diag_object.h"

namespace {

// The extraction's settings for the arranger: the whole circle of angles (less one degree, so
// that -180 and 180 are not searched twice), the arranger's scale range and match threshold.
void xf_SetExtractParams(const xcOCArrangeParams& params, xc_OCExtractModelParams& modelParams,
                         xc_OCExtractRunParams& runParams) {
    modelParams.reservedFactor(1.0);
    modelParams.grainLimits(-1.0, -1.0);
    modelParams.scaleRange(params.scaleRange());
    modelParams.angleRange(xcRange(-179.0, 180.0));
    runParams.timeout(params.timeout());
    runParams.acceptThreshold(params.minMatchScore());
    runParams.confusionThreshold(0.7);
    runParams.overlap(0.5);
}

}  // namespace

xc_CandidateLimits xf_CandidateLimits(const std::vector<double>& scores, long numOccurrences) {
    const long k = static_cast<long>(scores.size());
    const long o = numOccurrences;
    xc_CandidateLimits limits;
    if (k > o && o >= 1) {
        const double threshold = scores[static_cast<std::size_t>(o - 1)] - 0.15;
        long c = o;
        while (c < k && scores[static_cast<std::size_t>(c)] >= threshold) ++c;
        limits.numCandidates = c;
    } else {
        limits.numCandidates = k;
    }
    if (k >= o && o >= 1)
        limits.canBeUnmatched = scores[static_cast<std::size_t>(o - 1)] < 0.7;
    else
        limits.canBeUnmatched = true;
    return limits;
}

bool xf_SearchCharCandidates(const xcPelBuffer_const<unsigned char>& image,
                             const xcPelBuffer_const<unsigned char>& mask,
                             const xcPtrHandle_const<xcOCAlphabet>& alphabet,
                             const std::vector<long>& keys, const xcOCArrangeParams& params,
                             std::vector<std::vector<xc_Pose>>& candidatePoses,
                             std::vector<std::vector<double>>& candidateScores,
                             std::vector<xc_CharData>& chars, xcDiagObject* diag,
                             unsigned long flags) {
    const std::size_t n = keys.size();
    candidatePoses.assign(n, {});
    candidateScores.assign(n, {});
    XSTD_ASSERT(chars.size() == n);

    xc_OCExtractModel model;
    xc_OCExtractModelParams modelParams;
    xc_OCExtractRunParams runParams;
    xf_SetExtractParams(params, modelParams, runParams);

    if (diag) {
        diag->level(diag->level() + 1);
        xf_AddImage(diag, image, L"Search for characters", false);
        diag->level(diag->level() + 1);
    }
    xc_OCExtractStringResult stringResult;
    bool searchComplete = false;
    try {
        searchComplete = model.search(alphabet, keys, image, mask, modelParams, runParams,
                                      stringResult, diag, flags);
    } catch (...) {
        if (diag) diag->level(diag->level() - 2);
        throw;
    }

    const auto& results = stringResult.results();
    XSTD_ASSERT(results.size() == n);
    for (std::size_t i = 0; i < n; ++i) {
        const xc_OCExtractCharResult& r = *results[i];
        xc_CharData& c = chars[i];
        c.symmetry = r.symmetry();
        c.rot180Pose = r.rot180Pose();
        c.numOccurrences = r.numOccurrences();
        const long k = r.numInstances();
        std::vector<double>& scores = candidateScores[i];
        std::vector<xc_Pose>& poses = candidatePoses[i];
        scores.reserve(static_cast<std::size_t>(k));
        poses.reserve(static_cast<std::size_t>(k));
        for (long j = 0; j < k; ++j) {
            poses.emplace_back(r.pose(j));
            scores.push_back(r.score(j));
        }
        const xc_CandidateLimits limits = xf_CandidateLimits(scores, c.numOccurrences);
        c.numCandidates = limits.numCandidates;
        c.canBeUnmatched = limits.canBeUnmatched;
        if (k == 0) c.hasCandidates = false;
    }

    if (diag) diag->level(diag->level() - 2);
    return searchComplete;
}
