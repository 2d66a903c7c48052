// 8-bit image planes of the vision tools: a read-only view of any rows in memory, a plane that
// owns its (padded) rows, and their halving by 2 x 2 means, the one step of every image pyramid.
#pragma once

#include <vector>

// A read-only 8-bit plane: w x h pixels, rows `stride` bytes apart, p at pixel (0, 0).
struct xc_Plane8 {
    const unsigned char* p = nullptr;
    long stride = 0;
    long w = 0;
    long h = 0;
    const unsigned char* row(long y) const { return p + y * stride; }
};

// An 8-bit plane that owns its rows, each followed by at least kPad zero bytes, so that a
// kernel reading blocks of 16 pixels may start at any pixel of a row.
struct xc_Plane8Buffer {
    static constexpr long kPad = 16;

    std::vector<unsigned char> pix;
    long width = 0;
    long height = 0;
    long stride = 0;  // bytes from one row to the next (>= width + kPad, a multiple of 16)

    // Makes a zero-filled plane of the given size (negative sizes count as 0).
    void resize(long w, long h);
    const unsigned char* row(long y) const { return pix.data() + y * stride; }
    unsigned char* row(long y) { return pix.data() + y * stride; }
    xc_Plane8 view() const { return {pix.data(), stride, width, height}; }
};

// One row of a halving: out[x] = (a[2x] + a[2x + 1] + b[2x] + b[2x + 1] + 2) / 4 (the rounded
// mean of the 2 x 2 block, rounding halves up) for x in [0, n).
inline void xf_HalveRow(const unsigned char* __restrict a, const unsigned char* __restrict b,
                        long n, unsigned char* __restrict out) {
    for (long x = 0; x < n; ++x)
        out[x] = static_cast<unsigned char>(
            (a[2 * x] + a[2 * x + 1] + b[2 * x] + b[2 * x + 1] + 2) >> 2);
}

// The plane halved by 2 x 2 means (an odd last row or column is dropped) into `store`
// (resized); `binary` first maps every value to 0 (below 128) or 255, so that a halved care
// mask cares where at least two of the four pixels do. Polls xcAttention::check().
xc_Plane8 xf_Plane8Halve(const xc_Plane8& src, std::vector<unsigned char>& store,
                         bool binary = false);

// The same halving (not binary, not polled) from one owned plane into another.
void xf_Plane8Halve(const xc_Plane8Buffer& in, xc_Plane8Buffer& out);
