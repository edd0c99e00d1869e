"""velstat diff, of the default device and each shipped model: the golden text of the summary, which fits a screen of 80
columns and 24 lines. VELSTAT_WRITE_GOLDEN=1 writes the golden texts anew."""

import fcntl
import json
import os
import pty
import struct
import sys
import tempfile
import termios
import unittest
from pathlib import Path

from command import ENVIRONMENT, VELSTAT, run

GOLDEN, MODELS = Path(sys.argv.pop()), Path(sys.argv.pop())
NAMES = sorted(path.stem for path in MODELS.glob("*.json") if path.stem != "device-model.schema")
QUIET = {"default", "idle"}


def changed(model, change):
    """Applies `change` to each source of profile records of a device model."""
    if isinstance(model, dict):
        if "flow" in model:
            change(model)
        model = model.values()
    for value in model if not isinstance(model, str) and hasattr(model, "__iter__") else ():
        changed(value, change)


def on_screen(arguments, folder, columns, rows):
    """What a terminal of this size shows."""
    leader, follower = pty.openpty()
    fcntl.ioctl(follower, termios.TIOCSWINSZ, struct.pack("4H", rows, columns, 0, 0))
    child = os.fork()
    if child == 0:
        os.chdir(folder)
        os.dup2(follower, 1)
        os.execve(VELSTAT, [VELSTAT, *arguments], {**ENVIRONMENT, "NO_COLOR": "1"})
    os.close(follower)
    output = b""
    try:
        while block := os.read(leader, 65536):
            output += block
    except OSError:  # how a terminal without writers ends
        pass
    os.close(leader)
    os.waitpid(child, 0)
    return output.decode().replace("\r\n", "\n")


class Summary(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        for name in NAMES:
            status, _, errors = run("capture", "--model", MODELS / f"{name}.json", "--out", name, cwd=cls.folder)
            assert status == 0, errors

    def diff(self, *arguments):
        status, out, _ = run("diff", *arguments, cwd=self.folder)
        return status, out

    def test_golden(self):
        self.assertGreaterEqual(len(NAMES), 4)
        writes = "VELSTAT_WRITE_GOLDEN" in os.environ
        if not writes:
            self.assertEqual({path.stem for path in GOLDEN.glob("*.expect")}, set(NAMES))
        for name in NAMES:
            with self.subTest(name):
                # The wording of findings is that of triage's rules.
                out = self.diff("--ignore", "findings", "default", name)[1]
                golden = GOLDEN / f"{name}.expect"
                if writes:
                    golden.write_text(out)
                self.assertEqual(out, golden.read_text())

    def test_findings_of_the_fault_come_first(self):
        for name in set(NAMES) - QUIET:
            with self.subTest(name):
                status, out = self.diff("default", name)
                self.assertEqual((status, out.splitlines()[2]), (1, "Findings"))
                self.assertTrue(out.splitlines()[3].startswith("  + "), out)

    def test_it_fits_the_screen(self):
        sizes = {(80, 24): 80, (40, 24): 40, (132, 50): 132}
        for name in set(NAMES) - {"default"}:
            for (columns, rows), width in sizes.items():
                with self.subTest(name, columns=columns):
                    lines = on_screen(["diff", "default", name], self.folder, columns, rows).splitlines()
                    self.assertLessEqual(len(lines), 22)
                    self.assertGreater(len(lines), 2)
                    for line in lines:
                        self.assertLessEqual(len(line), width, line)

    def test_files_and_pipes_get_what_a_screen_of_80_columns_does(self):
        self.assertEqual(self.diff("default", "actuator-timeout")[1],
                         on_screen(["diff", "default", "actuator-timeout"], self.folder, 80, 24))

    def test_the_last_line_counts_what_is_left_out(self):
        _, out = self.diff("default", "actuator-timeout")
        _, every = self.diff("--all", "default", "actuator-timeout")
        shown = sum(line.startswith("  ") for line in out.splitlines())
        all_lines = sum(line.startswith(("  + ", "  - ", "  ~ ")) for line in every.splitlines())
        document = json.loads(self.diff("--format", "json", "default", "actuator-timeout")[1])
        rows = [row for section in ("findings", "metrics", "values", "kinds", "counts") for row in document[section]]
        notable = sum(row["notable"] for row in rows)
        self.assertEqual(all_lines, len(rows))
        self.assertEqual(out.splitlines()[-1],
                         f"… {notable - shown} more, {len(rows) - notable} smaller; --all shows every line")

    def test_another_clock_makes_no_difference(self):
        model = json.loads((MODELS / "default.json").read_text())

        def later(records):
            records["clock"] = records.get("clock", 1) + 777_000_123
        changed(model, later)
        model["boot-time"] += 10**12
        (self.folder / "later.json").write_text(json.dumps(model))
        self.assertEqual(run("capture", "--model", "later.json", "--out", "later", cwd=self.folder)[0], 0)
        self.assertEqual(self.diff("default", "later"), (0, ""))
        for name in "default", "later":  # which is a difference in every line
            text = run("decode", name, cwd=self.folder)[1]
            (self.folder / f"{name}.txt").write_text(text)
        texts = [(self.folder / f"{name}.txt").read_text().splitlines() for name in ("default", "later")]
        self.assertEqual(len(texts[0]), len(texts[1]))
        self.assertFalse(set(texts[0]) & set(texts[1]))

    def test_other_hours_of_a_healthy_device_show_little(self):
        """Records that are drawn anew: the rarest may be missing, and a sensor may have been used more."""
        for seed in (1000, 2000, 3000):
            model = json.loads((MODELS / "default.json").read_text())

            def other(records):
                records["seed"] = records.get("seed", 1) + seed
            changed(model, other)
            (self.folder / f"seed{seed}.json").write_text(json.dumps(model))
            self.assertEqual(run("capture", "--model", f"seed{seed}.json", "--out", f"seed{seed}", cwd=self.folder)[0], 0)
            status, out = self.diff("default", f"seed{seed}")
            self.assertEqual(status, 1)
            self.assertLessEqual(len(out.splitlines()), 13, out)
            document = json.loads(self.diff("--format", "json", "default", f"seed{seed}")[1])
            self.assertEqual((document["findings"], document["metrics"]), ([], []))
            self.assertLessEqual(sum(value["notable"] for value in document["values"]), 1)


if __name__ == "__main__":
    unittest.main()
