#include "oc/font/model.h"

#include <vector>

#include "oc/font/enclose.h"
#include "platform/core/archive_geometry.h"
#include "platform/core/pel_ops.h"
#include "platform/core/polygon.h"
#include "platform/vision/enclose_rect.h"

namespace {

using Buffer = xcPelBuffer_const<unsigned char>;

// Whether two buffers' client-from-image transforms agree: exactly, or within *tolerance when
// it is given. A non-linear transform equals only the very same transform object.
bool sameClientXform(const Buffer& a, const Buffer& b, const double* tolerance) {
    const xc2XformBase& xa = a.clientFromImageXformBase();
    const xc2XformBase& xb = b.clientFromImageXformBase();
    if (xa.isLinear() && xb.isLinear()) {
        const xcXform<2>& la = a.clientFromImageXform();
        const xcXform<2>& lb = b.clientFromImageXform();
        return tolerance ? xfRealEq(la, lb, *tolerance) : la == lb;
    }
    if (xa.isLinear() != xb.isLinear()) return false;
    return a.clientFromImageXformBasePtr() == b.clientFromImageXformBasePtr();
}

// Equality of two optional buffers: both unbound, or both bound with equal windows, client
// transforms and pixels.
bool sameBuffer(const Buffer& a, const Buffer& b, const double* tolerance) {
    if (a.isBound() != b.isBound()) return false;
    if (!a.isBound()) return true;
    return a.window() == b.window() && sameClientXform(a, b, tolerance) && xfPelEqual(a, b);
}

}  // namespace

xcOCModel::xcOCModel() = default;

xcOCModel::xcOCModel(long key, const Buffer& image, const xcPelRect& imageArea, CharType type,
                     const std::wstring& name, const std::wstring& description)
    : xcOCModel(key, image, Buffer(), imageArea, type, name, description) {}

xcOCModel::xcOCModel(long key, const Buffer& image, const Buffer& mask, const xcPelRect& imageArea,
                     CharType type, const std::wstring& name, const std::wstring& description)
    : m_key(key),
      m_charType(type),
      m_name(name),
      m_description(description),
      m_imageArea(imageArea) {
    model_(image, mask);
}

void xcOCModel::key(long k) {
    m_key = k;
    xcPersistent::mutating();
}

void xcOCModel::name(const std::wstring& n) {
    m_name = n;
    xcPersistent::mutating();
}

void xcOCModel::description(const std::wstring& d) {
    m_description = d;
    xcPersistent::mutating();
}

void xcOCModel::image(const Buffer& image) {
    xcPersistent::mutating();
    model_(image, m_mask);
}

void xcOCModel::mask(const Buffer& mask) {
    xcPersistent::mutating();
    model_(m_image, mask);
}

void xcOCModel::model(const Buffer& image, const Buffer& mask) {
    xcPersistent::mutating();
    model_(image, mask);
}

void xcOCModel::imageArea(const xcPelRect& area) {
    xcPersistent::mutating();
    checkArea_(m_image, m_mask, area);
    m_imageArea = area;
}

void xcOCModel::model_(const Buffer& image, const Buffer& mask) {
    if (m_charType == eNormal && !image.isBound())
        throw xcOCDefs::BadImage(L"Image models must be bound for normal characters.");
    if (m_charType == eBlank && image.isBound())
        throw xcOCDefs::NotImplemented(L"Bound images are not supported for blank characters");
    if (image.isBound() && mask.isBound() && mask.window() != image.window())
        throw xcOCDefs::BadParams(
            L"Character mask window must be equal to the image character model window.");
    checkArea_(image, mask, m_imageArea);
    // Copying a buffer cannot fail: both assignments share pixels and copy the transform.
    m_image = image;
    m_mask = mask;
}

void xcOCModel::checkArea_(const Buffer& image, const Buffer& mask, const xcPelRect& area) {
    // Only copies are narrowed; the caller's buffers keep their windows.
    try {
        if (image.isBound()) {
            Buffer copy(image);
            copy.window(area, false);
        }
        if (mask.isBound()) {
            Buffer copy(mask);
            copy.window(area, false);
        }
    } catch (const xcException&) {
        throw xcOCDefs::BadParams(L"The image area must fit within the mask and image windows.");
    }
}

xcRect xcOCModel::encloseRect(const xcXform<2>& a, const xcXform<2>& b, const xcXform<2>& c,
                              double translationUncertainty, xcRadian rotationUncertainty,
                              double scaleUncertainty) const {
    xf_CheckPlacementUncertainties(translationUncertainty, rotationUncertainty, scaleUncertainty);

    const xcPelRect& r = m_imageArea;
    xcPolygon area(std::vector<xcVector<2>>{r.ul().toVector(), r.ur().toVector(), r.lr().toVector(),
                                            r.ll().toVector()});
    const xcXform<2> p = a * b;
    const xcXform<2> q = b.inverse() * m_image.clientFromImageXform();
    return xfEncloseRect(area.map(q), p, c, translationUncertainty, translationUncertainty,
                         rotationUncertainty, scaleUncertainty, 0.0, 0.0, 0.0, 1);
}

bool xcOCModel::equal_(const xcOCModel& o, const double* tolerance) const {
    return m_key == o.m_key && m_charType == o.m_charType && m_name == o.m_name &&
           m_description == o.m_description && m_imageArea == o.m_imageArea &&
           sameBuffer(m_image, o.m_image, tolerance) && sameBuffer(m_mask, o.m_mask, tolerance);
}

bool xcOCModel::operator==(const xcOCModel& o) const { return equal_(o, nullptr); }

bool xfRealEq(const xcOCModel& a, const xcOCModel& b, double tolerance) {
    return a.equal_(b, &tolerance);
}

xcArchive& operator||(xcArchive& ar, xcOCModel::CharType& type) {
    std::uint32_t v = static_cast<std::uint32_t>(type);
    ar || v;
    if (ar.isLoading()) type = static_cast<xcOCModel::CharType>(v);
    return ar;
}

// ---- Persistence -------------------------------------------------------------------------

// The visited test, the version byte (written as the current version 1; the byte read
// replaces it), this level, then the visited mark.
void xcOCModel::dispatchSerialize(xcArchive& ar) {
    if (xcPersistent::haveVisited(ar, this, sizeof(xcOCModel))) return;
    std::uint8_t version = 1;
    ar || version;
    serialize_(ar, version);
    xcPersistent::setVisited(ar, this, sizeof(xcOCModel));
}

// Version 1: key, image, mask, type, name, description, image area. Version 0 has no
// description (read as empty). The fields are read into locals and stored together at the
// end, without the setters' validation, so a failed read leaves the model as it was.
void xcOCModel::serialize_(xcArchive& ar, std::uint8_t version) {
    if (version > 1) throw xcArchive::UnknownVersion(0L);
    xcPersistent::dispatchSerialize(ar);
    long key = m_key;
    Buffer image = m_image;
    Buffer mask = m_mask;
    CharType type = m_charType;
    std::wstring name = m_name;
    std::wstring description = version >= 1 ? m_description : std::wstring();
    xcPelRect area = m_imageArea;
    ar || key || image || mask || type || name;
    if (version >= 1) ar || description;
    xf_PersistenceHelper(ar, area);
    if (ar.isLoading()) {
        m_key = key;
        m_image = image;
        m_mask = mask;
        m_charType = type;
        m_name = std::move(name);
        m_description = std::move(description);
        m_imageArea = area;
    }
}

xcPersistent* xcOCModel::make() { return new xcOCModel(); }
const xc_Instantiator xcOCModel::sExemplar(typeid(xcOCModel), &xcOCModel::make);
