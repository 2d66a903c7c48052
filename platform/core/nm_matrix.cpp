#include "platform/core/nm_matrix.h"

#include <algorithm>
#include <string>

#include "platform/core/exception.h"
#include "platform/core/math_util.h"

namespace {

// Largest element count we agree to hold (keeps rows * cols and byte counts far from overflow).
constexpr long kMaxElements = 1L << 40;

}  // namespace

void xcNMMatrix::checkSize_(long rows, long cols) {
    if (rows < 0 || cols < 0)
        throw xcBadArgument(L"Matrix size must not be negative: " + std::to_wstring(rows) +
                            L" x " + std::to_wstring(cols));
    if (rows > 0 && cols > kMaxElements / rows)
        throw xcBadArgument(L"Matrix too large: " + std::to_wstring(rows) + L" x " +
                            std::to_wstring(cols));
}

xcNMMatrix::xcNMMatrix(long rows, long cols, double fill) {
    checkSize_(rows, cols);
    m_e.assign(static_cast<std::size_t>(rows * cols), fill);
    m_rows = rows;
    m_cols = cols;
}

std::size_t xcNMMatrix::index_(long r, long c) const {
    if (r < 0 || r >= m_rows || c < 0 || c >= m_cols)
        throw xcBadArgument(L"Matrix element (" + std::to_wstring(r) + L", " +
                            std::to_wstring(c) + L") is outside the " + std::to_wstring(m_rows) +
                            L" x " + std::to_wstring(m_cols) + L" matrix");
    return static_cast<std::size_t>(r * m_cols + c);
}

const double* xcNMMatrix::row(long r) const {
    if (r < 0 || r >= m_rows)
        throw xcBadArgument(L"Matrix row " + std::to_wstring(r) + L" is outside the " +
                            std::to_wstring(m_rows) + L"-row matrix");
    return m_e.data() + r * m_cols;
}

double* xcNMMatrix::row(long r) {
    return const_cast<double*>(static_cast<const xcNMMatrix*>(this)->row(r));
}

void xcNMMatrix::resize(long rows, long cols, double fill) {
    checkSize_(rows, cols);
    std::vector<double> e(static_cast<std::size_t>(rows * cols), fill);
    const long rk = std::min(rows, m_rows), ck = std::min(cols, m_cols);
    for (long r = 0; r < rk; ++r)
        std::copy_n(m_e.data() + r * m_cols, ck, e.data() + r * cols);
    m_e.swap(e);
    m_rows = rows;
    m_cols = cols;
}

void xcNMMatrix::fill(double v) { std::fill(m_e.begin(), m_e.end(), v); }

xcNMMatrix xcNMMatrix::transpose() const {
    xcNMMatrix t(m_cols, m_rows);
    for (long r = 0; r < m_rows; ++r)
        for (long c = 0; c < m_cols; ++c) t.m_e[c * m_rows + r] = m_e[r * m_cols + c];
    return t;
}

xcNMMatrix xcNMMatrix::operator*(const xcNMMatrix& o) const {
    if (m_cols != o.m_rows)
        throw xcBadArgument(L"Matrix product of " + std::to_wstring(m_rows) + L" x " +
                            std::to_wstring(m_cols) + L" and " + std::to_wstring(o.m_rows) +
                            L" x " + std::to_wstring(o.m_cols) + L" is undefined");
    xcNMMatrix p(m_rows, o.m_cols);
    for (long r = 0; r < m_rows; ++r) {
        double* pr = p.m_e.data() + r * o.m_cols;
        for (long k = 0; k < m_cols; ++k) {
            const double a = m_e[r * m_cols + k];
            const double* ok = o.m_e.data() + k * o.m_cols;
            for (long c = 0; c < o.m_cols; ++c) pr[c] += a * ok[c];
        }
    }
    return p;
}

bool xcNMMatrix::operator==(const xcNMMatrix& o) const {
    return m_rows == o.m_rows && m_cols == o.m_cols && m_e == o.m_e;
}

bool xfRealEq(const xcNMMatrix& a, const xcNMMatrix& b, double tol) {
    if (a.rows() != b.rows() || a.cols() != b.cols()) return false;
    const long n = a.rows() * a.cols();
    for (long i = 0; i < n; ++i)
        if (!xfRealEq(a.data()[i], b.data()[i], tol)) return false;
    return true;
}
