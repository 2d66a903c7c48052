// Planted arrangements: candidate sets made from the exact poses of ocsynth layouts, with
// decoys beside the true instances; the search must pick the true ones, break the lines where
// the text breaks and find each line's shape.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "arrange_test_util.h"
#include "tools/synth/glyph_model.h"
#include "tools/synth/layout.h"

using namespace arrange_test;
using D = xcOCArrangeDefs;

namespace {

struct Planted {
    Target target;
    std::vector<long> truth;  // index of the true instance per position, -1 for none
};

enum Decoy { eTurned, eFar, ePart, eNeighbour };

// Adds the characters of `line` (laid out by ocsynth) to `p`. Each drawn character gets its
// true instance and two decoys (kinds cycling with the position); decoys score as high as the
// truth or higher. `missing` lists characters of the line that were not found.
void addLine(Planted& p, const xcSynthFont& font, const xcSynthLineSpec& line, std::mt19937& rng,
             const std::vector<std::size_t>& missing = {}) {
    xcSynthGlyphParams gp;
    gp.pixelSize = 32;
    const std::vector<xcSynthPose> poses = xfSynthLayoutLine(font, gp.pixelSize, line);
    const std::size_t n = line.text.size();
    for (std::size_t i = 0; i < n; ++i) {
        const char32_t code = static_cast<char32_t>(line.text[i]);
        const xcSynthGlyph g = xfSynthGlyphModel(font, code, gp);
        xc_CharData d;
        d.cellRect(g.cell, g.clientFromImage);
        const long key = static_cast<long>(code) + 1000 * static_cast<long>(p.target.size());
        if (g.blank || std::count(missing.begin(), missing.end(), i) > 0) {
            p.target.add(key, d, {}, {});
            p.target.data.back().isBlank = g.blank;
            p.truth.push_back(-1);
            continue;
        }
        const xc_Pose t(poses[i].xform());
        const double score = 0.9;
        std::vector<std::pair<xc_Pose, double>> list = {{t, score}};
        for (int k = 0; k < 2; ++k) {
            const int kind = static_cast<int>((i + static_cast<std::size_t>(k) * 2) % 4);
            xc_Pose q = t;
            double s = score;
            switch (kind) {
                case eTurned:
                    q.angle += xcRadian(kPi / 2);
                    s = score + 0.02;
                    break;
                case eFar:
                    q.translation += xcVector<2>(700, -450);
                    s = score + 0.03;
                    break;
                case ePart: {
                    const xcVector<2> side = rot(d.cellRect().xSide(), t.angle.toDouble());
                    q = xc_Pose(t.translation + side * 0.4, t.angle, t.scale * 0.6);
                    break;
                }
                default:
                    q.translation = xc_Pose(poses[i + 1 < n ? i + 1 : i - 1].xform()).translation;
                    s = score - 0.02;
            }
            list.emplace_back(q, s);
        }
        std::shuffle(list.begin(), list.end(), rng);
        std::vector<xc_Pose> ps;
        std::vector<double> ss;
        long truth = -1;
        for (auto& [q, s] : list) {
            if (q.translation == t.translation && q.angle == t.angle && q.scale == t.scale)
                truth = static_cast<long>(ps.size());
            ps.push_back(q);
            ss.push_back(s);
        }
        p.target.add(key, d, ps, ss);
        p.truth.push_back(truth);
    }
}

const char* const kFonts[] = {"DejaVuSans.ttf", "DejaVuSerif.ttf", "DejaVuSansMono.ttf"};

void expectFound(const Planted& p, const std::vector<long>& lineStarts,
                 const std::vector<D::LineType>& types, const xcOCArrangeParams& params = {}) {
    xc_ArrangePath best;
    xc_PathSearchStats st;
    ASSERT_TRUE(search(p.target, params, best, &st));
    EXPECT_EQ(best.choices(), p.truth);
    EXPECT_EQ(best.lineStarts(), lineStarts);
    xc_ArrangeCost cost;
    ASSERT_TRUE(evaluate(p.target, best, params, cost, true));
    EXPECT_EQ(cost.lineTypes, types);
    EXPECT_LT(st.maxOpen, 20000u);
}

}  // namespace

TEST(ArrangePlanted, StraightLinesAtSeveralAnglesAndFonts) {
    std::mt19937 rng(7);
    int f = 0;
    for (double angle : {0.0, -15.0, 30.0, 180.0}) {
        const xcSynthFont font(xcSynthFont::locate(kFonts[f++ % 3]));
        SCOPED_TRACE(font.path() + " at " + std::to_string(angle));
        Planted p;
        xcSynthLineSpec line;
        line.text = L"LOT 2024";  // one blank
        line.start = xcVector<2>(300, 300);
        line.angle = angle;
        addLine(p, font, line, rng, {5});  // the first '0' was not found
        expectFound(p, {0}, {D::eStraight});
    }
}

TEST(ArrangePlanted, CircularLinesBothWays) {
    // Counter-clockwise lines are laid out with the width steps taken in the sense of
    // increasing angle, so only evenly wide characters match that layout closely: the
    // counter-clockwise case uses the monospaced font.
    std::mt19937 rng(11);
    for (auto [clockwise, fontName] :
         {std::pair{true, "DejaVuSans.ttf"}, std::pair{true, "DejaVuSerif.ttf"},
          std::pair{false, "DejaVuSansMono.ttf"}}) {
        const xcSynthFont font(xcSynthFont::locate(fontName));
        SCOPED_TRACE(font.path() + (clockwise ? " clockwise" : " counter-clockwise"));
        Planted p;
        xcSynthLineSpec line;
        line.kind = xcSynthLineSpec::eCircular;
        line.text = L"QUALITY0042";
        line.centre = xcVector<2>(400, 400);
        line.radius = 140;
        line.startAngle = clockwise ? -95 : 95;  // text starts running along +x
        line.clockwise = clockwise;
        addLine(p, font, line, rng);
        expectFound(p, {0}, {D::eCircular});
        // The sense is told apart when given: y points down in the client frame, so text
        // running clockwise on screen sweeps positive angles.
        xcOCArrangeParams sense;
        sense.isTextDirectionSpecified(true);
        sense.isCircularTextDirectionClockwise(clockwise);
        expectFound(p, {0}, {D::eCircular}, sense);
        sense.isCircularTextDirectionClockwise(!clockwise);
        xc_ArrangePath best;
        search(p.target, sense, best);
        EXPECT_GT(best.numLines(), 1);  // no arc of the wrong sense
    }
}

TEST(ArrangePlanted, TwoLinesBreakWhereTheTextBreaks) {
    std::mt19937 rng(5);
    const xcSynthFont font(xcSynthFont::locate("DejaVuSans.ttf"));
    Planted p;
    xcSynthLineSpec first;
    first.text = L"ABC12";
    first.start = xcVector<2>(100, 200);
    first.angle = -5;
    xcSynthLineSpec second = first;
    second.text = L"XYZ34";
    second.start = xcVector<2>(105, 250);
    addLine(p, font, first, rng);
    addLine(p, font, second, rng);
    expectFound(p, {0, 5}, {D::eStraight, D::eStraight});
    // One line allowed: the second line cannot be placed.
    xcOCArrangeParams one;
    one.maxLines(1);
    xc_ArrangePath best;
    EXPECT_FALSE(search(p.target, one, best));
    EXPECT_EQ(std::vector<long>(best.choices().begin(), best.choices().begin() + 5),
              std::vector<long>(p.truth.begin(), p.truth.begin() + 5));
    EXPECT_EQ(std::vector<long>(best.choices().begin() + 5, best.choices().end()),
              std::vector<long>(5, -1));
}
