// The character extraction model: one geometric alignment pattern per requested character,
// searched once over an image.
//
// xc_OCExtractModel::search trains one pattern (geo_align_pattern.h) per distinct key of the
// requested list from the alphabet's character model, measures how each character matches
// itself when turned (its Symmetry), ranks the characters by how rich in edge directions their
// images are, and runs the patterns over the image in that order. Once enough characters agree
// on a scale (within 8 %), the remaining characters are searched at that scale only.
//
// Frames. The pattern of a character has the model's client frame (its image's client frame)
// as its own, also when a small character is trained from its two-times enlargement; found
// poses map model client coordinates to the searched image's client coordinates (results in
// extract_result.h).
//
// Cost. Training costs about one pattern training and six small runs per distinct key; the
// search one run per distinct key, over an image prepared once for all of them. Each
// character's search is bounded by the run parameters' time-out.
//
// A model is used by one thread at a time; a second search retrains from scratch.
#pragma once

#include <memory>
#include <sstream>
#include <utility>
#include <vector>

#include "oc/extract/extract_params.h"
#include "oc/extract/extract_result.h"
#include "oc/font/alphabet.h"
#include "platform/core/pel_buffer.h"
#include "platform/vision/geo_align_pattern.h"

class xcDiagObject;
struct xc_OCExtractModelAccess;

class xc_OCExtractModel {
public:
    // Code of the time-out attached to each character's geometric search.
    static constexpr long kSearchTimeoutCode = 0x80000064;

    // Default parameters, no patterns, an empty diagnostics text.
    xc_OCExtractModel();
    ~xc_OCExtractModel();
    xc_OCExtractModel(const xc_OCExtractModel&) = delete;
    xc_OCExtractModel& operator=(const xc_OCExtractModel&) = delete;

    // Releases the patterns and empties the per-key lists (the diagnostics text stays).
    void init();
    // The number of distinct keys of the last training.
    long numModels() const { return static_cast<long>(m_patterns.size()); }
    // Milliseconds the symmetry tests of the last search took (a part of its trainTime).
    double symmetryTime() const { return m_symmetryTime; }
    // Where the last search locked its scale: the index into the search order of the
    // character whose result made the scales agree (-1 when the scale never locked), and the
    // common scale (1 when it did not lock).
    long scaleLockIndex() const { return m_scaleLockIndex; }
    double lockedScale() const { return m_lockedScale; }
    // Whether the last search trained a pattern for `key`.
    bool hasPattern(long key) const;
    // The distinct keys of the last search in search order (most edge directions first).
    std::vector<long> searchOrderKeys() const;

    // Finds the instances of the characters `keys` (alphabet keys, repetitions allowed, any
    // order) in the window of `image`; `mask` (cared for where >= 128) is used when bound and
    // must then cover the image's window. Fills `stringResult` (emptied first): one result per
    // distinct key in ascending key order, and one per position of `keys`, positions with the
    // same key sharing one result; each result's instances best score first.
    // Characters absent from the alphabet, blank, with too few or too uniform edges, or that
    // cannot be trained get a result without instances.
    // Returns false when some character's search ended by its time-out (runParams.timeout()
    // seconds per character) or by an internal error of the alignment tool: that character
    // keeps what was found before, the others are searched as usual. A caller's time-out or
    // cancellation (xcTimeout::Expired, xcAttention::Aborted) ends the search with that
    // exception; bad parameters raise the alignment tool's xcBadArgument.
    // Diagnostics (extract_diags.cpp): flags 0x10000 write the run parameters into the model's
    // text, 0x20000 add the text record "Result details" and one graphics record per instance.
    bool search(const xcPtrHandle_const<xcOCAlphabet>& alphabet, const std::vector<long>& keys,
                const xcPelBuffer_const<unsigned char>& image,
                const xcPelBuffer_const<unsigned char>& mask,
                const xc_OCExtractModelParams& modelParams, const xc_OCExtractRunParams& runParams,
                xc_OCExtractStringResult& stringResult, xcDiagObject* diag = nullptr,
                unsigned long flags = 0);

    // ---- Steps of the search, usable on their own ------------------------------------------

    // The edge test of a training image (its window): edgelets with smoothing 1 and threshold
    // 10 (thinned); degenerate with fewer than 25 edgelets, or when more than half of them lie
    // in one window of 15 of 128 direction bins over 0 ... 180 degrees (about 21 degrees).
    // Otherwise offDirectionEdges is the number of edgelets outside the densest such window.
    static bool isEdgeDegenerate(const xcPelBuffer_const<unsigned char>& image,
                                 double& offDirectionEdges);

    // Whether `pattern` finds `image` (a character image, its window) turned by `angle`
    // degrees: the turned image (enlarged two times when the image is under 15 pixels on a
    // side) keeps the client frame of the image and is searched inside a background padding;
    // the pattern is run on it at the client angle -angle and scale 1. True when the first result
    // is accepted (0.3) and scores above 0.7; pose is then that result's pose whatever its score
    // (unchanged when none accepted).
    static bool matchesRotated(const xcPelBuffer_const<unsigned char>& image,
                               const xcGeoAlignPattern& pattern, double angle, xcXform<2>& pose);
    // The same, also giving the first result's score (0 when there is no accepted result).
    static bool matchesRotated(const xcPelBuffer_const<unsigned char>& image,
                               const xcGeoAlignPattern& pattern, double angle, xcXform<2>& pose,
                               double& score);

    // The decision of matchesRotated on the collected results of its run: false when `list` is
    // empty or its first entry is not accepted; otherwise pose = that entry's pose and the
    // answer is whether it scores above 0.7.
    static bool selfMatch(const std::vector<xcGeoAlignResult>& list, xcXform<2>& pose);

    // The accepted results with a coverage not below 0, in order; when none qualifies, the
    // whole set.
    static std::vector<xcGeoAlignResult> collectAcceptedResults(const xcGeoAlignResultSet& set);

    // Whether k of `values` agree: the tightest run of k sorted values whose largest is less
    // than 1.08 times its smallest (of equally tight runs the lowest); scale = the geometric
    // mean of that run's ends. False with fewer than k values, or when the first value (in
    // the given order) is negative.
    static bool estimateCommonScale(const std::vector<double>& values, long k, double& scale);

    // How many characters must agree on a scale before it locks: (numModels + 1) / 2, at
    // least 3.
    static long minAgree(long numModels) { return std::max(3L, (numModels + 1) / 2); }

private:
    friend struct xc_OCExtractModelAccess;

    void train_(const xcOCAlphabet& alphabet, const std::vector<long>& keys,
                xc_OCExtractStringResult& stringResult);
    void computeModelSymmetries_(const xcOCAlphabet& alphabet);
    bool searchGeoFind_(const xcOCAlphabet& alphabet, const xcPelBuffer_const<unsigned char>& image,
                        const xcPelBuffer_const<unsigned char>& mask,
                        const xc_OCExtractRunParams& runParams,
                        xc_OCExtractStringResult& stringResult);
    void postProcessResults_(xc_OCExtractStringResult& stringResult, const std::vector<long>& keys);
    void drawTrainDiags_(const xcOCAlphabet& alphabet,
                         const xcPelBuffer_const<unsigned char>& image,
                         const std::vector<long>& keys, xcDiagObject* diag, unsigned long flags);
    void drawRuntimeDiags_(const xcOCAlphabet& alphabet,
                           const xcPelBuffer_const<unsigned char>& image,
                           const xc_OCExtractRunParams& runParams,
                           const xc_OCExtractStringResult& stringResult, xcDiagObject* diag,
                           unsigned long flags);

    std::vector<long> m_occurrences;
    xc_OCExtractModelParams m_params;
    std::vector<std::unique_ptr<xcGeoAlignPattern>> m_patterns;
    std::vector<xc_OCExtractDefs::Symmetry> m_symmetries;
    std::vector<long> m_keys;
    std::vector<xcXform<2>> m_rot180Poses;
    std::vector<long> m_searchOrder;
    std::wstringstream m_diagText;
    double m_symmetryTime = 0.0;
    long m_scaleLockIndex = -1;
    double m_lockedScale = 1.0;
};
