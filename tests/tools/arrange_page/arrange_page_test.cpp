// The report page of an arranger run as a person sees it: written for a run on synthetic
// scenes, loaded in headless Chromium, its DOM must hold every record and its screenshot must
// show the graphics on the characters they describe. Under CI (the CI variable set) a missing
// browser fails the test; elsewhere it skips.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "oc/arrange/arrange_diags_page.h"
#include "platform/core/char_code.h"
#include "platform/io/png_io.h"
#include "tools/arrange_page/browser.h"
#include "tools/arrange_page/planted_run.h"

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
    bool green(long x, long y) const {
        return g(x, y) > 140 && g(x, y) - std::max(r(x, y), b(x, y)) > 70;
    }
    bool orange(long x, long y) const {
        return r(x, y) > 190 && g(x, y) > 90 && g(x, y) < 200 && b(x, y) < 90 &&
               r(x, y) - g(x, y) > 50;
    }
    bool red(long x, long y) const {
        return r(x, y) > 190 && g(x, y) < 90 && b(x, y) < 90;
    }
};

// Where the scene image is shown at 1:1 in the screenshot: the top-most offset at which grey
// screenshot pixels equal the image's at (nearly) all sampled places not covered by graphics.
bool locate(const Rgb& shot, const xcPelBuffer_const<unsigned char>& image, long& ox, long& oy) {
    std::mt19937 rng(5);
    std::vector<std::pair<long, long>> samples;
    for (int k = 0; k < 400; ++k)
        samples.emplace_back(static_cast<long>(rng() % image.width()),
                             static_cast<long>(rng() % image.height()));
    for (long y = 0; y + image.height() <= shot.h(); ++y) {
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
        const double t = std::clamp((ap.x() * ab.x() + ap.y() * ab.y()) /
                                        (ab.x() * ab.x() + ab.y() * ab.y()),
                                    0.0, 1.0);
        best = std::min(best, (p - (a + ab * t)).len());
    }
    return inside ? 0.0 : best;
}

class ArrangePage : public ::testing::TestWithParam<xcPlantedRunOptions::Layout> {};

}  // namespace

TEST_P(ArrangePage, RecordsAndOverlaysInHeadlessChromium) {
    const xcHeadlessBrowser browser;
    if (!browser.found()) {
        if (std::getenv("CI")) FAIL() << "headless Chromium is missing (install package chromium)";
        GTEST_SKIP() << "headless Chromium is not installed";
    }
    TempDir tmp;
    xcPlantedRunOptions options;
    options.layout = GetParam();
    xcDiagObject diag;
    const xcPlantedRun run = xfPlantedRun(options, &diag, 0x70000);
    const fs::path index =
        xf_WriteArrangeReport(diag, tmp.path / "page", run.keys, *run.alphabet, run.results,
                              run.seconds);

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

    // The screenshot: the summary's figure of the output record, at 1:1.
    const fs::path png = tmp.path / "shot.png";
    browser.screenshot(index, png, 1280, 1000);
    const Rgb shot{xfReadPngRgb(png)};
    long ox = 0, oy = 0;
    ASSERT_TRUE(locate(shot, run.scene.image, ox, oy)) << "the scene image is not on screen";
    const long w = run.scene.image.width(), h = run.scene.image.height();

    std::vector<std::vector<xcVector<2>>> boxes;  // in screenshot pixels
    for (const auto& cell : run.cells) {
        std::vector<xcVector<2>> q;
        for (const xcVector<2>& c : cell) q.emplace_back(c.x() + ox, c.y() + oy);
        boxes.push_back(q);
    }
    const std::vector<xcOCArrangeDefs::CharStatus>& statuses = run.results.statusFlags();
    long matched = 0, inferred = 0;
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        if (statuses[i] == xcOCArrangeDefs::eUnknown) continue;
        SCOPED_TRACE("position " + std::to_string(i));
        const bool isMatched = statuses[i] == xcOCArrangeDefs::eMatched;
        (isMatched ? matched : inferred)++;
        long inBox = 0;
        for (long y = oy; y < oy + h; ++y)
            for (long x = ox; x < ox + w; ++x)
                if ((isMatched ? shot.green(x, y) : shot.orange(x, y)) &&
                    distanceToQuad({x + 0.5, y + 0.5}, boxes[i]) < 2.0)
                    ++inBox;
        // The outline runs round the whole cell: well over half its perimeter is coloured.
        const double perimeter = 2.0 * ((boxes[i][1] - boxes[i][0]).len() +
                                        (boxes[i][3] - boxes[i][0]).len());
        EXPECT_GT(static_cast<double>(inBox), 0.5 * perimeter);
    }
    EXPECT_GT(matched, 10);
    EXPECT_GE(inferred, 1);

    // No character graphic away from the characters, and the fitted line on the text.
    long stray = 0, red = 0, strayRed = 0;
    for (long y = oy; y < oy + h; ++y) {
        for (long x = ox; x < ox + w; ++x) {
            const bool status = shot.green(x, y) || shot.orange(x, y), isRed = shot.red(x, y);
            if (!status && !isRed) continue;
            double d = 1e300;
            for (const auto& q : boxes) d = std::min(d, distanceToQuad({x + 0.5, y + 0.5}, q));
            if (status && d > 3.0) ++stray;
            if (isRed) {
                ++red;
                if (d > 4.0) ++strayRed;
            }
        }
    }
    EXPECT_EQ(stray, 0);
    EXPECT_GT(red, 100);
    EXPECT_EQ(strayRed, 0);
}

INSTANTIATE_TEST_SUITE_P(Layouts, ArrangePage,
                         ::testing::Values(xcPlantedRunOptions::eStraight,
                                           xcPlantedRunOptions::eCircular),
                         [](const auto& info) {
                             return info.param == xcPlantedRunOptions::eStraight ? "Straight"
                                                                                 : "Circular";
                         });
