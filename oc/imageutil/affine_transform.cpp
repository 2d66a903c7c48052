#include "oc/imageutil/affine_transform.h"

#include <algorithm>
#include <cstdint>

#include "oc/imageutil/mirror_fill.h"
#include "platform/clevel/assert.h"
#include "platform/core/affine_rectangle.h"
#include "platform/core/affine_sampling.h"
#include "platform/core/matrix.h"
#include "platform/core/pel_ops.h"

namespace {

constexpr long kMirrorBorder = 3;

xcPelMapTable thresholdTable() {
    xcPelMapTable t;
    for (int v = 0; v < 256; ++v) t[v] = v < 128 ? 0 : 255;
    return t;
}

void transform(const xcPelBuffer_const<unsigned char>& source,
               const xcPelBuffer_const<unsigned char>* sourceMask, xcRadian angle, double scale,
               xcPelBuffer<unsigned char>& outImage, xcPelBuffer<unsigned char>* outMask,
               long imageInterpolation, long maskInterpolation) {
    const xcMatrix<2> m(angle, angle, scale, scale);
    const xcMatrix<2> minv = m.inverse();
    const xcPelRect w0 = source.window();
    const xcVector<2> c = (w0.ul().toVector() + w0.lr().toVector()) * 0.5;

    // E: the source-space rectangle, aligned with the output axes, that encloses the window.
    const xcXform<2> a = xcXform<2>(xcMatrix<2>(-minv.xRot(), -minv.yRot(), 1.0, 1.0),
                                    xcVector<2>()) *
                         xcXform<2>::translation(-c);
    const xcAffineRectangle turned(a.mapPoint(w0.ul().toVector()), a.mapPoint(w0.ur().toVector()),
                                   a.mapPoint(w0.ll().toVector()));
    const xcRect box = turned.boundingBox();
    const xcXform<2> b = xcXform<2>::translation(c) *
                         xcXform<2>(xcMatrix<2>(minv.xRot(), minv.yRot(), 1.0, 1.0), xcVector<2>());
    const xcAffineRectangle e(b.mapPoint(box.ul()), b.mapPoint(box.ur()), b.mapPoint(box.ll()));

    // P: E's pixels with a border, zero outside the bordered source.
    const xcPelRect padWindow = e.encloseImageRect().trim(-kMirrorBorder, -kMirrorBorder,
                                                          -kMirrorBorder, -kMirrorBorder);
    xcPelBuffer<unsigned char> padded(padWindow);

    // G: the source with a 3-pixel border of real or mirrored pixels.
    const xcPelRect grown = w0.trim(-kMirrorBorder, -kMirrorBorder, -kMirrorBorder, -kMirrorBorder);
    xcPelBuffer_const<unsigned char> whole = source;
    whole.setEntire();
    xcPelBuffer<unsigned char> bordered(grown);
    xfPelCopy(whole, bordered);
    if (!whole.window().contains(grown)) {
        const xcPelRect data = whole.window().intersect(grown);
        if (data.isNull()) xstd_assert_(__LINE__, "no source pixel to mirror");
        xf_MirrorFill(bordered, data);
    }
    xfPelCopy(bordered, padded);

    // Output size and the sampling rectangle Q around the window's centre.
    const double w = e.xLength() / minv.xScale();
    const double h = e.yLength() / minv.yScale();
    if (!(std::min(w, h) >= 0.5 && std::max(w, h) < 32767.0))
        xstd_assert_(__LINE__, "output size out of range");
    const auto outW = static_cast<std::int16_t>(w + 0.5);
    const auto outH = static_cast<std::int16_t>(h + 0.5);
    xcAffineRectangle q(xcVector<2>(), outW * minv.xScale(), outH * minv.yScale(), minv.xRot(),
                        minv.yRot() - minv.xRot());
    q.center(c);
    q = q.map(padded.clientFromImageXform());

    xcAffineSamplingParams params(q, outW, outH, imageInterpolation);
    xcPelBuffer<unsigned char> image = xfAffineTransformImage(padded, params);
    xcPelBuffer<unsigned char> mask;
    if (outMask) {
        xcPelBuffer<unsigned char> k(padWindow);
        xfPelSet(k, 255);
        if (sourceMask && sourceMask->isBound()) {
            xfPelCopy(*sourceMask, k);
        } else {
            xcPelBuffer<unsigned char> over = k;
            over.window(w0, true);
            xfPelSet(over, 0);
        }
        k.clientFromImageXformBase(padded.clientFromImageXformBasePtr());
        params.interpolation(maskInterpolation);
        mask = xfAffineTransformImage(k, params);
        xfPelMap(mask, thresholdTable());
    }
    outImage = image;
    if (outMask) *outMask = mask;
}

}  // namespace

void xf_AffineTransform(const xcPelBuffer_const<unsigned char>& source,
                        const xcPelBuffer_const<unsigned char>& sourceMask, xcRadian angle,
                        double scale, xcPelBuffer<unsigned char>& outImage,
                        xcPelBuffer<unsigned char>& outMask, long imageInterpolation,
                        long maskInterpolation) {
    transform(source, &sourceMask, angle, scale, outImage, &outMask, imageInterpolation,
              maskInterpolation);
}

void xf_AffineTransform(const xcPelBuffer_const<unsigned char>& source, xcRadian angle,
                        double scale, xcPelBuffer<unsigned char>& outImage, long interpolation) {
    transform(source, nullptr, angle, scale, outImage, nullptr, interpolation, interpolation);
}
