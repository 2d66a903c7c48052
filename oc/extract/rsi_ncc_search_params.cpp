#include "oc/extract/rsi_ncc_search_params.h"

#include <cmath>
#include <string>
#include <vector>

#include "oc/extract/extract_defs.h"
#include "platform/core/exception.h"

namespace {

[[noreturn]] void throwBad(const wchar_t* message) {
    throw xc_OCExtractDefs::xc_OCExtractError(message);
}

bool finiteNormal(const xcRange& r) {
    return r.isNormal() && std::isfinite(r.start()) && std::isfinite(r.end());
}

bool positiveFinite(double v) { return std::isfinite(v) && v > 0.0; }

bool unitInterval(double v) { return v >= 0.0 && v <= 1.0; }  // false for NaN

}  // namespace

xcRSINccSearchParams::xcRSINccSearchParams()
    : m_angleRange(-180.0, 180.0), m_scaleRange(0.5, 2.0) {}

xcRSINccSearchParams::xcRSINccSearchParams(const xcRange& angleRange, double angleStep,
                                           const xcRange& scaleRange, double scaleStep,
                                           double baseScale)
    : xcRSINccSearchParams() {
    this->angleRange(angleRange);
    this->angleStep(angleStep);
    this->scaleRange(scaleRange);
    this->scaleStep(scaleStep);
    this->baseScale(baseScale);
}

void xcRSINccSearchParams::angleRange(const xcRange& r) {
    if (!finiteNormal(r)) throwBad(L"Invalid angle range");
    m_angleRange = r;
}

void xcRSINccSearchParams::angleStep(double v) {
    if (!positiveFinite(v)) throwBad(L"Invalid angle step");
    m_angleStep = v;
}

void xcRSINccSearchParams::scaleRange(const xcRange& r) {
    if (!finiteNormal(r) || !(r.start() > 0.0)) throwBad(L"Invalid scale range");
    m_scaleRange = r;
}

void xcRSINccSearchParams::scaleStep(double v) {
    if (!positiveFinite(v)) throwBad(L"Invalid scale step");
    m_scaleStep = v;
}

void xcRSINccSearchParams::baseScale(double v) {
    if (!positiveFinite(v)) throwBad(L"Invalid base scale");
    m_baseScale = v;
}

std::vector<double> xcRSINccSearchParams::angles() const {
    std::vector<double> v;
    for (double a = m_angleRange.start(); a <= m_angleRange.end(); a += m_angleStep) {
        v.push_back(a);
        if (static_cast<long>(v.size()) > kMaxVariants || a + m_angleStep == a) break;
    }
    return v;
}

std::vector<double> xcRSINccSearchParams::scales() const {
    std::vector<double> v;
    for (double s = m_scaleRange.start(); s <= m_scaleRange.end(); s *= 1.0 + m_scaleStep) {
        v.push_back(s);
        if (static_cast<long>(v.size()) > kMaxVariants || s * (1.0 + m_scaleStep) == s) break;
    }
    return v;
}

bool xcRSINccSearchParams::operator==(const xcRSINccSearchParams& o) const {
    return m_angleRange == o.m_angleRange && m_angleStep == o.m_angleStep &&
           m_scaleRange == o.m_scaleRange && m_scaleStep == o.m_scaleStep &&
           m_baseScale == o.m_baseScale;
}

void xcRSINccSearchRunParams::accept(double v) {
    if (!unitInterval(v)) throwBad(L"Invalid accept threshold");
    m_accept = v;
}

void xcRSINccSearchRunParams::confusion(double v) {
    if (!unitInterval(v)) throwBad(L"Invalid confusion threshold");
    m_confusion = v;
}

void xcRSINccSearchRunParams::overlap(double v) {
    if (!unitInterval(v)) throwBad(L"Invalid overlap");
    m_overlap = v;
}

bool xcRSINccSearchRunParams::operator==(const xcRSINccSearchRunParams& o) const {
    return m_accept == o.m_accept && m_confusion == o.m_confusion && m_overlap == o.m_overlap &&
           m_maxNumResults == o.m_maxNumResults && m_searchRect == o.m_searchRect;
}
