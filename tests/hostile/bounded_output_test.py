"""Files that describe far more than they hold, and every file of the fuzz corpora: what is shown of one takes no more
than 64 times its size, and showing it no more than 256 MiB of memory."""

import json
import struct
import sys
import unittest
from pathlib import Path

from command import binary, run
from measured import Bounded, binary_list, counted

CORPORA = Path(sys.argv.pop())


def one_long_key(length, short, add=0):
    return {"K" * length: 1, **{f"k{i}": i + add for i in range(short)}}


def shared_text(length, times):
    return binary_list([counted(0xA0, times) + b"\1" * times, counted(0x50, length) + b"v" * length])


def doubled(levels):
    """Each array holds the next one twice."""
    return binary_list([bytes([0xA2, i + 1, i + 1]) for i in range(levels)] + [b"\x09"])


def shared_deep_down(levels, times):
    """The same small dictionary many times, far indented."""
    arrays = [bytes([0xA1, i + 1]) for i in range(levels)]
    many = counted(0xA0, times) + bytes([levels + 1]) * times
    return binary_list([*arrays, many, bytes([0xD1, levels + 2, levels + 2]), b"\x51k"])


LISTS = {
    "one long key": binary(one_long_key(300_000, 10_000)),
    "one long key above": binary({"K" * 300_000: one_long_key(0, 10_000)}),
    "long keys all the way": binary({"a" * 60_000: {"b" * 60_000: {"c" * 60_000: list(range(5000))}}}),
    "escapes in a long key": binary({"\x1b\u202e" * 50_000: {f"\x1b{i}": i for i in range(5000)}}),
    "shared text": shared_text(1000, 10_000),
    "shared short text": shared_text(100, 1000),
    "doubled": doubled(10),
    "doubled often": doubled(17),
    "doubled too often": doubled(40),
    "shared deep down": shared_deep_down(60, 20_000),
}
def state(title, content):
    return struct.pack("<II128x64s", 1, len(content), title) + content


SHOWN = ("one long key", "one long key above", "long keys all the way", "escapes in a long key")
PATHS = ("--path", "**/k*", "--path", "**/[0-9]*")


class Lists(Bounded):
    def test_hostile_lists(self):
        for name, content in LISTS.items():
            (self.folder / name).write_bytes(content)
            for arguments in (["show"], ["show", "--format", "json"], ["show", *PATHS],
                              ["show", *PATHS, "--format", "json"], ["diff", "empty"], ["diff", "--format", "json", "empty"]):
                with self.subTest(name, arguments=arguments):
                    run = self.measure(*arguments, name, size=self.size(name, "empty"), keep=1 << 24)
                    refused = "would take more" in run.errors or "values take more" in run.errors
                    if "--path" not in arguments:  # of which some match nothing
                        self.assertEqual(run.length == 0, refused, run.errors)
                        self.assertEqual(run.status, (0 if arguments[0] == "show" else 1) + refused)
                    if "json" in arguments and not refused:
                        json.loads(run.output)

    def test_a_list_with_long_keys_is_shown_with_them_cut(self):
        for name in SHOWN:
            (self.folder / name).write_bytes(LISTS[name])
            for arguments in (["show"], ["show", "--path", "*"], ["diff", "empty"]):
                with self.subTest(name, arguments=arguments):
                    run = self.measure(*arguments, name, size=self.size(name), keep=1 << 24)
                    self.assertEqual((run.status, run.errors), (1 if arguments[0] == "diff" else 0, ""))
                    for line in run.output.decode().splitlines():
                        self.assertLess(len(line), 200)

    def test_a_refusal_says_what_to_do(self):
        (self.folder / "shared").write_bytes(shared_text(100, 1000))
        size = self.size("shared")
        self.assertEqual(run("show", "shared", cwd=self.folder),
                         (1, "", f"velstat: shared: to show all of it would take more than 64 times the file's {size} "
                          "bytes; --path shows a part\n"))
        self.assertEqual(run("show", "--path", "1[0-4]", "shared", cwd=self.folder)[0::2], (0, ""))
        (self.folder / "keys").write_bytes(LISTS["one long key above"])
        (self.folder / "other").write_bytes(binary({"K" * 300_000: one_long_key(0, 10_000, 1)}))
        sizes = self.size("keys", "other")
        self.assertEqual(run("diff", "--format", "json", "keys", "other", cwd=self.folder),
                         (2, "", "velstat: keys and other: to show the differences would take more than 64 times the "
                          f"{sizes + len('keysother')} bytes of the inputs; --path and --ignore choose a part\n"))
        self.assertEqual(run("diff", "keys", "other", cwd=self.folder)[0::2], (1, ""))

    def test_a_refused_file_among_others(self):
        (self.folder / "shared").write_bytes(shared_text(100, 1000))
        (self.folder / "good").write_bytes(binary({"x": 1}))
        status, out, errors = run("show", "--format", "json", "good", "shared", "good", cwd=self.folder)
        self.assertEqual((status, errors.count("\n")), (1, 1))
        self.assertEqual([shown["value"] for shown in json.loads(out)], [{"x": 1}, {"x": 1}])
        status, out, errors = run("show", "shared", "good", cwd=self.folder)
        self.assertEqual((status, out.splitlines()[1], errors.count("\n")), (1, "  x  1", 1))

    def test_a_report_of_a_capture_that_would_be_too_long_can_be_left_out(self):
        for folder, value in ("old", 1), ("new", 2):
            (self.folder / folder).mkdir()
            (self.folder / folder / "001-a.state").write_bytes(state(b"a", binary({"x": value})))
            (self.folder / folder / "002-b.state").write_bytes(state(b"b", shared_text(99 + value, 1000)))
        self.assertEqual(run("diff", "old", "new", cwd=self.folder)[0::2], (1, ""))
        status, out, errors = run("diff", "--all", "old", "new", cwd=self.folder)
        self.assertEqual((status, out), (2, ""))
        self.assertRegex(errors, "\\Avelstat: old and new: [^\n]*; --path and --ignore choose a part\n\\Z")
        status, out, errors = run("diff", "--all", "--ignore", "b", "old", "new", cwd=self.folder)
        self.assertEqual((status, out.splitlines()[2:], errors), (1, ["Values", "  ~ a/x: 1 → 2"], ""))
        for arguments in ["show", "old"], ["show", "--format", "json", "old"]:
            status, out, errors = run(*arguments, cwd=self.folder)
            self.assertEqual((status, "x" in out), (1, True))
            self.assertRegex(errors, "\\Avelstat: old/002-b.state: to show all of it would take more than 64 times[^\n]*\n\\Z")

    def test_captures_whose_reports_take_too_much_memory_are_read_in_part(self):
        many = state(b"many", binary([f"{i:040}" for i in range(200_000)]))  # a tree of 22 MB
        for folder in "old", "new":
            (self.folder / folder).mkdir()
            for i in range(8):
                (self.folder / folder / f"{i}.state").write_bytes(many)
        error = ("velstat: {}/3.state: the records before and in this one take more than 67108864 bytes of memory; it and "
                 "those after it are left out\n")
        run = self.measure("diff", "old", "new", size=len(many))
        self.assertEqual((run.status, run.errors), (2, error.format("old") + error.format("new")))
        for arguments in ["show", "--path", "many/0"], ["decode"]:
            run = self.measure(*arguments, "old", size=len(many))
            self.assertEqual((run.status, run.errors), (1, error.format("old")))


class Corpora(Bounded):
    """What libFuzzer found worth keeping, as the commands would get it."""

    def check_files(self, folder, *commands):
        files = sorted((CORPORA / folder).iterdir())
        self.assertGreater(len(files), 5)
        for path in files:
            for arguments in commands:
                with self.subTest(path.name, arguments=arguments):
                    self.measure(*arguments, path.name, size=path.stat().st_size)

    def test_lists(self):
        self.folder = CORPORA / "property_list"
        self.check_files("property_list", ["show"], ["show", "--format", "json"])

    def test_lists_in_xml(self):
        self.folder = CORPORA / "xml_property_list"
        self.check_files("xml_property_list", ["show"], ["show", "--format", "json"])

    def test_records(self):
        for name in "profile", "recovery":
            self.folder = CORPORA / name
            self.check_files(name, *[["decode", "--format", format] for format in ("text", "json", "csv")],
                             ["decode", "--escape", "--recover"], ["trace", "--no-findings", "-o", "-"])

    def test_differences(self):
        """Of each file and an empty one. What names the two takes some bytes too."""
        named = 64
        for name in "profile", "recovery", "read_line", "sources":
            for path in sorted((CORPORA / name).iterdir()):
                for arguments in ["diff"], ["diff", "--all"], ["diff", "--format", "json"]:
                    with self.subTest(path.name, arguments=arguments):
                        self.measure(*arguments, "/dev/null", str(path), size=path.stat().st_size + named)

    def test_lines_and_other_sources(self):
        for name in "read_line", "sources":
            self.folder = CORPORA / name
            self.check_files(name, ["decode", "--format", "json"], ["trace", "--no-findings", "-o", "-"])


if __name__ == "__main__":
    unittest.main()
