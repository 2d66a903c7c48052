// Helpers shared by the character-record tests: patterned images and archive round trips.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "platform/core/archive.h"
#include "platform/core/archive_geometry.h"
#include "platform/core/exception.h"
#include "platform/core/pel_buffer.h"

namespace occhar_test {

using Bytes = std::vector<unsigned char>;

// A deterministic grey value per pixel, distinct over small images.
inline unsigned char pel(long x, long y) {
    return static_cast<unsigned char>((x * 37 + y * 101 + 11) & 255);
}

// A new image covering `extent` with pel(x, y) at every pixel.
inline xcPelBuffer<unsigned char> pattern(const xcPelRect& extent) {
    xcPelBuffer<unsigned char> b(extent);
    for (long y = extent.y(); y < extent.y() + extent.height(); ++y)
        for (long x = extent.x(); x < extent.x() + extent.width(); ++x) b.set(x, y, pel(x, y));
    return b;
}

// The stream of an archive holding `value`.
template <class T>
Bytes store(T& value) {
    xcArchive ar;
    ar || value;
    return ar.bytes();
}

// The payload of a stream (after the 8-byte header).
inline Bytes payload(const Bytes& stream) { return Bytes(stream.begin() + 8, stream.end()); }

// A stream whose payload is written by `write` through the raw put functions.
inline Bytes rawStream(const std::function<void(xcArchive&)>& write) {
    xcArchive ar;
    write(ar);
    return ar.bytes();
}

// Loads `value` from `stream` and checks every byte was used.
template <class T>
void load(const Bytes& stream, T& value) {
    xcArchive ar{std::span<const unsigned char>(stream)};
    ar || value;
    EXPECT_TRUE(ar.atEnd());
}

}  // namespace occhar_test
