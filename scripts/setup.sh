#!/usr/bin/env bash
# Installs the Debian packages that building and testing qv_services needs,
# and only those that are missing. Safe to run again.
set -euo pipefail

# locales: the float formatter's tests compile a C locale with a ',' decimal
# point (de_DE) from its sources when none is installed.
packages=(g++ cmake ninja-build libicu-dev icu-devtools libexpat1-dev libtbb-dev
          libgtest-dev libgmock-dev libbenchmark-dev locales clang libclang-rt-14-dev
          rapidjson-dev)

missing=()
for pkg in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${db:Status-Status}' "$pkg" 2>/dev/null || true)
  [ "$status" = "installed" ] || missing+=("$pkg")
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all ${#packages[@]} packages are installed"
  exit 0
fi

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if command -v sudo >/dev/null 2>&1; then
    as_root=(sudo)
  else
    echo "setup: need root or sudo to install: ${missing[*]}" >&2
    exit 1
  fi
fi

echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
if ! "${as_root[@]}" apt-get update -qq >/dev/null; then
  echo "setup: apt-get update failed; cannot install: ${missing[*]}" >&2
  exit 1
fi
if ! "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null; then
  echo "setup: apt-get install failed for: ${missing[*]}" >&2
  exit 1
fi
echo "setup: installed ${missing[*]}"
