#!/usr/bin/env bash
# Builds and runs every test run: native, sanitizer (ASan + UBSan), the aarch64 cross build
# under qemu-aarch64, a plain Release build (warnings not errors, as a user builds it) and the
# hardening tests under ThreadSanitizer, then packs the plug-in file and checks it
# (scripts/package.sh, scripts/check_package.sh; they need the native and aarch64 builds).
# Installs what is missing first.
# Usage: scripts/test.sh [native|sanitize|aarch64|release|tsan|package ...]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(native sanitize aarch64 release tsan package)
jobs=${ZYL_JOBS:-$(nproc)}
for preset in "${presets[@]}"; do
  echo "=== $preset ==="
  if [ "$preset" = package ]; then
    ZYL_JOBS=$jobs scripts/package.sh
    scripts/check_package.sh
    continue
  fi
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  ctest --preset "$preset" -j "$jobs"
done
