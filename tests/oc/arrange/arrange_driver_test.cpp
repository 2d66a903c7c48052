// The arranger end to end: input checks and what a throw leaves behind, the empty target,
// the care mask, the limits, the mirrored client frame, symmetric characters, inferred
// positions and pose uncertainties, on scenes rendered from real fonts.
#include <gtest/gtest.h>

#include <cmath>

#include "oc/arrange/candidate_search.h"
#include "oc/defs/oc_defs.h"
#include "platform/core/attention.h"
#include "platform/core/pel_ops.h"
#include "platform/core/timeout.h"
#include "platform/diag/diag_object.h"
#include "tests/oc/arrange/arrange_scenes.h"
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

ArrangeRun arrange(const xcSynthFont& f, const xcSynthSceneParams& sp, xcOCArrangeParams params = {},
            xcDiagObject* diag = nullptr, unsigned long flags = 0) {
    ArrangeRun r;
    r.scene = xfSynthScene(f, sp);
    const std::wstring target = targetOf(sp);
    r.keys = xfSynthKeys(target);
    r.alphabet = xfSynthAlphabet(f, target, glyphParams());
    xfOCArrange(r.scene.image, *r.alphabet, r.keys, params, r.results, diag, flags);
    return r;
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
        const PoseError e = poseError(xfOCArrangeCharPose(r.results, static_cast<long>(i)), t);
        EXPECT_LT(e.distance, tolerance);
        EXPECT_LT(e.angle, 1.0);
    }
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
        {{0.65, 0.3}, 1, 1, true},                    // 0.3 < 0.5; 0.65 < 0.7
        {{0.9, 0.8}, 3, 2, true},                     // fewer instances than occurrences
        {{}, 1, 0, true},
        {{0.7, 0.55}, 1, 2, false},                   // exactly 0.7 may not stay unmatched
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "occurrences " << c.occurrences << ", "
                                        << c.scores.size() << " instances");
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
        EXPECT_THROW(xfOCArrange(r.scene.image, *mask, *r.alphabet, r.keys, {}, results, &diag,
                                 0x70000),
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
        // Characters turned along a circle are placed a little less exactly (up to 0.6 px
        // measured) than on a straight line.
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

TEST(Arrange, HalfTurnSymmetricCharactersKeepTheLineOrientation) {
    // S, Z and 8 match themselves turned by 180 degrees: the arranger must report
    // them at the line's orientation, not upside down.
    for (double angle : {0.0, 150.0, -100.0}) {
        SCOPED_TRACE(testing::Message() << "angle " << angle);
        expectAllMatched(arrange(mono(), oneLine(L"SZ8SZ8", angle, 41)));
    }
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
    xcSynthSceneParams sp = sceneParams(61);
    sp.lines.push_back(straightLine(L"ROXA4418", 100, 200, 5.0));
    sp.lines.push_back(straightLine(L"KSPB5926", 100, 300, 5.0));
    const ArrangeRun r = arrange(sans(), sp);
    expectAllMatched(r);
    // No line runs across the break between the two texts.
    const auto& lines = r.results.arrangement()->lines();
    ASSERT_GE(lines.size(), 2u);
    long first = 0;
    for (const auto& l : lines) {
        EXPECT_TRUE(first + l->numPositions() <= 8 || first >= 8) << "a line spans the break";
        first += l->numPositions();
    }
    EXPECT_EQ(r.results.arrangement()->lines()[0]->name(), L"Line 0");
    EXPECT_EQ(r.results.arrangement()->lines()[1]->name(), L"Line 1");
}

TEST(Arrange, NullDiagnosticsAndRecordsGiveTheSameResults) {
    const xcSynthSceneParams sp = oneLine(L"R2D2C3P0", 33.0, 81);
    const ArrangeRun plain = arrange(mono(), sp);
    xcDiagObject diag;
    const ArrangeRun recorded = arrange(mono(), sp, {}, &diag, 0x70000);
    EXPECT_TRUE(plain.results == recorded.results);
    EXPECT_GT(diag.numRecords(), 3);
}
