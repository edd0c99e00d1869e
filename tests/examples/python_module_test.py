"""The examples in Python: what the plot's example finds, and closed pipes: python_module_test.py EXAMPLES MODELS"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

EXAMPLES, MODELS = map(pathlib.Path, sys.argv[1:])
VELSTAT = os.environ["VELSTAT"]


def run(script, *arguments, **options):
    command = [sys.executable, EXAMPLES / script, *arguments]
    return subprocess.run(list(map(str, command)), timeout=120, text=True, stderr=subprocess.PIPE,
                          **{"stdout": subprocess.PIPE, **options})


def red_pixels(picture):
    from matplotlib import image

    colours = image.imread(picture)
    return int(((colours[..., 0] > 0.9) & (colours[..., 1] < 0.1) & (colours[..., 2] < 0.1)).sum())


class ActuatorTimeout(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        for model in ("actuator-timeout", "default"):
            subprocess.run([VELSTAT, "capture", "--model", MODELS / f"{model}.json", "--out", cls.folder / model],
                           check=True, capture_output=True)

    def environment(self):
        return {**os.environ, "MPLCONFIGDIR": str(self.folder / "matplotlib")}

    def test_fault_is_found_and_drawn(self):
        picture = self.folder / "picture.png"
        done = run("actuator_timeout.py", self.folder / "actuator-timeout", picture, env=self.environment())
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(done.stdout.splitlines(), [
            "5409.055921 s  HaldenCLTimeOut after 49.6 ms",
            "5409.878652 s  HaldenCLTimeOut after 50.7 ms",
            "2 of 2 starts of a haptic failed",
        ])
        self.assertGreater(red_pixels(picture), 100, "the failures are marked")

    def test_good_device_has_no_failure(self):
        picture = self.folder / "good.png"
        done = run("actuator_timeout.py", self.folder / "default", picture, env=self.environment())
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        *starts, total = done.stdout.splitlines()
        self.assertGreater(len(starts), 0)
        self.assertEqual([line for line in starts if "ckp_HaldenPlayAsset after" not in line], [])
        self.assertEqual(total, f"0 of {len(starts)} starts of a haptic failed")
        self.assertEqual(red_pixels(picture), 0)

    def test_wrong_input_is_one_line(self):
        done = run("actuator_timeout.py", self.folder / "missing")
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertEqual(done.stderr, f"{self.folder / 'missing'}: No such file or directory\n")

    def test_closed_pipes_end_the_examples_quietly(self):
        records = self.folder / "records"
        records.write_bytes(bytes(48) * 10_000)
        cases = [
            ("decode_records.py", os.environ["VELPROFILE_LIBRARY"], records),
            ("decode_records.py", os.environ["VELPROFILE_LIBRARY"], records, "--fields"),
            ("actuator_timeout.py", self.folder / "default"),
        ]
        for case in cases:
            with self.subTest(case):
                reader, writer = os.pipe()
                os.close(reader)
                done = run(*case, stdout=writer)
                os.close(writer)
                self.assertEqual((done.returncode, done.stderr), (0, ""))


unittest.main(argv=sys.argv[:1])
