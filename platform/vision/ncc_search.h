// Normalised-correlation search: finds where a trained 8-bit pattern appears in an image,
// translation only, to sub-pixel precision.
//
// Training keeps the pattern's care pixels (all pixels, or those whose mask value is >= 128) at
// full resolution and at coarser pyramid levels (2 x 2 means). A run correlates the coarsest
// level with the image's pyramid at every placement, takes the local score maxima as
// candidates, follows each down to full resolution in a 5 x 5 neighbourhood per level, and fits
// the scores around the final peak for the sub-pixel location. Scores are r^2 for a positive
// correlation coefficient r, 0 otherwise (ncc_search_params.h). A result's score is taken at its
// sub-pixel location: with medium accuracy the fitted peak of the scores around it (never below
// the integer peak's), with fine accuracy the correlation with the image interpolated there
// (bicubic; the fitted peak where the interpolation would leave the window). So results of
// patterns that differ by less than a pixel compare by how well they fit, not by how their peaks
// happen to fall on the pixel grid. Results that overlap a better
// one by more than the run's xyOverlap are dropped.
//
// A model is a value: copies share the trained data, which never changes after training.
// Runs are const and re-entrant. Long loops poll xcAttention::check(), so a caller's time-out or
// cancellation ends a run with the core library's exception.
#pragma once

#include <memory>

#include "platform/core/pel_buffer.h"
#include "platform/vision/ncc_search_params.h"

struct xc_NccModelData;
class xcDiagObject;

class xcNccSearchModel {
public:
    // An untrained model.
    xcNccSearchModel();
    ~xcNccSearchModel();
    xcNccSearchModel(const xcNccSearchModel&);
    xcNccSearchModel& operator=(const xcNccSearchModel&);

    // Trains on the window of `image`; with `mask` (same window), only pixels whose mask value
    // is >= 128 are cared for. The model's client frame is the image's client frame, which must
    // be linear.
    // Throws xcPel::UnboundWindow for an unbound image, xcBadArgument when the mask's window
    // differs from the image's, a side exceeds 32767 pixels or the area 4194304 pixels, the
    // client transform is not linear, or the care pixels have no contrast (fewer than 2 of
    // them, or all of one value). A failed training leaves the model as it was. diag and flags
    // are accepted for the tools' common calling convention; training makes no records.
    void train(const xcPelBuffer_const<unsigned char>& image,
               const xcNccSearchTrainParams& params = xcNccSearchTrainParams(),
               xcDiagObject* diag = nullptr, unsigned long flags = 0);
    void train(const xcPelBuffer_const<unsigned char>& image,
               const xcPelBuffer_const<unsigned char>& mask,
               const xcNccSearchTrainParams& params = xcNccSearchTrainParams(),
               xcDiagObject* diag = nullptr, unsigned long flags = 0);

    bool isTrained() const { return static_cast<bool>(m_data); }
    // The training window, in the training image's image coordinates. Throws xcBadArgument
    // when the model is not trained (as do the other accessors below).
    xcPelRect window() const;
    // The number of care pixels at full resolution.
    long nCarePels() const;
    // The number of pyramid levels the model holds (1: full resolution only).
    long numLevels() const;
    const xcNccSearchTrainParams& trainParams() const;

    // Searches the window of `image` for the pattern and replaces the content of `results`
    // (best first, see xcNccSearchResultSet). Placements keep the whole pattern inside the
    // window; an image smaller than the pattern gives no result. Locations are in the image's
    // client coordinates (its client-from-image transform need not be linear).
    // Throws xcBadArgument when the model is not trained, xcPel::UnboundWindow for an unbound
    // image, and the core library's attention errors (time-out, abort) raised while it runs;
    // `results` is then left empty. diag and flags: no diagnostic records are made.
    void run(const xcPelBuffer_const<unsigned char>& image, const xcNccSearchRunParams& params,
             xcNccSearchResultSet& results, xcDiagObject* diag = nullptr,
             unsigned long flags = 0) const;

private:
    const xc_NccModelData& data_() const;

    std::shared_ptr<const xc_NccModelData> m_data;
};
