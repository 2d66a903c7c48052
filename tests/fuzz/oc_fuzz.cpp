// libFuzzer program of one fuzz target, chosen at build time by OC_FUZZ_TARGET (an index into
// kFuzzTargets): oc_fuzz_<name>. See oc_fuzz_entries.h.
#include <cstddef>
#include <cstdint>

#include "tests/fuzz/oc_fuzz_entries.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    xfFuzzOne(kFuzzTargets[OC_FUZZ_TARGET].target, data, size);
    return 0;
}
