"""velstat publish, told to write a file that it also reads, or to write one file twice: it refuses, and every file stays
as it was."""

import os
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from command import ENVIRONMENT, VELSTAT

PLUGIN = Path(sys.argv.pop())
ENTRY = struct.pack("<BBBi", 0x30, 3, 0, 5)
MODEL = b'{"services": [{"name": "b", "transport": "VEL", "usages": [{"page": 12, "usage": 1}], "device": {}, '\
        b'"properties": {"KIPSupportsTallyStore": true}}]}'
COMPANIONS = ("-journal", "-shm", "-wal")


class OneFileTwice(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.entries = self.folder / "entries.bin"
        self.model = self.folder / "model.json"
        self.store = self.folder / "store" / "t.sqlite"
        self.store.parent.mkdir()
        self.entries.write_bytes(ENTRY)
        self.model.write_bytes(MODEL)
        (self.folder / "other").symlink_to("store")

    def publish(self, tally, entries, *options, stdin=None):
        with open(stdin or os.devnull, "rb") as file:
            done = subprocess.run([VELSTAT, "publish", "--tally", tally, *options, entries], stdin=file, env=ENVIRONMENT,
                                  cwd=self.folder, capture_output=True, text=True, timeout=60)
        return done.returncode, done.stdout, done.stderr

    def make_store(self):
        self.assertEqual(self.publish(self.store, self.entries)[0], 0)

    def content(self):
        return {str(path): os.readlink(path) if path.is_symlink() else path.read_bytes()
                for path in self.folder.rglob("*") if path.is_symlink() or path.is_file()}

    def expect_refusal(self, what, option, *arguments, **more):
        before = self.content()
        status, out, error = self.publish(*arguments, **more)
        self.assertEqual((status, out), (1, ""))
        self.assertRegex(error, rf"\Avelstat: [^\n]+: is {what}, which {option} would overwrite\n\Z")
        self.assertEqual(self.content(), before)

    def expect_log_refused(self, what, log, *, tally=None, entries=None, **more):
        self.expect_refusal(what, "--log", tally or self.store, entries or self.entries, "--model", self.model,
                           "--log", log, **more)

    def test_log_is_one_of_the_stores_files(self):
        for ending in COMPANIONS:
            name = "t.sqlite" + ending
            (self.folder / f"link{ending}").symlink_to(f"other/{name}")
            (self.folder / f"far{ending}").symlink_to(self.folder / f"link{ending}")
            logs = [f"store/{name}", f"other/{name}", f"./store/../other/./{name}", f"/proc/self/cwd/store/{name}",
                    f"far{ending}"]
            tallies = ["store/t.sqlite", "other/t.sqlite", "missing/../store/t.sqlite"]
            for log, tally in [(log, self.store) for log in logs] + [(f"{self.store}{ending}", tally) for tally in tallies]:
                with self.subTest(log=log, tally=tally):
                    self.expect_log_refused("one of the store's files", log, tally=tally)
        self.make_store()
        for ending in COMPANIONS:
            for log in (f"store/t.sqlite{ending}", f"link{ending}"):
                with self.subTest("store exists", log=log):
                    self.expect_log_refused("one of the store's files", log)

    def test_log_is_a_hard_link_to_one_of_the_stores_files(self):
        self.make_store()
        for ending in ("", *COMPANIONS):
            file = Path(f"{self.store}{ending}")
            file.touch()
            link = self.folder / f"hard{ending}"
            link.hardlink_to(file)
            with self.subTest(ending):
                self.expect_log_refused("one of the store's files" if ending else "the store", link)
            if ending:
                file.unlink()

    def test_log_is_beside_the_file_that_a_link_to_the_store_leads_to(self):
        self.make_store()
        (self.folder / "link.sqlite").symlink_to("other/t.sqlite")
        for ending in COMPANIONS:
            self.expect_log_refused("one of the store's files", f"store/t.sqlite{ending}", tally="link.sqlite")

    def test_log_is_a_file_that_is_read(self):
        self.expect_log_refused("the entries", self.entries)
        self.expect_log_refused("the entries", self.entries, entries="-", stdin=self.entries)
        self.expect_log_refused("the entries", "/dev/stdin", entries="-", stdin=self.entries)
        self.expect_log_refused("the model", self.model)
        (self.folder / "hard").hardlink_to(self.model)
        self.expect_log_refused("the model", "hard")

    def test_log_is_one_of_the_plug_ins_files(self):
        bundle = self.folder / "copy.plugin"
        shutil.copytree(PLUGIN, bundle)
        (self.folder / "hard").hardlink_to(bundle / "TavikVELHIDStatistics")
        for log in (bundle / "Info.plist", bundle / "TavikVELHIDStatistics", "hard"):
            with self.subTest(log):
                self.expect_refusal("one of the plug-in's files", "--log", self.store, self.entries,
                                   "--plugin", bundle, "--log", log)

    def test_input_is_one_of_the_stores_files(self):
        for exists in (False, True):
            for ending in COMPANIONS:
                for content, what, arguments in (
                        (ENTRY, "the entries", lambda file: (file,)),
                        (MODEL, "the model", lambda file: (self.entries, "--model", file))):
                    file = Path(f"{self.store}{ending}")
                    file.write_bytes(content)
                    with self.subTest(what, ending=ending, store_exists=exists):
                        self.expect_refusal(what, "--tally", self.store, *arguments(file))
                    file.unlink()
            self.make_store()

    def test_entries_are_the_store(self):
        self.make_store()
        while self.store.stat().st_size % len(ENTRY) != 0:  # whole entries and whole pages
            with open(self.store, "ab") as file:
                file.write(bytes(4096))
        self.expect_refusal("the entries", "--tally", self.store, self.store)
        self.expect_refusal("the entries", "--tally", self.store, "-", stdin=self.store)

    def test_files_that_only_look_alike_are_written(self):
        (self.folder / "t.sqlite-wal").symlink_to("elsewhere")
        for log in ("store/t.sqlite-log", "store/t.sqlite-", "t.sqlite-wal", "t.sqlite-shm", "-"):
            with self.subTest(log):
                self.assertEqual(self.publish("store/t.sqlite", "-", "--log", log, stdin=self.entries)[::2],
                                 (0, "1 entry published into store/t.sqlite\n"))
                self.assertEqual((self.folder / log).read_text().count("\n"), 1)
        self.assertTrue((self.folder / "elsewhere").is_file())

    def test_device_that_keeps_nothing_may_be_named_twice(self):
        self.assertEqual(self.publish(self.store, os.devnull, "--log", os.devnull),
                         (0, "", f"0 entries published into {self.store}\n"))


if __name__ == "__main__":
    unittest.main()
