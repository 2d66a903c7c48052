// Common base of the bounded plane shapes (affine rectangles, polygons, line segments,
// circles, ellipses and elliptical arcs).
//
// A shape lives in whatever frame its user states (usually client coordinates). Its one
// shared operation is the axis-aligned bounding box, of the shape itself or of the shape
// mapped by an affine transform; encloseImageRect builds on it to give the pixels a shape
// covers once mapped into image coordinates.
#pragma once

#include <algorithm>
#include <memory>

#include "platform/core/pel_rect.h"
#include "platform/core/rect.h"
#include "platform/core/xform.h"

class xcShape {
public:
    virtual ~xcShape() = default;

    // The smallest axis-aligned rectangle holding the shape. Its width or height is 0 for a
    // shape that is flat along that axis (the rectangle is then degen()).
    virtual xcRect boundingBox() const = 0;
    // The smallest axis-aligned rectangle holding the shape mapped by x (x applied to every
    // point of the shape), computed without losing tightness (an ellipse stays an ellipse).
    virtual xcRect boundingBox(const xcXform<2>& x) const = 0;
    // A copy of the same dynamic type.
    virtual std::shared_ptr<xcShape> clone() const = 0;

    // The smallest pixel rectangle whose area holds the shape mapped into image coordinates
    // by imageFromClient: floor of the box's upper-left corner, ceiling of its lower-right.
    xcPelRect encloseImageRect(const xcXform<2>& imageFromClient = xcXform<2>()) const {
        return boundingBox(imageFromClient).enclosePelRect();
    }

protected:
    xcShape() = default;
    xcShape(const xcShape&) = default;
    xcShape& operator=(const xcShape&) = default;
};

// The bounding box of points [begin, end) (at least one point), as an xcRect from the least
// to the greatest coordinates.
template <class It>
xcRect xf_BoundingBoxOfPoints(It begin, It end) {
    double x0 = begin->x(), x1 = x0, y0 = begin->y(), y1 = y0;
    for (It it = begin; it != end; ++it) {
        x0 = std::min(x0, it->x());
        x1 = std::max(x1, it->x());
        y0 = std::min(y0, it->y());
        y1 = std::max(y1, it->y());
    }
    return xcRect(x0, y0, x1 - x0, y1 - y0);
}
