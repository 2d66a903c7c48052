// Affine rectangles: parallelograms given by an origin corner and two side vectors.
//
// The four corners are
//   cornerPo   = the origin corner                  (the upper-left of the unmapped rectangle)
//   cornerPx   = cornerPo + xSide                   (upper-right)
//   cornerPy   = cornerPo + ySide                   (lower-left)
//   cornerPopp = cornerPo + xSide + ySide           (lower-right)
// so that fromUnitSquare() maps (0,0), (1,0), (0,1), (1,1) onto them. The frame is the user's
// (usually client coordinates). Mapping by an affine transform maps corner and sides exactly.
//
// The same rectangle can be read and set as lengths and angles, with the conventions of
// xcMatrix<2>: xSide = xLength (cos xRot, sin xRot), ySide = yLength (-sin yRot, cos yRot),
// skew = yRot - xRot (0 for a true rectangle; angles in radians). Setting a length, the
// rotation or the skew keeps the centre where it is; center(c) moves the rectangle.
#pragma once

#include <memory>

#include "platform/core/angle.h"
#include "platform/core/shape.h"

class xcAffineRectangle : public xcShape {
public:
    // The unit square: corner (0, 0), sides (1, 0) and (0, 1).
    xcAffineRectangle() = default;
    // From three corners: the origin corner, the end of the x side, the end of the y side
    // (upper-left, upper-right and lower-left of the unmapped rectangle).
    xcAffineRectangle(const xcVector<2>& po, const xcVector<2>& px, const xcVector<2>& py)
        : m_po(po), m_x(px - po), m_y(py - po) {}
    // From the origin corner, the side lengths (>= 0), the x rotation and the skew. Throws
    // xcBadArgument for a negative or non-finite length.
    xcAffineRectangle(const xcVector<2>& corner, double xLength, double yLength,
                      xcRadian xRotation = xcRadian(), xcRadian skew = xcRadian());
    // The area of an axis-aligned rectangle (corners ul, ur, ll), or of a pixel rectangle.
    explicit xcAffineRectangle(const xcRect& r) : xcAffineRectangle(r.ul(), r.ur(), r.ll()) {}
    explicit xcAffineRectangle(const xcPelRect& r)
        : xcAffineRectangle(r.ul().toVector(), r.ur().toVector(), r.ll().toVector()) {}
    // The unit square mapped by `fromUnitSquare`.
    explicit xcAffineRectangle(const xcXform<2>& fromUnitSquare);

    // Corners (see the file comment), with the names of the unmapped rectangle as aliases.
    const xcVector<2>& cornerPo() const { return m_po; }
    xcVector<2> cornerPx() const { return m_po + m_x; }
    xcVector<2> cornerPy() const { return m_po + m_y; }
    xcVector<2> cornerPopp() const { return m_po + m_x + m_y; }
    const xcVector<2>& ul() const { return m_po; }
    xcVector<2> ur() const { return cornerPx(); }
    xcVector<2> ll() const { return cornerPy(); }
    xcVector<2> lr() const { return cornerPopp(); }
    xcVector<2> center() const { return m_po + (m_x + m_y) * 0.5; }

    // The side vectors.
    const xcVector<2>& xSide() const { return m_x; }
    const xcVector<2>& ySide() const { return m_y; }

    double xLength() const { return m_x.len(); }
    double yLength() const { return m_y.len(); }
    // Direction of the x side; of the y side turned back by 90 degrees (see file comment).
    xcRadian xRotation() const { return xcRadian(m_x.angle()); }
    xcRadian yRotation() const { return xcRadian(std::atan2(-m_y.x(), m_y.y())); }
    // yRotation - xRotation in (-pi, pi]; pi for a mirrored rectangle.
    xcRadian skew() const { return (yRotation() - xRotation()).signedNorm(); }
    // The signed area cross(xSide, ySide): positive when the y side lies counter-clockwise
    // of the x side in a y-up frame (as for an upright rectangle in image coordinates).
    double signedArea() const { return m_x.cross(m_y); }
    double area() const { return std::fabs(signedArea()); }
    // True when the sides are parallel or one is zero (no area).
    bool isDegenerate() const { return signedArea() == 0.0; }

    // Setters that keep the centre (see file comment). Lengths must be finite and >= 0,
    // angles finite; otherwise xcBadArgument is thrown and nothing changes.
    void xLength(double v);
    void yLength(double v);
    void xRotation(xcRadian a);
    void skew(xcRadian a);
    // Moves the rectangle so that its centre is c; the sides are kept.
    void center(const xcVector<2>& c) { m_po = c - (m_x + m_y) * 0.5; }
    // Moves the rectangle so that its origin corner is p; the sides are kept.
    void cornerPo(const xcVector<2>& p) { m_po = p; }

    // The transform that maps the unit square onto the rectangle: matrix columns xSide and
    // ySide, translation cornerPo.
    xcXform<2> fromUnitSquare() const;
    // The rectangle mapped by x (x applied to every point).
    xcAffineRectangle map(const xcXform<2>& x) const;
    // True when p lies inside or on the boundary. False for a degenerate rectangle.
    bool contains(const xcVector<2>& p) const;

    xcRect boundingBox() const override;
    xcRect boundingBox(const xcXform<2>& x) const override;
    std::shared_ptr<xcShape> clone() const override {
        return std::make_shared<xcAffineRectangle>(*this);
    }

    // Exactly equal corner and sides.
    bool operator==(const xcAffineRectangle& o) const {
        return m_po == o.m_po && m_x == o.m_x && m_y == o.m_y;
    }
    bool operator!=(const xcAffineRectangle& o) const { return !(*this == o); }

private:
    void setSides_(double xLen, double yLen, double xRot, double yRot);

    xcVector<2> m_po{0.0, 0.0};
    xcVector<2> m_x{1.0, 0.0};
    xcVector<2> m_y{0.0, 1.0};
};

// True when the corners and the sides agree within tol (see xfRealEq for vectors).
bool xfRealEq(const xcAffineRectangle& a, const xcAffineRectangle& b, double tol = 1e-10);
