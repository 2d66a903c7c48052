#include "platform/vision/geo_align_params.h"

#include <cmath>
#include <string>

namespace {

std::wstring num(double v) {
    std::wstring s = std::to_wstring(v);
    return s;
}

void checkUnit(double v, const wchar_t* what) {
    if (!(v >= 0.0 && v <= 1.0))
        throw xcBadArgument(std::wstring(what) + L" must lie in [0, 1], not " + num(v));
}

}  // namespace

void xcGeoAlignRunParams::acceptThreshold(double value) {
    checkUnit(value, L"Accept threshold");
    m_accept = value;
}

void xcGeoAlignRunParams::contrastThreshold(double value) {
    if (!std::isfinite(value) || value < 0.0)
        throw xcBadArgument(L"Contrast threshold must be finite and not negative, not " +
                            num(value));
    m_contrast = value;
}

void xcGeoAlignRunParams::algorithm(long value) {
    if (value != xc_GeoDefs::eAlgorithmGrid && value != xc_GeoDefs::eAlgorithmRefined)
        throw xcBadArgument(L"Unknown geometric alignment algorithm " + std::to_wstring(value) +
                            L" (1 grid, 2 refined)");
    m_algorithm = value;
}

void xcGeoAlignRunParams::xyOverlap(double value) {
    checkUnit(value, L"xyOverlap");
    m_xyOverlap = value;
}

void xcGeoAlignRunParams::numToFind(long value) {
    if (value < 1)
        throw xcBadArgument(L"numToFind must be at least 1, not " + std::to_wstring(value));
    m_numToFind = value;
}

long xcGeoAlignRunParams::checkDof_(long dof) {
    if (dof != xc_GeoDefs::eDofAngle && dof != xc_GeoDefs::eDofScale)
        throw xcBadArgument(L"Unknown degree of freedom " + std::to_wstring(dof) +
                            L" (1 angle, 2 scale)");
    return dof - 1;
}

const xcRange& xcGeoAlignRunParams::zone(long dof) const { return m_zone[checkDof_(dof)]; }

void xcGeoAlignRunParams::zone(long dof, const xcRange& range) {
    const long i = checkDof_(dof);
    if (dof == xc_GeoDefs::eDofAngle) {
        if (range.isEmpty()) throw xcBadArgument(L"An angle zone cannot be empty");
        if (range.isNormal() && (!std::isfinite(range.start()) || !std::isfinite(range.end())))
            throw xcBadArgument(L"An angle zone must have finite ends, not " + range.text());
    } else {
        if (!range.isNormal() || !std::isfinite(range.end()) || !(range.start() > 0.0))
            throw xcBadArgument(L"A scale zone must be a finite range of positive factors, not " +
                                range.text());
    }
    m_zone[i] = range;
}

void xcGeoAlignRunParams::zoneEnable(long mask) {
    if (mask < 0 || (mask & ~static_cast<long>(xc_GeoDefs::eZoneAll)) != 0)
        throw xcBadArgument(L"Zone enable mask must combine 1 (angle) and 2 (scale), not " +
                            std::to_wstring(mask));
    m_zoneEnable = mask;
}

bool xcGeoAlignRunParams::zoneEnabled(long dof) const {
    return (m_zoneEnable & (1L << checkDof_(dof))) != 0;
}

double xcGeoAlignRunParams::nominal(long dof) const { return m_nominal[checkDof_(dof)]; }

void xcGeoAlignRunParams::nominal(long dof, double value) {
    const long i = checkDof_(dof);
    if (!std::isfinite(value) || (dof == xc_GeoDefs::eDofScale && !(value > 0.0)))
        throw xcBadArgument(dof == xc_GeoDefs::eDofScale
                                ? L"Nominal scale must be finite and positive, not " + num(value)
                                : L"Nominal angle must be finite, not " + num(value));
    m_nominal[i] = value;
}
