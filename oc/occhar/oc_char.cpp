#include "oc/occhar/oc_char.h"

#include <algorithm>
#include <memory>

#include "oc/occhar/archive_support.h"
#include "oc/occhar/shifted_client_xform.h"
#include "platform/core/archive_geometry.h"
#include "platform/core/char_code.h"
#include "platform/core/pel_ops.h"
#include "platform/core/xform_base.h"

namespace {

constexpr std::uint8_t kCharVersion = 1;

using Image = xcOCChar::Image;

// The copy a setter stores (see the header, "Storing images").
Image storedCopy(const Image& img, const xcPelRect& rootCopyRect) {
    if (!img.isBound()) {
        Image unbound;
        unbound.clientFromImageXformBase(img.clientFromImageXformBasePtr());
        return unbound;
    }
    const xcPelRect w = img.window();
    if (!rootCopyRect.isNull() && !rootCopyRect.contains(w))
        throw xcOCDefs::BadParams(L"Root copy rect does not contain image window");
    // An empty window keeps no pixels, whatever the root copy rectangle says.
    const xcPelRect region =
        rootCopyRect.isNull() || w.isNull() ? w : rootCopyRect.intersect(img.rootWindow());
    Image source = img;
    source.setEntire();
    source.window(region);
    xcPelBuffer<unsigned char> copy = xfPelCopy(source);  // keeps the transform
    copy.window(w);
    return copy;
}

// Equality of stored buffers: both unbound, or both bound with equal windowed pixels.
bool sameImage(const Image& a, const Image& b) { return xfPelEqual(a, b); }

// The wide form of a string of codes: empty when any code has no wide form.
std::wstring wideOf(const std::u32string& s) {
    std::wstring w;
    w.reserve(s.size());
    for (char32_t c : s) {
        const xcCharCode code(static_cast<std::uint32_t>(c));
        if (!code.isRepresentableAsTChar()) return std::wstring();
        w.push_back(code.getAsTChar());
    }
    return w;
}

// The codes of a wide string, one per unit.
std::u32string codesOf(const std::wstring& w) {
    std::u32string s;
    s.reserve(w.size());
    for (wchar_t unit : w) s.push_back(static_cast<char32_t>(static_cast<std::uint32_t>(unit)));
    return s;
}

}  // namespace

// ---- Construction, copy, equality -----------------------------------------------------------

void xcOCChar::reset() {
    m_key.reset();
    m_polarity = xcOCDefs::ePolarityUnknown;
    m_image = Image();
    m_mask = Image();
    m_normalizedImage = Image();
    m_binarizedImageCached = false;
    m_binarizedImage = Image();
    m_hasThresholdAndInvert = false;
    m_threshold = 128;
    m_invert = false;
    m_imageArea = xcPelRect();
    m_metrics.reset();
    m_metrics.makeBlank();
    m_name32.clear();
    m_description32.clear();
    m_name.clear();
    m_description.clear();
}

xcOCChar& xcOCChar::operator=(const xcOCChar& other) {
    if (this != &other) assign_(other);
    return *this;
}

void xcOCChar::assign_(const xcOCChar& other) {
    m_key = other.m_key;
    m_polarity = other.m_polarity;
    m_image = other.m_image;
    m_mask = other.m_mask;
    m_normalizedImage = other.m_normalizedImage;
    m_binarizedImageCached = other.m_binarizedImageCached;
    m_binarizedImage = other.m_binarizedImage;
    m_hasThresholdAndInvert = other.m_hasThresholdAndInvert;
    m_threshold = other.m_threshold;
    m_invert = other.m_invert;
    m_imageArea = other.m_imageArea;
    m_metrics = other.m_metrics;
    m_name32 = other.m_name32;
    m_description32 = other.m_description32;
    m_name = other.m_name;
    m_description = other.m_description;
}

bool xcOCChar::operator==(const xcOCChar& o) const {
    if (m_key != o.m_key || m_polarity != o.m_polarity) return false;
    if (!sameImage(m_image, o.m_image) || !sameImage(m_mask, o.m_mask) ||
        !sameImage(m_normalizedImage, o.m_normalizedImage))
        return false;
    if (m_binarizedImageCached != o.m_binarizedImageCached ||
        !sameImage(m_binarizedImage, o.m_binarizedImage))
        return false;
    if (m_hasThresholdAndInvert != o.m_hasThresholdAndInvert || m_threshold != o.m_threshold ||
        m_invert != o.m_invert)
        return false;
    if (m_imageArea != o.m_imageArea || m_metrics != o.m_metrics) return false;
    return m_name32 == o.m_name32 && m_description32 == o.m_description32 && m_name == o.m_name &&
           m_description == o.m_description;
}

// ---- Names ----------------------------------------------------------------------------------

std::wstring xcOCChar::name() const {
    if (m_name.empty() && !m_name32.empty()) throw xcCharCodeDefs::NotRepresentable();
    return m_name;
}

void xcOCChar::name(const std::wstring& w) {
    std::u32string codes = codesOf(w);
    m_name = w;
    m_name32 = std::move(codes);
}

void xcOCChar::name32(const std::u32string& s) {
    std::wstring wide = wideOf(s);
    m_name32 = s;
    m_name = std::move(wide);
}

std::wstring xcOCChar::description() const {
    if (m_description.empty() && !m_description32.empty()) throw xcCharCodeDefs::NotRepresentable();
    return m_description;
}

void xcOCChar::description(const std::wstring& w) {
    std::u32string codes = codesOf(w);
    m_description = w;
    m_description32 = std::move(codes);
}

void xcOCChar::description32(const std::u32string& s) {
    std::wstring wide = wideOf(s);
    m_description32 = s;
    m_description = std::move(wide);
}

// ---- Simple settings ------------------------------------------------------------------------

void xcOCChar::imageArea(const xcPelRect& r) {
    if (r == m_imageArea) return;
    m_imageArea = r;
    undetectMarkRect_();
}

void xcOCChar::polarity(xcOCDefs::Polarity p) {
    if (p != xcOCDefs::eDarkOnLight && p != xcOCDefs::eLightOnDark &&
        p != xcOCDefs::ePolarityUnknown)
        throw xcOCDefs::BadParams(L"Unknown polarity");
    if (p == m_polarity) return;
    m_polarity = p;
    undetectMarkRect_();
}

void xcOCChar::hasThresholdAndInvert(bool b) {
    if (b == m_hasThresholdAndInvert) return;
    m_hasThresholdAndInvert = b;
    uncacheBinarizedImage_();
}

long xcOCChar::threshold() const {
    checkHasThresholdAndInvert_();
    return m_threshold;
}

void xcOCChar::threshold(long t) {
    if (t < 0) throw xcOCDefs::BadParams(L"Threshold must be >= 0.");
    if (t == m_threshold) return;
    m_threshold = t;
    uncacheBinarizedImage_();
}

bool xcOCChar::invert() const {
    checkHasThresholdAndInvert_();
    return m_invert;
}

void xcOCChar::invert(bool b) {
    if (b == m_invert) return;
    m_invert = b;
    uncacheBinarizedImage_();
}

void xcOCChar::checkHasThresholdAndInvert_() const {
    if (!m_hasThresholdAndInvert) throw xcOCDefs::ThresholdAndInvertNotSpecified();
}

void xcOCChar::checkHasBinarizedImage_() const { checkHasThresholdAndInvert_(); }

void xcOCChar::undetectMarkRect_() {
    m_metrics.hasDetectedMarkRect(false);
    m_metrics.detectedMarkRect(xcRect());
}

// ---- Views ----------------------------------------------------------------------------------

Image xcOCChar::view_(const Image& buffer, bool inImageArea) const {
    if (!inImageArea || !buffer.isBound()) return buffer;
    if (m_imageArea.isNull()) throw xcOCDefs::BadParams(L"imageArea cannot be null");
    if (m_imageArea.intersect(buffer.window()) != m_imageArea)
        throw xcOCDefs::BadParams(L"image does not contain imageArea");
    Image view = buffer;
    view.window(m_imageArea);
    return view;
}

Image xcOCChar::markRectView_(const Image& buffer) const {
    static constexpr xcOCCharMetrics::RectType kOrder[] = {
        xcOCCharMetrics::eMarkRectImage, xcOCCharMetrics::eDetectedMarkRectImage,
        xcOCCharMetrics::eMarkRect, xcOCCharMetrics::eDetectedMarkRect};
    for (xcOCCharMetrics::RectType type : kOrder) {
        if (!m_metrics.isRectSpecified(type)) continue;
        const xcPelRect r = m_metrics.encloseRectImage(type, buffer);
        if (!buffer.isBound()) return buffer;
        Image view = buffer;
        view.window(r, true);  // r intersected with the window (empty: at the window's corner)
        return view;
    }
    throw xcOCDefs::RectNotSpecified();
}

xcPelRect xcOCChar::markOrImageArea() const {
    if (m_metrics.isBlank()) return m_imageArea;
    try {
        return imageMarkRect().window();
    } catch (const xcOCDefs::RectNotSpecified&) {
        return m_imageArea;
    }
}

// ---- Binarization ---------------------------------------------------------------------------

void xcOCChar::cacheBinarizedImage_() const {
    if (m_binarizedImageCached || !m_hasThresholdAndInvert || !m_normalizedImage.isBound()) return;
    if (m_threshold > 256) throw xcOCDefs::BadParams(L"threshold() > 256)");
    const unsigned char low = m_invert ? 255 : 0, high = m_invert ? 0 : 255;
    xcPelMapTable table;
    for (long v = 0; v < 256; ++v)
        table[static_cast<std::size_t>(v)] = v < m_threshold ? low : high;
    xcPelBuffer<unsigned char> out(m_normalizedImage.window());
    out.clientFromImageXformBase(m_normalizedImage.clientFromImageXformBasePtr());
    xfPelMap(m_normalizedImage, out, table);
    m_binarizedImage = out;
    m_binarizedImageCached = true;
}

void xcOCChar::uncacheBinarizedImage_() {
    m_binarizedImageCached = false;
    m_binarizedImage = Image();
}

Image xcOCChar::binarizedImage(bool inImageArea) const {
    checkHasBinarizedImage_();
    if (!m_binarizedImageCached) cacheBinarizedImage_();
    return view_(m_binarizedImage, inImageArea);
}

// ---- Storing images, moving the origin ------------------------------------------------------

void xcOCChar::image(const Image& img, const xcPelRect& rootCopyRect) {
    Image stored = storedCopy(img, rootCopyRect);
    m_image = std::move(stored);
    undetectMarkRect_();
}

void xcOCChar::mask(const Image& img, const xcPelRect& rootCopyRect) {
    Image stored = storedCopy(img, rootCopyRect);
    m_mask = std::move(stored);
    undetectMarkRect_();
}

void xcOCChar::normalizedImage(const Image& img, const xcPelRect& rootCopyRect) {
    Image stored = storedCopy(img, rootCopyRect);
    uncacheBinarizedImage_();
    m_normalizedImage = std::move(stored);
    undetectMarkRect_();
}

void xcOCChar::moveOrigin(const xcVector<2>& v) {
    Image image = m_image, mask = m_mask;
    xf_ShiftClientFrame(image, v);
    xf_ShiftClientFrame(mask, v);
    xcOCCharMetrics metrics = m_metrics;
    for (xcOCCharMetrics::RectType type : {xcOCCharMetrics::eCellRect, xcOCCharMetrics::eMarkRect,
                                           xcOCCharMetrics::eDetectedMarkRect}) {
        if (!metrics.isRectSpecified(type)) continue;
        const xcRect r = metrics.rect(type);
        if (r.degen()) continue;
        metrics.rect(type, xcRect(r.ul() - v, r.size()));
    }
    m_image = std::move(image);
    m_mask = std::move(mask);
    m_metrics = metrics;
}

// ---- Archive --------------------------------------------------------------------------------

void xcOCChar::dispatchSerialize(xcArchive& ar) {
    if (xcPersistent::haveVisited(ar, this, sizeof(xcOCChar))) return;
    std::uint8_t version = kCharVersion;
    ar || version;
    serialize_(ar, version);
    xcPersistent::setVisited(ar, this, sizeof(xcOCChar));
}

void xcOCChar::serialize_(xcArchive& ar, std::uint8_t version) {
    if (version != kCharVersion) throw xf_OCCharUnknownVersion(1428);
    xcPersistent::dispatchSerialize(ar);
    ar || m_key;
    std::uint32_t polarity = static_cast<std::uint32_t>(m_polarity);
    ar || polarity;
    if (ar.isLoading()) {
        if (polarity != 1 && polarity != 2 && polarity != 4)
            ar.badData(L"polarity " + std::to_wstring(polarity) + L" is not 1, 2 or 4");
        m_polarity = static_cast<xcOCDefs::Polarity>(polarity);
    }
    ar || m_image || m_mask || m_normalizedImage;
    ar || m_binarizedImageCached || m_binarizedImage;
    ar || m_hasThresholdAndInvert || m_threshold || m_invert;
    ar || m_imageArea;
    ar || m_metrics;
    ar || m_name32;
    ar || m_description32;
    ar || m_name || m_description;
}

xcPersistent* xcOCChar::make() { return new xcOCChar(); }
const xc_Instantiator xcOCChar::sExemplar(typeid(xcOCChar), &xcOCChar::make);
