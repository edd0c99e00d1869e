#!/usr/bin/env python3
"""Options and their defaults are the same in --help, in the manual pages and in docs/.

usage: options_test.py VELSTAT SOURCE PAGES"""

import os
import pathlib
import re
import subprocess
import sys
import unittest

VELSTAT, SOURCE, PAGES = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
sys.path.insert(0, str(SOURCE / "man"))
from option_tables import rows_of  # noqa: E402

ENVIRONMENT = {**os.environ, "MANWIDTH": "1000", "LC_ALL": "C.UTF-8", "MANROFFOPT": "-c"}


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, env=ENVIRONMENT).stdout


def default_in(text):
    return (re.findall(r"\(.*?default: ([^;)]*)", text) or [""])[0]


def options_of_help(name):
    """{option with its value: default}, and the names of the parts."""
    text = output(VELSTAT, *name.split()[1:], "--help")
    head = text[:re.search(r"^(Subcommands|Examples?):$|\Z", text, re.M).start()]
    options = {}
    for names, about in re.findall(r"^  (-.*?)(?:  +|\n +)(\S.*(?:\n {20,}.*)*)", head, re.M):
        options[names] = default_in(" ".join(about.split()))
    parts = text[text.index("Subcommands:\n"):] if "Subcommands:\n" in text else ""
    return options, [f"{name} {part}" for part in re.findall(r"^  (\w+)  ", parts.split("\n\n")[0], re.M)]


def options_of_page(file):
    """For each command that the manual page describes: {option with its value: default}."""
    text = re.sub(".\b", "", output("man", "-l", file))
    found = {}
    for section, body in re.findall(r"^(\S.*)\n((?:(?: .*)?\n)*)", text, re.M):
        if section == "OPTIONS" or section.startswith("VELSTAT "):
            options = found.setdefault("" if section == "OPTIONS" else section.lower(), {})
            # The description is on the next line, or beside a term that is short enough.
            for term, below, short, beside in re.findall(r"^ {7}(?:(-.*)\n {14}(\S.*)|(-\S{1,5}) +(.*))", body, re.M):
                for option in separate(term or short):
                    options[option] = default_in(below or beside)
    return found


def separate(terms):
    """ "-o, --output FILE" is one option, "--time A..B, --since TIME" are two."""
    return re.split(r"(?<!^-\w), (?=--)", terms)


def options_of_docs(file, name):
    """For each command that the page has a table for: {option with its value: default}."""
    found = {}
    for command, rows in rows_of(file.read_text(), name).items():
        options = found.setdefault(command, {})
        for row in rows:
            for option in separate(", ".join(row.shapes)):
                options[option] = row.default
    return found


def difference(command, options, others, what):
    return [f"{command}: {what} {option}, default '{default}'" for option, default in options.items()
            if others.get(option) != default]


class Options(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.help, names = {}, ["velstat"]
        for name in names:  # which grows
            cls.help[name], parts = options_of_help(name)
            names += parts

    def page_of(self, name):
        """The command whose page describes a command: the first part of velstat."""
        return " ".join(name.split()[:2])

    def test_it_sees_options(self):
        self.assertEqual(self.help["velstat trace"]["-o, --output FILE"], "")
        self.assertEqual(self.help["velstat trace"]["--timeout N"], "60")
        self.assertEqual(self.help["velstat decode"]["--format brief|text|json|csv|raw|none"],
                         "brief on a terminal, text elsewhere")
        self.assertIn("velstat generate records", self.help)

    def compare(self, described, what):
        """`described` has for each page the commands' options. Those of the command that the page is of, and those of
        velstat, hold for several commands."""
        wrong = []
        common = described["velstat"]["velstat"]
        for page, commands in described.items():
            shared = common | commands.get(page, {})
            parts = [name for name in self.help if self.page_of(name) == page]
            for name in parts:
                wrong += difference(name, self.help[name], shared | commands.get(name, {}), f"{what} lacks")
            for name, options in commands.items():
                known = [self.help[each] for each in (parts if name == page else {name} & set(parts))]
                known = list(self.help.values()) if name == "velstat" else known
                wrong += difference(name, options, {option: default for each in known for option, default in each.items()},
                                    f"only {what} has")
        self.assertEqual(wrong, [])

    def test_manual_pages(self):
        described = {}
        for page in {self.page_of(name) for name in self.help}:
            found = options_of_page(PAGES / "man1" / f"{page.replace(' ', '-')}.1")
            described[page] = {name or page: options for name, options in found.items()}
        self.compare(described, "the manual page")

    def test_docs(self):
        described = {}
        for page in {self.page_of(name) for name in self.help}:
            described[page] = options_of_docs(SOURCE / "docs" / f"{page.replace(' ', '-')}.md", page)
        self.compare(described, "docs/")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
