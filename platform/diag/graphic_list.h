// xcGraphicList: an ordered list of graphics, drawn in order (later ones on top).
//
// The list holds counted handles: appending shares the graphic (or, on request, a copy of
// it). Copying a list copies the handles, not the graphics; a diagnostics record keeps a copy
// of the list it is given, so appending to the caller's list afterwards does not change it.
#pragma once

#include <vector>

#include "platform/diag/graphic.h"

class xcGraphicList {
public:
    xcGraphicList() = default;

    // Appends `graphic`. With share true the list shares the object; with share false it
    // holds a deep copy made now. Throws xcBadArgument for a null handle (nothing changes).
    void append(const xcGraphicHandle_const& graphic, bool share = true);
    // Appends every graphic of `other`, shared.
    void append(const xcGraphicList& other);

    const std::vector<xcGraphicHandle_const>& items() const { return m_items; }
    long size() const { return static_cast<long>(m_items.size()); }
    bool empty() const { return m_items.empty(); }
    void clear() { m_items.clear(); }

    // Draws every graphic in order.
    void draw(xcGraphicPainter& painter, const xcXform<2>& drawingFromList) const;
    // The box holding every graphic mapped by x; a degenerate box at the origin when empty.
    xcRect boundingBox(const xcXform<2>& x) const;

private:
    std::vector<xcGraphicHandle_const> m_items;
};
