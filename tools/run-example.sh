#!/usr/bin/env bash
# Builds plotwright and runs it on the example shipped in examples/.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DPLOTWRIGHT_TESTS=OFF >/dev/null
cmake --build build/release -j "$(nproc)" --target plotwright >/dev/null
echo "example not yet available" >&2
