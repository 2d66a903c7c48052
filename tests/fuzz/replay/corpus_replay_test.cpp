// Every file of the checked-in fuzz corpus runs through its target's entry point: no
// exception other than the library's own may escape (under the sanitizer build, no memory
// error or leak either).
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/fuzz/oc_fuzz_entries.h"

namespace fs = std::filesystem;

class FuzzCorpus : public ::testing::TestWithParam<xcFuzzTargetInfo> {};

TEST_P(FuzzCorpus, EveryInputEndsCleanly) {
    const fs::path dir = fs::path(OC_SOURCE_DIR) / "tests/fuzz/corpus" / GetParam().name;
    std::vector<fs::path> files;
    for (const auto& e : fs::directory_iterator(dir))
        if (e.is_regular_file()) files.push_back(e.path());
    std::sort(files.begin(), files.end());
    ASSERT_FALSE(files.empty()) << dir;
    for (const fs::path& f : files) {
        SCOPED_TRACE(f.filename().string());
        std::ifstream in(f, std::ios::binary);
        const std::vector<unsigned char> bytes(std::istreambuf_iterator<char>(in), {});
        try {
            xfFuzzOne(GetParam().target, bytes.data(), bytes.size());
        } catch (const std::exception& e) {
            ADD_FAILURE() << "escaped: " << e.what();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzCorpus, ::testing::ValuesIn(kFuzzTargets),
                         [](const auto& target) { return std::string(target.param.name); });
