#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Feeds 2 GB through pipes, made on the fly: large_pipe.py PROGRAM [BYTES]. The program has to keep below 64 MB."""
import os
import subprocess
import sys
import threading
import time

from host import AVC, PROGRAM

SIZE = int(sys.argv[1]) if len(sys.argv) > 1 else 2_000_000_000
MOST_KILOBYTES = 64 * 1024


def run(command):
    piece = AVC.read_bytes() * 10
    pieces = SIZE // len(piece)
    start = time.monotonic()
    run = subprocess.Popen([PROGRAM, *command], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def feed():
        for _ in range(pieces):
            run.stdin.write(piece)
        run.stdin.close()

    threading.Thread(target=feed, daemon=True).start()
    printed = 0
    while data := run.stdout.read1(1 << 20):
        printed += len(data)
    _, status, usage = os.wait4(run.pid, 0)
    took = time.monotonic() - start
    assert status == 0, run.stderr.read()
    print(f"{' '.join(command)}: {pieces * len(piece)} bytes in, {printed} out, {took:.1f} s, "
          f"{pieces * len(piece) / took / 1e6:.0f} MB/s, peak {usage.ru_maxrss / 1024:.1f} MB")
    assert usage.ru_maxrss < MOST_KILOBYTES, usage.ru_maxrss
    return pieces, printed


def main():
    pieces, printed = run(["complete", "-", "-o", "-", "--quiet"])
    assert printed == pieces * 10 * AVC.stat().st_size  # nothing put in, nothing lost


main()
