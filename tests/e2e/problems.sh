#!/usr/bin/env bash
# Every mistake and every dropped sample is said where the user sees it: one line per problem on standard error at
# the end, naming the channel (or the file, the window, the argument), whatever the log says; --strict turns any
# such line into exit status 2; the document stays valid; a clean run says nothing and exits 0, also with --strict.
# Usage: problems.sh <plotwright binary> <source dir>
set -u
. "$(dirname "$0")/common.bash"
view=$(dirname "$bin")/plotwright-view
recordings=$src/tests/data/recordings
sched=$recordings/sched.data
cd "$work"

# The database of the recording, and a configuration that keeps the log in a file.
cp "$src/tests/data/e2e/events.json" events.json
conf() { printf '{"eventDatabase": "%s", "log": {"adapter": {"type": "file", "baseName": "log.txt"}}}\n' "$1" >"$2"; }
conf events.json run.conf

# channels <file> <channel>...: a channel file of the given channel objects.
channels() {
    local file=$1
    shift
    local IFS=,
    printf '[%s]\n' "$*" >"$file"
}
number() { # id event field [extra detail members]
    printf '{"id": "%s", "name": "%s", "detail": {"type": "varnel2", "algorithm": "numberplot", "events": ["%s"], "valueField": "%s", "pivotField": "common_cpu"%s}}' \
        "$1" "$1" "$2" "$3" "${4:-}"
}
state() { # id eventConfigs [extra detail members]
    printf '{"id": "%s", "detail": {"type": "varnel2", "algorithm": "stateplot", "events": ["sched:sched_switch", "sched:sched_wakeup"], "eventConfigs": [%s]%s}}' \
        "$1" "$2" "${3:-}"
}

# convert <name> <expected summary lines> args...: runs without and with --strict; the summary must be exactly
# the lines given, the exit status 0 and then 2 (0 both times when no line is expected), and the document valid.
convert() {
    local name=$1 expected=$2
    shift 2
    "$bin" "$@" -o "$name-out.json" >"$name.out" 2>"$name.err"
    local status=$?
    [ "$status" = 0 ] || fail "$name: exit status $status, expected 0"
    [ "$(cat "$name.err")" = "$expected" ] || fail "$name: the summary differs:
$(diff <(echo "$expected") "$name.err")"
    "$view" -o "$name.html" "$name-out.json" 2>"$name.view" || fail "$name: the document is not valid: $(cat "$name.view")"
    "$bin" --strict "$@" -o "$name-strict.json" >/dev/null 2>&1
    status=$?
    local want=2
    [ -n "$expected" ] || want=0
    [ "$status" = "$want" ] || fail "$name: with --strict the exit status is $status, expected $want"
}

# A clean run: nothing on standard error, status 0 also with --strict.
channels clean.json "$(number cpu-prio sched:sched_switch next_prio)"
convert clean "" -c run.conf -i "$sched" -l clean.json

# 1. An event database that contradicts the recording: ids swapped, a field moved. The channels that read them
#    are skipped, with an ERROR in the log; the one that reads only agreeing fields is converted.
sed -e 's/"id": 372/"id": 999/; s/"id": 374/"id": 372/; s/"id": 999/"id": 374/' events.json >swapped.json
conf swapped.json swapped.conf
channels mixed.json "$(number wakeup-cpu sched:sched_wakeup target_cpu)" "$(number fork-child sched:sched_process_fork child_pid)"
convert swapped 'plotwright: channel "wakeup-cpu": the event database contradicts the recording: the event database gives sched:sched_wakeup the id 372, the recording 374; the channel is skipped' \
    -c swapped.conf -i "$sched" -l mixed.json
grep -q 'ERROR 0x[0-9a-f]* The event database contradicts the recording: the event database gives sched:sched_wakeup the id 372' log.txt ||
    fail "swapped: no ERROR in the log"
grep -q '"Trace Event":"sched:sched_wakeup"' swapped-out.json && fail "swapped: the wakeup channel was fed"
grep -q '"Trace Event":"sched:sched_process_fork"' swapped-out.json || fail "swapped: the agreeing channel is missing"
awk '/"next_pid": \{/ { moved = 1 } moved && /"offset": 56/ { sub(/56/, "60"); moved = 0 } { print }' events.json >moved.json
conf moved.json moved.conf
channels moved-channels.json "$(number next sched:sched_switch next_pid)"
convert moved 'plotwright: channel "next": the event database contradicts the recording: field "next_pid" of sched:sched_switch: the event database reads it at offset 60, 4 bytes, signed, the recording has it at offset 56, 4 bytes, signed; the channel is skipped' \
    -c moved.conf -i "$sched" -l moved-channels.json

# 2. Channels that cannot be plotted, a channel file that is no list, an input that is no recording.
channels bad.json '{"id": "no-detail"}' '{"id": "other", "detail": {"type": "counter"}}' \
    '{"name": "Histogram", "detail": {"type": "varnel2", "algorithm": "histogram"}}' \
    "$(number unknown-event sched:sched_nothing prev_pid)" \
    "$(state no-configs '' ', "eventConfigs": []')" "$(number cpu-prio sched:sched_switch next_prio)"
convert bad 'plotwright: channel "no-detail": no "detail" object; the channel is skipped
plotwright: channel "other": "detail" "type" is "counter", not "varnel2"; the channel is skipped
plotwright: channel 3 of the list ("Histogram"): unknown algorithm "histogram" (known: numberplot, stateplot); the channel is skipped
plotwright: channel "unknown-event": the event database has no trace point sched:sched_nothing; the channel is skipped
plotwright: channel "no-configs": "detail" has no "eventConfigs": a state plot needs at least one; the channel is skipped' \
    -c run.conf -i "$sched" -l bad.json
echo '{"channels": []}' >object.json
convert object 'plotwright: channel file "object.json": its top level is not an array of channels: nothing is converted' \
    -c run.conf -i "$sched" -l object.json
head -c 300 /dev/zero >zero.data
convert notperf 'plotwright: recording "zero.data": cannot be read: Invalid header size recorded in perf file header.  Perf file corrupt.' \
    -c run.conf -i zero.data -l clean.json

# 3. Filters and states: a formula that is never evaluated, a configuration that never gets a sample, samples a
#    division by zero rejected.
never='{"eventIndex": 0, "stateField": "next_pid", "filterFormula": "$0 0 >"}'
shadowed='{"eventIndex": 0, "stateField": "prev_pid"}'
divide='{"eventIndex": 1, "stateField": "target_cpu", "filterFormula": "1 $0 /", "filterFields": ["target_cpu"]}'
channels filters.json "$(state filters "$never,$shadowed,$divide")"
convert filters 'plotwright: channel "filters": event configuration 1 (sched:sched_switch) has a "filterFormula" but no "filterFields": the formula is never evaluated and every sample passes
plotwright: channel "filters": event configuration 2 (sched:sched_switch) never receives a sample: event configuration 1 of the same trace point has no filter and takes every sample
plotwright: channel "filters": 39 samples were rejected because the filter formula divided by zero' \
    -c run.conf -i "$sched" -l filters.json
[ "$(grep -c "Filter execution error: Divide by zero" log.txt)" = 39 ] || fail "filters: the log lacks its lines"

# 4. Samples that could not be converted: a recording cut inside a sample.
head -c 47524 "$recordings/perf6/plain.data" >cut.data
convert cut 'plotwright: recording "cut.data": cut short or damaged: the last 7460 bytes of the data section are missing; the last record of the data is incomplete (20 of its 128 bytes are there)' \
    -c run.conf -i cut.data -l clean.json

# 5. A collection window without samples, and arguments that are not options.
convert window 'plotwright: collection window: no sample lies in [0.500000 s, 1.500000 s) (-s, -d): the recording'"'"'s samples run from 1990.646388 s to 1990.938659 s on the same clock' \
    -c run.conf -i "$sched" -l clean.json -s 0.5 -d 1
convert arguments 'plotwright: argument "sched.data": not an option: ignored (options begin with - or --)' \
    -c run.conf -i "$sched" -l clean.json sched.data

# 6. State values beyond 32 bits (timer expiry times in ns) are cut, and said so; the database comes from the recording.
printf '{"log": {"adapter": {"type": "file", "baseName": "log.txt"}}}\n' >own.conf
channels expiry.json '{"id": "expiry", "detail": {"type": "varnel2", "algorithm": "stateplot", "events": ["timer:hrtimer_start"], "pivotField": "common_cpu", "eventConfigs": [{"eventIndex": 0, "stateField": "expires"}]}}'
convert expiry 'plotwright: channel "expiry": 88 state values did not fit in 32 bits and were cut to their low 32 bits' \
    -c own.conf -i "$recordings/subsystems/timer.data" -l expiry.json

exit $((failures != 0))
