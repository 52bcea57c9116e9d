#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints the CPU times of a benchmark as tables: the library beside the other sides of each row, as medians; the C++
layer beside the library, the rows that have no library side, and how time and memory grow where a row was run at
several sizes, each of the fastest run."""
import collections
import json
import re
import statistics
import sys


def summaries(path, of_times, of_rates):
    """row -> side -> (time, GB/s, ns per access unit, bytes of memory per byte of input)"""
    runs = collections.defaultdict(list)
    for run in json.load(open(path))["benchmarks"]:
        if run["run_type"] == "iteration":
            runs[run["run_name"]].append((run["cpu_time"], run.get("bytes_per_second", 0) / 1e9,
                                          run.get("ns/unit", 0), run.get("peak/byte", 0)))
    rows = collections.defaultdict(dict)
    for name, values in runs.items():
        row, _, side = name.partition("/min_time:")[0].rpartition("/")
        times, rates, units, peaks = zip(*values)
        rows[row][side] = [of_times(times), of_rates(rates), of_times(units), max(peaks)]
    return sorted(rows.items(), key=lambda item: natural(item[0]))


def natural(text):
    return [int(part) if part.isdigit() else part for part in re.split(r"(\d+)", text)]


def table(header, lines):
    if lines:
        print("| " + " | ".join(header) + " |")
        print("|" + "---|" * len(header))
        for line in lines:
            print("| " + " | ".join(line) + " |")
        print()


def beside(row, sides, other):
    in_ns = row.startswith(("sample/", "query/"))
    unit = 2 if in_ns else 1
    cells = [row, f"{sides['library'][unit]:.1f}" + (" ns" if in_ns else "")]
    for name in other:
        if name not in sides:
            cells += ["", ""]
            continue
        cells += [f"{sides[name][unit]:.1f}", f"{sides[name][0] / sides['library'][0]:.2f}"]
    return cells


def layer_beside(row, sides, ratios):
    """The speed of each side, and the ratios of speeds that are named as pairs of sides."""
    names = dict.fromkeys(name for pair in ratios for name in reversed(pair))
    cells = [row] + [f"{sides[name][1]:.1f}" if name in sides else "" for name in names]
    for one, other in ratios:
        cells.append(f"{sides[other][0] / sides[one][0]:.2f}" if one in sides and other in sides else "")
    return ["row"] + list(names) + [f"{one} : {other}" for one, other in ratios], cells


def layer_tables(ordered):
    for ratios in ([("layer", "library"), ("whole_units", "library"), ("layer", "libavcodec")],
                   [("nal_units", "library")]):
        found = [layer_beside(row, sides, ratios) for row, sides in ordered if ratios[0][0] in sides]
        table(found[0][0] if found else [], [cells for _, cells in found])


def check_table(ordered):
    """What a check takes beside the walk that it cannot do without, in ns an access unit and a slice."""
    lines = []
    for row, sides in ordered:
        if not row.startswith("check/"):
            continue
        scan, of_bytes, of_unit = (sides[side][2] for side in ("scan", "bytes", "unit"))
        slices = int(row.rsplit("/", 1)[1])
        lines.append([row, f"{scan:.0f}", f"{of_bytes:.0f}", f"{of_bytes / scan:.2f}",
                      f"{(of_bytes - scan - 100) / slices:.0f}", f"{of_unit:.0f}", f"{of_unit / slices:.0f}"])
    table(["row", "scan, ns", "check(BytesView), ns", "against the scan", "beyond it and 100, a slice",
           "check(AccessUnit), ns", "a slice"], lines)


def main():
    ordered = summaries(sys.argv[1], statistics.median, statistics.median)
    # Whatever else a machine does only adds time, and these rows are too short for it to even out.
    fastest = summaries(sys.argv[1], min, max)
    for other in (["minimum", "libavcodec"], ["bytes"]):
        header = ["row", "library, GB/s"] + [text for name in other for text in (name, "speed against it")]
        table(header, [beside(row, sides, other) for row, sides in ordered
                       if "library" in sides and other[0] in sides])
    layer_tables(fastest)
    check_table(fastest)
    rest, growing = [], []
    for row, sides in fastest:
        for side, values in sorted(sides.items(), key=lambda item: natural(item[0])):
            time, rate, ns, peak = values
            size = re.fullmatch(r"(\d+)MB", side)
            half = sides.get(f"{int(size[1]) // 2}MB") if size else None
            if size:
                growing.append([row, side, f"{rate:.3g}", f"{time / half[0]:.2f}" if half else "",
                                f"{peak:.2f}" if peak else ""])
            elif "library" not in sides and not row.startswith("check/"):
                rest.append([row, side, f"{rate:.3g}", f"{ns:.0f} ns" if ns else ""])
    table(["row", "", "GB/s", "a unit"], rest)
    table(["row", "size", "GB/s", "time against half the size", "bytes of memory a byte"], growing)


main()
