#include "tools/synth/effects.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tools/synth/random.h"
#include "tools/synth/tones.h"

TEST(SynthRandom, StreamsAreReproducibleAndDistinct) {
    xcSynthRandom a(42, 3), b(42, 3), c(42, 4), d(43, 3);
    bool differC = false, differD = false;
    for (int i = 0; i < 100; ++i) {
        const std::uint64_t va = a.next();
        EXPECT_EQ(va, b.next());
        differC = differC || va != c.next();
        differD = differD || va != d.next();
    }
    EXPECT_TRUE(differC);
    EXPECT_TRUE(differD);
    // Moments of the portable transforms.
    xcSynthRandom r(7);
    const int n = 200000;
    double su = 0, sn = 0, sn2 = 0;
    long hits[5] = {};
    for (int i = 0; i < n; ++i) {
        const double u = r.uniform();
        ASSERT_TRUE(u >= 0.0 && u < 1.0);
        su += u;
        const double z = r.normal();
        sn += z;
        sn2 += z * z;
        ++hits[r.index(5)];
    }
    EXPECT_NEAR(su / n, 0.5, 0.003);
    EXPECT_NEAR(sn / n, 0.0, 0.01);
    EXPECT_NEAR(std::sqrt(sn2 / n), 1.0, 0.01);
    for (long h : hits) EXPECT_NEAR(h, n / 5, n / 100);
    EXPECT_EQ(r.index(0), 0);
}

TEST(SynthEffects, BlurMatchesNaiveConvolutionWithRepeatedBorders) {
    const long w = 13, h = 9;
    xcSynthField f(w, h);
    xcSynthRandom r(5);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) f.row(y)[x] = r.uniform(0.0, 255.0);
    const xcSynthField src = f;
    const double sigma = 1.3;
    xfSynthBlur(f, sigma);
    const long rad = static_cast<long>(std::ceil(3.5 * sigma));
    double norm = 0.0;
    for (long i = -rad; i <= rad; ++i) norm += std::exp(-0.5 * i * i / (sigma * sigma));
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) {
            double s = 0.0;
            for (long j = -rad; j <= rad; ++j)
                for (long i = -rad; i <= rad; ++i)
                    s += std::exp(-0.5 * (i * i + j * j) / (sigma * sigma)) / (norm * norm) *
                         src.at(std::clamp(x + i, 0L, w - 1), std::clamp(y + j, 0L, h - 1));
            EXPECT_NEAR(f.at(x, y), s, 1e-9) << x << "," << y;
        }
    xcSynthField flat(7, 5, 77.0);
    xfSynthBlur(flat, 2.5);
    for (long y = 0; y < 5; ++y)
        for (long x = 0; x < 7; ++x) EXPECT_NEAR(flat.at(x, y), 77.0, 1e-9);
    EXPECT_THROW(xfSynthBlur(flat, -1.0), xcBadArgument);
}

TEST(SynthEffects, GainRampsAcrossTheImage) {
    xcSynthField f(40, 10, 200.0);
    xfSynthApplyGain(f, 0.25, 0.0);  // along +x
    for (long x = 0; x < 40; ++x) {
        const double expect = 200.0 * (1.0 + 0.25 * (x + 0.5 - 20.0) / 20.0);
        EXPECT_NEAR(f.at(x, 3), expect, 1e-9);
        EXPECT_NEAR(f.at(x, 9), expect, 1e-9);
    }
    xcSynthField g(10, 30, 100.0);
    xfSynthApplyGain(g, 0.5, 90.0);  // along +y: darker at the top
    EXPECT_NEAR(g.at(4, 0), 100.0 * (1.0 - 0.5 * 14.5 / 15.0), 1e-9);
    EXPECT_THROW(xfSynthApplyGain(g, 1.0, 0.0), xcBadArgument);
}

TEST(SynthEffects, NoiseAndSaltPepperStatistics) {
    xcSynthField f(300, 200, 128.0);
    xcSynthRandom r(11);
    xfSynthAddNoise(f, 9.0, r);
    xcSynthField s(300, 200, 128.0);
    xfSynthSaltPepper(s, 0.1, r);
    double sum = 0, sum2 = 0;
    long salt = 0, pepper = 0;
    for (long y = 0; y < 200; ++y)
        for (long x = 0; x < 300; ++x) {
            const double d = f.at(x, y) - 128.0;
            sum += d;
            sum2 += d * d;
            salt += s.at(x, y) == 255.0;
            pepper += s.at(x, y) == 0.0;
        }
    const double n = 60000.0;
    EXPECT_NEAR(sum / n, 0.0, 0.15);
    EXPECT_NEAR(std::sqrt(sum2 / n), 9.0, 0.15);
    EXPECT_NEAR((salt + pepper) / n, 0.1, 0.005);
    EXPECT_NEAR(salt / n, 0.05, 0.004);
    const auto pels = xfSynthToPels(f);
    EXPECT_EQ(pels.window(), xcPelRect(0, 0, 300, 200));
    EXPECT_EQ(pels.get(17, 33), xfSynthQuantize(f.at(17, 33)));
    EXPECT_EQ(xfSynthQuantize(-3.0), 0);
    EXPECT_EQ(xfSynthQuantize(254.5), 255);
    EXPECT_EQ(xfSynthQuantize(12.49), 12);
    EXPECT_EQ(xfSynthQuantize(std::nan("")), 0);
}
