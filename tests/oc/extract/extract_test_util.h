// Shared helpers of the extraction tests: alphabets of real glyphs (ocsynth, key = code point,
// name = the character), straight text scenes with their truth, hand-made character images,
// access to the model's and the results' private steps, and exact-error expectations.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "oc/extract/extract_model.h"
#include "oc/extract/extract_result.h"
#include "oc/font/alphabet.h"
#include "tools/synth/font.h"
#include "tools/synth/glyph_model.h"
#include "tools/synth/scene.h"

// Expects `stmt` to throw exactly `Type` with the wide message `msg`.
#define EXPECT_EXTRACT_ERROR(stmt, msg)                           \
    do {                                                          \
        try {                                                     \
            stmt;                                                 \
            ADD_FAILURE() << "no exception from " #stmt;          \
        } catch (const xc_OCExtractDefs::xc_OCExtractError& e_) { \
            EXPECT_EQ(e_.string(), std::wstring(msg)) << #stmt;   \
        }                                                         \
    } while (0)

// The private steps the tests reach.
struct xc_OCExtractResultAccess {
    static void append(xc_OCExtractCharResult& r, const xc_OCExtractCharInstance& i) {
        r.append_(i);
    }
    static void sort(xc_OCExtractCharResult& r) { r.sortByScore_(); }
    static void merge(xc_OCExtractCharResult& a, const xc_OCExtractCharResult& b) { a += b; }
    static void removeOverlapping(xc_OCExtractCharResult& r, long i, double t) {
        r.removeOverlapping_(i, t);
    }
    static bool doesOverlap(const xc_OCExtractCharResult& r, long i, long j, double t) {
        return r.doesOverlap_(i, j, t);
    }
    static void add(xc_OCExtractStringResult& s, long key, const xc_OCExtractCharResultHandle& h) {
        s.addToResult_(key, h);
    }
    static void deleteOverlapping(xc_OCExtractStringResult& s,
                                  const xc_OCExtractCharResultHandle& h, long i, double t) {
        s.deleteOverlappingCandidate_(h, i, t, nullptr, 0);
    }
    static const std::map<long, xc_OCExtractCharResultHandle>& byKey(
        const xc_OCExtractStringResult& s) {
        return s.m_resultsByKey;
    }
};

struct xc_OCExtractModelAccess {
    static const std::vector<long>& keys(const xc_OCExtractModel& m) { return m.m_keys; }
    static const std::vector<long>& occurrences(const xc_OCExtractModel& m) {
        return m.m_occurrences;
    }
    static const std::vector<long>& searchOrder(const xc_OCExtractModel& m) {
        return m.m_searchOrder;
    }
    static const xcGeoAlignPattern* pattern(const xc_OCExtractModel& m, long i) {
        return m.m_patterns[static_cast<size_t>(i)].get();
    }
    static xc_OCExtractDefs::Symmetry symmetry(const xc_OCExtractModel& m, long i) {
        return m.m_symmetries[static_cast<size_t>(i)];
    }
    static std::wstring diagText(const xc_OCExtractModel& m) { return m.m_diagText.str(); }
};

namespace extract_test {

using ModelHandle = xcPtrHandle<xcOCModel>;
using ConstModels = xcOCAlphabet::ConstModels;

inline const xcSynthFont& font(const std::string& name) {
    static std::map<std::string, std::unique_ptr<xcSynthFont>> fonts;
    auto& f = fonts[name];
    if (!f) f = std::make_unique<xcSynthFont>(xcSynthFont::locate(name));
    return *f;
}

inline const xcSynthFont& mono() { return font("DejaVuSansMono.ttf"); }

// The model of character c of `f` at `em` pixels per em, dark (30) on light (220).
inline ModelHandle glyphModel(const xcSynthFont& f, wchar_t c, double em) {
    xcSynthGlyphParams params;
    params.pixelSize = em;
    params.tones.dark = 30.0;
    params.tones.light = 220.0;
    const xcSynthGlyph g = xfSynthGlyphModel(f, static_cast<char32_t>(c), params);
    const std::wstring name(1, c);
    if (g.blank)
        return ModelHandle(new xcOCModel(static_cast<long>(c), xcPelBuffer_const<unsigned char>(),
                                         g.cell, xcOCModel::eBlank, name));
    return ModelHandle(
        new xcOCModel(static_cast<long>(c), g.image, g.cell, xcOCModel::eNormal, name));
}

// An uncompiled alphabet of the distinct characters of `chars`.
inline xcPtrHandle_const<xcOCAlphabet> glyphAlphabet(const xcSynthFont& f,
                                                     const std::wstring& chars, double em) {
    ConstModels models;
    std::wstring seen;
    for (wchar_t c : chars) {
        if (seen.find(c) != std::wstring::npos) continue;
        seen.push_back(c);
        models.push_back(glyphModel(f, c, em));
    }
    return xcPtrHandle_const<xcOCAlphabet>(new xcOCAlphabet(models, 0.5, false));
}

inline std::vector<long> keysOf(const std::wstring& text) {
    std::vector<long> keys;
    for (wchar_t c : text) keys.push_back(static_cast<long>(c));
    return keys;
}

// A 640 x 480 scene of one straight line of `text` (em pixels per em, blur 0.7, noise 4).
inline xcSynthScene lineScene(const xcSynthFont& f, const std::wstring& text, double em,
                              const xcVector<2>& start, double angle, double scale,
                              std::uint64_t seed = 3) {
    xcSynthSceneParams p;
    p.width = 640;
    p.height = 480;
    p.pixelSize = em;
    p.tones = xcSynthTones{eDarkOnLight, 30.0, 220.0};
    xcSynthLineSpec line;
    line.text = text;
    line.scale = scale;
    line.start = start;
    line.angle = angle;
    p.lines.push_back(line);
    p.blurSigma = 0.7;
    p.noiseSigma = 4.0;
    p.seed = seed;
    return xfSynthScene(f, p);
}

// Distance in pixels between where two poses put a point, and the angle between them.
inline double poseDistance(const xcXform<2>& a, const xcXform<2>& b, const xcVector<2>& p) {
    const xcVector<2> d = a.mapPoint(p) - b.mapPoint(p);
    return std::hypot(d.x(), d.y());
}
inline double angleDifference(const xcXform<2>& a, const xcXform<2>& b) {
    return std::fabs(std::remainder(a.xRot().toDouble() - b.xRot().toDouble(), 2 * M_PI)) * 180.0 /
           M_PI;
}

// True when one of r's instances lies within 0.5 px (cell centre) and 1 degree of `truth`.
inline bool hasInstanceNear(const xc_OCExtractCharResult& r, const xcXform<2>& truth,
                            const xcVector<2>& cellCentre, double px = 0.5, double deg = 1.0) {
    for (long i = 0; i < r.numInstances(); ++i)
        if (poseDistance(r.pose(i), truth, cellCentre) <= px &&
            angleDifference(r.pose(i), truth) <= deg)
            return true;
    return false;
}

}  // namespace extract_test
