"""velstat help and --help, and what a wrong command line was meant to be.

usage: help_test.py MODELS"""

import re
import sys
import tempfile
import unittest
from pathlib import Path

from command import run, run_on_terminal

MODELS = Path(sys.argv.pop(1))
TOP = run("--help")[1]
COMMANDS = re.findall(r"^  (\w+) ", TOP[TOP.index("Subcommands:"):TOP.index("Example:")], re.MULTILINE)
PAGES = [[], *[[command] for command in COMMANDS], ["generate", "records"]]


class Help(unittest.TestCase):
    def test_every_line_fits_80_columns(self):
        self.assertIn("capture", COMMANDS)
        self.assertIn("help", COMMANDS)
        for page in PAGES:
            for line in run(*page, "--help")[1].splitlines():
                self.assertLessEqual(len(line), 80, (page, line))

    def test_it_fits_a_narrow_terminal(self):
        for page in PAGES:
            for line in run_on_terminal(*page, "--help", columns=60).splitlines():
                self.assertLessEqual(len(line), 60, (page, line))

    def test_examples_are_not_broken(self):
        for page in PAGES:
            for example in re.findall(r"Examples?:\n((?:  .*\n)+)", run(*page, "--help")[1]):
                for line in example.splitlines():
                    self.assertRegex(line, r"^  (velstat|  )", page)

    def test_descriptions_are_beside_the_names_or_below_them(self):
        for page in PAGES:
            for line in run(*page, "--help")[1].splitlines():
                if line.startswith("  -"):
                    self.assertRegex(line, r"^(  -.{21} [ \S]?|  -\S.*$)", page)
                    self.assertTrue(len(line) <= 80 and (line[24:26] == "  " or not re.search(r"\S  +\S", line)), line)

    def test_help_of_a_name_is_its_option_help(self):
        for page in PAGES:
            self.assertEqual(run("help", *page), run(*page, "--help"))
        self.assertTrue(run("help", "tally")[1].startswith("Show what"), run("help", "tally"))

    def test_wrong_names_for_help(self):
        for words, line in ((["captur"], "help: 'captur' is not a subcommand; did you mean 'capture'?"),
                            (["generate", "recrods"], "help: 'recrods' is not a subcommand; did you mean 'records'?"),
                            (["show", "x"], "help: 'x' is not a subcommand"),
                            (["\x1b[31m"], r"help: '\x1B[31m' is not a subcommand")):
            self.assertEqual(run("help", *words), (2, "", f"velstat: {line}\n"))


class Meant(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        assert run("capture", "--out", "snapshot", cwd=cls.folder)[0] == 0
        (cls.folder / "device.txt").write_text(' \n{"name": "d"}\n')
        (cls.folder / "plain").write_text("plain\n")
        (cls.folder / "empty").mkdir()
        (cls.folder / "evil\x1b[31m.json").write_text("{}")

    def test_one_line_says_what_was_meant(self):
        model = MODELS / "default.json"
        for words, line in (
                (["captrue"], "'captrue' is unknown here; did you mean 'capture'?"),
                (["CAPTURE"], "'CAPTURE' is unknown here; did you mean 'capture'?"),
                (["frobnicate"], "'frobnicate' is unknown here"),
                (["generate", "record"], "'record' is unknown here; did you mean 'records'?"),
                (["capture", "--modle", model], "'--modle' is unknown here; did you mean '--model'?"),
                (["decode", "--categry=zorb", "x"], "'--categry=zorb' is unknown here; did you mean '--category'?"),
                (["show", "-x", "y"], "'-x' is unknown here"),
                (["show", "--", "--frob"], "--frob: No such file or directory"),
                (["tally", "--coutn", "3", "x"], "'--coutn' is unknown here; did you mean '--count'?"),
                (["tally", "a", "b"], "'b' is unknown here"),
                (["--no-pager"], "'--no-pager' is unknown here"),
                # paths where an option was meant
                (["capture", model], f"'{model}' looks like a device model: use --model {model}"),
                (["capture", "device.txt"], "'device.txt' looks like a device model: use --model device.txt"),
                (["capture", "gone.json"], "'gone.json' looks like a device model: use --model gone.json"),
                (["capture", "evil\x1b[31m.json"],
                 r"'evil\x1B[31m.json' looks like a device model: use --model evil\x1B[31m.json"),
                (["capture", "plain"], "'plain' is unknown here"),
                (["capture", "empty"], "'empty' is unknown here"),
                (["capture", "snapshot"], "'snapshot' is a capture: triage, show, decode, query and diff read it"),
                (["publish", model], f"entries: '{model}' looks like a device model: use --model {model}"),
                (["publish", "--tally", "t.sqlite", "device.txt"],
                 "entries: 'device.txt' looks like a device model: use --model device.txt"),
                ([model], f"'{model}' is not a subcommand: use capture --model {model}"),
                (["snapshot"], "'snapshot' is a capture: triage, show, decode, query and diff read it")):
            with self.subTest(words):
                status, out, errors = run(*map(str, words), cwd=self.folder)
                self.assertEqual((status, out, errors), (1 if "No such" in line else 2, "", f"velstat: {line}\n"))
        self.assertFalse((self.folder / "t.sqlite").exists())

    def test_tally_names_the_store_of_a_capture(self):
        self.assertEqual(run("tally", "snapshot", cwd=self.folder),
                         (1, "", "velstat: snapshot: not a TallyStore (not a regular file); its store is "
                                 "snapshot/tally.sqlite\n"))
        self.assertEqual(run("tally", "empty", cwd=self.folder),
                         (1, "", "velstat: empty: not a TallyStore (not a regular file)\n"))


if __name__ == "__main__":
    unittest.main()
