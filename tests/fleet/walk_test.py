"""The commands of docs/fleet.md print what it shows: walk_test.py DOCUMENT. They run one after another in one shell, on the
cluster that tests share."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

from cluster import SCRIPT
from console import commands, pattern

DOCUMENT = pathlib.Path(sys.argv[1])
# The shared cluster in place of a new one: up only looks at it, and down does nothing.
SHELL = """
fleet/cluster() { [ "$1" = down ] || "$SCRIPT" status --dir "$FLEET_CLUSTER"; }
mkdir build
ln -s "$FLEET_CLUSTER" build/fleet-cluster
"""
END = "-- end of the command, status "


class Walk(unittest.TestCase):
    def test_commands_print_what_is_shown(self):
        shown_commands = commands(DOCUMENT)
        self.assertGreaterEqual(len(shown_commands), 15)
        environment = {**os.environ, "TZ": "UTC", "SCRIPT": str(SCRIPT),
                       "PATH": f"{pathlib.Path(os.environ['VELSTAT']).parent}:{os.environ['PATH']}"}
        script = SHELL + "".join(f'{command}\necho "{END}$?"\n' for command, _ in shown_commands)
        with tempfile.TemporaryDirectory() as folder:
            done = subprocess.run(["bash"], input=script, cwd=folder, env=environment, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, text=True, timeout=200)
        *printed, rest = done.stdout.split(END)
        self.assertEqual((len(printed), rest), (len(shown_commands), "0\n"), done.stdout[-500:])
        for number, ((command, shown), text) in enumerate(zip(shown_commands, printed)):
            if number:
                status, _, text = text.partition("\n")
                self.assertEqual(status, "0", shown_commands[number - 1][0])
            self.assertRegex(text, rf"\A{pattern(shown)}\Z", command)


unittest.main(argv=sys.argv[:1])
