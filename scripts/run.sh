#!/usr/bin/env bash
# Installs what is missing, builds, and starts Ondrel Manager. Arguments go to the application.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
bash scripts/build.sh
# The browser's sign-in returns through the "ondrel-manager" URL scheme: register this build.
bash scripts/register-desktop.sh build/src/app/ondrel-manager || echo "Could not register the URL scheme." >&2
exec ./build/src/app/ondrel-manager "$@"
