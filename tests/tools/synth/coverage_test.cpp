#include "tools/synth/coverage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "test_util.h"

namespace {

// Naive oracle: coverage of pixel (x, y) by a polygon under the non-zero rule, by sampling
// n x n points of the pixel.
double sampledCoverage(const std::vector<xcVector<2>>& poly, long x, long y, int n) {
    int inside = 0;
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const double px = x + (i + 0.5) / n, py = y + (j + 0.5) / n;
            int winding = 0;
            for (std::size_t k = 0; k < poly.size(); ++k) {
                const xcVector<2> a = poly[k], b = poly[(k + 1) % poly.size()];
                if ((a.y() <= py) != (b.y() <= py)) {
                    const double t = (py - a.y()) / (b.y() - a.y());
                    if (a.x() + t * (b.x() - a.x()) > px) winding += b.y() > a.y() ? 1 : -1;
                }
            }
            inside += winding != 0;
        }
    }
    return static_cast<double>(inside) / (n * n);
}

xcSynthCoverage render(const xcPelRect& rect, const std::vector<xcVector<2>>& poly,
                       bool evenOdd = false) {
    xcSynthCoverage c(rect);
    c.addPolygon(poly);
    c.resolve(evenOdd);
    return c;
}

}  // namespace

TEST(SynthCoverage, AxisAlignedRectangleGivesExactAreas) {
    // [1.25, 4.75] x [2.5, 5.0]: the overlap of each pixel is a product of interval lengths.
    const std::vector<xcVector<2>> r = {{1.25, 2.5}, {4.75, 2.5}, {4.75, 5.0}, {1.25, 5.0}};
    const xcSynthCoverage c = render(xcPelRect(0, 0, 7, 7), r);
    double total = 0.0;
    for (long y = 0; y < 7; ++y) {
        for (long x = 0; x < 7; ++x) {
            const double ox = std::max(0.0, std::min(x + 1.0, 4.75) - std::max(x + 0.0, 1.25));
            const double oy = std::max(0.0, std::min(y + 1.0, 5.0) - std::max(y + 0.0, 2.5));
            EXPECT_NEAR(c.at(x, y), ox * oy, 1e-12) << x << "," << y;
            total += c.at(x, y);
        }
    }
    EXPECT_NEAR(total, 3.5 * 2.5, 1e-12);
    // The reversed contour fills the same area under the non-zero rule.
    const xcSynthCoverage rev = render(xcPelRect(0, 0, 7, 7), {r[3], r[2], r[1], r[0]});
    for (long y = 0; y < 7; ++y)
        for (long x = 0; x < 7; ++x) EXPECT_NEAR(rev.at(x, y), c.at(x, y), 1e-12);
}

TEST(SynthCoverage, SlantedPolygonsMatchSupersampledOracle) {
    // A rotated square and a thin sliver, on an odd-sized tile with an offset origin.
    const double a = 0.61;
    std::vector<xcVector<2>> square;
    for (int k = 0; k < 4; ++k) {
        const double t = a + k * 1.5707963267948966;
        square.emplace_back(-3.3 + 5.2 * std::cos(t), 4.7 + 5.2 * std::sin(t));
    }
    const std::vector<xcVector<2>> sliver = {{-9.1, -1.3}, {2.4, 9.9}, {2.9, 9.6}};
    const xcPelRect rect(-11, -3, 17, 15);
    for (const auto& poly : {square, sliver}) {
        const xcSynthCoverage c = render(rect, poly);
        double worst = 0.0;
        for (long y = rect.y(); y < rect.y() + rect.height(); ++y)
            for (long x = rect.x(); x < rect.x() + rect.width(); ++x)
                worst = std::max(worst, std::fabs(c.at(x, y) - sampledCoverage(poly, x, y, 64)));
        EXPECT_LT(worst, 0.02);  // the oracle's own sampling error is about 1/64
    }
}

TEST(SynthCoverage, ClippedTileMatchesTheWholeShape) {
    // Shapes reaching out of the tile on every side, and one lying wholly left of it, must
    // give the same pixels as on a tile that holds them.
    const std::vector<xcVector<2>> tri = {{-6.3, 1.7}, {12.2, -4.1}, {5.5, 13.6}};
    const std::vector<xcVector<2>> leftBox = {{-9.0, 2.2}, {-7.0, 2.2}, {-7.0, 6.6}, {-9.0, 6.6}};
    const xcPelRect big(-12, -6, 30, 24), small(0, 0, 5, 7);
    for (const auto& poly : {tri, leftBox}) {
        const xcSynthCoverage whole = render(big, poly);
        const xcSynthCoverage part = render(small, poly);
        for (long y = 0; y < 7; ++y)
            for (long x = 0; x < 5; ++x) EXPECT_NEAR(part.at(x, y), whole.at(x, y), 1e-12);
    }
    // A shape entirely left of the tile, closed: no coverage inside the tile.
    const xcSynthCoverage none = render(small, leftBox);
    for (long y = 0; y < 7; ++y)
        for (long x = 0; x < 5; ++x) EXPECT_EQ(none.at(x, y), 0.0);
}

TEST(SynthCoverage, FillRules) {
    // Two nested squares of the same orientation: non-zero fills the inner one, even-odd
    // leaves it empty.
    xcSynthCoverage nz(xcPelRect(0, 0, 10, 10)), eo(xcPelRect(0, 0, 10, 10));
    for (xcSynthCoverage* c : {&nz, &eo}) {
        c->addPolygon({{1, 1}, {9, 1}, {9, 9}, {1, 9}});
        c->addPolygon({{3, 3}, {7, 3}, {7, 7}, {3, 7}});
    }
    nz.resolve(false);
    eo.resolve(true);
    EXPECT_EQ(nz.at(5, 5), 1.0);
    EXPECT_EQ(eo.at(5, 5), 0.0);
    EXPECT_EQ(eo.at(2, 5), 1.0);
    EXPECT_THROW(nz.resolve(), xcBadArgument);
}

TEST(SynthCoverage, IntegerShiftGivesIdenticalCoverage) {
    const xcSynthFont& font = testFont();
    const xcSynthGlyphMetrics m = font.metrics(U'Q', 27.3);
    const xcXform<2> a = xcXform<2>::translation({10.375, 20.8125}) *
                         xcXform<2>({0, 0}, 1.1, 1.0, 0.0, xcRadian(0.3)) * m.clientFromFont;
    // Dyadic fractions: the shifted translation keeps exactly the same fractional part.
    const xcXform<2> b = xcXform<2>::translation({17.0, -3.0}) * a;
    const xcPelRect clip(-100, -100, 400, 400);
    const xcSynthCoverage ca = xfSynthRenderOutline(font.outline(U'Q'), a, clip);
    const xcSynthCoverage cb = xfSynthRenderOutline(font.outline(U'Q'), b, clip);
    ASSERT_EQ(cb.rect(), ca.rect().translated(17, -3));
    double area = 0.0;
    for (long y = ca.rect().y(); y < ca.rect().y() + ca.rect().height(); ++y)
        for (long x = ca.rect().x(); x < ca.rect().x() + ca.rect().width(); ++x) {
            ASSERT_EQ(ca.at(x, y), cb.at(x + 17, y - 3));
            area += ca.at(x, y);
        }
    EXPECT_GT(area, 50.0);
    EXPECT_THROW(
        xfSynthRenderOutline(font.outline(U'Q'), xcXform<2>::translation({1e300, 0.0}), clip),
        xcBadArgument);
}
