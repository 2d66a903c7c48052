#include "platform/clevel/memory.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

TEST(MemoryCopy, CopiesBytesAndHandlesOverlap) {
    std::vector<unsigned char> src(37), dst(37, 0);
    std::iota(src.begin(), src.end(), 1);
    ASSERT_EQ(xsys_memory_copy(37, src.data(), dst.data()), xstd_eSuccess);
    EXPECT_EQ(dst, src);
    // Overlapping moves in both directions against a naive copy through a temporary.
    for (int shift : {-5, 3}) {
        SCOPED_TRACE(testing::Message() << "shift " << shift);
        std::vector<unsigned char> buf(40);
        std::iota(buf.begin(), buf.end(), 0);
        std::vector<unsigned char> expected = buf;
        const std::size_t from = 10, to = static_cast<std::size_t>(10 + shift), n = 20;
        const std::vector<unsigned char> tmp(buf.begin() + from, buf.begin() + from + n);
        std::copy(tmp.begin(), tmp.end(), expected.begin() + to);
        ASSERT_EQ(xsys_memory_copy(n, buf.data() + from, buf.data() + to), xstd_eSuccess);
        EXPECT_EQ(buf, expected) << shift;
    }
}

TEST(MemoryCopy, NullPointersOnlyWithNothingToCopy) {
    unsigned char a[4] = {1, 2, 3, 4}, b[4] = {9, 9, 9, 9};
    EXPECT_EQ(xsys_memory_copy(0, nullptr, nullptr), xstd_eSuccess);
    EXPECT_EQ(xsys_memory_copy(4, nullptr, b), xstd_eBadArgument);
    EXPECT_EQ(xsys_memory_copy(4, a, nullptr), xstd_eBadArgument);
    EXPECT_EQ(b[0], 9);
    EXPECT_EQ(xsys_memory_copy(2, a + 2, b + 1), xstd_eSuccess);
    EXPECT_EQ(b[0], 9);
    EXPECT_EQ(b[1], 3);
    EXPECT_EQ(b[2], 4);
    EXPECT_EQ(b[3], 9);
}
