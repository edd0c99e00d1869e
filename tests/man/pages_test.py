#!/usr/bin/env python3
"""Manual pages are sound, readable at 80 columns, and the same on every machine.

usage: pages_test.py VELSTAT SOURCE PAGES"""

import functools
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

VELSTAT, SOURCE, PAGES = sys.argv[1:]
FILES = sorted(pathlib.Path(PAGES).glob("man?/*.?"))
ENVIRONMENT = {**os.environ, "MANWIDTH": "80", "LC_ALL": "C.UTF-8", "MANROFFOPT": "-c"}
# What people look for in the page of a command.
USUAL = ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "EXAMPLES", "SEE ALSO"]


def run(*command, **options):
    done = subprocess.run(command, capture_output=True, text=True, env=ENVIRONMENT, **options)
    return done.stdout, done.stderr


@functools.cache
def rendered(roff):
    """The text, and the warnings."""
    with tempfile.NamedTemporaryFile("w", suffix=".1") as file:
        file.write(roff)
        file.flush()
        text, errors = run("man", "--warnings", "-l", file.name)
    return re.sub(".\b", "", text), errors


@functools.cache
def without_code(file):
    return rendered(re.sub(r"^\.nf\n.*?^\.fi\n", "", file.read_text(), flags=re.M | re.S))[0]


def is_alias(file):
    return file.read_text().startswith(".so ")


WHOLE = [file for file in FILES if not is_alias(file)]


class Pages(unittest.TestCase):
    def test_every_command_format_and_function_has_a_page(self):
        names = {file.name for file in FILES}
        commands = re.findall(r"^  (\w+)  ", run(VELSTAT, "--help")[0].partition("Subcommands:")[2].partition("\n\n")[0], re.M)
        self.assertGreater(len(commands), 10)
        self.assertLessEqual({"velstat.1", "libvelprofile.3", "velstat-device-model.5", "velstat-record-format.5",
                              "velstat-capture-folder.5", *(f"velstat-{command}.1" for command in commands)}, names)
        header = (pathlib.Path(SOURCE) / "profile/include/profile/velprofile.h").read_text()
        functions = set(re.findall(r"^VEL_PROFILE_API \w+ (\w+)", header, re.M))
        self.assertGreater(len(functions), 5)
        self.assertEqual({file.stem for file in FILES if is_alias(file)}, functions)
        for file in FILES:
            if is_alias(file):
                self.assertTrue((pathlib.Path(PAGES) / file.read_text().split()[1]).exists(), file)

    def test_no_tool_warns(self):
        for file in WHOLE:
            with self.subTest(file.name):
                self.assertEqual(run("mandoc", "-T", "lint", "-W", "warning", str(file)), ("", ""))
                text, errors = rendered(file.read_text())
                # man has pages without end, but the macros of tables do not know it.
                errors = [line for line in errors.splitlines() if "will not fit on one page" not in line]
                self.assertEqual(errors, [])
                self.assertGreater(len(text), 500)

    def test_only_code_is_wider_than_80_columns(self):
        for file in WHOLE:
            with self.subTest(file.name):
                self.assertEqual([line for line in without_code(file).splitlines() if len(line) > 80], [])

    def test_no_markup_is_left(self):
        for file in WHOLE:
            self.assertEqual(re.findall(r".*(?:\]\(|```|^#|\|--).*", without_code(file)), [], file.name)
            links = re.findall(r"\((?!docs/)[^() ]*(?:\.md|#)[^() ]*\)", without_code(file))
            self.assertEqual(links, [], file.name)

    def test_names_are_found_by_whatis(self):
        for file in WHOLE:
            shown, _ = run("lexgrog", str(file))
            self.assertIn(f'"{file.stem} - ', shown)
            self.assertNotRegex(shown, r"\.\"$")

    def test_pages_of_commands_have_the_usual_sections(self):
        for file in WHOLE:
            if file.suffix == ".1":
                sections = re.findall(r'^\.SH "?([^"\n]+)', file.read_text(), re.M)
                self.assertEqual([section for section in sections if section in USUAL], USUAL, file.name)

    def test_references_lead_to_pages(self):
        names = {f"{file.stem}({file.suffix[1:]})" for file in FILES}
        for file in WHOLE:
            text = " ".join(rendered(file.read_text())[0].replace("-\n", "-").split())
            found = re.findall(r"\b((?:lib)?vel[\w-]+\(\d\))", text)
            self.assertNotEqual(found, [], file.name)
            self.assertLessEqual(set(found), names, file.name)

    def test_the_same_source_gives_the_same_pages(self):
        with tempfile.TemporaryDirectory() as folder:
            places = []
            for zone, locale in (("UTC", "C"), ("Asia/Tokyo", "C.UTF-8")):
                place = pathlib.Path(folder, locale)
                environment = {**os.environ, "TZ": zone, "LC_ALL": locale, "COLUMNS": "60", "SOURCE_DATE_EPOCH": "1700000000"}
                places.append((place, subprocess.Popen(
                    [sys.executable, "-B", f"{SOURCE}/man/make_pages.py", VELSTAT, SOURCE, "1.2.3", place], env=environment)))
            self.assertEqual([process.wait(timeout=120) for _, process in places], [0, 0])
            contents = [{file.relative_to(place): file.read_bytes() for file in place.rglob("*.?")} for place, _ in places]
            self.assertEqual(*contents)
            self.assertEqual({str(name) for name in contents[0]}, {f"{file.parent.name}/{file.name}" for file in FILES})
            self.assertTrue(contents[0][pathlib.Path("man1/velstat-diff.1")].startswith(
                b'.TH "VELSTAT-DIFF" "1" "2023-11-14" "velstat 1.2.3"'))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
