// The arrangement path search: which candidate stands at each target position (or that the
// position stays unmatched), and where one line of text ends and the next begins.
//
// A path assigns the positions in target order (xc_ArrangePath). Its total cost is the sum of
// the eight terms of its xc_ArrangeCost: match (1 - score per matched position), unmatched
// (unmatchedCharCost per unmatched non-blank position that had candidates), line breaks
// (lineBreakCost per line beyond the first, lone unmatched positions not counting as lines),
// and the geometric terms of the line evaluation (line_evaluation.h).
//
// Validity of a path: a line of two or more positions begins and ends with a matched position
// (only the growing end of an incomplete path may be unmatched); at most maxUnmatchedChars
// unmatched non-blank positions (not checked in a final evaluation); at most maxLines lines; no
// found instance serves two positions of the same key; and every line fits a shape.
//
// The search is best-first over partial paths, cheapest first (xcPriorityQueue: among equal
// costs the heap's order decides), with these limits: it stops when the open list holds
// maxCandidates paths; a path more than 5 positions shorter than the longest one offered so far
// is dropped when it comes to the front; neighbouring matched positions may share a line only
// when their candidates are compatible (origins at most twice the longest cell diagonal apart,
// orientations within 30 degrees, symmetry allowing). The best path is the longest one offered,
// the cheapest among equally long ones, the earliest on an exact tie.
//
// Memory: open paths are nodes of a prefix tree (a child shares its parent's prefix), 8 bytes
// per node plus 16 per open-list entry, so maxCandidates = 500000 costs about 20 MB.
#pragma once

#include <cstddef>
#include <vector>

#include "oc/arrange/arrange_params.h"
#include "oc/arrange/arrange_records.h"
#include "platform/core/pel_buffer.h"

class xcOCAlphabet;

// What one search did (for benchmarks and tests).
struct xc_PathSearchStats {
    long iterations = 0;        // paths taken from the front of the open list
    long evaluations = 0;       // children evaluated
    long pushes = 0;            // children queued
    std::size_t maxOpen = 0;    // largest size of the open list
    std::size_t peakBytes = 0;  // largest storage of the open list and the path nodes
};

// True when the image's client frame is mirrored: the determinant of the linear form of its
// client-from-image transform at the image centre (offset + size / 2) is negative. The image
// must be bound.
bool xf_IsClientFrameFlipped(const xcPelBuffer_const<unsigned char>& image);

// Searches the cheapest path (see the file comment) over the candidates of every position:
// candPoses[i] and candScores[i] list position i's candidates (client frame of `image`), of
// which the first charData[i].numCandidates may be chosen. Writes the best path into `best`,
// always of keys.size() positions: when no path covered every position, the best partial path
// is completed with unmatched lone positions (and a trailing unmatched stretch of its last line
// is split into lone positions). Returns true when a complete path was found. Polls
// xcAttention::check(), whose time-out or cancellation passes out. `alphabet` is not read.
bool xf_SearchArrangePath(const xcPelBuffer_const<unsigned char>& image,
                          const xcOCAlphabet& alphabet, const std::vector<long>& keys,
                          const std::vector<xc_CharData>& charData,
                          const std::vector<std::vector<xc_Pose>>& candPoses,
                          const std::vector<std::vector<double>>& candScores,
                          const xcOCArrangeParams& params, xc_ArrangePath& best,
                          xc_PathSearchStats* stats = nullptr);

// Evaluates `path` (see the file comment) into `cost`, from scratch, then runs the line
// evaluation. Returns false when the path is invalid (the record is then partly written).
// With `final` the maxUnmatchedChars rule is skipped and the per-position vectors are filled.
bool xf_EvaluateArrangePath(const xc_ArrangePath& path, const xcOCAlphabet& alphabet,
                            const std::vector<long>& keys, const std::vector<xc_CharData>& charData,
                            const std::vector<std::vector<xc_Pose>>& candPoses,
                            const std::vector<std::vector<double>>& candScores,
                            const xcOCArrangeParams& params, bool flipped, bool final,
                            xc_ArrangeCost& cost);
