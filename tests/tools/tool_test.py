#!/usr/bin/env python3
"""End-to-end tests of the anadata command-line tool.

    tool_test.py TOOL [unittest arguments]

The service tests expect CLIENT_INI2 to name the settings of a running test service with the
sample data set "sample" 1234/1 registered (tests/support/with-service.sh sets that up)."""
import json
import os
import pty
import stat
import struct
import subprocess
import sys
import tempfile
import unittest
import zipfile

TOOL = None


def run(*args, stdin="", cwd=None, env=None):
    proc = subprocess.run([TOOL, *args], input=stdin.encode(), cwd=cwd, env=env,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
    # Strict: the tool must never write text that is not UTF-8.
    return proc.returncode, proc.stdout.decode("utf-8"), proc.stderr.decode("utf-8")


class ToolCase(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="anadata-tool-test.")
        self.addCleanup(scratch.cleanup)
        self.dir = scratch.name

    def path(self, name):
        return os.path.join(self.dir, name)

    def read(self, name):
        with open(self.path(name), "rb") as f:
            return f.read()

    def write(self, name, data):
        with open(self.path(name), "wb" if isinstance(data, bytes) else "w") as f:
            f.write(data)
        return self.path(name)

    def expect(self, status, *args, stdin=""):
        """Runs the tool, checks the status and, for a failure, that stderr is one 'anadata: ' line."""
        code, out, err = run(*args, stdin=stdin, cwd=self.dir)
        self.assertEqual(code, status, f"anadata {' '.join(args)}\nstdout: {out}\nstderr: {err}")
        if status != 0:
            self.assertRegex(err, r"\Aanadata: [^\n]+\n\Z", f"one error line expected for {args}")
        return out, err

    def json_of(self, *args, status=0):
        out, _ = self.expect(status, *args)
        return json.loads(out)

    def sample(self, name="file.dat", *extra):
        self.expect(0, "sample", name, *extra)
        return self.path(name)

    def leftovers(self):
        return sorted(n for n in os.listdir(self.dir) if n.startswith(".anadata") or n.startswith("temp"))


def dump_bytes(dims, vals, name="hostile", shot=5, subshot=2):
    """A dump image built by hand: dims and vals are lists of (name, unit, declared num, numbers)."""
    def i32(v):
        return struct.pack("<i", v)

    def text(s):
        b = s.encode()
        return i32(len(b)) + b + b"\0"

    def columns(items):
        out = i32(len(items))
        for n, u, num, numbers in items:
            out += text(n) + text(u) + i32(num) + i32(len(numbers)) + b"".join(struct.pack("<d", x) for x in numbers)
        return out

    def index_map(items):
        keys = sorted((n, i) for i, (n, _, _, _) in enumerate(items))
        return i32(len(keys)) + b"".join(text(k) + i32(i) for k, i in keys)

    return (i32(35088) + i32(len(dims)) + i32(len(vals)) + i32(shot) + i32(subshot) + text("01/02/2003 04:05")
            + text(name) + text("line\n") + columns(dims) + columns(vals) + i32(0) + index_map(dims) + index_map(vals))


SHOW_SAMPLE = """\
source:   service sample 1234/1
name:     sample
shot:     1234
subshot:  1
date:     03/07/2009 14:05
comment:  sample data set of the test service
dimensions: 2
  time     [s]  5 points  0 .. 0.004
  channel  []   3 points  0 .. 2
values: 2 (15 points each)
  signal   [V]  min 0  max 0.012
  noise    [V]  min 0  max 0.02
"""


class LocalFiles(ToolCase):
    """show and convert on files the library wrote, and on hostile ones."""

    def test_show_text_and_dump_agree(self):
        text = self.sample("s.dat", "--points", "4")
        self.expect(0, "convert", text, "s.dump")
        from_text, from_dump = self.json_of("show", text, "--json"), self.json_of("show", "s.dump", "--json")
        self.assertEqual((from_text.pop("source"), from_text.pop("subshot")), ("text file " + text, None))
        self.assertEqual((from_dump.pop("source"), from_dump.pop("subshot")), ("dump file s.dump", 0))
        self.assertEqual(from_text, from_dump)
        self.assertEqual(from_text["dimensions"][1]["unit"], "")  # written as '', read back as a blank

    def test_convert_round_trip_keeps_every_bit(self):
        self.expect(0, "sample", "a.dump", "--dump", "--points", "7")
        self.assertEqual(self.expect(0, "convert", "a.dump", "b.dat")[0], "a.dump (dump) -> b.dat (text)\n")
        rows = self.read("b.dat").split(b"# [Data] \r\n", 1)[1].splitlines()
        # The sample's numbers, computed the way the tool computes them, must come back exactly.
        expected = [[0.001 * t, float(c), 0.001 * t * (c + 1), c / 100.0] for t in range(7) for c in range(3)]
        self.assertEqual([[float(x) for x in row.split(b", ")] for row in rows], expected)
        self.expect(0, "convert", "b.dat", "c.dump")
        self.expect(0, "convert", "c.dump", "d.dat", "--text")
        self.assertEqual(self.read("b.dat").split(b"# [Data] ")[1], self.read("d.dat").split(b"# [Data] ")[1])

    def test_convert_never_clobbers_without_force(self):
        self.sample("in.dat")
        self.write("out.dump", "precious")
        self.assertIn("out.dump: exists", self.expect(4, "convert", "in.dat", "out.dump")[1])
        self.assertEqual(self.read("out.dump"), b"precious")
        self.expect(0, "convert", "in.dat", "out.dump", "--force")
        self.assertEqual(self.json_of("show", "out.dump", "--json")["name"], "sample")
        self.assertEqual(stat.S_IMODE(os.stat(self.path("out.dump")).st_mode), 0o644)  # under umask 022
        self.assertEqual(sorted(os.listdir(self.dir)), ["in.dat", "out.dump"])
        self.expect(2, "convert", "in.dat", "x", "--text", "--dump")

    def test_hostile_and_missing_files(self):
        # One of each kind; the readers' own tests cover the many ways a file can be damaged.
        cases = {
            "empty": b"",
            "bad-text": b"# [Parameters]\n# Name='x'\n# ShotNo=1\n# Date='d'\n# DimNo=1\n# DimName='a'\n"
                        b"# DimSize=3\n# DimUnit='u'\n# ValNo=1\n# ValName='v'\n# ValUnit='u'\n#\n# [Comments]\n#\n#\n"
                        b"# [Data] \n1, 2\n",
            "truncated.dump": dump_bytes([("t", "s", 2, [0.0, 1.0])], [("v", "V", 2, [1.0, 2.0])])[:-9],
            "huge-count.dump": dump_bytes([("t", "s", 0x7fffffff, [])], []),
        }
        for name, data in cases.items():
            self.write(name, data)
            for command in (["show", name], ["show", name, "--json"], ["convert", name, name + ".out"],
                            ["put", name]):
                _, err = self.expect(4, *command)
                self.assertIn(name, err)
        self.expect(4, "show", "missing.dat")
        self.expect(4, "show", ".")
        self.assertEqual(sorted(os.listdir(self.dir)), sorted(cases))

    def test_cut_and_malformed_text(self):
        """A text file cut short, or with rows that do not fit its grid, is refused naming the file and
        line; --lenient reads it as older programs did."""
        data = self.read(self.sample("s.dat", "--points", "2"))  # six rows, the last one ending 2.000000e-02
        header, rows = data.split(b"# [Data] \r\n")
        first = header.count(b"\n") + 2  # the line of the first row
        lines = rows.splitlines(keepends=True)
        cases = {"cut.dat": (data[:-5], first + 5), "nolf.dat": (data[:-1], first + 5),
                 "short.dat": (header + b"# [Data] \r\n" + lines[0] + b"1, 2, 3\r\n" + b"".join(lines[2:]), first + 1),
                 "extra.dat": (data + lines[0], first + 6)}
        for name, (text, line) in cases.items():
            self.write(name, text)
            self.assertIn(f"{name}:{line}: ", self.expect(4, "show", name)[1])
        for command in (["convert", "cut.dat", "out.dump"], ["export", "cut.dat", "--csv", "-o", "out.csv"],
                        ["put", "cut.dat"]):
            self.assertIn("cut.dat:", self.expect(4, *command)[1])
        self.assertEqual(self.json_of("show", "cut.dat", "--json", "--lenient")["values"][1]["max"], 2.0)

    def test_well_formed_hand_made_dump(self):
        self.write("ok.dump", dump_bytes([("t", "s", 2, [1.5, -2.0])], [("v", "V", 2, [float("nan"), 3.0]),
                                                                       ("w", "", 2, [float("inf"), float("nan")])]))
        shown = self.json_of("show", "ok.dump", "--json")
        self.assertEqual((shown["name"], shown["shot"], shown["subshot"]), ("hostile", 5, 2))
        self.assertEqual(shown["dimensions"], [{"name": "t", "unit": "s", "size": 2, "first": 1.5, "last": -2.0}])
        self.assertEqual(shown["values"][0], {"name": "v", "unit": "V", "size": 2, "min": 3.0, "max": 3.0})
        self.assertEqual(shown["values"][1]["min"], None)
        self.assertIn("\n  w     []   no finite values\n", self.expect(0, "show", "ok.dump")[0])

    def test_export(self):
        """CSV numbers read back exactly; numpy reads the .npy table and the .npz arrays bit for bit."""
        import numpy
        self.write("r.dump", dump_bytes([("t", "s", 2, [0.30000000000000004, -2.0]), ("c", "", 2, [5.0, 6.0])],
                                        [("a,b", "V", 4, [1e-300, float("inf"), 1, 2]), ("t", "", 4, [0.0, -0.0, 3, 4])]))
        self.expect(0, "export", "r.dump", "--csv", "-o", "r.csv")
        self.assertEqual(self.read("r.csv"), b't [s],c [],"a,b [V]",t []\n0.30000000000000004,5,1e-300,0\n'
                                             b'0.30000000000000004,6,inf,-0\n-2,5,1,3\n-2,6,2,4\n')
        self.expect(0, "export", "r.dump", "--npy", "-o", "r.npy")
        table = numpy.load(self.path("r.npy"))
        self.assertEqual((table.dtype.str, table.tobytes()),
                         ("<f8", numpy.array([[0.30000000000000004, 5, 1e-300, 0.0], [0.30000000000000004, 6, numpy.inf, -0.0],
                                              [-2, 5, 1, 3], [-2, 6, 2, 4]]).tobytes()))
        self.expect(0, "export", "r.dump", "--npy", "-o", "r.npz")
        with numpy.load(self.path("r.npz")) as arrays:
            got = {name: (arrays[name].shape, arrays[name].tobytes()) for name in arrays.files}
        self.assertEqual(got, {"t": ((2,), table[::2, 0].tobytes()), "c": ((2,), table[:2, 1].tobytes()),
                               "a_b": ((2, 2), table[:, 2].tobytes()), "t_2": ((2, 2), table[:, 3].tobytes())})
        self.assertIn("exists", self.expect(4, "export", "r.dump", "--csv", "-o", "r.npy")[1])
        self.assertEqual(sorted(os.listdir(self.dir)), ["r.csv", "r.dump", "r.npy", "r.npz"])

    def test_json_escapes_every_string(self):
        self.sample("plain.dat")
        # Each byte of an invalid or overlong sequence becomes U+FFFD.
        for weird, name in ((b'a"b\\c\x01d\xff\xc3\xa9', 'a"b\\c\x01d\ufffd\u00e9'), (b"\xc0\xaf", "\ufffd" * 2),
                            (b"\xe0\x80\xaf", "\ufffd" * 3), (b"\xf0\x80\x80\xaf", "\ufffd" * 4),
                            (b"\xed\xa0\x80", "\ufffd" * 3)):
            self.write("weird.dat", self.read("plain.dat").replace(b"# Name='sample'", b"# Name='" + weird + b"'"))
            self.assertEqual(self.json_of("show", "weird.dat", "--json")["name"], name)

    def test_cache_settings_and_upkeep(self):
        ini = self.write("client.ini", "[cache]\ndir=" + self.path("c") + "\nmax_bytes=2K\n")
        info = self.json_of("--ini", ini, "cache", "--json")
        self.assertEqual((info["directory"], info["entries"], info["max_bytes"]),
                         (self.path("c/anadata-cache-v1"), 0, 2048))
        self.assertEqual(self.json_of("--ini", ini, "cache", "clear", "--json")["removed_entries"], 0)
        self.assertIn("no dir= line", self.expect(4, "--ini", self.write("none.ini", "[tserver]\n"), "cache")[1])
        self.assertIn("max_bytes=2Q", self.expect(4, "--ini", self.write("bad.ini", "[cache]\nmax_bytes=2Q\n"),
                                                  "cache", "prune")[1])


class Usage(ToolCase):
    """Argument errors give status 2 and one line; --help works for every subcommand."""

    def test_help_of_every_subcommand(self):
        out = self.expect(0, "--help")[0]
        self.assertEqual(out, self.expect(0)[0])  # bare anadata explains itself
        for command in ("show", "convert", "get", "put", "rm", "search", "list", "explog", "passwd", "sample",
                        "export", "cache"):
            self.assertIn(command, out)
            self.assertIn("Usage", self.expect(0, command, "--help")[0])
        self.assertIn("Usage: anadata get", self.expect(0, "help", "get")[0])
        self.assertIn("Usage: anadata show [OPTIONS] FILE|DIAG SHOT [SUBSHOT]\n", self.expect(0, "show", "--help")[0])
        self.assertIn("unknown subcommand: bogus", self.expect(2, "help", "bogus")[1])

    def test_usage_errors(self):
        self.assertIn("unknown subcommand: bogus", self.expect(2, "bogus")[1])
        self.assertIn("SHOT: not a whole number: 12x", self.expect(2, "get", "sample", "12x")[1])
        for args in (["get"], ["get", "sample", "0"], ["get", "sample", "1234", "-1"], ["show", "a", "1", "2", "3"],
                     ["explog"], ["explog", "1", "--columns"], ["search", "--shots", "a-b"],
                     ["search", "--limit", "-3"], ["list", "--no-such-option"], ["search", "--shots", "150-50"],
                     ["get", "x", "--shots", "5-1"], ["get", "x", "1", "--shots", "1-2"], ["get", "x", "--shots", "1-"],
                     ["export", "f", "-o", "o.csv"], ["export", "f", "--npy", "-o", "o.txt"]):
            with self.subTest(args=args):
                self.expect(2, *args)


class Settings(ToolCase):
    """Settings that cannot be used, and a service that is not there."""

    def test_missing_and_empty_settings(self):
        self.assertIn("cannot open the settings file " + self.path("nope.ini"),
                      self.expect(4, "--ini", self.path("nope.ini"), "list")[1])
        self.expect(4, "list", "--ini", self.dir)  # global options also after the subcommand
        ini = self.write("client.ini", "[tserver]\naccount=a\n")
        self.assertIn("no endpoint", self.expect(4, "--ini", ini, "list")[1])
        env = dict(os.environ, CLIENT_INI2=self.path("none"), HOME=self.dir)
        if not os.path.exists("/etc/client2.ini"):
            code, _, err = run("search", env=env, cwd=self.dir)
            self.assertEqual((code, err.count("\n")), (4, 1), err)
            self.assertIn("no settings file found", err)

    def test_unreachable_service_is_status_3(self):
        import socket
        with socket.socket() as s:  # a port that was free a moment ago
            s.bind(("127.0.0.1", 0))
            port = s.getsockname()[1]
        ini = self.write("client.ini", f"[tserver]\naccount=a\npasswd=b\nendpoint=http://127.0.0.1:{port}/\n")
        for command in (["list"], ["get", "x", "1"], ["rm", "x", "1"]):
            _, err = self.expect(3, "--ini", ini, *command)
            self.assertIn("refused", err.lower())
        self.assertEqual(self.leftovers(), [])


class Catalogue(ToolCase):
    """search, list and explog against the sample on the test service."""

    def test_list_and_search(self):
        self.assertEqual(self.expect(0, "list")[0].splitlines()[:2], ["NAME    ENTRIES", "sample  1"])
        self.assertIn({"name": "sample", "entries": 1}, self.json_of("list", "--json"))
        lines = self.expect(0, "search", "sample")[0].splitlines()
        self.assertEqual(lines[0].split(), ["NAME", "SHOT", "SUB", "BYTES", "DATE", "USER"])
        self.assertEqual(lines[1].split()[:3] + lines[1].split()[-1:], ["sample", "1234", "1", "analyst"])
        rows = self.json_of("search", "--json", "--shots", "1000-2000", "--subshot", "1", "--user", "analyst")
        row = [r for r in rows if r["name"] == "sample"][0]
        self.assertEqual((row["shot"], row["subshot"], row["user"], row["summary"], row["filename"]),
                         (1234, 1, "analyst", "sample data set", "sample@1234-1.dat.zip"))
        for args in (["nothing"], ["sample", "--shots", "1235-"], ["sample", "--shots", "-1233"]):
            out, err = self.expect(1, "search", "--json", *args)
            self.assertEqual(json.loads(out), [])
            self.assertIn("no data set matches", err)

    def test_explog(self):
        self.assertEqual(self.expect(0, "explog", "--columns")[0], "shotno\ndate\nenergy\n")
        self.assertEqual(self.json_of("explog", "--columns", "--json"), ["shotno", "date", "energy"])
        self.assertEqual(self.expect(0, "explog", "1235")[0], "shotno  1235\ndate    2009/03/08\nenergy  2.5\n")
        self.assertEqual(self.expect(0, "explog", "1234", "energy")[0], "1.5\n")
        self.assertEqual(self.json_of("explog", "1234", "date", "--json"), {"date": "2009/03/07"})
        # The error says which is unknown, the shot or the column.
        for args, unknown in ((["99"], "shot 99"), (["99", "energy"], "shot 99"), (["1234", "nope"], "column: nope")):
            self.assertIn(unknown, self.expect(1, "explog", *args)[1])


class Transfer(ToolCase):
    """get, show, put and rm against the test service."""

    def test_show_from_service(self):
        self.assertEqual(self.expect(0, "show", "sample", "1234")[0], SHOW_SAMPLE)
        shown = self.json_of("show", "sample", "1234", "1", "--json")
        self.assertEqual(shown["subshot"], 1)
        self.assertEqual(shown["comment"], "\nsample data set of the test service\n\n")
        self.assertEqual([v["max"] for v in shown["values"]], [0.012, 0.02])
        self.assertIn("show sample 1234/2: ", self.expect(1, "show", "sample", "1234", "2")[1])
        self.expect(0, "export", "sample", "1234", "1", "--csv", "-o", "s.csv")
        self.assertEqual(self.read("s.csv").splitlines()[-1], b"0.004,2,0.012,0.02")
        self.expect(1, "export", "sample", "4321", "--csv", "-o", "none.csv")
        self.assertEqual(os.listdir(self.dir), ["s.csv"])

    def test_get(self):
        self.assertRegex(self.expect(0, "get", "sample", "1234")[0],
                         r"^fetched sample 1234/1 -> sample@1234-1\.dat \(\d+ bytes\)\n$")
        fetched = self.read("sample@1234-1.dat")
        self.assertTrue(fetched.startswith(b"# [Parameters]\r\n# Name='sample'\r\n"))
        # An existing file is kept unless --force is given.
        self.write("sample@1234-1.dat", b"mine")
        self.assertIn("exists", self.expect(4, "get", "sample", "1234")[1])
        self.assertEqual(self.read("sample@1234-1.dat"), b"mine")
        self.expect(0, "get", "sample", "1234", "--force")
        self.assertEqual(self.read("sample@1234-1.dat"), fetched)
        # -o names a file or a directory; --zip keeps the archive.
        os.mkdir(self.path("sub"))
        self.expect(0, "get", "sample", "1234", "-o", "sub/named.dat")
        self.assertEqual(stat.S_IMODE(os.stat(self.path("sub/named.dat")).st_mode), 0o644)  # under umask 022
        self.expect(0, "get", "sample", "1234", "--zip", "-o", "sub")
        with zipfile.ZipFile(self.path("sub/sample@1234-1.dat.zip")) as z:
            self.assertEqual([z.read(n) for n in z.namelist()], [fetched])
        # A shot range into a directory: one file per data set, missing shots on one line, nothing overwritten.
        out, err = self.expect(1, "get", "sample", "--shots", "1232-1235", "--jobs", "2", "-o", "sub")
        self.assertRegex(out, r"\Afetched sample 1234/1 -> sub/sample@1234\.dat \(\d+ bytes\)\n\Z")
        self.assertEqual(err, "anadata: get sample: missing shots 1232-1233, 1235 (sub-shot 1)\n")
        self.assertEqual(self.read("sub/sample@1234.dat"), fetched)
        code, out, err = run("get", "sample", "--shots", "1234-1235", "-o", "sub", cwd=self.dir)
        self.assertEqual((code, out, len(err.splitlines())), (4, "", 2), err)
        self.assertIn("exists", err.splitlines()[0])
        self.assertEqual(sorted(os.listdir(self.path("sub"))),
                         ["named.dat", "sample@1234-1.dat.zip", "sample@1234.dat"])
        self.assertIn("get sample 4321/1: ", self.expect(1, "get", "sample", "4321")[1])
        self.assertIn("cannot create", self.expect(4, "get", "sample", "1234", "-o", "no/such/dir/x")[1])
        self.assertEqual(self.leftovers(), [])

    def test_fetches_through_the_cache(self):
        with open(os.environ["CLIENT_INI2"], encoding="utf-8") as f:
            ini = self.write("cached.ini", f.read() + "\n[cache]\ndir=" + self.path("c") + "\n")
        get = ("--ini", ini, "get", "sample", "--shots", "1234-1234")
        self.assertNotIn("cache", self.expect(0, *get, "-o", "cold")[0])
        self.assertRegex(self.expect(0, *get, "-o", "warm", "--offline")[0], r", from the local cache\)\n\Z")
        self.assertEqual(self.read("warm/sample@1234.dat"), self.read("cold/sample@1234.dat"))
        self.expect(1, "--ini", ini, "show", "sample", "1234", "--offline")  # files and records are kept apart
        self.expect(0, "--ini", ini, "show", "sample", "1234")
        self.assertEqual(self.json_of("--ini", ini, "show", "sample", "1234", "--json", "--offline")["shot"], 1234)
        self.expect(2, "--ini", ini, "show", "sample", "1234", "--offline", "--no-cache")
        self.assertIn("no cache", self.expect(4, "show", "sample", "1234", "--offline")[1])

    def test_put_search_get_rm(self):
        self.sample("mine.dat", "--name", "tooltest", "--shot", "4711")
        out, err = self.expect(0, "put", "mine.dat", "--subshot", "3")
        self.assertEqual((out, err), ("registered mine.dat as tooltest 4711/3\n", ""))
        rows = self.json_of("search", "tooltest", "--json")
        self.assertEqual([(r["shot"], r["subshot"]) for r in rows], [(4711, 3)])
        self.assertEqual(self.json_of("show", "tooltest", "4711", "3", "--json")["subshot"], 3)
        self.assertIn("#DimNo=2", rows[0]["summary"].replace(" ", ""))
        # Renamed, the record registered says the new name and shot, its numbers unchanged.
        self.expect(0, "put", "mine.dat", "--name", "tooltest2", "--shot", "12")
        self.expect(0, "get", "tooltest2", "12", "-o", "renamed.dat")
        shown = self.json_of("show", "renamed.dat", "--json")
        self.assertEqual((shown["name"], shown["shot"]), ("tooltest2", 12))
        self.expect(0, "export", "mine.dat", "--csv", "-o", "mine.csv")
        self.expect(0, "export", "renamed.dat", "--csv", "-o", "renamed.csv")
        self.assertEqual(self.read("renamed.csv"), self.read("mine.csv"))
        self.assertEqual(self.expect(0, "rm", "tooltest", "4711", "3")[0], "deleted tooltest 4711/3\n")
        self.expect(1, "rm", "tooltest", "4711", "3")
        self.expect(0, "rm", "tooltest2", "12")
        self.expect(1, "search", "tooltest")
        self.assertEqual(sorted(os.listdir(self.dir)), ["mine.csv", "mine.dat", "renamed.csv", "renamed.dat"])

    def test_get_shots_of_one_file_name(self):
        """Shots registered from files of one name all land, each under its own name, in a directory
        made for them."""
        for shot in ("7", "8"):
            os.mkdir(self.path(shot))
            self.sample(shot + "/same.dat", "--name", "samename", "--shot", shot)
            self.expect(0, "put", shot + "/same.dat")
        out = self.expect(0, "get", "samename", "--shots", "7-8", "-o", "new/dir/")[0]
        self.assertRegex(out, r"\Afetched samename 7/1 -> new/dir/samename@7\.dat \(\d+ bytes\)\n"
                              r"fetched samename 8/1 -> new/dir/samename@8\.dat \(\d+ bytes\)\n\Z")
        self.assertEqual(self.read("new/dir/samename@8.dat"), self.read("8/same.dat"))
        self.assertIn("samename@8.dat: exists", self.expect(4, "get", "samename", "--shots", "8-8", "-o", "new/dir")[1])
        self.expect(0, "get", "samename", "--shots", "7-8", "-o", "new/dir", "--force")
        self.expect(0, "get", "samename", "--shots", "8-8", "-o", "new/dir", "--zip")
        self.assertEqual(sorted(os.listdir(self.path("new/dir"))),
                         ["samename@7.dat", "samename@8.dat", "samename@8.dat.zip"])
        for shot in ("7", "8"):
            self.expect(0, "rm", "samename", shot)

    def test_put_refusals(self):
        self.sample("d.dump", "--dump")
        self.assertIn("convert it first", self.expect(4, "put", "d.dump")[1])
        self.expect(4, "put", "missing.dat")
        self.sample("p.dat", "--name", "refused")
        # Another account's password is asked for; a wrong one is a service failure.
        _, err = self.expect(3, "put", "p.dat", "--user", "nobody", stdin="wrong\n")
        self.assertIn("bad user name or password", err)
        self.expect(2, "put", "p.dat", "--user", "nobody", stdin="")
        self.write("cut.dat", self.read("p.dat")[:-5])  # checked while it is sent: never registered
        self.assertIn("cut.dat:", self.expect(4, "put", "cut.dat")[1])
        self.expect(1, "search", "refused")

    def test_big_transfer(self):
        """A progress bar only on a terminal; an interrupted download leaves nothing."""
        self.sample("big.dat", "--name", "bigone", "--points", "100000")
        self.assertEqual(self.expect(0, "put", "big.dat")[1], "")
        self.assertEqual(self.expect(0, "get", "bigone", "1234", "-o", "plain.dat")[1], "")
        # Both ways the total is the archive's size, as the catalogue lists it.
        total = b"%.1f MB" % (self.json_of("search", "bigone", "--json")[0]["size"] / 1e6)
        for label, args in ((b"put big.dat [", ["put", "big.dat"]),
                            (b"get bigone 1234/1 [", ["get", "bigone", "1234", "-o", "tty.dat"])):
            seen = self.on_terminal(*args)
            self.assertIn(label, seen)
            self.assertIn(b"100% " + total + b" of " + total, seen)
            self.assertTrue(seen.endswith(b"\r\x1b[K"), seen[-40:])
        self.interrupt_get()
        self.expect(0, "rm", "bigone", "1234")

    def on_terminal(self, *args):
        """Runs the tool with standard error on a terminal; returns what it drew there."""
        master, slave = pty.openpty()
        proc = subprocess.Popen([TOOL, *args], cwd=self.dir, stdout=subprocess.PIPE, stderr=slave)
        os.close(slave)
        seen = b""
        try:
            while chunk := os.read(master, 4096):
                seen += chunk
        except OSError:  # the terminal is gone once the tool has ended
            pass
        os.close(master)
        proc.communicate(timeout=60)
        self.assertEqual(proc.returncode, 0, seen)
        return seen

    def interrupt_get(self):
        """SIGINT in the middle of a download removes the private transfer directory."""
        import signal
        import time
        for _ in range(5):
            proc = subprocess.Popen([TOOL, "get", "bigone", "1234", "-o", "cut.dat"], cwd=self.dir,
                                    stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
            deadline = time.monotonic() + 30
            while proc.poll() is None and not self.leftovers() and time.monotonic() < deadline:
                time.sleep(0.001)
            if proc.poll() is None:
                proc.send_signal(signal.SIGINT)
            _, err = proc.communicate(timeout=60)
            if proc.returncode == 0:  # finished before the signal; try again
                os.remove(self.path("cut.dat"))
                continue
            self.assertEqual(proc.returncode, 130, err)
            self.assertEqual(self.leftovers(), [])
            return
        self.skipTest("every download finished before it could be interrupted")


class Account(ToolCase):
    """passwd changes the password; the old one stops working."""

    def settings_with(self, password):
        with open(os.environ["CLIENT_INI2"]) as f:
            return self.write(password + ".ini", f.read().replace("passwd=secret", "passwd=" + password))

    def test_passwd(self):
        self.assertIn("differ", self.expect(2, "passwd", stdin="new-one\nother\n")[1])
        self.assertIn("not confirmed", self.expect(2, "passwd", stdin="new-one\n")[1])
        self.expect(2, "passwd", stdin="\n\n")
        wrong = self.settings_with("wrong")
        self.assertIn("password not changed", self.expect(3, "--ini", wrong, "passwd", stdin="x\nx\n")[1])
        self.assertEqual(self.expect(0, "passwd", stdin="new-one\nnew-one\n")[0],
                         "password of analyst changed; update passwd= in the settings file\n")
        self.expect(3, "passwd", stdin="x\nx\n")  # the settings still hold the old password
        self.expect(0, "--ini", self.settings_with("new-one"), "passwd", stdin="secret\nsecret\n")


if __name__ == "__main__":
    TOOL = os.path.abspath(sys.argv[1])
    os.umask(0o022)
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
