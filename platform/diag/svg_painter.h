// Module-private: the painter that turns graphics into SVG elements for the HTML report.
//
// Coordinates arrive in drawing pixels of the displayed image window (x right, y down, the
// window's upper-left pixel corner at (0, 0)) and are written as they are, with up to three
// decimals. Strokes do not scale with zoom (vector-effect: non-scaling-stroke); pen widths are
// screen pixels.
#pragma once

#include <string>

#include "platform/diag/graphic.h"

class xc_SvgPainter : public xcGraphicPainter {
public:
    // Appends to `out`, which must outlive the painter.
    explicit xc_SvgPainter(std::string& out) : m_out(out) {}

    void polyline(const std::vector<xcVector<2>>& points, bool closed, bool filled,
                  const xcGraphicProps& props) override;
    void ellipseArc(const xcEllipseArc2& arc, const xcGraphicProps& props) override;
    void pointMark(const xcVector<2>& at, double size, const xcGraphicProps& props) override;
    void label(const xcVector<2>& at, const std::wstring& text, double height,
               const xcGraphicProps& props) override;
    void beginGraphic(const std::wstring& description) override;
    void endGraphic() override;

private:
    // Writes `element` (an SVG tag name followed by its geometry attributes) stroked with
    // `props`, with its halo first when the props ask for one.
    void stroke_(const std::string& element, const xcGraphicProps& props, bool filled);

    std::string& m_out;
};
