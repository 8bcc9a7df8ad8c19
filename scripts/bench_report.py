#!/usr/bin/env python3
"""Turns the JSON of zyl_peers_benchmark into docs/benchmarks.md (targets, every row, the machine,
the date) and a PNG chart of the ratios against the targets. Called by scripts/bench.sh."""
import argparse
import datetime
import json
import os
import platform
import re
import subprocess
from collections import defaultdict

SIZES = ["64B", "4KiB", "1MiB", "16MiB", "2000ch"]

# The targets: (label, method, corpora, sizes, measure, bound, peers). measure "peer" is the
# method's speed over the fastest listed peer's, "memcpy" over memcpy's, "time" the method's time
# over the peer's (at most bound).
TARGETS = [
    ("CheckUTF8ZYL, ASCII", "CheckUTF8ZYL", ["ascii"], ["1MiB", "16MiB"], "peer", 4, ["glib"]),
    ("CheckUTF8ZYL, Latin/Cyrillic/CJK/emoji", "CheckUTF8ZYL", ["latin", "cyrillic", "cjk", "emoji"],
     ["1MiB", "16MiB"], "peer", 2, ["glib"]),
    ("CheckUTF8ZYL, 1% bad bytes", "CheckUTF8ZYL", ["latin-1%-bad"], ["1MiB", "16MiB"], "peer", 1, ["glib"]),
    ("text buffer UTF-16 form", "rbText-UTF16-form", None, ["1MiB", "16MiB"], "peer", 1, ["icu-u_strFromUTF8"]),
    ("text buffer UTF-32 form", "rbText-UTF32-form", None, ["1MiB", "16MiB"], "peer", 1, ["icu-u_strFromUTF8"]),
    ("EncodingToCP1252ZYL", "EncodingToCP1252ZYL", None, ["1MiB", "16MiB"], "peer", 1, ["icu-windows-1252"]),
    ("DecodingFromCP1252ZYL", "DecodingFromCP1252ZYL", None, ["1MiB", "16MiB"], "peer", 1, ["icu-windows-1252"]),
    ("EncodingToISO8859ZYL", "EncodingToISO8859ZYL", None, ["1MiB", "16MiB"], "peer", 1, ["icu-ISO-8859-1"]),
    ("DecodingFromISO8859ZYL", "DecodingFromISO8859ZYL", None, ["1MiB", "16MiB"], "peer", 1, ["icu-ISO-8859-1"]),
    ("EncodingToURLZYL", "EncodingToURLZYL", None, ["1MiB", "16MiB"], "peer", 3, ["curl", "glib"]),
    ("DecodingFromURLZYL", "DecodingFromURLZYL", None, ["1MiB", "16MiB"], "peer", 3, ["curl", "glib"]),
    ("EncodingToHTMLZYL", "EncodingToHTMLZYL", None, ["1MiB", "16MiB"], "peer", 2, ["glib-markup"]),
    ("EncodingToQuotedPrintableZYL", "EncodingToQuotedPrintableZYL", None, ["1MiB", "16MiB"], "peer", 2, ["gmime"]),
    ("DecodingFromQuotedPrintableZYL", "DecodingFromQuotedPrintableZYL", None, ["1MiB", "16MiB"], "peer", 2,
     ["gmime"]),
    ("EncodingToHexZYL", "EncodingToHexZYL", None, ["1MiB", "16MiB"], "peer", 2, ["plain-loop"]),
    ("DecodingFromHexZYL", "DecodingFromHexZYL", None, ["1MiB", "16MiB"], "peer", 2, ["plain-loop"]),
    ("StringXORZYL", "StringXORZYL", None, ["1MiB", "16MiB"], "peer", 2, ["plain-loop"]),
    ("IsASCIIStringZYL (of memcpy)", "IsASCIIStringZYL", None, ["1MiB"], "memcpy", 0.5, []),
    ("ReplaceLineEndingsZYL", "ReplaceLineEndingsZYL", None, ["1MiB", "16MiB"], "peer", 1, ["plain-loop"]),
    ("CountOccurancesZYL", "CountOccurancesZYL", None, ["1MiB", "16MiB"], "peer", 1, ["glibc-memmem"]),
    ("InStrBytesZYL", "InStrBytesZYL", None, ["1MiB", "16MiB"], "peer", 0.5, ["glibc-strcspn"]),
    ("composition", "ConvertUnicodeToCharacterCompositionZYL", None, ["1MiB", "16MiB"], "peer", 1, ["icu-NFC"]),
    ("decomposition", "ConvertUnicodeToCharacterDecompositionZYL", None, ["1MiB", "16MiB"], "peer", 1, ["icu-NFD"]),
    ("LevenshteinDistanceZYL, 2,000 x 2,000 (time)", "LevenshteinDistanceZYL", None, ["2000ch"], "time", 1.5,
     ["plain-two-row"]),
]


def load(path):
    with open(path) as f:
        data = json.load(f)
    rows = {}
    for b in data["benchmarks"]:
        if b.get("run_type") == "aggregate" or b.get("error_occurred"):
            continue
        who, method, corpus, size = b["name"].split("/")[:4]
        row = {
            "bps": b.get("bytes_per_second", 0.0),
            "time": b["cpu_time"] * {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[b["time_unit"]],
            "label": b.get("label", ""),
            "runs": 1,
            "registered": (b.get("family_index", 0), b.get("per_family_instance_index", 0)),
        }
        # Repetitions of a row: the fastest stands for it (the others met more of the machine's
        # other work), for the library's rows and the peers' alike.
        key = (who, method, corpus, size)
        if key in rows:
            row["runs"] += rows[key]["runs"]
            if rows[key]["time"] <= row["time"]:
                row.update({k: rows[key][k] for k in ("bps", "time", "label")})
        rows[key] = row
    return data["context"], rows


def rate(bps):
    for unit, scale in (("GB/s", 1e9), ("MB/s", 1e6), ("kB/s", 1e3)):
        if bps >= scale:
            return f"{bps / scale:.2f} {unit}"
    return f"{bps:.0f} B/s"


def duration(seconds):
    for unit, scale in (("s", 1.0), ("ms", 1e-3), ("µs", 1e-6)):
        if seconds >= scale:
            return f"{seconds / scale:.3g} {unit}"
    return f"{seconds * 1e9:.3g} ns"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("json")
    parser.add_argument("markdown")
    parser.add_argument("png")
    parser.add_argument("--core", default="?")
    parser.add_argument("--load-before", default="?")
    parser.add_argument("--load-after", default="?")
    parser.add_argument("--peers", default="")
    args = parser.parse_args()
    context, rows = load(args.json)

    groups = defaultdict(dict)  # (method, corpus, size) -> who -> row
    order = []
    # In the order the rows were registered (the runs themselves come in random order).
    for (who, method, corpus, size), row in sorted(rows.items(), key=lambda item: item[1]["registered"]):
        key = (method, corpus, size)
        if key not in groups:
            order.append(key)
        groups[key][who] = row

    def peers_of(key):
        return {w[5:]: r for w, r in groups[key].items() if w.startswith("peer:")}

    def ratio(key, measure, peers):
        g = groups.get(key)
        if not g or "zyl" not in g:
            return None
        ours = g["zyl"]
        if measure == "memcpy":
            return ours["bps"] / g["memcpy"]["bps"] if g.get("memcpy", {}).get("bps") else None
        candidates = [r for name, r in peers_of(key).items() if name in peers]
        if not candidates:
            return None
        if measure == "time":
            return ours["time"] / min(r["time"] for r in candidates)
        return ours["bps"] / max(r["bps"] for r in candidates)

    # Targets.
    target_lines = []
    chart = []
    for label, method, corpora, sizes, measure, bound, peers in TARGETS:
        cells = []
        met = True
        for key in order:
            if key[0] != method or key[2] not in sizes or (corpora and key[1] not in corpora):
                continue
            value = ratio(key, measure, peers)
            if value is None:
                continue
            ok = value <= bound if measure == "time" else value >= bound
            met = met and ok
            cells.append(f"{key[1]} {key[2]} {value:.2f}" + ("" if ok else " ✗"))
            chart.append((f"{label} · {key[1]} {key[2]}", bound / value if measure == "time" else value / bound))
        want = f"≤ {bound}× the time" if measure == "time" else f"≥ {bound}× " + ("memcpy" if measure == "memcpy" else " / ".join(peers))
        target_lines.append(f"| {label} | {want} | {'; '.join(cells) or '—'} | {('met' if met else 'not met') if cells else '—'} |")

    # Per-call cost at 64 B against the host's cost of building the result.
    call_lines = []
    for key in order:
        if key[2] != "64B":
            continue
        g = groups[key]
        if "zyl" not in g or "host" not in g:
            continue
        host = g["host"]
        if host["label"].startswith("0 result bytes"):
            continue
        r = g["zyl"]["time"] / host["time"]
        overhead = r - 1
        call_lines.append(f"| {key[0]} | {key[1]} | {duration(g['zyl']['time'])} | {duration(host['time'])} | {r:.2f} | "
                          f"{overhead:.2f}" + ("" if overhead <= 2 else " ✗") + " |")

    # Every row.
    all_lines = []
    for key in order:
        g = groups[key]
        if "zyl" not in g:
            continue
        ours = g["zyl"]
        memcpy = g.get("memcpy", {}).get("bps")
        host = g.get("host")
        share = f"{min(host['time'] / ours['time'], 1.0) * 100:.0f}%" if host and ours["time"] > 0 and not host["label"].startswith("0 result") else "—"
        peer_cells = []
        for name, r in peers_of(key).items():
            peer_cells.append(f"{name} {rate(r['bps'])} → **{ours['bps'] / r['bps']:.2f}×** ({r['label']})")
        all_lines.append(f"| {key[0]} | {key[1]} | {key[2]} | {rate(ours['bps'])} | "
                         f"{(ours['bps'] / memcpy) if memcpy else 0:.3f} | {share} | {'<br>'.join(peer_cells) or '—'} |")

    machine = context.get("host_name", platform.node())
    try:
        cpu = subprocess.run(["sh", "-c", "grep -m1 'model name' /proc/cpuinfo | cut -d: -f2"], capture_output=True,
                             text=True).stdout.strip()
        memory = subprocess.run(["sh", "-c", "free -g | awk '/Mem:/ {print $2\" GiB\"}'"], capture_output=True,
                                text=True).stdout.strip()
        compiler = subprocess.run(["c++", "--version"], capture_output=True, text=True).stdout.splitlines()[0]
    except (OSError, IndexError):
        cpu, memory, compiler = "?", "?", "?"
    caches = ", ".join(f"L{c['level']} {c['type'].lower()} {c['size'] // 1024} KiB" for c in context.get("caches", []))
    date = context.get("date", datetime.datetime.now().isoformat())
    runs = max((row["runs"] for row in rows.values()), default=1)

    md = f"""# Benchmarks

Made by `scripts/bench.sh` on {date[:10]}: the registered methods called through the in-memory host
as the host calls them, next to the libraries people would use instead, on the same deterministic
inputs in the same run (program `bench/peers_benchmark.cpp`, inputs
`bench/peers_corpora.h`).

## Machine

- {cpu}, {context.get('num_cpus', '?')} cores at {context.get('mhz_per_cpu', '?')} MHz ({caches}); {memory}; {platform.system()} {platform.release()} {platform.machine()}
- {compiler}; the `native` preset (RelWithDebInfo, -O2); peers from Debian's packages: {args.peers}
- pinned to core {args.core}; load average {args.load_before} before the run, {args.load_after} after it
  (two cores shared with other work: the ratios within one run are what counts); every row ran
  {runs} times, the runs of all rows interleaved in random order, and the fastest of its runs
  stands for it (for the peers as for the library)
- glibc's malloc thresholds are fixed for the run (`mallopt`), so that blocks of a few MiB come back
  from the heap for every row alike instead of as fresh pages that glibc's adaptive thresholds hand
  out depending on the order of the rows; the heap is grown to 512 MiB (its pages touched) once at
  the start, so that blocks of 32 MiB and more come from it too

## How to read it

Speeds are input bytes per second of CPU time. "× memcpy" is the speed over a `memcpy` of the same
input in the same run (the limit of one core). "× peer" is the speed over the peer's on the same
input (above 1: faster). A peer's note says whether its output equals ours byte for byte (compared
once, outside the timing) or how its job differs. "host" is the share of the call's time that the
host alone needs to build the result from its bytes. Characters for the similarity rows: two strings
of 2,000 characters.

## Targets

At 1 MiB and 16 MiB (the ratio per corpus and size; ✗ marks a row below its target).

| what | target | measured | |
|---|---|---|---|
{chr(10).join(target_lines)}

![ratios over their targets](benchmarks.png)

### Per call at 64 B

"call ÷ build" is the call's time over the host's own time to build the same result from its
bytes; "overhead ÷ build" is what the call adds to that build (reading the arguments through the
host, the work, the guard) over the build itself: the target is an overhead of at most 2× the build.
Rows whose result is no string (integers, booleans, RTF import) are left out.

| method | input | call | host build | call ÷ build | overhead ÷ build |
|---|---|---|---|---|---|
{chr(10).join(call_lines)}

## Where targets are not met

See the notes below the table; they are written by hand after each run.

## Every row

| method | input | size | speed | × memcpy | host | peers |
|---|---|---|---|---|---|---|
{chr(10).join(all_lines)}
"""
    notes_path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "bench_notes.md")
    if os.path.exists(notes_path):
        with open(notes_path) as f:
            md = md.replace("See the notes below the table; they are written by hand after each run.\n", f.read())
    with open(args.markdown, "w") as f:
        f.write(md)

    try:
        import matplotlib
        matplotlib.use("Agg")
        import matplotlib.pyplot as plt
    except ImportError:
        raise SystemExit("bench_report: matplotlib is missing (Debian's python3-matplotlib); no chart written")
    labels = [c[0] for c in chart]
    values = [c[1] for c in chart]
    fig, ax = plt.subplots(figsize=(10, max(4, 0.22 * len(labels))))
    colours = ["#2a9d55" if v >= 1 else "#d1495b" for v in values]
    ax.barh(range(len(labels)), values, color=colours)
    ax.axvline(1.0, color="black", linewidth=1)
    ax.set_xscale("log")
    ax.set_yticks(range(len(labels)))
    ax.set_yticklabels(labels, fontsize=7)
    ax.invert_yaxis()
    ax.set_xlabel("measured ratio over its target (right of the line: met)")
    ax.set_title(f"libZYLString against its peers, {date[:10]}")
    fig.tight_layout()
    fig.savefig(args.png, dpi=110)


if __name__ == "__main__":
    main()
