// Writes the seed corpora of the oc_fuzz_* targets: small valid inputs of every kind, one per
// file, into <dir>/<target name>/ for each target (the archive target's seeds come from
// archive_fuzz_seeds). Usage: oc_fuzz_seeds DIR
#include <png.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "oc/arrange/arrange_params.h"
#include "oc/arrange/arrange_results.h"
#include "oc/font/alphabet.h"
#include "oc/font/key_set.h"
#include "oc/font/line_arrangement.h"
#include "oc/font/model.h"
#include "oc/font/oc_line.h"
#include "oc/occhar/oc_char.h"
#include "platform/core/archive.h"
#include "platform/io/pgm_io.h"
#include "platform/io/png_io.h"
#include "png_writer.h"

namespace fs = std::filesystem;
using Bytes = std::vector<unsigned char>;
using Buffer = xcPelBuffer<unsigned char>;
using ModelHandle = xcPtrHandle_const<xcOCModel>;

namespace {

void put(const fs::path& path, const Bytes& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

template <class T>
Bytes stored(T& value) {
    xcArchive ar;
    ar || value;
    return ar.bytes();
}

Buffer pattern(long w, long h, int seed) {
    Buffer b(w, h);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x)
            b.set(x, y, static_cast<unsigned char>((seed + 7 * x * x + 13 * y) & 0xFF));
    return b;
}

void imageSeeds(const fs::path& dir) {
    put(dir / "grey.png", xfEncodePng(pattern(9, 5, 1)));
    put(dir / "grey.pgm", xfEncodePgm(pattern(7, 3, 2)));
    const std::string pgm16 =
        std::string("P5\n3 1\n1000\n") + std::string("\x01\xF4\x03\xE8\x00\x02", 6);
    put(dir / "grey16.pgm", Bytes(pgm16.begin(), pgm16.end()));
    const std::string pgm4 = std::string("P5 # c\n2 2\n15\n") + std::string("\x00\x07\x0f\x03", 4);
    put(dir / "grey4.pgm", Bytes(pgm4.begin(), pgm4.end()));
    // The variants the library never writes, through libpng directly.
    struct Variant {
        const char* name;
        RawPng png;
    };
    RawPng pal{5, 2, PNG_COLOR_TYPE_PALETTE, 2, false, {0b00011011, 0, 0b11100100, 0}, {}, {}};
    pal.palette = {{0, 0, 0}, {50, 60, 70}, {200, 10, 10}, {255, 255, 255}};
    pal.trns = {255, 0, 128};
    RawPng rgba{2, 2, PNG_COLOR_TYPE_RGB_ALPHA, 8, true, {}, {}, {}};
    for (int i = 0; i < 16; ++i) rgba.rows.push_back(static_cast<unsigned char>(i * 16));
    RawPng g16{3, 2, PNG_COLOR_TYPE_GRAY, 16, false, {}, {}, {}};
    for (int i = 0; i < 12; ++i) g16.rows.push_back(static_cast<unsigned char>(i * 20));
    RawPng g1{10, 2, PNG_COLOR_TYPE_GRAY, 1, true, {0b10110000, 0b01000000, 0xFF, 0xC0}, {}, {}};
    const Variant variants[] = {{"palette.png", pal},
                                {"rgba_adam7.png", rgba},
                                {"grey16.png", g16},
                                {"grey1_adam7.png", g1}};
    for (const Variant& v : variants) {
        const fs::path p = dir / v.name;
        if (!xf_TestWritePng(v.png, p)) std::fprintf(stderr, "cannot write %s\n", v.name);
    }
}

ModelHandle normal(long key, long w, long h, int seed, bool withMask) {
    const Buffer image = pattern(w, h, seed);
    if (!withMask)
        return ModelHandle(new xcOCModel(key, image, xcPelRect(0, 0, w, h), xcOCModel::eNormal,
                                         L"n" + std::to_wstring(key)));
    Buffer mask(w, h);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) mask.set(x, y, (x + y) % 3 ? 255 : 0);
    return ModelHandle(new xcOCModel(key, image, mask, xcPelRect(1, 1, w - 2, h - 2),
                                     xcOCModel::eNormal, L"masked", L"with a description"));
}

ModelHandle blank(long key) {
    return ModelHandle(new xcOCModel(key, xcPelBuffer_const<unsigned char>(),
                                     xcPelRect(0, 0, 6, 10), xcOCModel::eBlank, L"space"));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIR\n", argv[0]);
        return 2;
    }
    const fs::path root = argv[1];
    for (const char* name : {"image", "model", "alphabet", "key_set", "line", "line_arrangement",
                             "char", "arrange_params", "arrange_results"})
        fs::create_directories(root / name);

    imageSeeds(root / "image");

    const ModelHandle a = normal(65, 8, 10, 1, false), b = normal(66, 9, 10, 2, true),
                      c = normal(67, 8, 10, 3, false), space = blank(32);
    for (const auto& [name, m] :
         {std::pair{"normal", a}, std::pair{"masked", b}, std::pair{"blank", space}}) {
        xcPtrHandle_const<xcOCModel> h = m;
        put(root / "model" / name, stored(h));
    }

    xcPtrHandle_const<xcOCAlphabet> compiled(
        new xcOCAlphabet(xcOCAlphabet::ConstModels{a, b, c, space}, 0.4, true, L"font"));
    xcPtrHandle_const<xcOCAlphabet> raw(
        new xcOCAlphabet(xcOCAlphabet::ConstModels{a, space}, 0.5, false, L"raw"));
    put(root / "alphabet" / "compiled", stored(compiled));
    put(root / "alphabet" / "uncompiled", stored(raw));

    xcOCKeySet single({65, 66, 67}, 1), wild, several({65, 66, 32}, std::vector<long>{0, 2});
    several.confusionOverrides(65, {66, 67});
    put(root / "key_set" / "single", stored(single));
    put(root / "key_set" / "wildcard", stored(wild));
    put(root / "key_set" / "overrides", stored(several));

    const std::vector<xcOCKeySet> sets{single, wild, several, xcOCKeySet({32}, 0)};
    xcPtrHandle_const<xcOCLine> line(new xcOCLine(sets, compiled, xc2Rigid({10, 0}, xcRadian(0.01)),
                                                  1.0, 1.5, xcRadian(0.02), 0.03, L"line"));
    xcPtrHandle_const<xcOCLine> line2(
        new xcOCLine(std::vector<xcOCKeySet>{xcOCKeySet({65, 32}, 1), wild}, raw,
                     xc2Rigid({9, 1}, xcRadian(0)), 1.2, 0.0, xcRadian(0), 0.0, L"second"));
    put(root / "line" / "four_positions", stored(line));
    put(root / "line" / "two_positions", stored(line2));

    xcPtrHandle_const<xcOCLineArrangement> arrangement(
        new xcOCLineArrangement(xcOCLineArrangement::ConstLines{line, line2},
                                xc2Rigid({0, 20}, xcRadian(0)), 2.0, xcRadian(0.05), L"two lines"));
    put(root / "line_arrangement" / "two_lines", stored(arrangement));

    xcOCChar ch;
    ch.image(pattern(12, 14, 5), xcPelRect());
    ch.mask(pattern(12, 14, 6), xcPelRect());
    ch.normalizedImage(pattern(12, 14, 7), true, 120, false, xcPelRect());
    ch.imageArea(xcPelRect(1, 2, 9, 10));
    ch.name(L"A");
    ch.description(L"capital a");
    put(root / "char" / "full", stored(ch));
    xcOCChar empty;
    put(root / "char" / "empty", stored(empty));

    xcOCArrangeParams defaults, tuned;
    tuned.scaleRange(xcRange(0.8, 1.25));
    tuned.maxLines(2);
    tuned.lineType(xcOCArrangeDefs::eStraight);
    tuned.isTextDirectionSpecified(true);
    tuned.straightTextDirection(xcRadian(0.3));
    tuned.maxUnmatchedChars(1);
    tuned.orientationMode(xcOCArrangeDefs::eSpecified);
    tuned.lineBreakCost(3.5);
    tuned.maxCandidates(1000);
    tuned.timeout(0.5);
    put(root / "arrange_params" / "defaults", stored(defaults));
    put(root / "arrange_params" / "tuned", stored(tuned));

    xcOCArrangeResults none, found;
    xc_ArrangeResultsAccess::isFound(found, true);
    xc_ArrangeResultsAccess::arrangement(found, arrangement);
    xc_ArrangeResultsAccess::clientFromArrangementXform(found, xc2Rigid({3, 4}, xcRadian(0.1)));
    for (int i = 0; i < 6; ++i) {
        xc_ArrangeResultsAccess::statusFlags(found).push_back(i == 4 ? xcOCArrangeDefs::eInferred
                                                                     : xcOCArrangeDefs::eMatched);
        xc_ArrangeResultsAccess::scores(found).push_back(i == 4 ? 0.0 : 0.9 - 0.01 * i);
    }
    put(root / "arrange_results" / "none", stored(none));
    put(root / "arrange_results" / "found", stored(found));
    return 0;
}
