// The overlap of convex polygons, as the geometric alignment tool measures how much two found
// instances' footprints cover each other (module-private).
#pragma once

#include <vector>

#include "platform/core/vector.h"

// The area of the intersection of two convex polygons (vertices in order, either turn).
double xf_GeoConvexOverlapArea(const std::vector<xcVector<2>>& a,
                               const std::vector<xcVector<2>>& b);
