#include "platform/diag/graphic_list.h"

#include <cstdio>

#include "platform/core/exception.h"

void xcGraphic::draw(xcGraphicPainter& painter, const xcXform<2>& drawingFromGraphic) const {
    painter.beginGraphic(describe());
    drawShape_(painter, drawingFromGraphic);
    painter.endGraphic();
}

std::wstring xf_PointText(const xcVector<2>& p) {
    wchar_t buf[80];
    std::swprintf(buf, sizeof buf / sizeof buf[0], L"(%.6g, %.6g)", p.x(), p.y());
    return buf;
}

void xcGraphicList::append(const xcGraphicHandle_const& graphic, bool share) {
    if (graphic.isNull()) throw xcBadArgument(L"xcGraphicList::append: null graphic handle");
    if (share) {
        m_items.push_back(graphic);
    } else {
        m_items.push_back(xcGraphicHandle_const(graphic->clone()));
    }
}

void xcGraphicList::append(const xcGraphicList& other) {
    m_items.insert(m_items.end(), other.m_items.begin(), other.m_items.end());
}

void xcGraphicList::draw(xcGraphicPainter& painter, const xcXform<2>& drawingFromList) const {
    for (const auto& g : m_items) g->draw(painter, drawingFromList);
}

xcRect xcGraphicList::boundingBox(const xcXform<2>& x) const {
    bool any = false;
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    for (const auto& g : m_items) {
        const xcRect b = g->boundingBox(x);
        if (!any) {
            x0 = b.ul().x(), y0 = b.ul().y(), x1 = b.lr().x(), y1 = b.lr().y();
            any = true;
        } else {
            x0 = std::min(x0, b.ul().x()), y0 = std::min(y0, b.ul().y());
            x1 = std::max(x1, b.lr().x()), y1 = std::max(y1, b.lr().y());
        }
    }
    return xcRect(x0, y0, x1 - x0, y1 - y0);
}
