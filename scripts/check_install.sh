#!/usr/bin/env bash
# Installs the release build into a temporary prefix, builds the consumer
# example against the installed package and runs it, with no environment
# telling it where the catalogues are.
#   scripts/check_install.sh [BUILD_DIR]   (default build/release)
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build/release}
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null
cmake -S examples/consumer -B "$prefix/consumer-build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$prefix/consumer-build" >/dev/null
unset TESSEL_MESSAGE_PATH
output=$("$prefix/consumer-build/consumer")
echo "$output"
grep -q "is not the name of a testing hook" <<<"$output" || { echo "check_install: the installed catalogues were not found" >&2; exit 1; }
grep -q "listener heard (context 1)" <<<"$output" || { echo "check_install: the listener heard nothing" >&2; exit 1; }
"$prefix/bin/qvsv" message QV_SERVICES:utils:CAUSED_BY >/dev/null
echo "check_install: the installed package builds and runs a consumer"
