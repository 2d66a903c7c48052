#include "platform/diag/diag_object.h"

#include <gtest/gtest.h>

#include "platform/diag/graphic_shapes.h"
#include "tests/support/expect_error.h"

namespace {

xcGraphicHandle segment(double x0, double y0, double x1, double y1) {
    return xcGraphicHandle(
        new xcGraphicSimple<xcLineSeg>(xcLineSeg({x0, y0}, {x1, y1}), xcColor::redColor()));
}

}  // namespace

TEST(DiagObject, RecordsKeepOrderLevelsAndContent) {
    xcDiagObject d;
    EXPECT_EQ(d.numRecords(), 0);
    EXPECT_EQ(d.level(), 0);
    xcDiagRecord* a = d.newDiagRecord();
    a->recordAnnotation(L"Alphabet");
    d.level(1);
    xcPelBuffer<unsigned char> img(4, 3);
    xcDiagRecord* b = xf_AddImage(&d, img, L"Character #0: 'A'", false);
    b->text(L"Character info\n", L"Character info");
    b->text(L"second", L"Character info");  // names need not be unique
    d.level(0);
    xcDiagRecord* c = xf_AddText(&d, L"x = 1\n", L"Result details");

    ASSERT_EQ(d.numRecords(), 3);
    EXPECT_EQ(d.diagRecord(0), a);
    EXPECT_EQ(d.diagRecord(1), b);
    EXPECT_EQ(d.diagRecord(2), c);
    EXPECT_EQ(a->level(), 0);
    EXPECT_EQ(b->level(), 1);
    EXPECT_EQ(c->level(), 0);
    EXPECT_EQ(b->annotation(), L"Character #0: 'A'");
    ASSERT_EQ(b->texts().size(), 2u);
    EXPECT_EQ(b->texts()[1].text, L"second");
    EXPECT_EQ(c->annotation(), L"Result details");
    ASSERT_EQ(c->texts().size(), 1u);
    EXPECT_EQ(c->texts()[0].name, L"Result details");
    EXPECT_FALSE(a->hasImage());
    EXPECT_TRUE(b->hasImage());

    // Bad index and bad level: clear errors, nothing changes.
    expectError<xcBadArgument>([&] { d.diagRecord(3); },
                               L"Diagnostic record index 3 is outside 0 .. 2");
    EXPECT_THROW(d.diagRecord(-1), xcBadArgument);
    d.level(2);
    EXPECT_THROW(d.level(-1), xcBadArgument);
    EXPECT_EQ(d.level(), 2);

    d.clear();
    EXPECT_EQ(d.numRecords(), 0);
    EXPECT_EQ(d.level(), 0);
}

TEST(DiagObject, ShouldRecordSelectsByBit) {
    EXPECT_TRUE(xcDiagObject::shouldRecord(0x30000, 0x10000));
    EXPECT_TRUE(xcDiagObject::shouldRecord(0x30000, 0x20000));
    EXPECT_FALSE(xcDiagObject::shouldRecord(0x30000, 0x40000));
    EXPECT_FALSE(xcDiagObject::shouldRecord(0, 0x10000));
    EXPECT_TRUE(xcDiagObject::shouldRecord(0x70000, xcDiagObject::eIntermediate));
}

TEST(DiagObject, NullObjectAndBadCoordinateSystem) {
    xcGraphicList list;
    EXPECT_EQ(xf_AddImage(nullptr, xcPelBuffer<unsigned char>(2, 2), L"t", true), nullptr);
    EXPECT_EQ(xf_AddText(nullptr, L"t", L"n"), nullptr);
    EXPECT_EQ(xf_AddGraphics(nullptr, list, L"n", 2), nullptr);

    xcDiagObject d;
    expectError<xcBadArgument>([&] { xf_AddGraphics(&d, list, L"n", 3); },
                               L"Unknown coordinate system 3 (1 image, 2 client coordinates)");
    EXPECT_EQ(d.numRecords(), 0);  // no record made
    xcDiagRecord* r = d.newDiagRecord();
    EXPECT_THROW(r->graphics(list, 0, L"x"), xcBadArgument);
    EXPECT_TRUE(r->graphicsLists().empty());
    r->graphics(list, xcDisplay::eClientCoords, L"x");
    EXPECT_EQ(r->graphicsLists().at(0).coordinateSystem, 2);
}

TEST(DiagObject, ImagesShareOrSnapshotPixels) {
    xcPelBuffer<unsigned char> root(8, 6);
    root.set(3, 2, 10);
    xcPelBuffer<unsigned char> win = root;
    win.window(xcPelRect(2, 1, 4, 3));
    win.clientFromImageXform(xcXform<2>(xcMatrix<2>(2, 0, 0, 2), {1, 1}));
    xcDiagObject d;
    xcDiagRecord* shared = xf_AddImage(&d, win, L"shared", false);
    xcDiagRecord* copied = xf_AddImage(&d, win, L"copied", true);
    root.set(3, 2, 99);
    EXPECT_EQ(shared->image().get(3, 2), 99);
    EXPECT_EQ(copied->image().get(3, 2), 10);
    EXPECT_EQ(copied->image().window(), xcPelRect(2, 1, 4, 3));
    EXPECT_EQ(copied->image().clientFromImageXform(), win.clientFromImageXform());
    // An unbound buffer makes a record without an image.
    xcDiagRecord* none = xf_AddImage(&d, xcPelBuffer_const<unsigned char>(), L"blank", true);
    ASSERT_NE(none, nullptr);
    EXPECT_FALSE(none->hasImage());
}

TEST(GraphicList, SharesOrCopiesAndRecordsKeepTheirOwnList) {
    xcGraphicList list;
    EXPECT_THROW(list.append(xcGraphicHandle()), xcBadArgument);
    EXPECT_TRUE(list.empty());
    xcGraphicHandle s = segment(0, 0, 4, 2);
    list.append(s, true);
    list.append(s, false);
    ASSERT_EQ(list.size(), 2);
    EXPECT_EQ(list.items()[0].get(), s.get());
    EXPECT_NE(list.items()[1].get(), s.get());
    EXPECT_EQ(list.items()[1]->describe(), L"Line segment (0, 0) to (4, 2)");

    xcDiagObject d;
    xcDiagRecord* r = xf_AddGraphics(&d, list, L"segments", 1);
    list.append(segment(1, 1, 2, 2));
    EXPECT_EQ(r->graphicsLists()[0].list.size(), 2);  // the record kept the list as it was
    EXPECT_EQ(r->annotation(), L"segments");

    const xcRect box = list.boundingBox(xcXform<2>::translation({10, 0}));
    EXPECT_EQ(box, xcRect(10, 0, 4, 2));
}

TEST(GraphicProps, ValidatesPen) {
    xcGraphicProps p = xcColor::orangeColor();  // a colour converts to a plain pen
    EXPECT_EQ(p.color(), xcColor::orangeColor());
    EXPECT_EQ(p.penWidth(), 1);
    EXPECT_EQ(p.penStyle(), 0);
    EXPECT_FALSE(p.highlight());
    EXPECT_EQ(xcColor::greenColor().hex(), "#00dc00");
    EXPECT_THROW(xcGraphicProps(xcColor::redColor(), -1, 0, false), xcBadArgument);
    expectError<xcBadArgument>([&] { xcGraphicProps(xcColor::redColor(), 1, 4, false); },
                               L"Unknown pen style 4 (0 solid, 1 dash, 2 dot, 3 dash-dot)");
    EXPECT_THROW(xcGraphicPointIcon({0, 0}, xcColor::redColor(), 0.0), xcBadArgument);
}

TEST(GraphicShapes, GeneralRectangleAndAxes) {
    // A rectangle carried into another frame keeps its four exact corners.
    const xcXform<2> turn(xcMatrix<2>(0, -1, 1, 0), {5, 0});
    xcGenRect g(xcRect(1, 2, 3, 4), turn);
    EXPECT_EQ(g.cornerPo(), xcVector<2>(3, 1));
    EXPECT_EQ(g.cornerPx(), xcVector<2>(3, 4));
    EXPECT_EQ(g.cornerPy(), xcVector<2>(-1, 1));
    xcGraphicWithFill<xcRect, xcGenRect> a(xcRect(0, 0, 2, 1), xcColor::greenColor(), false);
    xcGraphicWithFill<xcRect, xcGenRect> b(g, xcColor::yellowColor(), true);
    EXPECT_EQ(a.shape().cornerPopp(), xcVector<2>(2, 1));
    EXPECT_TRUE(b.fill());
    EXPECT_EQ(b.describe().rfind(L"Filled Affine rectangle (3, 1)", 0), 0u);

    xcCoordAxes axes(xcXform<2>(xcMatrix<2>(0, -1, 1, 0), {1, 1}), 3.0);
    EXPECT_EQ(axes.origin(), xcVector<2>(1, 1));
    EXPECT_EQ(axes.xEnd(), xcVector<2>(1, 4));
    EXPECT_EQ(axes.yEnd(), xcVector<2>(-2, 1));
    EXPECT_EQ(axes.boundingBox(), xcRect(-2, 1, 3, 3));
}
