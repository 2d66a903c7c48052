#include "oc/imageutil/blankness.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "oc/imageutil/affine_clipping.h"
#include "platform/clevel/assert.h"
#include "platform/core/affine_rectangle.h"
#include "platform/core/pel_ops.h"
#include "platform/vision/correlation.h"

namespace {

constexpr long kBorder = 2;              // shift range of the self-correlation, each way
constexpr double kVarianceFloor = 1.0;   // grey levels squared
constexpr unsigned char kCare = 128;     // mask values at or above it are cared for

// dst(i, j) = min(a(i, j), b(i, j)) with (i, j) counted from each window's upper-left corner.
xcPelBuffer<unsigned char> minByPosition(const xcPelBuffer_const<unsigned char>& a,
                                         const xcPelBuffer_const<unsigned char>& b) {
    const long w = std::min(a.width(), b.width()), h = std::min(a.height(), b.height());
    xcPelBuffer<unsigned char> out(w, h);
    for (long j = 0; j < h; ++j) {
        const unsigned char* ra = a.rowPointer(a.window().y() + j);
        const unsigned char* rb = b.rowPointer(b.window().y() + j);
        unsigned char* ro = out.rowPointer(j);
        for (long i = 0; i < w; ++i) ro[i] = std::min(ra[i], rb[i]);
    }
    return out;
}

// The window of `buf` less `border` pixels on each side (never negative in size).
xcPelRect inner(const xcPelRect& w, long border) {
    return xcPelRect(w.x() + border, w.y() + border, std::max(0L, w.width() - 2 * border),
                     std::max(0L, w.height() - 2 * border));
}

}  // namespace

double xfScoreBlankness(const xcPelBuffer_const<unsigned char>& target,
                        const xcPelBuffer_const<unsigned char>& targetMask,
                        const xcXform<2>& clientTransform,
                        const xcPelBuffer_const<unsigned char>& modelImage,
                        const xcPelRect& modelArea,
                        const xcPelBuffer_const<unsigned char>& modelMask) {
    // The sample counts are signed 16-bit numbers: an area beyond them is refused, not wrapped.
    if (modelArea.width() > xcAffineClippingLimits::kMaxOutputSide ||
        modelArea.height() > xcAffineClippingLimits::kMaxOutputSide ||
        modelArea.area() > xcAffineClippingLimits::kMaxOutputPels)
        xstd_assert_(__LINE__, "model area larger than 2^24 pixels or 32767 on a side");

    // The model area placed in the target's client coordinates.
    const xcAffineRectangle area(modelArea.ul().toVector(), modelArea.ur().toVector(),
                                 modelArea.ll().toVector());
    const xcAffineRectangle placed =
        area.map(clientTransform * modelImage.clientFromImageXform());
    const xcAffineSamplingParams params(
        placed, static_cast<std::int16_t>(modelArea.width()),
        static_cast<std::int16_t>(modelArea.height()), xcAffineSamplingParams::eBilinear);

    xcPelBuffer<unsigned char> patch, patchMask;
    xfAffineTransformWithClipping(target, targetMask, params, patch, patchMask);

    // Care mask: the sampled target mask, further limited by the model's own mask.
    xcPelBuffer_const<unsigned char> care;
    if (modelMask.isBound()) {
        xcPelBuffer<unsigned char> own = xfPelCopy(modelMask);
        own.window(modelArea, false);
        care = patchMask.isBound() ? minByPosition(patchMask, own) : own;
    } else if (patchMask.isBound()) {
        care = patchMask;
    }

    // The centre of the patch, and the pixels it leaves out (255) for the correlation model.
    xcPelBuffer_const<unsigned char> centre = patch;
    centre.window(inner(patch.window(), kBorder), false);
    xcPelBuffer<unsigned char> ignore;
    if (care.isBound()) {
        xcPelBuffer_const<unsigned char> innerCare = care;
        innerCare.window(inner(care.window(), kBorder), false);
        xcPelMapTable table;
        for (int v = 0; v < 256; ++v) table[v] = v < kCare ? 255 : 0;
        ignore = xcPelBuffer<unsigned char>(innerCare.width(), innerCare.height());
        // Position-wise: each window is read from its own upper-left corner.
        for (long j = 0; j < innerCare.height(); ++j) {
            const unsigned char* src = innerCare.rowPointer(innerCare.window().y() + j);
            unsigned char* dst = ignore.rowPointer(j);
            for (long i = 0; i < innerCare.width(); ++i) dst[i] = table[src[i]];
        }
    }

    const xc_CorrelationModel<unsigned char> model(centre, ignore);
    const long n = model.nCarePels();
    if (n == 0) return 1.0;
    const auto n2 = static_cast<std::int32_t>(static_cast<std::int64_t>(n) * n);
    if (!(model.variance() / n2 > kVarianceFloor)) return 0.0;

    xcPelBuffer<std::int16_t> scores;
    xf_corr_exhaustive(patch, model, xc_CorrelationDefs::eR1000, scores);
    if (!scores.isBound() || scores.width() == 0 || scores.height() == 0) return 1.0;
    double total = 0.0;
    for (long y = scores.window().y(); y < scores.window().y() + scores.height(); ++y) {
        const std::int16_t* row = scores.rowPointer(y);
        for (long i = 0; i < scores.width(); ++i) total += std::abs(static_cast<int>(row[i]));
    }
    return total / static_cast<std::int32_t>(scores.width() * scores.height());
}
