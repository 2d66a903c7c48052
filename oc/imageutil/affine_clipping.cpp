#include "oc/imageutil/affine_clipping.h"

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
    const long x0 = xfIFloor(r.ul().x() - kClipMargin);
    const long y0 = xfIFloor(r.ul().y() - kClipMargin);
    const xcPelRect padWindow(x0, y0, xfICeil(r.size().x() + 2 * kClipMargin),
                              xfICeil(r.size().y() + 2 * kClipMargin));

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
