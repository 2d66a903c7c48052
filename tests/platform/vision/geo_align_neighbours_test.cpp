// The geometric alignment tool on a shape drawn between two others on one line, as characters
// stand in text.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "platform/vision/geo_align_pattern.h"
#include "tests/platform/vision/geo_align_scenes.h"

using geo_test::angleDiff;
using geo_test::centreDistance;
using geo_test::pose;

namespace {

bool insideE(double x, double y) {
    if (x >= 0 && x < 4 && y >= 0 && y < 24) return true;
    if (x >= 0 && x < 15 && y >= 0 && y < 4) return true;
    if (x >= 0 && x < 11 && y >= 10 && y < 13.5) return true;
    return x >= 0 && x < 15 && y >= 20 && y < 24;
}
bool insideH(double x, double y) {
    if (x >= 0 && x < 4 && y >= 0 && y < 24) return true;
    if (x >= 12 && x < 16 && y >= 0 && y < 24) return true;
    return x >= 0 && x < 16 && y >= 10 && y < 13.5;
}
bool insideO(double x, double y) {
    const double dx = (x - 8.0) / 8.0, dy = (y - 12.0) / 12.0;
    const double r = dx * dx + dy * dy;
    const double ix = (x - 8.0) / 4.0, iy = (y - 12.0) / 8.0;
    return r < 1.0 && ix * ix + iy * iy >= 1.0;
}
bool insideL(double x, double y) {
    if (x >= 0 && x < 4 && y >= 0 && y < 24) return true;
    return x >= 0 && x < 14 && y >= 20 && y < 24;
}

using Inside = bool (*)(double, double);
constexpr Inside kShapes[] = {insideE, insideH, insideO, insideL};

// The pose of a neighbour dx pixels along the shape's x axis.
xcXform<2> shifted(const xcXform<2>& p, double dx) {
    return p * xcXform<2>(xcMatrix<2>(1, 0, 0, 1), xcVector<2>(dx, 0));
}

// A line of three: the shape between two random others (E, H, O, L) at gaps of 1.5 to 5 pixels,
// the line turned with the shape, noise sigma 4. Case i of the seeded sequence.
struct LineCase {
    xcXform<2> truth;
    double angle = 0;
    xcPelBuffer8 image;
};

class Lines {
public:
    LineCase next(int i) {
        const double a = m_a(m_rng), sc = m_s(m_rng), gl = m_g(m_rng), gr = m_g(m_rng);
        const auto kl = static_cast<size_t>(m_rng() % 4), kr = static_cast<size_t>(m_rng() % 4);
        geo_test::Scene s(120, 120);
        LineCase c;
        c.truth = pose(60.3, 58.7, a, sc);
        c.angle = a;
        s.add(c.truth);
        s.addShape(shifted(c.truth, -16.0 - gl), kShapes[kl]);
        s.addShape(shifted(c.truth, 16.0 + gr), kShapes[kr]);
        c.image = s.render(40.0, 210.0, true, 4.0, static_cast<unsigned>(i));
        return c;
    }

private:
    std::mt19937 m_rng{5};
    std::uniform_real_distribution<double> m_a{-180, 180}, m_s{0.9, 1.1}, m_g{1.5, 5.0};
};

xcGeoAlignRunParams lineSearch() {
    xcGeoAlignRunParams r;
    r.acceptThreshold(0.5);
    r.zoneEnable(xc_GeoDefs::eZoneAll);
    r.zone(xc_GeoDefs::eDofAngle, -180.0, 180.0);
    r.zone(xc_GeoDefs::eDofScale, 0.9, 1.1);
    r.numToFind(1);
    return r;
}

}  // namespace

TEST(GeoAlignNeighbours, FindsTheShapeBetweenTwoOthers) {
    // At the coarse level the pattern shifted partly onto a neighbour scores better than the
    // shape itself in these cases (H and L neighbours share its stem and bars); the shape's own
    // hit lies two pixels from such a partial match, or below a dozen of them.
    xcGeoAlignPattern pat;
    pat.train(geo_test::trainingImage(), xc_GeoDefs::eTrainAllFlags);
    const xcGeoAlignRunParams r = lineSearch();
    Lines lines;
    std::vector<int> missed;
    const int planted[] = {22, 46, 266, 278, 279, 286};
    for (int i = 0; i < 300; ++i) {
        const LineCase c = lines.next(i);
        xcGeoAlignResultSet rs;
        pat.run(c.image, r, rs);
        bool ok = false;
        for (size_t k = 0; k < rs.size(); ++k)
            ok |= rs[k].accepted() && centreDistance(rs[k].pose(), c.truth) < 2.0 &&
                  std::fabs(angleDiff(rs[k].angle(), c.angle)) < 3.0;
        if (!ok) missed.push_back(i);
        if (std::find(std::begin(planted), std::end(planted), i) == std::end(planted)) continue;
        ASSERT_EQ(rs.size(), 1u) << i;
        EXPECT_TRUE(rs[0].accepted()) << i;
        EXPECT_GT(rs[0].score(), 0.85) << i;
        EXPECT_LT(centreDistance(rs[0].pose(), c.truth), 0.25) << i;
        EXPECT_LT(std::fabs(angleDiff(rs[0].angle(), c.angle)), 0.5) << i;
    }
    // Every shape is found. In cases 22 and 279 the shape's best coarse hits lie 3 to 3.6 pixels
    // and up to 4 angle steps of the next level from its peak there (0.97, 0.98), and a search of
    // one step either way climbs onto a partial match with a neighbour (0.57 to 0.64).
    EXPECT_TRUE(missed.empty()) << ::testing::PrintToString(missed);
}
