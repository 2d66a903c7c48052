#include "platform/vision/ncc_search.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "platform/core/attention.h"
#include "platform/core/timeout.h"
#include "platform/vision/ncc_search_kernel.h"
#include "tests/support/expect_error.h"

namespace {

// A smooth field: a sum of Gaussian blobs scattered over [x0, x1) x [y0, y1), evaluated at any
// real point, so that images shifted by a sub-pixel amount can be made exactly.
struct BlobField {
    struct Blob {
        double x, y, a, s;
    };
    std::vector<Blob> blobs;
    double base = 128.0;

    BlobField(double x0, double y0, double x1, double y1, int count, unsigned seed) {
        std::mt19937 rng(seed);
        std::uniform_real_distribution<double> ux(x0, x1), uy(y0, y1), ua(-70.0, 70.0),
            us(2.5, 5.0);
        for (int i = 0; i < count; ++i) blobs.push_back({ux(rng), uy(rng), ua(rng), us(rng)});
    }
    double at(double x, double y) const {
        double v = base;
        for (const Blob& b : blobs) {
            const double dx = x - b.x, dy = y - b.y;
            const double d2 = dx * dx + dy * dy;
            if (d2 < 36.0 * b.s * b.s) v += b.a * std::exp(-d2 / (2.0 * b.s * b.s));
        }
        return v;
    }
};

unsigned char clampByte(double v) {
    return static_cast<unsigned char>(std::lround(std::fmin(255.0, std::fmax(0.0, v))));
}

// Image of window (0, 0, w, h) whose pixel (x, y) is the field at the pixel centre, minus `shift`.
xcPelBuffer<unsigned char> render(const BlobField& f, long w, long h, xcVector<2> shift = {}) {
    xcPelBuffer<unsigned char> img(w, h);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x)
            img.rowPointer(y)[x] = clampByte(f.at(x + 0.5 - shift.x(), y + 0.5 - shift.y()));
    return img;
}

// Copies `src` into `dst` with src's corner at (x, y) of dst.
void paste(const xcPelBuffer<unsigned char>& dst, const xcPelBuffer_const<unsigned char>& src,
           long x, long y) {
    for (long v = 0; v < src.height(); ++v)
        for (long u = 0; u < src.width(); ++u)
            dst.rowPointer(y + v)[x + u] = src.rowPointer(src.window().y() + v)[u];
}

// Naive r^2 of template (care where care[i] != 0) against the plane at (x, y).
double naiveScore(const std::vector<int>& t, const std::vector<int>& care, long tw, long th,
                  const xc_NccPlane& p, long x, long y) {
    double n = 0, st = 0, stt = 0, si = 0, sii = 0, sti = 0;
    for (long v = 0; v < th; ++v)
        for (long u = 0; u < tw; ++u) {
            if (!care[v * tw + u]) continue;
            const double a = t[v * tw + u], b = p.row(y + v)[x + u];
            n += 1;
            st += a;
            stt += a * a;
            si += b;
            sii += b * b;
            sti += a * b;
        }
    const double num = n * sti - st * si, vt = n * stt - st * st, vi = n * sii - si * si;
    if (num <= 0 || vt <= 0 || vi <= 0) return 0.0;
    return std::fmin(1.0, num * num / (vt * vi));
}

}  // namespace

TEST(NccSearchKernel, ScanAndSumsMatchNaiveScoresAtOddSizesAndBorders) {
    std::mt19937 rng(11);
    std::uniform_int_distribution<int> pix(0, 255), coin(0, 3);
    const long tw = 13, th = 7;
    xc_NccPlane plane;
    plane.resize(37, 23);
    for (long y = 0; y < plane.height; ++y)
        for (long x = 0; x < plane.width; ++x)
            plane.row(y)[x] = static_cast<unsigned char>(pix(rng));
    std::vector<unsigned char> vals(tw * th), careBytes(tw * th);
    std::vector<int> t(tw * th), care(tw * th), full(tw * th, 1);
    for (long i = 0; i < tw * th; ++i) {
        vals[i] = static_cast<unsigned char>(pix(rng));
        t[i] = vals[i];
        care[i] = coin(rng) != 0;
        careBytes[i] = static_cast<unsigned char>(care[i]);
    }
    xc_NccTemplate masked, unmasked;
    masked.build(vals.data(), tw, careBytes.data(), tw, tw, th);
    unmasked.build(vals.data(), tw, nullptr, 0, tw, th);
    EXPECT_TRUE(masked.masked);
    EXPECT_FALSE(unmasked.masked);
    EXPECT_EQ(masked.pitch % xc_NccTemplate::kBlock, 0);

    const long nx = plane.width - tw + 1, ny = plane.height - th + 1;
    std::vector<float> sm(nx * ny), su(nx * ny);
    xc_NccIntegral integral;
    integral.build(plane);
    xf_NccScanRows(masked, plane, nullptr, 0, ny, sm.data(), nx);
    xf_NccScanRows(unmasked, plane, &integral, 0, ny, su.data(), nx);
    for (long y = 0; y < ny; ++y)
        for (long x = 0; x < nx; ++x) {
            ASSERT_NEAR(sm[y * nx + x], naiveScore(t, care, tw, th, plane, x, y), 1e-5)
                << x << "," << y;
            ASSERT_NEAR(su[y * nx + x], naiveScore(t, full, tw, th, plane, x, y), 1e-5)
                << x << "," << y;
        }
    // Integral sums at the far corner equal the plane's totals.
    int64_t total = 0;
    for (long y = 0; y < plane.height; ++y)
        for (long x = 0; x < plane.width; ++x) total += plane.row(y)[x];
    EXPECT_EQ(integral.sum(0, 0, plane.width, plane.height), total);

    // Full sums with an image care plane equal the naive sums over the common care pixels.
    xc_NccPlane imageCare, maskedImage;
    imageCare.resize(plane.width, plane.height);
    maskedImage.resize(plane.width, plane.height);
    for (long y = 0; y < plane.height; ++y)
        for (long x = 0; x < plane.width; ++x) {
            const bool c = coin(rng) != 0;
            imageCare.row(y)[x] = c ? 0xFF : 0;
            maskedImage.row(y)[x] = c ? plane.row(y)[x] : 0;
        }
    for (long y : {0L, 9L, ny - 1})
        for (long x : {0L, 5L, nx - 1}) {
            const xc_NccFullSums s = xf_NccFullSums(masked, maskedImage, imageCare, x, y, 1, th);
            int64_t n = 0, st = 0, stt = 0, si = 0, sii = 0, sti = 0;
            for (long v = 1; v < th; ++v)
                for (long u = 0; u < tw; ++u) {
                    if (!care[v * tw + u] || !imageCare.row(y + v)[x + u]) continue;
                    const int64_t a = t[v * tw + u], b = plane.row(y + v)[x + u];
                    ++n;
                    st += a;
                    stt += a * a;
                    si += b;
                    sii += b * b;
                    sti += a * b;
                }
            EXPECT_EQ(s.n, n);
            EXPECT_EQ(s.st, st);
            EXPECT_EQ(s.stt, stt);
            EXPECT_EQ(s.si, si);
            EXPECT_EQ(s.sii, sii);
            EXPECT_EQ(s.sti, sti);
        }
}

TEST(NccSearchKernel, ScoreIsRSquaredOfPositiveCorrelationOnly) {
    // Values 1, 2, 3 against 2, 4, 7: r = 0.9933.
    const double r = (3 * (2 + 8 + 21) - 6.0 * 13) / std::sqrt((3 * 14 - 36.0) * (3 * 69 - 169.0));
    EXPECT_NEAR(xf_NccScore(3, 6, 14, 13, 69, 31), r * r, 1e-12);
    // Anti-correlated (2, 1 against 1, 2), and flat image: 0.
    EXPECT_EQ(xf_NccScore(2, 3, 5, 3, 5, 4), 0.0);
    EXPECT_EQ(xf_NccScore(2, 3, 5, 8, 32, 12), 0.0);
}

TEST(NccSearchKernel, PeakFitsRecoverTheVertexOfAQuadric) {
    // f = -(x - 0.3)^2 - 2 (y + 0.2)^2 + 0.5 (x - 0.3)(y + 0.2): vertex (0.3, -0.2).
    double s[3][3];
    for (int j = 0; j < 3; ++j)
        for (int i = 0; i < 3; ++i) {
            const double x = i - 1 - 0.3, y = j - 1 + 0.2;
            s[j][i] = 5.0 - x * x - 2 * y * y + 0.5 * x * y;
        }
    const xcVector<2> q = xf_NccPeakOffset(s, true, true, xc_NccPeakFit::eQuadratic);
    EXPECT_NEAR(q.x(), 0.3, 1e-12);
    EXPECT_NEAR(q.y(), -0.2, 1e-12);
    // The separable fit ignores the cross term: it finds the maximum of the row through y = 0,
    // -2 (x - 0.3) + 0.5 * 0.2 = 0; without an axis it keeps 0.
    const xcVector<2> p = xf_NccPeakOffset(s, true, false, xc_NccPeakFit::eSeparable);
    EXPECT_NEAR(p.x(), 0.35, 1e-12);
    EXPECT_EQ(p.y(), 0.0);
    EXPECT_EQ(xf_NccPeakOffset(s, true, true, xc_NccPeakFit::eNone).x(), 0.0);
}

TEST(NccSearchModel, FindsAPlantedPatternToAFewHundredthsOfAPixel) {
    const BlobField field(-40, -40, 240, 200, 260, 5);
    const xcPelBuffer<unsigned char> model = render(field, 32, 32);
    xcNccSearchModel m;
    m.train(model);
    EXPECT_EQ(m.numLevels(), 3);  // 32, 16, 8 pixels
    EXPECT_EQ(m.nCarePels(), 32 * 32);
    xcNccSearchRunParams rp;
    xcNccSearchResultSet rs;
    for (const xcVector<2> shift : {xcVector<2>(60.37, 41.81), xcVector<2>(13.5, 90.25),
                                    xcVector<2>(101.1, 7.66), xcVector<2>(147.0, 102.0)}) {
        const xcPelBuffer<unsigned char> scene = render(field, 190, 140, shift);
        m.run(scene, rp, rs);
        ASSERT_EQ(rs.size(), 1u);
        EXPECT_TRUE(rs.result(0).found());
        EXPECT_GT(rs.result(0).score(), 0.97);
        EXPECT_NEAR(rs.result(0).location().x(), shift.x(), 0.05);
        EXPECT_NEAR(rs.result(0).location().y(), shift.y(), 0.05);

        // Coarse accuracy keeps the integer peak.
        xcNccSearchRunParams coarse;
        coarse.accuracy(xcNccSearchDefs::eAccuracyCoarse);
        m.run(scene, coarse, rs);
        ASSERT_EQ(rs.size(), 1u);
        EXPECT_EQ(rs.result(0).location().x(), std::round(shift.x()));
        EXPECT_EQ(rs.result(0).location().y(), std::round(shift.y()));
    }
    // A model trained with fine accuracy keeps fewer levels and finds the same place.
    xcNccSearchTrainParams tp;
    tp.accuracy(xcNccSearchDefs::eAccuracyFine);
    xcNccSearchModel fine;
    fine.train(model, tp);
    EXPECT_EQ(fine.numLevels(), 2);
    fine.run(render(field, 190, 140, {60.37, 41.81}), rp, rs);
    ASSERT_EQ(rs.size(), 1u);
    EXPECT_NEAR(rs.result(0).location().x(), 60.37, 0.05);
}

TEST(NccSearchModel, PyramidFindsTheExhaustiveBestPlacement) {
    // A textured scene with a noisy copy of the pattern: the pyramid search must end on the
    // placement an exhaustive full-resolution scan rates best, with the same score.
    const BlobField field(0, 0, 97, 71, 120, 21);
    xcPelBuffer<unsigned char> scene = render(field, 97, 71);
    std::mt19937 rng(3);
    std::normal_distribution<double> noise(0.0, 6.0);
    for (long y = 0; y < 71; ++y)
        for (long x = 0; x < 97; ++x)
            scene.rowPointer(y)[x] = clampByte(scene.rowPointer(y)[x] + noise(rng));
    xcPelBuffer_const<unsigned char> modelView = scene;
    modelView.window(xcPelRect(41, 19, 27, 21));
    xcPelBuffer<unsigned char> model(27, 21);
    for (long y = 0; y < 21; ++y)
        for (long x = 0; x < 27; ++x)
            model.rowPointer(y)[x] = clampByte(field.at(41 + x + 0.5, 19 + y + 0.5));
    xcNccSearchModel m;
    m.train(model);
    ASSERT_GT(m.numLevels(), 1);
    xcNccSearchRunParams rp;
    rp.accuracy(xcNccSearchDefs::eAccuracyCoarse);
    xcNccSearchResultSet rs;
    m.run(scene, rp, rs);
    ASSERT_EQ(rs.size(), 1u);

    xc_NccPlane plane;
    plane.resize(97, 71);
    for (long y = 0; y < 71; ++y)
        for (long x = 0; x < 97; ++x) plane.row(y)[x] = scene.rowPointer(y)[x];
    std::vector<int> t(27 * 21), care(27 * 21, 1);
    for (long i = 0; i < 27 * 21; ++i) t[i] = model.rowPointer(i / 27)[i % 27];
    double best = -1;
    long bx = 0, by = 0;
    for (long y = 0; y + 21 <= 71; ++y)
        for (long x = 0; x + 27 <= 97; ++x) {
            const double s = naiveScore(t, care, 27, 21, plane, x, y);
            if (s > best) best = s, bx = x, by = y;
        }
    EXPECT_EQ(bx, 41);
    EXPECT_EQ(by, 19);
    EXPECT_EQ(rs.result(0).location().x(), bx);
    EXPECT_EQ(rs.result(0).location().y(), by);
    EXPECT_NEAR(rs.result(0).score(), best, 1e-9);
}

TEST(NccSearchModel, MaskExcludesPixelsFromTheScore) {
    const BlobField field(-20, -20, 150, 120, 90, 8);
    xcPelBuffer<unsigned char> model = render(field, 30, 30, {-40, -35});
    // A bright bar in the model that the scene does not have.
    for (long y = 4; y < 26; ++y)
        for (long x = 3; x < 11; ++x) model.rowPointer(y)[x] = 250;
    xcPelBuffer<unsigned char> mask(30, 30);
    for (long y = 0; y < 30; ++y)
        for (long x = 0; x < 30; ++x) mask.rowPointer(y)[x] = (x >= 3 && x < 11) ? 127 : 128;
    const xcPelBuffer<unsigned char> scene = render(field, 130, 100);

    xcNccSearchModel plain, masked;
    plain.train(model);
    masked.train(model, mask);
    EXPECT_EQ(masked.nCarePels(), 30 * 30 - 8 * 30);
    xcNccSearchRunParams rp;
    rp.accept(0.0);
    xcNccSearchResultSet rs;
    masked.run(scene, rp, rs);
    ASSERT_EQ(rs.size(), 1u);
    EXPECT_GT(rs.result(0).score(), 0.99);
    EXPECT_NEAR(rs.result(0).location().x(), 40.0, 0.05);
    EXPECT_NEAR(rs.result(0).location().y(), 35.0, 0.05);
    plain.run(scene, rp, rs);
    ASSERT_EQ(rs.size(), 1u);
    EXPECT_LT(rs.result(0).score(), 0.8);
}

TEST(NccSearchModel, MaxNumResultsAndOverlapSuppression) {
    const BlobField pattern(0, 0, 24, 24, 14, 9);
    const xcPelBuffer<unsigned char> model = render(pattern, 24, 24);
    xcPelBuffer<unsigned char> scene(200, 120);
    std::mt19937 rng(1);
    std::uniform_int_distribution<int> flat(100, 104);
    for (long y = 0; y < 120; ++y)
        for (long x = 0; x < 200; ++x)
            scene.rowPointer(y)[x] = static_cast<unsigned char>(flat(rng));
    paste(scene, model, 10, 10);
    paste(scene, model, 150, 80);
    paste(scene, model, 90, 40);
    xcNccSearchModel m;
    m.train(model);
    xcNccSearchRunParams rp;
    rp.maxNumResults(0);  // no limit
    xcNccSearchResultSet rs;
    m.run(scene, rp, rs);
    ASSERT_EQ(rs.size(), 3u);
    EXPECT_EQ(rs.numFound(), 3u);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_GT(rs.result(i).score(), 0.99);
    rp.maxNumResults(2);
    m.run(scene, rp, rs);
    EXPECT_EQ(rs.size(), 2u);
    EXPECT_THROW(rs.result(2), xcBadArgument);

    // A strip of a texture that repeats every 12 pixels along x holds two whole copies of a
    // 24 x 24 window of it, 12 pixels apart: they share 50% of the footprint.
    BlobField periodic(0, 0, 12, 24, 5, 17);
    for (std::size_t i = 0, n = periodic.blobs.size(); i < n; ++i)
        for (int k : {-36, -24, -12, 12, 24, 36, 48}) {
            BlobField::Blob b = periodic.blobs[i];
            b.x += k;
            periodic.blobs.push_back(b);
        }
    const xcPelBuffer<unsigned char> strip = render(periodic, 36, 24);
    xcPelBuffer_const<unsigned char> window = strip;
    window.window(xcPelRect(0, 0, 24, 24));
    xcNccSearchModel pm;
    pm.train(window);
    xcPelBuffer<unsigned char> twin(120, 60);
    for (long y = 0; y < 60; ++y)
        for (long x = 0; x < 120; ++x)
            twin.rowPointer(y)[x] = static_cast<unsigned char>(flat(rng));
    paste(twin, strip, 30, 20);
    // Whole-pixel locations: the strip's edges skew the score surface around each copy.
    rp.accuracy(xcNccSearchDefs::eAccuracyCoarse);
    rp.maxNumResults(-1);
    rp.xyOverlap(0.3);
    pm.run(twin, rp, rs);
    ASSERT_EQ(rs.size(), 1u);
    rp.xyOverlap(0.6);
    pm.run(twin, rp, rs);
    ASSERT_EQ(rs.size(), 2u);
    EXPECT_GT(rs.result(1).score(), 0.99);
    EXPECT_EQ(std::fmin(rs.result(0).location().x(), rs.result(1).location().x()), 30.0);
    EXPECT_EQ(std::fmax(rs.result(0).location().x(), rs.result(1).location().x()), 42.0);
    EXPECT_EQ(rs.result(0).location().y(), 20.0);
    // Early stopping at the confusion threshold keeps the best result.
    rp.maxNumResults(1);
    rp.confusion(0.0);
    m.run(scene, rp, rs);
    ASSERT_EQ(rs.size(), 1u);
    EXPECT_GT(rs.result(0).score(), 0.99);
}

TEST(NccSearchModel, AcceptThresholdDecidesFound) {
    const BlobField field(-10, -10, 100, 80, 200, 4);
    const xcPelBuffer<unsigned char> model = render(field, 28, 28, {-30, -20});
    xcPelBuffer<unsigned char> scene = render(field, 90, 70);
    std::mt19937 rng(2);
    std::normal_distribution<double> noise(0.0, 18.0);
    for (long y = 0; y < 70; ++y)
        for (long x = 0; x < 90; ++x)
            scene.rowPointer(y)[x] = clampByte(scene.rowPointer(y)[x] + noise(rng));
    xcNccSearchModel m;
    m.train(model);
    xcNccSearchRunParams rp;
    rp.accept(0.0);
    xcNccSearchResultSet rs;
    m.run(scene, rp, rs);
    ASSERT_EQ(rs.size(), 1u);
    const double s = rs.result(0).score();
    ASSERT_GT(s, 0.1);
    ASSERT_LT(s, 0.9);
    EXPECT_NEAR(rs.result(0).location().x(), 30.0, 0.5);
    rp.accept(s + 0.05);
    m.run(scene, rp, rs);
    ASSERT_EQ(rs.size(), 1u);  // the best candidate, not found
    EXPECT_FALSE(rs.result(0).found());
    EXPECT_EQ(rs.numFound(), 0u);
    EXPECT_NEAR(rs.result(0).score(), s, 1e-12);
    rp.accept(s - 0.05);
    m.run(scene, rp, rs);
    ASSERT_EQ(rs.size(), 1u);
    EXPECT_TRUE(rs.result(0).found());
}

TEST(NccSearchModel, LocationIsInClientCoordinatesOfBothFrames) {
    const BlobField field(-30, -30, 160, 130, 110, 12);
    xcPelBuffer<unsigned char> sceneRoot = render(field, 150, 120, {37.25, 28.5});
    // Search a window of the scene whose client frame is rotated, scaled and moved.
    const xcXform<2> c(xcVector<2>(5.0, -3.0), 0.5, 1.0, 0.0, xcRadian(0.3));
    sceneRoot.clientFromImageXform(c);
    xcPelBuffer_const<unsigned char> scene = sceneRoot;
    scene.window(xcPelRect(20, 10, 110, 100));
    // The model is a window (10, 20, 32, 32) of a larger image whose client origin is the
    // image point (4, 6). Its pixel (10 + u, 20 + v) is the field at (20.5 + u, 40.5 + v),
    // which the scene shows at pixel (57.25 + u, 68.5 + v).
    xcPelBuffer<unsigned char> modelRoot = render(field, 50, 60, {-10, -20});
    modelRoot.clientFromImageXform(xcXform<2>::translation({-4.0, -6.0}));
    xcPelBuffer_const<unsigned char> model = modelRoot;
    model.window(xcPelRect(10, 20, 32, 32));
    xcNccSearchModel m;
    m.train(model);
    EXPECT_EQ(m.window(), xcPelRect(10, 20, 32, 32));
    xcNccSearchResultSet rs;
    m.run(scene, xcNccSearchRunParams(), rs);
    ASSERT_EQ(rs.size(), 1u);
    // The model's window corner lies at scene image (57.25, 68.5); its client origin 6 and 14
    // pixels up-left of that corner.
    const xcVector<2> expected = c.mapPoint({57.25 - 6.0, 68.5 - 14.0});
    EXPECT_NEAR(rs.result(0).location().x(), expected.x(), 0.03);
    EXPECT_NEAR(rs.result(0).location().y(), expected.y(), 0.03);
}

TEST(NccSearchModel, ErrorsAndUnchangedState) {
    xcNccSearchModel m;
    xcNccSearchResultSet rs;
    EXPECT_FALSE(m.isTrained());
    xcPelBuffer<unsigned char> img(20, 20);
    expectError<xcBadArgument>([&] { m.run(img, xcNccSearchRunParams(), rs); },
                               L"NCC search model: the model is not trained");
    EXPECT_THROW(m.window(), xcBadArgument);
    // A flat image has no contrast; a failed training keeps the earlier model.
    EXPECT_THROW(m.train(img), xcBadArgument);
    EXPECT_FALSE(m.isTrained());
    img.set(3, 4, 200);
    m.train(img);
    const xcNccSearchModel copy = m;
    xcPelBuffer<unsigned char> flat(8, 8), badMask(9, 8);
    EXPECT_THROW(m.train(flat), xcBadArgument);
    EXPECT_THROW(m.train(img, badMask), xcBadArgument);
    EXPECT_THROW(m.train(xcPelBuffer_const<unsigned char>()), xcPel::UnboundWindow);
    EXPECT_EQ(m.window(), xcPelRect(0, 0, 20, 20));
    EXPECT_EQ(copy.window(), m.window());
    // An image smaller than the model: no placement, no result.
    rs.add(xcNccSearchResult(true, 1.0, {}));
    m.run(flat, xcNccSearchRunParams(), rs);
    EXPECT_TRUE(rs.empty());
    EXPECT_THROW(m.run(xcPelBuffer_const<unsigned char>(), xcNccSearchRunParams(), rs),
                 xcPel::UnboundWindow);

    xcNccSearchRunParams rp;
    expectError<xcBadArgument>(
        [&] { rp.accept(1.5); },
        L"NCC search run: the accept threshold must lie in [0, 1], not 1.500000");
    EXPECT_EQ(rp.accept(), 0.5);
    EXPECT_THROW(rp.confusion(-0.1), xcBadArgument);
    EXPECT_THROW(rp.xyOverlap(std::nan("")), xcBadArgument);
    EXPECT_THROW(rp.accuracy(3), xcBadArgument);
    EXPECT_EQ(rp.accuracy(), xcNccSearchDefs::eAccuracyFine);
    EXPECT_THROW(rp.algorithm(4), xcBadArgument);
    xcNccSearchTrainParams tp;
    EXPECT_THROW(tp.algorithms(8 | 1), xcBadArgument);
    EXPECT_THROW(tp.accuracy(0), xcBadArgument);
    tp.accuracy(4);
    tp.algorithms(8);
    EXPECT_EQ(tp.accuracy(), 4);
}

TEST(NccSearchModel, CallersTimeOutEndsALongSearch) {
    // Every local maximum a candidate: accept 0 and no limit on the number of results over a
    // large scene of random pixels.
    xcPelBuffer<unsigned char> scene(1000, 800);
    std::mt19937 rng(31);
    std::uniform_int_distribution<int> pix(0, 255);
    for (long y = 0; y < 800; ++y)
        for (long x = 0; x < 1000; ++x)
            scene.rowPointer(y)[x] = static_cast<unsigned char>(pix(rng));
    xcPelBuffer_const<unsigned char> patch = scene;
    patch.window(xcPelRect(700, 500, 40, 40));  // in a 1000 x 800 scene
    xcNccSearchModel m;
    m.train(patch);
    xcNccSearchRunParams rp;
    rp.accept(0.0);
    rp.maxNumResults(0);
    rp.xyOverlap(1.0);
    rp.confusion(1.0);
    xcNccSearchResultSet rs;
    {
        xcAttentionTag tag;
        tag.attachTimeout(0.002);
        rs.add(xcNccSearchResult(true, 1.0, {}));
        EXPECT_THROW(m.run(scene, rp, rs), xcTimeout::Expired);
        EXPECT_TRUE(rs.empty());
    }
    // Without the time-out the same search runs to its end, past the 2 milliseconds. (The
    // model is a window of the scene with the scene's client frame, so found in place its
    // client origin lies on the scene's.)
    m.run(scene, rp, rs);
    ASSERT_GT(rs.size(), 100u);
    // Scored at the fitted sub-pixel location, a few 1e-6 px from the exact one.
    EXPECT_NEAR(rs.result(0).score(), 1.0, 1e-6);
    EXPECT_NEAR(rs.result(0).location().x(), 0.0, 0.01);
    EXPECT_NEAR(rs.result(0).location().y(), 0.0, 0.01);
    EXPECT_GT(rs.time(), 2.0);
}

TEST(NccSearchModel, RejectsModelsTooLargeForExactSums) {
    // 2049 x 2048 pixels pass the side limit but not the area limit.
    xcPelBuffer<unsigned char> big(2049, 2048);
    big.set(5, 5, 9);
    xcNccSearchModel m;
    expectError<xcBadArgument>([&] { m.train(big); },
                               L"NCC search training: the model is too large (at most 32767 pixels "
                               L"a side and 4194304 pixels)");
    EXPECT_FALSE(m.isTrained());
}
