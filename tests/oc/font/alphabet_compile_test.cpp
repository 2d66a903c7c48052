// Compilation of alphabets: blank and normal rows, planted overlaps, the half-cell overhang,
// masks, captures at another scale, turn or shear, repeated compiles, diagnostic records, worker
// failures, time-outs and aborts.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

#include "oc/font/alphabet.h"
#include "oc/font/alphabet_report.h"
#include "oc/imageutil/blankness.h"
#include "platform/core/attention.h"
#include "platform/core/text.h"
#include "platform/core/thread.h"
#include "platform/core/timeout.h"
#include "platform/diag/diag_object.h"
#include "tests/oc/font/font_test_util.h"
#include "tests/support/expect_error.h"

using namespace font_test;

namespace {

// A textured image: random blocks of block x block pixels (fixed seed).
Buffer noiseImage(long width, long height, unsigned seed, long block = 2) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> grey(0, 255);
    Buffer b(width, height);
    for (long y = 0; y < height; y += block)
        for (long x = 0; x < width; x += block) {
            const auto v = static_cast<unsigned char>(grey(rng));
            for (long dy = 0; dy < block && y + dy < height; ++dy)
                for (long dx = 0; dx < block && x + dx < width; ++dx)
                    b.rowPointer(y + dy)[x + dx] = v;
        }
    return b;
}

ConstModels models(std::initializer_list<ModelHandle> l) { return ConstModels(l.begin(), l.end()); }

ModelHandle areaModel(long key, const Buffer& image, const xcPelRect& area) {
    return ModelHandle(new xcOCModel(key, image, area, xcOCModel::eNormal, xfStr(key)));
}

// A transform that is not affine (the compile's workers cannot use it).
class Bent : public xc2XformBase {
public:
    xcVector<2> mapPoint(const xcVector<2>& p) const override {
        return {p.x() + 0.01 * p.y() * p.y(), p.y()};
    }
    bool isLinear() const override { return false; }
    xc2XformLinear linearAt(const xcVector<2>& p) const override {
        return xc2XformLinear(xcMatrix<2>(1.0, 0.02 * p.y(), 0.0, 1.0), mapPoint(p));
    }
    std::shared_ptr<xc2XformBase> clone() const override { return std::make_shared<Bent>(*this); }
};

}  // namespace

TEST(OCAlphabetCompile, EmptyAndAllBlankAlphabets) {
    xcOCAlphabet empty(ConstModels{}, 0.5, true);
    EXPECT_TRUE(empty.isCompiled());
    EXPECT_EQ(empty.numChars(), 0);

    xcOCAlphabet blanks(models({blankModel(1, L"s"), blankModel(2, L"t")}), 0.5, true);
    ASSERT_TRUE(blanks.isCompiled());
    EXPECT_EQ(blanks.confusion(1, 1), 1.0);
    EXPECT_EQ(blanks.confusion(1, 2), 0.0);
    EXPECT_EQ(blanks.confusion(2, 1), 0.0);
    EXPECT_EQ(blanks.characterOffset(1, 2), xcXform<2>());
}

TEST(OCAlphabetCompile, PlantedOverlapsScoreTheirSharedFraction) {
    // B is A's image seen through a window shifted by (2, 1): at the identity pose 10 x 11 of
    // A's 12 x 12 pixels lie on B, so each finds the other with score 110 / 144.
    const Buffer image = noiseImage(20, 20, 7);
    const Buffer other = noiseImage(12, 12, 99);
    xcOCAlphabet a(models({areaModel(1, image, xcPelRect(0, 0, 12, 12)),
                           areaModel(2, image, xcPelRect(2, 1, 12, 12)),
                           areaModel(3, other, xcPelRect(0, 0, 12, 12))}),
                   0.5, true);
    ASSERT_TRUE(a.isCompiled());
    for (long k = 1; k <= 3; ++k) {
        EXPECT_EQ(a.confusion(k, k), 1.0);
        EXPECT_EQ(a.characterOffset(k, k), xcXform<2>());
    }
    EXPECT_NEAR(a.confusion(1, 2), 110.0 / 144.0, 0.02);
    EXPECT_NEAR(a.confusion(2, 1), 110.0 / 144.0, 0.02);
    EXPECT_TRUE(xfRealEq(a.characterOffset(1, 2).matrix(), xcMatrix<2>(), 1e-12));
    EXPECT_NEAR(a.characterOffset(1, 2).trans().x(), 0.0, 0.2);
    EXPECT_NEAR(a.characterOffset(1, 2).trans().y(), 0.0, 0.2);
    EXPECT_TRUE(a.areConfusable(1, 2));
    // Unrelated textures hardly match anywhere.
    EXPECT_LT(a.confusion(1, 3), 0.3);
    EXPECT_LT(a.confusion(3, 2), 0.3);
}

TEST(OCAlphabetCompile, BlankRowKeepsTheLowestQuarterOfTheScores) {
    // Eight normal characters of different smoothness and one blank; the blank row follows
    // from the blankness scores: mean of the two lowest, 1 - s / mean below it, 0 otherwise.
    ConstModels chars;
    for (long k = 0; k < 8; ++k) {
        Buffer img = noiseImage(14, 14, 11 + static_cast<unsigned>(k));
        // Smooth the later images more so that their scores spread out.
        for (long pass = 0; pass < k; ++pass)
            for (long y = 0; y < 14; ++y)
                for (long x = 1; x < 14; ++x)
                    img.rowPointer(y)[x] = static_cast<unsigned char>(
                        (img.rowPointer(y)[x] + img.rowPointer(y)[x - 1]) / 2);
        chars.push_back(areaModel(10 + k, img, xcPelRect(0, 0, 14, 14)));
    }
    const auto blank = blankModel(99, L"space", xcPelRect(1, 1, 12, 12));
    chars.push_back(blank);
    xcOCAlphabet a(chars, 0.5, true);
    ASSERT_TRUE(a.isCompiled());

    std::vector<double> scores;
    for (long k = 0; k < 8; ++k)
        scores.push_back(xfScoreBlankness(chars[k]->image(), chars[k]->mask(), xcXform<2>(),
                                          blank->image(), blank->imageArea(), blank->mask()));
    std::vector<double> sorted = scores;
    std::sort(sorted.begin(), sorted.end());
    ASSERT_LT(sorted[1], sorted[2]);  // the planted spread
    const double mean = (sorted[0] + sorted[1]) / 2.0;
    long positives = 0;
    for (long k = 0; k < 8; ++k) {
        const double expected = scores[k] < mean ? 1.0 - scores[k] / mean : 0.0;
        EXPECT_NEAR(a.confusion(99, 10 + k), expected, 1e-12) << k;
        positives += a.confusion(99, 10 + k) > 0.0;
    }
    EXPECT_EQ(positives, 1);
    EXPECT_EQ(a.confusion(99, 99), 1.0);
    const xcXform<2> first = a.characterOffset(99, 10);
    EXPECT_EQ(first.matrix(), xcMatrix<2>());
    EXPECT_NEAR(first.trans().x(), mean, 1e-12);
    EXPECT_NEAR(first.trans().y(), 1.0 - sorted[0] / mean, 1e-12);
    EXPECT_EQ(a.characterOffset(99, 11), xcXform<2>());
    // Normal rows never confuse a character with the blank.
    EXPECT_EQ(a.confusion(10, 99), 0.0);
}

TEST(OCAlphabetCompile, CompilingTwiceChangesNothing) {
    const Buffer image = noiseImage(20, 20, 3);
    xcOCAlphabet a(models({areaModel(1, image, xcPelRect(0, 0, 12, 12)),
                           areaModel(2, image, xcPelRect(3, 2, 12, 12)), blankModel(3, L"s")}),
                   0.5, true);
    std::vector<double> before;
    for (long i = 1; i <= 3; ++i)
        for (long j = 1; j <= 3; ++j) before.push_back(a.confusion(i, j));
    a.compile();
    a.compile(nullptr, 0x70000);
    std::size_t k = 0;
    for (long i = 1; i <= 3; ++i)
        for (long j = 1; j <= 3; ++j) EXPECT_EQ(a.confusion(i, j), before[k++]);
    EXPECT_TRUE(a.isCompiled());
}

TEST(OCAlphabetCompile, AFailedWorkerLeavesTheAlphabetUncompiled) {
    Buffer bent = noiseImage(12, 12, 5);
    bent.clientFromImageXformBase(Bent());
    const auto good = areaModel(1, noiseImage(12, 12, 6), xcPelRect(0, 0, 12, 12));
    const auto bad = areaModel(2, bent, xcPelRect(0, 0, 12, 12));
    xcOCAlphabet a(models({good, bad}), 0.5, false);
    EXPECT_THROW(a.compile(), xcBadArgument);
    EXPECT_FALSE(a.isCompiled());
    EXPECT_THROW(a.confusion(1, 1), xcOCDefs::NotCompiled);
    a.remove(2);
    a.compile();
    EXPECT_TRUE(a.isCompiled());
    EXPECT_EQ(a.confusion(1, 1), 1.0);
}

TEST(OCAlphabetCompile, ATimeOutOrAbortEndsTheCompile) {
    const Buffer image = noiseImage(20, 20, 8);
    xcOCAlphabet a(models({areaModel(1, image, xcPelRect(0, 0, 12, 12)),
                           areaModel(2, image, xcPelRect(2, 2, 12, 12))}),
                   0.5, false);
    {
        xcAttentionTag tag;
        tag.attachTimeout(0.0);
        EXPECT_THROW(a.compile(), xcTimeout::Expired);
    }
    EXPECT_FALSE(a.isCompiled());

    xcAttention::abort(xfGetCurrentThreadID());
    EXPECT_THROW(a.compile(), xcAttention::Aborted);
    xcAttention::clearAbort();
    EXPECT_FALSE(a.isCompiled());

    a.compile();
    EXPECT_TRUE(a.isCompiled());
    EXPECT_NEAR(a.confusion(1, 2), 100.0 / 144.0, 0.02);
}

TEST(OCAlphabetCompile, AMatchMayHangOutOfTheCellByHalfTheCellAndNoMore) {
    // Every model is a 12 x 12 cell of one large texture of independent pixels; only the cells
    // count, not the rest of the images. Model 1's cell lies at (0, 0). A cell shifted by (6, 0) or
    // (3, 6) shows half (72 / 144) or 54 / 144 of model 1's pixels at the identity pose, still
    // within the half-cell overhang the search allows; a cell shifted by 7 would need an overhang
    // of 7 and finds only chance likeness, although model 1's pixels lie next to it in the same
    // image.
    const Buffer texture = noiseImage(40, 40, 21, 1);
    xcOCAlphabet a(models({areaModel(1, texture, xcPelRect(0, 0, 12, 12)),
                           areaModel(2, texture, xcPelRect(6, 0, 12, 12)),
                           areaModel(3, texture, xcPelRect(3, 6, 12, 12)),
                           areaModel(4, texture, xcPelRect(7, 0, 12, 12)),
                           areaModel(5, texture, xcPelRect(0, 7, 12, 12))}),
                   0.3, true);
    ASSERT_TRUE(a.isCompiled());
    EXPECT_NEAR(a.confusion(1, 2), 72.0 / 144.0, 1e-6);
    EXPECT_NEAR(a.confusion(2, 1), 72.0 / 144.0, 1e-6);
    EXPECT_NEAR(a.confusion(1, 3), 54.0 / 144.0, 1e-6);
    EXPECT_NEAR(a.confusion(3, 1), 54.0 / 144.0, 1e-6);
    for (long k : {2L, 3L}) {
        EXPECT_LT(a.characterOffset(1, k).trans().len(), 0.2) << k;
        EXPECT_LT(a.characterOffset(k, 1).trans().len(), 0.2) << k;
    }
    // 60 / 144 = 0.417 would be found if the overhang were not limited or the whole image were
    // searched (measured: 0.068 and 0.026).
    for (const auto& [i, j] :
         {std::pair{1L, 4L}, std::pair{4L, 1L}, std::pair{1L, 5L}, std::pair{5L, 1L}})
        EXPECT_LT(a.confusion(i, j), 0.15) << i << " " << j;
    EXPECT_TRUE(a.areConfusable(1, 2));
    EXPECT_FALSE(a.areConfusable(1, 4));
}

TEST(OCAlphabetCompile, ACharacterTooLargeForTheReferenceGeometryFailsTheCompile) {
    // A 20000 x 2 strip whose pixels are 2 client units wide needs 40000 samples across in the
    // pixel geometry of an 8 x 8 reference at 1 unit per pixel: more than a sample count holds.
    Buffer strip = noiseImage(20000, 2, 4);
    strip.clientFromImageXform(xcXform<2>(xcMatrix<2>(2.0, 0.0, 0.0, 2.0), xcVector<2>()));
    xcOCAlphabet a(models({areaModel(1, noiseImage(8, 8, 5), xcPelRect(0, 0, 8, 8)),
                           areaModel(2, strip, xcPelRect(0, 0, 20000, 2))}),
                   0.5, false);
    expectError<xcOCDefs::BadParams>(
        [&] { a.compile(); },
        L"A character image is too large to resample into the reference geometry.");
    EXPECT_FALSE(a.isCompiled());

    // Invertible transforms whose product is not finite (1e200 * 1e200 - 1e200 * 1e200).
    Buffer ref = noiseImage(8, 8, 5), odd = noiseImage(8, 8, 4);
    ref.clientFromImageXform(xcXform<2>(xcMatrix<2>(1e200, 0.0, -1e200, 1.0), xcVector<2>()));
    odd.clientFromImageXform(xcXform<2>(xcMatrix<2>(1e-200, -1.0, 0.0, 1.0), xcVector<2>()));
    xcOCAlphabet c(models({areaModel(1, ref, xcPelRect(0, 0, 8, 8)),
                           areaModel(2, odd, xcPelRect(0, 0, 8, 8))}),
                   0.5, false);
    expectError<xcOCDefs::BadParams>(
        [&] { c.compile(); },
        L"A character image's geometry cannot be resampled into the reference geometry.");
    EXPECT_FALSE(c.isCompiled());

    // 16383 pixels need 32766 samples: resampled and compiled.
    Buffer narrower = noiseImage(16383, 2, 4);
    narrower.clientFromImageXform(xcXform<2>(xcMatrix<2>(2.0, 0.0, 0.0, 2.0), xcVector<2>()));
    xcOCAlphabet b(models({areaModel(1, noiseImage(8, 8, 5), xcPelRect(0, 0, 8, 8)),
                           areaModel(2, narrower, xcPelRect(0, 0, 16383, 2))}),
                   0.5, true);
    EXPECT_TRUE(b.isCompiled());
    EXPECT_EQ(b.confusion(1, 1), 1.0);
}

TEST(OCAlphabetCompile, TheFlagsChooseTheInputDetailsAndResultsRecords) {
    const Buffer image = noiseImage(20, 20, 13);
    xcOCAlphabet a(models({areaModel(1, image, xcPelRect(0, 0, 12, 12)),
                           areaModel(2, image, xcPelRect(4, 4, 12, 12)), blankModel(3, L"s")}),
                   0.5, false, L"f");
    const std::wstring head =
        L"Alphabet general info\n  name = 'f'\n  numChars = 3\n"
        L"  confusionThreshold = 0.500\n  isCompiled = ";

    // All three: the input (written before the compile: not compiled yet, one record per
    // character below it), an empty details record, then the compiled matrix.
    xcDiagObject d;
    a.compile(&d, 0x70000);
    ASSERT_TRUE(a.isCompiled());
    ASSERT_EQ(d.numRecords(), 6);
    EXPECT_EQ(d.diagRecord(0)->annotation(), L"Alphabet Compilation Input");
    ASSERT_EQ(d.diagRecord(0)->texts().size(), 1u);
    EXPECT_EQ(d.diagRecord(0)->texts()[0].text, head + L"false\n\n");
    for (long r = 1; r <= 3; ++r) EXPECT_EQ(d.diagRecord(r)->level(), 1) << r;
    EXPECT_EQ(d.diagRecord(3)->annotation(), L"Character #2: 's'");
    EXPECT_EQ(d.diagRecord(4)->annotation(), L"Alphabet Compilation Details");
    EXPECT_EQ(d.diagRecord(4)->level(), 0);
    EXPECT_TRUE(d.diagRecord(4)->texts().empty());
    EXPECT_EQ(d.diagRecord(5)->annotation(), L"Alphabet Compilation Results");
    EXPECT_EQ(d.diagRecord(5)->level(), 0);
    ASSERT_EQ(d.diagRecord(5)->texts().size(), 1u);
    EXPECT_EQ(d.diagRecord(5)->texts()[0].text,
              head + L"true\n" + xf_ConfusionMatrix(&a, true) + L"\n");
    EXPECT_EQ(d.level(), 0);

    // Compiled already: nothing is recomputed, and each flag still chooses its record.
    const double before = a.confusion(1, 2);
    xcDiagObject results, details, none;
    a.compile(&results, 0x20000);
    ASSERT_EQ(results.numRecords(), 1);
    EXPECT_EQ(results.diagRecord(0)->annotation(), L"Alphabet Compilation Results");
    a.compile(&details, 0x40000);
    ASSERT_EQ(details.numRecords(), 1);
    EXPECT_EQ(details.diagRecord(0)->annotation(), L"Alphabet Compilation Details");
    a.compile(&none, 0x0FFFF);
    EXPECT_EQ(none.numRecords(), 0);
    EXPECT_EQ(a.confusion(1, 2), before);
}

TEST(OCAlphabetCompile, MasksLimitThePixelsCompared) {
    // A: a 12 x 12 cell of a texture whose left half is masked out. B: the same cell with its
    // left half replaced by other texture, no mask. C: A's image and mask at twice the
    // resolution (each pixel repeated 2 x 2, client frame halved), resampled by the compile.
    const Buffer texture = noiseImage(20, 20, 31);
    const Buffer other = noiseImage(20, 20, 32);
    Buffer mask(20, 20), b(20, 20), big(40, 40), bigMask(40, 40);
    for (long y = 0; y < 20; ++y)
        for (long x = 0; x < 20; ++x) {
            mask.rowPointer(y)[x] = x < 6 ? 0 : 255;
            b.rowPointer(y)[x] = (x < 6 ? other : texture).rowPointer(y)[x];
            for (long k = 0; k < 4; ++k) {
                big.rowPointer(2 * y + k / 2)[2 * x + k % 2] = texture.rowPointer(y)[x];
                bigMask.rowPointer(2 * y + k / 2)[2 * x + k % 2] = mask.rowPointer(y)[x];
            }
        }
    const xcXform<2> half(xcMatrix<2>(0.5, 0.0, 0.0, 0.5), xcVector<2>());
    big.clientFromImageXform(half);
    bigMask.clientFromImageXform(half);
    xcOCAlphabet a(models({ModelHandle(new xcOCModel(1, texture, mask, xcPelRect(0, 0, 12, 12),
                                                     xcOCModel::eNormal, L"A")),
                           areaModel(2, b, xcPelRect(0, 0, 12, 12)),
                           ModelHandle(new xcOCModel(3, big, bigMask, xcPelRect(0, 0, 24, 24),
                                                     xcOCModel::eNormal, L"C"))}),
                   0.5, true);
    ASSERT_TRUE(a.isCompiled());
    // A's cared-for pixels all lie on B and all agree; B finds its right half on the half of
    // A's cell that A's mask keeps (coverage 72 / 144).
    EXPECT_NEAR(a.confusion(1, 2), 1.0, 1e-6);
    EXPECT_NEAR(a.confusion(2, 1), 0.5, 1e-6);
    EXPECT_LT(a.characterOffset(1, 2).trans().len(), 0.1);
    // Through the resampling (measured: 0.994, 0.497, 0.907, 0.907): C's mask comes along, so
    // B again finds only half of its pixels cared for; without it B's unmatched left half
    // would pull the score down to about a quarter.
    EXPECT_GT(a.confusion(1, 3), 0.95);
    EXPECT_NEAR(a.confusion(2, 3), 0.5, 0.03);
    EXPECT_GT(a.confusion(3, 1), 0.85);
    EXPECT_GT(a.confusion(3, 2), 0.85);
    for (long k : {1L, 2L}) {
        EXPECT_LT(a.characterOffset(k, 3).trans().len(), 0.1) << k;
        EXPECT_LT(a.characterOffset(3, k).trans().len(), 0.1) << k;
    }
}

namespace {

// A smooth grey pattern over the client plane.
double smoothPattern(double x, double y) {
    return 128.0 + 55.0 * std::sin(0.7 * x + 0.25 * y) + 45.0 * std::cos(0.3 * x - 0.6 * y);
}

// A width x height image carrying clientFromImage whose pixel (u, v) holds the pattern at the
// client point of its centre.
Buffer sampledPattern(long width, long height, const xcXform<2>& clientFromImage) {
    Buffer b(width, height);
    for (long v = 0; v < height; ++v)
        for (long u = 0; u < width; ++u) {
            const xcVector<2> p = clientFromImage.mapPoint(xcVector<2>(u + 0.5, v + 0.5));
            b.rowPointer(v)[u] =
                static_cast<unsigned char>(std::lround(smoothPattern(p.x(), p.y())));
        }
    b.clientFromImageXform(clientFromImage);
    return b;
}

}  // namespace

TEST(OCAlphabetCompile, ATurnedOrShearedCaptureIsResampledIntoTheReferenceGrid) {
    // Model 1: the pattern over client [2, 14] x [2, 14], upright, one pixel per unit. Models 2
    // and 3: the same pattern captured with pixels 0.8 units wide, turned by 25 degrees (model
    // 3 also sheared: its y axis turned by 35 degrees), 30 x 30 pixels centred on client
    // (8, 8), so that each holds all of model 1.
    const auto capture = [](double xDeg, double yDeg) {
        const xcXform<2> clientFromImage =
            xcXform<2>::translation(xcVector<2>(8.0, 8.0)) *
            xcXform<2>(xcMatrix<2>(xcRadian(xDeg * std::numbers::pi / 180.0),
                                   xcRadian(yDeg * std::numbers::pi / 180.0), 0.8, 0.8),
                       xcVector<2>()) *
            xcXform<2>::translation(xcVector<2>(-15.0, -15.0));
        return sampledPattern(30, 30, clientFromImage);
    };
    xcOCAlphabet a(
        models({areaModel(1, sampledPattern(16, 16, xcXform<2>()), xcPelRect(2, 2, 12, 12)),
                areaModel(2, capture(25.0, 25.0), xcPelRect(0, 0, 30, 30)),
                areaModel(3, capture(25.0, 35.0), xcPelRect(0, 0, 30, 30))}),
        0.5, true);
    ASSERT_TRUE(a.isCompiled());
    // Measured: 0.958 and 0.897 for model 1 in models 2 and 3, offsets within 0.02 (the
    // resampled grid need not line up with model 1's pixels, and the search moves by whole
    // pixels: half a pixel off costs this pattern about 0.1).
    // The other way round, models 2 and 3 find model 1's 12 x 12 units filling a quarter of
    // their 24 x 24 (0.235 and 0.242); a turn the wrong way finds nothing.
    for (long k : {2L, 3L}) {
        EXPECT_GT(a.confusion(1, k), 0.85) << k;
        EXPECT_LT(a.characterOffset(1, k).trans().len(), 0.1) << k;
        EXPECT_NEAR(a.confusion(k, 1), 0.25, 0.03) << k;
        EXPECT_LT(a.characterOffset(k, 1).trans().len(), 0.1) << k;
    }
    EXPECT_GT(a.confusion(2, 3), 0.85);
    EXPECT_GT(a.confusion(3, 2), 0.85);
}

TEST(OCAlphabetCompile, ABlankAreaBeyondTheSamplingLimitsFailsBeforeAnyWork) {
    const auto normal = areaModel(1, noiseImage(12, 12, 7), xcPelRect(0, 0, 12, 12));
    for (const xcPelRect& area : {xcPelRect(0, 0, 20000, 20000), xcPelRect(0, 0, 200000, 200000),
                                  xcPelRect(0, 0, 32768, 4), xcPelRect(0, 0, 4097, 4096)}) {
        SCOPED_TRACE(area.width());
        xcOCAlphabet a(models({normal, blankModel(2, L"space", area)}), 0.5, false);
        expectError<xcOCDefs::BadParams>(
            [&] { a.compile(); },
            L"A blank character's image area is too large to score: at most "
            L"16777216 pixels and 32767 on a side.");
        EXPECT_FALSE(a.isCompiled());
    }
    // A blank of character size compiles as before.
    xcOCAlphabet ok(models({normal, blankModel(2, L"space", xcPelRect(0, 0, 64, 64))}), 0.5, true);
    EXPECT_TRUE(ok.isCompiled());
}
