#include "tools/fontkit/synth_alphabet.h"

#include <set>

#include "oc/font/model.h"

xcPtrHandle<xcOCAlphabet> xfSynthAlphabet(const xcSynthFont& font, const std::wstring& chars,
                                          const xcSynthGlyphParams& params, bool compile,
                                          double confusionThreshold) {
    std::wstring distinct;
    std::set<wchar_t> seen;
    for (wchar_t c : chars)
        if (seen.insert(c).second) distinct.push_back(c);
    const std::vector<xcSynthGlyph> glyphs = xfSynthGlyphModels(font, distinct, params);

    xcOCAlphabet::Models models;
    for (const xcSynthGlyph& g : glyphs) {
        const long key = static_cast<long>(g.code);
        const std::wstring name(1, static_cast<wchar_t>(g.code));
        if (g.blank) {
            const long w = g.cell.width(), h = g.cell.height();
            models.emplace_back(new xcOCModel(key, xcPelBuffer_const<unsigned char>(),
                                              xcPelRect(0, -h, w, h), xcOCModel::eBlank, name));
        } else {
            models.emplace_back(
                new xcOCModel(key, g.image, g.cell, xcOCModel::eNormal, name));
        }
    }
    return xcPtrHandle<xcOCAlphabet>(new xcOCAlphabet(models, confusionThreshold, compile));
}

std::vector<long> xfSynthKeys(const std::wstring& text) {
    std::vector<long> keys;
    keys.reserve(text.size());
    for (wchar_t c : text) keys.push_back(static_cast<long>(c));
    return keys;
}
