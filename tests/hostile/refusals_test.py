"""velstat, when the system refuses it something: a system call, threads, the size of files. One line says so,
and nothing half-written is left."""

import os
import resource
import subprocess
import tempfile
import unittest
from pathlib import Path

import tracing
from command import ENVIRONMENT, VELSTAT, run
from write_out import WriteOut


class Refusals(WriteOut):
    def setUp(self):
        super().setUp()
        self.folder = self.parent.parent
        self.records = self.folder / "records.bin"
        with open(self.records, "wb") as file:
            subprocess.run([VELSTAT, "generate", "records", "--count", "20000"], stdout=file, check=True)
        self.entries = self.folder / "entries.bin"
        self.entries.write_bytes(bytes([0x30, 3, 0, 5, 0, 0, 0]) * 1000)

    def require_one_line(self, error):
        self.assertRegex(error, r"\Avelstat: [^\n]+\n\Z")

    def test_every_call_of_the_write_out_may_fail(self):
        """Also where it makes no difference; then the folder is whole."""
        ends = set()
        for call in self.calls():
            with self.subTest(call.text):
                self.clear()
                process = tracing.start(call, "error=EIO", *self.arguments())
                error = process.communicate(timeout=60)[1]
                self.assertIn(process.returncode, (0, 1))
                whole = self.require_all_or_nothing()
                if process.returncode == 1:
                    self.require_one_line(error)
                else:
                    self.assertEqual((whole, error), (True, ""))
                ends.add((process.returncode, whole))
        # 1 with a whole folder: standard output fails after it was written.
        self.assertEqual(ends, {(0, True), (1, False), (1, True)})

    def refuse_threads(self, first, *arguments):
        """From the first-th thread on."""
        done = subprocess.run(["strace", "-f", "-qq", "-o", os.devnull, "-e", "trace=clone,clone3",
                               f"--inject=clone,clone3:error=EAGAIN:when={first}+", VELSTAT, *arguments],
                              env=ENVIRONMENT, cwd=self.parent, capture_output=True, text=True, timeout=60)
        return done.returncode, done.stdout, done.stderr

    def test_threads_are_refused(self):
        refused = (1, "", "velstat: no thread for a queue: Resource temporarily unavailable\n")
        publish = ["publish", "--tally", "tally.sqlite", "--log", "log.jsonl", str(self.entries)]
        self.assertEqual(self.refuse_threads(1, *self.arguments()), refused)
        self.assertEqual(self.refuse_threads(1, *publish), refused)
        self.assertEqual(self.names(), [])
        self.assertEqual(self.refuse_threads(2, *self.arguments())[::2], (0, ""))
        self.require_whole(self.out)
        self.assertEqual(self.refuse_threads(2, *publish), (0, "", "1000 entries published into tally.sqlite\n"))

    def test_decoding_goes_on_with_the_threads_that_there_are(self):
        whole = run("decode", self.records)
        for first in (1, 2, 3):
            self.assertEqual(self.refuse_threads(first, "decode", "--jobs", "4", self.records), whole)

    def grow_to(self, size, *arguments, stdout=subprocess.PIPE):
        done = subprocess.run([VELSTAT, *arguments], env=ENVIRONMENT, cwd=self.parent, stdout=stdout,
                              stderr=subprocess.PIPE, text=True, timeout=60,
                              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, size)))
        return done.returncode, done.stdout, done.stderr

    def test_files_may_not_grow(self):
        status, out, error = self.grow_to(10_000, *self.arguments())
        self.assertEqual((status, out), (1, ""))
        self.assertRegex(error, r"\Avelstat: \S+/out/\S+: File too large\n\Z")
        self.assertEqual(self.names(), [])

    def test_standard_output_may_not_grow(self):
        for arguments in (["capture"], ["decode", self.records], ["generate", "records"],
                          ["capture", "--format", "json"]):
            with tempfile.TemporaryFile() as file:
                self.assertEqual(self.grow_to(1000, *arguments, stdout=file),
                                 (1, None, "velstat: standard output: File too large\n"))
                self.assertEqual(file.seek(0, os.SEEK_END), 1000)

    def test_stores_and_logs_may_not_grow(self):
        status, out, error = self.grow_to(5000, "publish", "--tally", "tally.sqlite", self.entries)
        self.assertEqual((status, out), (1, ""))
        self.require_one_line(error)
        self.assertEqual(self.names(), [])
        status, out, error = self.grow_to(50_000, "publish", "--tally", "tally.sqlite", "--log", "log.jsonl",
                                          self.entries)
        self.assertEqual((status, out, error), (1, "", "1000 entries published into tally.sqlite\n"
                                                "velstat: log.jsonl: File too large\n"))


if __name__ == "__main__":
    tracing.require()
    unittest.main()
