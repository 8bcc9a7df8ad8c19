#!/usr/bin/env bash
# Measures the library against the libraries people would use instead (glib, ICU, libcurl,
# utf8proc, GMime and plain loops) and writes docs/benchmarks.md and docs/benchmarks.png.
# Installs what it needs first (the peers are needed by nothing else). Runs pinned to one core.
#   scripts/bench.sh                        # everything
#   scripts/bench.sh --benchmark_filter=X   # arguments go to the benchmark program
# ZYL_BENCH_CORE (default 1) picks the core, ZYL_BENCH_MIN_TIME (default 0.1) the seconds per run
# of a row, ZYL_BENCH_REPETITIONS (default 3) the runs of each row; the runs of all rows are
# interleaved in random order and the report takes each row's fastest.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh libbenchmark-dev libglib2.0-dev libicu-dev libcurl4-openssl-dev libutf8proc-dev \
  libgmime-3.0-dev python3-matplotlib util-linux

cmake --preset native >/dev/null
cmake --build --preset native --target zyl_peers_benchmark -j "${ZYL_JOBS:-$(nproc)}"

core=${ZYL_BENCH_CORE:-1}
out=build/native/peers_benchmark.json
load_before=$(cut -d' ' -f1-3 /proc/loadavg)
taskset -c "$core" build/native/bench/zyl_peers_benchmark \
  --benchmark_min_time="${ZYL_BENCH_MIN_TIME:-0.1}" --benchmark_repetitions="${ZYL_BENCH_REPETITIONS:-3}" \
  --benchmark_enable_random_interleaving=true --benchmark_out="$out" --benchmark_out_format=json "$@"
load_after=$(cut -d' ' -f1-3 /proc/loadavg)

mkdir -p docs
# Debian's Python, where python3-matplotlib installs (another python3 may come first on PATH).
python=/usr/bin/python3
[ -x "$python" ] || python=python3
"$python" scripts/bench_report.py "$out" docs/benchmarks.md docs/benchmarks.png \
  --core "$core" --load-before "$load_before" --load-after "$load_after" \
  --peers "glib $(pkg-config --modversion glib-2.0), ICU $(pkg-config --modversion icu-uc), libcurl $(pkg-config --modversion libcurl), utf8proc $(pkg-config --modversion libutf8proc), GMime $(pkg-config --modversion gmime-3.0)"
echo "bench: wrote docs/benchmarks.md and docs/benchmarks.png"
