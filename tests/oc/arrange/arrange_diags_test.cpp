// The arranger's diagnostic records: texts character for character for planted inputs, the
// records' titles and levels, the graphics' shapes and pens, and that nothing else changes.
#include "oc/arrange/arrange_diags.h"

#include <gtest/gtest.h>

#include <numbers>
#include <string>
#include <vector>

#include "oc/arrange/arrange_diag_text.h"
#include "oc/arrange/arrange_diags_page.h"
#include "oc/font/line_arrangement.h"
#include "platform/core/exception.h"
#include "platform/diag/graphic_shapes.h"

namespace {

using D = xcOCArrangeDefs;
using A = xc_ArrangeResultsAccess;
using ModelHandle = xcPtrHandle_const<xcOCModel>;

constexpr long kA = 0x41, kB = 0x42, kC = 0x43, kSpace = 0x20;

// A 10 x 14 image whose 8 x 12 image area (1, 1) has its lower-left corner at the client
// origin: the cell spans client x 0 .. 8, y -12 .. 0.
ModelHandle normal(long key, const std::wstring& name) {
    xcPelBuffer<unsigned char> img(10, 14);
    img.clientFromImageXform(xcXform<2>::translation({-1.0, -13.0}));
    return ModelHandle(new xcOCModel(key, img, xcPelRect(1, 1, 8, 12), xcOCModel::eNormal, name));
}

const xcOCAlphabet& alphabet() {
    static const xcPtrHandle_const<xcOCAlphabet> a(new xcOCAlphabet(
        {normal(kA, L"A"),
         ModelHandle(new xcOCModel(kSpace, xcPelBuffer_const<unsigned char>(),
                                   xcPelRect(0, -12, 6, 12), xcOCModel::eBlank, L" ")),
         normal(kB, L"B"), normal(kC, L"C")},
        0.5, false));
    return *a;
}

xcPelBuffer<unsigned char> searchImage() {
    xcPelBuffer<unsigned char> img(xcPelRect(5, 7, 64, 40));
    return img;
}

struct Tree {
    std::vector<std::wstring> titles;
    std::vector<long> levels;
};

Tree tree(const xcDiagObject& d, long from = 0) {
    Tree t;
    for (long i = from; i < d.numRecords(); ++i) {
        t.titles.push_back(d.diagRecord(i)->annotation());
        t.levels.push_back(d.diagRecord(i)->level());
    }
    return t;
}

const xcDiagText* text(const xcDiagRecord& r, const std::wstring& name) {
    for (const xcDiagText& t : r.texts())
        if (t.name == name) return &t;
    return nullptr;
}

std::vector<std::wstring> textNames(const xcDiagRecord& r) {
    std::vector<std::wstring> n;
    for (const xcDiagText& t : r.texts()) n.push_back(t.name);
    return n;
}

std::vector<std::wstring> graphicNames(const xcDiagRecord& r) {
    std::vector<std::wstring> n;
    for (const xcDiagGraphics& g : r.graphicsLists()) {
        n.push_back(g.name);
        EXPECT_EQ(g.coordinateSystem, 2);
    }
    return n;
}

const std::wstring kNul(1, L'\0');

}  // namespace

TEST(ArrangeDiagText, VectorsAnglesTransformsNamesAndKeyLists) {
    EXPECT_EQ(xf_ArrangeVectorText({1.5, -2.0}), L"( 1.5 , -2 )");
    EXPECT_EQ(xf_ArrangeAngleText(xcRadian(std::numbers::pi / 2)), L"90.000 degrees ");
    EXPECT_EQ(xf_ArrangeRigidText(xc2Rigid({10.0, 20.25}, xcRadian(xcDegree(-30.0)))),
              L" < xc2Rigid > ( 10 , 20.25 ) : -30.000 degrees ");
    const xcXform<2> x(xcMatrix<2>(2.0, 0.0, 0.0, 0.5), {3.0, 4.0});
    EXPECT_EQ(xf_ArrangeXformText(x),
              L" < xc2Xform > ( 3 , 4 ) :  < xc2Matrix > [ 2 , 0 , 0 , 0.5 ] ");
    EXPECT_EQ(xf_ArrangeDecomposedXformText(x),
              L" < xc2Xform > ( 3 , 4 ) :  < xc2Matrix > [ 2 , 0 , 0 , 0.5 ]  xRot=0.000 degrees "
              L" yRot=0.000 degrees  xScale=2.000 yScale=0.500");

    EXPECT_EQ(xf_ArrangeCharTypeName(0), L"eNormal");
    EXPECT_EQ(xf_ArrangeCharTypeName(1), L"eBlank");
    EXPECT_EQ(xf_ArrangeCharTypeName(2), L"BadEnumValue");
    EXPECT_EQ(xf_ArrangeStatusName(D::eMatched), L"eMatched ");
    EXPECT_EQ(xf_ArrangeStatusName(D::eInferred), L"eInferred");
    EXPECT_EQ(xf_ArrangeStatusName(D::eUnknown), L"eUnknown ");
    EXPECT_EQ(xf_ArrangeStatusName(3), L"BadEnumValue");
    EXPECT_EQ(xf_ArrangeStatusName(-1), L"BadEnumValue");

    EXPECT_EQ(xf_ArrangeKeyListText({kA, kSpace, 0x99, -1}, alphabet()),
              L"Number of characters: 4\n"
              L"Index\tKey\t\tName\tType\tSize\n"
              L"0\t00000041\t'A'\teNormal\t8 x 12\n"
              L"1\t00000020\t' '\teBlank\t6 x 12\n"
              L"2\t00000099\tKey not found in alphabet!\n"
              L"3\tFFFFFFFF\tKey not found in alphabet!\n");
    EXPECT_EQ(xf_ArrangeKeyListText({}, alphabet()),
              L"Number of characters: 0\nIndex\tKey\t\tName\tType\tSize\n");
}

TEST(ArrangeDiagText, CharacterGraphicPensAndShapes) {
    const xcAffineRectangle cell = xf_ArrangeCellRect(*alphabet().character(kA));
    EXPECT_EQ(cell, xcAffineRectangle({0.0, -12.0}, {8.0, -12.0}, {0.0, 0.0}));
    EXPECT_EQ(xf_ArrangeCellRect(*alphabet().character(kSpace)),
              xcAffineRectangle({0.0, -12.0}, {6.0, -12.0}, {0.0, 0.0}));

    const xcXform<2> pose = xc2Rigid({20.0, 30.0}, xcRadian(xcDegree(90.0))).xform() *
                            xcXform<2>(xcMatrix<2>(2.0, 0.0, 0.0, 2.0), {0.0, 0.0});
    struct Case {
        long status;
        long shapes;
        xcColor colour;
    };
    for (const Case& c : {Case{D::eMatched, 3, xcColor::greenColor()},
                          Case{D::eInferred, 3, xcColor::orangeColor()},
                          Case{D::eUnknown, 0, xcColor()}, Case{7, 0, xcColor()}}) {
        SCOPED_TRACE(c.status);
        xcGraphicList list;
        xf_AddArrangeCharGraphic(list, cell, pose, c.status);
        ASSERT_EQ(list.size(), c.shapes);
        if (c.shapes == 0) continue;
        const auto* rect =
            dynamic_cast<const xcGraphicSimple<xcAffineRectangle>*>(list.items()[0].get());
        const auto* tick = dynamic_cast<const xcGraphicSimple<xcLineSeg>*>(list.items()[1].get());
        const auto* origin = dynamic_cast<const xcGraphicPointIcon*>(list.items()[2].get());
        ASSERT_TRUE(rect && tick && origin);
        EXPECT_EQ(rect->props(), xcGraphicProps(c.colour, 1, 0, false));
        EXPECT_EQ(tick->props(), xcGraphicProps(c.colour, 2, 0, false));
        EXPECT_EQ(origin->props(), xcGraphicProps(xcColor::yellowColor(), 1, 0, false));
        // Cell corner (0, -12) turned by 90 degrees and doubled: (24, 0) from (20, 30).
        EXPECT_TRUE(xfRealEq(rect->shape().cornerPo(), xcVector<2>(44.0, 30.0), 1e-9));
        EXPECT_TRUE(xfRealEq(rect->shape().cornerPx(), xcVector<2>(44.0, 46.0), 1e-9));
        // The tick: from the origin along the character's x axis, half the shorter side.
        EXPECT_TRUE(xfRealEq(tick->shape().p1(), xcVector<2>(20.0, 30.0), 1e-9));
        EXPECT_TRUE(xfRealEq(tick->shape().p2(), xcVector<2>(20.0, 38.0), 1e-9));
        EXPECT_TRUE(xfRealEq(origin->point(), xcVector<2>(20.0, 30.0), 1e-9));
    }
    EXPECT_EQ(xf_ArrangeLinePen(), xcGraphicProps(xcColor::redColor(), 2, 0, false));
}

TEST(ArrangeDiags, InputRecordTextsAndNesting) {
    const xcPelBuffer<unsigned char> image = searchImage();
    xcPelBuffer<unsigned char> mask(xcPelRect(5, 7, 64, 40));
    xcOCArrangeParams params;
    xcDiagObject d;
    d.level(2);
    xf_AddArrangeInputDiags(image, mask, alphabet(), {kA, kSpace, kA}, params, &d);
    EXPECT_EQ(d.level(), 2);
    const Tree t = tree(d);
    ASSERT_GE(t.titles.size(), 4u);
    EXPECT_EQ(t.titles[0], L"OC Arranger: Input");
    EXPECT_EQ(t.levels[0], 2);
    EXPECT_EQ(t.titles[1], L"Runtime mask");
    EXPECT_EQ(t.levels[1], 3);
    EXPECT_EQ(t.titles[2], L"Alphabet details");
    EXPECT_EQ(t.levels[2], 3);
    for (std::size_t i = 3; i < t.titles.size(); ++i) EXPECT_GT(t.levels[i], 3);

    const xcDiagRecord& r = *d.diagRecord(0);
    EXPECT_TRUE(r.image().sharesRoot(image));
    EXPECT_EQ(textNames(r), (std::vector<std::wstring>{L"Image info", L"Alphabet info",
                                                       L"Target string", L"Run params"}));
    EXPECT_EQ(text(r, L"Image info")->text,
              L"Image info\nSize:\t64 x 40\nOffset:\t5 x 7\n\n" + kNul);
    EXPECT_EQ(text(r, L"Alphabet info")->text,
              L"Alphabet info\nNumber of characters: 4\nIndex\tKey\t\tName\tType\tSize\n"
              L"0\t00000041\t'A'\teNormal\t8 x 12\n1\t00000020\t' '\teBlank\t6 x 12\n"
              L"2\t00000042\t'B'\teNormal\t8 x 12\n3\t00000043\t'C'\teNormal\t8 x 12\n\n");
    EXPECT_EQ(text(r, L"Target string")->text,
              L"Target string\nNumber of characters: 3\nIndex\tKey\t\tName\tType\tSize\n"
              L"0\t00000041\t'A'\teNormal\t8 x 12\n1\t00000020\t' '\teBlank\t6 x 12\n"
              L"2\t00000041\t'A'\teNormal\t8 x 12\n\n");
    EXPECT_EQ(text(r, L"Run params")->text,
              L"Run params\nMax lines\t\tNo limit\nMax unmatched chars\tNo limit\n"
              L"Line type\t\t\tDon't care\nOrientation mode\t\tAverage\n"
              L"Orientation frame\t\tRelative\nExpected Orientation\t0 rad/0 deg (not used)\n\n"
              L"Line break cost\t\t2\nUnmatched char cost\t1\nNormal trans cost\t\t1\n"
              L"Tangential trans cost\t1\nOrientation cost\t\t1\nScale cost\t\t1\n\n" +
                  kNul);

    // Other settings, and no mask.
    params.maxLines(3);
    params.maxUnmatchedChars(0);
    params.lineType(D::eStraight);
    params.orientationMode(D::eSpecified);
    params.orientationReference(D::eAbsolute);
    params.expectedOrientation(xcRadian(0.5));
    params.lineBreakCost(2.5);
    params.scaleCost(0.125);
    xcDiagObject e;
    xf_AddArrangeInputDiags(image, xcPelBuffer_const<unsigned char>(), alphabet(), {kC}, params,
                            &e);
    EXPECT_EQ(e.diagRecord(1)->annotation(), L"Alphabet details");
    EXPECT_EQ(text(*e.diagRecord(0), L"Run params")->text,
              L"Run params\nMax lines\t\t3\nMax unmatched chars\t0\n"
              L"Line type\t\t\tStraight\nOrientation mode\t\tSpecified\n"
              L"Orientation frame\t\tAbsolute\nExpected Orientation\t0.5 rad/28.6479 deg (used)\n\n"
              L"Line break cost\t\t2.5\nUnmatched char cost\t1\nNormal trans cost\t\t1\n"
              L"Tangential trans cost\t1\nOrientation cost\t\t1\nScale cost\t\t0.125\n\n" +
                  kNul);
    params.lineType(D::eCircular);
    xcDiagObject f;
    xf_AddArrangeInputDiags(image, xcPelBuffer_const<unsigned char>(), alphabet(), {kC}, params,
                            &f);
    EXPECT_NE(text(*f.diagRecord(0), L"Run params")->text.find(L"Line type\t\t\tCircular\n"),
              std::wstring::npos);
}

namespace {

// Four positions: line 0 = A (matched, candidate 1), ' ' (inferred), B (matched, candidate 0);
// line 1 = C, alone and unknown.
struct Planted {
    std::vector<long> keys{kA, kSpace, kB, kC};
    std::vector<xc_CharData> chars;
    std::vector<xc_Pose> poses;
    std::vector<double> scores{0.9, 0.0, 0.75, 0.0};
    std::vector<D::CharStatus> statuses{D::eMatched, D::eInferred, D::eMatched, D::eUnknown};
    xc_ArrangePath path;
    xc_ArrangeCost cost;

    Planted() {
        for (long k : keys) {
            chars.emplace_back();
            chars.back().cellRect(xf_ArrangeCellRect(*alphabet().character(k)));
        }
        poses = {xc_Pose({10, 30}, xcRadian(0.0), 1.0), xc_Pose({19, 30}, xcRadian(0.0), 1.0),
                 xc_Pose({26, 30}, xcRadian(0.0), 1.0), xc_Pose({0, 0}, xcRadian(0.0), 1.0)};
        path.append(1, true);
        path.append(-1, false);
        path.append(0, false);
        path.append(-1, true);
        cost.cost = {0.35, 1.0, 2.0, 0.5, 0.25, 0.125, 0.0625, 0.01};
        cost.lineTypes = {D::eStraight, D::eDontCare};
        cost.lineSegments = {xcLineSeg({10, 30}, {34, 30})};
        cost.lineAngles = {xcRadian(0.1), xcRadian(0.0)};
        cost.lineScales = {1.04, 1.0};
        cost.tanDeviations = {0.13, 0.0, 0.25, 0.0};
        cost.normDeviations = {0.5, 0.0, 0.1, 0.0};
        cost.orientDeviations = {0.01, 0.0, 0.02, 0.0};
        cost.scaleDeviations = {-0.03, 0.0, 0.05, 0.0};
        cost.nominalPositions.assign(4, xcVector<2>());
        cost.expectedAngles.assign(4, xcRadian());
    }
};

}  // namespace

TEST(ArrangeDiags, BuildArrangementRowsTotalsAndCost) {
    const xcPelBuffer<unsigned char> image = searchImage();
    const Planted p;
    xcDiagObject d;
    d.level(1);
    xf_AddBuildArrangementDiags(image, alphabet(), p.keys, p.chars, p.poses, p.scores, p.statuses,
                                xcOCArrangeParams(), p.path, p.cost, true, &d);
    EXPECT_EQ(d.level(), 1);
    ASSERT_EQ(d.numRecords(), 1);
    const xcDiagRecord& r = *d.diagRecord(0);
    EXPECT_EQ(r.annotation(), L"Build arrangement");
    EXPECT_EQ(r.level(), 2);
    EXPECT_EQ(graphicNames(r),
              (std::vector<std::wstring>{L"Line #0 graphics", L"Line #1 graphics"}));
    EXPECT_EQ(textNames(r), (std::vector<std::wstring>{L"Line #0 details", L"Line #1 details",
                                                       L"Arrangement cost"}));
    EXPECT_EQ(text(r, L"Line #0 details")->text,
              L"Line 0:\nStraight, 3 characters\nAverage angle: 5.7 degrees\nAerage scale: 1\n\n"
              L"Cost details:\nIndex\tChar\tChoice\tMatch\tTan\tNorm\tRot\tScale\n"
              L"0\t'A'\t1\t0.1\t0.13\t0.5\t0.01\t-0.03\n"
              L"1\t' '\t--\t0\tCharacter unmatched; pose inferred\n"
              L"2\t'B'\t0\t0.25\t0.25\t0.1\t0.02\t0.05\n"
              L"Normalized total\t\t0.35\t0.57\t0.9\t0.045\t0.03\n\n" +
                  kNul);
    EXPECT_EQ(text(r, L"Line #1 details")->text,
              L"Line 1:\nCircular, 1 characters\nAverage angle: 0 degrees\nAerage scale: 1\n\n"
              L"Cost details:\nIndex\tChar\tChoice\tMatch\tTan\tNorm\tRot\tScale\n"
              L"3\t'C'\t--\t0\tCharacter unmatched; pose unknown\n"
              L"Normalized total\t\t0\t0\t0\t0\t0\n\n" +
                  kNul);
    EXPECT_EQ(text(r, L"Arrangement cost")->text,
              L"Best solution:\nLine break cost\t\t2\nUnmatched char cost\t1\n"
              L"Normal trans cost\t\t0.5\nTangential trans cost\t0.25\nOrientation cost\t\t0.125\n"
              L"Scale cost\t\t0.0625\nTotal cost\t\t\t4.2975\n");

    // Line 0: its segment (red) and three drawn characters; line 1 draws nothing.
    const xcGraphicList& l0 = r.graphicsLists()[0].list;
    ASSERT_EQ(l0.size(), 10);
    const auto* seg = dynamic_cast<const xcGraphicSimple<xcLineSeg>*>(l0.items()[0].get());
    ASSERT_NE(seg, nullptr);
    EXPECT_EQ(seg->props(), xf_ArrangeLinePen());
    EXPECT_EQ(l0.items()[1]->props().color(), xcColor::greenColor());
    EXPECT_EQ(l0.items()[4]->props().color(), xcColor::orangeColor());
    const auto* b = dynamic_cast<const xcGraphicSimple<xcAffineRectangle>*>(l0.items()[7].get());
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->shape(), xcAffineRectangle({26, 18}, {34, 18}, {26, 30}));
    EXPECT_EQ(r.graphicsLists()[1].list.size(), 0);

    // A circular line draws its arc; an invalid final evaluation records nothing.
    Planted c;
    c.cost.lineTypes = {D::eCircular, D::eDontCare};
    c.cost.lineSegments.clear();
    c.cost.lineArcs = {xcEllipseArc2(xcEllipse2({20, 60}, 30, 30), xcRadian(-2.0), xcRadian(1.0))};
    xcDiagObject e;
    xf_AddBuildArrangementDiags(image, alphabet(), c.keys, c.chars, c.poses, c.scores, c.statuses,
                                xcOCArrangeParams(), c.path, c.cost, true, &e);
    EXPECT_NE(dynamic_cast<const xcGraphicSimple<xcEllipseArc2>*>(
                  e.diagRecord(0)->graphicsLists()[0].list.items()[0].get()),
              nullptr);
    EXPECT_EQ(text(*e.diagRecord(0), L"Line #0 details")->text.substr(0, 31),
              L"Line 0:\nCircular, 3 characters\n");
    xcDiagObject f;
    xf_AddBuildArrangementDiags(image, alphabet(), c.keys, c.chars, c.poses, c.scores, c.statuses,
                                xcOCArrangeParams(), c.path, c.cost, false, &f);
    EXPECT_EQ(f.numRecords(), 0);

    // A cost record of another length breaks an invariant: nothing is recorded.
    c.cost.scaleDeviations.pop_back();
    xcDiagObject g;
    g.level(4);
    EXPECT_THROW(
        xf_AddBuildArrangementDiags(image, alphabet(), c.keys, c.chars, c.poses, c.scores,
                                    c.statuses, xcOCArrangeParams(), c.path, c.cost, true, &g),
        xcAssertionFailure);
    EXPECT_EQ(g.numRecords(), 0);
    EXPECT_EQ(g.level(), 4);
}

namespace {

// The arrangement of Planted: line 0 (A, ' ', B) at the arrangement's origin, line 1 (C) at
// (12.5, 0); the arrangement's frame at (10, 20) turned by 30 degrees.
xcOCArrangeResults plantedResults() {
    const xcPtrHandle_const<xcOCAlphabet> a(new xcOCAlphabet(alphabet()));
    auto set = [](long k) { return xcOCKeySet({k}, 0L); };
    const xcPtrHandle_const<xcOCLine> l0(new xcOCLine(
        {set(kA), set(kSpace), set(kB)}, a,
        {xc2Rigid(), xc2Rigid({9, 0}, xcRadian()), xc2Rigid({16, 0.5}, xcRadian())},
        {1.0, 1.0, 1.25}, {0, 0, 0}, {xcRadian(), xcRadian(), xcRadian()}, {0, 0, 0}, L"Line 0"));
    const xcPtrHandle_const<xcOCLine> l1(
        new xcOCLine({set(kC)}, a, {xc2Rigid()}, {1.5}, {0.0}, {xcRadian()}, {0.0}, L"Line 1"));
    xcOCArrangeResults r;
    A::isFound(r, true);
    A::arrangement(
        r, xcPtrHandle_const<xcOCLineArrangement>(new xcOCLineArrangement(
               {l0, l1}, {xc2Rigid(), xc2Rigid({12.5, 0}, xcRadian())}, 0.0, xcRadian(), L"")));
    A::clientFromArrangementXform(r, xc2Rigid({10, 20}, xcRadian(xcDegree(30.0))).xform());
    A::statusFlags(r) = {D::eMatched, D::eInferred, D::eMatched, D::eUnknown};
    A::scores(r) = {0.9, 0.0, 0.75, 0.0};
    return r;
}

}  // namespace

TEST(ArrangeDiags, OutputRecordOverallInfoAndLineDetails) {
    const xcPelBuffer<unsigned char> image = searchImage();
    const xcOCArrangeResults results = plantedResults();
    const std::vector<long> keys{kA, kSpace, kB, kC};
    xcDiagObject d;
    d.level(1);
    xf_AddArrangeOutputDiags(image, keys, alphabet(), results, &d, 0x20000);
    EXPECT_EQ(d.level(), 1);
    const Tree t = tree(d);
    EXPECT_EQ(t.titles, (std::vector<std::wstring>{L"OC Arranger: Output", L"Details for line #0",
                                                   L"Details for line #1"}));
    EXPECT_EQ(t.levels, (std::vector<long>{1, 2, 2}));

    const xcDiagRecord& out = *d.diagRecord(0);
    EXPECT_EQ(textNames(out), std::vector<std::wstring>{L"Overall info"});
    EXPECT_EQ(graphicNames(out), std::vector<std::wstring>{L"Arrangement graphics"});
    EXPECT_EQ(out.texts()[0].text,
              L"isFound: true\nisSearchTruncated: false\n"
              L"clientFromArrangementXform:  < xc2Xform > ( 10 , 20 ) :  < xc2Matrix > "
              L"[ 0.866025 , -0.5 , 0.5 , 0.866025 ]  xRot=30.000 degrees  yRot=30.000 degrees "
              L" xScale=1.000 yScale=1.000\n\n"
              L"Number of characters: 4\nIndex\tStatus\t\tScore\tKey\t\tName\tType\tSize\n"
              L"0\teMatched \t0.900\t00000041\t'A'\teNormal\t8x12\n"
              L"1\teInferred\t0.000\t00000020\t' '\teBlank\t6x12\n"
              L"2\teMatched \t0.750\t00000042\t'B'\teNormal\t8x12\n"
              L"3\teUnknown \t0.000\t00000043\t'C'\teNormal\t8x12\n\n"
              L"Arrangement name: \nNumber of lines: 2\n");

    const xcDiagRecord& d0 = *d.diagRecord(1);
    const xcDiagRecord& d1 = *d.diagRecord(2);
    EXPECT_EQ(graphicNames(d0), std::vector<std::wstring>{L"Graphics"});
    EXPECT_EQ(textNames(d0), std::vector<std::wstring>{L"Details"});
    const std::wstring& t0 = d0.texts()[0].text;
    EXPECT_EQ(t0.substr(0, 88),
              L"Line pose:  < xc2Rigid > ( 0 , 0 ) : 0.000 degrees \n\nNumber of positions: 3\n"
              L"Position #0\n");
    EXPECT_NE(t0.find(L"Position #2\n  Number of characters: 1\n    Character #0\n"
                      L"      Name: 'B'   Type: eNormal  Key: 00000042\n"
                      L"      Status: eMatched \n"
                      L"      Pose:  < xc2Rigid > ( 16 , 0.5 ) : 0.000 degrees \n"
                      L"      Scale: 1.25\n\n"),
              std::wstring::npos);
    EXPECT_NE(t0.find(L"      Name: ' '   Type: eBlank  Key: 00000020\n      Status: eInferred\n"),
              std::wstring::npos);
    EXPECT_EQ(d1.texts()[0].text,
              L"Line pose:  < xc2Rigid > ( 12.5 , 0 ) : 0.000 degrees \n\nNumber of positions: 1\n"
              L"Position #0\n  Number of characters: 1\n    Character #0\n"
              L"      Name: 'C'   Type: eNormal  Key: 00000043\n      Status: eUnknown \n"
              L"      Pose:  < xc2Rigid > ( 0 , 0 ) : 0.000 degrees \n      Scale: 1.5\n\n");

    // Line 0: three characters and its yellow rectangle; line 1 (all unknown) adds nothing.
    // Each line record holds the shared list as it stood after its line.
    EXPECT_EQ(d0.graphicsLists()[0].list.size(), 10);
    EXPECT_EQ(d1.graphicsLists()[0].list.size(), 10);
    const xcGraphicList& all = out.graphicsLists()[0].list;
    ASSERT_EQ(all.size(), 10);
    const auto* box =
        dynamic_cast<const xcGraphicWithFill<xcRect, xcGenRect>*>(all.items()[9].get());
    ASSERT_NE(box, nullptr);
    EXPECT_FALSE(box->fill());
    EXPECT_EQ(box->props(), xcGraphicProps(xcColor::yellowColor()));
    // B: arrangement (10, 20) turned 30 degrees, then (16, 0.5), then scaled 1.25: its cell's
    // upper-left corner (0, -12) lands at T * (16, 0.5 - 15).
    const auto* b = dynamic_cast<const xcGraphicSimple<xcAffineRectangle>*>(all.items()[6].get());
    ASSERT_NE(b, nullptr);
    const xcXform<2> T = results.clientFromArrangementXform();
    EXPECT_TRUE(xfRealEq(b->shape().cornerPo(), T.mapPoint({16.0, -14.5}), 1e-9));
    EXPECT_TRUE(xfRealEq(b->shape().cornerPx(), T.mapPoint({26.0, -14.5}), 1e-9));
    // The rectangle encloses the line's cells in the client frame.
    const xcRect encl = results.arrangement()->lines()[0]->encloseRect(
        xcXform<2>(), xcXform<2>(), xcXform<2>(), 0.0, xcRadian(), 0.0, false);
    EXPECT_TRUE(xfRealEq(box->shape().cornerPo(), T.mapPoint(encl.ul()), 1e-9));
}

TEST(ArrangeDiags, NullDiagAndUnselectedFlagsRecordNothing) {
    const xcPelBuffer<unsigned char> image = searchImage();
    const xcOCArrangeResults results = plantedResults();
    const xcOCArrangeResults before = results;
    const Planted p;
    const std::vector<long> keys{kA, kSpace, kB, kC};
    xf_AddArrangeInputDiags(image, image, alphabet(), keys, xcOCArrangeParams(), nullptr);
    xf_AddBuildArrangementDiags(image, alphabet(), p.keys, p.chars, p.poses, p.scores, p.statuses,
                                xcOCArrangeParams(), p.path, p.cost, true, nullptr);
    xf_AddArrangeOutputDiags(image, keys, alphabet(), results, nullptr, 0x70000);
    xcGraphicList list;
    xf_AddArrangeLineDetails(results.arrangement()->lines()[0], xc2Rigid(), keys,
                             results.statusFlags(), xcXform<2>(), nullptr, list);
    EXPECT_EQ(list.size(), 0);
    EXPECT_TRUE(results == before);

    xcDiagObject d;
    xf_AddArrangeOutputDiags(image, keys, alphabet(), results, &d, 0x50000);
    EXPECT_EQ(d.numRecords(), 0);
    // A null line handle is skipped.
    xf_AddImage(&d, image, L"holder", false);
    xf_AddArrangeLineDetails(xcPtrHandle_const<xcOCLine>(), xc2Rigid(), keys, results.statusFlags(),
                             xcXform<2>(), &d, list);
    EXPECT_TRUE(d.diagRecord(0)->texts().empty());
    // Results without an arrangement: the overview only.
    xcDiagObject e;
    xf_AddArrangeOutputDiags(image, {}, alphabet(), xcOCArrangeResults(), &e, 0x20000);
    ASSERT_EQ(e.numRecords(), 1);
    EXPECT_EQ(e.diagRecord(0)->texts()[0].text,
              L"isFound: false\nisSearchTruncated: false\nclientFromArrangementXform:  < xc2Xform "
              L"> ( 0 , 0 ) :  < xc2Matrix > [ 1 , 0 , 0 , 1 ]  xRot=0.000 degrees  yRot=0.000 "
              L"degrees  xScale=1.000 yScale=1.000\n\nNumber of characters: 0\n"
              L"Index\tStatus\t\tScore\tKey\t\tName\tType\tSize\n\nArrangement name: \n"
              L"Number of lines: 0\n");
}

TEST(ArrangeDiags, ReportPageSummary) {
    const xcPelBuffer<unsigned char> image = searchImage();
    const xcOCArrangeResults results = plantedResults();
    const std::vector<long> keys{kA, kSpace, kB, kC};
    xcDiagObject d;
    xf_AddImage(&d, image, L"Build arrangement", false);
    xf_AddArrangeOutputDiags(image, keys, alphabet(), results, &d, 0x20000);
    const xcDiagHtmlPage page = xf_ArrangeReportPage(keys, alphabet(), results, 0.0123, d);
    EXPECT_EQ(page.title, L"OC Arranger run");
    ASSERT_EQ(page.facts.size(), 6u);
    EXPECT_EQ(page.facts[0].label, L"Target");
    EXPECT_EQ(page.facts[0].value, L"\u201cA B\u201d \u201cC\u201d");
    EXPECT_EQ(page.facts[1].value, L"4: 2 matched, 1 inferred, 1 unknown");
    EXPECT_EQ(page.facts[2].value, L"2");
    EXPECT_EQ(page.facts[5].value, L"12.3 ms");
    ASSERT_EQ(page.tableRows.size(), 4u);
    const std::vector<xcDiagHtmlPage::Cell>& row = page.tableRows[2];
    ASSERT_EQ(row.size(), page.tableHeader.size());
    EXPECT_EQ(row[1].text, L"00000042");
    EXPECT_EQ(row[2].text, L"'B'");
    EXPECT_EQ(row[3].text, L"matched");
    EXPECT_EQ(row[3].color, xcColor::greenColor());
    EXPECT_EQ(row[4].text, L"0.750");
    EXPECT_EQ(page.tableRows[1][3].color, xcColor::orangeColor());
    EXPECT_EQ(page.tableRows[3][3].text, L"unknown");
    EXPECT_EQ(page.tableRows[3][5].text, L"1");
    EXPECT_EQ(page.featuredRecord, 1);  // the output record
    ASSERT_EQ(page.legend.size(), 5u);
    EXPECT_EQ(page.legend[2].color, xcColor::redColor());

    // Without an output record the summary shows "Build arrangement"; with neither, nothing.
    xcDiagObject e;
    xf_AddImage(&e, image, L"Build arrangement", false);
    EXPECT_EQ(xf_ArrangeReportPage(keys, alphabet(), results, -1.0, e).featuredRecord, 0);
    const xcDiagHtmlPage none =
        xf_ArrangeReportPage({}, alphabet(), xcOCArrangeResults(), -1.0, xcDiagObject());
    EXPECT_EQ(none.featuredRecord, -1);
    EXPECT_EQ(none.facts[0].value, L"(empty)");
    EXPECT_EQ(none.facts[5].value, L"not measured");
}
