// Fonts for synthetic scenes: a TrueType or OpenType face read with FreeType, giving unhinted
// glyph outlines and metrics.
//
// Units. Outlines and advances come in font units (unitsPerEm() of them per em), y up, with
// the glyph's pen origin on the baseline at (0, 0). xcSynthGlyphMetrics turns them into the
// pixel frame of a glyph model at a given em size in pixels:
//
//   glyph client frame: origin at the lower-left corner of the character's cell, x to the
//   right, y down. The cell spans x in [0, cellWidth] and y in [-cellHeight, 0]; the baseline
//   is the line y = -descent, so a font-unit point (u, v) lies at client
//   (u * s, -descent - v * s) with s = pixelSize / unitsPerEm.
//
// Nothing is hinted or rounded except the cell's integer width and height, so the geometry is
// exact at every size. A font is not thread-safe (FreeType faces are not): use one per thread.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/core/vector.h"
#include "platform/core/xform.h"

// A glyph outline as closed contours of straight, quadratic and cubic pieces. Each contour
// starts with eMove and is closed implicitly back to its start point.
struct xcSynthOutline {
    enum Op : unsigned char { eMove, eLine, eQuad, eCubic };
    std::vector<Op> ops;
    // Points, in order: eMove and eLine take one (the end point), eQuad two (control, end),
    // eCubic three (control, control, end).
    std::vector<xcVector<2>> points;
    // True when the outline is filled by the even-odd rule, false for the non-zero rule.
    bool evenOdd = false;

    bool empty() const { return ops.empty(); }
};

// Pixel metrics of one character at an em size (pixelSize pixels per em), in the glyph client
// frame described above.
struct xcSynthGlyphMetrics {
    double advance = 0.0;  // unhinted advance width, px
    long cellWidth = 1;    // max(1, round(advance)), px
    long cellHeight = 1;   // max(1, round((ascender - descender) px)), the same for a whole font
    double descent = 0.0;  // -descender in px: the baseline lies this far above the cell bottom
    xcXform<2> clientFromFont;  // font units (y up) -> glyph client frame (y down)
};

class xcSynthFont {
public:
    // Reads the face at `path` (its first face). Throws xcIOError when the file cannot be read
    // as a font.
    explicit xcSynthFont(const std::string& path);
    ~xcSynthFont();
    // A moved-from font may only be destroyed or assigned to.
    xcSynthFont(xcSynthFont&&) noexcept;
    xcSynthFont& operator=(xcSynthFont&&) noexcept;
    xcSynthFont(const xcSynthFont&) = delete;
    xcSynthFont& operator=(const xcSynthFont&) = delete;

    // The path of a font file. A name holding '/' is taken as a path and must exist. A plain
    // file name is looked for in $OC_FONT_DIR (when set), then in the system's font folders
    // (/usr/share/fonts/truetype/dejavu first). Throws xcIOError naming every folder searched
    // when the file is not found.
    static std::string locate(const std::string& name = "DejaVuSans.ttf");

    const std::string& path() const;
    std::string familyName() const;
    std::string styleName() const;
    // Font units per em (> 0).
    double unitsPerEm() const;
    // Typographic ascender (above the baseline, > 0 for usual fonts) and descender (below,
    // usually < 0), font units.
    double ascender() const;
    double descender() const;

    // True when the font maps `code` (a Unicode code point) to a glyph.
    bool hasGlyph(char32_t code) const;
    // The unhinted outline of `code` in font units; empty for a blank character such as a
    // space. The outline is cached: the reference stays valid while the font lives. Throws
    // xcBadArgument when the font has no glyph for `code`.
    const xcSynthOutline& outline(char32_t code) const;
    // The unhinted horizontal advance of `code`, font units. Throws like outline().
    double advance(char32_t code) const;
    // Pixel metrics of `code` at `pixelSize` pixels per em. Throws xcBadArgument when
    // pixelSize is not a finite number in (0, 4096] or the font has no glyph for `code`.
    xcSynthGlyphMetrics metrics(char32_t code, double pixelSize) const;

private:
    struct Impl;
    struct Glyph {
        xcSynthOutline outline;
        double advance = 0.0;
    };
    const Glyph& glyph_(char32_t code) const;

    std::unique_ptr<Impl> m_impl;
};

// "U+0041" for 0x41: the usual text form of a code point.
std::wstring xfSynthCodeText(char32_t code);
