#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the host program on the bundled streams. Usage: host_test.py PROGRAM [TEST...]"""
import base64
import json
import os
import re
import signal
import subprocess
import time
import unittest

from host import ALL, AVC, FACTS, FIELDS, HEVC, PROGRAM, STREAMS, HostTest, nal_type, payload, split, without_room


class Units(HostTest):
    def test_facts_of_the_test_streams(self):
        for name, facts in FACTS.items():
            sequence = {int(at): dict(zip(FIELDS, values)) for at, values in facts["sequence"].items()}
            expected = [{"index": index, "size": size, "key": index in facts["key"], "sequence": sequence.get(index)}
                        for index, size in enumerate(facts["sizes"])]
            self.assertEqual(self.json_lines("units", "--json", STREAMS / name), expected, name)

    def test_samples(self):
        for path, codec, nals, kinds, rate in ((AVC, "avc", 261, ["SPS", "PPS"], [50, 2]),
                                               (HEVC, "hevc", 270, ["VPS", "SPS", "PPS"], [25, 1])):
            info = json.loads(self.run_host("info", "--json", path).stdout)
            self.assertEqual([info[key] for key in ("codec", "bytes", "nalUnits", "accessUnits", "keyFrames")],
                             [codec, path.stat().st_size, nals, 125, 5])
            sets = [[each["kind"], each["id"], each["sent"]] for each in info["parameterSets"]]
            self.assertEqual(sets, [[kind, 0, 5] for kind in kinds])
            [sequence] = info["sequences"]
            self.assertEqual(sequence["fields"], dict(zip(FIELDS, [320, 180, *rate, 1, 5, 0, 1, 1, 1, 1])))
            self.assertEqual(sequence["frameRate"], {"num": 25, "den": 1, "decimal": 25.0})
            self.assertIn(b"25/1 = 25.000 frames per second", self.run_host("info", path).stdout)
            units = self.json_lines("units", "--json", "-", stdin=path.read_bytes())
            self.assertEqual(([unit["index"] for unit in units if unit["key"]], sum(unit["size"] for unit in units)),
                             ([0, 25, 50, 75, 100], path.stat().st_size))
            self.assertEqual(len(self.run_host("units", path).stdout.splitlines()), 126)


class Nals(HostTest):
    def test_every_nal_unit_is_listed_where_it_stands(self):
        for path, hevc in ALL:
            leading, nals = split(path)
            at, expected = len(leading), []
            for nal in nals:
                expected.append([len(expected), at, len(nal), nal_type(nal, hevc)])
                at += len(nal)
            listed = self.json_lines("nals", "--json", path)
            self.assertEqual([[entry[key] for key in ("index", "offset", "size", "nal_unit_type")]
                              for entry in listed], expected, path)

    def test_slices_and_names_of_the_samples(self):
        listed = self.json_lines("nals", "--json", AVC)
        types = [entry["picType"] for entry in listed]
        self.assertEqual((types.count(7), types.count(None), types.count(5) + types.count(6)), (5, 136, 120))
        names = {f"coded slice of {kind} picture" for kind in ("an IDR", "a non-IDR")}
        self.assertEqual({entry["name"] for entry in listed if entry["isSlice"]}, names)
        self.assertEqual([entry["sliceHeaderSize"] for entry in listed[3:6]], [None, 3, None])
        names = [entry["name"] for entry in self.json_lines("nals", "--json", HEVC)[:6]]
        self.assertEqual(names, ["AUD_NUT", "VPS_NUT", "SPS_NUT", "PPS_NUT", "PREFIX_SEI_NUT", "IDR_N_LP"])

    def test_odd_units(self):
        for codec, stream, keys, expected in (
                ("avc", b"\5\0\0\0\0\1\x09\x10\0\0\1\0\0\1\x0a\0\0\1\xe5\x88\x84\0\0\1\x41\x9a",
                 ["offset", "size", "nal_unit_type", "nal_ref_idc", "forbidden_zero_bit", "isSlice"],
                 [[2, 6, 9, 0, 0, False], [8, 3, None, None, None, False], [11, 4, 10, 0, 0, False],
                  [15, 6, 5, 3, 1, False], [21, 5, 1, 2, 0, True]]),
                ("hevc", b"\0\0\1\x43\x0b\x12\0\0\1\x02\0\0\1\x2a\x01\x99",
                 ["nal_unit_type", "name", "nuh_layer_id", "nuh_temporal_id_plus1", "isSlice"],
                 [[33, "SPS_NUT", 33, 3, False], [1, "TRAIL_R", None, None, True], [21, "CRA_NUT", 0, 1, True]])):
            listed = self.json_lines("nals", "--json", "--codec", codec, "-", stdin=stream)
            self.assertEqual([[entry[key] for key in keys] for entry in listed], expected)

    def test_each_distinct_parameter_set_once(self):
        for path, hevc in ALL:
            kinds = {32: "VPS", 33: "SPS", 34: "PPS"} if hevc else {7: "SPS", 8: "PPS"}
            expected = list(dict.fromkeys(
                (kinds[nal_type(nal, hevc)], payload(nal).rstrip(b"\0").hex())
                for nal in split(path)[1] if nal_type(nal, hevc) in kinds))
            out = self.folder / "sets"
            listed = self.json_lines("params", "--json", path, "-o", out)
            self.assertEqual([(entry["kind"], entry["hex"]) for entry in listed], expected, path)
            self.assertEqual([2 * entry["size"] for entry in listed], [len(unit) for _, unit in expected])
            self.assertEqual(out.read_bytes().hex(), "".join("00000001" + unit for _, unit in expected))
            self.assertEqual(self.run_host("params", path, "-o", "-").stdout, out.read_bytes())
        stream = b"\0\0\1\x67\x42\0\x1e\xed\0\0\1\x68\x68\x80\0\0\1\x67\x42\0\x1e\x24\0\0\1\x68"
        listed = self.json_lines("params", "--json", "-", stdin=stream)
        self.assertEqual([(entry["kind"], entry["id"]) for entry in listed], [("SPS", 0), ("PPS", 2), ("SPS", 3)])


class Check(HostTest):
    def breaks(self, status, path, key="broken", arguments=(), **options):
        units = self.json_lines("check", "--json", *arguments, path, status=status, **options)
        return {unit["index"]: unit["finding"] for unit in units if unit[key]}

    def test_lost_pictures(self):
        for path in (AVC, HEVC):
            hevc = path == HEVC
            nals = split(path)[1]
            pictures = [at for at, nal in enumerate(nals) if nal_type(nal, hevc) in ((0, 1, 19, 20) if hevc else (1, 5))]
            lost = next(at for at in range(31, 40) if payload(nals[pictures[at]])[0] & (2 if hevc else 96))
            broken = b"".join(nals[:pictures[lost]] + nals[pictures[lost] + 1:])
            found = self.breaks(1, "-", stdin=broken)
            self.assertEqual((min(found), set(found.values())), (lost, {"missing_reference"}))
            told = f"{len(found)} break{'s' if len(found) > 1 else ''} in 124 access units: {lost}".encode()
            self.assertIn(told, self.run_host("check", "-", status=1, stdin=broken).stdout)
            if not hevc:  # by frame_num alone all those are breaks that follow no known reference picture
                ruled = self.breaks(1, "-", arguments=["--library-rule"], stdin=broken)
                referred = [payload(nals[at])[0] >> 5 != 0 for at in pictures]
                self.assertEqual(list(ruled), list(range(lost, referred.index(True, lost + 1))))
        middle = self.breaks(1, STREAMS / "avc_hand_starts_in_the_middle.h264")  # slices before their parameter sets
        self.assertEqual(middle, {None: "unknown_parameters", 0: "no_start"})

    def test_a_whole_stream(self):
        units = self.json_lines("check", "--json", AVC)
        slices = [entry["picType"] for entry in self.json_lines("nals", "--json", AVC) if entry["isSlice"]]
        self.assertEqual([unit["picType"] for unit in units], slices)
        self.assertEqual({(unit["discontinuity"], unit["isFramePicture"]) for unit in units}, {(0, 1)})
        self.assertEqual([unit["index"] for unit in units if unit["intraPicture"]], [0, 25, 50, 75, 100])
        self.assertIn(b"no break in 125 access units", self.run_host("check", AVC).stdout)
        self.assertEqual(self.run_host("check", "--quiet", "--json", AVC).stderr, b"")

    def test_reordered_pictures_of_hevc(self):
        done = self.run_host("check", "--json", HEVC)
        self.assertEqual((b"reordered pictures" in done.stderr, done.stdout.count(b'"picType":null')), (True, 125))
        self.assertIn(f"{len(self.breaks(0, HEVC, 'discontinuity'))} breaks\n".encode(), done.stderr)
        self.assertGreater(len(self.breaks(1, HEVC, arguments=["--library-rule"])), 60)
        self.assertEqual(self.breaks(0, "-", "discontinuity", stdin=b"".join(split(HEVC)[1][:6] * 3)), {})


class UserData(HostTest):
    def get(self, path):
        return {entry["index"]: entry["text"].encode() if "text" in entry else base64.b64decode(entry["base64"])
                for entry in self.json_lines("userdata", "get", "--json", path)}

    def test_what_is_added_is_found_and_can_be_removed(self):
        added, removed, plain = (self.folder / name for name in ("added", "removed", "plain"))
        for path, hevc in ALL:
            status = 1 if path.name in ("avc_hand_starts_in_the_middle.h264", "hevc_hand_vps_late.h265") else 0
            count = sum(unit["index"] is not None for unit in self.json_lines("check", "--json", path, status=status))
            data = {at: b"unit %d" % at if at % 2 else bytes([at % 256, 0, 0, 1, 0, 0, 3, 0]) for at in range(count)}
            lines = [{"index": at, "base64": base64.b64encode(value).decode()} for at, value in data.items()]
            told = self.run_host("userdata", "add", path, "-o", added, "--per-frame", "-",
                                 stdin="\n".join(map(json.dumps, lines)).encode()).stderr
            counts = [int(number) for number in re.findall(rb"\d+", told.splitlines()[-1])]
            got = self.get(added)
            self.assertLessEqual(got.items(), data.items(), path)
            self.assertEqual(counts, [count, len(got), count - len(got), path.stat().st_size, added.stat().st_size])
            self.assertEqual(count, len(got))
            again = self.run_host("userdata", "get", "--json", added).stdout
            self.run_host("userdata", "add", path, "-o", plain, "--per-frame", "-", stdin=again)
            self.assertEqual(plain.read_bytes(), added.read_bytes())
            for source, target in ((added, removed), (path, plain)):
                self.run_host("userdata", "remove", source, "-o", target)
            self.assertEqual(removed.read_bytes(), plain.read_bytes(), path)
            self.assertEqual(self.get(removed), {})
            others = [[nal for nal in split(file)[1] if nal_type(nal, hevc) != (39 if hevc else 6)]
                      for file in (path, added, removed)]  # all but SEI
            self.assertEqual(others, [others[0]] * 3, path)
            if others[0] == split(path)[1]:
                self.assertEqual(removed.read_bytes(), path.read_bytes())

    def test_all_other_bytes_stay(self):
        message = b"\0\0\0\1\6\5\x12" + bytes.fromhex("99aed31bb8944b97ad39fb4ed5902ba1") + b"ab\x80"
        stray = b"\0\0\1\x41\x98\x80\x11"  # a slice that names an unknown picture parameter set
        # delimiter, bare start code, refused SEI, that slice, a NAL unit of four bytes
        odd = b"\0\0\1\x09\x10\0\0\1\0\0\1\xe6\5\0\x80" + stray + b"\0\0\1\x0a"
        expected = plain = b"\7\0" + stray
        for nal in split(STREAMS / "avc_hand_escaped_headers.h264")[1]:
            is_slice = nal_type(nal) in (1, 5)
            plain += nal + (odd if is_slice else b"")
            expected += message + nal + odd if is_slice else nal
        added, removed = self.folder / "added", self.folder / "removed"
        self.run_host("userdata", "add", self.write("odd", plain), "-o", added, "--text", "ab")
        self.assertEqual(added.read_bytes(), expected)
        self.run_host("userdata", "remove", added, "-o", removed)
        self.assertEqual(removed.read_bytes(), plain)

    def test_choice_of_access_units_and_forms_of_data(self):
        blob, out = self.write("blob", bytes(range(256)) * 3), self.folder / "out"
        for path in (AVC, HEVC):
            for choice, chosen in ((["--every", 40], [0, 40, 80, 120]), (["--key-frames-only"], [0, 25, 50, 75, 100])):
                self.run_host("userdata", "add", path, "-o", out, "--data-file", blob, *choice)
                self.assertEqual(self.get(out), dict.fromkeys(chosen, blob.read_bytes()))
                raw = self.run_host("userdata", "get", "--raw", out).stdout
                self.assertEqual(raw, blob.read_bytes() * len(chosen))
        for text, kind in (("h\u00e4llo", b"text"), ("", b"text"), ("a\nb", b"base64"), ("\u009b", b"base64")):
            done = self.run_host("userdata", "add", AVC, "-o", "-", "--text", text, "--key-frames-only")
            shown = self.run_host("userdata", "get", "-", stdin=done.stdout).stdout
            self.assertEqual(len(re.findall(rb"(?m)^ +\d+ +%d  %s" % (len(text.encode()), kind), shown)), 5, shown)
        self.assertEqual(self.run_host("userdata", "get", AVC).stdout, b"")

    def test_lines_that_are_wrong(self):
        for line, told in (('{"index":125,"text":"a"}', b"no access unit 125"), ("{", b"line 3: no JSON"),
                           ('{"index":-1,"text":"a"}', b'line 3: "index"'), ('{"index":2}', b"line 3: has to have"),
                           ('{"index":2,"text":"a","base64":""}', b"line 3: has to have"),
                           ('{"index":2,"base64":"YQ"}', b'line 3: "base64"'), ('{"index":2,"text":7}', b"line 3"),
                           ('{"index":1,"text":"a"}', b"line 3: an access unit")):
            done = self.run_host("userdata", "add", AVC, "-o", self.folder / "out", "--per-frame", "-", status=3,
                                 stdin=b'{"index":1,"text":"a"}\n\n' + line.encode())
            self.assertIn(told, done.stderr)
            self.assertEqual(os.listdir(self.folder), [])


class Output(HostTest):
    def add(self, source, out, **options):
        return self.run_host("userdata", "add", source, "-o", out, "--text", "x", **options)

    def test_a_failed_run_touches_nothing(self):
        out = self.write("out", b"before")
        for source in (self.write("no-stream", b"no start code"), self.folder / "missing"):
            self.add(source, out, status=3)
        for target in (self.folder / "missing" / "out", self.folder):
            self.add(AVC, target, status=4)
        self.add(AVC, out, status=4, preexec_fn=without_room)
        self.assertEqual((sorted(os.listdir(self.folder)), out.read_bytes()), (["no-stream", "out"], b"before"))

    def test_the_file_takes_the_place_of_the_old_one(self):
        expected, same, link = self.add(AVC, "-").stdout, self.write("same", AVC.read_bytes()), self.folder / "link"
        same.chmod(0o640)
        link.symlink_to("same")
        self.add(same, link)
        self.assertEqual((same.read_bytes(), same.stat().st_mode & 0o777, link.is_symlink()), (expected, 0o640, True))
        dangling = self.folder / "dangling"
        dangling.symlink_to("later")
        self.add(AVC, dangling)
        self.assertEqual(((self.folder / "later").read_bytes(), dangling.is_symlink()), (expected, True))
        self.assertEqual(sorted(os.listdir(self.folder)), ["dangling", "later", "link", "same"])

    def test_what_is_open_already_is_written_to_from_where_it_stands(self):
        expected = self.add(AVC, "-").stdout
        for name in ("/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"):
            with open(self.write("log", b"before"), "ab") as log:
                subprocess.run([PROGRAM, "userdata", "add", AVC, "-o", name, "--text", "x"], stdout=log, check=True,
                               stderr=subprocess.DEVNULL)
            self.assertEqual((self.folder / "log").read_bytes(), b"before" + expected)
        self.run_host("complete", AVC, "-o", "/dev/stdout", "--json", status=2)

    def test_names_cannot_steer_a_terminal(self):
        name = self.write("a\u202eb\u009bc\x1bd\u00e9", AVC.read_bytes())
        self.assertTrue(self.run_host("info", name).stdout.splitlines()[0].endswith("a?b?c?d\u00e9".encode()))

    def test_a_pipe_is_written_to_as_it_is(self):
        pipe = self.folder / "pipe"
        os.mkfifo(pipe)
        with subprocess.Popen(["cat", pipe], stdout=subprocess.PIPE) as reader:
            self.add(AVC, pipe)
            self.assertEqual((pipe.is_fifo(), reader.stdout.read()), (True, self.add(AVC, "-").stdout))

    def test_an_interrupted_run_leaves_nothing(self):
        for ending in (signal.SIGTERM, signal.SIGQUIT):
            with subprocess.Popen([PROGRAM, "userdata", "remove", "-", "-o", self.folder / "out"],
                                  stdin=subprocess.PIPE, stderr=subprocess.DEVNULL) as run:
                deadline = time.monotonic() + 60
                while not os.listdir(self.folder) and time.monotonic() < deadline:
                    time.sleep(0.02)
                self.assertEqual([name == "out" for name in os.listdir(self.folder)], [False])
                run.send_signal(ending)
                self.assertEqual(run.wait(60), -ending)
            self.assertEqual(os.listdir(self.folder), [])

    def test_exit_statuses(self):
        add, text = ["userdata", "add", AVC, "-o", "-"], ["--text", "a"]
        for arguments in ([], ["nothing"], ["info"], ["userdata"], ["units", AVC, "--codec", "mpeg"], add,
                          add[:3] + text, add + text + ["--per-frame", "x"], add + text + ["--every", "0"],
                          add + text + ["--every", "2", "--key-frames-only"], add[:1] + ["get", AVC, "--json", "--raw"],
                          ["userdata", "add", "-", "-o", "-", "--data-file", "-"]):
            self.assertEqual(self.run_host(*arguments, status=2).stdout, b"")
        for arguments in (["--help"], ["--version"], ["userdata", "add", "--help"]):
            self.assertIn(b"nalsmith", self.run_host(*arguments).stdout)
        with_data = self.write("data", self.run_host(*add, *text).stdout)
        for command in (["info"], ["units"], ["nals"], ["check"], ["params"], ["userdata", "get"]):
            for stdin in (b"", b"no start code at all"):
                self.run_host(*command, "-", status=3, stdin=stdin)
            for form in ([], ["--json"]):
                with open(self.folder / "full", "wb") as full:
                    done = subprocess.run([PROGRAM, *command, *form, with_data], stdout=full,
                                          stderr=subprocess.DEVNULL, preexec_fn=without_room)
                self.assertEqual(done.returncode, 4, command)


if __name__ == "__main__":
    unittest.main(verbosity=0)
