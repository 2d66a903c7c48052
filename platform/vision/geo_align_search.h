// The run of the geometric alignment tool (module-private): client zones to the image's pixel
// frame, the coarse search, tracking, fitting, overlap suppression, and poses back to client
// coordinates. See geo_align_pattern.h for the technique.
#pragma once

#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/vision/geo_align_coarse.h"
#include "platform/vision/geo_align_model.h"
#include "platform/vision/geo_align_params.h"
#include "platform/vision/geo_align_result.h"

// Searches `image` (bound; `mask` unbound or covering the image's window) and fills `results`
// (emptied first). Throws xc_GeoDefs::InternalError for unusable client transforms, and the
// attention errors.
void xf_GeoSearch(const xc_GeoModel& model, const xcPelBuffer_const<unsigned char>& image,
                  const xcPelBuffer_const<unsigned char>& mask, const xcGeoAlignRunParams& params,
                  xcGeoAlignResultSet& results);

// The area of the intersection of two convex polygons (vertices in order, either turn).
double xf_GeoConvexOverlapArea(const std::vector<xcVector<2>>& a,
                               const std::vector<xcVector<2>>& b);
