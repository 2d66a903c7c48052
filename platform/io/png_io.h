// PNG reading and writing of 8-bit grey pel buffers.
//
// Reading accepts every PNG: grey, grey with alpha, palette, RGB and RGBA, at any bit depth,
// interlaced or not. The result is always 8-bit grey:
// - samples of 1, 2 or 4 bits are scaled to 0 .. 255; 16-bit samples are scaled down with
//   rounding (v * 255 / 65535);
// - palette entries are expanded to their colours, and a tRNS chunk becomes alpha;
// - colour becomes luma on the stored (gamma-encoded) values, Y = 0.299 R + 0.587 G + 0.114 B,
//   rounded (the gAMA, cHRM, sRGB and iCCP chunks are ignored);
// - alpha is composited over white: Y' = (Y a + 255 (255 - a)) / 255, rounded, so transparent
//   parts read as blank paper.
// The buffer read has window (0, 0, width, height) in image coordinates and the identity
// client-from-image transform.
//
// Writing stores the buffer's window as an 8-bit grey, non-interlaced PNG; the window's offset
// and the transform are not stored.
//
// Errors: a missing, unreadable, truncated or corrupt file, or one that is not a PNG, throws
// xcIOError whose message names the file and the reason. So is a palette index beyond the
// palette. An image above xcImageLimits::kMaxPixels pixels is refused from its header, before
// any pixel memory is taken; so is a file that is not a regular file, is larger than
// xcImageLimits::kMaxFileBytes, or does not start with the PNG signature (image_limits.h). Writing an unbound buffer throws xcPel::UnboundWindow and an empty window
// xcBadArgument; a destination that cannot be written throws xcIOError and leaves no file
// (the previous file, if any, is kept).
#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/io/image_limits.h"

// Reads the PNG file at `path`.
xcPelBuffer<unsigned char> xfReadPng(const std::filesystem::path& path);

// The colour planes of a PNG (screenshots, for instance): 8 bits per sample as above, alpha
// composited over white per channel; a grey PNG gives three equal planes. Errors as xfReadPng.
struct xcRgbPlanes {
    xcPelBuffer<unsigned char> red, green, blue;
};
xcRgbPlanes xfReadPngRgb(const std::filesystem::path& path);

// Writes `image`'s window to `path` as a PNG. The file appears complete or not at all.
void xfWritePng(const xcPelBuffer_const<unsigned char>& image, const std::filesystem::path& path);

// The same conversions in memory: decodes PNG bytes (errors name "PNG data"), and encodes a
// window as the bytes of a PNG file.
xcPelBuffer<unsigned char> xfDecodePng(const unsigned char* data, std::size_t size);
std::vector<unsigned char> xfEncodePng(const xcPelBuffer_const<unsigned char>& image);

// True when the bytes start with the PNG signature.
bool xfIsPngData(const unsigned char* data, std::size_t size);
// Module-private: true when the bytes are the PNG signature or a prefix of it (a truncated
// file is reported as such by the decoder).
bool xf_MayBePng(const unsigned char* data, std::size_t size);

// Module-private: decodes with errors naming `what` (L"PNG file 'a.png'").
xcPelBuffer<unsigned char> xf_DecodePng(const unsigned char* data, std::size_t size,
                                        const std::wstring& what);
