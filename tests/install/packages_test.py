#!/usr/bin/env python3
"""The Debian packages: their fields, files, bytes and what lintian says of them. clean_root_test.py installs them.

usage: packages_test.py PACKED CPACK CMAKE BUILD-FOLDER C-COMPILER C++-COMPILER SOURCE-FOLDER BUILD-TYPE VERSION LIBRARY-FOLDER
PACKED is the folder of packing.py."""

import filecmp
import gzip
import io
import pathlib
import re
import shutil
import subprocess
import sys
import tarfile
import tempfile
import time
import unittest

from packing import OLDER, compile_with_pkg_config, field, pack, packed, run

PACKED, CPACK, CMAKE, BUILD, C_COMPILER, CXX_COMPILER, SOURCE, BUILD_TYPE, VERSION, LIBRARIES = sys.argv[1:]
CONSUMER = pathlib.Path(__file__).parent / "consumer"
HARDENING = pathlib.Path(__file__).parent.parent / "house/hardening.py"
NAMES = ["libvelprofile-dev", "libvelprofile1", "python3-velprofile", "velstat"]


def members(package, which="--fsys-tarfile"):
    """The files of a package as tar has them, by their paths without './'."""
    with tarfile.open(fileobj=io.BytesIO(run("dpkg-deb", which, package))) as archive:
        return {member.name.removeprefix("./"): member for member in archive}


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.packages = packed(pathlib.Path(PACKED, "packages"))
        cls.root = cls.folder / "root"
        for package in cls.packages.values():
            run("dpkg-deb", "--extract", package, cls.root)

    def files(self, name):
        return {path for path, member in members(self.packages[name]).items() if not member.isdir()}

    def test_there_are_four(self):
        self.assertEqual(list(self.packages), NAMES)
        for name, package in self.packages.items():
            self.assertEqual((field(package, "Package"), field(package, "Version"), field(package, "Source")),
                             (name, VERSION, "velstat"))

    def test_packing_again_gives_the_same_bytes(self):
        again = pack(CPACK, BUILD, self.folder / "elsewhere/again", umask=0o077, TZ="VEL-05:30", LC_ALL="C")
        self.assertEqual(list(again), NAMES)
        for name in NAMES:
            self.assertTrue(filecmp.cmp(self.packages[name], again[name], shallow=False), f"{name} differs")

    def test_everything_has_the_date_of_the_commit(self):
        date = int(run("git", "-C", SOURCE, "log", "-1", "--format=%ct"))
        for package in self.packages.values():
            for which in ("--fsys-tarfile", "--ctrl-tarfile"):
                for path, member in members(package, which).items():
                    self.assertEqual((path, member.mtime), (path, date))
        page = self.read(self.packages["velstat"], "usr/share/man/man1/velstat.1.gz")
        self.assertIn(time.strftime(' "%Y-%m-%d" ', time.gmtime(date)).encode(), page.splitlines()[0])

    def test_lintian_finds_nothing(self):
        done = subprocess.run(["lintian", "--allow-root", "--fail-on", "error,warning",
                               *self.packages.values()], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.assertEqual((done.stdout, done.returncode), ("", 0), done.stderr)

    def test_each_installed_file_is_in_one_package(self):
        run(CMAKE, "--install", BUILD, "--prefix", self.folder / "prefix")
        installed = {str(path.relative_to(self.folder / "prefix"))
                     for path in (self.folder / "prefix").rglob("*") if path.is_symlink() or not path.is_dir()}
        self.assertGreater(len(installed), 40)
        manuals = {path for path in installed if path.startswith("share/man/")}
        installed = installed - manuals | {f"{path}.gz" for path in manuals}
        added = {f"share/doc/{name}/{file}" for name in NAMES for file in ("copyright", "changelog.gz")}
        packed = [path.removeprefix("usr/") for name in NAMES for path in self.files(name)]
        self.assertEqual(sorted(packed), sorted(installed | added))

    def test_where_what_is(self):
        library = f"usr/{LIBRARIES}"
        for name, path in (
                ("velstat", "usr/bin/velstat"),
                ("velstat", f"{library}/velstat/TavikVELHIDStatistics.plugin/TavikVELHIDStatistics"),
                ("velstat", "usr/share/velstat/models/default.json"),
                ("velstat", "usr/share/velstat/lnav/velstat_log.json"),
                ("velstat", "usr/share/doc/velstat/docs/install.md"),
                ("velstat", "usr/share/bash-completion/completions/velstat"),
                ("velstat", "usr/share/zsh/vendor-completions/_velstat"),
                ("velstat", "usr/share/fish/vendor_completions.d/velstat.fish"),
                ("velstat", "usr/share/man/man1/velstat-decode.1.gz"),
                ("velstat", "usr/share/man/man5/velstat-device-model.5.gz"),
                ("velstat", "usr/share/man/man7/velstat-sources.7.gz"),
                ("libvelprofile-dev", "usr/share/man/man3/vel_profile_render.3.gz"),
                ("libvelprofile1", f"{library}/libvelprofile.so.1"),
                ("libvelprofile1", f"{library}/libvelprofile.so.{VERSION}"),
                ("libvelprofile1", f"{library}/velstat/libvelplatform.so"),
                ("libvelprofile-dev", f"{library}/libvelprofile.so"),
                ("libvelprofile-dev", f"{library}/pkgconfig/velprofile.pc"),
                ("libvelprofile-dev", f"{library}/cmake/velprofile/velprofileConfig.cmake"),
                ("libvelprofile-dev", "usr/include/profile/velprofile.h"),
                ("libvelprofile-dev", "usr/include/profile/profile_description.h"),
                ("python3-velprofile", "usr/lib/python3/dist-packages/velprofile/__init__.py"),
                ("python3-velprofile", "usr/lib/python3/dist-packages/velprofile/py.typed")):
            self.assertIn(path, self.files(name))
        self.assertRegex(LIBRARIES, r"\Alib/[^/]+-linux-gnu\Z")

    def test_files_belong_to_root_and_only_programs_are_executable(self):
        executable = set()
        for name, package in self.packages.items():
            for path, member in members(package).items():
                self.assertEqual((path, member.uid, member.gid, member.uname), (path, 0, 0, "root"))
                if member.isfile() and member.mode != 0o644:
                    executable.add((path, oct(member.mode)))
                if member.isdir():
                    self.assertEqual((path, oct(member.mode)), (path, "0o755"))
        self.assertEqual(executable, {("usr/bin/velstat", "0o755")})

    def test_dependencies(self):
        ours = f"libvelprofile1 (= {VERSION})"
        for name, other in (("velstat", ours), ("libvelprofile-dev", ours), ("python3-velprofile", ours),
                            ("python3-velprofile", f"velstat (= {VERSION})"),
                            ("python3-velprofile", "python3 (>= 3.11)")):
            self.assertIn(other, field(self.packages[name], "Depends").split(", "))
        for name, library in (("velstat", "libplist3"), ("velstat", "libsqlite3-0"), ("velstat", "libc6"),
                              ("libvelprofile1", "libblocksruntime0"), ("libvelprofile1", "libstdc++6")):
            self.assertRegex(field(self.packages[name], "Depends"), rf"(^|, ){re.escape(library)}\b")
        for name, value in (("libvelprofile1", "same"), ("libvelprofile-dev", "same"), ("velstat", "foreign")):
            self.assertEqual(field(self.packages[name], "Multi-Arch"), value)

    def test_another_version_is_that_of_all(self):
        older = packed(pathlib.Path(PACKED, "older"))
        self.assertEqual(list(older), NAMES)
        for package in older.values():
            self.assertEqual(field(package, "Version"), OLDER)
            self.assertNotIn(f"(= {VERSION})", field(package, "Depends"))
        self.assertIn(f"libvelprofile1 (= {OLDER})", field(older["velstat"], "Depends"))
        self.assertIn(f"velstat ({OLDER}) ".encode(), self.read(older["velstat"], "usr/share/doc/velstat/changelog.gz"))

    def read(self, package, path):
        with tarfile.open(fileobj=io.BytesIO(run("dpkg-deb", "--fsys-tarfile", package))) as archive:
            content = archive.extractfile("./" + path).read()
        return gzip.decompress(content) if path.endswith(".gz") else content

    def test_library_has_a_version_for_others(self):
        library = self.root / "usr" / LIBRARIES / "libvelprofile.so.1"
        shown = run("readelf", "-W", "-d", "-V", library).decode()
        self.assertIn("Library soname: [libvelprofile.so.1]", shown)
        for version in ("VELPROFILE_1.0", "VELPROFILE_1.1"):
            self.assertIn(f"Name: {version}", shown)
        control = self.folder / "control"
        run("dpkg-deb", "--control", self.packages["libvelprofile1"], control)
        self.assertEqual((control / "shlibs").read_text(), f"libvelprofile 1 libvelprofile1 (>= {VERSION})\n")
        self.assertEqual((control / "triggers").read_text(), "activate-noawait ldconfig\n")
        self.assertFalse((control / "postinst").exists())

    def test_sums_are_those_of_the_files(self):
        for name, package in self.packages.items():
            control = self.folder / f"sums-of-{name}"
            run("dpkg-deb", "--control", package, control)
            sums = (control / "md5sums").read_text()
            run("md5sum", "--check", "--strict", "--quiet", input=sums.encode(), cwd=self.root)
            regular = [path for path, member in members(package).items() if member.isfile()]
            self.assertEqual(sorted(line.split("  ")[1] for line in sums.splitlines()), sorted(regular))

    def test_binaries_are_stripped_and_name_no_folder_of_this_machine(self):
        binaries = [path for path in self.root.rglob("*")
                    if path.is_file() and not path.is_symlink() and path.read_bytes()[:4] == b"\x7fELF"]
        self.assertEqual(len(binaries), 4)
        for path in binaries:
            self.assertNotRegex(run("readelf", "-W", "-S", path).decode(), r" \.(symtab|debug_info) ")
            for place in (SOURCE, BUILD, str(self.folder)):
                self.assertNotIn(place.encode(), path.read_bytes(), f"{path} names {place}")
        done = subprocess.run([sys.executable, HARDENING, BUILD_TYPE, self.root], stdout=subprocess.PIPE, text=True)
        self.assertEqual(done.returncode, 0, done.stdout)

    def test_programs_are_built_with_the_development_files(self):
        usr = self.root / "usr"
        records = run(usr / "bin/velstat", "generate", "records", "--seed", "5", "--count", "100")
        expected = run(usr / "bin/velstat", "decode", "-", "--format", "text", input=records)
        build = self.folder / "consumer"
        run(CMAKE, "-S", CONSUMER, "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={usr}",
            f"-DCMAKE_C_COMPILER={C_COMPILER}", f"-DCMAKE_CXX_COMPILER={CXX_COMPILER}")
        run(CMAKE, "--build", build)
        self.assertEqual(run(build / "consumer", input=records), expected)
        compile_with_pkg_config(self.root, CONSUMER / "description.cpp", CXX_COMPILER, "velplatform", build / "second")
        paths = run("readelf", "-W", "-d", build / "second").decode()
        self.assertIn(f"[/usr/{LIBRARIES}/velstat]", paths)
        self.assertNotIn(str(self.root), paths)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
