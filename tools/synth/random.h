// Reproducible random numbers for synthetic scenes.
//
// A generator is a std::mt19937_64 (whose output sequence the C++ standard fixes) with its own
// uniform and normal transforms, so that a seed gives the same numbers, bit for bit, with every
// standard library (std::uniform_real_distribution and std::normal_distribution are not fixed
// by the standard). Independent streams of one seed serve independent purposes (layout jitter,
// damage, noise, ...), so that turning one effect on does not change the others.
#pragma once

#include <cstdint>
#include <random>

class xcSynthRandom {
public:
    // The generator of stream `stream` of `seed`.
    explicit xcSynthRandom(std::uint64_t seed, std::uint64_t stream = 0);

    // The next raw 64-bit value.
    std::uint64_t next() { return m_engine(); }
    // Uniform in [0, 1), 53 random bits.
    double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
    // Uniform in [a, b).
    double uniform(double a, double b) { return a + (b - a) * uniform(); }
    // Uniform integer in [0, n); 0 when n <= 0.
    long index(long n);
    // Standard normal (mean 0, standard deviation 1), by the Box-Muller transform; values come
    // in pairs, the second of a pair is kept for the next call.
    double normal();
    // True with probability p.
    bool chance(double p) { return uniform() < p; }

private:
    std::mt19937_64 m_engine;
    double m_spare = 0.0;
    bool m_haveSpare = false;
};
