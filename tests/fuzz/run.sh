#!/usr/bin/env bash
# Builds the archive fuzzer (fuzz preset, clang) and runs it for SECONDS seconds (default 60)
# on the corpus build/fuzz/corpus/archive, seeded with valid archives. Crashes, leaks and
# over-limit allocations stop the run and leave their input under build/fuzz/artifacts/.
# Usage: tests/fuzz/run.sh [SECONDS] [extra libFuzzer options...]
set -euo pipefail
cd "$(dirname "$0")/../.."
seconds="${1:-60}"
shift || true
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target archive_fuzz archive_fuzz_seeds
corpus=build/fuzz/corpus/archive
artifacts=build/fuzz/artifacts/
mkdir -p "$corpus" "$artifacts"
build/fuzz/bin/archive_fuzz_seeds "$corpus"
export ASAN_OPTIONS="detect_leaks=1:allocator_may_return_null=0:${ASAN_OPTIONS:-}"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1:${UBSAN_OPTIONS:-}"
exec build/fuzz/bin/archive_fuzz "$corpus" -max_total_time="$seconds" -rss_limit_mb=2048 \
    -malloc_limit_mb=512 -max_len=4096 -timeout=10 -print_final_stats=1 \
    -artifact_prefix="$artifacts" "$@"
