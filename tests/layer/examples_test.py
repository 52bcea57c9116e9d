#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the example programs: examples_test.py FOLDER_OF_PROGRAMS FOLDER_OF_STREAMS."""
import pathlib
import re
import subprocess
import sys
import tempfile

PROGRAMS, STREAMS = map(pathlib.Path, sys.argv[1:3])


def run(name, *arguments):
    command = [PROGRAMS / f"nalsmith-example-{name}", *map(str, arguments)]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def lose(data, first, count):
    return data[:first] + data[first + count:]


def main():
    folder = pathlib.Path(tempfile.mkdtemp())
    once = STREAMS / "hevc_aud_headers_once.h265"
    out = folder / "out.h265"

    assert "24 access units recorded, 0 before" in run("recorder", once, out)
    assert out.stat().st_size > once.stat().st_size  # the later key frames got parameter sets
    starts = folder / "starts.h265"
    starts.write_bytes(out.read_bytes()[500:])
    assert re.match(r"20 access units recorded, \d before", run("recorder", starts, out))

    run("metadata", "add", once, out)
    assert run("metadata", "show", out).split("\n")[:24] == [f"frame {i}" for i in range(24)]
    assert set(run("metadata", "show", once).split()) == {"-"}

    assert "0 losses, 0 access units held back" in run("gateway", once, out)
    assert out.read_bytes() == once.read_bytes()
    broken = folder / "broken.h265"
    broken.write_bytes(lose(once.read_bytes(), 3000, 1316))
    report = run("gateway", broken, out)
    assert "asks for a key picture" in report and "\n0 losses" not in report
    assert out.stat().st_size < broken.stat().st_size
    assert "0 losses, 0 access units held back" in run("gateway", out, folder / "again.h265")

    parts = run("splitter", once, folder / "part").splitlines()
    assert len(parts) == 3 and all(part.endswith("128x96") for part in parts)
    for i in range(3):
        assert "0 before" in run("recorder", folder / f"part{i}.h265", out)

    if (PROGRAMS / "nalsmith-example-mp4").exists():  # where libavformat is
        lines = run("mp4", STREAMS / "avc_size_change.h264", folder / "size").splitlines()
        assert [line.split(": ")[1] for line in lines] == 3 * ["12 frames"]
        assert all(b"avcC" in (folder / f"size{i}.mp4").read_bytes() for i in range(3))


main()
