#include "tools/synth/glyph_model.h"

#include <cmath>

#include "tools/synth/coverage.h"

namespace {

void validate(const xcSynthGlyphParams& p) {
    if (!std::isfinite(p.pixelSize) || p.pixelSize <= 0.0 || p.pixelSize > 4096.0)
        throw xcBadArgument(L"Pixel size must be in (0, 4096], got " +
                            std::to_wstring(p.pixelSize));
    if (p.margin < 0 || p.margin > 1024)
        throw xcBadArgument(L"Glyph margin must be in [0, 1024] pixels, got " +
                            std::to_wstring(p.margin));
    p.tones.validate();
}

xcSynthGlyph render(const xcSynthFont& font, char32_t code, const xcSynthGlyphParams& p) {
    xcSynthGlyph g;
    g.code = code;
    g.metrics = font.metrics(code, p.pixelSize);
    const long cw = g.metrics.cellWidth, ch = g.metrics.cellHeight;
    const xcSynthOutline& outline = font.outline(code);
    if (outline.empty()) {
        g.blank = true;
        g.cell = xcPelRect(0, 0, cw, ch);
        g.clientFromImage = xcXform<2>::translation(xcVector<2>(0.0, -static_cast<double>(ch)));
        g.image.clientFromImageXform(g.clientFromImage);
        return g;
    }
    // Client-frame pixels of the cell and of the ink's box; the image holds both.
    const xcPelRect cellClient(0, -ch, cw, ch);
    const xcPelRect box =
        cellClient.enclose(xfSynthOutlineBounds(outline, g.metrics.clientFromFont).pixels());
    const long cx = p.margin - box.x(), cy = p.margin + (cellClient.y() - box.y());
    g.cell = xcPelRect(cx, cy, cw, ch);
    const xcVector<2> origin(static_cast<double>(cx), static_cast<double>(cy + ch));
    g.clientFromImage = xcXform<2>::translation(-origin);
    g.image = xcPelBuffer<unsigned char>(box.width() + 2 * p.margin, box.height() + 2 * p.margin);
    g.image.clientFromImageXform(g.clientFromImage);

    const xcSynthCoverage cov = xfSynthRenderOutline(
        outline, xcXform<2>::translation(origin) * g.metrics.clientFromFont, g.image.window());
    const double bg = p.tones.background(), span = p.tones.ink() - bg;
    const unsigned char bgPel = xfSynthQuantize(bg);
    const xcPelRect& cr = cov.rect();
    for (long y = 0; y < g.image.height(); ++y) {
        unsigned char* out = g.image.rowPointer(y);
        for (long x = 0; x < g.image.width(); ++x) out[x] = bgPel;
        if (y < cr.y() || y >= cr.y() + cr.height()) continue;
        const double* c = cov.row(y);
        unsigned char* o = out + cr.x();
        for (long i = 0; i < cr.width(); ++i) o[i] = xfSynthQuantize(bg + c[i] * span);
    }
    return g;
}

}  // namespace

xcSynthGlyph xfSynthGlyphModel(const xcSynthFont& font, char32_t code,
                               const xcSynthGlyphParams& params) {
    validate(params);
    return render(font, code, params);
}

std::vector<xcSynthGlyph> xfSynthGlyphModels(const xcSynthFont& font, const std::wstring& text,
                                             const xcSynthGlyphParams& params) {
    validate(params);
    for (wchar_t c : text) font.metrics(static_cast<char32_t>(c), params.pixelSize);
    std::vector<xcSynthGlyph> out;
    out.reserve(text.size());
    for (wchar_t c : text) out.push_back(render(font, static_cast<char32_t>(c), params));
    return out;
}
