// Statuses of the C-level layer.
//
// Every C-level call returns an xstd_status: 0 for success, a negative value for a failure.
// A negative status reaching C++ code is handed to the core library's status handling
// (xfThrowExceptionOnFailure and the converters registered with it), which turns it into an
// exception. C-level calls never throw for a failure they report by status; only a broken
// precondition inside the layer (xstd_assert_) throws.
#pragma once

#include <cstdint>

// A C-level status: 0 success, negative failure (32-bit, two's complement).
using xstd_status = std::int32_t;

// Builds a status from its 32-bit pattern (0x8000.... patterns are negative).
constexpr xstd_status xstd_makeStatus_(std::uint32_t pattern) {
    return static_cast<xstd_status>(pattern);
}

// ---- Generic statuses ---------------------------------------------------------------------

// The call succeeded.
constexpr xstd_status xstd_eSuccess = 0;
// A pointer argument was null where a value is required, a size was negative, or a record
// was not in the state the call needs (for example an inconsistent image record).
constexpr xstd_status xstd_eBadArgument = xstd_makeStatus_(0x80000101u);
// Memory could not be allocated. Nothing was changed.
constexpr xstd_status xstd_eOutOfMemory = xstd_makeStatus_(0x80000102u);
// A character code has no encoding in the requested string form (a code above 0x10FFFF, or
// a surrogate code point, in a wide string that is encoded as UTF-16).
constexpr xstd_status xstd_eNotRepresentable = xstd_makeStatus_(0x80000103u);

// ---- Statuses of the character record layer ---------------------------------------------

// A threshold outside 0 to 256 inclusive.
constexpr xstd_status xoc_eThresholdRange = xstd_makeStatus_(0x800013ECu);
// An operation needs a threshold and invert setting and the record has none.
constexpr xstd_status xoc_eThresholdAndInvertNotSpecified = xstd_makeStatus_(0x800013EDu);
// An operation needs a rectangle whose specified flag is not set.
constexpr xstd_status xoc_eRectNotSpecified = xstd_makeStatus_(0x800013EFu);
// A real value times 2^fraction bits leaves the signed 32-bit range.
constexpr xstd_status xoc_eFixedPointOverflow = xstd_makeStatus_(0x800013F0u);
// A real value leaves the signed 32-bit integer range.
constexpr xstd_status xoc_eIntegerOverflow = xstd_makeStatus_(0x800013F1u);

// True for a failure status.
constexpr bool xstd_failed(xstd_status s) { return s < 0; }

// A short English description of a status, for messages ("Bad argument"). Unknown statuses
// give "Unknown status". Never null; the text is static.
const char* xstd_statusText(xstd_status s);
