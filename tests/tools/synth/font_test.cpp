#include "tools/synth/font.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "test_util.h"
#include "tests/support/expect_error.h"

namespace {

// Sets an environment variable for the life of the object, then restores it.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const std::string& value) : m_name(name) {
        if (const char* old = std::getenv(name)) m_old = old, m_had = true;
        setenv(name, value.c_str(), 1);
    }
    ~ScopedEnv() {
        if (m_had)
            setenv(m_name, m_old.c_str(), 1);
        else
            unsetenv(m_name);
    }

private:
    const char* m_name;
    std::string m_old;
    bool m_had = false;
};

std::filesystem::path scratchDir(const char* name) {
    auto d = std::filesystem::temp_directory_path() / ("ocsynth_test_" + std::to_string(getpid()));
    d /= name;
    std::filesystem::create_directories(d);
    return d;
}

}  // namespace

TEST(SynthFont, LocatesFontsAndExplainsFailures) {
    const std::string path = xcSynthFont::locate("DejaVuSans.ttf");
    EXPECT_TRUE(std::filesystem::is_regular_file(path));
    EXPECT_NE(path.find("DejaVuSans.ttf"), std::string::npos);

    // OC_FONT_DIR is searched first.
    const auto dir = scratchDir("fonts");
    std::filesystem::copy_file(path, dir / "Mine.ttf",
                               std::filesystem::copy_options::overwrite_existing);
    {
        ScopedEnv env("OC_FONT_DIR", dir.string());
        EXPECT_EQ(xcSynthFont::locate("Mine.ttf"), (dir / "Mine.ttf").string());
        if (const auto e = expectError<xcIOError>([&] { xcSynthFont::locate("NoSuchFont.ttf"); })) {
            const std::string m = e->what();
            EXPECT_NE(m.find("Font 'NoSuchFont.ttf' not found in " + dir.string() +
                             ", /usr/share/fonts/truetype/dejavu"),
                      std::string::npos)
                << m;
            EXPECT_EQ(m.find("is not set"), std::string::npos) << m;
        }
    }
    expectError<xcIOError>([&] { xcSynthFont::locate("/no/such/dir/x.ttf"); },
                           L"Font file '/no/such/dir/x.ttf' does not exist");
    // A file that is not a font.
    std::ofstream(dir / "bad.ttf") << "not a font";
    if (const auto e =
            expectError<xcIOError>([&] { xcSynthFont bad((dir / "bad.ttf").string()); })) {
        EXPECT_EQ(std::string(e->what()).rfind(
                      "Cannot read font '" + (dir / "bad.ttf").string() + "' (FreeType error ", 0),
                  0u)
            << e->what();
    }
    std::filesystem::remove_all(dir.parent_path());
}

TEST(SynthFont, UnhintedMetricsInPixels) {
    const xcSynthFont& f = testFont();
    ASSERT_EQ(f.unitsPerEm(), 2048.0);
    EXPECT_EQ(f.familyName(), "DejaVu Sans");
    // 'A' advances 1401 units; the line spans 1901 + 483 units.
    EXPECT_EQ(f.advance(U'A'), 1401.0);
    const xcSynthGlyphMetrics m = f.metrics(U'A', 32.0);
    EXPECT_DOUBLE_EQ(m.advance, 1401.0 * 32.0 / 2048.0);
    EXPECT_EQ(m.cellWidth, 22);
    EXPECT_EQ(m.cellHeight, 37);  // round(37.25)
    EXPECT_DOUBLE_EQ(m.descent, 483.0 * 32.0 / 2048.0);
    // Every character of the font has the same cell height; a font-unit point on the
    // baseline maps to client y = -descent, one at the ascender near the cell top.
    EXPECT_EQ(f.metrics(U'i', 32.0).cellHeight, 37);
    EXPECT_EQ(f.metrics(U' ', 32.0).cellHeight, 37);
    EXPECT_DOUBLE_EQ(m.clientFromFont.mapPoint({0, 0}).y(), -m.descent);
    EXPECT_DOUBLE_EQ(m.clientFromFont.mapPoint({2048, 1901}).x(), 32.0);
    EXPECT_NEAR(m.clientFromFont.mapPoint({0, 1901}).y(), -37.25, 1e-12);

    EXPECT_TRUE(f.outline(U' ').empty());
    EXPECT_FALSE(f.outline(U'A').empty());
    EXPECT_FALSE(f.hasGlyph(0x10FFFD));
    expectError<xcBadArgument>([&] { f.metrics(0x10FFFD, 32.0); },
                               L"Font 'DejaVu Sans' has no glyph for U+10FFFD");
    EXPECT_THROW(f.metrics(U'A', 0.0), xcBadArgument);
    EXPECT_THROW(f.metrics(U'A', std::nan("")), xcBadArgument);
    EXPECT_EQ(xfSynthCodeText(0x41), L"U+0041");
}
