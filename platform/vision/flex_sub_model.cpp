#include "platform/vision/flex_sub_model.h"

#include <cmath>

#include "platform/core/exception.h"

namespace {

constexpr long kZoneBits = xcFlexSubModelDefs::eZoneAngle | xcFlexSubModelDefs::eZoneScale;

void checkZones(long mask, const wchar_t* what) {
    if (mask & ~kZoneBits)
        throw xcBadArgument(std::wstring(what) + L": unknown zone bits in " +
                            std::to_wstring(mask) + L" (angle 1, scale 2)");
}

}  // namespace

xcFlexSubModel::xcFlexSubModel(const xcPelBuffer_const<unsigned char>& image,
                               const std::wstring& name)
    : xcFlexSubModel(image, xcPelBuffer_const<unsigned char>(), name) {}

xcFlexSubModel::xcFlexSubModel(const xcPelBuffer_const<unsigned char>& image,
                               const xcPelBuffer_const<unsigned char>& mask,
                               const std::wstring& name)
    : m_image(image), m_mask(mask), m_name(name) {
    const xcPelRect w = image.window();  // throws for an unbound image
    if (mask.isBound() && !(mask.window() == w))
        throw xcBadArgument(L"Flexible sub-model: the mask's window differs from the image's");
}

void xcFlexSubModelCorTrainParams::coarseGrainLimit(double value) {
    if (!(value >= 1.0) || !std::isfinite(value))
        throw xcBadArgument(L"Sub-model training: the coarse grain limit must be at least 1, not " +
                            std::to_wstring(value));
    m_coarseGrainLimit = value;
}

void xcFlexSubModelCorTrainParams::zonesAllowed(long mask) {
    checkZones(mask, L"Sub-model training");
    m_zonesAllowed = mask;
}

void xcFlexSubModelCorRunParams::acceptThreshold(double value) {
    if (!(value >= 0.0 && value <= 1.0))
        throw xcBadArgument(L"Sub-model run: the accept threshold must lie in [0, 1], not " +
                            std::to_wstring(value));
    m_accept = value;
}

void xcFlexSubModelCorRunParams::zonesEnabled(long mask) {
    checkZones(mask, L"Sub-model run");
    m_zonesEnabled = mask;
}

void xcFlexSubModelCorRunParams::partialMatchRect(const xcPelRect& r) {
    if (r.x() > 0 || r.y() > 0 || r.x() + r.width() < 0 || r.y() + r.height() < 0)
        throw xcBadArgument(L"Sub-model run: the partial match rectangle must hold the origin");
    m_partial = r;
}

void xcFlexSubModelCorRunParams::xyUncertainty(const xcVector<2>& v) {
    if (!(v.x() >= 0.0 && v.y() >= 0.0) || !std::isfinite(v.x()) || !std::isfinite(v.y()))
        throw xcBadArgument(L"Sub-model run: the XY uncertainty must be finite and not negative");
    m_xyUncertainty = v;
}

const xc_SubModelResult& xc_SubModelResultSet::result(std::size_t i) const {
    if (i >= m_results.size())
        throw xcBadArgument(L"Sub-model results: index " + std::to_wstring(i) +
                            L" is out of range (" + std::to_wstring(m_results.size()) +
                            L" results)");
    return m_results[i];
}
