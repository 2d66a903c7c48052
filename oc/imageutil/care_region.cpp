#include "oc/imageutil/care_region.h"

#include "platform/clevel/assert.h"

namespace {

bool rowHasCare(const xcPelBuffer_const<unsigned char>& m, long y, long x0, long x1,
                unsigned char care) {
    const unsigned char* row = m.pelPointer(x0, y);
    for (long x = x0; x <= x1; ++x, ++row)
        if (*row >= care) return true;
    return false;
}

bool columnHasCare(const xcPelBuffer_const<unsigned char>& m, long x, long y0, long y1,
                   unsigned char care) {
    for (long y = y0; y <= y1; ++y)
        if (*m.pelPointer(x, y) >= care) return true;
    return false;
}

}  // namespace

xcPelRect xf_OCWindowMaskCareRegion(xcPelBuffer_const<unsigned char>& mask,
                                    unsigned char careValue, bool& ok) {
    ok = true;
    if (!mask.isBound()) return xcPelRect();
    const xcPelRect w = mask.window();
    const long xEnd = w.x() + w.width() - 1, yEnd = w.y() + w.height() - 1;

    long top = w.y();
    while (top <= yEnd && !rowHasCare(mask, top, w.x(), xEnd, careValue)) ++top;
    if (top > yEnd) {
        mask.unbind();
        ok = false;
        return xcPelRect();
    }
    long bottom = yEnd;
    while (bottom > top && !rowHasCare(mask, bottom, w.x(), xEnd, careValue)) --bottom;
    long left = w.x();
    while (left <= xEnd && !columnHasCare(mask, left, top, bottom, careValue)) ++left;
    long right = xEnd;
    while (right > left && !columnHasCare(mask, right, top, bottom, careValue)) --right;
    if (left > right || top > bottom) xstd_assert_(__LINE__, "care region is empty");

    const xcPelRect region(left, top, right - left + 1, bottom - top + 1);
    ok = !region.isNull();

    bool holes = false;
    for (long y = top; y <= bottom && !holes; ++y) {
        const unsigned char* row = mask.pelPointer(left, y);
        for (long x = 0; x < region.width(); ++x)
            if (row[x] < careValue) {
                holes = true;
                break;
            }
    }
    if (holes)
        mask.window(region, false);
    else
        mask.unbind();
    return region;
}
