"""Everything that velstat writes as JSON fits docs/schemas/velstat.schema.json, whose keys are in one style.

usage: json_test.py SCHEMA MODELS"""

import copy
import json
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import jsonschema

from command import VELSTAT, binary, record, run

SCHEMA = json.loads(Path(sys.argv.pop(1)).read_text())
MODELS = Path(sys.argv.pop(1))
# Those of the decoder's text, which programs read.
DECODER_KEYS = {"sequence_num", "type-id", "category-id", "component-id", "event-id", "binary-data", "calendar-time",
                "boot-timestamp"}


def validator(name):
    return jsonschema.Draft202012Validator({**SCHEMA, "$ref": f"#/$defs/{name}"})


class Outputs(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        for model in ("default", "failing-sensor"):
            status, _, errors = run("capture", "--model", MODELS / f"{model}.json", "--out", cls.folder / model)
            assert status == 0, errors
        (cls.folder / "list.plist").write_bytes(binary({"a": [1, 2.5, True, b"\1\xff", {"\x1b": "ä"}, float("inf")]}))
        (cls.folder / "title.state").write_bytes(record(b"Title", {"b": -1}, b"library"))
        (cls.folder / "empty.plist").write_bytes(binary({}))
        (cls.folder / "entries.bin").write_bytes(struct.pack("<BBBi", 0x30, 3, 0, 1))

    def lines_fit(self, name, text):
        check = validator(name)
        lines = text.splitlines()
        self.assertNotEqual(lines, [])
        for line in lines:
            check.validate(json.loads(line))
        return [json.loads(line) for line in lines]

    def fits(self, name, *arguments, status=0, lines=False):
        done, out, errors = run(*arguments, cwd=self.folder)
        self.assertEqual(done, status, errors)
        if lines:
            return self.lines_fit(name, out)
        value = json.loads(out)
        validator(name).validate(value)
        return value

    def test_captures(self):
        for model in sorted(MODELS.glob("*.json")):
            if model.stem != "device-model.schema":
                with self.subTest(model.stem):
                    self.fits("capture", "capture", "--format", "json", "--model", str(model))

    def test_files_of_a_capture(self):
        for name in ("default", "failing-sensor"):
            manifest = json.loads((self.folder / name / "manifest.json").read_text())
            validator("manifest").validate(manifest)
            self.lines_fit("log line", (self.folder / name / "log.jsonl").read_text())
        self.assertIn("result", manifest["handler results"][107])

    def test_records(self):
        for arguments in ([], ["--timesync", "0,0"]):
            self.fits("record", "decode", "--format", "json", "--limit", "500", *arguments, "default", lines=True)
        (self.folder / "random.bin").write_bytes(random_records())
        records = self.fits("record", "decode", "--format", "json", "--all", "random.bin", lines=True)
        self.assertNotIn("calendar-time", records[0])
        self.fits("chosen fields", "decode", "--format", "json", "--fields", "timestamp,category,arg1,payload,calendar-time",
                  "default", lines=True)

    def test_statistics(self):
        statistics = self.fits("statistics", "decode", "--format", "none", "--stats=json", "default")
        self.assertIn("records a second", statistics["time"])
        (self.folder / "random.bin").write_bytes(random_records())
        self.fits("statistics", "decode", "--format", "none", "--stats=json", "--all", "random.bin")

    def test_show(self):
        for inputs in (["list.plist"], ["title.state"], ["default"], ["list.plist", "default"], ["failing-sensor"]):
            with self.subTest(inputs):
                self.fits("show", "show", "--format", "json", *inputs)
                if "default" not in inputs:
                    self.fits("show", "show", "--format", "json", "--path", "**", *inputs)
        self.fits("show", "show", "--format", "json", "--path", "*/sensorType", "default")

    def test_diff(self):
        for old, new, status in (("default", "failing-sensor", 1), ("default", "default", 0),
                                 ("list.plist", "title.state", 1), ("empty.plist", "list.plist", 1)):
            with self.subTest(old, new=new):
                self.fits("diff", "diff", "--format", "json", old, new, status=status)

    def test_triage(self):
        run("capture", "--model", str(MODELS / "damaged-log.json"), "--out", "damaged", cwd=self.folder)
        for snapshot, status in (("default", 0), ("failing-sensor", 1), ("damaged", 1)):
            findings = self.fits("triage", "triage", "--format", "json", snapshot, status=status)["findings"]
            self.assertEqual(bool(findings), status == 1)

    def test_stores(self):
        self.assertTrue(self.fits("tally", "tally", "--format", "json", "default/tally.sqlite"))
        self.fits("tally", "tally", "--format", "json", "--watch", "--count", "1", "default/tally.sqlite", lines=True)
        self.assertEqual(run("publish", "--tally", "t.sqlite", "--log", "log.jsonl", "entries.bin", cwd=self.folder)[0], 0)
        self.lines_fit("log line", (self.folder / "log.jsonl").read_text())

    def test_help(self):
        for words in ([], ["decode"], ["generate", "records"]):
            self.assertEqual(self.fits("help", "help", "--format", "json", *words)["name"], " ".join(["velstat", *words]))

    def test_rows(self):
        for sql in ("SELECT * FROM records LIMIT 5", "SELECT * FROM state LIMIT 50", "SELECT NULL AS a, x'01' AS b, 1.5"):
            self.fits("row", "query", "--format", "json", "default", sql, lines=True)


def random_records():
    return subprocess.run([VELSTAT, "generate", "records", "--random", "--count", "2000"], capture_output=True,
                          check=True, timeout=60).stdout


def keys_of(schema):
    """The keys of objects that a schema names, except where data of the device names them."""
    if isinstance(schema, dict):
        if isinstance(schema.get("properties"), dict):
            yield from schema["properties"]
        for value in schema.values():
            yield from keys_of(value)
    elif isinstance(schema, list):
        for value in schema:
            yield from keys_of(value)


class Schema(unittest.TestCase):
    def test_it_is_a_schema(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)

    def test_keys_are_in_one_style(self):
        keys = set(keys_of(SCHEMA))
        self.assertGreater(len(keys), 80)
        for key in keys - DECODER_KEYS - {"$data"}:
            self.assertRegex(key, r"^(plug-in|[a-z0-9]+( [a-z0-9]+)*)$")

    def test_it_refuses_other_keys(self):
        store = [{"key": "a", "kind": "scalar", "value": 1, "overflows": 0}]
        check = validator("tally")
        check.validate(store)
        for change in ({"lastChange": 1}, {"value": "1"}, {"kind": "other"}):
            worse = copy.deepcopy(store)
            worse[0].update(change)
            self.assertFalse(check.is_valid(worse), change)
        del store[0]["overflows"]
        self.assertFalse(check.is_valid(store))


if __name__ == "__main__":
    unittest.main()
