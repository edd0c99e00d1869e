#!/usr/bin/env python3
"""What ships, used from where it was moved to.

usage: install_test.py CMAKE BUILD-FOLDER C-COMPILER C++-COMPILER SOURCE-FOLDER BUILD-TYPE"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

CMAKE, BUILD, C_COMPILER, CXX_COMPILER, SOURCE, BUILD_TYPE = sys.argv[1:]
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

    def test_programs_of_others_decode(self):
        build = self.folder / "consumer"
        run(CMAKE, "-S", CONSUMER, "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_C_COMPILER={C_COMPILER}", f"-DCMAKE_CXX_COMPILER={CXX_COMPILER}")
        run(CMAKE, "--build", build)
        self.check_programs(build)

    def test_programs_of_others_find_it_with_pkg_config(self):
        found, = self.prefix.rglob("pkgconfig")
        programs = self.folder / "programs"
        programs.mkdir()
        for name, compiler, package in (("consumer.c", C_COMPILER, "velprofile"),
                                        ("description.cpp", CXX_COMPILER, "velplatform")):
            flags = run("pkg-config", "--cflags", "--libs", package, env={**os.environ, "PKG_CONFIG_PATH": str(found)})
            run(compiler, CONSUMER / name, *flags.decode().split(), f"-Wl,-rpath,{found.parent}",
                "-o", programs / pathlib.Path(name).stem)
        self.check_programs(programs)

    def check_programs(self, folder):
        """The programs of consumer/ do as the command does."""
        records = run(self.prefix / "bin/velstat", "generate", "records", "--seed", "5", "--count", "100")
        expected = run(self.prefix / "bin/velstat", "decode", "-", "--format", "text", input=records)
        self.assertEqual(expected.count(b"'binary-data'"), 100)
        self.assertEqual(run(folder / "consumer", input=records), expected)
        twice = run(folder / "description", input=records).splitlines()
        self.assertEqual(len(twice), 2)
        for text in twice:
            self.assertTrue(text.startswith(expected.splitlines()[0].rstrip(b"}")), text)

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
