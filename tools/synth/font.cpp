#include "tools/synth/font.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "platform/core/char_code.h"
#include "platform/core/exception.h"

struct xcSynthFont::Impl {
    FT_Library library = nullptr;
    FT_Face face = nullptr;
    std::string path;
    double unitsPerEm = 0.0;
    double ascender = 0.0;
    double descender = 0.0;
    std::map<char32_t, Glyph> cache;

    ~Impl() {
        if (face) FT_Done_Face(face);
        if (library) FT_Done_FreeType(library);
    }
};

namespace {

std::wstring widen(const std::string& s) { return xfFromUtf8(s); }

// Collects FreeType's outline decomposition into an xcSynthOutline (font units).
struct Collector {
    xcSynthOutline* out;
    static xcVector<2> pt(const FT_Vector* v) {
        return {static_cast<double>(v->x), static_cast<double>(v->y)};
    }
    static int moveTo(const FT_Vector* to, void* user) {
        auto* o = static_cast<Collector*>(user)->out;
        o->ops.push_back(xcSynthOutline::eMove);
        o->points.push_back(pt(to));
        return 0;
    }
    static int lineTo(const FT_Vector* to, void* user) {
        auto* o = static_cast<Collector*>(user)->out;
        o->ops.push_back(xcSynthOutline::eLine);
        o->points.push_back(pt(to));
        return 0;
    }
    static int conicTo(const FT_Vector* c, const FT_Vector* to, void* user) {
        auto* o = static_cast<Collector*>(user)->out;
        o->ops.push_back(xcSynthOutline::eQuad);
        o->points.push_back(pt(c));
        o->points.push_back(pt(to));
        return 0;
    }
    static int cubicTo(const FT_Vector* c1, const FT_Vector* c2, const FT_Vector* to, void* user) {
        auto* o = static_cast<Collector*>(user)->out;
        o->ops.push_back(xcSynthOutline::eCubic);
        o->points.push_back(pt(c1));
        o->points.push_back(pt(c2));
        o->points.push_back(pt(to));
        return 0;
    }
};

}  // namespace

std::wstring xfSynthCodeText(char32_t code) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "U+%04lX", static_cast<unsigned long>(code));
    return widen(buf);
}

std::string xcSynthFont::locate(const std::string& name) {
    namespace fs = std::filesystem;
    std::error_code ec;
    if (name.empty()) throw xcIOError(L"Font name is empty");
    if (name.find('/') != std::string::npos) {
        if (fs::is_regular_file(name, ec)) return name;
        throw xcIOError(L"Font file '" + widen(name) + L"' does not exist");
    }
    std::vector<std::string> dirs;
    const char* env = std::getenv("OC_FONT_DIR");
    const bool haveEnv = env && *env;
    if (haveEnv) dirs.emplace_back(env);
    for (const char* d : {"/usr/share/fonts/truetype/dejavu", "/usr/share/fonts/truetype",
                          "/usr/share/fonts/opentype", "/usr/local/share/fonts"})
        dirs.emplace_back(d);
    std::wstring searched;
    for (const std::string& d : dirs) {
        fs::path p = fs::path(d) / name;
        if (fs::is_regular_file(p, ec)) return p.string();
        searched += (searched.empty() ? L"" : L", ") + widen(d);
    }
    throw xcIOError(L"Font '" + widen(name) + L"' not found in " + searched +
                    (haveEnv ? L"" : L" (OC_FONT_DIR is not set)") +
                    L"; install the DejaVu fonts or set OC_FONT_DIR to a folder that holds it");
}

xcSynthFont::xcSynthFont(const std::string& path) : m_impl(std::make_unique<Impl>()) {
    Impl& m = *m_impl;
    m.path = path;
    if (FT_Error e = FT_Init_FreeType(&m.library))
        throw xcIOError(L"Cannot start FreeType (error " + std::to_wstring(e) + L")");
    if (FT_Error e = FT_New_Face(m.library, path.c_str(), 0, &m.face)) {
        m.face = nullptr;
        throw xcIOError(L"Cannot read font '" + widen(path) + L"' (FreeType error " +
                        std::to_wstring(e) + L")");
    }
    if (!FT_IS_SCALABLE(m.face) || m.face->units_per_EM == 0)
        throw xcIOError(L"Font '" + widen(path) + L"' has no scalable outlines");
    if (!m.face->charmap)
        throw xcIOError(L"Font '" + widen(path) + L"' has no Unicode character map");
    m.unitsPerEm = m.face->units_per_EM;
    m.ascender = m.face->ascender;
    m.descender = m.face->descender;
    if (m.ascender - m.descender <= 0) {  // no usable line metrics: use the font's box
        m.ascender = static_cast<double>(m.face->bbox.yMax);
        m.descender = static_cast<double>(m.face->bbox.yMin);
    }
    if (m.ascender - m.descender <= 0)
        throw xcIOError(L"Font '" + widen(path) + L"' has no vertical extent");
}

xcSynthFont::~xcSynthFont() = default;
xcSynthFont::xcSynthFont(xcSynthFont&&) noexcept = default;
xcSynthFont& xcSynthFont::operator=(xcSynthFont&&) noexcept = default;

const std::string& xcSynthFont::path() const { return m_impl->path; }
std::string xcSynthFont::familyName() const {
    return m_impl->face->family_name ? m_impl->face->family_name : "";
}
std::string xcSynthFont::styleName() const {
    return m_impl->face->style_name ? m_impl->face->style_name : "";
}
double xcSynthFont::unitsPerEm() const { return m_impl->unitsPerEm; }
double xcSynthFont::ascender() const { return m_impl->ascender; }
double xcSynthFont::descender() const { return m_impl->descender; }

bool xcSynthFont::hasGlyph(char32_t code) const {
    return FT_Get_Char_Index(m_impl->face, static_cast<FT_ULong>(code)) != 0;
}

const xcSynthFont::Glyph& xcSynthFont::glyph_(char32_t code) const {
    Impl& m = *m_impl;
    if (auto it = m.cache.find(code); it != m.cache.end()) return it->second;
    const FT_UInt index = FT_Get_Char_Index(m.face, static_cast<FT_ULong>(code));
    if (index == 0)
        throw xcBadArgument(L"Font '" + widen(familyName()) + L"' has no glyph for " +
                            xfSynthCodeText(code));
    if (FT_Error e =
            FT_Load_Glyph(m.face, index, FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP))
        throw xcBadArgument(L"Cannot load the glyph of " + xfSynthCodeText(code) +
                            L" (FreeType error " + std::to_wstring(e) + L")");
    const FT_GlyphSlot slot = m.face->glyph;
    if (slot->format != FT_GLYPH_FORMAT_OUTLINE)
        throw xcBadArgument(L"The glyph of " + xfSynthCodeText(code) + L" is not an outline");
    Glyph g;
    g.advance = static_cast<double>(slot->metrics.horiAdvance);  // font units (no scaling)
    g.outline.evenOdd = (slot->outline.flags & FT_OUTLINE_EVEN_ODD_FILL) != 0;
    if (slot->outline.n_contours > 0) {
        FT_Outline_Funcs funcs{};
        funcs.move_to = &Collector::moveTo;
        funcs.line_to = &Collector::lineTo;
        funcs.conic_to = &Collector::conicTo;
        funcs.cubic_to = &Collector::cubicTo;
        Collector c{&g.outline};
        if (FT_Error e = FT_Outline_Decompose(&slot->outline, &funcs, &c))
            throw xcBadArgument(L"Cannot decompose the outline of " + xfSynthCodeText(code) +
                                L" (FreeType error " + std::to_wstring(e) + L")");
    }
    return m.cache.emplace(code, std::move(g)).first->second;
}

const xcSynthOutline& xcSynthFont::outline(char32_t code) const { return glyph_(code).outline; }

double xcSynthFont::advance(char32_t code) const { return glyph_(code).advance; }

xcSynthGlyphMetrics xcSynthFont::metrics(char32_t code, double pixelSize) const {
    if (!std::isfinite(pixelSize) || pixelSize <= 0.0 || pixelSize > 4096.0)
        throw xcBadArgument(L"Pixel size must be in (0, 4096], got " + std::to_wstring(pixelSize));
    const Glyph& g = glyph_(code);
    const double s = pixelSize / unitsPerEm();
    xcSynthGlyphMetrics r;
    r.advance = g.advance * s;
    r.cellWidth = std::max(1L, std::lround(r.advance));
    r.cellHeight = std::max(1L, std::lround((ascender() - descender()) * s));
    r.descent = -descender() * s;
    r.clientFromFont = xcXform<2>(xcMatrix<2>(s, 0.0, 0.0, -s), xcVector<2>(0.0, -r.descent));
    return r;
}
