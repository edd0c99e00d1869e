"""Inputs as large as are read, and stores with as many keys: none takes more than 256 MiB of memory, and one that is
longer is refused before it is read."""

import json
import random
import sqlite3
import struct
import subprocess
import unittest

from command import VELSTAT, run
from measured import SANITIZED, Bounded, binary_list, counted


class Stores(Bounded):
    FORMATS = (["table"], ["json"], ["openmetrics"], ["table", "--watch", "--count", "1"],
               ["json", "--watch", "--count", "1"])

    def make(self, keys, table="scalar"):
        self.assertEqual(run("publish", "--tally", "store", "-", cwd=self.folder,
                             stdin=struct.pack("<BBBi", 0x30, 6, 11, 5))[0], 0)
        with sqlite3.connect(self.folder / "store") as database:
            if table == "scalar":
                database.executemany("INSERT INTO scalar (key, value, overflows) VALUES (?, 1, 0)", keys)
            else:
                count, samples = database.execute("SELECT count, samples FROM distribution").fetchone()
                database.executemany("INSERT INTO distribution (key, count, ignored, samples, exact) VALUES (?, ?, 0, ?, 1)",
                                     ((key, count, samples) for key, in keys))
        database.close()

    def test_hostile_stores(self):
        long, short = ("\x1b" * 300_000,), [(f"k{i}",) for i in range(10_000)]
        for table in "scalar", "distribution":
            (self.folder / "store").unlink(missing_ok=True)
            self.make([long, *short], table)
            for arguments in self.FORMATS:
                with self.subTest(table, arguments=arguments):
                    run = self.measure("tally", "--format", *arguments, "store", size=self.size("store"), keep=1 << 26)
                    self.assertEqual((run.status, run.errors), (0, ""))
                    if arguments == ["json"]:
                        keys = [row["key"] for row in json.loads(run.output)]
                        expected = {key for key, in [long, *short]} | {"com.tavik.kip.button.click.duration"}
                        self.assertTrue(set(keys) == expected and len(keys) == len(expected))

    @unittest.skipIf(SANITIZED, "about memory")
    def test_as_many_keys_as_are_read(self):
        self.make([(f"{i:05}" + "k" * 300,) for i in range(99_999)], "distribution")
        for arguments in self.FORMATS:
            with self.subTest(arguments):
                run = self.measure("tally", "--format", *arguments, "store", size=self.size("store"))
                self.assertEqual((run.status, run.errors), (0, ""))

    def test_a_long_key_is_cut_in_an_error(self):
        self.make([("\u20ac" * 100_000,)], "distribution")
        with sqlite3.connect(self.folder / "store") as database:
            database.execute("UPDATE distribution SET samples = x''")
        database.close()
        run = self.measure("tally", "store", size=self.size("store"))
        self.assertEqual((run.status, run.length), (1, 0))


@unittest.skipIf(SANITIZED, "about memory")
class Largest(Bounded):
    """Files as large as are read."""

    MOST = 64 << 20

    def write_text(self, name, character, length=MOST - 80):
        (self.folder / name).write_bytes(binary_list([b"\xA1\1", counted(0x50, length) + character * length]))

    def test_text(self):
        self.write_text("a", b"a")
        self.write_text("b", b"b")
        self.write_text("escapes", b"\x1b", 8 << 20)
        for arguments in (["show", "a"], ["diff", "a", "b"], ["show", "escapes"], ["show", "--format", "json", "escapes"]):
            with self.subTest(arguments):
                self.assertEqual(self.measure(*arguments, size=self.size(arguments[-1])).errors, "")

    def test_data_and_a_key(self):
        length = self.MOST - 100
        (self.folder / "data").write_bytes(binary_list([b"\xA1\1", counted(0x40, length) + bytes(length)]))
        (self.folder / "key").write_bytes(binary_list([b"\xD1\1\2", counted(0x50, length) + b"*" * length, b"\x09"]))
        for arguments in (["show", "data"], ["show", "--format", "json", "data"], ["diff", "data", "key"],
                          ["show", "--path", "\\**/**", "key"]):
            with self.subTest(arguments):
                self.assertEqual(self.measure(*arguments, size=self.MOST).errors, "")

    def test_values(self):
        """As many as a tree may have."""
        for name, first in ("a", b"\x10\1"), ("b", b"\x10\2"):
            count = 1_900_000
            (self.folder / name).write_bytes(binary_list([counted(0xA0, count) + b"\1" * count, first]))
        for arguments in (["show", "a"], ["show", "--format", "json", "a"], ["diff", "a", "b"],
                          ["diff", "--format", "json", "a", "b"]):
            with self.subTest(arguments):
                self.measure(*arguments, size=self.size("a", "b"))

    def test_records_are_compared_in_constant_memory(self):
        """Those that flows make, and random bytes, which have more kinds and fields than are kept."""
        for name, content in ("flows", subprocess.run([VELSTAT, "generate", "records", "--count", "300000"], check=True,
                                                      capture_output=True).stdout), ("random", random.Random(1).randbytes(14_400_000)):
            peaks = []
            for size in len(content) // 4, len(content):
                (self.folder / name).write_bytes(content[:size])
                run = self.measure("diff", "--ignore", "findings", name, name, size=size)
                self.assertEqual((run.status, run.length, run.errors), (0, 0, ""))
                peaks.append(run.memory)
            self.assertLess(peaks[1], peaks[0] + (8 << 20), name)

    def test_longer_files_are_refused_before_they_are_read(self):
        for name, size in ("list", self.MOST + 1), ("entries", (1 << 30) + 1):
            with (self.folder / name).open("wb") as file:
                file.write(b"bplist00")
                file.truncate(size)
        for arguments, most in ((["show", "list"], "67108864"), (["publish", "--tally", "t", "entries"], "1073741824")):
            run = self.measure(*arguments, size=1)
            self.assertEqual((run.status, run.errors),
                             (1, f"velstat: {arguments[-1]}: longer than the {most} bytes that are allowed\n"))
            self.assertLess(run.memory, 32 << 20)


if __name__ == "__main__":
    unittest.main()
