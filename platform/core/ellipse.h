// Conic shapes: circles, ellipses and elliptical arcs (user's frame, usually client
// coordinates; angles in radians).
//
// An ellipse has a centre c, radii rx, ry >= 0 and a rotation r; its point at parameter t is
//     p(t) = c + R(r) (rx cos t, ry sin t),
// so for a circle (rx == ry, r == 0) the parameter is the polar angle about the centre. An arc
// is the part of an ellipse from parameter `start` over `span` (negative spans run the other
// way; |span| >= 2 pi is the whole ellipse). Mapping by an affine transform gives the exact
// image: an ellipse (rebuilt with xRadius >= yRadius) and an arc whose start and span are
// converted to the new ellipse's parameter (the span changes sign under a mirroring map).
#pragma once

#include <memory>

#include "platform/core/angle.h"
#include "platform/core/shape.h"
#include "platform/core/vector.h"

class xcCircle : public xcShape {
public:
    // The unit circle about the origin.
    xcCircle() = default;
    // Throws xcBadArgument for a negative or non-finite radius.
    xcCircle(const xcVector<2>& center, double radius);

    const xcVector<2>& center() const { return m_c; }
    double radius() const { return m_r; }
    void center(const xcVector<2>& c) { m_c = c; }
    // Throws xcBadArgument (nothing changes) for a negative or non-finite radius.
    void radius(double r);

    // The point at polar angle a about the centre.
    xcVector<2> pointAt(xcRadian a) const { return m_c + xcVector<2>(cos(a), sin(a)) * m_r; }
    // True when p lies inside or on the circle.
    bool contains(const xcVector<2>& p) const { return (p - m_c).len() <= m_r; }

    xcRect boundingBox() const override;
    xcRect boundingBox(const xcXform<2>& x) const override;
    std::shared_ptr<xcShape> clone() const override { return std::make_shared<xcCircle>(*this); }

    bool operator==(const xcCircle& o) const { return m_c == o.m_c && m_r == o.m_r; }
    bool operator!=(const xcCircle& o) const { return !(*this == o); }

private:
    xcVector<2> m_c;
    double m_r = 1.0;
};

class xcEllipse2 : public xcShape {
public:
    // The unit circle about the origin.
    xcEllipse2() = default;
    // Throws xcBadArgument for a negative or non-finite radius or a non-finite rotation.
    xcEllipse2(const xcVector<2>& center, double xRadius, double yRadius,
               xcRadian rotation = xcRadian());
    // The circle as an ellipse: equal radii, no rotation.
    explicit xcEllipse2(const xcCircle& c) : m_c(c.center()), m_rx(c.radius()), m_ry(c.radius()) {}

    const xcVector<2>& center() const { return m_c; }
    double xRadius() const { return m_rx; }
    double yRadius() const { return m_ry; }
    xcRadian rotation() const { return m_rot; }
    void center(const xcVector<2>& c) { m_c = c; }

    // The point at parameter t (see the file comment).
    xcVector<2> pointAt(xcRadian t) const;
    // The transform that maps the unit circle onto the ellipse, parameter for parameter.
    xcXform<2> fromUnitCircle() const;
    // The ellipse mapped by x. Throws xcBadArgument for a non-finite transform.
    xcEllipse2 map(const xcXform<2>& x) const;

    xcRect boundingBox() const override;
    xcRect boundingBox(const xcXform<2>& x) const override;
    std::shared_ptr<xcShape> clone() const override { return std::make_shared<xcEllipse2>(*this); }

    bool operator==(const xcEllipse2& o) const {
        return m_c == o.m_c && m_rx == o.m_rx && m_ry == o.m_ry && m_rot == o.m_rot;
    }
    bool operator!=(const xcEllipse2& o) const { return !(*this == o); }

private:
    friend class xcEllipseArc2;
    // The ellipse mapped by x, and how its parameter changes: t' = sign * t + shift.
    xcEllipse2 map_(const xcXform<2>& x, double& shift, double& sign) const;

    xcVector<2> m_c;
    double m_rx = 1.0;
    double m_ry = 1.0;
    xcRadian m_rot;
};

class xcEllipseArc2 : public xcShape {
public:
    // The whole unit circle, from parameter 0 over 2 pi.
    xcEllipseArc2();
    // The arc of `ellipse` from parameter `start` over `span`. Throws xcBadArgument for a
    // non-finite angle.
    xcEllipseArc2(const xcEllipse2& ellipse, xcRadian start, xcRadian span);
    // The counter-clockwise (increasing-parameter) arc from `start` to `end`: the span is
    // (end - start) brought into [0, 2 pi).
    static xcEllipseArc2 fromStartEnd(const xcEllipse2& ellipse, xcRadian start, xcRadian end);

    const xcEllipse2& ellipse() const { return m_e; }
    xcRadian start() const { return m_start; }
    xcRadian span() const { return m_span; }
    xcRadian end() const { return m_start + m_span; }
    // True when |span| >= 2 pi.
    bool isFull() const;

    xcVector<2> startPoint() const { return m_e.pointAt(m_start); }
    xcVector<2> endPoint() const { return m_e.pointAt(end()); }

    // The arc mapped by x (see the file comment).
    xcEllipseArc2 map(const xcXform<2>& x) const;

    // The tight box: the two endpoints and every axis extreme of the ellipse that the arc
    // passes through.
    xcRect boundingBox() const override;
    xcRect boundingBox(const xcXform<2>& x) const override { return map(x).boundingBox(); }
    std::shared_ptr<xcShape> clone() const override {
        return std::make_shared<xcEllipseArc2>(*this);
    }

    bool operator==(const xcEllipseArc2& o) const {
        return m_e == o.m_e && m_start == o.m_start && m_span == o.m_span;
    }
    bool operator!=(const xcEllipseArc2& o) const { return !(*this == o); }

private:
    xcEllipse2 m_e;
    xcRadian m_start;
    xcRadian m_span;
};
