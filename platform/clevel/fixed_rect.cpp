#include "platform/clevel/fixed_rect.h"

#include <algorithm>
#include <cmath>

namespace {

// Beyond this many fraction bits every nonzero double overflows one way and underflows the
// other, so larger counts behave exactly like this one (and stay within ldexp's int).
constexpr std::uint32_t kMaxExponent = 2200;

int exponent(std::uint32_t fractionBits) {
    return static_cast<int>(std::min(fractionBits, kMaxExponent));
}

// v * 2^e rounded to the nearest signed 32-bit integer; false when it does not fit.
bool toFixed(double v, int e, std::int32_t& out) {
    const double scaled = std::round(std::ldexp(v, e));
    // NaN fails both comparisons, so it is rejected as well.
    if (!(scaled >= -2147483648.0 && scaled <= 2147483647.0)) return false;
    out = static_cast<std::int32_t>(scaled);
    return true;
}

}  // namespace

xstd_status xoc_rect32FixedInitFromRectD_(xoc_rect32Fixed* self, const xoc_rectD* from,
                                          std::uint32_t fractionBits) {
    if (!self || !from) return xstd_eBadArgument;
    const int e = exponent(fractionBits);
    xoc_rect32Fixed r{};
    if (!toFixed(from->x, e, r.x) || !toFixed(from->y, e, r.y) ||
        !toFixed(from->width, e, r.width) || !toFixed(from->height, e, r.height))
        return xoc_eFixedPointOverflow;
    *self = r;
    return xstd_eSuccess;
}

xstd_status xoc_rectDInitFromRect32Fixed_(xoc_rectD* self, const xoc_rect32Fixed* from,
                                          std::uint32_t fractionBits) {
    if (!self || !from) return xstd_eBadArgument;
    const int e = -exponent(fractionBits);
    xoc_rectD r{};
    r.x = std::ldexp(static_cast<double>(from->x), e);
    r.y = std::ldexp(static_cast<double>(from->y), e);
    r.width = std::ldexp(static_cast<double>(from->width), e);
    r.height = std::ldexp(static_cast<double>(from->height), e);
    *self = r;
    return xstd_eSuccess;
}
