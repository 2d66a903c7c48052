#include "platform/core/linear_solve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "platform/core/exception.h"
#include "tests/support/expect_error.h"

namespace {

struct SolveCase {
    const char* name;
    std::vector<double> a;  // n x n, row-major
    std::vector<double> b;
    std::vector<double> x;  // the solution; empty when the system is singular
};

const std::vector<SolveCase> kCases = {
    {"two unknowns", {2, 1, 1, 3}, {3, 5}, {0.8, 1.4}},
    {"zero leading pivot", {0, 2, 1, 1, 1, 1, 2, 1, 0}, {7, 6, 4}, {1, 2, 3}},
    {"four unknowns",
     {4, 1, 0, 1, 1, 5, 2, 0, 0, 2, 6, 1, 1, 0, 1, 3},
     {4.5, -3, 2.5, 6},
     {1, -1, 0.5, 1.5}},
    {"rows scaled by 1e150 and 1e-150",
     {2e150, 1e150, 1e-150, 3e-150},
     {3e150, 5e-150},
     {0.8, 1.4}},
    {"pivot 2^-33 of its row", {1, 1, 1, 1 + 0x1p-33}, {2, 2 + 0x1p-33}, {1, 1}},
    {"third row the sum of the others", {1, 2, 3, 4, 5, 6, 5, 7, 9}, {1, 2, 3}, {}},
    {"pivot 2^-43 of its row", {1, 1, 1, 1 + 0x1p-43}, {2, 2}, {}},
    {"zero matrix", {0, 0, 0, 0}, {1, 1}, {}},
    {"not finite", {1, 0, 0, NAN}, {1, 1}, {}},
};

}  // namespace

TEST(LinearSolve, KnownSystemsAndSingularOnes) {
    for (const SolveCase& c : kCases) {
        SCOPED_TRACE(c.name);
        const size_t n = c.b.size();
        std::vector<double> x(n, 7.0);
        const bool ok = xfLinearSolve(c.a, n, c.b, x);
        EXPECT_EQ(ok, !c.x.empty());
        for (size_t i = 0; i < n; ++i)
            EXPECT_NEAR(x[i], c.x.empty() ? 7.0 : c.x[i], 1e-12);  // unchanged when singular
    }
}

TEST(LinearSolve, StrideAndSolutionInPlace) {
    // The 2 x 2 example held in a 3 x 3 array, solved into its own right-hand side.
    const double a[3][3] = {{2, 1, 99}, {1, 3, 99}, {99, 99, 99}};
    double b[2] = {3, 5};
    EXPECT_TRUE(xfLinearSolve({&a[0][0], 5}, 3, b, b));
    EXPECT_NEAR(b[0], 0.8, 1e-15);
    EXPECT_NEAR(b[1], 1.4, 1e-15);
    // A solution that overflows is refused, the right-hand side kept.
    const double tiny[] = {1e-300, 0, 0, 1};
    double big[] = {1e300, 1};
    EXPECT_FALSE(xfLinearSolve(tiny, 2, big, big));
    EXPECT_EQ(big[0], 1e300);
}

TEST(LinearSolve, InverseTimesMatrixIsIdentity) {
    for (const SolveCase& c : kCases) {
        SCOPED_TRACE(c.name);
        const size_t n = c.b.size();
        std::vector<double> inv(n * n, 7.0);
        EXPECT_EQ(xfLinearInvert(c.a, inv), !c.x.empty());
        if (c.x.empty()) {
            EXPECT_EQ(inv, std::vector<double>(n * n, 7.0));
            continue;
        }
        for (size_t r = 0; r < n; ++r)
            for (size_t k = 0; k < n; ++k) {
                double s = 0;
                for (size_t j = 0; j < n; ++j) s += c.a[r * n + j] * inv[j * n + k];
                EXPECT_NEAR(s, r == k ? 1.0 : 0.0, 1e-12);
            }
    }
}

TEST(LinearSolve, BadSizes) {
    const std::vector<double> a(4, 1.0), b(2, 1.0);
    std::vector<double> x(2), x3(3);
    expectError<xcBadArgument>(
        [&] { xfLinearSolve(a, 1, b, x); },
        L"Linear system of 2 unknowns: matrix of 4 values with row stride 1, solution of 2 values");
    expectError<xcBadArgument>(
        [&] {
            xfLinearSolve({a.data(), 3}, 2, b, x);
        },
        L"Linear system of 2 unknowns: matrix of 3 values with row "
        L"stride 2, solution of 2 values");
    expectError<xcBadArgument>(
        [&] {
            xfLinearInvert({a.data(), 3}, x3);
        },
        L"Matrix inverse: 3 values do not make a square matrix of the "
        L"inverse's 3");
    expectError<xcBadArgument>([&] { xfLinearInvert(a, x3); },
                               L"Matrix inverse: 4 values do not make a square matrix of the "
                               L"inverse's 3");
}
