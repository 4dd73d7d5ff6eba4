#!/usr/bin/env bash
# Installs what is missing, builds everything, and runs every test: the fuzzers' bounded run over
# the model-answer and timeline readers first, then the whole suite under CTest.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
bash scripts/build.sh
bash scripts/fuzz-analysis.sh "${FUZZ_SECONDS:-80}" > build/fuzz.log 2>&1 || {
    tail -n 40 build/fuzz.log
    echo "A fuzzer found a problem; see build/fuzz.log and build-fuzz/artifacts/." >&2
    exit 1
}
grep -E '^(== |stat::number_of_executed_units|Done)' build/fuzz.log || true
# The pipeline's lifetime under AddressSanitizer: core and that one test, in a folder of their own.
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DONDREL_ASAN=ON \
    -DONDREL_TEST_ONLY=core >/dev/null
cmake --build build-asan --target core_lifetime_tests
QT_QPA_PLATFORM=offscreen build-asan/tests/core/core_lifetime_tests
cd build
QT_QPA_PLATFORM=offscreen ctest --output-on-failure --parallel "$(nproc)" --timeout 600
