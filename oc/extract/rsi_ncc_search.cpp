#include "oc/extract/rsi_ncc_search.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "oc/extract/extract_defs.h"
#include "oc/imageutil/affine_transform.h"
#include "platform/core/angle.h"
#include "platform/core/exception.h"
#include "platform/core/matrix.h"
#include "platform/core/timeout.h"
#include "platform/core/timer.h"
#include "platform/vision/ncc_search_params.h"

namespace {

// The correlation tool's settings of the variants: its finest pyramid and sub-pixel fit, and
// normalised correlation (the values 4 and 8 of the tool's enumerations).
constexpr long kAccuracy = xcNccSearchDefs::eAccuracyFine;
constexpr long kAlgorithm = xcNccSearchDefs::eNormalizedCorrelation;
static_assert(kAccuracy == 4 && kAlgorithm == 8);
constexpr double kToolOverlap = 0.3;
constexpr long kInterpolation = 2;  // bilinear

[[noreturn]] void throwBad(const wchar_t* message) {
    throw xc_OCExtractDefs::xc_OCExtractError(message);
}

}  // namespace

// [1 2 1] / 4 along x, then along y. Both the variants and the searched image are smoothed so
// that the bilinear resampling of a variant (which blurs it by up to a quarter pixel^2,
// depending on the sampling phase of each angle and scale) changes its scores less next to
// what its angle and scale change. (A wider kernel helps the pose no further and raises the
// scores of other characters.)
xcPelBuffer<unsigned char> xcRSINccSearchModel::bandLimited(
    const xcPelBuffer_const<unsigned char>& image) {
    const xcPelRect w = image.window();
    const long width = w.width(), height = w.height();
    if (w.isNull()) throw xcBadArgument(L"Correlation model: an empty image cannot be smoothed");
    xcPelBuffer<unsigned char> out(w);
    out.clientFromImageXformBase(image.clientFromImageXformBasePtr());
    std::vector<std::uint16_t> rows(static_cast<std::size_t>(width * height));
    for (long y = 0; y < height; ++y) {
        const unsigned char* r = image.rowPointer(w.y() + y);
        std::uint16_t* o = &rows[static_cast<std::size_t>(y * width)];
        for (long x = 0; x < width; ++x) {
            const long left = x > 0 ? x - 1 : 0, right = x + 1 < width ? x + 1 : x;
            o[x] = static_cast<std::uint16_t>(r[left] + 2 * r[x] + r[right]);
        }
    }
    for (long y = 0; y < height; ++y) {
        const std::uint16_t* above = &rows[static_cast<std::size_t>((y > 0 ? y - 1 : 0) * width)];
        const std::uint16_t* mid = &rows[static_cast<std::size_t>(y * width)];
        const std::uint16_t* below =
            &rows[static_cast<std::size_t>((y + 1 < height ? y + 1 : y) * width)];
        unsigned char* o = out.rowPointer(w.y() + y);
        for (long x = 0; x < width; ++x)
            o[x] = static_cast<unsigned char>((above[x] + 2 * mid[x] + below[x] + 8) >> 4);
    }
    return out;
}

xcRSINccSearchModel::xcRSINccSearchModel() = default;
xcRSINccSearchModel::~xcRSINccSearchModel() = default;

xcRSINccSearchModel::xcRSINccSearchModel(const xcPelBuffer_const<unsigned char>& image,
                                         const xcPelBuffer_const<unsigned char>&,
                                         const xcRSINccSearchParams& params,
                                         const std::wstring& name, xcDiagObject*, unsigned long)
    : m_name(name), m_window(image.window()), m_params(params) {
    train_(image);
}

void xcRSINccSearchModel::train_(const xcPelBuffer_const<unsigned char>& image) {
    m_models.clear();
    m_variantPoses.clear();
    const std::vector<double> angles = m_params.angles();
    const std::vector<double> scales = m_params.scales();
    if (static_cast<long>(angles.size() * scales.size()) > xcRSINccSearchParams::kMaxVariants)
        throwBad(L"Too many variants");

    xcNccSearchTrainParams train;
    train.accuracy(kAccuracy);
    train.algorithms(kAlgorithm);
    std::vector<xcNccSearchModel> models;
    std::vector<xcXform<2>> poses;
    models.reserve(angles.size() * scales.size());
    poses.reserve(angles.size() * scales.size());
    for (double s : scales) {
        const double scale = s / m_params.baseScale();
        for (double a : angles) {
            const xcRadian angle = xcDegree(a);
            xcPelBuffer<unsigned char> turned;
            xf_AffineTransform(image, angle, scale, turned, kInterpolation);
            xcNccSearchModel m;
            m.train(bandLimited(turned), train);
            models.push_back(m);
            poses.emplace_back(xcMatrix<2>(angle, angle, scale, scale), xcVector<2>());
        }
    }
    m_models = std::move(models);
    m_variantPoses = std::move(poses);
}

void xcRSINccSearchModel::run(const xcPelBuffer_const<unsigned char>& image,
                              const xcRSINccSearchRunParams& runParams,
                              xcPtrHandle<xc_SearchResult>& result, xcDiagObject*,
                              unsigned long) const {
    const xcTimer timer(true);
    if (!image.clientFromImageXformBase().isLinear())
        throw xcBadArgument(L"Correlation model run: the image's client transform is not linear");
    // An unbound image throws here, before the result changes.
    const bool empty = image.window().isNull();
    const xcPelBuffer<unsigned char> searched =
        empty ? xcPelBuffer<unsigned char>() : bandLimited(image);
    if (result.isNull())
        result = xcPtrHandle<xc_SearchResult>(new xc_SearchResult());
    else
        result->init();
    if (empty) {
        result->time(timer.elapsed());
        return;
    }

    xcNccSearchRunParams run;
    run.algorithm(kAlgorithm);
    run.accuracy(kAccuracy);
    run.accept(runParams.accept());
    run.confusion(runParams.confusion());
    run.xyOverlap(kToolOverlap);
    run.maxNumResults(static_cast<std::int16_t>(runParams.maxNumResults()));

    std::vector<xc_SearchInstance> instances;
    std::optional<xcTimeout::Expired> expired;
    xcNccSearchResultSet found;
    for (std::size_t k = 0; k < m_models.size(); ++k) {
        try {
            m_models[k].run(searched, run, found);
        } catch (const xcTimeout::Expired& e) {
            expired = e;
            break;
        } catch (const xcException& e) {
            (void)e.message();  // a variant that cannot run is skipped
            continue;
        }
        for (const xcNccSearchResult& r : found.results())
            if (r.found())
                instances.emplace_back(r.score(), xcXform<2>(), xcAffineRectangle(), r.location(),
                                       static_cast<long>(k));
    }
    if (expired) throw *expired;

    std::sort(instances.begin(), instances.end(),
              [](const xc_SearchInstance& a, const xc_SearchInstance& b) {
                  return a.score() > b.score();
              });
    const long keep = runParams.maxNumResults();
    if (keep >= 1 && static_cast<long>(instances.size()) > keep)
        instances.resize(static_cast<std::size_t>(keep));

    const xcXform<2>& clientFromImage = image.clientFromImageXform();
    const xcAffineRectangle window(m_window);
    for (xc_SearchInstance& inst : instances) {
        const xcXform<2> x =
            clientFromImage * m_variantPoses[static_cast<std::size_t>(inst.variant())];
        const xcXform<2> pose(xcMatrix<2>(x.xRot(), x.yRot(), x.xScale(), x.yScale()),
                              inst.location());
        inst.pose(pose);
        inst.affRect(window.map(pose));
    }
    result->found(!instances.empty());
    result->instances(instances);
    result->time(timer.elapsed());
}
