#include "tools/arrange_page/browser.h"

#include <sys/wait.h>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

#include "platform/core/char_code.h"
#include "platform/core/exception.h"

namespace fs = std::filesystem;

namespace {

// The argument quoted for the shell.
std::string quoted(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

std::string fileUrl(const fs::path& p) {
    const std::string abs = fs::absolute(p).lexically_normal().string();
    std::string url = "file://";
    for (unsigned char c : abs) {
        if (std::isalnum(c) || c == '/' || c == '-' || c == '_' || c == '.' || c == '~') {
            url += static_cast<char>(c);
        } else {
            char buf[4];
            std::snprintf(buf, sizeof buf, "%%%02X", c);
            url += buf;
        }
    }
    return url;
}

std::string readAll(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// A new empty folder under the temp directory, removed by the destructor.
struct ProfileDir {
    fs::path path;
    ProfileDir() {
        std::random_device rd;
        for (int attempt = 0;; ++attempt) {
            path = fs::temp_directory_path() /
                   ("oc-browser-" + std::to_string(rd()) + "-" +
                    std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
            std::error_code ec;
            if (fs::create_directory(path, ec)) return;
            if (attempt > 20) throw xcIOError(L"Cannot create a browser profile folder");
        }
    }
    ~ProfileDir() {
        std::error_code ec;
        fs::remove_all(path, ec);
    }
};

}  // namespace

xcHeadlessBrowser::xcHeadlessBrowser() {
    if (const char* env = std::getenv("OC_CHROMIUM"); env && *env) {
        if (fs::exists(env)) m_path = env;
        return;
    }
    for (const char* p : {"/usr/bin/chromium", "/usr/bin/chromium-browser"}) {
        if (fs::exists(p)) {
            m_path = p;
            return;
        }
    }
}

std::string xcHeadlessBrowser::run_(const std::string& args) const {
    if (!found()) throw xcIOError(L"No headless browser: install the package 'chromium'");
    ProfileDir profile;
    const fs::path out = profile.path / "stdout.txt", err = profile.path / "stderr.txt";
    const std::string cmd =
        "timeout 120 " + quoted(m_path) +
        " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run"
        " --disable-background-networking --disable-component-update --disable-sync"
        " --hide-scrollbars --force-device-scale-factor=1 --user-data-dir=" +
        quoted((profile.path / "profile").string()) + " " + args + " >" + quoted(out.string()) +
        " 2>" + quoted(err.string()) + " </dev/null";
    const int status = std::system(cmd.c_str());
    if (status != 0) {
        std::string tail = readAll(err);
        if (tail.size() > 600) tail = tail.substr(tail.size() - 600);
        throw xcIOError(L"The headless browser failed (status " +
                        std::to_wstring(WIFEXITED(status) ? WEXITSTATUS(status) : status) + L"): " +
                        xfFromUtf8(tail));
    }
    return readAll(out);
}

std::string xcHeadlessBrowser::dumpDom(const fs::path& page) const {
    return run_("--virtual-time-budget=5000 --dump-dom " + quoted(fileUrl(page)));
}

void xcHeadlessBrowser::screenshot(const fs::path& page, const fs::path& png, long width,
                                   long height, const std::string& fragment) const {
    std::error_code ec;
    fs::remove(png, ec);
    run_("--virtual-time-budget=5000 --window-size=" + std::to_string(width) + "," +
         std::to_string(height) + " --screenshot=" + quoted(fs::absolute(png).string()) + " " +
         quoted(fileUrl(page) + (fragment.empty() ? "" : "#" + fragment)));
    if (!fs::is_regular_file(png))
        throw xcIOError(L"The headless browser wrote no screenshot '" + xfFromUtf8(png.string()) +
                        L"'");
}
