#!/usr/bin/env bash
# Conversion benchmark. Where perf is installed it records once (kept in build/benchmark/, reused on later runs)
# a system-wide recording of "perf bench sched pipe -l 300000" with the trace points sched:sched_switch and
# sched:sched_wakeup, writes its event database with plotwright-eventdb and converts it with a state plot of the
# running task per CPU (with a filter formula) and a number plot of the wakeup target CPU per thread. Without
# perf it converts the writer-made recording of 5,000,000 samples instead, and says so.
#
# It reports, each measured in this run on the page-cached file:
#   plotwright next to "perf script -F tid,time,trace" (best and median of several runs, by hyperfine),
#   samples/s and MB/s of the conversion, peak memory (maximum resident set) and bytes per plotted point above
#   a fixed 16 MB, the record walk alone next to cat, and the linear-growth check: writer-made recordings of
#   1 M, 5 M and 20 M samples must take the same time per sample within 15 %.
#
# The timed runs write their output to /dev/null, as perf script's goes there too: the figures are those of the
# programs, not of the disk. One more run writes the document to a scratch folder (in /dev/shm where there is
# one) to count its points and measure the peak memory.
#
# Usage: tools/benchmark.sh [runs]      (runs per timing, 5 by default; the 20 M conversion runs twice)
# It is a benchmark, not a test: it measures and reports, it never fails on a figure.
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-5}
dir=$(pwd)/build/benchmark
bin=$(pwd)/build/release
mkdir -p "$dir"

for tool in hyperfine /usr/bin/time; do
    if ! command -v "$tool" >/dev/null; then
        echo "benchmark: $tool is needed (Debian packages hyperfine and time)" >&2
        exit 1
    fi
done

cmake -S . -B "$bin" -DCMAKE_BUILD_TYPE=Release -DPLOTWRIGHT_TESTS=OFF >/dev/null
cmake --build "$bin" -j 2 --target plotwright plotwright-eventdb convbench readbench >/dev/null

scratch=$(mktemp -d "$( [ -d /dev/shm ] && echo /dev/shm || echo "$dir")/plotwright-bench.XXXXXX")
trap 'rm -rf "$scratch"' EXIT

report="$dir/results.txt"
: >"$report"
say() { printf "$@" | tee -a "$report"; }

# Best and median wall time and mean processor time (user and system, seconds) of hyperfine's CSV row for the
# named command. On a machine shared with other work the processor time is the steadier figure.
timing() { awk -F, -v n="$2" '$1 == n { print $7, $4, $5 + $6 }' "$1"; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.1f", a / b }'; }

# Plotted points of an output document: every point is an array that starts with a number.
points() { grep -o '\[[-0-9]' "$1" | wc -l; }

# Peak resident set of one run of the command, in kilobytes.
peak_kb() { /usr/bin/time -v "$@" 2>&1 >/dev/null | awk -F': ' '/Maximum resident set size/ { print $2 }'; }

# The writer-made recording of N samples in build/benchmark/synthetic-N, written anew when missing or written by an
# older version of the writer (files of version 1 had no FINISHED_ROUND records).
GENERATOR_VERSION=2
synthetic() {
    local sub="$dir/synthetic-$1"
    mkdir -p "$sub"
    if [ ! -s "$sub/bench.data" ] || [ "$(cat "$sub/generator" 2>/dev/null)" != "$GENERATOR_VERSION" ]; then
        "$bin/tools/convbench/convbench" generate "$sub" "$1" >/dev/null
        echo "$GENERATOR_VERSION" >"$sub/generator"
    fi
}

bytes_per_point() { awk -v kb="$1" -v n="$2" 'BEGIN { printf "%.1f", (kb * 1024 - 16 * 1048576) / n }'; }

# ---- The recording ----------------------------------------------------------------------------------------------
real=no
if command -v perf >/dev/null; then
    if [ ! -s "$dir/sched.data" ]; then
        echo "recording perf bench sched pipe -l 300000 (once; kept in $dir/sched.data)"
        if perf record -a -q -e sched:sched_switch -e sched:sched_wakeup -o "$dir/sched.data.new" \
            -- perf bench sched pipe -l 300000 >/dev/null 2>"$dir/record.log"; then
            mv "$dir/sched.data.new" "$dir/sched.data"
        else
            echo "perf record failed (see $dir/record.log)"
            rm -f "$dir/sched.data.new"
        fi
    fi
    [ -s "$dir/sched.data" ] && real=yes
fi

if [ $real = yes ]; then
    data="$dir/sched.data"
    "$bin/plotwright-eventdb" -o "$dir/sched-events.json" "$data"
    cat >"$dir/sched-channels.json" <<'EOF'
[
  {"id": "cpu-task", "name": "Task running on each CPU",
   "detail": {"type": "varnel2", "algorithm": "stateplot", "events": ["sched:sched_switch"],
              "pivotField": "common_cpu", "pivotPrefix": "CPU",
              "eventConfigs": [{"eventIndex": 0, "stateField": "next_pid",
                                "filterFormula": "$0 $1 != $1 0 >= &&", "filterFields": ["prev_pid", "next_pid"]}]}},
  {"id": "wakeup-target-cpu", "name": "CPU chosen for woken threads",
   "detail": {"type": "varnel2", "algorithm": "numberplot", "events": ["sched:sched_wakeup"],
              "valueField": "target_cpu", "pivotField": "pid", "pivotPrefix": "thread"}}
]
EOF
    conf="$dir/sched.conf"
    printf '{"eventDatabase": "%s", "inputPerfFile": "%s", "inputChannelFile": "%s", "log": {"level": "ERROR"}}\n' \
        "$dir/sched-events.json" "$data" "$dir/sched-channels.json" >"$conf"
    samples=$(perf script -i "$data" -F tid,time,trace 2>/dev/null | wc -l)
    say "input: %s, a real recording of perf bench sched pipe -l 300000\n" "$data"
else
    synthetic 5000000
    data="$dir/synthetic-5000000/bench.data"
    conf="$dir/synthetic-5000000/bench.conf"
    samples=5000000
    say "input: %s, the writer-made 5,000,000-sample recording: perf is not installed or cannot record here,\n" "$data"
    say "       so there is no recording of a real run and no perf script to compare with\n"
fi
size=$(stat -c %s "$data")
cat "$data" >/dev/null # into the page cache
say "file: %.1f MB, %d trace point samples\n\n" "$(awk -v s="$size" 'BEGIN { print s / 1e6 }')" "$samples"

# ---- The conversion next to perf script --------------------------------------------------------------------------
out="$scratch/out.json"
commands=(-n plotwright "$bin/plotwright -c $conf -o /dev/null")
if [ $real = yes ]; then
    commands+=(-n "perf script" "perf script -i $data -F tid,time,trace")
fi
hyperfine -N --style none --warmup 1 --runs "$runs" --export-csv "$dir/convert.csv" "${commands[@]}" >/dev/null 2>&1
read -r pw_best pw_median pw_cpu <<<"$(timing "$dir/convert.csv" plotwright)"
kb=$(peak_kb "$bin/plotwright" -c "$conf" -o "$out")
n_points=$(points "$out")
say "conversion (plotwright, Release): best %.3f s, median %.3f s, processor %.3f s\n" "$pw_best" "$pw_median" \
    "$pw_cpu"
say "  %.0f samples/s, %.1f MB/s (best run)\n" "$(awk -v n="$samples" -v t="$pw_best" 'BEGIN { print n / t }')" \
    "$(awk -v s="$size" -v t="$pw_best" 'BEGIN { print s / 1e6 / t }')"
say "  peak memory %.1f MB, %d points plotted, %s bytes per point above 16 MB (goal at most 40)\n" \
    "$(awk -v k="$kb" 'BEGIN { print k / 1024 }')" "$n_points" "$(bytes_per_point "$kb" "$n_points")"
if [ $real = yes ]; then
    read -r ps_best ps_median ps_cpu <<<"$(timing "$dir/convert.csv" "perf script")"
    say "perf script -F tid,time,trace: best %.3f s, median %.3f s, processor %.3f s\n" "$ps_best" "$ps_median" \
        "$ps_cpu"
    say "  ratio perf script / plotwright: %s best, %s median, %s processor time (goal at least 20)\n" \
        "$(ratio "$ps_best" "$pw_best")" "$(ratio "$ps_median" "$pw_median")" "$(ratio "$ps_cpu" "$pw_cpu")"
fi

# ---- The record walk next to cat ---------------------------------------------------------------------------------
hyperfine -N --style none --warmup 1 --runs "$runs" --export-csv "$dir/walk.csv" \
    -n walk "$bin/tools/convbench/convbench walk $data" -n cat "cat $data" >/dev/null 2>&1
read -r walk_best walk_median walk_cpu <<<"$(timing "$dir/walk.csv" walk)"
read -r cat_best cat_median cat_cpu <<<"$(timing "$dir/walk.csv" cat)"
say "\nrecord walk alone: best %.3f s (%.1f MB/s); cat: best %.3f s (%.1f MB/s)\n" "$walk_best" \
    "$(awk -v s="$size" -v t="$walk_best" 'BEGIN { print s / 1e6 / t }')" "$cat_best" \
    "$(awk -v s="$size" -v t="$cat_best" 'BEGIN { print s / 1e6 / t }')"
say "  walk speed / cat speed: %.3f best, %.3f median, %.3f processor time (goal at least 0.25)\n" \
    "$(awk -v a="$cat_best" -v b="$walk_best" 'BEGIN { print a / b }')" \
    "$(awk -v a="$cat_median" -v b="$walk_median" 'BEGIN { print a / b }')" \
    "$(awk -v a="$cat_cpu" -v b="$walk_cpu" 'BEGIN { print a / b }')"
say "readbench (writer-made 5 M samples): %s\n" "$("$bin/tools/readbench/readbench" | tail -1)"

# ---- Linear growth -----------------------------------------------------------------------------------------------
say "\nlinear growth (writer-made recordings, one number plot per thread, one filtered state plot per CPU):\n"
per_sample=()
per_sample_cpu=()
for n in 1000000 5000000 20000000; do
    synthetic "$n"
    sub="$dir/synthetic-$n"
    cat "$sub/bench.data" >/dev/null
    r=$runs
    [ "$n" -ge 20000000 ] && r=2
    hyperfine -N --style none --runs "$r" --export-csv "$sub/convert.csv" \
        -n plotwright "$bin/plotwright -c $sub/bench.conf -o /dev/null" >/dev/null 2>&1
    read -r best _ cpu <<<"$(timing "$sub/convert.csv" plotwright)"
    kb=$(peak_kb "$bin/plotwright" -c "$sub/bench.conf" -o "$scratch/out.json")
    np=$(points "$scratch/out.json")
    ns=$(awk -v t="$best" -v n="$n" 'BEGIN { printf "%.1f", t * 1e9 / n }')
    ns_cpu=$(awk -v t="$cpu" -v n="$n" 'BEGIN { printf "%.1f", t * 1e9 / n }')
    per_sample+=("$ns")
    per_sample_cpu+=("$ns_cpu")
    say "  %8d samples: best %.3f s, %s ns per sample (processor %s ns), peak %.1f MB, %s bytes per point above 16 MB\n" \
        "$n" "$best" "$ns" "$ns_cpu" "$(awk -v k="$kb" 'BEGIN { print k / 1024 }')" "$(bytes_per_point "$kb" "$np")"
    rm -f "$scratch/out.json"
done
spread() { printf '%s\n' "$@" | sort -g | awk 'NR == 1 { lo = $1 } { hi = $1 } END { printf "%.3f", hi / lo }'; }
say "  time per sample, largest / smallest: %s best wall time, %s processor time (goal at most 1.15)\n" \
    "$(spread "${per_sample[@]}")" "$(spread "${per_sample_cpu[@]}")"
say "\nresults kept in %s\n" "$report"
