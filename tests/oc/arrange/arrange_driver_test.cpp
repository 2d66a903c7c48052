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

struct Run {
    xcSynthScene scene;
    std::vector<long> keys;
    xcPtrHandle<xcOCAlphabet> alphabet;
    xcOCArrangeResults results;
};

Run arrange(const xcSynthFont& f, const xcSynthSceneParams& sp, xcOCArrangeParams params = {},
            xcDiagObject* diag = nullptr, unsigned long flags = 0) {
    Run r;
    r.scene = xfSynthScene(f, sp);
    const std::wstring target = targetOf(sp);
    r.keys = xfSynthKeys(target);
    r.alphabet = xfSynthAlphabet(f, target, glyphParams());
    xfOCArrange(r.scene.image, *r.alphabet, r.keys, params, r.results, diag, flags);
    return r;
}

// Every drawn character matched within 0.5 px and 1 degree of its truth.
void expectAllMatched(const Run& r) {
    ASSERT_TRUE(r.results.isFound());
    ASSERT_EQ(r.results.statusFlags().size(), r.keys.size());
    for (std::size_t i = 0; i < r.keys.size(); ++i) {
        const xcSynthCharTruth& t = r.scene.truth.chars[i];
        if (!t.drawn) continue;
        SCOPED_TRACE(testing::Message() << "position " << i << " '" << char(t.code) << "'");
        EXPECT_EQ(r.results.statusFlags()[i], xcOCArrangeDefs::eMatched);
        const PoseError e = poseError(xfOCArrangeCharPose(r.results, static_cast<long>(i)), t);
        EXPECT_LT(e.distance, 0.5);
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
    Run r = arrange(mono(), sp);
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
    Run r = arrange(mono(), sp);
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
    const xcSynthSceneParams sp = oneLine(L"K7QX", 10.0, 2);
    Run r = arrange(mono(), sp);
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
    const Run r = arrange(mono(), oneLine(L"H3LP", 0.0, 3), params);
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
        {&mono(), L"LOT 2024A7", 0.0},
        {&mono(), L"QX5 8TR3", -37.0},
        {&sans(), L"EXP 12B9", 121.0},
        {&sans(), L"K4N7W2", 200.0},
    };
    std::uint64_t seed = 10;
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "angle " << c.angle);
        const Run r = arrange(*c.font, oneLine(c.text, c.angle, ++seed));
        expectAllMatched(r);
        EXPECT_FALSE(r.results.isSearchTruncated());
        EXPECT_EQ(r.results.arrangement()->numLines(), 1);
    }
}

TEST(Arrange, CircularLinesBothWays) {
    for (bool clockwise : {true, false}) {
        SCOPED_TRACE(clockwise ? "clockwise" : "counter-clockwise");
        xcSynthSceneParams sp = sceneParams(clockwise ? 21 : 22);
        sp.lines.push_back(circularLine(L"QUALITY 0042", 320, 240, 150, -160, clockwise));
        xcOCArrangeParams params;
        params.lineType(xcOCArrangeDefs::eCircular);
        const Run r = arrange(mono(), sp, params);
        expectAllMatched(r);
        ASSERT_EQ(r.results.arrangement()->numLines(), 1);
    }
}

TEST(Arrange, MissingCharacterIsInferredWhereItBelongs) {
    xcSynthSceneParams sp = oneLine(L"AB3D5F7H", 15.0, 31);
    sp.missing = {4};
    const Run r = arrange(mono(), sp);
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
    // N, S, Z, H, O, X and 8 match themselves turned by 180 degrees: the arranger must report
    // them at the line's orientation, not upside down.
    for (double angle : {0.0, 150.0, -100.0}) {
        SCOPED_TRACE(testing::Message() << "angle " << angle);
        expectAllMatched(arrange(mono(), oneLine(L"NSZ8HOX", angle, 41)));
    }
}

TEST(Arrange, PoseUncertaintiesOnlyWhenAskedFor) {
    const xcSynthSceneParams sp = oneLine(L"W4RM9KE", 25.0, 51);
    for (bool on : {false, true}) {
        SCOPED_TRACE(on ? "on" : "off");
        xcOCArrangeParams params;
        params.compPoseUncertainties(on);
        const Run r = arrange(mono(), sp, params);
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
    sp.lines.push_back(straightLine(L"LOT 4417", 100, 200, 5.0));
    sp.lines.push_back(straightLine(L"EXP 0926", 100, 300, 5.0));
    const Run r = arrange(sans(), sp);
    expectAllMatched(r);
    ASSERT_EQ(r.results.arrangement()->numLines(), 2);
    EXPECT_EQ(r.results.arrangement()->lines()[0]->numPositions(), 8);
    EXPECT_EQ(r.results.arrangement()->lines()[0]->name(), L"Line 0");
    EXPECT_EQ(r.results.arrangement()->lines()[1]->name(), L"Line 1");
}

TEST(Arrange, MirroredClientFrameReversesTheCircularSense) {
    // The image is mirrored left to right and its client frame mirrored with it, and so are
    // the models: client coordinates and poses stay those of the scene, but the text that
    // runs clockwise on the screen runs counter-clockwise in the client frame.
    xcSynthSceneParams sp = sceneParams(71);
    sp.lines.push_back(circularLine(L"CIRCLE 2875", 320, 240, 150, -150, true));
    const xcSynthScene scene = xfSynthScene(mono(), sp);
    const long w = scene.image.width();
    const xcXform<2> flip(xcMatrix<2>(-1, 0, 0, 1), xcVector<2>(double(w), 0.0));

    auto mirrored = [](const xcPelBuffer_const<unsigned char>& src, const xcXform<2>& imageFlip) {
        xcPelBuffer<unsigned char> out(src.window());
        for (long y = src.offset().y; y < src.offset().y + src.height(); ++y)
            for (long x = 0; x < src.width(); ++x)
                out.set(src.offset().x + x, y,
                        src.get(src.offset().x + src.width() - 1 - x, y));
        out.clientFromImageXform(src.clientFromImageXform() * imageFlip);
        return out;
    };
    const xcPelBuffer<unsigned char> image = mirrored(scene.image, flip);
    const std::wstring target = targetOf(sp);
    const auto plain = xfSynthAlphabet(mono(), target, glyphParams());
    xcOCAlphabet::Models models;
    for (const auto& m : plain->characters()) {
        if (m->charType() == xcOCModel::eBlank) {
            models.emplace_back(new xcOCModel(*m));
            continue;
        }
        const xcPelRect win = m->image().window();
        const xcXform<2> mflip(xcMatrix<2>(-1, 0, 0, 1),
                               xcVector<2>(double(2 * win.x() + win.width()), 0.0));
        const xcPelRect area = m->imageArea();
        const xcPelRect flippedArea(2 * win.x() + win.width() - area.x() - area.width(), area.y(),
                                    area.width(), area.height());
        models.emplace_back(new xcOCModel(m->key(), mirrored(m->image(), mflip), flippedArea,
                                          xcOCModel::eNormal, m->name()));
    }
    const xcOCAlphabet alphabet(models, 0.5, false);
    const std::vector<long> keys = xfSynthKeys(target);
    for (bool clockwise : {true, false}) {
        SCOPED_TRACE(clockwise ? "asked clockwise" : "asked counter-clockwise");
        xcOCArrangeParams params;
        params.lineType(xcOCArrangeDefs::eCircular);
        params.isTextDirectionSpecified(true);
        params.isCircularTextDirectionClockwise(clockwise);
        params.maxLines(1);
        xcOCArrangeResults results;
        xfOCArrange(image, alphabet, keys, params, results);
        long matched = 0;
        for (Status s : results.statusFlags()) matched += s == xcOCArrangeDefs::eMatched;
        // Clockwise on the screen is what the caller asks for, whatever the client frame.
        if (clockwise)
            EXPECT_EQ(matched, 10);
        else
            EXPECT_LE(matched, 2);
    }
}

TEST(Arrange, NullDiagnosticsAndRecordsGiveTheSameResults) {
    const xcSynthSceneParams sp = oneLine(L"R2D2C3P0", 33.0, 81);
    const Run plain = arrange(mono(), sp);
    xcDiagObject diag;
    const Run recorded = arrange(mono(), sp, {}, &diag, 0x70000);
    EXPECT_TRUE(plain.results == recorded.results);
    EXPECT_GT(diag.numRecords(), 3);
}
