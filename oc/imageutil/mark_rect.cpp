#include "oc/imageutil/mark_rect.h"

#include <algorithm>
#include <array>

#include "platform/clevel/assert.h"
#include "platform/vision/threshold.h"

namespace {

constexpr unsigned char kCare = 128;

// Decides the polarity from the outline of S: 2 when more of it is below t (a dark
// background), 1 when fewer, 4 when as many.
xcOCDefs::Polarity borderPolarity(const xcPelBuffer_const<unsigned char>& image,
                                  const xcPelBuffer_const<unsigned char>* mask,
                                  const xcPelRect& s, int t) {
    long dark = 0, light = 0;
    auto count = [&](long x, long y) { (*image.pelPointer(x, y) < t ? dark : light) += 1; };
    const long x1 = s.x() + s.width() - 1, y1 = s.y() + s.height() - 1;
    if (!mask) {
        for (long x = s.x(); x <= x1; ++x) {
            count(x, s.y());
            count(x, y1);
        }
        for (long y = s.y(); y <= y1; ++y) {
            count(s.x(), y);
            count(x1, y);
        }
    } else {
        auto care = [&](long x, long y) { return *mask->pelPointer(x, y) >= kCare; };
        for (long y = s.y(); y <= y1; ++y) {
            long first = s.x();
            while (first <= x1 && !care(first, y)) ++first;
            if (first > x1) continue;
            count(first, y);
            long last = x1;
            while (last > first && !care(last, y)) --last;
            if (last > first) count(last, y);
        }
        for (long x = s.x(); x <= x1; ++x) {
            long first = s.y();
            while (first <= y1 && !care(x, first)) ++first;
            if (first > y1) continue;
            count(x, first);
            long last = y1;
            while (last > first && !care(x, last)) --last;
            if (last > first) count(x, last);
        }
    }
    if (dark == light) return xcOCDefs::ePolarityUnknown;
    return dark > light ? xcOCDefs::eLightOnDark : xcOCDefs::eDarkOnLight;
}

xcVector<2> lowerLeft(const xcPelBuffer_const<unsigned char>& image, const xcPelRect& area) {
    return image.clientFromImageXform().mapPoint(area.ll().toVector());
}

}  // namespace

bool xf_DetectMarkRect_(const xcPelBuffer_const<unsigned char>& image, const xcPelRect& area,
                        const xcPelBuffer_const<unsigned char>& mask, bool blank,
                        xcOCDefs::Polarity polarity, xcRect& out) {
    out = xcRect();
    if (blank) return false;
    xcPelBuffer_const<unsigned char> img = image;
    img.window(area, false);
    xcPelBuffer_const<unsigned char> msk = mask;
    const bool hasMask = msk.isBound();
    if (hasMask) msk.window(area, false);

    xcThresholdResult threshold;
    if (hasMask)
        xfThresholdWGV(img, msk, threshold);
    else
        xfThresholdWGV(img, threshold);
    const int t = threshold.threshold();

    xcPelRect s = img.window();
    if (hasMask) s = s.intersect(msk.window());
    if (polarity == xcOCDefs::ePolarityUnknown && threshold.score() > 0.0)
        polarity = borderPolarity(img, hasMask ? &msk : nullptr, s, t);
    if (polarity == xcOCDefs::ePolarityUnknown) return false;

    std::array<unsigned char, 256> table{};
    for (int v = 0; v < 256; ++v)
        table[v] = polarity == xcOCDefs::eLightOnDark ? (v >= t) : (v < t);
    auto mark = [&](long x, long y) {
        return table[*img.pelPointer(x, y)] && (!hasMask || *msk.pelPointer(x, y) >= kCare);
    };
    if (s.isNull()) return false;
    const long x1 = s.x() + s.width() - 1, y1 = s.y() + s.height() - 1;

    long yb = y1;
    for (; yb >= s.y(); --yb) {
        bool any = false;
        for (long x = s.x(); x <= x1 && !any; ++x) any = mark(x, yb);
        if (any) break;
    }
    if (yb < s.y()) return false;
    long xl = s.x();
    for (; xl <= x1; ++xl) {
        bool any = false;
        for (long y = s.y(); y <= yb && !any; ++y) any = mark(xl, y);
        if (any) break;
    }
    long yt = s.y();
    for (; yt <= y1; ++yt) {
        bool any = false;
        for (long x = s.x(); x <= x1 && !any; ++x) any = mark(x, yt);
        if (any) break;
    }
    long xr = x1;
    for (; xr >= s.x(); --xr) {
        bool any = false;
        for (long y = yt; y <= y1 && !any; ++y) any = mark(xr, y);
        if (any) break;
    }
    if (xl > x1 || yt > y1 || xr < s.x()) xstd_assert_(__LINE__, "mark without upper-right corner");

    const xcXform<2>& c = image.clientFromImageXform();
    const xcVector<2> a = c.mapPoint(xcVector<2>(static_cast<double>(xl), yb + 1.0));
    const xcVector<2> b = c.mapPoint(xcVector<2>(xr + 1.0, static_cast<double>(yt)));
    const double minX = std::min(a.x(), b.x()), minY = std::min(a.y(), b.y());
    out = xcRect(minX, minY, std::max(a.x(), b.x()) - minX, std::max(a.y(), b.y()) - minY);
    return true;
}

bool xf_computeOriginImageCenter_(const xcPelBuffer_const<unsigned char>& image,
                                  const xcPelRect& area, const xcPelBuffer_const<unsigned char>&,
                                  xcVector<2>& out) {
    out = image.clientFromImageXform().mapPoint(
        xcVector<2>(area.x() + 0.5 * area.width(), area.y() + 0.5 * area.height()));
    return true;
}

bool xf_computeOriginImageLowerLeft_(const xcPelBuffer_const<unsigned char>& image,
                                     const xcPelRect& area,
                                     const xcPelBuffer_const<unsigned char>&, xcVector<2>& out) {
    out = lowerLeft(image, area);
    return true;
}

bool xf_computeOriginDetectedMarkLowerLeft_(const xcPelBuffer_const<unsigned char>& image,
                                            const xcPelRect& area,
                                            const xcPelBuffer_const<unsigned char>& mask,
                                            bool blank, bool hasDetected, const xcRect& detected,
                                            xcOCDefs::Polarity polarity, xcVector<2>& out) {
    if (!image.isBound() || blank) {
        out = lowerLeft(image, area);
        return false;
    }
    if (hasDetected) {
        if (detected.degen()) {
            out = lowerLeft(image, area);
            return false;
        }
        out = detected.ll();
        return true;
    }
    xcRect found;
    if (xf_DetectMarkRect_(image, area, mask, false, polarity, found)) {
        out = found.ll();
        return true;
    }
    out = lowerLeft(image, area);
    return false;
}

bool xf_computeOriginSpecifiedMarkLowerLeft_(const xcPelBuffer_const<unsigned char>& image,
                                             const xcPelRect& area,
                                             const xcPelBuffer_const<unsigned char>& mask,
                                             bool blank, bool markSpecified,
                                             const xcRect& markRect, bool hasDetected,
                                             const xcRect& detected, xcOCDefs::Polarity polarity,
                                             xcVector<2>& out) {
    if (!image.isBound() || blank) {
        out = lowerLeft(image, area);
        return false;
    }
    if (markSpecified) {
        out = markRect.ll();
        return true;
    }
    xf_computeOriginDetectedMarkLowerLeft_(image, area, mask, blank, hasDetected, detected,
                                           polarity, out);
    return false;
}
