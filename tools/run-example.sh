#!/usr/bin/env bash
# Builds plotwright, plotwright-eventdb and plotwright-view (installing only what building them needs) and converts
# the example recording in examples/ to generic plot data: the document goes to build/example/sched-plot.json, the
# log to build/example/plotwright.log. plotwright-view then shows the document as a page to open in a browser:
# build/example/sched-plot.html.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DPLOTWRIGHT_TESTS=OFF >/dev/null
cmake --build build/release -j "$(nproc)" --target plotwright plotwright-eventdb plotwright-view >/dev/null
mkdir -p build/example
# The configuration sends the log to a file, so standard output carries nothing but the JSON document.
build/release/plotwright -c examples/plotwright.conf >build/example/sched-plot.json
echo "generic plot data: build/example/sched-plot.json ($(wc -c <build/example/sched-plot.json) bytes)"
echo "log:               build/example/plotwright.log"
build/release/plotwright-view -o build/example/sched-plot.html build/example/sched-plot.json
echo "page:              build/example/sched-plot.html (open it in a browser; it works offline)"
echo "programs:          build/release/plotwright, build/release/plotwright-eventdb, build/release/plotwright-view"
echo "                   (cmake --install build/release --prefix ~/.local puts them on your PATH)"
