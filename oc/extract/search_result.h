// Results of a run of the rotation- and scale-tolerant correlation model (rsi_ncc_search.h).
//
// xc_SearchInstance is one found instance: its correlation score, its pose (the model image's
// pixel frame into the searched image's client frame: the correlation location as translation,
// the rotation and scale of the variant that found it), its footprint and the variant's index.
// xc_SearchResult holds the instances of one run, best score first, with the run's time. It is
// reference counted (held through xcPtrHandle<xc_SearchResult>).
#pragma once

#include <vector>

#include "platform/core/affine_rectangle.h"
#include "platform/core/rep_base.h"
#include "platform/core/vector.h"
#include "platform/core/xform.h"

class xc_SearchInstance {
public:
    // Score 0, identity pose, default footprint, location (0, 0), variant 0.
    xc_SearchInstance() = default;
    xc_SearchInstance(double score, const xcXform<2>& pose, const xcAffineRectangle& affRect,
                      const xcVector<2>& location, long variant)
        : m_score(score),
          m_pose(pose),
          m_affRect(affRect),
          m_location(location),
          m_variant(variant) {}

    // Correlation score in [0, 1].
    double score() const { return m_score; }
    void score(double v) { m_score = v; }
    // Model image pixels -> searched image client coordinates.
    const xcXform<2>& pose() const { return m_pose; }
    void pose(const xcXform<2>& p) { m_pose = p; }
    // The model window's footprint in the searched image's client coordinates.
    const xcAffineRectangle& affRect() const { return m_affRect; }
    void affRect(const xcAffineRectangle& r) { m_affRect = r; }
    // The correlation result's location (searched image client coordinates).
    const xcVector<2>& location() const { return m_location; }
    void location(const xcVector<2>& v) { m_location = v; }
    // Index of the variant that found the instance.
    long variant() const { return m_variant; }
    void variant(long v) { m_variant = v; }

private:
    double m_score = 0.0;
    xcXform<2> m_pose;
    xcAffineRectangle m_affRect;
    xcVector<2> m_location;
    long m_variant = 0;
};

class xc_SearchResult : public virtual xcRepBase {
public:
    // Not found, time 0, no instances.
    xc_SearchResult() = default;
    ~xc_SearchResult() override = default;
    xc_SearchResult(const xc_SearchResult&) = default;
    xc_SearchResult& operator=(const xc_SearchResult&) = default;

    // Not found, time 0, no instances.
    void init();

    bool found() const { return m_found; }
    void found(bool f) { m_found = f; }
    // Milliseconds of the run.
    double time() const { return m_time; }
    void time(double ms) { m_time = ms; }
    const std::vector<xc_SearchInstance>& instances() const { return m_instances; }
    void instances(const std::vector<xc_SearchInstance>& v) { m_instances = v; }
    long numInstances() const { return static_cast<long>(m_instances.size()); }

    // Instance i and its pose and score. An index outside 0 ... numInstances() - 1 throws
    // xc_OCExtractDefs::xc_OCExtractError "Refine error".
    const xc_SearchInstance& instance(long i) const;
    xcXform<2> pose(long i) const { return instance(i).pose(); }
    double score(long i) const { return instance(i).score(); }

private:
    bool m_found = false;
    double m_time = 0.0;
    std::vector<xc_SearchInstance> m_instances;
};
