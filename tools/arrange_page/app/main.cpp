// ocarrange_page: writes the report page of an arranger run on a synthetic scene, and
// optionally a screenshot of it taken by headless Chromium.
//
//   ocarrange_page --out=DIR [--layout=straight|circular] [--font=DejaVuSans.ttf] [--size=32]
//                  [--seed=7] [--flags=0x70000] [--screenshot=FILE.png] [--window=1280x900]
//
// The page is DIR/index.html (open it in any browser). The run is the arranger's own on the
// rendered scene (tools/arrange_page/scene_run.h).
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include "oc/arrange/arrange_diags_page.h"
#include "platform/core/char_code.h"
#include "platform/core/exception.h"
#include "tools/arrange_page/browser.h"
#include "tools/arrange_page/scene_run.h"

namespace {

const char* kUsage =
    "usage: ocarrange_page --out=DIR [--layout=straight|circular] [--font=NAME_OR_PATH]\n"
    "                      [--size=PX] [--seed=N] [--flags=0x70000] [--screenshot=FILE.png]\n"
    "                      [--window=WIDTHxHEIGHT]\n";

bool option(const std::string& arg, const char* name, std::string& value) {
    const std::string prefix = std::string("--") + name + "=";
    if (arg.compare(0, prefix.size(), prefix) != 0) return false;
    value = arg.substr(prefix.size());
    return true;
}

[[noreturn]] void fail(const std::string& what) {
    std::cerr << "ocarrange_page: " << what << "\n" << kUsage;
    std::exit(2);
}

double number(const std::string& text, const char* name) {
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0') fail(std::string("bad --") + name + " value '" + text + "'");
    return v;
}

}  // namespace

int main(int argc, char** argv) {
    xcSceneRunOptions options;
    std::string out, shot, value;
    unsigned long flags = 0x70000;
    long width = 1280, height = 900;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::cout << kUsage;
            return 0;
        } else if (option(arg, "out", value)) {
            out = value;
        } else if (option(arg, "layout", value)) {
            if (value == "straight") {
                options.layout = xcSceneRunOptions::eStraight;
            } else if (value == "circular") {
                options.layout = xcSceneRunOptions::eCircular;
            } else {
                fail("--layout must be straight or circular");
            }
        } else if (option(arg, "font", value)) {
            options.font = value;
        } else if (option(arg, "size", value)) {
            options.size = number(value, "size");
            if (!(options.size >= 12 && options.size <= 96)) fail("--size must be 12 to 96");
        } else if (option(arg, "seed", value)) {
            options.seed = static_cast<std::uint64_t>(number(value, "seed"));
        } else if (option(arg, "flags", value)) {
            flags = std::strtoul(value.c_str(), nullptr, 0);
        } else if (option(arg, "screenshot", value)) {
            shot = value;
        } else if (option(arg, "window", value)) {
            if (std::sscanf(value.c_str(), "%ldx%ld", &width, &height) != 2 || width < 200 ||
                height < 200 || width > 8000 || height > 16000)
                fail("--window must be WIDTHxHEIGHT, 200 to 8000 by 200 to 16000");
        } else {
            fail("unknown argument '" + arg + "'");
        }
    }
    if (out.empty()) fail("--out is required");
    try {
        xcDiagObject diag;
        const xcSceneRun run = xfSceneRun(options, &diag, flags);
        const auto index =
            xf_WriteArrangeReport(diag, out, run.keys, *run.alphabet, run.results, run.seconds);
        std::cout << "page: " << index.string() << "\n";
        if (!shot.empty()) {
            const xcHeadlessBrowser browser;
            browser.screenshot(index, shot, width, height);
            std::cout << "screenshot: " << shot << "\n";
        }
    } catch (const xcException& e) {
        std::cerr << "ocarrange_page: " << xfToUtf8(e.message()) << "\n";
        return 1;
    }
    return 0;
}
