// The axis-aligned rectangle that encloses a polygon under every placement within given
// uncertainties of translation, rotation, scale, aspect and shear.
//
// Placement model. A polygon vertex p (in the polygon's frame) lands at
//
//     q = xform2^-1 * xform1 * T(dx, dy) * R(theta) * (1 + s) * K(a, h) * p
//
// where R(theta) turns about the origin of the polygon's frame (x towards y),
// K(a, h) = [[1, (1 + a) * h], [0, 1 + a]] is the aspect and shear of the five-argument
// transform, and, with n = count,
//     |dx| <= n * xUncertainty, |dy| <= n * yUncertainty, |theta| <= n * rotationUncertainty,
//     |s| <= n * scaleUncertainty, |a| <= n * aspectUncertainty, |h| <= n * shearUncertainty.
// So the uncertainties act in the polygon's own frame (translations in its units, rotation and
// scale about its origin), xform1 places that frame, and the result is expressed in the frame
// whose client-from-frame transform is xform2 (for instance an image's pixel grid when
// xform2 is the image's client-from-image transform; the identity leaves it in xform1's
// output frame). The rectangle is then grown by n * margin on every side. count is the number
// of chained steps each within the uncertainties (1 for one uncertain placement, 0 for the
// nominal placement alone).
//
// The result is exact: for fixed (s, a, h) a vertex's coordinate is A cos(theta) +
// B sin(theta) plus a linear function of (dx, dy), and it is multilinear in (s, a, h) for fixed
// theta, so its extremes lie at the ends of the translation, scale, aspect and shear
// intervals and at the ends of the rotation interval or where the derivative in theta
// vanishes; all of these are evaluated in closed form.
#pragma once

#include <span>

#include "platform/core/angle.h"
#include "platform/core/polygon.h"
#include "platform/core/rect.h"
#include "platform/core/exception.h"
#include "platform/core/vector.h"
#include "platform/core/xform.h"

// Returns the rectangle (upper-left = minimum corner, size = extent) in the result frame
// described above; an empty polygon gives the default xcRect. Throws xcBadArgument, before
// anything else, naming the first of these that fails, in this order: the x, y, rotation,
// scale, aspect and shear uncertainties and the margin must be finite and >= 0 (NaN fails);
// count must be >= 0; every vertex must be finite. Throws xcMath::Singular when xform2 cannot
// be inverted.
xcRect xfEncloseRect(std::span<const xcVector<2>> polygon, const xcXform<2>& xform1,
                     const xcXform<2>& xform2, double xUncertainty, double yUncertainty,
                     xcRadian rotationUncertainty, double scaleUncertainty,
                     double aspectUncertainty, double shearUncertainty, double margin,
                     long count);

// The same for the vertices of an xcPolygon (its fill mode plays no part).
xcRect xfEncloseRect(const xcPolygon& polygon, const xcXform<2>& xform1, const xcXform<2>& xform2,
                     double xUncertainty, double yUncertainty, xcRadian rotationUncertainty,
                     double scaleUncertainty, double aspectUncertainty, double shearUncertainty,
                     double margin, long count);
