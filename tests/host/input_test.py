#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Gives every command the inputs and outputs that life gives it. Usage: input_test.py PROGRAM [TEST...]"""
import json
import os
import subprocess
import threading
import time
import unittest

from host import AVC, HEVC, PROGRAM, HostTest, without_room

READING = [["info"], ["units"], ["nals"], ["check"], ["params"], ["userdata", "get"]]
COPYING = [["report"], ["complete"], ["convert", "--to", "length"], ["userdata", "add", "--text", "x"],
           ["userdata", "remove"]]
SMALL = AVC.read_bytes()[:9000]  # cut short within a NAL unit


class AnyInput(HostTest):
    def outputs(self, source, **options):  # of every command that can write to the standard output
        return [self.run_host(*command, source, **options).stdout for command in READING] + [
            self.run_host(*command, source, "-o", "-", **options).stdout for command in COPYING]

    def test_standard_input_pipe_and_file_are_alike(self):
        file, pipe = self.write("file", SMALL), self.folder / "pipe"
        os.mkfifo(pipe)
        expected = [out.replace(str(file).encode(), b"@") for out in self.outputs(file)]
        for got, want in zip(self.outputs("-", stdin=SMALL), expected):
            self.assertEqual(got.replace(b"standard input", b"@"), want)

        def feed():
            with open(pipe, "wb", buffering=0) as writer:
                for byte in SMALL:
                    writer.write(bytes([byte]))

        for number, command in enumerate(READING + [command + ["-o", "-"] for command in COPYING]):
            thread = threading.Thread(target=feed)
            thread.start()
            got = self.run_host(*command, pipe).stdout
            thread.join()
            self.assertEqual(got.replace(str(pipe).encode(), b"@"), expected[number], command)

    def test_what_is_no_stream(self):
        inputs = {"empty": b"", "text": b"Once upon a time\n" * 999, "movie.mp4": b"\0\0\0\x18ftypisom\0\0\0\1\x67",
                  "movie.mkv": b"\x1a\x45\xdf\xa3\0\0\1\x67", "movie.ts": (b"\x47" + b"\0" * 187) * 9,
                  "noise": b"\0\0\1\x80" * 40, "missing": None, "folder": None}
        told = {"empty": "the input is empty", "text": "no start code found", "movie.mp4": "MP4", "movie.mkv": "Matroska",
                "movie.ts": "MPEG transport stream", "noise": "neither H.264 nor H.265",
                "missing": "No such file or directory", "folder": "Is a directory"}
        (self.folder / "folder").mkdir()
        out = self.write("out", b"before")
        for name, content in inputs.items():
            path = self.folder / name
            if content is not None:
                path.write_bytes(content)
            for command in READING + [command + ["-o", out] for command in COPYING] + [
                    ["split", "-o", self.folder / "new"]]:
                done = self.run_host(*command, path, status=3)
                self.assertRegex(done.stderr.decode(), rf"\Analsmith: {path}: .*{told[name]}.*\n\Z")
                self.assertEqual(done.stdout, b"")
        self.assertEqual({*os.listdir(self.folder), "missing"}, {*inputs, "out"})
        self.assertEqual(out.read_bytes(), b"before")

    def test_layers_and_forbidden_bits_are_named(self):
        for path, stray, told in ((AVC, b"\0\0\1\x74\1\1\1\1", b"SVC, MVC"), (AVC, b"\0\0\1\xe1\1\1\1", b"forbidden"),
                                  (HEVC, b"\0\0\1\x02\x09\1\1\1", b"nuh_layer_id above 0")):
            stream = path.read_bytes() + stray
            codec = ["--codec", "avc" if path == AVC else "hevc"]
            for command in READING + [command + ["-o", "-"] for command in COPYING]:
                warned = self.run_host(*command, "-", *codec, stdin=stream, status=None).stderr
                lines = [line for line in warned.splitlines() if b"warning" in line]
                self.assertEqual((len(lines), told in lines[0]), (1, True), (command, warned))
                quiet = self.run_host(*command, "-", *codec, "--quiet", stdin=stream, status=None)
                self.assertEqual(quiet.stderr, b"")


class AnyOutput(HostTest):
    def test_a_failed_write_leaves_what_was_there(self):
        out, stream = self.write("out", b"before"), self.write("stream", AVC.read_bytes())
        for command in COPYING:
            for target in (out, self.folder / "missing" / "out", self.folder):
                limit = {"preexec_fn": without_room} if target == out else {}
                done = self.run_host(*command, stream, "-o", target, status=4, **limit)
                self.assertRegex(done.stderr.decode(), rf"\Analsmith: {target}: .*\n\Z")
            self.assertEqual((sorted(os.listdir(self.folder)), out.read_bytes()), (["out", "stream"], b"before"))

    def test_a_file_takes_the_place_of_its_own_input(self):
        for command in COPYING:
            same = self.write("same", AVC.read_bytes())
            expected = self.run_host(*command, same, "-o", "-").stdout
            self.run_host(*command, same, "-o", same)
            self.assertEqual((same.read_bytes(), os.listdir(self.folder)), (expected, ["same"]), command)

    def test_a_reader_that_goes_away(self):
        for command in READING + [command + ["-o", "-"] for command in COPYING]:
            with subprocess.Popen([PROGRAM, *command, "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE) as run:
                run.stdout.close()
                try:
                    run.stdin.write(self.run_host("userdata", "add", AVC, "-o", "-", "--text", "x" * 999).stdout)
                    run.stdin.close()
                except BrokenPipeError:
                    pass
                self.assertEqual(run.stderr.read(), b"nalsmith: standard output: Broken pipe\n", command)
                self.assertEqual(run.wait(60), 4)

    def on_terminal(self, *arguments, seconds=0.0, **variables):  # what both outputs show on one
        try:
            ours, theirs = os.openpty()
        except OSError as reason:  # a container may have none
            self.skipTest(f"no terminal to be had: {reason}")
        variables = {name: value for name, value in os.environ.items() if name != "NO_COLOR"} | variables
        with subprocess.Popen([PROGRAM, *arguments], stdin=subprocess.PIPE, stdout=theirs, stderr=theirs,
                              env=variables) as run:
            os.close(theirs)
            run.stdin.write(AVC.read_bytes())
            run.stdin.flush()
            time.sleep(seconds)
            run.stdin.write(AVC.read_bytes())
            run.stdin.close()
            shown = b""
            try:
                while piece := os.read(ours, 4096):
                    shown += piece
            except OSError:  # nobody has it open any more
                pass
        os.close(ours)
        return shown

    def test_a_terminal(self):
        shown = self.on_terminal("info", "-", seconds=0.9)
        self.assertRegex(shown, rb"(?s)MB/s\r\x1b\[K.*\x1b\[1mparameter sets\x1b")
        self.assertNotIn(b"MB/s", self.on_terminal("info", "-", "--quiet", seconds=0.9))
        self.assertNotIn(b"\x1b", self.on_terminal("info", "-", NO_COLOR="1"))
        self.assertIn(b"\x1b[33mnalsmith: warning:", self.on_terminal("info", "-", "--codec", "hevc"))

    def test_json_is_one_object_a_line(self):
        for command in READING + [command + ["-o", self.folder / "out"] for command in COPYING]:
            for line in self.run_host(*command, AVC, "--json").stdout.splitlines():
                self.assertIsInstance(json.loads(line), dict)
        for command in COPYING:
            self.run_host(*command, AVC, "-o", "-", "--json", status=2)


if __name__ == "__main__":
    unittest.main(verbosity=0)
