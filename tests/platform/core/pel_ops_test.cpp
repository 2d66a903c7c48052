#include "platform/core/pel_ops.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using Buf = xcPelBuffer<unsigned char>;

// A root covering `extent`, filled with seeded noise, viewed through `window`.
Buf noise(const xcPelRect& extent, const xcPelRect& window, unsigned seed, int levels = 256) {
    Buf b(extent);
    std::mt19937 rng(seed);
    for (long y = extent.y(); y < extent.y() + extent.height(); ++y)
        for (long x = extent.x(); x < extent.x() + extent.width(); ++x)
            b.set(x, y, static_cast<unsigned char>(rng() % static_cast<unsigned>(levels)));
    b.window(window);
    return b;
}

// Every pixel of b's root, for checking what lies outside a window.
std::vector<unsigned char> rootPixels(Buf b) {
    b.setEntire();
    std::vector<unsigned char> v;
    for (long y = b.offset().y; y < b.offset().y + b.height(); ++y)
        for (long x = b.offset().x; x < b.offset().x + b.width(); ++x) v.push_back(b.get(x, y));
    return v;
}

}  // namespace

TEST(PelOps, CopyOverlapAtImageCoordinates) {
    const Buf src = noise(xcPelRect(-3, 2, 37, 23), xcPelRect(-1, 3, 31, 19), 1);
    const Buf dst = noise(xcPelRect(5, -4, 41, 29), xcPelRect(6, 0, 33, 21), 2);
    const Buf before = xfPelCopy(dst);
    Buf dstRoot = dst;
    dstRoot.setEntire();
    const std::vector<unsigned char> rootBefore = rootPixels(dst);

    const xcPelRect r = xfPelCopy(src, dst);
    EXPECT_EQ(r, xcPelRect(6, 3, 24, 18));
    std::size_t i = 0;
    for (long y = -4; y < 25; ++y)
        for (long x = 5; x < 46; ++x, ++i) {
            const unsigned char expect = r.contains(x, y) ? src.get(x, y) : rootBefore[i];
            ASSERT_EQ(dstRoot.get(x, y), expect) << x << "," << y;
        }

    // Disjoint windows copy nothing.
    Buf far = noise(xcPelRect(100, 100, 5, 5), xcPelRect(100, 100, 5, 5), 3);
    const std::vector<unsigned char> farBefore = rootPixels(far);
    EXPECT_TRUE(xfPelCopy(src, far).isNull());
    EXPECT_EQ(rootPixels(far), farBefore);
    EXPECT_THROW(xfPelCopy(Buf(), far), xcPel::UnboundWindow);
    EXPECT_EQ(rootPixels(far), farBefore);
}

TEST(PelOps, CopyToNewBufferKeepsWindowAndTransform) {
    Buf src = noise(xcPelRect(0, 0, 19, 13), xcPelRect(3, 2, 11, 7), 4);
    const xcXform<2> x(xcVector<2>(2.5, -1.0), 1.5, 1.0, 0.0, xcRadian(0.3));
    src.clientFromImageXform(x);
    Buf copy = xfPelCopy(src);
    EXPECT_EQ(copy.window(), src.window());
    EXPECT_EQ(copy.rootWindow(), src.window());
    EXPECT_EQ(copy.clientFromImageXform(), x);
    EXPECT_FALSE(copy.sharesRoot(src));
    EXPECT_TRUE(xfPelEqual(copy, src));
    copy.set(3, 2, static_cast<unsigned char>(src.get(3, 2) ^ 0xFF));
    EXPECT_FALSE(xfPelEqual(copy, src));  // own pixels

    Buf unbound;
    unbound.clientFromImageXform(x);
    Buf u = xfPelCopy(unbound);
    EXPECT_FALSE(u.isBound());
    EXPECT_EQ(u.clientFromImageXform(), x);
}

TEST(PelOps, SetFillsOnlyTheWindow) {
    Buf b = noise(xcPelRect(-2, -2, 23, 9), xcPelRect(1, -1, 17, 5), 5);
    const std::vector<unsigned char> before = rootPixels(b);
    xfPelSet(b, 0xA5);
    const std::vector<unsigned char> after = rootPixels(b);
    std::size_t i = 0;
    for (long y = -2; y < 7; ++y)
        for (long x = -2; x < 21; ++x, ++i)
            ASSERT_EQ(after[i], b.window().contains(x, y) ? 0xA5 : before[i]);

    xcPelBuffer<short> s(xcPelRect(0, 0, 7, 3));
    s.window(xcPelRect(1, 1, 5, 1));
    xfPelSet(s, static_cast<short>(-300));
    EXPECT_EQ(s.get(1, 1), -300);
    EXPECT_EQ(s.get(5, 1), -300);
    s.setEntire();
    EXPECT_EQ(s.get(0, 1), 0);
    EXPECT_EQ(s.get(6, 1), 0);
}

TEST(PelOps, MapMatchesTableLookup) {
    xcPelMapTable t;
    for (int v = 0; v < 256; ++v) t[v] = static_cast<unsigned char>((v * 7 + 3) % 256);
    const Buf src = noise(xcPelRect(0, 0, 29, 11), xcPelRect(2, 1, 23, 9), 6);
    Buf out(src.window());
    EXPECT_EQ(xfPelMap(src, out, t), src.window());
    for (long y = 1; y < 10; ++y)
        for (long x = 2; x < 25; ++x) ASSERT_EQ(out.get(x, y), t[src.get(x, y)]);

    // src -> dst over the overlap only.
    Buf dst(xcPelRect(20, 5, 10, 10));
    const xcPelRect r = xfPelMap(src, dst, t);
    EXPECT_EQ(r, xcPelRect(20, 5, 5, 5));
    EXPECT_EQ(dst.get(24, 9), t[src.get(24, 9)]);
    EXPECT_EQ(dst.get(25, 9), 0);

    // In place, on a window of a shared root.
    Buf whole = xfPelCopy(src);
    Buf part = whole;
    part.window(xcPelRect(5, 3, 3, 2));
    xfPelMap(part, t);
    for (long y = 1; y < 10; ++y)
        for (long x = 2; x < 25; ++x)
            ASSERT_EQ(whole.get(x, y),
                      part.window().contains(x, y) ? t[src.get(x, y)] : src.get(x, y));
}

TEST(PelOps, PixelwiseMinMaxOverCommonWindow) {
    const Buf a = noise(xcPelRect(0, 0, 31, 17), xcPelRect(1, 1, 29, 15), 7);
    const Buf b = noise(xcPelRect(-5, 3, 33, 19), xcPelRect(-5, 3, 33, 19), 8);
    Buf lo(xcPelRect(0, 0, 40, 40)), hi(xcPelRect(0, 0, 40, 40));
    const xcPelRect r = xfPelMin(a, b, lo);
    EXPECT_EQ(r, xcPelRect(1, 3, 27, 13));
    EXPECT_EQ(xfPelMax(a, b, hi), r);
    for (long y = 0; y < 40; ++y)
        for (long x = 0; x < 40; ++x) {
            if (r.contains(x, y)) {
                ASSERT_EQ(lo.get(x, y), std::min(a.get(x, y), b.get(x, y)));
                ASSERT_EQ(hi.get(x, y), std::max(a.get(x, y), b.get(x, y)));
            } else {
                ASSERT_EQ(lo.get(x, y), 0);
                ASSERT_EQ(hi.get(x, y), 0);
            }
        }
    // Into one of the operands.
    Buf a2 = xfPelCopy(a);
    xfPelMax(a2, b, a2);
    EXPECT_EQ(a2.get(2, 4), std::max(a.get(2, 4), b.get(2, 4)));
    EXPECT_EQ(a2.get(2, 2), a.get(2, 2));  // outside b
}

TEST(PelOps, SmallestAndLargestValue) {
    for (long w : {1L, 15L, 16L, 17L, 47L}) {
        SCOPED_TRACE(testing::Message() << "w " << w);
        Buf b = noise(xcPelRect(0, 0, w + 4, 9), xcPelRect(2, 1, w, 7),
                      9 + static_cast<unsigned>(w), 200);
        unsigned char lo = 255, hi = 0;
        for (long y = 1; y < 8; ++y)
            for (long x = 2; x < w + 2; ++x) {
                lo = std::min(lo, b.get(x, y));
                hi = std::max(hi, b.get(x, y));
            }
        // Extremes planted outside the window must not count.
        Buf root = b;
        root.setEntire();
        root.set(0, 0, 0);
        root.set(w + 3, 8, 255);
        EXPECT_EQ(xfPelMin(b), lo) << w;
        EXPECT_EQ(xfPelMax(b), hi) << w;
    }
    Buf b(5, 3);
    xfPelSet(b, 77);
    b.set(4, 2, 12);
    EXPECT_EQ(xfPelMin(b), 12);
    EXPECT_EQ(xfPelMax(b), 77);
    b.window(xcPelRect(0, 0, 0, 3));
    EXPECT_THROW(xfPelMin(b), xcBadArgument);
}

TEST(PelOps, HistogramCountsTheWindow) {
    const Buf b = noise(xcPelRect(-4, -4, 37, 21), xcPelRect(-3, -2, 33, 15), 10);
    std::vector<long> expect(256, 0);
    for (long y = -2; y < 13; ++y)
        for (long x = -3; x < 30; ++x) ++expect[b.get(x, y)];
    EXPECT_EQ(xfPelHistogram(b), expect);

    Buf mask(xcPelRect(0, 0, 40, 40));
    for (long y = 0; y < 40; ++y)
        for (long x = 0; x < 40; ++x)
            mask.set(x, y, static_cast<unsigned char>((x * 37 + y * 11) % 256));
    std::vector<long> masked(256, 0);
    for (long y = 0; y < 13; ++y)
        for (long x = 0; x < 30; ++x)
            if (mask.get(x, y) >= 128) ++masked[b.get(x, y)];
    EXPECT_EQ(xfPelHistogram(b, mask), masked);

    Buf empty(0, 0);
    EXPECT_EQ(xfPelHistogram(empty), std::vector<long>(256, 0));
}

TEST(PelOps, EqualityComparesWindowContent) {
    const Buf a = noise(xcPelRect(0, 0, 13, 9), xcPelRect(1, 1, 7, 5), 11);
    Buf b(xcPelRect(30, 40, 7, 5));
    xfPelSet(b, 0);
    EXPECT_FALSE(xfPelEqual(a, b));
    // Same pixels at another offset: equal.
    for (long y = 0; y < 5; ++y)
        for (long x = 0; x < 7; ++x) b.set(30 + x, 40 + y, a.get(1 + x, 1 + y));
    EXPECT_TRUE(xfPelEqual(a, b));
    b.set(36, 44, static_cast<unsigned char>(a.get(7, 5) + 1));
    EXPECT_FALSE(xfPelEqual(a, b));
    Buf c = xfPelCopy(a);
    c.window(xcPelRect(1, 1, 7, 4));
    EXPECT_FALSE(xfPelEqual(a, c));
    EXPECT_TRUE(xfPelEqual(Buf(), Buf()));
    EXPECT_FALSE(xfPelEqual(a, Buf()));
}
