#!/usr/bin/env bash
# Installs the Debian packages the build needs, but only those this machine lacks.
set -euo pipefail
packages=(cmake g++ make libboost-dev libgtest-dev libzstd-dev)
# tools/fuzz.sh: clang with its libFuzzer runtime; tools/test-aarch64.sh: the cross compiler, qemu-user and the
# target's libraries from Debian's arm64 multiarch packages.
packages+=(clang libclang-rt-14-dev g++-aarch64-linux-gnu qemu-user libgtest-dev:arm64 libboost-dev:arm64
    libzstd-dev:arm64)
missing=()
native=$(dpkg --print-architecture)
for p in "${packages[@]}"; do
    # A package installed for two architectures answers only when asked with one of them.
    case "$p" in
    *:*) query=$p ;;
    *) query=$p:$native ;;
    esac
    dpkg -s "$query" >/dev/null 2>&1 || missing+=("$p")
done
# Browser tests of the viewer page: Chromium, and Node.js with npm (which may come bundled with nodejs).
dpkg -s "chromium:$native" >/dev/null 2>&1 || missing+=(chromium)
command -v node >/dev/null 2>&1 || missing+=(nodejs)
command -v npm >/dev/null 2>&1 || missing+=(npm)
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    dpkg --print-foreign-architectures | grep -qx arm64 || dpkg --add-architecture arm64
    apt-get update
    apt-get install -y "${missing[@]}"
fi
# The pinned playwright-core of the browser tests, unless the installed one is already the locked version.
browser_tests="$(dirname "$0")/../tests/viewer/browser"
if ! (cd "$browser_tests" && node -e 'const l = require("./package-lock.json"), p = require("./node_modules/playwright-core/package.json");
    process.exit(l.packages["node_modules/playwright-core"].version === p.version ? 0 : 1)' 2>/dev/null); then
    (cd "$browser_tests" && npm ci --no-audit --no-fund)
fi
