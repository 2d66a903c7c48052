#include "tools/synth/effects.h"

#include <algorithm>
#include <cmath>

#include "platform/core/angle.h"
#include "platform/core/exception.h"
#include "tools/synth/tones.h"

xcSynthField::xcSynthField(long width, long height, double value)
    : m_width(width), m_height(height) {
    if (width < 0 || height < 0) throw xcBadArgument(L"Field size must not be negative");
    m_v.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), value);
}

void xfSynthApplyGain(xcSynthField& field, double amplitude, double angle) {
    if (!(amplitude >= 0.0 && amplitude < 1.0))
        throw xcBadArgument(L"Illumination gradient must be in [0, 1), got " +
                            std::to_wstring(amplitude));
    if (!std::isfinite(angle)) throw xcBadArgument(L"Illumination angle must be finite");
    if (amplitude == 0.0 || field.width() == 0 || field.height() == 0) return;
    const double a = xcRadian(xcDegree(angle)).toDouble();
    const double ux = std::cos(a), uy = std::sin(a);
    const double w = static_cast<double>(field.width()), h = static_cast<double>(field.height());
    // Projection of the centre-relative position on u, scaled so that the corners reach +-1.
    const double half = 0.5 * (std::fabs(w * ux) + std::fabs(h * uy));
    const double k = amplitude / half;
    for (long y = 0; y < field.height(); ++y) {
        double* v = field.row(y);
        const double base = 1.0 + k * ((static_cast<double>(y) + 0.5 - 0.5 * h) * uy);
        const double kx = k * ux;
        for (long x = 0; x < field.width(); ++x)
            v[x] *= base + kx * (static_cast<double>(x) + 0.5 - 0.5 * w);
    }
}

void xfSynthBlur(xcSynthField& field, double sigma) {
    if (!(sigma >= 0.0 && sigma <= 100.0))
        throw xcBadArgument(L"Blur sigma must be in [0, 100] pixels, got " +
                            std::to_wstring(sigma));
    const long w = field.width(), h = field.height();
    if (sigma == 0.0 || w == 0 || h == 0) return;
    const long r = std::max(1L, static_cast<long>(std::ceil(3.5 * sigma)));
    std::vector<double> k(static_cast<std::size_t>(2 * r + 1));
    double sum = 0.0;
    for (long i = -r; i <= r; ++i) {
        const double v = std::exp(-0.5 * static_cast<double>(i * i) / (sigma * sigma));
        k[static_cast<std::size_t>(i + r)] = v;
        sum += v;
    }
    for (double& v : k) v /= sum;

    // Rows: a padded copy of each row with its end values repeated.
    std::vector<double> pad(static_cast<std::size_t>(w + 2 * r));
    for (long y = 0; y < h; ++y) {
        double* v = field.row(y);
        for (long i = 0; i < r; ++i) {
            pad[static_cast<std::size_t>(i)] = v[0];
            pad[static_cast<std::size_t>(w + r + i)] = v[w - 1];
        }
        std::copy(v, v + w, pad.begin() + r);
        for (long x = 0; x < w; ++x) {
            const double* p = pad.data() + x;
            double s = 0.0;
            for (long i = 0; i <= 2 * r; ++i) s += k[static_cast<std::size_t>(i)] * p[i];
            v[x] = s;
        }
    }
    // Columns: each output row sums whole input rows (clamped at the borders).
    xcSynthField src = field;
    for (long y = 0; y < h; ++y) {
        double* out = field.row(y);
        std::fill(out, out + w, 0.0);
        for (long i = -r; i <= r; ++i) {
            const double* in = src.row(std::clamp(y + i, 0L, h - 1));
            const double kv = k[static_cast<std::size_t>(i + r)];
            for (long x = 0; x < w; ++x) out[x] += kv * in[x];
        }
    }
}

void xfSynthAddNoise(xcSynthField& field, double sigma, xcSynthRandom& random) {
    if (!(sigma >= 0.0 && sigma <= 255.0))
        throw xcBadArgument(L"Noise sigma must be in [0, 255] grey levels, got " +
                            std::to_wstring(sigma));
    if (sigma == 0.0) return;
    for (long y = 0; y < field.height(); ++y) {
        double* v = field.row(y);
        for (long x = 0; x < field.width(); ++x) v[x] += sigma * random.normal();
    }
}

void xfSynthSaltPepper(xcSynthField& field, double fraction, xcSynthRandom& random) {
    if (!(fraction >= 0.0 && fraction <= 1.0))
        throw xcBadArgument(L"Salt-and-pepper fraction must be in [0, 1], got " +
                            std::to_wstring(fraction));
    if (fraction == 0.0) return;
    for (long y = 0; y < field.height(); ++y) {
        double* v = field.row(y);
        for (long x = 0; x < field.width(); ++x) {
            const double u = random.uniform();
            if (u < fraction) v[x] = u < 0.5 * fraction ? 0.0 : 255.0;
        }
    }
}

xcPelBuffer<unsigned char> xfSynthToPels(const xcSynthField& field) {
    xcPelBuffer<unsigned char> out(field.width(), field.height());
    for (long y = 0; y < field.height(); ++y) {
        const double* v = field.row(y);
        unsigned char* o = out.rowPointer(y);
        for (long x = 0; x < field.width(); ++x) o[x] = xfSynthQuantize(v[x]);
    }
    return out;
}
