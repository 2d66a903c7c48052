// The run of the geometric alignment tool (module-private): client zones to the image's pixel
// frame, the coarse search, tracking, fitting, overlap suppression, and poses back to client
// coordinates. docs/geo_align.md describes the technique.
#pragma once

#include <memory>
#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/vision/geo_align_coarse.h"
#include "platform/vision/geo_align_model.h"
#include "platform/vision/geo_align_params.h"
#include "platform/vision/geo_align_result.h"
#include "platform/vision/geo_align_track.h"

// What runs derive from a searched image alone (xcGeoAlignImage): the pyramid, the response
// planes of coarse levels and the unit gradients of whole levels. With keep false (a plain
// run's own) nothing is kept beyond the pyramid: responses are rebuilt and unit gradients are
// computed per candidate window, as a single run needs them.
struct xc_GeoImageCache {
    xc_GeoImageCache(const xcPelBuffer_const<unsigned char>& image,
                     const xcPelBuffer_const<unsigned char>& mask, bool keep);
    ~xc_GeoImageCache();
    xc_GeoImageCache(const xc_GeoImageCache&) = delete;
    xc_GeoImageCache& operator=(const xc_GeoImageCache&) = delete;

    // The pyramid with at least levels 0 ... top (fewer when the window is too small). A taller
    // pyramid than the one kept replaces it, and what was derived from it.
    const xc_GeoPyramid& pyramid(int top);
    // The response planes of `level` of the kept pyramid, with a zero border of at least
    // `border` pixels.
    const xc_GeoResponse& response(int level, double contrast, bool polarity, long border);
    // A scorer prepared over the whole of `level` of the kept pyramid; null without keep.
    const xc_GeoLevelScorer* unitGradients(int level, double contrast);

    xcPelBuffer_const<unsigned char> image;
    xcPelBuffer_const<unsigned char> mask;

private:
    struct Response {
        int level = 0;
        double contrast = 0;
        bool polarity = false;
        std::unique_ptr<xc_GeoResponse> planes;
    };
    struct Units {
        int level = 0;
        double contrast = 0;
        std::unique_ptr<xc_GeoLevelScorer> scorer;
    };
    bool m_keep;
    std::unique_ptr<xc_GeoPyramid> m_pyramid;
    int m_pyramidTop = -1;
    std::vector<Response> m_responses;
    std::vector<Units> m_units;
};

// Searches `image` (bound; `mask` unbound or covering the image's window) and fills `results`
// (emptied first). Throws xc_GeoDefs::InternalError for unusable client transforms, and the
// attention errors.
void xf_GeoSearch(const xc_GeoModel& model, const xcPelBuffer_const<unsigned char>& image,
                  const xcPelBuffer_const<unsigned char>& mask, const xcGeoAlignRunParams& params,
                  xcGeoAlignResultSet& results);
// The same on the cache's image and mask, deriving through the cache what it keeps.
void xf_GeoSearch(const xc_GeoModel& model, xc_GeoImageCache& cache,
                  const xcGeoAlignRunParams& params, xcGeoAlignResultSet& results);
