// The shapes of the graphics library.
//
//   xcGraphicSimple<Shape>      the outline of a shape: Shape is xcAffineRectangle, xcGenRect,
//                               xcLineSeg, xcEllipseArc2, xcEllipse2, xcCircle, xcPolygon,
//                               xcRect or xcCoordAxes;
//   xcGraphicWithFill<S, G>     a shape S converted to its general form G (xcRect to xcGenRect),
//                               outlined or filled;
//   xcGraphicPointIcon          a point mark of fixed size.
// Each takes its pen as xcGraphicProps or simply as an xcColor. Shapes are in the frame of the
// record they are drawn in (image or client coordinates); see graphic.h for the drawing frame.
//
// Typical use:
//   xcGraphicList list;
//   list.append(xcGraphicHandle(new xcGraphicSimple<xcLineSeg>(seg, xcColor::greenColor())));
//   list.append(xcGraphicHandle(
//       new xcGraphicWithFill<xcRect, xcGenRect>(area, xcColor::orangeColor(), false)));
#pragma once

#include <string>
#include <type_traits>

#include "platform/core/affine_rectangle.h"
#include "platform/core/ellipse.h"
#include "platform/core/line.h"
#include "platform/core/polygon.h"
#include "platform/core/rect.h"
#include "platform/diag/graphic.h"
#include "platform/diag/graphic_geometry.h"

// ---- Drawing and describing each supported shape (module-private) -------------------------
// xf_DrawShape maps the shape by x and draws it; `fill` fills closed shapes.
void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcAffineRectangle& s,
                  const xcGraphicProps& props, bool fill);
void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcRect& s,
                  const xcGraphicProps& props, bool fill);
void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcLineSeg& s,
                  const xcGraphicProps& props, bool fill);
void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcEllipseArc2& s,
                  const xcGraphicProps& props, bool fill);
void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcEllipse2& s,
                  const xcGraphicProps& props, bool fill);
void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcCircle& s,
                  const xcGraphicProps& props, bool fill);
void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcPolygon& s,
                  const xcGraphicProps& props, bool fill);
void xf_DrawShape(xcGraphicPainter& p, const xcXform<2>& x, const xcCoordAxes& s,
                  const xcGraphicProps& props, bool fill);

std::wstring xf_DescribeShape(const xcAffineRectangle& s);
std::wstring xf_DescribeShape(const xcRect& s);
std::wstring xf_DescribeShape(const xcLineSeg& s);
std::wstring xf_DescribeShape(const xcEllipseArc2& s);
std::wstring xf_DescribeShape(const xcEllipse2& s);
std::wstring xf_DescribeShape(const xcCircle& s);
std::wstring xf_DescribeShape(const xcPolygon& s);
std::wstring xf_DescribeShape(const xcCoordAxes& s);

// The bounding box of a mapped shape (xcRect is not an xcShape).
template <class Shape>
xcRect xf_ShapeBox(const Shape& s, const xcXform<2>& x) {
    return s.boundingBox(x);
}
xcRect xf_ShapeBox(const xcRect& s, const xcXform<2>& x);
xcRect xf_ShapeBox(const xcPolygon& s, const xcXform<2>& x);

// ---- Graphics ---------------------------------------------------------------------------

// The outline of a shape.
template <class Shape>
class xcGraphicSimple : public xcGraphic {
public:
    explicit xcGraphicSimple(const Shape& shape,
                             const xcGraphicProps& props = xcColor::greenColor())
        : xcGraphic(props), m_shape(shape) {}

    const Shape& shape() const { return m_shape; }
    void shape(const Shape& s) { m_shape = s; }

    xcRect boundingBox(const xcXform<2>& x) const override { return xf_ShapeBox(m_shape, x); }
    std::wstring describe() const override { return xf_DescribeShape(m_shape); }
    xcGraphic* clone() const override { return new xcGraphicSimple(*this); }

protected:
    void drawShape_(xcGraphicPainter& p, const xcXform<2>& x) const override {
        xf_DrawShape(p, x, m_shape, props(), false);
    }

private:
    Shape m_shape;
};

// A shape held in its general form GenShape (which must be constructible from Shape), drawn
// as an outline or, with fill true, filled with the pen's colour.
template <class Shape, class GenShape>
class xcGraphicWithFill : public xcGraphic {
    static_assert(std::is_constructible_v<GenShape, const Shape&>,
                  "the general shape must be constructible from the shape");

public:
    xcGraphicWithFill(const Shape& shape, const xcGraphicProps& props, bool fill)
        : xcGraphic(props), m_shape(GenShape(shape)), m_fill(fill) {}
    // Directly from the general form (a rectangle carried into another frame, for instance).
    template <class G = GenShape, class = std::enable_if_t<!std::is_same_v<G, Shape>>>
    xcGraphicWithFill(const GenShape& shape, const xcGraphicProps& props, bool fill)
        : xcGraphic(props), m_shape(shape), m_fill(fill) {}

    const GenShape& shape() const { return m_shape; }
    bool fill() const { return m_fill; }
    void fill(bool f) { m_fill = f; }

    xcRect boundingBox(const xcXform<2>& x) const override { return xf_ShapeBox(m_shape, x); }
    std::wstring describe() const override {
        return (m_fill ? L"Filled " : L"") + xf_DescribeShape(m_shape);
    }
    xcGraphic* clone() const override { return new xcGraphicWithFill(*this); }

protected:
    void drawShape_(xcGraphicPainter& p, const xcXform<2>& x) const override {
        xf_DrawShape(p, x, m_shape, props(), m_fill);
    }

private:
    GenShape m_shape;
    bool m_fill;
};

// A point mark: a cross in a circle of `size` drawing pixels radius (see graphic.h), at
// `point` in the record's frame.
class xcGraphicPointIcon : public xcGraphic {
public:
    explicit xcGraphicPointIcon(const xcVector<2>& point,
                                const xcGraphicProps& props = xcColor::yellowColor(),
                                double size = 3.0);

    const xcVector<2>& point() const { return m_point; }
    double size() const { return m_size; }

    xcRect boundingBox(const xcXform<2>& x) const override;
    std::wstring describe() const override;
    xcGraphic* clone() const override { return new xcGraphicPointIcon(*this); }

protected:
    void drawShape_(xcGraphicPainter& p, const xcXform<2>& x) const override;

private:
    xcVector<2> m_point;
    double m_size;
};
