#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints what of src/ the tests run, and fails below the floor.

usage: coverage_report.py REPORT    gcovr's JSON
"""
import json
import pathlib
import sys

BRANCHES = 95.0  # percent, at least

# Lines that no test can run: file, a piece of the line, why.
UNREACHED = [
    ("src/parser/bitstream/NalScan.cpp", "return false;",
     "the scratch buffer is never smaller than a head, so that reading one needs no memory"),
    ("src/support/Memory.h", "return false;",
     "ReplaceBy() refuses 0 and more than 32 bits; its callers have u32 sizes above a capacity"),
]


def excused(file, text):
    return any(file == path and piece in text for path, piece, _ in UNREACHED)


def row(name, lines, lines_run, branches, branches_run):
    share = 100 * branches_run / branches if branches else 100.0
    print(f"{name:48} {lines_run:5} of {lines:5} {branches_run:6} of {branches:5} {share:7.1f} %")
    return share


def main():
    files = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))["files"]
    faults, totals, used = [], [0, 0, 0, 0], set()
    print(f"{'file':48} {'lines run':>14} {'branches taken':>15}")
    for entry in sorted(files, key=lambda entry: entry["file"]):
        source = pathlib.Path(entry["file"]).read_text(encoding="utf-8").splitlines()
        lines = [line for line in entry["lines"] if not line.get("gcovr/noncode")]
        branches = [branch for line in lines for branch in line["branches"]]
        for line in lines:
            text = source[line["line_number"] - 1].strip()
            if excused(entry["file"], text):
                used.add((entry["file"], text))
            elif line["count"] == 0:
                faults.append(f"{entry['file']}:{line['line_number']}: never run: {text}")
        counts = [len(lines), sum(line["count"] > 0 for line in lines),
                  len(branches), sum(branch["count"] > 0 for branch in branches)]
        totals = [total + count for total, count in zip(totals, counts)]
        row(entry["file"], *counts)
    share = row("all", *totals)
    if share < BRANCHES:
        faults.append(f"branches: {share:.1f} %, at least {BRANCHES} %")
    if len(files) < 20:
        faults.append(f"only {len(files)} files were measured")
    faults += [f"{path}: excused for nothing: {piece}" for path, piece, _ in UNREACHED
               if not any(file == path and piece in text for file, text in used)]
    print("\n".join(faults))
    return 1 if faults else 0


sys.exit(main())
