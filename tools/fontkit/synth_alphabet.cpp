#include "tools/fontkit/synth_alphabet.h"

#include <set>

#include "oc/font/model.h"
#include "platform/core/pel_ops.h"

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
            models.emplace_back(new xcOCModel(key, g.image, g.cell, xcOCModel::eNormal, name));
        }
    }
    return xcPtrHandle<xcOCAlphabet>(new xcOCAlphabet(models, confusionThreshold, compile));
}

xcPtrHandle<xcOCAlphabet> xfSynthCentredAlphabet(const xcOCAlphabet& alphabet) {
    xcOCAlphabet::Models models;
    for (const auto& m : alphabet.characters()) {
        const xcPelRect a = m->imageArea();
        if (m->charType() == xcOCModel::eBlank) {
            const xcPelRect centred(a.x() - (a.x() + a.width() / 2),
                                    a.y() - (a.y() + a.height() / 2), a.width(), a.height());
            models.emplace_back(new xcOCModel(m->key(), xcPelBuffer_const<unsigned char>(), centred,
                                              xcOCModel::eBlank, m->name()));
            continue;
        }
        const xcXform<2> clientFromImage = m->image().clientFromImageXform();
        const xcVector<2> centre = clientFromImage.mapPoint(
            xcVector<2>(a.x() + 0.5 * a.width(), a.y() + 0.5 * a.height()));
        xcPelBuffer<unsigned char> image(m->image().window());
        xfPelCopy(m->image(), image);
        image.clientFromImageXform(xcXform<2>::translation(xcVector<2>(0.0, 0.0) - centre) *
                                   clientFromImage);
        models.emplace_back(new xcOCModel(m->key(), image, a, xcOCModel::eNormal, m->name()));
    }
    return xcPtrHandle<xcOCAlphabet>(
        new xcOCAlphabet(models, alphabet.confusionThreshold(), false, alphabet.name()));
}

xcVector<2> xfSynthCellLowerLeft(const xcOCModel& model) {
    const xcPelVector ll = model.imageArea().ll();
    const xcVector<2> p = ll.toVector();
    return model.image().isBound() ? model.image().clientFromImageXform().mapPoint(p) : p;
}

std::vector<long> xfSynthKeys(const std::wstring& text) {
    std::vector<long> keys;
    keys.reserve(text.size());
    for (wchar_t c : text) keys.push_back(static_cast<long>(c));
    return keys;
}
