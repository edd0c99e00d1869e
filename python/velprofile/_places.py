"""Finds the library and the command, and defines the exception for all failures."""

import os
import pathlib
import shutil
import sysconfig
from collections.abc import Iterator


class Error(Exception):
    """A failure. Its message is velstat's own if velstat reported it."""


def _prefixes() -> Iterator[pathlib.Path]:
    """The prefixes below which this module may be installed, nearest first: PREFIX/lib/python3/dist-packages."""
    folders = pathlib.Path(__file__).resolve().parents
    for library in folders:
        if library.name == "lib":
            yield library.parent


def library() -> str:
    """The path of libvelprofile.so, or the name by which the system's loader finds it."""
    if given := os.environ.get("VELPROFILE_LIBRARY"):
        return given
    name = "libvelprofile.so.1"
    multiarch = str(sysconfig.get_config_var("MULTIARCH") or "")
    for prefix in _prefixes():
        for folder in ("lib", f"lib/{multiarch}", "lib64"):
            if (found := prefix / folder / name).is_file():
                return str(found)
    return name


def command() -> str:
    """The path of velstat."""
    if given := os.environ.get("VELSTAT"):
        return given
    for prefix in _prefixes():
        if (found := prefix / "bin/velstat").is_file():
            return str(found)
    if on_path := shutil.which("velstat"):
        return on_path
    raise Error("velstat was not found next to this module or in PATH; set VELSTAT to its path")
