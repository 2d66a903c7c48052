// The base of the graphics library's shapes, and the painter they draw themselves on.
//
// A graphic is a shape in some frame (image or client coordinates: the diagnostics record that
// holds it says which) with the props of its pen. Graphics are reference counted (xcRepBase)
// and held by xcGraphicHandle / xcGraphicHandle_const; a graphic list shares them.
//
// Drawing: graphic.draw(painter, drawingFromGraphic) maps the shape into the painter's
// drawing frame (for the HTML page: pixels of the displayed image window, x right, y down)
// and calls the painter's primitives with drawing coordinates. Sizes of decorations (point
// icons, arrow heads) are given in drawing pixels and do not depend on the transform.
#pragma once

#include <string>
#include <vector>

#include "platform/core/ellipse.h"
#include "platform/core/rect.h"
#include "platform/core/rep_base.h"
#include "platform/core/vector.h"
#include "platform/core/xform.h"
#include "platform/diag/color.h"

// What a drawing surface offers. All points are in drawing coordinates.
class xcGraphicPainter {
public:
    virtual ~xcGraphicPainter() = default;

    // A path through `points`, closed back to the first point when `closed`; filled with the
    // pen's colour when `filled` (only for a closed path).
    virtual void polyline(const std::vector<xcVector<2>>& points, bool closed, bool filled,
                          const xcGraphicProps& props) = 0;
    // An elliptical arc (or a whole ellipse when arc.isFull()).
    virtual void ellipseArc(const xcEllipseArc2& arc, const xcGraphicProps& props) = 0;
    // A point mark: a cross in a small circle of radius `size` drawing pixels.
    virtual void pointMark(const xcVector<2>& at, double size, const xcGraphicProps& props) = 0;
    // A short text whose baseline starts at `at`, `height` drawing pixels high.
    virtual void label(const xcVector<2>& at, const std::wstring& text, double height,
                       const xcGraphicProps& props) = 0;
    // Opens and closes the group of one graphic; `description` says what it is (a tooltip).
    virtual void beginGraphic(const std::wstring& description) = 0;
    virtual void endGraphic() = 0;
};

class xcGraphic : public xcRepBase {
public:
    ~xcGraphic() override = default;

    const xcGraphicProps& props() const { return m_props; }
    void props(const xcGraphicProps& p) { m_props = p; }

    // Draws the graphic mapped by drawingFromGraphic (see the file comment).
    void draw(xcGraphicPainter& painter, const xcXform<2>& drawingFromGraphic) const;
    // The smallest axis-aligned rectangle holding the shape mapped by x.
    virtual xcRect boundingBox(const xcXform<2>& x) const = 0;
    // What the shape is, with its coordinates in its own frame ("Line segment (1, 2) to
    // (3, 4)").
    virtual std::wstring describe() const = 0;
    // A deep copy.
    virtual xcGraphic* clone() const = 0;

protected:
    explicit xcGraphic(const xcGraphicProps& props) : m_props(props) {}
    xcGraphic(const xcGraphic&) = default;
    xcGraphic& operator=(const xcGraphic&) = default;

    // The shape's own drawing, between beginGraphic and endGraphic.
    virtual void drawShape_(xcGraphicPainter& painter, const xcXform<2>& x) const = 0;

private:
    xcGraphicProps m_props;
};

using xcGraphicHandle = xcPtrHandle<xcGraphic>;
using xcGraphicHandle_const = xcPtrHandle_const<xcGraphic>;

// "(x, y)" with up to 6 significant digits, for descriptions.
std::wstring xf_PointText(const xcVector<2>& p);
