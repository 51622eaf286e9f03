#!/usr/bin/env bash
# Line coverage of the library by the test programs (opt-in, not part of CI):
# a --coverage debug build in build/coverage, each test program run once at
# full size, and the executed library lines written to OUT.
#   scripts/coverage.sh OUT
#   scripts/coverage.sh --per-test DIR
# Compare two runs (say, before and after a change to the suites) with
#   scripts/coverage_lines.py compare BEFORE AFTER
# --per-test runs every test alone, two at a time (each with its own
# GCOV_PREFIX tree), writes DIR/PROGRAM@TEST with its lines and
# DIR/PROGRAM.json with the tests' places, then prints
# `coverage_lines.py bodies DIR`: which test bodies execute a line no other
# does, and which a greedy line cover could do without. About 35 minutes on
# two cores, after the build.
set -euo pipefail
usage() { sed -n '5,6p' "$0" | sed 's/^# *//' >&2; exit 2; }
per_test=0
if [ "${1:-}" = "--per-test" ]; then per_test=1; shift; fi
[ $# -eq 1 ] || usage
case "$1" in /*) out="$1" ;; *) out="$PWD/$1" ;; esac
cd "$(dirname "$0")/.."
command -v gcov >/dev/null || { echo "coverage.sh: gcov is missing (apt-get install gcc)" >&2; exit 1; }
build=build/coverage
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQVSV_BUILD_BENCH=OFF \
  -DCMAKE_C_FLAGS=--coverage -DCMAKE_CXX_FLAGS=--coverage \
  -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage >/dev/null
cmake --build "$build"
find "$build" -name '*.gcda' -delete

if [ "$per_test" -eq 0 ]; then
  for program in "$build"/bin/*_tests; do
    echo "== $(basename "$program")"
    "$program" --gtest_brief=1 >/dev/null || { echo "coverage.sh: $(basename "$program") failed" >&2; exit 1; }
  done
  python3 scripts/coverage_lines.py collect . "$build" "$out"
  exit 0
fi

# Worker W of 2 writes its counters below $out/gcov-W, beside copies of the
# notes files, so that two tests can run at once.
mkdir -p "$out"
absolute_build=$(cd "$build" && pwd)
for w in 1 2; do
  tree="$out/gcov-$w$absolute_build"
  rm -rf "$out/gcov-$w"
  (cd "$build" && find . -name '*.gcno' -exec sh -c 'mkdir -p "$1/$(dirname "$2")" && cp "$2" "$1/$2"' _ "$tree" {} \;)
done
for program in "$build"/bin/*_tests; do
  name=$(basename "$program")
  "$program" --gtest_list_tests --gtest_output="json:$out/$name.json" >/dev/null
  "$program" --gtest_list_tests | awk '/^[^ ]/ {suite = $1} /^  / {print suite $1}' >"$out/$name.list"
done
worker() {
  local w=$1 i=0 tree="$out/gcov-$1$absolute_build"
  for list in "$out"/*.list; do
    local name program
    name=$(basename "$list" .list)
    program="$build/bin/$name"
    while read -r test; do
      i=$((i + 1))
      [ $((i % 2 + 1)) -eq "$w" ] || continue
      find "$tree" -name '*.gcda' -delete
      GCOV_PREFIX="$out/gcov-$w" "$program" --gtest_filter="$test" >/dev/null 2>&1 ||
        echo "coverage.sh: $name $test failed" >&2
      python3 scripts/coverage_lines.py collect . "$tree" "$out/$name@${test//\//_}" >/dev/null
    done <"$list"
  done
}
worker 1 &
worker 2
wait
python3 scripts/coverage_lines.py bodies "$out"
