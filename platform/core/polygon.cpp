#include "platform/core/polygon.h"

#include <string>

#include "platform/core/exception.h"

namespace {

void checkMode(xcPolygon::FillMode m) {
    if (m != xcPolygon::eEvenOdd && m != xcPolygon::eNonZero)
        throw xcBadArgument(L"Unknown polygon fill mode " + std::to_wstring(static_cast<int>(m)));
}

}  // namespace

xcPolygon::xcPolygon(std::vector<xcVector<2>> vertices, FillMode mode) {
    checkMode(mode);
    m_v = std::move(vertices);
    m_mode = mode;
}

const xcVector<2>& xcPolygon::vertex(long i) const {
    if (i < 0 || i >= numVertices())
        throw xcBadArgument(L"Polygon vertex " + std::to_wstring(i) + L" does not exist (" +
                            std::to_wstring(numVertices()) + L" vertices)");
    return m_v[static_cast<std::size_t>(i)];
}

void xcPolygon::fillMode(FillMode m) {
    checkMode(m);
    m_mode = m;
}

double xcPolygon::signedArea() const {
    double s = 0;
    const std::size_t n = m_v.size();
    for (std::size_t i = 0; i < n; ++i) s += m_v[i].cross(m_v[(i + 1) % n]);
    return 0.5 * s;
}

double xcPolygon::perimeter() const {
    double s = 0;
    const std::size_t n = m_v.size();
    if (n < 2) return 0.0;
    for (std::size_t i = 0; i < n; ++i) s += (m_v[(i + 1) % n] - m_v[i]).len();
    return s;
}

bool xcPolygon::contains(const xcVector<2>& p) const {
    // One pass over the edges gives both the crossing parity and the winding number of a
    // ray from p towards +x.
    int winding = 0;
    bool odd = false;
    const std::size_t n = m_v.size();
    for (std::size_t i = 0; i < n; ++i) {
        const xcVector<2>& a = m_v[i];
        const xcVector<2>& b = m_v[(i + 1) % n];
        const bool up = a.y() <= p.y() && b.y() > p.y();
        const bool down = a.y() > p.y() && b.y() <= p.y();
        if (!up && !down) continue;
        const double side = (b - a).cross(p - a);  // > 0: p left of a->b
        if (up && side > 0) {
            ++winding;
            odd = !odd;
        } else if (down && side < 0) {
            --winding;
            odd = !odd;
        }
    }
    return m_mode == eEvenOdd ? odd : winding != 0;
}

xcPolygon xcPolygon::map(const xcXform<2>& x) const {
    xcPolygon r;
    r.m_mode = m_mode;
    r.m_v.reserve(m_v.size());
    for (const xcVector<2>& p : m_v) r.m_v.push_back(x.mapPoint(p));
    return r;
}

xcRect xcPolygon::boundingBox() const {
    if (m_v.empty()) throw xcBadArgument(L"A polygon without vertices has no bounding box");
    return xf_BoundingBoxOfPoints(m_v.begin(), m_v.end());
}

xcRect xcPolygon::boundingBox(const xcXform<2>& x) const { return map(x).boundingBox(); }
