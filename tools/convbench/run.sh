#!/usr/bin/env bash
# Times a whole conversion of a synthetic recording (default 5,000,000 samples, one number plot channel pivoted
# by thread id, one state plot channel per CPU with a filter formula) next to the record walk alone. Usage: tools/convbench/run.sh [samples]
set -euo pipefail
cd "$(dirname "$0")/../.."
samples=${1:-5000000}
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DPLOTWRIGHT_TESTS=OFF >/dev/null
cmake --build build/release -j 2 --target plotwright convbench >/dev/null
dir=$(pwd)/build/convbench
mkdir -p "$dir"
build/release/tools/convbench/convbench generate "$dir" "$samples"
# The file has just been written, so both runs read it from the page cache.
build/release/tools/convbench/convbench walk "$dir/bench.data"
start=$(date +%s.%N)
build/release/plotwright -c "$dir/bench.conf" -o "$dir/bench.json"
end=$(date +%s.%N)
awk -v s="$start" -v e="$end" -v b="$(wc -c <"$dir/bench.json")" \
    'BEGIN { printf "whole run:   %.3f seconds (output %d bytes)\n", e - s, b }' 
