// Shared helpers of the font-model tests: images and models with known contents, archive round
// trips, alphabets in a compiled state with a chosen matrix (as an archive delivers them), and
// error expectations with exact messages.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "oc/font/alphabet.h"
#include "oc/font/model.h"
#include "platform/core/archive.h"
#include "platform/core/archive_geometry.h"
#include "tests/support/expect_error.h"

// Expects `stmt` to throw exactly `Type` with the wide message `msg`. Kept for the suites that
// still spell it so; new tests call expectError directly.
#define EXPECT_OC_ERROR(stmt, Type, msg) expectError<Type>([&] { stmt; }, msg)

namespace font_test {

using Buffer = xcPelBuffer<unsigned char>;
using ModelHandle = xcPtrHandle<xcOCModel>;
using ConstModels = xcOCAlphabet::ConstModels;

// A width x height image whose pixel (x, y) is (seed + 7x + 13y) mod 256.
inline Buffer patternImage(long width, long height, int seed = 0) {
    Buffer b(width, height);
    for (long y = 0; y < height; ++y) {
        unsigned char* row = b.rowPointer(y);
        for (long x = 0; x < width; ++x)
            row[x] = static_cast<unsigned char>((seed + 7 * x + 13 * y) & 0xFF);
    }
    return b;
}

// A normal model over a whole pattern image.
inline ModelHandle normalModel(long key, const std::wstring& name, long width = 8, long height = 12,
                               int seed = 0) {
    return ModelHandle(new xcOCModel(key, patternImage(width, height, seed),
                                     xcPelRect(0, 0, width, height), xcOCModel::eNormal, name));
}

// A blank model with the given cell.
inline ModelHandle blankModel(long key, const std::wstring& name,
                              const xcPelRect& area = xcPelRect(0, 0, 6, 12)) {
    return ModelHandle(
        new xcOCModel(key, xcPelBuffer_const<unsigned char>(), area, xcOCModel::eBlank, name));
}

inline std::vector<unsigned char> bytesOf(const xcArchive& ar) { return ar.bytes(); }

// Stores `value` by value and returns the archive bytes.
template <class T>
std::vector<unsigned char> storeValue(T& value) {
    xcArchive out;
    out || value;
    return out.bytes();
}

// Loads a value of type T from `bytes` (by value).
template <class T>
void loadValue(const std::vector<unsigned char>& bytes, T& value) {
    xcArchive in{std::span<const unsigned char>(bytes)};
    in || value;
    EXPECT_TRUE(in.atEnd());
}

// Offset of the first body byte of an object stored by value (after the stream header).
constexpr std::size_t kBodyOffset = 8;

// An alphabet in the compiled state with the given matrix and offsets, read from an archive of
// the current version (how a compiled alphabet reaches a build without compilation).
inline xcPtrHandle<xcOCAlphabet> compiledAlphabet(const ConstModels& models,
                                                  const xcNMMatrix& matrix,
                                                  const xcOCAlphabet::OffsetTable& offsets,
                                                  double threshold = 0.5,
                                                  const std::wstring& name = L"font") {
    xcArchive out;
    std::uint8_t version = 1;
    std::wstring n = name;
    double t = threshold;
    ConstModels characters = models;
    bool compiled = true;
    xcNMMatrix m = matrix;
    xcOCAlphabet::OffsetTable o = offsets;
    out || version || n || t || characters || compiled || m || o;
    xcPtrHandle<xcOCAlphabet> a(new xcOCAlphabet());
    xcArchive in{std::span<const unsigned char>(out.bytes())};
    in || *a;
    return a;
}

// A matrix whose element (i, j) is `diagonal` on the diagonal and 0.01 * (10 i + j + 1)
// elsewhere, and offsets whose element [i][j] translates by (i, j).
inline xcNMMatrix distinctMatrix(long n, double diagonal = 1.0) {
    xcNMMatrix m(std::max(1L, n), std::max(1L, n));
    for (long i = 0; i < n; ++i)
        for (long j = 0; j < n; ++j) m(i, j) = i == j ? diagonal : 0.01 * (10 * i + j + 1);
    return m;
}

inline xcOCAlphabet::OffsetTable distinctOffsets(long n) {
    xcOCAlphabet::OffsetTable t(static_cast<std::size_t>(n));
    for (long i = 0; i < n; ++i)
        for (long j = 0; j < n; ++j)
            t[static_cast<std::size_t>(i)].push_back(xcXform<2>::translation(
                xcVector<2>(static_cast<double>(i), static_cast<double>(j))));
    return t;
}

}  // namespace font_test
