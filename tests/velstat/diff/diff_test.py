"""velstat diff: whole lines of what it prints, and its exit status."""

import json
import shutil
import tempfile
import unittest
from pathlib import Path

from command import binary, record, run, run_on_terminal


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

    def values(self, before, after):
        """The lines about two property lists, without the first, which names them."""
        self.write("a", binary(before))
        status, out, errors = self.diff("a", "-", stdin=binary(after))
        self.assertEqual(errors, "")
        self.assertEqual(status, 1 if out else 0)
        first, _, rest = out.partition("\n")
        self.assertEqual(first, "~ property list  a → standard input" if out else "")
        return rest

    def test_values(self):
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
                self.assertEqual(self.values(before, after), lines)

    def test_headers_are_compared_where_both_have_one(self):
        self.write("a.state", record(b"one", {}))
        self.write("b.state", record(b"two", {}, b"lib"))
        self.write("c.plist", binary({}))
        self.assertEqual(self.diff("a.state", "b.state"), (1, """\
~ one  a.state → b.state
  ~ (title): one → two
  ~ (decoder library):  → lib
""", ""))
        self.assertEqual(self.diff("a.state", "c.plist"), (0, "", ""))

    def captures(self):
        for folder in "old", "new":
            self.assertEqual(run("capture", "--out", folder, cwd=self.folder)[0], 0)
        return sorted((self.folder / "new").glob("*.state"))

    def test_captures_of_one_device_are_the_same(self):
        self.captures()
        self.assertEqual(self.diff("old", "new/"), (0, "", ""))
        status, out, errors = self.diff("--format", "json", "old", "new")
        self.assertEqual((status, json.loads(out), errors),
                         (0, {"old": "old", "new": "new", "complete": True, "equal": True, "records": []}, ""))

    def test_records_are_matched_by_title_and_occurrence(self):
        for folder, files in {"old": [("001", b"A", 1), ("002", b"B", 2), ("003", b"B", 3), ("999", b"C", 4)],
                              "new": [("005", b"B", 2), ("0999", b"B", 5), ("1000", b"A", 1), ("1001", b"D", 6)]}.items():
            for number, title, value in files:
                self.write(f"{folder}/{number}-{title.decode()}.state", record(title, {"x": value}))
        status, out, errors = self.diff("old", "new")
        self.assertEqual((status, out, errors), (1, """\
~ B (2)  old/003-B.state → new/0999-B.state
  ~ x: 3 → 5
- C  old/999-C.state
+ D  new/1001-D.state
""", ""))
        status, out, errors = self.diff("--format", "json", "old", "new")
        self.assertEqual(json.loads(out)["records"], [
            {"title": "B", "occurrence": 2, "change": "changed", "old file": "old/003-B.state",
             "new file": "new/0999-B.state", "header": [],
             "values": [{"path": "x", "change": "changed", "old type": "integer", "old": 3, "new type": "integer",
                         "new": 5}]},
            {"title": "C", "occurrence": 1, "change": "removed", "old file": "old/999-C.state", "header": [],
             "values": []},
            {"title": "D", "occurrence": 1, "change": "added", "new file": "new/1001-D.state", "header": [],
             "values": []}])

    def test_a_record_that_cannot_be_read_is_trouble_and_the_rest_is_compared(self):
        for folder, value in ("old", 1), ("new", 2):
            self.write(f"{folder}/001-A.state", record(b"A", {"x": value}))
        self.write("new/002-B.state", b"\1\0\0\0")
        status, out, errors = self.diff("old", "new")
        self.assertEqual((status, out, errors), (
            2, "~ A  old/001-A.state → new/001-A.state\n  ~ x: 1 → 2\n",
            "velstat: new/002-B.state: ends at offset 4: a state record has a header of 200 bytes\n"))
        shutil.copy(self.folder / "old/001-A.state", self.folder / "new/001-A.state")
        status, out, _ = self.diff("--format", "json", "old", "new")
        self.assertEqual((status, json.loads(out)),
                         (2, {"old": "old", "new": "new", "complete": False, "equal": False, "records": []}))

    def test_trouble(self):
        self.write("a", binary({}))
        self.write("empty/readme", b"")
        self.write("quiet/log.jsonl", b"")
        rows = [
            (["a", "none"], "none: No such file or directory"),
            (["none", "a"], "none: No such file or directory"),
            (["a", "quiet"], "quiet: a folder, to be compared with another, not with a"),
            (["quiet", "-"], "quiet: a folder, to be compared with another, not with standard input"),
            (["quiet", "empty"], "empty: no capture: it holds neither .state files nor log.jsonl"),
            (["-", "-"], "standard input can be only one of the two"),
            (["a"], "new is required"),
        ]
        for arguments, line in rows:
            with self.subTest(arguments):
                self.assertEqual(self.diff(*arguments), (2, "", f"velstat: {line}\n"))
        self.assertEqual(self.diff("quiet", "quiet"), (0, "", ""))

    def test_a_terminal_gets_no_control_characters_but_our_colours(self):
        self.write("a.state", record(b"t\x1b", {"k\x1b": "\x1b[2J", "gone\x1b": 1}))
        self.write("b.state", record(b"t\x1b", {"k\x1b": "\u202e", "new\x1b": [1]}))
        plain = """\
~ t\\x1B  a.state → b.state
  ~ k\\x1B: \\x1B[2J → \\u{202E}
  - gone\\x1B: 1
  + new\\x1B
      0  1
"""
        self.assertEqual(run_on_terminal("diff", "a.state", "b.state", cwd=self.folder, NO_COLOR="1"), plain)
        coloured = run_on_terminal("diff", "a.state", "b.state", cwd=self.folder)
        self.assertIn("\x1b[31m\\x1B[2J\x1b[0m → \x1b[32m\\u{202E}\x1b[0m", coloured)
        for code in "1", "2", "31", "32", "0":
            coloured = coloured.replace(f"\x1b[{code}m", "")
        self.assertEqual(coloured, plain)


if __name__ == "__main__":
    unittest.main()
