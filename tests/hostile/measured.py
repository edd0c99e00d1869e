"""Runs velstat and measures what a run takes: its memory, and the length of what it prints. Makes property lists whose
objects are shared, which plistlib does not write."""

import os
import resource
import signal
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path

from command import ENVIRONMENT, VELSTAT, binary

MEMORY = 256 << 20
EXPANSION = 64
# The sanitizers take memory of their own, and all of the address space.
SANITIZED = os.environ.get("VELSTAT_BUILD") == "sanitized"


def _limit_memory():
    if not SANITIZED:
        resource.setrlimit(resource.RLIMIT_AS, (6 << 30, 6 << 30))  # so that a failure does not take the machine along


class Run:
    """Its status (None when it was stopped because it printed too much), length of the output, output (as far as
    `keep` goes), error lines and memory in bytes."""

    def __init__(self, *arguments, most, cwd=None, stdin=None, keep=0, environment=None):
        self.length, self.output = 0, b""
        with tempfile.TemporaryFile() as errors:
            process = subprocess.Popen([VELSTAT, *map(str, arguments)], stdin=stdin or subprocess.DEVNULL, cwd=cwd,
                                       stdout=subprocess.PIPE, stderr=errors, env=environment or ENVIRONMENT,
                                       preexec_fn=_limit_memory)
            while block := process.stdout.read1(1 << 20):
                self.length += len(block)
                self.output += block[:max(0, keep - len(self.output))]
                if self.length > most:
                    process.send_signal(signal.SIGKILL)
                    break
            process.stdout.close()
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            errors.seek(0)
            self.errors = errors.read().decode()
        self.memory = usage.ru_maxrss << 10
        self.status = None if self.length > most else process.returncode


def check(test, run, most):
    """That a run ended within its bounds, and what it says of errors too."""
    test.assertLessEqual(run.length, most)
    test.assertIn(run.status, (0, 1, 2), run.errors[-1000:])
    if not SANITIZED:
        test.assertLess(run.memory, MEMORY)
    test.assertLessEqual(len(run.errors), 4096, run.errors[:4096])


class Bounded(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        (self.folder / "empty").write_bytes(binary({}))

    def size(self, *names):
        return sum((self.folder / name).stat().st_size for name in names)

    def measure(self, *arguments, size, keep=0):
        most = EXPANSION * size
        run = Run(*arguments, most=most, cwd=self.folder, keep=keep)
        check(self, run, most)
        return run


def binary_list(objects, references=1):
    """A property list of objects that are given as their bytes; the first is the top one."""
    body, offsets = b"bplist00", []
    for content in objects:
        offsets.append(len(body))
        body += content
    table = len(body)
    return body + b"".join(struct.pack(">I", offset) for offset in offsets) + struct.pack(
        ">6xBBQQQ", 4, references, len(objects), 0, table)


def counted(marker, count):
    return bytes([marker | 0xF, 0x12]) + struct.pack(">I", count)
