#include "platform/vision/geo_align_pyramid.h"

#include <algorithm>
#include <cmath>

#include "platform/core/attention.h"

namespace {

// Rows between attention polls: about 2^15 pixels of work.
long pollRows(long w) { return std::max(1L, 32768L / std::max(1L, w)); }

}  // namespace

xc_GeoPlane xf_GeoHalve(const xc_GeoPlane& src, std::vector<unsigned char>& store, bool binary) {
    xc_GeoPlane out;
    out.w = src.w / 2;
    out.h = src.h / 2;
    out.stride = std::max(1L, out.w);
    store.assign(static_cast<size_t>(out.stride * std::max(1L, out.h)), 0);
    out.p = store.data();
    const long polls = pollRows(2 * out.w);
    for (long y = 0; y < out.h; ++y) {
        if (y % polls == 0) xcAttention::check();
        const unsigned char* a = src.row(2 * y);
        const unsigned char* b = src.row(2 * y + 1);
        unsigned char* d = store.data() + y * out.stride;
        if (binary) {
            for (long x = 0; x < out.w; ++x) {
                const int n = (a[2 * x] >= 128) + (a[2 * x + 1] >= 128) + (b[2 * x] >= 128) +
                              (b[2 * x + 1] >= 128);
                d[x] = n >= 2 ? 255 : 0;  // mean of 0 / 255 values >= 128
            }
        } else {
            for (long x = 0; x < out.w; ++x)
                d[x] = static_cast<unsigned char>(
                    (a[2 * x] + a[2 * x + 1] + b[2 * x] + b[2 * x + 1] + 2) >> 2);
        }
    }
    return out;
}

xc_GeoPyramid::xc_GeoPyramid(const xcPelBuffer_const<unsigned char>& image,
                             const xcPelBuffer_const<unsigned char>& mask, int top) {
    const xcPelRect win = image.window();
    xc_GeoPlane p0;
    p0.w = win.width();
    p0.h = win.height();
    p0.stride = image.rowUpdate();
    p0.p = win.isNull() ? nullptr : image.pelPointer(win.x(), win.y());
    m_planes.push_back(p0);
    const bool withMask = mask.isBound();
    if (withMask) {
        xc_GeoPlane m0 = p0;
        m0.stride = mask.rowUpdate();
        m0.p = win.isNull() ? nullptr : mask.pelPointer(win.x(), win.y());
        m_maskPlanes.push_back(m0);
    }
    m_store.reserve(static_cast<size_t>(2 * std::max(0, top)));
    for (int l = 1; l <= top; ++l) {
        const xc_GeoPlane& prev = m_planes.back();
        if (prev.w < 2 || prev.h < 2) break;
        m_store.emplace_back();
        m_planes.push_back(xf_GeoHalve(prev, m_store.back()));
        if (withMask) {
            m_store.emplace_back();
            m_maskPlanes.push_back(xf_GeoHalve(m_maskPlanes.back(), m_store.back(), true));
        }
    }
}

void xf_GeoSobel(const xc_GeoPlane& plane, const xc_GeoPlane* mask, long x0, long y0, long w,
                 long h, std::int16_t* gx, std::int16_t* gy, long stride) {
    const long W = plane.w, H = plane.h;
    for (long j = 0; j < h; ++j) {
        const long y = y0 + j;
        const unsigned char* r0 = plane.row(std::max(0L, y - 1));
        const unsigned char* r1 = plane.row(y);
        const unsigned char* r2 = plane.row(std::min(H - 1, y + 1));
        std::int16_t* ox = gx + j * stride;
        std::int16_t* oy = gy + j * stride;
        // Columns whose neighbours lie inside the plane go through the plain loop; the first
        // and last columns of the plane replicate their border pixel.
        const long xa = std::max(x0, 1L);
        const long xb = std::min(x0 + w, W - 1);
        auto one = [&](long x) {
            const long xm = std::max(0L, x - 1), xp = std::min(W - 1, x + 1);
            const int dx = (r0[xp] - r0[xm]) + 2 * (r1[xp] - r1[xm]) + (r2[xp] - r2[xm]);
            const int dy = (r2[xm] + 2 * r2[x] + r2[xp]) - (r0[xm] + 2 * r0[x] + r0[xp]);
            ox[x - x0] = static_cast<std::int16_t>(dx);
            oy[x - x0] = static_cast<std::int16_t>(dy);
        };
        for (long x = x0; x < std::min(xa, x0 + w); ++x) one(x);
        for (long x = xa; x < xb; ++x) {
            const int dx =
                (r0[x + 1] - r0[x - 1]) + 2 * (r1[x + 1] - r1[x - 1]) + (r2[x + 1] - r2[x - 1]);
            const int dy =
                (r2[x - 1] + 2 * r2[x] + r2[x + 1]) - (r0[x - 1] + 2 * r0[x] + r0[x + 1]);
            ox[x - x0] = static_cast<std::int16_t>(dx);
            oy[x - x0] = static_cast<std::int16_t>(dy);
        }
        for (long x = std::max(xb, x0); x < x0 + w; ++x) one(x);
        if (mask) {
            const unsigned char* m = mask->row(y);
            for (long x = x0; x < x0 + w; ++x)
                if (m[x] < 128) ox[x - x0] = oy[x - x0] = 0;
        }
    }
}
