#include "platform/core/range.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

#include "platform/core/exception.h"
#include "platform/core/math_util.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

void checkEnds(double start, double end) {
    if (std::isnan(start) || std::isnan(end))
        throw xcBadArgument(L"Range ends must not be NaN");
    if (start > end) {
        std::wostringstream os;
        os << L"Range start " << start << L" is greater than its end " << end;
        throw xcBadArgument(os.str());
    }
}

}  // namespace

xcRange::xcRange(double start, double end) {
    checkEnds(start, end);
    m_kind = eNormal;
    m_start = start;
    m_end = end;
}

xcRange::xcRange(Kind kind, double start, double end) {
    switch (kind) {
        case eNormal: *this = xcRange(start, end); return;
        case eEmpty: return;
        case eFull: *this = full(); return;
    }
    throw xcBadArgument(L"Unknown range kind " + std::to_wstring(static_cast<int>(kind)));
}

xcRange xcRange::full() {
    xcRange r;
    r.m_kind = eFull;
    r.m_start = -kInf;
    r.m_end = kInf;
    return r;
}

void xcRange::start(double v) {
    double e = m_kind == eNormal ? m_end : (m_kind == eEmpty ? v : kInf);
    checkEnds(v, e);
    *this = xcRange(v, e);
}

void xcRange::end(double v) {
    double s = m_kind == eNormal ? m_start : (m_kind == eEmpty ? v : -kInf);
    checkEnds(s, v);
    *this = xcRange(s, v);
}

double xcRange::length() const {
    switch (m_kind) {
        case eNormal: return m_end - m_start;
        case eEmpty: return 0.0;
        case eFull: return kInf;
    }
    return 0.0;
}

double xcRange::middle() const { return m_kind == eNormal ? 0.5 * (m_start + m_end) : 0.0; }

bool xcRange::contains(double v) const {
    switch (m_kind) {
        case eNormal: return v >= m_start && v <= m_end;
        case eEmpty: return false;
        case eFull: return !std::isnan(v);
    }
    return false;
}

bool xcRange::contains(const xcRange& r) const {
    if (r.m_kind == eEmpty) return true;
    if (m_kind == eFull) return true;
    if (m_kind == eEmpty || r.m_kind == eFull) return false;
    return r.m_start >= m_start && r.m_end <= m_end;
}

xcRange xcRange::intersect(const xcRange& r) const {
    if (m_kind == eEmpty || r.m_kind == eEmpty) return empty();
    if (m_kind == eFull) return r;
    if (r.m_kind == eFull) return *this;
    double s = std::max(m_start, r.m_start), e = std::min(m_end, r.m_end);
    if (s > e) return empty();
    return xcRange(s, e);
}

xcRange xcRange::enclose(const xcRange& r) const {
    if (r.m_kind == eEmpty) return *this;
    if (m_kind == eEmpty) return r;
    if (m_kind == eFull || r.m_kind == eFull) return full();
    return xcRange(std::min(m_start, r.m_start), std::max(m_end, r.m_end));
}

xcRange xcRange::enclose(double v) const {
    if (std::isnan(v)) throw xcBadArgument(L"Range ends must not be NaN");
    return enclose(xcRange(v, v));
}

double xcRange::clamp(double v) const {
    if (m_kind == eEmpty) throw xcBadArgument(L"Cannot clamp to the empty range");
    return std::clamp(v, m_start, m_end);
}

bool xcRange::operator==(const xcRange& o) const {
    if (m_kind != o.m_kind) return false;
    return m_kind != eNormal || (m_start == o.m_start && m_end == o.m_end);
}

std::wstring xcRange::text() const {
    if (m_kind == eEmpty) return L"empty";
    if (m_kind == eFull) return L"full";
    std::wostringstream os;
    os << L"[" << m_start << L", " << m_end << L"]";
    return os.str();
}

bool xfRealEq(const xcRange& a, const xcRange& b, double tol) {
    if (a.kind() != b.kind()) return false;
    if (!a.isNormal()) return true;
    return xfRealEq(a.start(), b.start(), tol) && xfRealEq(a.end(), b.end(), tol);
}
