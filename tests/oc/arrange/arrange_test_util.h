// Shared helpers of the arranger's tests: candidate sets built by hand, and the search run
// on them.
#pragma once

#include <cmath>
#include <numbers>
#include <vector>

#include "oc/arrange/line_evaluation.h"
#include "oc/arrange/path_search.h"
#include "oc/font/alphabet.h"
#include "platform/core/pel_buffer.h"

namespace arrange_test {

inline constexpr double kPi = std::numbers::pi;
inline double deg(double d) { return d * kPi / 180.0; }

// A position whose cell is w x h with the client origin at its lower-left corner, y down.
inline xc_CharData cell(double w, double h) {
    xc_CharData c;
    c.cellRect(xcAffineRectangle(xcVector<2>(0, -h), xcVector<2>(w, -h), xcVector<2>(0, 0)));
    return c;
}

// Candidate sets of a target: per position its data, candidate poses and scores.
struct Target {
    std::vector<long> keys;
    std::vector<xc_CharData> data;
    std::vector<std::vector<xc_Pose>> poses;
    std::vector<std::vector<double>> scores;

    // Adds a position with the given candidates; every candidate may be chosen, and the
    // position may stay unmatched only when it has no candidate.
    void add(long key, const xc_CharData& d, std::vector<xc_Pose> p, std::vector<double> s) {
        keys.push_back(key);
        xc_CharData cd = d;
        cd.numCandidates = static_cast<long>(p.size());
        cd.hasCandidates = !p.empty();
        cd.canBeUnmatched = p.empty();
        data.push_back(cd);
        poses.push_back(std::move(p));
        scores.push_back(std::move(s));
    }
    std::size_t size() const { return keys.size(); }
};

inline xc_Pose pose(double x, double y, double angle = 0.0, double scale = 1.0) {
    return xc_Pose(xcVector<2>(x, y), xcRadian(angle), scale);
}

// The searched image only gives the client frame; `mirrored` flips its y axis.
inline xcPelBuffer<unsigned char> frameImage(bool mirrored = false) {
    xcPelBuffer<unsigned char> img(8, 8);
    if (mirrored) img.clientFromImageXform(xcXform<2>(xcMatrix<2>(1, 0, 0, -1), xcVector<2>()));
    return img;
}

inline bool search(const Target& t, const xcOCArrangeParams& params, xc_ArrangePath& best,
                   xc_PathSearchStats* stats = nullptr, bool mirrored = false) {
    const xcOCAlphabet alphabet;
    return xf_SearchArrangePath(frameImage(mirrored), alphabet, t.keys, t.data, t.poses, t.scores,
                                params, best, stats);
}

inline bool evaluate(const Target& t, const xc_ArrangePath& path, const xcOCArrangeParams& params,
                     xc_ArrangeCost& cost, bool final = false, bool flipped = false) {
    const xcOCAlphabet alphabet;
    return xf_EvaluateArrangePath(path, alphabet, t.keys, t.data, t.poses, t.scores, params,
                                  flipped, final, cost);
}

// A path from (choice, newLine) pairs.
inline xc_ArrangePath makePath(std::initializer_list<std::pair<long, bool>> steps) {
    xc_ArrangePath p;
    for (auto [c, nl] : steps) p.append(c, nl);
    return p;
}

}  // namespace arrange_test
