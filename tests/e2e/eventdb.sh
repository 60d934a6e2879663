#!/usr/bin/env bash
# End-to-end test of plotwright-eventdb (it sits next to plotwright): the event database generated from a
# recording equals the one generated from the tracefs formats of the same trace points and the expected one,
# and every kind of bad input ends with status 1, one line on standard error and nothing written.
set -uo pipefail
. "$(dirname "$0")/common.bash"
eventdb=$(dirname "$bin")/plotwright-eventdb
data=$src/tests/data
expected=$data/eventdb-gen

# Runs the generator expecting success; the database goes to $work/$1.
generate() {
    local out=$1
    shift
    "$eventdb" "$@" >"$work/$out" 2>"$work/stderr" || fail "plotwright-eventdb $* failed: $(cat "$work/stderr")"
}

# Expects status 1, a message containing $1 on standard error, nothing on standard output and no -o file.
expect_error() {
    local message=$1
    shift
    rm -f "$work/out.json"
    "$eventdb" -o "$work/out.json" "$@" >"$work/stdout" 2>"$work/stderr"
    local status=$?
    [ "$status" -eq 1 ] || fail "plotwright-eventdb $*: status $status, expected 1"
    grep -qF -- "$message" "$work/stderr" || fail "plotwright-eventdb $*: message '$(cat "$work/stderr")' lacks '$message'"
    [ "$(wc -l <"$work/stderr")" -eq 1 ] || fail "plotwright-eventdb $*: more than one line on standard error"
    [ ! -s "$work/stdout" ] || fail "plotwright-eventdb $*: wrote to standard output"
    [ ! -e "$work/out.json" ] || fail "plotwright-eventdb $*: wrote the output file"
}

generate from-recording.json "$data/recordings/sched.data"
generate from-formats.json "$data/recordings/formats"
cmp -s "$work/from-recording.json" "$work/from-formats.json" ||
    fail "the databases from sched.data and from the formats differ"
cmp -s "$expected/sched-compact.json" "$work/from-recording.json" ||
    fail "the compact database differs from $expected/sched-compact.json"

# The converter, given the generated database instead of the hand-written one, gives the expected output.
cat >"$work/plotwright.conf" <<CONF
{"whitespace": true, "eventDatabase": "$work/from-recording.json", "inputPerfFile": "$data/recordings/sched.data",
 "inputChannelFile": "$data/e2e/channels.json"}
CONF
"$bin" -c "$work/plotwright.conf" -o "$work/plot.json" >"$work/plotwright.log" 2>&1 ||
    fail "plotwright failed with the generated database: $(cat "$work/plotwright.log")"
cmp -s "$data/e2e/sched-expected.json" "$work/plot.json" ||
    fail "plotwright with the generated database differs from $data/e2e/sched-expected.json"

# Pretty layout through -o; several sources describing the same trace points add nothing.
"$eventdb" -p -o "$work/pretty.json" "$data/recordings/sched.data" "$data/recordings/formats" \
    "$data/recordings/single.data" >"$work/stdout" 2>"$work/stderr" || fail "pretty run failed: $(cat "$work/stderr")"
[ ! -s "$work/stdout" ] || fail "-o still wrote to standard output"
diff -u "$expected/sched.json" "$work/pretty.json" >&2 || fail "the pretty database differs from $expected/sched.json"

# One format file; its system comes from the path, or from -s when the path does not tell.
generate switch.json "$data/recordings/formats/sched/sched_switch/format"
grep -qF '"sched:sched_switch"' "$work/switch.json" || fail "a single format file did not give sched:sched_switch"
cp "$data/recordings/formats/sched/sched_switch/format" "$work/switch.txt"
generate switch-s.json -s mysys "$work/switch.txt"
grep -qF '"mysys:sched_switch"' "$work/switch-s.json" || fail "-s did not name the system"

# Errors.
head -c 60000 "$data/recordings/sched.data" >"$work/truncated.data"
cp "$data/recordings/sched.data" "$work/damaged.data"
printf 'XXXX' | dd of="$work/damaged.data" bs=1 seek=53932 conv=notrunc 2>/dev/null # the header_page label
printf 'hello\n' >"$work/text.txt"
mkdir "$work/empty"
sed 's/^ID: 372/ID: 999/; s/common_pid;\toffset:4;\tsize:4/common_pid;\toffset:4;\tsize:8/' \
    "$data/recordings/formats/sched/sched_switch/format" >"$work/common.txt"
expect_error "tracing data section lies beyond the end of the file" "$work/truncated.data"
expect_error "damaged tracing data section: the header_page label is missing" "$work/damaged.data"
expect_error "neither a perf.data file, a trace.dat file nor a trace point format text" "$work/text.txt"
expect_error "no files named format" "$work/empty"
expect_error "No such file or directory" "$work/missing.data"
expect_error "name it with -s SYSTEM" "$work/switch.txt"
expect_error "the common fields of trace points sched:sched_process_fork (" "$data/recordings/sched.data" \
    -s other "$work/common.txt"
expect_error "no source given"
expect_error "unknown option -x" -x "$data/recordings/sched.data"
expect_error "option -s needs an argument" "$data/recordings/sched.data" -s
expect_error "invalid system name" -s "a b" "$data/recordings/sched.data"
"$eventdb" -o "$work/no/such/dir/out.json" "$data/recordings/sched.data" 2>"$work/stderr"
[ $? -eq 1 ] && grep -qF "cannot write" "$work/stderr" || fail "an unwritable output file was not reported"
"$eventdb" -h >"$work/stdout" || fail "-h failed"
grep -qF "Usage: plotwright-eventdb" "$work/stdout" || fail "-h printed no usage"

[ "$failures" -eq 0 ] || exit 1
echo "eventdb: all checks passed"
