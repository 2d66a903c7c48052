// xcOCArrangeParams: every knob of the arranger (xfOCArrange) and of its cost model.
//
// Fields, defaults and valid values (a setter given an invalid value throws
// xcOCArrangeDefs::BadParams with the message shown and keeps the old value; NaN is invalid
// wherever a range is checked):
//   scaleRange               0.9 .. 1.1   normal range with start > 0  "Invalid scale range"
//   minMatchScore            0.4          0 <= v <= 1                  "Invalid min match score"
//   maxLines                 2147483647   v >= 1                       "Invalid max lines"
//   lineType                 eDontCare    0, 1, 2                      "Invalid line type"
//   isTextDirectionSpecified false
//   straightTextDirection    0 rad        (client frame)
//   isCircularTextDirectionClockwise true
//   maxUnmatchedChars        2147483647   v >= 0                 "Invalid max unmatched chars"
//   orientationMode          eAverage     0, 1                   "Invalid orientation mode"
//   orientationReference     eRelative    0, 1                   "Invalid orientation reference"
//   expectedOrientation      0 rad
//   lineBreakCost            2.0          v >= 0                 "Invalid line break cost"
//   unmatchedCharCost        1.0          v >= 0                 "Invalid unmatched char cost"
//   normalTransCost          1.0          v >= 0             "Invalid normal translation cost"
//   tangentialTransCost      1.0          v >= 0         "Invalid tangential translation cost"
//   orientationCost          1.0          v >= 0                 "Invalid orientation cost"
//   scaleCost                1.0          v >= 0                 "Invalid scale cost"
//   compPoseUncertainties    false
//   maxCandidates            500000       v >= 0                 "Invalid max candidates"
//   timeout                  10.0 (s)     v >= 0                 "Invalid timeout"
// 2147483647, the largest long, means "No limit".
//
// The archive form (operator||) is version 0 only: a signed 8-bit version, then the fields in
// the order above (enumerations as unsigned 32-bit, angles as radians, longs as 32-bit).
// Loaded values are stored without the setters' checks.
#pragma once

#include "oc/arrange/arrange_defs.h"
#include "platform/core/angle.h"
#include "platform/core/range.h"

class xcOCArrangeParams {
public:
    static constexpr long kNoLimit = 2147483647L;

    xcOCArrangeParams();

    const xcRange& scaleRange() const { return m_scaleRange; }
    void scaleRange(const xcRange& r);
    double minMatchScore() const { return m_minMatchScore; }
    void minMatchScore(double v);
    long maxLines() const { return m_maxLines; }
    void maxLines(long v);
    xcOCArrangeDefs::LineType lineType() const { return m_lineType; }
    void lineType(xcOCArrangeDefs::LineType v);
    bool isTextDirectionSpecified() const { return m_isTextDirectionSpecified; }
    void isTextDirectionSpecified(bool v) { m_isTextDirectionSpecified = v; }
    const xcRadian& straightTextDirection() const { return m_straightTextDirection; }
    void straightTextDirection(const xcRadian& v) { m_straightTextDirection = v; }
    bool isCircularTextDirectionClockwise() const { return m_isCircularTextDirectionClockwise; }
    void isCircularTextDirectionClockwise(bool v) { m_isCircularTextDirectionClockwise = v; }
    long maxUnmatchedChars() const { return m_maxUnmatchedChars; }
    void maxUnmatchedChars(long v);
    xcOCArrangeDefs::OrientationMode orientationMode() const { return m_orientationMode; }
    void orientationMode(xcOCArrangeDefs::OrientationMode v);
    xcOCArrangeDefs::OrientationReference orientationReference() const {
        return m_orientationReference;
    }
    void orientationReference(xcOCArrangeDefs::OrientationReference v);
    const xcRadian& expectedOrientation() const { return m_expectedOrientation; }
    void expectedOrientation(const xcRadian& v) { m_expectedOrientation = v; }
    double lineBreakCost() const { return m_lineBreakCost; }
    void lineBreakCost(double v);
    double unmatchedCharCost() const { return m_unmatchedCharCost; }
    void unmatchedCharCost(double v);
    double normalTransCost() const { return m_normalTransCost; }
    void normalTransCost(double v);
    double tangentialTransCost() const { return m_tangentialTransCost; }
    void tangentialTransCost(double v);
    double orientationCost() const { return m_orientationCost; }
    void orientationCost(double v);
    double scaleCost() const { return m_scaleCost; }
    void scaleCost(double v);
    bool compPoseUncertainties() const { return m_compPoseUncertainties; }
    void compPoseUncertainties(bool v) { m_compPoseUncertainties = v; }
    long maxCandidates() const { return m_maxCandidates; }
    void maxCandidates(long v);
    double timeout() const { return m_timeout; }
    void timeout(double v);

    // Field by field in the order above: the range with the range equality, angles exactly,
    // doubles equal when neither is less or greater than the other, the rest exactly.
    bool operator==(const xcOCArrangeParams& o) const;
    bool operator!=(const xcOCArrangeParams& o) const { return !(*this == o); }

private:
    friend xcArchive& operator||(xcArchive& ar, xcOCArrangeParams& p);

    xcRange m_scaleRange;
    double m_minMatchScore = 0.4;
    long m_maxLines = kNoLimit;
    xcOCArrangeDefs::LineType m_lineType = xcOCArrangeDefs::eDontCare;
    bool m_isTextDirectionSpecified = false;
    xcRadian m_straightTextDirection;
    bool m_isCircularTextDirectionClockwise = true;
    long m_maxUnmatchedChars = kNoLimit;
    xcOCArrangeDefs::OrientationMode m_orientationMode = xcOCArrangeDefs::eAverage;
    xcOCArrangeDefs::OrientationReference m_orientationReference = xcOCArrangeDefs::eRelative;
    xcRadian m_expectedOrientation;
    double m_lineBreakCost = 2.0;
    double m_unmatchedCharCost = 1.0;
    double m_normalTransCost = 1.0;
    double m_tangentialTransCost = 1.0;
    double m_orientationCost = 1.0;
    double m_scaleCost = 1.0;
    bool m_compPoseUncertainties = false;
    long m_maxCandidates = 500000;
    double m_timeout = 10.0;
};

// Stores or loads the parameters (see the file comment). Loading a version other than 0
// throws xcArchive::UnknownVersion naming oc/arrange.
xcArchive& operator||(xcArchive& ar, xcOCArrangeParams& p);
