#!/usr/bin/env bash
# Conversions of a real recording: the output against the checked-in expectation, repeatability, the compact and
# pretty layouts, appending, the log kept off a document on standard output and the runs that find nothing to do.
# Usage: convert.sh <plotwright binary> <source dir>
set -u
. "$(dirname "$0")/common.bash"
export E2E_DATA=$src/tests/data/e2e
export E2E_RECORDINGS=$src/tests/data/recordings
expected=$E2E_DATA/sched-expected.json
cd "$work"

completed='^[A-Z][a-z]{2} [0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3} \[main\]: INFO Conversion completed in [0-9]+\.[0-9]{6} seconds\.$'

# run <name> args...: runs the program, keeping stdout in <name>.log and stderr in <name>.err; must succeed.
run() {
    local name=$1
    shift
    "$bin" "$@" >"$name.log" 2>"$name.err"
    local status=$?
    [ "$status" = 0 ] || fail "$name: exit status $status: $(cat "$name.log" "$name.err")"
    grep -qE "$completed" "$name.log" || fail "$name: no completion line in [$(cat "$name.log")]"
}

sed 's/^{/{"whitespace": true,/' "$E2E_DATA/plotwright.conf" >pretty.conf

# The pretty output is the checked-in expectation, byte for byte; a second run gives the same bytes.
run pretty -c pretty.conf -o pretty.json
cmp -s pretty.json "$expected" || fail "output differs from $expected: $(diff pretty.json "$expected" | head -20)"
run again -c pretty.conf -o again.json
cmp -s pretty.json again.json || fail "two runs gave different output"

# The channels that cannot be used are reported in the log and, one line each, on standard error; the run still
# succeeds.
grep -q '\[PerfInputRunner\]: WARN 0x[0-9a-f]* Could not load algorithm from channel \[unknown-algorithm\] Skipped, skipping\.\.\.$' pretty.log ||
    fail "the channel with an unknown algorithm is not reported"
grep -q '\[NumberPlotAlgorithm\]: ERROR 0x[0-9a-f]* Configuration Error: Cannot find field \[sched:sched_switch:no_such_field\] in the store\.$' pretty.log ||
    fail "the channel with an unknown field is not reported"
[ "$(cat pretty.err)" = 'plotwright: channel "not-a-trace-point-channel": "detail" "type" is "counter", not "varnel2"; the channel is skipped
plotwright: channel "unknown-algorithm": unknown algorithm "histogram" (known: numberplot, stateplot); the channel is skipped
plotwright: channel "bad-field": "valueField": sched:sched_switch has no field "no_such_field" in the event database; the channel is skipped' ] ||
    fail "unexpected stderr: $(cat pretty.err)"

# Compact output: one line, the same document up to whitespace.
run compact -c "$E2E_DATA/plotwright.conf" -o compact.json
[ "$(wc -l <compact.json)" = 0 ] || fail "compact output has line breaks"
[ "$(tr -d ' \n' <compact.json)" = "$(tr -d ' \n' <pretty.json)" ] || fail "compact and pretty output differ"

# -a appends to the -o file; without it the file is overwritten.
run first -c "$E2E_DATA/plotwright.conf" -o appended.json
run second -c "$E2E_DATA/plotwright.conf" -o appended.json -a
[ "$(cat appended.json)" = "$(cat compact.json compact.json)" ] || fail "-a did not append"
run third -c "$E2E_DATA/plotwright.conf" -o appended.json
cmp -s appended.json compact.json || fail "-o without -a did not overwrite"

# "outputFile" and "appendOutput" from the configuration; -a alone does not override "appendOutput".
sed 's|^{|{"outputFile": "configured.json", "appendOutput": true,|' "$E2E_DATA/plotwright.conf" >append.conf
sed 's|^{|{"outputFile": "configured.json",|' "$E2E_DATA/plotwright.conf" >overwrite.conf
run configured1 -c append.conf
run configured2 -c append.conf
[ "$(cat configured.json)" = "$(cat compact.json compact.json)" ] || fail "\"appendOutput\" did not append"
run configured3 -c overwrite.conf -a
cmp -s configured.json compact.json || fail "-a without -o changed \"appendOutput\""

# Without an output file and without a log adapter the document goes to standard output alone and the log to
# standard error, so that the document can be piped on.
"$bin" -c "$E2E_DATA/plotwright.conf" >shared.json 2>shared.err || fail "shared: exit status $?"
cmp -s shared.json compact.json || fail "standard output is not the document alone: $(head -c 300 shared.json)"
grep -qE "[0-9]{3} \[main\]: INFO Conversion completed in [0-9.]+ seconds\.$" shared.err ||
    fail "the log is not on standard error: $(cat shared.err)"
if [ -x "$(dirname "$bin")/plotwright-view" ]; then
    "$bin" -c "$E2E_DATA/plotwright.conf" 2>/dev/null | "$(dirname "$bin")/plotwright-view" -o piped.html - ||
        fail "plotwright ... | plotwright-view -o piped.html - failed"
    [ -s piped.html ] || fail "no page from the piped document"
fi

# No usable channel, or no common_type field: an empty document, status 0.
echo '[{"detail": {"type": "other"}}]' >nochannels.json
run empty -c "$E2E_DATA/plotwright.conf" -l nochannels.json -o empty.json
[ "$(cat empty.json)" = "[]" ] || fail "no algorithm: output [$(cat empty.json)], expected []"
grep -q '\[PerfInputRunner\]: INFO 0x[0-9a-f]* No algorithms found, aborting$' empty.log || fail "no 'No algorithms found' line"
echo '{"events": {}}' >nocommon.json
echo '{"eventDatabase": "nocommon.json", "inputPerfFile": "${E2E_RECORDINGS}/sched.data"}' >nocommon.conf
run nocommon -c nocommon.conf -l "$E2E_DATA/channels.json" -o nocommon.json
[ "$(cat nocommon.json)" = "[]" ] || fail "no common_type: output [$(cat nocommon.json)], expected []"
grep -q 'INFO 0x[0-9a-f]* Could not find common_type field in event database, aborting$' nocommon.log ||
    fail "no 'Could not find common_type' line"

# An input that is not a perf.data file: the reader's error is logged, the document is closed, status 0.
head -c 300 /dev/zero >zero.data
run notperf -c "$E2E_DATA/plotwright.conf" -i zero.data -o notperf.json
[ "$(cat notperf.json)" = "[]" ] || fail "unreadable input: output [$(cat notperf.json)], expected []"
grep -q '\[PerfRecordFileReader\]: ERROR Invalid header size' notperf.log || fail "the reader's error is not logged"

# A valid header without any attribute: the reader gives up with its own exception, logged at ERROR.
le64() { for i in 0 1 2 3 4 5 6 7; do printf "\\$(printf '%03o' $((($1 >> (8 * i)) & 255)))"; done; }
{ printf PERFILE2; for v in 104 112 104 0 104 0 104 0 0 0 0 0; do le64 $v; done; head -c 152 /dev/zero; } >noattr.data
run noattr -c "$E2E_DATA/plotwright.conf" -i noattr.data -o noattr.json
[ "$(cat noattr.json)" = "[]" ] || fail "input without attributes: output [$(cat noattr.json)], expected []"
grep -q '\[PerfInputRunner\]: ERROR 0x[0-9a-f]* Cannot read the input: At least one PerfEventAttribute' noattr.log ||
    fail "an input without attributes is not reported: $(cat noattr.log)"

# Standard error on a terminal (a pseudo-terminal from script) may show a progress line, but the document keeps
# the same bytes.
if command -v script >/dev/null; then
    script -qec "'$bin' -c pretty.conf -o tty.json" /dev/null >tty.log 2>&1 || fail "tty: $(cat tty.log)"
    cmp -s tty.json "$expected" || fail "output with standard error on a terminal differs from $expected"
fi

exit $((failures != 0))
