#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the commands and Python scripts of the guide and compares what they print: guide_commands_test.py PROGRAM"""
import os
import pathlib
import re
import subprocess
import tempfile

from host import PROGRAM, ROOT

SCRIPT = re.compile(r"```python\n# (\w+\.py)\n(.*?)```", re.S)
BLOCK = re.compile(r"```text\n(\$ nalsmith .*?)```", re.S)
COMMAND = re.compile(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", re.M)


def main():
    folder = pathlib.Path(tempfile.mkdtemp())
    for name in ("samples", "tests"):
        (folder / name).symlink_to(ROOT / name)
    (folder / "bin").mkdir()
    (folder / "bin/nalsmith").symlink_to(pathlib.Path(PROGRAM).resolve())
    environment = {**os.environ, "PATH": f"{folder}/bin:{os.environ['PATH']}"}
    guide = (ROOT / "docs/guide.md").read_text()
    for name, code in SCRIPT.findall(guide):
        (folder / name).write_text(code)
    shown = set()
    for block in BLOCK.findall(guide):
        for command, expected in COMMAND.findall(block):
            printed = subprocess.run(command, shell=True, cwd=folder, env=environment, stdout=subprocess.PIPE,
                                     stderr=subprocess.STDOUT, text=True).stdout
            assert printed == expected, f"{command} printed\n{printed}and not\n{expected}"
            shown.update(re.findall(r"nalsmith ((?:userdata )?\w+)", command))
    known = set(re.findall(r"(?m)^\.B nalsmith ((?:userdata )?\w+) ", manual()))
    assert shown == known and len(known) > 10, known ^ shown


def manual():
    return (pathlib.Path(PROGRAM).resolve().parents[2] / "share/man/man1/nalsmith.1").read_text()


main()
