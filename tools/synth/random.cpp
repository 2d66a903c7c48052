#include "tools/synth/random.h"

#include <cmath>
#include <numbers>

namespace {

// SplitMix64 finaliser: spreads seeds and stream numbers over the engine's seed space.
std::uint64_t mix(std::uint64_t z) {
    z += 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

}  // namespace

xcSynthRandom::xcSynthRandom(std::uint64_t seed, std::uint64_t stream)
    : m_engine(mix(seed ^ mix(stream + 0x632BE59BD9B4E019ull))) {}

long xcSynthRandom::index(long n) {
    if (n <= 0) return 0;
    const long i = static_cast<long>(uniform() * static_cast<double>(n));
    return i < n ? i : n - 1;  // a product rounded up to n
}

double xcSynthRandom::normal() {
    if (m_haveSpare) {
        m_haveSpare = false;
        return m_spare;
    }
    const double u1 = 1.0 - uniform();  // (0, 1]: the logarithm stays finite
    const double u2 = uniform();
    const double r = std::sqrt(-2.0 * std::log(u1));
    const double a = 2.0 * std::numbers::pi * u2;
    m_spare = r * std::sin(a);
    m_haveSpare = true;
    return r * std::cos(a);
}
