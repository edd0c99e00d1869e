"""What the tests of `velstat capture --out` share: a small capture, and whether its folder is whole."""

import json
import shutil
import tempfile
import unittest
from pathlib import Path

import tracing
from command import run

MODEL = """{"services": [{"name": "b", "transport": "VEL", "usages": [{"page": 12, "usage": 1}],
    "properties": {"KIPSupportsTallyStore": true},
    "driver": {"property-replies": {"215": [{"zorb-statistics": {"click count": 1}}]}},
    "device": {"analytics": [[{"op": "add", "key": 0, "value": 1}]]}}]}"""
# Where the memory is, and who is awake, differs from run to run.
VARYING = {"brk", "mmap", "munmap", "mprotect", "madvise", "futex", "execve", "exit_group"}


class WriteOut(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.model = Path(folder.name) / "model.json"
        self.model.write_text(MODEL)
        self.parent = Path(folder.name) / "parent"
        self.parent.mkdir()
        self.out = self.parent / "out"

    def arguments(self, out=None):
        return ["capture", "--model", str(self.model), "--out", str(out or self.out)]

    def calls(self):
        """All from the first one that makes something."""
        found = tracing.calls(*self.arguments())
        self.clear()
        first = next(i for i, call in enumerate(found) if call.name == "mkdir")
        return [call for call in found[first:] if call.name not in VARYING]

    def clear(self):
        """For the next case."""
        shutil.rmtree(self.parent)
        self.parent.mkdir()

    def names(self):
        return sorted(path.name for path in self.parent.iterdir())

    def require_whole(self, out):
        manifest = json.loads((out / "manifest.json").read_text())
        sizes = {"manifest.json": None, manifest["log"]["file"]: None, manifest["tally"]["file"]: None}
        for record in manifest["records"]:
            sizes |= {record["file"]: record["size"], record["property list"]: record["property list size"]}
        self.assertEqual(len(manifest["records"]), 1)
        self.assertEqual({path.name for path in out.iterdir()}, set(sizes))
        for name, size in sizes.items():
            self.assertIn(size, (None, (out / name).stat().st_size), name)
        self.assertEqual(len((out / "log.jsonl").read_text().splitlines()), manifest["log"]["lines"])
        self.assertEqual(run("tally", "--format", "json", out / "tally.sqlite")[0], 0)

    def require_all_or_nothing(self, others=()):
        """Whether it is all."""
        whole = self.out.exists()
        if whole:
            self.require_whole(self.out)
        self.assertEqual(self.names(), sorted([*others, *(["out"] if whole else [])]))
        return whole
