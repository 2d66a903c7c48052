#include "tools/fontkit/glyph_folder.h"

#include <cmath>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "oc/font/model.h"
#include "platform/core/char_code.h"
#include "platform/core/exception.h"
#include "platform/io/image_file.h"

namespace {

[[noreturn]] void fail(const std::filesystem::path& manifest, long line, const std::string& what) {
    throw xcBadArgument(xfFromUtf8(manifest.string() + ":" + std::to_string(line) + ": " + what));
}

// The code point of a manifest's CHAR field, or -1.
long codeOf(const std::string& field) {
    if (field.size() > 2 && (field[0] == 'U' || field[0] == 'u') && field[1] == '+') {
        char* end = nullptr;
        const long v = std::strtol(field.c_str() + 2, &end, 16);
        return *end == '\0' && v >= 0 && v <= 0x10FFFF ? v : -1;
    }
    const std::wstring w = xfFromUtf8(field);
    return w.size() == 1 && w[0] != 0xFFFD ? static_cast<long>(w[0]) : -1;
}

}  // namespace

xcPtrHandle<xcOCAlphabet> xfReadGlyphFolder(const std::filesystem::path& folder, bool compile) {
    const std::filesystem::path manifest = folder / "manifest.txt";
    std::ifstream in(manifest);
    if (!in)
        throw xcBadArgument(xfFromUtf8("cannot open the glyph manifest '" + manifest.string() +
                                       "' (one line per character: CHAR FILE X Y WIDTH HEIGHT "
                                       "ORIGIN_X ORIGIN_Y)"));
    xcOCAlphabet::Models models;
    std::set<long> keys;
    std::string text;
    for (long lineNo = 1; std::getline(in, text); ++lineNo) {
        std::istringstream fields(text);
        std::string ch, file;
        if (!(fields >> ch) || ch[0] == '#') continue;
        long x, y, w, h;
        double ox, oy;
        std::string extra;
        if (!(fields >> file >> x >> y >> w >> h >> ox >> oy) || (fields >> extra))
            fail(manifest, lineNo, "expected CHAR FILE X Y WIDTH HEIGHT ORIGIN_X ORIGIN_Y");
        const long key = codeOf(ch);
        if (key < 0) fail(manifest, lineNo, "'" + ch + "' is not one character nor U+XXXX");
        if (!keys.insert(key).second) fail(manifest, lineNo, "'" + ch + "' is listed twice");
        if (w < 1 || h < 1) fail(manifest, lineNo, "the cell must be at least 1 x 1 pixel");
        const std::wstring name(1, static_cast<wchar_t>(key));
        const xcXform<2> clientFromImage(xcMatrix<2>(), xcVector<2>(-ox, -oy));
        try {
            if (file == "-") {
                // A blank has no image: its cell is given directly in its client frame.
                const xcPelRect cell(x - std::lround(ox), y - std::lround(oy), w, h);
                models.emplace_back(new xcOCModel(key, xcPelBuffer_const<unsigned char>(), cell,
                                                  xcOCModel::eBlank, name));
                continue;
            }
            xcPelBuffer<unsigned char> image = xfReadImage(folder / file);
            image.clientFromImageXform(clientFromImage);
            models.emplace_back(
                new xcOCModel(key, image, xcPelRect(x, y, w, h), xcOCModel::eNormal, name));
        } catch (const xcException& e) {
            fail(manifest, lineNo, xfToUtf8(e.message()));
        }
    }
    if (models.empty()) fail(manifest, 0, "the manifest lists no character");
    return xcPtrHandle<xcOCAlphabet>(new xcOCAlphabet(models, 0.5, compile));
}
