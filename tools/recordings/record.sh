#!/usr/bin/env bash
# Records the real perf recordings of tests/data/recordings/perf6 (run as root on Linux with perf and tracefs;
# python3 for perfdump.py) and writes beside each what `perf script` decodes from it. Tests only read the result.
# Usage: tools/recordings/record.sh [output folder, default tests/data/recordings/perf6]
set -euo pipefail
tools=$(cd "$(dirname "$0")" && pwd)
out=${1:-$tools/../../tests/data/recordings/perf6}
mkdir -p "$out"
cd "$out"
events=(-e sched:sched_switch -e sched:sched_wakeup)
# A short workload that sleeps and wakes; system-wide recordings also catch whatever else runs.
workload=(sh -c 'sleep 0.005; sleep 0.005')

listing() {
    perf script -i "$1.data" -F comm,tid,pid,cpu,time,event,trace --ns >"$1.script.txt" 2>/dev/null
}
record() {
    local name=$1
    shift
    rm -f "$name.data"
    perf record --synth=task "$@" -o "$name.data" -- "${workload[@]}" 2>/dev/null
    listing "$name"
}

record plain "${events[@]}" -a
record compressed -z "${events[@]}" -a
rm -f pipe.data
perf record --synth=task "${events[@]}" -a -o - -- "${workload[@]}" >pipe.data 2>/dev/null
listing pipe
record mixed -e cpu-clock -e sched:sched_switch -a
record callgraph -e sched:sched_switch -e 'sched:sched_wakeup/call-graph=fp/' -a
record readone -e 'sched:sched_switch:S' -a
record readgroup -e '{sched:sched_switch,sched:sched_wakeup}:S' -a

# Out of time order: perf and its workload start on CPU 1, a second task runs on CPU 0. perf writes CPU 0's buffer
# before CPU 1's, so CPU 1's first samples, the earliest of the recording, come after later ones of CPU 0. Retried
# until the first sample in the file is not the earliest one.
for attempt in 1 2 3 4 5 6 7 8 9 10; do
    rm -f order.data
    taskset -c 1 perf record "${events[@]}" -o order.data -- sh -c 'taskset -c 0 sh -c \
        "for i in 1 2 3 4 5 6; do sleep 0.01; done" & for i in 1 2 3 4 5 6; do sleep 0.01; done; wait' 2>/dev/null
    "$tools/perfdump.py" fileorder order.data >order.fileorder.txt
    first=$(head -n 1 order.fileorder.txt | cut -d' ' -f3)
    [ "$(sort -n -k3 order.fileorder.txt | head -n 1 | cut -d' ' -f3)" -lt "$first" ] && break
done
listing order

# Cut short: the plain recording ends inside a sample record in the middle of its data section.
cut_at=$("$tools/perfdump.py" cut plain.data plain.script.txt)
echo "plain.data cut at $cut_at bytes"
mv plain.script.txt.cut plain-cut.script.txt

# Killed: perf ended by SIGKILL leaves data size 0 and no feature sections. perf script cannot read such a file,
# so its listing comes from a repaired copy (data size set, the tracing data of plain.data added).
rm -f killed.data
perf record --synth=task -m 2 "${events[@]}" -a -o killed.data -- sleep 5 2>/dev/null &
perf_pid=$!
# perf writes the synthesized records first, then the samples each time a small buffer fills.
for i in $(seq 100); do [ "$(stat -c %s killed.data 2>/dev/null || echo 0)" -gt 16384 ] && break; sleep 0.1; done
sleep 0.3
kill -9 "$perf_pid"
wait "$perf_pid" 2>/dev/null || true
"$tools/perfdump.py" repair killed.data plain.data killed-repaired.data
perf script -i killed-repaired.data -F comm,tid,pid,cpu,time,event,trace --ns >killed.script.txt 2>/dev/null
rm -f killed-repaired.data
chmod 644 ./*.data
ls -l
uname -r
perf --version
