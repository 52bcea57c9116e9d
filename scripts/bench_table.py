#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints medians of a benchmark's CPU times, and the ratios of the sides of each row."""
import collections
import json
import statistics
import sys


def medians(path):
    """name -> (seconds a round, bytes a second)"""
    times = collections.defaultdict(list)
    rates = collections.defaultdict(list)
    for row in json.load(open(path))["benchmarks"]:
        if row["run_type"] == "iteration":
            times[row["run_name"]].append(row["cpu_time"])
            rates[row["run_name"]].append(row.get("bytes_per_second", 0.0))
    return {name: (statistics.median(times[name]), statistics.median(rates[name])) for name in times}


def main():
    rows = collections.defaultdict(dict)
    for name, result in medians(sys.argv[1]).items():
        row, _, side = name.rpartition("/")
        rows[row][side] = result
    print(f"{'row':32}{'side':>14}{'GB/s':>8}{'ratio':>8}")
    for row, sides in rows.items():
        base = sides.get("library")
        for side, (time, rate) in sides.items():
            ratio = f"{time / base[0]:8.2f}" if base and side != "library" else ""
            print(f"{row:32}{side:>14}{rate / 1e9:8.2f}{ratio}")


main()
