// The arranger's candidate search: every plausible instance of every target character.
//
// One extraction model (oc/extract/extract_model.h) is trained for the whole target and
// searched once over the image. Its per-position results become the candidate lists the path
// search chooses from, and the per-position limits in each xc_CharData:
//   numCandidates   the instances the target needs for the key's o occurrences, plus every
//                   further instance scoring within 0.15 of the o-th best;
//   canBeUnmatched  true when the key has fewer instances than occurrences, or when its o-th
//                   best instance scores below 0.7.
// The candidate lists themselves hold every instance (best score first); poses map the
// character model's client frame into the image's client frame.
#pragma once

#include <vector>

#include "oc/arrange/arrange_params.h"
#include "oc/arrange/arrange_records.h"
#include "oc/font/alphabet.h"
#include "platform/core/pel_buffer.h"

class xcDiagObject;

// Resizes both candidate vectors to keys.size() and fills them, and the candidate fields of
// `chars` (one per key). `mask` (0 outside the care region, 255 inside) is used when bound.
// With a diag object, adds the image as a record "Search for characters" two levels deeper,
// where the extraction records its own details; the level ends where it began.
// Returns false when some character's search ended by its time-out (params.timeout() seconds
// per character) or by an internal error of the alignment tool. Exceptions of the extraction
// (a caller's time-out during training, cancellation) pass through.
bool xf_SearchCharCandidates(const xcPelBuffer_const<unsigned char>& image,
                             const xcPelBuffer_const<unsigned char>& mask,
                             const xcPtrHandle_const<xcOCAlphabet>& alphabet,
                             const std::vector<long>& keys, const xcOCArrangeParams& params,
                             std::vector<std::vector<xc_Pose>>& candidatePoses,
                             std::vector<std::vector<double>>& candidateScores,
                             std::vector<xc_CharData>& chars, xcDiagObject* diag,
                             unsigned long flags);

// The per-position limits from a result's scores (best first) and the key's occurrence count:
// how many instances are candidates, and whether the position may stay unmatched.
struct xc_CandidateLimits {
    long numCandidates = 0;
    bool canBeUnmatched = true;
};
xc_CandidateLimits xf_CandidateLimits(const std::vector<double>& scores, long numOccurrences);
