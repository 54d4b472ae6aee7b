#!/usr/bin/env python3
"""Each sample of the chosen benchmarks in a process of its own.

In one process the heap a library leaves behind changes the time of the next
one by a third or more, whatever the order. Here every sample starts from a
fresh process (the same start for every library), the rounds visit the
benchmarks in a new random order each time, and the table gives the median
CPU time of each with its spread (max - min over the median). For names of
the form ID/document/library it also gives our time over the fastest other
library's on the same document.

    bench/fresh_samples.py build-bench/bench/pz_bench '^(JR|JD|JM)/' [rounds]
"""
import json
import random
import statistics
import subprocess
import sys


def names(program, pattern):
    out = subprocess.run([program, "--sample", "--benchmark_list_tests", "--benchmark_filter=" + pattern],
                         check=True, capture_output=True, text=True).stdout
    return [line for line in out.splitlines() if line]


def literal(name):
    """`name` as a pattern that matches only itself (no backslashes: the
    benchmark library's regular expressions refuse some escapes)."""
    return "".join("[" + c + "]" if c in ".+*?(){}|^$" else c for c in name)


def sample(program, name):
    out = subprocess.run([program, "--sample", "--benchmark_filter=^" + literal(name) + "$",
                          "--benchmark_repetitions=1", "--benchmark_format=json"],
                         check=True, capture_output=True, text=True).stdout
    runs = json.loads(out)["benchmarks"]
    scale = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}
    return runs[0]["cpu_time"] * scale[runs[0]["time_unit"]]


def main():
    program, pattern = sys.argv[1], sys.argv[2]
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 5
    chosen = names(program, pattern)
    times = {name: [] for name in chosen}
    for _ in range(rounds):
        random.shuffle(chosen)
        for name in chosen:
            times[name].append(sample(program, name))
    medians = {name: statistics.median(t) for name, t in times.items()}
    print(f"{'benchmark (own process per sample)':44} {'median ms':>10} {'spread':>7} {'pz/best':>8}")
    for name in sorted(times):
        parts = name.split("/")
        ratio = ""
        if len(parts) >= 3 and parts[2] == "pz":
            others = [m for n, m in medians.items() if n.split("/")[:2] == parts[:2] and n.split("/")[2] != "pz"]
            if others:
                ratio = f"{medians[name] / min(others):8.2f}"
        t = times[name]
        spread = (max(t) - min(t)) / medians[name] * 100
        print(f"{name.split('/min_time')[0]:44} {medians[name]:10.2f} {spread:6.0f}% {ratio:>8}")


if __name__ == "__main__":
    main()
