// xcOCArrangeResults: what one run of the arranger (xfOCArrange) found.
//
//   isFound                     the arranger finished and produced an arrangement
//   isSearchTruncated           the candidate or the path search stopped at a limit first
//   arrangement                 the line arrangement built from the best path (null before)
//   clientFromArrangementXform  maps the arrangement's frame into the image's client frame
//   statusFlags, scores         one entry per target position, in target order
//
// The public interface has getters alone: the arranger fills the results through the
// module-private xc_ArrangeResultsAccess.
//
// Archive form (operator||): a signed 8-bit version (1 is written; 0 and 1 are read), the two
// flags, the arrangement as a persistent pointer, the transform, the statuses (vector form,
// each u32) and the scores (vector form, each f64); version 0 carries two more doubles,
// which are read and dropped.
#pragma once

#include <vector>

#include "oc/arrange/arrange_defs.h"
#include "oc/font/line_arrangement.h"
#include "platform/core/rep_base.h"
#include "platform/core/xform.h"

class xcOCArrangeResults {
public:
    xcOCArrangeResults() = default;

    bool isFound() const { return m_isFound; }
    bool isSearchTruncated() const { return m_isSearchTruncated; }
    const xcPtrHandle_const<xcOCLineArrangement>& arrangement() const { return m_arrangement; }
    const xcXform<2>& clientFromArrangementXform() const { return m_clientFromArrangement; }
    const std::vector<xcOCArrangeDefs::CharStatus>& statusFlags() const { return m_statusFlags; }
    const std::vector<double>& scores() const { return m_scores; }

    // Equal flags; both arrangements null, or both non-null and equal; equal transforms;
    // equal vectors element by element.
    bool operator==(const xcOCArrangeResults& o) const;
    bool operator!=(const xcOCArrangeResults& o) const { return !(*this == o); }

private:
    friend class xc_ArrangeResultsAccess;
    friend xcArchive& operator||(xcArchive& ar, xcOCArrangeResults& r);

    bool m_isFound = false;
    bool m_isSearchTruncated = false;
    xcPtrHandle_const<xcOCLineArrangement> m_arrangement;
    xcXform<2> m_clientFromArrangement;
    std::vector<xcOCArrangeDefs::CharStatus> m_statusFlags;
    std::vector<double> m_scores;
};

// Stores or loads the results (see the file comment). A version above 1 throws
// xcArchive::UnknownVersion naming oc/arrange.
xcArchive& operator||(xcArchive& ar, xcOCArrangeResults& r);

// Module-private: the arranger's write access to its results.
class xc_ArrangeResultsAccess {
public:
    static void isFound(xcOCArrangeResults& r, bool v) { r.m_isFound = v; }
    static void isSearchTruncated(xcOCArrangeResults& r, bool v) { r.m_isSearchTruncated = v; }
    static void arrangement(xcOCArrangeResults& r,
                            const xcPtrHandle_const<xcOCLineArrangement>& a) {
        r.m_arrangement = a;
    }
    static void clientFromArrangementXform(xcOCArrangeResults& r, const xcXform<2>& x) {
        r.m_clientFromArrangement = x;
    }
    static std::vector<xcOCArrangeDefs::CharStatus>& statusFlags(xcOCArrangeResults& r) {
        return r.m_statusFlags;
    }
    static std::vector<double>& scores(xcOCArrangeResults& r) { return r.m_scores; }
};
