#include "platform/core/archive_geometry.h"

#include <cstring>
#include <limits>

namespace {

// A long stored as i32, with the range check of the archive's long.
void exchangeI32(xcArchive& ar, long& v) { ar || v; }

}  // namespace

xcArchive& operator||(xcArchive& ar, xcVector<2>& v) {
    double x = v.x(), y = v.y();
    if (ar.isLoading()) ar.need(16, L"a vector");
    ar || x || y;
    if (ar.isLoading()) v = xcVector<2>(x, y);
    return ar;
}

xcArchive& operator||(xcArchive& ar, xcRadian& a) {
    double v = a.toDouble();
    ar || v;
    if (ar.isLoading()) a = xcRadian(v);
    return ar;
}

xcArchive& operator||(xcArchive& ar, xcXform<2>& x) {
    const xcMatrix<2>& m = x.matrix();
    double e[6] = {m.element(0, 0), m.element(0, 1), m.element(1, 0), m.element(1, 1),
                   x.trans().x(), x.trans().y()};
    if (ar.isLoading()) ar.need(48, L"a transform");
    for (double& d : e) ar || d;
    if (ar.isLoading()) x = xcXform<2>(xcMatrix<2>(e[0], e[1], e[2], e[3]), xcVector<2>(e[4], e[5]));
    return ar;
}

xcArchive& operator||(xcArchive& ar, xcPelRect& r) {
    long v[4] = {r.x(), r.y(), r.width(), r.height()};
    if (ar.isStoring()) {
        // Check all four first, so that a failure writes nothing.
        for (long c : v)
            if (c < std::numeric_limits<std::int32_t>::min() ||
                c > std::numeric_limits<std::int32_t>::max())
                ar.badData(L"the rectangle value " + std::to_wstring(c) +
                           L" does not fit in the archive's signed 32 bits");
    } else {
        ar.need(16, L"a pixel rectangle");
    }
    for (long& c : v) exchangeI32(ar, c);
    if (ar.isLoading()) r = xcPelRect(v[0], v[1], v[2], v[3]);
    return ar;
}

xcArchive& operator||(xcArchive& ar, xc2Rigid& r) {
    ar.need(24, L"a rigid motion");
    xcVector<2> t = r.trans();
    xcRadian a = r.angle();
    ar || t || a;
    if (ar.isLoading()) r = xc2Rigid(t, a);
    return ar;
}

xcArchive& operator||(xcArchive& ar, xcRange& r) {
    xcArchive::Exchange ex(ar);
    const std::size_t at = ar.position();
    ar.need(17, L"a range");
    auto kind = static_cast<unsigned char>(r.kind());
    double start = r.start(), end = r.end();
    ar || kind || start || end;
    if (ar.isLoading()) {
        if (kind > xcRange::eFull)
            throw xcArchive::BadData(
                L"range kind " + std::to_wstring(kind) + L" (0, 1 or 2 expected)", at);
        if (kind == xcRange::eNormal && !(start <= end))
            throw xcArchive::BadData(L"a normal range whose start is not <= its end", at);
        r = xcRange(static_cast<xcRange::Kind>(kind), start, end);
    }
    ex.commit();
    return ar;
}

xcArchive& operator||(xcArchive& ar, xcNMMatrix& m) {
    xcArchive::Exchange ex(ar);
    if (ar.isStoring()) {
        if (m.rows() > 0xFFFFFFFFL || m.cols() > 0xFFFFFFFFL)
            ar.badData(L"matrix too large for 32-bit sizes");
        ar.put32(static_cast<std::uint32_t>(m.rows()));
        ar.put32(static_cast<std::uint32_t>(m.cols()));
        const double* e = m.data();
        const std::size_t n = static_cast<std::size_t>(m.rows()) * static_cast<std::size_t>(m.cols());
        for (std::size_t i = 0; i < n; ++i) {
            double d = e[i];
            ar || d;
        }
    } else {
        const std::uint32_t rows = ar.get32(L"a matrix row count");
        const std::uint32_t cols = ar.get32(L"a matrix column count");
        ar.checkCount(static_cast<std::uint64_t>(rows) * cols, 8, L"matrix element");
        xcNMMatrix loaded;
        try {
            loaded = xcNMMatrix(rows, cols);
        } catch (const xcBadArgument&) {
            ar.badData(L"a matrix of " + std::to_wstring(rows) + L" x " + std::to_wstring(cols) +
                       L" elements cannot be held");
        }
        double* e = loaded.data();
        const std::size_t n = static_cast<std::size_t>(rows) * cols;
        for (std::size_t i = 0; i < n; ++i) ar || e[i];
        m = std::move(loaded);
    }
    ex.commit();
    return ar;
}

void xcRect::dispatchSerialize(xcArchive& ar) {
    if (ar.haveVisited(this, sizeof(xcRect))) return;
    unsigned char version = 0;
    ar || version;
    if (version > 0) throw xcArchive::UnknownVersion("xcRect", 0);
    ar || m_ul || m_size;
    ar.setVisited(this, sizeof(xcRect));
}

xcArchive& operator||(xcArchive& ar, xcPelBuffer_const<unsigned char>& b) {
    xcArchive::Exchange ex(ar);
    if (ar.isStoring()) {
        const xc2XformBase& xb = b.clientFromImageXformBase();
        if (!xb.isLinear())
            ar.badData(L"a pel buffer whose client-from-image transform is not linear");
        xcXform<2> x = xb.linearAt(xcVector<2>()).xform();
        bool bound = b.isBound();
        ar || bound;
        if (bound) {
            xcPelRect w = b.window();
            ar || w;
            ar || x;
            // A window without pixels has no rows to write, however tall it is.
            if (!w.isNull())
                for (long y = w.y(); y < w.y() + w.height(); ++y)
                    ar.putBytes(b.rowPointer(y), static_cast<std::size_t>(w.width()));
        } else {
            ar || x;
        }
    } else {
        bool bound = false;
        ar || bound;
        xcPelBuffer<unsigned char> loaded;
        xcXform<2> x;
        if (bound) {
            xcPelRect w;
            const std::size_t at = ar.position();
            ar || w;
            if (w.width() < 0 || w.height() < 0)
                throw xcArchive::BadData(L"a pel buffer window of negative size", at);
            ar || x;
            const auto pixels = static_cast<std::uint64_t>(w.width()) *
                                static_cast<std::uint64_t>(w.height());
            ar.checkCount(pixels, 1, L"pel buffer pixel");
            loaded = xcPelBuffer<unsigned char>(w);
            if (!w.isNull())
                for (long y = w.y(); y < w.y() + w.height(); ++y)
                    ar.getBytes(loaded.rowPointer(y), static_cast<std::size_t>(w.width()),
                                L"pel buffer pixels");
        } else {
            ar || x;
        }
        loaded.clientFromImageXform(x);
        b = loaded;
    }
    ex.commit();
    return ar;
}

xcArchive& operator||(xcArchive& ar, xcPelBuffer<unsigned char>& b) {
    if (ar.isStoring()) return ar || static_cast<xcPelBuffer_const<unsigned char>&>(b);
    xcPelBuffer_const<unsigned char> loaded;
    ar || loaded;
    // The loaded buffer owns fresh pixels, so a writable view of them is sound.
    static_cast<xcPelBuffer_const<unsigned char>&>(b) = loaded;
    return ar;
}
