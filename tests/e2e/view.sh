#!/usr/bin/env bash
# End-to-end test of plotwright-view (it sits next to plotwright) on the example recording's conversion: the page's
# manifest carries every document with all its points (also two appended documents, and several inputs), data
# beyond the page's limit goes to its data folder, the trace equals the expected one, a recording given to it is
# converted as plotwright converts it, and bad input ends with status 1, one line on standard error and no output
# file.
set -uo pipefail
. "$(dirname "$0")/common.bash"
view=$(dirname "$bin")/plotwright-view
expected=$src/tests/data/viewer
cd "$work"

# The example conversion, compact (one document per line but for the writer's long-line breaks) and pretty.
echo "{\"eventDatabase\": \"$src/examples/sched-events.json\", \"log\": {\"level\": \"OFF\"}}" >compact.conf
echo "{\"eventDatabase\": \"$src/examples/sched-events.json\", \"whitespace\": true, \"log\": {\"level\": \"OFF\"}}" >pretty.conf
convert() {
    "$bin" -c "$1" -i "$src/examples/sched.data" -l "$src/examples/sched-channels.json" -o "$2" "${@:3}" ||
        fail "conversion to $2 failed"
}
convert compact.conf compact.json
convert pretty.conf sched-plot.json
convert pretty.conf appended.json
convert pretty.conf appended.json -a

# The page's manifest; the points of each document in it; the points of a plot data file (arrays that start
# with a number).
manifest() { grep -o '<script id="plot-manifest" type="application/json">.*</script>' "$1"; }
manifest_points() { manifest "$1" | grep -o '"index":[0-9]*,"points":[0-9]*' | sed 's/.*"points"://' | tr '\n' ' '; }
points() { grep -o '\[[-0-9]' "$1" | wc -l; }

# view <name> args...: runs plotwright-view, which must succeed silently.
view() {
    local name=$1
    shift
    "$view" "$@" >"$name.out" 2>"$name.err"
    local status=$?
    [ "$status" = 0 ] || fail "$name: exit status $status: $(cat "$name.err")"
    [ ! -s "$name.err" ] || fail "$name: wrote to standard error: $(cat "$name.err")"
}

view html -o sched-plot.html sched-plot.json
n=$(points compact.json)
[ "$(manifest_points sched-plot.html)" = "$n " ] || fail "the page's points: $(manifest_points sched-plot.html), not $n"
manifest sched-plot.html | grep -qF '"sources":["sched-plot.json"]' || fail "the page's sources"
manifest sched-plot.html | grep -qF '"folder":"sched-plot_files"' || fail "the page's data folder name"
[ "$(grep -c '<script type="text/plain" id="pw-c' sched-plot.html)" -ge 1 ] || fail "no data chunks in the page"
[ ! -e sched-plot_files ] || fail "a data folder for a small page"
! grep -q '@PLOTWRIGHT_' sched-plot.html || fail "a marker is left in the page"
view stdout sched-plot.json
cmp -s <(sed 's/"folder":"[^"]*"//' stdout.out) <(sed 's/"folder":"[^"]*"//' sched-plot.html) ||
    fail "the page on standard output differs from the one written with -o"

view appended -f html -o appended.html appended.json compact.json
[ "$(manifest_points appended.html)" = "$n $n $n " ] ||
    fail "two appended documents and a second input are not the page's three documents: $(manifest_points appended.html)"
manifest appended.html | grep -qF '"sources":["appended.json","compact.json"]' || fail "sources of several inputs"

# With no room in the page, all data goes to script files beside it; a later page without them removes them,
# but a folder that holds other files is left alone and reported.
view folder -m 0 -a -o sched-plot.html sched-plot.json
[ -s sched-plot_files/c0.js ] && grep -q '^plotwrightChunk(0,"' sched-plot_files/c0.js || fail "no data folder"
! grep -q '<script type="text/plain" id="pw-c' sched-plot.html || fail "chunks in the page with -m 0"
manifest sched-plot.html | grep -qF '"align":true' || fail "-a is not the page's default"
view replaced -o sched-plot.html sched-plot.json
[ ! -e sched-plot_files ] || fail "the data folder of an older page is left"
mkdir sched-plot_files && touch sched-plot_files/notes.txt
"$view" -o sched-plot.html sched-plot.json 2>stderr && fail "a folder of other files was replaced"
grep -qF "cannot replace sched-plot_files: it holds other files" stderr || fail "message: $(cat stderr)"
rm -r sched-plot_files

view trace -f trace -o sched-trace.json sched-plot.json
cmp -s sched-trace.json "$expected/sched-trace.json" ||
    fail "the trace differs from $expected/sched-trace.json: $(diff <(tr '{' '\n' <sched-trace.json) <(tr '{' '\n' <"$expected/sched-trace.json") | head -10)"

# A recording is converted as plotwright converts it, with the recipes or with the plots given: the trace and the
# page's documents are those of plotwright's output. A conversion that fails ends the view with status 1.
"$bin" -i "$src/examples/sched.data" -o recipes.json 2>/dev/null || fail "conversion with the recipes failed"
view recording-trace -f trace -o recording-trace.json "$src/examples/sched.data"
view recipes-trace -f trace -o recipes-trace.json recipes.json
cmp -s recording-trace.json recipes-trace.json || fail "the trace of a recording differs from that of its conversion"
view recording -o recording.html "$src/examples/sched.data"
[ "$(manifest_points recording.html)" = "$(points recipes.json) " ] ||
    fail "the page of a recording: $(manifest_points recording.html) points, not $(points recipes.json)"
manifest recording.html | grep -qF '"group":"Threads"' || fail "the page of a recording lacks the sched recipe's threads"
"$bin" -i "$src/examples/sched.data" --plot sched:sched_switch.next_prio -o prio.json 2>/dev/null
view plot -o prio.html --plot sched:sched_switch.next_prio "$src/examples/sched.data" compact.json
[ "$(manifest_points prio.html)" = "$(points prio.json) $n " ] || fail "--plot: $(manifest_points prio.html)"
"$view" -o bad-plot.html --plot sched:sched_switch.nothing "$src/examples/sched.data" 2>stderr
[ $? -eq 1 ] && [ ! -e bad-plot.html ] && grep -qF "sched.data\": the conversion failed" stderr &&
    grep -qF "nothing" stderr || fail "a bad --plot: $(cat stderr)"

# expect_error <message> args...: status 1, one line on standard error holding the message, no output file
# (nor a temporary one) in the folder, and an output file that existed before left as it was.
mkdir out
echo "old" >out/kept.html
expect_error() {
    local message=$1
    shift
    rm -f out/new.html
    for output in out/new.html out/kept.html; do
        "$view" -o "$output" "$@" >stdout 2>stderr
        local status=$?
        [ "$status" -eq 1 ] || fail "plotwright-view $*: status $status, expected 1"
        grep -qF -- "$message" stderr || fail "plotwright-view $*: message '$(cat stderr)' lacks '$message'"
        [ "$(wc -l <stderr)" -eq 1 ] || fail "plotwright-view $*: not one line on standard error: $(cat stderr)"
        [ ! -s stdout ] || fail "plotwright-view $*: wrote to standard output"
    done
    [ "$(ls out)" = "kept.html" ] || fail "plotwright-view $*: left files behind: $(ls out)"
    [ "$(cat out/kept.html)" = "old" ] || fail "plotwright-view $*: changed an existing output file"
}

printf '[{"label": "a", "type": "long", "time": 0, "data": [[0, 1]' >cut.json
head -c 3000 sched-plot.json >head.json
expect_error "cut.json: not JSON: syntax error" cut.json
expect_error "head.json: not JSON: syntax error" sched-plot.json head.json
expect_error "sched-channels.json: element 1: not plot data: an object without a \"type\" text" \
    "$src/examples/sched-channels.json"
expect_error "plotwright.conf: not plot data: the document is an object, not an array" "$src/examples/plotwright.conf"
printf '\177ELF\2\1\1' >binary.data
expect_error "binary.data: not JSON" binary.data
expect_error "cannot open missing.json: No such file or directory" missing.json
expect_error "cannot read out: it is a directory" out
expect_error "unknown format \"svg\"" -f svg sched-plot.json
expect_error "no input given" -f trace
expect_error "-m wants a number of megabytes" -m lots sched-plot.json
"$view" -o missing-dir/page.html sched-plot.json 2>stderr
[ $? -eq 1 ] && grep -qF "cannot create missing-dir/page.html" stderr || fail "an output in a missing folder: $(cat stderr)"
"$view" -h >help.txt 2>&1 && grep -q "Usage: plotwright-view" help.txt || fail "-h"

exit $((failures > 0))
