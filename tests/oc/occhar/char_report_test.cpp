#include "oc/occhar/char_report.h"

#include <gtest/gtest.h>

#include "occhar_test_util.h"
#include "platform/diag/graphic_shapes.h"

using namespace occhar_test;
using M = xcOCCharMetrics;
using Outline = xcGraphicWithFill<xcRect, xcGenRect>;

namespace {

// The outline at `index` of a record's only graphic list.
const Outline& outline(const xcDiagRecord& r, std::size_t index) {
    const auto* g =
        dynamic_cast<const Outline*>(r.graphicsLists().at(0).list.items().at(index).get());
    EXPECT_NE(g, nullptr);
    return *g;
}

}  // namespace

TEST(OCCharReport, KeyText) {
    EXPECT_EQ(xf_OCCharKeyText(xcOCCharKey(65, 0, -1, 2)),
              L"Character code : 65\nInstance : 0\nVariant : -1\nFontID : 2\n");
    EXPECT_EQ(xf_OCCharKeyText(xcOCCharKey()),
              L"Character code : 63488\nInstance : -1\nVariant : -1\nFontID : -1\n");
    EXPECT_EQ(xf_OCCharKeyText(xcOCCharKey(0xFFFFFFFFul, -2147483647 - 1, 7, 0)),
              L"Character code : 4294967295\nInstance : -2147483648\nVariant : 7\nFontID : 0\n");
}

TEST(OCCharReport, DefaultCharacterDrawsTheImageList) {
    xcDiagObject diag;
    diag.level(2);
    xcDiagRecord* r = xf_AddOCChar(&diag, xcOCChar(), L"Char");
    ASSERT_NE(r, nullptr);
    ASSERT_EQ(diag.numRecords(), 1);
    EXPECT_EQ(diag.diagRecord(0), r);
    EXPECT_EQ(r->level(), 2);
    EXPECT_EQ(r->annotation(), L"Char");
    EXPECT_FALSE(r->hasImage());
    ASSERT_EQ(r->texts().size(), 1u);
    EXPECT_EQ(r->texts()[0].name, L"Key");
    EXPECT_EQ(r->texts()[0].text,
              L"Name : \nCharacter code : 63488\nInstance : -1\nVariant : -1\nFontID : -1\n"
              L"Polarity : 4\n");
    ASSERT_EQ(r->graphicsLists().size(), 1u);
    EXPECT_EQ(r->graphicsLists()[0].name, L"rect(s)");
    EXPECT_EQ(r->graphicsLists()[0].coordinateSystem, xcDisplay::eImageCoords);
    ASSERT_EQ(r->graphicsLists()[0].list.size(), 1);
    const Outline& g = outline(*r, 0);
    EXPECT_FALSE(g.fill());
    EXPECT_EQ(g.props().color(), xcColor::greenColor());
    EXPECT_EQ(g.shape(), xcGenRect(xcRect()));
}

TEST(OCCharReport, WhichRectangleListIsDrawn) {
    xcOCChar c;
    c.name(L"Q");
    c.polarity(xcOCDefs::eLightOnDark);
    xcPelBuffer<unsigned char> img = pattern(xcPelRect(0, 0, 20, 16));
    c.image(img, xcPelRect());
    c.imageArea(xcPelRect(2, 2, 5, 5));
    M m;
    m.cellRect(xcRect(0, 0, 10, 8));
    m.markRect(xcRect(1, 1, 6, 5));
    m.rect(M::eCellRectImage, xcRect(0.5, 0, 20, 16));
    m.rect(M::eMarkRectImage, xcRect(2, 2, 12, 10));
    m.rect(M::eDetectedMarkRect, xcRect(3, 3, 1, 1));
    for (M::RectType t : {M::eCellRect, M::eMarkRect, M::eCellRectImage, M::eMarkRectImage,
                          M::eDetectedMarkRect, M::eDetectedMarkRectImage})
        m.isRectSpecified(t, true);
    c.metrics(m);

    xcDiagObject diag;
    // All four specified: a tie, so the image list (mark first, then cell).
    xcDiagRecord* r = xf_AddOCChar(&diag, c, L"all");
    EXPECT_EQ(r->texts()[0].text,
              L"Name : Q\nCharacter code : 63488\nInstance : -1\nVariant : -1\nFontID : -1\n"
              L"Polarity : 2\n");
    // The whole image, sharing its pixels, not the image area.
    ASSERT_TRUE(r->hasImage());
    EXPECT_EQ(r->image().window(), xcPelRect(0, 0, 20, 16));
    EXPECT_TRUE(r->image().sharesRoot(c.image(false)));
    EXPECT_EQ(r->graphicsLists()[0].coordinateSystem, xcDisplay::eImageCoords);
    ASSERT_EQ(r->graphicsLists()[0].list.size(), 2);
    EXPECT_EQ(outline(*r, 0).props().color(), xcColor::greenColor());
    EXPECT_EQ(outline(*r, 0).shape(), xcGenRect(xcRect(2, 2, 12, 10)));
    EXPECT_EQ(outline(*r, 1).props().color(), xcColor::orangeColor());
    EXPECT_EQ(outline(*r, 1).shape(), xcGenRect(xcRect(0.5, 0, 20, 16)));

    // Only the client rectangles (and the detected ones, never drawn): the client list.
    m.isRectSpecified(M::eCellRectImage, false);
    m.isRectSpecified(M::eMarkRectImage, false);
    c.metrics(m);
    r = xf_AddOCChar(&diag, c, L"client");
    EXPECT_EQ(r->graphicsLists()[0].coordinateSystem, xcDisplay::eClientCoords);
    ASSERT_EQ(r->graphicsLists()[0].list.size(), 2);
    EXPECT_EQ(outline(*r, 0).shape(), xcGenRect(xcRect(1, 1, 6, 5)));
    EXPECT_EQ(outline(*r, 1).shape(), xcGenRect(xcRect(0, 0, 10, 8)));
    EXPECT_FALSE(outline(*r, 1).fill());

    // One of each: the image list again.
    m.isRectSpecified(M::eCellRect, false);
    m.isRectSpecified(M::eCellRectImage, true);
    c.metrics(m);
    r = xf_AddOCChar(&diag, c, L"one each");
    EXPECT_EQ(r->graphicsLists()[0].coordinateSystem, xcDisplay::eImageCoords);
    ASSERT_EQ(r->graphicsLists()[0].list.size(), 1);
    EXPECT_EQ(outline(*r, 0).props().color(), xcColor::orangeColor());

    // Nothing drawable: an empty image list.
    c.metrics(M());
    r = xf_AddOCChar(&diag, c, L"none");
    EXPECT_EQ(r->graphicsLists()[0].coordinateSystem, xcDisplay::eImageCoords);
    EXPECT_EQ(r->graphicsLists()[0].list.size(), 0);
    EXPECT_EQ(diag.numRecords(), 4);
}

TEST(OCCharReport, UnrepresentableNameIsLeftOut) {
    xcOCChar c;
    c.key(xcOCCharKey(0x41, 1, 2, 3));
    c.name32(std::u32string{0x110000});
    xcDiagObject diag;
    const xcDiagRecord* r = xf_AddOCChar(&diag, c, L"t");
    EXPECT_EQ(r->texts()[0].text,
              L"Character code : 65\nInstance : 1\nVariant : 2\nFontID : 3\nPolarity : 4\n");
    EXPECT_EQ(xf_AddOCChar(nullptr, c, L"t"), nullptr);
}
