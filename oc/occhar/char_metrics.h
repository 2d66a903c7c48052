// xcOCCharMetrics: the geometry of one font character - its cell rectangle, its mark rectangle
// (the inked part), a detected mark rectangle, and its pen advance.
//
// Each rectangle exists twice: in client coordinates as a real xcRect, and in image
// coordinates as a 32-bit fixed-point rectangle (x, y, width, height, each the real value
// times 2^fractionBits, 16 fraction bits by default), held in an xcPelRect. The fixed-point
// conversions are the C-level layer's (xoc_rect32FixedInitFromRectD_ /
// xoc_rectDInitFromRect32Fixed_, rounding to nearest); their failing statuses become module
// errors through xfThrowExceptionOnFailure and the module's converter (an unrepresentable
// value: xcOCDefs::IntegerOverflow "Value overflows fixed point value range").
//
// Every rectangle and the advance carry a "specified" flag. A value and its flag are set
// independently: storing a rectangle or the advance does not mark it specified, and clearing a
// flag keeps the value. Reading an unspecified rectangle throws xcOCDefs::RectNotSpecified,
// an unspecified advance xcOCDefs::MetricNotSpecified (both with an empty message).
//
// Errors common to every operation taking a RectType: a value other than 1, 2, 4, 8, 16, 32
// throws xcOCDefs::BadParams "Illegal metrics rect type". A setter that throws leaves the
// metrics unchanged.
#pragma once

#include <cstdint>

#include "platform/clevel/char_record.h"
#include "platform/core/archive.h"
#include "platform/core/pel_buffer.h"
#include "platform/core/pel_rect.h"
#include "platform/core/rect.h"
#include "platform/core/vector.h"
#include "platform/core/xform.h"

class xcOCCharMetrics : public xcPersistent {
public:
    // The six rectangles; the same bits flag which are specified. The underlying type is
    // fixed, so any int converted to a RectType is a value the checks can reject.
    enum RectType : int {
        eCellRect = 1,               // client coordinates, real
        eCellRectImage = 2,          // image coordinates, fixed point
        eMarkRect = 4,               // client
        eMarkRectImage = 8,          // image
        eDetectedMarkRect = 16,      // client
        eDetectedMarkRectImage = 32  // image
    };
    // All six bits.
    static constexpr std::uint32_t kAllRectTypes = 63;
    // Fraction bits after reset.
    static constexpr std::int32_t kDefaultFractionBits = 16;

    // Reset metrics: nothing specified, every rectangle and the advance zero, 16 fraction bits.
    xcOCCharMetrics() { reset(); }
    xcOCCharMetrics(const xcOCCharMetrics&) = default;
    xcOCCharMetrics& operator=(const xcOCCharMetrics&) = default;
    ~xcOCCharMetrics() override = default;

    void reset();

    // Whether the rectangle of `type` is specified / sets or clears its flag (value kept).
    bool isRectSpecified(RectType type) const;
    void isRectSpecified(RectType type, bool specified);
    // The specified-rect flags (bits of RectType).
    std::uint32_t specifiedRects() const { return m_specifiedRects; }

    // The rectangle of `type` as an xcRect, in the type's coordinates (image types converted
    // from fixed point). Throws xcOCDefs::RectNotSpecified when its flag is clear.
    xcRect rect(RectType type) const;
    // Stores a rectangle (an image type converts it to fixed point with the current fraction
    // bits; xcOCDefs::IntegerOverflow when a value does not fit). The flags are not touched.
    void rect(RectType type, const xcRect& r);
    void rect(RectType type, const xcPelRect& r) { rect(type, xcRect(r)); }

    xcRect cellRect() const { return rect(eCellRect); }
    void cellRect(const xcRect& r) { rect(eCellRect, r); }
    xcRect markRect() const { return rect(eMarkRect); }
    void markRect(const xcRect& r) { rect(eMarkRect, r); }
    xcRect detectedMarkRect() const { return rect(eDetectedMarkRect); }
    void detectedMarkRect(const xcRect& r) { rect(eDetectedMarkRect, r); }
    bool isMarkRectSpecified() const { return isRectSpecified(eMarkRect); }
    void isMarkRectSpecified(bool b) { isRectSpecified(eMarkRect, b); }
    bool hasDetectedMarkRect() const { return isRectSpecified(eDetectedMarkRect); }
    void hasDetectedMarkRect(bool b) { isRectSpecified(eDetectedMarkRect, b); }

    // The integer rectangle enclosing rect(type) (floor of the upper-left, ceiling of the
    // lower-right corner), in the type's coordinates. Throws xcOCDefs::IntegerOverflow "Value
    // overflows integer value range" when a corner leaves the signed 32-bit range.
    xcPelRect encloseRect(RectType type) const;
    // The image-coordinate pixel rectangle of a rectangle: an image type gives encloseRect; a
    // client type is mapped by imageFromClient and boxed (range-checked as encloseRect).
    xcPelRect encloseRectImage(RectType type, const xcXform<2>& imageFromClient) const;
    // The same with the buffer's image-from-client transform, which must be linear
    // (xcOCDefs::BadParams "image must have a linear imageFromClient transform").
    xcPelRect encloseRectImage(RectType type, const xc_PelBuffer& image) const;

    // The pen advance, client coordinates. The getter throws xcOCDefs::MetricNotSpecified
    // when the advance is not specified; the setter does not mark it specified.
    xcVector<2> advance() const;
    void advance(const xcVector<2>& v) { m_advance = v; }
    bool isAdvanceSpecified() const { return m_advanceSpecified; }
    void isAdvanceSpecified(bool b) { m_advanceSpecified = b; }

    // The fraction bits of the fixed-point rectangles (set through setMetrics).
    long fractionBits() const { return m_fractionBits; }

    // Blankness, decided by the mark rectangle: not blank when neither the mark rect nor the
    // mark rect image is specified; otherwise whether the specified one is empty (the client
    // rect degen(), the image rect with width or height <= 0). Both specified and disagreeing
    // throws xcOCDefs::MetricNotSpecified.
    bool isBlank() const;
    // Zeroes the mark and detected mark rectangles (client and image) and marks the four
    // specified; the cell rectangles, the advance and the fraction bits are kept.
    void makeBlank();
    // Reset metrics made blank.
    static xcOCCharMetrics blankMetrics();

    // For each pair (cell, mark, detected mark): when the client rectangle is specified, the
    // image rectangle becomes encloseRectImage(client type, imageFromClient) and is specified;
    // otherwise the image rectangle's flag is cleared (value kept).
    void setImageRectsFromClientRects(const xcXform<2>& imageFromClient);
    // The same with the buffer's image-from-client transform, which must be linear
    // (xcOCDefs::BadParams "image must have a linear imageFromClient transform").
    void setImageRectsFromClientRects(const xc_PelBuffer& image);

    // Every field equal (rectangles exactly).
    bool operator==(const xcOCCharMetrics& o) const;
    bool operator!=(const xcOCCharMetrics& o) const { return !(*this == o); }

    // Copy from and to the C-level metrics record, field by field: only the six known flag
    // bits are kept, the fixed-point rectangles are copied unconverted.
    void setMetrics(const xoc_charMetrics& record);
    void getMetrics(xoc_charMetrics& record) const;

protected:
    // Archive form: u8 version 1, u32 specified rects, bool advance specified, the cell, mark
    // and detected mark image rectangles (i32 x, y, width, height), i32 fraction bits, the
    // three client rectangles (each an xcRect object), the advance (xcVector<2>). Any other
    // version throws xcArchive::UnknownVersion; the metrics are then left partly read.
    void dispatchSerialize(xcArchive& ar) override;
    void serialize_(xcArchive& ar, std::uint8_t version);

private:
    // Resolves a type to its stored rectangle: *client for a client type, *image (fixed
    // point) for an image type; the other pointer is set to null. Any other type throws
    // xcOCDefs::BadParams "Illegal metrics rect type".
    void getRect_(RectType type, xcRect** client, xcPelRect** image);
    void getRect_(RectType type, const xcRect** client, const xcPelRect** image) const;

    static xcPersistent* make();
    static const xc_Instantiator sExemplar;

    std::uint32_t m_specifiedRects = 0;
    bool m_advanceSpecified = false;
    xcPelRect m_cellRectImage;
    xcPelRect m_markRectImage;
    xcPelRect m_detectedMarkRectImage;
    std::int32_t m_fractionBits = kDefaultFractionBits;
    xcRect m_cellRect;
    xcRect m_markRect;
    xcRect m_detectedMarkRect;
    xcVector<2> m_advance{0.0, 0.0};
};

// Metrics is archived in both directions by the archive's operator|| of persistent objects
// (see dispatchSerialize for the form).
