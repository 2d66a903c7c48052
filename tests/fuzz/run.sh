#!/usr/bin/env bash
# Builds the fuzz targets (fuzz preset, clang) and runs one of them for SECONDS seconds
# (default 60) on its working corpus build/fuzz/corpus/<target>, seeded with valid inputs and
# with the checked-in regression corpus tests/fuzz/corpus/<target>. Crashes, leaks, time-outs
# and over-limit allocations stop the run and leave their input under build/fuzz/artifacts/;
# such an input belongs in tests/fuzz/corpus/<target>/ once its defect is fixed.
# Usage: tests/fuzz/run.sh [TARGET] [SECONDS] [extra libFuzzer options...]
#   TARGET: archive (default), image, model, alphabet, key_set, line, line_arrangement, char,
#           arrange_params, arrange_results
set -euo pipefail
cd "$(dirname "$0")/../.."
target="${1:-archive}"
seconds="${2:-60}"
shift $(( $# < 2 ? $# : 2 ))
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "oc_fuzz_$target" archive_fuzz_seeds oc_fuzz_seeds
corpus="build/fuzz/corpus/$target"
artifacts="build/fuzz/artifacts/$target/"
mkdir -p "$corpus" "$artifacts" build/fuzz/seeds
if [ "$target" = archive ]; then
  build/fuzz/bin/archive_fuzz_seeds "$corpus"
else
  build/fuzz/bin/oc_fuzz_seeds build/fuzz/seeds
  cp -n build/fuzz/seeds/"$target"/* "$corpus"/
fi
cp -n tests/fuzz/corpus/"$target"/* "$corpus"/ 2>/dev/null || true
# Inputs up to 16 KiB: enough for the archive reader's nesting limit (128 objects of about
# 100 bytes each) and for images of a few thousand pixels.
# A 32 MB quarantine (default 256 MB) still holds far more freed memory than one execution of a
# 16 KiB input frees, so a use after free within an execution is caught; the default one made
# the allocator hand out fresh pages on every execution (a third of the CPU time of the archive
# targets). Five frames of allocation stack are enough to find the allocation in a report; the
# replay test (test_fuzz_corpus under the asan preset) gives the whole stack.
export ASAN_OPTIONS="detect_leaks=1:allocator_may_return_null=0:quarantine_size_mb=32:malloc_context_size=5:${ASAN_OPTIONS:-}"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1:${UBSAN_OPTIONS:-}"
exec "build/fuzz/bin/oc_fuzz_$target" "$corpus" -max_total_time="$seconds" -rss_limit_mb=2048 \
    -malloc_limit_mb=512 -max_len=16384 -timeout=10 -print_final_stats=1 \
    -artifact_prefix="$artifacts" "$@"
