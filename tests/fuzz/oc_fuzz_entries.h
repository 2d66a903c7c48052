// The entry points of the fuzz targets, shared by the libFuzzer programs (clang, fuzz preset)
// and by the test that replays the checked-in corpus (tests/fuzz/replay, any compiler).
//
// Each entry reads arbitrary bytes as one kind of input and then exercises what a caller
// would do with the object read. Every failure must be an xcException, which the entry
// swallows; anything else (another exception, a crash, a leak, an allocation beyond the
// fuzzer's limit) is a defect.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

enum class xcFuzzTarget {
    eArchive,          // the archive reader's operand mix (archive_fuzz_ops.h)
    eImage,            // PNG or PGM bytes, through the decoders
    eModel,            // an archive holding a character model
    eAlphabet,         // an archive holding an alphabet
    eKeySet,           // an archive holding a key set (by value)
    eLine,             // an archive holding a line
    eLineArrangement,  // an archive holding a line arrangement
    eChar,             // an archive holding a character record
    eArrangeParams,    // an archive holding the arranger's parameters (by value)
    eArrangeResults,   // an archive holding the arranger's results (by value)
};

struct xcFuzzTargetInfo {
    xcFuzzTarget target;
    std::string_view name;  // program oc_fuzz_<name>, corpus tests/fuzz/corpus/<name>
};

inline constexpr xcFuzzTargetInfo kFuzzTargets[] = {
    {xcFuzzTarget::eArchive, "archive"},
    {xcFuzzTarget::eImage, "image"},
    {xcFuzzTarget::eModel, "model"},
    {xcFuzzTarget::eAlphabet, "alphabet"},
    {xcFuzzTarget::eKeySet, "key_set"},
    {xcFuzzTarget::eLine, "line"},
    {xcFuzzTarget::eLineArrangement, "line_arrangement"},
    {xcFuzzTarget::eChar, "char"},
    {xcFuzzTarget::eArrangeParams, "arrange_params"},
    {xcFuzzTarget::eArrangeResults, "arrange_results"},
};

// Runs one input through the target. Returns normally for good input and for input refused
// with an xcException; lets every other exception escape.
void xfFuzzOne(xcFuzzTarget target, const std::uint8_t* data, std::size_t size);
