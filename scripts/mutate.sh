#!/usr/bin/env bash
# Mutation check (opt-in, not part of CI): applies each mutant of
# scripts/mutants.txt, one at a time, to a clean copy of the committed HEAD,
# rebuilds what the mutant's folder tests need and runs those test programs.
# A mutant is killed when a test program fails, crashes or runs past the time
# cap; it survives when every program passes.
#
#   scripts/mutate.sh [--only FOLDER[,FOLDER...]] [--ids ID[,ID...]]
#                     [--timeout SEC] [--out FILE]
#
# The copy and its build live in a fixed folder per checkout (QVSV_MUTATE_DIR,
# default /tmp/qvsv-mutate/<checkout folder name>) and are kept between runs
# so that each run builds only what changed; a lock there makes a second run
# from the same checkout wait for the first. QVSV_MUTATE_JOBS sets the
# build's parallelism (default 2). kills.txt there names the first failing
# test of each killed mutant.
set -euo pipefail

usage() {
  sed -n '8,9p' "$0" | sed 's/^# \{0,1\}//' >&2
  exit 2
}

only="" ids="" timeout_cap="" out=""
while [ $# -gt 0 ]; do
  case "$1" in
    --only) only="${2:?--only needs a folder list}"; shift 2 ;;
    --ids) ids="${2:?--ids needs an identifier list}"; shift 2 ;;
    --timeout) timeout_cap="${2:?--timeout needs seconds}"; shift 2 ;;
    --out) out="${2:?--out needs a file}"; shift 2 ;;
    -h|--help) usage ;;
    *) echo "mutate.sh: unknown argument '$1'" >&2; usage ;;
  esac
done
if [ -n "$timeout_cap" ] && ! [[ "$timeout_cap" =~ ^[0-9]+$ && "$timeout_cap" -gt 0 ]]; then
  echo "mutate.sh: --timeout must be a positive number of seconds, not '$timeout_cap'" >&2
  exit 2
fi

repo=$(git rev-parse --show-toplevel)
head=$(git -C "$repo" rev-parse HEAD)
work="${QVSV_MUTATE_DIR:-/tmp/qvsv-mutate/$(basename "$repo")}"
src="$work/src"
build="$src/build/release"
jobs="${QVSV_MUTATE_JOBS:-2}"
# Paths relative to the build folder make the copy's compilations hit the
# cache that the checkouts' own release builds filled.
export CCACHE_BASEDIR=/
if [ -n "$out" ]; then
  case "$out" in /*) ;; *) out="$PWD/$out" ;; esac
  : >"$out"
fi

mkdir -p "$work"
exec 9>"$work/lock"
if ! flock -n 9; then
  echo "mutate.sh: another run holds $work; waiting for it" >&2
  flock 9
fi

# The mutant list comes from the commit under test, not from the working tree.
list="$work/mutants.txt"
git -C "$repo" show "$head:scripts/mutants.txt" >"$list"

# The copy shares the repository's objects, so any commit of any worktree can
# be checked out in it; a checkout touches only the files that differ, which
# keeps the build incremental.
if ! git -C "$src" rev-parse --git-dir >/dev/null 2>&1 || ! git -C "$src" cat-file -e "$head^{commit}" 2>/dev/null; then
  rm -rf "$src"
  git clone -q --shared --no-checkout "$(git -C "$repo" rev-parse --path-format=absolute --git-common-dir)" "$src"
fi
git -C "$src" checkout -q -f --detach "$head"
git -C "$src" clean -q -fd

log() { printf '%s\n' "$*"; if [ -n "$out" ]; then printf '%s\n' "$*" >>"$out"; fi; }

programs_for() {
  case "$1" in
    errors) echo qvsv_errors_tests ;;
    feature) echo qvsv_feature_tests qvsv_allocation_sweep_tests ;;
    numeric) echo qvsv_numeric_tests ;;
    strings) echo qvsv_strings_tests ;;
    suppressor) echo qvsv_suppressor_tests ;;
    util) echo qvsv_util_tests ;;
    host) echo tessel_host_tests ;;
    tcos) if [ -n "$have_tcos" ]; then echo qvsv_tcos_tests; else echo qvsv_feature_tests; fi ;;
    # The module's entry points are driven by the shared diagnostics fixture
    # (util) and by the terminate and reload tests (feature).
    module) echo qvsv_util_tests qvsv_feature_tests ;;
    *) return 1 ;;
  esac
}

# Select the mutants of this run.
selected="$work/selected.txt"
awk -F'\t' -v only=",$only," -v ids=",$ids," '
  /^#/ || NF == 0 { next }
  NF != 6 { printf "mutate.sh: line %d of mutants.txt has %d fields, not 6\n", NR, NF > "/dev/stderr"; bad = 1; next }
  (only == ",," || index(only, "," $2 ",")) && (ids == ",," || index(ids, "," $1 ",")) { print }
  END { exit bad }' "$list" >"$selected"
if [ ! -s "$selected" ]; then
  echo "mutate.sh: no mutant matches --only '$only' --ids '$ids'" >&2
  exit 2
fi

cd "$src"
if [ ! -f "$build/build.ninja" ]; then
  # Tests are discovered when ctest runs, not after each link, so that a
  # mutant that breaks a test program's start is a kill and not a build error.
  cmake --preset release -DQVSV_BUILD_BENCH=OFF -DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST >"$work/configure.log" 2>&1 || {
    echo "mutate.sh: configuring the copy failed; see $work/configure.log" >&2
    exit 1
  }
fi
have_tcos=""
if grep -q '^build qvsv_tcos_tests: phony' "$build/build.ninja" 2>/dev/null; then have_tcos=1; fi

declare -A folder_programs
all_programs=""
while IFS=$'\t' read -r _ folder _ _ _ _; do
  if ! progs=$(programs_for "$folder"); then
    echo "mutate.sh: unknown folder '$folder' in mutants.txt" >&2
    exit 1
  fi
  folder_programs[$folder]="$progs"
  all_programs="$all_programs $progs"
done <"$selected"
all_programs=$(printf '%s\n' $all_programs | sort -u | tr '\n' ' ')

build_targets() {
  cmake --build "$build" -j "$jobs" --target "$@" >"$work/build.log" 2>&1
}

program_path() {
  find "$build/bin" "$build/tests" -maxdepth 2 -type f -name "$1" -perm -u+x 2>/dev/null | head -n 1
}

# run_program NAME CAP: 0 passes, 1 fails, 2 timed out; sets $caught to the
# test that failed. CTest runs each test in a process of its own, and a test
# may pass or fail only because of what an earlier one left behind, so the
# verdict is taken the CTest way: the program runs whole once (quick, and it
# names the likely killers), then those tests and all the others run alone
# until one fails. A survivor thus costs one process per test.
run_program() {
  local path
  path=$(program_path "$1")
  [ -n "$path" ] || { echo "mutate.sh: $1 was not built" >&2; return 1; }
  caught=""
  local status=0
  # The braces keep the shell's own "Segmentation fault" notices out of the log.
  { (cd "$(dirname "$path")" && timeout -k 5 "$2" "$path") </dev/null >"$work/test.log" 2>&1 || status=$?; } 2>/dev/null
  case $status in
    124|137) caught="(the whole program ran past ${2}s)"; return 2 ;;
  esac
  local suspects
  suspects=$({
    sed -n 's/^\[  FAILED  \] \([^ ,]*\.[^ ,]*\).*/\1/p' "$work/test.log"
    "$path" --gtest_list_tests </dev/null 2>/dev/null | awk '/^[^ ]/ { suite = $1; next } /^  / { print suite $1 }'
  } | awk '!seen[$0]++')
  local test
  for test in $suspects; do
    status=0
    { (cd "$(dirname "$path")" && timeout -k 5 "$2" "$path" --gtest_filter="$test") </dev/null >"$work/test-alone.log" 2>&1 \
      || status=$?; } 2>/dev/null
    case $status in
      0) ;;
      124|137) caught="$test (timed out)"; return 2 ;;
      *) caught="$test"; return 1 ;;
    esac
  done
  return 0
}

# The clean tree must build and pass, or no result would mean anything; its
# run times set each program's cap unless --timeout gives one.
echo "mutate.sh: building $head in $src" >&2
build_targets $all_programs || { echo "mutate.sh: the clean tree does not build; see $work/build.log" >&2; exit 1; }
declare -A cap
for program in $all_programs; do
  start=$(date +%s)
  if ! run_program "$program" 3600; then
    echo "mutate.sh: $program fails on the clean tree; see $work/test.log" >&2
    exit 1
  fi
  seconds=$(($(date +%s) - start))
  cap[$program]=${timeout_cap:-$((seconds * 5 + 20))}
done

restore=""
# Restored files get a new time, so that the build recompiles them (from
# ccache) instead of keeping the mutant's newer object.
restore_file() {
  mv "$restore.mutate-orig" "$restore"
  touch "$restore"
  restore=""
}
trap 'if [ -n "$restore" ]; then restore_file; fi' EXIT

killed=0 survived=0 broken=0 missing=0 survivors=""
: >"$work/kills.txt"
while IFS=$'\t' read -r -u 3 id folder file original replacement kind; do
  if [ ! -f "$file" ]; then
    log "$id $folder missing ($file does not exist)"
    missing=$((missing + 1))
    continue
  fi
  cp -p "$file" "$file.mutate-orig"
  restore="$file"
  if ! python3 - "$file" "$original" "$replacement" <<'EOF'; then
import sys
path, original, replacement = sys.argv[1:4]
with open(path, encoding="utf-8") as f:
    text = f.read()
count = text.count(original)
if count != 1:
    sys.stderr.write(f"mutate.sh: '{original}' occurs {count} times in {path}, not once\n")
    sys.exit(1)
with open(path, "w", encoding="utf-8") as f:
    f.write(text.replace(original, replacement))
EOF
    restore_file
    log "$id $folder missing (ORIGINAL not found exactly once in $file)"
    missing=$((missing + 1))
    continue
  fi

  result=""
  if ! build_targets ${folder_programs[$folder]}; then
    result="build-error"
    broken=$((broken + 1))
  else
    result="survived"
    for program in ${folder_programs[$folder]}; do
      status=0
      run_program "$program" "${cap[$program]}" || status=$?
      if [ $status -ne 0 ]; then
        # Which test caught it, for whoever reshapes the suites.
        printf '%s\t%s\t%s\n' "$id" "$program" "$caught" >>"$work/kills.txt"
      fi
      if [ $status -eq 1 ]; then result="killed"; break; fi
      if [ $status -eq 2 ]; then result="timeout(killed)"; break; fi
    done
    if [ "$result" = survived ]; then
      survived=$((survived + 1))
      survivors="$survivors $id"
    else
      killed=$((killed + 1))
    fi
  fi
  restore_file
  log "$id $folder $result"
done 3<"$selected"

built=$((killed + survived))
if [ $built -gt 0 ]; then
  rate=$(awk -v k=$killed -v b=$built 'BEGIN { printf "%.1f%%", 100 * k / b }')
else
  rate="n/a"
fi
log "commit $head"
log "killed $killed of $built built mutants ($rate); survived $survived; build errors $broken; missing $missing"
if [ -n "$survivors" ]; then log "survivors:$survivors"; fi
# A missing mutant means the list no longer matches the code: say so loudly.
if [ $missing -gt 0 ]; then
  echo "mutate.sh: $missing mutant(s) could not be applied; fix their ORIGINAL text in scripts/mutants.txt" >&2
  exit 1
fi
