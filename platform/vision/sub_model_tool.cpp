#include "platform/vision/sub_model_tool.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/core/exception.h"
#include "platform/vision/ncc_search_kernel.h"

// The trained tool: the model's template at full resolution and the integral images of its
// care values and care pixels (sums over the part of the model that overlaps the image).
struct xc_SubModelData {
    xcFlexSubModel model;
    xcFlexSubModelCorTrainParams params;
    xcPelRect window;            // the model's window, model image coordinates
    xcXform<2> clientFromImage;  // the model image's client-from-image transform
    xcXform<2> imageFromClient;  // and its inverse
    xc_NccTemplate t;
    xc_NccIntegral integral;  // of the care values (0 at don't-care pixels)
    xc_NccIntegral count;     // of the care plane (1 at care pixels): its sums count them
};

namespace {

constexpr double kLinearTolerance = 1e-6;

void copyWindow(const xcPelBuffer_const<unsigned char>& image, xc_NccPlane& p) {
    const xcPelRect w = image.window();
    p.resize(w.width(), w.height());
    for (long y = 0; y < w.height(); ++y)
        std::memcpy(p.row(y), image.rowPointer(w.y() + y), static_cast<std::size_t>(w.width()));
}

// The whole offsets o with lo <= o <= hi (reals, possibly huge), as a clamped long range.
// Both ends are clamped on both sides, so that a range wholly beyond the allowed one comes out
// empty rather than as a real too large for a long.
void offsetRange(double lo, double hi, long minAllowed, long maxAllowed, long& first, long& last) {
    const double minA = static_cast<double>(minAllowed), maxA = static_cast<double>(maxAllowed);
    lo = std::min(std::max(lo, minA), maxA + 1.0);
    hi = std::max(std::min(hi, maxA), minA - 1.0);
    first = static_cast<long>(std::ceil(lo - 1e-9));
    last = static_cast<long>(std::floor(hi + 1e-9));
}

// The offsets o to try (model pixel p lies on image pixel p + o): within the uncertainty
// about the start pose, keeping the model inside the widened image window and overlapping it.
struct OffsetRange {
    long dxMin = 0, dxMax = -1, dyMin = 0, dyMax = -1;
    bool empty() const { return dxMin > dxMax || dyMin > dyMax; }
    long nx() const { return dxMax - dxMin + 1; }
    long ny() const { return dyMax - dyMin + 1; }
};

OffsetRange offsetsToTry(const xcPelRect& iw, const xcPelRect& mw, const xcVector<2>& d0,
                         const xcFlexSubModelCorRunParams& params) {
    const long w = mw.width(), h = mw.height();
    const xcPelRect& pm = params.partialMatchRect();
    const xcVector<2> half = params.xyUncertainty() * 0.5;
    OffsetRange r;
    offsetRange(d0.x() - half.x(), d0.x() + half.x(),
                std::max(iw.x() + pm.x() - mw.x(), iw.x() - mw.x() - w + 1),
                std::min(iw.x() + iw.width() + pm.x() + pm.width() - mw.x() - w,
                         iw.x() + iw.width() - mw.x() - 1),
                r.dxMin, r.dxMax);
    offsetRange(d0.y() - half.y(), d0.y() + half.y(),
                std::max(iw.y() + pm.y() - mw.y(), iw.y() - mw.y() - h + 1),
                std::min(iw.y() + iw.height() + pm.y() + pm.height() - mw.y() - h,
                         iw.y() + iw.height() - mw.y() - 1),
                r.dyMin, r.dyMax);
    return r;
}

// The image under every placement (plane f), zero outside the window and at don't-care
// pixels; with an image mask, also the image's care plane (0xFF where the image cares).
void fillPlanes(const xcPelBuffer_const<unsigned char>& image,
                const xcPelBuffer_const<unsigned char>& mask, const xcPelRect& f,
                xc_NccPlane& plane, xc_NccPlane& care) {
    const xcPelRect in = f.intersect(image.window());
    const bool imageMasked = mask.isBound();
    plane.resize(f.width(), f.height());
    if (imageMasked) care.resize(f.width(), f.height());
    for (long y = in.y(); y < in.y() + in.height(); ++y) {
        const unsigned char* src = image.pelPointer(in.x(), y);
        unsigned char* dst = plane.row(y - f.y()) + (in.x() - f.x());
        if (!imageMasked) {
            std::memcpy(dst, src, static_cast<std::size_t>(in.width()));
            continue;
        }
        unsigned char* c = care.row(y - f.y()) + (in.x() - f.x());
        const unsigned char* m = mask.pelPointer(in.x(), y);
        for (long x = 0; x < in.width(); ++x) {
            const bool cared = m[x] >= 128;
            dst[x] = cared ? src[x] : 0;
            c[x] = cared ? 0xFF : 0;
        }
    }
}

// The squared correlation and the coverage of every offset of `range`. Without an image mask
// the pixels both sides care for at an offset are the model's care pixels in the overlap
// rectangle, whose sums come from the model's integral images; with one, the image's care
// plane takes part in every sum. The image window in plane coordinates (from `ax0`, `ay0`,
// `iw`'s size) bounds the overlap.
void scoreOffsets(const xc_SubModelData& d, const xc_NccPlane& plane, const xc_NccPlane* care,
                  const OffsetRange& range, long ax0, long ay0, const xcPelRect& iw,
                  std::vector<double>& r2, std::vector<double>& coverage) {
    const xc_NccTemplate& t = d.t;
    const long w = d.window.width(), h = d.window.height();
    const long nx = range.nx(), ny = range.ny();
    const long ax1 = ax0 + iw.width(), ay1 = ay0 + iw.height();
    xc_NccIntegral planeSums;
    if (!care && !t.masked) planeSums.build(plane);
    r2.assign(static_cast<std::size_t>(nx * ny), 0.0);
    coverage.assign(r2.size(), 0.0);
    const long pollEvery = std::max(1L, kNccPollWork / (t.pitch * t.height));
    long untilPoll = 0;
    for (long py = 0; py < ny; ++py) {
        const long v0 = std::max(0L, ay0 - py), v1 = std::min(h, ay1 - py);
        for (long px = 0; px < nx; ++px) {
            if (--untilPoll <= 0) {
                xf_NccPoll();
                untilPoll = pollEvery;
            }
            const long u0 = std::max(0L, ax0 - px), u1 = std::min(w, ax1 - px);
            xc_NccFullSums s;
            if (care) {
                s = xf_NccFullSums(t, plane, *care, px, py, v0, v1);
            } else {
                s.st = d.integral.sum(u0, v0, u1, v1);
                s.stt = d.integral.sumSq(u0, v0, u1, v1);
                if (t.masked) {
                    s.n = d.count.sum(u0, v0, u1, v1);
                    const xc_NccSums is = xf_NccSums(t, plane, px, py, v0, v1);
                    s.si = is.si;
                    s.sii = is.sii;
                    s.sti = is.sti;
                } else {
                    s.n = (u1 - u0) * (v1 - v0);
                    s.si = planeSums.sum(px + u0, py + v0, px + u1, py + v1);
                    s.sii = planeSums.sumSq(px + u0, py + v0, px + u1, py + v1);
                    s.sti = xf_NccDot(t, plane, px, py, v0, v1);
                }
            }
            coverage[py * nx + px] = static_cast<double>(s.n) / static_cast<double>(t.n);
            r2[py * nx + px] = xf_NccScore(s.n, s.st, s.stt, s.si, s.sii, s.sti);
        }
    }
}

// The index of the best score (correlation times coverage); among equal scores the offset
// nearest the start offset d0.
long bestOffset(const std::vector<double>& r2, const std::vector<double>& coverage,
                const OffsetRange& range, const xcVector<2>& d0, double& bestScore) {
    const long nx = range.nx();
    long best = 0;
    double bestDist = 0.0;
    bestScore = -1.0;
    for (long i = 0; i < static_cast<long>(r2.size()); ++i) {
        const double score = r2[i] * coverage[i];
        const double ex = range.dxMin + i % nx - d0.x(), ey = range.dyMin + i / nx - d0.y();
        const double dist = ex * ex + ey * ey;
        if (score > bestScore || (score == bestScore && dist < bestDist)) {
            best = i;
            bestScore = score;
            bestDist = dist;
        }
    }
    return best;
}

// The sub-pixel peak of the correlation about the best offset (the coverage, a ramp, would
// pull it towards the centre of the image).
xcVector<2> peakOffset(const std::vector<double>& r2, const OffsetRange& range, long best) {
    const long nx = range.nx(), ny = range.ny();
    const long bx = best % nx, by = best / nx;
    double s3[3][3];
    bool corners = true;
    for (int j = 0; j < 3; ++j)
        for (int i = 0; i < 3; ++i) {
            const long x = bx + i - 1, y = by + j - 1;
            const bool inside = x >= 0 && y >= 0 && x < nx && y < ny;
            s3[j][i] = inside ? r2[y * nx + x] : -1.0;
            if (!inside && i != 1 && j != 1) corners = false;
        }
    const xcVector<2> sub =
        xf_NccPeakOffset(s3, bx > 0 && bx + 1 < nx, by > 0 && by + 1 < ny,
                         corners ? xc_NccPeakFit::eQuadratic : xc_NccPeakFit::eSeparable);
    return xcVector<2>(range.dxMin + bx + sub.x(), range.dyMin + by + sub.y());
}

}  // namespace

xc_SubModelTool::xc_SubModelTool() = default;
xc_SubModelTool::~xc_SubModelTool() = default;
xc_SubModelTool::xc_SubModelTool(const xc_SubModelTool&) = default;
xc_SubModelTool& xc_SubModelTool::operator=(const xc_SubModelTool&) = default;

const xc_SubModelData& xc_SubModelTool::data_() const {
    if (!m_data) throw xcBadArgument(L"Sub-model tool: the tool is not trained");
    return *m_data;
}

const xcFlexSubModel& xc_SubModelTool::model() const { return data_().model; }
const xcFlexSubModelCorTrainParams& xc_SubModelTool::trainParams() const { return data_().params; }

void xc_SubModelTool::train(const xcFlexSubModel& model, const xcFlexSubModelCorTrainParams& params,
                            xcDiagObject*, unsigned long) {
    const xcPelBuffer_const<unsigned char>& image = model.image();
    const xcPelRect win = image.window();  // throws for an empty sub-model
    if (win.width() > kNccMaxSide || win.height() > kNccMaxSide ||
        win.width() * win.height() > kNccMaxArea)
        throw xcBadArgument(
            L"Sub-model training: the model is too large (at most 32767 pixels a side and "
            L"4194304 pixels)");
    if (!image.clientFromImageXformBase().isLinear())
        throw xcBadArgument(L"Sub-model training: the image's client transform is not linear");

    auto d = std::make_shared<xc_SubModelData>();
    d->model = model;
    d->params = params;
    d->window = win;
    d->clientFromImage = image.clientFromImageXform();
    d->imageFromClient = d->clientFromImage.inverse();  // throws xcMath::Singular
    xc_NccPlane values, care;
    copyWindow(image, values);
    const xcPelBuffer_const<unsigned char>& mask = model.mask();
    if (mask.isBound()) {
        care.resize(win.width(), win.height());
        for (long y = 0; y < win.height(); ++y) {
            const unsigned char* m = mask.rowPointer(win.y() + y);
            unsigned char* c = care.row(y);
            for (long x = 0; x < win.width(); ++x) c[x] = m[x] >= 128 ? 1 : 0;
        }
    }
    d->t.build(values.row(0), values.stride, mask.isBound() ? care.row(0) : nullptr, care.stride,
               win.width(), win.height());
    if (mask.isBound()) {
        for (long y = 0; y < win.height(); ++y)
            for (long x = 0; x < win.width(); ++x)
                if (!care.row(y)[x]) values.row(y)[x] = 0;
        d->count.build(care);
    }
    d->integral.build(values);
    m_data = std::move(d);
}

void xc_SubModelTool::run(const xcPelBuffer_const<unsigned char>& image,
                          const xc2XformLinear& startPose, const xcFlexSubModelCorRunParams& params,
                          const std::vector<xcVector<2>>& points, xc_SubModelResultSet& results,
                          xcDiagObject* diag, unsigned long flags) const {
    run(image, xcPelBuffer_const<unsigned char>(), startPose, params, points, results, diag, flags);
}

void xc_SubModelTool::run(const xcPelBuffer_const<unsigned char>& image,
                          const xcPelBuffer_const<unsigned char>& mask,
                          const xc2XformLinear& startPose, const xcFlexSubModelCorRunParams& params,
                          const std::vector<xcVector<2>>& points, xc_SubModelResultSet& results,
                          xcDiagObject*, unsigned long) const {
    results.clear();
    const xc_SubModelData& d = data_();
    const xcPelRect iw = image.window();
    if (mask.isBound() && !(mask.window() == iw))
        throw xcBadArgument(L"Sub-model run: the mask's window differs from the image's");
    const xcXform<2> imageClient = image.clientFromImageXform();  // throws when not linear
    const xcXform<2> k = imageClient.inverse() * startPose.xform() * d.clientFromImage;
    const xcMatrix<2>& km = k.matrix();
    if (!std::isfinite(km(0, 0) + km(0, 1) + km(1, 0) + km(1, 1) + k.trans().x() + k.trans().y()))
        throw xcBadArgument(L"Sub-model run: the start pose is not finite");
    if (std::fabs(km(0, 0) - 1.0) > kLinearTolerance || std::fabs(km(0, 1)) > kLinearTolerance ||
        std::fabs(km(1, 0)) > kLinearTolerance || std::fabs(km(1, 1) - 1.0) > kLinearTolerance)
        throw xcBadArgument(
            L"Sub-model run: the start pose must map the model's pixels onto the image's without "
            L"rotation, scale or shear");
    if (d.t.n == 0 || iw.isNull()) return;

    const xcPelRect& mw = d.window;
    const xcVector<2> d0 = k.trans();
    const OffsetRange range = offsetsToTry(iw, mw, d0, params);
    if (range.empty()) return;
    const xcPelRect f(mw.x() + range.dxMin, mw.y() + range.dyMin, mw.width() + range.nx() - 1,
                      mw.height() + range.ny() - 1);
    xc_NccPlane plane, care;
    fillPlanes(image, mask, f, plane, care);
    std::vector<double> r2, coverage;
    scoreOffsets(d, plane, mask.isBound() ? &care : nullptr, range, iw.x() - f.x(), iw.y() - f.y(),
                 iw, r2, coverage);

    double bestScore = -1.0;
    const long best = bestOffset(r2, coverage, range, d0, bestScore);
    if (bestScore < params.acceptThreshold()) return;
    const xcVector<2> offset = peakOffset(r2, range, best);
    const xc2XformLinear pose(imageClient * xcXform<2>::translation(offset) * d.imageFromClient);
    std::vector<xcVector<2>> mapped;
    mapped.reserve(points.size());
    for (const xcVector<2>& p : points) mapped.push_back(pose.mapPoint(p));
    results.add(xc_SubModelResult(bestScore, coverage[best], pose, std::move(mapped)));
}
