// The alphabet report: confusion matrix text and diagnostic records.
#include <gtest/gtest.h>

#include "oc/font/alphabet_report.h"
#include "platform/diag/diag_object.h"
#include "tests/oc/font/font_test_util.h"

using namespace font_test;

namespace {

xcPtrHandle<xcOCAlphabet> twoCharacters(double offDiagonal) {
    xcNMMatrix m(2, 2);
    m(0, 0) = 1.0;
    m(1, 1) = 1.0;
    m(0, 1) = offDiagonal;
    m(1, 0) = offDiagonal;
    xcOCAlphabet::OffsetTable o(2, std::vector<xcXform<2>>(2));
    o[0][1] = xcXform<2>::translation(xcVector<2>(1.5, -2.0));
    o[1][0] = xcXform<2>::translation(xcVector<2>(-1.5, 2.25));
    return compiledAlphabet(ConstModels{normalModel(0x41, L"A"), normalModel(0x42, L"B", 20, 30)},
                            m, o, 0.5, L"font");
}

}  // namespace

TEST(OCAlphabetReport, ConfusionMatrixText) {
    const auto a = twoCharacters(0.7);
    EXPECT_EQ(xf_ConfusionMatrix(a.get(), true),
              L"Confusion matrix:\n"
              L"\t'A'\t'B'\n"
              L"'A'\t1.000\t0.700\n"
              L"'B'\t0.700\t1.000\n"
              L"Confusing pairs:\n"
              L"score 0.700 for ('A', 'B') keys(00000041, 00000042) at (1.500, -2.000)\n"
              L"score 0.700 for ('B', 'A') keys(00000042, 00000041) at (-1.500, 2.250)\n");
    EXPECT_EQ(xf_ConfusionMatrix(a.get(), false),
              L"Confusion matrix:\n\t'A'\t'B'\n'A'\t1.000\t0.700\n'B'\t0.700\t1.000\n");
    // A confusion equal to the threshold is not a confusing pair.
    EXPECT_EQ(xf_ConfusionMatrix(twoCharacters(0.5).get(), true),
              L"Confusion matrix:\n\t'A'\t'B'\n'A'\t1.000\t0.500\n'B'\t0.500\t1.000\n"
              L"Confusing pairs:\n");
    xcOCAlphabet uncompiled(ConstModels{normalModel(1, L"x")}, 0.5, false);
    EXPECT_EQ(xf_ConfusionMatrix(&uncompiled, true), L"");
    EXPECT_EQ(xf_ConfusionMatrix(nullptr, true), L"");
}

TEST(OCAlphabetReport, AlphabetRecords) {
    const auto a = twoCharacters(0.7);
    EXPECT_EQ(xf_AddAlphabet(nullptr, a.get(), L"x", true), nullptr);
    xcDiagObject d;
    EXPECT_EQ(xf_AddAlphabet(&d, nullptr, L"x", true), nullptr);
    EXPECT_EQ(d.numRecords(), 0);

    xcDiagRecord* r = xf_AddAlphabet(&d, a.get(), L"Input", false);
    ASSERT_EQ(d.numRecords(), 1);
    EXPECT_EQ(r->annotation(), L"Input");
    ASSERT_EQ(r->texts().size(), 1u);
    EXPECT_EQ(r->texts()[0].name, L"Alphabet general info");
    EXPECT_EQ(r->texts()[0].text, L"Alphabet general info\n  name = 'font'\n  numChars = 2\n"
                                  L"  confusionThreshold = 0.500\n  isCompiled = true\n" +
                                      xf_ConfusionMatrix(a.get(), true) + L"\n");

    xcDiagObject e;
    r = xf_AddAlphabet(&e, a.get(), L"All", true);
    ASSERT_EQ(e.numRecords(), 3);
    EXPECT_EQ(r, e.diagRecord(0));
    EXPECT_EQ(e.level(), 0);
    const xcDiagRecord* c = e.diagRecord(2);
    EXPECT_EQ(c->level(), 1);
    EXPECT_EQ(c->annotation(), L"Character #1: 'B'");
    ASSERT_EQ(c->texts().size(), 1u);
    const std::wstring& t = c->texts()[0].text;
    EXPECT_EQ(t.substr(0, t.find(L"  minPixelValue")),
              L"Character info\n  key = 00000042\n  name = 'B'\n  description = ''\n"
              L"  type = eNormal\n  imageArea = ul(0, 0) lr(20, 30) size(20, 30)\n");
    EXPECT_NE(t.find(L"  minPixelValue = 0\n  maxPixelValue = 255\n"), std::wstring::npos);
    ASSERT_EQ(c->graphicsLists().size(), 2u);
    EXPECT_EQ(c->graphicsLists()[0].name, L"Image area");
    EXPECT_EQ(c->graphicsLists()[1].coordinateSystem, 2);
}
