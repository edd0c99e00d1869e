"""Sources: files of raw records are read here, everything else by velstat as a child process."""

import os
import pathlib
import re
import subprocess
import tempfile
import warnings
from collections.abc import Iterable, Iterator
from typing import IO, Union

from . import _places, names

RECORD_SIZE = 48
BLOCK = 4096 * RECORD_SIZE
_HEAD = 342 * RECORD_SIZE  # about the 16 KiB by which velstat recognises sources

Source = Union[str, "os.PathLike[str]"]
"""A path: a capture folder, a state record, a property list, a log, JSON lines, CSV or raw records; "-" is stdin."""
Sources = Union[Source, Iterable[Source]]
"""One source or several; their records are merged as `velstat decode` does it."""


def paths(sources: Sources) -> list[str]:
    """The sources as velstat's arguments."""
    given = [sources] if isinstance(sources, (str, os.PathLike)) else list(sources)
    if not given:
        raise _places.Error("no source: give one path or several")
    return [os.fspath(source) for source in given]


def raw_file(sources: Sources) -> pathlib.Path | None:
    """The path of the only source if it is certainly a file of whole raw records; None if velstat has to look.

    It is certain if all records at its beginning have a named category and type and many bytes are zero, unlike text,
    and if it does not begin with type 1, as state records do.
    """
    given = paths(sources)
    path = pathlib.Path(given[0])
    try:
        if len(given) != 1 or given[0] == "-" or not path.is_file() or path.stat().st_size % RECORD_SIZE != 0:
            return None
        with path.open("rb") as file:
            head = file.read(_HEAD)
    except OSError:
        return None  # velstat will say why
    if head.startswith(b"\x01\0\0\0"):
        return None
    types, categories = set(names.types()), set(names.categories())
    if set(head[::RECORD_SIZE]) <= types and set(head[3::RECORD_SIZE]) <= categories and head.count(0) > len(head) // 24:
        return path
    return None


def start(arguments: list[str], out: int | IO[bytes], messages: IO[bytes]) -> "subprocess.Popen[bytes]":
    """Starts velstat. Its messages go to a file: they are read only after its end, and a pipe could fill up before."""
    try:
        return subprocess.Popen([_places.command(), *arguments], stdout=out, stderr=messages)
    except ValueError as error:  # a NUL in a path
        raise _places.Error(f"{error} in {arguments[-1]!r}") from None
    except OSError as error:
        raise _places.Error(f"velstat cannot be started: {error}; set VELSTAT to its path") from None


def finish(process: "subprocess.Popen[bytes]", messages: IO[bytes]) -> None:
    """Waits for velstat's end. Its messages become an Error if it failed, and a warning otherwise."""
    status = process.wait()
    messages.seek(0)
    said = messages.read().decode("utf-8", "replace").strip()
    said = re.sub("^velstat: ", "", said, flags=re.M)
    if status != 0:
        raise _places.Error(said or f"velstat ended with status {status}")
    if said:
        warnings.warn(said, stacklevel=3)


def blocks(arguments: list[str]) -> Iterator[bytes]:
    """What velstat writes, in pieces as they arrive. Kills velstat if the caller stops early."""
    with tempfile.TemporaryFile() as messages:
        process = start(arguments, subprocess.PIPE, messages)
        assert process.stdout is not None
        try:
            while block := os.read(process.stdout.fileno(), BLOCK):
                yield block
        except GeneratorExit:
            process.kill()
            process.wait()
            raise
        finally:
            process.stdout.close()
        finish(process, messages)


def raw_arguments(sources: Sources) -> list[str]:
    """velstat's arguments for all records as raw bytes."""
    return ["decode", "--format", "raw", "--", *paths(sources)]
