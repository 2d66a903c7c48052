// Kernels of the normalised-correlation tools: zero-padded 8-bit planes, 2 x 2 box decimation,
// integral images, the correlation sums of one placement of a template, the score those sums
// give and the sub-pixel fit of a 3 x 3 patch of scores. Module-private: the NCC search
// (ncc_search.h) and the flexible sub-model tool (sub_model_tool.h) are built on them.
//
// Everything here works in plane coordinates: pixel (x, y) of a plane is its x-th column and
// y-th row, 0-based. A placement (x, y) of a template puts template pixel (u, v) on plane pixel
// (x + u, y + v). Callers map plane coordinates to image and client coordinates.
//
// The inner loops are written over whole blocks of 16 pixels (template rows are padded to a
// multiple of 16 with zeros, planes keep zero bytes after every row) so that the compiler turns
// them into vector code: 8-bit pixels times 16-bit template values, summed in 32 bits per row
// and in 64 bits over the rows.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/core/vector.h"
#include "platform/vision/plane8.h"

// Raises a caller's pending cancellation or expired time-out (the core library's attention
// check). Long loops of the correlation tools call it every few tens of microseconds of work.
void xf_NccPoll();

// Size limits of a correlation template. With at most kMaxArea pixels every sum and product of
// sums of a placement fits in 64 bits (kMaxArea^2 * 255^2 < 2^63), and with rows of at most
// kMaxSide pixels a row's sum of products fits in 32 bits.
constexpr long kNccMaxSide = 32767;
constexpr long kNccMaxArea = 1L << 22;

// Work between two attention polls, in template pixels times placements.
constexpr long kNccPollWork = 1L << 16;

// The search's planes own their rows, padded so that a template row padded to a multiple
// of 16 may be read from any placement inside the plane.
using xc_NccPlane = xc_Plane8Buffer;

// Inclusive-exclusive integral images of a plane: sum(x0, y0, x1, y1) is the sum over the
// pixels x0 <= x < x1, y0 <= y < y1 of the values (or of their squares).
struct xc_NccIntegral {
    long width = 0;  // plane width + 1
    std::vector<int64_t> s;
    std::vector<int64_t> ss;

    void build(const xc_NccPlane& p);
    int64_t sum(long x0, long y0, long x1, long y1) const {
        return s[y1 * width + x1] - s[y0 * width + x1] - s[y1 * width + x0] + s[y0 * width + x0];
    }
    int64_t sumSq(long x0, long y0, long x1, long y1) const {
        return ss[y1 * width + x1] - ss[y0 * width + x1] - ss[y1 * width + x0] +
               ss[y0 * width + x0];
    }
};

// A correlation template: values at the care pixels, zero elsewhere, rows padded with zeros
// to `pitch` (a multiple of kBlock).
struct xc_NccTemplate {
    static constexpr long kBlock = 16;

    long width = 0;
    long height = 0;
    long pitch = 0;
    std::vector<int16_t> t;        // template value at care pixels, 0 elsewhere
    std::vector<unsigned char> m;  // 0xFF at care pixels, 0 elsewhere (padding included)
    bool masked = false;           // some pixel of the width x height area is not cared for
    int64_t n = 0;                 // number of care pixels
    int64_t st = 0;                // sum of the care values
    int64_t stt = 0;               // sum of their squares

    // n * stt - st^2: n^2 times the variance of the care values.
    int64_t varianceN2() const { return n * stt - st * st; }
    // Fills the template from `values` (row pitch `valuePitch`) and `care` (same layout, a
    // pixel is cared for when its care byte is non-zero; null means every pixel).
    void build(const unsigned char* values, long valuePitch, const unsigned char* care,
               long carePitch, long w, long h);
};

// Sums of one placement over the template's care pixels.
struct xc_NccSums {
    int64_t sti = 0;  // sum of template value times image value
    int64_t si = 0;   // sum of image values
    int64_t sii = 0;  // sum of squared image values
};

// Sum of products of the template with the plane at placement (x, y), over template rows
// v0 <= v < v1 (all rows without them). The rows read must lie inside the plane
// (x + width <= plane width, y + v1 <= plane height).
int64_t xf_NccDot(const xc_NccTemplate& t, const xc_NccPlane& p, long x, long y, long v0, long v1);
inline int64_t xf_NccDot(const xc_NccTemplate& t, const xc_NccPlane& p, long x, long y) {
    return xf_NccDot(t, p, x, y, 0, t.height);
}

// Products, image sums and image sums of squares over the care pixels at placement (x, y),
// for template rows v0 <= v < v1. Same placement rule as xf_NccDot.
xc_NccSums xf_NccSums(const xc_NccTemplate& t, const xc_NccPlane& p, long x, long y, long v0,
                      long v1);

// All six sums of a placement where both the template and the image have care masks: the
// image plane holds 0 at its don't-care pixels and `imageCare` 0xFF at care pixels, 0
// elsewhere (same layout as the image plane). Rows v0 <= v < v1 of the template.
struct xc_NccFullSums {
    int64_t n = 0, st = 0, stt = 0, si = 0, sii = 0, sti = 0;
};
xc_NccFullSums xf_NccFullSums(const xc_NccTemplate& t, const xc_NccPlane& image,
                              const xc_NccPlane& imageCare, long x, long y, long v0, long v1);

// Scores of the placements (x, y), y0 <= y < y1, 0 <= x <= plane width - template width,
// written to out[(y - y0) * outStride + x]. `integral` is the plane's integral image when the
// template has no mask (the image sums then come from it); null otherwise.
void xf_NccScanRows(const xc_NccTemplate& t, const xc_NccPlane& p, const xc_NccIntegral* integral,
                    long y0, long y1, float* out, long outStride);

// The correlation score of a placement: r^2 when the correlation coefficient r of the n
// template and image values is positive, 0 otherwise (and 0 when either side has no
// variance). st, stt: template sums; si, sii: image sums; sti: sum of products.
double xf_NccScore(int64_t n, int64_t st, int64_t stt, int64_t si, int64_t sii, int64_t sti);

// How a 3 x 3 patch of scores around an integer peak is refined.
enum class xc_NccPeakFit {
    eNone,       // keep the integer peak
    eSeparable,  // a parabola through the three scores along x, another along y
    eQuadratic,  // least-squares quadric over the nine scores (falls back to eSeparable where
                 // the quadric has no maximum)
};

// Offset of the score maximum from the centre of the patch s[row][column] (the centre is the
// integer peak), each component in [-0.5, 0.5]. `validX` / `validY` false: that component is 0
// (a neighbour along that axis is missing), and the quadric fit is not used. `peakScore`, when
// not null, receives the score at the offset: the centre score plus the fitted surface's rise
// from the centre to the offset, kept in [centre score, 1] (the centre score for eNone).
xcVector<2> xf_NccPeakOffset(const double s[3][3], bool validX, bool validY, xc_NccPeakFit fit,
                             double* peakScore = nullptr);
