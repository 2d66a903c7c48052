#include "platform/core/pel_ops.h"

#include <algorithm>

namespace {

using Pel = unsigned char;

// Applies op(srcRow, dstRow, width) to every row of r. Rows are addressed in image
// coordinates, so src and dst may have different roots and offsets.
template <class Op>
void forRows(const xcPelBuffer_const<Pel>& src, const xcPelBuffer<Pel>& dst, const xcPelRect& r,
             Op op) {
    for (long y = r.y(); y < r.y() + r.height(); ++y)
        op(src.pelPointer(r.x(), y), dst.pelPointer(r.x(), y), r.width());
}

void mapRow(const Pel* s, Pel* d, long n, const Pel* table) {
    long x = 0;
    for (; x + 4 <= n; x += 4) {  // four independent loads per step
        const Pel a = table[s[x]], b = table[s[x + 1]], c = table[s[x + 2]], e = table[s[x + 3]];
        d[x] = a;
        d[x + 1] = b;
        d[x + 2] = c;
        d[x + 3] = e;
    }
    for (; x < n; ++x) d[x] = table[s[x]];
}

template <bool kMin>
xcPelRect minMax(const xcPelBuffer_const<Pel>& a, const xcPelBuffer_const<Pel>& b,
                 const xcPelBuffer<Pel>& dst) {
    const xcPelRect r = a.window().intersect(b.window()).intersect(dst.window());
    for (long y = r.y(); y < r.y() + r.height(); ++y) {
        const Pel* pa = a.pelPointer(r.x(), y);
        const Pel* pb = b.pelPointer(r.x(), y);
        Pel* pd = dst.pelPointer(r.x(), y);
        const long n = r.width();
        for (long x = 0; x < n; ++x) {
            const Pel u = pa[x], v = pb[x];
            pd[x] = kMin ? (u < v ? u : v) : (u > v ? u : v);
        }
    }
    return r;
}

// The extreme of one row; a plain reduction, which the compiler turns into vector code.
template <bool kMin>
Pel rowExtreme(const Pel* p, long n, Pel best) {
    for (long x = 0; x < n; ++x) {
        const Pel v = p[x];
        best = kMin ? (v < best ? v : best) : (v > best ? v : best);
    }
    return best;
}

template <bool kMin>
Pel extreme(const xcPelBuffer_const<Pel>& buf) {
    const xcPelRect r = buf.window();
    if (r.isNull())
        throw xcBadArgument(kMin ? L"Smallest pixel value of an empty window"
                                 : L"Largest pixel value of an empty window");
    constexpr Pel kLimit = kMin ? 0 : 255;
    Pel best = kMin ? 255 : 0;
    for (long y = r.y(); y < r.y() + r.height() && best != kLimit; ++y)
        best = rowExtreme<kMin>(buf.rowPointer(y), r.width(), best);
    return best;
}

// Counts into four interleaved tables, so that runs of equal pixels do not serialise on one
// counter, then folds them.
void histogramRows(const xcPelBuffer_const<Pel>& buf, const xcPelRect& r, std::vector<long>& hist) {
    std::vector<long> t(4 * 256, 0);
    long* t0 = t.data();
    long* t1 = t0 + 256;
    long* t2 = t1 + 256;
    long* t3 = t2 + 256;
    for (long y = r.y(); y < r.y() + r.height(); ++y) {
        const Pel* p = buf.pelPointer(r.x(), y);
        const long n = r.width();
        long x = 0;
        for (; x + 4 <= n; x += 4) {
            ++t0[p[x]];
            ++t1[p[x + 1]];
            ++t2[p[x + 2]];
            ++t3[p[x + 3]];
        }
        for (; x < n; ++x) ++t0[p[x]];
    }
    for (int v = 0; v < 256; ++v) hist[v] += t0[v] + t1[v] + t2[v] + t3[v];
}

}  // namespace

void xfPelMap(const xcPelBuffer<Pel>& buf, const xcPelMapTable& table) {
    const xcPelRect r = buf.window();
    forRows(buf, buf, r, [&](const Pel* s, Pel* d, long n) { mapRow(s, d, n, table.data()); });
}

xcPelRect xfPelMap(const xcPelBuffer_const<Pel>& src, const xcPelBuffer<Pel>& dst,
                   const xcPelMapTable& table) {
    const xcPelRect r = src.window().intersect(dst.window());
    forRows(src, dst, r, [&](const Pel* s, Pel* d, long n) { mapRow(s, d, n, table.data()); });
    return r;
}

xcPelRect xfPelMin(const xcPelBuffer_const<Pel>& a, const xcPelBuffer_const<Pel>& b,
                   const xcPelBuffer<Pel>& dst) {
    return minMax<true>(a, b, dst);
}

xcPelRect xfPelMax(const xcPelBuffer_const<Pel>& a, const xcPelBuffer_const<Pel>& b,
                   const xcPelBuffer<Pel>& dst) {
    return minMax<false>(a, b, dst);
}

Pel xfPelMin(const xcPelBuffer_const<Pel>& buf) { return extreme<true>(buf); }

Pel xfPelMax(const xcPelBuffer_const<Pel>& buf) { return extreme<false>(buf); }

std::vector<long> xfPelHistogram(const xcPelBuffer_const<Pel>& buf) {
    std::vector<long> hist(256, 0);
    const xcPelRect r = buf.window();
    if (!r.isNull()) histogramRows(buf, r, hist);
    return hist;
}

std::vector<long> xfPelHistogram(const xcPelBuffer_const<Pel>& buf,
                                 const xcPelBuffer_const<Pel>& mask) {
    const xcPelRect r = buf.window().intersect(mask.window());
    std::vector<long> hist(256, 0);
    for (long y = r.y(); y < r.y() + r.height(); ++y) {
        const Pel* p = buf.pelPointer(r.x(), y);
        const Pel* m = mask.pelPointer(r.x(), y);
        const long n = r.width();
        for (long x = 0; x < n; ++x) hist[p[x]] += m[x] >> 7;  // 1 exactly when m >= 128
    }
    return hist;
}
