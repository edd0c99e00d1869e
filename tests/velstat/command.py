"""Runs velstat for tests, and makes state records of any property list."""

import fcntl
import os
import plistlib
import pty
import struct
import subprocess
import termios

VELSTAT = os.environ["VELSTAT"]
ENVIRONMENT = {**os.environ, "TERM": "xterm", "PAGER": "cat"}  # no pager, unless a test names one
for variable in ("NO_COLOR", "COLUMNS", "LESS", "LESSCHARSET"):
    ENVIRONMENT.pop(variable, None)


def run(*arguments, cwd=None, stdin=b""):
    """Exit status, standard output, standard error."""
    done = subprocess.run([VELSTAT, *arguments], input=stdin, capture_output=True, cwd=cwd, env=ENVIRONMENT, timeout=120)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def on_terminal(arguments, cwd=None, errors=False, columns=None, **environment):
    """Exit status and the bytes that a terminal gets; with `errors`, standard error goes there too and there is no input.
    Without `columns` the terminal does not tell how wide it is."""
    leader, follower = pty.openpty()
    if columns is not None:
        fcntl.ioctl(follower, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
    streams = {"stdin": subprocess.DEVNULL, "stderr": follower} if errors else {}
    process = subprocess.Popen([VELSTAT, *arguments], stdout=follower, cwd=cwd, env={**ENVIRONMENT, **environment}, **streams)
    os.close(follower)
    output = b""
    try:
        while block := os.read(leader, 65536):
            output += block
    except OSError:  # how a terminal without writers ends
        pass
    os.close(leader)
    return process.wait(timeout=120), output


def run_on_terminal(*arguments, cwd=None, columns=None, **environment):
    """The standard output of a run that writes to a terminal."""
    return on_terminal(arguments, cwd, columns=columns, **environment)[1].decode().replace("\r\n", "\n")


def binary(value):
    return plistlib.dumps(value, fmt=plistlib.FMT_BINARY, sort_keys=False)


def record(title, value, library=b""):
    data = binary(value)
    return struct.pack("<II64s64s64s", 1, len(data), library, b"", title) + data
