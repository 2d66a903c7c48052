#include "oc/imageutil/background_pad.h"

#include <algorithm>
#include <vector>

#include "oc/imageutil/care_region.h"
#include "platform/clevel/assert.h"
#include "platform/clevel/memory.h"
#include "platform/core/pel_ops.h"
#include "platform/core/status.h"

void xf_OCRunningMedian(unsigned char* line, long n) {
    if (n < 0) xstd_assert_(__LINE__, "negative line length");
    if (line == nullptr && n > 0) xstd_assert_(__LINE__, "null line");
    const long h = n / 4;
    if (h == 0) return;
    std::vector<unsigned char> out(static_cast<std::size_t>(n));
    // A histogram slides along the line: each output is the window's element at index
    // (length / 2) in ascending order, the upper median for even lengths.
    long hist[256] = {};
    long lo = 0, hi = -1;  // current window [lo, hi]
    for (long i = 0; i < n; ++i) {
        const long a = std::max(i - h, 0L), b = std::min(i + h, n - 1);
        while (hi < b) ++hist[line[++hi]];
        while (lo < a) --hist[line[lo++]];
        long rank = (b - a + 1) / 2, v = 0;
        for (long acc = hist[0]; acc <= rank; acc += hist[++v]) {
        }
        out[static_cast<std::size_t>(i)] = static_cast<unsigned char>(v);
    }
    std::copy(out.begin(), out.end(), line);
}

void xf_OCBackgroundPadImage(xcPelBuffer<unsigned char>& image, const xcPelRect& care) {
    const xcPelRect w = image.window();
    if (care.isNull() || !w.contains(care)) xstd_assert_(__LINE__, "care rectangle outside image");
    const long wRight = w.x() + w.width() - 1, wBottom = w.y() + w.height() - 1;
    const long rRight = care.x() + care.width() - 1, rBottom = care.y() + care.height() - 1;
    const long top = w.y() < care.y() ? care.y() - w.y() : 0;
    const long bottom = wBottom > rBottom ? wBottom - rBottom : 0;
    const long left = care.x() - w.x(), right = wRight - rRight;

    auto band = [&](long edgeRow, long count, long step) {
        const long first = edgeRow + step;
        unsigned char* row = image.rowPointer(first);
        xfThrowExceptionOnFailure(xsys_memory_copy(static_cast<std::size_t>(care.width()),
                                                   image.pelPointer(care.x(), edgeRow),
                                                   image.pelPointer(care.x(), first)));
        std::fill(row, row + left, row[left]);
        std::fill(row + left + care.width(), row + w.width(), row[left + care.width() - 1]);
        xf_OCRunningMedian(row, w.width());
        for (long k = 1; k < count; ++k)
            std::copy(row, row + w.width(), image.rowPointer(first + k * step));
    };
    if (top >= 1) band(care.y(), top, -1);
    if (bottom >= 1) band(rBottom, bottom, +1);

    if (left >= 1 || right >= 1) {
        const long y0 = std::max(w.y(), care.y()), y1 = std::min(wBottom, rBottom);
        std::vector<unsigned char> first, last;
        for (long y = y0; y <= y1; ++y) {
            first.push_back(*image.pelPointer(care.x(), y));
            last.push_back(*image.pelPointer(rRight, y));
        }
        xf_OCRunningMedian(first.data(), static_cast<long>(first.size()));
        xf_OCRunningMedian(last.data(), static_cast<long>(last.size()));
        for (long y = y0; y <= y1; ++y) {
            unsigned char* row = image.rowPointer(y);
            std::fill(row, row + left, first[static_cast<std::size_t>(y - y0)]);
            std::fill(row + left + care.width(), row + w.width(),
                      last[static_cast<std::size_t>(y - y0)]);
        }
    }
}

void xf_OCBackgroundPadImage(xcPelBuffer_const<unsigned char>& image, const xcPelRect& care) {
    xcPelBuffer<unsigned char> copy = xfPelCopy(image);
    xf_OCBackgroundPadImage(copy, care);
    image = copy;
}

namespace {

// Pads image (and the mask while it stays bound) to the mask's care region within rect. The
// care region is found on a read-only view of the mask, whose narrowing or unbinding
// `adopt` carries over to the caller's mask handle.
template <class Image, class Mask, class Adopt>
void padToCareRegion(Image& image, Mask& mask, unsigned char careValue, const xcPelRect& rect,
                     bool& ok, Adopt adopt) {
    if (!image.isBound()) xstd_assert_(__LINE__, "image must be bound");
    if (!image.window().contains(rect)) xstd_assert_(__LINE__, "image must contain rect");
    xcPelRect r = rect;
    ok = true;
    if (mask.isBound()) {
        xcPelBuffer_const<unsigned char> view = mask;
        r = xf_OCWindowMaskCareRegion(view, careValue, ok).intersect(rect);
        adopt(view);
    }
    if (ok && r.isNull()) ok = false;  // the care pixels lie outside rect: nothing to continue
    if (!ok) return;
    xf_OCBackgroundPadImage(image, r);
    if (mask.isBound()) xf_OCBackgroundPadImage(mask, r);
}

}  // namespace

void xf_OCBackgroundPadImage(xcPelBuffer<unsigned char>& image, xcPelBuffer<unsigned char>& mask,
                             unsigned char careValue, const xcPelRect& rect, bool& ok) {
    padToCareRegion(image, mask, careValue, rect, ok,
                    [&](const xcPelBuffer_const<unsigned char>& view) {
                        if (view.isBound())
                            mask.window(view.window(), false);
                        else
                            mask.unbind();
                    });
}

void xf_OCBackgroundPadImage(xcPelBuffer_const<unsigned char>& image,
                             xcPelBuffer_const<unsigned char>& mask, unsigned char careValue,
                             const xcPelRect& rect, bool& ok) {
    padToCareRegion(image, mask, careValue, rect, ok,
                    [&](const xcPelBuffer_const<unsigned char>& view) { mask = view; });
}
