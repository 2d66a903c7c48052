// Module-private helpers for the enclosing rectangles of lines and line arrangements.
//
// Both compute, for each part (a character's or a line's rectangle in the frame of the caller's
// transform b), the rectangle that encloses the part under a further uncertain placement, and
// merge the results. See xcOCModel::encloseRect for the placement model.
#pragma once

#include <optional>

#include "platform/core/angle.h"
#include "platform/core/rect.h"
#include "platform/core/xform.h"

// Throws xcOCDefs::BadParams, in this order, unless t, r (radians) and s are >= 0 (a NaN
// fails): "Translation uncertainty must be >= 0", "Rotation uncertainty must be >= 0",
// "Scale uncertainty must be >= 0".
void xf_CheckPlacementUncertainties(double t, xcRadian r, double s);

// Accumulates xfEncloseRect(corners of part mapped by b^-1, a * b, c, t, t, r, s, 0, 0, 0, 1)
// over the parts added, merged with xcRect::enclose. The result is the default xcRect when no
// part was added. b is inverted at the first part (xcMath::Singular when it cannot be).
class xf_RectEncloser {
public:
    xf_RectEncloser(const xcXform<2>& a, const xcXform<2>& b, const xcXform<2>& c, double t,
                    xcRadian r, double s)
        : m_ab(a * b), m_b(b), m_c(c), m_t(t), m_r(r), m_s(s) {}

    void add(const xcRect& part);
    const xcRect& result() const { return m_result; }

private:
    xcXform<2> m_ab;
    xcXform<2> m_b;
    xcXform<2> m_c;
    double m_t;
    xcRadian m_r;
    double m_s;
    std::optional<xcXform<2>> m_bInverse;
    bool m_first = true;
    xcRect m_result;
};
