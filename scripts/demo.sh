#!/usr/bin/env bash
# Sets up, builds the library natively and shows what it does.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset native >/dev/null
cmake --build --preset native -j "$(nproc)"
if [ -x build/native/tools/zyl ]; then
  build/native/tools/zyl demo
else
  build/native/src/libZYLString.so
fi
