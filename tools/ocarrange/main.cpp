// ocarrange: is this print right? Finds a target string in an image and reports every
// character; see xfArrangeCliUsage() (options.cpp) and docs/ocarrange.md.
#include <cstdio>
#include <string>
#include <vector>

#include "platform/core/char_code.h"
#include "platform/core/exception.h"
#include "platform/io/image_file.h"
#include "tools/fontkit/font_source.h"
#include "tools/ocarrange/arrange_run.h"
#include "tools/ocarrange/batch.h"
#include "tools/ocarrange/demo.h"
#include "tools/ocarrange/options.h"
#include "tools/ocarrange/output_file.h"

namespace {

int usageError(const std::string& message) {
    std::fprintf(stderr, "ocarrange: %s\n", message.c_str());
    return 2;
}

xcPelBuffer<unsigned char> readImage(const std::string& path, const char* what) {
    try {
        return xfReadImage(path);
    } catch (const xcException& e) {
        throw xcBadArgument(xfFromUtf8(std::string("cannot read the ") + what + " '" + path +
                                       "': ") + e.message());
    }
}

int runOne(const xcArrangeCliOptions& o, const xcOCAlphabet& alphabet) {
    const xcPelBuffer<unsigned char> image = readImage(o.image, "image");
    xcPelBuffer<unsigned char> mask;
    if (!o.mask.empty()) {
        mask = readImage(o.mask, "mask");
        if (mask.width() != image.width() || mask.height() != image.height())
            throw xcBadArgument(xfFromUtf8("the mask '" + o.mask + "' is " +
                                           std::to_string(mask.width()) + " x " +
                                           std::to_string(mask.height()) + " but the image is " +
                                           std::to_string(image.width()) + " x " +
                                           std::to_string(image.height())));
        mask.clientFromImageXform(image.clientFromImageXform());
    }
    std::unique_ptr<xcOutputFile> json;
    if (!o.json.empty()) json = std::make_unique<xcOutputFile>(o.json);
    xcArrangeRun run = xfRunArrange(image, mask, alphabet, o.target, o.params, o.report);
    run.file = o.image;
    if (!o.quiet) std::fputs(xfArrangeTable(run).c_str(), json && o.json == "-" ? stderr : stdout);
    if (json) {
        json->line(xfArrangeJson(run));
        json->commit();
    }
    if (!o.report.empty() && !o.quiet)
        std::fprintf(stderr, "report page: %s/index.html\n", o.report.c_str());
    return run.allMatched() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const xcArrangeCliOptions o =
            xfParseArrangeCli(std::vector<std::string>(argv + 1, argv + argc));
        if (o.help) {
            std::fputs(xfArrangeCliUsage(), stdout);
            return 0;
        }
        if (o.demo) return xfRunDemo(false);
        const xcFontSource source{o.font, o.size, o.polarity == "light"};
        const xcPtrHandle_const<xcOCAlphabet> alphabet = xfLoadFontSource(source, o.target);
        return o.batch.empty() ? runOne(o, *alphabet) : xfRunBatch(o, *alphabet);
    } catch (const xcBadArgument& e) {
        return usageError(xfToUtf8(e.message()));
    } catch (const std::exception& e) {
        std::fprintf(stderr, "ocarrange: %s\n", e.what());
        return 2;
    }
}
