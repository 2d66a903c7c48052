// Directions quantised to 256 steps per full turn.
//
// xcAngle8 holds a direction as an unsigned 8-bit count of 1/256 turns (1.40625 degrees). In
// image coordinates, 0 points along +x and the count grows towards +y (so 64 is +y, "down" on
// the screen). Arithmetic wraps modulo 256, so the difference of two directions is itself a
// direction. xfAngle8FromGradient quantises a gradient vector without atan2: it reduces the
// vector to the first octant and finds the step by a binary search over 32 precomputed
// tangent thresholds, so the result is the nearest of the 256 steps.
#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>

#include "platform/core/angle.h"

class xcAngle8 {
public:
    constexpr xcAngle8() = default;
    constexpr explicit xcAngle8(unsigned char steps) : m_v(steps) {}
    // The nearest step to an angle in radians (any value; wraps).
    static xcAngle8 fromRadian(xcRadian a) {
        const double steps = std::nearbyint(a.toDouble() * (128.0 / std::numbers::pi));
        const long s = static_cast<long>(std::fmod(steps, 256.0));
        return xcAngle8(static_cast<unsigned char>((s % 256 + 256) % 256));
    }

    // The count of 1/256 turns, 0 .. 255.
    constexpr unsigned char plainValue() const { return m_v; }
    // The direction in radians, in [0, 2 pi).
    constexpr xcRadian toRadian() const { return xcRadian(m_v * (std::numbers::pi / 128.0)); }

    constexpr xcAngle8 operator+(xcAngle8 o) const {
        return xcAngle8(static_cast<unsigned char>(m_v + o.m_v));
    }
    constexpr xcAngle8 operator-(xcAngle8 o) const {
        return xcAngle8(static_cast<unsigned char>(m_v - o.m_v));
    }
    constexpr bool operator==(const xcAngle8&) const = default;

private:
    unsigned char m_v = 0;
};

namespace xc_Angle8Detail {
// kTan[j] = tan((j + 0.5) * pi / 128) * 2^16, the boundaries between steps j and j + 1 of
// the first octant (j = 0 .. 31).
struct Thresholds {
    std::int64_t v[32];
};
const Thresholds& thresholds();
}  // namespace xc_Angle8Detail

// The step of atan2(gy, gx) (image coordinates: +x is 0, +y is 64), rounded to the nearest
// step. (0, 0) gives 0. Integer inputs of magnitude below 2^40.
inline xcAngle8 xfAngle8FromGradient(std::int64_t gx, std::int64_t gy) {
    const std::int64_t ax = gx < 0 ? -gx : gx;
    const std::int64_t ay = gy < 0 ? -gy : gy;
    const std::int64_t* t = xc_Angle8Detail::thresholds().v;
    // Steps within the octant: the number of thresholds that lo / hi exceeds.
    const bool steep = ay > ax;
    const std::int64_t lo = (steep ? ax : ay) << 16;
    const std::int64_t hi = steep ? ay : ax;
    int k = 0;  // count of j with lo > t[j] * hi (the thresholds increase)
    for (int step = 16; step > 0; step >>= 1)
        if (lo > t[k + step - 1] * hi) k += step;
    if (k == 31 && lo > t[31] * hi) k = 32;  // the search above counts thresholds 0 .. 30
    int a = steep ? 64 - k : k;  // angle of (ax, ay) in steps, 0 .. 64
    if (gx < 0) a = 128 - a;
    if (gy < 0) a = 256 - a;
    return xcAngle8(static_cast<unsigned char>(a & 255));
}
