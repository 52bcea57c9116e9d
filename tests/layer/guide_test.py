#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Builds the C++ programs of the guide and runs them on a stream:
guide_test.py PROJECT LIBRARY COMPILER SANITIZERS

A block of the guide that begins with "// FILE.cpp" is a program; what it prints is compared with the block of
text behind it.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

PROJECT, LIBRARY = map(pathlib.Path, sys.argv[1:3])
COMPILER, SANITIZERS = sys.argv[3:5]
BLOCK = re.compile(r"```cpp\n// (\w+)\.cpp\n(.*?)```\n(.*?)(?=\n```cpp|\Z)", re.S)
OUTPUT = re.compile(r"```text\n\$ (.*?)\n(.*?)```", re.S)


def main():
    folder = pathlib.Path(tempfile.mkdtemp())
    for stream in (PROJECT / "tests/streams").glob("*.h26?"):
        (folder / stream.name).write_bytes(stream.read_bytes())
    flags = ["-std=c++17", "-Wall", "-Wextra", "-Werror", f"-I{PROJECT}/include"]
    flags += [f"-fsanitize={SANITIZERS}"] if SANITIZERS else []
    programs = 0
    for name, code, behind in BLOCK.findall((PROJECT / "docs/guide.md").read_text()):
        source = folder / f"{name}.cpp"
        source.write_text(code)
        subprocess.run([COMPILER, *flags, source, LIBRARY, f"-Wl,-rpath,{LIBRARY.parent}", "-o", folder / name],
                       check=True)
        command, expected = OUTPUT.search(behind).groups()
        printed = subprocess.run(command, shell=True, cwd=folder, capture_output=True, text=True, check=True).stdout
        assert printed == expected, f"{command} printed\n{printed}and not\n{expected}"
        programs += 1
    assert programs >= 6, programs


main()
