#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks how the shared library, or the program, is hardened.

usage: check_hardening.py LIBRARY_OR_PROGRAM [OBJECT...]

The marks of branch targets are looked for in the object files: of the whole library a linker writes them only where
the system's own start-up files have them too.
"""
import platform
import re
import subprocess
import sys


def readelf(*options):
    return subprocess.run(["readelf", "-W", *options], check=True, capture_output=True, text=True).stdout


def main():
    library, objects = sys.argv[1], sys.argv[2:]
    segments = readelf("-l", library)
    stack = re.search(r"^\s*GNU_STACK\s.*", segments, re.MULTILINE)
    # Type Offset VirtAddr PhysAddr FileSiz MemSiz Flags Align
    loads = [re.sub(r"\s+0x\w+\s*$", "", line).split(maxsplit=6)[6]
             for line in segments.splitlines() if line.split()[:1] == ["LOAD"]]
    checks = {
        "read-only relocations (RELRO)": "GNU_RELRO" in segments,
        "bound at load time (BIND_NOW)": re.search(r"BIND_NOW|Flags:.*\bNOW\b", readelf("-d", library)),
        "a stack that is not executable": stack and re.search(r"\sRW\s", stack[0]),
        "no segment that is writable and executable": len(loads) > 1 and not any(
            "W" in flags and "E" in flags for flags in loads),
        "no relocations in its code": "TEXTREL" not in readelf("-d", library),
        "protected stack frames": "__stack_chk_fail" in readelf("--dyn-syms", library),
    }
    if platform.machine() == "x86_64" and objects:
        checks["marked targets of branches (IBT, SHSTK)"] = len(objects) > 20 and all(
            "IBT, SHSTK" in readelf("-n", path) for path in objects)
    faults = [f"lacks: {name}" for name, good in checks.items() if not good]
    print("\n".join(faults) or f"{len(checks)} properties found")
    return 1 if faults else 0


sys.exit(main())
