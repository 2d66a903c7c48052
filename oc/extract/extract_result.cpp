#include "oc/extract/extract_result.h"

#include <algorithm>
#include <cmath>

#include "platform/vision/geo_align_result.h"

xc_OCExtractCharInstance::xc_OCExtractCharInstance(const xcGeoAlignResult& result,
                                                   const xcXform<2>& trainClientFromImage,
                                                   const xcPelRect& trainWindow)
    : score(result.score()), pose(result.pose()) {
    const xcAffineRectangle window(trainWindow.ul().toVector(), trainWindow.ur().toVector(),
                                   trainWindow.ll().toVector());
    affRect = window.map(pose * trainClientFromImage);
}

bool xc_OCExtractCharInstance::isEqual(const xc_OCExtractCharInstance& other,
                                       double tolerance) const {
    const xcXform<2> toUnit = other.affRect.fromUnitSquare();
    const double det = toUnit.determinant();
    if (!std::isfinite(det) || det == 0.0) return false;
    const xcAffineRectangle r = affRect.map(toUnit.inverse());
    const xcVector<2> c(0.5, 0.5);
    for (const xcVector<2>& p :
         {r.center(), r.cornerPo(), r.cornerPx(), r.cornerPy(), r.cornerPopp()})
        if ((p - c).len() <= tolerance) return true;
    return false;
}

bool xc_OCExtractCharInstance::orderByScore(const xc_OCExtractCharInstance& a,
                                            const xc_OCExtractCharInstance& b) {
    return a.score > b.score;
}

xc_OCExtractCharResult::xc_OCExtractCharResult() { init(); }

void xc_OCExtractCharResult::init() {
    m_found = false;
    m_time = 0.0;
    m_instances.clear();
    m_symmetry = xc_OCExtractDefs::eNotSymmetric;
    m_numOccurrences = 0;
}

const xc_OCExtractCharInstance& xc_OCExtractCharResult::instance_(long i) const {
    if (i < 0 || i >= numInstances()) throw xc_OCExtractDefs::xc_OCExtractError(L"Bad index");
    return m_instances[static_cast<size_t>(i)];
}

xcXform<2> xc_OCExtractCharResult::pose(long i) const { return instance_(i).pose; }
double xc_OCExtractCharResult::score(long i) const { return instance_(i).score; }
xcAffineRectangle xc_OCExtractCharResult::affRect(long i) const { return instance_(i).affRect; }

void xc_OCExtractCharResult::append_(const xc_OCExtractCharInstance& instance) {
    m_instances.push_back(instance);
}

void xc_OCExtractCharResult::sortByScore_() {
    std::sort(m_instances.begin(), m_instances.end(), &xc_OCExtractCharInstance::orderByScore);
}

xc_OCExtractCharResult& xc_OCExtractCharResult::operator+=(const xc_OCExtractCharResult& other) {
    if (&other == this) {
        const std::vector<xc_OCExtractCharInstance> copy = m_instances;
        m_instances.insert(m_instances.end(), copy.begin(), copy.end());
    } else {
        m_instances.insert(m_instances.end(), other.m_instances.begin(), other.m_instances.end());
    }
    m_time += other.m_time;
    m_found = m_found || other.m_found;
    return *this;
}

void xc_OCExtractCharResult::removeOverlapping_(long i, double tolerance) {
    const xc_OCExtractCharInstance& keep = instance_(i);
    const xc_OCExtractCharInstance kept = keep;  // erasing moves later elements only
    for (long j = i + 1; j < numInstances();) {
        if (kept.isEqual(m_instances[static_cast<size_t>(j)], tolerance))
            m_instances.erase(m_instances.begin() + j);
        else
            ++j;
    }
}

bool xc_OCExtractCharResult::doesOverlap_(long i, long j, double tolerance) const {
    const xc_OCExtractCharInstance& a = instance_(i);
    const xc_OCExtractCharInstance& b = instance_(j);
    return a.isEqual(b, tolerance);
}

void xc_OCExtractStringResult::init() {
    m_searchTime = 0.0;
    m_trainTime = 0.0;
    m_uniqueCharResults.clear();
    m_results.clear();
    m_resultsByKey.clear();
}

void xc_OCExtractStringResult::addToResult_(long key, const xc_OCExtractCharResultHandle& handle) {
    auto it = m_resultsByKey.find(key);
    if (it == m_resultsByKey.end()) {
        m_resultsByKey.emplace(key, handle);
        return;
    }
    if (handle) *it->second += *handle;
}

void xc_OCExtractStringResult::deleteOverlappingCandidate_(
    const xc_OCExtractCharResultHandle& handle, long i, double tolerance, xcDiagObject*,
    unsigned long) {
    if (handle) handle->removeOverlapping_(i, tolerance);
}
