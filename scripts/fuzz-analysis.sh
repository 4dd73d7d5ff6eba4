#!/usr/bin/env bash
# Builds the fuzzers with clang and libFuzzer in a folder of their own, then runs each over its
# committed seeds for a share of a bounded time: the model-answer readers, then the four timeline
# readers (FCPXML, FCP 7 XML, OTIO, EDL). Exits non-zero when one finds a crash, a leak or a hang.
#   scripts/fuzz-analysis.sh [seconds]      (all of them together; default 80. FUZZ_BUILD_DIR
#                                            overrides build-fuzz)
set -euo pipefail
cd "$(dirname "$0")/.."

SECONDS_TO_RUN=${1:-${FUZZ_SECONDS:-80}}
BUILD_DIR=${FUZZ_BUILD_DIR:-build-fuzz}
CXX_COMPILER=${FUZZ_CXX:-clang++-14}
# Each fuzzer and its seeds.
FUZZERS=(
    "analysis_answer_fuzzer fuzz/corpus/analysis_answer"
    "fcpxml_reader_fuzzer fuzz/corpus/timeline_fcpxml"
    "fcp7xml_reader_fuzzer fuzz/corpus/timeline_fcp7xml"
    "otio_reader_fuzzer fuzz/corpus/timeline_otio"
    "edl_reader_fuzzer fuzz/corpus/timeline_edl"
)
SHARE=$(( SECONDS_TO_RUN / ${#FUZZERS[@]} ))
(( SHARE > 0 )) || SHARE=1

cmake -S fuzz -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_CXX_COMPILER="$CXX_COMPILER" >/dev/null
targets=()
for entry in "${FUZZERS[@]}"; do
    targets+=("${entry%% *}")
done
cmake --build "$BUILD_DIR" --target "${targets[@]}"

# New inputs go to a scratch folder, so the committed seeds stay as they are; crash inputs are kept
# in the build folder for a look afterwards.
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$BUILD_DIR/artifacts"

for entry in "${FUZZERS[@]}"; do
    fuzzer=${entry%% *}
    seeds=${entry#* }
    mkdir -p "$scratch/$fuzzer"
    echo "== $fuzzer for ${SHARE}s"
    "$BUILD_DIR/$fuzzer" "$scratch/$fuzzer" "$seeds" \
        -max_total_time="$SHARE" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
        -artifact_prefix="$BUILD_DIR/artifacts/$fuzzer-" -print_final_stats=1
done
