// The arranger's driver: validation, then the stages in order (candidate search, path
// search, final evaluation, position results, refinement, construction), with the records
// of each stage when asked for.
#include <vector>

#include "oc/arrange/arrange.h"
#include "oc/arrange/arrange_construct.h"
#include "oc/arrange/arrange_diags.h"
#include "oc/arrange/arrange_records.h"
#include "oc/arrange/candidate_search.h"
#include "oc/arrange/path_search.h"
#include "oc/arrange/refine.h"
#include "oc/defs/oc_defs.h"
#include "platform/core/pel_ops.h"
#include "platform/diag/diag_object.h"

namespace {

using Access = xc_ArrangeResultsAccess;

void xf_CheckInputs(const xcPelBuffer_const<unsigned char>& image,
                    const xcPelBuffer_const<unsigned char>& mask, const xcOCAlphabet& alphabet,
                    const std::vector<long>& keys) {
    if (!image.isBound()) throw xcPel::UnboundWindow(L"Pel buffer is unbound");
    if (mask.isBound() &&
        (mask.width() != image.width() || mask.height() != image.height() ||
         mask.offset() != image.offset()))
        throw xcOCArrangeDefs::BadMask(nullptr);
    for (long key : keys)
        if (!alphabet.hasCharacter(key)) throw xcOCDefs::BadKey(L"");
}

// The care mask as the search reads it: pels below 128 become 0, all others 255.
xcPelBuffer<unsigned char> xf_RemapMask(const xcPelBuffer_const<unsigned char>& mask) {
    xcPelBuffer<unsigned char> out;
    if (!mask.isBound()) return out;
    xcPelMapTable table{};
    for (int v = 0; v < 256; ++v) table[static_cast<std::size_t>(v)] = v < 128 ? 0 : 255;
    out = xcPelBuffer<unsigned char>(mask.window());
    out.clientFromImageXformBase(mask.clientFromImageXformBasePtr());
    xfPelMap(mask, out, table);
    return out;
}

std::vector<xc_CharData> xf_MakeCharData(const xcOCAlphabet& alphabet,
                                         const std::vector<long>& keys) {
    std::vector<xc_CharData> chars(keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const xcOCModel& m = *alphabet.character(keys[i]);
        chars[i].isBlank = m.charType() == xcOCModel::eBlank;
        chars[i].cellRect(m.imageArea(), m.image().clientFromImageXform());
    }
    return chars;
}

}  // namespace

void xfOCArrange(const xcPelBuffer_const<unsigned char>& image, const xcOCAlphabet& alphabet,
                 const std::vector<long>& keys, const xcOCArrangeParams& params,
                 xcOCArrangeResults& results, xcDiagObject* diag, unsigned long flags) {
    xfOCArrange_(image, xcPelBuffer_const<unsigned char>(), alphabet, keys, params, results, diag,
                 flags);
}

void xfOCArrange(const xcPelBuffer_const<unsigned char>& image,
                 const xcPelBuffer_const<unsigned char>& mask, const xcOCAlphabet& alphabet,
                 const std::vector<long>& keys, const xcOCArrangeParams& params,
                 xcOCArrangeResults& results, xcDiagObject* diag, unsigned long flags) {
    if (!mask.isBound()) throw xcPel::UnboundWindow(L"Pel buffer is unbound");
    xfOCArrange_(image, mask, alphabet, keys, params, results, diag, flags);
}

void xfOCArrange_(const xcPelBuffer_const<unsigned char>& image,
                  const xcPelBuffer_const<unsigned char>& mask, const xcOCAlphabet& alphabet,
                  const std::vector<long>& keys, const xcOCArrangeParams& params,
                  xcOCArrangeResults& results, xcDiagObject* diag, unsigned long flags) {
    xf_CheckInputs(image, mask, alphabet, keys);
    if (diag && xcDiagObject::shouldRecord(flags, 0x10000))
        xf_AddArrangeInputDiags(image, mask, alphabet, keys, params, diag);

    results = xcOCArrangeResults();
    if (keys.empty()) {
        Access::arrangement(results,
                            xcPtrHandle_const<xcOCLineArrangement>(new xcOCLineArrangement()));
        Access::isFound(results, true);
        return;
    }

    const xcPtrHandle_const<xcOCAlphabet> alphabetCopy(new xcOCAlphabet(alphabet));
    std::vector<xc_CharData> chars = xf_MakeCharData(alphabet, keys);

    const bool intermediate = diag && xcDiagObject::shouldRecord(flags, 0x40000) &&
                              image.clientFromImageXformBase().isLinear();
    if (intermediate) xf_AddImage(diag, image, L"OC Arranger: Intermediate", false);
    xcDiagObject* stageDiag = intermediate ? diag : nullptr;

    const xcPelBuffer<unsigned char> remappedMask = xf_RemapMask(mask);

    std::vector<std::vector<xc_Pose>> candidatePoses;
    std::vector<std::vector<double>> candidateScores;
    const bool searchComplete =
        xf_SearchCharCandidates(image, remappedMask, alphabetCopy, keys, params, candidatePoses,
                                candidateScores, chars, stageDiag, flags);

    xc_ArrangePath path;
    const bool pathComplete = xf_SearchArrangePath(image, alphabet, keys, chars, candidatePoses,
                                                   candidateScores, params, path);
    Access::isSearchTruncated(results, !(searchComplete && pathComplete));

    const bool flipped = xf_IsClientFrameFlipped(image);
    xc_ArrangeCost cost;
    const bool finalValid = xf_EvaluateArrangePath(path, alphabet, keys, chars, candidatePoses,
                                                   candidateScores, params, flipped, true, cost);

    std::vector<xc_Pose> poses;
    xf_ComputePositionResults(candidatePoses, candidateScores, path, cost, chars, params, poses,
                              Access::scores(results), Access::statusFlags(results));

    xf_RefineArrangement(image, alphabetCopy, keys, poses, Access::statusFlags(results),
                         Access::scores(results), stageDiag, flags);

    xcPtrHandle_const<xcOCLineArrangement> arrangement;
    xcXform<2> clientFromArrangement;
    xf_BuildLineArrangement(alphabetCopy, keys, path, cost, poses,
                            params.compPoseUncertainties(), arrangement, clientFromArrangement);
    Access::arrangement(results, arrangement);
    Access::clientFromArrangementXform(results, clientFromArrangement);
    Access::isFound(results, true);

    if (intermediate && finalValid)
        xf_AddBuildArrangementDiags(image, alphabet, keys, chars, poses, results.scores(),
                                    results.statusFlags(), params, path, cost, finalValid, diag);
    if (diag && xcDiagObject::shouldRecord(flags, 0x20000))
        xf_AddArrangeOutputDiags(image, keys, alphabet, results, diag, flags);
}
