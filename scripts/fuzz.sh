#!/usr/bin/env bash
# Builds the libFuzzer targets with Debian's clang (ASan + UBSan, the plug-in instrumented for
# coverage) and runs them on their committed corpora.
#
#   scripts/fuzz.sh [TARGET] [--runs N | --seconds N] [--merge | --coverage] [-- LIBFUZZER-OPTIONS...]
#
# TARGET: call (default), rtf, utf8, entities, quoted_printable, url, or all (each in turn).
# --runs N / --seconds N: how long each target runs (default: 60 seconds).
# --merge: minimise the committed corpus into itself (-merge=1) instead of fuzzing.
# --coverage: run the corpora once and list the plug-in's functions they reach and miss
#   (build/fuzz/TARGET.coverage), from the coverage instrumentation of the plug-in's objects.
# fuzz/dictionaries/TARGET.dict, when there is one, gives libFuzzer the tokens that matter.
# The host itself checks each input for leaked references; libFuzzer's per-input leak check is off
# (the host keeps released records for a while after release), LeakSanitizer still runs at exit.
# New corpus entries go to build/fuzz/corpus/TARGET (the committed corpus is only read, so that
# the tree stays small: merge into it on purpose with --merge). A finding leaves its input in
# build/fuzz/findings/TARGET; copy it to fuzz/regressions/TARGET once it is fixed. Each run
# appends its execution count to build/fuzz/runs.log. Runs at the lowest priority.
set -euo pipefail
cd "$(dirname "$0")/.."

targets_all=(call rtf utf8 entities quoted_printable url)
target=call
limit=(-max_total_time=60)
merge=0
coverage=0
extra=()
while [ $# -gt 0 ]; do
  case "$1" in
    --runs) limit=(-runs="$2"); shift 2 ;;
    --seconds) limit=(-max_total_time="$2"); shift 2 ;;
    --merge) merge=1; shift ;;
    --coverage) coverage=1; shift ;;
    --) shift; extra=("$@"); break ;;
    -h|--help) sed -n 2,20p "$0"; exit 0 ;;
    *) target="$1"; shift ;;
  esac
done

# Debian's clang and its libFuzzer runtime.
need=()
for p in clang libclang-rt-dev llvm cmake ninja-build libffi-dev; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || need+=("$p")
done
if [ ${#need[@]} -gt 0 ]; then
  echo "fuzz: installing ${need[*]}"
  sudo_() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }
  export DEBIAN_FRONTEND=noninteractive
  sudo_ apt-get update -qq
  sudo_ apt-get install -y -qq --no-install-recommends "${need[@]}"
fi

cmake --preset fuzz >/dev/null
nice -n 19 cmake --build --preset fuzz -j "${ZYL_JOBS:-2}"

if [ "$target" = all ]; then selected=("${targets_all[@]}"); else selected=("$target"); fi
for t in "${selected[@]}"; do
  program=build/fuzz/fuzz/zyl_fuzz_$t
  [ -x "$program" ] || { echo "fuzz: no target $t (one of: ${targets_all[*]} all)" >&2; exit 2; }
  corpus=fuzz/corpus/$t
  work=build/fuzz/corpus/$t
  findings=build/fuzz/findings/$t
  mkdir -p "$corpus" "$work" "$findings" "fuzz/regressions/$t"
  dict=()
  [ -f "fuzz/dictionaries/$t.dict" ] && dict=(-dict="fuzz/dictionaries/$t.dict")
  export ASAN_OPTIONS="allocator_may_return_null=1:detect_leaks=1:abort_on_error=1"
  export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
  if [ $merge = 1 ]; then
    tmp=$(mktemp -d)
    nice -n 19 "$program" -merge=1 "$tmp" "$corpus" "$work" "${dict[@]}" "${extra[@]}"
    rm -f "$corpus"/*
    cp "$tmp"/* "$corpus"/
    rm -rf "$tmp"
    continue
  fi
  if [ $coverage = 1 ]; then
    report=build/fuzz/$t.coverage
    nice -n 19 "$program" -runs=0 -print_coverage=1 -detect_leaks=0 "$work" "$corpus" "fuzz/regressions/$t" 2>&1 |
      grep -E '^(UN)?COVERED_FUNC' | grep '/src/' > "$report" || true
    echo "fuzz: $t reaches $(grep -c '^COVERED_FUNC' "$report") of the plug-in's functions and misses" \
         "$(grep -c '^UNCOVERED_FUNC' "$report") (list: $report)"
    continue
  fi
  log=build/fuzz/$t.log
  status=0
  nice -n 19 "$program" "$work" "$corpus" fuzz/regressions/"$t" "${limit[@]}" "${dict[@]}" \
    -artifact_prefix="$findings/" -print_final_stats=1 -rss_limit_mb=4096 -max_len=4096 -detect_leaks=0 "${extra[@]}" \
    2>&1 | tee "$log" | grep -E '^(#[0-9]+.*(pulse|DONE|INITED)|==|SUMMARY|zyl fuzz finding|stat::)' || true
  status=${PIPESTATUS[0]}
  runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo 0)
  echo "$(date -u +%FT%TZ) $t ${runs:-0} status=$status" >> build/fuzz/runs.log
  echo "fuzz: $t ran ${runs:-0} inputs (status $status; log $log)"
  [ "$status" = 0 ] || exit "$status"
done
