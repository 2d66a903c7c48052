#include "platform/vision/geo_align_result.h"

#include <string>

#include "platform/core/exception.h"

double xcGeoAlignResult::angle() const { return xcDegree(m_pose.xRot().signedNorm()).toDouble(); }

std::size_t xcGeoAlignResultSet::numAccepted() const {
    std::size_t n = 0;
    for (const xcGeoAlignResult& r : m_results)
        if (r.accepted()) ++n;
    return n;
}

const xcGeoAlignResult& xcGeoAlignResultSet::result(std::size_t i) const {
    if (i >= m_results.size())
        throw xcBadArgument(L"Geometric alignment result " + std::to_wstring(i) +
                            L" does not exist (the set holds " + std::to_wstring(m_results.size()) +
                            L")");
    return m_results[i];
}
