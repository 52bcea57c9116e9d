# SPDX-License-Identifier: MIT
"""What the tests of the host program share. The program is the first argument of the script."""
import json
import pathlib
import re
import resource
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
STREAMS = ROOT / "tests/streams"
AVC, HEVC = (ROOT / f"samples/testsrc2_320x180.{ending}" for ending in ("h264", "h265"))
FACTS = json.loads((STREAMS / "facts.json").read_text())
ALL = [(path, path.suffix == ".h265") for path in [AVC, HEVC] + [STREAMS / name for name in FACTS]]
FIELDS = """width height frameRateNum frameRateDen video_signal_type_present_flag video_format video_full_range_flag
    colour_description_present_flag colour_primaries transfer_characteristics matrix_coefficients""".split()
PROGRAM = sys.argv.pop(1)


def split(path):  # the bytes before the first start code, and the NAL units
    data = path.read_bytes()
    starts = [match.start() for match in re.finditer(rb"\x00?\x00\x00\x01", data)]
    return data[:starts[0]], [data[a:b] for a, b in zip(starts, starts[1:] + [len(data)])]


def payload(nal):
    return nal[nal.index(1) + 1:]


def nal_type(nal, hevc=False):
    return payload(nal)[0] >> 1 & 63 if hevc else payload(nal)[0] & 31


def without_room():  # in the host program's process: every write to a file fails, as on a full disk
    resource.setrlimit(resource.RLIMIT_FSIZE, (0, 0))


class HostTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_host(self, *arguments, status=0, stdin=b"", **options):
        done = subprocess.run([PROGRAM, *map(str, arguments)], input=stdin, capture_output=True, timeout=120, **options)
        if status is not None:
            self.assertEqual(done.returncode, status, (arguments, done.stderr))
        return done

    def json_lines(self, *arguments, **options):
        return [json.loads(line) for line in self.run_host(*arguments, **options).stdout.splitlines()]

    def write(self, name, data):
        (self.folder / name).write_bytes(data)
        return self.folder / name
