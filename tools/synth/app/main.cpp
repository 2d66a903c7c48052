// ocsynth: writes synthetic text scenes (an image and its ground truth as JSON) and glyph sets
// (one image per character and a JSON description), for test sets and demos.
//
//   ocsynth scene  --key=value ...
//   ocsynth glyphs --key=value ...
//
// Images are written as PNG (PGM when the file name ends in .pgm). See usage() for the keys.
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <numbers>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/core/char_code.h"
#include "platform/core/exception.h"
#include "platform/io/image_file.h"
#include "tools/synth/glyph_model.h"
#include "tools/synth/scene.h"
#include "tools/synth/truth_json.h"

namespace {

const char* kUsage = R"(Usage:
  ocsynth scene  [--key=value ...]   render a scene and write it with its ground truth
  ocsynth glyphs [--key=value ...]   write one glyph model image per character
  ocsynth help                       print this text

Common keys:
  --font=NAME|PATH      font file (default DejaVuSans.ttf, searched in $OC_FONT_DIR and the
                        system font folders; a name holding '/' is a path)
  --size=PX             em size of the glyph models in pixels (32)
  --text=TEXT           UTF-8 text; in scenes "\n" starts a new line (default "OC 2024")
  --polarity=dark|light dark ink on light background, or light on dark (dark)
  --dark=G --light=G    the two grey levels, 0..255 (scene 30 and 220, glyphs 0 and 255)

scene keys:
  --out=FILE            image file (scene.png); --truth=FILE  JSON truth (FILE.json)
  --width=N --height=N  image size (640 x 480); --seed=N  random seed (1)
  --layout=straight|circular   (straight)
  --x=X --y=Y --angle=DEG      straight: first origin (20, height/2), direction (0)
  --cx=X --cy=Y --radius=R --start-angle=DEG --clockwise=0|1 --upright=0|1
                        circular: centre (image centre), radius (0.35 min(width, height)),
                        polar angle of the first origin (-160), sense (1), keep characters
                        upright instead of turning them along the arc (0)
  --pitch=PX            distance between origins (0: the advance times --advance-scale)
  --advance-scale=F     (1); --scale=F global character scale (1)
  --line-spacing=PX     distance between text lines (1.3 cell heights times the scale)
  --jitter-pos=PX --jitter-angle=DEG --jitter-scale=F   per-character uniform jitter (0)
  --gradient=F --gradient-angle=DEG   illumination gain 1-F .. 1+F across the image (0)
  --blur=SIGMA --noise=SIGMA --salt-pepper=F    effects (0)
  --distractor-glyphs=N --distractor-chars=TEXT --distractor-lines=N --distractor-width=PX
  --distractors-avoid-text=0|1  (1)
  --damaged=F --damaged-list=I,J,... --damage-amount=F   damaged characters (0, none, 0.35)
  --missing=F --missing-list=I,J,...                     characters left out (0, none)
  --client=M00,M01,M10,M11,TX,TY   scene client-from-image transform (identity)

glyphs keys:
  --outdir=DIR          folder for glyph_NNN_U+XXXX.png files and glyphs.json (glyphs)
  --margin=PX           background pixels around each cell (4)
)";

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Options {
public:
    Options(int argc, char** argv, int first) {
        for (int i = first; i < argc; ++i) {
            const std::string a = argv[i];
            const auto eq = a.find('=');
            if (a.rfind("--", 0) != 0 || eq == std::string::npos || eq == 2)
                throw UsageError("expected --key=value, got '" + a + "'");
            const std::string key = a.substr(2, eq - 2);
            if (m_values.count(key)) throw UsageError("--" + key + " given twice");
            m_values[key] = a.substr(eq + 1);
        }
    }
    bool has(const std::string& k) const { return m_values.count(k) != 0; }
    std::string str(const std::string& k, const std::string& def) {
        m_used.insert(k);
        auto it = m_values.find(k);
        return it == m_values.end() ? def : it->second;
    }
    double num(const std::string& k, double def) {
        m_used.insert(k);
        if (!has(k)) return def;
        return parse(k, m_values.at(k));
    }
    long integer(const std::string& k, long def) {
        const double v = num(k, static_cast<double>(def));
        if (v != std::floor(v) || std::fabs(v) > 1e15)
            throw UsageError("--" + k + " must be an integer");
        return static_cast<long>(v);
    }
    std::uint64_t seed(const std::string& k, std::uint64_t def) {
        const std::string v = str(k, std::to_string(def));
        char* end = nullptr;
        errno = 0;
        const unsigned long long n = std::strtoull(v.c_str(), &end, 10);
        if (v.empty() || v[0] == '-' || *end != '\0' || errno == ERANGE)
            throw UsageError("--" + k + " must be an integer in [0, 2^64), got '" + v + "'");
        return n;
    }
    bool flag(const std::string& k, bool def) {
        const std::string v = str(k, def ? "1" : "0");
        if (v == "1" || v == "true" || v == "yes") return true;
        if (v == "0" || v == "false" || v == "no") return false;
        throw UsageError("--" + k + " must be 0 or 1, got '" + v + "'");
    }
    std::vector<double> list(const std::string& k) {
        std::vector<double> out;
        const std::string v = str(k, "");
        std::size_t pos = 0;
        while (pos <= v.size() && !v.empty()) {
            const auto comma = v.find(',', pos);
            out.push_back(parse(
                k, v.substr(pos, comma == std::string::npos ? std::string::npos : comma - pos)));
            if (comma == std::string::npos) break;
            pos = comma + 1;
        }
        return out;
    }
    // Throws for keys that no command read.
    void checkAllUsed() const {
        for (const auto& [k, v] : m_values)
            if (!m_used.count(k))
                throw UsageError("unknown option, or one that does not apply here: --" + k);
    }

private:
    static double parse(const std::string& k, const std::string& s) {
        char* end = nullptr;
        errno = 0;
        const double v = std::strtod(s.c_str(), &end);
        if (s.empty() || *end != '\0' || errno == ERANGE || !std::isfinite(v))
            throw UsageError("--" + k + " must be a number, got '" + s + "'");
        return v;
    }

    std::map<std::string, std::string> m_values;
    std::set<std::string> m_used;
};

xcSynthTones tones(Options& o, double dark, double light) {
    xcSynthTones t;
    const std::string pol = o.str("polarity", "dark");
    if (pol == "dark")
        t.polarity = eDarkOnLight;
    else if (pol == "light")
        t.polarity = eLightOnDark;
    else
        throw UsageError("--polarity must be dark or light, got '" + pol + "'");
    t.dark = o.num("dark", dark);
    t.light = o.num("light", light);
    return t;
}

// The text's lines: "\n" (backslash, n) or a real line feed separates them.
std::vector<std::wstring> textLines(const std::string& utf8) {
    std::vector<std::wstring> lines(1);
    const std::wstring w = xfFromUtf8(utf8);
    for (std::size_t i = 0; i < w.size(); ++i) {
        if (w[i] == L'\n' || (w[i] == L'\\' && i + 1 < w.size() && w[i + 1] == L'n')) {
            if (w[i] == L'\\') ++i;
            lines.emplace_back();
        } else {
            lines.back() += w[i];
        }
    }
    return lines;
}

void writeText(const std::filesystem::path& path, const std::string& text) {
    std::ofstream f(path, std::ios::binary);
    f << text;
    f.close();
    if (!f) throw xcIOError(L"Cannot write '" + xfFromUtf8(path.string()) + L"'");
}

std::vector<long> indexList(Options& o, const std::string& key) {
    std::vector<long> out;
    for (double v : o.list(key)) {
        if (v != std::floor(v)) throw UsageError("--" + key + " must list integers");
        out.push_back(static_cast<long>(v));
    }
    return out;
}

int runScene(Options& o) {
    const xcSynthFont font(xcSynthFont::locate(o.str("font", "DejaVuSans.ttf")));
    xcSynthSceneParams p;
    p.width = o.integer("width", 640);
    p.height = o.integer("height", 480);
    p.seed = o.seed("seed", 1);
    p.pixelSize = o.num("size", 32.0);
    p.globalScale = o.num("scale", 1.0);
    p.tones = tones(o, 30.0, 220.0);
    p.jitter = {o.num("jitter-pos", 0.0), o.num("jitter-angle", 0.0), o.num("jitter-scale", 0.0)};
    p.gradient = o.num("gradient", 0.0);
    p.gradientAngle = o.num("gradient-angle", 0.0);
    p.blurSigma = o.num("blur", 0.0);
    p.noiseSigma = o.num("noise", 0.0);
    p.saltPepper = o.num("salt-pepper", 0.0);
    p.distractorGlyphs = o.integer("distractor-glyphs", 0);
    p.distractorChars = xfFromUtf8(o.str("distractor-chars", xfToUtf8(p.distractorChars)));
    p.distractorLines = o.integer("distractor-lines", 0);
    p.distractorLineWidth = o.num("distractor-width", 2.0);
    p.distractorsAvoidText = o.flag("distractors-avoid-text", true);
    p.damagedFraction = o.num("damaged", 0.0);
    p.damaged = indexList(o, "damaged-list");
    p.damageAmount = o.num("damage-amount", 0.35);
    p.missingFraction = o.num("missing", 0.0);
    p.missing = indexList(o, "missing-list");
    if (o.has("client")) {
        const std::vector<double> c = o.list("client");
        if (c.size() != 6) throw UsageError("--client needs six numbers");
        p.clientFromImage = xcXform<2>(xcMatrix<2>(c[0], c[1], c[2], c[3]), {c[4], c[5]});
    }

    const std::vector<std::wstring> texts = textLines(o.str("text", "OC 2024"));
    const std::string layout = o.str("layout", "straight");
    if (layout != "straight" && layout != "circular")
        throw UsageError("--layout must be straight or circular, got '" + layout + "'");
    xcSynthLineSpec base;
    base.pitch = o.num("pitch", 0.0);
    base.advanceScale = o.num("advance-scale", 1.0);
    const double w = static_cast<double>(p.width), h = static_cast<double>(p.height);
    // Nominal line spacing: 1.3 cell heights at the global scale (every cell of a font has the
    // same height).
    const double cellHeight =
        std::round((font.ascender() - font.descender()) * p.pixelSize / font.unitsPerEm());
    const double spacing = o.num("line-spacing", 1.3 * cellHeight * p.globalScale);
    if (layout == "straight") {
        base.start = {o.num("x", 20.0), o.num("y", 0.5 * h)};
        base.angle = o.num("angle", 0.0);
        const double a = base.angle * std::numbers::pi / 180.0;
        const xcVector<2> down(-std::sin(a), std::cos(a));
        for (std::size_t i = 0; i < texts.size(); ++i) {
            xcSynthLineSpec l = base;
            l.text = texts[i];
            l.start = base.start + down * (spacing * static_cast<double>(i));
            p.lines.push_back(l);
        }
    } else {
        base.kind = xcSynthLineSpec::eCircular;
        base.centre = {o.num("cx", 0.5 * w), o.num("cy", 0.5 * h)};
        base.radius = o.num("radius", 0.35 * std::min(w, h));
        base.startAngle = o.num("start-angle", -160.0);
        base.clockwise = o.flag("clockwise", true);
        base.turnWithArc = !o.flag("upright", false);
        for (std::size_t i = 0; i < texts.size(); ++i) {
            xcSynthLineSpec l = base;
            l.text = texts[i];
            // Later lines lie inside the first (outside for counter-clockwise text, whose tops
            // point inwards).
            l.radius =
                base.radius + (base.clockwise ? -1.0 : 1.0) * spacing * static_cast<double>(i);
            p.lines.push_back(l);
        }
    }
    const std::string out = o.str("out", "scene.png");
    std::string truthPath = o.str("truth", "");
    if (truthPath.empty())
        truthPath = std::filesystem::path(out).replace_extension(".json").string();
    o.checkAllUsed();

    const xcSynthScene s = xfSynthScene(font, p);
    xfWriteImage(s.image, out);
    writeText(truthPath, xfSynthTruthJson(s.truth));
    long drawn = 0;
    for (const auto& c : s.truth.chars) drawn += c.drawn;
    std::cout << "wrote " << out << " (" << p.width << " x " << p.height << ", " << drawn << " of "
              << s.truth.chars.size() << " characters drawn, " << s.truth.distractors.size()
              << " distractors) and " << truthPath << "\n";
    return 0;
}

int runGlyphs(Options& o) {
    const xcSynthFont font(xcSynthFont::locate(o.str("font", "DejaVuSans.ttf")));
    xcSynthGlyphParams p;
    p.pixelSize = o.num("size", 32.0);
    p.margin = o.integer("margin", 4);
    p.tones = tones(o, 0.0, 255.0);
    const std::wstring text = xfFromUtf8(o.str("text", "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"));
    const std::filesystem::path dir = o.str("outdir", "glyphs");
    o.checkAllUsed();

    const std::vector<xcSynthGlyph> glyphs = xfSynthGlyphModels(font, text, p);
    std::filesystem::create_directories(dir);
    std::vector<std::string> files;
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        if (glyphs[i].blank) {
            files.emplace_back();
            continue;
        }
        char name[64];
        std::snprintf(name, sizeof name, "glyph_%03zu_%s.png", i,
                      xfToUtf8(xfSynthCodeText(glyphs[i].code)).c_str());
        xfWriteImage(glyphs[i].image, dir / name);
        files.emplace_back(name);
    }
    writeText(dir / "glyphs.json", xfSynthGlyphsJson(font, p, glyphs, files));
    std::cout << "wrote " << glyphs.size() << " glyphs and glyphs.json to " << dir.string() << "\n";
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string cmd = argc > 1 ? argv[1] : "";
    if (cmd == "help" || cmd == "--help" || cmd == "-h") {
        std::cout << kUsage;
        return 0;
    }
    try {
        if (cmd != "scene" && cmd != "glyphs")
            throw UsageError(cmd.empty() ? "no command given" : "unknown command '" + cmd + "'");
        Options o(argc, argv, 2);
        return cmd == "scene" ? runScene(o) : runGlyphs(o);
    } catch (const UsageError& e) {
        std::cerr << "ocsynth: " << e.what() << "\n\n" << kUsage;
        return 2;
    } catch (const std::exception& e) {
        std::cerr << "ocsynth: " << e.what() << "\n";
        return 1;
    }
}
