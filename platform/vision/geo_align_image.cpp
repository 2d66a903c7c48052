#include "platform/vision/geo_align_image.h"

#include "platform/vision/geo_align_search.h"

xcGeoAlignImage::xcGeoAlignImage(const xcPelBuffer_const<unsigned char>& image,
                                 const xcPelBuffer_const<unsigned char>& mask)
    : m_cache(std::make_shared<xc_GeoImageCache>(image, mask, true)) {}

xcGeoAlignImage::~xcGeoAlignImage() = default;
xcGeoAlignImage::xcGeoAlignImage(const xcGeoAlignImage&) = default;
xcGeoAlignImage& xcGeoAlignImage::operator=(const xcGeoAlignImage&) = default;

const xcPelBuffer_const<unsigned char>& xcGeoAlignImage::image() const { return m_cache->image; }
const xcPelBuffer_const<unsigned char>& xcGeoAlignImage::mask() const { return m_cache->mask; }

xc_GeoImageCache::xc_GeoImageCache(const xcPelBuffer_const<unsigned char>& img,
                                   const xcPelBuffer_const<unsigned char>& msk, bool keep)
    : image(img), mask(msk), m_keep(keep) {}

xc_GeoImageCache::~xc_GeoImageCache() = default;

const xc_GeoPyramid& xc_GeoImageCache::pyramid(int top) {
    // A pyramid with more levels serves a run as well: the run searches its own coarse level.
    if (!m_pyramid || m_pyramidTop < top) {
        // Built aside first: a time-out while building leaves the kept data as it was.
        auto taller = std::make_unique<xc_GeoPyramid>(image, mask, top);
        m_pyramid = std::move(taller);
        m_pyramidTop = top;
        // Everything derived from the old pyramid's planes goes with it.
        m_responses.clear();
        m_units.clear();
    }
    return *m_pyramid;
}

const xc_GeoResponse& xc_GeoImageCache::response(int level, double contrast, bool polarity,
                                                 long border) {
    if (!m_keep) {
        m_responses.clear();
    } else {
        for (Response& r : m_responses)
            if (r.level == level && r.contrast == contrast && r.polarity == polarity) {
                // A wider zero border reads the same zeros: only a narrower one is rebuilt.
                if (r.planes->border() < border)
                    r.planes = std::make_unique<xc_GeoResponse>(
                        m_pyramid->plane(level),
                        m_pyramid->hasMask() ? &m_pyramid->maskPlane(level) : nullptr, contrast,
                        polarity, border);
                return *r.planes;
            }
    }
    Response r;
    r.level = level;
    r.contrast = contrast;
    r.polarity = polarity;
    r.planes = std::make_unique<xc_GeoResponse>(
        m_pyramid->plane(level), m_pyramid->hasMask() ? &m_pyramid->maskPlane(level) : nullptr,
        contrast, polarity, border);
    m_responses.push_back(std::move(r));
    return *m_responses.back().planes;
}

const xc_GeoLevelScorer* xc_GeoImageCache::unitGradients(int level, double contrast) {
    if (!m_keep) return nullptr;
    for (const Units& u : m_units)
        if (u.level == level && u.contrast == contrast) return u.scorer.get();
    Units u;
    u.level = level;
    u.contrast = contrast;
    u.scorer = std::make_unique<xc_GeoLevelScorer>();
    const xc_GeoPlane& plane = m_pyramid->plane(level);
    u.scorer->prepare(plane, m_pyramid->hasMask() ? &m_pyramid->maskPlane(level) : nullptr,
                      contrast, 0, 0, plane.w, plane.h);
    m_units.push_back(std::move(u));
    return m_units.back().scorer.get();
}
