#include "platform/vision/geo_align_pyramid.h"

#include <algorithm>

xc_GeoPyramid::xc_GeoPyramid(const xcPelBuffer_const<unsigned char>& image,
                             const xcPelBuffer_const<unsigned char>& mask, int top) {
    const xcPelRect win = image.window();
    xc_GeoPlane p0;
    p0.w = win.width();
    p0.h = win.height();
    p0.stride = image.rowUpdate();
    p0.p = win.isNull() ? nullptr : image.pelPointer(win.x(), win.y());
    m_planes.push_back(p0);
    const bool withMask = mask.isBound();
    if (withMask) {
        xc_GeoPlane m0 = p0;
        m0.stride = mask.rowUpdate();
        m0.p = win.isNull() ? nullptr : mask.pelPointer(win.x(), win.y());
        m_maskPlanes.push_back(m0);
    }
    m_store.reserve(static_cast<size_t>(2 * std::max(0, top)));
    for (int l = 1; l <= top; ++l) {
        const xc_GeoPlane& prev = m_planes.back();
        if (prev.w < 2 || prev.h < 2) break;
        m_store.emplace_back();
        m_planes.push_back(xf_Plane8Halve(prev, m_store.back()));
        if (withMask) {
            m_store.emplace_back();
            m_maskPlanes.push_back(xf_Plane8Halve(m_maskPlanes.back(), m_store.back(), true));
        }
    }
}
