"""The processes of fleet/cluster: finds and ends the servers of a folder, and finds ports for new ones.

Servers are recognised by their command lines, which name the folder. Recorded process ids are not used: after a
crash they could belong to other processes."""

import os
import pathlib
import random
import select
import signal
import socket
import time

from cluster_files import configuration

JAVA = "/usr/bin/java"
SERVER = "/usr/sbin/clickhouse-server"  # not in everyone's PATH
ENDED_WITHIN = 20  # seconds

# At most 32767: the kernel uses higher ports for outgoing connections, which could take the port of a stopped node.
PORTS = range(20000, 32768)


def servers(folder):
    """The servers that run on files of this folder: process id by name. Those of other users are left alone."""
    found = {}
    for entry in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if entry.stat().st_uid == os.getuid() and (name := server_name(entry, folder)):
                found[name] = int(entry.name)
        except (FileNotFoundError, ProcessLookupError):
            pass  # ended in the meantime
    return found


def server_name(process, folder):
    """The name of the server that the process runs, or None if it is not one of this folder's."""
    program, *arguments = process.joinpath("cmdline").read_bytes().split(b"\0")
    if os.fsdecode(program) not in (JAVA, SERVER):
        return None
    for argument in arguments:
        path = pathlib.Path(os.fsdecode(argument.removeprefix(b"--config-file=")))
        if path.parent.parent == folder and path.name == configuration(path.parent.name):
            return path.parent.name
    return None


def end(folder, names, how):
    """Ends servers and waits until they are gone."""
    handles = []
    for name, pid in servers(folder).items():
        if name in names:
            try:
                handles.append((name, pid, os.pidfd_open(pid)))
            except ProcessLookupError:
                pass
    for number in dict.fromkeys([how, signal.SIGKILL]):
        for name, pid, handle in handles:
            try:
                # The id may have been reused before the handle was opened, so the process is checked again.
                if server_name(pathlib.Path(f"/proc/{pid}"), folder) == name:
                    signal.pidfd_send_signal(handle, number)
            except (FileNotFoundError, ProcessLookupError):
                pass
        deadline = time.monotonic() + ENDED_WITHIN
        for _, _, handle in handles:
            select.select([handle], [], [], max(0, deadline - time.monotonic()))  # readable once the process ended
    for _, _, handle in handles:
        os.close(handle)


def wait(condition, seconds):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            return
        time.sleep(0.05)


def free_ports(count):
    """Ports that nothing listens on. All are held until the last is found, so that none is found twice."""
    held = []
    for port in random.SystemRandom().sample(PORTS, len(PORTS)):
        candidate = socket.socket()
        try:
            candidate.bind(("127.0.0.1", port))
            held.append(candidate)
        except OSError:
            candidate.close()
        if len(held) == count:
            break
    found = [candidate.getsockname()[1] for candidate in held]
    for candidate in held:
        candidate.close()
    return found
