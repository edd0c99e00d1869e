"""velstat diff: what makes a difference between two lists, records or captures, and its exit status."""

import json
import plistlib
import shutil
import sqlite3
import struct
import sys
import tempfile
import unittest
from pathlib import Path

from command import binary, record, run, run_on_terminal

MODELS = Path(sys.argv.pop())


class Diff(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def write(self, name, content):
        (self.folder / name).parent.mkdir(exist_ok=True)
        (self.folder / name).write_bytes(content)

    def diff(self, *arguments, stdin=b""):
        return run("diff", *arguments, cwd=self.folder, stdin=stdin)

    def lines(self, *arguments, stdin=b""):
        """The lines without the first two, which name the inputs."""
        status, out, errors = self.diff(*arguments, stdin=stdin)
        self.assertEqual(errors, "")
        self.assertEqual(status, 1 if out else 0)
        return out.splitlines()[2:]

    def values(self, before, after, *arguments):
        self.write("a", binary(before))
        lines = self.lines("a", "-", *arguments, stdin=binary(after))
        self.assertEqual(lines[:1], ["Values"] if lines else [])
        return lines[1:]

    def captures(self, **models):
        """Captures of the default device, changed by a function each."""
        for name, change in models.items():
            self.assertEqual(run("capture", "--out", name, cwd=self.folder)[0], 0)
            change(self.folder / name)


class Lists(Diff):
    def test_every_line_shows_the_whole_values(self):
        rows = [
            ({"x": 1, "y": [True]}, {"y": [True], "x": 1}, ""),
            ({"x": 1}, {"x": 2}, "  ~ x: 1 → 2\n"),
            ({"x": 1}, {"x": 1.0}, "  ~ x: integer 1 → real 1.0\n"),
            ({"x": "1"}, {"x": 1}, "  ~ x: string 1 → integer 1\n"),
            ({"x": float("nan")}, {"x": float("nan")}, ""),
            ({"a": {"b/c": 1}}, {"a": {}}, "  - a/b\\\\/c: 1\n"),
            ({"a": []}, {"a": [5, {"k": "v"}]}, "  + a/0: 5\n  + a/1\n      k  v\n"),
            ({"a": {"k": 1}}, {"a": 3}, "  - a\n      k  1\n  + a: 3\n"),
            ({"a": {}}, {"a": []}, "  ~ a: dictionary (empty dictionary) → array (empty array)\n"),
            ([1, 2, 3], [1, 3], "  ~ 1: 2 → 3\n  - 2: 3\n"),
            ({"d": bytes(40)}, {"d": bytes(39) + b"\1\2"}, "  ~ d: <40 bytes> → <41 bytes>, the same up to byte 39\n"),
            ({"t": "x" * 61}, {"t": "y"}, f"  ~ t\n      - {'x' * 61}\n      + y\n"),
            (1, 2, "  ~ (whole value): 1 → 2\n"),
        ]
        for before, after, lines in rows:
            with self.subTest(before=before, after=after):
                self.assertEqual(self.values(before, after, "--all"), lines.splitlines())

    def test_the_summary_shows_each_in_a_line(self):
        rows = [
            ({"x": 1}, {"x": 2}, "  ~ x  1 → 2"),
            ({"x": 1}, {"x": 1.0}, "  ~ x  integer 1 → real 1.0"),
            ({"a": {"k": 1, "l": "x"}}, {"a": 3}, "  ~ a  dictionary k 1, l x → integer 3"),
            ({}, {"a": {"k": {"l": 1}, "m": [1, 2]}}, "  + a  k l 1, m 2 items"),
            ({"d": bytes(40)}, {"d": bytes(41)}, "  ~ d  <40 bytes> → <41 bytes>, the same up to byte 40"),
            ({"t": "x" * 99}, {"t": "y"}, f"  ~ t  {'x' * 59}… → y"),
            ({"t": "x" * 99}, {"t": "y" * 99}, f"  ~ t  {'x' * 34}… → {'y' * 34}…"),
            ({"t": "one=1 two=2 three=3"}, {"t": "one=1 two=0 three=4"}, "  ~ t  … two=2 … → … two=0 …"),
            ({"t": "one=5 two=7"}, {"t": "one=5 two=8"}, "  ~ t  … two=7 → … two=8"),
            ({"t": "one two"}, {"t": "one"}, "  ~ t  one two → one"),
        ]
        for before, after, line in rows:
            with self.subTest(before=before, after=after):
                self.assertEqual(self.values(before, after), [line])

    def test_times_make_no_difference(self):
        rows = [
            ({"button up ts": 1, "ts": 2}, {"button up ts": 3, "ts": 4}, []),
            ([{"off ts": 1}], [{"off ts": 2}], []),
            ({"counts": 1}, {"counts": 2}, ["  ~ counts  1 → 2"]),
            ({"no ts": "a"}, {"no ts": "b"}, ["  ~ no ts  a → b"]),
            ({}, {"on ts": 2}, []),
        ]
        for before, after, lines in rows:
            with self.subTest(before=before, after=after):
                self.assertEqual(self.values(before, after), lines)

    def test_xml_is_the_same_as_binary(self):
        self.write("a.plist", binary({"x": 1, "y": ["z"]}))
        self.write("b.plist", plistlib.dumps({"x": 1, "y": ["z"]}, fmt=plistlib.FMT_XML))
        self.write("c.plist", plistlib.dumps({"x": 1, "y": ["q"]}, fmt=plistlib.FMT_XML))
        self.assertEqual(self.lines("a.plist", "b.plist"), [])
        self.assertEqual(self.lines("a.plist", "c.plist"), ["Values", "  ~ y/0  z → q"])

    def test_headers_are_compared_where_both_have_one(self):
        self.write("a.state", record(b"one", {}))
        self.write("b.state", record(b"two", {}, b"lib"))
        self.write("c.plist", binary({}))
        self.assertEqual(self.lines("a.state", "b.state"),
                         ["Values", "  ~ (title)            one → two", '  ~ (decoder library)  "" → lib'])
        self.assertEqual(self.lines("a.state", "c.plist"), [])

    def test_paths(self):
        before = {"a": {"b": 1, "c": 2}, "d": 3, "b": 4}
        after = {"a": {"b": 11, "c": 12}, "d": 13, "b": 14}
        rows = [
            (["--path", "a"], ["a/b", "a/c"]),
            (["--path", "a/b", "--path", "d"], ["a/b", "d"]),
            (["--path", "**/b"], ["a/b", "b"]),
            (["--ignore", "a"], ["d", "b"]),
            (["--ignore", "*/c", "--ignore", "[bd]"], ["a/b"]),
            (["--path", "a", "--ignore", "a/c"], ["a/b"]),
            (["--ignore", "**"], []),
            (["--path", "e"], []),
        ]
        for arguments, paths in rows:
            with self.subTest(arguments):
                self.assertEqual([line.split()[1] for line in self.values(before, after, *arguments)], paths)
        self.assertEqual(self.diff("--ignore", "a[", "a", "a"), (2, "", "velstat: --ignore: 'a[' has a \"[\" without its \"]\"\n"))


class Captures(Diff):
    def test_captures_of_one_device_are_the_same(self):
        self.captures(old=lambda _: None, new=lambda _: None)
        self.assertEqual(self.diff("old", "new/"), (0, "", ""))
        status, out, errors = self.diff("--format", "json", "old", "new")
        side = {"kind": "a capture folder", "records": 3328}
        self.assertEqual((status, json.loads(out), errors), (0, {
            "old": {"input": "old", **side}, "new": {"input": "new", **side}, "complete": True, "equal": True,
            "findings": [], "metrics": [], "values": [], "kinds": [], "counts": []}, ""))

    def test_reports_are_matched_by_title_and_place_whatever_their_numbers(self):
        for folder, files in {"old": [("001", b"A", 1), ("002", b"B", 2), ("003", b"B", 3), ("999", b"C", 4)],
                              "new": [("005", b"B", 2), ("0999", b"B", 5), ("1000", b"A", 1), ("1001", b"D", 6)]}.items():
            for number, title, value in files:
                self.write(f"{folder}/{number}-{title.decode()}.state", record(title, {"x": value}))
        self.assertEqual(self.lines("old", "new"),
                         ["Values", "  ~ B (2)/x  3 → 5", "  - C        a whole report", "  + D        a whole report"])
        status, out, errors = self.diff("--format", "json", "old", "new")
        self.assertEqual(json.loads(out)["values"], [
            {"path": "B (2)/x", "change": "changed", "notable": False, "old": 3, "new": 5},
            {"path": "C", "change": "removed", "notable": True, "old": "a whole report"},
            {"path": "D", "change": "added", "notable": True, "new": "a whole report"}])

    def test_reports_of_one_title_are_matched_by_service_where_a_manifest_knows_it(self):
        """So the sensor that is missing is named, and the others are still compared with themselves."""
        def drop(folder):
            manifest = json.loads((folder / "manifest.json").read_text())
            gyro, = (r for r in manifest["handler results"] if r["service"] == "Gyro")
            gone, = (r for r in manifest["records"] if r["handler"] == gyro["handler"])
            (folder / gone["file"]).unlink()
            gyro |= {"answered": False, "result": "0xe00002d6", "result text": "timed out"}
            (folder / "manifest.json").write_text(json.dumps(manifest))
        self.captures(old=lambda _: None, new=drop)
        self.assertEqual(self.lines("old", "new", "--ignore", "findings"), [
            "Values", "  - SensorInfo (Gyro)           a whole report", "  ~ services/Gyro/answered      1 → 0",
            "  + services/Gyro/not answered  timed out 1"])

    def test_metrics(self):
        def change(folder):
            with sqlite3.connect(folder / "tally.sqlite") as store:
                store.execute("UPDATE scalar SET value = 217 WHERE key LIKE '%.click.count'")
                store.execute("UPDATE scalar SET value = 100 WHERE key LIKE '%.double_click.count'")
                store.execute("DELETE FROM scalar WHERE key LIKE '%.long_press.count'")
                store.execute("INSERT INTO scalar (key, value, overflows) VALUES ('new/key', 3, 0)")
            store.close()
        self.captures(old=lambda _: None, new=change)
        self.assertEqual(self.lines("old", "new", "--ignore", "findings"), [
            "Metrics", "  + new\\\\/key                                3", "  ~ com.tavik.kip.button.double_click.count  45 → 100",
            "  - com.tavik.kip.button.long_press.count    9", "  ~ com.tavik.kip.button.click.count         216 → 217"])
        self.assertEqual(self.lines("old", "new", "--path", "new*"), ["Metrics", "  + new\\\\/key  3"])
        status, out, errors = self.diff("--format", "json", "new", "old")
        self.assertEqual([(m["path"], m["change"], m["notable"], m.get("old"), m.get("new")) for m in json.loads(out)["metrics"]], [
            ("com.tavik.kip.button.long_press.count", "added", True, None, 9),
            ("com.tavik.kip.button.double_click.count", "changed", True, 100, 45),
            ("new\\/key", "removed", True, 3, None),
            ("com.tavik.kip.button.click.count", "changed", False, 217, 216)])

    def test_a_record_that_cannot_be_read_is_trouble_and_the_rest_is_compared(self):
        for folder, value in ("old", 1), ("new", 2):
            self.write(f"{folder}/001-A.state", record(b"A", {"x": value}))
        self.write("new/002-B.state", b"\1\0\0\0")
        status, out, errors = self.diff("old", "new")
        self.assertEqual((status, out.splitlines()[2:], errors), (
            2, ["Values", "  ~ A/x  1 → 2"],
            "velstat: new/002-B.state: ends at offset 4: a state record has a header of 200 bytes\n"))
        shutil.copy(self.folder / "old/001-A.state", self.folder / "new/001-A.state")
        status, out, _ = self.diff("--format", "json", "old", "new")
        self.assertEqual((status, json.loads(out)["complete"], json.loads(out)["equal"], json.loads(out)["values"]),
                         (2, False, False, []))


    def test_distributions(self):
        """Counts and ranges, or percentiles where those are the same; a range that was left is notable."""
        rows = [
            ([10, 20] * 5, [10, 20] * 5, None),
            ([10, 12, 20] * 3, [10, 18, 20] * 3, ("p50 12, p99 20 → p50 18, p99 20", False)),
            ([10, 20] * 5, [10, 21] * 5, ("10 × 10..20 → 10 × 10..21", False)),
            ([10, 20] * 5, [10, 20] * 4, ("10 × 10..20 → 8 × 10..20", False)),
            ([10, 20] * 5, [10, 20] * 2, ("10 × 10..20 → 4 × 10..20", True)),
            ([10, 20] * 5, [10] * 8 + [30] * 2, ("10 × 10..20 → 10 × 10..30", True)),
            ([10, 20] * 5, [30] * 8, ("10 × 10..20 → 8 × 30", True)),
            ([10, 20] * 3, [30] * 6, ("6 × 10..20 → 6 × 30", False)),  # too few to know the range
        ]
        self.captures(old=lambda _: None, new=lambda _: None)
        for before, after, expected in rows:
            with self.subTest(before=before, after=after):
                for folder, samples in ("old", before), ("new", after):
                    (self.folder / folder / "tally.sqlite").unlink()
                    entries = b"".join(struct.pack("<BBBi", 0x30, 6, 11, sample << 16) for sample in samples)
                    self.assertEqual(run("publish", "--tally", self.folder / folder / "tally.sqlite", "-", stdin=entries)[0], 0)
                line = "  ~ com.tavik.kip.button.click.duration  "
                self.assertEqual(self.lines("old", "new", "--ignore", "findings"), ["Metrics", line + expected[0]] if expected else [])
                document = json.loads(self.diff("--format", "json", "old", "new")[1])
                self.assertEqual([metric["notable"] for metric in document["metrics"]], [expected[1]] if expected else [])

    def test_findings_of_triage(self):
        def change(folder):
            with sqlite3.connect(folder / "tally.sqlite") as store:
                store.execute("UPDATE scalar SET value = 326 WHERE key LIKE '%.click.count'")
            store.close()
        self.captures(old=lambda _: None, new=change)
        rows = [("old", "new", "added", {"new": {"severity": None, "count": 1, "text": None}}),
                ("new", "old", "removed", {"old": {"severity": None, "count": 1, "text": None}})]
        for before, after, change, values in rows:
            with self.subTest(change):
                status, out, errors = self.diff("--format", "json", "--path", "findings", before, after)
                findings = json.loads(out)["findings"]
                self.assertEqual((status, errors), (1, ""))
                self.assertTrue(findings)
                for finding in findings:
                    self.assertRegex(finding["path"], r"\Afindings/[a-z-]+\Z")
                    self.assertEqual((finding["change"], finding["notable"], "old" in finding, "new" in finding),
                                     (change, True, "old" in values, "new" in values))
                    side, = values
                    self.assertIn(finding[side]["severity"], ("note", "warning", "error"))
                    self.assertEqual(finding[side]["count"], 1)
        lines = self.lines("old", "new")
        self.assertEqual(lines[0], "Findings")
        self.assertRegex(lines[1], r"\A  \+ \d+ clicks were counted, but single, double and triple clicks make \d+\.\Z")
        self.assertEqual(self.lines("old", "new", "--path", "findings", "--ignore", "findings/*"), [])
        for arguments, colour in (["old", "new"], "31"), (["new", "old"], "32"):  # new ones are bad news
            shown = run_on_terminal("diff", "--path", "findings", *arguments, cwd=self.folder)
            self.assertIn(f"\x1b[{colour}m{'+' if colour == '31' else '-'} ", shown)

    def test_findings_of_both_sides_are_none(self):
        for folder in "old", "new":
            self.assertEqual(run("capture", "--model", MODELS / "failing-sensor.json", "--out", folder, cwd=self.folder)[0], 0)
        self.assertEqual(self.diff("old", "new"), (0, "", ""))


class Usage(Diff):
    def test_trouble(self):
        self.write("a", binary({}))
        self.write("text", b"no records")
        self.write("picture", b"\x89PNG\r\n\x1a\n")
        self.write("broken/readme", b"")
        (self.folder / "empty").mkdir()
        rows = [
            (["a", "none"], "none: No such file or directory"),
            (["none", "a"], "none: No such file or directory"),
            (["a", "empty"], "empty: an empty folder"),
            (["a", "broken"], "broken: not a capture: the folder holds neither .state files nor manifest.json and log.jsonl"),
            (["a", "text"], "text: refused: text without lines of profile records"),
            (["picture", "a"], "picture: refused: a PNG picture"),
            (["-", "-"], "standard input can be only one of the two"),
            (["a"], "new is required"),
        ]
        for arguments, line in rows:
            with self.subTest(arguments):
                self.assertEqual(self.diff(*arguments), (2, "", f"velstat: {line}\n"))

    def test_a_terminal_gets_no_control_characters_but_our_colours(self):
        self.write("a.state", record(b"t\x1b", {"k\x1b": "\x1b[2J", "gone\x1b": 1}))
        self.write("b\x1b", record(b"t\x1b", {"k\x1b": "\u202e", "new\x1b": [1]}))
        plain = """\
old  a.state  a state record
new  b\\x1B  a state record
Values
  ~ k\\x1B     \\x1B[2J → \\u{202E}
  - gone\\x1B  1
  + new\\x1B   1 item
"""
        self.assertEqual(run_on_terminal("diff", "a.state", "b\x1b", cwd=self.folder, NO_COLOR="1"), plain)
        coloured = run_on_terminal("diff", "a.state", "b\x1b", cwd=self.folder)
        self.assertIn("\x1b[31m- gone\\x1B\x1b[0m", coloured)
        self.assertIn("\x1b[32m+ new\\x1B\x1b[0m", coloured)
        for code in "1", "2", "31", "32", "0":
            coloured = coloured.replace(f"\x1b[{code}m", "")
        self.assertEqual(coloured, plain)


def event(time, sequence, *, category=7, component=2, code=0, arguments=(0, 0, 0), kind=3):
    """A record of an event with an action: its first argument."""
    return struct.pack("<BBBBIQ6I8x", kind, code, component, category, sequence, time, *arguments, *([0] * (6 - len(arguments))))


def uart(time, sequence, *arguments):
    """uart/uart1/hw-handshake/event, which shows its arguments."""
    return event(time, sequence, category=6, component=1, code=2, arguments=arguments)


def function(time, sequence, name):
    """execution/extfunction/extfunction/extfunction, which shows a name."""
    return struct.pack("<BBBBIQ16x16s", 9, 0, 4, 0, sequence, time, name)


class Records(Diff):
    """What makes a difference between two files of records."""

    def records(self, before, after, *arguments):
        self.write("a.bin", b"".join(before))
        return self.lines("a.bin", "-", *arguments, stdin=b"".join(after))

    HANDSHAKE = "uart/uart1/hw-handshake/event"

    def test_times_and_sequence_numbers_make_none(self):
        before = [uart(5_000_000 + i * 1000, i, i % 7) for i in range(50)]
        after = [uart(2**40 + i * 999, 2**31 + 7 * i, i % 7) for i in range(50)]
        self.assertEqual(self.records(before, after), [])
        self.assertEqual(self.records(before, before[::-1]), [])

    def test_arguments_that_follow_the_time_or_count_make_none(self):
        rows = {
            "the time": lambda base, i: (base + i * 1000) % 2**32,
            "a counter that starts again": lambda base, i: (base + i) % 1000 if base else i,
        }
        for name, argument in rows.items():
            with self.subTest(name):
                before = [uart(90_000_000 + i * 1000, i, argument(90_000_000, i)) for i in range(50)]
                after = [uart(2**32 - 20_000 + i * 1000, i, argument(2**32 - 20_000, i)) for i in range(50)]
                self.assertEqual(self.records(before, after), [])

    def test_ranges(self):
        """Old values 10 to 20, in no order: what the new ones have to be to be notable."""
        old = [uart(i, i, 10 + i * 7 % 11) for i in range(44)]
        rows = [
            ([10, 20] * 10, None),
            ([12, 18] * 10, "10..20 → 12..18"),              # inside
            ([10, 20] * 9 + [25, 10], "10..20 → 10..25"),     # beyond by half the width
            ([10, 20] * 9 + [90, 10], "10..20 → 10..90"),     # only one
            ([10, 20] * 20 + [90, 10, 90, 10, 90, 10], "10..20 → 10..90"), # three, less than a tenth
            ([10, 20] * 7 + [90, 10, 90, 10, 90, 10], "! 10..20 → 10..90"),
            ([10, 20] * 7 + [1, 10, 1, 10, 1, 10], "! 10..20 → 1..20"),
            ([90, 80] * 10, "! 10..20 → 80..90"),
        ]
        for values, expected in rows:
            with self.subTest(values=values[-6:]):
                new = [uart(i, i, value) for i, value in enumerate(values)]
                self.write("a.bin", b"".join(old))
                status, out, errors = self.diff("--format", "json", "--path", "**/arg1", "a.bin", "-", stdin=b"".join(new))
                shown = ["{}{}..{} → {}..{}".format("! " if v["notable"] else "", v["old"]["min"], v["old"]["max"],
                                                  v["new"]["min"], v["new"]["max"]) for v in json.loads(out)["values"]]
                self.assertEqual((status, shown), (1 if expected else 0, [expected] if expected else []))

    def test_of_few_old_values_no_range_is_known(self):
        for count, notable in (23, False), (24, True):
            old = [uart(i, i, 10 + i % 2) for i in range(count)]
            self.write("a.bin", b"".join(old))
            new = b"".join(uart(i, i, 1000 + i % 2) for i in range(count))
            status, out, _ = self.diff("--format", "json", "a.bin", "-", stdin=new)
            value, = json.loads(out)["values"]
            self.assertEqual((status, value["path"], value["notable"]), (1, self.HANDSHAKE + "/arg1", notable))
            self.assertEqual(value["old"] | {"p50": None, "p90": None},
                             {"count": count, "min": 10, "p10": 10, "p50": None, "p90": None, "max": 11})

    def test_bytes_that_two_layouts_show_are_compared_once(self):
        before = [event(i, i, arguments=(213, 9, i % 2)) for i in range(50)]
        after = [event(i, i, arguments=(213, 9, 100 + i % 2)) for i in range(50)]
        self.assertEqual(self.records(before, after), ["Values", "  ~ zorb/amp/AmpClearInterrupts/event/arg1  0..1 → 100..101"])

    def test_texts(self):
        def of(*names):
            return [function(i, i, names[i % len(names)]) for i in range(48)]
        path = "execution/extfunction/extfunction/extfunction/function"
        rows = [
            ((b"run", b"go"), (b"go", b"run"), []),
            ((b"run",), (b"run", b"go"), ["Values", f"  + {path}  also go"]),
            ((b"run", b"go"), (b"run",), ["Values", f"  - {path}  no go"]),
            ((b"run",), (b"\x1b\xff",), ["Values", f"  ~ {path}  run → \\x1B\u00ff"]),
        ]
        for before, after, lines in rows:
            with self.subTest(before=before, after=after):
                self.assertEqual(self.records(of(*before), of(*after)), lines)
        many = [b"%d" % i for i in range(17)]
        self.assertEqual(self.records(of(*many), of(*many[1:], b"other")), [])  # too many to keep

    def test_kinds_that_only_one_side_has(self):
        base = [uart(i, i, 1) for i in range(50)]
        others = [event(i, i, arguments=(213, 9, 0)) for i in range(30)]
        rare = [event(0, 0, arguments=(999, 9, 0), kind=77)]
        self.assertEqual(self.records(base + rare, base + others), [
            "Kinds of records that only one side has", "  + zorb/amp/AmpClearInterrupts/event  30",
            "  - zorb/amp/trace/77                  1"])

    def test_counts_are_compared_by_their_share(self):
        def of(uarts, events):
            return [uart(i, i, 1) for i in range(uarts)] + [event(i, i, arguments=(213, 9, 0)) for i in range(events)]
        path = "zorb/amp/AmpClearInterrupts/event"
        rows = [
            ((100, 100), (100, 100), {}),
            ((100, 100), (1000, 1000), {self.HANDSHAKE: False, path: False}),
            ((100, 100), (100, 110), {path: False}),
            ((1000, 10), (1000, 100), {path: True}),
            ((1000, 1), (1000, 3), {path: False}),  # tripled, but by chance
        ]
        for before, after, expected in rows:
            with self.subTest(before=before, after=after):
                self.write("a.bin", b"".join(of(*before)))
                _, out, _ = self.diff("--format", "json", "a.bin", "-", stdin=b"".join(of(*after)))
                self.assertEqual({c["path"]: c["notable"] for c in json.loads(out)["counts"]}, expected)

    def test_what_is_beyond_the_limits_is_compared_by_its_sum(self):
        kinds = [event(i, i, category=200, component=i >> 8, code=i & 255, kind=4) for i in range(4097)]
        self.assertEqual(self.records(kinds, kinds), [])
        changed = kinds[:-1] + [event(4096, 5, category=200, component=16, code=0, arguments=(1,), kind=4)]
        self.assertEqual(self.records(kinds, changed), ["Counts of records, and their share", "  ~ (further kinds)  1 each, which differ"])
        later = kinds[:-1] + [event(9999, 12, category=200, component=16, code=0, kind=4)]
        self.assertEqual(self.records(kinds, later), [])

    def test_any_two_inputs_that_hold_the_same_records_are_the_same(self):
        self.captures(capture=lambda _: None)
        texts = {form: run("decode", "--format", form, "capture", cwd=self.folder)[1] for form in ("text", "json", "csv")}
        for form, text in texts.items():
            with self.subTest(form):
                self.assertEqual(self.diff("capture", "-", stdin=text.encode()), (0, "", ""))


if __name__ == "__main__":
    unittest.main()
