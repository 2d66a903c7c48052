#include "platform/vision/correlation.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "platform/core/attention.h"


namespace {

void checkMode(int mode) {
    if (mode != xc_CorrelationDefs::eRSquared && mode != xc_CorrelationDefs::eR &&
        mode != xc_CorrelationDefs::eR1000)
        throw xcBadArgument(L"Unknown correlation score mode " + std::to_wstring(mode));
}

double correlation(long long n, long long sm, long long sm2, long long si, long long si2,
                   long long sp) {
    if (n <= 0) return 0.0;
    const long long vm = n * sm2 - sm * sm;
    const long long vi = n * si2 - si * si;
    if (vm <= 0 || vi <= 0) return 0.0;
    const double num = static_cast<double>(n * sp - sm * si);
    const double r = num / std::sqrt(static_cast<double>(vm) * static_cast<double>(vi));
    return std::clamp(r, -1.0, 1.0);
}

// acc[i] += k * src[i] for i < count: one model pixel against a whole row of placements.
template <class Acc>
void axpy(Acc* __restrict acc, const unsigned char* __restrict src, int k, long count) {
    for (long i = 0; i < count; ++i) acc[i] += static_cast<Acc>(k * src[i]);
}

// acc[i] += src[i] and acc2[i] += src[i]^2: one care pel's image sums for a row of placements.
void addSums(long long* __restrict acc, long long* __restrict acc2,
             const unsigned char* __restrict src, long count) {
    for (long i = 0; i < count; ++i) {
        const long long v = src[i];
        acc[i] += v;
        acc2[i] += v * v;
    }
}

template <class Acc>
xc_CorrelationBest correlate(const xcPelBuffer_const<unsigned char>& image,
                             const xc_CorrelationModel<unsigned char>& model, int mode,
                             const xcPelRect& sw, xcPelBuffer<std::int16_t>& scores) {
    xc_CorrelationBest best;
    const xcPelRect iw = image.window();
    const long mw = model.width(), mh = model.height();
    const long nx = sw.width(), ny = sw.height();
    const xc_CorrelationSums& ms = model.sums();
    const unsigned char* mv = model.values().data();
    const unsigned char* mc = model.care().data();
    const bool allCare = model.allCare() && model.nCarePels() > 0;

    std::vector<Acc> prod(static_cast<size_t>(nx));
    std::vector<long long> sumI(static_cast<size_t>(nx)), sumI2(static_cast<size_t>(nx));
    // Column sums over the model's height, for the all-care case: slid down row by row.
    std::vector<long long> col, col2;
    if (allCare) {
        col.assign(static_cast<size_t>(iw.width()), 0);
        col2.assign(static_cast<size_t>(iw.width()), 0);
        for (long j = 0; j + 1 < mh; ++j) {
            const unsigned char* r = image.rowPointer(iw.y() + j);
            addSums(col.data(), col2.data(), r, iw.width());
        }
    }
    for (long py = 0; py < ny; ++py) {
        xcAttention::check();
        std::fill(prod.begin(), prod.end(), Acc(0));
        for (long j = 0; j < mh; ++j) {
            if (mw * nx > (1L << 18)) xcAttention::check();  // a large model: poll per model row
            const unsigned char* r = image.rowPointer(iw.y() + py + j);
            const unsigned char* m = mv + j * mw;
            for (long i = 0; i < mw; ++i)
                if (m[i] != 0) axpy(prod.data(), r + i, m[i], nx);
        }
        if (allCare) {
            // Bring the column sums to rows py .. py + mh - 1, then slide across.
            const unsigned char* add = image.rowPointer(iw.y() + py + mh - 1);
            addSums(col.data(), col2.data(), add, iw.width());
            long long s = 0, s2 = 0;
            for (long x = 0; x < mw; ++x) {
                s += col[static_cast<size_t>(x)];
                s2 += col2[static_cast<size_t>(x)];
            }
            for (long px = 0; px < nx; ++px) {
                sumI[static_cast<size_t>(px)] = s;
                sumI2[static_cast<size_t>(px)] = s2;
                if (px + 1 < nx) {
                    s += col[static_cast<size_t>(px + mw)] - col[static_cast<size_t>(px)];
                    s2 += col2[static_cast<size_t>(px + mw)] - col2[static_cast<size_t>(px)];
                }
            }
            const unsigned char* sub = image.rowPointer(iw.y() + py);
            for (long x = 0; x < iw.width(); ++x) {
                const long long v = sub[x];
                col[static_cast<size_t>(x)] -= v;
                col2[static_cast<size_t>(x)] -= v * v;
            }
        } else {
            std::fill(sumI.begin(), sumI.end(), 0);
            std::fill(sumI2.begin(), sumI2.end(), 0);
            for (long j = 0; j < mh; ++j) {
                const unsigned char* r = image.rowPointer(iw.y() + py + j);
                const unsigned char* c = mc + j * mw;
                for (long i = 0; i < mw; ++i)
                    if (c[i]) addSums(sumI.data(), sumI2.data(), r + i, nx);
            }
        }
        std::int16_t* out = scores.rowPointer(sw.y() + py);
        for (long px = 0; px < nx; ++px) {
            const std::int16_t v =
                xf_corr_score16(ms.n, ms.sum, ms.sumSq, sumI[static_cast<size_t>(px)],
                                sumI2[static_cast<size_t>(px)],
                                static_cast<long long>(prod[static_cast<size_t>(px)]), mode);
            out[px] = v;
            if (!best.found() || v > best.score()) best.initFromScore(sw.x() + px, sw.y() + py, v);
        }
    }
    return best;
}

}  // namespace

xc_CorrelationModel<unsigned char>::xc_CorrelationModel(
    const xcPelBuffer_const<unsigned char>& image,
    const xcPelBuffer_const<unsigned char>& ignoreMask) {
    const xcPelRect win = image.window();
    if (ignoreMask.isBound() && ignoreMask.size() != win.size())
        throw xcBadArgument(L"Correlation mask size differs from the model image size");
    if (win.width() > 0 && win.height() > kMaxPels / win.width())
        throw xcBadArgument(L"Correlation model larger than 10000000 pixels");
    m_w = std::max(0L, win.width());
    m_h = std::max(0L, win.height());
    m_values.assign(static_cast<size_t>(m_w * m_h), 0);
    m_care.assign(static_cast<size_t>(m_w * m_h), 1);
    const xcPelRect mw = ignoreMask.isBound() ? ignoreMask.window() : xcPelRect();
    for (long y = 0; y < m_h; ++y) {
        const unsigned char* r = image.rowPointer(win.y() + y);
        const unsigned char* m =
            ignoreMask.isBound() ? ignoreMask.rowPointer(mw.y() + y) : nullptr;
        for (long x = 0; x < m_w; ++x) {
            const size_t k = static_cast<size_t>(y * m_w + x);
            if (m && m[x] >= 128) {
                m_care[k] = 0;
                continue;
            }
            m_values[k] = r[x];
            m_sums.n += 1;
            m_sums.sum += r[x];
            m_sums.sumSq += static_cast<long long>(r[x]) * r[x];
        }
    }
}

double xc_CorrelationModel<unsigned char>::variance() const {
    return static_cast<double>(m_sums.n * m_sums.sumSq - m_sums.sum * m_sums.sum);
}

xcPelRect xf_corr_alloc_space(const xcPelRect& imageWindow, long modelWidth, long modelHeight,
                              xcPelBuffer<std::int16_t>& scores) {
    if (modelWidth < 0 || modelHeight < 0)
        throw xcBadArgument(L"Correlation model size must not be negative");
    long nx = imageWindow.width() - modelWidth + 1;
    long ny = imageWindow.height() - modelHeight + 1;
    if (nx <= 0 || ny <= 0) nx = ny = 0;
    const xcPelRect r(imageWindow.x(), imageWindow.y(), nx, ny);
    scores = xcPelBuffer<std::int16_t>(r);
    return r;
}

double xf_corr_score(long long n, long long sumModel, long long sumSqModel, long long sumImage,
                     long long sumSqImage, long long sumProducts, int scoreMode) {
    checkMode(scoreMode);
    const double r = correlation(n, sumModel, sumSqModel, sumImage, sumSqImage, sumProducts);
    switch (scoreMode) {
        case xc_CorrelationDefs::eRSquared: return r > 0 ? r * r : 0.0;
        case xc_CorrelationDefs::eR: return r;
        default: return std::nearbyint(1000.0 * r);
    }
}

std::int16_t xf_corr_score16(long long n, long long sumModel, long long sumSqModel,
                             long long sumImage, long long sumSqImage, long long sumProducts,
                             int scoreMode) {
    const double s =
        xf_corr_score(n, sumModel, sumSqModel, sumImage, sumSqImage, sumProducts, scoreMode);
    return static_cast<std::int16_t>(scoreMode == xc_CorrelationDefs::eR1000
                                         ? s
                                         : std::nearbyint(1000.0 * s));
}

xc_CorrelationBest xf_corr_exhaustive(const xcPelBuffer_const<unsigned char>& image,
                                      const xc_CorrelationModel<unsigned char>& model,
                                      int scoreMode, xcPelBuffer<std::int16_t>& scores) {
    const xcPelRect iw = image.window();
    checkMode(scoreMode);
    xcPelBuffer<std::int16_t> s;
    const xcPelRect sw = xf_corr_alloc_space(iw, model.width(), model.height(), s);
    s.clientFromImageXformBase(image.clientFromImageXformBasePtr());
    xc_CorrelationBest best;
    if (!sw.isNull()) {
        // 32-bit products while they cannot overflow: every model pixel times 255 * 255.
        const long long worst = static_cast<long long>(model.width()) * model.height() * 65025;
        if (worst < (1LL << 31))
            best = correlate<std::int32_t>(image, model, scoreMode, sw, s);
        else
            best = correlate<long long>(image, model, scoreMode, sw, s);
    }
    scores = std::move(s);
    return best;
}
