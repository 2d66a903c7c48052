#include "oc/imageutil/affine_clipping.h"

#include <algorithm>
#include <cmath>

#include "platform/clevel/assert.h"
#include "platform/core/histo_stats.h"
#include "platform/core/math_util.h"
#include "platform/core/pel_ops.h"

namespace {

constexpr double kClipMargin = 4.0;  // pixels of padding around the sampled area

}  // namespace

void xfAffineTransformWithClipping(const xcPelBuffer_const<unsigned char>& source,
                                   const xcPelBuffer_const<unsigned char>& sourceMask,
                                   const xcAffineSamplingParams& params,
                                   xcPelBuffer<unsigned char>& outImage,
                                   xcPelBuffer<unsigned char>& outMask) {
    if (outMask.isBound()) xstd_assert_(__LINE__, "out mask must be unbound");
    if (outImage.isBound()) xstd_assert_(__LINE__, "out image must be unbound");
    if (sourceMask.isBound() && sourceMask.window() != source.window())
        xstd_assert_(__LINE__, "source mask window must equal the source window");
    if (params.nx() > xcAffineClippingLimits::kMaxOutputSide ||
        params.ny() > xcAffineClippingLimits::kMaxOutputSide ||
        params.nx() * params.ny() > xcAffineClippingLimits::kMaxOutputPels)
        xstd_assert_(__LINE__, "output larger than 2^24 pixels or 32767 on a side");

    // The mask is read in the source's client frame.
    xcPelBuffer_const<unsigned char> mask = sourceMask;
    mask.clientFromImageXformBase(source.clientFromImageXformBasePtr());

    if (!params.willClip(source) && (!mask.isBound() || !params.willClip(mask))) {
        xcPelBuffer<unsigned char> image = xfAffineTransformImage(source, params);
        xcPelBuffer<unsigned char> sampledMask;
        if (mask.isBound()) sampledMask = xfAffineTransformImage(mask, params);
        outImage = image;
        outMask = sampledMask;
        return;
    }

    // The sampled area in source image coordinates, with a margin for the interpolation.
    const xcRect r = params.rect().boundingBox(source.imageFromClientXform());
    // Beyond the source grown by the margin the padding is uniform, and a sample there reads
    // the nearest pixel of the padded window, which is padding too: the padded window need
    // not reach further, so its memory stays bounded by the source's however far the
    // rectangle reaches (computed in doubles, as the rectangle may lie far outside longs).
    const double m = kClipMargin;
    const xcPelRect& sw = source.window();
    const double gx0 = static_cast<double>(sw.x()) - m, gy0 = static_cast<double>(sw.y()) - m;
    const double gx1 = static_cast<double>(sw.x() + sw.width()) + m;
    const double gy1 = static_cast<double>(sw.y() + sw.height()) + m;
    const double px0 = std::floor(r.ul().x() - m), py0 = std::floor(r.ul().y() - m);
    const double px1 = px0 + std::ceil(r.size().x() + 2 * m);
    const double py1 = py0 + std::ceil(r.size().y() + 2 * m);
    const double x0 = std::max(px0, gx0), y0 = std::max(py0, gy0);
    const double x1 = std::min(px1, gx1), y1 = std::min(py1, gy1);
    const xcPelRect padWindow =
        x0 < x1 && y0 < y1
            ? xcPelRect(xfIFloor(x0), xfIFloor(y0), xfIFloor(x1 - x0), xfIFloor(y1 - y0))
            : xcPelRect(xfIFloor(gx0), xfIFloor(gy0), xfIFloor(gx1 - gx0), xfIFloor(gy1 - gy0));

    xcPelBuffer_const<unsigned char> padded = source;
    xcPelBuffer_const<unsigned char> paddedMask = mask;
    if (!source.window().contains(padWindow)) {
        xcPelBuffer<unsigned char> image(padWindow);
        image.clientFromImageXformBase(source.clientFromImageXformBasePtr());
        xcPelBuffer<unsigned char> care(padWindow);
        care.clientFromImageXformBase(mask.clientFromImageXformBasePtr());

        const long median = xcHistoStats(xfPelHistogram(source), false).median();
        xfPelSet(image, static_cast<unsigned char>(median));
        xfPelCopy(source, image);

        xfPelSet(care, 0);
        if (!mask.isBound()) {
            xcPelBuffer<unsigned char> over = care;
            over.window(source.window(), true);
            xfPelSet(over, 255);
        } else {
            xfPelCopy(mask, care);
        }
        padded = image;
        paddedMask = care;
    }

    xcPelBuffer<unsigned char> image = xfAffineTransformImage(padded, params);
    xcPelBuffer<unsigned char> sampledMask;
    if (paddedMask.isBound()) {
        xcAffineSamplingParams maskParams = params;
        maskParams.interpolation(xcAffineSamplingParams::eBilinear);
        sampledMask = xfAffineTransformImage(paddedMask, maskParams);
    }
    outImage = image;
    outMask = sampledMask;
}
