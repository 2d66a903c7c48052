#include "tools/fontkit/font_source.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "platform/core/char_code.h"
#include "platform/core/exception.h"
#include "tools/fontkit/alphabet_file.h"
#include "tools/fontkit/synth_alphabet.h"
#include "tools/synth/font.h"

namespace {

std::wstring describe(wchar_t c) {
    char code[16];
    std::snprintf(code, sizeof code, "U+%04X", static_cast<unsigned>(c));
    return L"'" + std::wstring(1, c) + L"' (" + xfFromUtf8(code) + L")";
}

bool isFontFile(const std::filesystem::path& p) {
    std::string ext = p.extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    return ext == ".ttf" || ext == ".otf" || ext == ".ttc" || ext == ".otc";
}

}  // namespace

std::vector<long> xfTargetKeys(const xcOCAlphabet& alphabet, const std::wstring& text) {
    std::vector<long> keys;
    for (wchar_t c : text) {
        if (!alphabet.hasCharacter(static_cast<long>(c)))
            throw xcBadArgument(L"the font has no character " + describe(c) +
                                L" of the target; add it to the font or change the target");
        keys.push_back(static_cast<long>(c));
    }
    return keys;
}

xcPtrHandle_const<xcOCAlphabet> xfLoadFontSource(const xcFontSource& source,
                                                 const std::wstring& text) {
    std::filesystem::path path(source.path);
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) {
        // A plain font file name is looked for in the system's font folders.
        if (source.path.find('/') == std::string::npos && isFontFile(path)) {
            try {
                path = xcSynthFont::locate(source.path);
            } catch (const xcException&) {
            }
        }
        if (!std::filesystem::is_regular_file(path, ec))
            throw xcBadArgument(
                xfFromUtf8("cannot read the font '" + source.path + "': no such file"));
    }
    if (xfLooksLikeArchiveFile(path)) {
        xcPtrHandle_const<xcOCAlphabet> alphabet(xfReadAlphabetFile(path));
        xfTargetKeys(*alphabet, text);
        return alphabet;
    }
    if (!isFontFile(path))
        throw xcBadArgument(xfFromUtf8("'" + source.path +
                                       "' is neither an alphabet file (made by ocfont) nor a "
                                       "TrueType/OpenType font (.ttf, .otf)"));
    if (!(source.pixelSize > 0.0))
        throw xcBadArgument(L"a font file needs --size (pixels per em of the printed text)");
    xcSynthGlyphParams params;
    params.pixelSize = source.pixelSize;
    params.tones = xcSynthTones{source.lightOnDark ? eLightOnDark : eDarkOnLight, 30.0, 220.0};
    try {
        const xcSynthFont font(path.string());
        for (wchar_t c : text)
            if (!font.hasGlyph(static_cast<char32_t>(c)))
                throw xcBadArgument(L"the font has no character " + describe(c) +
                                    L" of the target; add it to the font or change the target");
        return xcPtrHandle_const<xcOCAlphabet>(
            xfSynthCentredAlphabet(*xfSynthAlphabet(font, text, params)));
    } catch (const xcException& e) {
        throw xcBadArgument(xfFromUtf8("font '" + path.string() + "': ") + e.message());
    }
}
