#include "oc/arrange/refine.h"

#include <cmath>

#include "oc/extract/rsi_ncc_search.h"
#include "oc/font/model.h"
#include "platform/clevel/assert.h"
#include "platform/core/affine_rectangle.h"
#include "platform/core/affine_sampling.h"
#include "platform/core/angle.h"
#include "platform/core/ellipse.h"
#include "platform/core/math_util.h"
#include "platform/core/rect.h"
#include "platform/core/timeout.h"

namespace {

// The variants cover +-3 degrees and about +-5 % of scale around the inferred pose; the region
// leaves room for 2 degrees more.
constexpr double kAngleTolerance = 3.0;  // degrees
constexpr double kScaleTolerance = 0.05;
constexpr double kRegionExtraAngle = 2.0;  // degrees
constexpr double kWholeTolerance = 1e-11;
constexpr long kInterpolation = 2;  // bilinear

// Rounding to whole pixels where a value within a relative 1e-11 of a whole number is that
// number (so a side computed as 3 * (w / 3) does not grow by a pixel).
long floorWhole(double v) {
    const double r = std::round(v);
    return xfRealEq(v, r, kWholeTolerance) ? static_cast<long>(r) : xfIFloor(v);
}

long ceilWhole(double v) {
    const double r = std::round(v);
    return xfRealEq(v, r, kWholeTolerance) ? static_cast<long>(r) : xfICeil(v);
}

}  // namespace

// Angles -3 ... 3 step 0.5; scales 0.95 ... 1.065 (the tolerance plus half a scale step above)
// in relative steps of 3 %.
xcRSINccSearchParams xf_RefineGridParams() {
    constexpr double scaleStep = 0.03;
    return xcRSINccSearchParams(
        xcRange(-kAngleTolerance, kAngleTolerance), 0.5,
        xcRange(1.0 - kScaleTolerance, 1.0 + kScaleTolerance + scaleStep * 0.5), scaleStep, 1.0);
}

xcRSINccSearchRunParams xf_RefineRunParams() {
    xcRSINccSearchRunParams r;
    r.accept(0.3);
    r.confusion(0.4);
    r.overlap(0.1);
    r.maxNumResults(1);
    return r;
}

xcPelRect xf_RefineBoundingRect(const xcPelRect& start) {
    const double grow = 1.0 + kScaleTolerance;
    const xcVector<2> h(0.5 * static_cast<double>(start.width()) * grow,
                        0.5 * static_cast<double>(start.height()) * grow);
    const xcRadian sweep = xcDegree(kAngleTolerance + kRegionExtraAngle);
    const xcRadian at(std::atan2(h.y(), h.x()));
    const xcEllipseArc2 arc = xcEllipseArc2::fromStartEnd(
        xcEllipse2(xcCircle(xcVector<2>(), h.len())), at - sweep, at + sweep);
    const xcRect box = arc.boundingBox();
    const xcRect both = box.enclose(xcRect(-box.lr(), box.size()));
    const xcVector<2> centre = (start.ul().toVector() + start.lr().toVector()) * 0.5;
    const xcVector<2> ul = both.ul() + centre;
    const xcVector<2> lr = both.lr() + centre;
    const long x0 = floorWhole(ul.x()), y0 = floorWhole(ul.y());
    return xcPelRect(x0, y0, ceilWhole(lr.x()) - x0, ceilWhole(lr.y()) - y0);
}

bool xf_CutRefineRegion(const xcPelBuffer_const<unsigned char>& image, const xcPelRect& modelWindow,
                        const xcXform<2>& modelClientFromImage, const xcXform<2>& pose,
                        xcPelBuffer<unsigned char>& region) {
    region = xcPelBuffer<unsigned char>();
    if (modelWindow.isNull()) return false;
    xcPelBuffer_const<unsigned char> whole = image;
    whole.setEntire();
    const xcXform<2> m = pose * modelClientFromImage;
    const long tx = floorWhole(static_cast<double>(modelWindow.width()) / 3.0);
    const long ty = floorWhole(static_cast<double>(modelWindow.height()) / 3.0);
    const xcPelRect starts[2] = {modelWindow.trim(-tx, -ty, -tx, -ty), modelWindow};
    for (const xcPelRect& start : starts) {
        const xcPelRect b = xf_RefineBoundingRect(start);
        const xcAffineRectangle rect(m.mapPoint(b.ul().toVector()), m.mapPoint(b.ur().toVector()),
                                     m.mapPoint(b.ll().toVector()));
        const xcAffineSamplingParams sampling(rect, b.width(), b.height(), kInterpolation);
        if (sampling.willClip(whole)) continue;
        // Sampled straight into a buffer over B, so the region's pixels are the model image's
        // pixel grid and its client-from-image transform maps them onto the search image.
        xcPelBuffer<unsigned char> out(b);
        xfAffineTransformImage(whole, sampling, out);
        region = out;
        return true;
    }
    return false;
}

void xf_RefineArrangement(const xcPelBuffer_const<unsigned char>& image,
                          const xcPtrHandle_const<xcOCAlphabet>& alphabet,
                          const std::vector<long>& keys, std::vector<xc_Pose>& poses,
                          std::vector<xcOCArrangeDefs::CharStatus>& statuses,
                          std::vector<double>& scores, xcDiagObject*, unsigned long,
                          xc_RefineCounts* counts) {
    const std::size_t n = keys.size();
    if (alphabet.isNull()) xstd_assert_(__LINE__, "refinement without an alphabet");
    if (poses.size() != n || statuses.size() != n || scores.size() != n)
        xstd_assert_(__LINE__, "refinement vectors of different lengths");
    // Every key is looked up before anything changes.
    std::vector<const xcOCModel*> models(n);
    for (std::size_t i = 0; i < n; ++i) models[i] = alphabet->character(keys[i]).get();

    xc_RefineCounts done;
    const xcRSINccSearchParams grid = xf_RefineGridParams();
    const xcRSINccSearchRunParams run = xf_RefineRunParams();
    std::vector<bool> handled(n, false);
    for (std::size_t i = 0; i < n; ++i) {
        const xcOCModel& character = *models[i];
        if (character.charType() == xcOCModel::eBlank) handled[i] = true;
        if (handled[i]) continue;

        // The key's model, trained on the image area. Only a time-out ends the refinement;
        // a character that cannot be trained is tried again at the key's next position.
        xcPelBuffer_const<unsigned char> cell = character.image();
        cell.window(character.imageArea());
        xcPelBuffer_const<unsigned char> mask = character.mask();
        if (mask.isBound()) mask.window(character.imageArea());
        xcPtrHandle<xcRSINccSearchModel> model;
        xcXform<2> clientFromImage, imageFromClient;
        try {
            clientFromImage = cell.clientFromImageXform();
            imageFromClient = clientFromImage.inverse();
            model = xcPtrHandle<xcRSINccSearchModel>(
                new xcRSINccSearchModel(cell, mask, grid, character.name()));
        } catch (const xcTimeout::Expired&) {
            if (counts) *counts = done;
            throw;
        } catch (const xcException&) {
            continue;
        }
        ++done.modelsBuilt;

        for (std::size_t j = i; j < n; ++j) {
            if (keys[j] != keys[i]) continue;
            handled[j] = true;
            if (statuses[j] != xcOCArrangeDefs::eInferred) continue;
            xcPtrHandle<xc_SearchResult> result(new xc_SearchResult());
            try {
                xcPelBuffer<unsigned char> region;
                if (!xf_CutRefineRegion(image, model->window(), clientFromImage, poses[j].xform(),
                                        region))
                    continue;
                ++done.regionsCut;
                model->run(region, run, result);
            } catch (const xcTimeout::Expired&) {
                if (counts) *counts = done;
                throw;
            } catch (const xcException&) {
                continue;
            }
            if (!result->found()) continue;
            if (result->numInstances() < 1) xstd_assert_(__LINE__, "found without an instance");
            // The instance's pose maps the model image's pixels; the arrangement's poses map
            // the character's client frame.
            statuses[j] = xcOCArrangeDefs::eMatched;
            poses[j] = xc_Pose(result->pose(0) * imageFromClient);
            scores[j] = result->score(0);
            ++done.positionsFound;
        }
    }
    if (counts) *counts = done;
}
