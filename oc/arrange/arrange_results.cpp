#include "oc/arrange/arrange_results.h"

#include "platform/core/archive.h"
#include "platform/core/archive_geometry.h"

bool xcOCArrangeResults::operator==(const xcOCArrangeResults& o) const {
    if (m_isFound != o.m_isFound || m_isSearchTruncated != o.m_isSearchTruncated) return false;
    const xcOCLineArrangement* a = m_arrangement.get();
    const xcOCLineArrangement* b = o.m_arrangement.get();
    if ((a == nullptr) != (b == nullptr)) return false;
    if (a != nullptr && a != b && !(*a == *b)) return false;
    return m_clientFromArrangement == o.m_clientFromArrangement &&
           m_statusFlags == o.m_statusFlags && m_scores == o.m_scores;
}

xcArchive& operator||(xcArchive& ar, xcOCArrangeResults& r) {
    xcArchive::Exchange ex(ar);
    signed char version = 1;
    ar || version;
    if (version > 1 || version < 0) throw xcArchive::UnknownVersion(std::string("oc/arrange"), 304);
    // Loading reads into a copy, so that a failed load leaves the results as they were.
    xcOCArrangeResults q = r;
    ar || q.m_isFound || q.m_isSearchTruncated || q.m_arrangement || q.m_clientFromArrangement ||
        q.m_statusFlags || q.m_scores;
    if (ar.isLoading() && version == 0) {
        double dropped = 0.0;
        ar || dropped || dropped;
    }
    ex.commit();
    if (ar.isLoading()) r = q;
    return ar;
}
