"""Stops, fails and kills velstat at any one of its system calls, by strace."""

import collections
import os
import re
import signal
import subprocess
import sys
import tempfile

from command import ENVIRONMENT, VELSTAT

Call = collections.namedtuple("Call", "name number text")  # the number-th of this name in the main thread


def require():
    """Ends the test when system calls cannot be traced: there is nothing else that it could do."""
    try:
        done = subprocess.run(["strace", "-o", os.devnull, "true"], capture_output=True, text=True)
    except FileNotFoundError:
        sys.exit("strace is missing: cmake/install-packages.sh test installs it")
    if done.returncode != 0:
        sys.exit(f"strace may not trace, which this test needs (in a container: --cap-add=SYS_PTRACE): {done.stderr.strip()}")


def calls(*arguments):
    """Those of the main thread, of a run that succeeds."""
    with tempfile.NamedTemporaryFile("r", suffix=".strace") as trace:
        subprocess.run(["strace", "-f", "-qq", "-o", trace.name, VELSTAT, *arguments], env=ENVIRONMENT, check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=60)
        lines = re.findall(r"^(\d+) +(\w+)(\(.*)$", trace.read(), re.M)
    counts = collections.Counter()
    found = []
    for thread, name, text in lines:
        if thread == lines[0][0]:
            counts[name] += 1
            found.append(Call(name, counts[name], name + text))
    return found


def start(call, fault, *arguments, delayed=(), **options):
    """A run in which the call has a fault: "signal=...", "error=...", "delay_enter=...". Those named in `delayed` take
    long. The tracer is a grandchild, so that the process is velstat itself."""
    delays = [f"--inject={','.join(delayed)}:delay_enter=2000"] if delayed else []
    return subprocess.Popen(["strace", "-D", "-f", "-qq", "-o", os.devnull,
                             "-e", f"trace={','.join([call.name, *delayed])}", *delays,
                             f"--inject={call.name}:{fault}:when={call.number}", VELSTAT, *arguments],
                            env=ENVIRONMENT, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, **options)


def start_stopped(call, *arguments, **options):
    """A run that has stopped after the call."""
    process = start(call, "signal=SIGSTOP", *arguments, **options)
    _, status = os.waitpid(process.pid, os.WUNTRACED)
    assert os.WIFSTOPPED(status), f"{call.text} was not reached"
    return process


def go_on(process):
    """Exit status (a signal's number is negative) and stderr of a run that had stopped. Other threads may stop it
    again, at a call of the same number."""
    status = None
    while status is None or os.WIFSTOPPED(status):
        os.kill(process.pid, signal.SIGCONT)
        _, status = os.waitpid(process.pid, os.WUNTRACED)
    process.returncode = os.waitstatus_to_exitcode(status)
    return process.returncode, process.communicate()[1]
