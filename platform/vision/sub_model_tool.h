// The sub-model tool: how well, and where, a trained pattern (typically one character image)
// appears in another image, within a translation range about a start pose, allowing the
// pattern to hang partly out of the image.
//
// A run tries every whole-pixel offset of the model's pixel grid on the image's pixel grid
// within the XY uncertainty about the start pose (xcFlexSubModelCorRunParams), keeping only
// offsets at which the model stays within the image window widened by the partial match
// margins. At each offset it correlates the model's care pixels with the image over the pixels
// both care for (model pixels outside the image, or on image pixels whose mask value is
// below 128, take no part). The score of an offset is
//     r^2 * coverage   for a positive correlation coefficient r, 0 otherwise,
// where coverage is the fraction of the model's care pixels that took part. Wholly inside the
// image (coverage 1) the score is the plain r^2 of the correlation tools; identical images
// score 1; a copy shifted partly out of the image scores the fraction still inside; and a
// chance likeness between a corner of the model and some part of the image counts for only
// that corner, so that the margins do not inflate the scores of unrelated patterns. The best
// offset is refined below the pixel by a quadric fitted to the 3 x 3 correlations r^2 around it.
//
// Translation only: angle and scale zones are accepted and not searched, and the start pose
// must map the model's pixel grid onto the image's without rotation, scale or shear.
//
// The tool is a value; runs are const and re-entrant. Long loops poll xcAttention::check().
#pragma once

#include <memory>
#include <vector>

#include "platform/vision/flex_sub_model.h"

struct xc_SubModelData;
class xcDiagObject;

class xc_SubModelTool {
public:
    xc_SubModelTool();
    ~xc_SubModelTool();
    xc_SubModelTool(const xc_SubModelTool&);
    xc_SubModelTool& operator=(const xc_SubModelTool&);

    // Trains on the sub-model's image window and mask. The image's client-from-image transform
    // must be linear. A pattern without contrast trains, and every placement then scores 0.
    // Throws xcPel::UnboundWindow for an empty sub-model, xcMath::Singular for a singular client
    // transform, xcBadArgument for a non-linear one, a side over 32767 pixels or an area over
    // 4194304 pixels; a failed training leaves the tool as it was. diag and flags: the tool
    // makes no diagnostic records.
    void train(const xcFlexSubModel& model, const xcFlexSubModelCorTrainParams& params,
               xcDiagObject* diag = nullptr, unsigned long flags = 0);

    bool isTrained() const { return static_cast<bool>(m_data); }
    // The trained sub-model and parameters; throw xcBadArgument when not trained.
    const xcFlexSubModel& model() const;
    const xcFlexSubModelCorTrainParams& trainParams() const;

    // Searches the window of `image` (with `mask`, same window, when bound: pixels whose mask
    // value is >= 128 are cared for). `startPose` maps the model's client frame to the image's
    // client frame at the centre of the search. `points`, in the model's client frame, are
    // mapped by each result's pose. Replaces the content of `results` with the best placement
    // when it scores at least the accept threshold (nothing otherwise, or when no offset keeps
    // the model within the partial match margins).
    // Throws xcBadArgument when the tool is not trained, the mask's window differs from the
    // image's, the image's client transform is not linear, or the start pose is not finite or
    // would turn, scale or shear the model's pixel grid against the image's (by more than
    // 1e-6); xcMath::Singular for a singular image transform; xcPel::UnboundWindow for an
    // unbound image; and the core library's attention errors. `results` is then left empty.
    // diag and flags: no diagnostic records.
    void run(const xcPelBuffer_const<unsigned char>& image,
             const xcPelBuffer_const<unsigned char>& mask, const xc2XformLinear& startPose,
             const xcFlexSubModelCorRunParams& params, const std::vector<xcVector<2>>& points,
             xc_SubModelResultSet& results, xcDiagObject* diag = nullptr,
             unsigned long flags = 0) const;
    void run(const xcPelBuffer_const<unsigned char>& image, const xc2XformLinear& startPose,
             const xcFlexSubModelCorRunParams& params, const std::vector<xcVector<2>>& points,
             xc_SubModelResultSet& results, xcDiagObject* diag = nullptr,
             unsigned long flags = 0) const;

private:
    const xc_SubModelData& data_() const;

    std::shared_ptr<const xc_SubModelData> m_data;
};
