// Rectangle records of the C-level layer and the fixed-point conversion.
//
// A fixed-point rectangle holds x, y, width and height as signed 32-bit numbers, each the real
// value times 2^fractionBits. The character metrics keep their image-coordinate rectangles
// that way (with 16 fraction bits by default: 12.5 is held as 819200). Conversion to fixed
// point rounds to the nearest integer, halves away from zero; a value whose rounded image
// leaves -2^31 .. 2^31-1 (or that is not finite) is reported as xoc_eFixedPointOverflow.
// Conversion back is exact whenever the result is a normal double (always, for fraction bits
// up to 1000).
#pragma once

#include <cstdint>

#include "platform/clevel/status.h"

// A fixed-point rectangle: upper-left (x, y) and size, each times 2^fraction bits. 16 bytes.
struct xoc_rect32Fixed {
    std::int32_t x;
    std::int32_t y;
    std::int32_t width;
    std::int32_t height;
};

// A real rectangle: upper-left (x, y) and size. 32 bytes.
struct xoc_rectD {
    double x;
    double y;
    double width;
    double height;
};

// An integer rectangle of pixels (image coordinates): upper-left (x, y) and size. 16 bytes.
struct xoc_rect32 {
    std::int32_t x;
    std::int32_t y;
    std::int32_t width;
    std::int32_t height;
};

static_assert(sizeof(xoc_rect32Fixed) == 16 && sizeof(xoc_rectD) == 32 && sizeof(xoc_rect32) == 16);

// *self = from scaled by 2^fractionBits, each of the four numbers rounded to the nearest
// integer (halves away from zero). Returns xstd_eBadArgument for a null pointer and
// xoc_eFixedPointOverflow when any number is not representable; *self is then unchanged.
xstd_status xoc_rect32FixedInitFromRectD_(xoc_rect32Fixed* self, const xoc_rectD* from,
                                          std::uint32_t fractionBits);

// *self = from scaled by 2^-fractionBits. Returns xstd_eBadArgument for a null pointer
// (*self unchanged); every fixed-point value is representable as a real.
xstd_status xoc_rectDInitFromRect32Fixed_(xoc_rectD* self, const xoc_rect32Fixed* from,
                                          std::uint32_t fractionBits);
