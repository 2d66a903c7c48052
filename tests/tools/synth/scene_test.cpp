#include "tools/synth/scene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "test_util.h"
#include "tests/support/expect_error.h"
#include "tools/synth/glyph_model.h"
#include "tools/synth/truth_json.h"

namespace {

xcSynthLineSpec straight(const std::wstring& text, xcVector<2> start, double angle) {
    xcSynthLineSpec l;
    l.text = text;
    l.start = start;
    l.angle = angle;
    return l;
}

xcSynthLineSpec circle(const std::wstring& text, xcVector<2> centre, double radius,
                       double startAngle, bool clockwise) {
    xcSynthLineSpec l;
    l.kind = xcSynthLineSpec::eCircular;
    l.text = text;
    l.centre = centre;
    l.radius = radius;
    l.startAngle = startAngle;
    l.clockwise = clockwise;
    return l;
}

bool samePixels(const xcPelBuffer_const<unsigned char>& a,
                const xcPelBuffer_const<unsigned char>& b) {
    if (a.window() != b.window()) return false;
    for (long y = 0; y < a.height(); ++y)
        for (long x = 0; x < a.width(); ++x)
            if (a.get(x, y) != b.get(x, y)) return false;
    return true;
}

// Sum of squared differences of horizontal and vertical neighbours.
double gradientEnergy(const xcPelBuffer_const<unsigned char>& b) {
    double e = 0.0;
    for (long y = 0; y + 1 < b.height(); ++y)
        for (long x = 0; x + 1 < b.width(); ++x) {
            const double v = b.get(x, y);
            e += (b.get(x + 1, y) - v) * (b.get(x + 1, y) - v) +
                 (b.get(x, y + 1) - v) * (b.get(x, y + 1) - v);
        }
    return e;
}

// Pixels whose whole square lies within the quad's axis-aligned box shrunk by `in`.
xcPelRect innerPixels(const std::array<xcVector<2>, 4>& q, double in) {
    double x0 = 1e9, y0 = 1e9, x1 = -1e9, y1 = -1e9;
    for (const auto& p : q) {
        x0 = std::min(x0, p.x()), y0 = std::min(y0, p.y());
        x1 = std::max(x1, p.x()), y1 = std::max(y1, p.y());
    }
    const long ix0 = static_cast<long>(std::ceil(x0 + in)),
               iy0 = static_cast<long>(std::ceil(y0 + in));
    return {ix0, iy0, static_cast<long>(std::floor(x1 - in)) - ix0,
            static_cast<long>(std::floor(y1 - in)) - iy0};
}

}  // namespace

TEST(SynthScene, StraightLineOriginsFollowTheLine) {
    const xcSynthFont& font = testFont();
    xcSynthSceneParams p;
    p.globalScale = 1.25;
    p.lines = {straight(L"AVa 7g", {30.5, 90.25}, -12.0)};
    p.lines[0].advanceScale = 1.1;
    xcSynthLineSpec pitched = straight(L"WiW", {40.0, 200.0}, 33.0);
    pitched.pitch = 27.5;
    p.lines.push_back(pitched);
    const xcSynthScene s = xfSynthScene(font, p);
    ASSERT_EQ(s.truth.chars.size(), 9u);
    const double a = -12.0 * std::numbers::pi / 180.0;
    const xcVector<2> u(std::cos(a), std::sin(a));
    double along = 0.0;
    for (int k = 0; k < 6; ++k) {
        const xcSynthCharTruth& t = s.truth.chars[k];
        EXPECT_EQ(t.line, 0);
        EXPECT_EQ(t.index, k);
        const xcVector<2> expect = xcVector<2>(30.5, 90.25) + u * along;
        EXPECT_NEAR(t.pose.position.x(), expect.x(), 1e-9);
        EXPECT_NEAR(t.pose.position.y(), expect.y(), 1e-9);
        EXPECT_EQ(t.pose.angle, -12.0);
        EXPECT_DOUBLE_EQ(t.pose.scale, 1.25);
        EXPECT_EQ(t.blank, k == 3);
        EXPECT_EQ(t.drawn, k != 3);
        // The cell's lower edge runs along the line, its upper-left corner above it.
        const xcSynthGlyphMetrics m = font.metrics(t.code, 32.0);
        EXPECT_NEAR((t.cell[1] - t.cell[0]).len(), m.cellWidth * 1.25, 1e-9);
        EXPECT_NEAR((t.cell[1] - t.cell[0]).unit().dot(u), 1.0, 1e-12);
        EXPECT_NEAR((t.cell[3] - t.cell[0]).cross(u), m.cellHeight * 1.25, 1e-9);
        along += m.advance * 1.25 * 1.1;
    }
    for (int k = 7; k < 9; ++k) {
        const xcVector<2> d = s.truth.chars[k].pose.position - s.truth.chars[k - 1].pose.position;
        EXPECT_NEAR(d.len(), 27.5, 1e-9);
        EXPECT_NEAR(d.angle(), 33.0 * std::numbers::pi / 180.0, 1e-12);
    }
}

TEST(SynthScene, CircularLayoutKeepsOriginsOnTheCircle) {
    const xcSynthFont& font = testFont();
    const xcVector<2> c(200.0, 180.0);
    for (bool clockwise : {true, false}) {
        xcSynthSceneParams p;
        p.width = p.height = 400;
        p.lines = {circle(L"CIRCLE-01", c, 110.0, -150.0, clockwise)};
        p.lines[0].pitch = 20.0;
        xcSynthLineSpec upright = circle(L"ABC", c, 60.0, 30.0, clockwise);
        upright.turnWithArc = false;
        p.lines.push_back(upright);
        const xcSynthScene s = xfSynthScene(font, p);
        const double step = 2.0 * std::asin(20.0 / 220.0) * (clockwise ? 1.0 : -1.0);
        for (int k = 0; k < 9; ++k) {
            const xcSynthCharTruth& t = s.truth.chars[k];
            const xcVector<2> r = t.pose.position - c;
            EXPECT_NEAR(r.len(), 110.0, 1e-9);
            // Polar angles advance by the chord's angle, in the requested sense.
            const double expectPhi = (-150.0 * std::numbers::pi / 180.0) + k * step;
            EXPECT_NEAR(std::remainder(r.angle() - expectPhi, 2 * std::numbers::pi), 0.0, 1e-12);
            // The character's x axis runs along the chord to the next origin.
            const xcVector<2> next =
                c + xcVector<2>(std::cos(expectPhi + step), std::sin(expectPhi + step)) * 110.0;
            EXPECT_NEAR(std::remainder(t.pose.angle * std::numbers::pi / 180.0 -
                                           (next - t.pose.position).angle(),
                                       2 * std::numbers::pi),
                        0.0, 1e-9);
            // Clockwise text stands with its top outwards, counter-clockwise inwards.
            const double top = (t.cell[3] - c).len();
            if (clockwise)
                EXPECT_GT(top, 110.0 + 30.0);
            else
                EXPECT_LT(top, 110.0 - 30.0);
        }
        for (int k = 9; k < 12; ++k) {
            EXPECT_NEAR((s.truth.chars[k].pose.position - c).len(), 60.0, 1e-9);
            EXPECT_EQ(s.truth.chars[k].pose.angle, 0.0);
        }
    }
    xcSynthSceneParams bad;
    bad.lines = {straight(L"A", {10, 10}, 0), circle(L"WW", c, 5.0, 0.0, true)};
    expectError<xcBadArgument>([&] { xfSynthScene(font, bad); },
                               L"Line 1: Character step 31.640625 px is longer than the circle's "
                               L"diameter 10.000000 px");
}

TEST(SynthScene, SameSeedSameSceneOtherSeedOther) {
    xcSynthSceneParams p;
    p.width = 300;
    p.height = 160;
    p.lines = {straight(L"SEED 1234", {20, 80}, 4.0), circle(L"xyz", {220, 90}, 50, 200, true)};
    p.jitter = {1.5, 4.0, 0.1};
    p.noiseSigma = 6.0;
    p.saltPepper = 0.01;
    p.blurSigma = 0.7;
    p.gradient = 0.2;
    p.distractorGlyphs = 3;
    p.distractorLines = 2;
    p.damagedFraction = 0.3;
    p.missingFraction = 0.2;
    p.seed = 77;
    const xcSynthScene a = xfSynthScene(testFont(), p), b = xfSynthScene(testFont(), p);
    EXPECT_TRUE(samePixels(a.image, b.image));
    EXPECT_EQ(xfSynthTruthJson(a.truth), xfSynthTruthJson(b.truth));
    p.seed = 78;
    const xcSynthScene c = xfSynthScene(testFont(), p);
    EXPECT_FALSE(samePixels(a.image, c.image));
    EXPECT_NE(a.truth.chars[0].pose.position, c.truth.chars[0].pose.position);
    // Turning on an effect leaves the jitter (its own stream) as it was.
    p.seed = 77;
    p.noiseSigma = 0.0;
    const xcSynthScene d = xfSynthScene(testFont(), p);
    EXPECT_EQ(d.truth.chars[4].pose.position, a.truth.chars[4].pose.position);
    EXPECT_FALSE(samePixels(a.image, d.image));
}

TEST(SynthScene, NoiseAndBlurChangeTheStatisticsAsRequested) {
    xcSynthSceneParams p;
    p.width = 320;
    p.height = 200;
    p.tones = {eDarkOnLight, 40.0, 128.0};
    p.noiseSigma = 7.0;
    const xcSynthScene flat = xfSynthScene(testFont(), p);  // no text: a flat area
    double sum = 0, sum2 = 0;
    for (long y = 0; y < p.height; ++y)
        for (long x = 0; x < p.width; ++x) {
            const double d = flat.image.get(x, y) - 128.0;
            sum += d;
            sum2 += d * d;
        }
    const double n = 320.0 * 200.0;
    // Rounding to integers adds 1/12 to the variance.
    EXPECT_NEAR(std::sqrt(sum2 / n - 1.0 / 12.0), 7.0, 0.15);
    EXPECT_NEAR(sum / n, 0.0, 0.1);

    p.noiseSigma = 0.0;
    p.lines = {straight(L"Blur me 42", {20, 120}, 0.0)};
    p.globalScale = 1.5;
    const xcSynthScene sharp = xfSynthScene(testFont(), p);
    p.blurSigma = 1.5;
    const xcSynthScene blurred = xfSynthScene(testFont(), p);
    EXPECT_LT(gradientEnergy(blurred.image), 0.5 * gradientEnergy(sharp.image));
    double m0 = 0, m1 = 0;  // the blur keeps the mean (the text is far from the borders)
    for (long y = 0; y < p.height; ++y)
        for (long x = 0; x < p.width; ++x)
            m0 += sharp.image.get(x, y), m1 += blurred.image.get(x, y);
    EXPECT_NEAR(m0 / n, m1 / n, 0.05);
}

TEST(SynthScene, MissingAndDamagedCharactersChangeOnlyTheirCells) {
    xcSynthSceneParams p;
    p.width = 360;
    p.height = 120;
    p.lines = {straight(L"ABCDE", {20, 80}, 0.0)};
    p.lines[0].pitch = 60.0;  // gaps between the cells
    const xcSynthScene full = xfSynthScene(testFont(), p);
    p.missing = {2};
    p.damaged = {3};
    p.damageAmount = 0.4;
    const xcSynthScene cut = xfSynthScene(testFont(), p);
    const auto& t = cut.truth.chars;
    EXPECT_TRUE(t[2].missing);
    EXPECT_FALSE(t[2].drawn);
    EXPECT_TRUE(t[3].damaged);
    EXPECT_TRUE(t[3].drawn);
    EXPECT_EQ(t[3].erased.size(), 4u);
    EXPECT_FALSE(t[1].missing || t[1].damaged);
    const xcPelRect missingCell = innerPixels(t[2].cell, 0.0);
    const xcPelRect damagedCell = innerPixels(t[3].cell, -1.0);
    std::array<xcVector<2>, 4> er;
    std::copy(t[3].erased.begin(), t[3].erased.end(), er.begin());
    const xcPelRect erased = innerPixels(er, 0.0);
    long changedInDamage = 0, inkErased = 0;
    for (long y = 0; y < p.height; ++y)
        for (long x = 0; x < p.width; ++x) {
            const unsigned char a = full.image.get(x, y), b = cut.image.get(x, y);
            if (missingCell.contains(x, y)) {
                ASSERT_EQ(b, 220) << "ink where the missing character stands: " << x << "," << y;
            } else if (damagedCell.contains(x, y)) {
                changedInDamage += a != b;
                ASSERT_GE(b, a);  // only erased, never inked
                if (erased.contains(x, y)) {
                    ASSERT_EQ(b, 220);
                    inkErased += a != 220;
                }
            } else {
                ASSERT_EQ(a, b) << "change outside the two cells at " << x << "," << y;
            }
        }
    EXPECT_GT(changedInDamage, 10);
    EXPECT_GT(inkErased, 10);
}

TEST(SynthScene, UprightGlyphMatchesItsModelPixelForPixel) {
    // Scale 1, angle 0, an integer origin: the scene's pixels are the model's, shifted.
    xcSynthGlyphParams gp;
    gp.pixelSize = 26.0;
    gp.tones = {eDarkOnLight, 25.0, 210.0};
    xcSynthSceneParams p;
    p.width = 200;
    p.height = 100;
    p.pixelSize = 26.0;
    p.tones = gp.tones;
    p.lines = {straight(L"R&q", {50.0, 70.0}, 0.0)};
    p.lines[0].pitch = 45.0;
    const xcSynthScene s = xfSynthScene(testFont(), p);
    for (int k = 0; k < 3; ++k) {
        const xcSynthGlyph g = xfSynthGlyphModel(testFont(), s.truth.chars[k].code, gp);
        const long dx = 50 + 45 * k - g.cell.x(), dy = 70 - (g.cell.y() + g.cell.height());
        long ink = 0;
        for (long y = 0; y < g.image.height(); ++y)
            for (long x = 0; x < g.image.width(); ++x) {
                ASSERT_EQ(s.image.get(x + dx, y + dy), g.image.get(x, y))
                    << k << ": " << x << "," << y;
                ink += g.image.get(x, y) != 210;
            }
        EXPECT_GT(ink, 30);
    }
}

TEST(SynthScene, RotatedGlyphInkCentroidFollowsThePose) {
    xcSynthGlyphParams gp;
    gp.pixelSize = 40.0;
    gp.tones = {eDarkOnLight, 0.0, 255.0};
    const xcSynthGlyph g = xfSynthGlyphModel(testFont(), U'R', gp);
    const xcVector<2> modelCentroid = g.clientFromImage.mapPoint(inkCentroid(g.image, 0.0, 255.0));
    // A scene whose client frame is rotated and shifted against its pixels, too.
    const xcXform<2> sceneClients[] = {xcXform<2>(),
                                       xcXform<2>({-40.0, 25.0}, 1.0, 1.0, 0.0, xcRadian(0.4))};
    for (const xcXform<2>& clientFromImage : sceneClients) {
        for (double angle : {37.0, -121.5, 180.0}) {
            xcSynthSceneParams p;
            p.width = p.height = 260;
            p.pixelSize = 40.0;
            p.tones = gp.tones;
            p.clientFromImage = clientFromImage;
            const xcVector<2> where = clientFromImage.mapPoint({130.3, 140.7});
            p.lines = {straight(L"R", where, angle)};
            p.lines[0].scale = 1.3;
            const xcSynthScene s = xfSynthScene(testFont(), p);
            EXPECT_EQ(s.image.clientFromImageXform(), clientFromImage);
            const xcVector<2> expect = s.truth.chars[0].xform.mapPoint(modelCentroid);
            const xcVector<2> got = clientFromImage.mapPoint(inkCentroid(s.image, 0.0, 255.0));
            EXPECT_NEAR(got.x(), expect.x(), 0.1) << angle;
            EXPECT_NEAR(got.y(), expect.y(), 0.1) << angle;
        }
    }
}

TEST(SynthScene, DistractorsKeepClearOfTheText) {
    xcSynthSceneParams p;
    p.width = 400;
    p.height = 300;
    p.lines = {straight(L"TARGET", {100, 160}, 0.0)};
    const xcSynthScene plain = xfSynthScene(testFont(), p);
    p.distractorGlyphs = 8;
    p.distractorLines = 5;
    p.distractorLineWidth = 2.5;
    const xcSynthScene busy = xfSynthScene(testFont(), p);
    long glyphs = 0, strokes = 0;
    for (const auto& d : busy.truth.distractors) {
        glyphs += d.kind == xcSynthDistractor::eGlyph;
        strokes += d.kind == xcSynthDistractor::eStroke;
        if (d.kind == xcSynthDistractor::eStroke) {
            EXPECT_EQ(d.width, 2.5);
        }
    }
    EXPECT_EQ(glyphs, 8);
    EXPECT_EQ(strokes, 5);
    long changed = 0;
    for (const auto& t : busy.truth.chars) {
        const xcPelRect r = innerPixels(t.cell, 0.0);
        for (long y = r.y(); y < r.y() + r.height(); ++y)
            for (long x = r.x(); x < r.x() + r.width(); ++x)
                ASSERT_EQ(busy.image.get(x, y), plain.image.get(x, y));
    }
    for (long y = 0; y < p.height; ++y)
        for (long x = 0; x < p.width; ++x) changed += busy.image.get(x, y) != plain.image.get(x, y);
    EXPECT_GT(changed, 300);
}

TEST(SynthScene, BadParametersAreRejectedWithTheirNames) {
    const auto expectRefused = [](const xcSynthSceneParams& p, const std::wstring& message) {
        SCOPED_TRACE(testing::PrintToString(message));
        expectError<xcBadArgument>([&] { xfSynthScene(testFont(), p); }, message);
    };
    xcSynthSceneParams p;
    p.lines = {straight(L"abc", {10, 40}, 0.0)};
    xcSynthSceneParams q = p;
    q.width = 0;
    expectRefused(q, L"Scene width and height must be in [1, 16384], got 0 x 480");
    q = p;
    q.missing = {3};
    expectRefused(q, L"Missing character index 3 is outside [0, 3)");
    q = p;
    q.jitter.scale = 1.0;
    expectRefused(q, L"Scale jitter must be in [0, 1), got 1.000000");
    q = p;
    q.clientFromImage = xcXform<2>(xcMatrix<2>(1, 2, 2, 4), {0, 0});
    expectRefused(q, L"Scene client-from-image transform must be finite and invertible");
    q = p;
    q.lines[0].scale = -1.0;
    expectRefused(q, L"Line 0: Line scale must be in (0, 100], got -1.000000");
    q = p;
    q.distractorGlyphs = 2;
    q.distractorChars = L"  ";
    expectRefused(q, L"Distractor characters must include one that is not blank");
    q = p;
    q.lines[0].text = L"a\U0010FFFD";
    expectRefused(q, L"Line 0: Font 'DejaVu Sans' has no glyph for U+10FFFD");
}

TEST(SynthTruthJson, WritesEveryCharacterAndDistractor) {
    xcSynthSceneParams p;
    p.width = 200;
    p.height = 100;
    p.lines = {straight(L"A \"", {10.25, 60}, 0.0)};
    p.missing = {0};
    p.distractorLines = 1;
    const xcSynthScene s = xfSynthScene(testFont(), p);
    const std::string j = xfSynthTruthJson(s.truth);
    EXPECT_NE(j.find("\"width\": 200, \"height\": 100"), std::string::npos);
    EXPECT_NE(j.find("\"code\": 65, \"char\": \"A\", \"blank\": false, \"drawn\": false, "
                     "\"missing\": true"),
              std::string::npos)
        << j;
    EXPECT_NE(j.find("\"code\": 34, \"char\": \"\\\"\""), std::string::npos);
    EXPECT_NE(j.find("\"position\": [10.25, 60]"), std::string::npos);
    EXPECT_NE(j.find("\"kind\": \"stroke\""), std::string::npos);
    EXPECT_EQ(j.front(), '{');
    long opens = 0;
    for (char ch : j) opens += (ch == '{' || ch == '[') - (ch == '}' || ch == ']');
    EXPECT_EQ(opens, 0);

    xcSynthGlyphParams gp;
    const auto gs = xfSynthGlyphModels(testFont(), L"b ", gp);
    const std::string gj = xfSynthGlyphsJson(testFont(), gp, gs, {"b.png"});
    EXPECT_NE(gj.find("\"code\": 98, \"char\": \"b\", \"blank\": false, \"file\": \"b.png\""),
              std::string::npos)
        << gj;
    EXPECT_NE(gj.find("\"blank\": true, \"file\": \"\""), std::string::npos);
}
