#include "oc/imageutil/background_pad.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "oc/imageutil/care_region.h"
#include "platform/core/exception.h"
#include "platform/core/pel_ops.h"

namespace {

xcPelBuffer<unsigned char> noise(long w, long h, unsigned seed) {
    xcPelBuffer<unsigned char> b(w, h);
    unsigned s = seed;
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) {
            s = s * 1103515245u + 12345u;
            b.set(x, y, static_cast<unsigned char>((s >> 16) & 0xFF));
        }
    return b;
}

// The median of v[max(i-h,0) .. min(i+h,n-1)], upper median for even lengths.
unsigned char naiveMedian(const std::vector<unsigned char>& v, long i, long h) {
    const long n = static_cast<long>(v.size());
    std::vector<unsigned char> w(v.begin() + std::max(i - h, 0L),
                                 v.begin() + std::min(i + h, n - 1) + 1);
    std::sort(w.begin(), w.end());
    return w[w.size() / 2];
}

}  // namespace

TEST(RunningMedian, MatchesASortedWindowAndSkipsShortLines) {
    for (long n : {4L, 5L, 10L, 17L, 64L}) {
        std::vector<unsigned char> line(static_cast<std::size_t>(n));
        for (long i = 0; i < n; ++i) line[static_cast<std::size_t>(i)] = static_cast<unsigned char>((i * 97 + 31) % 256);
        std::vector<unsigned char> filtered = line;
        xf_OCRunningMedian(filtered.data(), n);
        for (long i = 0; i < n; ++i)
            EXPECT_EQ(filtered[static_cast<std::size_t>(i)], naiveMedian(line, i, n / 4)) << n << ":" << i;
    }
    std::vector<unsigned char> shortLine = {9, 1, 5};
    xf_OCRunningMedian(shortLine.data(), 3);
    EXPECT_EQ(shortLine, (std::vector<unsigned char>{9, 1, 5}));
}

TEST(BackgroundPad, FillsBandsFromTheFilteredBorderAndKeepsTheInside) {
    xcPelBuffer<unsigned char> img = noise(10, 12, 7);
    xcPelBuffer<unsigned char> before = xfPelCopy(img);
    const xcPelRect r(2, 3, 6, 7);  // 2 columns left and right, 3 rows above, 2 below
    xf_OCBackgroundPadImage(img, r);
    // Inside R nothing changes.
    for (long y = r.y(); y < r.y() + r.height(); ++y)
        for (long x = r.x(); x < r.x() + r.width(); ++x) EXPECT_EQ(img.get(x, y), before.get(x, y));
    // Left and right bands: the running median (h = 7 / 4 = 1) of R's first / last column.
    std::vector<unsigned char> first, last;
    for (long y = 3; y < 10; ++y) {
        first.push_back(before.get(2, y));
        last.push_back(before.get(7, y));
    }
    for (long y = 3; y < 10; ++y) {
        EXPECT_EQ(img.get(0, y), naiveMedian(first, y - 3, 1));
        EXPECT_EQ(img.get(1, y), naiveMedian(first, y - 3, 1));
        EXPECT_EQ(img.get(9, y), naiveMedian(last, y - 3, 1));
    }
    // Top band: R's top row extended with its end values, filtered with h = 10 / 4 = 2, and
    // copied into every row above.
    std::vector<unsigned char> top(10);
    for (long x = 0; x < 10; ++x) top[static_cast<std::size_t>(x)] = before.get(std::clamp(x, 2L, 7L), 3);
    for (long x = 0; x < 10; ++x)
        for (long y = 0; y < 3; ++y) EXPECT_EQ(img.get(x, y), naiveMedian(top, x, 2));
    // Bottom band from R's bottom row.
    std::vector<unsigned char> bottom(10);
    for (long x = 0; x < 10; ++x) bottom[static_cast<std::size_t>(x)] = before.get(std::clamp(x, 2L, 7L), 9);
    for (long x = 0; x < 10; ++x) EXPECT_EQ(img.get(x, 11), naiveMedian(bottom, x, 2));
}

TEST(BackgroundPad, EdgeCases) {
    // R equal to the window changes nothing.
    xcPelBuffer<unsigned char> img = noise(8, 8, 3);
    xcPelBuffer<unsigned char> before = xfPelCopy(img);
    xf_OCBackgroundPadImage(img, img.window());
    EXPECT_TRUE(xfPelEqual(img, before));

    // A 3-row care rectangle pads its side bands with the unfiltered border values.
    xcPelBuffer<unsigned char> small = noise(8, 3, 5);
    xcPelBuffer<unsigned char> smallBefore = xfPelCopy(small);
    xf_OCBackgroundPadImage(small, xcPelRect(2, 0, 4, 3));
    for (long y = 0; y < 3; ++y) {
        EXPECT_EQ(small.get(0, y), smallBefore.get(2, y));
        EXPECT_EQ(small.get(7, y), smallBefore.get(5, y));
    }

    // The const overload pads a private copy: another handle keeps the old pixels.
    xcPelBuffer<unsigned char> shared = noise(8, 8, 9);
    xcPelBuffer<unsigned char> snapshot = xfPelCopy(shared);
    xcPelBuffer_const<unsigned char> handle = shared;
    xf_OCBackgroundPadImage(handle, xcPelRect(3, 3, 2, 2));
    EXPECT_TRUE(xfPelEqual(shared, snapshot));
    EXPECT_FALSE(handle.sharesRoot(shared));

    // A care rectangle outside the window is a broken precondition.
    xcPelBuffer<unsigned char> img2 = noise(4, 4, 1);
    EXPECT_THROW(xf_OCBackgroundPadImage(img2, xcPelRect(2, 2, 4, 4)), xcAssertionFailure);
}

TEST(CareRegion, ExactRectanglesHolesAndEmptyMasks) {
    xcPelBuffer<unsigned char> m(12, 10);
    xcPelBuffer<unsigned char> block = m;
    block.window(xcPelRect(3, 2, 5, 4));
    xfPelSet(block, 255);
    bool ok = false;
    xcPelBuffer_const<unsigned char> handle = m;
    EXPECT_EQ(xf_OCWindowMaskCareRegion(handle, 128, ok), xcPelRect(3, 2, 5, 4));
    EXPECT_TRUE(ok);
    EXPECT_FALSE(handle.isBound());  // the rectangle says it all

    m.set(5, 3, 0);  // a hole
    handle = m;
    EXPECT_EQ(xf_OCWindowMaskCareRegion(handle, 128, ok), xcPelRect(3, 2, 5, 4));
    EXPECT_TRUE(ok);
    ASSERT_TRUE(handle.isBound());
    EXPECT_EQ(handle.window(), xcPelRect(3, 2, 5, 4));

    xcPelBuffer<unsigned char> zero(6, 6);
    handle = zero;
    EXPECT_EQ(xf_OCWindowMaskCareRegion(handle, 1, ok), xcPelRect());
    EXPECT_FALSE(ok);
    EXPECT_FALSE(handle.isBound());
    handle = zero;  // with care value 0 every pixel is cared for
    EXPECT_EQ(xf_OCWindowMaskCareRegion(handle, 0, ok), xcPelRect(0, 0, 6, 6));
    EXPECT_TRUE(ok);

    xcPelBuffer_const<unsigned char> none;
    EXPECT_EQ(xf_OCWindowMaskCareRegion(none, 1, ok), xcPelRect());
    EXPECT_TRUE(ok);
}

TEST(BackgroundPad, PadsToTheMaskCareRegion) {
    xcPelBuffer<unsigned char> img = noise(10, 10, 11);
    xcPelBuffer<unsigned char> before = xfPelCopy(img);
    xcPelBuffer<unsigned char> mask(10, 10);
    xcPelBuffer<unsigned char> care = mask;
    care.window(xcPelRect(2, 2, 5, 5));
    xfPelSet(care, 255);
    bool ok = false;
    xf_OCBackgroundPadImage(img, mask, 128, img.window(), ok);
    EXPECT_TRUE(ok);
    EXPECT_FALSE(mask.isBound());  // an exact rectangle: the mask is dropped
    EXPECT_EQ(img.get(4, 4), before.get(4, 4));
    EXPECT_EQ(img.get(0, 4), img.get(1, 4));  // left band is flat per row

    // No care pixel: nothing is padded and ok is false.
    xcPelBuffer<unsigned char> img2 = noise(6, 6, 2);
    xcPelBuffer<unsigned char> before2 = xfPelCopy(img2);
    xcPelBuffer<unsigned char> empty(6, 6);
    xf_OCBackgroundPadImage(img2, empty, 1, img2.window(), ok);
    EXPECT_FALSE(ok);
    EXPECT_TRUE(xfPelEqual(img2, before2));
}

TEST(RunningMedian, BrokenPreconditionsAreAssertions) {
    EXPECT_THROW(xf_OCRunningMedian(nullptr, 5), xcAssertionFailure);
    std::vector<unsigned char> line(8, 7);
    EXPECT_THROW(xf_OCRunningMedian(line.data(), -5), xcAssertionFailure);
    EXPECT_EQ(line, std::vector<unsigned char>(8, 7));
    xf_OCRunningMedian(nullptr, 0);  // an empty line is nothing to filter
}
