"""velstat, with option values that are empty or are numbers in other notations: wrong usage, and nothing is done."""

import json
import tempfile
import unittest
from pathlib import Path

from command import run

# What a command needs besides the option.
NEEDED = {
    ("show",): ("file",), ("diff",): ("file", "file"), ("query",): ("file", "SELECT 1"), ("trace",): ("file",),
    ("report",): ("file",), ("triage",): ("file",), ("tally",): ("--watch", "file"),
    ("publish",): ("--tally", "store", "file"), ("fleet", "load"): ("file",), ("fleet", "ask"): ("name",),
}  # fmt: skip


def options(command, path=()):
    """Every option that needs a value, of every subcommand, with what else its command needs."""
    for option in command["options"]:
        if "value" in option and not option["value optional"]:
            name = option["names"][-1]
            needed = NEEDED.get(path, ())
            yield *path, *(needed[-1:] if name in needed else needed), name
    for inner in command["subcommands"]:
        yield from options(inner, (*path, inner["name"].split()[-1]))


OPTIONS = list(options(json.loads(run("help", "--format", "json")[1])))
FLAGS = [("capture", "--all"), ("decode", "--stats"), ("decode", "--recover"), ("tally", "file", "--watch")]
NAMES = [("decode",), ("show",), ("tally",), ("publish", "--tally", "store"), ("diff", "file"), ("decode", "file"), ("query",), ("query", "file"), ("triage",), ("trace", "-o", "out")]


class Values(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def refused(self, arguments, pattern):
        status, out, error = run(*arguments, cwd=self.folder)
        self.assertEqual((status, out), (2, ""), error)
        self.assertRegex(error, pattern)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_empty_value_of_an_option(self):
        self.assertGreater(len(OPTIONS), 60)
        for *arguments, option in OPTIONS:
            for form in ([option, ""], [f"{option}="]):
                with self.subTest(" ".join([*arguments, *form])):
                    self.refused([*arguments, *form], rf"\Avelstat: {option}: [^\n]+\n\Z")

    def test_empty_value_of_a_flag(self):
        for *arguments, flag in FLAGS:
            with self.subTest(flag):
                self.refused([*arguments, f"{flag}="], rf"\Avelstat: {flag}: the value is empty\n\Z")

    def test_name_of_a_file_may_look_like_an_empty_value(self):
        self.assertEqual(run("decode", "--", "--stats=", cwd=self.folder),
                         (1, "", "velstat: --stats=: No such file or directory\n"))

    def test_empty_name_of_a_file(self):
        for arguments in NAMES:
            with self.subTest(arguments):
                self.refused([*arguments, ""], r"\Avelstat: \w+: the value is empty\n\Z")

    def test_numbers_are_decimal(self):
        for text in ("0x10", "0X1p3", "1e", " 1", "1 ", "1,5", "nan", "inf", "-1", "0", "0.0009", "86400.1", "1e99"):
            with self.subTest(text):
                self.refused(["tally", "--watch", "--interval", text, "file"],
                             r"\Avelstat: --interval: '[^']*' is not a number from 0\.001 to 86400\n\Z")

    def test_decimal_numbers_are_taken(self):
        for text in ("0.001", "86400", "1e1", "1.5", "007"):
            self.assertEqual(run("tally", "--watch", "--interval", text, "missing", cwd=self.folder),
                             (1, "", "velstat: missing: No such file or directory\n"))


if __name__ == "__main__":
    unittest.main()
