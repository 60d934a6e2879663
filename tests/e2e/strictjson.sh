#!/usr/bin/env bash
# The output is strict JSON in UTF-8 whatever the texts that reach it hold: a real recording converted with
# channel texts full of non-ASCII characters, control characters, quotes and a NUL, with the clock skew 1, NaN and
# infinity, in the compact and pretty layouts. A strict reader (Python's, with NaN and Infinity refused) reads every
# document, finds each text as the channel file gave it, and finds no number where the clock time is not finite.
# Usage: strictjson.sh <plotwright binary> <source dir>
set -u
. "$(dirname "$0")/common.bash"
data=$src/tests/data
cd "$work"
echo '{"eventDatabase": "'"$data"'/e2e/events.json", "log": {"level": "OFF"}}' >compact.conf
echo '{"eventDatabase": "'"$data"'/e2e/events.json", "log": {"level": "OFF"}, "whitespace": true}' >pretty.conf

for skew in 1 nan inf; do
    for layout in compact pretty; do
        "$bin" -c $layout.conf -i "$data/recordings/sched.data" -l "$data/e2e-strict/channels.json" -A $skew \
            -o "$skew.$layout.json" >"$skew.$layout.log" 2>&1 || fail "-A $skew ($layout): status $?: $(cat "$skew.$layout.log")"
    done
done

python3 - "$work" <<'PYTHON' || fail "strict reader: see above"
import json, sys

def refuse(name):
    raise ValueError("not JSON: " + name)

def texts(value, found):
    if isinstance(value, str):
        found.add(value)
    elif isinstance(value, list):
        for v in value:
            texts(v, found)
    elif isinstance(value, dict):
        for k, v in value.items():
            found.add(k)
            texts(v, found)
    return found

expected = [
    "sch\u00e9duler \"\x02\"", "\u00b0 \"prio\"\x01\t", "\u65e5\u672c", "c\u00f6lor", "bl\u00fc\x07",
    "\U0001F600", "W\u00e4ke \"up\" \x00 after a NUL", "Gr\u00fcppe\n2", "k\x03", "\u20ac", "Einheit",
]
failed = False
documents = {}
for skew in ("1", "nan", "inf"):
    for layout in ("compact", "pretty"):
        name = "%s.%s.json" % (skew, layout)
        try:
            raw = open(sys.argv[1] + "/" + name, "rb").read()
            documents[name] = json.loads(raw.decode("utf-8", errors="strict"), parse_constant=refuse)
        except ValueError as e:
            print("FAIL: %s: %s" % (name, e), file=sys.stderr)
            failed = True
            continue
        doc = documents[name]
        found = texts(doc, set())
        for text in expected:
            if text not in found:
                print("FAIL: %s lacks the text %r" % (name, text), file=sys.stderr)
                failed = True
        labels = [s.get("label", "") for s in doc if isinstance(s, dict)]
        if not any(l.startswith("C\u00dcP\"U\\\x1b ") for l in labels) or not any(l.startswith("\u00bb") for l in labels):
            print("FAIL: %s: pivot prefixes missing from the labels %r" % (name, labels[:5]), file=sys.stderr)
            failed = True
        series = [s for s in doc if isinstance(s, dict) and "data" in s]
        points = [p for s in series for p in s["data"]]
        if not points:
            print("FAIL: %s has no points" % name, file=sys.stderr)
            failed = True
        # The first sample is the clock origin, at clock time 0; every other time is not finite.
        if skew != "1" and (any(s["time"] is not None for s in series) or any(p[0] not in (None, 0) for p in points)
                            or not any(p[0] is None for p in points)):
            print("FAIL: %s: a time that is not finite is not null" % name, file=sys.stderr)
            failed = True
    if documents.get("%s.compact.json" % skew) != documents.get("%s.pretty.json" % skew):
        print("FAIL: -A %s: the compact and pretty documents differ" % skew, file=sys.stderr)
        failed = True
sys.exit(1 if failed else 0)
PYTHON

exit $((failures != 0))
