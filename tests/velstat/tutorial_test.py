"""The commands of docs/tutorial.md print what it shows: tutorial_test.py DOCUMENT MODELS"""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from console import commands, pattern

DOCUMENT, MODELS = (Path(argument) for argument in sys.argv[1:3])


class Tutorial(unittest.TestCase):
    def test_commands_print_what_is_shown(self):
        shown_commands = commands(DOCUMENT)
        self.assertGreaterEqual(len(shown_commands), 10)
        environment = {**os.environ, "TZ": "UTC", "PATH": f"{Path(os.environ['VELSTAT']).parent}:{os.environ['PATH']}"}
        with tempfile.TemporaryDirectory() as folder:
            (Path(folder) / "models").symlink_to(MODELS)
            for command, shown in shown_commands:
                # The first steps build and then capture; here it is built.
                done = subprocess.run(command.replace("./run ", "velstat capture "), shell=True, cwd=folder,
                                      env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
                self.assertIn(done.returncode, (0, 1), command)  # triage and diff tell with 1 that they found something
                self.assertRegex(done.stdout, rf"\A{pattern(shown)}\Z", command)


unittest.main(argv=sys.argv[:1])
