#!/usr/bin/env bash
# trace-cmd recordings (trace.dat) through the real programs: plotwright-eventdb writes the event database from
# their formats (the same from versions 6 and 7), plotwright converts them, the same channels give the same points
# from a trace.dat and from a perf.data recording of the same events, and standard input is refused with a clear
# message.
# Usage: tracedat.sh <plotwright binary> <source dir>
set -uo pipefail
. "$(dirname "$0")/common.bash"
eventdb=$(dirname "$bin")/plotwright-eventdb
data=$src/tests/data/tracedat
cd "$work"

"$eventdb" -o le64.json "$data/le64.dat" 2>err.txt || fail "plotwright-eventdb le64.dat: $(cat err.txt)"
"$eventdb" -o le64-v7.json "$data/le64.v7.dat" 2>err.txt || fail "plotwright-eventdb le64.v7.dat: $(cat err.txt)"
cmp -s le64.json le64-v7.json || fail "the databases of le64.dat and le64.v7.dat differ"
"$eventdb" -o armirq-db.json "$data/armirq.dat" 2>err.txt || fail "plotwright-eventdb armirq.dat: $(cat err.txt)"
grep -qF '"irq:softirq_entry"' armirq-db.json || fail "the database of armirq.dat lacks irq:softirq_entry"
"$eventdb" - <"$data/le64.dat" >out.json 2>err.txt && fail "plotwright-eventdb read a trace.dat from standard input"
grep -qF "give its name instead" err.txt || fail "no clear message for a trace.dat on standard input: $(cat err.txt)"

# convert <name> <database> <input> [plotwright options]: the plot data goes to <name>.json, the log to <name>.log.
convert() {
    local name=$1 database=$2 input=$3
    shift 3
    printf '{"eventDatabase": "%s", "inputChannelFile": "%s"}\n' "$database" "$data/channels.json" >"$name.conf"
    "$bin" -c "$name.conf" -i "$input" -o "$name.json" "$@" >"$name.log" 2>&1 || fail "$name: $(cat "$name.log")"
}

# The same events written as trace.dat (both versions) and as perf.data give the same plot data, byte for byte.
convert dat le64.json "$data/le64.dat"
convert v7 le64.json "$data/le64.v7.dat"
convert perf le64.json "$data/le64.data"
[ "$(grep -o '"data"' perf.json | wc -l)" -ge 8 ] || fail "the perf.data conversion gave too few series"
cmp -s dat.json perf.json || fail "trace.dat and perf.data of the same events differ: $(diff dat.json perf.json | head -5)"
cmp -s dat.json v7.json || fail "versions 6 and 7 of the same recording differ"
grep -q 'WARN The ring buffer lost 8 events and more on 1 page' dat.log || fail "the lost events are not reported: $(cat dat.log)"
grep -qF '"ls"' dat.json || fail "the saved command lines do not name the threads"

# Without an event database the converter makes it from the trace.dat's formats: the same plot data.
printf '{"inputChannelFile": "%s"}\n' "$data/channels.json" >nodb.conf
"$bin" -c nodb.conf -i "$data/le64.v7.dat" -o nodb.json >nodb.log 2>&1 || fail "no database: $(cat nodb.log)"
cmp -s dat.json nodb.json || fail "the database made from the trace.dat gives other plot data"

# The real recording: every series it should have, its threads named.
convert armirq armirq-db.json "$data/armirq.dat"
for label in '"CPU 0"' '"ksoftirqd/0"' '"kworker/0:2"' '"bash"'; do
    grep -qF "$label" armirq.json || fail "armirq.dat: no $label in the plot data"
done
# (it has no power or kmem events: those two channels are reported, nothing else)
grep 'ERROR\|WARN' armirq.log | grep -v 'Cannot find event \[\(power:cpu_frequency\|kmem:mm_page_alloc\)\]' &&
    fail "armirq.dat: unexpected messages"


# A cut file: every whole event before the cut, and the loss said on standard error (status 2 with --strict).
head -c 60000 "$data/le64.dat" >cut.dat
printf '{"eventDatabase": "le64.json", "inputChannelFile": "%s"}\n' "$data/channels.json" >cut.conf
"$bin" -c cut.conf -i cut.dat -o cut.json --strict >cut.log 2>cut.err
[ $? = 2 ] || fail "a cut trace.dat with --strict did not end with status 2"
grep -q 'cut short or damaged: missing .* bytes of the data of CPU 2' cut.err || fail "the cut is not reported: $(cat cut.err)"
# The event database is checked against the recording's formats: another recording's ids do not fit.
printf '{"eventDatabase": "armirq-db.json", "inputChannelFile": "%s"}\n' "$data/channels.json" >other.conf
"$bin" -c other.conf -i "$data/le64.dat" -o other.json >other.log 2>other.err
grep -q 'contradicts the recording' other.err || fail "a database of other ids is not refused: $(cat other.err)"

# A pipe cannot be sought: the message says to give the file.
printf '{"eventDatabase": "le64.json", "inputChannelFile": "%s"}\n' "$data/channels.json" >stdin.conf
cat "$data/le64.dat" | "$bin" -c stdin.conf -i - -o stdin.json >stdin.log 2>&1
grep -qF "give the trace.dat as a file" stdin.log || fail "no clear message for standard input: $(cat stdin.log)"

[ "$failures" -eq 0 ] || exit 1
echo "trace.dat recordings convert"
