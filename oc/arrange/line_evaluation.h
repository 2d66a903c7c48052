// The line evaluation of a path: for every line of text, fit a straight line and (where
// allowed) a circle through its matched characters, lay the line's positions out along the
// fitted curve, measure how far each matched character lies from that layout in position,
// orientation, scale and spacing, keep the cheaper shape, and add the deviations to the
// path's geometric costs cost[3] ... cost[7] (xc_ArrangeCost).
//
// Frames and units: poses and nominal positions are in the searched image's client frame;
// angles in radians. Tangential and normal deviations are fractions of the character's scaled
// width and height along the line, orientation deviations units of 45 degrees (90 degrees off
// scores 2, 180 degrees scores 4; a character symmetric under a half turn scores at most 2,
// one symmetric under every angle 0), scale deviations octaves. The spacing of neighbours
// costs nothing between 0.8 and 2.5 times their mean scaled width.
//
// Shapes: a straight line needs its characters to advance strictly along it in target order
// (and, when the text direction is given, to run along that direction); a circle needs at
// least three matched characters, steps of less than half a turn between neighbours, a total
// sweep of at least 5 degrees and below a full turn (and, when the text direction is given,
// the given sense; `flipped` says the client frame is mirrored, which reverses the sense).
// With lineType eDontCare both are tried and the circle is kept only when strictly cheaper;
// eCircular lines of two matched characters are treated as straight.
//
// Cost: one line fit per line of two or more matched characters, plus one circle fit when
// the circle is tried; linear in the number of positions otherwise.
#pragma once

#include <vector>

#include "oc/arrange/arrange_params.h"
#include "oc/arrange/arrange_records.h"

// The geometric deviations of the lines evaluated so far, each already weighted by its line's
// positions per matched character (spacing unweighted).
struct xc_LineSums {
    double normal = 0.0;
    double tangential = 0.0;
    double orientation = 0.0;
    double scale = 0.0;
    double spacing = 0.0;
};

// Evaluates every line of `path` (see the file comment) and writes cost[3] ... cost[7] of
// `cost`, whose cost[0] ... cost[2] the caller has filled; it appends per line its type, angle
// and scale. In a final evaluation it first sizes the per-position vectors to the path's size
// (zeroed) and fills them and the drawn shapes. Returns false, with the record partly
// written, when a line of two or more matched characters fits neither allowed shape.
// candPoses[i][c] is candidate c of position i; `keys` and `candScores` are not read here.
bool xf_EvaluateArrangeLines(const xc_ArrangePath& path, const std::vector<long>& keys,
                             const std::vector<xc_CharData>& charData,
                             const std::vector<std::vector<xc_Pose>>& candPoses,
                             const std::vector<std::vector<double>>& candScores,
                             const xcOCArrangeParams& params, bool flipped, bool final,
                             xc_ArrangeCost& cost);

// Module-private parts of the evaluation, used by the path search to evaluate only a path's
// last line: evaluates line l of `path`, appends its type, angle and scale to `cost` (and in a
// final evaluation its per-position entries and shape), and adds its deviations to `sums`.
// Returns false when the line fits no allowed shape.
bool xf_EvaluateArrangeLine(const xc_ArrangePath& path, long l,
                            const std::vector<xc_CharData>& charData,
                            const std::vector<std::vector<xc_Pose>>& candPoses,
                            const xcOCArrangeParams& params, bool flipped, bool final,
                            xc_ArrangeCost& cost, xc_LineSums& sums);
// cost[3] ... cost[7] from the sums of all lines and the parameters' cost factors.
void xf_FinishArrangeLines(const xc_LineSums& sums, const xcOCArrangeParams& params,
                           xc_ArrangeCost& cost);
