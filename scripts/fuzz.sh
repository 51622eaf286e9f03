#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan+UBSan), replays every kept
# finding (fuzz/regressions/NAME), then runs each target for a bounded time on
# its seed corpus (fuzz/corpus/NAME). A crash, leak, hang or broken property
# fails the run and leaves the input in build/fuzz/artifacts/.
#   scripts/fuzz.sh [SECONDS] [TARGET...]
# SECONDS is the time per target (default 40), cut so that all the targets
# together take at most QVSV_FUZZ_BUDGET seconds (default 300; CI runs
# `scripts/fuzz.sh 60`, which thus stays within about five minutes). Corpus
# growth goes to build/fuzz/corpus/NAME, outside the repository.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-40}
shift || true
all_targets=(restore json_restore regexp wide_string conversions catalog host_expression tcos_expression suppressions float_input)
if [ "$#" -gt 0 ]; then targets=("$@"); else targets=("${all_targets[@]}"); fi
budget=${QVSV_FUZZ_BUDGET:-300}
per_target=$(( budget / ${#targets[@]} ))
if [ "$seconds" -gt "$per_target" ]; then seconds=$per_target; fi
if [ "$seconds" -lt 1 ]; then seconds=1; fi

scripts/setup.sh
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "${targets[@]/%/_fuzzer}"
mkdir -p build/fuzz/artifacts
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

fail() {
  echo "fuzz: $1 failed (exit $2); inputs in build/fuzz/artifacts/" >&2
  exit "$2"
}

for name in "${targets[@]}"; do
  fuzzer=build/fuzz/bin/${name}_fuzzer
  common=(-timeout=10 -rss_limit_mb=2048 -max_len=65536 -artifact_prefix=build/fuzz/artifacts/${name}-)
  regressions=fuzz/regressions/$name
  if compgen -G "$regressions/*" >/dev/null; then
    echo "== fuzz: $name, replaying $(ls "$regressions" | wc -l) kept findings =="
    set +e
    "$fuzzer" "${common[@]}" "$regressions"/* 2>&1 | tail -n 3
    status=${PIPESTATUS[0]}
    set -e
    [ "$status" -eq 0 ] || fail "$name (a kept finding)" "$status"
  fi
  echo "== fuzz: $name for ${seconds}s =="
  mkdir -p "build/fuzz/corpus/$name"
  set +e
  "$fuzzer" "${common[@]}" -max_total_time="$seconds" -print_final_stats=1 \
    "build/fuzz/corpus/$name" "fuzz/corpus/$name" 2>&1 | tail -n 12
  status=${PIPESTATUS[0]}
  set -e
  [ "$status" -eq 0 ] || fail "$name" "$status"
  echo "fuzz: $name ran ${seconds}s without a finding"
done
