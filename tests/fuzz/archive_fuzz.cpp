// libFuzzer target: reads arbitrary bytes as an archive of the operand mix of
// archive_fuzz_ops.h. Every failure must be an xcException; no crash, leak or unbounded
// allocation.
#include <cstddef>
#include <cstdint>
#include <span>

#include "tests/fuzz/archive_fuzz_ops.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    xcFuzzState st;
    try {
        xcArchive ar(std::span<const unsigned char>(data, size));
        for (int step = 0; step < 256 && !ar.atEnd(); ++step) {
            unsigned char op = 0;
            ar || op;
            xfFuzzExchangeStep(ar, static_cast<unsigned char>(op % kFuzzOps), st);
        }
    } catch (const xcException& e) {
        (void)e.what();
    }
    return 0;
}
