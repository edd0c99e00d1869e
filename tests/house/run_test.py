"""./run builds, quietly unless it is on a terminal, and captures.

usage: run_test.py ROOT
The build itself is replaced by a script that notes how it is called."""

import os
import pty
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(sys.argv.pop(1))
CMAKE = """#!/bin/sh
echo "$*" >> calls
case "$*" in
  *-n) echo '[0/2] Re-checking globbed directories...'; [ ! -f built ] || echo 'ninja: no work to do.' ;;
  --build*) [ -t 1 ] && where=terminal || where=file; echo "progress on a $where"; [ ! -f broken ] || exit 3; touch built ;;
  *) echo configured; [ ! -f unconfigurable ] || exit 4 ;;
esac
"""
VELSTAT = '#!/bin/sh\necho "velstat $*, $PWD"\n'


class Run(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name).resolve()
        shutil.copy(ROOT / "run", self.root / "run")
        self.script("cmake/install-packages.sh", "#!/bin/sh\n")
        self.script("tools/cmake", CMAKE)
        self.script("build/release/bin/velstat", VELSTAT)
        (self.root / "elsewhere").mkdir()

    def script(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        path.chmod(path.stat().st_mode | stat.S_IXUSR)

    def start(self, *arguments, **streams):
        return subprocess.Popen([self.root / "run", *arguments], cwd=self.root / "elsewhere", stdout=subprocess.PIPE,
                                env={**os.environ, "PATH": f"{self.root / 'tools'}:{os.environ['PATH']}"}, **streams)

    def in_a_pipe(self, *arguments):
        process = self.start(*arguments, stderr=subprocess.PIPE)
        out, errors = process.communicate(timeout=60)
        return process.returncode, out.decode(), errors.decode()

    def on_a_terminal(self, *arguments):
        leader, follower = pty.openpty()
        process = self.start(*arguments, stderr=follower)
        os.close(follower)
        errors = b""
        try:
            while block := os.read(leader, 4096):
                errors += block
        except OSError:  # how a terminal without writers ends
            pass
        os.close(leader)
        out = process.communicate(timeout=60)[0]
        return process.returncode, out.decode(), errors.decode().replace("\r\n", "\n")

    def shown(self, *arguments):
        return f"{' '.join(['velstat capture', *arguments])}, {self.root / 'elsewhere'}\n"

    def test_a_pipe_gets_nothing_of_the_build(self):
        self.assertEqual(self.in_a_pipe("--api", "2"), (0, self.shown("--api", "2"), ""))
        self.assertEqual((self.root / "build/run.log").read_text(), "configured\nprogress on a file\n")

    def test_a_terminal_sees_the_progress_and_output_stays_clean(self):
        self.assertEqual(self.on_a_terminal("--all"), (0, self.shown("--all"), "progress on a terminal\n"))

    def test_a_terminal_sees_nothing_if_all_is_built(self):
        (self.root / "built").touch()
        self.assertEqual(self.on_a_terminal(), (0, self.shown(), ""))
        self.assertNotIn("--build --preset release\n", (self.root / "calls").read_text())

    def test_the_first_time_says_where_the_log_is(self):
        (self.root / "build/release/bin/velstat").unlink()
        self.assertEqual(self.in_a_pipe()[2].splitlines()[0], "building; the log is build/run.log")
        (self.root / "built").unlink()
        self.assertEqual(self.on_a_terminal()[2].splitlines()[0], "progress on a terminal")

    def test_a_failed_build_shows_its_log_and_captures_nothing(self):
        (self.root / "broken").touch()
        self.assertEqual(self.in_a_pipe(), (1, "", "configured\nprogress on a file\n"))
        self.assertEqual(self.on_a_terminal(), (1, "", "progress on a terminal\n"))
        (self.root / "unconfigurable").touch()
        for run in (self.in_a_pipe, self.on_a_terminal):
            self.assertEqual(run(), (1, "", "configured\n"))


if __name__ == "__main__":
    unittest.main()
