#!/usr/bin/env bash
# Builds and runs every test run: native, sanitizer (ASan + UBSan), the aarch64 cross build under
# qemu-aarch64, and the hardening tests under ThreadSanitizer. Installs what is missing first.
# Usage: scripts/test.sh [preset ...]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(native sanitize aarch64 tsan)
jobs=${ZYL_JOBS:-$(nproc)}
for preset in "${presets[@]}"; do
  echo "=== $preset ==="
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  ctest --preset "$preset" -j "$jobs"
done
