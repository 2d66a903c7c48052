// Image pyramids and gradients of the geometric alignment tool (module-private).
//
// Frames. Level l of a pyramid has pixels 2^l times as large as level 0's: level-l pixel (i, j)
// covers level-0 window-relative coordinates [2^l i, 2^l (i + 1)) x [2^l j, 2^l (j + 1)), so a
// continuous level-l point q is the level-0 point 2^l q. Level 0 is the source window itself,
// with window-relative coordinates (pixel (0, 0) is the window's upper-left pixel; its centre
// is (0.5, 0.5)). Each level halves the previous one by 2 x 2 means (an odd last row or column
// is dropped).
//
// Gradients are xf_SobelPlane's (gradient.h).
#pragma once

#include <cstdint>
#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/vision/gradient.h"
#include "platform/vision/plane8.h"

// The tool's planes are the vision tools' read-only 8-bit planes.
using xc_GeoPlane = xc_Plane8;

// The levels 0 ... top of an image, with those of its care mask when there is one (a level-l
// mask pixel cares when the 2 x 2 mean of the level below, taken over 0 / 255 values, is at
// least 128).
class xc_GeoPyramid {
public:
    // Builds levels 0 ... top of the window of `image`; `mask` is used when bound and must
    // cover the image's window (mask value >= 128 means care). Polls xcAttention::check().
    xc_GeoPyramid(const xcPelBuffer_const<unsigned char>& image,
                  const xcPelBuffer_const<unsigned char>& mask, int top);

    int top() const { return static_cast<int>(m_planes.size()) - 1; }
    const xc_GeoPlane& plane(int level) const { return m_planes[static_cast<size_t>(level)]; }
    bool hasMask() const { return !m_maskPlanes.empty(); }
    // Only when hasMask().
    const xc_GeoPlane& maskPlane(int level) const {
        return m_maskPlanes[static_cast<size_t>(level)];
    }

private:
    std::vector<std::vector<unsigned char>> m_store;
    std::vector<xc_GeoPlane> m_planes;
    std::vector<xc_GeoPlane> m_maskPlanes;
};
