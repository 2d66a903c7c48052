// Geometric alignment: finds a trained pattern in an image at any angle and scale, with
// sub-pixel poses.
//
// A run searches the whole window (or the zones asked for) coarse to fine: a coarse search
// over a grid of angles and scales, tracking of the best candidates down the pyramid, a
// least-squares fit to the image's sub-pixel edges, then a grey-level registration of the
// accepted results. docs/geo_align.md describes the technique, its accuracy and its speed.
// Scores are polarity-consistent when the pattern was trained with eTrainMatchPolarity: dark
// on light stays dark on light.
//
// Cost. Training: linear in the training window's pixels. A run: linear in the searched
// window's pixels for the pyramid and the coarse search, times the number of (angle, scale)
// grid steps of the coarse search (which grows with the pattern's radius at the coarse grain
// and with the zones' widths); the finer steps cost a bounded amount per candidate.
//
// Frames. The pattern's client frame is its training image's client frame. A result's pose
// maps pattern client coordinates to the searched image's client coordinates. Angle and scale
// (zones, nominal values, results) are those of that client pose; they are exact when both
// images' client-from-image transforms are similarities (translations, rotations, uniform
// scales, possibly mirrored), which is the usual case. A transform that is not linear is used
// through its linear form at the window's centre.
//
// A pattern is a value: copies share the trained data, which never changes after training.
// Runs are const and re-entrant. Training and runs poll xcAttention::check() (at least every
// millisecond of work), so a caller's time-out or cancellation ends them with the core
// library's exception.
#pragma once

#include <memory>

#include "platform/core/pel_buffer.h"
#include "platform/core/xform_base.h"
#include "platform/vision/geo_align_defs.h"
#include "platform/vision/geo_align_params.h"
#include "platform/vision/geo_align_result.h"

struct xc_GeoModel;
struct xc_GeoImageCache;
class xcDiagObject;
class xcGeoAlignImage;

class xcGeoAlignPattern {
public:
    // An untrained pattern with automatic grain limits.
    xcGeoAlignPattern();
    ~xcGeoAlignPattern();
    xcGeoAlignPattern(const xcGeoAlignPattern&);
    xcGeoAlignPattern& operator=(const xcGeoAlignPattern&);

    // With automatic grain limits (the default) training uses the fine grain 1 and picks the
    // coarsest grain that keeps enough edge points and size for a reliable coarse search.
    bool autoSelectGrainLimits() const { return m_autoGrain; }
    void autoSelectGrainLimits(bool on) { m_autoGrain = on; }

    // Grain limits in pixels: the finest and the coarsest pyramid step, used by the next
    // training when the automatic choice is off. Grains are powers of two; a limit between
    // two takes the nearer in ratio. The values are checked by train() (xc_GeoDefs::
    // BadGrainLimits), not here, so that a caller can set them before deciding. After an
    // automatic training, grainLimitFine/Coarse() give the grains chosen.
    void grainLimits(double fine, double coarse);
    double grainLimitFine() const { return m_fine; }
    double grainLimitCoarse() const { return m_coarse; }

    // Trains on the window of `image` (8-bit). The pattern's client frame is the image's client
    // frame. trainFlags: a combination of xc_GeoDefs::TrainFlags. diag and flags follow the
    // tools' common calling convention; training makes no diagnostic records.
    // Throws (and leaves the pattern as it was):
    //   xc_GeoDefs::BadTrainImage  unbound image, or a singular client-from-image transform;
    //   xc_GeoDefs::BadTrainFlags  flags outside eTrainAllFlags;
    //   xc_GeoDefs::BadGrainLimits grains not finite, fine below 1, coarse below fine or above
    //                              64 (without the automatic choice);
    //   xc_GeoDefs::TooFewEdges    fewer than 12 edge points at a grain to be used (or a window
    //                              under 3 x 3 pixels);
    //   the core library's attention errors (time-out, cancellation).
    void train(const xcPelBuffer_const<unsigned char>& image,
               long trainFlags = xc_GeoDefs::eTrainAllFlags, xcDiagObject* diag = nullptr,
               unsigned long flags = 0);

    bool isTrained() const { return static_cast<bool>(m_model); }
    // The training image's client-from-image transform (pattern client from training image
    // coordinates) and window (image coordinates). Throw xc_GeoDefs::NotTrained when the
    // pattern is not trained, as do the accessors below.
    const xc2XformBase& trainClientFromImage() const;
    xcPelRect trainWindow() const;
    // The trained flags, and the numbers of points the pattern holds.
    long trainFlags() const;
    long numLevels() const;
    // Points of the finest level used by the least-squares fit.
    long numFitPoints() const;

    // Searches the window of `image` (8-bit) and replaces the content of `results` (see
    // xcGeoAlignResultSet). With a bound `mask` (its window must contain the image's window),
    // only pixels whose mask value is >= 128 are cared for: edges elsewhere are ignored, so an
    // instance in a don't-care region scores nothing there. Parts of the pattern that fall
    // outside the image count as points without an edge.
    // Throws xc_GeoDefs::BadRunInput (an InternalError) for an untrained pattern, an unbound
    // image, a mask that does not cover the image or a singular client transform, and
    // xc_GeoDefs::InternalError for any other failure of the run; the core library's time-out
    // and cancellation errors pass through. `results` is then left empty. diag and flags: no diagnostic records are made.
    void run(const xcPelBuffer_const<unsigned char>& image, const xcGeoAlignRunParams& params,
             xcGeoAlignResultSet& results, xcDiagObject* diag = nullptr,
             unsigned long flags = 0) const;
    void run(const xcPelBuffer_const<unsigned char>& image,
             const xcPelBuffer_const<unsigned char>& mask, const xcGeoAlignRunParams& params,
             xcGeoAlignResultSet& results, xcDiagObject* diag = nullptr,
             unsigned long flags = 0) const;
    // Searches a prepared image (geo_align_image.h): the results are exactly those of
    // run(image.image(), image.mask(), params, ...), and what the run derives from the image
    // alone is taken from, or left in, the prepared image for the next run. Throws as run
    // does. Not to be called for one prepared image from two threads at once.
    void run(const xcGeoAlignImage& image, const xcGeoAlignRunParams& params,
             xcGeoAlignResultSet& results, xcDiagObject* diag = nullptr,
             unsigned long flags = 0) const;

private:
    void run_(xc_GeoImageCache& cache, const xcGeoAlignRunParams& params,
              xcGeoAlignResultSet& results) const;

    const xc_GeoModel& model_() const;

    bool m_autoGrain = true;
    double m_fine = 1.0;
    double m_coarse = 4.0;
    std::shared_ptr<const xc_GeoModel> m_model;
};
