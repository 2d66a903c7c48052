#include "oc/arrange/refine.h"

#include <gtest/gtest.h>

#include <cmath>

#include "oc/defs/oc_defs.h"
#include "oc/extract/rsi_ncc_search.h"
#include "platform/core/attention.h"
#include "platform/core/pel_ops.h"
#include "platform/core/timeout.h"
#include "tests/oc/extract/refine_scene_util.h"

namespace {

using refine_test::Placed;
using Status = xcOCArrangeDefs::CharStatus;
constexpr Status kMatched = xcOCArrangeDefs::eMatched;
constexpr Status kInferred = xcOCArrangeDefs::eInferred;
constexpr Status kUnknown = xcOCArrangeDefs::eUnknown;
constexpr double kPi = 3.14159265358979323846;

// The brute-force box of `start` scaled by 1.05 and turned by every angle in [-5, 5] degrees
// about its centre, rounded outwards to whole pixels.
xcPelRect bruteBox(const xcPelRect& start) {
    const xcVector<2> c = (start.ul().toVector() + start.lr().toVector()) * 0.5;
    const double hx = 0.5 * static_cast<double>(start.width()) * 1.05;
    const double hy = 0.5 * static_cast<double>(start.height()) * 1.05;
    double x0 = 1e30, y0 = 1e30, x1 = -1e30, y1 = -1e30;
    for (int k = 0; k <= 20000; ++k) {
        const double a = (-5.0 + 10.0 * k / 20000.0) * kPi / 180.0;
        for (double sx : {-1.0, 1.0})
            for (double sy : {-1.0, 1.0}) {
                const double x = std::cos(a) * sx * hx - std::sin(a) * sy * hy;
                const double y = std::sin(a) * sx * hx + std::cos(a) * sy * hy;
                x0 = std::min(x0, x);
                x1 = std::max(x1, x);
                y0 = std::min(y0, y);
                y1 = std::max(y1, y);
            }
    }
    const long l = static_cast<long>(std::floor(x0 + c.x()));
    const long t = static_cast<long>(std::floor(y0 + c.y()));
    return xcPelRect(l, t, static_cast<long>(std::ceil(x1 + c.x())) - l,
                     static_cast<long>(std::ceil(y1 + c.y())) - t);
}

TEST(RefineRegion, BoundingRectHoldsTheTurnedAndScaledRectangle) {
    const xcPelRect starts[] = {{0, 0, 17, 33}, {-5, -11, 27, 55}, {3, 4, 40, 10},
                                {10, 20, 1, 1}, {0, 0, 60, 60},    {7, -3, 12, 90}};
    for (const xcPelRect& s : starts) {
        SCOPED_TRACE(s.width() * 1000 + s.height());
        EXPECT_EQ(xf_RefineBoundingRect(s), bruteBox(s));
    }
}

TEST(RefineRegion, PixelsKeepTheirClientCoordinates) {
    // A search image with a client transform, a model window with its own client frame, and a
    // pose that is a whole-pixel shift: the region is then an exact copy of image pixels.
    xcPelBuffer<unsigned char> image(200, 150);
    for (long y = 0; y < 150; ++y)
        for (long x = 0; x < 200; ++x)
            image.set(x, y, static_cast<unsigned char>((x * 7 + y * 13 + (x * y) % 11) & 0xFF));
    const xcXform<2> imageClient = xcXform<2>::translation(xcVector<2>(-10.0, 5.0));
    image.clientFromImageXform(imageClient);
    const xcPelRect window(4, 4, 17, 33);
    const xcXform<2> c = xcXform<2>::translation(xcVector<2>(-4.0, -37.0));  // cell's ll origin
    const xcXform<2> pose = xcXform<2>::translation(xcVector<2>(60.0, 110.0));
    xcPelBuffer<unsigned char> region;
    ASSERT_TRUE(xf_CutRefineRegion(image, window, c, pose, region));
    // First attempt: the window grown by 5 and 11 pixels (thirds rounded down).
    EXPECT_EQ(region.window(), xf_RefineBoundingRect(xcPelRect(-1, -7, 27, 55)));
    EXPECT_TRUE(xfRealEq(region.clientFromImageXform(), pose * c, 1e-9));
    const xcXform<2> imageFromClient = imageClient.inverse();
    for (long y = region.window().y(); y < region.window().y() + region.height(); y += 5)
        for (long x = region.window().x(); x < region.window().x() + region.width(); x += 3) {
            const xcVector<2> p = imageFromClient.mapPoint(
                (pose * c).mapPoint(xcVector<2>(static_cast<double>(x), static_cast<double>(y))));
            ASSERT_EQ(region.get(x, y), image.get(std::lround(p.x()), std::lround(p.y())))
                << x << "," << y;
        }

    // A pose turned and scaled: the region's client transform is still pose o C.
    const xcXform<2> turned(xcMatrix<2>(xcRadian(0.3), xcRadian(0.3), 1.1, 1.1),
                            xcVector<2>(80.0, 90.0));
    ASSERT_TRUE(xf_CutRefineRegion(image, window, c, turned, region));
    EXPECT_TRUE(xfRealEq(region.clientFromImageXform(), turned * c, 1e-9));
}

TEST(RefineRegion, BorderFallsBackToTheUnmarginedWindowThenToNothing) {
    xcPelBuffer<unsigned char> image(120, 100);
    xfPelSet(image, 100);
    // A window into a larger image: the whole buffer counts, not the window.
    xcPelBuffer_const<unsigned char> windowed = image;
    windowed.window(xcPelRect(50, 40, 20, 20));
    const xcPelRect w(0, 0, 18, 30);
    const xcXform<2> id;
    struct Case {
        xcVector<2> at;
        bool cut;
        bool margined;
    };
    // The margined box of this window reaches 8..14 px beyond the window, the unmargined 1..2.
    const Case cases[] = {{{50.0, 40.0}, true, true},
                          {{5.0, 8.0}, true, false},    // margin clips, window fits
                          {{0.5, 30.0}, false, false},  // even the window clips
                          {{110.0, 80.0}, false, false}};
    for (const Case& k : cases) {
        SCOPED_TRACE(k.at.x());
        xcPelBuffer<unsigned char> region;
        EXPECT_EQ(xf_CutRefineRegion(windowed, w, id, xcXform<2>::translation(k.at), region),
                  k.cut);
        EXPECT_EQ(region.isBound(), k.cut);
        if (k.cut) {
            EXPECT_EQ(region.window(),
                      xf_RefineBoundingRect(k.margined ? w.trim(-6, -10, -6, -10) : w));
        }
    }
    xcPelBuffer<unsigned char> region;
    EXPECT_FALSE(xf_CutRefineRegion(image, xcPelRect(), id, id, region));
}

// --- The refinement on synthetic scenes ---------------------------------------------------

struct Alphabet {
    std::vector<xcSynthGlyph> glyphs;
    xcPtrHandle_const<xcOCAlphabet> alphabet;
};

// Keys are the characters' code points; a space is a blank character.
Alphabet makeAlphabet(const std::string& fontName, double size, const std::u32string& codes) {
    Alphabet a;
    xcOCAlphabet::ConstModels models;
    for (char32_t c : codes) {
        const xcSynthGlyph g = refine_test::glyph(fontName, c, size);
        a.glyphs.push_back(g);
        const auto type = g.blank ? xcOCModel::eBlank : xcOCModel::eNormal;
        xcPelBuffer_const<unsigned char> image = g.image;
        models.emplace_back(new xcOCModel(static_cast<long>(c), image, g.cell, type,
                                          std::wstring(1, static_cast<wchar_t>(c))));
    }
    a.alphabet = xcPtrHandle_const<xcOCAlphabet>(new xcOCAlphabet(models, 0.5, false, L"font"));
    return a;
}

xc_Pose poseOf(const xcXform<2>& x) { return xc_Pose(x); }

// The truth moved by (dx, dy) px, turned by da degrees and scaled by ds.
xc_Pose offsetPose(const xcSynthCharTruth& t, double dx, double dy, double da, double ds) {
    xcSynthPose p = t.pose;
    p.position = p.position + xcVector<2>(dx, dy);
    p.angle += da;
    p.scale *= ds;
    return poseOf(p.xform());
}

double angleDiffDeg(const xc_Pose& p, double truthDeg) {
    return std::fabs(xcDegree(p.angle - xcRadian(xcDegree(truthDeg))).signedNorm().toDouble());
}

struct FontCase {
    std::string font;
    double size;
    double lineAngle;
};

// Inferred poses up to 1 px, 2 degrees and 3 % of scale away from the truth are refined onto
// the grid variant nearest it; a character left out or replaced by another (here an A where a
// 7 is drawn) keeps its inferred state; matched and unknown positions keep everything.
TEST(RefineArrangement, PlantedPosesAreRefinedOntoTheTruth) {
    const FontCase fonts[] = {{"DejaVuSansMono.ttf", 28.0, 0.0},
                              {"DejaVuSans.ttf", 32.0, -7.0},
                              {"DejaVuSerif.ttf", 24.0, 12.0}};
    // Offsets of the inferred poses: (dx, dy, dangle, dscale).
    const double offsets[][4] = {{1.0, 0.0, 2.0, 1.03}, {0.0, -1.0, -2.0, 0.97},
                                 {0.7, 0.7, 1.3, 1.0},  {-0.7, 0.7, -1.5, 1.02},
                                 {0.0, 0.0, 0.0, 1.0},  {-1.0, 0.0, 0.5, 0.98}};
    for (const FontCase& f : fonts) {
        SCOPED_TRACE(f.font);
        const Alphabet a = makeAlphabet(f.font, f.size, U"AKRS3x7 ");
        // Drawn: A K R S 3 x 7 on one line; position 7 expects 'A' where a '7' is drawn,
        // position 8 expects 'K' where nothing is drawn (both inferred).
        const std::wstring text = L"AKRS3x7";
        xcSynthSceneParams sp;
        sp.width = 400;
        sp.height = 160;
        sp.pixelSize = f.size;
        sp.tones = xcSynthTones{eDarkOnLight, 30.0, 220.0};
        sp.noiseSigma = 3.0;
        sp.seed = 11;
        xcSynthLineSpec line;
        line.text = text + L"7K";
        line.start = xcVector<2>(30.0, 90.0);
        line.angle = f.lineAngle;
        line.advanceScale = 1.15;
        sp.lines.push_back(line);
        sp.missing = {8};
        const xcSynthScene s = xfSynthScene(refine_test::font(f.font), sp);

        const std::vector<long> keys = {'A', 'K', 'R', 'S', '3', 'x', '7', 'A', 'K'};
        std::vector<xc_Pose> poses;
        std::vector<Status> statuses = {kInferred, kInferred, kMatched,  kInferred, kInferred,
                                        kUnknown,  kInferred, kInferred, kInferred};
        std::vector<double> scores(keys.size(), -7.0);
        const std::size_t offsetOf[] = {0, 1, 0, 2, 3, 0, 4, 5, 5};
        for (std::size_t i = 0; i < keys.size(); ++i) {
            const double* o = offsets[offsetOf[i]];
            poses.push_back(offsetPose(s.truth.chars[i], o[0], o[1], o[2], o[3]));
        }
        const std::vector<xc_Pose> before = poses;
        xc_RefineCounts counts;
        xf_RefineArrangement(s.image, a.alphabet, keys, poses, statuses, scores, nullptr, 0,
                             &counts);
        EXPECT_EQ(counts.modelsBuilt, 7);  // A K R S 3 x 7, one each
        int within = 0;
        for (std::size_t i = 0; i < keys.size(); ++i) {
            SCOPED_TRACE(i);
            const xcSynthCharTruth& t = s.truth.chars[i];
            if (i == 2 || i == 5 || i >= 7) {
                // Matched, unknown, another character drawn there, nothing drawn there.
                EXPECT_EQ(statuses[i], i == 2 ? kMatched : i == 5 ? kUnknown : kInferred);
                EXPECT_EQ(scores[i], -7.0);
                EXPECT_EQ(poses[i].translation, before[i].translation);
                EXPECT_EQ(poses[i].angle, before[i].angle);
                EXPECT_EQ(poses[i].scale, before[i].scale);
                continue;
            }
            // The pose is fitted between the variants, finer than the grid's steps. The angle
            // of a round character (3, S) rests on scores that change little with it.
            EXPECT_EQ(statuses[i], kMatched);
            EXPECT_GT(scores[i], 0.9);
            const double et = (poses[i].translation - t.pose.position).len();
            const double ea = angleDiffDeg(poses[i], t.pose.angle);
            EXPECT_LT(et, 0.2);
            EXPECT_LT(ea, 0.6);
            EXPECT_NEAR(poses[i].scale, t.pose.scale, 0.01);
            within += et < 0.2 && ea < 0.3 ? 1 : 0;
        }
        EXPECT_GE(within, 4);  // of the 5 refined positions
    }
}

TEST(RefineArrangement, OneModelPerKeyBlanksNeverAndStatusesAfterTraining) {
    const Alphabet a = makeAlphabet("DejaVuSans.ttf", 28.0, U"EF ");
    const std::vector<Placed> drawn = {{U'E', {30.0, 60.0}, 1.0, 1.0},
                                       {U'F', {80.0, 60.0}, 0.0, 1.0},
                                       {U'E', {130.0, 60.0}, -1.0, 1.0},
                                       {U'E', {180.0, 60.0}, 0.0, 1.02}};
    const xcSynthScene s = refine_test::scene("DejaVuSans.ttf", 28.0, drawn, 260, 100);
    std::vector<long> keys = {'E', 'F', ' ', 'E', 'E'};
    auto posesNear = [&] {
        std::vector<xc_Pose> p;
        for (std::size_t i = 0, k = 0; i < keys.size(); ++i) {
            if (keys[i] == ' ') {
                p.push_back(poseOf(xcXform<2>::translation(xcVector<2>(100.0, 60.0))));
                continue;
            }
            const xcSynthCharTruth& t = s.truth.chars[k++];
            p.push_back(offsetPose(t, 0.5, -0.5, 1.0, 1.0));
        }
        return p;
    };

    // Three inferred E's share one model; the blank stays as it is.
    std::vector<xc_Pose> poses = posesNear();
    std::vector<Status> statuses(keys.size(), kInferred);
    std::vector<double> scores(keys.size(), -1.0);
    xc_RefineCounts counts;
    xf_RefineArrangement(s.image, a.alphabet, keys, poses, statuses, scores, nullptr, 0, &counts);
    EXPECT_EQ(counts.modelsBuilt, 2);
    EXPECT_EQ(counts.regionsCut, 4);
    EXPECT_EQ(counts.positionsFound, 4);
    EXPECT_EQ(statuses, (std::vector<Status>{kMatched, kMatched, kInferred, kMatched, kMatched}));
    EXPECT_EQ(scores[2], -1.0);

    // Nothing inferred: a model is still trained for every distinct non-blank key, and
    // nothing changes.
    poses = posesNear();
    statuses = {kMatched, kUnknown, kInferred, kMatched, kUnknown};
    scores.assign(keys.size(), -1.0);
    xf_RefineArrangement(s.image, a.alphabet, keys, poses, statuses, scores, nullptr, 0, &counts);
    EXPECT_EQ(counts.modelsBuilt, 2);
    EXPECT_EQ(counts.regionsCut, 0);
    EXPECT_EQ(statuses, (std::vector<Status>{kMatched, kUnknown, kInferred, kMatched, kUnknown}));
    EXPECT_EQ(scores, std::vector<double>(keys.size(), -1.0));

    // A position at the image border stays inferred: both attempts would clip.
    poses = posesNear();
    poses[1] = poseOf(xcXform<2>::translation(xcVector<2>(0.0, 100.0)));
    statuses.assign(keys.size(), kInferred);
    xf_RefineArrangement(s.image, a.alphabet, keys, poses, statuses, scores, nullptr, 0, &counts);
    EXPECT_EQ(statuses[1], kInferred);
    EXPECT_EQ(poses[1].translation, xcVector<2>(0.0, 100.0));
    EXPECT_EQ(counts.regionsCut, 3);

    // Bad input changes nothing.
    poses = posesNear();
    statuses.assign(keys.size(), kInferred);
    std::vector<long> badKeys = keys;
    badKeys[4] = 'Q';
    EXPECT_THROW(
        xf_RefineArrangement(s.image, a.alphabet, badKeys, poses, statuses, scores, nullptr, 0),
        xcOCDefs::BadKey);
    EXPECT_EQ(statuses, std::vector<Status>(keys.size(), kInferred));
    std::vector<double> shortScores(2, 0.0);
    EXPECT_THROW(
        xf_RefineArrangement(s.image, a.alphabet, keys, poses, statuses, shortScores, nullptr, 0),
        xcAssertionFailure);
    EXPECT_EQ(statuses, std::vector<Status>(keys.size(), kInferred));
}

TEST(RefineArrangement, FailuresSkipAKeyAndATimeOutEndsTheRefinement) {
    // 'F' is a character whose image has no contrast: it cannot be trained and is skipped.
    Alphabet a = makeAlphabet("DejaVuSans.ttf", 28.0, U"E");
    xcPelBuffer<unsigned char> flat(20, 34);
    xfPelSet(flat, 200);
    xcOCAlphabet::ConstModels models = a.alphabet->characters();
    models.emplace_back(new xcOCModel('F', flat, xcPelRect(0, 0, 20, 34), xcOCModel::eNormal));
    a.alphabet = xcPtrHandle_const<xcOCAlphabet>(new xcOCAlphabet(models, 0.5, false, L"f"));
    const xcSynthScene s = refine_test::scene(
        "DejaVuSans.ttf", 28.0, {{U'E', {30.0, 60.0}, 0.0, 1.0}, {U'E', {90.0, 60.0}, 0.0, 1.0}},
        150, 100);
    const std::vector<long> keys = {'F', 'E', 'F', 'E'};
    std::vector<xc_Pose> poses = {poseOf(xcXform<2>::translation(xcVector<2>(60.0, 60.0))),
                                  offsetPose(s.truth.chars[0], 0.4, 0.0, 0.0, 1.0),
                                  poseOf(xcXform<2>::translation(xcVector<2>(60.0, 60.0))),
                                  offsetPose(s.truth.chars[1], 0.0, 0.4, 0.0, 1.0)};
    std::vector<Status> statuses(keys.size(), kInferred);
    std::vector<double> scores(keys.size(), -1.0);
    xc_RefineCounts counts;
    xf_RefineArrangement(s.image, a.alphabet, keys, poses, statuses, scores, nullptr, 0, &counts);
    EXPECT_EQ(counts.modelsBuilt, 1);
    EXPECT_EQ(statuses, (std::vector<Status>{kInferred, kMatched, kInferred, kMatched}));

    // An expired time-out ends the refinement with the time-out itself.
    statuses.assign(keys.size(), kInferred);
    xcAttentionTag tag;
    tag.attachTimeout(0.0);
    EXPECT_THROW(
        xf_RefineArrangement(s.image, a.alphabet, keys, poses, statuses, scores, nullptr, 0),
        xcTimeout::Expired);
    EXPECT_EQ(statuses, std::vector<Status>(keys.size(), kInferred));
}

}  // namespace
