#!/usr/bin/env bash
# The folders are layers, each a library that builds only on those below it: no source file includes a header of
# a folder its library does not link (CMakeLists.txt declares the same graph). The classes of app/ that the plot
# algorithms write into (the series library) stand below the algorithms, the rest of app/ above everything else.
# Usage: layers.sh <plotwright binary> <source dir>
set -u
. "$(dirname "$0")/common.bash"
cd "$src"

series="SeriesData|SeriesDataSet|ProcessDictionary|FieldDictionaries"
# layer of a source file: the folder, or "series" for the series classes of app/
layer() {
    case "$1" in
    app/*) [[ "$(basename "$1")" =~ ^($series)\.(h|cpp)$ ]] && echo series || echo app ;;
    *) echo "${1%%/*}" ;;
    esac
}
# the layers a layer may include, itself among them
allowed() {
    case "$1" in
    kestrel) echo "kestrel" ;;
    perfevents) echo "kestrel perfevents" ;;
    eventdb) echo "kestrel perfevents eventdb" ;;
    series) echo "kestrel series" ;;
    algorithms) echo "kestrel perfevents series algorithms" ;;
    app) echo "kestrel perfevents eventdb series algorithms app" ;;
    viewer) echo "kestrel viewer" ;;
    esac
}

for file in $(find kestrel perfevents eventdb algorithms app viewer -name '*.h' -o -name '*.cpp' | sort); do
    from=$(layer "$file")
    # main.cpp is a program: it stands on top of its folder's library.
    [ "$(basename "$file")" = main.cpp ] && from=top
    while read -r included; do
        [ -n "$included" ] || continue
        to=$(layer "$included")
        [ "$from" = top ] && continue
        case " $(allowed "$from") " in
        *" $to "*) ;;
        *) fail "$file ($from) includes $included ($to), which its library does not build on" ;;
        esac
    done < <(sed -n -E 's/^#include "((kestrel|perfevents|eventdb|algorithms|app|viewer)\/[^"]+)".*/\1/p' "$file")
done
[ "$failures" -eq 0 ] || exit 1
echo "every include follows the layers"
