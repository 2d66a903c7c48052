#include "platform/diag/graphic_geometry.h"

#include <algorithm>

xcRect xcCoordAxes::boundingBox(const xcXform<2>& x) const {
    const xcVector<2> o = x.mapPoint(m_origin), a = x.mapPoint(m_x), b = x.mapPoint(m_y);
    const double x0 = std::min({o.x(), a.x(), b.x()}), x1 = std::max({o.x(), a.x(), b.x()});
    const double y0 = std::min({o.y(), a.y(), b.y()}), y1 = std::max({o.y(), a.y(), b.y()});
    return xcRect(x0, y0, x1 - x0, y1 - y0);
}
