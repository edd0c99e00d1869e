"""Reads what cf_property_list_writer wrote with a reader that is not ours: types, values and order must be exact.

Usage: cf_property_list_check.py WRITER
"""

import plistlib
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

INTEGERS = [0, 1, 127, 128, 255, 256, 65535, 65536, 2147483648, 4294967295, 4294967296]
EXPECTED = {
    "32: -1": -1,
    "32: least": -(2**31),
    "32: most": 2**31 - 1,
    **{f"64: {value}": value for value in INTEGERS},
    "64: -1": -1,
    "64: least": -(2**63),
    "64: most": 2**63 - 1,
    "real: 0.1": 0.1,
    "real: 1": 1.0,
    "real: -2.5": -2.5,
    "real: largest": sys.float_info.max,
    "true": True,
    "false": False,
    "text: empty": "",
    "text: 14": "fourteen bytes",
    "text: 15": "fifteen bytes..",
    "text: 300": "x" * 300,
    "text: 70000": "y" * 70000,
    "text: control": "\x01\t\n\x7f",
    "text: accents": "caf\u00e9 \u20ac",
    "text: pairs": "\U0001f600\U0010ffff",
    "text: a key": "true",
    "\u00fcber": "umlaut key",
    "data: empty": b"",
    "data: bytes": b"\x00\xff\x80",
    "outer": {"inner": {"array": [1, 1.0, True, "1", [], {}, {}]}},
    "many": list(range(1000)),
}


def typed(value):
    """The value with the type of each part: 1, 1.0 and True are equal but not the same."""
    if isinstance(value, dict):
        return [(key, typed(item)) for key, item in value.items()]
    if isinstance(value, list):
        return [typed(item) for item in value]
    return type(value).__name__, value


class PropertyList(unittest.TestCase):
    maxDiff = 4000

    def test_an_outside_reader_finds_the_exact_content(self):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder, "written.plist")
            subprocess.run([writer, path], check=True)
            with path.open("rb") as file:
                read = plistlib.load(file, fmt=plistlib.FMT_BINARY)
        self.assertEqual(list(read), list(EXPECTED))
        for key, value in EXPECTED.items():
            with self.subTest(key):
                self.assertEqual(typed(read[key]), typed(value))


writer = sys.argv.pop(1)
unittest.main()
