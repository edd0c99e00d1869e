"""Device models as large as are read, and every model of the fuzz corpus: a capture takes no more than 256 MiB of
memory, and prints no more than 64 times the model and the 64 KiB that any device's handlers may add."""

import json
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from measured import EXPANSION, SANITIZED, Run, check

CORPUS = Path(sys.argv.pop())
FORMATS = ([], ["--all"], ["--format", "json"])


def model(batches, **service):
    button = {"name": "b", "transport": "VEL", "usages": [{"page": 12, "usage": 1}],
              "properties": {"KIPSupportsTallyStore": True}, "device": {"analytics": [{"hex": b.hex()} for b in batches]}}
    return json.dumps({"services": [button | service]}).encode()


def entries(count, op, first=0):
    return b"".join(struct.pack("<BBBI", 0x30, op, i % 250, (first + i) * 2654435761 % 2**32) for i in range(count))


class BoundedCapture(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def measure(self, *arguments, model):
        most = EXPANSION * (model.stat().st_size + (64 << 10))
        run = Run("capture", "--model", model, *arguments, most=most, cwd=self.folder)
        check(self, run, most)
        return run

    @unittest.skipIf(SANITIZED, "about memory")
    def test_a_million_log_lines(self):
        """16 MiB of entries, each of which writes a line."""
        path = self.folder / "model.json"
        path.write_bytes(model([entries(65536, 3, i) for i in range(18)]))
        for arguments in (*FORMATS, ["--out", "snapshot"]):
            with self.subTest(arguments):
                run = self.measure(*arguments, model=path)
                self.assertEqual((run.status, run.errors), (0, ""))
        lines = sum(1 for _ in (self.folder / "snapshot" / "log.jsonl").open("rb"))
        self.assertGreater(lines, 18 * 65536)

    def test_large_properties_and_many_services(self):
        path = self.folder / "properties.json"
        path.write_bytes(model([], properties={f"p{i}": "v" * 60_000 for i in range(250)}))
        many = json.loads(model([entries(10, 9)]))
        many["services"] = [many["services"][0] | {"name": f"s{i}", "usages": [{"page": 2**32 - 1, "usage": 2**32 - 1}] * 64}
                            for i in range(256)]
        other = self.folder / "services.json"
        other.write_text(json.dumps(many))
        for name in path, other:
            for arguments in FORMATS:
                with self.subTest(name.name, arguments=arguments):
                    self.assertEqual(self.measure(*arguments, model=name).status, 0)

    def test_corpus(self):
        files = sorted(CORPUS.iterdir())
        self.assertGreater(len(files), 5)
        for path in files:
            for arguments in FORMATS:
                with self.subTest(path.name, arguments=arguments):
                    self.measure(*arguments, model=path)


class BoundedPublish(unittest.TestCase):
    @unittest.skipIf(SANITIZED, "about memory")
    def test_a_long_input_is_not_kept_in_memory(self):
        """One that ends inside an entry, which the end of a pipe tells only."""
        size = 200_000_000
        part = size % 7
        self.assertNotEqual(part, 0)
        with tempfile.TemporaryDirectory() as name:
            file = Path(name) / "entries"
            with file.open("wb") as sparse:
                sparse.truncate(size)
            pipe = subprocess.Popen(["cat", file], stdout=subprocess.PIPE)
            for argument, stdin, called in ((file, None, file), ("-", pipe.stdout, "standard input")):
                with self.subTest(argument):
                    run = Run("publish", "--tally", Path(name) / "t.sqlite", argument, most=0, stdin=stdin)
                    self.assertEqual((run.status, run.errors),
                                     (1, f"velstat: {called}: offset {size - part}: an entry of {part} of its 7 bytes; the file "
                                      f"has {size} bytes\n"))
                    self.assertLess(run.memory, 64 << 20)
            pipe.stdout.close()
            pipe.wait()


if __name__ == "__main__":
    unittest.main()
