#!/usr/bin/env bash
# Builds the release and makes the Debian package: build-package/ondrel-manager_<version>_amd64.deb.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
dir=${PACKAGE_BUILD_DIR:-build-package}
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF -DCMAKE_INSTALL_PREFIX=/usr >/dev/null
cmake --build "$dir" --parallel "$(nproc)"
(cd "$dir" && cpack -G DEB >/dev/null)
ls "$dir"/*.deb
