#include "oc/occhar/char_metrics.h"

#include "oc/defs/oc_defs.h"
#include "oc/occhar/archive_support.h"
#include "platform/clevel/fixed_rect.h"
#include "platform/core/affine_rectangle.h"
#include "platform/core/archive_geometry.h"
#include "platform/core/status.h"

namespace {

constexpr std::uint8_t kMetricsVersion = 1;

[[noreturn]] void throwIllegalType() { throw xcOCDefs::BadParams(L"Illegal metrics rect type"); }

// Throws unless `type` is one of the six single bits.
void checkType(xcOCCharMetrics::RectType type) {
    switch (type) {
        case xcOCCharMetrics::eCellRect:
        case xcOCCharMetrics::eCellRectImage:
        case xcOCCharMetrics::eMarkRect:
        case xcOCCharMetrics::eMarkRectImage:
        case xcOCCharMetrics::eDetectedMarkRect:
        case xcOCCharMetrics::eDetectedMarkRectImage:
            return;
    }
    throwIllegalType();
}

// Whether a number is inside the signed 32-bit range (false for NaN).
bool inInt32(double v) { return v >= -2147483648.0 && v <= 2147483647.0; }

// The pixel rectangle enclosing r, after checking its corners against the 32-bit range.
xcPelRect encloseChecked(const xcRect& r) {
    const xcVector<2> ul = r.ul(), lr = r.lr();
    if (!inInt32(ul.x()) || !inInt32(ul.y()) || !inInt32(lr.x()) || !inInt32(lr.y()))
        throw xcOCDefs::IntegerOverflow(L"Value overflows integer value range");
    return r.enclosePelRect();
}

xcRect fromFixed(const xcPelRect& f, std::int32_t fractionBits) {
    const xoc_rect32Fixed fixed{static_cast<std::int32_t>(f.x()), static_cast<std::int32_t>(f.y()),
                                static_cast<std::int32_t>(f.width()),
                                static_cast<std::int32_t>(f.height())};
    xoc_rectD real{};
    const xstd_status s =
        xoc_rectDInitFromRect32Fixed_(&real, &fixed, static_cast<std::uint32_t>(fractionBits));
    if (xstd_failed(s)) xfThrowExceptionOnFailure(s);
    return xcRect(real.x, real.y, real.width, real.height);
}

xcPelRect toFixed(const xcRect& r, std::int32_t fractionBits) {
    const xoc_rectD real{r.ul().x(), r.ul().y(), r.size().x(), r.size().y()};
    xoc_rect32Fixed fixed{};
    const xstd_status s =
        xoc_rect32FixedInitFromRectD_(&fixed, &real, static_cast<std::uint32_t>(fractionBits));
    if (xstd_failed(s)) xfThrowExceptionOnFailure(s);
    return xcPelRect(fixed.x, fixed.y, fixed.width, fixed.height);
}

xoc_rect32Fixed toRecord(const xcPelRect& f) {
    return {static_cast<std::int32_t>(f.x()), static_cast<std::int32_t>(f.y()),
            static_cast<std::int32_t>(f.width()), static_cast<std::int32_t>(f.height())};
}

xoc_rectD toRecord(const xcRect& r) { return {r.ul().x(), r.ul().y(), r.size().x(), r.size().y()}; }

// The image-from-client transform of a buffer, which must be linear.
xcXform<2> linearImageFromClient(const xc_PelBuffer& image) {
    if (!image.clientFromImageXformBase().isLinear())
        throw xcOCDefs::BadParams(L"image must have a linear imageFromClient transform");
    return image.imageFromClientXform();
}

}  // namespace

void xcOCCharMetrics::reset() {
    m_specifiedRects = 0;
    m_advanceSpecified = false;
    m_cellRectImage = xcPelRect();
    m_markRectImage = xcPelRect();
    m_detectedMarkRectImage = xcPelRect();
    m_fractionBits = kDefaultFractionBits;
    m_cellRect = xcRect();
    m_markRect = xcRect();
    m_detectedMarkRect = xcRect();
    m_advance = xcVector<2>(0.0, 0.0);
}

void xcOCCharMetrics::getRect_(RectType type, xcRect** client, xcPelRect** image) {
    const xcRect* c = nullptr;
    const xcPelRect* i = nullptr;
    static_cast<const xcOCCharMetrics*>(this)->getRect_(type, &c, &i);
    *client = const_cast<xcRect*>(c);
    *image = const_cast<xcPelRect*>(i);
}

void xcOCCharMetrics::getRect_(RectType type, const xcRect** client,
                               const xcPelRect** image) const {
    *client = nullptr;
    *image = nullptr;
    switch (type) {
        case eCellRect:
            *client = &m_cellRect;
            return;
        case eCellRectImage:
            *image = &m_cellRectImage;
            return;
        case eMarkRect:
            *client = &m_markRect;
            return;
        case eMarkRectImage:
            *image = &m_markRectImage;
            return;
        case eDetectedMarkRect:
            *client = &m_detectedMarkRect;
            return;
        case eDetectedMarkRectImage:
            *image = &m_detectedMarkRectImage;
            return;
    }
    throwIllegalType();
}

bool xcOCCharMetrics::isRectSpecified(RectType type) const {
    checkType(type);
    return (m_specifiedRects & static_cast<std::uint32_t>(type)) != 0;
}

void xcOCCharMetrics::isRectSpecified(RectType type, bool specified) {
    checkType(type);
    if (specified)
        m_specifiedRects |= static_cast<std::uint32_t>(type);
    else
        m_specifiedRects &= ~static_cast<std::uint32_t>(type);
}

xcRect xcOCCharMetrics::rect(RectType type) const {
    if (!isRectSpecified(type)) throw xcOCDefs::RectNotSpecified();
    const xcRect* client = nullptr;
    const xcPelRect* image = nullptr;
    getRect_(type, &client, &image);
    if (client) return *client;
    return fromFixed(*image, m_fractionBits);
}

void xcOCCharMetrics::rect(RectType type, const xcRect& r) {
    xcRect* client = nullptr;
    xcPelRect* image = nullptr;
    getRect_(type, &client, &image);
    if (client)
        *client = r;
    else
        *image = toFixed(r, m_fractionBits);  // assigned only once converted
}

xcPelRect xcOCCharMetrics::encloseRect(RectType type) const { return encloseChecked(rect(type)); }

xcPelRect xcOCCharMetrics::encloseRectImage(RectType type,
                                            const xcXform<2>& imageFromClient) const {
    const xcRect* client = nullptr;
    const xcPelRect* image = nullptr;
    getRect_(type, &client, &image);
    if (image) return encloseRect(type);
    const xcRect r = rect(type);
    const xcAffineRectangle area(r.ul(), r.ur(), r.ll());
    return encloseChecked(area.boundingBox(imageFromClient));
}

xcPelRect xcOCCharMetrics::encloseRectImage(RectType type, const xc_PelBuffer& image) const {
    checkType(type);
    return encloseRectImage(type, linearImageFromClient(image));
}

xcVector<2> xcOCCharMetrics::advance() const {
    if (!m_advanceSpecified) throw xcOCDefs::MetricNotSpecified();
    return m_advance;
}

bool xcOCCharMetrics::isBlank() const {
    const bool m = isRectSpecified(eMarkRect);
    const bool mi = isRectSpecified(eMarkRectImage);
    if (!m && !mi) return false;
    const bool clientEmpty = m_markRect.degen();
    const bool imageEmpty = m_markRectImage.width() <= 0 || m_markRectImage.height() <= 0;
    if (m && mi && clientEmpty != imageEmpty) throw xcOCDefs::MetricNotSpecified();
    return m ? clientEmpty : imageEmpty;
}

void xcOCCharMetrics::makeBlank() {
    m_markRect = xcRect();
    m_detectedMarkRect = xcRect();
    m_markRectImage = xcPelRect();
    m_detectedMarkRectImage = xcPelRect();
    m_specifiedRects |= eMarkRect | eMarkRectImage | eDetectedMarkRect | eDetectedMarkRectImage;
}

xcOCCharMetrics xcOCCharMetrics::blankMetrics() {
    xcOCCharMetrics m;
    m.makeBlank();
    return m;
}

void xcOCCharMetrics::setImageRectsFromClientRects(const xcXform<2>& imageFromClient) {
    static constexpr RectType kPairs[3][2] = {{eCellRect, eCellRectImage},
                                              {eMarkRect, eMarkRectImage},
                                              {eDetectedMarkRect, eDetectedMarkRectImage}};
    // Worked on a copy, so that an overflow part way leaves *this unchanged.
    xcOCCharMetrics m(*this);
    for (const auto& pair : kPairs) {
        const bool specified = m.isRectSpecified(pair[0]);
        if (specified) {
            const xcPelRect r = m.encloseRectImage(pair[0], imageFromClient);
            m.rect(pair[1], xcRect(r.ul().toVector(), r.size().toVector()));
        }
        m.isRectSpecified(pair[1], specified);
    }
    *this = m;
}

void xcOCCharMetrics::setImageRectsFromClientRects(const xc_PelBuffer& image) {
    setImageRectsFromClientRects(linearImageFromClient(image));
}

bool xcOCCharMetrics::operator==(const xcOCCharMetrics& o) const {
    return m_specifiedRects == o.m_specifiedRects && m_advanceSpecified == o.m_advanceSpecified &&
           m_cellRectImage == o.m_cellRectImage && m_markRectImage == o.m_markRectImage &&
           m_detectedMarkRectImage == o.m_detectedMarkRectImage &&
           m_fractionBits == o.m_fractionBits && m_cellRect == o.m_cellRect &&
           m_markRect == o.m_markRect && m_detectedMarkRect == o.m_detectedMarkRect &&
           m_advance == o.m_advance;
}

void xcOCCharMetrics::setMetrics(const xoc_charMetrics& record) {
    m_specifiedRects = record.specifiedRects & kAllRectTypes;
    m_advanceSpecified = record.advanceSpecified != 0;
    m_fractionBits = static_cast<std::int32_t>(record.fractionBits);
    m_cellRect =
        xcRect(record.cellRect.x, record.cellRect.y, record.cellRect.width, record.cellRect.height);
    m_markRect =
        xcRect(record.markRect.x, record.markRect.y, record.markRect.width, record.markRect.height);
    m_detectedMarkRect = xcRect(record.detectedMarkRect.x, record.detectedMarkRect.y,
                                record.detectedMarkRect.width, record.detectedMarkRect.height);
    const auto pel = [](const xoc_rect32Fixed& f) {
        return xcPelRect(f.x, f.y, f.width, f.height);
    };
    m_cellRectImage = pel(record.cellRectImage);
    m_markRectImage = pel(record.markRectImage);
    m_detectedMarkRectImage = pel(record.detectedMarkRectImage);
    m_advance = xcVector<2>(record.advanceX, record.advanceY);
}

void xcOCCharMetrics::getMetrics(xoc_charMetrics& record) const {
    record.specifiedRects = m_specifiedRects & kAllRectTypes;
    record.advanceSpecified = m_advanceSpecified ? 1 : 0;
    record.fractionBits = static_cast<std::uint32_t>(m_fractionBits);
    record.cellRect = toRecord(m_cellRect);
    record.markRect = toRecord(m_markRect);
    record.detectedMarkRect = toRecord(m_detectedMarkRect);
    record.cellRectImage = toRecord(m_cellRectImage);
    record.markRectImage = toRecord(m_markRectImage);
    record.detectedMarkRectImage = toRecord(m_detectedMarkRectImage);
    record.advanceX = m_advance.x();
    record.advanceY = m_advance.y();
}

void xcOCCharMetrics::dispatchSerialize(xcArchive& ar) {
    if (xcPersistent::haveVisited(ar, this, sizeof(xcOCCharMetrics))) return;
    std::uint8_t version = kMetricsVersion;
    ar || version;
    serialize_(ar, version);
    xcPersistent::setVisited(ar, this, sizeof(xcOCCharMetrics));
}

void xcOCCharMetrics::serialize_(xcArchive& ar, std::uint8_t version) {
    if (version != kMetricsVersion) throw xf_OCCharUnknownVersion(504);
    xcPersistent::dispatchSerialize(ar);
    ar || m_specifiedRects || m_advanceSpecified;
    ar || m_cellRectImage || m_markRectImage || m_detectedMarkRectImage;
    ar || m_fractionBits;
    ar || m_cellRect || m_markRect || m_detectedMarkRect;
    ar || m_advance;
}

xcPersistent* xcOCCharMetrics::make() { return new xcOCCharMetrics(); }
const xc_Instantiator xcOCCharMetrics::sExemplar(typeid(xcOCCharMetrics), &xcOCCharMetrics::make);
