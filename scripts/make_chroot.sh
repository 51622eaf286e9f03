#!/usr/bin/env bash
# Makes a fresh Debian 12 (bookworm) minbase system in DIR with debootstrap,
# from the Debian mirror that this machine's apt uses, with the same apt
# sources a fresh installation has (main, updates, security). Nothing of the
# project is installed: that is the job of the scripts run inside it.
#   scripts/make_chroot.sh DIR
# Runs as root; installs debootstrap on this machine first when it is missing.
# QVSV_DEBIAN_MIRROR and QVSV_DEBIAN_SECURITY_MIRROR override the mirrors.
set -euo pipefail

if [ $# -ne 1 ]; then
  echo "usage: scripts/make_chroot.sh DIR" >&2
  exit 2
fi
dir=$1
if [ "$(id -u)" -ne 0 ]; then
  echo "make_chroot: debootstrap and chroot need root" >&2
  exit 1
fi
if [ -e "$dir" ] && [ -n "$(ls -A "$dir" 2>/dev/null)" ]; then
  echo "make_chroot: $dir exists and is not empty" >&2
  exit 1
fi

# The first URI (deb822 "URIs:" or one-line "deb URI") of apt's sources on
# this machine whose path ends in the given archive name.
host_mirror() {
  local archive=$1
  cat /etc/apt/sources.list /etc/apt/sources.list.d/*.sources /etc/apt/sources.list.d/*.list 2>/dev/null |
    sed -n -E -e 's/^URIs:[[:space:]]*//p' -e 's/^deb[[:space:]]+(\[[^]]*\][[:space:]]+)?//p' |
    tr ' \t' '\n\n' | grep -E "^(https?|file)://.*/${archive}/?$" | head -n 1 | sed 's:/*$::' || true
}

mirror=${QVSV_DEBIAN_MIRROR:-$(host_mirror debian)}
mirror=${mirror:-http://deb.debian.org/debian}
security=${QVSV_DEBIAN_SECURITY_MIRROR:-$(host_mirror debian-security)}
security=${security:-http://deb.debian.org/debian-security}

if ! command -v debootstrap >/dev/null 2>&1; then
  echo "make_chroot: installing debootstrap"
  DEBIAN_FRONTEND=noninteractive apt-get update -qq >/dev/null
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends debootstrap >/dev/null
fi

echo "make_chroot: debootstrap --variant=minbase bookworm $dir $mirror"
mkdir -p "$dir"
# A system's root is world-readable (mktemp makes 0700): apt's sandbox user
# and the test's users must reach everything below it.
chmod 755 "$dir"
if ! debootstrap --variant=minbase bookworm "$dir" "$mirror" >"$dir.debootstrap.log" 2>&1; then
  echo "make_chroot: debootstrap failed; its log:" >&2
  tail -n 30 "$dir.debootstrap.log" >&2
  exit 1
fi
rm -f "$dir.debootstrap.log"

cat >"$dir/etc/apt/sources.list" <<EOF
deb $mirror bookworm main
deb $mirror bookworm-updates main
deb $security bookworm-security main
EOF
# Name resolution for apt inside; everything else stays as debootstrap left it.
cp -L /etc/resolv.conf "$dir/etc/resolv.conf"
echo "make_chroot: Debian $(cat "$dir/etc/debian_version") in $dir"
