#include "platform/core/xform.h"

#include <cmath>

#include "platform/core/exception.h"

xcMatrix<2> xcMatrix<2>::inverse() const {
    double d = determinant();
    if (d == 0.0 || !std::isfinite(d)) throw xcMath::Singular(L"Matrix is singular");
    return {m_e[3] / d, -m_e[1] / d, -m_e[2] / d, m_e[0] / d};
}

xcXform<2>::xcXform(const xcVector<2>& translation, double scale, double aspect, double shear,
                    xcRadian rotation)
    : m_m(xcMatrix<2>::rotation(rotation) *
          xcMatrix<2>(scale, scale * aspect * shear, 0.0, scale * aspect)),
      m_t(translation) {}

xcXform<2> xcXform<2>::inverse() const {
    xcMatrix<2> mi = m_m.inverse();
    return {mi, -(mi * m_t)};
}
