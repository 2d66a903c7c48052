#include "tools/synth/truth_json.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "platform/core/char_code.h"

namespace {

class Json {
public:
    std::string text;

    void num(double v) {
        if (!std::isfinite(v)) {  // not expressible in JSON
            text += "null";
            return;
        }
        char buf[32];
        const auto r = std::to_chars(buf, buf + sizeof buf, v);
        text.append(buf, r.ptr);
    }
    void integer(long long v) { text += std::to_string(v); }
    void str(const std::string& s) {
        text += '"';
        for (unsigned char c : s) {
            if (c == '"' || c == '\\') {
                text += '\\';
                text += static_cast<char>(c);
            } else if (c < 0x20) {
                char buf[8];
                std::snprintf(buf, sizeof buf, "\\u%04x", c);
                text += buf;
            } else {
                text += static_cast<char>(c);
            }
        }
        text += '"';
    }
    void key(const char* k) {
        str(k);
        text += ": ";
    }
    void point(const xcVector<2>& p) {
        text += '[';
        num(p.x());
        text += ", ";
        num(p.y());
        text += ']';
    }
    void xform(const xcXform<2>& x) {
        const xcMatrix<2>& m = x.matrix();
        text += '[';
        for (double v : {m(0, 0), m(0, 1), m(1, 0), m(1, 1), x.trans().x(), x.trans().y()}) {
            if (text.back() != '[') text += ", ";
            num(v);
        }
        text += ']';
    }
    void rect(const xcPelRect& r) {
        text += '[' + std::to_string(r.x()) + ", " + std::to_string(r.y()) + ", " +
                std::to_string(r.width()) + ", " + std::to_string(r.height()) + ']';
    }
    void boolean(bool b) { text += b ? "true" : "false"; }
    void character(char32_t code) {
        key("code");
        integer(static_cast<long long>(code));
        text += ", ";
        key("char");
        str(xfToUtf8(std::wstring(1, static_cast<wchar_t>(code))));
    }
    void pose(const xcSynthPose& p) {
        text += "{\"position\": ";
        point(p.position);
        text += ", \"angle\": ";
        num(p.angle);
        text += ", \"scale\": ";
        num(p.scale);
        text += '}';
    }
};

}  // namespace

std::string xfSynthTruthJson(const xcSynthTruth& t) {
    Json j;
    j.text += "{\n  ";
    j.key("width");
    j.integer(t.width);
    j.text += ", ";
    j.key("height");
    j.integer(t.height);
    j.text += ",\n  ";
    j.key("clientFromImage");
    j.xform(t.clientFromImage);
    j.text += ",\n  ";
    j.key("font");
    j.str(t.fontName);
    j.text += ", ";
    j.key("fontPath");
    j.str(t.fontPath);
    j.text += ", ";
    j.key("pixelSize");
    j.num(t.pixelSize);
    j.text += ",\n  ";
    j.key("polarity");
    j.str(t.polarity == eDarkOnLight ? "dark-on-light" : "light-on-dark");
    j.text += ", ";
    j.key("ink");
    j.num(t.ink);
    j.text += ", ";
    j.key("background");
    j.num(t.background);
    j.text += ", ";
    j.key("seed");
    j.text += std::to_string(t.seed);
    j.text += ",\n  ";
    j.key("chars");
    j.text += '[';
    for (std::size_t i = 0; i < t.chars.size(); ++i) {
        const xcSynthCharTruth& c = t.chars[i];
        j.text += i ? ",\n    {" : "\n    {";
        j.key("line");
        j.integer(c.line);
        j.text += ", ";
        j.key("index");
        j.integer(c.index);
        j.text += ", ";
        j.character(c.code);
        j.text += ", ";
        j.key("blank");
        j.boolean(c.blank);
        j.text += ", ";
        j.key("drawn");
        j.boolean(c.drawn);
        j.text += ", ";
        j.key("missing");
        j.boolean(c.missing);
        j.text += ", ";
        j.key("damaged");
        j.boolean(c.damaged);
        j.text += ",\n     ";
        j.key("pose");
        j.pose(c.pose);
        j.text += ",\n     ";
        j.key("nominal");
        j.pose(c.nominal);
        j.text += ",\n     ";
        j.key("cell");
        j.text += '[';
        for (std::size_t k = 0; k < c.cell.size(); ++k) {
            if (k) j.text += ", ";
            j.point(c.cell[k]);
        }
        j.text += "], ";
        j.key("erased");
        j.text += '[';
        for (std::size_t k = 0; k < c.erased.size(); ++k) {
            if (k) j.text += ", ";
            j.point(c.erased[k]);
        }
        j.text += "]}";
    }
    j.text += t.chars.empty() ? "],\n  " : "\n  ],\n  ";
    j.key("distractors");
    j.text += '[';
    for (std::size_t i = 0; i < t.distractors.size(); ++i) {
        const xcSynthDistractor& d = t.distractors[i];
        j.text += i ? ",\n    {" : "\n    {";
        j.key("kind");
        if (d.kind == xcSynthDistractor::eGlyph) {
            j.str("glyph");
            j.text += ", ";
            j.character(d.code);
            j.text += ", ";
            j.key("pose");
            j.pose(d.pose);
        } else {
            j.str("stroke");
            j.text += ", ";
            j.key("from");
            j.point(d.from);
            j.text += ", ";
            j.key("to");
            j.point(d.to);
            j.text += ", ";
            j.key("width");
            j.num(d.width);
        }
        j.text += '}';
    }
    j.text += t.distractors.empty() ? "]\n}\n" : "\n  ]\n}\n";
    return j.text;
}

std::string xfSynthGlyphsJson(const xcSynthFont& font, const xcSynthGlyphParams& params,
                              const std::vector<xcSynthGlyph>& glyphs,
                              const std::vector<std::string>& files) {
    Json j;
    j.text += "{\n  ";
    j.key("font");
    j.str(font.familyName() + " " + font.styleName());
    j.text += ", ";
    j.key("fontPath");
    j.str(font.path());
    j.text += ",\n  ";
    j.key("pixelSize");
    j.num(params.pixelSize);
    j.text += ", ";
    j.key("margin");
    j.integer(params.margin);
    j.text += ", ";
    j.key("polarity");
    j.str(params.tones.polarity == eDarkOnLight ? "dark-on-light" : "light-on-dark");
    j.text += ", ";
    j.key("ink");
    j.num(params.tones.ink());
    j.text += ", ";
    j.key("background");
    j.num(params.tones.background());
    j.text += ",\n  ";
    j.key("glyphs");
    j.text += '[';
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        const xcSynthGlyph& g = glyphs[i];
        j.text += i ? ",\n    {" : "\n    {";
        j.character(g.code);
        j.text += ", ";
        j.key("blank");
        j.boolean(g.blank);
        j.text += ", ";
        j.key("file");
        j.str(i < files.size() ? files[i] : std::string());
        j.text += ",\n     ";
        j.key("imageSize");
        if (g.blank) {
            j.text += "[0, 0]";
        } else {
            j.text += '[' + std::to_string(g.image.width()) + ", " +
                      std::to_string(g.image.height()) + ']';
        }
        j.text += ", ";
        j.key("cell");
        j.rect(g.cell);
        j.text += ", ";
        j.key("clientFromImage");
        j.xform(g.clientFromImage);
        j.text += ", ";
        j.key("advance");
        j.num(g.metrics.advance);
        j.text += ", ";
        j.key("descent");
        j.num(g.metrics.descent);
        j.text += '}';
    }
    j.text += glyphs.empty() ? "]\n}\n" : "\n  ]\n}\n";
    return j.text;
}
