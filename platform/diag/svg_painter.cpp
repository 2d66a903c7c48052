#include "platform/diag/svg_painter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "platform/diag/html_text.h"

namespace {

std::string point(const xcVector<2>& p) { return xf_SvgNumber(p.x()) + "," + xf_SvgNumber(p.y()); }

const char* dashes(long style) {
    switch (style) {
        case xcGraphicProps::ePenDash:
            return " stroke-dasharray=\"6 4\"";
        case xcGraphicProps::ePenDot:
            return " stroke-dasharray=\"1.5 3\"";
        case xcGraphicProps::ePenDashDot:
            return " stroke-dasharray=\"6 3 1.5 3\"";
        default:
            return "";
    }
}

}  // namespace

void xc_SvgPainter::stroke_(const std::string& element, const xcGraphicProps& props, bool filled) {
    const long width = std::max(1L, props.penWidth());
    if (props.highlight()) {
        m_out += "<" + element + " class=\"halo\" fill=\"none\" stroke-width=\"" +
                 std::to_string(width + 3) + "\"/>";
    }
    m_out += "<" + element + " stroke=\"" + props.color().hex() + "\" stroke-width=\"" +
             std::to_string(width) + "\"" + dashes(props.penStyle());
    if (filled) {
        m_out += " fill=\"" + props.color().hex() + "\" fill-opacity=\"0.35\"";
    } else {
        m_out += " fill=\"none\"";
    }
    m_out += "/>";
}

void xc_SvgPainter::polyline(const std::vector<xcVector<2>>& points, bool closed, bool filled,
                             const xcGraphicProps& props) {
    if (points.empty()) return;
    std::string e = closed ? "polygon points=\"" : "polyline points=\"";
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (i) e += ' ';
        e += point(points[i]);
    }
    e += '"';
    stroke_(e, props, closed && filled);
}

void xc_SvgPainter::ellipseArc(const xcEllipseArc2& arc, const xcGraphicProps& props) {
    const xcEllipse2& el = arc.ellipse();
    const std::string rotation = xf_SvgNumber(xcDegree(el.rotation()).toDouble());
    if (arc.isFull()) {
        std::string e = "ellipse cx=\"" + xf_SvgNumber(el.center().x()) + "\" cy=\"" +
                        xf_SvgNumber(el.center().y()) + "\" rx=\"" + xf_SvgNumber(el.xRadius()) +
                        "\" ry=\"" + xf_SvgNumber(el.yRadius()) + "\"";
        if (rotation != "0") {
            e += " transform=\"rotate(" + rotation + " " + xf_SvgNumber(el.center().x()) + " " +
                 xf_SvgNumber(el.center().y()) + ")\"";
        }
        stroke_(e, props, false);
        return;
    }
    // The parameter grows from the ellipse's x axis towards its y axis, which is SVG's
    // positive-angle (sweep 1) direction.
    const double span = arc.span().toDouble();
    const bool large = std::fabs(span) > std::numbers::pi;
    const bool sweep = span > 0.0;
    std::string e = "path d=\"M " + point(arc.startPoint()) + " A " + xf_SvgNumber(el.xRadius()) +
                    " " + xf_SvgNumber(el.yRadius()) + " " + rotation + " " + (large ? "1" : "0") +
                    " " + (sweep ? "1" : "0") + " " + point(arc.endPoint()) + "\"";
    stroke_(e, props, false);
}

void xc_SvgPainter::pointMark(const xcVector<2>& at, double size, const xcGraphicProps& props) {
    const std::string x = xf_SvgNumber(at.x()), y = xf_SvgNumber(at.y());
    stroke_("circle cx=\"" + x + "\" cy=\"" + y + "\" r=\"" + xf_SvgNumber(size) + "\"", props,
            false);
    stroke_("path d=\"M " + xf_SvgNumber(at.x() - size) + " " + y + " H " +
                xf_SvgNumber(at.x() + size) + " M " + x + " " + xf_SvgNumber(at.y() - size) +
                " V " + xf_SvgNumber(at.y() + size) + "\"",
            props, false);
}

void xc_SvgPainter::label(const xcVector<2>& at, const std::wstring& text, double height,
                          const xcGraphicProps& props) {
    m_out += "<text x=\"" + xf_SvgNumber(at.x()) + "\" y=\"" + xf_SvgNumber(at.y()) +
             "\" font-size=\"" + xf_SvgNumber(height) + "\" fill=\"" + props.color().hex() + "\">" +
             xf_HtmlEscape(text) + "</text>";
}

void xc_SvgPainter::beginGraphic(const std::wstring& description) {
    m_out += "<g class=\"gr\"><title>" + xf_HtmlEscape(description) + "</title>";
}

void xc_SvgPainter::endGraphic() { m_out += "</g>\n"; }
