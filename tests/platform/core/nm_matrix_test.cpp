#include "platform/core/nm_matrix.h"

#include <gtest/gtest.h>

#include "platform/core/exception.h"
#include "tests/support/expect_error.h"

TEST(NMMatrix, ElementsAndChecks) {
    xcNMMatrix m(2, 3, 1.5);
    EXPECT_EQ(m.rows(), 2);
    EXPECT_EQ(m.cols(), 3);
    EXPECT_EQ(m.element(1, 2), 1.5);
    m.element(1, 2, 7.0);
    m(0, 1) = -2.0;
    EXPECT_EQ(m(1, 2), 7.0);
    EXPECT_EQ(m.row(0)[1], -2.0);
    EXPECT_EQ(m.data()[5], 7.0);  // row-major
    EXPECT_THROW(m.element(2, 0), xcBadArgument);
    EXPECT_THROW(m.element(0, 3), xcBadArgument);
    EXPECT_THROW(m.element(-1, 0), xcBadArgument);
    EXPECT_THROW(m.row(2), xcBadArgument);
    expectError<xcBadArgument>([&] { m.element(0, 3); },
                               L"Matrix element (0, 3) is outside the 2 x 3 matrix");
    EXPECT_THROW(xcNMMatrix(-1, 2), xcBadArgument);
    EXPECT_THROW(xcNMMatrix(1L << 30, 1L << 30), xcBadArgument);
    EXPECT_TRUE(xcNMMatrix().isEmpty());
}

TEST(NMMatrix, ResizeKeepsOverlap) {
    xcNMMatrix m(2, 2);
    m(0, 0) = 1;
    m(0, 1) = 2;
    m(1, 0) = 3;
    m(1, 1) = 4;
    m.resize(3, 1, 9.0);
    EXPECT_EQ(m.rows(), 3);
    EXPECT_EQ(m.cols(), 1);
    EXPECT_EQ(m(0, 0), 1);
    EXPECT_EQ(m(1, 0), 3);
    EXPECT_EQ(m(2, 0), 9.0);
    m.resize(2, 3);
    EXPECT_EQ(m(1, 0), 3);
    EXPECT_EQ(m(1, 2), 0.0);
    xcNMMatrix before = m;
    EXPECT_THROW(m.resize(-2, 3), xcBadArgument);
    EXPECT_EQ(m, before);  // unchanged by the failure
}

TEST(NMMatrix, ProductEqualityAndTolerance) {
    xcNMMatrix a(2, 3), b(3, 2);
    for (long r = 0; r < 2; ++r)
        for (long c = 0; c < 3; ++c) {
            a(r, c) = r * 3 + c + 1;      // 1 2 3 / 4 5 6
            b(c, r) = (r + 1) * (c + 1);  // columns (1 2 3), (2 4 6)
        }
    xcNMMatrix p = a * b;
    EXPECT_EQ(p.rows(), 2);
    EXPECT_EQ(p.cols(), 2);
    EXPECT_EQ(p(0, 0), 14);
    EXPECT_EQ(p(0, 1), 28);
    EXPECT_EQ(p(1, 0), 32);
    EXPECT_EQ(p(1, 1), 64);
    EXPECT_THROW(a * a, xcBadArgument);
    EXPECT_EQ(a.transpose().transpose(), a);
    EXPECT_EQ(a.transpose()(2, 1), 6);
    xcNMMatrix c = a;
    c(1, 1) += 1e-12;
    EXPECT_NE(c, a);
    EXPECT_TRUE(xfRealEq(c, a, 1e-10));
    EXPECT_FALSE(xfRealEq(c, a, 1e-14));
    EXPECT_FALSE(xfRealEq(a, a.transpose()));
}
