#include "platform/vision/plane8.h"

#include <algorithm>

#include "platform/core/attention.h"

void xc_Plane8Buffer::resize(long w, long h) {
    width = std::max(w, 0L);
    height = std::max(h, 0L);
    stride = (width + kPad + 15) / 16 * 16;
    pix.assign(static_cast<std::size_t>(stride * std::max(height, 1L)), 0);
}

xc_Plane8 xf_Plane8Halve(const xc_Plane8& src, std::vector<unsigned char>& store, bool binary) {
    xc_Plane8 out;
    out.w = src.w / 2;
    out.h = src.h / 2;
    out.stride = std::max(1L, out.w);
    store.assign(static_cast<size_t>(out.stride * std::max(1L, out.h)), 0);
    out.p = store.data();
    // Rows between attention polls: about 2^15 pixels of work.
    const long polls = std::max(1L, 32768L / std::max(1L, 2 * out.w));
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
            xf_HalveRow(a, b, out.w, d);
        }
    }
    return out;
}

void xf_Plane8Halve(const xc_Plane8Buffer& in, xc_Plane8Buffer& out) {
    out.resize(in.width / 2, in.height / 2);
    for (long y = 0; y < out.height; ++y)
        xf_HalveRow(in.row(2 * y), in.row(2 * y + 1), out.width, out.row(y));
}
