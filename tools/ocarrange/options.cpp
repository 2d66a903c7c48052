#include "tools/ocarrange/options.h"

#include <cmath>
#include <cstdlib>
#include <functional>
#include <map>

#include "oc/arrange/arrange_defs.h"
#include "platform/core/exception.h"
#include "platform/core/char_code.h"

namespace {

std::wstring widen(const std::string& s) { return xfFromUtf8(s); }

double number(const std::string& name, const std::string& v) {
    char* end = nullptr;
    const double d = std::strtod(v.c_str(), &end);
    if (v.empty() || *end != '\0' || !std::isfinite(d))
        throw xcBadArgument(widen("--" + name + " takes a number, got '" + v + "'"));
    return d;
}

long integer(const std::string& name, const std::string& v) {
    char* end = nullptr;
    const long n = std::strtol(v.c_str(), &end, 10);
    if (v.empty() || *end != '\0')
        throw xcBadArgument(widen("--" + name + " takes a whole number, got '" + v + "'"));
    return n;
}

// "a:b" or "a,b" as a range.
xcRange range(const std::string& name, const std::string& v) {
    const std::size_t sep = v.find_first_of(":,");
    if (sep == std::string::npos)
        throw xcBadArgument(widen("--" + name + " takes two numbers as LOW:HIGH, got '" + v + "'"));
    return xcRange(number(name, v.substr(0, sep)), number(name, v.substr(sep + 1)));
}

template <class Enum>
Enum choice(const std::string& name, const std::string& v,
            const std::map<std::string, Enum>& values) {
    const auto it = values.find(v);
    if (it != values.end()) return it->second;
    std::string known;
    for (const auto& [k, e] : values) known += (known.empty() ? "" : ", ") + k;
    throw xcBadArgument(widen("--" + name + " takes one of " + known + ", got '" + v + "'"));
}

// A parameter setter's own error names the rule; say which option broke it.
void set(const std::string& name, const std::function<void()>& f) {
    try {
        f();
    } catch (const xcException& e) {
        throw xcBadArgument(widen("--" + name + ": ") + e.message());
    }
}

}  // namespace

const char* xfArrangeCliUsage() {
    return R"(usage:
  ocarrange                                 run the embedded demo (writes ocarrange-report/)
  ocarrange IMAGE --font FONT --target TEXT [options]
  ocarrange --batch DIR|LISTFILE --font FONT --target TEXT [--jobs N] [options]

FONT is an alphabet file made by ocfont, or a TrueType/OpenType file with --size.
Options:
  --size PX              pixel size per em of a font file's characters
  --polarity dark|light  a font file's ink: dark on light (default) or light on dark
  --mask FILE            care mask (pels >= 128 are searched), the image's size
  --line-type straight|circular|any     --max-lines N     --max-unmatched N
  --direction DEG        straight text direction (degrees), or cw|ccw for circular text
  --scale-range LOW:HIGH (default 0.9:1.1)       --min-score S (default 0.4)
  --orientation average|DEG  judge character angles against the line's average (default)
                         or against DEG relative to the line direction
  --timeout SECONDS      per character search (default 10)
  --json FILE|-          results as JSON (one line per image in a batch)
  --report DIR           the diagnostics page of a single run (DIR/index.html)
  --jobs N               batch workers (default: every core)
  --quiet                no table
Exit code: 0 every position matched, 1 some position not matched, 2 bad usage or input.
)";
}

xcArrangeCliOptions xfParseArrangeCli(const std::vector<std::string>& args) {
    xcArrangeCliOptions o;
    if (args.empty()) {
        o.demo = true;
        return o;
    }
    std::vector<std::string> positional;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "-h" || a == "--help") {
            o.help = true;
            return o;
        }
        if (a.rfind("--", 0) != 0) {
            positional.push_back(a);
            continue;
        }
        std::string name = a.substr(2), value;
        const std::size_t eq = name.find('=');
        const bool flag = name == "quiet";
        if (eq != std::string::npos) {
            value = name.substr(eq + 1);
            name = name.substr(0, eq);
        } else if (!flag) {
            if (i + 1 >= args.size())
                throw xcBadArgument(widen("--" + name + " needs a value"));
            value = args[++i];
        }
        if (name == "quiet") o.quiet = true;
        else if (name == "font") o.font = value;
        else if (name == "size") o.size = number(name, value);
        else if (name == "polarity") o.polarity = choice<std::string>(name, value, {{"dark", "dark"}, {"light", "light"}});
        else if (name == "target") o.target = widen(value);
        else if (name == "mask") o.mask = value;
        else if (name == "json") o.json = value;
        else if (name == "report") o.report = value;
        else if (name == "batch") o.batch = value;
        else if (name == "jobs") {
            o.jobs = integer(name, value);
            if (o.jobs < 1) throw xcBadArgument(L"--jobs takes a count of at least 1");
        } else if (name == "line-type") {
            const auto t = choice<xcOCArrangeDefs::LineType>(
                name, value, {{"straight", xcOCArrangeDefs::eStraight},
                              {"circular", xcOCArrangeDefs::eCircular},
                              {"any", xcOCArrangeDefs::eDontCare}});
            set(name, [&] { o.params.lineType(t); });
        } else if (name == "max-lines") {
            const long n = integer(name, value);
            set(name, [&] { o.params.maxLines(n); });
        } else if (name == "max-unmatched") {
            const long n = integer(name, value);
            set(name, [&] { o.params.maxUnmatchedChars(n); });
        } else if (name == "direction") {
            o.params.isTextDirectionSpecified(true);
            if (value == "cw" || value == "ccw")
                o.params.isCircularTextDirectionClockwise(value == "cw");
            else
                o.params.straightTextDirection(xcDegree(number(name, value)));
        } else if (name == "scale-range") {
            const xcRange r = range(name, value);
            set(name, [&] { o.params.scaleRange(r); });
        } else if (name == "min-score") {
            const double s = number(name, value);
            set(name, [&] { o.params.minMatchScore(s); });
        } else if (name == "orientation") {
            if (value == "average") {
                o.params.orientationMode(xcOCArrangeDefs::eAverage);
            } else {
                o.params.orientationMode(xcOCArrangeDefs::eSpecified);
                o.params.orientationReference(xcOCArrangeDefs::eRelative);
                o.params.expectedOrientation(xcDegree(number(name, value)));
            }
        } else if (name == "timeout") {
            const double t = number(name, value);
            set(name, [&] { o.params.timeout(t); });
        } else {
            throw xcBadArgument(widen("unknown option --" + name + " (see ocarrange --help)"));
        }
    }
    if (positional.size() > 1)
        throw xcBadArgument(widen("one image at a time (got '" + positional[0] + "' and '" +
                                  positional[1] + "'); use --batch for several"));
    if (!positional.empty()) o.image = positional[0];
    if (o.image.empty() && o.batch.empty())
        throw xcBadArgument(L"no image given (ocarrange IMAGE --font FONT --target TEXT)");
    if (!o.image.empty() && !o.batch.empty())
        throw xcBadArgument(L"give either an image or --batch, not both");
    if (o.font.empty()) throw xcBadArgument(L"--font is missing (an alphabet or font file)");
    if (o.target.empty()) throw xcBadArgument(L"--target is missing (the text to find)");
    if (!o.batch.empty() && !o.report.empty())
        throw xcBadArgument(L"--report writes the page of one image; it does not go with --batch");
    return o;
}
