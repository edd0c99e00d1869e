#!/usr/bin/env python3
"""What ships, used from where it was moved to.

usage: install_test.py CMAKE BUILD-FOLDER COMPILER SOURCE-FOLDER BUILD-TYPE"""

import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

CMAKE, BUILD, COMPILER, SOURCE, BUILD_TYPE = sys.argv[1:]
CONSUMER = pathlib.Path(__file__).parent / "consumer"
HARDENING = pathlib.Path(__file__).parent.parent / "house/hardening.py"


def run(*command, **options):
    return subprocess.run([str(part) for part in command], check=True, capture_output=True, **options).stdout


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp())
        run(CMAKE, "--install", BUILD, "--prefix", cls.folder / "first")
        cls.prefix = (cls.folder / "first").rename(cls.folder / "moved")

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def test_command_finds_its_bundle_beside_itself(self):
        shown = run(self.prefix / "bin/velstat", "capture").decode()
        self.assertIn("  ZORB Statistics  state handler 1\n", shown)

    def test_shipped_models_are_read(self):
        models = sorted((self.prefix / "share/velstat/models").glob("*.json"))
        self.assertGreater(len(models), 4)
        for model in models:
            if not model.name.endswith(".schema.json"):
                run(self.prefix / "bin/velstat", "capture", "--model", model)

    def test_the_format_for_lnav_is_there(self):
        self.assertIn("velstat_log", json.loads((self.prefix / "share/velstat/lnav/velstat_log.json").read_text()))

    def test_package_decodes_in_a_program_of_its_own(self):
        build = self.folder / "consumer"
        run(CMAKE, "-S", CONSUMER, "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_C_COMPILER={COMPILER}")
        run(CMAKE, "--build", build)
        records = run(self.prefix / "bin/velstat", "generate", "records", "--seed", "5", "--count", "100")
        expected = run(self.prefix / "bin/velstat", "decode", "-", input=records)
        self.assertEqual(expected.count(b"'binary-data'"), 100)
        self.assertEqual(run(build / "consumer", input=records), expected)

    def test_python_module_finds_library_and_command_beside_itself(self):
        records = self.folder / "records"
        records.write_bytes(bytes(96))
        script = f"""if True:
            import velprofile
            print(len(velprofile.decode(bytes(48))), len(list(velprofile.query({str(records)!r}, 'SELECT 1 FROM records'))))
        """
        shown = run(sys.executable, "-c", script, env={"PYTHONPATH": str(self.prefix / "lib/python3/dist-packages"),
                                                       "PYTHONDONTWRITEBYTECODE": "1"})
        self.assertEqual(shown, b"1 2\n")
        self.assertTrue((self.prefix / "lib/python3/dist-packages/velprofile/py.typed").exists())

    def test_no_file_names_this_machine(self):
        files = [path for path in self.prefix.rglob("*") if path.is_file()]
        self.assertGreater(len(files), 10)
        for path in files:
            content = path.read_bytes()
            for place in (SOURCE, BUILD, str(self.folder)):
                self.assertFalse(place.encode() in content, f"{path} names {place}")

    def test_files_are_hardened(self):
        done = subprocess.run([sys.executable, HARDENING, BUILD_TYPE, self.prefix], stdout=subprocess.PIPE, text=True)
        self.assertEqual(done.returncode, 0, done.stdout)


unittest.main(argv=sys.argv[:1])
