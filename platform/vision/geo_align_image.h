// An image prepared for the runs of several geometric alignment patterns (geo_align_pattern.h).
//
// Whatever the pattern, a run derives the same things from the searched image: its pyramid (and
// its care mask's), the direction response planes of the coarse level it searches, and the
// unit gradients of the levels it tracks its candidates down. A prepared image derives each of
// these on the first run that needs it and keeps it, so that patterns run one after the other
// over the same image (a character finder running one pattern per character, say) derive them
// once. A run on a prepared image gives exactly the results of a run on the plain image and
// mask with the same parameters.
//
// What is kept: the pyramid down to the coarsest level any run asked for (about a third of the
// window's pixels); per coarse level, contrast threshold and polarity used, 16 response bytes
// per pixel of that level; per tracked level and contrast threshold, 8 bytes per pixel of that
// level. Unit gradients of a level are worth keeping from about the second run on.
//
// Ownership and threads. A prepared image shares the pixels of its image and mask, which must
// not change while it lives; copies share the prepared data. Runs on one prepared image (or on
// its copies) must not overlap in time: the first run that needs a level fills the shared
// data. Use one prepared image per thread.
#pragma once

#include <memory>

#include "platform/core/pel_buffer.h"

struct xc_GeoImageCache;

class xcGeoAlignImage {
public:
    // Prepares the window of `image` (8-bit) for runs, cared for where a bound `mask` is >= 128
    // (as xcGeoAlignPattern::run with a mask). Nothing is derived yet, and nothing is checked:
    // a run on the prepared image checks image and mask as a plain run does.
    explicit xcGeoAlignImage(
        const xcPelBuffer_const<unsigned char>& image,
        const xcPelBuffer_const<unsigned char>& mask = xcPelBuffer_const<unsigned char>());
    ~xcGeoAlignImage();
    xcGeoAlignImage(const xcGeoAlignImage&);
    xcGeoAlignImage& operator=(const xcGeoAlignImage&);

    const xcPelBuffer_const<unsigned char>& image() const;
    const xcPelBuffer_const<unsigned char>& mask() const;

    // The prepared data (module-private).
    xc_GeoImageCache& cache_() const { return *m_cache; }

private:
    std::shared_ptr<xc_GeoImageCache> m_cache;
};
