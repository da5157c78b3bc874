#!/usr/bin/env bash
# Builds Quillet and runs the whole test suite twice: a normal build, then an AddressSanitizer +
# UndefinedBehaviorSanitizer build in which any sanitizer report fails the run. In between, each
# fuzz target runs for a few seconds (FUZZ_SECONDS, default 5; 0 skips it).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
jobs=$(nproc 2>/dev/null || echo 2)

echo "== normal build" >&2
scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo
ctest --test-dir build --output-on-failure -j "$jobs"

if [ "${FUZZ_SECONDS:-5}" != "0" ]; then
  echo "== fuzz smoke run" >&2
  for t in $(scripts/fuzz.sh --list); do
    FUZZ_LOG=0 scripts/fuzz.sh "$t" "${FUZZ_SECONDS:-5}"
  done
fi

echo "== sanitizer build" >&2
scripts/build.sh build-asan -DCMAKE_BUILD_TYPE=Debug -DQUILLET_SANITIZE=ON
export ASAN_OPTIONS=detect_leaks=1:halt_on_error=1:abort_on_error=0:detect_stack_use_after_return=1
export LSAN_OPTIONS="suppressions=$PWD/scripts/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
ctest --test-dir build-asan --output-on-failure -j "$jobs"

echo "== thread sanitizer (the tests that run several threads)" >&2
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQUILLET_TSAN=ON -DQUILLET_BUILD_BENCH=OFF -DQUILLET_WITH_QT=OFF >/dev/null
cmake --build build-tsan -j "$jobs" --target test_engine test_canvas
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 build-tsan/tests/test_engine --gtest_filter='Threads.*'
TSAN_OPTIONS=halt_on_error=1 build-tsan/tests/test_canvas --gtest_filter='PdfWriter.*Background*'
