#!/usr/bin/env bash
# Lists the dynamic symbols that libqv_services.so and libtessel_host.so
# export (the project's own, demangled; instantiations of the standard
# library's templates left out) and compares them with symbols/*.txt.
#   scripts/check_symbols.sh [BUILD_DIR] [--update]
set -euo pipefail
cd "$(dirname "$0")/.."

build=build/release
update=0
for arg in "$@"; do
  case "$arg" in
    --update) update=1 ;;
    *) build=$arg ;;
  esac
done

status=0
for lib in qv_services tessel_host; do
  list="symbols/lib$lib.txt"
  current=$(nm -D --defined-only --extern-only "$build/lib/lib$lib.so" | awk '{print $3}' | c++filt |
            grep -v -E '^(std::|__gnu_cxx::|(typeinfo|typeinfo name|vtable|VTT|construction vtable) for std::)' |
            grep -v -E '^(guard variable for|non-virtual thunk to) std::' | LC_ALL=C sort -u)
  if [ "$update" -eq 1 ]; then
    mkdir -p symbols
    printf '%s\n' "$current" >"$list"
    echo "check_symbols: wrote $list ($(wc -l <"$list") symbols)"
    continue
  fi
  if ! diff -u "$list" <(printf '%s\n' "$current") >/tmp/check_symbols.$$ 2>&1; then
    echo "check_symbols: the exported interface of lib$lib.so changed; review and run scripts/check_symbols.sh --update:" >&2
    grep -E '^[-+][^-+]' /tmp/check_symbols.$$ >&2 || true
    status=1
  fi
  rm -f /tmp/check_symbols.$$
done
[ "$status" -eq 0 ] && [ "$update" -eq 0 ] && echo "check_symbols: the exported interface is as listed"
exit "$status"
