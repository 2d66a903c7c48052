// Geometry that only diagnostics draw: the general rectangle and the coordinate-axes icon.
//
// xcGenRect is a general (affine) rectangle: a parallelogram with an origin corner and two
// side vectors, exactly as xcAffineRectangle, of which it is a kind. It converts implicitly
// from an axis-aligned xcRect (corner ul, sides along x and y), so that a rectangle given in
// one frame can be carried into another by map() and still be drawn as four exact corners.
//
// xcCoordAxes marks a coordinate frame: an origin and the ends of its x and y axes, drawn as
// two arrows labelled "x" and "y". All coordinates are in the user's frame.
#pragma once

#include <memory>

#include "platform/core/affine_rectangle.h"
#include "platform/core/rect.h"
#include "platform/core/shape.h"
#include "platform/core/xform.h"

class xcGenRect : public xcAffineRectangle {
public:
    // The unit square.
    xcGenRect() = default;
    xcGenRect(const xcRect& r) : xcAffineRectangle(r) {}             // NOLINT
    xcGenRect(const xcAffineRectangle& r) : xcAffineRectangle(r) {}  // NOLINT
    // From three corners: origin, end of the x side, end of the y side.
    xcGenRect(const xcVector<2>& po, const xcVector<2>& px, const xcVector<2>& py)
        : xcAffineRectangle(po, px, py) {}
    // The rectangle r mapped by x.
    xcGenRect(const xcRect& r, const xcXform<2>& x)
        : xcAffineRectangle(xcAffineRectangle(r).map(x)) {}

    xcGenRect map(const xcXform<2>& x) const { return xcGenRect(xcAffineRectangle::map(x)); }
    std::shared_ptr<xcShape> clone() const override { return std::make_shared<xcGenRect>(*this); }
};

class xcCoordAxes : public xcShape {
public:
    // Unit axes at the origin.
    xcCoordAxes() = default;
    xcCoordAxes(const xcVector<2>& origin, const xcVector<2>& xEnd, const xcVector<2>& yEnd)
        : m_origin(origin), m_x(xEnd), m_y(yEnd) {}
    // The axes of the frame `userFromFrame`, `length` units of that frame long: origin
    // userFromFrame(0, 0), ends userFromFrame(length, 0) and userFromFrame(0, length).
    xcCoordAxes(const xcXform<2>& userFromFrame, double length)
        : m_origin(userFromFrame.mapPoint({0.0, 0.0})),
          m_x(userFromFrame.mapPoint({length, 0.0})),
          m_y(userFromFrame.mapPoint({0.0, length})) {}

    const xcVector<2>& origin() const { return m_origin; }
    const xcVector<2>& xEnd() const { return m_x; }
    const xcVector<2>& yEnd() const { return m_y; }

    xcCoordAxes map(const xcXform<2>& x) const {
        return {x.mapPoint(m_origin), x.mapPoint(m_x), x.mapPoint(m_y)};
    }

    xcRect boundingBox() const override { return boundingBox(xcXform<2>()); }
    xcRect boundingBox(const xcXform<2>& x) const override;
    std::shared_ptr<xcShape> clone() const override { return std::make_shared<xcCoordAxes>(*this); }

    bool operator==(const xcCoordAxes& o) const {
        return m_origin == o.m_origin && m_x == o.m_x && m_y == o.m_y;
    }

private:
    xcVector<2> m_origin{0.0, 0.0};
    xcVector<2> m_x{1.0, 0.0};
    xcVector<2> m_y{0.0, 1.0};
};
