#include "platform/vision/ncc_search.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "platform/vision/ncc_search_kernel.h"

// The trained model: one template per pyramid level, level 0 at full resolution.
struct xc_NccModelData {
    xcNccSearchTrainParams params;
    xcPelRect window;    // training window, training image coordinates
    xcVector<2> origin;  // the model's client origin, in pixels from the window's corner
    std::vector<xc_NccTemplate> levels;
};

namespace {

constexpr long kRefineRadius = 2;  // a candidate is searched +-2 pixels at each finer level

long minCoarseSide(long accuracy) {
    switch (accuracy) {
        case xcNccSearchDefs::eAccuracyCoarse:
            return 6;
        case xcNccSearchDefs::eAccuracyFine:
            return 12;
        default:
            return 8;
    }
}

void copyWindow(const xcPelBuffer_const<unsigned char>& image, xc_NccPlane& p) {
    const xcPelRect w = image.window();
    p.resize(w.width(), w.height());
    for (long y = 0; y < w.height(); ++y)
        std::memcpy(p.row(y), image.rowPointer(w.y() + y), static_cast<std::size_t>(w.width()));
}

// A block of the coarser care plane is cared for when its four pixels are.
void decimateCare(const xc_NccPlane& in, xc_NccPlane& out) {
    out.resize(in.width / 2, in.height / 2);
    for (long y = 0; y < out.height; ++y) {
        const unsigned char* a = in.row(2 * y);
        const unsigned char* b = in.row(2 * y + 1);
        unsigned char* o = out.row(y);
        for (long x = 0; x < out.width; ++x)
            o[x] = (a[2 * x] && a[2 * x + 1] && b[2 * x] && b[2 * x + 1]) ? 1 : 0;
    }
}

bool usable(const xc_NccTemplate& t) { return t.n >= 2 && t.varianceN2() > 0; }

// One candidate on its way down the pyramid.
struct Candidate {
    long x = 0, y = 0;  // placement at the current level
    double score = 0.0;
};

// A refined placement at full resolution.
struct Hit {
    long x = 0, y = 0;  // integer placement
    double score = 0.0;
    xcVector<2> pos;  // sub-pixel placement
};

// Fraction of a w x h footprint that two placements share.
double overlapFraction(const xcVector<2>& a, const xcVector<2>& b, double w, double h) {
    const double ox = w - std::fabs(a.x() - b.x());
    const double oy = h - std::fabs(a.y() - b.y());
    if (ox <= 0.0 || oy <= 0.0) return 0.0;
    return ox * oy / (w * h);
}

// Score of a placement at one level, -1 outside the valid placements.
double scoreAt(const xc_NccTemplate& t, const xc_NccPlane& p, long x, long y) {
    if (x < 0 || y < 0 || x > p.width - t.width || y > p.height - t.height) return -1.0;
    xf_NccPoll();
    const xc_NccSums s = xf_NccSums(t, p, x, y, 0, t.height);
    return xf_NccScore(t.n, t.st, t.stt, s.si, s.sii, s.sti);
}

xc_NccPeakFit peakFit(long accuracy) {
    switch (accuracy) {
        case xcNccSearchDefs::eAccuracyCoarse:
            return xc_NccPeakFit::eNone;
        case xcNccSearchDefs::eAccuracyMedium:
            return xc_NccPeakFit::eSeparable;
        default:
            return xc_NccPeakFit::eQuadratic;
    }
}

// The sub-pixel placement around the integer peak (x, y) at level 0. An axis whose neighbours
// are not both valid placements keeps its integer position; the quadric needs all nine scores.
// `peakScore` receives the score at the sub-pixel placement (the integer peak's score when the
// placement stays integer).
xcVector<2> subPixel(const xc_NccTemplate& t, const xc_NccPlane& p, long x, long y, double peak,
                     xc_NccPeakFit fit, double& peakScore) {
    const xcVector<2> at(static_cast<double>(x), static_cast<double>(y));
    peakScore = peak;
    if (fit == xc_NccPeakFit::eNone) return at;
    double s[3][3];
    for (int j = 0; j < 3; ++j)
        for (int i = 0; i < 3; ++i)
            s[j][i] = (i == 1 && j == 1) ? peak : scoreAt(t, p, x + i - 1, y + j - 1);
    const bool validX = s[1][0] >= 0.0 && s[1][2] >= 0.0;
    const bool validY = s[0][1] >= 0.0 && s[2][1] >= 0.0;
    const bool corners = s[0][0] >= 0.0 && s[0][2] >= 0.0 && s[2][0] >= 0.0 && s[2][2] >= 0.0;
    if (fit == xc_NccPeakFit::eQuadratic && !corners) fit = xc_NccPeakFit::eSeparable;
    return at + xf_NccPeakOffset(s, validX, validY, fit, &peakScore);
}

// Catmull-Rom weights of the taps at -1, 0, 1, 2 for a sample at fraction f in [0, 1).
void cubicWeights(double f, double w[4]) {
    const double f2 = f * f, f3 = f2 * f;
    w[0] = 0.5 * (-f3 + 2.0 * f2 - f);
    w[1] = 0.5 * (3.0 * f3 - 5.0 * f2 + 2.0);
    w[2] = 0.5 * (-3.0 * f3 + 4.0 * f2 + f);
    w[3] = 0.5 * (f3 - f2);
}

// The score of the template placed at the sub-pixel position `pos` (plane coordinates of its
// pixel corner (0, 0)), the plane interpolated bicubically there. False when a tap leaves the
// plane.
bool scoreAtSubPixel(const xc_NccTemplate& t, const xc_NccPlane& p, const xcVector<2>& pos,
                     double& score) {
    const long x0 = static_cast<long>(std::floor(pos.x()));
    const long y0 = static_cast<long>(std::floor(pos.y()));
    if (x0 < 1 || y0 < 1 || x0 + t.width + 2 > p.width || y0 + t.height + 2 > p.height)
        return false;
    double wx[4], wy[4];
    cubicWeights(pos.x() - static_cast<double>(x0), wx);
    cubicWeights(pos.y() - static_cast<double>(y0), wy);
    // Rows interpolated along x first (one row of the shifted plane per template row and tap
    // row), then combined along y.
    std::vector<double> rows(static_cast<std::size_t>(4 * t.width));
    double si = 0.0, sii = 0.0, sti = 0.0;
    for (long v = 0; v < t.height; ++v) {
        if (v % 64 == 0) xf_NccPoll();
        for (int j = 0; j < 4; ++j) {
            const unsigned char* r = p.row(y0 + v - 1 + j) + x0 - 1;
            double* out = &rows[static_cast<std::size_t>(j * t.width)];
            for (long u = 0; u < t.width; ++u)
                out[u] = wx[0] * r[u] + wx[1] * r[u + 1] + wx[2] * r[u + 2] + wx[3] * r[u + 3];
        }
        const int16_t* tv = &t.t[static_cast<std::size_t>(v * t.pitch)];
        const unsigned char* care = &t.m[static_cast<std::size_t>(v * t.pitch)];
        for (long u = 0; u < t.width; ++u) {
            if (!care[u]) continue;
            const double i = wy[0] * rows[u] + wy[1] * rows[t.width + u] +
                             wy[2] * rows[2 * t.width + u] + wy[3] * rows[3 * t.width + u];
            si += i;
            sii += i * i;
            sti += tv[u] * i;
        }
    }
    const double n = static_cast<double>(t.n);
    const double vt = n * static_cast<double>(t.stt) - static_cast<double>(t.st) * t.st;
    const double vi = n * sii - si * si;
    const double d = n * sti - static_cast<double>(t.st) * si;
    score = (d > 0.0 && vt > 0.0 && vi > 0.0) ? std::min(1.0, d * d / (vt * vi)) : 0.0;
    return true;
}

}  // namespace

xcNccSearchModel::xcNccSearchModel() = default;
xcNccSearchModel::~xcNccSearchModel() = default;
xcNccSearchModel::xcNccSearchModel(const xcNccSearchModel&) = default;
xcNccSearchModel& xcNccSearchModel::operator=(const xcNccSearchModel&) = default;

const xc_NccModelData& xcNccSearchModel::data_() const {
    if (!m_data) throw xcBadArgument(L"NCC search model: the model is not trained");
    return *m_data;
}

xcPelRect xcNccSearchModel::window() const { return data_().window; }
long xcNccSearchModel::nCarePels() const { return static_cast<long>(data_().levels[0].n); }
long xcNccSearchModel::numLevels() const { return static_cast<long>(data_().levels.size()); }
const xcNccSearchTrainParams& xcNccSearchModel::trainParams() const { return data_().params; }

void xcNccSearchModel::train(const xcPelBuffer_const<unsigned char>& image,
                             const xcNccSearchTrainParams& params, xcDiagObject* diag,
                             unsigned long flags) {
    train(image, xcPelBuffer_const<unsigned char>(), params, diag, flags);
}

void xcNccSearchModel::train(const xcPelBuffer_const<unsigned char>& image,
                             const xcPelBuffer_const<unsigned char>& mask,
                             const xcNccSearchTrainParams& params, xcDiagObject*, unsigned long) {
    const xcPelRect win = image.window();
    if (mask.isBound() && !(mask.window() == win))
        throw xcBadArgument(L"NCC search training: the mask's window differs from the image's");
    if (win.width() > kNccMaxSide || win.height() > kNccMaxSide ||
        win.width() * win.height() > kNccMaxArea)
        throw xcBadArgument(
            L"NCC search training: the model is too large (at most 32767 pixels a side and "
            L"4194304 pixels)");
    if (!image.clientFromImageXformBase().isLinear())
        throw xcBadArgument(L"NCC search training: the image's client transform is not linear");
    const xcVector<2> clientOrigin = image.imageFromClientXform().mapPoint(xcVector<2>(0.0, 0.0));

    auto data = std::make_shared<xc_NccModelData>();
    data->params = params;
    data->window = win;
    data->origin = clientOrigin - win.offset().toVector();

    xc_NccPlane values, care;
    copyWindow(image, values);
    const bool masked = mask.isBound();
    if (masked) {
        care.resize(win.width(), win.height());
        for (long y = 0; y < win.height(); ++y) {
            const unsigned char* m = mask.rowPointer(win.y() + y);
            unsigned char* c = care.row(y);
            for (long x = 0; x < win.width(); ++x) c[x] = m[x] >= 128 ? 1 : 0;
        }
    }
    xc_NccTemplate t0;
    t0.build(values.row(0), values.stride, masked ? care.row(0) : nullptr, care.stride, win.width(),
             win.height());
    if (!usable(t0))
        throw xcBadArgument(
            L"NCC search training: the model has no contrast (fewer than 2 care pixels, or all "
            L"of one value)");
    data->levels.push_back(std::move(t0));

    // Coarser levels while the sides stay long enough for the training accuracy and the level
    // keeps enough care pixels to correlate.
    const long minSide = minCoarseSide(params.accuracy());
    while (std::min(values.width, values.height) / 2 >= minSide) {
        xc_NccPlane v2, c2;
        xf_Plane8Halve(values, v2);
        if (masked) decimateCare(care, c2);
        xc_NccTemplate t;
        t.build(v2.row(0), v2.stride, masked ? c2.row(0) : nullptr, c2.stride, v2.width, v2.height);
        if (!usable(t) || t.n * 4 < t.width * t.height) break;
        data->levels.push_back(std::move(t));
        values = std::move(v2);
        care = std::move(c2);
    }
    m_data = std::move(data);
}

void xcNccSearchModel::run(const xcPelBuffer_const<unsigned char>& image,
                           const xcNccSearchRunParams& params, xcNccSearchResultSet& results,
                           xcDiagObject*, unsigned long) const {
    results.clear();
    const auto start = std::chrono::steady_clock::now();
    const xc_NccModelData& d = data_();
    const xcPelRect win = image.window();
    const xc2XformBase& clientFromImage = image.clientFromImageXformBase();
    const xc_NccTemplate& t0 = d.levels[0];
    if (win.width() < t0.width || win.height() < t0.height) return;

    // The levels both the model and the image allow.
    long numLevels = 1;
    while (numLevels < static_cast<long>(d.levels.size()) &&
           (win.width() >> numLevels) >= d.levels[numLevels].width &&
           (win.height() >> numLevels) >= d.levels[numLevels].height)
        ++numLevels;
    std::vector<xc_NccPlane> planes(static_cast<std::size_t>(numLevels));
    copyWindow(image, planes[0]);
    for (long k = 1; k < numLevels; ++k) xf_Plane8Halve(planes[k - 1], planes[k]);

    // Exhaustive scores at the coarsest level.
    const long top = numLevels - 1;
    const xc_NccTemplate& tc = d.levels[top];
    const xc_NccPlane& pc = planes[top];
    const long nx = pc.width - tc.width + 1, ny = pc.height - tc.height + 1;
    std::vector<float> scores(static_cast<std::size_t>(nx * ny));
    xc_NccIntegral integral;
    if (!tc.masked) integral.build(pc);
    const long band = std::max(1L, kNccPollWork / (nx * tc.pitch * tc.height));
    for (long y = 0; y < ny; y += band) {
        xf_NccPoll();
        xf_NccScanRows(tc, pc, tc.masked ? nullptr : &integral, y, std::min(ny, y + band),
                       &scores[y * nx], nx);
    }

    // Candidates: local maxima of the coarse scores (ties go to the first in raster order).
    const double accept = params.accept();
    const double confusion = std::max(params.confusion(), accept);
    const double coarseAccept = top > 0 ? 0.5 * accept : accept;
    std::vector<Candidate> cands;
    long bestIndex = 0;
    for (long y = 0; y < ny; ++y)
        for (long x = 0; x < nx; ++x) {
            const float s = scores[y * nx + x];
            if (s > scores[bestIndex]) bestIndex = y * nx + x;
            if (s < coarseAccept) continue;
            bool isMax = true;
            for (long j = std::max(0L, y - 1); j <= std::min(ny - 1, y + 1) && isMax; ++j)
                for (long i = std::max(0L, x - 1); i <= std::min(nx - 1, x + 1); ++i) {
                    const float o = scores[j * nx + i];
                    const bool before = j < y || (j == y && i < x);
                    if (o > s || (before && o == s)) {
                        isMax = false;
                        break;
                    }
                }
            if (isMax) cands.push_back({x, y, s});
        }
    if (cands.empty())
        cands.push_back({bestIndex % nx, bestIndex / nx, static_cast<double>(scores[bestIndex])});
    std::stable_sort(cands.begin(), cands.end(),
                     [](const Candidate& a, const Candidate& b) { return a.score > b.score; });
    const long maxResults = params.maxNumResults();
    if (maxResults >= 1 && static_cast<long>(cands.size()) > 4 * maxResults + 8)
        cands.resize(static_cast<std::size_t>(4 * maxResults + 8));

    // Each candidate down the pyramid, best coarse score first.
    const double w0 = static_cast<double>(t0.width), h0 = static_cast<double>(t0.height);
    const xc_NccPeakFit fit = peakFit(params.accuracy());
    std::vector<Hit> hits;
    std::vector<xcVector<2>> sure;  // distinct hits at or above the confusion threshold
    for (const Candidate& c0 : cands) {
        Candidate c = c0;
        for (long k = top - 1; k >= 0; --k) {
            const xc_NccTemplate& t = d.levels[k];
            const xc_NccPlane& p = planes[k];
            const long cx = 2 * c.x, cy = 2 * c.y;
            Candidate best{-1, -1, -1.0};
            for (long y = std::max(0L, cy - kRefineRadius);
                 y <= std::min(p.height - t.height, cy + kRefineRadius); ++y)
                for (long x = std::max(0L, cx - kRefineRadius);
                     x <= std::min(p.width - t.width, cx + kRefineRadius); ++x) {
                    const double s = scoreAt(t, p, x, y);
                    if (s > best.score) best = {x, y, s};
                }
            c = best;
        }
        if (top == 0) c.score = scoreAt(t0, planes[0], c.x, c.y);
        if (c.score < 0.0) continue;
        bool duplicate = false;
        for (const Hit& h : hits) duplicate = duplicate || (h.x == c.x && h.y == c.y);
        if (duplicate) continue;
        Hit h{c.x, c.y, c.score, {}};
        h.pos = subPixel(t0, planes[0], c.x, c.y, c.score, fit, h.score);
        // Fine accuracy scores the sub-pixel placement itself, the image interpolated there.
        double exact = 0.0;
        if (fit == xc_NccPeakFit::eQuadratic && scoreAtSubPixel(t0, planes[0], h.pos, exact))
            h.score = exact;
        hits.push_back(h);
        if (h.score >= confusion && maxResults >= 1) {
            bool distinct = true;
            for (const auto& s : sure)
                distinct = distinct && overlapFraction(s, h.pos, w0, h0) <= params.xyOverlap();
            if (distinct) sure.push_back(h.pos);
            if (static_cast<long>(sure.size()) >= maxResults) break;
        }
    }

    // Best first; drop what overlaps a better hit too much.
    std::stable_sort(hits.begin(), hits.end(),
                     [](const Hit& a, const Hit& b) { return a.score > b.score; });
    std::vector<Hit> kept;
    for (const Hit& h : hits) {
        bool drop = false;
        for (const Hit& k : kept)
            drop = drop || overlapFraction(k.pos, h.pos, w0, h0) > params.xyOverlap();
        if (!drop) kept.push_back(h);
    }
    const xcVector<2> base = win.offset().toVector() + d.origin;
    auto location = [&](const Hit& h) { return clientFromImage.mapPoint(base + h.pos); };
    for (const Hit& h : kept) {
        if (h.score < accept) break;
        if (maxResults >= 1 && static_cast<long>(results.size()) >= maxResults) break;
        results.add(xcNccSearchResult(true, h.score, location(h)));
    }
    if (results.empty() && !kept.empty())
        results.add(xcNccSearchResult(false, kept[0].score, location(kept[0])));
    results.time(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                     .count());
}
