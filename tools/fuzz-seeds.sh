#!/usr/bin/env bash
# Writes the seed inputs of the fuzz targets into tests/fuzz/corpus/<target>/seed-*, from the test recordings and
# data under tests/data and a few hand-written inputs. Findings kept in the corpus (other names) are left alone.
set -euo pipefail
cd "$(dirname "$0")/.."
corpus=tests/fuzz/corpus
data=tests/data
for target in json_roundtrip perf_reader conversion postfix format_text tracing_data command_line_plot tracedat_reader; do
    mkdir -p "$corpus/$target"
    rm -f "$corpus/$target"/seed-*
done

# Recordings: the reader and the whole conversion start from real perf.data files.
for recording in single callchain sched; do
    cp "$data/recordings/$recording.data" "$corpus/perf_reader/seed-$recording.data"
    cp "$data/recordings/$recording.data" "$corpus/conversion/seed-$recording.data"
done

# trace.dat recordings: the small writer-made ones of each kind (the real one is mostly kernel symbols).
for recording in le64 le64.v7 be32 be32.v7 be64 le32-plain.v7; do
    cp "$data/tracedat/$recording.dat" "$corpus/tracedat_reader/seed-$recording.dat"
done

# u64 <file> <offset>: the little-endian 64-bit number at that offset.
u64() {
    od -An -tu8 -j "$2" -N 8 "$1" | tr -d ' '
}

# The tracing data section of each recording: the header's feature bitmap (offset 72) says which feature
# sections exist; their table of (offset, size) pairs follows the data section, one pair per set bit, in bit
# order. The tracing data is feature bit 1.
for recording in single sched; do
    file=$data/recordings/$recording.data
    features=$(u64 "$file" 72)
    (( features & 2 )) || { echo "$file has no tracing data" >&2; exit 1; }
    table=$(($(u64 "$file" 40) + $(u64 "$file" 48)))
    entry=$((table + 16 * (features & 1)))
    offset=$(u64 "$file" "$entry")
    size=$(u64 "$file" $((entry + 8)))
    tail -c +$((offset + 1)) "$file" | head -c "$size" >"$corpus/tracing_data/seed-$recording.tracing"
done

for format in "$data"/recordings/formats/sched/*/format; do
    cp "$format" "$corpus/format_text/seed-$(basename "$(dirname "$format")")"
done

for json in "$data"/e2e/channels.json "$data"/e2e/plotwright.conf "$data"/eventdb-gen/sched-compact.json \
    "$data"/e2e-stateplot/callchain.channels.json "$data"/e2e-stateplot/callchain.expected.json; do
    cp "$json" "$corpus/json_roundtrip/seed-$(basename "$(dirname "$json")")-$(basename "$json")"
done
printf '%s' '{"a":[1,-2,3.25,-0.5,1e3,2E-2,true,false,null,"t\"\\/\b\f\n\r\t\u00e4\ud83d\ude00"],"":{}}' \
    >"$corpus/json_roundtrip/seed-values.json"
printf '%s' '[9223372036854775807,-9223372036854775808,18446744073709551616,0.1,123456789.123456789]' \
    >"$corpus/json_roundtrip/seed-numbers.json"

i=0
for formula in '$0 $1 > $2 0 != &&' '$0 0 > $0 256 < && $1 0 > &&' '100 $0 $1 - /' '$0 256 ==' \
    '1 2 + 3 * 4 - 5 / 2 pow abs ceil' '$0 dup * $1 dup2 + + swap drop' '1 2 3 rot3 ifte ! $0 $1 min max' \
    '$0 $1 || $2 $3 >= && $4 $5 <= == $6 $7 < !=' '-1.5e3 $31 -'; do
    printf '%s' "$formula" >"$corpus/postfix/seed-$i"
    i=$((i + 1))
done
i=0
for text in 'sched:sched_switch.next_pid' 'state sched:sched_switch.next_pid per common_cpu' \
    'state sched:sched_switch.prev_state per prev_pid where prev_state != 0 && prev_pid > 0 end 0 as "Blocked" group sched' \
    'sched:sched_switch.next_pid where -prev_pid ^ 2 >= min(abs(prev_state), 0x10) || !(`end` < .5e1)' \
    'sched:sched_switch.`end` where round(ceil(floor(1)))'; do
    printf '%s' "$text" >"$corpus/command_line_plot/seed-$i"
    i=$((i + 1))
done
du -sh "$corpus"
