// Small dense linear systems: the normal equations of least-squares fits and their inverses
// (a handful of unknowns), solved by Gaussian elimination with partial pivoting.
//
// Matrices are row-major arrays of doubles: entry (r, c) of an n x n matrix with row stride s
// is a[r * s + c], so a fixed double[8][8] can hold any system up to 8 x 8 (stride 8).
//
//     const double a[] = {2, 1,
//                         1, 3};
//     const double b[] = {3, 5};
//     double x[2];
//     xfLinearSolve(a, 2, b, x);  // true; x = {0.8, 1.4}
//
//     const double c[] = {1, 2,
//                         2, 4};  // second row is twice the first
//     xfLinearSolve(c, 2, b, x);  // false; x unchanged
#pragma once

#include <cstddef>
#include <span>

// The one pivot tolerance: a system counts as singular when, after partial pivoting, a pivot's
// magnitude is not above kXcLinearPivotTolerance times the largest magnitude of its equation's
// row in the matrix as given (so multiplying an equation by any factor never changes the
// verdict). A matrix holding a non-finite entry counts as singular too.
inline constexpr double kXcLinearPivotTolerance = 1e-12;

// Solves a x = b for the n unknowns x, n = b.size(); a is n x n with row stride `stride`.
// True with x written; false when the system is singular (see kXcLinearPivotTolerance) or a
// solution value is not finite, x unchanged then. x may be b itself. a and b are not changed.
// Throws xcBadArgument when stride < n, a holds fewer than (n - 1) * stride + n values or
// x.size() != n. Cost: about n^3 / 3 multiply-adds; no allocation up to n = 8.
bool xfLinearSolve(std::span<const double> a, std::size_t stride, std::span<const double> b,
                   std::span<double> x);

// The inverse of the n x n matrix a (row stride n), n * n = a.size(), into inv (row-major,
// n * n values). True with inv written; false when a is singular (see kXcLinearPivotTolerance)
// or an entry of the inverse is not finite, inv unchanged then. Throws xcBadArgument when
// a.size() is not a square or inv.size() != a.size(). Cost: about 4 n^3 / 3 multiply-adds.
bool xfLinearInvert(std::span<const double> a, std::span<double> inv);
