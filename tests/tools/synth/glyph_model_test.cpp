#include "tools/synth/glyph_model.h"

#include <gtest/gtest.h>

#include <string>

#include "test_util.h"
#include "tests/support/expect_error.h"
#include "tools/synth/coverage.h"

TEST(SynthGlyphModel, InkLiesInsideTheCell) {
    const xcSynthFont& font = testFont();
    xcSynthGlyphParams p;
    p.pixelSize = 29.5;
    p.margin = 3;
    p.tones = {eDarkOnLight, 10.0, 240.0};
    const std::wstring text = L"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    const auto glyphs = xfSynthGlyphModels(font, text, p);
    ASSERT_EQ(glyphs.size(), text.size());
    int checked = 0;
    for (const xcSynthGlyph& g : glyphs) {
        ASSERT_FALSE(g.blank);
        const xcPelRect img = g.image.window();
        // The image holds the cell with the margin on every side, and is background there.
        EXPECT_TRUE(img.trim(p.margin, p.margin, p.margin, p.margin).contains(g.cell));
        EXPECT_EQ(g.cell.width(), g.metrics.cellWidth);
        EXPECT_EQ(g.image.clientFromImageXform(), g.clientFromImage);
        EXPECT_EQ(g.clientFromImage.mapPoint(g.cell.ll()), xcVector<2>(0, 0));
        EXPECT_EQ(g.clientFromImage.mapPoint(g.cell.ur()),
                  xcVector<2>(g.cell.width(), -g.cell.height()));
        // Outlines whose points all lie in the cell leave no ink outside it.
        const xcSynthBounds b =
            xfSynthOutlineBounds(font.outline(g.code), g.metrics.clientFromFont);
        const bool inside =
            b.x0 >= 0 && b.x1 <= g.cell.width() && b.y0 >= -g.cell.height() && b.y1 <= 0;
        long ink = 0;
        for (long y = 0; y < img.height(); ++y)
            for (long x = 0; x < img.width(); ++x) {
                const unsigned char v = g.image.get(x, y);
                const bool inCell = g.cell.contains(x, y);
                const bool inMargin =
                    !img.trim(p.margin, p.margin, p.margin, p.margin).contains(x, y);
                if (!inCell && (inside || inMargin)) {
                    ASSERT_EQ(v, 240) << char(g.code) << " at " << x << "," << y;
                }
                ink += v == 10;
            }
        EXPECT_GT(ink, 5) << char(g.code);
        checked += inside;
    }
    EXPECT_GE(checked, 50);  // a few glyphs (J, f, j, ...) overhang their cells
}

TEST(SynthGlyphModel, BaselineSitsDescentAboveTheCellBottom) {
    // 'H' stands on the baseline with flat feet: the pixel row cut by the baseline is covered
    // exactly by the part of the row above it.
    xcSynthGlyphParams p;
    p.pixelSize = 32.0;  // descent 7.546875 px
    p.tones = {eDarkOnLight, 0.0, 255.0};
    const xcSynthGlyph g = xfSynthGlyphModel(testFont(), U'H', p);
    const long bottom = g.cell.y() + g.cell.height();
    const long cut = bottom - 8;  // row [bottom - 8, bottom - 7) holds the baseline
    const double covered = 8.0 - g.metrics.descent;
    int stems = 0;
    for (long x = g.cell.x(); x < g.cell.x() + g.cell.width(); ++x) {
        if (g.image.get(x, cut - 1) != 0) continue;  // not inside a stem
        EXPECT_EQ(g.image.get(x, cut), xfSynthQuantize(255.0 * (1.0 - covered)));
        EXPECT_EQ(g.image.get(x, cut + 1), 255);
        ++stems;
    }
    EXPECT_GE(stems, 4);
}

TEST(SynthGlyphModel, BlankPolarityAndErrors) {
    xcSynthGlyphParams p;
    p.tones = {eLightOnDark, 20.0, 200.0};
    const auto gs = xfSynthGlyphModels(testFont(), L"I ", p);
    ASSERT_EQ(gs.size(), 2u);
    EXPECT_FALSE(gs[0].blank);
    EXPECT_EQ(gs[0].image.get(0, 0), 20);  // background is the dark tone
    const xcSynthGlyph& sp = gs[1];
    EXPECT_TRUE(sp.blank);
    EXPECT_FALSE(sp.image.isBound());
    EXPECT_EQ(sp.cell, xcPelRect(0, 0, sp.metrics.cellWidth, sp.metrics.cellHeight));
    EXPECT_EQ(sp.clientFromImage.mapPoint(sp.cell.ll()), xcVector<2>(0, 0));
    // The stem of 'I' is light.
    const xcPelRect c = gs[0].cell;
    EXPECT_EQ(gs[0].image.get(c.x() + c.width() / 2, c.y() + c.height() / 2), 200);

    p.margin = -1;
    expectError<xcBadArgument>([&] { xfSynthGlyphModels(testFont(), L"A", p); },
                               L"Glyph margin must be in [0, 1024] pixels, got -1");
    p.margin = 2;
    p.tones.light = 300;
    EXPECT_THROW(xfSynthGlyphModel(testFont(), U'A', p), xcBadArgument);
    p.tones.light = 200;
    EXPECT_THROW(xfSynthGlyphModels(testFont(), L"A\U0010FFFD", p), xcBadArgument);
}
