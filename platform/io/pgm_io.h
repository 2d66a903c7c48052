// PGM (binary, P5) reading and writing of 8-bit grey pel buffers.
//
// Reading accepts a P5 header (magic, width, height, maxval, separated by white space, with
// '#' comments running to the end of a line) followed by one white-space character and the
// raster. maxval may be 1 .. 65535: samples are 1 byte when maxval < 256 and 2 bytes
// (big-endian) otherwise, and every sample is scaled to 0 .. 255 as round(v * 255 / maxval)
// (maxval 255 keeps the values). Bytes after the raster are ignored. The buffer read has window
// (0, 0, width, height) and the identity client-from-image transform.
//
// Writing stores the buffer's window as P5 with maxval 255; the window's offset and the
// transform are not stored.
//
// Errors: a missing, unreadable, truncated or malformed file (bad magic, bad or missing
// numbers, a zero size, maxval 0 or above 65535, a sample above maxval) throws xcIOError naming
// the file and the reason. An image above xcImageLimits::kMaxPixels pixels is refused from its
// header, and a file that is not a regular file, is larger than xcImageLimits::kMaxFileBytes or
// does not start with "P5" from its first bytes (image_limits.h). Writing an unbound buffer throws xcPel::UnboundWindow and an empty
// window xcBadArgument; a destination that cannot be written throws xcIOError and leaves no
// file (the previous file, if any, is kept).
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/io/image_limits.h"

// Reads the binary PGM file at `path`.
xcPelBuffer<unsigned char> xfReadPgm(const std::filesystem::path& path);

// Writes `image`'s window to `path` as binary PGM. The file appears complete or not at all.
void xfWritePgm(const xcPelBuffer_const<unsigned char>& image, const std::filesystem::path& path);

// The same conversions in memory (decoding errors name "PGM data").
xcPelBuffer<unsigned char> xfDecodePgm(const unsigned char* data, std::size_t size);
std::vector<unsigned char> xfEncodePgm(const xcPelBuffer_const<unsigned char>& image);

// True when the bytes start with the binary PGM magic "P5".
bool xfIsPgmData(const unsigned char* data, std::size_t size);

// Module-private: decodes with errors naming `what` (L"PGM file 'a.pgm'").
xcPelBuffer<unsigned char> xf_DecodePgm(const unsigned char* data, std::size_t size,
                                        const std::wstring& what);
