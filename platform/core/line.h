// Straight lines and line segments in the plane (user's frame, usually client coordinates).
//
// xcLine is infinite: a point on it and a unit direction (its angle in radians, atan2 of the
// direction). Signed distances are positive on the left of the direction, that is towards
// direction.perp() (the direction turned by +90 degrees). Along-line coordinates are measured
// from the line's point in the direction. xcLineSeg is the bounded piece between two
// endpoints and is a shape (it has a bounding box).
#pragma once

#include <memory>

#include "platform/core/angle.h"
#include "platform/core/shape.h"
#include "platform/core/vector.h"

class xcLine {
public:
    // The x axis: through (0, 0) with angle 0.
    xcLine() = default;
    // Through `point` in the direction of `angle`.
    xcLine(const xcVector<2>& point, xcRadian angle);
    // Through `point` along `direction`; throws xcBadArgument for a zero or non-finite
    // direction.
    static xcLine fromPointDirection(const xcVector<2>& point, const xcVector<2>& direction);
    // Through p (its point) and q, directed from p to q; throws xcBadArgument when p == q.
    static xcLine fromPoints(const xcVector<2>& p, const xcVector<2>& q);

    const xcVector<2>& point() const { return m_p; }
    // The unit direction.
    const xcVector<2>& direction() const { return m_d; }
    // The unit normal: the direction turned by +90 degrees.
    xcVector<2> normal() const { return m_d.perp(); }
    xcRadian angle() const { return xcRadian(m_d.angle()); }

    // Signed distance of p: positive on the normal's side.
    double signedDistance(const xcVector<2>& p) const { return normal().dot(p - m_p); }
    double distance(const xcVector<2>& p) const { return std::fabs(signedDistance(p)); }
    // Along-line coordinate of p's projection.
    double along(const xcVector<2>& p) const { return m_d.dot(p - m_p); }
    // The point of the line nearest to p.
    xcVector<2> project(const xcVector<2>& p) const { return m_p + m_d * along(p); }
    // The point at along-line coordinate t.
    xcVector<2> pointAt(double t) const { return m_p + m_d * t; }

    // The common point of two lines. Throws xcBadArgument when they are parallel.
    xcVector<2> intersect(const xcLine& o) const;
    // The line mapped by x (point mapped, direction mapped and renormalised). Throws
    // xcBadArgument when x flattens the direction to zero.
    xcLine map(const xcXform<2>& x) const;

    bool operator==(const xcLine& o) const { return m_p == o.m_p && m_d == o.m_d; }
    bool operator!=(const xcLine& o) const { return !(*this == o); }

private:
    xcVector<2> m_p{0.0, 0.0};
    xcVector<2> m_d{1.0, 0.0};
};

class xcLineSeg : public xcShape {
public:
    // The segment from (0, 0) to (0, 0).
    xcLineSeg() = default;
    xcLineSeg(const xcVector<2>& p1, const xcVector<2>& p2) : m_p1(p1), m_p2(p2) {}

    const xcVector<2>& p1() const { return m_p1; }
    const xcVector<2>& p2() const { return m_p2; }
    void p1(const xcVector<2>& p) { m_p1 = p; }
    void p2(const xcVector<2>& p) { m_p2 = p; }

    double length() const { return (m_p2 - m_p1).len(); }
    xcVector<2> midpoint() const { return (m_p1 + m_p2) * 0.5; }
    // Direction from p1 to p2 (radians); 0 for a zero-length segment.
    xcRadian angle() const { return xcRadian((m_p2 - m_p1).angle()); }
    // The infinite line through p1 and p2, directed from p1 to p2. Throws xcBadArgument for a
    // zero-length segment.
    xcLine line() const { return xcLine::fromPoints(m_p1, m_p2); }
    // Distance from p to the nearest point of the segment.
    double distance(const xcVector<2>& p) const;

    xcLineSeg map(const xcXform<2>& x) const { return {x.mapPoint(m_p1), x.mapPoint(m_p2)}; }

    xcRect boundingBox() const override;
    xcRect boundingBox(const xcXform<2>& x) const override { return map(x).boundingBox(); }
    std::shared_ptr<xcShape> clone() const override { return std::make_shared<xcLineSeg>(*this); }

    bool operator==(const xcLineSeg& o) const { return m_p1 == o.m_p1 && m_p2 == o.m_p2; }
    bool operator!=(const xcLineSeg& o) const { return !(*this == o); }

private:
    xcVector<2> m_p1;
    xcVector<2> m_p2;
};
