#!/usr/bin/env bash
# Builds libZYLString.so for 64-bit ARM and x86-64 Linux (Release) and packs the plug-in file that
# users drop into the IDE's Plugins folder.
#
#   scripts/package.sh            build/package/ZYLString.xojo_plugin, a zip:
#                                   ZYLString/Build Resources/Linux arm64/libZYLString.so
#                                   ZYLString/Build Resources/Linux x86-64/libZYLString.so
#   scripts/package.sh --folder   build/package/ZYLString.xojo_plugin as a plain folder holding
#                                 "Build Resources/..." directly (for debugging in the IDE)
#
# The two builds use the presets "release" and "aarch64-release"; only the library is built.
set -euo pipefail
cd "$(dirname "$0")/.."

form=zip
for argument in "$@"; do
  case "$argument" in
    --folder) form=folder ;;
    -h|--help) sed -n '2,12p' "$0"; exit 0 ;;
    *) echo "package: unknown argument $argument" >&2; exit 2 ;;
  esac
done

jobs=${ZYL_JOBS:-$(nproc)}
for preset in release aarch64-release; do
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" --target ZYLString -j "$jobs"
done

out=build/package
plugin="$out/ZYLString.xojo_plugin"
stage="$out/stage"
rm -rf "$plugin" "$stage"
mkdir -p "$stage/ZYLString/Build Resources/Linux arm64" "$stage/ZYLString/Build Resources/Linux x86-64"
cp build/aarch64-release/src/libZYLString.so "$stage/ZYLString/Build Resources/Linux arm64/"
cp build/release/src/libZYLString.so "$stage/ZYLString/Build Resources/Linux x86-64/"

if [ "$form" = folder ]; then
  mv "$stage/ZYLString" "$plugin"
else
  # CMake's own zip writer: no zip tool needed. Fixed timestamps keep the file reproducible.
  touch -d '2026-01-09 00:00:00' "$stage/ZYLString" "$stage/ZYLString/Build Resources" \
    "$stage/ZYLString/Build Resources/"* "$stage/ZYLString/Build Resources/"*/*
  (cd "$stage" && cmake -E tar cf ../ZYLString.xojo_plugin --format=zip -- ZYLString)
fi
rm -rf "$stage"
echo "package: $plugin"
