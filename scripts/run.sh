#!/usr/bin/env bash
# Installs what is missing, builds, and starts Ondrel Manager. Arguments go to the application;
# --demo first starts it with every outside service stood in on this machine (scripts/demo.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
bash scripts/build.sh
# The browser's sign-in returns through the "ondrel-manager" URL scheme: register this build.
bash scripts/register-desktop.sh build/src/app/ondrel-manager || echo "Could not register the URL scheme." >&2
if [ "${1:-}" = "--demo" ]; then
    shift
    exec bash scripts/demo.sh "$@"
fi
exec ./build/src/app/ondrel-manager "$@"
