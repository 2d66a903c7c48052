// The extraction model: training (keys, enlargement, edge test, grain limits, ranking), the
// scale lock, the self-match decision, and searches of real glyphs in synthetic scenes.
#include <algorithm>
#include <cmath>

#include "extract_test_util.h"
#include "platform/core/attention.h"
#include "platform/core/pel_ops.h"
#include "platform/core/timeout.h"
#include "platform/vision/edge_detect.h"
#include "platform/vision/geo_align_result.h"

namespace {

using namespace extract_test;
using Access = xc_OCExtractModelAccess;

// The glyph model of c with another key.
ModelHandle keyedGlyph(wchar_t c, long key, double em = 28.0) {
    ModelHandle m = glyphModel(mono(), c, em);
    m->key(key);
    return m;
}

xcPtrHandle_const<xcOCAlphabet> alphabetOf(const ConstModels& models) {
    return xcPtrHandle_const<xcOCAlphabet>(new xcOCAlphabet(models, 0.5, false));
}

// A model over a w x h image holding a dark ring (radii r1 < r2 around the centre) on light.
ModelHandle ringModel(long key, long w, long h, double r1, double r2) {
    xcPelBuffer<unsigned char> img(w, h);
    const double cx = 0.5 * w, cy = 0.5 * h;
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) {
            // 4 x 4 samples per pixel.
            int in = 0;
            for (int j = 0; j < 4; ++j)
                for (int i = 0; i < 4; ++i) {
                    const double d = std::hypot(x + (i + 0.5) / 4 - cx, y + (j + 0.5) / 4 - cy);
                    in += d >= r1 && d <= r2;
                }
            img.set(x, y, static_cast<unsigned char>(220 - in * 190 / 16));
        }
    return ModelHandle(new xcOCModel(key, img, xcPelRect(0, 0, w, h), xcOCModel::eNormal, L"o"));
}

// A blank 200 x 100 light image to train against.
xcPelBuffer<unsigned char> plainImage() {
    xcPelBuffer<unsigned char> img(200, 100);
    for (long y = 0; y < 100; ++y)
        for (long x = 0; x < 200; ++x) img.set(x, y, 220);
    return img;
}

bool runSearch(xc_OCExtractModel& model, const xcPtrHandle_const<xcOCAlphabet>& alphabet,
               const std::vector<long>& keys, const xcPelBuffer_const<unsigned char>& image,
               xc_OCExtractStringResult& result,
               const xc_OCExtractModelParams& mp = xc_OCExtractModelParams(),
               const xc_OCExtractRunParams& rp = xc_OCExtractRunParams(),
               xcDiagObject* diag = nullptr, unsigned long flags = 0) {
    return model.search(alphabet, keys, image, xcPelBuffer_const<unsigned char>(), mp, rp, result,
                        diag, flags);
}

xc_OCExtractModelParams sceneParams() {
    xc_OCExtractModelParams p;
    p.scaleRange(xcRange(0.9, 1.1));
    p.angleRange(xcRange(-179.0, 180.0));
    return p;
}

}  // namespace

TEST(OCExtractModel, RepeatedKeysShareOneResult) {
    const auto alphabet =
        alphabetOf({keyedGlyph(L'3', 3), keyedGlyph(L'5', 5), keyedGlyph(L'7', 7)});
    const xcSynthScene scene =
        lineScene(mono(), L"5375777777", 28.0, xcVector<2>(60, 200), 10.0, 1.0);
    // Keys renamed: glyph '3' has key 3, and so on; the scene's code points are not keys.
    xc_OCExtractModel model;
    xc_OCExtractStringResult r;
    EXPECT_TRUE(runSearch(model, alphabet, {5, 3, 5}, scene.image, r, sceneParams()));
    EXPECT_EQ(model.numModels(), 2);
    EXPECT_EQ(Access::keys(model), (std::vector<long>{3, 5}));
    EXPECT_EQ(Access::occurrences(model), (std::vector<long>{1, 2}));
    ASSERT_EQ(r.uniqueCharResults().size(), 2u);
    ASSERT_EQ(r.results().size(), 3u);
    EXPECT_EQ(r.results()[0].get(), r.results()[2].get());
    EXPECT_EQ(r.results()[0].get(), r.uniqueCharResults()[1].get());
    EXPECT_EQ(r.results()[1].get(), r.uniqueCharResults()[0].get());
    EXPECT_EQ(r.results()[0]->numOccurrences(), 2);
    EXPECT_EQ(r.results()[1]->numOccurrences(), 1);
    EXPECT_TRUE(r.results()[1]->found());
    EXPECT_GT(r.trainTime(), 0.0);
    EXPECT_GT(r.searchTime(), 0.0);

    // Seven sevens, key 7 asked three times: occurrences 3, at most 3 + 2 instances, best
    // first.
    EXPECT_TRUE(runSearch(model, alphabet, {7, 7, 7}, scene.image, r, sceneParams()));
    EXPECT_EQ(model.numModels(), 1);
    EXPECT_EQ(Access::occurrences(model), (std::vector<long>{3}));
    ASSERT_EQ(r.results().size(), 3u);
    EXPECT_EQ(r.results()[0].get(), r.results()[1].get());
    EXPECT_EQ(r.results()[1].get(), r.results()[2].get());
    const xc_OCExtractCharResult& sevens = *r.results()[0];
    EXPECT_EQ(sevens.numInstances(), 5);
    EXPECT_EQ(sevens.numOccurrences(), 3);
    for (long i = 1; i < sevens.numInstances(); ++i)
        EXPECT_GE(sevens.score(i - 1), sevens.score(i));
}

TEST(OCExtractModel, AbsentBlankAndUntrainableKeysGetEmptyResults) {
    // Key 9 is not in the alphabet, 32 is blank, 4 a flat grey image.
    xcPelBuffer<unsigned char> flat(20, 30);
    for (long y = 0; y < 30; ++y)
        for (long x = 0; x < 20; ++x) flat.set(x, y, 128);
    const auto alphabet = alphabetOf(
        {keyedGlyph(L'S', 1), glyphModel(mono(), L' ', 28.0),
         ModelHandle(new xcOCModel(4, flat, xcPelRect(0, 0, 20, 30), xcOCModel::eNormal, L"g"))});
    xc_OCExtractModel model;
    xc_OCExtractStringResult r;
    EXPECT_TRUE(runSearch(model, alphabet, {9, 32, 4, 1, 9}, plainImage(), r));
    EXPECT_EQ(Access::keys(model), (std::vector<long>{1, 4, 9, 32}));
    EXPECT_NE(Access::pattern(model, 0), nullptr);
    for (long i = 1; i < 4; ++i) EXPECT_EQ(Access::pattern(model, i), nullptr) << i;
    // Characters without a pattern come last, in key order.
    EXPECT_EQ(Access::searchOrder(model), (std::vector<long>{0, 1, 2, 3}));
    ASSERT_EQ(r.results().size(), 5u);
    for (const auto& h : r.results()) {
        EXPECT_FALSE(h->found());
        EXPECT_EQ(h->numInstances(), 0);
    }
    EXPECT_EQ(r.results()[0]->numOccurrences(), 2);
    EXPECT_EQ(r.results()[0]->symmetry(), xc_OCExtractDefs::eNotSymmetric);
    EXPECT_EQ(r.results()[0].get(), r.results()[4].get());
    // 'S' turned by 180 degrees matches itself.
    EXPECT_EQ(r.results()[3]->symmetry(), xc_OCExtractDefs::eSymmetric180);
}

TEST(OCExtractModel, SmallCharactersTrainFromTheirEnlargement) {
    struct Case {
        long w, h;
        long trainW, trainH;
    };
    for (const Case& c : {Case{20, 14, 40, 28}, Case{15, 15, 15, 15}, Case{14, 22, 28, 44}}) {
        SCOPED_TRACE(testing::Message() << c.w << " x " << c.h);
        ModelHandle ring = ringModel(1, c.w, c.h, 3.0, 5.5);
        // Client frame: the cell's lower-left corner, as glyph models have it.
        xcPelBuffer<unsigned char> img = xfPelCopy(ring->image());
        img.clientFromImageXform(xcXform<2>::translation(xcVector<2>(0.0, -c.h)));
        ring->image(img);
        const auto alphabet = alphabetOf({ring});
        xc_OCExtractModel model;
        xc_OCExtractStringResult r;
        runSearch(model, alphabet, {1}, plainImage(), r);
        const xcGeoAlignPattern* p = Access::pattern(model, 0);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(p->trainWindow().width(), c.trainW);
        EXPECT_EQ(p->trainWindow().height(), c.trainH);
        // The pattern's client frame is the character's: the trained window's corners map
        // onto the cell's corners in client coordinates.
        const xcVector<2> ll = p->trainClientFromImage().mapPoint(p->trainWindow().ll().toVector());
        const xcVector<2> ur = p->trainClientFromImage().mapPoint(p->trainWindow().ur().toVector());
        EXPECT_NEAR(ll.x(), 0.0, 1e-9);
        EXPECT_NEAR(ll.y(), 0.0, 1e-9);
        EXPECT_NEAR(ur.x(), static_cast<double>(c.w), 1e-9);
        EXPECT_NEAR(ur.y(), -static_cast<double>(c.h), 1e-9);
    }
}

TEST(OCExtractModel, EdgeTestNeeds25EdgeletsInSeveralDirections) {
    // Windows of a scene of discs hold every count of edgelets from a few upwards: find those
    // with 24 and 25.
    xcPelBuffer<unsigned char> img(80, 80);
    for (long y = 0; y < 80; ++y)
        for (long x = 0; x < 80; ++x) {
            const double dx = std::fmod(x + 0.5, 20.0) - 10.0, dy = std::fmod(y + 0.5, 20.0) - 10.0;
            img.set(x, y, std::hypot(dx, dy) < 5.0 ? 40 : 210);
        }
    bool saw24 = false, saw25 = false;
    for (long h = 6; h <= 40 && !(saw24 && saw25); ++h)
        for (long w = 6; w <= 40 && !(saw24 && saw25); ++w) {
            xcPelBuffer_const<unsigned char> win = img;
            win.window(xcPelRect(3, 3, w, h));
            xcEdgeletSet edges;
            xfEdgeDetect(win, xcEdgeletParams(1.0, 10.0, 1), edges);
            double off = -1.0;
            const bool degenerate = xc_OCExtractModel::isEdgeDegenerate(win, off);
            if (edges.size() == 24 && !saw24) {
                saw24 = true;
                EXPECT_TRUE(degenerate);
                EXPECT_EQ(off, 0.0);
            }
            if (edges.size() == 25 && !saw25 && w >= 16 && h >= 16) {
                // A whole disc: directions all round.
                saw25 = true;
                EXPECT_FALSE(degenerate);
                EXPECT_GT(off, 12.0);
                EXPECT_LE(off, 25.0);
            }
        }
    EXPECT_TRUE(saw24);

    // Stripes: every edgelet runs one way.
    xcPelBuffer<unsigned char> stripes(60, 60);
    for (long y = 0; y < 60; ++y)
        for (long x = 0; x < 60; ++x) stripes.set(x, y, (x / 6) % 2 ? 40 : 210);
    double off = -1.0;
    EXPECT_TRUE(xc_OCExtractModel::isEdgeDegenerate(stripes, off));
    EXPECT_EQ(off, 0.0);
    const auto alphabet = alphabetOf({ModelHandle(
        new xcOCModel(2, stripes, xcPelRect(0, 0, 60, 60), xcOCModel::eNormal, L"|"))});
    xc_OCExtractModel model;
    xc_OCExtractStringResult r;
    runSearch(model, alphabet, {2}, plainImage(), r);
    EXPECT_EQ(Access::pattern(model, 0), nullptr);
}

TEST(OCExtractModel, GrainLimitsAndTheRetry) {
    const auto alphabet = alphabetOf({keyedGlyph(L'G', 1, 64.0)});
    struct Case {
        double fine, coarse;
        bool automatic;
    };
    for (const Case& c : {Case{-1, 5, true}, Case{3, -1, true}, Case{3, 5, false}}) {
        SCOPED_TRACE(testing::Message() << c.fine << ", " << c.coarse);
        xc_OCExtractModelParams mp;
        mp.grainLimits(c.fine, c.coarse);
        xc_OCExtractModel model;
        xc_OCExtractStringResult r;
        runSearch(model, alphabet, {1}, plainImage(), r, mp);
        const xcGeoAlignPattern* p = Access::pattern(model, 0);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(p->autoSelectGrainLimits(), c.automatic);
        if (!c.automatic) {
            EXPECT_EQ(p->grainLimitFine(), 3.0);
            EXPECT_EQ(p->grainLimitCoarse(), 5.0);
        }
    }
    // Grains too coarse for the character: the retry trains at grain 1.
    xc_OCExtractModelParams coarse;
    coarse.grainLimits(16.0, 32.0);
    xc_OCExtractModel model;
    xc_OCExtractStringResult r;
    runSearch(model, alphabet, {1}, plainImage(), r, coarse);
    const xcGeoAlignPattern* p = Access::pattern(model, 0);
    ASSERT_NE(p, nullptr);
    EXPECT_FALSE(p->autoSelectGrainLimits());
    EXPECT_EQ(p->grainLimitFine(), 1.0);
    EXPECT_EQ(p->grainLimitCoarse(), 1.0);
}

TEST(OCExtractModel, ScaleLockNeedsAgreementWithin8Percent) {
    EXPECT_EQ(xc_OCExtractModel::minAgree(1), 3);
    EXPECT_EQ(xc_OCExtractModel::minAgree(4), 3);
    EXPECT_EQ(xc_OCExtractModel::minAgree(5), 3);
    EXPECT_EQ(xc_OCExtractModel::minAgree(9), 5);
    EXPECT_EQ(xc_OCExtractModel::minAgree(12), 6);

    double s = -1.0;
    EXPECT_FALSE(xc_OCExtractModel::estimateCommonScale({1.00, 1.05, 1.20}, 3, s));
    EXPECT_TRUE(xc_OCExtractModel::estimateCommonScale({1.00, 1.03, 1.05}, 3, s));
    EXPECT_DOUBLE_EQ(s, std::sqrt(1.05));
    EXPECT_FALSE(xc_OCExtractModel::estimateCommonScale({1.00, 1.03}, 3, s));
    // The tightest run wins, whatever the collection order.
    EXPECT_TRUE(xc_OCExtractModel::estimateCommonScale({1.20, 0.90, 1.01, 1.22, 1.00, 1.21}, 3, s));
    EXPECT_DOUBLE_EQ(s, std::sqrt(1.20 * 1.22));
    // Equally tight runs: the lowest.
    EXPECT_TRUE(xc_OCExtractModel::estimateCommonScale({2.0, 2.1, 1.0, 1.05}, 2, s));
    EXPECT_DOUBLE_EQ(s, std::sqrt(1.0 * 1.05));
    // Exactly 8 % apart does not agree.
    EXPECT_FALSE(xc_OCExtractModel::estimateCommonScale({1.0, 1.08}, 2, s));
    // A negative first value refuses.
    EXPECT_FALSE(xc_OCExtractModel::estimateCommonScale({-1.0, 1.0, 1.0, 1.0}, 3, s));
}

TEST(OCExtractModel, SelfMatchNeedsAScoreAbove07) {
    const xcXform<2> turned(xcMatrix<2>(-1, 0, 0, -1), xcVector<2>(10, -20));
    xcXform<2> pose;
    EXPECT_TRUE(xc_OCExtractModel::selfMatch({xcGeoAlignResult(true, 0.71, 0.9, turned)}, pose));
    EXPECT_EQ(pose, turned);
    xcXform<2> pose2;
    EXPECT_FALSE(xc_OCExtractModel::selfMatch({xcGeoAlignResult(true, 0.7, 0.9, turned)}, pose2));
    EXPECT_EQ(pose2, turned);  // the pose is kept whatever the score
    xcXform<2> pose3;
    EXPECT_FALSE(xc_OCExtractModel::selfMatch({xcGeoAlignResult(false, 0.2, 0.9, turned)}, pose3));
    EXPECT_EQ(pose3, xcXform<2>());
    EXPECT_FALSE(xc_OCExtractModel::selfMatch({}, pose3));

    xcGeoAlignResultSet set;
    set.add(xcGeoAlignResult(false, 0.2, 0.5, turned));
    EXPECT_EQ(xc_OCExtractModel::collectAcceptedResults(set).size(), 1u);
    set.clear();
    set.add(xcGeoAlignResult(true, 0.8, 0.5, turned));
    set.add(xcGeoAlignResult(false, 0.7, 0.5, turned));
    set.add(xcGeoAlignResult(true, 0.6, 0.5, xcXform<2>()));
    const auto list = xc_OCExtractModel::collectAcceptedResults(set);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[1].score(), 0.6);
}

TEST(OCExtractModel, SymmetryOfRealGlyphs) {
    // O, S, X, Z, 0 and I look alike turned by half a turn; A, F, P and 7 do not. H and N
    // would as well, but most of their edges run one way (their stems): they get no pattern.
    const std::wstring chars = L"OSXZ0IAFP7HN";
    const auto alphabet = glyphAlphabet(mono(), chars, 28.0);
    xc_OCExtractModel model;
    xc_OCExtractStringResult r;
    runSearch(model, alphabet, keysOf(chars), plainImage(), r);
    for (size_t k = 0; k < chars.size(); ++k) {
        SCOPED_TRACE(testing::Message() << static_cast<char>(chars[k]));
        const xc_OCExtractCharResult& c = *r.results()[k];
        const xcOCModel& m = *alphabet->character(static_cast<long>(chars[k]));
        xcPelBuffer_const<unsigned char> img = m.image();
        img.window(m.imageArea());
        if (k >= 10) {
            const auto u = std::lower_bound(Access::keys(model).begin(), Access::keys(model).end(),
                                            static_cast<long>(chars[k])) -
                           Access::keys(model).begin();
            EXPECT_EQ(Access::pattern(model, u), nullptr);
            EXPECT_EQ(c.symmetry(), xc_OCExtractDefs::eNotSymmetric);
            EXPECT_EQ(c.rot180Pose(), xcXform<2>());
            xcGeoAlignPattern p;
            p.train(img, xc_GeoDefs::eTrainAllFlags);
            xcXform<2> pose;
            EXPECT_TRUE(xc_OCExtractModel::matchesRotated(img, p, 180.0, pose));
            continue;
        }
        const bool turns = k < 6;
        EXPECT_EQ(c.symmetry(),
                  turns ? xc_OCExtractDefs::eSymmetric180 : xc_OCExtractDefs::eNotSymmetric);
        if (turns) {
            // The self-match is a half turn: applied twice it leaves the character in place.
            const xcXform<2>& p = c.rot180Pose();
            EXPECT_NEAR(std::fabs(p.xRot().toDouble()), M_PI, 0.02);
            const xcVector<2> centre(0.5 * m.imageArea().width(), -0.5 * m.imageArea().height());
            EXPECT_LT(poseDistance(p * p, xcXform<2>(), centre), 0.5);
        }
    }
    // A ring matches itself at every angle.
    const auto rings = alphabetOf({ringModel(1, 40, 40, 9.0, 14.0)});
    runSearch(model, rings, {1}, plainImage(), r);
    EXPECT_EQ(r.results()[0]->symmetry(), xc_OCExtractDefs::eSymmetricAllAngles);
}

TEST(OCExtractModel, FindsEveryCharacterOfALine) {
    struct Case {
        const char* font;
        std::wstring text;
        double em, angle, scale;
    };
    for (const Case& c : {Case{"DejaVuSansMono.ttf", L"AB3XK7Q2W9", 28.0, 33.0, 1.06},
                          Case{"DejaVuSans.ttf", L"LOT42RZ8", 24.0, -121.0, 0.93}}) {
        SCOPED_TRACE(c.font);
        const xcSynthFont& f = font(c.font);
        const auto alphabet = glyphAlphabet(f, c.text, c.em);
        const xcSynthScene scene = lineScene(
            f, c.text, c.em,
            xcVector<2>(320, 240) -
                xcVector<2>(std::cos(c.angle * M_PI / 180), std::sin(c.angle * M_PI / 180)) * 100.0,
            c.angle, c.scale, 11);
        xc_OCExtractModel model;
        xc_OCExtractStringResult r;
        EXPECT_TRUE(runSearch(model, alphabet, keysOf(c.text), scene.image, r, sceneParams()));
        for (size_t k = 0; k < c.text.size(); ++k) {
            SCOPED_TRACE(testing::Message() << static_cast<char>(c.text[k]));
            const xcSynthCharTruth& t = scene.truth.chars[k];
            const xcPelRect cell = alphabet->character(static_cast<long>(c.text[k]))->imageArea();
            const xcVector<2> centre(0.5 * cell.width(), -0.5 * cell.height());
            // Characters whose edges mostly run one way have no pattern and no instance.
            const auto u = std::lower_bound(Access::keys(model).begin(), Access::keys(model).end(),
                                            static_cast<long>(c.text[k])) -
                           Access::keys(model).begin();
            if (Access::pattern(model, u) == nullptr)
                EXPECT_FALSE(r.results()[k]->found());
            else
                EXPECT_TRUE(hasInstanceNear(*r.results()[k], t.xform, centre));
        }
    }
}

TEST(OCExtractModel, TimeOuts) {
    const std::wstring text = L"AB3XK7";
    const auto alphabet = glyphAlphabet(mono(), text, 28.0);
    const xcSynthScene scene = lineScene(mono(), text, 28.0, xcVector<2>(200, 240), 20.0, 1.0);
    // An all but zero time-out per character: every search ends at its first poll, the search
    // goes on and reports it.
    xc_OCExtractRunParams rp;
    rp.timeout(1e-9);
    xc_OCExtractModel model;
    xc_OCExtractStringResult r;
    EXPECT_FALSE(runSearch(model, alphabet, keysOf(text), scene.image, r, sceneParams(), rp));
    ASSERT_EQ(r.results().size(), text.size());
    for (const auto& h : r.results()) EXPECT_EQ(h->numOccurrences(), 1);

    // The caller's own time-out during training ends the search.
    {
        xcAttentionTag tag;
        tag.attachTimeout(1e-9);
        EXPECT_THROW(runSearch(model, alphabet, keysOf(text), scene.image, r, sceneParams()),
                     xcTimeout::Expired);
    }
    // The model is usable again.
    EXPECT_TRUE(runSearch(model, alphabet, keysOf(text), scene.image, r, sceneParams()));
    EXPECT_TRUE(r.results()[0]->found());
}
