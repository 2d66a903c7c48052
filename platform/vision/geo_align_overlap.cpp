#include "platform/vision/geo_align_overlap.h"

#include <algorithm>
#include <cmath>

#include "platform/core/polygon.h"

namespace {

// The part of `poly` on the left of the directed line e0 -> e1 (Sutherland-Hodgman, one edge).
std::vector<xcVector<2>> clipByEdge(const std::vector<xcVector<2>>& poly, const xcVector<2>& e0,
                                    const xcVector<2>& e1) {
    auto side = [&](const xcVector<2>& p) {
        return (e1.x() - e0.x()) * (p.y() - e0.y()) - (e1.y() - e0.y()) * (p.x() - e0.x());
    };
    std::vector<xcVector<2>> out;
    for (size_t j = 0; j < poly.size(); ++j) {
        const xcVector<2> p = poly[j], q = poly[(j + 1) % poly.size()];
        const double sp = side(p), sq = side(q);
        if (sp >= 0) out.push_back(p);
        if ((sp >= 0) != (sq >= 0)) {
            const double t = sp / (sp - sq);
            out.emplace_back(p.x() + t * (q.x() - p.x()), p.y() + t * (q.y() - p.y()));
        }
    }
    return out;
}

}  // namespace

double xf_GeoConvexOverlapArea(const std::vector<xcVector<2>>& a,
                               const std::vector<xcVector<2>>& b) {
    if (a.size() < 3 || b.size() < 3) return 0.0;
    // Clip a by every edge of b, b turned counter-clockwise in the mathematical sense so that
    // its inside is on the left.
    std::vector<xcVector<2>> clip = b;
    if (xcPolygon(clip).signedArea() < 0) std::reverse(clip.begin(), clip.end());
    std::vector<xcVector<2>> poly = a;
    for (size_t i = 0; i < clip.size() && !poly.empty(); ++i)
        poly = clipByEdge(poly, clip[i], clip[(i + 1) % clip.size()]);
    return poly.size() < 3 ? 0.0 : std::fabs(xcPolygon(std::move(poly)).signedArea());
}
