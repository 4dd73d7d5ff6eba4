#!/usr/bin/env bash
# Draws every screen with sample state into docs/screens/*.png (no Resolve, no services: a fake
# service on 127.0.0.1 stands in). By default in the real window, as an editor sees it: the xcb
# platform on an Xvfb the renderer starts itself, with the scene graph's OpenGL backend on Mesa.
# --offscreen draws headless with the software renderer instead (no X server needed).
#   scripts/render-screens.sh [--offscreen] [folder]
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR=${BUILD_DIR:-build}
mode=--window
if [ "${1:-}" = "--offscreen" ]; then
    mode=""
    shift
fi
bash scripts/build.sh >/dev/null
cmake --build "$BUILD_DIR" --target render_screens
if [ -n "$mode" ]; then
    "$BUILD_DIR/tools/screens/render_screens" --window "${1:-docs/screens}"
else
    QT_QPA_PLATFORM=offscreen "$BUILD_DIR/tools/screens/render_screens" "${1:-docs/screens}"
fi
