#include "platform/io/png_io.h"

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/core/char_code.h"
#include "platform/core/exception.h"
#include "platform/core/text.h"
#include "platform/io/file_bytes.h"
#include "platform/io/image_limits.h"

// libpng reports errors by longjmp. Every function below that sets a jump point holds only
// plain data (no object with a destructor) between setjmp and its return, and the jump never
// crosses a C++ frame: the C++ callers own all memory and the libpng structures, and turn a
// false return into an exception once the jump is over.

namespace {

// Plain state shared with the libpng callbacks.
struct PngState {
    png_structp png = nullptr;
    png_infop info = nullptr;
    char message[256] = {};
    char detail[128] = {};  // our own error text handed to png_error
    // Reading: the bytes and the position in them.
    const unsigned char* data = nullptr;
    std::size_t size = 0;
    std::size_t pos = 0;
    // Writing: a growing malloc'd buffer.
    unsigned char* out = nullptr;
    std::size_t outSize = 0;
    std::size_t outCap = 0;
};

void pngOnError(png_structp png, png_const_charp msg) {
    auto* st = static_cast<PngState*>(png_get_error_ptr(png));
    std::snprintf(st->message, sizeof st->message, "%s", msg ? msg : "unknown libpng error");
    png_longjmp(png, 1);
}

void pngOnWarning(png_structp, png_const_charp) {}

void pngOnRead(png_structp png, png_bytep out, png_size_t n) {
    auto* st = static_cast<PngState*>(png_get_io_ptr(png));
    if (n > st->size - st->pos) png_error(png, "the file is truncated");
    std::memcpy(out, st->data + st->pos, n);
    st->pos += n;
}

void pngOnWrite(png_structp png, png_bytep in, png_size_t n) {
    auto* st = static_cast<PngState*>(png_get_io_ptr(png));
    if (n > st->outCap - st->outSize) {
        std::size_t cap = st->outCap ? st->outCap : 4096;
        while (cap - st->outSize < n) cap *= 2;
        auto* grown = static_cast<unsigned char*>(std::realloc(st->out, cap));
        if (!grown) png_error(png, "out of memory");
        st->out = grown;
        st->outCap = cap;
    }
    std::memcpy(st->out + st->outSize, in, n);
    st->outSize += n;
}

void pngOnFlush(png_structp) {}

struct PngHeader {
    png_uint_32 width = 0;
    png_uint_32 height = 0;
    int channels = 0;  // after expansion: 1 G, 2 GA, 3 RGB, 4 RGBA, 8 bits each
    int passes = 1;
    std::size_t rowBytes = 0;
    // Palette images are read as one index a byte and converted here, so that an index
    // beyond the palette is seen: the grey of each entry (alpha over white) and the count.
    bool palette = false;
    int paletteSize = 0;
    unsigned char paletteGrey[256] = {};
};

inline unsigned char luma(unsigned r, unsigned g, unsigned b) {
    // 0.299, 0.587, 0.114 in 16-bit fixed point; the weights sum to 65536.
    return static_cast<unsigned char>((19595u * r + 38470u * g + 7471u * b + 32768u) >> 16);
}

inline unsigned char overWhite(unsigned v, unsigned a) {
    return static_cast<unsigned char>((v * a + 255u * (255u - a) + 127u) / 255u);
}

// Reads the header and sets the expansions. False on a libpng error.
bool readHeader(PngState* st, PngHeader* h) {
    if (setjmp(png_jmpbuf(st->png))) return false;
    png_set_benign_errors(st->png, 0);  // a damaged stream is an error, not a warning
    png_read_info(st->png, st->info);
    if (png_get_color_type(st->png, st->info) == PNG_COLOR_TYPE_PALETTE) {
        h->palette = true;
        png_colorp colours = nullptr;
        png_bytep alpha = nullptr;
        int alphas = 0;
        if (!png_get_PLTE(st->png, st->info, &colours, &h->paletteSize)) h->paletteSize = 0;
        if (!png_get_tRNS(st->png, st->info, &alpha, &alphas, nullptr)) alphas = 0;
        for (int i = 0; i < h->paletteSize && i < 256; ++i) {
            const unsigned a = i < alphas ? alpha[i] : 255u;
            h->paletteGrey[i] =
                overWhite(luma(colours[i].red, colours[i].green, colours[i].blue), a);
        }
        png_set_packing(st->png);  // indices of 1, 2 or 4 bits to one a byte
    } else {
        png_set_expand(st->png);  // low bit depths to 8, tRNS to alpha
    }
    png_set_scale_16(st->png);  // 16 to 8 bits, rounded
    h->passes = png_set_interlace_handling(st->png);
    png_read_update_info(st->png, st->info);
    h->width = png_get_image_width(st->png, st->info);
    h->height = png_get_image_height(st->png, st->info);
    h->channels = png_get_channels(st->png, st->info);
    h->rowBytes = png_get_rowbytes(st->png, st->info);
    return true;
}

void rowToGrey(const unsigned char* in, int channels, long width, unsigned char* out) {
    switch (channels) {
        case 1:
            std::memcpy(out, in, static_cast<std::size_t>(width));
            break;
        case 2:
            for (long x = 0; x < width; ++x, in += 2) out[x] = overWhite(in[0], in[1]);
            break;
        case 3:
            for (long x = 0; x < width; ++x, in += 3) out[x] = luma(in[0], in[1], in[2]);
            break;
        default:
            for (long x = 0; x < width; ++x, in += 4)
                out[x] = overWhite(luma(in[0], in[1], in[2]), in[3]);
            break;
    }
}

// Palette indices to grey; an index beyond the palette is a libpng error of ours.
void paletteToGrey(PngState* st, const PngHeader* h, const unsigned char* in, long width, long y,
                   unsigned char* out) {
    for (long x = 0; x < width; ++x) {
        if (in[x] >= h->paletteSize) {
            std::snprintf(st->detail, sizeof st->detail,
                          "palette index %d at (%ld, %ld) is beyond the palette of %d entries",
                          in[x], x, y, h->paletteSize);
            png_error(st->png, st->detail);
        }
        out[x] = h->paletteGrey[in[x]];
    }
}

void convertRow(PngState* st, const PngHeader* h, const unsigned char* in, long y,
                unsigned char* out) {
    const long width = static_cast<long>(h->width);
    if (h->palette)
        paletteToGrey(st, h, in, width, y, out);
    else
        rowToGrey(in, h->channels, width, out);
}

// Reads the rows into `decoded` (one row, or every row when interlaced) and converts them to
// grey rows `stride` bytes apart from `grey`. False on a libpng error.
bool readRows(PngState* st, const PngHeader* h, unsigned char* decoded, unsigned char* grey,
              long stride) {
    if (setjmp(png_jmpbuf(st->png))) return false;
    const long height = static_cast<long>(h->height);
    if (h->passes == 1) {
        for (long y = 0; y < height; ++y) {
            png_read_row(st->png, decoded, nullptr);
            convertRow(st, h, decoded, y, grey + y * stride);
        }
    } else {
        for (int pass = 0; pass < h->passes; ++pass)
            for (long y = 0; y < height; ++y)
                png_read_row(st->png, decoded + static_cast<std::size_t>(y) * h->rowBytes, nullptr);
        for (long y = 0; y < height; ++y)
            convertRow(st, h, decoded + static_cast<std::size_t>(y) * h->rowBytes, y,
                       grey + y * stride);
    }
    png_read_end(st->png, nullptr);
    return true;
}

// Writes a grey image whose rows lie `stride` bytes apart from `first`. False on an error.
bool writeImage(PngState* st, png_uint_32 width, png_uint_32 height, const unsigned char* first,
                long stride) {
    if (setjmp(png_jmpbuf(st->png))) return false;
    png_set_IHDR(st->png, st->info, width, height, 8, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(st->png, st->info);
    for (png_uint_32 y = 0; y < height; ++y)
        png_write_row(st->png, first + static_cast<long>(y) * stride);
    png_write_end(st->png, st->info);
    return true;
}

struct ReadGuard {
    PngState* st;
    ~ReadGuard() { png_destroy_read_struct(&st->png, &st->info, nullptr); }
};

struct WriteGuard {
    PngState* st;
    ~WriteGuard() {
        png_destroy_write_struct(&st->png, &st->info);
        std::free(st->out);
    }
};

std::wstring libpngMessage(const PngState& st) { return xfFromUtf8(st.message); }

}  // namespace

bool xfIsPngData(const unsigned char* data, std::size_t size) {
    return data && size >= 8 && png_sig_cmp(data, 0, 8) == 0;
}

bool xf_MayBePng(const unsigned char* data, std::size_t size) {
    return data && size > 0 && png_sig_cmp(data, 0, std::min<std::size_t>(size, 8)) == 0;
}

xcPelBuffer<unsigned char> xf_DecodePng(const unsigned char* data, std::size_t size,
                                        const std::wstring& what) {
    const std::wstring prefix = L"Cannot read " + what + L": ";
    if (!data || size == 0) throw xcIOError(prefix + L"the file is empty");
    if (!xfIsPngData(data, size))
        throw xcIOError(prefix + (size < 8 && png_sig_cmp(data, 0, size) == 0
                                      ? L"the file is truncated"
                                      : L"it is not a PNG image"));
    PngState st;
    st.data = data;
    st.size = size;
    ReadGuard guard{&st};
    st.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &st, pngOnError, pngOnWarning);
    if (st.png) st.info = png_create_info_struct(st.png);
    if (!st.png || !st.info) throw xcIOError(prefix + L"out of memory");
    png_set_read_fn(st.png, &st, pngOnRead);

    PngHeader h;
    if (!readHeader(&st, &h)) throw xcIOError(prefix + libpngMessage(st));
    const long width = static_cast<long>(h.width), height = static_cast<long>(h.height);
    if (width <= 0 || height <= 0) throw xcIOError(prefix + L"the image has no pixels");
    if (width > xcImageLimits::kMaxPixels / height)
        throw xcIOError(prefix + L"an image of " + xfStr(width) + L" x " + xfStr(height) +
                        L" pixels is too large");

    // Deflate shrinks data at most about 1032 times: a file too small to hold even 1-bit rows
    // of this size is corrupt, and is refused before any pixel memory is taken.
    const double minRawBytes =
        static_cast<double>(height) * static_cast<double>(1 + (width + 7) / 8);
    if (minRawBytes > 1040.0 * static_cast<double>(size))
        throw xcIOError(prefix + L"the file is too short for an image of " + xfStr(width) + L" x " +
                        xfStr(height) + L" pixels");

    xcPelBuffer<unsigned char> image(width, height);
    // Rows are decoded into memory that is never zero-filled, so a corrupt header claiming a
    // huge image costs nothing before the data runs out.
    const std::size_t decodedBytes =
        h.rowBytes * (h.passes == 1 ? 1 : static_cast<std::size_t>(height));
    std::unique_ptr<unsigned char[]> decoded(new unsigned char[decodedBytes]);
    if (!readRows(&st, &h, decoded.get(), image.rowPointer(0), image.rowUpdate()))
        throw xcIOError(prefix + libpngMessage(st));
    return image;
}

xcPelBuffer<unsigned char> xfDecodePng(const unsigned char* data, std::size_t size) {
    return xf_DecodePng(data, size, L"PNG data");
}

xcPelBuffer<unsigned char> xfReadPng(const std::filesystem::path& path) {
    const std::wstring what = L"PNG file '" + xf_IOName(path) + L"'";
    // The signature is checked from the first bytes; the decoder names what is wrong with them.
    const auto checkHead = [&](const unsigned char* head, std::size_t size) {
        if (!xf_MayBePng(head, size)) xf_DecodePng(head, size, what);
    };
    const std::vector<unsigned char> bytes =
        xf_ReadFileBytes(path, xcImageLimits::kMaxFileBytes, 8, checkHead);
    return xf_DecodePng(bytes.data(), bytes.size(), what);
}

std::vector<unsigned char> xfEncodePng(const xcPelBuffer_const<unsigned char>& image) {
    const xcPelRect w = image.window();
    if (w.isNull()) throw xcBadArgument(L"Cannot encode an empty window as PNG: it has no pixels");
    if (w.width() > 0x7FFFFFFFL || w.height() > 0x7FFFFFFFL)
        throw xcBadArgument(L"Window too large for PNG");
    PngState st;
    WriteGuard guard{&st};
    st.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &st, pngOnError, pngOnWarning);
    if (st.png) st.info = png_create_info_struct(st.png);
    if (!st.png || !st.info) throw std::bad_alloc();
    png_set_write_fn(st.png, &st, pngOnWrite, pngOnFlush);
    if (!writeImage(&st, static_cast<png_uint_32>(w.width()), static_cast<png_uint_32>(w.height()),
                    image.rowPointer(w.y()), image.rowUpdate()))
        throw xcIOError(L"Cannot encode PNG: " + libpngMessage(st));
    return std::vector<unsigned char>(st.out, st.out + st.outSize);
}

void xfWritePng(const xcPelBuffer_const<unsigned char>& image, const std::filesystem::path& path) {
    xf_WriteFileAtomically(path, xfEncodePng(image));
}
