"""velstat, with option values that are empty or are numbers in other notations: wrong usage, and nothing is done."""

import tempfile
import unittest
from pathlib import Path

from command import run

QUERY = ("--file", "--format", "--export", "--timeout")
# Every option that takes a value, and what else its command needs.
OPTIONS = [
    *[(command, "--color") for command in ("capture", "decode", "query", "triage", "show", "tally", "diff")],
    *[("capture", option) for option in ("--plugin", "--model", "--api", "--format", "--out")],
    *[("decode", option) for option in ("--format", "--fields", "--timesync", "--boot", "--category", "--component",
                                        "--event", "--type", "--layout", "--sequence", "--time", "--since", "--until",
                                        "--skip", "--limit", "--jobs")],
    *[("generate", "records", option) for option in ("--seed", "--count")],
    *[("show", "file", option) for option in ("--format", "--path")],
    *[("tally", "--watch", "file", option) for option in ("--format", "--key", "--interval", "--count")],
    *[("publish", "--tally", "store", "file", option) for option in ("--model", "--plugin", "--log")],
    ("publish", "file", "--tally"),
    *[("diff", "file", "file", option) for option in ("--format", "--path", "--ignore")],
    *[("query", "file", "SELECT 1", option) for option in QUERY],
    *[("trace", "file", option) for option in ("--output", "--timeout")],
    *[("triage", "file", option) for option in ("--against", "--rules", "--fail-on", "--format", "--timeout")],
]
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

    def test_every_option_is_in_the_list(self):
        for command in ("capture", "decode", "generate records", "show", "tally", "publish", "diff", "query", "triage", "trace"):
            text = run(*command.split(), "--help")[1]
            shown = {line.split()[0].split(",")[-1].split("{")[0] for line in text.splitlines()
                     if line.startswith("  -") and len(line.split()) > 1 and line.split()[1].split(":")[0].isupper()}
            listed = {option for *arguments, option in OPTIONS if arguments[:len(command.split())] == command.split()}
            self.assertEqual(shown, listed, command)

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
