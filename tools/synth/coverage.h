// Exact-area coverage of filled shapes on a rectangle of pixels.
//
// Shapes are given as closed polygons (outlines are flattened into line pieces first, to
// within 1/100 pixel). For every pixel the coverage is the area of the pixel inside the shape,
// in [0, 1], computed analytically: each piece adds its signed area to an accumulation row and
// a running sum along the row gives the winding integral of each pixel. So geometry is exact
// to floating-point precision at every sub-pixel position, angle and scale, with no
// supersampling and no resampling of a rendered bitmap.
//
// Coordinates: pixel (x, y) covers [x, x+1) x [y, y+1) in the frame of the points (image
// coordinates, or any integer-shifted copy of them). Pieces outside the rectangle are clipped
// exactly: whatever lies left of it still counts towards the winding of its pixels.
#pragma once

#include <vector>

#include "platform/core/pel_rect.h"
#include "platform/core/vector.h"
#include "platform/core/xform.h"
#include "tools/synth/font.h"

class xcSynthCoverage {
public:
    // An empty tile (no pixels).
    xcSynthCoverage() = default;
    // A tile over `rect` (pixels in the frame of the points), all coverage 0. A null rectangle
    // gives a tile with no pixels, on which every add is a no-op.
    explicit xcSynthCoverage(const xcPelRect& rect);

    const xcPelRect& rect() const { return m_rect; }
    bool empty() const { return m_rect.isNull(); }

    // One oriented piece of a closed boundary. Pieces of every contour must close up.
    void addLine(const xcVector<2>& p0, const xcVector<2>& p1);
    // A closed polygon (the last point joins the first).
    void addPolygon(const std::vector<xcVector<2>>& points);
    // An outline (font units) mapped by `pointsFromFont`; curves are flattened after mapping.
    void addOutline(const xcSynthOutline& outline, const xcXform<2>& pointsFromFont);

    // Turns the accumulated areas into coverage (non-zero or even-odd rule). Call once, after
    // every add; afterwards only the coverage accessors below may be used.
    void resolve(bool evenOdd = false);

    // Coverage row of the tile's row y (y in the frame of the points): width() values, the
    // first for pixel rect().x(). Only after resolve().
    const double* row(long y) const { return &m_acc[(y - m_rect.y()) * m_stride]; }
    double* row(long y) { return &m_acc[(y - m_rect.y()) * m_stride]; }
    // Coverage of pixel (x, y), 0 outside the tile. Only after resolve().
    double at(long x, long y) const;
    // Multiplies each pixel's coverage by (1 - other's coverage) where the two tiles overlap:
    // erases the part of this shape covered by `other`. Both resolved.
    void erase(const xcSynthCoverage& other);
    // Moves the tile by an integer offset (the pixels keep their values).
    void translate(long dx, long dy) { m_rect = m_rect.translated(dx, dy); }

private:
    void piece_(double xa, double ya, double xb, double yb);
    void quad_(const xcVector<2>& p0, const xcVector<2>& c, const xcVector<2>& p1);
    void cubic_(const xcVector<2>& p0, const xcVector<2>& c1, const xcVector<2>& c2,
                const xcVector<2>& p1);

    xcPelRect m_rect;
    long m_stride = 0;          // width + 2: room for the pieces' spill to the right
    std::vector<double> m_acc;  // accumulated areas, then coverage
    bool m_resolved = false;
};

// Smallest and largest x and y of the outline's points (control points included) mapped by
// `xform`: a box that holds the whole filled shape. {0, 0, 0, 0} for an empty outline.
struct xcSynthBounds {
    double x0 = 0.0, y0 = 0.0, x1 = 0.0, y1 = 0.0;
    // The pixels the box touches (floor of the low sides, ceiling of the high sides).
    xcPelRect pixels() const;
};
xcSynthBounds xfSynthOutlineBounds(const xcSynthOutline& outline, const xcXform<2>& xform);

// Coverage of `outline` (font units) mapped by `imageFromFont` into image coordinates, on the
// pixels of `clip` that the shape can touch; resolved with the outline's fill rule. Only the
// fractional part of the translation reaches the rasteriser (the integer part becomes a pixel
// shift), so two transforms with the same matrix whose translations differ by whole pixels
// (their fractional parts being equal) give identical coverage, shifted. Throws xcBadArgument when
// the transform is not finite or moves the shape beyond 2^40 pixels.
xcSynthCoverage xfSynthRenderOutline(const xcSynthOutline& outline, const xcXform<2>& imageFromFont,
                                     const xcPelRect& clip);
