#!/usr/bin/env bash
# Installs the Debian package on a clean Debian it makes with debootstrap, and checks that it
# registers the sign-in URL scheme and that the installed binary runs. Needs root and a few minutes;
# not part of the test command.
#   sudo bash scripts/test-package.sh [path of the .deb]
set -euo pipefail
cd "$(dirname "$0")/.."
[ "$(id -u)" -eq 0 ] || { echo "Run as root: debootstrap and chroot need it." >&2; exit 1; }
command -v debootstrap >/dev/null || DEBIAN_FRONTEND=noninteractive apt-get install -y -qq debootstrap >/dev/null
deb=${1:-}
if [ -z "$deb" ]; then
    deb=$(bash scripts/package.sh | tail -n 1)
fi
deb=$(realpath "$deb")
root=$(mktemp -d -t ondrel-chroot-XXXXXX)
cleanup() {
    for m in proc sys dev; do umount -l "$root/$m" 2>/dev/null || true; done
    rm -rf "$root"
}
trap cleanup EXIT
mirror=$(sed -n 's/^URIs: *//p' /etc/apt/sources.list.d/debian.sources 2>/dev/null | head -n 1)
debootstrap --variant=minbase bookworm "$root" "${mirror:-http://deb.debian.org/debian}" >/dev/null
mount -t proc proc "$root/proc"
cp "$deb" "$root/tmp/"
chroot "$root" /bin/sh -c "apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq /tmp/$(basename "$deb") >/dev/null"
echo "URL scheme handler: $(chroot "$root" xdg-mime query default x-scheme-handler/ondrel-manager)"
echo "Installed binary: $(chroot "$root" ondrel-manager --version)"
[ "$(chroot "$root" xdg-mime query default x-scheme-handler/ondrel-manager)" = "ondrel-manager.desktop" ]
