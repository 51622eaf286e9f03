#!/usr/bin/env bash
# Sets up, builds and runs the test suites: by default the release and the
# asan (AddressSanitizer + UndefinedBehaviorSanitizer) presets, then the
# string table's concurrency tests under ThreadSanitizer (tsan preset, only
# the suite that holds them).
#   scripts/test.sh [PRESET...]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
presets=("$@")
default_run=false
[ ${#presets[@]} -gt 0 ] || { presets=(release asan); default_run=true; }

for preset in "${presets[@]}"; do
  echo "== $preset: configure and build =="
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  echo "== $preset: test =="
  ctest --preset "$preset" -j "$(nproc)"
done

if $default_run; then
  echo "== tsan: string table concurrency =="
  cmake --preset tsan >/dev/null
  cmake --build --preset tsan --target qvsv_strings_tests
  ctest --preset tsan -R 'StringTableConcurrency' -j "$(nproc)"
fi
