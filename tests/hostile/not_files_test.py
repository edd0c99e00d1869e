"""A capture folder with a pipe, a device or a folder in the place of a file: velstat neither waits for it nor opens it."""

import os
import shutil
import socket
import tempfile
import unittest
from pathlib import Path

from command import binary, record, run


class NotFiles(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.old, self.new = Path(folder.name) / "old", Path(folder.name) / "new"
        self.old.mkdir()
        (self.old / "001-a.state").write_bytes(record(b"a", {"k": 1}))
        shutil.copytree(self.old, self.new)
        self.odd = self.new / "002-odd.state"

    def refused(self):
        """The others are compared."""
        (self.new / "001-a.state").write_bytes(record(b"a", {"k": 2}))
        status, out, error = run("diff", self.old, self.new)
        self.assertEqual((status, error), (2, f"velstat: {self.odd}: not a regular file\n"))
        self.assertIn("1 → 2" if "→" in out else "2", out)
        self.odd.unlink()

    def test_pipe(self):
        os.mkfifo(self.odd)
        self.refused()

    def test_link_to_a_pipe(self):
        os.mkfifo(self.new / "pipe")
        self.odd.symlink_to("pipe")
        self.refused()

    def test_devices(self):
        for device in ("/dev/zero", "/dev/null", "/dev/tty", "/dev/full"):
            self.odd.symlink_to(device)
            self.refused()

    def test_socket(self):
        with socket.socket(socket.AF_UNIX) as one:
            one.bind(str(self.odd))
            self.refused()

    def test_every_file_of_a_capture_that_decode_reads(self):
        for name in ("log.jsonl", "manifest.json", "tally.sqlite"):
            (self.new / name).write_bytes(b"")
        for name, reason in (("001-a.state", "not a regular file"), ("log.jsonl", "not a regular file"),
                             ("manifest.json", "not a regular file"),
                             ("tally.sqlite", "not a TallyStore (not a regular file)")):
            (self.new / name).unlink()
            os.mkfifo(self.new / name)
            with self.subTest(name):
                status, _, error = run("decode", self.new)
                self.assertIn(f"velstat: {self.new / name}: {reason}\n", error)
                self.assertNotEqual(status, 0)

    def test_folder(self):
        self.odd.mkdir()
        status, _, error = run("diff", self.old, self.new)
        self.assertEqual((status, error), (2, f"velstat: {self.odd}: not a regular file\n"))

    def test_link_to_a_file_is_followed(self):
        (self.new / "file").write_bytes(record(b"b", {}))
        self.odd.symlink_to("file")
        self.assertEqual(run("diff", self.old, self.new)[::2], (1, ""))

    def test_pipe_that_the_user_names_is_read(self):
        pipe = self.new / "pipe"
        os.mkfifo(pipe)
        child = os.fork()
        if child == 0:
            pipe.write_bytes(binary({"k": 1}))
            os._exit(0)
        status, out, error = run("show", pipe)
        os.waitpid(child, 0)
        self.assertEqual((status, error), (0, ""))
        self.assertIn("k", out)


if __name__ == "__main__":
    unittest.main()
