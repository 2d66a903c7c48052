#include "tools/ocarrange/arrange_run.h"

#include <chrono>
#include <cmath>
#include <cstdio>

#include "oc/arrange/arrange_diags_page.h"
#include "oc/font/model.h"
#include "platform/core/char_code.h"
#include "platform/diag/diag_object.h"

namespace {

const char* statusName(xcOCArrangeDefs::CharStatus s) {
    switch (s) {
    case xcOCArrangeDefs::eMatched: return "matched";
    case xcOCArrangeDefs::eInferred: return "inferred";
    default: return "unknown";
    }
}

struct PoseParts {
    double x, y, angle, scale;
};

PoseParts partsOf(const xcXform<2>& p) {
    const auto& m = p.matrix();
    return {p.trans().x(), p.trans().y(),
            std::atan2(m(1, 0) - m(0, 1), m(0, 0) + m(1, 1)) * 180.0 / M_PI,
            std::sqrt(std::abs(m.determinant()))};
}

// A JSON string literal of UTF-8 text.
std::string quoted(const std::string& s) {
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

std::string number(double v, int decimals) {
    if (!std::isfinite(v)) return "null";
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
    return buf;
}

}  // namespace

long xcArrangeRun::numMatched() const {
    long n = 0;
    for (std::size_t i = 0; i < results.statusFlags().size(); ++i)
        n += results.statusFlags()[i] == xcOCArrangeDefs::eMatched && !blank[i];
    return n;
}

long xcArrangeRun::numNeeded() const {
    long n = 0;
    for (char b : blank) n += !b;
    return n;
}

xcArrangeRun xfRunArrange(const xcPelBuffer_const<unsigned char>& image,
                          const xcPelBuffer_const<unsigned char>& mask,
                          const xcOCAlphabet& alphabet, const std::wstring& target,
                          const xcOCArrangeParams& params, const std::filesystem::path& report) {
    xcArrangeRun run;
    run.target = target;
    for (wchar_t c : target) {
        run.keys.push_back(static_cast<long>(c));
        run.blank.push_back(alphabet.hasCharacter(run.keys.back()) &&
                            alphabet.character(run.keys.back())->charType() == xcOCModel::eBlank);
    }
    xcDiagObject diag;
    xcDiagObject* d = report.empty() ? nullptr : &diag;
    const unsigned long flags = d ? 0x70000 : 0;
    const auto t0 = std::chrono::steady_clock::now();
    if (mask.isBound())
        xfOCArrange(image, mask, alphabet, run.keys, params, run.results, d, flags);
    else
        xfOCArrange(image, alphabet, run.keys, params, run.results, d, flags);
    run.milliseconds =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    if (d)
        xf_WriteArrangeReport(diag, report, run.keys, alphabet, run.results,
                              run.milliseconds / 1000.0);
    return run;
}

std::string xfArrangeVerdict(const xcArrangeRun& run) {
    char buf[200];
    const long n = run.numNeeded(), m = run.numMatched();
    const long spaces = static_cast<long>(run.keys.size()) - n;
    std::snprintf(buf, sizeof buf, "%s  %ld of %ld characters matched%s%s  (%.1f ms)",
                  run.allMatched() ? "PASS" : "FAIL", m, n,
                  spaces ? (", " + std::to_string(spaces) + (spaces == 1 ? " space" : " spaces")).c_str() : "",
                  run.results.isSearchTruncated() ? ", search truncated" : "", run.milliseconds);
    return buf;
}

std::string xfArrangeTable(const xcArrangeRun& run) {
    std::string out = "index  char  status    score        x        y     angle  scale\n";
    for (std::size_t i = 0; i < run.keys.size(); ++i) {
        const auto status = run.results.statusFlags()[i];
        const PoseParts p = partsOf(xfOCArrangeCharPose(run.results, static_cast<long>(i)));
        std::string ch = xfToUtf8(std::wstring(1, static_cast<wchar_t>(run.keys[i])));
        char buf[200];
        if (status == xcOCArrangeDefs::eUnknown)
            std::snprintf(buf, sizeof buf, "%5zu  '%s'   %-8s  %5.3f        -        -         -      -\n",
                          i, ch.c_str(), statusName(status), run.results.scores()[i]);
        else
            std::snprintf(buf, sizeof buf, "%5zu  '%s'   %-8s  %5.3f  %7.2f  %7.2f  %8.2f  %5.3f\n",
                          i, ch.c_str(), statusName(status), run.results.scores()[i], p.x, p.y,
                          p.angle, p.scale);
        out += buf;
    }
    return out + xfArrangeVerdict(run) + "\n";
}

std::string xfArrangeJson(const xcArrangeRun& run) {
    std::string out = "{\"file\":" + quoted(run.file) + ",\"target\":" +
                      quoted(xfToUtf8(run.target));
    if (!run.error.empty()) return out + ",\"error\":" + quoted(run.error) + "}";
    out += std::string(",\"found\":") + (run.results.isFound() ? "true" : "false");
    out += std::string(",\"truncated\":") + (run.results.isSearchTruncated() ? "true" : "false");
    out += ",\"all_matched\":" + std::string(run.allMatched() ? "true" : "false");
    out += ",\"time_ms\":" + number(run.milliseconds, 2) + ",\"positions\":[";
    for (std::size_t i = 0; i < run.keys.size(); ++i) {
        const auto status = run.results.statusFlags()[i];
        const PoseParts p = partsOf(xfOCArrangeCharPose(run.results, static_cast<long>(i)));
        out += (i ? "," : "") + std::string("{\"index\":") + std::to_string(i) +
               ",\"char\":" + quoted(xfToUtf8(std::wstring(1, static_cast<wchar_t>(run.keys[i])))) +
               ",\"key\":" + std::to_string(run.keys[i]) + ",\"status\":\"" + statusName(status) +
               "\",\"score\":" + number(run.results.scores()[i], 4);
        if (status == xcOCArrangeDefs::eUnknown)
            out += ",\"pose\":null}";
        else
            out += ",\"pose\":{\"x\":" + number(p.x, 3) + ",\"y\":" + number(p.y, 3) +
                   ",\"angle\":" + number(p.angle, 3) + ",\"scale\":" + number(p.scale, 4) + "}}";
    }
    return out + "]}";
}
