#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan+UBSan) and runs each for a
# bounded time on its seed corpus; a crash, leak or hang fails the run and
# leaves the input in build/fuzz/artifacts/.
#   scripts/fuzz.sh [SECONDS]    (default 60 per target)
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
scripts/setup.sh
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target restore_fuzzer
mkdir -p build/fuzz/artifacts build/fuzz/corpus/restore
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
echo "== fuzz: restore_fuzzer for ${seconds}s =="
build/fuzz/bin/restore_fuzzer -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
  -artifact_prefix=build/fuzz/artifacts/ -print_final_stats=1 \
  build/fuzz/corpus/restore fuzz/corpus/restore 2>&1 | tail -n 20
status=${PIPESTATUS[0]}
if [ "$status" -ne 0 ]; then
  echo "fuzz: restore_fuzzer failed (exit $status); inputs in build/fuzz/artifacts/" >&2
  exit "$status"
fi
echo "fuzz: restore_fuzzer ran ${seconds}s without a finding"
