// Image files by content: reads a PNG or binary PGM file, whichever it holds, and writes by the
// file name's extension. See png_io.h and pgm_io.h for the conversions and errors.
#pragma once

#include <filesystem>

#include "platform/core/pel_buffer.h"

// Reads `path` as PNG when it starts with the PNG signature, as PGM when it starts with "P5".
// Any other content throws xcIOError naming the file, as do the errors of either reader. The
// kind is decided from the first 8 bytes, before the rest of the file is read; anything but a
// regular file of at most xcImageLimits::kMaxFileBytes bytes, and any image of more than
// xcImageLimits::kMaxPixels pixels, is refused the same way (image_limits.h).
xcPelBuffer<unsigned char> xfReadImage(const std::filesystem::path& path);

// Writes `image`'s window as PGM when the extension is ".pgm" (any case), as PNG otherwise.
void xfWriteImage(const xcPelBuffer_const<unsigned char>& image, const std::filesystem::path& path);
