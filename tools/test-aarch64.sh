#!/usr/bin/env bash
# Cross-builds plotwright for aarch64 (Release, in build/aarch64) and runs the whole test suite under qemu-user,
# then converts the example recording with the aarch64 and the native build and requires the same bytes, also
# with a clock skew and offset that make every printed time the result of a multiply and an add.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh --tests
jobs=$(nproc)
build=build/aarch64
qemu=(qemu-aarch64 -L /usr/aarch64-linux-gnu)

rm -rf "$build"
cmake -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="$PWD/tools/aarch64-toolchain.cmake" -DCMAKE_BUILD_TYPE=Release
cmake --build "$build" -j "$jobs"
readelf -h "$build/plotwright" | grep -q AArch64 || { echo "$build/plotwright is not an aarch64 program" >&2; exit 1; }
# The leak checker cannot work under qemu-user: keep it off should a sanitizer build be run here. Every test gets
# a time limit, so that a hang fails the stage instead of stalling it.
(cd "$build" && ASAN_OPTIONS=detect_leaks=0 ctest --output-on-failure -j "$jobs" --timeout 300)

# The native conversion as tools/run-example.sh makes it (Release, build/release).
tools/run-example.sh >/dev/null
native=build/release/plotwright
out=build/example
status=0
# compare <name> [options...]: the example conversion on both targets, byte for byte.
compare() {
    local name=$1
    shift
    "$native" -c examples/plotwright.conf "$@" >"$out/$name-native.json"
    "${qemu[@]}" "$build/plotwright" -c examples/plotwright.conf "$@" >"$out/$name-aarch64.json"
    if cmp -s "$out/$name-native.json" "$out/$name-aarch64.json"; then
        echo "example $name: aarch64 output equals the native output ($(wc -c <"$out/$name-aarch64.json") bytes)"
    else
        echo "FAIL: example $name: aarch64 output differs from the native output:" >&2
        diff "$out/$name-native.json" "$out/$name-aarch64.json" | head -20 >&2 || true
        status=1
    fi
}
compare plain
compare skewed -A 1.000001 -B 0.5
compare shifted -A 0.999999937 -B -1234.567 -C 1990.6
exit "$status"
