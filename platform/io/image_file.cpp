#include "platform/io/image_file.h"

#include <cctype>

#include "platform/core/exception.h"
#include "platform/io/file_bytes.h"
#include "platform/io/image_limits.h"
#include "platform/io/pgm_io.h"
#include "platform/io/png_io.h"

xcPelBuffer<unsigned char> xfReadImage(const std::filesystem::path& path) {
    const std::wstring name = xf_IOName(path);
    const auto notAnImage = [&](bool empty) {
        throw xcIOError(L"Cannot read image file '" + name + L"': " +
                        (empty ? L"the file is empty" : L"it is neither PNG nor binary PGM"));
    };
    // The first bytes decide: the PNG signature (or a prefix of it, which the PNG reader then
    // reports as truncated) or the PGM magic.
    const auto checkHead = [&](const unsigned char* head, std::size_t size) {
        if (size == 0) notAnImage(true);
        if (!xf_MayBePng(head, size) && !xfIsPgmData(head, size)) notAnImage(false);
    };
    const std::vector<unsigned char> bytes =
        xf_ReadFileBytes(path, xcImageLimits::kMaxFileBytes, 8, checkHead);
    if (xfIsPgmData(bytes.data(), bytes.size()))
        return xf_DecodePgm(bytes.data(), bytes.size(), L"PGM file '" + name + L"'");
    return xf_DecodePng(bytes.data(), bytes.size(), L"PNG file '" + name + L"'");
}

void xfWriteImage(const xcPelBuffer_const<unsigned char>& image,
                  const std::filesystem::path& path) {
    std::string ext = path.extension().string();
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (ext == ".pgm")
        xfWritePgm(image, path);
    else
        xfWritePng(image, path);
}
