// The programs as a user runs them: exit codes, tables, JSON, report pages, batches, and the
// messages of every usage and input error.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/io/image_file.h"
#include "tools/synth/scene.h"

namespace fs = std::filesystem;

namespace {

struct Result {
    int code = -1;
    std::string out;  // standard output and error together
};

Result run(const std::string& command) {
    Result r;
    std::FILE* p = popen((command + " 2>&1").c_str(), "r");
    if (!p) return r;
    std::array<char, 4096> buf{};
    for (std::size_t n; (n = std::fread(buf.data(), 1, buf.size(), p)) > 0;) r.out.append(buf.data(), n);
    const int status = pclose(p);
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

std::string slurp(const fs::path& p) {
    std::ifstream in(p);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

long count(const std::string& s, const std::string& what) {
    long n = 0;
    for (std::size_t at = s.find(what); at != std::string::npos; at = s.find(what, at + 1)) ++n;
    return n;
}

class Programs : public testing::Test {
protected:
    static void SetUpTestSuite() {
        dir_ = fs::temp_directory_path() / ("ocarrange_test_" + std::to_string(getpid()));
        fs::remove_all(dir_);
        fs::create_directories(dir_ / "batch");
        const xcSynthFont font(xcSynthFont::locate("DejaVuSansMono.ttf"));
        // Scene k: "BOX 4852" at angle 20 k degrees; scene 1 misses its '8' (index 5).
        for (int k = 0; k < 3; ++k) {
            xcSynthSceneParams sp;
            sp.pixelSize = 28.0;
            sp.tones = xcSynthTones{eDarkOnLight, 30.0, 220.0};
            sp.blurSigma = 0.7;
            sp.noiseSigma = 4.0;
            sp.seed = 5 + static_cast<std::uint64_t>(k);
            xcSynthLineSpec l;
            l.text = L"BOX 4852";
            l.start = xcVector<2>(200.0, 240.0);
            l.angle = 20.0 * k;
            sp.lines.push_back(l);
            if (k == 1) sp.missing = {5};
            xfWriteImage(xfSynthScene(font, sp).image,
                         dir_ / "batch" / ("scene" + std::to_string(k) + ".png"));
        }
    }
    static void TearDownTestSuite() { fs::remove_all(dir_); }

    static std::string scene(int k) { return (dir_ / "batch" / ("scene" + std::to_string(k) + ".png")).string(); }
    static std::string arrange(const std::string& args) {
        return std::string(OCARRANGE_BIN) + " " + args;
    }

    static fs::path dir_;
};
fs::path Programs::dir_;

}  // namespace

TEST_F(Programs, SceneWithItsFontIsAllMatched) {
    const fs::path json = dir_ / "one.json";
    const Result r = run(arrange(scene(0) + " --font DejaVuSansMono.ttf --size 28 --target 'BOX 4852' --json " + json.string()));
    EXPECT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("PASS  7 of 7 characters matched, 1 space"), std::string::npos) << r.out;  // the space is blank
    const std::string j = slurp(json);
    EXPECT_EQ(count(j, "\"status\":\"matched\""), 7) << j;
    EXPECT_NE(j.find("\"target\":\"BOX 4852\""), std::string::npos);
    EXPECT_NE(j.find("\"index\":7,\"char\":\"2\",\"key\":50"), std::string::npos) << j;
}

TEST_F(Programs, MissingCharacterFailsAndIsInferred) {
    const Result r = run(arrange(scene(1) + " --font DejaVuSansMono.ttf --size 28 --target 'BOX 4852' --json -"));
    EXPECT_EQ(r.code, 1) << r.out;
    EXPECT_NE(r.out.find("\"index\":5,\"char\":\"8\",\"key\":56,\"status\":\"inferred\""),
              std::string::npos) << r.out;
}

TEST_F(Programs, AlphabetFileFromOcfontWorksLikeTheFont) {
    const fs::path alphabet = dir_ / "mono28.ocf";
    const Result made = run(std::string(OCFONT_BIN) + " make DejaVuSansMono.ttf --size 28 --chars 'BOX 4852' --no-compile --out " + alphabet.string());
    ASSERT_EQ(made.code, 0) << made.out;
    const Result shown = run(std::string(OCFONT_BIN) + " show " + alphabet.string());
    EXPECT_EQ(shown.code, 0);
    EXPECT_NE(shown.out.find("8 characters"), std::string::npos) << shown.out;
    const Result r = run(arrange(scene(2) + " --font " + alphabet.string() + " --target 'BOX 4852' --quiet"));
    EXPECT_EQ(r.code, 0) << r.out;
}

TEST_F(Programs, UsageAndInputErrorsExitTwoAndWriteNothing) {
    const fs::path out = dir_ / "never.json";
    const std::string font = " --font DejaVuSansMono.ttf --size 28";
    struct Case {
        std::string args, message;
    };
    const Case cases[] = {
        {scene(0) + font + " --target 'BOX 4852' --bogus 1", "unknown option --bogus"},
        {scene(0) + font, "--target is missing"},
        {scene(0) + " --target 'LOT' --font DejaVuSansMono.ttf", "needs --size"},
        {scene(0) + " --target 'LOT' --font /nonexistent.ttf --size 28", "no such file"},
        {scene(0) + " --target 'LOT' --font " + scene(1) + " --size 28", "neither an alphabet file"},
        {(dir_ / "nothere.png").string() + font + " --target 'LOT'", "cannot read the image"},
        {scene(0) + font + " --target 'LOT\xE4\xB8\xAD'", "has no character"},
        {scene(0) + font + " --target 'LOT' --min-score 2", "--min-score: Invalid min match score"},
        {scene(0) + font + " --target 'LOT' --scale-range 1.2", "LOW:HIGH"},
        {scene(0) + font + " --target 'LOT' --line-type wavy", "any, circular, straight"},
        {scene(0) + font + " --target 'LOT' --mask " + (dir_ / "nothere.png").string(), "cannot read the mask"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        const Result r = run(arrange(c.args + " --json " + out.string()));
        EXPECT_EQ(r.code, 2) << r.out;
        EXPECT_NE(r.out.find(c.message), std::string::npos) << r.out;
        EXPECT_FALSE(fs::exists(out));
        EXPECT_FALSE(fs::exists(out.string() + ".part"));
    }
}

TEST_F(Programs, BatchWritesOneLineperImageInInputOrder) {
    const Result b = run(arrange("--batch " + (dir_ / "batch").string() + " --font DejaVuSansMono.ttf --size 28 --target 'BOX 4852' --jobs 2 --json -"));
    EXPECT_EQ(b.code, 1) << b.out;  // scene 1 misses a character
    std::istringstream lines(b.out);
    std::vector<std::string> json;
    for (std::string l; std::getline(lines, l);)
        if (l.rfind("{", 0) == 0) json.push_back(l);
    ASSERT_EQ(json.size(), 3u) << b.out;
    EXPECT_NE(b.out.find("3 images: 2 all matched, 1 failed, 0 errors"), std::string::npos) << b.out;
    for (int k = 0; k < 3; ++k) {
        SCOPED_TRACE(k);
        EXPECT_NE(json[std::size_t(k)].find("scene" + std::to_string(k) + ".png"), std::string::npos);
        // The same positions and statuses as a single run (times differ).
        const Result single = run(arrange(scene(k) + " --font DejaVuSansMono.ttf --size 28 --target 'BOX 4852' --quiet --json -"));
        auto positions = [](const std::string& s) { return s.substr(s.find("\"positions\"")); };
        std::string one;
        std::istringstream sl(single.out);
        for (std::string l; std::getline(sl, l);)
            if (l.rfind("{", 0) == 0) one = l;
        EXPECT_EQ(positions(json[std::size_t(k)]), positions(one));
    }
}

TEST_F(Programs, DemoRunsAndWritesItsPage) {
    const fs::path cwd = fs::current_path();
    fs::current_path(dir_);
    const Result r = run(OCARRANGE_BIN);
    fs::current_path(cwd);
    EXPECT_EQ(r.code, 0) << r.out;
    EXPECT_TRUE(fs::exists(dir_ / "ocarrange-report" / "index.html"));
    EXPECT_NE(r.out.find("PASS"), std::string::npos) << r.out;
}
