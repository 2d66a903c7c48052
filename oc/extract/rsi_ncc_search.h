// xcRSINccSearchModel: a rotation- and scale-tolerant correlation model of one character.
//
// The platform's correlation search (platform/vision/ncc_search.h) finds a pattern under
// translation only. This model trains one correlation pattern per variant of a small grid of
// angles and scales (rsi_ncc_search_params.h): each variant is the character image turned and
// scaled as a whole (xf_AffineTransform, bilinear, with a 3-pixel border of real or mirrored
// pixels). A run searches an image with every variant and keeps the best-scoring instances over
// all of them.
//
// Band limit. Both the variants and the searched image are smoothed by a 3 x 3 binomial
// (variance 1/2 pixel^2 per axis) before correlation, and the correlation tool runs at its fine
// accuracy, which scores each result at its sub-pixel location. The bilinear resampling of a
// variant blurs it by up to a quarter pixel^2 depending on the sampling phase of its angle and
// scale; without the band limit that blur and the placement of the peaks on the pixel grid
// would decide between neighbouring variants more than their angle and scale do.
//
// Frames. A variant's pattern has the model image's pixel frame as its client frame, so a
// correlation location is where the model image's pixel origin (0, 0) lies. An instance's pose
// maps the model image's pixel frame into the searched image's client frame: rotation and
// scale = those of (searched image's client-from-image) o (angle and scale), translation =
// where the model image's origin lies. Its footprint is the model window mapped by that pose.
// A caller whose characters carry their own client frame C (client-from-image of the model
// image) gets the client-frame pose as pose o C^-1.
//
// Pose between the variants. The angle, scale and translation of the pose are fitted over the
// variants around the instance's own (up to 3 angle steps and 1 scale step away, each run near
// the instance; variant_peak_fit.h): the top of a quadric through their scores and the plane
// through their locations there. The instance's score, location and variant stay those of the
// best variant. The grid's steps (0.5 degrees, 3 %) are coarser than the pose needs, and
// neighbouring variants' scores differ by about their noise. From that pose a few Gauss-Newton
// steps fit the translation, angle and scale continuously (xf_RefineSimilarityPose): the
// band-limited model image mapped into the searched window, with a gain and offset of the grey
// levels, so that the normalised correlation is highest.
//
// Costs: training makes one resampled image, one pattern and one halved pattern per variant
// (52 for the refinement's grid). A run that keeps one instance screens (see screening());
// otherwise each variant runs once over the searched window. The pose fit runs the
// neighbours of each instance on small windows.
//
// Copies share the trained patterns (they never change after training). Runs are const and
// re-entrant.
#pragma once

#include <string>
#include <vector>

#include "oc/extract/rsi_ncc_search_params.h"
#include "oc/extract/search_result.h"
#include "platform/core/pel_buffer.h"
#include "platform/core/rep_base.h"
#include "platform/core/xform.h"
#include "platform/vision/ncc_search.h"

class xcDiagObject;

class xcRSINccSearchModel : public virtual xcRepBase {
public:
    // Empty name, empty window, default parameters, no variants.
    xcRSINccSearchModel();
    // Stores `name`, the image's window and `params`, then trains one pattern per variant:
    // for every scale s of the grid and, within it, every angle a, the image turned by a
    // (degrees) and scaled by s / baseScale. Variant k is the k-th (scale, angle) pair in that
    // order; variantPoses()[k] is the rotation a with scale s / baseScale and no translation.
    // The variants are trained on the image alone: `mask` is accepted for the tools' calling
    // convention and not used. diag and flags are not used (training makes no records).
    // Throws xc_OCExtractDefs::xc_OCExtractError "Too many variants" when the grid holds more
    // than xcRSINccSearchParams::kMaxVariants variants, and passes on the errors of the
    // resampling and of the correlation training (an unbound image: xcPel::UnboundWindow; an
    // image without contrast: xcBadArgument).
    xcRSINccSearchModel(const xcPelBuffer_const<unsigned char>& image,
                        const xcPelBuffer_const<unsigned char>& mask,
                        const xcRSINccSearchParams& params, const std::wstring& name,
                        xcDiagObject* diag = nullptr, unsigned long flags = 0);
    xcRSINccSearchModel(const xcRSINccSearchModel&) = default;
    xcRSINccSearchModel& operator=(const xcRSINccSearchModel&) = default;
    ~xcRSINccSearchModel() override;

    const std::wstring& name() const { return m_name; }
    // The model image's window (image coordinates of the model image).
    const xcPelRect& window() const { return m_window; }
    const xcRSINccSearchParams& params() const { return m_params; }
    long numVariants() const { return static_cast<long>(m_models.size()); }
    const std::vector<xcNccSearchModel>& models() const { return m_models; }
    const std::vector<xcXform<2>>& variantPoses() const { return m_variantPoses; }

    // Searches the window of `image` with every variant and fills `result`: a null handle
    // receives a new xc_SearchResult, otherwise the result is init()ed first. Every correlation
    // result that reaches runParams.accept() becomes an instance; the instances are sorted by
    // score, best first (ties in no defined order), and at most maxNumResults of them are kept
    // (all of them when it is below 1). found() = at least one instance; time() = milliseconds.
    // A variant whose run fails with an xcException other than xcTimeout::Expired is skipped;
    // xcTimeout::Expired ends the loop over the variants and is raised again (the result then
    // stays empty). Throws xcBadArgument, before any search, when the image's client-from-image
    // transform is not linear. diag and flags are not used.
    // The band-limited copy of `image`'s window that a run correlates (and that the variants
    // are trained on): the 3 x 3 binomial smoothing, border pixels repeated, same window and
    // client transform. Throws xcPel::UnboundWindow for an unbound image and xcBadArgument for
    // an empty window.
    static xcPelBuffer<unsigned char> bandLimited(const xcPelBuffer_const<unsigned char>& image);

    void run(const xcPelBuffer_const<unsigned char>& image,
             const xcRSINccSearchRunParams& runParams, xcPtrHandle<xc_SearchResult>& result,
             xcDiagObject* diag = nullptr, unsigned long flags = 0) const;

    // Screening (on by default) lets a run that keeps one instance correlate only the few
    // variants whose halved patterns score best over the halved window, and the grid
    // neighbours it climbs to from the best of them; off, every variant runs over the whole
    // window. Both find the same best instance wherever the best variant's halved pattern is
    // among the best few; the tests compare them.
    bool screening() const { return m_screening; }
    void screening(bool on) { m_screening = on; }

private:
    // The variants run in one search near one place: per variant 0 not run, 1 with its
    // result, -1 without a result.
    struct RunCache {
        std::vector<signed char> state;
        std::vector<xc_SearchInstance> results;
    };
    void train_(const xcPelBuffer_const<unsigned char>& image);
    bool runVariant_(std::size_t k, const xcPelBuffer_const<unsigned char>& image,
                     const xcNccSearchRunParams& run, xcNccSearchResultSet& found) const;
    std::vector<xc_SearchInstance> allVariants_(const xcPelBuffer_const<unsigned char>& searched,
                                                const xcNccSearchRunParams& run) const;
    std::vector<xc_SearchInstance> screened_(const xcPelBuffer_const<unsigned char>& searched,
                                             const xcNccSearchRunParams& run,
                                             RunCache& cache) const;
    bool runAround_(std::size_t k, const xcVector<2>& corner,
                    const xcPelBuffer_const<unsigned char>& searched,
                    const xcNccSearchRunParams& run, xc_SearchInstance& out) const;
    bool runNear_(std::size_t k, const xc_SearchInstance& best,
                  const xcPelBuffer_const<unsigned char>& searched, const xcNccSearchRunParams& run,
                  xc_SearchInstance& out) const;
    std::vector<xc_SearchInstance> neighbours_(const xc_SearchInstance& best,
                                               const xcPelBuffer_const<unsigned char>& searched,
                                               const xcNccSearchRunParams& run, long angleSteps,
                                               RunCache& cache) const;
    void fitPose_(xc_SearchInstance& inst, const xcPelBuffer_const<unsigned char>& searched,
                  const xcNccSearchRunParams& run, RunCache& cache) const;

    std::wstring m_name;
    xcPelRect m_window;
    xcRSINccSearchParams m_params;
    std::vector<xcNccSearchModel> m_models;
    std::vector<xcXform<2>> m_variantPoses;
    // Per variant: its halved pattern for screening (empty when a variant is too small to
    // halve), and the map from the model image's pixels to its pattern's pixels.
    std::vector<xcNccSearchModel> m_screens;
    std::vector<xcXform<2>> m_templateFromModel;
    // The band-limited model image, for the continuous pose fit (variant_peak_fit.h).
    xcPelBuffer<unsigned char> m_pattern;
    bool m_screening = true;
};
