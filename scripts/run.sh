#!/usr/bin/env bash
# Installs what is missing, builds, and starts Ondrel Manager. Arguments go to the application.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
bash scripts/build.sh
exec ./build/src/app/ondrel-manager "$@"
