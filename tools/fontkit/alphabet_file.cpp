#include "tools/fontkit/alphabet_file.h"

#include <fstream>
#include <system_error>

#include "platform/core/archive.h"
#include "platform/core/char_code.h"
#include "platform/core/exception.h"

namespace {

std::wstring named(const std::filesystem::path& path) { return xfFromUtf8(path.string()); }

}  // namespace

bool xfLooksLikeArchiveFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    char magic[4] = {};
    return in.read(magic, 4) && magic[0] == 'X' && magic[1] == 'C' && magic[2] == 'A' &&
           magic[3] == 'R';
}

xcPtrHandle<xcOCAlphabet> xfReadAlphabetFile(const std::filesystem::path& path) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec))
        throw xcBadArgument(L"cannot read alphabet file '" + named(path) + L"': no such file");
    xcPtrHandle<xcOCAlphabet> alphabet;
    try {
        xcArchive ar(path.string(), xcArchive::eLoad);
        ar || alphabet;
        if (!ar.atEnd()) throw xcBadArgument(L"trailing bytes after the alphabet");
    } catch (const xcException& e) {
        throw xcBadArgument(L"cannot read alphabet file '" + named(path) + L"': " + e.message());
    }
    if (!alphabet)
        throw xcBadArgument(L"cannot read alphabet file '" + named(path) + L"': it holds no alphabet");
    return alphabet;
}

void xfWriteAlphabetFile(const xcPtrHandle_const<xcOCAlphabet>& alphabet,
                         const std::filesystem::path& path) {
    std::filesystem::path tmp = path;
    tmp += ".part";
    std::error_code ec;
    try {
        {
            xcArchive ar(tmp.string(), xcArchive::eStore);
            xcPtrHandle_const<xcOCAlphabet> h = alphabet;
            ar || h;
            ar.close();
        }
        std::filesystem::rename(tmp, path, ec);
        if (ec) throw xcBadArgument(xfFromUtf8(ec.message()));
    } catch (const xcException& e) {
        std::filesystem::remove(tmp, ec);
        throw xcBadArgument(L"cannot write alphabet file '" + named(path) + L"': " + e.message());
    }
}
