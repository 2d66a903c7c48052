#include "platform/core/pel_buffer.h"

#include <gtest/gtest.h>

#include <vector>

TEST(PelBuffer, WindowsShareAndNarrow) {
    xcPelBuffer<unsigned char> b(10, 8);
    EXPECT_TRUE(b.isBound());
    EXPECT_EQ(b.window(), xcPelRect(0, 0, 10, 8));
    b.set(3, 4, 77);
    xcPelBuffer<unsigned char> c = b;  // shares pixels
    c.window(xcPelRect(2, 3, 4, 4));
    EXPECT_EQ(c.get(3, 4), 77);
    EXPECT_EQ(c.rowPointer(4)[1], 77);
    EXPECT_THROW(c.window(xcPelRect(0, 0, 4, 4)), xcPel::BadWindow);
    EXPECT_EQ(c.window(), xcPelRect(2, 3, 4, 4));  // unchanged after the failure
    EXPECT_THROW(c.get(1, 4), xcPel::BadWindow);
    c.setEntire();
    EXPECT_EQ(c.window(), xcPelRect(0, 0, 10, 8));
    c.window(xcPelRect(8, 6, 10, 10), true);
    EXPECT_EQ(c.window(), xcPelRect(8, 6, 2, 2));
    xcPelBuffer_const<unsigned char> u;
    EXPECT_FALSE(u.isBound());
    EXPECT_THROW(u.window(), xcPel::UnboundWindow);
    EXPECT_THROW(u.rowPointer(0), xcPel::UnboundWindow);
    EXPECT_THROW(u.pelPointer(0, 0), xcPel::UnboundWindow);
    EXPECT_THROW(xcPelBuffer<unsigned char>().rowPointer(0), xcPel::UnboundWindow);
}

TEST(PelBuffer, WrapsCallerMemoryWithoutCopy) {
    std::vector<unsigned char> mem(20 * 5, 0);
    xcPelBuffer<unsigned char> b(mem.data(), 16, 5, 20);
    b.set(15, 4, 9);
    EXPECT_EQ(mem[4 * 20 + 15], 9);
    EXPECT_EQ(b.rowUpdate(), 20);
    EXPECT_THROW(xcPelBuffer<unsigned char>(mem.data(), 16, 5, 10), xcBadArgument);
}

TEST(PelBuffer, RootWithNegativeOrigin) {
    xcPelBuffer<unsigned char> b(xcPelRect(-5, -3, 7, 4));
    b.set(-5, -3, 1);
    b.set(1, 0, 2);
    EXPECT_EQ(b.rowPointer(-3)[0], 1);
    EXPECT_EQ(b.rowPointer(0)[6], 2);
    EXPECT_THROW(b.set(2, 0, 1), xcPel::BadWindow);
}
