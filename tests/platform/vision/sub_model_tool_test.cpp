#include "platform/vision/sub_model_tool.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "platform/core/attention.h"
#include "platform/core/timeout.h"
#include "tests/support/expect_error.h"

namespace {

using Segment = std::array<double, 4>;  // x0, y0, x1, y1

// A 24 x 32 character cell: dark anti-aliased strokes (2.5 pixels wide) on a light background,
// drawn at an exact sub-pixel shift.
xcPelBuffer<unsigned char> strokes(const std::vector<Segment>& segs, xcVector<2> shift = {},
                                   long w = 24, long h = 32) {
    xcPelBuffer<unsigned char> img(w, h);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) {
            double dmin = 1e9;
            for (const Segment& s : segs) {
                const double px = x + 0.5 - shift.x() - s[0], py = y + 0.5 - shift.y() - s[1];
                const double vx = s[2] - s[0], vy = s[3] - s[1];
                const double t = std::clamp((px * vx + py * vy) / (vx * vx + vy * vy), 0.0, 1.0);
                dmin = std::min(dmin, std::hypot(px - t * vx, py - t * vy));
            }
            const double ink = std::clamp(1.75 - dmin, 0.0, 1.0);
            img.rowPointer(y)[x] = static_cast<unsigned char>(std::lround(220 - 180 * ink));
        }
    return img;
}

// An elliptic ring as a chain of short segments.
std::vector<Segment> ring(double rx, double ry) {
    std::vector<Segment> s;
    const int n = 48;
    for (int i = 0; i < n; ++i) {
        const double a0 = 2 * M_PI * i / n, a1 = 2 * M_PI * (i + 1) / n;
        s.push_back({12 + rx * std::cos(a0), 16 + ry * std::sin(a0), 12 + rx * std::cos(a1),
                     16 + ry * std::sin(a1)});
    }
    return s;
}

const std::vector<Segment> kA = {{3, 29, 12, 3}, {12, 3, 21, 29}, {7, 19, 17, 19}};
const std::vector<Segment> kX = {{4, 3, 20, 29}, {20, 3, 4, 29}};

// The run parameters an alphabet compilation uses for 24 x 32 cells.
xcFlexSubModelCorRunParams compileParams() {
    xcFlexSubModelCorRunParams rp;
    rp.acceptThreshold(0.0);
    rp.partialMatchRect(xcPelRect(-12, -16, 24, 32));
    rp.xyUncertainty({24, 32});
    return rp;
}

xc_SubModelTool trained(const xcPelBuffer_const<unsigned char>& image,
                        const xcPelBuffer_const<unsigned char>& mask = {}) {
    xc_SubModelTool tool;
    tool.train(xcFlexSubModel(image, mask, L"m"), xcFlexSubModelCorTrainParams());
    return tool;
}

double runScore(const xc_SubModelTool& tool, const xcPelBuffer_const<unsigned char>& image,
                const xcFlexSubModelCorRunParams& rp) {
    xc_SubModelResultSet rs;
    tool.run(image, xc2XformLinear(), rp, {}, rs);
    return rs.empty() ? -1.0 : rs.result(0).score();
}

// Naive score of the model (care where mask >= 128) at integer offset o: r^2 over the pixels
// both sides care for, times their share of the model's care pixels.
double naiveScore(const xcPelBuffer_const<unsigned char>& m,
                  const xcPelBuffer_const<unsigned char>& mm,
                  const xcPelBuffer_const<unsigned char>& im,
                  const xcPelBuffer_const<unsigned char>& imm, long ox, long oy) {
    double n = 0, st = 0, stt = 0, si = 0, sii = 0, sti = 0, nModel = 0;
    const xcPelRect mw = m.window(), iw = im.window();
    for (long y = mw.y(); y < mw.y() + mw.height(); ++y)
        for (long x = mw.x(); x < mw.x() + mw.width(); ++x) {
            if (mm.isBound() && mm.get(x, y) < 128) continue;
            nModel += 1;
            if (!iw.contains(x + ox, y + oy)) continue;
            if (imm.isBound() && imm.get(x + ox, y + oy) < 128) continue;
            const double a = m.get(x, y), b = im.get(x + ox, y + oy);
            n += 1;
            st += a;
            stt += a * a;
            si += b;
            sii += b * b;
            sti += a * b;
        }
    const double num = n * sti - st * si, vt = n * stt - st * st, vi = n * sii - si * si;
    if (num <= 0 || vt <= 0 || vi <= 0) return 0.0;
    return std::fmin(1.0, num * num / (vt * vi)) * n / nModel;
}

}  // namespace

TEST(SubModelTool, IdenticalImagesScoreOneAtTheStartPose) {
    const auto a = strokes(kA);
    const xc_SubModelTool tool = trained(a);
    xc_SubModelResultSet rs;
    tool.run(a, xc2XformLinear(), compileParams(), {{12.0, 16.0}}, rs);
    ASSERT_EQ(rs.size(), 1u);
    EXPECT_NEAR(rs.result(0).score(), 1.0, 1e-12);
    EXPECT_EQ(rs.result(0).coverage(), 1.0);
    const xcXform<2>& p = rs.result(0).pose().xform();
    EXPECT_NEAR(p.trans().x(), 0.0, 1e-9);
    EXPECT_NEAR(p.trans().y(), 0.0, 1e-9);
    EXPECT_EQ(p.matrix(), xcMatrix<2>());
    ASSERT_EQ(rs.result(0).points().size(), 1u);
    EXPECT_NEAR(rs.result(0).points()[0].x(), 12.0, 1e-9);
}

TEST(SubModelTool, RecoversAPlantedOffsetInClientCoordinates) {
    // The model's client origin is its cell's lower-left corner; the image is another cell
    // whose client frame is moved, and the start pose says where the model should be.
    xcPelBuffer<unsigned char> model = strokes(kA);
    model.clientFromImageXform(xcXform<2>::translation({0.0, -32.0}));
    const xcVector<2> shift(3.3, -2.6);
    xcPelBuffer<unsigned char> image = strokes(kA, shift);
    image.clientFromImageXform(xcXform<2>::translation({100.0, 50.0}));
    const xc_SubModelTool tool = trained(model);
    // Nominally the model cell sits on the image cell: model client (x, y) -> image client
    // (x + 100, y + 82).
    const xc2XformLinear start(xcXform<2>::translation({100.0, 82.0}));
    xc_SubModelResultSet rs;
    tool.run(image, start, compileParams(), {{0.0, 0.0}}, rs);
    ASSERT_EQ(rs.size(), 1u);
    const xcXform<2>& p = rs.result(0).pose().xform();
    EXPECT_NEAR(p.trans().x(), 100.0 + shift.x(), 0.1);
    EXPECT_NEAR(p.trans().y(), 82.0 + shift.y(), 0.1);
    EXPECT_NEAR(rs.result(0).points()[0].y(), 82.0 + shift.y(), 0.1);
    // At the whole-pixel offset (3, -3), three of the 24 columns and three of the 32 rows of
    // the model fall outside the image; the rest correlates closely despite the 0.3 and 0.4
    // pixel misalignment of the sharp strokes.
    const double coverage = (21.0 * 29.0) / (24.0 * 32.0);
    EXPECT_NEAR(rs.result(0).coverage(), coverage, 1e-12);
    EXPECT_GT(rs.result(0).score(), 0.85 * coverage);
    EXPECT_LE(rs.result(0).score(), coverage);
}

TEST(SubModelTool, PartialMatchRectangleBoundsHowFarTheModelLeavesTheImage) {
    const auto a = strokes(kA);
    // A copy moved 10 pixels right: its left 10 columns are background, the model's right 10
    // columns are cut off.
    xcPelBuffer<unsigned char> moved(24, 32);
    for (long y = 0; y < 32; ++y)
        for (long x = 0; x < 24; ++x)
            moved.rowPointer(y)[x] = x >= 10 ? a.rowPointer(y)[x - 10] : 220;
    const xc_SubModelTool tool = trained(a);
    xcFlexSubModelCorRunParams rp = compileParams();
    xc_SubModelResultSet rs;
    tool.run(moved, xc2XformLinear(), rp, {}, rs);
    ASSERT_EQ(rs.size(), 1u);
    // The part inside matches exactly: r^2 = 1, times the 14 of 24 columns inside. (The
    // sub-pixel fit leans a little on the asymmetric neighbourhood of a cut pattern.)
    EXPECT_NEAR(rs.result(0).score(), 14.0 / 24.0, 1e-9);
    EXPECT_NEAR(rs.result(0).coverage(), 14.0 / 24.0, 1e-12);
    EXPECT_NEAR(rs.result(0).pose().xform().trans().x(), 10.0, 0.1);
    EXPECT_NEAR(rs.result(0).pose().xform().trans().y(), 0.0, 0.1);

    // Margins of 9 pixels cannot reach the offset of 10.
    rp.partialMatchRect(xcPelRect(-9, -16, 18, 32));
    tool.run(moved, xc2XformLinear(), rp, {}, rs);
    ASSERT_EQ(rs.size(), 1u);
    EXPECT_LE(rs.result(0).pose().xform().trans().x(), 9.5);
    EXPECT_LT(rs.result(0).score(), 0.5);
    // No margin: the model must stay inside, so only the start offset is left.
    rp.partialMatchRect(xcPelRect());
    tool.run(moved, xc2XformLinear(), rp, {}, rs);
    ASSERT_EQ(rs.size(), 1u);
    EXPECT_EQ(rs.result(0).pose().xform().trans().x(), 0.0);
    EXPECT_EQ(rs.result(0).coverage(), 1.0);
    // The margins are one-sided: a rectangle that only lets the model out on the left cannot
    // follow the copy to the right.
    rp.partialMatchRect(xcPelRect(-12, 0, 12, 0));
    tool.run(moved, xc2XformLinear(), rp, {}, rs);
    EXPECT_LE(rs.result(0).pose().xform().trans().x(), 0.5);
    EXPECT_EQ(rs.result(0).pose().xform().trans().y(), 0.0);
    // The XY uncertainty bounds the offsets too: +-4 pixels cannot reach 10.
    rp = compileParams();
    rp.xyUncertainty({8, 8});
    tool.run(moved, xc2XformLinear(), rp, {}, rs);
    EXPECT_LE(std::fabs(rs.result(0).pose().xform().trans().x()), 4.0);
}

TEST(SubModelTool, ScoresMeanLikeness) {
    const auto a = strokes(kA), x = strokes(kX);
    const auto bigO = strokes(ring(9.0, 12.0)), zero = strokes(ring(8.0, 12.0));
    const auto rp = compileParams();
    const double ax = runScore(trained(a), x, rp), xa = runScore(trained(x), a, rp);
    const double oz = runScore(trained(bigO), zero, rp), zo = runScore(trained(zero), bigO, rp);
    EXPECT_LT(ax, 0.25);
    EXPECT_LT(xa, 0.25);
    EXPECT_GT(oz, 0.5);
    EXPECT_GT(zo, 0.5);
    EXPECT_GT(oz, 2 * ax);
    // An unrelated texture scores low as well.
    xcPelBuffer<unsigned char> noise(24, 32);
    std::mt19937 rng(4);
    std::uniform_int_distribution<int> pix(0, 255);
    for (long y = 0; y < 32; ++y)
        for (long xx = 0; xx < 24; ++xx)
            noise.rowPointer(y)[xx] = static_cast<unsigned char>(pix(rng));
    EXPECT_LT(runScore(trained(a), noise, rp), 0.3);
}

TEST(SubModelTool, EveryOffsetMatchesANaiveScoreWithAndWithoutMasks) {
    // Odd sizes, windows away from the origin, masks on either side; zero uncertainty runs
    // exactly the offset the start pose names, partial overlaps included.
    std::mt19937 rng(8);
    std::uniform_int_distribution<int> pix(0, 255), coin(0, 4);
    xcPelBuffer<unsigned char> mroot(30, 30), mmroot(30, 30), iroot(40, 35), imroot(40, 35);
    for (long y = 0; y < 30; ++y)
        for (long x = 0; x < 30; ++x) {
            mroot.rowPointer(y)[x] = static_cast<unsigned char>(pix(rng));
            mmroot.rowPointer(y)[x] = coin(rng) ? 200 : 20;
        }
    for (long y = 0; y < 35; ++y)
        for (long x = 0; x < 40; ++x) {
            iroot.rowPointer(y)[x] = static_cast<unsigned char>(pix(rng));
            imroot.rowPointer(y)[x] = coin(rng) ? 128 : 127;
        }
    // Make the image follow the model at offset (4, 3) with a little noise, so that scores
    // range from 0 to near 1.
    for (long y = 5; y < 30; ++y)
        for (long x = 5; x < 26; ++x)
            iroot.rowPointer(y + 3)[x + 4] = static_cast<unsigned char>(
                std::clamp(mroot.rowPointer(y)[x] + coin(rng) * 5, 0, 255));
    xcPelBuffer_const<unsigned char> m = mroot, mm = mmroot, im = iroot, imm = imroot;
    m.window(xcPelRect(5, 4, 21, 17));
    mm.window(xcPelRect(5, 4, 21, 17));
    im.window(xcPelRect(3, 2, 33, 29));
    imm.window(xcPelRect(3, 2, 33, 29));
    xcFlexSubModelCorRunParams rp;
    rp.acceptThreshold(0.0);
    rp.partialMatchRect(xcPelRect(-20, -16, 40, 32));
    for (int modelMasked = 0; modelMasked < 2; ++modelMasked) {
        const xcPelBuffer_const<unsigned char> useMm =
            modelMasked ? mm : xcPelBuffer_const<unsigned char>();
        const xc_SubModelTool tool = trained(m, useMm);
        for (int imageMasked = 0; imageMasked < 2; ++imageMasked) {
            const xcPelBuffer_const<unsigned char> useImm =
                imageMasked ? imm : xcPelBuffer_const<unsigned char>();
            for (long oy : {-16L, -9L, 0L, 3L, 14L, 26L})
                for (long ox : {-20L, -13L, -2L, 4L, 15L, 29L}) {
                    xc_SubModelResultSet rs;
                    tool.run(im, useImm, xcXform<2>::translation({double(ox), double(oy)}), rp, {},
                             rs);
                    const double expected = naiveScore(m, useMm, im, useImm, ox, oy);
                    ASSERT_EQ(rs.size(), 1u) << ox << "," << oy;
                    EXPECT_NEAR(rs.result(0).score(), expected, 1e-9)
                        << modelMasked << imageMasked << " " << ox << "," << oy;
                    EXPECT_EQ(rs.result(0).pose().xform().trans(), xcVector<2>(ox, oy));
                }
            // Over a range, the best offset is the planted one.
            rp.xyUncertainty({20, 20});
            xc_SubModelResultSet rs;
            tool.run(im, useImm, xcXform<2>::translation({2.0, 1.0}), rp, {}, rs);
            ASSERT_EQ(rs.size(), 1u);
            EXPECT_NEAR(rs.result(0).pose().xform().trans().x(), 4.0, 0.5);
            EXPECT_NEAR(rs.result(0).pose().xform().trans().y(), 3.0, 0.5);
            EXPECT_NEAR(rs.result(0).score(), naiveScore(m, useMm, im, useImm, 4, 3), 1e-12);
            rp.xyUncertainty({0, 0});
        }
    }
    // Offsets that leave no overlap, or pass the margins, give no result.
    const xc_SubModelTool tool = trained(m);
    xc_SubModelResultSet rs;
    tool.run(im, xcXform<2>::translation({40.0, 0.0}), rp, {}, rs);
    EXPECT_TRUE(rs.empty());
    rp.partialMatchRect(xcPelRect());
    tool.run(im, xcXform<2>::translation({-3.0, 0.0}), rp, {}, rs);
    EXPECT_TRUE(rs.empty());
    // However far the start pose puts the model (beyond a long), no offset is tried.
    for (const xcVector<2> far : {xcVector<2>(1e300, 0.0), xcVector<2>(0.0, -1e300)}) {
        tool.run(im, xcXform<2>::translation(far), rp, {}, rs);
        EXPECT_TRUE(rs.empty());
    }
}

TEST(SubModelTool, AcceptThresholdAndFlatModels) {
    const auto a = strokes(kA), x = strokes(kX);
    const xc_SubModelTool tool = trained(a);
    xcFlexSubModelCorRunParams rp = compileParams();
    const double s = runScore(tool, x, rp);
    ASSERT_GT(s, 0.0);
    rp.acceptThreshold(s + 0.01);
    EXPECT_EQ(runScore(tool, x, rp), -1.0);  // nothing reported
    rp.acceptThreshold(s);
    EXPECT_EQ(runScore(tool, x, rp), s);
    // A model without contrast trains and scores 0 everywhere.
    xcPelBuffer<unsigned char> flat(24, 32);
    EXPECT_EQ(runScore(trained(flat), a, compileParams()), 0.0);
}

TEST(SubModelTool, ErrorsLeaveStateUnchanged) {
    const auto a = strokes(kA);
    xc_SubModelTool tool;
    xc_SubModelResultSet rs;
    expectError<xcBadArgument>([&] { tool.run(a, xc2XformLinear(), compileParams(), {}, rs); },
                               L"Sub-model tool: the tool is not trained");
    EXPECT_THROW(tool.train(xcFlexSubModel(), xcFlexSubModelCorTrainParams()),
                 xcPel::UnboundWindow);
    EXPECT_FALSE(tool.isTrained());
    tool.train(xcFlexSubModel(a, L"A"), xcFlexSubModelCorTrainParams());
    EXPECT_EQ(tool.model().name(), L"A");
    xcPelBuffer<unsigned char> wrongMask(23, 32);
    EXPECT_THROW(xcFlexSubModel(a, wrongMask, L"B"), xcBadArgument);

    // A start pose that turns or scales the model's pixels against the image's.
    rs.add(xc_SubModelResult());
    expectError<xcBadArgument>(
        [&] {
            tool.run(a, xc2XformLinear(xcXform<2>(xcMatrix<2>(1.0, 0.0, 0.0, 1.01), {})),
                     compileParams(), {}, rs);
        },
        L"Sub-model run: the start pose must map the model's pixels onto the image's without "
        L"rotation, scale or shear");
    EXPECT_TRUE(rs.empty());
    EXPECT_THROW(
        tool.run(a, xc2XformLinear(xcXform<2>::translation({NAN, 0.0})), compileParams(), {}, rs),
        xcBadArgument);
    EXPECT_THROW(tool.run(a, wrongMask, xc2XformLinear(), compileParams(), {}, rs), xcBadArgument);
    // The same scale in both client frames is fine.
    xcPelBuffer<unsigned char> scaled = strokes(kA);
    scaled.clientFromImageXform(xcXform<2>(xcMatrix<2>::scale(0.5, 0.5), {}));
    tool.train(xcFlexSubModel(scaled, L"A"), xcFlexSubModelCorTrainParams());
    tool.run(scaled, xc2XformLinear(), compileParams(), {}, rs);
    ASSERT_EQ(rs.size(), 1u);
    EXPECT_NEAR(rs.result(0).score(), 1.0, 1e-12);
    EXPECT_THROW(rs.result(1), xcBadArgument);

    xcFlexSubModelCorRunParams rp;
    EXPECT_THROW(rp.partialMatchRect(xcPelRect(1, 0, 4, 4)), xcBadArgument);
    EXPECT_THROW(rp.partialMatchRect(xcPelRect(-4, -4, 2, 8)), xcBadArgument);
    EXPECT_EQ(rp.partialMatchRect(), xcPelRect());
    EXPECT_THROW(rp.xyUncertainty({-1.0, 2.0}), xcBadArgument);
    EXPECT_THROW(rp.xyUncertainty({INFINITY, 2.0}), xcBadArgument);
    EXPECT_THROW(rp.acceptThreshold(1.01), xcBadArgument);
    EXPECT_THROW(rp.zonesEnabled(4), xcBadArgument);
    rp.zonesEnabled(xcFlexSubModelDefs::eZoneAngle | xcFlexSubModelDefs::eZoneScale);
    EXPECT_EQ(rp.zonesEnabled(), 3);
    xcFlexSubModelCorTrainParams tp;
    expectError<xcBadArgument>(
        [&] { tp.coarseGrainLimit(0.5); },
        L"Sub-model training: the coarse grain limit must be at least 1, not 0.500000");
    EXPECT_EQ(tp.coarseGrainLimit(), 1.0);
    EXPECT_THROW(tp.zonesAllowed(-1), xcBadArgument);
}

TEST(SubModelTool, CallersTimeOutEndsARun) {
    const auto a = strokes(kA);
    const xc_SubModelTool tool = trained(a);
    xcPelBuffer<unsigned char> big(600, 600);
    xcFlexSubModelCorRunParams rp = compileParams();
    rp.xyUncertainty({1200, 1200});
    xc_SubModelResultSet rs;
    xcAttentionTag tag;
    tag.attachTimeout(0.0);
    EXPECT_THROW(tool.run(big, xc2XformLinear(), rp, {}, rs), xcTimeout::Expired);
    EXPECT_TRUE(rs.empty());
}
