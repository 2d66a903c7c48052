// The arranger's working records, passed between its stages during one xfOCArrange call and
// never archived:
//   xc_Pose         the pose of one character (client frame of the searched image)
//   xc_CharData     what the arranger knows of one target position
//   xc_ArrangePath  a partial or complete choice of candidates and line breaks
//   xc_ArrangeCost  the evaluation of one path: its eight cost terms and, per line and per
//                   position, what the construction and the diagnostics read
#pragma once

#include <array>
#include <vector>

#include "oc/arrange/arrange_defs.h"
#include "oc/extract/extract_defs.h"
#include "platform/core/affine_rectangle.h"
#include "platform/core/angle.h"
#include "platform/core/ellipse.h"
#include "platform/core/line.h"
#include "platform/core/pel_rect.h"
#include "platform/core/rigid.h"
#include "platform/core/vector.h"
#include "platform/core/xform.h"

// A similarity pose: x -> scale * R(angle) x + translation, mapping a character model's client
// frame into the searched image's client frame. logScale = ln(scale) is kept beside the scale.
struct xc_Pose {
    xcVector<2> translation{0.0, 0.0};
    xcRadian angle;
    double scale = 1.0;
    double logScale = 0.0;

    xc_Pose() = default;
    xc_Pose(const xcVector<2>& t, xcRadian a, double s);
    // From an affine transform with matrix m and translation t: translation t, angle
    // atan2(m10 - m01, m00 + m11) (0 when both sums are exactly 0), scale sqrt(|det m|),
    // logScale ln(scale). Shear and aspect are averaged away.
    explicit xc_Pose(const xcXform<2>& x);

    // Matrix [[s cos a, -s sin a], [s sin a, s cos a]] and the translation.
    xcXform<2> xform() const;
    // Rotation and translation; the scale is dropped.
    xc2Rigid rigid() const { return xc2Rigid(translation, angle); }
};

// The working record of one target position (one per position, in target order).
struct xc_CharData {
    bool isBlank = false;       // the position's model is a blank (space) character
    bool hasCandidates = true;  // false when the search found no instance at all
    xc_OCExtractDefs::Symmetry symmetry = xc_OCExtractDefs::eNotSymmetric;
    xcXform<2> rot180Pose;       // the character matched against itself turned by 180 degrees
    long numOccurrences = 0;     // how often the position's key occurs in the target
    long numCandidates = 0;      // how many found instances the path search may choose from
    bool canBeUnmatched = true;  // the path search may leave the position unmatched

    // The character cell in the model's client coordinates: cornerPo upper-left, cornerPx
    // upper-right, cornerPy lower-left. Setting it recomputes both diagonals:
    //   cellDiagonal1 = cornerPx - cornerPy, cellDiagonal2 = cornerPx + cornerPy - 2 cornerPo.
    const xcAffineRectangle& cellRect() const { return m_cellRect; }
    void cellRect(const xcAffineRectangle& r);
    // The cell from a model's image area (image coordinates of the model's image) and that
    // image's client-from-image transform: the area's ul, ur and ll corners mapped.
    void cellRect(const xcPelRect& imageArea, const xcXform<2>& clientFromImage);
    const xcVector<2>& cellDiagonal1() const { return m_cellDiagonal1; }
    const xcVector<2>& cellDiagonal2() const { return m_cellDiagonal2; }

private:
    xcAffineRectangle m_cellRect;
    xcVector<2> m_cellDiagonal1{0.0, 0.0};
    xcVector<2> m_cellDiagonal2{0.0, 0.0};
};

// One assignment of the first size() target positions: per position the index of the chosen
// candidate (-1: unmatched), and the positions where a line begins (ascending, the first is 0
// once a position is assigned). Line l covers lineStart(l) up to, not including, lineEnd(l).
class xc_ArrangePath {
public:
    long size() const { return static_cast<long>(m_choices.size()); }
    bool empty() const { return m_choices.empty(); }
    const std::vector<long>& choices() const { return m_choices; }
    const std::vector<long>& lineStarts() const { return m_lineStarts; }
    long choice(long i) const { return m_choices[static_cast<std::size_t>(i)]; }
    long lastChoice() const { return m_choices.back(); }

    long numLines() const { return static_cast<long>(m_lineStarts.size()); }
    long lineStart(long l) const { return m_lineStarts[static_cast<std::size_t>(l)]; }
    long lineEnd(long l) const {
        return l + 1 < numLines() ? m_lineStarts[static_cast<std::size_t>(l + 1)] : size();
    }

    // Assigns the next position; with newLine it begins a new line.
    void append(long choice, bool newLine);
    // Takes back the last position (and the line it began, if any). The path must not be
    // empty.
    void removeLast();
    void clear();
    void reserve(std::size_t n);

    bool operator==(const xc_ArrangePath& o) const = default;

private:
    std::vector<long> m_choices;
    std::vector<long> m_lineStarts;
};

// The evaluation of one path. cost[0] match, [1] unmatched characters, [2] line breaks (path
// evaluation); [3] normal translation, [4] tangential translation, [5] orientation, [6] scale,
// [7] spacing (line evaluation). Per line: its type (2, eDontCare, for a line of fewer than
// two matched positions), its average orientation (radians, from the line direction when the
// orientation reference is relative) and its common scale. A final evaluation also fills the
// drawn shapes (one segment per straight line, one arc per circular line, in line order) and
// the per-position vectors: tangential and normal deviations (fractions of the character's
// scaled width and height), orientation deviation (units of 45 degrees), scale deviation
// (octaves, signed), all 0 for unmatched positions; nominal position and expected angle
// (client frame).
struct xc_ArrangeCost {
    static constexpr int kNumCosts = 8;

    std::array<double, kNumCosts> cost{};
    std::vector<xcOCArrangeDefs::LineType> lineTypes;
    std::vector<xcLineSeg> lineSegments;
    std::vector<xcEllipseArc2> lineArcs;
    std::vector<xcRadian> lineAngles;
    std::vector<double> lineScales;
    std::vector<double> tanDeviations;
    std::vector<double> normDeviations;
    std::vector<double> orientDeviations;
    std::vector<double> scaleDeviations;
    std::vector<xcVector<2>> nominalPositions;
    std::vector<xcRadian> expectedAngles;

    // All costs 0, all vectors emptied (their storage is kept for the next evaluation).
    void reset();
    // Sizes the per-position vectors to n entries, all zero.
    void zeroPositions(std::size_t n);
    // The sum of the eight costs, in index order.
    double total() const;
};
