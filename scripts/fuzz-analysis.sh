#!/usr/bin/env bash
# Builds the analysis fuzzer with clang and libFuzzer in a folder of its own, then runs it over the
# committed seeds for a bounded time. Exits non-zero when it finds a crash, a leak or a hang.
#   scripts/fuzz-analysis.sh [seconds]      (default 60; FUZZ_BUILD_DIR overrides build-fuzz)
set -euo pipefail
cd "$(dirname "$0")/.."

SECONDS_TO_RUN=${1:-${FUZZ_SECONDS:-60}}
BUILD_DIR=${FUZZ_BUILD_DIR:-build-fuzz}
CXX_COMPILER=${FUZZ_CXX:-clang++-14}
SEEDS=fuzz/corpus/analysis_answer

cmake -S fuzz -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_CXX_COMPILER="$CXX_COMPILER" >/dev/null
cmake --build "$BUILD_DIR" --target analysis_answer_fuzzer

# New inputs go to a scratch folder, so the committed seeds stay as they are; crash inputs are kept
# in the build folder for a look afterwards.
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$BUILD_DIR/artifacts"

"$BUILD_DIR/analysis_answer_fuzzer" "$scratch" "$SEEDS" \
    -max_total_time="$SECONDS_TO_RUN" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
    -artifact_prefix="$BUILD_DIR/artifacts/" -print_final_stats=1
