#!/usr/bin/env python3
"""Prints library/peer time ratios from a Google Benchmark JSON report.

Benchmarks come in pairs named BM_<Op>_Varn and BM_<Op>_<Peer>; the ratio is the library's
time divided by the peer's (below 1: the library is faster). With repetitions, medians are used.
Usage: bench/StringBench --benchmark_format=json | scripts/bench-ratios.py
"""
import json
import sys

report = json.load(sys.stdin)
times = {}
for b in report["benchmarks"]:
    if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "median":
        continue
    name = b.get("run_name", b["name"]).split("/")[0]
    times[name] = b["real_time"]

ops = {}
for name, t in times.items():
    if not name.startswith("BM_") or "_" not in name[3:]:
        continue
    op, side = name[3:].rsplit("_", 1)
    ops.setdefault(op, {})[side] = t

print(f"{'operation':<24}{'library':>12}{'peer':>12}  ratio")
for op, sides in ops.items():
    if "Varn" not in sides:
        continue
    for peer, t in sides.items():
        if peer == "Varn":
            continue
        print(f"{op:<24}{sides['Varn']:>10.1f}ns{t:>10.1f}ns  {sides['Varn'] / t:.2f} (vs {peer})")
