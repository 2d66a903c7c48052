// Diagnostics of a search: the "Result details" text line by line, one graphics record per
// instance with the needles of symmetric characters, and nothing without the results flag.
#include <regex>
#include <sstream>

#include "extract_test_util.h"
#include "platform/core/line.h"
#include "platform/diag/diag_object.h"
#include "platform/diag/graphic_shapes.h"

namespace {

using namespace extract_test;

std::vector<std::wstring> linesOf(const std::wstring& text) {
    std::vector<std::wstring> lines;
    std::wstringstream in(text);
    std::wstring line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

xc_OCExtractModelParams uprightParams() {
    xc_OCExtractModelParams p;
    p.scaleRange(xcRange(0.9, 1.1));
    return p;
}

}  // namespace

TEST(OCExtractDiags, ResultDetailsTextAndGraphics) {
    // Two A's and an S; search for A only.
    const auto alphabet = glyphAlphabet(mono(), L"ASB", 28.0);
    const xcSynthScene scene = lineScene(mono(), L"ASA", 28.0, xcVector<2>(100, 200), 0.0, 1.0);
    xc_OCExtractModel model;
    xc_OCExtractStringResult r;
    xcDiagObject diag;
    model.search(alphabet, keysOf(L"A"), scene.image, xcPelBuffer_const<unsigned char>(),
                 uprightParams(), xc_OCExtractRunParams(), r, &diag, 0x30000);
    ASSERT_EQ(r.results()[0]->numInstances(), 2);
    ASSERT_EQ(diag.numRecords(), 3);
    const xcDiagRecord* text = diag.diagRecord(0);
    EXPECT_EQ(text->annotation(), L"Result details");
    ASSERT_EQ(text->texts().size(), 1u);
    const std::wstring& t = text->texts()[0].text;
    ASSERT_FALSE(t.empty());
    EXPECT_EQ(t.back(), L'\0');
    const std::vector<std::wstring> lines = linesOf(t);
    ASSERT_EQ(lines.size(), 12u);
    EXPECT_EQ(lines[0], L"Runtime Params");
    EXPECT_EQ(lines[1], L"==============");
    EXPECT_EQ(lines[2], L"Accept Thresh = 0.5");
    EXPECT_EQ(lines[3], L"Confusion Thresh = 0.6");
    EXPECT_EQ(lines[4], L"Overlap =0.1");
    EXPECT_EQ(lines[5], L"");
    EXPECT_EQ(lines[6], L"Final Results");
    EXPECT_EQ(lines[7], L"Found Char Model 'A'");
    const std::wregex instance(
        L" \t Instance #([01]) \t Score= ([0-9.e-]+) \t Angle= ([0-9.e-]+) \t Scale=([0-9.e-]+)");
    for (int k = 0; k < 2; ++k) {
        std::wsmatch m;
        ASSERT_TRUE(std::regex_match(lines[8 + k], m, instance)) << k;
        EXPECT_EQ(m[1].str(), std::to_wstring(k));
        std::wostringstream score;
        score << r.results()[0]->score(k);
        EXPECT_EQ(m[2].str(), score.str());
        EXPECT_NEAR(std::stod(m[3].str()), 0.0, 1.0);
        EXPECT_NEAR(std::stod(m[4].str()), 1.0, 0.01);
    }
    EXPECT_EQ(lines[10], L"");
    EXPECT_EQ(lines[11], std::wstring(1, L'\0'));

    // One graphics record per instance: footprint and green needle (A is not symmetric).
    for (int k = 0; k < 2; ++k) {
        const xcDiagRecord* g = diag.diagRecord(1 + k);
        EXPECT_EQ(g->annotation(), L"Character 'A' Result #" + std::to_wstring(k));
        ASSERT_EQ(g->graphicsLists().size(), 1u);
        EXPECT_EQ(g->graphicsLists()[0].coordinateSystem, 2);
        const auto& items = g->graphicsLists()[0].list.items();
        ASSERT_EQ(items.size(), 2u);
        const auto* rect = dynamic_cast<const xcGraphicSimple<xcAffineRectangle>*>(items[0].get());
        ASSERT_NE(rect, nullptr);
        EXPECT_EQ(rect->shape(), r.results()[0]->affRect(k));
        EXPECT_EQ(rect->props().color(), xcColor::greenColor());
        const auto* needle = dynamic_cast<const xcGraphicSimple<xcLineSeg>*>(items[1].get());
        ASSERT_NE(needle, nullptr);
        EXPECT_EQ(needle->props(), xcGraphicProps(xcColor::greenColor(), 2, 0, false));
        const xcXform<2> pose = r.results()[0]->pose(k);
        const xcPelRect cell = alphabet->character(L'A')->imageArea();
        const double len = 0.5 * std::min(cell.width(), cell.height());
        EXPECT_LT((needle->shape().p1() - pose.mapPoint(xcVector<2>(0, 0))).len(), 1e-9);
        EXPECT_LT((needle->shape().p2() - pose.mapPoint(xcVector<2>(len, 0))).len(), 1e-9);
    }

    // The parameters alone add nothing (their text stays in the model's text).
    xcDiagObject quiet;
    model.search(alphabet, keysOf(L"A"), scene.image, xcPelBuffer_const<unsigned char>(),
                 uprightParams(), xc_OCExtractRunParams(), r, &quiet, 0x10000);
    EXPECT_EQ(quiet.numRecords(), 0);
    EXPECT_EQ(linesOf(xc_OCExtractModelAccess::diagText(model)).size(), 16u);

    // A symmetric character gets one blue needle per instance; a character with a pattern that
    // is not found is listed without instances or graphics.
    xc_OCExtractModel other;
    xcDiagObject sym;
    other.search(alphabet, keysOf(L"SB"), scene.image, xcPelBuffer_const<unsigned char>(),
                 uprightParams(), xc_OCExtractRunParams(), r, &sym, 0x20000);
    ASSERT_EQ(r.results()[0]->symmetry(), xc_OCExtractDefs::eSymmetric180);
    ASSERT_EQ(r.results()[0]->numInstances(), 1);
    ASSERT_EQ(r.results()[1]->numInstances(), 0);
    ASSERT_EQ(sym.numRecords(), 2);
    const std::vector<std::wstring> symLines = linesOf(sym.diagRecord(0)->texts()[0].text);
    ASSERT_EQ(symLines.size(), 8u);
    EXPECT_EQ(symLines[0], L"");
    EXPECT_EQ(symLines[1], L"Final Results");
    EXPECT_EQ(symLines[2], L"Could not find Char Model 'B'");
    EXPECT_EQ(symLines[3], L"");
    EXPECT_EQ(symLines[4], L"Found Char Model 'S'");
    EXPECT_EQ(symLines[5].substr(0, 14), L" \t Instance #0");
    EXPECT_EQ(symLines[6], L"");
    const auto& items = sym.diagRecord(1)->graphicsLists()[0].list.items();
    ASSERT_EQ(items.size(), 3u);
    const auto* blue = dynamic_cast<const xcGraphicSimple<xcLineSeg>*>(items[1].get());
    ASSERT_NE(blue, nullptr);
    EXPECT_EQ(blue->props().color(), xcColor::blueColor());
    const xcXform<2> pose = r.results()[0]->pose(0);
    EXPECT_LT((blue->shape().p1() - pose.mapPoint(xcVector<2>(0, 0))).len(), 1e-9);
    const xcPelRect cell = alphabet->character(L'S')->imageArea();
    const double len = 0.5 * std::min(cell.width(), cell.height());
    EXPECT_LT((blue->shape().p2() - pose.mapPoint(xcVector<2>(-len, 0))).len(), 1e-9);
}
