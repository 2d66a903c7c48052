// Results of the character extraction (extract_model.h).
//
// xc_OCExtractCharInstance   one found instance of a character: score, pose and footprint;
// xc_OCExtractCharResult     every instance found for one character key (reference counted);
// xc_OCExtractStringResult   the result of one search over a list of keys.
//
// Frames. A pose maps the character model's client coordinates (the client frame of its
// image) to the searched image's client coordinates. A footprint is the character's trained
// window (the model's image area, or its enlargement for small characters) mapped into the
// searched image's client coordinates.
//
// None of these records is archived.
#pragma once

#include <map>
#include <vector>

#include "oc/extract/extract_defs.h"
#include "platform/core/affine_rectangle.h"
#include "platform/core/pel_rect.h"
#include "platform/core/rep_base.h"
#include "platform/core/xform.h"

class xcDiagObject;
class xcGeoAlignResult;
class xc_OCExtractModel;
class xc_OCExtractStringResult;
struct xc_OCExtractResultAccess;

// One found instance of a character; a plain value.
class xc_OCExtractCharInstance {
public:
    // Score 0, identity pose, the default (unit-square) footprint.
    xc_OCExtractCharInstance() = default;
    // From a result of the character's geometric pattern: its score and pose, and as footprint
    // the training window's corners (ul, ur, ll; training image coordinates) mapped by
    // pose * trainClientFromImage.
    xc_OCExtractCharInstance(const xcGeoAlignResult& result, const xcXform<2>& trainClientFromImage,
                             const xcPelRect& trainWindow);

    // The overlap test: this footprint expressed in the unit-square frame of other's footprint
    // (where other's centre is (0.5, 0.5)); true when the distance from (0.5, 0.5) to this
    // footprint's centre or to one of its four corners is at most `tolerance` (in units of
    // other's sides). Not symmetric in its two instances. A degenerate other footprint (no
    // area) overlaps nothing.
    bool isEqual(const xc_OCExtractCharInstance& other, double tolerance) const;
    // Descending order of score: true exactly when a.score > b.score.
    static bool orderByScore(const xc_OCExtractCharInstance& a, const xc_OCExtractCharInstance& b);

    double score = 0.0;
    xcXform<2> pose;
    xcAffineRectangle affRect;
};

// The result for one character key, shared by reference count between the positions of the
// requested key list that hold the key.
class xc_OCExtractCharResult : public virtual xcRepBase {
public:
    // Identity rot180Pose, then init().
    xc_OCExtractCharResult();
    xc_OCExtractCharResult(const xc_OCExtractCharResult&) = default;
    xc_OCExtractCharResult& operator=(const xc_OCExtractCharResult&) = default;
    ~xc_OCExtractCharResult() override = default;

    // found false, time 0, no instances, eNotSymmetric, numOccurrences 0 (rot180Pose stays).
    void init();

    long numInstances() const { return static_cast<long>(m_instances.size()); }
    // At least one instance was kept.
    bool found() const { return m_found; }
    void found(bool f) { m_found = f; }
    // Milliseconds spent on this character's search.
    double time() const { return m_time; }
    void time(double ms) { m_time = ms; }
    xc_OCExtractDefs::Symmetry symmetry() const { return m_symmetry; }
    void symmetry(xc_OCExtractDefs::Symmetry s) { m_symmetry = s; }
    // How many times the key occurs in the requested key list.
    long numOccurrences() const { return m_numOccurrences; }
    void numOccurrences(long n) { m_numOccurrences = n; }
    // The pose the character's pattern found on the character's own image turned by 180
    // degrees (identity when that test did not run or found nothing).
    const xcXform<2>& rot180Pose() const { return m_rot180Pose; }
    void rot180Pose(const xcXform<2>& p) { m_rot180Pose = p; }

    // The fields of instance i (best score first after a search). Throw
    // xc_OCExtractDefs::xc_OCExtractError "Bad index" for i outside 0 ... numInstances() - 1.
    xcXform<2> pose(long i) const;
    double score(long i) const;
    xcAffineRectangle affRect(long i) const;

private:
    friend class xc_OCExtractModel;
    friend class xc_OCExtractStringResult;
    friend struct xc_OCExtractResultAccess;

    const xc_OCExtractCharInstance& instance_(long i) const;
    // Appends an instance at the end.
    void append_(const xc_OCExtractCharInstance& instance);
    // Best score first (not stable: equal scores keep no defined order).
    void sortByScore_();
    // Appends other's instances after these, adds other's time, found = found || other.found.
    xc_OCExtractCharResult& operator+=(const xc_OCExtractCharResult& other);
    // Erases every instance after i that instance i isEqual (tolerance).
    void removeOverlapping_(long i, double tolerance);
    // Instance i isEqual instance j; "Bad index" when either is out of range.
    bool doesOverlap_(long i, long j, double tolerance) const;

    bool m_found = false;
    double m_time = 0.0;
    std::vector<xc_OCExtractCharInstance> m_instances;
    xc_OCExtractDefs::Symmetry m_symmetry = xc_OCExtractDefs::eNotSymmetric;
    xcXform<2> m_rot180Pose;
    long m_numOccurrences = 0;
};

using xc_OCExtractCharResultHandle = xcPtrHandle<xc_OCExtractCharResult>;

// The result of one search. Copies share their character results.
class xc_OCExtractStringResult {
public:
    xc_OCExtractStringResult() { init(); }

    // Empties both vectors and the map; both times 0.
    void init();

    // Milliseconds of the search phase (search and post-processing).
    double searchTime() const { return m_searchTime; }
    // Milliseconds of the training phase (training and symmetry tests).
    double trainTime() const { return m_trainTime; }
    // One result per distinct requested key, in ascending key order.
    const std::vector<xc_OCExtractCharResultHandle>& uniqueCharResults() const {
        return m_uniqueCharResults;
    }
    // One result per position of the requested key list; positions with the same key share
    // one result.
    const std::vector<xc_OCExtractCharResultHandle>& results() const { return m_results; }

private:
    friend class xc_OCExtractModel;
    friend struct xc_OCExtractResultAccess;

    // Stores `handle` under key, or merges its result into the one already stored.
    void addToResult_(long key, const xc_OCExtractCharResultHandle& handle);
    // removeOverlapping_(i, tolerance) on the handle's result when the handle is not null.
    void deleteOverlappingCandidate_(const xc_OCExtractCharResultHandle& handle, long i,
                                     double tolerance, xcDiagObject* diag, unsigned long flags);

    double m_searchTime = 0.0;
    double m_trainTime = 0.0;
    std::vector<xc_OCExtractCharResultHandle> m_uniqueCharResults;
    std::vector<xc_OCExtractCharResultHandle> m_results;
    std::map<long, xc_OCExtractCharResultHandle> m_resultsByKey;
};
