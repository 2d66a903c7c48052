// The report page of an arranger run as a person sees it: written for the arranger's run on
// synthetic scenes, loaded in headless Chromium, its DOM must hold every record and its
// screenshots must show the graphics where the run placed the characters, and nothing far
// from the text. Under CI (the CI variable set) a missing
// browser fails the test; elsewhere it skips.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "oc/arrange/arrange.h"
#include "oc/arrange/arrange_diag_text.h"
#include "oc/arrange/arrange_diags_page.h"
#include "platform/core/char_code.h"
#include "platform/io/png_io.h"
#include "tools/arrange_page/browser.h"
#include "tools/arrange_page/scene_run.h"

namespace fs = std::filesystem;

namespace {

struct TempDir {
    fs::path path;
    TempDir() {
        path = fs::temp_directory_path() /
               ("arrange_page_test_" +
                std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
        fs::create_directories(path);
    }
    ~TempDir() {
        std::error_code ec;
        fs::remove_all(path, ec);
    }
};

// Text as the DOM serialises it.
std::string domText(const std::wstring& s) {
    std::string out;
    for (char c : xfToUtf8(s)) {
        if (c == '&') {
            out += "&amp;";
        } else if (c == '<') {
            out += "&lt;";
        } else if (c == '>') {
            out += "&gt;";
        } else {
            out += c;
        }
    }
    return out;
}

struct Rgb {
    xcRgbPlanes p;
    long w() const { return p.red.width(); }
    long h() const { return p.red.height(); }
    int r(long x, long y) const { return p.red.get(x, y); }
    int g(long x, long y) const { return p.green.get(x, y); }
    int b(long x, long y) const { return p.blue.get(x, y); }
};

// The graphics' colours, in the order of Paint.
enum Paint { eNone, eGreen, eOrange, eRed, eYellow };
const xcColor kPaints[] = {xcColor::greenColor(), xcColor::orangeColor(), xcColor::redColor(),
                           xcColor::yellowColor()};

// Which graphic colour covers screenshot pixel (x, y), knowing the image's grey value v under
// it: the colour C for which the change from grey, d = shown - v, is best explained as
// a (C - v) with a coverage a in (0.25, 1] (anti-aliased edges cover a pixel partly).
Paint paintAt(const Rgb& s, long x, long y, int v) {
    const double d[3] = {static_cast<double>(s.r(x, y) - v), static_cast<double>(s.g(x, y) - v),
                         static_cast<double>(s.b(x, y) - v)};
    const double dd = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
    if (dd < 30.0 * 30.0) return eNone;
    Paint best = eNone;
    double bestResidual = 0.3 * 0.3 * dd;
    for (int k = 0; k < 4; ++k) {
        const double c[3] = {kPaints[k].red() - static_cast<double>(v),
                             kPaints[k].green() - static_cast<double>(v),
                             kPaints[k].blue() - static_cast<double>(v)};
        const double cc = c[0] * c[0] + c[1] * c[1] + c[2] * c[2];
        if (cc < 1.0) continue;
        const double a = (d[0] * c[0] + d[1] * c[1] + d[2] * c[2]) / cc;
        if (a < 0.25 || a > 1.1) continue;
        double residual = 0.0;
        for (int i = 0; i < 3; ++i) residual += (d[i] - a * c[i]) * (d[i] - a * c[i]);
        if (residual < bestResidual) {
            bestResidual = residual;
            best = static_cast<Paint>(k + 1);
        }
    }
    return best;
}

// Where the scene image is shown at 1:1 in the screenshot, at or below row `fromY`: the
// top-most offset at which grey screenshot pixels equal the image's at (nearly) all sampled
// places not covered by graphics.
bool locate(const Rgb& shot, const xcPelBuffer_const<unsigned char>& image, long fromY, long& ox,
            long& oy) {
    std::mt19937 rng(5);
    std::vector<std::pair<long, long>> samples;
    for (int k = 0; k < 400; ++k)
        samples.emplace_back(static_cast<long>(rng() % image.width()),
                             static_cast<long>(rng() % image.height()));
    for (long y = fromY; y + image.height() <= shot.h(); ++y) {
        for (long x = 0; x + image.width() <= shot.w(); ++x) {
            int misses = 0;
            for (const auto& [sx, sy] : samples) {
                const int v = image.get(sx, sy);
                const long px = x + sx, py = y + sy;
                if (std::abs(shot.r(px, py) - v) > 2 || std::abs(shot.g(px, py) - v) > 2 ||
                    std::abs(shot.b(px, py) - v) > 2)
                    if (++misses > 60) break;
            }
            if (misses <= 60) {
                ox = x;
                oy = y;
                return true;
            }
        }
    }
    return false;
}

// The distance from p to the convex quadrilateral q (0 inside).
double distanceToQuad(const xcVector<2>& p, const std::vector<xcVector<2>>& q) {
    bool inside = true;
    double best = 1e300;
    double sign = 0;
    for (std::size_t k = 0; k < q.size(); ++k) {
        const xcVector<2> a = q[k], b = q[(k + 1) % q.size()];
        const xcVector<2> ab = b - a, ap = p - a;
        const double cross = ab.x() * ap.y() - ab.y() * ap.x();
        if (sign == 0 && cross != 0) sign = cross > 0 ? 1 : -1;
        if (cross * sign < 0) inside = false;
        const double t = std::clamp(
            (ap.x() * ab.x() + ap.y() * ab.y()) / (ab.x() * ab.x() + ab.y() * ab.y()), 0.0, 1.0);
        best = std::min(best, (p - (a + ab * t)).len());
    }
    return inside ? 0.0 : best;
}

struct PageCase {
    xcSceneRunOptions::Layout layout;
    const char* font;
    double size;
    xc2Rigid clientFromImage;
};

class ArrangePage : public ::testing::TestWithParam<PageCase> {};

}  // namespace

TEST_P(ArrangePage, RecordsAndOverlaysInHeadlessChromium) {
    const xcHeadlessBrowser browser;
    if (!browser.found()) {
        if (std::getenv("CI")) FAIL() << "headless Chromium is missing (install package chromium)";
        GTEST_SKIP() << "headless Chromium is not installed";
    }
    TempDir tmp;
    xcSceneRunOptions options;
    options.layout = GetParam().layout;
    options.font = GetParam().font;
    options.size = GetParam().size;
    options.clientFromImage = GetParam().clientFromImage;
    xcDiagObject diag;
    const xcSceneRun run = xfSceneRun(options, &diag, 0x70000);
    const fs::path index = xf_WriteArrangeReport(diag, tmp.path / "page", run.keys, *run.alphabet,
                                                 run.results, run.seconds);

    // The DOM once the page's script ran: every record with its title, every text's name.
    const std::string dom = browser.dumpDom(index);
    ASSERT_GT(diag.numRecords(), 5);
    for (long i = 0; i < diag.numRecords(); ++i) {
        const xcDiagRecord& r = *diag.diagRecord(i);
        SCOPED_TRACE(xfToUtf8(r.annotation()));
        const std::size_t at = dom.find("id=\"rec-" + std::to_string(i) + "\"");
        ASSERT_NE(at, std::string::npos);
        EXPECT_EQ(dom.find("<h3 class=\"title\">" + domText(r.annotation()) + "</h3>", at),
                  dom.find("<h3 class=\"title\">", at));
        for (const xcDiagText& t : r.texts())
            EXPECT_NE(dom.find(domText(t.name), at), std::string::npos);
    }
    for (const char* title : {"OC Arranger: Input", "Alphabet details", "OC Arranger: Intermediate",
                              "Build arrangement", "OC Arranger: Output", "Details for line #0"})
        EXPECT_NE(dom.find(std::string("<h3 class=\"title\">") + title + "</h3>"),
                  std::string::npos);
    EXPECT_NE(dom.find("<span class=\"zoom\">1\u00d7</span>"), std::string::npos);  // script ran
    EXPECT_NE(dom.find("<caption>Target positions</caption>"), std::string::npos);

    // Screenshots of two pages: one of the output record alone, whose summary shows its
    // figure; one of the intermediate records, whose summary shows "Build arrangement",
    // followed by "OC Arranger: Intermediate" and "Search for characters" (the image alone).
    const xcPelBuffer_const<unsigned char>& image = run.scene.image;
    const long w = image.width(), h = image.height();
    const xcXform<2> imageFromClient = image.clientFromImageXform().inverse();
    ASSERT_GT(imageFromClient.trans().len(), 1.0);
    // Where the text is (the ground truth) and where the run put each position (the reported
    // pose of the character's cell), in image coordinates.
    std::vector<std::vector<xcVector<2>>> truthCells, reportedCells;
    for (const auto& cell : run.cells) {
        truthCells.emplace_back();
        for (const xcVector<2>& c : cell) truthCells.back().push_back(imageFromClient.mapPoint(c));
    }
    const std::vector<xcOCArrangeDefs::CharStatus>& statuses = run.results.statusFlags();
    for (std::size_t i = 0; i < statuses.size(); ++i) {
        reportedCells.emplace_back();
        if (statuses[i] == xcOCArrangeDefs::eUnknown) continue;
        const xcXform<2> imageFromChar =
            imageFromClient * xfOCArrangeCharPose(run.results, static_cast<long>(i));
        const xcAffineRectangle r = xf_ArrangeCellRect(*run.alphabet->character(run.keys[i]));
        for (const xcVector<2>& c : {r.ul(), r.ur(), r.lr(), r.ll()})
            reportedCells.back().push_back(imageFromChar.mapPoint(c));
    }
    long matched = 0, inferred = 0;
    for (auto st : statuses) {
        matched += st == xcOCArrangeDefs::eMatched;
        inferred += st == xcOCArrangeDefs::eInferred;
    }
    EXPECT_GT(matched, 10);
    EXPECT_GE(inferred, 2);

    struct Shot {
        unsigned long flags;
        std::vector<const char*> figures;
    };
    for (const Shot& s :
         {Shot{0x20000, {"output"}}, Shot{0x40000, {"build", "intermediate", "search"}}}) {
        xcDiagObject shotDiag;
        const xcSceneRun shotRun = xfSceneRun(options, &shotDiag, s.flags);
        ASSERT_TRUE(shotRun.results == run.results);
        const fs::path shotIndex =
            xf_WriteArrangeReport(shotDiag, tmp.path / ("shot" + std::to_string(s.flags)),
                                  shotRun.keys, *shotRun.alphabet, shotRun.results, -1.0);
        const fs::path png = tmp.path / ("shot" + std::to_string(s.flags) + ".png");
        browser.screenshot(shotIndex, png, 1280, 2200);
        const Rgb shot{xfReadPngRgb(png)};
        long fromY = 0;
        for (const char* figure : s.figures) {
            SCOPED_TRACE(figure);
            const bool output = figure[0] == 'o';
            long ox = 0, oy = 0;
            ASSERT_TRUE(locate(shot, image, fromY, ox, oy)) << "the scene image is not on screen";
            fromY = oy + h;

            // Per image pixel, the graphic colour drawn over it.
            std::vector<Paint> paint(static_cast<std::size_t>(w * h));
            long counts[5] = {0, 0, 0, 0, 0};
            for (long y = 0; y < h; ++y)
                for (long x = 0; x < w; ++x) {
                    const Paint p = paintAt(shot, ox + x, oy + y, image.get(x, y));
                    paint[static_cast<std::size_t>(y * w + x)] = p;
                    ++counts[p];
                }
            if (figure[0] == 'i' || figure[0] == 's') {  // the image alone
                EXPECT_EQ(counts[eNone], w * h);
                continue;
            }
            EXPECT_GT(counts[eGreen], 200);
            EXPECT_GT(counts[eOrange], 10);
            EXPECT_GT(counts[eYellow], 20);
            // The output record draws the lines' rectangles, "Build arrangement" the fitted
            // lines.
            if (output) {
                EXPECT_EQ(counts[eRed], 0);
            } else {
                EXPECT_GT(counts[eRed], 100);
            }

            // Each placed position's outline lies on its reported cell: its colour along the
            // cell's sides (a neighbour's later outline may cover a shared side, the line's
            // rectangle the top and bottom, so the length of one side is asked for).
            for (std::size_t i = 0; i < reportedCells.size(); ++i) {
                // "Build arrangement" colours each position by its status; the output record
                // each character by the status of the first position holding its key.
                long status = statuses[i];
                if (output)
                    for (std::size_t k = 0; k < i; ++k)
                        if (run.keys[k] == run.keys[i]) {
                            status = statuses[k];
                            break;
                        }
                if (status == xcOCArrangeDefs::eUnknown || reportedCells[i].empty()) continue;
                SCOPED_TRACE("position " + std::to_string(i));
                const auto& cell = reportedCells[i];
                const Paint want = status == xcOCArrangeDefs::eMatched ? eGreen : eOrange;
                long near[5] = {0, 0, 0, 0, 0};
                for (long y = 0; y < h; ++y)
                    for (long x = 0; x < w; ++x)
                        if (distanceToQuad({x + 0.5, y + 0.5}, cell) < 1.5)
                            ++near[paint[static_cast<std::size_t>(y * w + x)]];
                const double side = (cell[3] - cell[0]).len();
                EXPECT_GT(static_cast<double>(near[want]), (want == eGreen ? 1.0 : 0.5) * side)
                    << "in the cell: " << near[eGreen] << " green, " << near[eOrange] << " orange, "
                    << near[eRed] << " red, " << near[eYellow] << " yellow pixels; cell at ("
                    << cell[0].x() << ", " << cell[0].y() << ") to (" << cell[2].x() << ", "
                    << cell[2].y() << ")";
            }

            // Nothing green, orange or red away from the text.
            long stray = 0;
            for (long y = 0; y < h; ++y)
                for (long x = 0; x < w; ++x) {
                    const Paint p = paint[static_cast<std::size_t>(y * w + x)];
                    if (p != eGreen && p != eOrange && p != eRed) continue;
                    double d = 1e300;
                    for (const auto& q : truthCells)
                        d = std::min(d, distanceToQuad({x + 0.5, y + 0.5}, q));
                    if (d > 3.0) ++stray;
                }
            EXPECT_EQ(stray, 0);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, ArrangePage,
    ::testing::Values(PageCase{xcSceneRunOptions::eStraight, "DejaVuSerif.ttf", 32.0,
                               xc2Rigid({-250.0, 60.0}, xcRadian(xcDegree(90.0)))},
                      PageCase{xcSceneRunOptions::eCircular, "DejaVuSansMono.ttf", 28.0,
                               xc2Rigid({35.0, -410.0}, xcRadian(xcDegree(-30.0)))}),
    [](const ::testing::TestParamInfo<PageCase>& p) {
        return p.param.layout == xcSceneRunOptions::eStraight ? "StraightSerif" : "CircularMono";
    });
