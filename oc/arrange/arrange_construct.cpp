#include "oc/arrange/arrange_construct.h"

#include <cmath>
#include <numbers>
#include <string>

#include "oc/font/key_set.h"
#include "oc/arrange/arrange.h"
#include "oc/defs/oc_defs.h"
#include "oc/font/oc_line.h"
#include "platform/clevel/assert.h"

namespace {

using Status = xcOCArrangeDefs::CharStatus;

std::size_t at(long i) { return static_cast<std::size_t>(i); }

// A matched character's pose, turned to its expected angle where its symmetry allows.
xc_Pose xf_SymmetryCorrected(const xc_Pose& found, const xc_CharData& c, xcRadian expected) {
    switch (c.symmetry) {
    case xc_OCExtractDefs::eSymmetricAllAngles: {
        xc_Pose p = found;
        p.angle = expected;
        return p;
    }
    case xc_OCExtractDefs::eSymmetric180:
        if (std::abs((found.angle - expected).signedNorm().toDouble()) > std::numbers::pi / 2)
            return xc_Pose(found.xform() * c.rot180Pose.inverse());
        return found;
    default:
        return found;
    }
}

}  // namespace

void xf_ComputePositionResults(const std::vector<std::vector<xc_Pose>>& candidatePoses,
                               const std::vector<std::vector<double>>& candidateScores,
                               const xc_ArrangePath& path, const xc_ArrangeCost& cost,
                               const std::vector<xc_CharData>& chars,
                               const xcOCArrangeParams& params, std::vector<xc_Pose>& poses,
                               std::vector<double>& scores, std::vector<Status>& statuses) {
    const std::size_t n = static_cast<std::size_t>(path.size());
    const double loneScale = std::sqrt(params.scaleRange().start() * params.scaleRange().end());
    poses.assign(n, xc_Pose());
    scores.assign(n, 0.0);
    statuses.assign(n, xcOCArrangeDefs::eUnknown);

    for (long l = 0; l < path.numLines(); ++l) {
        const long s = path.lineStart(l), e = path.lineEnd(l);
        if (e - s >= 2) XSTD_ASSERT(path.choice(s) >= 0 && path.choice(e - 1) >= 0);
        for (long i = s; i < e; ++i) {
            const long c = path.choice(i);
            if (c >= 0) {
                statuses[at(i)] = xcOCArrangeDefs::eMatched;
                scores[at(i)] = candidateScores[at(i)][at(c)];
                poses[at(i)] = xf_SymmetryCorrected(candidatePoses[at(i)][at(c)], chars[at(i)],
                                                    cost.expectedAngles[at(i)]);
            } else if (e - s == 1) {
                poses[at(i)] = xc_Pose(xcVector<2>(0.0, 0.0), xcRadian(0.0), loneScale);
            } else {
                statuses[at(i)] = xcOCArrangeDefs::eInferred;
                poses[at(i)] = xc_Pose(cost.nominalPositions[at(i)], cost.expectedAngles[at(i)],
                                       cost.lineScales[at(l)]);
            }
        }
    }
}

void xf_BuildLineArrangement(const xcPtrHandle_const<xcOCAlphabet>& alphabet,
                             const std::vector<long>& keys, const xc_ArrangePath& path,
                             const xc_ArrangeCost& cost, const std::vector<xc_Pose>& poses,
                             bool compPoseUncertainties,
                             xcPtrHandle_const<xcOCLineArrangement>& arrangement,
                             xcXform<2>& clientFromArrangement) {
    XSTD_ASSERT(path.size() == static_cast<long>(poses.size()));
    const xc2Rigid frame = poses.empty() ? xc2Rigid() : poses.front().rigid();
    const xc2Rigid frameInverse = frame.inverse();

    xcOCLineArrangement::ConstLines lines;
    std::vector<xc2Rigid> linePoses;
    for (long l = 0; l < path.numLines(); ++l) {
        const long s = path.lineStart(l), e = path.lineEnd(l);
        const xc2Rigid first = poses[at(s)].rigid();
        linePoses.push_back(l == 0 ? xc2Rigid() : frameInverse * first);
        const xc2Rigid firstInverse = first.inverse();

        std::vector<xcOCKeySet> keySets;
        std::vector<xc2Rigid> charPoses;
        std::vector<double> scales, transUnc, scaleUnc;
        std::vector<xcRadian> rotUnc;
        for (long i = s; i < e; ++i) {
            const xc_Pose& p = poses[at(i)];
            keySets.emplace_back(std::vector<long>{keys[at(i)]}, 0L);
            charPoses.push_back(i == s ? xc2Rigid() : firstInverse * p.rigid());
            scales.push_back(p.scale);
            if (compPoseUncertainties) {
                transUnc.push_back((p.translation - cost.nominalPositions[at(i)]).len());
                rotUnc.push_back(xcDegree(cost.orientDeviations[at(i)] * 45.0));
                scaleUnc.push_back(cost.lineScales[at(l)] *
                                   std::abs(std::pow(2.0, cost.scaleDeviations[at(i)]) - 1.0));
            } else {
                transUnc.push_back(0.0);
                rotUnc.push_back(xcRadian(0.0));
                scaleUnc.push_back(0.0);
            }
        }
        lines.emplace_back(new xcOCLine(keySets, alphabet, charPoses, scales, transUnc, rotUnc,
                                        scaleUnc, L"Line " + std::to_wstring(l)));
    }
    arrangement = xcPtrHandle_const<xcOCLineArrangement>(
        new xcOCLineArrangement(lines, linePoses, 0.0, xcRadian(0.0), L""));
    clientFromArrangement = frame.linear();
}

xcXform<2> xfOCArrangeCharPose(const xcOCArrangeResults& results, long position) {
    if (results.arrangement() && position >= 0) {
        const xcOCLineArrangement& arrangement = *results.arrangement();
        long first = 0;
        for (long l = 0; l < arrangement.numLines(); ++l) {
            const xcOCLine& line = *arrangement.lines()[at(l)];
            const long p = position - first;
            if (p < line.numPositions()) {
                const double s = line.charScales()[at(p)];
                const xc2Rigid rigid = arrangement.linePoses()[at(l)] * line.charPoses()[at(p)];
                return results.clientFromArrangementXform() * rigid.linear() *
                       xcXform<2>(xcMatrix<2>::scale(s, s), xcVector<2>(0.0, 0.0));
            }
            first += line.numPositions();
        }
    }
    throw xcOCDefs::BadIndex(L"Invalid position index.");
}
