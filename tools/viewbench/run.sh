#!/usr/bin/env bash
# The viewer's benchmark. It records once (kept in build/viewbench; or takes the recording given as the first
# argument) a system-wide recording of "perf bench sched pipe -l 2500000" with sched:sched_switch and
# sched:sched_wakeup, converts it with the channels of tools/benchmark.sh (a state plot of the running task per CPU,
# a number plot of the wakeup target CPU per thread) and measures, each in this run:
#   plotwright-view writing the page next to plotwright converting the recording (goal: at most 1), its peak
#   memory next to the compact plot data's size (goal: at most 2), the page's size next to the plot data's (goal:
#   at most 1), and in headless Chromium the first drawing (goal: within 2 s) and every redraw after zooms and
#   pans from the whole range to a millionth of it (goal: within 16 ms);
# then it writes a 100-million-point document with the writer (viewbench make), its page (the data beyond the
# page's 256 MB in its data folder), and opens and zooms it in Chromium. "--no-100m" leaves that out.
# It is a benchmark, not a test: it measures and reports, it never fails on a figure.
# Usage: tools/viewbench/run.sh [recording.data] [--no-100m]
set -euo pipefail
cd "$(dirname "$0")/../.."
root=$(pwd)
dir=$root/build/viewbench
bin=$root/build/release
mkdir -p "$dir"
big=yes
recording=""
for arg in "$@"; do
    case "$arg" in
    --no-100m) big=no ;;
    *) recording=$arg ;;
    esac
done
tools/install-deps.sh >/dev/null
cmake -S . -B "$bin" -DCMAKE_BUILD_TYPE=Release -DPLOTWRIGHT_TESTS=OFF >/dev/null
cmake --build "$bin" -j 2 --target plotwright plotwright-eventdb plotwright-view viewbench >/dev/null

report="$dir/results.txt"
: >"$report"
say() { printf "$@" | tee -a "$report"; }
# Best wall time (s) and peak resident set (KB) of five runs of a command (the machine may be shared).
measure() {
    local best="" peak=0 i out
    for i in 1 2 3 4 5; do
        out=$(/usr/bin/time -f '%e %M' "$@" 2>&1 >/dev/null | tail -1)
        read -r t kb <<<"$out"
        if [ -z "$best" ] || awk -v a="$t" -v b="$best" 'BEGIN { exit !(a < b) }'; then best=$t; fi
        [ "$kb" -gt "$peak" ] && peak=$kb
    done
    echo "$best $peak"
}
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }
mb() { awk -v s="$1" 'BEGIN { printf "%.1f", s / 1048576 }'; }

# ---- the recording and its conversion -----------------------------------------------------------------------
if [ -z "$recording" ]; then
    recording=$dir/sched.data
    if [ ! -s "$recording" ]; then
        echo "recording perf bench sched pipe -l 2500000 (once; kept in $recording)"
        perf record -a -q -e sched:sched_switch -e sched:sched_wakeup -o "$recording.new" \
            -- perf bench sched pipe -l 2500000 >/dev/null 2>"$dir/record.log"
        mv "$recording.new" "$recording"
    fi
fi
"$bin/plotwright-eventdb" -o "$dir/sched-events.json" "$recording"
cat >"$dir/sched-channels.json" <<'JSON'
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
JSON
printf '{"eventDatabase": "%s", "inputPerfFile": "%s", "inputChannelFile": "%s", "log": {"level": "ERROR"}}\n' \
    "$dir/sched-events.json" "$recording" "$dir/sched-channels.json" >"$dir/sched.conf"
plot=$dir/sched-plot.json
page=$dir/sched-plot.html
cat "$recording" >/dev/null # into the page cache
read -r convert_s convert_kb <<<"$(measure "$bin/plotwright" -c "$dir/sched.conf" -o "$plot")"
plot_bytes=$(stat -c %s "$plot")
points=$(grep -o '\[[-0-9]' "$plot" | wc -l)
say "recording: %s, %s MB; plot data: %s MB (compact), %d points\n" "$recording" \
    "$(mb "$(stat -c %s "$recording")")" "$(mb "$plot_bytes")" "$points"
say "conversion (plotwright): best %.2f s, peak %s MB\n" "$convert_s" "$(mb $((convert_kb * 1024)))"

# ---- the page ---------------------------------------------------------------------------------------------------
read -r view_s view_kb <<<"$(measure "$bin/plotwright-view" -o "$page" "$plot")"
page_bytes=$(stat -c %s "$page")
say "page (plotwright-view): best %.2f s = %s of the conversion (goal at most 1)\n" "$view_s" "$(ratio "$view_s" "$convert_s")"
say "  peak memory %s MB = %s of the plot data's size (goal at most 2)\n" "$(mb $((view_kb * 1024)))" \
    "$(ratio $((view_kb * 1024)) "$plot_bytes")"
say "  page %s MB = %s of the plot data's size (goal at most 1)\n" "$(mb "$page_bytes")" "$(ratio "$page_bytes" "$plot_bytes")"
timing=$(node tools/viewbench/page-timing.js "$page")
say "  Chromium: %s\n" "$timing"
say "  (goals: first drawing within 2000 ms, every redraw within 16 ms)\n"

# ---- 100 million points ------------------------------------------------------------------------------------------
if [ $big = yes ]; then
    large=$dir/large-100m.json
    [ -s "$large" ] || "$bin/tools/viewbench/viewbench" make 100000000 "$large" 2
    large_bytes=$(stat -c %s "$large")
    read -r large_s large_kb <<<"$(/usr/bin/time -f '%e %M' "$bin/plotwright-view" -o "$dir/large-100m.html" "$large" 2>&1 >/dev/null | tail -1)"
    folder_bytes=$(du -sb "$dir/large-100m_files" 2>/dev/null | cut -f1 || echo 0)
    say "\n100 M points: plot data %s MB; page written in %.1f s, peak %s MB; page %s MB, data folder %s MB\n" \
        "$(mb "$large_bytes")" "$large_s" "$(mb $((large_kb * 1024)))" "$(mb "$(stat -c %s "$dir/large-100m.html")")" \
        "$(mb "${folder_bytes:-0}")"
    say "  Chromium: %s\n" "$(node tools/viewbench/page-timing.js "$dir/large-100m.html")"
fi
echo "results: $report"
