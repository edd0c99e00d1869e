#!/usr/bin/env python3
"""No library is loaded from the current folder.

usage: current_folder_test.py VELSTAT LIBVELPROFILE
Both are loaded in a folder with a file of each name that the loader looks for. The files are not libraries, so that
taking one of them is an error."""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

VELSTAT, LIBRARY = sys.argv[1:]


def needed(path):
    """Names of the libraries that the file is linked to."""
    lines = subprocess.run(["readelf", "-W", "-d", path], check=True, capture_output=True, text=True).stdout
    return set(re.findall(r"\(NEEDED\).*\[(.*)\]", lines))


class CurrentFolder(unittest.TestCase):
    def run_beside_decoys_of(self, path, *command):
        with tempfile.TemporaryDirectory() as folder:
            names = needed(path)
            self.assertIn("libc.so.6", names)
            for name in names:
                pathlib.Path(folder, name).write_text("not a library\n")
            return subprocess.run(command, cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)

    def test_command(self):
        done = self.run_beside_decoys_of(VELSTAT, VELSTAT, "capture")
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertIn("ZORB Statistics", done.stdout)

    def test_library(self):
        load = f"import ctypes; ctypes.CDLL({LIBRARY!r})"
        done = self.run_beside_decoys_of(LIBRARY, sys.executable, "-c", load)
        self.assertEqual((done.returncode, done.stdout), (0, ""))


unittest.main(argv=sys.argv[:1])
