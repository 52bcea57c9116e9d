#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the commands that write files, and what describes the commands. Usage: commands_test.py PROGRAM [TEST...]"""
import html.parser
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import time
import unittest

from host import ALL, AVC, HEVC, PROGRAM, HostTest, nal_type, payload, split, without_room

COMMANDS = ["info", "units", "nals", "check", "params", "report", "complete", "split", "convert", "userdata add",
            "userdata get", "userdata remove"]


class Complete(HostTest):
    def test_every_key_frame_can_be_entered(self):
        for path, hevc in ALL:
            out = self.folder / ("out" + path.suffix)
            told = json.loads(self.run_host("complete", path, "-o", out, "--json").stdout)
            self.assertEqual((told["bytesIn"], told["bytesOut"]), (path.stat().st_size, out.stat().st_size))
            sets = (32, 33, 34) if hevc else (7, 8)
            others = [[nal for nal in split(file)[1] if nal_type(nal, hevc) not in sets] for file in (path, out)]
            self.assertEqual(others[0], others[1], path)
            before, after = (self.json_lines("units", "--json", file) for file in (path, out))
            self.assertEqual([unit["key"] for unit in after], [unit["key"] for unit in before])
            known = any(nal_type(nal, hevc) in sets for nal in split(path)[1])
            pieces = self.folder / "pieces"
            files = self.json_lines("split", out, "-o", pieces, "--at-key", "--json")
            for piece in files if known else ():
                types = {nal_type(nal, hevc) for nal in split(pieces / piece["file"])[1]}
                self.assertLessEqual(set(sets) if piece["key"] else set(), types, (path, piece))
            shutil.rmtree(pieces)
            self.assertEqual(self.run_host("complete", out, "-o", "-").stdout, out.read_bytes())


# Slices that cannot be read come first; the library's own reading, by which `units` goes, drops them.
REFUSED = ("avc_hand_starts_in_the_middle.h264", "hevc_hand_vps_late.h265")


class Split(HostTest):
    def test_the_files_one_behind_the_other_are_the_input(self):
        odd = self.write("odd.h264", b"\5\0" + split(AVC)[1][0] + b"\0\0\1" + AVC.read_bytes())
        for path, _ in ALL + [(odd, False)]:
            units = self.json_lines("units", "--json", path)
            keys = sorted({0} | {unit["index"] for unit in units if unit["key"]})
            for options, begins in (([], list(range(len(units)))), (["--at-key"], keys)):
                target = self.folder / "pieces"
                listed = self.json_lines("split", path, "-o", target, "--json", *options)
                files = sorted(target.iterdir())
                self.assertEqual(b"".join(file.read_bytes() for file in files), path.read_bytes())
                if path.name not in REFUSED:
                    self.assertEqual([entry["firstUnit"] for entry in listed], begins)
                self.assertEqual([(entry["file"], entry["bytes"]) for entry in listed],
                                 [(file.name, file.stat().st_size) for file in files])
                self.assertEqual(files[0].name, "000000" + path.suffix)
                shutil.rmtree(target)

    def test_the_folder_appears_whole_or_not_at_all(self):
        full, empty, file = self.folder / "full", self.folder / "empty", self.write("file", b"x")
        full.mkdir()
        (full / "precious").write_bytes(b"x")
        empty.mkdir()
        for target in (full, file, self.folder / "missing" / "target"):
            self.run_host("split", AVC, "-o", target, status=4)
        self.run_host("split", AVC, "-o", self.folder / "new", status=4, preexec_fn=without_room)
        self.run_host("split", self.write("cut", b"no start code"), "-o", self.folder / "new", status=3)
        with subprocess.Popen([PROGRAM, "split", "-", "-o", self.folder / "new"], stdin=subprocess.PIPE,
                              stderr=subprocess.DEVNULL) as run:
            run.stdin.write(AVC.read_bytes() * 20)
            run.stdin.flush()
            deadline = time.monotonic() + 60
            while not list(self.folder.glob(".nalsmith*/000010.h264")) and time.monotonic() < deadline:
                time.sleep(0.02)
            run.terminate()
            self.assertEqual(run.wait(60), -signal.SIGTERM)
        self.assertEqual(sorted(os.listdir(self.folder)), ["cut", "empty", "file", "full"])
        self.assertEqual(os.listdir(full), ["precious"])
        self.run_host("split", AVC, "-o", f"{empty}/")
        self.assertEqual(len(os.listdir(empty)), 125)


class Convert(HostTest):
    def test_there_and_back(self):
        for path, _ in ALL:
            units = [payload(nal).rstrip(b"\0") for nal in split(path)[1]]
            for size in (2, 4):
                prefixed, back = self.folder / "prefixed", self.folder / "back"
                self.run_host("convert", path, "-o", prefixed, "--to", "length", "--length-size", size)
                expected = b"".join(len(unit).to_bytes(size, "big") + unit for unit in units if unit)
                self.assertEqual(prefixed.read_bytes(), expected, path)
                self.run_host("convert", prefixed, "-o", back, "--to", "annexb", "--length-size", size)
                self.assertEqual(back.read_bytes(), b"".join(b"\0\0\0\1" + unit for unit in units if unit))
        stray = b"\5" + back.read_bytes()
        told = self.run_host("convert", "-", "-o", prefixed, "--to", "length", stdin=stray).stderr
        self.assertIn(b"1 byte before the first start code left out", told)

    def test_what_does_not_fit_or_is_cut_short(self):
        out = self.folder / "out"
        told = self.run_host("convert", AVC, "-o", out, "--to", "length", "--length-size", 1, status=4).stderr
        self.assertRegex(told, rb"NAL unit \d+ at byte \d+ has \d+ bytes, too many for a length of 1 byte\n")
        for stream, place in ((b"\0\0\0\2ab\0\0\0\3ab", b"NAL unit 1 at byte 6"), (b"\0\0", b"NAL unit 0 at byte 0"),
                              (AVC.read_bytes(), b"NAL unit 1 at byte 5")):
            self.assertIn(place, self.run_host("convert", "-", "-o", out, "--to", "annexb", status=3,
                                               stdin=stream).stderr)
        self.assertEqual(os.listdir(self.folder), [])
        self.run_host("convert", AVC, "-o", out, "--to", "length", "--length-size", 3, status=2)


class Page(html.parser.HTMLParser):
    """Counts what a page shows, and collects what it would load."""

    def __init__(self, text):
        super().__init__()
        self.bars = self.keys = self.breaks = self.rows = 0
        self.loads = []
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        named = dict(attrs)
        self.bars += tag == "rect"
        self.keys += tag == "path" and named.get("class") == "key"
        self.breaks += tag == "path" and named.get("class") == "break"
        self.rows += tag == "tr"
        self.loads += [value for name, value in attrs if name in ("src", "href")]
        self.loads += [tag] * (tag in ("script", "link", "iframe", "img"))


class Report(HostTest):
    def test_what_the_page_shows(self):
        nals = split(AVC)[1]
        pictures = [at for at, nal in enumerate(nals) if nal_type(nal) in (1, 5)]
        lost = next(at for at in pictures[31:] if payload(nals[at])[0] & 96)
        broken = self.write("<i>&\"'.h264", b"".join(nals[:lost] + nals[lost + 1:]))
        for path, shown in ((AVC, (125, 5, 0)), (HEVC, (125, 5, 0)), (broken, (124, 5, 1))):
            text = self.run_host("report", path, "-o", "-").stdout.decode()
            page = Page(text)
            self.assertEqual((page.bars, page.keys, page.breaks, page.loads), (*shown, []))
            self.assertGreater(page.rows, 10)
            self.assertNotIn("<i>&", text)
            self.assertNotRegex(text, r"url\(|@import|fetch")

    @unittest.skipUnless(shutil.which("chromium"), "needs chromium")
    def test_a_browser_draws_it(self):
        page = self.folder / "report.html"
        self.run_host("report", HEVC, "-o", page)
        flags = """headless no-sandbox disable-gpu disable-quic no-first-run disable-background-networking
            disable-component-update disable-sync dump-dom""".split()
        done = subprocess.run(["chromium", *(f"--{flag}" for flag in flags), f"--user-data-dir={self.folder}/profile",
                               "--host-resolver-rules=MAP * ~NOTFOUND", page.as_uri()],
                              capture_output=True, timeout=120, check=True)
        drawn = Page(done.stdout.decode())
        self.assertEqual((drawn.bars, drawn.keys, drawn.loads), (125, 5, []))
        self.assertIn('<table id="types">', done.stdout.decode())


class Descriptions(HostTest):
    def test_every_command_explains_itself(self):
        for command in COMMANDS:
            text = self.run_host(*command.split(), "--help").stdout.decode()
            self.assertIn(f"Example:\n  nalsmith {command} ", text)
            for option in ("--codec", "--json", "--quiet", "FILE"):
                self.assertIn(option, text, command)

    def test_manual_page_and_completions(self):
        share = pathlib.Path(PROGRAM).resolve().parents[2] / "share"
        page, bash, zsh, fish = (share / name for name in (
            "man/man1/nalsmith.1", "bash-completion/completions/nalsmith", "zsh/site-functions/_nalsmith",
            "fish/vendor_completions.d/nalsmith.fish"))
        for command in COMMANDS:
            self.assertIn(f'.SS "nalsmith {command} FILE"', page.read_text())
            options = set(re.findall(r"--[a-z-]+", self.run_host(*command.split(), "--help").stdout.decode())) - {"--help"}
            for file in (page, bash, zsh):
                text = file.read_text().replace("\\-", "-")
                self.assertEqual([option for option in options if option not in text], [], file)
        for shell, file in (("bash", bash), ("zsh", zsh), ("fish", fish)):
            if shutil.which(shell):
                subprocess.run([shell, "-n", file], check=True)
        for words, expected in (("nalsmith ", {"info", "userdata", "split", "--help"}), ("nalsmith userdata re", {"remove"}),
                                ("nalsmith convert --to ", {"annexb", "length"}), ("nalsmith units --j", {"--json"})):
            script = f"""source {bash}; COMP_WORDS=({words}{'""' if words.endswith(' ') else ''})
                COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1)); _nalsmith; printf '%s\\n' "${{COMPREPLY[@]}}" """
            offered = subprocess.run(["bash", "-c", script], capture_output=True, text=True, check=True).stdout
            self.assertLessEqual(expected, set(offered.split()), words)


if __name__ == "__main__":
    unittest.main(verbosity=0)
