#!/usr/bin/env bash
# Installs the Debian packages the build needs, but only those this machine lacks.
set -euo pipefail
packages=(cmake g++ make libboost-dev libgtest-dev libzstd-dev)
missing=()
for p in "${packages[@]}"; do
    dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update
    apt-get install -y "${missing[@]}"
fi
