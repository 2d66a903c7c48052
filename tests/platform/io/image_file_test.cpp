#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <random>

#include "platform/core/exception.h"
#include "platform/core/pel_ops.h"
#include "platform/io/image_file.h"
#include "platform/io/pgm_io.h"
#include "platform/io/png_io.h"
#include "png_writer.h"
#include "tests/support/expect_error.h"

#include <zlib.h>

namespace fs = std::filesystem;
using Buf = xcPelBuffer<unsigned char>;
using namespace std::string_literals;

namespace {

class ImageFile : public ::testing::Test {
protected:
    void SetUp() override {
        m_dir = fs::temp_directory_path() /
                ("oc_io_test_" + std::to_string(::getpid()) + "_" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(m_dir);
        fs::create_directories(m_dir);
    }
    void TearDown() override { fs::remove_all(m_dir); }

    fs::path file(const std::string& name) const { return m_dir / name; }
    std::vector<std::string> listing() const {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(m_dir))
            names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    fs::path m_dir;
};

Buf noise(long w, long h, unsigned seed) {
    Buf b(w, h);
    std::mt19937 rng(seed);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) b.set(x, y, static_cast<unsigned char>(rng()));
    return b;
}

std::vector<unsigned char> bytesOf(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {});
}

void putBytes(const fs::path& p, const std::vector<unsigned char>& b) {
    std::ofstream out(p, std::ios::binary);
    out.write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
}

void putText(const fs::path& p, const std::string& s) {
    putBytes(p, std::vector<unsigned char>(s.begin(), s.end()));
}

// The pixels of a one-row image read back.
std::vector<int> row0(const Buf& b) {
    std::vector<int> v;
    for (long x = 0; x < b.width(); ++x) v.push_back(b.get(x, 0));
    return v;
}

int luma(double r, double g, double b) {
    return static_cast<int>(std::lround(0.299 * r + 0.587 * g + 0.114 * b));
}
int overWhite(double v, double a) {
    return static_cast<int>(std::lround((v * a + 255.0 * (255.0 - a)) / 255.0));
}

// Runs f, which must throw xcIOError whose message contains every fragment.
template <class F>
void expectIOError(F f, std::initializer_list<std::wstring> fragments) {
    if (const auto e = expectError<xcIOError>([&] { f(); })) {
        for (const auto& frag : fragments)
            EXPECT_NE(e->message().find(frag), std::wstring::npos)
                << e->what() << " lacks " << std::string(frag.begin(), frag.end());
    }
}

}  // namespace

TEST_F(ImageFile, RoundTripsOddSizesAndWindows) {
    const xcPelRect windows[] = {
        {0, 0, 1, 1}, {2, 1, 3, 7}, {1, 3, 17, 5}, {0, 5, 33, 1}, {4, 0, 29, 11}};
    unsigned seed = 1;
    for (const xcPelRect& w : windows) {
        Buf src = noise(40, 20, seed++);
        src.window(w);
        for (const char* ext : {".png", ".pgm"}) {
            const fs::path p = file(std::string("img") + ext);
            xfWriteImage(src, p);
            const Buf back = ext == std::string(".png") ? xfReadPng(p) : xfReadPgm(p);
            EXPECT_EQ(back.window(), xcPelRect(0, 0, w.width(), w.height())) << ext;
            EXPECT_TRUE(xfPelEqual(back, src)) << ext << " " << w.width() << "x" << w.height();
            EXPECT_TRUE(xfPelEqual(xfReadImage(p), src)) << ext;
        }
    }
    // Content decides, not the name.
    Buf src = noise(7, 3, 99);
    xfWritePng(src, file("really_png.pgm"));
    xfWritePgm(src, file("really_pgm.png"));
    EXPECT_TRUE(xfPelEqual(xfReadImage(file("really_png.pgm")), src));
    EXPECT_TRUE(xfPelEqual(xfReadImage(file("really_pgm.png")), src));
    EXPECT_EQ(listing(),
              (std::vector<std::string>{"img.pgm", "img.png", "really_pgm.png", "really_png.pgm"}));
}

TEST_F(ImageFile, ColourAndSixteenBitBecomeGrey) {
    RawPng rgb{5,  1,     PNG_COLOR_TYPE_RGB,
               8,  false, {255, 0, 0, 0, 255, 0, 0, 0, 255, 10, 20, 30, 255, 255, 255},
               {}, {}};
    ASSERT_TRUE(xf_TestWritePng(rgb, file("rgb.png")));
    EXPECT_EQ(row0(xfReadPng(file("rgb.png"))),
              (std::vector<int>{luma(255, 0, 0), luma(0, 255, 0), luma(0, 0, 255), luma(10, 20, 30),
                                255}));

    RawPng rgba{4,  1,     PNG_COLOR_TYPE_RGB_ALPHA,
                8,  false, {0, 0, 0, 0, 0, 0, 0, 255, 200, 100, 50, 128, 9, 9, 9, 1},
                {}, {}};
    ASSERT_TRUE(xf_TestWritePng(rgba, file("rgba.png")));
    EXPECT_EQ(row0(xfReadPng(file("rgba.png"))),
              (std::vector<int>{255, 0, overWhite(luma(200, 100, 50), 128), overWhite(9, 1)}));

    RawPng ga{3, 1, PNG_COLOR_TYPE_GRAY_ALPHA, 8, false, {0, 0, 0, 255, 100, 128}, {}, {}};
    ASSERT_TRUE(xf_TestWritePng(ga, file("ga.png")));
    EXPECT_EQ(row0(xfReadPng(file("ga.png"))), (std::vector<int>{255, 0, overWhite(100, 128)}));

    // 16-bit grey, big-endian samples.
    const unsigned s16[] = {0, 65535, 32896, 1000, 257 * 77 + 128, 40000};
    RawPng g16{6, 1, PNG_COLOR_TYPE_GRAY, 16, false, {}, {}, {}};
    std::vector<int> expect16;
    for (unsigned v : s16) {
        g16.rows.push_back(static_cast<unsigned char>(v >> 8));
        g16.rows.push_back(static_cast<unsigned char>(v & 0xFF));
        expect16.push_back(static_cast<int>(std::lround(v * 255.0 / 65535.0)));
    }
    ASSERT_TRUE(xf_TestWritePng(g16, file("g16.png")));
    EXPECT_EQ(row0(xfReadPng(file("g16.png"))), expect16);

    // 16-bit RGB: channels scaled, then luma.
    RawPng rgb16{1, 1, PNG_COLOR_TYPE_RGB, 16, false, {0xFF, 0xFF, 0x80, 0x80, 0x00, 0x00}, {}, {}};
    ASSERT_TRUE(xf_TestWritePng(rgb16, file("rgb16.png")));
    EXPECT_EQ(row0(xfReadPng(file("rgb16.png"))), (std::vector<int>{luma(255, 128, 0)}));
}

TEST_F(ImageFile, ColourPlanes) {
    RawPng rgba{3,  1,     PNG_COLOR_TYPE_RGB_ALPHA,
                8,  false, {0, 220, 0, 255, 200, 100, 50, 128, 9, 9, 9, 0},
                {}, {}};
    ASSERT_TRUE(xf_TestWritePng(rgba, file("rgba.png")));
    const xcRgbPlanes p = xfReadPngRgb(file("rgba.png"));
    EXPECT_EQ(row0(p.red), (std::vector<int>{0, overWhite(200, 128), 255}));
    EXPECT_EQ(row0(p.green), (std::vector<int>{220, overWhite(100, 128), 255}));
    EXPECT_EQ(row0(p.blue), (std::vector<int>{0, overWhite(50, 128), 255}));

    RawPng grey{2, 1, PNG_COLOR_TYPE_GRAY, 8, false, {7, 250}, {}, {}};
    ASSERT_TRUE(xf_TestWritePng(grey, file("grey.png")));
    const xcRgbPlanes g = xfReadPngRgb(file("grey.png"));
    for (const Buf* b : {&g.red, &g.green, &g.blue})
        EXPECT_EQ(row0(*b), (std::vector<int>{7, 250}));
    EXPECT_THROW(xfReadPngRgb(file("absent.png")), xcIOError);
}

TEST_F(ImageFile, PaletteLowDepthAndInterlace) {
    // 2-bit palette of four colours, entry 1 fully transparent, entry 2 half transparent.
    RawPng pal{5, 1, PNG_COLOR_TYPE_PALETTE, 2, false, {}, {}, {}};
    pal.palette = {{0, 0, 0}, {50, 60, 70}, {200, 10, 10}, {255, 255, 255}};
    pal.trns = {255, 0, 128};
    // Indices 0 1 2 3 0, packed four to a byte, most significant first.
    pal.rows = {0b00011011, 0b00000000};
    ASSERT_TRUE(xf_TestWritePng(pal, file("pal.png")));
    EXPECT_EQ(row0(xfReadPng(file("pal.png"))),
              (std::vector<int>{0, 255, overWhite(luma(200, 10, 10), 128), 255, 0}));

    RawPng g1{10, 1, PNG_COLOR_TYPE_GRAY, 1, false, {0b10110000, 0b01000000}, {}, {}};
    ASSERT_TRUE(xf_TestWritePng(g1, file("g1.png")));
    EXPECT_EQ(row0(xfReadPng(file("g1.png"))),
              (std::vector<int>{255, 0, 255, 255, 0, 0, 0, 0, 0, 255}));

    RawPng g4{3, 1, PNG_COLOR_TYPE_GRAY, 4, false, {0xF7, 0x10}, {}, {}};
    ASSERT_TRUE(xf_TestWritePng(g4, file("g4.png")));
    EXPECT_EQ(row0(xfReadPng(file("g4.png"))), (std::vector<int>{255, 119, 17}));

    // Adam7 at an odd size: every pass is exercised, some of them partly empty.
    const Buf src = noise(13, 11, 5);
    RawPng il{13, 11, PNG_COLOR_TYPE_GRAY, 8, true, {}, {}, {}};
    for (long y = 0; y < 11; ++y)
        for (long x = 0; x < 13; ++x) il.rows.push_back(src.get(x, y));
    ASSERT_TRUE(xf_TestWritePng(il, file("il.png")));
    EXPECT_TRUE(xfPelEqual(xfReadPng(file("il.png")), src));

    // Interlaced RGB goes through the same conversion.
    RawPng ilc{3,  2,    PNG_COLOR_TYPE_RGB,
               8,  true, {255, 0, 0, 0, 255, 0, 0, 0, 255, 1, 2, 3, 4, 5, 6, 7, 8, 9},
               {}, {}};
    ASSERT_TRUE(xf_TestWritePng(ilc, file("ilc.png")));
    const Buf c = xfReadPng(file("ilc.png"));
    EXPECT_EQ(c.get(2, 0), luma(0, 0, 255));
    EXPECT_EQ(c.get(2, 1), luma(7, 8, 9));
}

TEST_F(ImageFile, PgmHeadersAndScaling) {
    putText(file("a.pgm"), std::string("P5 # comment\n# another\n4\t1\n15\n") +
                               std::string("\x00\x01\x07\x0f", 4));
    EXPECT_EQ(row0(xfReadPgm(file("a.pgm"))), (std::vector<int>{0, 17, 119, 255}));

    // 16-bit samples, big-endian.
    putText(file("b.pgm"),
            std::string("P5\n3 1\n1000\n") + std::string("\x01\xF4\x03\xE8\x00\x02", 6));
    EXPECT_EQ(row0(xfReadPgm(file("b.pgm"))), (std::vector<int>{128, 255, 1}));

    // Bytes after the raster are ignored.
    putText(file("c.pgm"), std::string("P5 2 1 255\n\x05\x06trailing", 19));
    EXPECT_EQ(row0(xfReadPgm(file("c.pgm"))), (std::vector<int>{5, 6}));

    struct Bad {
        std::string content;
        std::wstring reason;
    };
    const Bad bad[] = {
        {"P5\n2 2\n255\n\x01\x02\x03", L"truncated"},
        {"P5\n2 2", L"truncated in the header"},
        {"P5\n2 x 255\n", L"height is not a number"},
        {"P5\n0 2 255\n", L"no pixels"},
        {"P5\n2 1 0\n\x00\x00"s, L"maxval 0"},
        {"P5\n2 1 70000\n\x00\x00\x00\x00"s, L"maxval 70000"},
        {"P5\n2 1 100\n\x05\xC8", L"sample 200 at (1, 0) exceeds maxval 100"},
        {"P5\n2 1 255x\x00\x00"s, L"not followed by white space"},
        {"P5\n99999999999 1 255\n", L"width is too large"},
        {"P2\n1 1 255\n0\n", L"not a binary PGM"},
        {"", L"empty"},
    };
    for (const Bad& b : bad) {
        putText(file("bad.pgm"), b.content);
        expectIOError([&] { xfReadPgm(file("bad.pgm")); }, {b.reason, L"bad.pgm"});
    }
}

TEST_F(ImageFile, TruncatedAndCorruptPngs) {
    const Buf src = noise(31, 17, 8);  // noise does not compress: the data spans the file
    xfWritePng(src, file("ok.png"));
    const std::vector<unsigned char> good = bytesOf(file("ok.png"));
    ASSERT_GT(good.size(), 500u);
    for (std::size_t len : {std::size_t{0}, std::size_t{4}, std::size_t{8}, std::size_t{20},
                            std::size_t{40}, good.size() / 2, good.size() - 13, good.size() - 1}) {
        SCOPED_TRACE(testing::Message() << "len " << len);
        putBytes(file("cut.png"), std::vector<unsigned char>(good.begin(), good.begin() + len));
        expectIOError([&] { xfReadPng(file("cut.png")); }, {L"cut.png"});
        expectIOError([&] { xfReadImage(file("cut.png")); }, {L"cut.png"});
    }
    putBytes(file("cut.png"), std::vector<unsigned char>(good.begin(), good.begin() + 300));
    expectIOError([&] { xfReadPng(file("cut.png")); }, {L"PNG file '", L"truncated"});

    // A flipped bit in the compressed data fails its checksum.
    std::vector<unsigned char> flipped = good;
    flipped[good.size() / 2] ^= 0x10;
    putBytes(file("flip.png"), flipped);
    expectIOError([&] { xfReadPng(file("flip.png")); }, {L"flip.png"});

    std::vector<unsigned char> notPng = good;
    notPng[1] = 'Q';
    putBytes(file("sig.png"), notPng);
    expectIOError([&] { xfReadPng(file("sig.png")); }, {L"sig.png", L"not a PNG"});
    expectIOError([&] { xfReadImage(file("sig.png")); }, {L"sig.png", L"neither PNG nor"});

    // A header claiming 8000 x 8000 pixels over a few hundred bytes is refused before any
    // pixel memory is taken. (IHDR: width at 16, height at 20, CRC of bytes 12 .. 28 at 29.)
    std::vector<unsigned char> claim = good;
    for (int k = 0; k < 2; ++k) {
        claim[16 + 4 * k] = 0;
        claim[17 + 4 * k] = 0;
        claim[18 + 4 * k] = 0x1F;
        claim[19 + 4 * k] = 0x40;
    }
    const uLong crc = crc32(0L, claim.data() + 12, 17);
    for (int k = 0; k < 4; ++k) claim[29 + k] = static_cast<unsigned char>(crc >> (24 - 8 * k));
    putBytes(file("claim.png"), claim);
    expectIOError([&] { xfReadPng(file("claim.png")); }, {L"too short", L"8000 x 8000"});

    // The same through memory.
    EXPECT_TRUE(xfPelEqual(xfDecodePng(good.data(), good.size()), src));
    expectIOError([&] { xfDecodePng(good.data(), good.size() - 20); }, {L"PNG data"});
}

TEST_F(ImageFile, MissingFilesAndDirectories) {
    expectIOError([&] { xfReadPng(file("none.png")); }, {L"none.png", L"No such file"});
    expectIOError([&] { xfReadPgm(file("none.pgm")); }, {L"none.pgm", L"No such file"});
    expectIOError([&] { xfReadImage(file("none")); }, {L"No such file"});
    expectIOError([&] { xfReadImage(m_dir); }, {L"directory"});
}

TEST_F(ImageFile, FailedWritesLeaveNoFile) {
    const Buf src = noise(9, 4, 3);
    expectIOError([&] { xfWritePng(src, file("no_dir") / "x.png"); }, {L"x.png"});
    expectIOError([&] { xfWritePgm(src, file("no_dir") / "x.pgm"); }, {L"x.pgm"});
    fs::create_directory(file("occupied.png"));
    expectIOError([&] { xfWritePng(src, file("occupied.png")); }, {L"occupied.png"});
    EXPECT_TRUE(fs::is_directory(file("occupied.png")));
    EXPECT_EQ(listing(), std::vector<std::string>{"occupied.png"});  // no temporary left

    // Bad buffers fail before any file exists.
    Buf empty = src;
    empty.window(xcPelRect(2, 2, 0, 0));
    EXPECT_THROW(xfWritePng(empty, file("e.png")), xcBadArgument);
    EXPECT_THROW(xfWritePgm(empty, file("e.pgm")), xcBadArgument);
    EXPECT_THROW(xfWritePng(Buf(), file("u.png")), xcPel::UnboundWindow);
    EXPECT_EQ(listing(), std::vector<std::string>{"occupied.png"});

    // A successful write replaces an old file whole.
    xfWritePng(noise(50, 50, 1), file("r.png"));
    xfWritePng(src, file("r.png"));
    EXPECT_TRUE(xfPelEqual(xfReadPng(file("r.png")), src));
    EXPECT_EQ(listing(), (std::vector<std::string>{"occupied.png", "r.png"}));
}

namespace {

// A PNG chunk: length, type, data, CRC of type and data.
std::vector<unsigned char> pngChunk(const char type[4], const std::vector<unsigned char>& data) {
    std::vector<unsigned char> c;
    const auto put32 = [&](uLong v) {
        for (int k = 0; k < 4; ++k) c.push_back(static_cast<unsigned char>(v >> (24 - 8 * k)));
    };
    put32(data.size());
    c.insert(c.end(), type, type + 4);
    c.insert(c.end(), data.begin(), data.end());
    put32(crc32(0L, c.data() + 4, static_cast<uInt>(data.size() + 4)));
    return c;
}

}  // namespace

TEST_F(ImageFile, HostileFilesAreRefusedBeforeTheirPixels) {
    // Devices and FIFOs are refused without reading (a FIFO without a writer would block).
    ASSERT_EQ(::mkfifo(file("fifo").c_str(), 0600), 0);
    for (const fs::path& p : {fs::path("/dev/zero"), file("fifo")}) {
        SCOPED_TRACE(p.string());
        expectIOError([&] { xfReadImage(p); }, {L"not a regular file"});
        expectIOError([&] { xfReadPng(p); }, {L"not a regular file"});
        expectIOError([&] { xfReadPgm(p); }, {L"not a regular file"});
    }

    // A file above the size limit (sparse: it takes no disk) is refused from its size.
    {
        xfWritePng(noise(4, 4, 1), file("big.png"));
        fs::resize_file(file("big.png"), (std::uintmax_t{1} << 30) + 1);
        expectIOError([&] { xfReadImage(file("big.png")); },
                      {L"big.png", L"1073741825 bytes, more than the 1073741824"});
        fs::remove(file("big.png"));
    }

    // Content of another kind is refused from its first bytes, with each reader's message.
    putText(file("text.png"), "GIF89a and then a lot more");
    expectIOError([&] { xfReadImage(file("text.png")); }, {L"neither PNG nor binary PGM"});
    expectIOError([&] { xfReadPng(file("text.png")); }, {L"text.png", L"not a PNG image"});
    expectIOError([&] { xfReadPgm(file("text.png")); }, {L"text.png", L"not a binary PGM"});
    putText(file("short.png"), "\x89PNG");
    expectIOError([&] { xfReadImage(file("short.png")); }, {L"PNG file '", L"truncated"});

    // The pixel limit: a PGM header one column beyond 8192 x 8192 is refused from its header.
    putText(file("wide.pgm"), "P5\n8193 8192\n255\n\x01\x02");
    expectIOError([&] { xfReadImage(file("wide.pgm")); }, {L"8193 x 8192 pixels is too large"});

    // A 40 KB PNG claiming 16384 x 16384 pixels (1-bit grey): its size would fit such an image
    // of blank paper, but the pixel limit refuses it before the pixels are allocated.
    xfWritePng(noise(31, 17, 8), file("ok.png"));
    std::vector<unsigned char> claim = bytesOf(file("ok.png"));
    std::vector<unsigned char> ihdr(claim.begin() + 16, claim.begin() + 29);
    for (int k = 0; k < 2; ++k) {
        ihdr[4 * k + 2] = 0x40;
        ihdr[4 * k + 3] = 0;
    }
    ihdr[8] = 1;  // bit depth
    std::vector<unsigned char> png(claim.begin(), claim.begin() + 8);
    for (const auto& c :
         {pngChunk("IHDR", ihdr), pngChunk("prVt", std::vector<unsigned char>(40000, 0))})
        png.insert(png.end(), c.begin(), c.end());
    png.insert(png.end(), claim.begin() + 33, claim.end());
    putBytes(file("claim.png"), png);
    expectIOError([&] { xfReadImage(file("claim.png")); },
                  {L"claim.png", L"16384 x 16384 pixels is too large"});

    // A palette index beyond the palette is an error, not a colour.
    RawPng pal{5, 1, PNG_COLOR_TYPE_PALETTE, 2, false, {}, {}, {}};
    pal.palette = {{0, 0, 0}, {50, 60, 70}, {200, 10, 10}};
    pal.rows = {0b00011011, 0b00000000};  // indices 0 1 2 3 0
    ASSERT_TRUE(xf_TestWritePng(pal, file("pal.png")));
    expectIOError([&] { xfReadImage(file("pal.png")); },
                  {L"pal.png", L"palette index 3 at (3, 0) is beyond the palette of 3 entries"});
    pal.rows = {0b00011010, 0b00000000};  // indices 0 1 2 2 0
    ASSERT_TRUE(xf_TestWritePng(pal, file("pal.png")));
    EXPECT_EQ(row0(xfReadImage(file("pal.png"))),
              (std::vector<int>{0, luma(50, 60, 70), luma(200, 10, 10), luma(200, 10, 10), 0}));
}
