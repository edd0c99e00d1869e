"""Text from devices, files and the command line cannot steer a terminal: every command and format is run on one, with
names, keys, titles, texts and paths that hold control characters, and nothing that a terminal acts on comes out."""

import json
import re
import shutil
import sqlite3
import struct
import tempfile
import unittest
from pathlib import Path

from command import binary, on_terminal, record

# A title bar, colours by 7-bit and 8-bit introducers, directions of text, cursor movements, DEL and an invalid byte.
HOSTILE = "\x1b]0;owned\x07\x1b[35mred\u009b31m\u202eevil\u2066\u200f\u061c\x7f\x08\x0b\u2028"
ACTED_ON = re.compile("[\x00-\x08\x0b\x0c\x0e-\x1f\x7f-\x9f\u061c\u200e\u200f\u2028\u2029\u202a-\u202e\u2066-\u2069]")


def screen(*arguments, cwd):
    """Exit status and what a terminal gets from output and errors, without colours of our own."""
    return on_terminal(arguments, cwd, errors=True, NO_COLOR="1", COLUMNS="500")


def sensor_info(name):
    """A record whose text has a name and three raw characters."""
    return struct.pack("<BBBBIQ16x3s12sx", 8, 9, 0, 2, 1, 5, b"\x1b\x9b\x07", name[:12])


def model(text):
    button = {"name": text, "transport": "VEL", "usages": [{"page": 12, "usage": 1}],
              "properties": {text: text, "KIPSupportsTallyStore": True},
              "device": {"analytics": [[{"op": "add", "key": 0, "value": 1}]]},
              "driver": {"property-replies": {"215": [{"zorb-statistics": {}}]}}}
    sensor = {"name": text + "2", "transport": "VEL", "usages": [{"page": 65280, "usage": 3}],
              "registry": {"great-grandparent": {"name": text[:20]}},
              "driver": {"property-replies": {"0": [{"u32": 1}], "15": [{"text": "\x1b[35m\x07", "size": 32}]},
                         "command-replies": {"57": [{"clients": [{"name": "\x1b[31m\x07"}]}]}}}
    profile = {"name": "KIP_profile",
               "property-replies": {"209": [{"hex": sensor_info(b"\x1b[35m\x9b1m").hex()}]}}
    return {"name": text, "services": [button, sensor], "named-services": [profile]}


class Terminal(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = Path(tempfile.mkdtemp())

        def put(name, content):
            (cls.folder / name).write_bytes(content)

        put("model.json", json.dumps(model(HOSTILE)).encode())
        put("unknown_key.json", json.dumps({HOSTILE: 1}).encode())
        put("unknown_metric.json", json.dumps(
            {"name": "m", "services": [{"name": "b", "device": {"analytics": [[{"op": "add", "key": HOSTILE, "value": 1}]]}}]}).encode())
        value = {HOSTILE: HOSTILE, "a": [HOSTILE, {HOSTILE + "3": b"\x1b[31m"}]}
        put("a.plist", binary(value))
        put("b.plist", binary({HOSTILE: HOSTILE + "!", HOSTILE + "2": 1}))
        put("a.state", record(HOSTILE.encode()[:60], value, b"\x1b[31mlibrary"))
        put("records.bin", sensor_info(b"owned\x1b]0;\x07\x9b3"))
        put("log.txt", b"prefix \x1b[35m no record\n")
        put("entries.bin", struct.pack("<BBBi", 0x30, 3, 0, 1))
        assert screen("publish", "--tally", "t.sqlite", "entries.bin", cwd=cls.folder)[0] == 0
        with sqlite3.connect(cls.folder / "t.sqlite") as store:
            store.execute("UPDATE scalar SET key = ?", (HOSTILE,))
        store.close()
        assert screen("capture", "--model", "model.json", "--out", "capture", cwd=cls.folder)[0] == 0

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def check(self, *arguments, status=0, shows=None):
        """Runs the command and looks at the screen; `shows`: a part that proves that the hostile text was shown."""
        with self.subTest(" ".join(arguments).encode("unicode_escape").decode()):
            done, output = screen(*arguments, cwd=self.folder)
            self.assertEqual(done, status, output)
            text = output.replace(b"\r\n", b"\n").decode("utf-8")  # a terminal gets nothing else than UTF-8
            self.assertEqual(ACTED_ON.findall(text), [], text[:2000])
            self.assertNotIn("\r", text)
            if shows is not None:
                self.assertIn(shows, text)

    def test_records(self):
        for arguments in ([], ["--format", "text"], ["--format", "json"], ["--format", "csv"], ["--escape"], ["--delta"],
                          ["--format", "csv", "--layout", "sensorinfo"], ["--fields", "name,payload,connected"],
                          ["--format", "json", "--fields", "name"], ["--format", "csv", "--fields", "name,payload"]):
            self.check("decode", *arguments, "records.bin", shows="owned")
            self.check("decode", *arguments, "capture")
        self.check("decode", "--stats", "--format", "none", "records.bin", shows="sensors")
        self.check("decode", "log.txt", status=1, shows="log.txt")
        for option in ("--category", "--event", "--layout", "--fields", "--time", "--since"):
            self.check("decode", option, HOSTILE, "records.bin", status=2)

    def test_captures(self):
        for arguments in ([], ["--all"], ["--format", "json"], ["--api", "2"]):
            self.check("capture", "--model", "model.json", *arguments, shows="owned")
        self.check("capture", "--model", "unknown_key.json", status=1, shows="owned")
        self.check("capture", "--model", "unknown_metric.json", status=1, shows="owned")

    def test_lists(self):
        for arguments in ([], ["--format", "json"], ["--path", "**"], ["--path", "a/*", "--format", "json"]):
            self.check("show", *arguments, "a.plist", shows="owned")
            self.check("show", *arguments, "a.state", shows="owned")
        self.check("show", "--path", HOSTILE.replace("[", "") + "/x", "a.plist", status=1, shows="owned")

    def test_differences(self):
        for arguments in ([], ["--format", "json"]):
            self.check("diff", *arguments, "a.plist", "b.plist", status=1, shows="owned")
            self.check("diff", *arguments, "a.state", "b.plist", status=1, shows="owned")

    def test_stores(self):
        for form in ("table", "json", "openmetrics"):
            self.check("tally", "--format", form, "t.sqlite", shows="owned")

    def test_queries(self):
        for form in ("table", "json", "csv"):
            self.check("query", "--format", form, "records.bin", "SELECT * FROM sensorinfo", shows="accel")
            self.check("query", "--format", form, "capture", "SELECT * FROM state")
            self.check("query", "--format", form, "capture", "SELECT * FROM services", shows="owned")
            self.check("query", "--format", form, "capture", "SELECT char(27, 93, 48, 7) AS x", shows="x")
        self.check("query", "records.bin", f'SELECT "{HOSTILE}" FROM nowhere', status=1)

    def test_triage(self):
        for form in ("text", "json"):
            self.check("triage", "--format", form, "capture", status=1, shows="owned")
            self.check("triage", "--format", form, "records.bin", "--against", "capture")
        (self.folder / "rules").mkdir(exist_ok=True)
        (self.folder / "rules" / "hostile.sql").write_text(
            "-- title: t\x1b[31m\n-- severity: note\n-- finding: \x1b[31m{n}\n-- why: \x9b31m\n-- next: \x07\n"
            "SELECT char(27, 93, 48, 7) AS n, char(27) AS source, char(155) AS path")
        self.check("triage", "--rules", "rules", "records.bin", status=1, shows="n")
        self.check("triage", "--rules", "rules", "--list", shows="hostile")
        (self.folder / "rules" / "hostile.sql").write_text("-- \x1b[31m: x\n")
        self.check("triage", "--rules", "rules", "records.bin", status=2, shows="hostile")

    def test_names_in_errors(self):
        for command in (["decode"], ["show"], ["diff", "a.plist"], ["tally"], ["capture", "--model"],
                        ["capture", "--plugin"], ["publish", "--tally", "x.sqlite"], ["trace", "-o", "x"]):
            self.check(*command, HOSTILE, status=2 if command[0] == "diff" else 1, shows="owned")
        for arguments in ([HOSTILE], ["decode", "--" + HOSTILE], ["capture", "--format", HOSTILE],
                          ["capture", "--api", HOSTILE]):
            self.check(*arguments, status=2)


unittest.main()
