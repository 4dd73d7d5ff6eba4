#!/usr/bin/env bash
# Registers the built application with this user's desktop (~/.local/share/applications), so a
# browser sign-in ("ondrel-manager://callback?token=...") reaches it without an install.
#   scripts/register-desktop.sh <path of the ondrel-manager binary>
set -euo pipefail
cd "$(dirname "$0")/.."
binary=$(realpath "$1")
apps="${XDG_DATA_HOME:-$HOME/.local/share}/applications"
icons="${XDG_DATA_HOME:-$HOME/.local/share}/icons/hicolor/scalable/apps"
mkdir -p "$apps" "$icons"
cp data/ondrel-manager.svg "$icons/ondrel-manager.svg"
# The desktop file's Exec quotes its program the way the desktop entry format asks.
quoted=$(printf '%s' "$binary" | sed -e 's/[\\"`$]/\\&/g')
sed -e "s|^Exec=.*|Exec=\"$quoted\" %u|" data/ondrel-manager.desktop > "$apps/ondrel-manager.desktop"
if command -v update-desktop-database >/dev/null 2>&1; then
    update-desktop-database "$apps" >/dev/null 2>&1 || true
fi
if command -v xdg-mime >/dev/null 2>&1; then
    xdg-mime default ondrel-manager.desktop x-scheme-handler/ondrel-manager >/dev/null 2>&1 || true
fi
