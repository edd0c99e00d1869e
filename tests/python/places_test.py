"""Where the module finds library and command: installed prefixes, environment variables, and clear errors."""

import os
import pathlib
import shutil
import subprocess
import sys
import sysconfig

import sample

MODULE = pathlib.Path(os.environ["PYTHONPATH"])
LIBRARY = pathlib.Path(os.environ["VELPROFILE_LIBRARY"]).resolve()
COMMAND = pathlib.Path(os.environ["VELSTAT"]).resolve()
MULTIARCH = sysconfig.get_config_var("MULTIARCH")
SHOW = """
import velprofile
try:
    print(len(velprofile.decode(bytes(48))), sum(1 for row in velprofile.query({source!r}, "SELECT 1")))
except velprofile.Error as error:
    print(error)
"""


class Places(sample.InFolder):
    def show(self, module, script=SHOW, **environment):
        source = str(self.file("records", bytes(48)))
        done = subprocess.run([sys.executable, "-c", script.format(source=source)], capture_output=True, text=True,
                              env={"PYTHONPATH": str(module), "PATH": "", "PYTHONDONTWRITEBYTECODE": "1", **environment})
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout.strip()

    def prefix(self):
        packages = self.folder / "prefix/lib/python3/dist-packages"
        shutil.copytree(MODULE / "velprofile", packages / "velprofile")
        (self.folder / "prefix/bin").mkdir()
        return packages

    def test_module_finds_both_in_its_prefix(self):
        for library in ("lib", f"lib/{MULTIARCH}", "lib64"):
            packages = self.prefix()
            (self.folder / "prefix" / library).mkdir(exist_ok=True)
            for name in ("libvelprofile.so.1", "velstat"):
                (self.folder / "prefix" / library / name).symlink_to(LIBRARY.parent / name)
            (self.folder / "prefix/bin/velstat").symlink_to(COMMAND)
            self.assertEqual(self.show(packages), "1 1", library)
            shutil.rmtree(self.folder / "prefix")

    def test_environment_comes_before_the_prefix(self):
        packages = self.prefix()
        (self.folder / "prefix/lib/libvelprofile.so.1").write_bytes(b"not a library")
        (self.folder / "prefix/bin/velstat").write_bytes(b"not a program")
        self.assertEqual(self.show(packages, VELPROFILE_LIBRARY=str(LIBRARY), VELSTAT=str(COMMAND)), "1 1")

    def test_command_is_found_in_the_path(self):
        self.assertEqual(self.show(MODULE, VELPROFILE_LIBRARY=str(LIBRARY), PATH=str(COMMAND.parent)), "1 1")

    def test_raw_records_need_no_command(self):
        script = "import velprofile; print(len(list(velprofile.records({source!r}))), len(velprofile.to_numpy({source!r})))"
        self.assertEqual(self.show(MODULE, script, VELPROFILE_LIBRARY=str(LIBRARY)), "1 1")

    def test_each_failure_says_what_to_set(self):
        broken = str(self.file("broken", b"not a library"))
        old = LIBRARY.parent / "velstat/libvelplatform.so"
        cases = [
            ({"VELPROFILE_LIBRARY": "/missing.so"}, "libvelprofile cannot be loaded: /missing.so: ",
             "; set VELPROFILE_LIBRARY to its path"),
            ({"VELPROFILE_LIBRARY": broken}, f"libvelprofile cannot be loaded: {broken}: ",
             "; set VELPROFILE_LIBRARY to its path"),
            ({"VELPROFILE_LIBRARY": str(old)}, "libvelprofile is older than this module: ",
             "undefined symbol: vel_profile_render_many"),
            ({"VELPROFILE_LIBRARY": str(LIBRARY)}, "velstat was not found next to this module or in PATH",
             "; set VELSTAT to its path"),
            ({"VELPROFILE_LIBRARY": str(LIBRARY), "VELSTAT": "/missing"}, "velstat cannot be started: ",
             "'/missing'; set VELSTAT to its path"),
        ]
        for environment, beginning, end in cases:
            with self.subTest(environment):
                said = self.show(MODULE, **environment)
                self.assertEqual((said[:len(beginning)], said[-len(end):]), (beginning, end))


sample.unittest.main(argv=sys.argv[:1])
