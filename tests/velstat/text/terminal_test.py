"""What all subcommands do on a terminal: the pager, colours, and lines that fit.

usage: terminal_test.py MODELS"""

import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from command import ENVIRONMENT, VELSTAT, binary, on_terminal, run, run_on_terminal

MODELS = Path(sys.argv.pop(1))


class Snapshot(unittest.TestCase):
    """A capture of a device with a fault, and another one."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        for name, model in (("bad", "failing-sensor"), ("good", "default")):
            status, _, errors = run("capture", "--model", MODELS / f"{model}.json", "--out", cls.folder / name)
            assert status == 0, errors
        value = {"text": "word " * 60, "unbroken": "x" * 300, "key " * 15: "y" * 30, "tiny": 1, "wide": "ä" * 200}
        (cls.folder / "a.plist").write_bytes(binary(value))
        (cls.folder / "b.plist").write_bytes(binary({**value, "text": "other " * 60}))


class Pager(Snapshot):
    LONG = ["show", "a.plist"]

    def setUp(self):
        self.paged = self.folder / "paged"
        self.paged.unlink(missing_ok=True)
        self.pager = f"cat > {self.paged}"

    def on_terminal(self, *arguments, errors=True, **environment):
        status, output = on_terminal(arguments, self.folder, errors=errors, **{"PAGER": self.pager, **environment})
        return status, output.decode().replace("\r\n", "\n")

    def test_output_goes_into_the_pager_and_nothing_past_it(self):
        for arguments in (self.LONG, ["capture"], ["decode", "good"], ["triage", "good"], ["diff", "good", "good"],
                          ["query", "good", "SELECT 1"], ["tally", "good/tally.sqlite"], ["--help"],
                          ["help", "show"], ["--version"]):
            with self.subTest(arguments):
                self.paged.unlink(missing_ok=True)
                self.assertEqual(self.on_terminal(*arguments)[1], "")
                expected = self.on_terminal(*arguments, PAGER="cat")[1]
                self.assertEqual(self.paged.read_text() if expected else "", expected)

    def test_when_there_is_no_pager(self):
        for arguments, environment in ((["show", "--no-pager", "a.plist"], {}), (self.LONG, {"PAGER": ""}),
                                       (self.LONG, {"PAGER": "cat"}), (self.LONG, {"TERM": "dumb"}),
                                       (["decode", "--raw", "--limit", "3", "good"], {}),
                                       (["tally", "--watch", "--count", "1", "good/tally.sqlite"], {})):
            with self.subTest(arguments, **environment):
                status, output = self.on_terminal(*arguments, **environment)
                self.assertEqual(status, 0)
                self.assertNotEqual(output, "")
                self.assertFalse(self.paged.exists())

    def test_pipes_and_files_get_no_pager(self):
        done = subprocess.run([VELSTAT, *self.LONG], cwd=self.folder, capture_output=True,
                              env={**ENVIRONMENT, "PAGER": self.pager}, timeout=60)
        self.assertEqual((done.returncode, done.stdout.decode(), done.stderr), (*run(*self.LONG, cwd=self.folder)[:2], b""))
        self.assertFalse(self.paged.exists())

    def test_errors_alone_start_no_pager(self):
        for arguments, status in ((["--frob"], 2), (["show", "gone"], 1), (["capture", "--model", "gone"], 1)):
            done, output = self.on_terminal(*arguments)
            self.assertEqual((done, output.count("velstat: ")), (status, 1), output)
            self.assertFalse(self.paged.exists())

    def test_errors_among_output_go_into_it_too(self):
        status, output = self.on_terminal("show", "a.plist", "gone", "b.plist")
        self.assertEqual((status, output), (1, ""))
        self.assertIn("\nvelstat: gone: No such file or directory\n", self.paged.read_text())

    def test_a_user_who_leaves_early_is_not_an_error(self):
        for pager in ("true", "head -n 1 > /dev/null"):
            for arguments, expected in ((self.LONG, 0), (["decode", "good", "good", "--all"], 0),
                                        (["query", "good", "SELECT text FROM records"], 0), (["triage", "bad"], 0),
                                        (["diff", "good", "bad"], 1)):
                with self.subTest(arguments, pager=pager):
                    status, output = self.on_terminal(*arguments, PAGER=pager)
                    self.assertIn(status, {expected, 1 if arguments[0] == "triage" else expected})
                    self.assertEqual(output, "")

    def test_a_pager_that_cannot_be_run_is_an_error(self):
        line = "velstat: PAGER names a command that cannot be run: --no-pager does without\n"
        status, output = self.on_terminal(*self.LONG, PAGER="/nowhere/pager")
        self.assertEqual((status, output.endswith(line)), (1, True), output)

    def test_the_command_waits_for_its_pager_to_end(self):
        # Only who waits learns the status, which is the shell's for a command that cannot be run.
        status, output = self.on_terminal(*self.LONG, PAGER="cat > /dev/null; echo last; exit 127")
        self.assertEqual((status, output[:5]), (1, "last\n"))

    def test_the_default_is_less_if_it_is_installed(self):
        tools = self.folder / "tools"
        tools.mkdir(exist_ok=True)
        without = {key: value for key, value in os.environ.items() if key != "PAGER"}
        status, output = on_terminal_without_pager(self.LONG, self.folder, {**without, "PATH": str(tools)})
        self.assertEqual((status, "word word" in output), (0, True))
        less = tools / "less"
        less.write_text(f"#!/bin/sh\necho \"$LESS $LESSCHARSET\" > {self.paged}\n/bin/cat\necho the end\n")
        less.chmod(0o755)
        status, output = on_terminal_without_pager(self.LONG, self.folder, {**without, "PATH": str(tools)})
        self.assertEqual((status, output.splitlines()[-1]), (0, "the end"))
        self.assertEqual(self.paged.read_text(), "FRX utf-8\n")
        on_terminal_without_pager(self.LONG, self.folder, {**without, "PATH": str(tools), "LESS": "S", "LESSCHARSET": "x"})
        self.assertEqual(self.paged.read_text(), "S x\n")

    def test_it_gets_the_interrupts_that_are_meant_for_it(self):
        status, output = self.on_terminal(*self.LONG, PAGER=f"kill -INT $PPID; {self.pager}")
        self.assertEqual((status, output), (0, ""))
        self.assertTrue(self.paged.read_text().startswith("\x1b[1ma.plist"), self.paged.read_text())

    def test_its_own_pipes_end_as_usual(self):
        status, output = self.on_terminal(*self.LONG, PAGER="cat > /dev/null; yes | head -n 1")
        self.assertEqual((status, output), (0, "y\n"))

    def test_names_of_files_are_not_part_of_the_command(self):
        evil = "a; touch owned; $(touch owned).plist"
        (self.folder / evil).write_bytes(binary({"a": 1}))
        self.assertEqual(self.on_terminal("show", evil), (0, ""))
        self.assertFalse((self.folder / "owned").exists())
        self.assertIn("touch owned", self.paged.read_text())


def on_terminal_without_pager(arguments, cwd, environment):
    """A run whose PAGER is not set."""
    before = ENVIRONMENT.pop("PAGER")
    try:
        changed = {key: value for key, value in environment.items() if ENVIRONMENT.get(key) != value}
        status, output = on_terminal(arguments, cwd, errors=True, **changed)
    finally:
        ENVIRONMENT["PAGER"] = before
    return status, output.decode().replace("\r\n", "\n")


class Colour(Snapshot):
    COLOURED = [["capture"], ["query", "good", "SELECT 1 AS a"], ["triage", "bad"], ["show", "a.plist"],
                ["tally", "good/tally.sqlite"], ["diff", "a.plist", "b.plist"]]

    def test_when_there_is_colour(self):
        for arguments in self.COLOURED:
            for options, terminal, environment, expected in (
                    ([], True, {}, True), ([], False, {}, False), ([], True, {"NO_COLOR": "1"}, False),
                    ([], True, {"TERM": "dumb"}, False), (["--color", "auto"], True, {}, True),
                    (["--color=auto"], True, {"NO_COLOR": "1"}, False), (["--color=always"], False, {}, True),
                    (["--color=always"], True, {"NO_COLOR": "1"}, True), (["--color=never"], True, {}, False)):
                with self.subTest(arguments + options, terminal=terminal, **environment):
                    everything = [arguments[0], *options, *arguments[1:]]
                    output = (run_on_terminal(*everything, cwd=self.folder, **environment) if terminal
                              else run(*everything, cwd=self.folder)[1])
                    self.assertEqual("\x1b[" in output, expected)

    def test_other_words_are_refused(self):
        for arguments in [*self.COLOURED, ["decode"]]:
            status, out, errors = run(arguments[0], "--color=maybe", *arguments[1:], cwd=self.folder)
            self.assertEqual((status, out, errors),
                             (2, "", "velstat: --color: maybe not in {auto,always,never}\n"))


class Width(Snapshot):
    SCREENS = [["capture"], ["capture", "--all"], ["decode", "good"], ["triage", "bad"], ["triage", "--list"],
               ["show", "a.plist"], ["show", "--path", "**", "a.plist"], ["diff", "a.plist", "b.plist"],
               ["query", "good", "SELECT * FROM state"], ["query", "--schema"],
               ["tally", "good/tally.sqlite"], ["diff", "good", "bad"]]

    def widest(self, arguments, **settings):
        output = re.sub("\x1b\\[[0-9;]*m", "", run_on_terminal(*arguments, cwd=self.folder, **settings))
        return max(map(len, output.splitlines()))

    def test_lines_fit_the_terminal(self):
        for arguments in self.SCREENS:
            with self.subTest(arguments):
                self.assertLessEqual(self.widest(arguments, columns=80), 80)
                self.assertLessEqual(self.widest(arguments, columns=132, COLUMNS="70"), 70)

    def test_where_the_width_comes_from(self):
        for columns, variable, expected in ((None, None, 80), (100, None, 100), (100, "60", 60), (100, "", 100),
                                            (100, "x", 100), (100, "-5", 100), (100, "0", 100), (100, "3", 40),
                                            (7, None, 40)):
            with self.subTest(columns=columns, variable=variable):
                settings = {} if variable is None else {"COLUMNS": variable}
                self.assertEqual(self.widest(["show", "a.plist"], columns=columns, **settings), expected)

    def test_nothing_is_lost_by_breaking_lines(self):
        broken = run_on_terminal("show", "a.plist", cwd=self.folder, columns=50, NO_COLOR="1")
        whole = run("show", "a.plist", cwd=self.folder)[1]
        self.assertEqual("".join(broken.split()), "".join(whole.split()))
        self.assertGreater(len(broken.splitlines()), len(whole.splitlines()))

    def test_pipes_and_json_keep_their_lines(self):
        self.assertGreater(max(map(len, run("show", "a.plist", cwd=self.folder)[1].splitlines())), 300)
        self.assertGreater(self.widest(["show", "--format", "json", "a.plist"], columns=50), 300)

    def test_errors_fit_too(self):
        status, output = on_terminal(["show", "no-such-file " * 12], self.folder, errors=True, columns=50)
        lines = output.decode().replace("\r\n", "\n").splitlines()
        self.assertEqual((status, len(lines) > 1), (1, True))
        self.assertLessEqual(max(map(len, lines)), 50)
        self.assertTrue(lines[0].startswith("velstat: no-such-file"), lines)


if __name__ == "__main__":
    unittest.main()
