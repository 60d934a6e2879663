#!/usr/bin/env bash
# Converts real recordings with state plot channels and compares the generic plot data with the expected
# files: per-CPU tasks, filtered alternatives with inner pivots and magnitudes, task labels, and a channel whose
# configuration error leaves it out. Also checks that compact and pretty output carry the same document.
set -euo pipefail
bin=$1
src=$2
data=$src/tests/data/e2e-stateplot
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# The event database path is taken from the environment, through the configuration's value expansion.
export STATEPLOT_EVENTDB=$src/tests/data/eventdb/sched.json
echo '{ "eventDatabase": "${STATEPLOT_EVENTDB}", "log": { "level": "OFF" } }' >"$tmp/compact.conf"
echo '{ "eventDatabase": "${STATEPLOT_EVENTDB}", "whitespace": true, "log": { "level": "OFF" } }' >"$tmp/pretty.conf"

status=0
for recording in sched callchain; do
    for layout in compact pretty; do
        ${PLOTWRIGHT_EMULATOR:-} "$bin" -c "$tmp/$layout.conf" -i "$src/tests/data/recordings/$recording.data" \
            -l "$data/$recording.channels.json" -o "$tmp/$recording.$layout.json"
    done
    if ! cmp -s "$data/$recording.expected.json" "$tmp/$recording.compact.json"; then
        echo "FAIL: $recording output differs from $data/$recording.expected.json" >&2
        diff <(tr ',' '\n' <"$data/$recording.expected.json") <(tr ',' '\n' <"$tmp/$recording.compact.json") |
            head -40 >&2 || true
        status=1
    fi
    if ! cmp -s <(tr -d ' \n' <"$tmp/$recording.compact.json") <(tr -d ' \n' <"$tmp/$recording.pretty.json"); then
        echo "FAIL: $recording pretty output is not the compact document" >&2
        status=1
    fi
done
exit $status
