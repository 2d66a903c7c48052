#include "platform/vision/ncc_search_kernel.h"

#include <algorithm>
#include <cmath>

#include "platform/core/attention.h"

namespace {

// The row loops below run over whole blocks of 16 elements with a fixed inner trip count, the
// form the compiler vectorises at any optimisation level (a 16-bit template value times an
// 8-bit pixel, summed in 32 bits). 32-bit row sums cannot overflow for rows of up to 32767
// pixels (32767 * 255 * 255 < 2^31).
constexpr long kBlock = xc_NccTemplate::kBlock;

inline int32_t dotRow(const int16_t* __restrict t, const unsigned char* __restrict p, long n) {
    int32_t s = 0;
    for (long b = 0; b < n; b += kBlock, t += kBlock, p += kBlock)
        for (int k = 0; k < kBlock; ++k) s += t[k] * p[k];
    return s;
}

inline void sumsRow(const int16_t* __restrict t, const unsigned char* __restrict m,
                    const unsigned char* __restrict p, long n, int32_t& si, int32_t& sii,
                    int32_t& sti) {
    int32_t a = 0, b = 0, c = 0;
    for (long j = 0; j < n; j += kBlock, t += kBlock, m += kBlock, p += kBlock)
        for (int k = 0; k < kBlock; ++k) {
            const int32_t v = p[k] & m[k];
            a += v;
            b += v * v;
            c += t[k] * p[k];
        }
    si = a;
    sii = b;
    sti = c;
}

}  // namespace

// The exported kernels are compiled twice, for the baseline instruction set and for AVX2,
// and the loader picks the one the processor runs.
#if defined(__GNUC__) && defined(__x86_64__) && !defined(__clang__)
#define XC_NCC_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define XC_NCC_CLONES
#endif

void xf_NccPoll() { xcAttention::check(); }

void xc_NccIntegral::build(const xc_NccPlane& p) {
    width = p.width + 1;
    s.assign(static_cast<std::size_t>(width * (p.height + 1)), 0);
    ss.assign(s.size(), 0);
    for (long y = 0; y < p.height; ++y) {
        const unsigned char* r = p.row(y);
        const int64_t* sUp = &s[y * width];
        const int64_t* ssUp = &ss[y * width];
        int64_t* sRow = &s[(y + 1) * width];
        int64_t* ssRow = &ss[(y + 1) * width];
        int64_t a = 0, b = 0;
        for (long x = 0; x < p.width; ++x) {
            const int64_t v = r[x];
            a += v;
            b += v * v;
            sRow[x + 1] = sUp[x + 1] + a;
            ssRow[x + 1] = ssUp[x + 1] + b;
        }
    }
}

void xc_NccTemplate::build(const unsigned char* values, long valuePitch, const unsigned char* care,
                           long carePitch, long w, long h) {
    width = w;
    height = h;
    pitch = (w + kBlock - 1) / kBlock * kBlock;
    t.assign(static_cast<std::size_t>(pitch * h), 0);
    m.assign(t.size(), 0);
    masked = false;
    n = st = stt = 0;
    // A template without columns has no pixels, and no row to index.
    for (long v = 0; v < h && w > 0; ++v) {
        const unsigned char* src = values + v * valuePitch;
        const unsigned char* c = care ? care + v * carePitch : nullptr;
        int16_t* dst = &t[v * pitch];
        unsigned char* md = &m[v * pitch];
        for (long u = 0; u < w; ++u) {
            if (c && !c[u]) {
                masked = true;
                continue;
            }
            const int64_t val = src[u];
            dst[u] = static_cast<int16_t>(val);
            md[u] = 0xFF;
            ++n;
            st += val;
            stt += val * val;
        }
    }
}

XC_NCC_CLONES
int64_t xf_NccDot(const xc_NccTemplate& t, const xc_NccPlane& p, long x, long y, long v0, long v1) {
    int64_t s = 0;
    const int16_t* tr = t.t.data() + v0 * t.pitch;
    const unsigned char* pr = p.row(y + v0) + x;
    for (long v = v0; v < v1; ++v, tr += t.pitch, pr += p.stride) s += dotRow(tr, pr, t.pitch);
    return s;
}

XC_NCC_CLONES
xc_NccSums xf_NccSums(const xc_NccTemplate& t, const xc_NccPlane& p, long x, long y, long v0,
                      long v1) {
    xc_NccSums r;
    const int16_t* tr = t.t.data() + v0 * t.pitch;
    const unsigned char* mr = t.m.data() + v0 * t.pitch;
    const unsigned char* pr = p.row(y + v0) + x;
    for (long v = v0; v < v1; ++v, tr += t.pitch, mr += t.pitch, pr += p.stride) {
        int32_t a, b, c;
        sumsRow(tr, mr, pr, t.pitch, a, b, c);
        r.si += a;
        r.sii += b;
        r.sti += c;
    }
    return r;
}

XC_NCC_CLONES
xc_NccFullSums xf_NccFullSums(const xc_NccTemplate& t, const xc_NccPlane& image,
                              const xc_NccPlane& imageCare, long x, long y, long v0, long v1) {
    xc_NccFullSums r;
    for (long v = v0; v < v1; ++v) {
        const int16_t* __restrict tr = t.t.data() + v * t.pitch;
        const unsigned char* __restrict mr = t.m.data() + v * t.pitch;
        const unsigned char* __restrict pr = image.row(y + v) + x;
        const unsigned char* __restrict cr = imageCare.row(y + v) + x;
        int32_t cn = 0, cst = 0, cstt = 0, csi = 0, csii = 0, csti = 0;
        for (long j = 0; j < t.pitch;
             j += kBlock, tr += kBlock, mr += kBlock, pr += kBlock, cr += kBlock)
            for (int k = 0; k < kBlock; ++k) {
                // Template values where the image cares, image values where the template cares.
                const int32_t tv = tr[k] & static_cast<int16_t>(static_cast<signed char>(cr[k]));
                const int32_t iv = pr[k] & mr[k];
                cn += mr[k] & cr[k] & 1;
                cst += tv;
                cstt += tv * tv;
                csi += iv;
                csii += iv * iv;
                csti += tr[k] * pr[k];
            }
        r.n += cn;
        r.st += cst;
        r.stt += cstt;
        r.si += csi;
        r.sii += csii;
        r.sti += csti;
    }
    return r;
}

XC_NCC_CLONES
void xf_NccScanRows(const xc_NccTemplate& t, const xc_NccPlane& p, const xc_NccIntegral* integral,
                    long y0, long y1, float* out, long outStride) {
    const long nx = p.width - t.width + 1;
    for (long y = y0; y < y1; ++y, out += outStride) {
        for (long x = 0; x < nx; ++x) {
            int64_t sti, si, sii;
            if (integral) {
                sti = 0;
                const int16_t* tr = t.t.data();
                const unsigned char* pr = p.row(y) + x;
                for (long v = 0; v < t.height; ++v, tr += t.pitch, pr += p.stride)
                    sti += dotRow(tr, pr, t.pitch);
                si = integral->sum(x, y, x + t.width, y + t.height);
                sii = integral->sumSq(x, y, x + t.width, y + t.height);
            } else {
                const xc_NccSums s = xf_NccSums(t, p, x, y, 0, t.height);
                sti = s.sti;
                si = s.si;
                sii = s.sii;
            }
            out[x] = static_cast<float>(xf_NccScore(t.n, t.st, t.stt, si, sii, sti));
        }
    }
}

double xf_NccScore(int64_t n, int64_t st, int64_t stt, int64_t si, int64_t sii, int64_t sti) {
    const int64_t num = n * sti - st * si;
    if (num <= 0) return 0.0;
    const int64_t vt = n * stt - st * st;
    const int64_t vi = n * sii - si * si;
    if (vt <= 0 || vi <= 0) return 0.0;
    const double d = static_cast<double>(num);
    const double r2 = d * d / (static_cast<double>(vt) * static_cast<double>(vi));
    return r2 < 1.0 ? r2 : 1.0;
}

namespace {

// Vertex of the parabola through (-1, a), (0, b), (1, c), clamped to [-0.5, 0.5]; 0 when the
// parabola has no maximum.
double parabolaPeak(double a, double b, double c) {
    const double den = a - 2.0 * b + c;
    if (!(den < 0.0)) return 0.0;
    return std::clamp(0.5 * (a - c) / den, -0.5, 0.5);
}

// Rise of the parabola through (-1, a), (0, b), (1, c) from 0 to o.
double parabolaRise(double a, double b, double c, double o) {
    return 0.5 * (c - a) * o + 0.5 * (a - 2.0 * b + c) * o * o;
}

// The centre score plus the fitted surface's rise to the peak, in [centre, 1].
double peakScoreOf(double centre, double rise) {
    return std::clamp(centre + rise, centre, std::max(centre, 1.0));
}

}  // namespace

xcVector<2> xf_NccPeakOffset(const double s[3][3], bool validX, bool validY, xc_NccPeakFit fit,
                             double* peakScore) {
    if (peakScore) *peakScore = s[1][1];
    if (fit == xc_NccPeakFit::eNone) return {};
    double ox = validX ? parabolaPeak(s[1][0], s[1][1], s[1][2]) : 0.0;
    double oy = validY ? parabolaPeak(s[0][1], s[1][1], s[2][1]) : 0.0;
    const auto separable = [&] {
        if (peakScore) {
            double rise = 0.0;
            if (validX) rise += parabolaRise(s[1][0], s[1][1], s[1][2], ox);
            if (validY) rise += parabolaRise(s[0][1], s[1][1], s[2][1], oy);
            *peakScore = peakScoreOf(s[1][1], rise);
        }
        return xcVector<2>(ox, oy);
    };
    if (fit != xc_NccPeakFit::eQuadratic || !validX || !validY) return separable();

    // Least-squares quadric f = a + bx + cy + dx^2 + exy + fy^2 over the 3 x 3 grid: the grid is
    // orthogonal for these terms, so each coefficient is a weighted sum of the nine scores.
    double b = 0, c = 0, e = 0, col[3] = {0, 0, 0}, rowSum[3] = {0, 0, 0};
    for (int j = 0; j < 3; ++j)
        for (int i = 0; i < 3; ++i) {
            const double v = s[j][i];
            const int x = i - 1, y = j - 1;
            b += x * v;
            c += y * v;
            e += x * y * v;
            col[i] += v;
            rowSum[j] += v;
        }
    b /= 6.0;
    c /= 6.0;
    e /= 4.0;
    const double d = (col[0] + col[2] - 2.0 * col[1]) / 6.0;
    const double f = (rowSum[0] + rowSum[2] - 2.0 * rowSum[1]) / 6.0;
    // Maximum: [2d e; e 2f] p = -[b; c], with a negative definite Hessian.
    const double det = 4.0 * d * f - e * e;
    if (!(d < 0.0) || !(det > 0.0)) return separable();
    ox = std::clamp((-2.0 * f * b + e * c) / det, -0.5, 0.5);
    oy = std::clamp((-2.0 * d * c + e * b) / det, -0.5, 0.5);
    if (peakScore)
        *peakScore =
            peakScoreOf(s[1][1], b * ox + c * oy + d * ox * ox + e * ox * oy + f * oy * oy);
    return {ox, oy};
}
