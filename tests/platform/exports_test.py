"""The platform library exports what its list names, all of it, and nothing else.

Usage: exports_test.py NM LIBRARY EXPORTS_MAP
"""

import re
import subprocess
import sys
import unittest
from pathlib import Path

CONTROL = re.compile(r"(typeinfo for |typeinfo name for |vtable for )?vel::control::")


class Exports(unittest.TestCase):
    maxDiff = None

    def test_exported_names_are_those_of_the_list(self):
        table = subprocess.run(
            [nm, "-D", "-C", "--defined-only", library], check=True, capture_output=True, text=True
        ).stdout
        exported = [line.split(" ", 2)[2] for line in table.splitlines()]
        control = [name for name in exported if CONTROL.match(name)]
        self.assertTrue(control)
        text = re.sub(r"#.*", "", Path(export_list).read_text())
        plain = text[text.index("global:") + len("global:") : text.index("extern")]
        listed = [name.strip() for name in plain.split(";") if name.strip()]
        self.assertEqual(sorted(set(exported) - set(control)), sorted(listed))


nm, library, export_list = sys.argv[1:4]
del sys.argv[1:4]
unittest.main()
