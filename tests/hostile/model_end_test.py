"""Device models with bytes after their end: none is taken for a model, and nothing is made of it."""

import tempfile
import unittest
from pathlib import Path

from command import run

PLACE = "line 1, column 3: a NUL after the end of the document: remove it and all that follows"
ENDINGS = [b"\0", b"\0\0\0\0", b"\0{}", b"\0" + bytes(range(256)), b"\0" * (1 << 20)]


class ModelEnd(unittest.TestCase):
    def test_nul_is_not_the_end(self):
        with tempfile.TemporaryDirectory() as folder:
            model, out, tally = (Path(folder) / name for name in ("model.json", "out", "t.sqlite"))
            for ending in ENDINGS:
                with self.subTest(ending[:8], length=len(ending)):
                    model.write_bytes(b"{}" + ending)
                    expected = (1, "", f"velstat: {model}: {PLACE}\n")
                    self.assertEqual(run("capture", "--model", model, "--out", out), expected)
                    self.assertEqual(run("publish", "--model", model, "--tally", tally, "-"), expected)
                    self.assertEqual(run("capture", "--model", "-", "--out", out, stdin=model.read_bytes()),
                                     (1, "", f"velstat: standard input: {PLACE}\n"))
                    self.assertEqual([path.name for path in Path(folder).iterdir()], ["model.json"])

    def test_blanks_are(self):
        self.assertEqual(run("capture", "--model", "-", stdin=b"{} \t\r\n\n")[::2], (0, ""))


if __name__ == "__main__":
    unittest.main()
