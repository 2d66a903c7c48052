// xcOCChar's exchange with the C-level character record, and the two operations that run
// through that record: the binarized mark-rectangle image and the normalized image stored
// with its threshold-and-invert setting.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "oc/defs/polarity.h"
#include "oc/occhar/oc_char.h"
#include "platform/clevel/char_ops.h"
#include "platform/clevel/image_record.h"
#include "platform/clevel/string_clone.h"
#include "platform/core/pel_ops.h"
#include "platform/core/status.h"

namespace {

using Image = xcOCChar::Image;

// Hands a failing C-level status to the core library's conversion.
void check(xstd_status s) {
    if (xstd_failed(s)) xfThrowExceptionOnFailure(s);
}

// A record's string of 32-bit codes (null gives the empty string).
std::u32string codesFromRecord(const std::uint32_t* s) {
    std::u32string out;
    if (!s) return out;
    out.resize(xstd_string_length32(s));
    std::transform(s, s + out.size(), out.begin(),
                   [](std::uint32_t c) { return static_cast<char32_t>(c); });
    return out;
}

// Clones a string of codes into a record field.
void cloneCodes(const std::u32string& s, std::uint32_t*& field) {
    std::vector<std::uint32_t> units(s.begin(), s.end());
    units.push_back(0);
    check(xstd_string_clone32(units.data(), &field));
}

// A record's image as a pel buffer, a fresh pixel copy when asked.
Image imageFromRecord(const ximg_image8Const& record, bool copyPixels) {
    Image b = xfConvertImage(record);
    if (copyPixels && b.isBound()) return xfPelCopy(b);
    return b;
}

// Assigns a buffer (or a fresh pixel copy of it) into a record's image field.
void imageToRecord(const Image& buffer, bool copyPixels, ximg_image8Const& field) {
    const xc_Image view(copyPixels && buffer.isBound() ? Image(xfPelCopy(buffer)) : buffer);
    check(ximg_imageConst_assign(&field, view.get()));
}

std::int32_t clampToInt32(long v) {
    return static_cast<std::int32_t>(std::clamp<long>(v, std::numeric_limits<std::int32_t>::min(),
                                                      std::numeric_limits<std::int32_t>::max()));
}

bool fitsInt32(long v) {
    return v >= std::numeric_limits<std::int32_t>::min() &&
           v <= std::numeric_limits<std::int32_t>::max();
}

}  // namespace

void xcOCChar::setCharacter(const xoc_char& record, bool copyPixels) {
    // Everything is read into a fresh character first, so a failure changes nothing here.
    xcOCChar c;
    c.m_hasThresholdAndInvert = false;
    c.m_binarizedImageCached = false;
    c.m_key.setKey(record.key);
    c.m_metrics.setMetrics(record.metrics);
    xfConvertPolarity(record.polarity, c.m_polarity);
    c.m_imageArea = xcPelRect(record.imageArea.x, record.imageArea.y, record.imageArea.width,
                              record.imageArea.height);
    c.m_threshold = record.threshold;
    c.m_invert = record.invert != 0;
    c.m_name32 = codesFromRecord(record.name32);
    c.m_description32 = codesFromRecord(record.description32);
    c.m_name = xfFromRecordStringW(record.name);
    c.m_description = xfFromRecordStringW(record.description);
    c.m_image = imageFromRecord(record.image, copyPixels);
    c.m_mask = imageFromRecord(record.mask, copyPixels);
    c.m_normalizedImage = imageFromRecord(record.normalizedImage, copyPixels);
    c.m_binarizedImage = imageFromRecord(record.binarizedImage, copyPixels);
    c.m_binarizedImageCached = record.binarizedImageCached != 0;
    c.m_hasThresholdAndInvert = record.hasThresholdAndInvert != 0;
    assign_(c);
}

void xcOCChar::getCharacter(xoc_char& record, bool copyPixels) const {
    m_key.getKey(record.key);
    m_metrics.getMetrics(record.metrics);
    xfConvertPolarity(m_polarity, record.polarity);
    if (!fitsInt32(m_imageArea.x()) || !fitsInt32(m_imageArea.y()) ||
        !fitsInt32(m_imageArea.width()) || !fitsInt32(m_imageArea.height()))
        throw xcOCDefs::IntegerOverflow(L"Value overflows integer value range");
    record.imageArea = xoc_rect32{static_cast<std::int32_t>(m_imageArea.x()),
                                  static_cast<std::int32_t>(m_imageArea.y()),
                                  static_cast<std::int32_t>(m_imageArea.width()),
                                  static_cast<std::int32_t>(m_imageArea.height())};
    record.hasThresholdAndInvert = m_hasThresholdAndInvert ? 1 : 0;
    // A threshold beyond 32 bits stays beyond 256, so it fails where the original would.
    record.threshold = clampToInt32(m_threshold);
    record.invert = m_invert ? 1 : 0;
    cloneCodes(m_name32, record.name32);
    cloneCodes(m_description32, record.description32);
    check(xstd_string_cloneW(m_name.c_str(), &record.name));
    check(xstd_string_cloneW(m_description.c_str(), &record.description));
    record.binarizedImageCached = 0;
    imageToRecord(m_image, copyPixels, record.image);
    imageToRecord(m_mask, copyPixels, record.mask);
    imageToRecord(m_normalizedImage, copyPixels, record.normalizedImage);
    imageToRecord(m_binarizedImage, copyPixels, record.binarizedImage);
    record.binarizedImageCached = m_binarizedImageCached ? 1 : 0;
}

xcOCChar::Image xcOCChar::binarizedImageMarkRect() const {
    xc_OCCharRecord record;
    getCharacter(record.record(), false);
    xc_Image result;
    check(xoc_char_getBinarizedImageMarkRect8(record.get(), result.get()));
    return result.pelBuffer();
}

void xcOCChar::normalizedImage(const Image& img, bool hasThresholdAndInvert, long threshold,
                               bool invert, const xcPelRect& rootCopyRect) {
    xc_OCCharRecord record;
    getCharacter(record.record(), false);
    const xc_Image image(img);
    if (!fitsInt32(rootCopyRect.x()) || !fitsInt32(rootCopyRect.y()) ||
        !fitsInt32(rootCopyRect.width()) || !fitsInt32(rootCopyRect.height()))
        throw xcOCDefs::IntegerOverflow(L"Value overflows integer value range");
    const xoc_rect32 copyRect{static_cast<std::int32_t>(rootCopyRect.x()),
                              static_cast<std::int32_t>(rootCopyRect.y()),
                              static_cast<std::int32_t>(rootCopyRect.width()),
                              static_cast<std::int32_t>(rootCopyRect.height())};
    // Clamping keeps an out-of-range threshold out of range, for the C-level check.
    check(xoc_char_setNormalizedImageThresholdAndInvert8(
        record.get(), image.get(), hasThresholdAndInvert ? 1 : 0, clampToInt32(threshold),
        invert ? 1 : 0, &copyRect));
    setCharacter(record.record(), false);
}
