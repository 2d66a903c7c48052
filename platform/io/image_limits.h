// The bounds of what the image readers accept, checked before any pixel memory is taken.
#pragma once

#include <cstdint>

struct xcImageLimits {
    // The most pixels an image read may have (8192 x 8192, or any other shape of that area).
    // A file whose header claims more is refused from its header alone.
    static constexpr long kMaxPixels = 1L << 26;
    // The largest image file read (1 GiB): more than the largest image within kMaxPixels
    // needs in either format (16-bit RGBA PNG stored without compression, 16-bit PGM).
    static constexpr std::uint64_t kMaxFileBytes = std::uint64_t{1} << 30;
};
