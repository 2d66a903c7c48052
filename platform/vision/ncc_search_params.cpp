#include "platform/vision/ncc_search_params.h"

#include <string>

#include "platform/core/exception.h"

namespace {

bool isAccuracy(long v) {
    return v == xcNccSearchDefs::eAccuracyCoarse || v == xcNccSearchDefs::eAccuracyMedium ||
           v == xcNccSearchDefs::eAccuracyFine;
}

void checkUnit(double v, const wchar_t* what) {
    if (!(v >= 0.0 && v <= 1.0))
        throw xcBadArgument(std::wstring(what) + L" must lie in [0, 1], not " + std::to_wstring(v));
}

}  // namespace

void xcNccSearchTrainParams::algorithms(long mask) {
    if (mask != xcNccSearchDefs::eNormalizedCorrelation)
        throw xcBadArgument(L"NCC search training: unsupported algorithm mask " +
                            std::to_wstring(mask) + L" (only normalised correlation, 8)");
    m_algorithms = mask;
}

void xcNccSearchTrainParams::accuracy(long value) {
    if (!isAccuracy(value))
        throw xcBadArgument(L"NCC search training: unknown accuracy " + std::to_wstring(value) +
                            L" (1, 2 or 4)");
    m_accuracy = value;
}

void xcNccSearchRunParams::algorithm(long value) {
    if (value != xcNccSearchDefs::eNormalizedCorrelation)
        throw xcBadArgument(L"NCC search run: unsupported algorithm " + std::to_wstring(value) +
                            L" (only normalised correlation, 8)");
    m_algorithm = value;
}

void xcNccSearchRunParams::accuracy(long value) {
    if (!isAccuracy(value))
        throw xcBadArgument(L"NCC search run: unknown accuracy " + std::to_wstring(value) +
                            L" (1, 2 or 4)");
    m_accuracy = value;
}

void xcNccSearchRunParams::accept(double value) {
    checkUnit(value, L"NCC search run: the accept threshold");
    m_accept = value;
}

void xcNccSearchRunParams::confusion(double value) {
    checkUnit(value, L"NCC search run: the confusion threshold");
    m_confusion = value;
}

void xcNccSearchRunParams::xyOverlap(double value) {
    checkUnit(value, L"NCC search run: the xy overlap");
    m_xyOverlap = value;
}

std::size_t xcNccSearchResultSet::numFound() const {
    std::size_t k = 0;
    for (const auto& r : m_results) k += r.found() ? 1 : 0;
    return k;
}

const xcNccSearchResult& xcNccSearchResultSet::result(std::size_t i) const {
    if (i >= m_results.size())
        throw xcBadArgument(L"NCC search results: index " + std::to_wstring(i) +
                            L" is out of range (" + std::to_wstring(m_results.size()) +
                            L" results)");
    return m_results[i];
}
