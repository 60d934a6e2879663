#!/usr/bin/env bash
# Builds the fuzz targets of tests/fuzz with clang's libFuzzer under ASan and UBSan (in build/fuzz) and runs
# each for the given number of seconds (default 60), starting from its committed corpus tests/fuzz/corpus/<name>.
# Prints executions and findings per target; exits non-zero when any target found something. Findings are kept
# in build/fuzz/findings/<name>/: once the fault is fixed, add the input to the target's corpus.
#
# Usage: tools/fuzz.sh [seconds] [target...]
# FUZZ_JOBS=2 runs two targets at a time (the default is one); FUZZ_BUILD names another build folder.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh --tests
seconds=${1:-60}
shift || true
jobs=${FUZZ_JOBS:-1}
build=${FUZZ_BUILD:-build/fuzz}

CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPLOTWRIGHT_FUZZ=ON \
    -DPLOTWRIGHT_TESTS=OFF >/dev/null
if [ $# -gt 0 ]; then
    targets=("$@")
else
    targets=()
    for source in tests/fuzz/*.cpp; do
        name=$(basename "$source" .cpp)
        [ "$name" = ReplayMain ] || targets+=("$name")
    done
fi
cmake --build "$build" -j "$(nproc)" --target "${targets[@]/#/fuzz_}" >/dev/null

# run <name>: fuzzes one target; new inputs go to a scratch corpus, the committed one is only read.
run() {
    local name=$1
    local work=$build/corpus/$name findings=$build/findings/$name
    rm -rf "$work" "$findings"
    mkdir -p "$work" "$findings"
    local status=0
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
        "$build/tests/fuzz/fuzz_$name" -max_total_time="$seconds" -timeout=25 -close_fd_mask=3 \
        -print_final_stats=1 -artifact_prefix="$findings/" "$work" "tests/fuzz/corpus/$name" \
        >"$build/$name.log" 2>&1 || status=$?
    local executions found
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$build/$name.log" | tail -1)
    found=$(find "$findings" -type f | wc -l)
    if [ "$status" -ne 0 ] && [ "$found" -eq 0 ]; then
        found=1 # died without leaving an input behind
    fi
    printf '%-16s %12s executions  %d findings\n' "$name" "${executions:-?}" "$found"
    if [ "$found" -ne 0 ]; then
        grep -m 3 -E '^(==[0-9]+==ERROR|SUMMARY|.*runtime error)' "$build/$name.log" | sed 's/^/    /' || true
        local input
        for input in $(find "$findings" -type f | head -3); do
            echo "    input: $input"
            # Replayed with its own messages shown (the fuzzing run closes the target's output).
            "$build/tests/fuzz/fuzz_$name" "$input" 2>&1 | grep -vE '^ *#|^INFO|^Running|^Executed|^NOTE|^ +Combine' |
                head -6 | cut -c1-160 | sed 's/^/      /' || true
        done
        echo "    log: $build/$name.log"
        return 1
    fi
}

echo "fuzzing ${#targets[@]} targets for $seconds s each, $jobs at a time"
failed=0
running=0
for name in "${targets[@]}"; do
    if [ "$running" -ge "$jobs" ]; then
        wait -n || failed=1
        running=$((running - 1))
    fi
    run "$name" &
    running=$((running + 1))
done
while [ "$running" -gt 0 ]; do
    wait -n || failed=1
    running=$((running - 1))
done
exit "$failed"
