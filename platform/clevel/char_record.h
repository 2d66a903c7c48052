// The plain C-level character record: xoc_charKey, xoc_charMetrics and xoc_char.
//
// The layout is binding: these records are exchanged with C-level code, so every offset and
// size below is fixed (all integers little-endian, offsets in bytes from the record's start)
// and checked at compile time in char_record.cpp.
//
// xoc_charKey (16 bytes): 0 character code (u32), 4 instance, 8 variant, 12 font ID (i32).
// An open key is (0xF800, -1, -1, -1): code unknown, the others not specified.
//
// xoc_charMetrics (176 bytes): 0 specified-rect flags (u32, bits of xoc_charRectType),
// 4 advance specified (i32, 0 or 1), 8 / 24 / 40 cell, mark and detected mark rectangles in
// image coordinates (xoc_rect32Fixed, fractionBits fraction bits), 56 fraction bits (u32),
// 60 padding, 64 / 96 / 128 cell, mark and detected mark rectangles in client coordinates
// (xoc_rectD), 160 advance x, 168 advance y (doubles).
//
// xoc_char (432 bytes): 0 key, 16 polarity (xoc_charPolarity, 32-bit), 20 padding,
// 24 image, 64 mask, 104 normalized image (ximg_image8Const, 40 bytes each),
// 144 binarized image cached (i32, 0 or 1), 148 padding, 152 binarized image,
// 192 has threshold and invert (i32, 0 or 1), 196 threshold (i32), 200 invert (i32, 0 or 1),
// 204 image area (xoc_rect32, image coordinates), 220 padding, 224 metrics,
// 400 name32, 408 description32 (zero-terminated u32 codes, or null),
// 416 name, 424 description (zero-terminated UTF-16, or null).
//
// Ownership: a character record owns its four strings and the references of its four image
// records. It is constructed by xoc_char_construct and destroyed by xoc_char_destruct, which
// frees the strings and releases the images. Strings are replaced with xstd_string_cloneW /
// xstd_string_clone32 on the field, images with ximg_imageConst_assign. A byte copy of a
// record duplicates these without counting them; records are not copied that way.
#pragma once

#include <cstdint>

#include "platform/clevel/fixed_rect.h"
#include "platform/clevel/image_record.h"
#include "platform/clevel/status.h"

// Polarity of a character's marks.
enum xoc_charPolarity : std::int32_t {
    xoc_eDarkOnLight = 1,  // dark marks on a light background
    xoc_eLightOnDark = 2,  // light marks on a dark background
    xoc_ePolarityUnknown = 4,
};

// The six rectangles of the metrics, as single bits of the specified-rect flags.
enum xoc_charRectType : std::uint32_t {
    xoc_eCellRect = 1,       // client coordinates, real
    xoc_eCellRectImage = 2,  // image coordinates, fixed point
    xoc_eMarkRect = 4,
    xoc_eMarkRectImage = 8,
    xoc_eDetectedMarkRect = 16,
    xoc_eDetectedMarkRectImage = 32,
    xoc_eAllRectTypes = 63,
};

// The open code of a key: the character code is not known.
constexpr std::uint32_t xoc_eUnknownCharacterCode = 0xF800;
// Fraction bits of fixed-point rectangles after construction.
constexpr std::uint32_t xoc_eDefaultFractionBits = 16;
// Threshold of a character record after construction.
constexpr std::int32_t xoc_eDefaultThreshold = 128;

struct xoc_charKey {
    std::uint32_t characterCode;
    std::int32_t instance;
    std::int32_t variant;
    std::int32_t fontID;
};

struct xoc_charMetrics {
    std::uint32_t specifiedRects;
    std::int32_t advanceSpecified;
    xoc_rect32Fixed cellRectImage;
    xoc_rect32Fixed markRectImage;
    xoc_rect32Fixed detectedMarkRectImage;
    std::uint32_t fractionBits;
    std::uint32_t padding0_;
    xoc_rectD cellRect;
    xoc_rectD markRect;
    xoc_rectD detectedMarkRect;
    double advanceX;
    double advanceY;
};

struct xoc_char {
    xoc_charKey key;
    xoc_charPolarity polarity;
    std::uint32_t padding0_;
    ximg_image8Const image;
    ximg_image8Const mask;
    ximg_image8Const normalizedImage;
    std::int32_t binarizedImageCached;
    std::uint32_t padding1_;
    ximg_image8Const binarizedImage;
    std::int32_t hasThresholdAndInvert;
    std::int32_t threshold;
    std::int32_t invert;
    xoc_rect32 imageArea;
    std::uint32_t padding2_;
    xoc_charMetrics metrics;
    std::uint32_t* name32;
    std::uint32_t* description32;
    char16_t* name;
    char16_t* description;
};

// Makes *self the open key (0xF800, -1, -1, -1). xstd_eBadArgument for null.
xstd_status xoc_charKey_construct(xoc_charKey* self);

// Makes *self reset metrics: no rectangle and no advance specified, every rectangle and the
// advance zero, 16 fraction bits. xstd_eBadArgument for null.
xstd_status xoc_charMetrics_construct(xoc_charMetrics* self);

// Makes the metrics blank: the mark and detected mark rectangles (client and image) become
// zero and are marked specified (flags 4, 8, 16, 32 added). Cell rectangles, advance and
// fraction bits are kept. xstd_eBadArgument for null.
xstd_status xoc_charMetrics_makeBlank(xoc_charMetrics* self);

// Constructs a character record in raw memory: open key, polarity unknown (4), four unbound
// images, no binarized image cached, no threshold and invert, threshold 128, invert 0, zero
// image area, blank metrics (constructed, then made blank) and four null strings.
// xstd_eBadArgument for null.
xstd_status xoc_char_construct(xoc_char* self);

// Destroys a constructed record: frees its strings and releases its images, leaving the
// strings null and the images unbound (the other fields are kept), so a second destruction
// is harmless. Null is accepted.
void xoc_char_destruct(xoc_char* self);

// A character record owned by C++ code: constructed on creation, destroyed on every exit.
class xc_OCCharRecord {
public:
    xc_OCCharRecord() { xoc_char_construct(&m_record); }
    xc_OCCharRecord(const xc_OCCharRecord&) = delete;
    xc_OCCharRecord& operator=(const xc_OCCharRecord&) = delete;
    ~xc_OCCharRecord() { xoc_char_destruct(&m_record); }

    xoc_char& record() { return m_record; }
    const xoc_char& record() const { return m_record; }
    xoc_char* get() { return &m_record; }
    const xoc_char* get() const { return &m_record; }

private:
    xoc_char m_record;
};
