// The trained data of a geometric alignment pattern and its training (module-private).
//
// A pattern is a set of edge points per pyramid level. Each point has a position and the unit
// direction of the training image's gradient there (pointing from dark to light). Positions are
// in level-0 pixels of the training window, relative to the pattern's reference point (the
// centroid of the finest level's edge points), whatever the level they were found at, so that
// one pose (translation, angle, scale) places every level's points.
//
// Training finds, at every level from the fine to the coarse grain, the pixels whose Sobel
// magnitude reaches the edge threshold and is a maximum across the edge, places each at the
// peak of a parabola through the magnitudes across the edge, and thins the points by a growing
// minimum spacing (strongest first) to a count that keeps the search fast: at most
// kCoarsePoints at the coarsest level, kSearchPoints at the other levels, and kFitPoints for
// the least-squares fit at the finest level.
#pragma once

#include <memory>
#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/core/xform_base.h"

struct xc_GeoPoint {
    float x = 0, y = 0;    // level-0 training pixels, relative to the reference point
    float ux = 0, uy = 0;  // unit gradient direction
};

struct xc_GeoLevel {
    int level = 0;                    // grain 2^level pixels
    std::vector<xc_GeoPoint> points;  // for the search at this level
    double radius = 0.0;              // largest distance of a point from the reference, level-0 px
    long numEdges = 0;                // edge points found before thinning
};

// A pixel of the training image near the pattern's edges, for the grey-level registration
// (geo_align_register.h): its centre in level-0 training pixels relative to the reference point,
// its grey value and its value in the training image blurred by about a pixel.
struct xc_GeoRegPixel {
    float x = 0, y = 0;
    float m = 0, mb = 0, mb2 = 0;
};

// The registration pixels of one training level (grain 2^level).
struct xc_GeoRegLevel {
    int level = 0;
    std::vector<xc_GeoRegPixel> pixels;
};

struct xc_GeoModel {
    static constexpr long kCoarsePoints = 96;
    static constexpr long kSearchPoints = 160;
    static constexpr long kFitPoints = 480;
    static constexpr long kMinPoints = 12;  // fewest edge points a level may have
    static constexpr int kMaxLevel = 6;     // grain 64

    xcPelRect window;  // the training window, image coordinates
    std::shared_ptr<const xc2XformBase> clientFromImage;
    xcXform<2> clientFromImageLinear;  // its linear form at the window's centre
    xcVector<2> reference;             // window-relative level-0 coordinates of the reference
    long trainFlags = 0;
    double edgeThreshold = 0.0;  // grey levels per pixel
    int fineLevel = 0;
    int coarseLevel = 0;
    std::vector<xc_GeoLevel> levels;  // levels fineLevel ... coarseLevel, in this order
    // The finest level's points for the least-squares fit, as the run's edge estimator places
    // them on the training image blurred by each of kFitBlurs (level pixels): fitSets holds the
    // same points in the same order for every blur (geo_align_fitset.h), fitPoints the least
    // blurred set. A run fits a blend between the sets along with the pose.
    static constexpr int kFitSets = 6;
    static constexpr double kFitBlurs[kFitSets] = {0.4, 0.7, 1.0, 1.4, 2.0, 2.8};
    std::vector<xc_GeoPoint> fitPoints;
    std::vector<std::vector<xc_GeoPoint>> fitSets;
    // The registration pixels of the finest level and of the level above it (when the training
    // image has one), finest first.
    std::vector<xc_GeoRegLevel> regLevels;

    const xc_GeoLevel& level(int l) const { return levels[static_cast<size_t>(l - fineLevel)]; }
    bool matchPolarity() const;
    // The pattern's largest radius, level-0 pixels.
    double radius() const { return levels.front().radius; }
};

// Trains a model on the window of `image`. With autoGrain the fine grain is 1 and the coarse
// grain the coarsest that keeps enough points and size for a reliable coarse search; otherwise
// the grains are fine and coarse (pixels; each is rounded to the nearest power of two).
// Throws the xc_GeoDefs errors (bad image, bad flags, bad grain limits, too few edges) and the
// attention errors. The result is complete or nothing is returned.
std::shared_ptr<const xc_GeoModel> xf_GeoTrain(const xcPelBuffer_const<unsigned char>& image,
                                               long trainFlags, bool autoGrain, double fine,
                                               double coarse);

// The grain of a level, pixels.
inline double xf_GeoGrain(int level) { return static_cast<double>(1L << level); }
