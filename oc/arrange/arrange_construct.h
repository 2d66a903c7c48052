// The arranger's answer from its best path: first the pose, status and score of every target
// position, then (after the refinement has improved inferred positions) the line arrangement.
//
// Statuses: a position matched to a found instance is eMatched with the instance's score and
// pose; an unmatched position inside a line of two or more positions is eInferred, placed
// where the line model puts it (nominal position, expected angle, line scale) with score 0;
// an unmatched position alone on its line is eUnknown at the client origin, angle 0, with the
// geometric mean of the scale range as its scale.
//
// Frames of the arrangement: its frame is the rigid pose (scale dropped) of the character at
// position 0; each line's pose is the rigid pose of its first character in that frame; each
// character's pose is its rigid pose in the frame of its line's first character.
#pragma once

#include <vector>

#include "oc/arrange/arrange_params.h"
#include "oc/arrange/arrange_records.h"
#include "oc/font/line_arrangement.h"

// Fills `poses`, `scores` and `statuses` (one entry per position of the path) from the best
// path and its final cost record. Symmetric characters are turned to their expected angle:
// eSymmetricAllAngles takes it outright; eSymmetric180 found more than 90 degrees away from
// it is turned by 180 degrees through its rot180Pose.
void xf_ComputePositionResults(const std::vector<std::vector<xc_Pose>>& candidatePoses,
                               const std::vector<std::vector<double>>& candidateScores,
                               const xc_ArrangePath& path, const xc_ArrangeCost& cost,
                               const std::vector<xc_CharData>& chars,
                               const xcOCArrangeParams& params, std::vector<xc_Pose>& poses,
                               std::vector<double>& scores,
                               std::vector<xcOCArrangeDefs::CharStatus>& statuses);

// Builds one xcOCLine per line of the path ("Line 0", "Line 1", ...; one key set per
// position holding its target key, current) and the arrangement of them, and the transform
// from the arrangement's frame into the image's client frame. With compPoseUncertainties,
// each position's uncertainties are its deviations from the line model (distance to the
// nominal position, orientation deviation, scale deviation from the line scale); otherwise 0.
void xf_BuildLineArrangement(const xcPtrHandle_const<xcOCAlphabet>& alphabet,
                             const std::vector<long>& keys, const xc_ArrangePath& path,
                             const xc_ArrangeCost& cost, const std::vector<xc_Pose>& poses,
                             bool compPoseUncertainties,
                             xcPtrHandle_const<xcOCLineArrangement>& arrangement,
                             xcXform<2>& clientFromArrangement);
