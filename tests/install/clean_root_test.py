#!/usr/bin/env python3
"""The Debian packages in a minimal Debian root: apt installs, upgrades and removes them, and an ordinary user works
with them.

usage: clean_root_test.py PACKED C-COMPILER C++-COMPILER VERSION KEPT-FOLDER
PACKED is the folder of packing.py."""

import pathlib
import re
import shutil
import sys
import tempfile
import unittest

import pexpect

from clean_root import CleanRoot, Missing, prepare
from packing import OLDER, compile_with_pkg_config, field, packed

PACKED, C_COMPILER, CXX_COMPILER, VERSION, KEPT = sys.argv[1:]
CONSUMER = pathlib.Path(__file__).parent / "consumer"
MODEL = "/usr/share/velstat/models/actuator-timeout.json"
# A line for each subcommand: arguments, exit status, what is written, file that is written.
USE = [
    ("help", "help decode", 0, "Usage: velstat decode", None),
    ("capture", "capture --out good", 0, "", "good/manifest.json"),
    ("capture", f"capture --model {MODEL} --out bad", 0, "", "bad/manifest.json"),
    ("decode", "decode bad --stats", 0, "zorb", None),
    ("query", "query bad --format csv 'SELECT count(*) > 100 AS many FROM records'", 0, "many\n1\n", None),
    ("triage", "triage bad", 1, "actuator-timeout", None),
    ("trace", "trace bad -o trace.json", 0, "", "trace.json"),
    ("report", "report bad --against good -o page.html", 0, "", "page.html"),
    ("generate", "generate records --seed 5 --count 100 > records", 0, "", "records"),
    ("show", "show bad", 0, "ZORB Statistics", None),
    ("publish", "publish --tally store --log log entries", 0, "", "store"),
    ("tally", "tally store", 0, "button.click.count", None),
    ("diff", "diff good bad", 1, "critical_error", None),
    ("fleet", "fleet --help", 0, "Usage: velstat fleet", None),  # more needs a cluster
]
PYTHON = """
import velprofile
texts = velprofile.decode(open("records", "rb").read())
rows = list(velprofile.query("bad", "SELECT category, count(*) AS n FROM records GROUP BY 1"))
print(len(texts), max(rows, key=lambda row: row.n).category, velprofile.names.category(7))
"""


class CleanRootTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = pathlib.Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, folder)
        cls.packages, cls.older = (packed(pathlib.Path(PACKED, place)) for place in ("packages", "older"))
        root = folder / "root"
        root.mkdir()
        cls.root = CleanRoot(root, KEPT)
        for version, packages in (("older", cls.older), ("newer", cls.packages)):
            (root / "packages" / version).mkdir()
            for package in packages.values():
                shutil.copy(package, root / "packages" / version)
        # First what apt adds because velstat recommends it: some of these leave files behind when they are removed.
        cls.root.apt("install", *field(cls.packages["velstat"], "Recommends").split(", "))
        cls.before = cls.root.files()
        cls.root.apt("install", *(f"/packages/older/{package.name}" for package in cls.older.values()))

    def test_life_of_the_packages(self):
        with self.subTest("the older version works"):
            self.assertEqual(self.versions(), {OLDER})
            self.assertIn(b"ZORB Statistics", self.root.run("velstat", "capture"))
        with self.subTest("apt upgrades it"):
            shown = self.root.apt("install", *(f"/packages/newer/{package.name}" for package in self.packages.values()))
            self.assertIn("4 upgraded, 0 newly installed, 0 to remove", shown)
            self.assertEqual(self.versions(), {VERSION})
            self.assertEqual(self.root.run("dpkg", "--verify", *self.packages, user="root"), b"")
        self.check_subcommands()
        with self.subTest("the Python module works"):
            self.assertEqual(self.root.run("python3", "-c", PYTHON), b"100 zorb zorb\n")
            self.assertEqual(self.caches(), [True])
        self.check_programs_of_others()
        self.check_completion()
        self.check_manual_pages()
        with self.subTest("removal leaves nothing"):
            self.root.run("rm", "-r", "/home/user", user="root")
            self.root.apt("purge", *self.packages)
            self.root.apt("autoremove", "--purge")
            after = self.root.files()
            self.assertEqual({path: after.get(path) for path in self.before.keys() | after.keys()
                              if self.before.get(path) != after.get(path)}, {})

    def versions(self):
        shown = self.root.run("dpkg-query", "-W", "-f", "${Version}\n", *self.packages).decode()
        return set(shown.split())

    def caches(self):
        """For each folder of the module's compiled files: whether an ordinary user may not write to it."""
        found = self.root.path.glob("usr/lib/python3/dist-packages/velprofile/__pycache__")
        return [path.stat().st_uid == 0 and path.stat().st_mode & 0o022 == 0 for path in found]

    def check_subcommands(self):
        listed = self.root.run("velstat", "--help").decode().partition("Subcommands:\n")[2].partition("\n\n")[0]
        self.assertEqual({name for name, *_ in USE}, set(re.findall(r"^  (\w+)", listed, re.M)))
        home = self.root.path / "home/user"
        (home / "entries").write_bytes(bytes([0x30, 3, 0, 5, 0, 0, 0]))  # the first key is 5
        for name, arguments, status, text, file in USE:
            with self.subTest(name, arguments=arguments):
                shown = self.root.run("sh", "-c", f"velstat {arguments}", expected=(status,)).decode()
                self.assertIn(text, shown)
                if file:
                    self.assertGreater((home / file).stat().st_size, 0)
                    self.assertNotEqual((home / file).stat().st_uid, 0)

    def check_programs_of_others(self):
        """Compiled here, with the files of the root, and run there."""
        records = (self.root.path / "home/user/records").read_bytes()
        expected = self.root.run("velstat", "decode", "--format", "text", "records").splitlines()
        for source, compiler, package, lines in (("consumer.c", C_COMPILER, "velprofile", 100),
                                                 ("description.cpp", CXX_COMPILER, "velplatform", 2)):
            with self.subTest(source):
                name = pathlib.Path(source).stem
                program = self.root.path / "packages" / name
                compile_with_pkg_config(self.root.path, CONSUMER / source, compiler, package, program)
                shown = self.root.run(f"/packages/{name}", input=records).splitlines()
                self.assertEqual(len(shown), lines)
                self.assertTrue(shown[0].startswith(expected[0].rstrip(b"}")), shown[0])

    def check_completion(self):
        """What Tab makes of a line in the user's own bash, whose settings are Debian's."""
        enter = self.root.command("bash", "-i")
        shell = pexpect.spawn(enter[0], enter[1:], encoding="utf-8", timeout=60, dimensions=(50, 200))
        self.addCleanup(shell.close)
        shell.delaybeforesend = None
        for line in ("bind 'set enable-bracketed-paste off'",
                     "show() { printf '\\n<<%s>>\\n' \"$READLINE_LINE\"; READLINE_LINE=; }",
                     "bind -x '\"\\C-g\": show'",
                     "echo rea''dy"):
            shell.sendline(line)
        shell.expect_exact("ready\r\n")
        for typed, completed in (("velstat dec", "velstat decode "),
                                 ("velstat decode --category z", "velstat decode --category zorb "),
                                 ("velstat triage --rule stuck-b", "velstat triage --rule stuck-button ")):
            with self.subTest("Tab", typed=typed):
                shell.send(typed + "\t\x07")
                shell.expect("<<(.*?)>>")
                self.assertEqual(shell.match[1], completed)

    def check_manual_pages(self):
        for section, page, text in ((1, "velstat", "velstat-decode"), (1, "velstat-decode", "--category"),
                                    (3, "vel_profile_render", "size_t vel_profile_render("),
                                    (5, "velstat-record-format", "timestamp"), (7, "velstat-sources", "capture")):
            with self.subTest("man", page=page):
                shown = self.root.run("man", section, page).decode()
                self.assertRegex(shown, rf"\A[A-Z-]+\({section}\) ")
                self.assertIn(text, shown)


if __name__ == "__main__":
    try:
        prepare(KEPT)
    except Missing as missing:
        sys.exit(f"clean_root_test.py: {missing}")
    unittest.main(argv=sys.argv[:1])
