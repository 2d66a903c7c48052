// The arranger end to end: input checks and what a throw leaves behind, the empty target,
// the care mask, the limits, the mirrored client frame, symmetric characters, inferred
// positions and pose uncertainties, on scenes rendered from real fonts.
#include <gtest/gtest.h>

#include <cmath>

#include "oc/arrange/candidate_search.h"
#include "oc/defs/oc_defs.h"
#include "oc/font/model.h"
#include "platform/core/attention.h"
#include "platform/core/pel_ops.h"
#include "platform/core/timeout.h"
#include "platform/diag/diag_object.h"
#include "tests/oc/arrange/arrange_scenes.h"
#include "tests/oc/arrange/arrange_test_util.h"
#include "tests/oc/font/font_test_util.h"

using namespace arrange_test;
using Status = xcOCArrangeDefs::CharStatus;

namespace {

struct ArrangeRun {
    xcSynthScene scene;
    std::vector<long> keys;
    xcPtrHandle<xcOCAlphabet> alphabet;
    xcOCArrangeResults results;
};

// Models with their client origin at the cell's lower-left corner (ocsynth's own frame), or
// at the cell's centre.
enum class Origin { eCorner, eCentre };

ArrangeRun arrange(const xcSynthFont& f, const xcSynthSceneParams& sp,
                   xcOCArrangeParams params = {}, xcDiagObject* diag = nullptr,
                   unsigned long flags = 0, Origin origin = Origin::eCorner) {
    ArrangeRun r;
    r.scene = xfSynthScene(f, sp);
    const std::wstring target = targetOf(sp);
    r.keys = xfSynthKeys(target);
    r.alphabet = xfSynthAlphabet(f, target, glyphParams());
    if (origin == Origin::eCentre) r.alphabet = xfSynthCentredAlphabet(*r.alphabet);
    xfOCArrange(r.scene.image, *r.alphabet, r.keys, params, r.results, diag, flags);
    return r;
}

// The reported pose of position i in ocsynth's frame (origin at the cell's lower-left corner).
xcXform<2> truthFramePose(const ArrangeRun& r, std::size_t i) {
    return xfOCArrangeCharPose(r.results, static_cast<long>(i)) *
           xcXform<2>::translation(xfSynthCellLowerLeft(*r.alphabet->character(r.keys[i])));
}

// Every drawn character matched within `tolerance` px and 1 degree of its truth.
void expectAllMatched(const ArrangeRun& r, double tolerance = 0.5) {
    ASSERT_TRUE(r.results.isFound());
    ASSERT_EQ(r.results.statusFlags().size(), r.keys.size());
    for (std::size_t i = 0; i < r.keys.size(); ++i) {
        const xcSynthCharTruth& t = r.scene.truth.chars[i];
        if (!t.drawn) continue;
        SCOPED_TRACE(testing::Message() << "position " << i << " '" << char(t.code) << "'");
        EXPECT_EQ(r.results.statusFlags()[i], xcOCArrangeDefs::eMatched);
        const PoseError e = poseError(truthFramePose(r, i), t);
        EXPECT_LT(e.distance, tolerance);
        EXPECT_LT(e.angle, 1.0);
    }
}

// How many positions of a half-turn-symmetric character have their best instance turned
// upside down from the truth: the cases the symmetry correction has to put right.
long foundUpsideDown(const ArrangeRun& r) {
    std::vector<xc_CharData> chars(r.keys.size());
    std::vector<std::vector<xc_Pose>> poses;
    std::vector<std::vector<double>> scores;
    xf_SearchCharCandidates(r.scene.image, xcPelBuffer<unsigned char>(),
                            xcPtrHandle_const<xcOCAlphabet>(new xcOCAlphabet(*r.alphabet)), r.keys,
                            {}, poses, scores, chars, nullptr, 0);
    long n = 0;
    for (std::size_t i = 0; i < r.keys.size(); ++i) {
        if (chars[i].symmetry != xc_OCExtractDefs::eSymmetric180 || poses[i].empty()) continue;
        const double turn =
            poses[i][0].angle.toDouble() * 180.0 / kPi - r.scene.truth.chars[i].pose.angle;
        n += std::abs(std::remainder(turn, 360.0)) > 90.0;
    }
    return n;
}

xcSynthSceneParams oneLine(const std::wstring& text, double angle, std::uint64_t seed) {
    xcSynthSceneParams sp = sceneParams(seed);
    sp.lines.push_back(straightLine(text, 120.0, 240.0, angle));
    return sp;
}

}  // namespace

TEST(CandidateLimits, CandidatesWithinReachOfTheNeededInstances) {
    struct Case {
        std::vector<double> scores;
        long occurrences;
        long numCandidates;
        bool canBeUnmatched;
    };
    const Case cases[] = {
        {{0.95, 0.9, 0.8, 0.76, 0.5}, 2, 4, false},  // threshold 0.9 - 0.15 = 0.75
        {{0.65, 0.3}, 1, 1, true},                   // 0.3 < 0.5; 0.65 < 0.7
        {{0.9, 0.8}, 3, 2, true},                    // fewer instances than occurrences
        {{}, 1, 0, true},
        {{0.7, 0.55}, 1, 2, false},  // exactly 0.7 may not stay unmatched
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << "occurrences " << c.occurrences << ", " << c.scores.size() << " instances");
        const xc_CandidateLimits l = xf_CandidateLimits(c.scores, c.occurrences);
        EXPECT_EQ(l.numCandidates, c.numCandidates);
        EXPECT_EQ(l.canBeUnmatched, c.canBeUnmatched);
    }
}

TEST(Arrange, BadInputsThrowBeforeAnythingChanges) {
    const xcSynthSceneParams sp = oneLine(L"AB12", 0.0, 1);
    ArrangeRun r = arrange(mono(), sp);
    const xcOCArrangeResults before = r.results;
    ASSERT_TRUE(before.isFound());
    xcDiagObject diag;

    // A key the alphabet lacks: BadKey, no record, results untouched.
    std::vector<long> keys = r.keys;
    keys.push_back(L'Z');
    xcOCArrangeResults results = before;
    EXPECT_OC_ERROR(xfOCArrange(r.scene.image, *r.alphabet, keys, {}, results, &diag, 0x70000),
                    xcOCDefs::BadKey, L"");
    EXPECT_EQ(diag.numRecords(), 0);
    EXPECT_TRUE(results == before);

    // Masks of another size or offset, and an unbound mask.
    const xcPelRect w = r.scene.image.window();
    const xcPelBuffer<unsigned char> smaller(xcPelRect(w.x(), w.y(), w.width() - 1, w.height()));
    const xcPelBuffer<unsigned char> moved(xcPelRect(w.x() + 1, w.y(), w.width(), w.height()));
    for (const auto* mask : {&smaller, &moved}) {
        EXPECT_THROW(
            xfOCArrange(r.scene.image, *mask, *r.alphabet, r.keys, {}, results, &diag, 0x70000),
            xcOCArrangeDefs::BadMask);
    }
    EXPECT_THROW(xfOCArrange(r.scene.image, xcPelBuffer<unsigned char>(), *r.alphabet, r.keys, {},
                             results, &diag, 0x70000),
                 xcPel::UnboundWindow);
    EXPECT_THROW(xfOCArrange(xcPelBuffer<unsigned char>(), *r.alphabet, r.keys, {}, results),
                 xcPel::UnboundWindow);
    EXPECT_EQ(diag.numRecords(), 0);
    EXPECT_TRUE(results == before);

    // A caller's time-out during the search throws after the reset: default results.
    {
        xcAttentionTag tag;
        tag.attachTimeout(1e-6);
        EXPECT_THROW(xfOCArrange(r.scene.image, *r.alphabet, r.keys, {}, results),
                     xcTimeout::Expired);
    }
    EXPECT_TRUE(results == xcOCArrangeResults());
}

TEST(Arrange, EmptyTargetGivesAnEmptyArrangement) {
    const xcSynthSceneParams sp = oneLine(L"AB12", 0.0, 1);
    ArrangeRun r = arrange(mono(), sp);
    xcDiagObject diag;
    xcOCArrangeResults results = r.results;
    xfOCArrange(r.scene.image, *r.alphabet, {}, {}, results, &diag, 0x10000);
    EXPECT_TRUE(results.isFound());
    EXPECT_FALSE(results.isSearchTruncated());
    ASSERT_TRUE(results.arrangement());
    EXPECT_EQ(results.arrangement()->numLines(), 0);
    EXPECT_TRUE(results.statusFlags().empty());
    EXPECT_TRUE(results.scores().empty());
    EXPECT_TRUE(results.clientFromArrangementXform() == xcXform<2>());
    ASSERT_GE(diag.numRecords(), 1);
    EXPECT_EQ(diag.diagRecord(0)->annotation(), L"OC Arranger: Input");
}

TEST(Arrange, CareMaskIsBinarisedAtHalfScale) {
    const xcSynthSceneParams sp = oneLine(L"K8QX", 10.0, 2);
    ArrangeRun r = arrange(mono(), sp);
    for (unsigned char level : {127, 128}) {
        SCOPED_TRACE(testing::Message() << "mask level " << int(level));
        xcPelBuffer<unsigned char> mask(r.scene.image.window());
        xfPelSet(mask, level);
        xcOCArrangeResults results;
        xfOCArrange(r.scene.image, mask, *r.alphabet, r.keys, {}, results);
        for (Status s : results.statusFlags())
            EXPECT_EQ(s == xcOCArrangeDefs::eMatched, level == 128);
    }
}

TEST(Arrange, NoCandidatesAllowedLeavesEveryPositionUnknown) {
    xcOCArrangeParams params;
    params.maxCandidates(0);
    const ArrangeRun r = arrange(mono(), oneLine(L"H3LP", 0.0, 3), params);
    EXPECT_TRUE(r.results.isFound());
    EXPECT_TRUE(r.results.isSearchTruncated());
    ASSERT_EQ(r.results.arrangement()->numLines(), 4);
    for (std::size_t i = 0; i < r.keys.size(); ++i) {
        EXPECT_EQ(r.results.statusFlags()[i], xcOCArrangeDefs::eUnknown);
        EXPECT_EQ(r.results.scores()[i], 0.0);
        const xcXform<2> pose = xfOCArrangeCharPose(r.results, static_cast<long>(i));
        EXPECT_NEAR(pose.matrix()(0, 0), std::sqrt(0.99), 1e-12);
    }
}

TEST(Arrange, StraightLinesAtAnyAngleInSeveralFonts) {
    struct Case {
        const xcSynthFont* font;
        std::wstring text;
        double angle;
    };
    const Case cases[] = {
        {&mono(), L"ROS 2024A8", 0.0},
        {&mono(), L"QX5 8TR3", -37.0},
        {&sans(), L"GXP 62B9", 121.0},
        {&sans(), L"K4B8W2", 200.0},
    };
    std::uint64_t seed = 10;
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "angle " << c.angle);
        const ArrangeRun r = arrange(*c.font, oneLine(c.text, c.angle, ++seed));
        expectAllMatched(r);
        EXPECT_FALSE(r.results.isSearchTruncated());
        EXPECT_EQ(r.results.arrangement()->numLines(), 1);
    }
}

TEST(Arrange, CircularLinesBothWays) {
    for (bool clockwise : {true, false}) {
        SCOPED_TRACE(clockwise ? "clockwise" : "counter-clockwise");
        xcSynthSceneParams sp = sceneParams(clockwise ? 21 : 22);
        sp.lines.push_back(circularLine(L"QBRA 0842SX", 320, 240, 150, -160, clockwise));
        xcOCArrangeParams params;
        params.lineType(xcOCArrangeDefs::eCircular);
        const ArrangeRun r = arrange(mono(), sp, params);
        // Counter-clockwise text stands with its tops inwards, where neighbours crowd into
        // each pattern's window: the extraction's own poses of A, 4, 2 and X lie 0.53 to
        // 0.59 px off here (scores 0.83 to 0.94), and the arranger reports them unchanged.
        expectAllMatched(r, 0.75);
        ASSERT_EQ(r.results.arrangement()->numLines(), 1);
    }
}

TEST(Arrange, MissingCharacterIsInferredWhereItBelongs) {
    xcSynthSceneParams sp = oneLine(L"AB3D5C8K", 15.0, 31);
    sp.missing = {4};
    const ArrangeRun r = arrange(mono(), sp);
    for (std::size_t i = 0; i < r.keys.size(); ++i) {
        SCOPED_TRACE(testing::Message() << "position " << i);
        const xcSynthCharTruth& t = r.scene.truth.chars[i];
        if (i == 4) {
            EXPECT_EQ(r.results.statusFlags()[i], xcOCArrangeDefs::eInferred);
            EXPECT_EQ(r.results.scores()[i], 0.0);
            EXPECT_LT(poseError(xfOCArrangeCharPose(r.results, 4), t).distance, 1.0);
        } else {
            EXPECT_EQ(r.results.statusFlags()[i], xcOCArrangeDefs::eMatched);
        }
    }
}

TEST(Arrange, HalfTurnSymmetricCharactersFoundUpsideDownAreTurnedBack) {
    // S, Z, O, X and 0 match themselves turned by 180 degrees, so the search may find them
    // upside down; they must come back at their line's orientation, turned about their own
    // half-turn centre. The line fit sees the origin of an upside-down instance: with the
    // origin at the cell's centre it stays near the upright one and the text is one line.
    // With the origin at the cell's corner it lies at the opposite corner, which may split
    // the line (here R O | X A 4 4 1 8), so only the poses are checked there.
    struct Case {
        const xcSynthFont* font;
        std::wstring text;
        double angle;
        std::uint64_t seed;
        Origin origin;
    };
    const Case cases[] = {
        {&mono(), L"SZ8OX0", 0.0, 41, Origin::eCentre},
        {&mono(), L"SZ8OX0", 150.0, 41, Origin::eCentre},
        {&mono(), L"OX0SZ8", -100.0, 41, Origin::eCentre},
        {&sans(), L"XO8SZ0", 37.0, 41, Origin::eCentre},
        {&sans(), L"ROXA4418", 5.0, 61, Origin::eCorner},
        {&mono(), L"SZ8SZ8", 150.0, 41, Origin::eCorner},
    };
    long upsideDown = 0;
    for (const Case& c : cases) {
        const bool centre = c.origin == Origin::eCentre;
        SCOPED_TRACE(testing::Message() << "angle " << c.angle << ", origin at the "
                                        << (centre ? "centre" : "corner"));
        const ArrangeRun r =
            arrange(*c.font, oneLine(c.text, c.angle, c.seed), {}, nullptr, 0, c.origin);
        expectAllMatched(r);
        if (centre) {
            EXPECT_EQ(r.results.arrangement()->numLines(), 1);
        }
        upsideDown += foundUpsideDown(r);
    }
    EXPECT_GE(upsideDown, 5);  // the correction is exercised
}

TEST(Arrange, PoseUncertaintiesOnlyWhenAskedFor) {
    const xcSynthSceneParams sp = oneLine(L"W4R69KS", 25.0, 51);
    for (bool on : {false, true}) {
        SCOPED_TRACE(on ? "on" : "off");
        xcOCArrangeParams params;
        params.compPoseUncertainties(on);
        const ArrangeRun r = arrange(mono(), sp, params);
        const xcOCLine& line = *r.results.arrangement()->lines().at(0);
        double total = 0.0;
        for (long p = 0; p < line.numPositions(); ++p) {
            const std::size_t i = static_cast<std::size_t>(p);
            EXPECT_GE(line.translationUncertainties()[i], 0.0);
            EXPECT_LT(line.translationUncertainties()[i], 1.0);  // fractions of a pixel here
            total += line.translationUncertainties()[i] +
                     line.rotationUncertainties()[i].toDouble() + line.scaleUncertainties()[i];
        }
        EXPECT_EQ(total > 0.0, on);
    }
}

TEST(Arrange, TwoLinesAreSplitWhereTheTextBreaks) {
    // The O of ROXA4418 is found upside down. With the origin at the cell's corner its origin
    // lies at the opposite corner, off the line: a line R O of its own costs less than the
    // line through it, so the first text may come back as two lines; no line runs across
    // the break either way.
    xcSynthSceneParams sp = sceneParams(61);
    sp.lines.push_back(straightLine(L"ROXA4418", 100, 200, 5.0));
    sp.lines.push_back(straightLine(L"KSPB5926", 100, 300, 5.0));
    for (Origin origin : {Origin::eCorner, Origin::eCentre}) {
        SCOPED_TRACE(origin == Origin::eCentre ? "centre" : "corner");
        const ArrangeRun r = arrange(sans(), sp, {}, nullptr, 0, origin);
        expectAllMatched(r);
        const auto& lines = r.results.arrangement()->lines();
        if (origin == Origin::eCentre) {
            EXPECT_EQ(lines.size(), 2u);
        }
        ASSERT_GE(lines.size(), 2u);
        long first = 0;
        for (const auto& l : lines) {
            EXPECT_TRUE(first + l->numPositions() <= 8 || first >= 8) << "a line spans the break";
            first += l->numPositions();
        }
        EXPECT_EQ(lines[0]->name(), L"Line 0");
        EXPECT_EQ(lines[1]->name(), L"Line 1");
    }
}

TEST(Arrange, StraightAndCircularLineWithinTwoLines) {
    // A turned straight line with spaces and a circular line, with at most two lines (origin
    // at the cell's centre: with it at the corner, the upside-down O of BOX breaks every
    // partial line B O X, so no path of two lines can be grown and the circle is left
    // unknown).
    xcSynthSceneParams sp = sceneParams(2026);
    sp.lines.push_back(straightLine(L"BOX 4852 KRS 6039", 30.0, 125.0, -12.0));
    sp.lines.push_back(circularLine(L"GAZ DPQ ACGZ PDQ", 430.0, 300.0, 110.0, -170.0, true));
    xcOCArrangeParams params;
    params.maxLines(2);
    const ArrangeRun r = arrange(mono(), sp, params, nullptr, 0, Origin::eCentre);
    EXPECT_FALSE(r.results.isSearchTruncated());
    EXPECT_EQ(r.results.arrangement()->numLines(), 2);
    expectAllMatched(r);
}

TEST(Arrange, MirroredClientFrameKeepsTheClockwiseSenseOfTheImage) {
    // The same pixels, read once through the identity and once through client frames that
    // mirror y, in the scene and in every model. In the mirrored frame a circle that runs
    // clockwise in the image runs counter-clockwise in client coordinates; the requested sense
    // refers to the image, so the clockwise text is one line exactly when clockwise is asked
    // for, in both frames.
    xcSynthSceneParams sp = sceneParams(21);
    sp.lines.push_back(circularLine(L"QBRA 0842SX", 320, 240, 150, -160, true));
    ArrangeRun plain = arrange(mono(), sp);
    const xcXform<2> mirror(xcMatrix<2>(1, 0, 0, -1), xcVector<2>(0, 0));
    ArrangeRun mirrored = plain;
    mirrored.scene.image.clientFromImageXform(mirror);
    xcOCAlphabet::Models models;
    for (const auto& m : plain.alphabet->characters()) {
        if (m->charType() == xcOCModel::eBlank) {
            models.emplace_back(new xcOCModel(*m));
            continue;
        }
        xcPelBuffer<unsigned char> image(m->image().window());
        xfPelCopy(m->image(), image);
        image.clientFromImageXform(mirror * m->image().clientFromImageXform());
        models.emplace_back(
            new xcOCModel(m->key(), image, m->imageArea(), xcOCModel::eNormal, m->name()));
    }
    mirrored.alphabet = xcPtrHandle<xcOCAlphabet>(new xcOCAlphabet(models, 0.5, false));
    for (xcSynthCharTruth& t : mirrored.scene.truth.chars) {
        t.pose.position = mirror.mapPoint(t.pose.position);
        t.pose.angle = -t.pose.angle;
    }

    for (ArrangeRun* r : {&plain, &mirrored}) {
        for (bool clockwise : {true, false}) {
            SCOPED_TRACE(testing::Message() << (r == &plain ? "plain" : "mirrored") << ", "
                                            << (clockwise ? "clockwise" : "counter-clockwise"));
            xcOCArrangeParams params;
            params.lineType(xcOCArrangeDefs::eCircular);
            params.isTextDirectionSpecified(true);
            params.isCircularTextDirectionClockwise(clockwise);
            xfOCArrange(r->scene.image, *r->alphabet, r->keys, params, r->results);
            if (clockwise) {
                EXPECT_EQ(r->results.arrangement()->numLines(), 1);
                expectAllMatched(*r);
                // The space is laid out on the arc of the final evaluation.
                EXPECT_EQ(r->results.statusFlags()[4], xcOCArrangeDefs::eInferred);
                EXPECT_LT(poseError(truthFramePose(*r, 4), r->scene.truth.chars[4]).distance, 1.0);
            } else {
                EXPECT_GT(r->results.arrangement()->numLines(), 2);
            }
        }
    }
}

TEST(Arrange, NullDiagnosticsAndRecordsGiveTheSameResults) {
    const xcSynthSceneParams sp = oneLine(L"R2D2C3P0", 33.0, 81);
    const ArrangeRun plain = arrange(mono(), sp);
    xcDiagObject diag;
    const ArrangeRun recorded = arrange(mono(), sp, {}, &diag, 0x70000);
    EXPECT_TRUE(plain.results == recorded.results);
    EXPECT_GT(diag.numRecords(), 3);
}
