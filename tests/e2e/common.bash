# Shared set-up of the end-to-end scripts, sourced with their two arguments (the plotwright binary and the source
# tree): absolute paths of both, a scratch folder removed at exit, and counting of failed checks.
bin=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
src=$(cd "$2" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

# In a cross build the programs run through the emulator the build names in PLOTWRIGHT_EMULATOR (binfmt may be
# missing): bin then names a wrapper, next to ones for plotwright-eventdb and plotwright-view.
if [ -n "${PLOTWRIGHT_EMULATOR:-}" ]; then
    mkdir "$work/emulated"
    for program in "$bin" "$(dirname "$bin")/plotwright-eventdb" "$(dirname "$bin")/plotwright-view"; do
        printf '#!/bin/sh\nexec %s "%s" "$@"\n' "$PLOTWRIGHT_EMULATOR" "$program" >"$work/emulated/${program##*/}"
        chmod +x "$work/emulated/${program##*/}"
    done
    bin=$work/emulated/${bin##*/}
fi
