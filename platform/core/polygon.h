// Closed polygons: an ordered list of vertices, the last joined back to the first.
//
// The fill mode decides which points are inside when edges cross or wind more than once:
// eEvenOdd (the default) counts edge crossings, eNonZero counts the winding number. The
// frame is the user's (usually client coordinates).
#pragma once

#include <memory>
#include <vector>

#include "platform/core/shape.h"
#include "platform/core/vector.h"

class xcPolygon : public xcShape {
public:
    enum FillMode { eEvenOdd = 0, eNonZero = 1 };

    // The polygon without vertices.
    xcPolygon() = default;
    explicit xcPolygon(std::vector<xcVector<2>> vertices, FillMode mode = eEvenOdd);

    const std::vector<xcVector<2>>& vertices() const { return m_v; }
    void vertices(std::vector<xcVector<2>> v) { m_v = std::move(v); }
    long numVertices() const { return static_cast<long>(m_v.size()); }
    // Vertex i, 0 <= i < numVertices(); throws xcBadArgument otherwise.
    const xcVector<2>& vertex(long i) const;
    void append(const xcVector<2>& p) { m_v.push_back(p); }

    FillMode fillMode() const { return m_mode; }
    // Throws xcBadArgument for a value that is not a fill mode.
    void fillMode(FillMode m);

    // Signed area by the shoelace formula (positive when the vertices turn from +x towards +y).
    double signedArea() const;
    // Length of the closed boundary.
    double perimeter() const;
    // True when p lies inside by the fill mode (boundary points may fall either way).
    bool contains(const xcVector<2>& p) const;

    // Every vertex mapped by x; the fill mode is kept.
    xcPolygon map(const xcXform<2>& x) const;

    // The bounding box of the vertices. Throws xcBadArgument for a polygon without vertices.
    xcRect boundingBox() const override;
    xcRect boundingBox(const xcXform<2>& x) const override;
    std::shared_ptr<xcShape> clone() const override { return std::make_shared<xcPolygon>(*this); }

    bool operator==(const xcPolygon& o) const { return m_mode == o.m_mode && m_v == o.m_v; }
    bool operator!=(const xcPolygon& o) const { return !(*this == o); }

private:
    std::vector<xcVector<2>> m_v;
    FillMode m_mode = eEvenOdd;
};
