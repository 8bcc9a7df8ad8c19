#!/usr/bin/env bash
# Checks the plug-in file that scripts/package.sh made, as a user's machine will meet it:
#   - the zip holds exactly ZYLString/Build Resources/Linux arm64|x86-64/libZYLString.so;
#   - each library is an ELF file for its machine, exports exactly its three entry points, needs
#     nothing beyond the C and C++ runtimes, and asks for no symbol version newer than glibc 2.31,
#     GLIBCXX_3.4.28 and CXXABI_1.3.12 (Debian 11, Ubuntu 20.04);
#   - each runs as a program and prints its banner (the arm64 one under qemu-aarch64);
#   - each loads into the in-memory host (zyl of the native and aarch64 builds) and registers the
#     module with 74 methods and the Debugging property, or on an old host 72 single methods and
#     the StyledText extension.
# Usage: scripts/check_package.sh [PLUGIN]   (default build/package/ZYLString.xojo_plugin)
set -euo pipefail
cd "$(dirname "$0")/.."
plugin=${1:-build/package/ZYLString.xojo_plugin}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "check_package: FAIL: $*" >&2; failures=$((failures + 1)); }
pass() { echo "check_package: ok: $*"; }

[ -f "$plugin" ] || { echo "check_package: no file $plugin" >&2; exit 1; }

# Layout, with exact, case-sensitive names (directories listed with their trailing slash).
listing=$(cmake -E tar tf "$plugin" | sed 's:/*$::' | sort)
expected=$(printf '%s\n' "ZYLString" "ZYLString/Build Resources" \
  "ZYLString/Build Resources/Linux arm64" "ZYLString/Build Resources/Linux arm64/libZYLString.so" \
  "ZYLString/Build Resources/Linux x86-64" "ZYLString/Build Resources/Linux x86-64/libZYLString.so" | sort)
if [ "$listing" = "$expected" ]; then pass "layout"; else fail "layout is"$'\n'"$listing"; fi
(cd "$work" && cmake -E tar xf "$OLDPWD/$plugin")

banner='ZYL Plugin, version 26.0, built Jan  9 2026'
newest() { grep -o "$1[0-9.]*" | sed "s/^$1//" | sort -t. -k1,1n -k2,2n -k3,3n | tail -1; }
version_le() { [ "$(printf '%s\n%s\n' "$1" "$2" | sort -t. -k1,1n -k2,2n -k3,3n | tail -1)" = "$2" ]; }

check_library() {
  local folder=$1 machine=$2 runner=$3 zyl=$4
  local lib="$work/ZYLString/Build Resources/$folder/libZYLString.so"
  [ -f "$lib" ] || { fail "$folder: no library"; return; }

  readelf -h "$lib" | grep -q "Machine: *$machine" && pass "$folder: ELF machine $machine" ||
    fail "$folder: not an ELF file for $machine"

  local exports
  exports=$(readelf --dyn-syms -W "$lib" | awk '$7 != "UND" && $5 == "GLOBAL" && $4 == "FUNC" {print $8}' |
            sed 's/@.*//' | sort | tr '\n' ' ')
  [ "$exports" = "PluginEntry REALPluginMain libEntry " ] && pass "$folder: exports $exports" ||
    fail "$folder: exports $exports"
  local others
  others=$(readelf --dyn-syms -W "$lib" | awk '$7 != "UND" && $5 != "LOCAL" && $4 != "SECTION" && NR > 3 {print $8}' |
           sed 's/@.*//' | grep -vxE 'PluginEntry|REALPluginMain|libEntry' || true)
  [ -z "$others" ] || fail "$folder: also defines $others"

  local needed bad
  needed=$(readelf -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | tr '\n' ' ')
  bad=$(echo "$needed" | tr ' ' '\n' | grep -vE '^(|libc\.so\.6|libm\.so\.6|libstdc\+\+\.so\.6|libgcc_s\.so\.1|ld-linux.*)$' || true)
  [ -z "$bad" ] && pass "$folder: needs $needed" || fail "$folder: needs $bad"

  local versions glibc glibcxx cxxabi
  versions=$(readelf -V -W "$lib")
  glibc=$(echo "$versions" | newest 'GLIBC_')
  glibcxx=$(echo "$versions" | newest 'GLIBCXX_')
  cxxabi=$(echo "$versions" | newest 'CXXABI_')
  version_le "${glibc:-0}" 2.31 && version_le "${glibcxx:-0}" 3.4.28 && version_le "${cxxabi:-0}" 1.3.12 &&
    pass "$folder: newest versions GLIBC_$glibc GLIBCXX_${glibcxx:-none} CXXABI_${cxxabi:-none}" ||
    fail "$folder: newest versions GLIBC_$glibc GLIBCXX_$glibcxx CXXABI_$cxxabi"

  local out
  out=$($runner "$lib" 2>&1 || true)
  [ "$out" = "$banner" ] && pass "$folder: runs and prints its banner" || fail "$folder: printed [$out]"

  if [ ! -x "$zyl" ]; then
    fail "$folder: no $zyl to load it with (build the presets native and aarch64 first)"
    return
  fi
  out=$($runner "$zyl" --plugin "$lib" methods 2>&1 || true)
  echo "$out" | grep -q "module StringGlobalsZYL: version 13, flags 0x4, 74 methods, 1 property" &&
    echo "$out" | grep -q "property Debugging as Boolean" &&
    echo "$out" | grep -q "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false) as string" &&
    pass "$folder: loads and registers the module (74 methods, Debugging)" ||
    fail "$folder: module registration:"$'\n'"$out"
  out=$($runner "$zyl" --plugin "$lib" --host-version 2012.5 methods 2>&1 || true)
  echo "$out" | grep -q "^class extension StyledText: .*1 method" && echo "$out" | grep -q "^72 single methods" &&
    pass "$folder: on an old host registers 72 single methods and the extension" ||
    fail "$folder: old-host registration:"$'\n'"$out"
}

qemu="qemu-aarch64 -L /usr/aarch64-linux-gnu -E LD_LIBRARY_PATH=/usr/aarch64-linux-gnu/lib:/usr/lib/aarch64-linux-gnu"
check_library "Linux x86-64" "Advanced Micro Devices X86-64" "" build/native/tools/zyl
check_library "Linux arm64" "AArch64" "$qemu" build/aarch64/tools/zyl

if [ "$failures" -gt 0 ]; then
  echo "check_package: $failures check(s) failed" >&2
  exit 1
fi
echo "check_package: $plugin is good"
