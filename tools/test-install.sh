#!/usr/bin/env bash
# Installs the programs as a user would and uses them from elsewhere: `cmake --install` into a scratch prefix, then
# the Debian package that cpack makes, installed with dpkg -i (and removed again). Each time the installed
# plotwright converts a recording with a plot from the command line, in another directory, and plotwright-view
# makes the page of it, and of a recording with the installed recipes.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh --tests
src=$(pwd)
build=build/install
rm -rf "$build"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DPLOTWRIGHT_TESTS=OFF >/dev/null
cmake --build "$build" -j "$(nproc)" --target plotwright plotwright-eventdb plotwright-view >/dev/null
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# use <bin folder>: a conversion and a page with the installed programs, from a directory of their own.
use() {
    local bin=$1
    mkdir -p "$work/use" && cd "$work/use"
    "$bin/plotwright" -i "$src/tests/data/recordings/sched.data" --strict \
        --plot 'state sched:sched_switch.next_pid per common_cpu as CPU' -o plot.json
    grep -q '"label":"CPU 0"' plot.json || { echo "installed plotwright made no CPU series" >&2; exit 1; }
    "$bin/plotwright-view" -o plot.html plot.json
    "$bin/plotwright-eventdb" -o events.json "$src/tests/data/recordings/sched.data"
    [ -s plot.html ] && [ -s events.json ]
    # The recipes installed beside the programs: a recording straight into a page, and the list.
    "$bin/plotwright-view" -o recipes.html "$src/tests/data/recordings/subsystems/sched.data"
    grep -q '"group":"Threads"' recipes.html || { echo "installed plotwright-view found no recipes" >&2; exit 1; }
    "$bin/plotwright" --recipe list | grep -q '^sched: ' || { echo "installed plotwright lists no recipes" >&2; exit 1; }
    cd "$src"
}

cmake --install "$build" --prefix "$work/prefix" >/dev/null
[ -f "$work/prefix/share/doc/plotwright/README.md" ] || { echo "the README is not installed" >&2; exit 1; }
use "$work/prefix/bin"
echo "install: cmake --install into a prefix works from another directory"

(cd "$build" && cpack -G DEB >/dev/null)
package=$(ls "$build"/plotwright_*.deb)
dpkg -i "$package" >/dev/null
use /usr/bin
dpkg -r plotwright >/dev/null
echo "install: $(basename "$package") installs with dpkg -i, converts and is removed again"
