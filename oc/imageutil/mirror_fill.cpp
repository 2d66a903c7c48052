#include "oc/imageutil/mirror_fill.h"

#include <algorithm>
#include <cstring>

#include "platform/clevel/assert.h"

void xf_MirrorFill(const xcPelBuffer<unsigned char>& buf, const xcPelRect& data) {
    const xcPelRect ow = buf.window();
    if (data.isNull()) xstd_assert_(__LINE__, "mirror fill needs data");
    if (!ow.contains(data)) xstd_assert_(__LINE__, "mirror fill data outside the window");

    const long top = data.y() - ow.y();
    const long bottom = ow.height() - data.height() - top;
    const long left = data.x() - ow.x();
    const long right = ow.width() - data.width() - left;
    const long dataRow0 = data.y();

    // Top and bottom bands, over D's columns only.
    for (long k = 0; k < top; ++k) {
        const long src = dataRow0 + std::max(std::min(top, data.height()) - 1 - k, 0L);
        std::memcpy(buf.pelPointer(data.x(), ow.y() + k), buf.pelPointer(data.x(), src),
                    static_cast<std::size_t>(data.width()));
    }
    for (long j = 0; j < bottom; ++j) {
        const long src = dataRow0 + std::max(data.height() - 1 - j, 0L);
        std::memcpy(buf.pelPointer(data.x(), data.y() + data.height() + j),
                    buf.pelPointer(data.x(), src), static_cast<std::size_t>(data.width()));
    }

    // Left and right bands of every row (columns counted from the window's left edge).
    const long e = left + data.width() - 1;
    for (long y = ow.y(); y < ow.y() + ow.height(); ++y) {
        unsigned char* row = buf.rowPointer(y);
        for (long i = 0; i < left; ++i) row[left - 1 - i] = row[left + std::min(i, data.width() - 1)];
        for (long i = 0; i < right; ++i) row[e + 1 + i] = row[e - std::min(i, left + data.width() - 1)];
    }
}
