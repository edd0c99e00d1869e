"""Hostile analytics stores, and stores without write permission: velstat publish and velstat tally report them in one line
that says what to do, and change no file."""

import hashlib
import json
import os
import shutil
import signal
import sqlite3
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path

from command import ENVIRONMENT, VELSTAT

CLICKS = "com.tavik.kip.button.click.count"
PICO = "com.tavik.kip.button.click.pico"
ADD = struct.pack("<BBBi", 0x30, 3, 0, 1)
PUSH = struct.pack("<BBBi", 0x30, 255, 7, 1 << 16)  # 250 times the sample 1
MOST = 2**63 - 1
MOST_SAMPLES = 2**62

# A process without capabilities has no rights but those that the files' modes give, also when it is root's.
POWERLESS = ["setpriv", "--bounding-set=-all", "--inh-caps=-all"] if os.geteuid() == 0 else []


def packed_count(count):
    out = b""
    while count >= 0x80:
        out += bytes([0x80 | count & 0x7F])
        count >>= 7
    return out + bytes([count])


def packed_ones(count):
    """The samples of a distribution that has seen the sample 1 so many times."""
    return b"\0" + struct.pack("<5d", 0, 0, 0, 0, 1) + packed_count(count) + struct.pack("<2d", 1, 1) + b"\0\1" + \
        struct.pack("<d", 1) + packed_count(count)


class Store(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.entries = self.folder / "entries.bin"
        self.place = self.folder / "place"
        self.place.mkdir()
        self.store = self.place / "t.sqlite"

    def run_velstat(self, *arguments):
        done = subprocess.run([*POWERLESS, VELSTAT, *arguments], env=ENVIRONMENT, capture_output=True, text=True,
                              timeout=60)
        return done.returncode, done.stdout, done.stderr

    def publish(self, entries):
        self.entries.write_bytes(entries)
        return self.run_velstat("publish", "--tally", self.store, self.entries)

    def make_store(self, *statements):
        self.assertEqual(self.publish(ADD + PUSH)[0], 0)
        with sqlite3.connect(self.store) as database:
            for statement, *values in statements:
                database.execute(statement, values)
        database.close()

    def content(self):
        return {path.name: hashlib.sha256(path.read_bytes()).hexdigest() for path in self.place.iterdir()}

    def expect_error(self, cause, run, *arguments):
        before = self.content()
        self.assertEqual(run(*arguments), (1, "", f"velstat: {self.store}: {cause}\n"))
        self.assertEqual(self.content(), before)

    def row(self, key):
        status, out, error = self.run_velstat("tally", "--format", "json", "--key", key, self.store)
        self.assertEqual((status, error), (0, ""))
        return out


class Full(Store):
    OVERFLOWS = "UPDATE scalar SET overflows = ?"
    IGNORED = "UPDATE distribution SET ignored = ?"
    SAMPLES = "UPDATE distribution SET count = ?, samples = ?"

    def test_store_with_a_count_at_the_end_of_its_range_is_shown_but_not_written_to(self):
        for key, statement in ((CLICKS, (self.OVERFLOWS, MOST)), (PICO, (self.IGNORED, MOST)),
                               (PICO, (self.SAMPLES, MOST_SAMPLES, packed_ones(MOST_SAMPLES)))):
            self.make_store(statement)
            for entries in (ADD, PUSH, b""):
                with self.subTest(statement[0], entries=entries):
                    self.expect_error(f"{key}: cannot count any further: use a new store", self.publish,
                                      entries)
            self.assertIn(str(statement[1]), self.row(key))
            self.store.unlink()

    def test_batch_that_would_lead_a_count_beyond_its_range_is_dropped_whole(self):
        for key, entries, statements in (
                (CLICKS, PUSH + ADD * 3, [(self.OVERFLOWS, MOST - 2), ("UPDATE scalar SET value = ?", MOST)]),
                (PICO, ADD + PUSH, [(self.SAMPLES, MOST_SAMPLES - 249, packed_ones(MOST_SAMPLES - 249))])):
            with self.subTest(key):
                self.make_store(*statements)
                before = self.row("*")
                self.assertEqual(self.publish(entries), (
                    1, "", f"velstat: {self.store}: {key}: cannot count any further: use a new store; "
                           "0 entries published before\n"))
                self.assertEqual(self.row("*"), before)
                self.store.unlink()

    def test_last_count_of_the_range_is_reached(self):
        self.make_store((self.OVERFLOWS, MOST - 1), ("UPDATE scalar SET value = ?", MOST),
                        (self.SAMPLES, MOST_SAMPLES - 250, packed_ones(MOST_SAMPLES - 250)))
        self.assertEqual(self.publish(ADD + PUSH)[0], 0)
        self.assertIn(f'"overflows": {MOST}', self.row(CLICKS))
        self.assertIn(f'"count": {MOST_SAMPLES}', self.row(PICO))


class LeftOver(Store):
    def test_companion_of_a_store_that_is_gone_is_not_taken_for_the_new_ones(self):
        for ending in ("-journal", "-wal"):
            with self.subTest(ending):
                leftover = Path(f"{self.store}{ending}")
                leftover.write_bytes(b"precious")
                self.expect_error(f"a store that is gone has left its file with {ending} at the end of the name: remove "
                                  "that first", self.publish, ADD)
                leftover.unlink()


class WithoutRights(Store):
    def setUp(self):
        super().setUp()
        self.addCleanup(os.chmod, self.place, 0o700)

    def tally(self):
        return self.run_velstat("tally", self.store)

    def leave_unfinished(self, *endings):
        """A store as a writer leaves it that is killed, with some of the files next to it."""
        self.make_store()
        writer = sqlite3.connect(self.store)
        writer.execute("UPDATE scalar SET value = 77")
        writer.commit()
        copies = {ending: Path(f"{self.store}{ending}").read_bytes() for ending in ("", *endings)}
        writer.close()
        for ending, content in copies.items():
            Path(f"{self.store}{ending}").write_bytes(content)

    NEXT_TO_IT = ("{} next to it cannot be written to (Permission denied): copy the store, and t.sqlite-wal if there is "
                  "one, to a folder that you may write to, and use the copy")

    def test_new_store_in_a_folder_that_cannot_be_written_to(self):
        self.place.chmod(0o555)
        self.expect_error("cannot be made in this folder (Permission denied): name a store in a folder that you may write "
                          "to", self.publish, ADD)

    def test_store_in_a_folder_that_cannot_be_written_to(self):
        self.make_store()
        self.place.chmod(0o555)
        self.expect_error(self.NEXT_TO_IT.format("t.sqlite-wal"), self.publish, ADD)
        self.assertIn(CLICKS, self.tally()[1])

    def test_store_that_cannot_be_written_to(self):
        self.make_store()
        self.store.chmod(0o444)
        self.expect_error("cannot be written to (Permission denied): use a store that you may write to", self.publish, ADD)
        self.assertIn(CLICKS, self.tally()[1])

    def test_companion_that_cannot_be_written_to(self):
        for ending in ("-shm", "-wal"):
            with self.subTest(ending):
                self.leave_unfinished("-shm", "-wal")
                Path(f"{self.store}{ending}").chmod(0o444)
                self.expect_error(self.NEXT_TO_IT.format("t.sqlite" + ending), self.publish, ADD)
                self.assertIn(" 77 ", self.tally()[1])
                shutil.rmtree(self.place)
                self.place.mkdir()

    def test_unfinished_store_in_a_folder_that_cannot_be_written_to(self):
        self.leave_unfinished("-wal")
        self.place.chmod(0o555)
        cause = ("its latest batches are in t.sqlite-wal, and reading those takes t.sqlite-shm, which cannot be used "
                 "(Permission denied): copy the store and t.sqlite-wal to a folder that you may write to, and read the "
                 "copy")
        self.expect_error(cause, self.tally)
        self.expect_error(self.NEXT_TO_IT.format("t.sqlite-shm"), self.publish, ADD)
        # What the line says to do.
        copy = self.folder / "copy"
        shutil.copytree(self.place, copy)
        copy.chmod(0o755)
        self.store = copy / "t.sqlite"
        self.assertIn(" 77 ", self.tally()[1])

    def test_unfinished_store_whose_shared_memory_is_there_is_read_and_written_to(self):
        self.leave_unfinished("-shm", "-wal")
        self.place.chmod(0o555)
        self.assertIn(" 77 ", self.tally()[1])
        self.assertEqual(self.publish(ADD)[::2], (0, f"1 entry published into {self.store}\n"))
        self.assertIn(" 78 ", self.tally()[1])

    def test_unfinished_store_whose_log_cannot_be_read(self):
        self.leave_unfinished("-wal")
        Path(f"{self.store}-wal").chmod(0)
        status, out, error = self.tally()
        self.assertEqual((status, out, error), (
            1, "", f"velstat: {self.store}: its latest batches are in t.sqlite-wal, which cannot be read (Permission "
                   "denied): ask its owner for a copy of both files\n"))


class CutShort(Store):
    """Another program cuts a file short that velstat has mapped."""

    def clicks(self):
        return json.loads(self.row(CLICKS))[0]["value"]

    def start_writer(self, entries):
        """A writer that has the store open and waits for its log to be read: for the first time after a line."""
        log = self.folder / "log"
        log.unlink(missing_ok=True)
        os.mkfifo(log)
        self.entries.write_bytes(ADD * entries)
        writer = subprocess.Popen([VELSTAT, "publish", "--tally", self.store, "--log", log, self.entries],
                                  env=ENVIRONMENT, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        lines = open(log, "rb")
        self.addCleanup(lines.close)
        lines.readline()
        return writer, lines

    def test_signal_from_elsewhere_ends_it_as_ever(self):
        writer, _ = self.start_writer(5000)
        writer.send_signal(signal.SIGBUS)
        self.assertEqual((*writer.communicate(timeout=60), writer.returncode), ("", "", -signal.SIGBUS))

    def test_shared_memory_of_a_writer(self):
        self.place = self.folder / "pl\u00e4ce \x1b[2J"
        self.place.mkdir()
        self.store = self.place / "t.sqlite"
        memory = Path(f"{self.store}-shm")
        shown = str(memory).replace("\u00e4", r"\xc3\xa4").replace("\x1b", r"\x1b")
        batch = 5000  # its log is more than a pipe takes
        for size in (0, 1, 4096):
            with self.subTest(size):
                self.assertEqual(self.publish(ADD)[0], 0)
                before = self.clicks()
                writer, lines = self.start_writer(batch)
                os.truncate(memory, size)
                lines.read()
                out, error = writer.communicate(timeout=60)
                self.assertEqual((writer.returncode, out, error), (
                    1, "", f"velstat: {shown}: cut short by another program while it was in use: look at what was written "
                           "before you run this again\n"))
                # The first page is needed to begin a batch, the others only when the store is closed.
                self.assertEqual(self.clicks(), before if size == 0 else before + batch)


if __name__ == "__main__":
    unittest.main()
