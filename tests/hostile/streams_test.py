"""velstat on standard streams that do not block, and on an output whose reader goes away."""

import fcntl
import os
import select
import struct
import subprocess
import tempfile
import termios
import threading
import unittest
from pathlib import Path

from command import ENVIRONMENT, VELSTAT, binary, run

ENTRY = struct.pack("<BBBi", 0x30, 3, 0, 5)


def no_blocking(descriptor):
    fcntl.fcntl(descriptor, fcntl.F_SETFL, fcntl.fcntl(descriptor, fcntl.F_GETFL) | os.O_NONBLOCK)


class Streams(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.records = self.folder / "records.bin"
        with open(self.records, "wb") as file:
            subprocess.run([VELSTAT, "generate", "records", "--count", "10000"], stdout=file, check=True)

    def pipe(self):
        """Reading and writing end; closed when the test is over, if not before."""
        ends = os.pipe()
        files = [os.fdopen(ends[0], "rb", 0), os.fdopen(ends[1], "wb", 0)]
        for file in files:
            self.addCleanup(file.close)
        return files

    def start(self, *arguments, **streams):
        return subprocess.Popen([VELSTAT, *arguments], cwd=self.folder, env=ENVIRONMENT,
                                **{"stderr": subprocess.PIPE, **streams})

    @staticmethod
    def wait_until(condition, process):
        while not condition() and process.poll() is None:
            os.sched_yield()

    def assert_same_when_output_does_not_block(self, *arguments):
        """The reader takes nothing before the pipe is full."""
        expected = subprocess.run([VELSTAT, *arguments], cwd=self.folder, env=ENVIRONMENT, capture_output=True)
        self.assertGreater(len(expected.stdout), 65536, arguments)
        reading, writing = self.pipe()
        no_blocking(writing)
        process = self.start(*arguments, stdout=writing)
        self.wait_until(lambda: not select.select([], [writing], [], 0)[1], process)
        writing.close()
        output = reading.readall()
        self.assertEqual((process.communicate(timeout=60)[1], process.returncode), (expected.stderr, expected.returncode))
        self.assertEqual(output, expected.stdout)

    def test_output_that_does_not_block(self):
        large = self.folder / "large.plist"
        large.write_bytes(binary(list(range(20000))))
        (self.folder / "other.plist").write_bytes(binary(list(range(1, 20001))))
        for arguments in (["capture", "--all"], ["decode", "records.bin"],
                          ["decode", "--format", "json", "--jobs", "3", "records.bin"],
                          ["generate", "records", "--count", "20000"], ["show", "large.plist"],
                          ["diff", "--all", "large.plist", "other.plist"]):
            with self.subTest(arguments):
                self.assert_same_when_output_does_not_block(*arguments)

    def test_error_output_that_does_not_block(self):
        files = [f"missing/{number:0200}" for number in range(1000)]
        expected = run("decode", *files)[2].encode()
        reading, writing = self.pipe()
        no_blocking(writing)
        process = self.start("decode", *files, stdout=subprocess.DEVNULL, stderr=writing)
        self.wait_until(lambda: not select.select([], [writing], [], 0)[1], process)
        writing.close()
        self.assertEqual(reading.readall(), expected)
        self.assertEqual(process.wait(timeout=60), 1)

    def test_input_that_does_not_block(self):
        """It comes in two parts, with nothing to read in between."""
        entries = ENTRY * 2000
        model = b'{"name": "slow"}'.ljust(9000)
        plist = binary(list(range(2000)))
        (self.folder / "same.plist").write_bytes(plist)
        for arguments, content in ((["decode", "-"], self.records.read_bytes()),
                                   (["decode", "--recover", "-"], self.records.read_bytes()),
                                   (["capture", "--model", "-"], model), (["show", "-"], plist),
                                   (["diff", "-", "same.plist"], plist),
                                   (["publish", "--tally", "tally.sqlite", "-"], entries)):
            with self.subTest(arguments):
                (self.folder / "tally.sqlite").unlink(missing_ok=True)
                expected = subprocess.run([VELSTAT, *arguments], cwd=self.folder, env=ENVIRONMENT, input=content,
                                          capture_output=True)
                self.assertEqual(expected.returncode, 0, expected.stderr)
                (self.folder / "tally.sqlite").unlink(missing_ok=True)
                reading, writing = self.pipe()
                no_blocking(reading)
                process = self.start(*arguments, stdin=reading, stdout=subprocess.PIPE)
                writing.write(content[:4000])
                # Until it has read them, and finds nothing more.
                self.wait_until(lambda: fcntl.ioctl(reading, termios.FIONREAD, bytes(4)) == bytes(4), process)
                writer = threading.Thread(target=lambda: (writing.write(content[4000:]), writing.close()))
                writer.start()
                output, error = process.communicate(timeout=60)
                writer.join()
                self.assertEqual((process.returncode, error), (expected.returncode, expected.stderr))
                self.assertEqual(output, expected.stdout)

    def test_watch_ends_when_its_reader_goes_away(self):
        """The store does not change, so that there is nothing to write."""
        (self.folder / "entries.bin").write_bytes(ENTRY)
        self.assertEqual(run("publish", "--tally", "tally.sqlite", "entries.bin", cwd=self.folder)[0], 0)
        for interval in ("0.01", "3600"):
            with self.subTest(interval):
                process = self.start("tally", "--watch", "--interval", interval, "tally.sqlite", stdout=subprocess.PIPE)
                self.assertTrue(process.stdout.readline().startswith(b"scalar"))
                process.stdout.close()
                self.assertEqual((process.wait(timeout=60), process.stderr.read()), (0, b""))
                process.stderr.close()


if __name__ == "__main__":
    unittest.main()
