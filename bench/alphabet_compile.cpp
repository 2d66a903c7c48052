// Alphabet compilation: the digits, the capitals and a space of DejaVu Sans Mono at 28 pixels
// per em (37 characters: 36 trainings, 1260 sub-model runs, 36 blankness scores). Items are the
// ordered pairs of distinct characters measured.
//
// With --matrix=FILE the program also writes the compiled alphabet's confusion matrix, with its
// confusing pairs, to FILE (UTF-8) before running the benchmarks.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "oc/font/alphabet.h"
#include "oc/font/alphabet_report.h"
#include "tools/synth/font.h"
#include "tools/synth/glyph_model.h"

namespace {

using ConstModels = xcOCAlphabet::ConstModels;

const std::wstring kChars = L"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ ";

// One model per character, key = code point, name = the character; the space is a blank whose
// area is its cell in the glyphs' client frame.
ConstModels glyphModels(double pixelSize) {
    const xcSynthFont font(xcSynthFont::locate("DejaVuSansMono.ttf"));
    xcSynthGlyphParams params;
    params.pixelSize = pixelSize;
    params.tones.dark = 30.0;
    params.tones.light = 220.0;
    ConstModels models;
    for (wchar_t c : kChars) {
        const xcSynthGlyph g = xfSynthGlyphModel(font, static_cast<char32_t>(c), params);
        const long key = static_cast<long>(c);
        const std::wstring name(1, c);
        if (g.blank) {
            const xcPelRect cell(0, -g.cell.height(), g.cell.width(), g.cell.height());
            models.emplace_back(new xcOCModel(key, xcPelBuffer_const<unsigned char>(), cell,
                                              xcOCModel::eBlank, name));
        } else {
            models.emplace_back(new xcOCModel(key, g.image, g.cell, xcOCModel::eNormal, name));
        }
    }
    return models;
}

const ConstModels& models28() {
    static const ConstModels m = glyphModels(28.0);
    return m;
}

void BM_CompileMono28(benchmark::State& state) {
    const ConstModels& models = models28();
    for (auto _ : state) {
        xcOCAlphabet a(models, 0.5, false);
        a.compile();
        benchmark::DoNotOptimize(a.confusion(static_cast<long>(L'O'), static_cast<long>(L'0')));
    }
    const auto n = static_cast<std::int64_t>(models.size());
    state.SetItemsProcessed(state.iterations() * n * (n - 1));
}
// The rows run on worker threads: time by the wall clock.
BENCHMARK(BM_CompileMono28)->Unit(benchmark::kMillisecond)->UseRealTime();

// Writes the confusion matrix text of the compiled alphabet to `path`; false on failure.
bool writeMatrix(const char* path) {
    const xcOCAlphabet a(models28(), 0.5, true, L"DejaVu Sans Mono, 28 px per em");
    const std::wstring text = xf_ConfusionMatrix(&a, true);
    std::string bytes;
    for (wchar_t wc : text) {  // UTF-8
        const auto c = static_cast<std::uint32_t>(wc);
        if (c < 0x80) {
            bytes += static_cast<char>(c);
        } else if (c < 0x800) {
            bytes += static_cast<char>(0xC0 | (c >> 6));
            bytes += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            bytes += static_cast<char>(0xE0 | (c >> 12));
            bytes += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            bytes += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            bytes += static_cast<char>(0xF0 | (c >> 18));
            bytes += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            bytes += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            bytes += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    std::FILE* f = std::fopen(path, "wb");
    if (f == nullptr) return false;
    const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<char*> rest;
    for (int i = 0; i < argc; ++i) {
        if (i > 0 && std::strncmp(argv[i], "--matrix=", 9) == 0) {
            if (!writeMatrix(argv[i] + 9)) {
                std::fprintf(stderr, "cannot write %s\n", argv[i] + 9);
                return 1;
            }
            continue;
        }
        rest.push_back(argv[i]);
    }
    int n = static_cast<int>(rest.size());
    benchmark::Initialize(&n, rest.data());
    if (benchmark::ReportUnrecognizedArguments(n, rest.data())) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
