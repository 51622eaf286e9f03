#!/usr/bin/env bash
# Validates the SARIF the library writes with the official SARIF validator
# (the SARIF multitool from the npm registry): the logs of the sample
# documents and of random diagnostic trees. Fails on any error-level result.
#   scripts/check_sarif.sh [BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/release}
version=5.7.0
tooldir=${QVSV_SARIF_TOOL_DIR:-${XDG_CACHE_HOME:-$HOME/.cache}/qvsv/sarif-multitool-$version}
multitool=$tooldir/node_modules/@microsoft/sarif-multitool-linux/Sarif.Multitool

if [ ! -x "$multitool" ]; then
  if ! command -v npm >/dev/null 2>&1; then
    as_root=()
    [ "$(id -u)" -eq 0 ] || as_root=(sudo)
    "${as_root[@]}" apt-get update -qq >/dev/null
    DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends nodejs npm >/dev/null
  fi
  mkdir -p "$tooldir"
  # Node trusts only its own certificates unless told; use the system's, which
  # hold any certificate authority this machine's network needs.
  if [ -z "${NODE_EXTRA_CA_CERTS:-}" ] && [ -r /etc/ssl/certs/ca-certificates.crt ]; then
    export NODE_EXTRA_CA_CERTS=/etc/ssl/certs/ca-certificates.crt
  fi
  npm install --prefix "$tooldir" --no-audit --no-fund --loglevel=error \
    "@microsoft/sarif-multitool-linux@$version" >/dev/null
  # The package's own install script sets this bit; npm may skip such scripts.
  chmod u+x "$multitool"
fi

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
for doc in examples/*.xml; do
  name=$(basename "$doc" .xml)
  # A sample that does not restore (malformed.xml) has no log to check.
  "$build/bin/qvsv" render --as sarif "$doc" >"$out/$name.sarif" 2>/dev/null || rm -f "$out/$name.sarif"
done
QVSV_SARIF_OUT=$out "$build/bin/qvsv_errors_tests" --gtest_filter='SarifForm.RandomTreesGiveOneResultPerItem' \
  >/dev/null
count=$(find "$out" -name '*.sarif' | wc -l)
[ "$count" -gt 3 ] || { echo "check_sarif: only $count logs were written" >&2; exit 1; }

report=$("$multitool" validate "$out"/*.sarif -o "$out/validation.json" 2>&1) || {
  echo "check_sarif: the validator failed to run:" >&2
  echo "$report" >&2
  exit 1
}
if ! grep -q "Done. $count files scanned" <<<"$report"; then
  echo "check_sarif: the validator did not scan all $count logs:" >&2
  echo "$report" >&2
  exit 1
fi
if grep -E ': error [A-Z]+[0-9]+' <<<"$report" >&2; then
  echo "check_sarif: the validator reported errors (above)" >&2
  exit 1
fi
echo "check_sarif: $count SARIF logs validate without errors"
