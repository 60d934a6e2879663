#!/usr/bin/env bash
# Installs the Debian packages the build needs, but only those this machine lacks.
set -euo pipefail
packages=(cmake g++ make libboost-dev libgtest-dev)
# tools/fuzz.sh: clang with its libFuzzer runtime; tools/test-aarch64.sh: the cross compiler, qemu-user and the
# target's libraries from Debian's arm64 multiarch packages.
packages+=(clang libclang-rt-14-dev g++-aarch64-linux-gnu qemu-user libgtest-dev:arm64 libboost-dev:arm64
    libzstd-dev:arm64)
missing=()
for p in "${packages[@]}"; do
    dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    dpkg --print-foreign-architectures | grep -qx arm64 || dpkg --add-architecture arm64
    apt-get update
    apt-get install -y "${missing[@]}"
fi
