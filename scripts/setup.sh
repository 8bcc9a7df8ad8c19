#!/usr/bin/env bash
# Installs what the build and the test runs need on a fresh Debian (bookworm) machine, and the
# packages named as arguments (scripts/bench.sh names its own). Safe to run again: it only
# installs what is missing.
set -euo pipefail

need=()
have() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }

sudo_() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }

if ! dpkg --print-foreign-architectures | grep -qx arm64; then
  sudo_ dpkg --add-architecture arm64
fi

for p in g++ cmake ninja-build pkg-config libffi-dev doctest-dev python3 unicode-data bzip2 \
         g++-aarch64-linux-gnu qemu-user libc6:arm64 libffi-dev:arm64 libffi8:arm64 "$@"; do
  have "$p" || need+=("$p")
done

if [ ${#need[@]} -gt 0 ]; then
  echo "setup: installing ${need[*]}"
  export DEBIAN_FRONTEND=noninteractive
  sudo_ apt-get update -qq
  sudo_ apt-get install -y -qq --no-install-recommends "${need[@]}"
fi
echo "setup: all build and test dependencies are present"
