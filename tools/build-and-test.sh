#!/usr/bin/env bash
# Builds plotwright from scratch and runs every test: first a normal build, then one under
# AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh --tests
jobs=$(nproc)

run() {
    local dir=$1
    shift
    rm -rf "$dir"
    cmake -S . -B "$dir" "$@"
    cmake --build "$dir" -j "$jobs"
    (cd "$dir" && ctest --output-on-failure -j "$jobs") || failed=1
}
failed=0

run build/test -DCMAKE_BUILD_TYPE=RelWithDebInfo
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run build/sanitize -DCMAKE_BUILD_TYPE=Debug -DPLOTWRIGHT_SANITIZE=ON
# Then every fuzz target for a minute (two at a time), failing on any finding, the whole test suite on aarch64
# under qemu-user with the example conversion compared byte for byte with the native one, and the programs
# installed with cmake --install and as a Debian package. Every stage runs; the script fails when any of them failed.
FUZZ_JOBS=2 tools/fuzz.sh 60 || failed=1
tools/test-aarch64.sh || failed=1
tools/test-install.sh || failed=1
exit "$failed"
