// Edge detection: edgelets (edge points with a sub-pixel position, a gradient magnitude and a
// direction) found in an 8-bit image.
//
// xfEdgeDetect smooths the image (Gaussian), takes the Sobel gradient (gradient.h) and keeps
// the pixels whose gradient magnitude reaches a threshold. With edge type eThinned it keeps
// only the local maxima of the magnitude along the gradient direction (non-maximum
// suppression) and places each edgelet at the peak of a parabola fitted to the magnitudes
// across the edge, so that a straight edge gives edgelets on the edge line to a small fraction
// of a pixel.
//
// Frames: positions are image coordinates (pixel (x, y) has its centre at (x + 0.5, y + 0.5)),
// directions are xcAngle8 in image coordinates (0 along +x, growing towards +y). An edgelet's
// direction is the gradient's: it points from dark to light. The set keeps the image's
// client-from-image transform, so positions are also available in client coordinates.
#pragma once

#include <memory>
#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/core/vector.h"
#include "platform/vision/angle8.h"

struct xcEdgelet {
    xcVector<2> position;  // image coordinates
    double magnitude = 0;  // gradient magnitude, grey levels per pixel
    xcAngle8 angle;        // gradient direction, image coordinates
};

class xcEdgeletParams {
public:
    enum EdgeType {
        eAllAboveThreshold = 0,  // every pixel whose magnitude reaches the threshold, at its centre
        eThinned = 1,            // local maxima along the gradient, at sub-pixel positions
    };

    // smoothing: standard deviation of the Gaussian in pixels, 0 for none, at most 20.
    // magnitudeThreshold: the smallest gradient magnitude kept, in grey levels per pixel (a step
    // edge of height h has a magnitude of about h / 2 without smoothing).
    // edgeType: an EdgeType value.
    // Throws xcBadArgument when smoothing or threshold is negative or not finite, smoothing
    // above 20, or the edge type unknown.
    xcEdgeletParams(double smoothing = 1.0, double magnitudeThreshold = 10.0, int edgeType = 1);

    double smoothing() const { return m_smoothing; }
    double magnitudeThreshold() const { return m_threshold; }
    EdgeType edgeType() const { return m_type; }

private:
    double m_smoothing;
    double m_threshold;
    EdgeType m_type;
};

class xcEdgeletSet {
public:
    xcEdgeletSet() = default;

    long size() const { return static_cast<long>(m_edgelets.size()); }
    bool empty() const { return m_edgelets.empty(); }
    // Edgelet i (0 <= i < size(), unchecked).
    const xcEdgelet& operator[](long i) const { return m_edgelets[static_cast<size_t>(i)]; }
    const std::vector<xcEdgelet>& edgelets() const { return m_edgelets; }

    // The client-from-image transform of the image the set was found in (identity for an
    // empty default set).
    const xc2XformBase& clientFromImage() const;
    // Edgelet i's position in client coordinates; throws std::out_of_range for a bad index.
    xcVector<2> clientPosition(long i) const;

    void clear() { m_edgelets.clear(); }
    void reserve(long n) { m_edgelets.reserve(static_cast<size_t>(n)); }
    void push_back(const xcEdgelet& e) { m_edgelets.push_back(e); }
    void clientFromImage(std::shared_ptr<const xc2XformBase> x) { m_clientFromImage = std::move(x); }

private:
    std::vector<xcEdgelet> m_edgelets;
    std::shared_ptr<const xc2XformBase> m_clientFromImage;
};

// Finds the edgelets of the bound `image` (its window) and replaces the contents of `out`.
// With eThinned the outermost ring of window pixels yields no edgelet (it has no neighbour on
// one side). Edgelets come row by row, top to bottom, left to right within a row.
// Throws xcPel::UnboundWindow for an unbound image; polls xcAttention::check(). `out` is left
// unchanged when it throws.
void xfEdgeDetect(const xcPelBuffer_const<unsigned char>& image, const xcEdgeletParams& params,
                  xcEdgeletSet& out);
