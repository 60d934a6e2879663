#!/usr/bin/env bash
# Installs the Debian packages this machine lacks: by default those that build and run the programs (the compiler,
# CMake, Boost, zstd); with --tests also those of the tests: GoogleTest, clang for fuzzing, the aarch64 cross
# compiler with qemu-user and the target's libraries, dpkg-dev for the Debian package, Chromium and Node.js for the
# browser tests, and the browser tests' pinned playwright-core.
# Usage: tools/install-deps.sh [--tests]
set -euo pipefail
tests=no
[ "${1:-}" = --tests ] && tests=yes
packages=(cmake g++ make libboost-dev libzstd-dev)
if [ $tests = yes ]; then
    # tools/fuzz.sh: clang with its libFuzzer runtime; tools/test-aarch64.sh: the cross compiler, qemu-user and the
    # target's libraries from Debian's arm64 multiarch packages; cpack's Debian package: dpkg-dev (dpkg-shlibdeps).
    packages+=(libgtest-dev clang libclang-rt-14-dev g++-aarch64-linux-gnu qemu-user libgtest-dev:arm64
        libboost-dev:arm64 libzstd-dev:arm64 dpkg-dev file)
fi
missing=()
native=$(dpkg --print-architecture)
for p in "${packages[@]}"; do
    # A package installed for two architectures answers only when asked with one of them; one for all
    # architectures (dpkg-dev) only when asked without.
    case "$p" in
    *:*) dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p") ;;
    *) dpkg -s "$p:$native" >/dev/null 2>&1 || dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p") ;;
    esac
done
if [ $tests = yes ]; then
    # Browser tests of the viewer page: Chromium, and Node.js with npm (which may come bundled with nodejs).
    dpkg -s "chromium:$native" >/dev/null 2>&1 || missing+=(chromium)
    command -v node >/dev/null 2>&1 || missing+=(nodejs)
    command -v npm >/dev/null 2>&1 || missing+=(npm)
fi
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    if [ $tests = yes ]; then
        dpkg --print-foreign-architectures | grep -qx arm64 || dpkg --add-architecture arm64
    fi
    apt-get update
    apt-get install -y "${missing[@]}"
fi
[ $tests = yes ] || exit 0
# The pinned playwright-core of the browser tests, unless the installed one is already the locked version.
browser_tests="$(dirname "$0")/../tests/viewer/browser"
if ! (cd "$browser_tests" && node -e 'const l = require("./package-lock.json"), p = require("./node_modules/playwright-core/package.json");
    process.exit(l.packages["node_modules/playwright-core"].version === p.version ? 0 : 1)' 2>/dev/null); then
    (cd "$browser_tests" && npm ci --no-audit --no-fund)
fi
