#!/usr/bin/env bash
# Records the small real recordings of tests/data/recordings/subsystems: trace points of the scheduler, interrupts,
# block I/O, power, system calls, timers and kernel memory (run as root on Linux with perf, tracefs and ping), and
# writes beside each what `perf script` decodes from it. Tests only read the result.
# Usage: tools/recordings/record-subsystems.sh [output folder, default tests/data/recordings/subsystems] [name...]
# With names (sched, irq, ...), records only those files again and keeps the others.
set -euo pipefail
tools=$(cd "$(dirname "$0")" && pwd)
out=${1:-$tools/../../tests/data/recordings/subsystems}
only=("${@:2}")
[ -d /sys/kernel/tracing/events ] || mount -t tracefs nodev /sys/kernel/tracing
mkdir -p "$out"
cd "$out"
scratch=$(mktemp -d /var/tmp/plotwright-recording.XXXXXX)
trap 'rm -rf "$scratch"' EXIT

# Every file stays below this size, and each of its trace points gets at least $min samples where the workload
# makes that many. The machine is shared: a run now and then catches a burst of other work (too big, or samples
# lost from the small buffers), so each recording is retried a few seconds later until it fits (see retry).
limit=150000
min=20
pages=8
want=()
events=()
# trace NAME...: the trace points of the next recording, as checked by complete and as perf record options.
trace() {
    want=("$@")
    events=()
    local event
    for event in "$@"; do events+=(-e "$event"); done
}

listing() {
    perf script -i "$1.data" -F comm,tid,pid,cpu,time,event,trace --ns >"$1.script.txt" 2>/dev/null
}
# perf prints some numbers of the trace text as symbols (call_site=kfree_skb+0x1c, function=hrtimer_wakeup), so the
# recordings with such fields also get NAME.fields.txt: every field as perf's Python scripting hands it over, numbers
# in decimal, in the layout of the listing.
cat >"$scratch/fields.py" <<'EOF'
def trace_unhandled(event_name, context, fields, sample):
    s = sample["sample"]
    values = " ".join(f"{k}={v}" for k, v in fields.items() if not k.startswith("common_"))
    print(f"{sample['comm']} {s['pid']}/{s['tid']} [{s['cpu']:03d}] {s['time'] // 10**9}.{s['time'] % 10**9:09d}: "
          f"{sample['ev_name']}: {values}")
EOF
fields() {
    perf script -i "$1.data" -s "$scratch/fields.py" >"$1.fields.txt" 2>/dev/null
}
# Samples of each trace point in the listing of NAME, one "count trace-point" line each.
counts() {
    awk '{ for (i = 1; i <= NF; i++) if ($i ~ /^[a-z_]+:[a-z_0-9]+:$/) { print substr($i, 1, length($i) - 1); break }
        }' "$1.script.txt" | sort | uniq -c
}
# complete NAME: no samples lost, and at least $min samples of each trace point in $want.
complete() {
    local name=$1 event stats
    stats=$(perf report -i "$name.data" --stats 2>/dev/null || true)
    [[ $stats != *LOST* ]] || return 1
    for event in "${want[@]}"; do
        [ "$(grep -c -F " $event: " "$name.script.txt")" -ge "$min" ] || return 1
    done
}
# selected NAME: whether this run records NAME (all when no names were given).
selected() {
    [ ${#only[@]} -eq 0 ] || [[ " ${only[*]} " == *" $1 "* ]]
}
# retry NAME COMMAND...: runs COMMAND (which writes NAME.data) until the recording is complete and below $limit
# bytes, at most 20 times; when none is that small, the smallest complete one stays (or else the last).
retry() {
    local name=$1 size best=
    shift
    selected "$name" || return 0
    for _ in $(seq 20); do
        rm -f "$name.data"
        "$@" >/dev/null 2>&1
        listing "$name"
        if complete "$name"; then
            size=$(stat -c %s "$name.data")
            [ "$size" -gt "$limit" ] || return 0
            if [ -z "$best" ] || [ "$size" -lt "$best" ]; then
                best=$size
                cp "$name.data" "$scratch/best.data"
            fi
        fi
        sleep 5
    done
    echo "$name.data: no attempt within $limit bytes with $min samples of each of ${want[*]}" >&2
    if [ -n "$best" ]; then
        mv "$scratch/best.data" "$name.data"
        listing "$name"
    fi
}
# record NAME PERF-RECORD-OPTIONS... -- WORKLOAD...
record() {
    local name=$1
    shift
    retry "$name" perf record --synth=task -m "$pages" -o "$name.data" "$@"
}

# A shell loop spins on every CPU while the workload runs. perf on this machine records nothing that happens on a
# CPU while its idle task runs (interrupts, softirqs, completions that arrive in idle are missing from the recording,
# though the kernel's own trace buffer has them), so the recordings of interrupts, block I/O and timers keep every
# CPU busy.
# shellcheck disable=SC2016 # the sh that runs it expands it
busy='pids=
for cpu in $(seq 0 $(($(nproc) - 1))); do taskset -c "$cpu" sh -c "while :; do :; done" & pids="$pids $!"; done
"$@"; status=$?; kill $pids; exit $status'

# Scheduler: perf bench's messaging forks 40 processes that never exec and pass messages over socket pairs; a loop
# of /bin/true before it adds forks with exec.
trace sched:sched_switch sched:sched_wakeup sched:sched_wakeup_new sched:sched_waking sched:sched_process_fork \
    sched:sched_process_exec sched:sched_process_exit sched:sched_migrate_task
min=10
record sched "${events[@]}" -a -- \
    sh -c 'for i in 1 2 3 4 5 6 7 8 9 10 11 12; do /bin/true; done; perf bench sched messaging -g 1 -l 1'
min=20

# Switches with wakings only: the kernel marks a task runnable through sched_waking, sched_wakeup left out.
trace sched:sched_switch sched:sched_waking
record sched-waking "${events[@]}" -a -- sh -c 'sleep 0.005; sleep 0.005; sleep 0.005; sleep 0.005'

# perf sched record chooses its own trace points and options (-a -R -c 1); perf sched timehist is the independent
# reference for the run time, wait time and scheduling delay of every thread. With every CPU busy no switch is lost
# to an idle CPU, so most threads have a complete story to compare; the recording is bigger for it.
trace sched:sched_switch sched:sched_waking sched:sched_stat_runtime sched:sched_process_fork
limit=250000
retry schedrecord perf sched record --synth=task -m 16 -o schedrecord.data -- sh -c "$busy" busy \
    perf bench sched messaging -g 1 -l 1
limit=150000
if selected schedrecord; then
    perf sched timehist -i schedrecord.data >schedrecord.timehist.txt 2>/dev/null
    perf sched timehist -s -i schedrecord.data >schedrecord.timehist-summary.txt 2>/dev/null
fi

# Interrupts: direct and synchronous writes to the disk raise the block device's hard interrupts, a flood ping over
# loopback raises the network softirqs.
trace irq:irq_handler_entry irq:irq_handler_exit irq:softirq_entry irq:softirq_exit irq:softirq_raise
pages=32
record irq "${events[@]}" -a -- sh -c "$busy" busy sh -c "dd if=/dev/zero of=$scratch/dd bs=64k count=8 \
    oflag=direct; ping -f -c 200 127.0.0.1; dd if=/dev/zero of=$scratch/dd bs=4k count=16 oflag=sync"
pages=8

# Block I/O: direct writes of several sizes, then writes through the page cache and a sync (which also writes back
# whatever else is dirty).
trace block:block_rq_insert block:block_rq_issue block:block_rq_complete
record block "${events[@]}" -a -- sh -c "$busy" busy sh -c "dd if=/dev/zero of=$scratch/dd bs=4k count=16 \
    oflag=direct; dd if=/dev/zero of=$scratch/dd bs=64k count=4 oflag=direct; dd if=/dev/zero of=$scratch/dd bs=1M \
    count=2 oflag=direct; dd if=/dev/zero of=$scratch/dd bs=4k count=8; sync"

# Power: a virtual machine enters idle but has no frequency scaling, so cpu_frequency may stay silent.
trace power:cpu_idle
record power "${events[@]}" -e power:cpu_frequency -a -- sh -c 'sleep 0.01; sleep 0.01; sleep 0.01'

# System calls of one command each, not system-wide.
trace raw_syscalls:sys_enter raw_syscalls:sys_exit
record syscalls "${events[@]}" -- ls /
trace
record syscalls-openat -e syscalls:sys_enter_openat -e syscalls:sys_exit_openat -- cat /etc/hostname /etc/os-release

# High resolution timers: ten sleeps of 2 ms, each under a timeout of a second whose timer is cancelled when the
# sleep ends; the busy CPUs add their ticks. expires and softexpires are absolute times in nanoseconds, far above
# 2^32.
trace timer:hrtimer_start timer:hrtimer_expire_entry timer:hrtimer_cancel
min=10
record timer "${events[@]}" -a -- sh -c "$busy" busy \
    sh -c 'for i in 1 2 3 4 5 6 7 8 9 10; do timeout 1 sleep 0.002; done'
selected timer && fields timer

# Kernel memory: call_site and ptr are kernel addresses.
trace kmem:kmalloc kmem:kfree
min=20
record kmem "${events[@]}" -a -- ls /
selected kmem && fields kmem

# Forks and execs of a shell running two commands; the exec's filename is a __data_loc text.
trace
record exec -e sched:sched_process_exec -e sched:sched_process_fork -a -- \
    sh -c 'ls / >/dev/null; cat /etc/hostname >/dev/null; true'

chmod 644 ./*.data
for name in *.data; do
    echo "${name%.data} $(stat -c %s "$name") bytes"
    counts "${name%.data}"
done
uname -r
perf --version
