#include "oc/extract/rsi_ncc_search.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "oc/extract/extract_defs.h"
#include "platform/core/exception.h"
#include "platform/core/pel_ops.h"
#include "tests/oc/extract/refine_scene_util.h"

namespace {

using refine_test::Placed;

// The grid the arrangement refinement trains: +-3 degrees step 0.5, scales 0.95 ... 1.065 in
// relative steps of 3 %.
xcRSINccSearchParams refineGrid() {
    return xcRSINccSearchParams(xcRange(-3.0, 3.0), 0.5, xcRange(0.95, 1.065), 0.03, 1.0);
}

xcRSINccSearchRunParams refineRun() {
    xcRSINccSearchRunParams r;
    r.accept(0.3);
    r.confusion(0.4);
    r.maxNumResults(1);
    return r;
}

template <class F>
void expectError(F&& f, const std::wstring& message) {
    try {
        f();
        ADD_FAILURE() << "no exception";
    } catch (const xc_OCExtractDefs::xc_OCExtractError& e) {
        EXPECT_EQ(e.errorNumber(), 0x10007402);
        EXPECT_EQ(e.string(), message);
    }
}

TEST(RSINccSearchParams, DefaultsAndTheRefinementGrid) {
    const xcRSINccSearchParams d;
    EXPECT_EQ(d.angleRange(), xcRange(-180.0, 180.0));
    EXPECT_EQ(d.angleStep(), 5.0);
    EXPECT_EQ(d.scaleRange(), xcRange(0.5, 2.0));
    EXPECT_EQ(d.scaleStep(), 0.25);
    EXPECT_EQ(d.baseScale(), 1.0);
    EXPECT_EQ(d.angles().size(), 73u);

    const xcRSINccSearchParams g = refineGrid();
    const std::vector<double> angles = g.angles();
    ASSERT_EQ(angles.size(), 13u);
    for (std::size_t i = 0; i < angles.size(); ++i)
        EXPECT_DOUBLE_EQ(angles[i], -3.0 + 0.5 * static_cast<double>(i));
    const std::vector<double> scales = g.scales();
    ASSERT_EQ(scales.size(), 4u);  // 0.95 * 1.03^4 = 1.0692 passes the end 1.065
    for (std::size_t k = 0; k < scales.size(); ++k)
        EXPECT_NEAR(scales[k], 0.95 * std::pow(1.03, static_cast<double>(k)), 1e-12);

    const xcRSINccSearchRunParams r;
    EXPECT_EQ(r.accept(), 0.5);
    EXPECT_EQ(r.confusion(), 0.6);
    EXPECT_EQ(r.overlap(), 0.1);
    EXPECT_EQ(r.maxNumResults(), -1);
    EXPECT_EQ(r.searchRect(), xcPelRect(0, 0, 1, 1));
}

TEST(RSINccSearchParams, BadValuesChangeNothing) {
    xcRSINccSearchParams p = refineGrid();
    const xcRSINccSearchParams before = p;
    expectError([&] { p.angleRange(xcRange::full()); }, L"Invalid angle range");
    expectError([&] { p.angleRange(xcRange()); }, L"Invalid angle range");
    expectError([&] { p.angleStep(0.0); }, L"Invalid angle step");
    expectError([&] { p.angleStep(NAN); }, L"Invalid angle step");
    expectError([&] { p.scaleRange(xcRange(0.0, 1.0)); }, L"Invalid scale range");
    expectError([&] { p.scaleStep(-0.1); }, L"Invalid scale step");
    expectError([&] { p.baseScale(0.0); }, L"Invalid base scale");
    EXPECT_EQ(p, before);

    xcRSINccSearchRunParams r = refineRun();
    const xcRSINccSearchRunParams rBefore = r;
    expectError([&] { r.accept(1.5); }, L"Invalid accept threshold");
    expectError([&] { r.confusion(NAN); }, L"Invalid confusion threshold");
    expectError([&] { r.overlap(-0.01); }, L"Invalid overlap");
    EXPECT_EQ(r, rBefore);
}

class RSINccSearchModelTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        glyph_ = new xcSynthGlyph(refine_test::glyph("DejaVuSansMono.ttf", U'R', 28.0));
        model_ = new xcRSINccSearchModel(refine_test::cellImage(*glyph_),
                                         xcPelBuffer_const<unsigned char>(), refineGrid(), L"R");
    }
    static void TearDownTestSuite() {
        delete model_;
        delete glyph_;
    }
    static xcSynthGlyph* glyph_;
    static xcRSINccSearchModel* model_;
};
xcSynthGlyph* RSINccSearchModelTest::glyph_ = nullptr;
xcRSINccSearchModel* RSINccSearchModelTest::model_ = nullptr;

TEST_F(RSINccSearchModelTest, TrainsOneVariantPerScaleAndAngle) {
    const xcRSINccSearchModel& m = *model_;
    EXPECT_EQ(m.name(), L"R");
    EXPECT_EQ(m.window(), glyph_->cell);
    EXPECT_EQ(m.params(), refineGrid());
    ASSERT_EQ(m.numVariants(), 52);
    ASSERT_EQ(m.variantPoses().size(), 52u);
    for (long k = 0; k < 52; ++k) {
        SCOPED_TRACE(k);
        const xcXform<2>& v = m.variantPoses()[static_cast<std::size_t>(k)];
        // Scales outside, angles inside.
        EXPECT_NEAR(refine_test::angleDeg(v), -3.0 + 0.5 * static_cast<double>(k % 13), 1e-9);
        EXPECT_NEAR(refine_test::scaleOf(v), 0.95 * std::pow(1.03, static_cast<double>(k / 13)),
                    1e-12);
        EXPECT_EQ(v.trans(), xcVector<2>(0.0, 0.0));
        EXPECT_TRUE(m.models()[static_cast<std::size_t>(k)].isTrained());
    }
    // The turned variants grow with their angle and scale.
    EXPECT_GT(m.models()[51].window().width(), m.models()[6].window().width());

    const xcRSINccSearchModel empty;
    EXPECT_EQ(empty.name(), L"");
    EXPECT_TRUE(empty.window().isNull());
    EXPECT_EQ(empty.params(), xcRSINccSearchParams());
    EXPECT_EQ(empty.numVariants(), 0);

    // A grid over 4096 variants is refused before any training.
    const xcRSINccSearchParams huge(xcRange(-180.0, 180.0), 0.01, xcRange(0.9, 1.1), 0.5, 1.0);
    expectError(
        [&] {
            xcRSINccSearchModel(refine_test::cellImage(*glyph_), xcPelBuffer_const<unsigned char>(),
                                huge, L"R");
        },
        L"Too many variants");
    // An image without contrast cannot be trained.
    xcPelBuffer<unsigned char> flat(20, 30);
    xfPelSet(flat, 200);
    EXPECT_THROW(xcRSINccSearchModel(flat, xcPelBuffer_const<unsigned char>(), refineGrid(), L"x"),
                 xcException);
}

// The character drawn at a pose inside the grid is found by the variant of that angle and
// scale; the pose, fitted between that variant and its neighbours, maps the model image's
// pixels onto the truth.
TEST_F(RSINccSearchModelTest, FindsThePlantedVariantAndPose) {
    struct Case {
        double angle, scale;
        long variant;
    };
    const Case cases[] = {
        {1.5, 0.95 * 1.03, 13 + 9}, {-2.5, 0.95, 1}, {0.0, 0.95 * 1.03 * 1.03 * 1.03, 39 + 6}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.angle);
        const Placed p{U'R', xcVector<2>(40.3, 70.6), c.angle, c.scale};
        const xcSynthScene s = refine_test::scene("DejaVuSansMono.ttf", 28.0, {p}, 110, 100);
        xcPtrHandle<xc_SearchResult> result;
        model_->run(s.image, refineRun(), result);
        ASSERT_FALSE(result.isNull());
        ASSERT_TRUE(result->found());
        ASSERT_EQ(result->numInstances(), 1);
        const xc_SearchInstance& inst = result->instance(0);
        EXPECT_EQ(inst.variant(), c.variant);
        EXPECT_GT(inst.score(), 0.95);
        const xcXform<2> truth = s.truth.chars[0].xform * glyph_->clientFromImage;
        EXPECT_LT((inst.pose().trans() - truth.trans()).len(), 0.1);
        EXPECT_LT((inst.location() - truth.trans()).len(), 0.25);
        EXPECT_NEAR(refine_test::angleDeg(inst.pose()), c.angle, 0.2);
        EXPECT_NEAR(refine_test::scaleOf(inst.pose()), refine_test::scaleOf(truth), 0.005);
        // The footprint is the model window under the pose.
        EXPECT_TRUE(xfRealEq(inst.affRect(), xcAffineRectangle(glyph_->cell).map(inst.pose())));
        EXPECT_EQ(result->pose(0), inst.pose());
        EXPECT_EQ(result->score(0), inst.score());
        EXPECT_GE(result->time(), 0.0);
    }
}

// Screening runs a few variants and the neighbours of the best one; it finds the instance that
// running every variant finds, for the expected character and for others drawn in its place.
TEST(RSINccSearchScreening, FindsTheInstanceEveryVariantFinds) {
    struct Case {
        const char* font;
        char32_t model, drawn;
        double angle, scale;
    };
    const Case cases[] = {
        {"DejaVuSansMono.ttf", U'S', U'S', 1.2, 0.99}, {"DejaVuSans.ttf", U'g', U'g', -0.7, 1.02},
        {"DejaVuSerif.ttf", U'3', U'3', 2.6, 1.05},    {"DejaVuSans.ttf", U'B', U'8', 0.0, 1.0},
        {"DejaVuSans.ttf", U'O', U'Q', -1.0, 0.98},    {"DejaVuSansMono.ttf", U'0', U'O', 0.4, 1.0},
        {"DejaVuSansMono.ttf", U'K', U'x', 0.0, 1.0},  {"DejaVuSerif.ttf", U'5', U'S', 0.0, 1.0},
        {"DejaVuSerif.ttf", U'R', U'A', 0.0, 1.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.font) + " " + char(c.model) + " on " + char(c.drawn));
        const xcSynthGlyph g = refine_test::glyph(c.font, c.model, 28.0);
        xcRSINccSearchModel m(refine_test::cellImage(g), xcPelBuffer_const<unsigned char>(),
                              refineGrid(), L"m");
        const Placed p{c.drawn, xcVector<2>(25.4, 55.7), c.angle, c.scale};
        const xcSynthScene s = refine_test::scene(c.font, 28.0, {p}, 70, 75, 3.0);
        xcPtrHandle<xc_SearchResult> fast, plain;
        EXPECT_TRUE(m.screening());
        m.run(s.image, refineRun(), fast);
        m.screening(false);
        m.run(s.image, refineRun(), plain);
        ASSERT_EQ(fast->found(), plain->found());
        if (!plain->found()) continue;
        const xc_SearchInstance& a = fast->instance(0);
        const xc_SearchInstance& b = plain->instance(0);
        EXPECT_NEAR(a.score(), b.score(), 1e-3);
        EXPECT_LT((a.location() - b.location()).len(), 0.05);
        EXPECT_LT((a.pose().trans() - b.pose().trans()).len(), 0.05);
        EXPECT_NEAR(refine_test::angleDeg(a.pose()), refine_test::angleDeg(b.pose()), 0.05);
    }
}

// The kept instance is the best over every variant, and without a limit every variant's
// accepted result is an instance, best first.
TEST_F(RSINccSearchModelTest, BestInstanceOverAllVariantsWins) {
    const Placed p{U'R', xcVector<2>(30.0, 60.0), 0.7, 1.01};
    const xcSynthScene s = refine_test::scene("DejaVuSansMono.ttf", 28.0, {p}, 80, 80, 3.0);
    xcNccSearchRunParams direct;
    direct.accept(0.3);
    direct.confusion(0.4);
    const xcPelBuffer<unsigned char> searched = xcRSINccSearchModel::bandLimited(s.image);
    double best = -1.0;
    long bestVariant = -1;
    for (long k = 0; k < model_->numVariants(); ++k) {
        xcNccSearchResultSet set;
        model_->models()[static_cast<std::size_t>(k)].run(searched, direct, set);
        if (!set.empty() && set.result(0).found() && set.result(0).score() > best) {
            best = set.result(0).score();
            bestVariant = k;
        }
    }
    xcPtrHandle<xc_SearchResult> result(new xc_SearchResult());
    const xc_SearchResult* before = result.get();
    model_->run(s.image, refineRun(), result);
    EXPECT_EQ(result.get(), before);  // a given result is reused
    ASSERT_EQ(result->numInstances(), 1);
    EXPECT_NEAR(result->score(0), best, 1e-9);
    EXPECT_EQ(result->instance(0).variant(), bestVariant);

    xcRSINccSearchRunParams all = refineRun();
    all.maxNumResults(-1);
    model_->run(s.image, all, result);
    EXPECT_GT(result->numInstances(), 10);
    EXPECT_EQ(result->score(0), best);
    for (long i = 1; i < result->numInstances(); ++i)
        EXPECT_GE(result->score(i - 1), result->score(i));
}

TEST_F(RSINccSearchModelTest, NothingFoundAndBadIndex) {
    xcPelBuffer<unsigned char> blank(90, 90);
    xfPelSet(blank, 220);
    for (long y = 0; y < 90; ++y)
        for (long x = 0; x < 90; ++x)
            if ((x / 7 + y / 5) % 2) blank.set(x, y, 40);  // a checkerboard, no R in it
    xcPtrHandle<xc_SearchResult> result;
    model_->run(blank, refineRun(), result);
    ASSERT_FALSE(result.isNull());
    EXPECT_FALSE(result->found());
    EXPECT_EQ(result->numInstances(), 0);
    expectError([&] { result->pose(0); }, L"Refine error");
    expectError([&] { result->score(-1); }, L"Refine error");

    xc_SearchResult r;
    r.found(true);
    r.time(3.0);
    r.instances({xc_SearchInstance()});
    EXPECT_EQ(r.score(0), 0.0);
    expectError([&] { r.instance(1); }, L"Refine error");
    r.init();
    EXPECT_FALSE(r.found());
    EXPECT_EQ(r.time(), 0.0);
    EXPECT_EQ(r.numInstances(), 0);
}

}  // namespace
