"""Runs velstat, and measures what a run takes: its memory, and the length of what it prints."""

import os
import resource
import signal
import subprocess
import tempfile

from command import ENVIRONMENT, VELSTAT

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
