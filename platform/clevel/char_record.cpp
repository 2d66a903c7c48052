#include "platform/clevel/char_record.h"

#include <cstddef>
#include <type_traits>

#include "platform/clevel/string_clone.h"

// ---- The binding layout ----------------------------------------------------------------------

static_assert(std::is_standard_layout_v<xoc_charKey> && std::is_trivially_copyable_v<xoc_charKey>);
static_assert(sizeof(xoc_charKey) == 16);
static_assert(offsetof(xoc_charKey, characterCode) == 0);
static_assert(offsetof(xoc_charKey, instance) == 4);
static_assert(offsetof(xoc_charKey, variant) == 8);
static_assert(offsetof(xoc_charKey, fontID) == 12);

static_assert(std::is_standard_layout_v<xoc_charMetrics> &&
              std::is_trivially_copyable_v<xoc_charMetrics>);
static_assert(sizeof(xoc_charMetrics) == 176);
static_assert(offsetof(xoc_charMetrics, specifiedRects) == 0);
static_assert(offsetof(xoc_charMetrics, advanceSpecified) == 4);
static_assert(offsetof(xoc_charMetrics, cellRectImage) == 8);
static_assert(offsetof(xoc_charMetrics, markRectImage) == 24);
static_assert(offsetof(xoc_charMetrics, detectedMarkRectImage) == 40);
static_assert(offsetof(xoc_charMetrics, fractionBits) == 56);
static_assert(offsetof(xoc_charMetrics, padding0_) == 60);
static_assert(offsetof(xoc_charMetrics, cellRect) == 64);
static_assert(offsetof(xoc_charMetrics, markRect) == 96);
static_assert(offsetof(xoc_charMetrics, detectedMarkRect) == 128);
static_assert(offsetof(xoc_charMetrics, advanceX) == 160);
static_assert(offsetof(xoc_charMetrics, advanceY) == 168);
static_assert(offsetof(xoc_rect32Fixed, x) == 0 && offsetof(xoc_rect32Fixed, y) == 4 &&
              offsetof(xoc_rect32Fixed, width) == 8 && offsetof(xoc_rect32Fixed, height) == 12);
static_assert(offsetof(xoc_rectD, x) == 0 && offsetof(xoc_rectD, y) == 8 &&
              offsetof(xoc_rectD, width) == 16 && offsetof(xoc_rectD, height) == 24);
static_assert(offsetof(xoc_rect32, x) == 0 && offsetof(xoc_rect32, y) == 4 &&
              offsetof(xoc_rect32, width) == 8 && offsetof(xoc_rect32, height) == 12);

static_assert(std::is_standard_layout_v<ximg_image8Const> &&
              std::is_trivially_copyable_v<ximg_image8Const>);
static_assert(sizeof(ximg_image8Const) == 40);
static_assert(offsetof(ximg_image8Const, pels) == 0);
static_assert(offsetof(ximg_image8Const, x) == 8);
static_assert(offsetof(ximg_image8Const, y) == 12);
static_assert(offsetof(ximg_image8Const, width) == 16);
static_assert(offsetof(ximg_image8Const, height) == 20);
static_assert(offsetof(ximg_image8Const, rowUpdate) == 24);
static_assert(offsetof(ximg_image8Const, ref) == 32);

static_assert(std::is_standard_layout_v<xoc_char> && std::is_trivial_v<xoc_char>);
static_assert(sizeof(xoc_charPolarity) == 4);
static_assert(sizeof(xoc_char) == 432);
static_assert(offsetof(xoc_char, key) == 0);
static_assert(offsetof(xoc_char, polarity) == 16);
static_assert(offsetof(xoc_char, padding0_) == 20);
static_assert(offsetof(xoc_char, image) == 24);
static_assert(offsetof(xoc_char, mask) == 64);
static_assert(offsetof(xoc_char, normalizedImage) == 104);
static_assert(offsetof(xoc_char, binarizedImageCached) == 144);
static_assert(offsetof(xoc_char, padding1_) == 148);
static_assert(offsetof(xoc_char, binarizedImage) == 152);
static_assert(offsetof(xoc_char, hasThresholdAndInvert) == 192);
static_assert(offsetof(xoc_char, threshold) == 196);
static_assert(offsetof(xoc_char, invert) == 200);
static_assert(offsetof(xoc_char, imageArea) == 204);
static_assert(offsetof(xoc_char, padding2_) == 220);
static_assert(offsetof(xoc_char, metrics) == 224);
static_assert(offsetof(xoc_char, name32) == 400);
static_assert(offsetof(xoc_char, description32) == 408);
static_assert(offsetof(xoc_char, name) == 416);
static_assert(offsetof(xoc_char, description) == 424);
static_assert(sizeof(void*) == 8, "the record's pointer fields are 64-bit");

// ---- Construction and destruction -----------------------------------------------------------

xstd_status xoc_charKey_construct(xoc_charKey* self) {
    if (!self) return xstd_eBadArgument;
    *self = xoc_charKey{xoc_eUnknownCharacterCode, -1, -1, -1};
    return xstd_eSuccess;
}

xstd_status xoc_charMetrics_construct(xoc_charMetrics* self) {
    if (!self) return xstd_eBadArgument;
    *self = xoc_charMetrics{};
    self->fractionBits = xoc_eDefaultFractionBits;
    return xstd_eSuccess;
}

xstd_status xoc_charMetrics_makeBlank(xoc_charMetrics* self) {
    if (!self) return xstd_eBadArgument;
    self->markRect = xoc_rectD{};
    self->detectedMarkRect = xoc_rectD{};
    self->markRectImage = xoc_rect32Fixed{};
    self->detectedMarkRectImage = xoc_rect32Fixed{};
    self->specifiedRects |=
        xoc_eMarkRect | xoc_eMarkRectImage | xoc_eDetectedMarkRect | xoc_eDetectedMarkRectImage;
    return xstd_eSuccess;
}

xstd_status xoc_char_construct(xoc_char* self) {
    if (!self) return xstd_eBadArgument;
    *self = xoc_char{};
    xoc_charKey_construct(&self->key);
    self->polarity = xoc_ePolarityUnknown;
    ximg_imageConst_constructUnbound(&self->image);
    ximg_imageConst_constructUnbound(&self->mask);
    ximg_imageConst_constructUnbound(&self->normalizedImage);
    ximg_imageConst_constructUnbound(&self->binarizedImage);
    self->threshold = xoc_eDefaultThreshold;
    xoc_charMetrics_construct(&self->metrics);
    xoc_charMetrics_makeBlank(&self->metrics);
    return xstd_eSuccess;
}

void xoc_char_destruct(xoc_char* self) {
    if (!self) return;
    ximg_imageConst_destruct(&self->image);
    ximg_imageConst_destruct(&self->mask);
    ximg_imageConst_destruct(&self->normalizedImage);
    ximg_imageConst_destruct(&self->binarizedImage);
    xstd_string_free32(self->name32);
    xstd_string_free32(self->description32);
    xstd_string_freeW(self->name);
    xstd_string_freeW(self->description);
    self->name32 = nullptr;
    self->description32 = nullptr;
    self->name = nullptr;
    self->description = nullptr;
}
