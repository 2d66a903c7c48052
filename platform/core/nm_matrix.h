// Dense matrices of doubles of any size (rows x cols), stored row by row.
//
// Used for tables such as an alphabet's confusion matrix. Element (r, c) is row r, column c,
// both counted from 0. Every element access is range-checked and throws xcBadArgument
// outside the matrix; row(r) gives the raw row for loops that walk a whole row.
#pragma once

#include <cstddef>
#include <vector>

class xcNMMatrix {
public:
    // The 0 x 0 matrix.
    xcNMMatrix() = default;
    // A rows x cols matrix filled with `fill`. Throws xcBadArgument for a negative size or
    // one too large to hold.
    xcNMMatrix(long rows, long cols, double fill = 0.0);

    long rows() const { return m_rows; }
    long cols() const { return m_cols; }
    long numRows() const { return m_rows; }
    long numCols() const { return m_cols; }
    bool isEmpty() const { return m_rows == 0 || m_cols == 0; }

    // Element (r, c). Throws xcBadArgument when (r, c) is outside the matrix.
    double element(long r, long c) const { return m_e[index_(r, c)]; }
    void element(long r, long c, double v) { m_e[index_(r, c)] = v; }
    double operator()(long r, long c) const { return m_e[index_(r, c)]; }
    double& operator()(long r, long c) { return m_e[index_(r, c)]; }

    // The cols() elements of row r. Throws xcBadArgument when r is outside the matrix.
    const double* row(long r) const;
    double* row(long r);
    // All elements, row-major (rows() * cols() of them).
    const double* data() const { return m_e.data(); }
    double* data() { return m_e.data(); }

    // Changes the size. Elements whose (r, c) lies in both the old and the new size keep their
    // values; new ones get `fill`. Throws xcBadArgument (changing nothing) for a bad size.
    void resize(long rows, long cols, double fill = 0.0);
    // Sets every element to v.
    void fill(double v);

    xcNMMatrix transpose() const;
    // Matrix product; throws xcBadArgument when cols() != o.rows().
    xcNMMatrix operator*(const xcNMMatrix& o) const;

    // Same size and exactly equal elements.
    bool operator==(const xcNMMatrix& o) const;
    bool operator!=(const xcNMMatrix& o) const { return !(*this == o); }

private:
    std::size_t index_(long r, long c) const;
    static void checkSize_(long rows, long cols);

    long m_rows = 0;
    long m_cols = 0;
    std::vector<double> m_e;
};

// True when both matrices have the same size and every pair of elements agrees within tol
// (see xfRealEq for doubles).
bool xfRealEq(const xcNMMatrix& a, const xcNMMatrix& b, double tol = 1e-10);
