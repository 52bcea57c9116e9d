#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Who may include whom: reads the #include lines of the library, the headers and the host program.

A file belongs to the room with the longest matching path below, and may include its own room. Names that lead
to no file of the project are the system's. Includes must not form a cycle.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SEARCH = ["", "src", "include"]  # "" is the folder of the including file
SUPPORT, PUBLIC, QUEUE = "src/support", "include/nalsmith/nalsmith.h", "src/queue"
SHARED = [f"include/nalsmith/detail/{name}.hpp" for name in ("nal_types", "zero_pairs", "rules", "bits", "escape")]
NAL_TYPES, ZERO_PAIRS, RULES, BITS, ESCAPE = SHARED
LAYER, UMBRELLA = "include/nalsmith", "include/nalsmith/nalsmith.hpp"
DETAIL = "include/nalsmith/detail"
IN_DETAIL = [DETAIL, LAYER] + SHARED
AVC, HEVC, CUTTING, SEI = [f"{DETAIL}/{room}" for room in ("avc", "hevc", "reader", "sei")]
OBJECTS, RECORDS, BITSTREAM = "src/parser", "src/parser/records", "src/parser/bitstream"
BIT_READER = "src/parser/bitstream/BitReader.h"
SYNTAX, STREAM, ACCESS_UNIT = "src/parser/syntax", "src/parser/stream", "src/parser/stream/AccessUnit"
READER = [SUPPORT, RECORDS, OBJECTS]
CODEC = READER + [BITSTREAM, BIT_READER, SYNTAX, STREAM, ACCESS_UNIT]
ALLOWED = {
    PUBLIC: [],
    **{header: SHARED for header in SHARED},
    LAYER: [PUBLIC, AVC, HEVC, CUTTING, SEI] + IN_DETAIL,
    DETAIL: IN_DETAIL,
    AVC: IN_DETAIL,
    HEVC: IN_DETAIL,
    CUTTING: IN_DETAIL + [AVC, HEVC, SEI],
    SEI: IN_DETAIL,
    UMBRELLA: [LAYER],
    SUPPORT: [],
    QUEUE: [SUPPORT],
    RECORDS: [SUPPORT],
    OBJECTS: [SUPPORT, PUBLIC, QUEUE, RECORDS],
    BIT_READER: [SUPPORT],
    BITSTREAM: READER + [BIT_READER, ZERO_PAIRS, ESCAPE],
    SYNTAX: [SUPPORT, PUBLIC, BIT_READER],
    ACCESS_UNIT: [SUPPORT, PUBLIC, QUEUE, RECORDS],
    STREAM: [SUPPORT, RECORDS, BITSTREAM, ACCESS_UNIT],
    "src/parser/avc": CODEC + [NAL_TYPES, RULES],
    "src/parser/hevc": CODEC + [NAL_TYPES, RULES],
    "src/parser/userdata": READER + [BITSTREAM, NAL_TYPES],
    "src/api": [SUPPORT, PUBLIC, OBJECTS],
    "tools": [PUBLIC, LAYER, UMBRELLA],
}


def room_of(path):
    return max((room for room in ALLOWED if path.startswith(room)), key=len, default=None)


def includes_of(path):
    """The project's own files among the includes, with their line numbers; a quoted name must be one."""
    for number, line in enumerate((ROOT / path).read_text().splitlines(), 1):
        match = re.match(r'\s*#\s*include\s*(["<])([^">]+)', line)
        if not match:
            continue
        bases = [(ROOT / path).parent if base == "" else ROOT / base for base in SEARCH]
        found = [(base / match[2]).resolve() for base in bases if (base / match[2]).is_file()]
        if found and ROOT in found[0].parents:
            yield number, found[0].relative_to(ROOT).as_posix()
        elif match[1] == '"':
            yield number, None


def cycle_from(path, graph, trail, done):
    if path in trail:
        return trail[trail.index(path):] + [path]
    if path in done:
        return None
    done.add(path)
    return next(filter(None, (cycle_from(to, graph, trail + [path], done) for to in graph[path])), None)


def main():
    files = [path.relative_to(ROOT).as_posix() for top in ("src", "include", "tools")
             for path in sorted((ROOT / top).rglob("*")) if path.suffix in (".h", ".hpp", ".cpp")]
    graph, faults = {path: [] for path in files}, []
    for path in files:
        room = room_of(path)
        if room is None:
            faults.append(f"{path}: in no room; add its folder to scripts/check_layers.py")
            continue
        for number, target in includes_of(path):
            if target is None:
                faults.append(f"{path}:{number}: no such file in the project; system headers go in <>")
                continue
            graph[path].append(target)
            graph.setdefault(target, [])
            if room_of(target) not in ALLOWED[room] + [room]:
                faults.append(f"{path}:{number}: {room} may not include {target}")
    for path in files:
        cycle = cycle_from(path, graph, [], set())
        if cycle and path == cycle[0] == min(cycle):
            faults.append("cycle: " + " -> ".join(cycle))
    print("\n".join(faults) if faults else f"{len(files)} files in their layers")
    return 1 if faults or not files else 0


if __name__ == "__main__":
    sys.exit(main())
