// Parameters and results of the normalised-correlation search (ncc_search.h).
//
// Scores are in [0, 1]: r^2 for a positive correlation coefficient r between the model's care
// pixels and the image under them, 0 otherwise. A result's location is in the searched image's
// client coordinates (see xcNccSearchResult).
//
// Setters check their argument and throw xcBadArgument, changing nothing, when it is out of
// range. Enumerated settings are passed as their numbers (the names below are the numbers'
// meaning), so that a value outside the enumeration is a checked error rather than a silent
// one.
#pragma once

#include <cstddef>
#include <vector>

#include "platform/core/vector.h"

class xcNccSearchDefs {
public:
    // Matching algorithm. Normalised correlation is the only one.
    enum Algorithm : long { eNormalizedCorrelation = 8 };

    // Training accuracy says how coarse the model's pyramid may get: its coarsest level keeps
    // at least 6 (coarse), 8 (medium) or 12 (fine) pixels along each side. Run accuracy says how
    // a location is refined below the pixel: coarse keeps the integer peak, medium fits a
    // parabola along x and another along y through the peak's scores, fine fits a quadric to the
    // 3 x 3 scores around the peak.
    enum Accuracy : long { eAccuracyCoarse = 1, eAccuracyMedium = 2, eAccuracyFine = 4 };
};

// How a model is trained. Defaults: algorithms eNormalizedCorrelation, accuracy eAccuracyMedium.
class xcNccSearchTrainParams {
public:
    xcNccSearchTrainParams() = default;

    // A bit mask of xcNccSearchDefs::Algorithm values the model must support. Throws
    // xcBadArgument unless it is exactly eNormalizedCorrelation.
    long algorithms() const { return m_algorithms; }
    void algorithms(long mask);

    // An xcNccSearchDefs::Accuracy value; throws xcBadArgument for any other number.
    long accuracy() const { return m_accuracy; }
    void accuracy(long value);

private:
    long m_algorithms = xcNccSearchDefs::eNormalizedCorrelation;
    long m_accuracy = xcNccSearchDefs::eAccuracyMedium;
};

// How a search runs. Defaults: algorithm eNormalizedCorrelation, accuracy eAccuracyFine,
// accept 0.5, confusion 0.6, xyOverlap 0.3, maxNumResults 1.
class xcNccSearchRunParams {
public:
    xcNccSearchRunParams() = default;

    // An xcNccSearchDefs::Algorithm value; throws xcBadArgument for any other number.
    long algorithm() const { return m_algorithm; }
    void algorithm(long value);

    // An xcNccSearchDefs::Accuracy value; throws xcBadArgument for any other number.
    long accuracy() const { return m_accuracy; }
    void accuracy(long value);

    // A result is found when its score is at least accept. In [0, 1].
    double accept() const { return m_accept; }
    void accept(double value);

    // A score at or above the confusion threshold is taken to be the pattern beyond doubt: once
    // maxNumResults such results (not overlapping each other) are in hand, the remaining, weaker
    // coarse candidates are not examined. A confusion threshold below accept acts as accept.
    // In [0, 1].
    double confusion() const { return m_confusion; }
    void confusion(double value);

    // Two results overlap by the fraction of the model's footprint (its window's width x height
    // in image pixels) that their footprints share. Of two results overlapping by more than
    // xyOverlap, the weaker is dropped. In [0, 1]: 0 drops any overlap, 1 keeps every distinct
    // position.
    double xyOverlap() const { return m_xyOverlap; }
    void xyOverlap(double value);

    // The largest number of found results; a value below 1 means no limit.
    long maxNumResults() const { return m_maxNumResults; }
    void maxNumResults(long value) { m_maxNumResults = value; }

private:
    long m_algorithm = xcNccSearchDefs::eNormalizedCorrelation;
    long m_accuracy = xcNccSearchDefs::eAccuracyFine;
    double m_accept = 0.5;
    double m_confusion = 0.6;
    double m_xyOverlap = 0.3;
    long m_maxNumResults = 1;
};

// One result of a search.
class xcNccSearchResult {
public:
    xcNccSearchResult() = default;
    xcNccSearchResult(bool found, double score, const xcVector<2>& location)
        : m_found(found), m_score(score), m_location(location) {}

    // True when the score reached the run's accept threshold.
    bool found() const { return m_found; }
    // The correlation score in [0, 1] at the result's location: the integer placement's for
    // coarse accuracy, the fitted sub-pixel peak's for medium, and for fine the correlation with
    // the image interpolated (bicubic) at the sub-pixel location (ncc_search.h).
    double score() const { return m_score; }
    // Where the model's client origin lies in the searched image, in that image's client
    // coordinates, to sub-pixel precision. The model's client origin is the point (0, 0) of the
    // training image's client frame; for a model trained on an image with the identity
    // transform it is the training image's pixel corner (0, 0), so a model trained on the
    // window (0, 0, w, h) reports the upper-left corner of the matching w x h patch.
    const xcVector<2>& location() const { return m_location; }

private:
    bool m_found = false;
    double m_score = 0.0;
    xcVector<2> m_location;
};

// The results of one search, best score first: the found results (at most maxNumResults), or,
// when nothing reached the accept threshold, the best candidate with found() false (or nothing
// when the model cannot be placed in the image at all).
class xcNccSearchResultSet {
public:
    std::size_t size() const { return m_results.size(); }
    bool empty() const { return m_results.empty(); }
    // The number of results whose found() is true.
    std::size_t numFound() const;
    // Result i; throws xcBadArgument when i >= size().
    const xcNccSearchResult& result(std::size_t i) const;
    const std::vector<xcNccSearchResult>& results() const { return m_results; }
    // Milliseconds the run that filled the set took.
    double time() const { return m_time; }

    void clear() {
        m_results.clear();
        m_time = 0.0;
    }
    void add(const xcNccSearchResult& r) { m_results.push_back(r); }
    void time(double ms) { m_time = ms; }

private:
    std::vector<xcNccSearchResult> m_results;
    double m_time = 0.0;
};
