#include "oc/arrange/arrange_params.h"

#include "platform/core/archive.h"
#include "platform/core/archive_geometry.h"

namespace {

// Written so that NaN fails: the value must be shown to lie inside.
void requireAtLeastZero(double v, const wchar_t* message) {
    if (!(v >= 0.0)) throw xcOCArrangeDefs::BadParams(message);
}

bool sameDouble(double a, double b) { return !(a < b) && !(a > b); }

}  // namespace

xcOCArrangeParams::xcOCArrangeParams() : m_scaleRange(0.9, 1.1) {}

void xcOCArrangeParams::scaleRange(const xcRange& r) {
    if (r.isEmpty() || r.isFull() || !(r.start() > 0.0))
        throw xcOCArrangeDefs::BadParams(L"Invalid scale range");
    m_scaleRange = r;
}

void xcOCArrangeParams::minMatchScore(double v) {
    if (!(v >= 0.0 && v <= 1.0)) throw xcOCArrangeDefs::BadParams(L"Invalid min match score");
    m_minMatchScore = v;
}

void xcOCArrangeParams::maxLines(long v) {
    if (v < 1) throw xcOCArrangeDefs::BadParams(L"Invalid max lines");
    m_maxLines = v;
}

void xcOCArrangeParams::lineType(xcOCArrangeDefs::LineType v) {
    if (v != xcOCArrangeDefs::eStraight && v != xcOCArrangeDefs::eCircular &&
        v != xcOCArrangeDefs::eDontCare)
        throw xcOCArrangeDefs::BadParams(L"Invalid line type");
    m_lineType = v;
}

void xcOCArrangeParams::maxUnmatchedChars(long v) {
    if (v < 0) throw xcOCArrangeDefs::BadParams(L"Invalid max unmatched chars");
    m_maxUnmatchedChars = v;
}

void xcOCArrangeParams::orientationMode(xcOCArrangeDefs::OrientationMode v) {
    if (v != xcOCArrangeDefs::eSpecified && v != xcOCArrangeDefs::eAverage)
        throw xcOCArrangeDefs::BadParams(L"Invalid orientation mode");
    m_orientationMode = v;
}

void xcOCArrangeParams::orientationReference(xcOCArrangeDefs::OrientationReference v) {
    if (v != xcOCArrangeDefs::eAbsolute && v != xcOCArrangeDefs::eRelative)
        throw xcOCArrangeDefs::BadParams(L"Invalid orientation reference");
    m_orientationReference = v;
}

void xcOCArrangeParams::lineBreakCost(double v) {
    requireAtLeastZero(v, L"Invalid line break cost");
    m_lineBreakCost = v;
}

void xcOCArrangeParams::unmatchedCharCost(double v) {
    requireAtLeastZero(v, L"Invalid unmatched char cost");
    m_unmatchedCharCost = v;
}

void xcOCArrangeParams::normalTransCost(double v) {
    requireAtLeastZero(v, L"Invalid normal translation cost");
    m_normalTransCost = v;
}

void xcOCArrangeParams::tangentialTransCost(double v) {
    requireAtLeastZero(v, L"Invalid tangential translation cost");
    m_tangentialTransCost = v;
}

void xcOCArrangeParams::orientationCost(double v) {
    requireAtLeastZero(v, L"Invalid orientation cost");
    m_orientationCost = v;
}

void xcOCArrangeParams::scaleCost(double v) {
    requireAtLeastZero(v, L"Invalid scale cost");
    m_scaleCost = v;
}

void xcOCArrangeParams::maxCandidates(long v) {
    if (v < 0) throw xcOCArrangeDefs::BadParams(L"Invalid max candidates");
    m_maxCandidates = v;
}

void xcOCArrangeParams::timeout(double v) {
    requireAtLeastZero(v, L"Invalid timeout");
    m_timeout = v;
}

bool xcOCArrangeParams::operator==(const xcOCArrangeParams& o) const {
    return m_scaleRange == o.m_scaleRange && sameDouble(m_minMatchScore, o.m_minMatchScore) &&
           m_maxLines == o.m_maxLines && m_lineType == o.m_lineType &&
           m_isTextDirectionSpecified == o.m_isTextDirectionSpecified &&
           m_straightTextDirection == o.m_straightTextDirection &&
           m_isCircularTextDirectionClockwise == o.m_isCircularTextDirectionClockwise &&
           m_maxUnmatchedChars == o.m_maxUnmatchedChars &&
           m_orientationMode == o.m_orientationMode &&
           m_orientationReference == o.m_orientationReference &&
           m_expectedOrientation == o.m_expectedOrientation &&
           sameDouble(m_lineBreakCost, o.m_lineBreakCost) &&
           sameDouble(m_unmatchedCharCost, o.m_unmatchedCharCost) &&
           sameDouble(m_normalTransCost, o.m_normalTransCost) &&
           sameDouble(m_tangentialTransCost, o.m_tangentialTransCost) &&
           sameDouble(m_orientationCost, o.m_orientationCost) &&
           sameDouble(m_scaleCost, o.m_scaleCost) &&
           m_compPoseUncertainties == o.m_compPoseUncertainties &&
           m_maxCandidates == o.m_maxCandidates && sameDouble(m_timeout, o.m_timeout);
}

xcArchive& operator||(xcArchive& ar, xcOCArrangeParams& p) {
    xcArchive::Exchange ex(ar);
    signed char version = 0;
    ar || version;
    if (version != 0) throw xcArchive::UnknownVersion(std::string("oc/arrange"), 226);
    // Loading reads into a copy, so that a failed load leaves the parameters as they were.
    xcOCArrangeParams q = p;
    ar || q.m_scaleRange || q.m_minMatchScore || q.m_maxLines || q.m_lineType ||
        q.m_isTextDirectionSpecified || q.m_straightTextDirection ||
        q.m_isCircularTextDirectionClockwise || q.m_maxUnmatchedChars || q.m_orientationMode ||
        q.m_orientationReference || q.m_expectedOrientation || q.m_lineBreakCost ||
        q.m_unmatchedCharCost || q.m_normalTransCost || q.m_tangentialTransCost ||
        q.m_orientationCost || q.m_scaleCost || q.m_compPoseUncertainties || q.m_maxCandidates ||
        q.m_timeout;
    ex.commit();
    if (ar.isLoading()) p = q;
    return ar;
}
