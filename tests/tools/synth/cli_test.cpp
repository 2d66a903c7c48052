// End-to-end runs of the ocsynth program: its files must hold exactly what the library makes.
#ifdef OCSYNTH_PROGRAM

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/io/image_file.h"
#include "test_util.h"
#include "tools/synth/glyph_model.h"
#include "tools/synth/scene.h"
#include "tools/synth/truth_json.h"

namespace {

namespace fs = std::filesystem;

int run(const std::string& args) {
    const std::string cmd = std::string(OCSYNTH_PROGRAM) + " " + args + " >/dev/null 2>&1";
    const int status = std::system(cmd.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string readFile(const fs::path& p) {
    std::ifstream f(p, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

fs::path scratch() {
    const fs::path d = fs::temp_directory_path() / ("ocsynth_cli_" + std::to_string(getpid()));
    fs::create_directories(d);
    return d;
}

}  // namespace

TEST(SynthProgram, WritesTheLibrarysSceneAndTruth) {
    const fs::path d = scratch();
    ASSERT_EQ(run("scene --out=" + (d / "c.png").string() +
                  " --layout=circular --text=ABCDEF --width=300 --height=200 --radius=70"
                  " --start-angle=-170 --noise=4 --seed=9 --missing-list=2"),
              0);
    xcSynthSceneParams p;
    p.width = 300;
    p.height = 200;
    p.seed = 9;
    p.noiseSigma = 4.0;
    p.missing = {2};
    xcSynthLineSpec l;
    l.kind = xcSynthLineSpec::eCircular;
    l.text = L"ABCDEF";
    l.centre = {150.0, 100.0};
    l.radius = 70.0;
    l.startAngle = -170.0;
    p.lines = {l};
    const xcSynthScene s = xfSynthScene(testFont(), p);
    const xcPelBuffer<unsigned char> img = xfReadImage(d / "c.png");
    ASSERT_EQ(img.window(), s.image.window());
    for (long y = 0; y < img.height(); ++y)
        for (long x = 0; x < img.width(); ++x) ASSERT_EQ(img.get(x, y), s.image.get(x, y));
    EXPECT_EQ(readFile(d / "c.json"), xfSynthTruthJson(s.truth));

    ASSERT_EQ(run("glyphs --outdir=" + (d / "g").string() + " --text=Q --size=20 --margin=2"), 0);
    xcSynthGlyphParams gp;
    gp.pixelSize = 20.0;
    gp.margin = 2;
    const xcSynthGlyph g = xfSynthGlyphModel(testFont(), U'Q', gp);
    const xcPelBuffer<unsigned char> gi = xfReadImage(d / "g" / "glyph_000_U+0051.png");
    ASSERT_EQ(gi.window(), g.image.window());
    for (long y = 0; y < gi.height(); ++y)
        for (long x = 0; x < gi.width(); ++x) ASSERT_EQ(gi.get(x, y), g.image.get(x, y));
    EXPECT_EQ(readFile(d / "g" / "glyphs.json"),
              xfSynthGlyphsJson(testFont(), gp, {g}, {"glyph_000_U+0051.png"}));

    // Bad input: usage errors exit with 2, failures of the library with 1, and no file.
    EXPECT_EQ(run("scene --out=" + (d / "x.png").string() + " --bogus=1"), 2);
    EXPECT_EQ(run("scene --out=" + (d / "x.png").string() + " --width=abc"), 2);
    EXPECT_EQ(run("render"), 2);
    EXPECT_EQ(run("scene --out=" + (d / "x.png").string() + " --width=0"), 1);
    EXPECT_FALSE(fs::exists(d / "x.png"));
    EXPECT_EQ(run("help"), 0);
    fs::remove_all(d);
}

#endif  // OCSYNTH_PROGRAM
