#include "platform/diag/color.h"

#include <cstdio>
#include <sstream>

#include "platform/core/exception.h"

std::string xcColor::hex() const {
    char buf[8];
    std::snprintf(buf, sizeof buf, "#%02x%02x%02x", m_r, m_g, m_b);
    return buf;
}

xcGraphicProps::xcGraphicProps(const xcColor& color, long penWidth, long penStyle, bool highlight)
    : m_color(color), m_width(penWidth), m_style(penStyle), m_highlight(highlight) {
    if (penWidth < 0) {
        std::wostringstream os;
        os << L"Pen width must be >= 0, not " << penWidth;
        throw xcBadArgument(os.str());
    }
    if (penStyle < ePenSolid || penStyle > ePenDashDot) {
        std::wostringstream os;
        os << L"Unknown pen style " << penStyle << L" (0 solid, 1 dash, 2 dot, 3 dash-dot)";
        throw xcBadArgument(os.str());
    }
}
