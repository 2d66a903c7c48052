#include "platform/io/pgm_io.h"

#include <cstring>
#include <string>

#include "platform/core/exception.h"
#include "platform/core/text.h"
#include "platform/io/file_bytes.h"
#include "platform/io/image_limits.h"

namespace {

bool isSpace(unsigned char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// Walks the header: white space and comments, then decimal numbers.
class HeaderReader {
public:
    HeaderReader(const unsigned char* data, std::size_t size, const std::wstring& prefix)
        : m_data(data), m_size(size), m_prefix(prefix) {}

    // The next number of the header, named `field` in errors.
    long number(const wchar_t* field) {
        skipSpaceAndComments_();
        if (m_pos >= m_size) fail(L"the file is truncated in the header");
        if (m_data[m_pos] < '0' || m_data[m_pos] > '9')
            fail(std::wstring(L"the ") + field + L" is not a number");
        long v = 0;
        while (m_pos < m_size && m_data[m_pos] >= '0' && m_data[m_pos] <= '9') {
            v = v * 10 + (m_data[m_pos++] - '0');
            if (v > 0x7FFFFFFFL) fail(std::wstring(L"the ") + field + L" is too large");
        }
        return v;
    }

    // The single white-space character that ends the header; returns the raster's offset.
    std::size_t endOfHeader() {
        if (m_pos >= m_size) fail(L"the file is truncated in the header");
        if (!isSpace(m_data[m_pos])) fail(L"the header is not followed by white space");
        return m_pos + 1;
    }

    [[noreturn]] void fail(const std::wstring& why) const { throw xcIOError(m_prefix + why); }

private:
    void skipSpaceAndComments_() {
        while (m_pos < m_size) {
            if (isSpace(m_data[m_pos])) {
                ++m_pos;
            } else if (m_data[m_pos] == '#') {
                while (m_pos < m_size && m_data[m_pos] != '\n' && m_data[m_pos] != '\r') ++m_pos;
            } else {
                break;
            }
        }
    }

    const unsigned char* m_data;
    std::size_t m_size;
    const std::wstring& m_prefix;
    std::size_t m_pos = 2;  // after the magic
};

}  // namespace

bool xfIsPgmData(const unsigned char* data, std::size_t size) {
    return data && size >= 2 && data[0] == 'P' && data[1] == '5';
}

xcPelBuffer<unsigned char> xf_DecodePgm(const unsigned char* data, std::size_t size,
                                        const std::wstring& what) {
    const std::wstring prefix = L"Cannot read " + what + L": ";
    if (!data || size == 0) throw xcIOError(prefix + L"the file is empty");
    if (!xfIsPgmData(data, size))
        throw xcIOError(prefix + (size == 1 && data[0] == 'P' ? L"the file is truncated"
                                                              : L"it is not a binary PGM image"));
    HeaderReader header(data, size, prefix);
    const long width = header.number(L"width");
    const long height = header.number(L"height");
    const long maxval = header.number(L"maxval");
    const std::size_t start = header.endOfHeader();
    if (width == 0 || height == 0) header.fail(L"the image has no pixels");
    if (maxval == 0 || maxval > 65535)
        header.fail(L"maxval " + xfStr(maxval) + L" is not between 1 and 65535");
    if (width > xcImageLimits::kMaxPixels / height)
        header.fail(L"an image of " + xfStr(width) + L" x " + xfStr(height) +
                    L" pixels is too large");
    const std::size_t sampleBytes = maxval < 256 ? 1 : 2;
    const std::size_t rowBytes = static_cast<std::size_t>(width) * sampleBytes;
    if (size - start < rowBytes * static_cast<std::size_t>(height))
        header.fail(L"the file is truncated: the raster needs " +
                    xfStr(rowBytes * static_cast<std::size_t>(height)) + L" bytes, " +
                    xfStr(size - start) + L" are left");

    // One table entry per possible sample; entries above maxval mark bad samples.
    std::vector<unsigned short> scale(sampleBytes == 1 ? 256 : 65536, 0xFFFF);
    for (long v = 0; v <= maxval; ++v)
        scale[static_cast<std::size_t>(v)] =
            static_cast<unsigned short>((v * 255 + maxval / 2) / maxval);

    xcPelBuffer<unsigned char> image(width, height);
    const unsigned char* in = data + start;
    for (long y = 0; y < height; ++y, in += rowBytes) {
        unsigned char* out = image.rowPointer(y);
        if (maxval == 255) {
            std::memcpy(out, in, rowBytes);
            continue;
        }
        unsigned bad = 0;
        for (long x = 0; x < width; ++x) {
            const unsigned v =
                sampleBytes == 1 ? in[x] : (unsigned(in[2 * x]) << 8) | in[2 * x + 1];
            const unsigned short s = scale[v];
            bad |= s >> 8;  // only the marker 0xFFFF has high bits
            out[x] = static_cast<unsigned char>(s);
        }
        if (bad) {
            for (long x = 0; x < width; ++x) {
                const unsigned v =
                    sampleBytes == 1 ? in[x] : (unsigned(in[2 * x]) << 8) | in[2 * x + 1];
                if (v > static_cast<unsigned>(maxval))
                    header.fail(L"sample " + xfStr(v) + L" at (" + xfStr(x) + L", " + xfStr(y) +
                                L") exceeds maxval " + xfStr(maxval));
            }
        }
    }
    return image;
}

xcPelBuffer<unsigned char> xfDecodePgm(const unsigned char* data, std::size_t size) {
    return xf_DecodePgm(data, size, L"PGM data");
}

xcPelBuffer<unsigned char> xfReadPgm(const std::filesystem::path& path) {
    const std::wstring what = L"PGM file '" + xf_IOName(path) + L"'";
    // The magic is checked from the first bytes; the decoder names what is wrong with them.
    const auto checkHead = [&](const unsigned char* head, std::size_t size) {
        if (!xfIsPgmData(head, size)) xf_DecodePgm(head, size, what);
    };
    const std::vector<unsigned char> bytes =
        xf_ReadFileBytes(path, xcImageLimits::kMaxFileBytes, 2, checkHead);
    return xf_DecodePgm(bytes.data(), bytes.size(), what);
}

std::vector<unsigned char> xfEncodePgm(const xcPelBuffer_const<unsigned char>& image) {
    const xcPelRect w = image.window();
    if (w.isNull()) throw xcBadArgument(L"Cannot encode an empty window as PGM: it has no pixels");
    const std::string header =
        "P5\n" + std::to_string(w.width()) + " " + std::to_string(w.height()) + "\n255\n";
    std::vector<unsigned char> bytes(header.begin(), header.end());
    const std::size_t rowBytes = static_cast<std::size_t>(w.width());
    bytes.resize(header.size() + rowBytes * static_cast<std::size_t>(w.height()));
    unsigned char* out = bytes.data() + header.size();
    for (long y = w.y(); y < w.y() + w.height(); ++y, out += rowBytes)
        std::memcpy(out, image.rowPointer(y), rowBytes);
    return bytes;
}

void xfWritePgm(const xcPelBuffer_const<unsigned char>& image, const std::filesystem::path& path) {
    xf_WriteFileAtomically(path, xfEncodePgm(image));
}
