// ocfont: makes an alphabet and writes it as an alphabet file, compiled, with its confusion
// report; or shows what an alphabet file holds.
//
//   ocfont make FONT.ttf --size PX --chars TEXT --out FILE [--polarity dark|light]
//              [--origin centre|lower-left] [--threshold T] [--no-compile]
//   ocfont make GLYPH_FOLDER --out FILE [--threshold T] [--no-compile]
//   ocfont show FILE
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "oc/font/alphabet_report.h"
#include "oc/font/model.h"
#include "platform/core/char_code.h"
#include "platform/core/exception.h"
#include "tools/fontkit/alphabet_file.h"
#include "tools/fontkit/glyph_folder.h"
#include "tools/fontkit/synth_alphabet.h"
#include "tools/synth/font.h"

namespace {

const char* kUsage = R"(usage:
  ocfont make FONT --size PX --chars TEXT --out FILE [--polarity dark|light]
                   [--origin centre|lower-left] [--threshold T] [--no-compile]
      renders TEXT's characters (a space becomes a blank character) from a TrueType or
      OpenType font at PX pixels per em; each character's origin (the point poses refer
      to) is the centre of its cell unless --origin lower-left
  ocfont make GLYPH_FOLDER --out FILE [--threshold T] [--no-compile]
      trains from glyph crops listed in GLYPH_FOLDER/manifest.txt (see docs/ocfont.md)
  ocfont show FILE
      prints the characters of an alphabet file and its confusion report
The alphabet is compiled (its confusion matrix computed) unless --no-compile; the
confusion report is printed. Exit code 0 on success, 2 on bad usage or input.
)";

struct MakeOptions {
    std::string source, out;
    double size = 0.0;
    std::wstring chars;
    bool lowerLeftOrigin = false;
    bool light = false;
    double threshold = 0.5;
    bool compile = true;
};

double number(const std::string& name, const std::string& v) {
    char* end = nullptr;
    const double d = std::strtod(v.c_str(), &end);
    if (v.empty() || *end != '\0')
        throw xcBadArgument(xfFromUtf8("--" + name + " takes a number, got '" + v + "'"));
    return d;
}

MakeOptions parseMake(const std::vector<std::string>& a) {
    MakeOptions o;
    for (std::size_t i = 1; i < a.size(); ++i) {
        const std::string& s = a[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= a.size()) throw xcBadArgument(xfFromUtf8(s + " needs a value"));
            return a[++i];
        };
        if (s == "--size")
            o.size = number("size", value());
        else if (s == "--chars")
            o.chars = xfFromUtf8(value());
        else if (s == "--out")
            o.out = value();
        else if (s == "--threshold")
            o.threshold = number("threshold", value());
        else if (s == "--no-compile")
            o.compile = false;
        else if (s == "--origin") {
            const std::string v = value();
            if (v != "centre" && v != "lower-left")
                throw xcBadArgument(L"--origin takes centre or lower-left");
            o.lowerLeftOrigin = v == "lower-left";
        } else if (s == "--polarity") {
            const std::string p = value();
            if (p != "dark" && p != "light") throw xcBadArgument(L"--polarity takes dark or light");
            o.light = p == "light";
        } else if (s.rfind("--", 0) == 0)
            throw xcBadArgument(xfFromUtf8("unknown option " + s + " (see ocfont --help)"));
        else if (o.source.empty())
            o.source = s;
        else
            throw xcBadArgument(xfFromUtf8("one font or glyph folder at a time, got '" + s + "'"));
    }
    if (o.source.empty()) throw xcBadArgument(L"make: name a font file or a glyph folder");
    if (o.out.empty()) throw xcBadArgument(L"make: --out FILE is missing");
    return o;
}

void printReport(const xcOCAlphabet& alphabet) {
    std::printf("%zu characters:\n", alphabet.characters().size());
    for (const auto& m : alphabet.characters()) {
        const std::string name = xfToUtf8(m->name());
        std::printf("  key %6ld  '%s'  %s  cell %ld x %ld\n", m->key(), name.c_str(),
                    m->charType() == xcOCModel::eBlank ? "blank " : "normal",
                    m->imageArea().width(), m->imageArea().height());
    }
    if (alphabet.isCompiled())
        std::printf("\n%s", xfToUtf8(xf_ConfusionMatrix(&alphabet, true)).c_str());
    else
        std::printf("\nnot compiled: no confusion matrix\n");
}

int make(const MakeOptions& o) {
    xcPtrHandle<xcOCAlphabet> alphabet;
    if (std::filesystem::is_directory(o.source)) {
        alphabet = xfReadGlyphFolder(o.source, false);
    } else {
        if (o.chars.empty()) throw xcBadArgument(L"make: --chars TEXT is missing");
        if (!(o.size > 0.0)) throw xcBadArgument(L"make: --size PX is missing (pixels per em)");
        xcSynthGlyphParams gp;
        gp.pixelSize = o.size;
        gp.tones = xcSynthTones{o.light ? eLightOnDark : eDarkOnLight, 30.0, 220.0};
        try {
            const xcSynthFont font(
                std::filesystem::exists(o.source) ? o.source : xcSynthFont::locate(o.source));
            alphabet = xfSynthAlphabet(font, o.chars, gp);
            if (!o.lowerLeftOrigin) alphabet = xfSynthCentredAlphabet(*alphabet);
        } catch (const xcException& e) {
            throw xcBadArgument(xfFromUtf8("font '" + o.source + "': ") + e.message());
        }
    }
    try {
        alphabet->confusionThreshold(o.threshold);
    } catch (const xcException& e) {
        throw xcBadArgument(L"--threshold: " + e.message());
    }
    if (o.compile) alphabet->compile();
    xfWriteAlphabetFile(xcPtrHandle_const<xcOCAlphabet>(alphabet), o.out);
    printReport(*alphabet);
    std::printf("wrote %s\n", o.out.c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> a(argv + 1, argv + argc);
    try {
        if (a.empty() || a[0] == "-h" || a[0] == "--help") {
            std::fputs(kUsage, a.empty() ? stderr : stdout);
            return a.empty() ? 2 : 0;
        }
        if (a[0] == "show") {
            if (a.size() != 2) throw xcBadArgument(L"show takes one alphabet file");
            printReport(*xfReadAlphabetFile(a[1]));
            return 0;
        }
        if (a[0] == "make") return make(parseMake(a));
        throw xcBadArgument(xfFromUtf8("unknown command '" + a[0] + "' (make or show)"));
    } catch (const xcBadArgument& e) {
        std::fprintf(stderr, "ocfont: %s\n", xfToUtf8(e.message()).c_str());
        return 2;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "ocfont: %s\n", e.what());
        return 2;
    }
}
