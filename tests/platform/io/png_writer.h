// Test helper: writes PNG variants (colour, palette, alpha, 16-bit, interlaced) with libpng, so
// the reader can be checked against files it did not write itself.
#pragma once

#include <png.h>

#include <filesystem>
#include <vector>

struct RawPng {
    int width = 0;
    int height = 0;
    int colorType = PNG_COLOR_TYPE_GRAY;
    int bitDepth = 8;
    bool interlaced = false;
    std::vector<unsigned char> rows;  // packed rows as stored, height * rowBytes
    std::vector<png_color> palette;
    std::vector<png_byte> trns;  // palette alpha, when not empty
};

// Writes `png` to `path`; returns false when libpng fails.
bool xf_TestWritePng(const RawPng& png, const std::filesystem::path& path);
