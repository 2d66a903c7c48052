// Grey-level registration of geometric alignment results: planted poses recovered from a
// perturbed start, the registration pixels, masks, polarity, refused moves and time-outs.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "platform/core/attention.h"
#include "platform/core/pel_ops.h"
#include "platform/core/timeout.h"
#include "platform/vision/geo_align_defs.h"
#include "platform/vision/geo_align_model.h"
#include "platform/vision/geo_align_register.h"
#include "tests/platform/vision/geo_align_scenes.h"

namespace {

constexpr double kDeg = std::numbers::pi / 180.0;

std::shared_ptr<const xc_GeoModel> model() {
    return xf_GeoTrain(geo_test::trainingImage(), xc_GeoDefs::eTrainAllFlags, true, 1, 1);
}

// A run searching every angle and scales 0.8 ... 1.25, fitted at level 0.
xc_GeoRunSetup freeSetup() {
    xc_GeoRunSetup s;
    s.angleFree = s.scaleFree = s.angleCircular = true;
    s.scaleLo = 0.8;
    s.scaleHi = 1.25;
    return s;
}

// The pose of an instance drawn with the scene pose `p` (training image -> scene): where it
// puts the model's reference point, its angle and scale.
xc_GeoPose truthOf(const xc_GeoModel& m, double x, double y, double angleDeg, double scale) {
    const xcXform<2> p = geo_test::pose(x, y, angleDeg, scale);
    const xcVector<2> r = p.mapPoint(m.reference);
    return {r.x(), r.y(), angleDeg * kDeg, scale};
}

xc_GeoPose moved(xc_GeoPose p, double dx, double dy, double dAngleDeg, double scaleFactor) {
    p.x += dx;
    p.y += dy;
    p.angle += dAngleDeg * kDeg;
    p.scale *= scaleFactor;
    return p;
}

// The largest distance (pixels) between where two poses put the model's fit points.
double spread(const xc_GeoModel& m, const xc_GeoPose& a, const xc_GeoPose& b) {
    double worst = 0;
    for (const xc_GeoPoint& p : m.fitPoints) {
        auto at = [&](const xc_GeoPose& q) {
            const double c = std::cos(q.angle) * q.scale, s = std::sin(q.angle) * q.scale;
            return std::pair{q.x + c * p.x - s * p.y, q.y + s * p.x + c * p.y};
        };
        const auto [ax, ay] = at(a);
        const auto [bx, by] = at(b);
        worst = std::max(worst, std::hypot(ax - bx, ay - by));
    }
    return worst;
}

const xcPelBuffer_const<unsigned char> kNoMask;

}  // namespace

TEST(GeoAlignRegister, PixelsLieNearTheEdgesInsideTheWindow) {
    const auto m = model();
    const xcPelBuffer8 train = geo_test::trainingImage();
    ASSERT_FALSE(m->regLevels.empty());
    const xc_GeoRegLevel& reg = m->regLevels.front();
    EXPECT_EQ(reg.level, 0);
    ASSERT_GT(reg.pixels.size(), 200u);
    for (const xc_GeoRegPixel& p : reg.pixels) {
        const double x = p.x + m->reference.x(), y = p.y + m->reference.y();
        // Pixel centres, off the window's outer ring.
        EXPECT_NEAR(x - std::floor(x), 0.5, 1e-4);
        EXPECT_NEAR(y - std::floor(y), 0.5, 1e-4);
        const long ix = static_cast<long>(x), iy = static_cast<long>(y);
        ASSERT_TRUE(ix >= 1 && iy >= 1 && ix < geo_test::kTrainW - 1 && iy < geo_test::kTrainH - 1);
        EXPECT_EQ(p.m, train.get(ix, iy));
        // Within the shape's box grown by the edge reach (two pixels and the Sobel's one).
        const double sx = x - geo_test::kShapeOffset.x(), sy = y - geo_test::kShapeOffset.y();
        EXPECT_TRUE(sx > -3.5 && sx < 19 && sy > -3.5 && sy < 27) << sx << " " << sy;
        // The blurred values stay between the image's extremes.
        EXPECT_GE(p.mb2, 39.0f);
        EXPECT_LE(p.mb2, 211.0f);
    }
    // The middle of the top bar's inside and the far background are not edge pixels.
    auto has = [&](double sx, double sy) {
        for (const xc_GeoRegPixel& p : reg.pixels)
            if (std::fabs(p.x + m->reference.x() - geo_test::kShapeOffset.x() - sx) < 0.01 &&
                std::fabs(p.y + m->reference.y() - geo_test::kShapeOffset.y() - sy) < 0.01)
                return true;
        return false;
    };
    EXPECT_TRUE(has(8.5, -0.5));    // just above the top bar
    EXPECT_TRUE(has(8.5, 1.5));     // inside the bar, next to its edge
    EXPECT_FALSE(has(-9.5, 30.5));  // far background
}

TEST(GeoAlignRegister, RecoversPlantedPosesFromAPerturbedStart) {
    const auto m = model();
    const xc_GeoRunSetup setup = freeSetup();
    struct Case {
        double x, y, angle, scale;
    };
    double worst = 0;
    for (const Case& c : {Case{95.3, 70.6, 37.3, 1.063}, Case{80.71, 84.2, -123.4, 0.913},
                          Case{90.1, 85.9, 179.2, 1.17}, Case{70.45, 60.35, 91.7, 0.97}}) {
        geo_test::Scene s(190, 160);
        s.add(geo_test::pose(c.x, c.y, c.angle, c.scale));
        const xcPelBuffer8 img = s.render();
        const xc_GeoPyramid pyr(img, kNoMask, 0);
        const xc_GeoPose truth = truthOf(*m, c.x, c.y, c.angle, c.scale);
        const xc_GeoPose start = moved(truth, 0.3, -0.25, 0.6, 1.008);
        const xc_GeoRegResult r = xf_GeoRegister(*m, pyr, setup, 1.0f, start);
        ASSERT_EQ(r.outcome, xc_GeoRegOutcome::eMoved) << c.angle;
        EXPECT_LT(std::fabs(r.pose.x - truth.x), 0.02) << c.angle;
        EXPECT_LT(std::fabs(r.pose.y - truth.y), 0.02) << c.angle;
        EXPECT_LT(std::fabs(r.pose.angle - truth.angle), 0.05 * kDeg) << c.angle;
        EXPECT_LT(std::fabs(r.pose.scale / truth.scale - 1.0), 0.001) << c.angle;
        EXPECT_GT(r.gain + r.blend, 0.0);
        EXPECT_GE(r.steps, 2);
        worst = std::max(worst, spread(*m, r.pose, truth));
        // Started from the truth, it stays there.
        const xc_GeoRegResult t = xf_GeoRegister(*m, pyr, setup, 1.0f, truth);
        ASSERT_EQ(t.outcome, xc_GeoRegOutcome::eMoved);
        EXPECT_LT(spread(*m, t.pose, r.pose), 0.005) << c.angle;
    }
    // No fit point lands farther than a fiftieth of a pixel from where the truth puts it.
    EXPECT_LT(worst, 0.02);
}

TEST(GeoAlignRegister, HeldDegreesOfFreedomStayPut) {
    const auto m = model();
    xc_GeoRunSetup setup;  // angle and scale held at 0 and 1
    // Upright edges at eighths of a pixel, where the scene's 8 x 8 samples per pixel give the
    // exact coverage.
    geo_test::Scene s(120, 110);
    s.add(geo_test::pose(40.375, 30.75, 0.0, 1.0));
    const xcPelBuffer8 img = s.render();
    const xc_GeoPyramid pyr(img, kNoMask, 0);
    const xc_GeoPose truth = truthOf(*m, 40.375, 30.75, 0.0, 1.0);
    const xc_GeoRegResult r = xf_GeoRegister(*m, pyr, setup, 1.0f, moved(truth, -0.3, 0.2, 0, 1));
    ASSERT_EQ(r.outcome, xc_GeoRegOutcome::eMoved);
    EXPECT_EQ(r.pose.angle, 0.0);
    EXPECT_EQ(r.pose.scale, 1.0);
    EXPECT_NEAR(r.pose.x, truth.x, 0.01);
    EXPECT_NEAR(r.pose.y, truth.y, 0.01);
}

TEST(GeoAlignRegister, MaskedPixelsAreIgnored) {
    const auto m = model();
    const xc_GeoRunSetup setup = freeSetup();
    // The instance, with a dark slab over its disc.
    geo_test::Scene s(190, 160);
    s.add(geo_test::pose(95.3, 70.6, 21.7, 1.04));
    xcPelBuffer8 img = s.render();
    const xc_GeoPose truth = truthOf(*m, 95.3, 70.6, 21.7, 1.04);
    const xcXform<2> p = geo_test::pose(95.3, 70.6, 21.7, 1.04);
    const xcVector<2> disc = p.mapPoint(geo_test::kShapeOffset + xcVector<2>(12.0, 20.0));
    xcPelBuffer8 mask(190, 160);
    for (long y = 0; y < 160; ++y)
        for (long x = 0; x < 190; ++x) {
            const bool slab = std::hypot(x + 0.5 - disc.x(), y + 0.5 - disc.y()) < 6.0;
            if (slab) img.set(x, y, static_cast<unsigned char>(20 + (x * 7 + y * 13) % 60));
            mask.set(x, y, slab ? 0 : 255);
        }
    const xc_GeoPose start = moved(truth, 0.2, 0.2, -0.4, 0.995);
    const xc_GeoPyramid masked(img, mask, 0);
    const xc_GeoRegResult r = xf_GeoRegister(*m, masked, setup, 1.0f, start);
    ASSERT_EQ(r.outcome, xc_GeoRegOutcome::eMoved);
    EXPECT_LT(spread(*m, r.pose, truth), 0.03);
    // Unmasked, the slab pulls the pose away (or the registration gives up).
    const xc_GeoPyramid open(img, kNoMask, 0);
    const xc_GeoRegResult u = xf_GeoRegister(*m, open, setup, 1.0f, start);
    if (u.outcome == xc_GeoRegOutcome::eMoved) {
        EXPECT_GT(spread(*m, u.pose, truth), 0.03);
    }
    // A mask caring for nothing leaves nothing to register.
    const xcPelBuffer8 none(190, 160);  // zeroed
    const xc_GeoPyramid blind(img, none, 0);
    EXPECT_EQ(xf_GeoRegister(*m, blind, setup, 1.0f, start).outcome, xc_GeoRegOutcome::eNoPixels);
}

TEST(GeoAlignRegister, PolarityAndLargeMovesAreRefused) {
    const auto m = model();
    const xc_GeoRunSetup setup = freeSetup();
    geo_test::Scene s(190, 160);
    s.add(geo_test::pose(95.3, 70.6, -48.2, 0.96));
    const xc_GeoPose truth = truthOf(*m, 95.3, 70.6, -48.2, 0.96);
    const xc_GeoPose start = moved(truth, 0.2, -0.1, 0.3, 1.0);
    // Light on dark: refused for the trained polarity, registered for the reversed one.
    const xcPelBuffer8 reversed = s.render(210.0, 40.0);
    const xc_GeoPyramid rp(reversed, kNoMask, 0);
    EXPECT_EQ(xf_GeoRegister(*m, rp, setup, 1.0f, start).outcome, xc_GeoRegOutcome::eReversed);
    const xc_GeoRegResult r = xf_GeoRegister(*m, rp, setup, -1.0f, start);
    ASSERT_EQ(r.outcome, xc_GeoRegOutcome::eMoved);
    EXPECT_LT(spread(*m, r.pose, truth), 0.02);
    EXPECT_LT(r.gain + r.blend, 0.0);
    // Starts that converge farther than a registration may move a pose: 0.8 pixels, 7 degrees.
    const xcPelBuffer8 img = s.render();
    const xc_GeoPyramid pyr(img, kNoMask, 0);
    for (const xc_GeoPose& off : {moved(truth, 0.8, 0, 0, 1), moved(truth, 0, 0, 7.0, 1)}) {
        const xc_GeoRegResult far = xf_GeoRegister(*m, pyr, setup, 1.0f, off);
        EXPECT_TRUE(far.outcome == xc_GeoRegOutcome::eTooFar ||
                    far.outcome == xc_GeoRegOutcome::eNotConverged)
            << static_cast<int>(far.outcome);
    }
    // From 0.4 pixels and 4 degrees off, it comes back.
    const xc_GeoRegResult near = xf_GeoRegister(*m, pyr, setup, 1.0f, moved(truth, 0.4, 0, 4, 1));
    ASSERT_EQ(near.outcome, xc_GeoRegOutcome::eMoved);
    EXPECT_LT(spread(*m, near.pose, truth), 0.02);
    // Nothing in the image: the flat image gives no solvable system.
    xcPelBuffer8 flat(190, 160);
    xfPelSet(flat, 128);
    const xc_GeoPyramid fp(flat, kNoMask, 0);
    EXPECT_NE(xf_GeoRegister(*m, fp, setup, 1.0f, start).outcome, xc_GeoRegOutcome::eMoved);
    // A pose whose pixels fall outside the image.
    EXPECT_EQ(xf_GeoRegister(*m, pyr, setup, 1.0f, moved(truth, 400, 0, 0, 1)).outcome,
              xc_GeoRegOutcome::eNoPixels);
}

TEST(GeoAlignRegister, TimeOutsEndARegistration) {
    const auto m = model();
    geo_test::Scene s(190, 160);
    s.add(geo_test::pose(95.3, 70.6, 12.0, 1.0));
    const xcPelBuffer8 img = s.render();
    const xc_GeoPyramid pyr(img, kNoMask, 0);
    const xc_GeoPose start = truthOf(*m, 95.5, 70.4, 12.3, 1.0);
    xcAttentionTag tag;
    tag.attachTimeout(0.0);
    EXPECT_THROW(xf_GeoRegister(*m, pyr, freeSetup(), 1.0f, start), xcTimeout::Expired);
}
