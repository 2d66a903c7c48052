// The pose between the variants of a correlation model: a least-squares fit of the scores of
// the variants around the best one, and of where each of them found the pattern.
//
// A grid of variants 0.5 degrees and 3 % of scale apart puts the best variant up to a quarter
// degree and 1.5 % of scale from the pattern's pose, and the scores of neighbouring variants
// differ by little more than the noise of resampling them (a few thousandths), so the single
// best variant is often one or two steps off. The scores of the variants near the best one
// follow a smooth hill over (angle, log scale); a quadric fitted to them by least squares puts
// its top nearer the true pose than any one variant, and a plane fitted to the variants'
// locations gives the location that goes with that top (a variant a step off in scale finds
// the pattern's ink where it is, so its origin lies elsewhere).
#pragma once

#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/core/vector.h"

// One variant near the best one: its grid offset from the best variant in steps (x along the
// angles, y along the log scales), its score and the location it found.
struct xc_VariantSample {
    double x = 0.0;
    double y = 0.0;
    double score = 0.0;
    xcVector<2> location;
};

// The fitted top: grid offsets in steps from the best variant, each within one step and within
// the given bounds (the grid's ends), and the location there.
struct xc_VariantPeak {
    double x = 0.0;
    double y = 0.0;
    xcVector<2> location;
};

// Fits score = quadric(x, y) and location = plane(x, y) by least squares over the samples, the
// best variant (offset (0, 0)) among them. An axis is fitted only when the samples take at least
// three values along it (at the end of the grid, all on one side of the best variant); the other
// axis keeps offset 0. When the fitted quadric has no
// top along the fitted axes, or too few samples are given, the best variant's offsets (0, 0)
// and location are returned. `lo` and `hi` bound the offsets (x and y) from below and above;
// a top beyond them is held at them, since the grid says nothing of the scores beyond its ends.
xc_VariantPeak xf_FitVariantPeak(const std::vector<xc_VariantSample>& samples,
                                 const xcVector<2>& bestLocation,
                                 const xcVector<2>& lo = xcVector<2>(-1.0, -1.0),
                                 const xcVector<2>& hi = xcVector<2>(1.0, 1.0));

// A similarity from a pattern's pixel frame into an image's pixel frame (both with pixel (x, y)
// sampled at its centre (x + 0.5, y + 0.5)): u -> scale * R(angle) u + translation.
struct xc_SimilarityPose {
    double angle = 0.0;  // radians
    double scale = 1.0;
    xcVector<2> translation;
};

// The continuous pose between the grid's variants: starting from `start`, a few Gauss-Newton
// steps on the pattern's pixels mapped into `image` (bilinear samples, gradients by central
// differences interpolated the same way) fit the translation and angle together with a gain
// and offset of the grey levels: the least-squares form of the highest normalised correlation
// near `start`. The steps are taken whole, not judged by the correlation of the bilinear
// samples, which is highest where the samples fall on pixel centres (least interpolation blur)
// and so favours the pixel grid over the fit. The scale stays `start`'s: fitted here as well it
// came out 1 to 3 % too large for characters such as x and 7, while the variants' fit keeps it
// within 0.8 %. Returns `start` unchanged when the pattern or its samples have no contrast,
// when more than a tenth of its pixels leave the image, or when the fit moves any corner of
// the pattern further than `maxShift` pixels from `start`: the grid's variants are then the
// better guide.
xc_SimilarityPose xf_RefineSimilarityPose(const xcPelBuffer_const<unsigned char>& pattern,
                                          const xcPelBuffer_const<unsigned char>& image,
                                          const xc_SimilarityPose& start, double maxShift);
