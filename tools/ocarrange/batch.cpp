#include "tools/ocarrange/batch.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include "platform/core/char_code.h"
#include "platform/core/exception.h"
#include "platform/io/image_file.h"
#include "tools/ocarrange/arrange_run.h"
#include "tools/ocarrange/output_file.h"

namespace fs = std::filesystem;

std::vector<std::string> xfBatchImages(const std::string& dirOrList) {
    std::vector<std::string> images;
    std::error_code ec;
    if (fs::is_directory(dirOrList, ec)) {
        for (const auto& e : fs::directory_iterator(dirOrList, ec)) {
            std::string ext = e.path().extension().string();
            std::transform(ext.begin(), ext.end(), ext.begin(),
                           [](unsigned char c) { return std::tolower(c); });
            if (e.is_regular_file() && (ext == ".png" || ext == ".pgm"))
                images.push_back(e.path().string());
        }
        std::sort(images.begin(), images.end());
        if (images.empty())
            throw xcBadArgument(xfFromUtf8("no PNG or PGM image in the folder '" + dirOrList + "'"));
        return images;
    }
    std::ifstream list(dirOrList);
    if (!list)
        throw xcBadArgument(xfFromUtf8("--batch: '" + dirOrList +
                                       "' is neither a folder of images nor a readable list file"));
    const fs::path base = fs::path(dirOrList).parent_path();
    for (std::string line; std::getline(list, line);) {
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        const fs::path p(line);
        images.push_back(p.is_absolute() ? line : (base / p).string());
    }
    if (images.empty())
        throw xcBadArgument(xfFromUtf8("the list file '" + dirOrList + "' names no image"));
    return images;
}

int xfRunBatch(const xcArrangeCliOptions& o, const xcOCAlphabet& alphabet) {
    const std::vector<std::string> images = xfBatchImages(o.batch);
    const long n = static_cast<long>(images.size());
    const long jobs = std::min<long>(
        n, o.jobs > 0 ? o.jobs : std::max(1u, std::thread::hardware_concurrency()));
    xcOutputFile json(o.json.empty() ? "-" : o.json);

    // Each worker takes the next image; results are written in input order as soon as every
    // earlier one is done.
    std::vector<xcArrangeRun> runs(static_cast<std::size_t>(n));
    std::vector<char> done(static_cast<std::size_t>(n), 0);
    std::atomic<long> next{0};
    std::mutex m;
    std::condition_variable cv;
    long finished = 0, written = 0;
    long allMatched = 0, failed = 0, errors = 0;
    const auto t0 = std::chrono::steady_clock::now();
    const bool terminal = isatty(STDERR_FILENO) && !o.quiet;

    auto worker = [&] {
        for (long i; (i = next.fetch_add(1)) < n;) {
            xcArrangeRun run;
            try {
                const xcPelBuffer<unsigned char> image = xfReadImage(images[std::size_t(i)]);
                run = xfRunArrange(image, xcPelBuffer_const<unsigned char>(), alphabet, o.target,
                                   o.params);
            } catch (const std::exception& e) {
                run.target = o.target;
                run.error = e.what();
            }
            run.file = images[std::size_t(i)];
            std::lock_guard lock(m);
            runs[std::size_t(i)] = std::move(run);
            done[std::size_t(i)] = 1;
            ++finished;
            while (written < n && done[std::size_t(written)]) {
                xcArrangeRun& w = runs[std::size_t(written)];
                json.line(xfArrangeJson(w));
                if (!w.error.empty()) ++errors;
                else if (w.allMatched()) ++allMatched;
                else ++failed;
                w = xcArrangeRun();  // written: keep memory flat
                ++written;
            }
            if (terminal) {
                const double s =
                    std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
                const double rate = finished / std::max(s, 1e-9);
                std::fprintf(stderr, "\r%ld / %ld images  %.1f images/s  %.0f s left   ", finished,
                             n, rate, (n - finished) / std::max(rate, 1e-9));
            }
        }
    };
    std::vector<std::thread> threads;
    for (long j = 0; j < jobs; ++j) threads.emplace_back(worker);
    for (auto& t : threads) t.join();
    json.commit();

    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    if (terminal) std::fprintf(stderr, "\n");
    std::fprintf(stderr,
                 "%ld images: %ld all matched, %ld failed, %ld errors; %.1f s, %.2f images/s "
                 "(%ld jobs)\n",
                 n, allMatched, failed, errors, seconds, n / std::max(seconds, 1e-9), jobs);
    return failed + errors == 0 ? 0 : 1;
}
