#!/usr/bin/env bash
# Line coverage of the library by the test programs (opt-in, not part of CI):
# a --coverage debug build in build/coverage, each test program run once at
# full size, and the executed library lines written to OUT.
#   scripts/coverage.sh OUT
# Compare two runs (say, before and after a change to the suites) with
#   scripts/coverage_lines.py compare BEFORE AFTER
set -euo pipefail
[ $# -eq 1 ] || { sed -n '5p' "$0" | sed 's/^# *//' >&2; exit 2; }
case "$1" in /*) out="$1" ;; *) out="$PWD/$1" ;; esac
cd "$(dirname "$0")/.."
command -v gcov >/dev/null || { echo "coverage.sh: gcov is missing (apt-get install gcc)" >&2; exit 1; }
build=build/coverage
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQVSV_BUILD_BENCH=OFF \
  -DCMAKE_C_FLAGS=--coverage -DCMAKE_CXX_FLAGS=--coverage \
  -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage >/dev/null
cmake --build "$build"
find "$build" -name '*.gcda' -delete
for program in "$build"/bin/*_tests; do
  echo "== $(basename "$program")"
  "$program" --gtest_brief=1 >/dev/null || { echo "coverage.sh: $(basename "$program") failed" >&2; exit 1; }
done
python3 scripts/coverage_lines.py collect . "$build" "$out"
