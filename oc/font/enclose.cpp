#include "oc/font/enclose.h"

#include <vector>

#include "oc/defs/oc_defs.h"
#include "platform/core/polygon.h"
#include "platform/vision/enclose_rect.h"

void xf_CheckPlacementUncertainties(double t, xcRadian r, double s) {
    if (!(t >= 0.0)) throw xcOCDefs::BadParams(L"Translation uncertainty must be >= 0");
    if (!(r.toDouble() >= 0.0)) throw xcOCDefs::BadParams(L"Rotation uncertainty must be >= 0");
    if (!(s >= 0.0)) throw xcOCDefs::BadParams(L"Scale uncertainty must be >= 0");
}

void xf_RectEncloser::add(const xcRect& part) {
    if (!m_bInverse) m_bInverse = m_b.inverse();
    const xcPolygon corners(std::vector<xcVector<2>>{part.ul(), part.ur(), part.lr(), part.ll()});
    const xcRect e =
        xfEncloseRect(corners.map(*m_bInverse), m_ab, m_c, m_t, m_t, m_r, m_s, 0.0, 0.0, 0.0, 1);
    if (m_first) {
        m_result = e;
        m_first = false;
    } else {
        m_result = m_result.enclose(e);
    }
}
