#!/usr/bin/env bash
# Draws every screen with sample state into docs/screens/*.png, headless (no display, no Resolve,
# no services: a fake service on 127.0.0.1 stands in).
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR=${BUILD_DIR:-build}
bash scripts/build.sh >/dev/null
cmake --build "$BUILD_DIR" --target render_screens
QT_QPA_PLATFORM=offscreen "$BUILD_DIR/tools/screens/render_screens" "${1:-docs/screens}"
