#include "png_writer.h"

#include <csetjmp>
#include <cstdio>

namespace {

// Plain data only between setjmp and return.
bool writeInto(png_structp png, png_infop info, std::FILE* f, const RawPng* p) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_init_io(png, f);
    png_set_check_for_invalid_index(png, 0);  // palette indices are written as given
    png_set_IHDR(png, info, static_cast<png_uint_32>(p->width), static_cast<png_uint_32>(p->height),
                 p->bitDepth, p->colorType,
                 p->interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (!p->palette.empty())
        png_set_PLTE(png, info, p->palette.data(), static_cast<int>(p->palette.size()));
    if (!p->trns.empty())
        png_set_tRNS(png, info, p->trns.data(), static_cast<int>(p->trns.size()), nullptr);
    png_write_info(png, info);
    const std::size_t rowBytes = p->rows.size() / static_cast<std::size_t>(p->height);
    const int passes = png_set_interlace_handling(png);
    for (int pass = 0; pass < passes; ++pass)
        for (int y = 0; y < p->height; ++y)
            png_write_row(png, p->rows.data() + static_cast<std::size_t>(y) * rowBytes);
    png_write_end(png, info);
    return true;
}

}  // namespace

bool xf_TestWritePng(const RawPng& p, const std::filesystem::path& path) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    const bool ok = png && info && writeInto(png, info, f, &p);
    png_destroy_write_struct(&png, &info);
    return std::fclose(f) == 0 && ok;
}
