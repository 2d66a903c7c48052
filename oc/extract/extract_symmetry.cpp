// The extraction model's tests of a character image: the edge test that decides whether a
// pattern is worth training (and ranks the characters), and the self-match of a character
// turned by 180 degrees and by five probe angles that gives its Symmetry.
#include <array>

#include "oc/extract/extract_model.h"
#include "oc/imageutil/affine_transform.h"
#include "oc/imageutil/background_pad.h"
#include "platform/clevel/assert.h"
#include "platform/core/pel_ops.h"
#include "platform/vision/edge_detect.h"
#include "platform/vision/geo_align_defs.h"

namespace {

// Direction bins over 0 ... 180 degrees, and the window of bins in which more than half of the
// edgelets make an image degenerate (128 / 9 rounded up: about 21 degrees).
constexpr int kBins = 128;
constexpr int kWindow = 15;
constexpr long kMinEdgelets = 25;
// Images narrower or lower than this are turned at twice their size.
constexpr long kMinSide = 15;
// The probe angles of the all-angle symmetry, degrees, in the order tried.
constexpr std::array<double, 5> kProbeAngles = {-65.0, -29.0, 32.0, 45.0, 96.0};
// Background added around a turned image before it is searched, pixels.
constexpr long kPadding = 8;
// A turned character matches itself when its pattern scores above this.
constexpr double kSelfMatchScore = 0.7;

}  // namespace

bool xc_OCExtractModel::isEdgeDegenerate(const xcPelBuffer_const<unsigned char>& image,
                                         double& offDirectionEdges) {
    offDirectionEdges = 0.0;
    xcEdgeletSet edges;
    xfEdgeDetect(image, xcEdgeletParams(1.0, 10.0, xcEdgeletParams::eThinned), edges);
    const long n = edges.size();
    if (n < kMinEdgelets) return true;

    std::array<long, kBins + kWindow> counts{};
    for (const xcEdgelet& e : edges.edgelets()) {
        const int bin = e.angle.plainValue() & 127;  // the direction folded to 0 ... 180 degrees
        if (bin >= kBins) xstd_assert_(__LINE__, "direction bin out of range");
        ++counts[static_cast<size_t>(bin)];
    }
    for (int b = 0; b < kWindow; ++b)
        counts[static_cast<size_t>(kBins + b)] = counts[static_cast<size_t>(b)];

    const double half = static_cast<double>(n) * 0.5;
    long sum = 0;
    for (int b = 0; b < kWindow; ++b) sum += counts[static_cast<size_t>(b)];
    if (static_cast<double>(sum) > half) return true;
    long best = sum;
    for (int s = 1; s < kBins; ++s) {
        sum += counts[static_cast<size_t>(s + kWindow - 1)] - counts[static_cast<size_t>(s - 1)];
        if (sum > best) {
            best = sum;
            if (static_cast<double>(best) > half) return true;
        }
    }
    offDirectionEdges = static_cast<double>(n - best);
    return false;
}

bool xc_OCExtractModel::matchesRotated(const xcPelBuffer_const<unsigned char>& image,
                                       const xcGeoAlignPattern& pattern, double angle,
                                       xcXform<2>& pose) {
    double score = 0.0;
    return matchesRotated(image, pattern, angle, pose, score);
}

bool xc_OCExtractModel::matchesRotated(const xcPelBuffer_const<unsigned char>& image,
                                       const xcGeoAlignPattern& pattern, double angle,
                                       xcXform<2>& pose, double& score) {
    const double scale = image.width() < kMinSide || image.height() < kMinSide ? 2.0 : 1.0;
    xcPelBuffer<unsigned char> turned;
    xf_AffineTransform(image, xcRadian(xcDegree(angle)), scale, turned, 2);
    // The turned image keeps the character's client frame: a point of it is where it was
    // sampled in the character, so the pattern finds the character itself at angle 0, and a
    // turned copy of itself at -angle only when the character looks alike turned.
    // The alignment tool scores edges that lie within a few pixels of the searched window's
    // border poorly; the turned image is therefore searched inside a background padding of
    // kPadding pixels (a smooth continuation of its border, which adds no edge).
    xcPelBuffer<unsigned char> canvas(
        turned.window().trim(-kPadding, -kPadding, -kPadding, -kPadding));
    xfPelCopy(turned, canvas);
    xf_OCBackgroundPadImage(canvas, turned.window());
    canvas.clientFromImageXform(
        image.clientFromImageXformBase().linearAt(xcVector<2>(0.0, 0.0)).xform() *
        turned.clientFromImageXform());

    xcGeoAlignRunParams rp;
    rp.acceptThreshold(0.3);
    rp.algorithm(xc_GeoDefs::eAlgorithmRefined);
    rp.clutterScoring(false);
    rp.contrastThreshold(10.0);
    rp.xyOverlap(0.3);
    rp.numToFind(1);
    rp.nominal(xc_GeoDefs::eDofAngle, -angle);
    xcGeoAlignResultSet set;
    pattern.run(canvas, rp, set, nullptr, 0);
    const std::vector<xcGeoAlignResult> list = collectAcceptedResults(set);
    score = !list.empty() && list.front().accepted() ? list.front().score() : 0.0;
    return selfMatch(list, pose);
}

bool xc_OCExtractModel::selfMatch(const std::vector<xcGeoAlignResult>& list, xcXform<2>& pose) {
    if (list.empty() || !list.front().accepted()) return false;
    pose = list.front().pose();
    return list.front().score() > kSelfMatchScore;
}

void xc_OCExtractModel::computeModelSymmetries_(const xcOCAlphabet& alphabet) {
    const size_t n = m_patterns.size();
    m_symmetries.assign(n, xc_OCExtractDefs::eNotSymmetric);
    m_rot180Poses.assign(n, xcXform<2>());
    for (size_t i = 0; i < n; ++i) {
        const xcGeoAlignPattern* pattern = m_patterns[i].get();
        if (!pattern) continue;
        const xcOCModel& model = *alphabet.character(m_keys[i]);
        xcPelBuffer_const<unsigned char> image = model.image();
        image.window(model.imageArea(), false);
        if (!matchesRotated(image, *pattern, 180.0, m_rot180Poses[i])) continue;
        bool all = true;
        for (const double a : kProbeAngles) {
            xcXform<2> scratch;
            if (!matchesRotated(image, *pattern, a, scratch)) {
                all = false;
                break;
            }
        }
        m_symmetries[i] =
            all ? xc_OCExtractDefs::eSymmetricAllAngles : xc_OCExtractDefs::eSymmetric180;
    }
}
