#include "platform/core/rect.h"

#include <gtest/gtest.h>

#include "platform/core/pel_rect.h"

TEST(PelRect, BoundaryCases) {
    xcPelRect r(2, 3, 4, 5);  // pixels 2..5, 3..7
    EXPECT_TRUE(r.contains(2, 3));
    EXPECT_TRUE(r.contains(5, 7));
    EXPECT_FALSE(r.contains(6, 7));  // right edge is exclusive
    EXPECT_FALSE(r.contains(5, 8));
    EXPECT_EQ(r.lr(), xcPelVector(6, 8));
    EXPECT_EQ(r.ur(), xcPelVector(6, 3));
    EXPECT_EQ(r.ll(), xcPelVector(2, 8));
    // Touching rectangles share no pixel.
    EXPECT_TRUE(r.intersect(xcPelRect(6, 3, 2, 2)).isNull());
    EXPECT_EQ(r.intersect(xcPelRect(5, 7, 9, 9)), xcPelRect(5, 7, 1, 1));
    EXPECT_EQ(r.enclose(xcPelRect(10, 0, 1, 1)), xcPelRect(2, 0, 9, 8));
    EXPECT_EQ(r.enclose(xcPelRect()), r);
    EXPECT_EQ(xcPelRect().enclose(r), r);
    EXPECT_TRUE(r.contains(xcPelRect(100, 100, 0, 3)));  // a null rectangle fits anywhere
    EXPECT_FALSE(xcPelRect().contains(r));
    EXPECT_EQ(r.trim(-3, -3, -3, -3), xcPelRect(-1, 0, 10, 11));
    EXPECT_TRUE(r.trim(2, 0, 2, 0).isNull());
    EXPECT_EQ(xcPelRect(0, 0, -2, 5).area(), 0);
    xcPelRect neg(-5, -3, 2, 2);
    EXPECT_TRUE(neg.contains(-4, -2));
    EXPECT_FALSE(neg.contains(-3, -2));
}

TEST(Rect, EnclosingPelRect) {
    EXPECT_EQ(xcRect(0, 0, 4, 3).enclosePelRect(), xcPelRect(0, 0, 4, 3));
    EXPECT_EQ(xcRect(0.5, -0.5, 4, 3).enclosePelRect(), xcPelRect(0, -1, 5, 4));
    EXPECT_EQ(xcRect(-1.25, 2.0, 0.5, 0.0).enclosePelRect(), xcPelRect(-2, 2, 2, 0));
    EXPECT_EQ(xcRect(xcPelRect(-3, 4, 7, 2)), xcRect(-3, 4, 7, 2));
    EXPECT_EQ(xcRect(xcPelRect(-3, 4, 7, 2)).enclosePelRect(), xcPelRect(-3, 4, 7, 2));
    EXPECT_TRUE(xcRect(0, 0, 0, 5).degen());
    xcRect a(0, 0, 2, 2);
    EXPECT_EQ(a.enclose(xcRect(5, 5, 0, 1)), a);  // degenerate operands are ignored
    EXPECT_EQ(a.enclose(xcVector<2>(-1, 3)), xcRect(-1, 0, 3, 3));
    EXPECT_EQ(a.center(), xcVector<2>(1, 1));
}
