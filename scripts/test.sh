#!/usr/bin/env bash
# Sets up, builds and runs the test suites: by default the release and the
# asan (AddressSanitizer + UndefinedBehaviorSanitizer) presets.
#   scripts/test.sh [PRESET...]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(release asan)

for preset in "${presets[@]}"; do
  echo "== $preset: configure and build =="
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  echo "== $preset: test =="
  ctest --preset "$preset" -j "$(nproc)"
done
