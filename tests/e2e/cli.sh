#!/usr/bin/env bash
# Command line of plotwright: the help text, option errors and start-up failures, each with its exit status.
# Usage: cli.sh <plotwright binary> <source dir>
set -u
. "$(dirname "$0")/common.bash"
data=$src/tests/data/e2e
cd "$work"

# expect <status> <stdout file content> <stderr content> -- args...
# Runs the program and compares exit status, standard output and standard error exactly.
expect() {
    local status=$1 out=$2 err=$3
    shift 4
    "$bin" "$@" >out.txt 2>err.txt
    local got=$?
    [ "$got" = "$status" ] || fail "plotwright $* exited with $got, expected $status"
    [ "$(cat out.txt)" = "$out" ] || fail "plotwright $*: stdout was [$(cat out.txt)], expected [$out]"
    [ "$(cat err.txt)" = "$err" ] || fail "plotwright $*: stderr was [$(cat err.txt)], expected [$err]"
}

# expect_log <message> -- args...: status 1, the message logged by "main" at ERROR, nothing else. Without an
# output file the document would go to standard output, so the log goes to standard error; with -o it stays on
# standard output.
expect_log() {
    local message=$1
    shift 2
    "$bin" "$@" >out.txt 2>err.txt
    local got=$?
    local log=err.txt other=out.txt
    case " $* " in *" -o "*) log=out.txt other=err.txt ;; esac
    [ "$got" = 1 ] || fail "plotwright $* exited with $got, expected 1"
    # The JSON loader reports a file it cannot read on standard error by itself.
    grep -v '^JSOM::fromFile(): ' $log >log.txt
    grep -qxE "[A-Z][a-z]{2} [0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3} \[main\]: ERROR $(printf '%s' "$message" | sed 's/[][\.*^$()+?{}|]/\\&/g')" log.txt ||
        fail "plotwright $*: expected the log line [$message], got [$(cat log.txt)]"
    [ "$(wc -l <log.txt)" = 1 ] || fail "plotwright $*: expected one log line, got [$(cat log.txt)]"
    [ -z "$(grep -v '^JSOM::fromFile(): ' $other)" ] || fail "plotwright $*: unexpected output [$(cat $other)]"
}

# Help: the first line carries the build date ("Mmm dd yyyy", day padded with a space) and time.
help_rest=' USAGE plotwright [options]
       -h          show this help
       -c file     the configuration file (default plotwright.conf)
       -s time     Clock start time in seconds
       -d duration Clock duration in seconds
       -i file     Input perf data file
       -l file     Input channel info file (plotwright-channels.json)
       -o file     Output file (stdout)
       -a          Append output file
       -A number   Time conversion from data to clock multiplier or skew (1.0)
       -B number   Time conversion from data to clock offset (0.0)
       -C number   Time conversion from data to clock base (0.0)
 TIME

   clockStartTime(-s) = the clock time to start collection.

   dataStartTime = the time to start collection, adjusted for input time stamps.
                 = (clockStartTime(-s) - offset(-B)) / skew(-A) + base(-C)
 LONG OPTIONS
       --help              the same as -h
       --config file       the same as -c
       --start time        the same as -s
       --duration duration the same as -d
       --input file        the same as -i
       --channels file     the same as -l
       --output file       the same as -o ("-": standard output)
       --append            the same as -a
       --skew number       the same as -A
       --offset number     the same as -B
       --base number       the same as -C
       --strict            exit with status 2 when the conversion had problems (listed on stderr)
       --plot text         a channel written on the command line (repeatable), such as
                           '\''state sched:sched_switch.next_pid per common_cpu'\''
       --print-channels    write the channel file of the plots given and stop
       --recipe name       add the channels of a recipe (repeatable); --recipe list lists them'
for args in "-h" "-a -s 5 -h" "-h -q" "-h -c missing.conf" "--help" "--strict --start 5 --help"; do
    # shellcheck disable=SC2086
    "$bin" $args >out.txt 2>err.txt
    status=$?
    [ "$status" = 1 ] || fail "plotwright $args exited with $status, expected 1"
    head -n 1 out.txt | grep -qxE 'plotwright - converts raw Perf data to generic plot data\. Built (Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) ( [1-9]|[1-3][0-9]) [0-9]{4} [0-2][0-9]:[0-5][0-9]:[0-5][0-9]' ||
        fail "plotwright $args: bad first help line [$(head -n 1 out.txt)]"
    [ "$(tail -n +2 out.txt)" = "$help_rest" ] || fail "plotwright $args: help text differs: $(tail -n +2 out.txt | diff - <(echo "$help_rest"))"
    [ "$(tail -c 1 out.txt | od -An -c | tr -d ' ')" = '\n' ] || fail "plotwright $args: help does not end with a newline"
    [ ! -s err.txt ] || fail "plotwright $args: unexpected stderr [$(cat err.txt)]"
done

# Option errors end the run before anything else; an error before -h wins.
for letter in c s d i l o A B C; do
    expect 1 "" "Option -$letter requires an argument." -- -"$letter"
done
expect 1 "" "Unknown option \`-x'." -- -x
expect 1 "" "Unknown option \`-x'." -- -x -h
expect 1 "" "Unknown option character \`1'." -- $'-\x01'
expect 1 "" "Unknown option character \`ff'." -- $'-\xff'
# The long options: each short one's, with the same errors in their own words.
for name in config start duration input channels output skew offset base; do
    expect 1 "" "Option --$name requires an argument." -- --"$name"
done
expect 1 "" "Unknown option \`--frobnicate'." -- --frobnicate=3 -h
expect 1 "" "Option --strict takes no argument." -- --strict=yes

# Start-up failures, in the order the driver meets them.
expect 1 "" "JSOM::fromFile(): could not open file 'nowhere.conf'
Could not load configuration file nowhere.conf" -- -c nowhere.conf
printf '{"eventDatabase": ' >broken.conf
"$bin" -c broken.conf >out.txt 2>err.txt
[ $? = 1 ] && grep -qx "Could not load configuration file broken.conf" err.txt ||
    fail "a malformed configuration is not reported: [$(cat err.txt)]"

# Without "eventDatabase" the database is made from the recording, which is read first.
echo '{"inputPerfFile": "x.data"}' >nodb.conf
expect_log "Cannot open x.data for reading, aborting.." -- -c nodb.conf
echo '{"eventDatabase": 5}' >numberdb.conf
expect_log "Could not load event database path from configuration file numberdb.conf, aborting..." -- -c numberdb.conf
echo '{"eventDatabase": "missing-events.json"}' >baddb.conf
"$bin" -c baddb.conf >out.txt 2>err.txt
[ $? = 1 ] && grep -q '\[main\]: ERROR Could not load event database missing-events.json, aborting\.\.$' err.txt ||
    fail "a missing event database is not reported: [$(cat err.txt)]"

cat >run.conf <<CONF
{"eventDatabase": "$data/events.json"}
CONF
# Neither a channel file nor an input: the recipes take the place of the default channel file, the input is missing.
expect_log "No input file specified, aborting.." -- -c run.conf
expect_log "Cannot read channel information from nochannels.json, aborting.." -- -c run.conf -l nochannels.json
expect_log "No input file specified, aborting.." -- -c run.conf -l "$data/channels.json"
expect_log "Cannot open missing.data for reading, aborting.." -- -c run.conf -l "$data/channels.json" -i missing.data
expect_log "Cannot open $work/no/such/dir/out.json for writing, aborting.." -- -c run.conf -l "$data/channels.json" \
    -i "$src/tests/data/recordings/single.data" -o "$work/no/such/dir/out.json"

# "-o -" is standard output, even where the configuration names a file; the log then goes to standard error.
echo "{\"eventDatabase\": \"$data/events.json\", \"outputFile\": \"conf-out.json\"}" >outconf.conf
"$bin" -c run.conf -l "$data/channels.json" -i "$src/tests/data/recordings/single.data" >plain.json 2>/dev/null
"$bin" -c outconf.conf -l "$data/channels.json" -i "$src/tests/data/recordings/single.data" -o - >dash.json 2>/dev/null
[ -s dash.json ] && cmp -s plain.json dash.json && [ ! -e conf-out.json ] && [ ! -e ./- ] || fail "-o - does not write to standard output"

exit $((failures != 0))
