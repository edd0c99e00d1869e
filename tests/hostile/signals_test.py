"""velstat capture --out, ended by a signal at every one of its system calls: the folder is whole, or nothing is left."""

import os
import plistlib
import signal
import subprocess
import sys
import unittest

import tracing
from command import ENVIRONMENT, VELSTAT
from write_out import WriteOut

CRASHES, HANGS = sys.argv[1:3]
SESSION_FILTER = "7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719"
FACTORY = "01020304-0506-0708-090A-0B0C0D0E0F10"


class Signals(WriteOut):
    def whole_after(self, call, number):
        """Removing and renaming take long, so that other threads can get in between."""
        self.clear()
        process = tracing.start_stopped(call, *self.arguments(), delayed=("unlink", "unlinkat", "rmdir", "rename"))
        os.kill(process.pid, number)
        status, error = tracing.go_on(process)
        whole = self.require_all_or_nothing()
        # At the very end it may be over before another of its threads has received the signal.
        self.assertIn((status, error), [(-number, ""), *([(0, "")] if whole else [])])
        return whole

    def test_folder_is_whole_or_absent_after_a_signal_at_any_call(self):
        ends = set()
        for call in self.calls():
            with self.subTest(call.text):
                ends.add(self.whole_after(call, signal.SIGTERM))
        self.assertEqual(ends, {True, False})

    def test_every_signal_that_asks_to_end_is_awaited(self):
        call = next(call for call in self.calls() if "manifest.json" in call.text)
        for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM, signal.SIGUSR1, signal.SIGUSR2,
                       signal.SIGALRM, signal.SIGXCPU):
            with self.subTest(number):
                self.whole_after(call, number)

    def test_ignored_signal_stays_ignored(self):
        call = self.calls()[1]
        process = tracing.start_stopped(call, *self.arguments(),
                                        preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        os.kill(process.pid, signal.SIGHUP)
        self.assertEqual(tracing.go_on(process), (0, ""))
        self.assertTrue(self.require_all_or_nothing())

    def start_with_plug_in(self, executable):
        bundle = self.parent.parent / "test.plugin"
        bundle.mkdir()
        (bundle / "PlugIn").symlink_to(executable)
        (bundle / "Info.plist").write_bytes(plistlib.dumps({
            "CFBundleExecutable": "PlugIn", "CFPlugInTypes": {SESSION_FILTER: [FACTORY]},
            "CFPlugInFactories": {FACTORY: "TestPlugInFactory"}}))
        return subprocess.Popen([VELSTAT, *self.arguments(), "--plugin", bundle], env=ENVIRONMENT, text=True,
                                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)

    def test_plug_in_that_hangs_can_be_interrupted(self):
        process = self.start_with_plug_in(HANGS)
        self.assertEqual(process.stderr.readline(), "hanging\n")
        process.send_signal(signal.SIGTERM)
        self.assertEqual((process.communicate(timeout=60)[1], process.returncode), ("", -signal.SIGTERM))
        self.assertEqual(self.names(), [])

    def test_plug_in_that_crashes_leaves_nothing(self):
        process = self.start_with_plug_in(CRASHES)
        self.assertEqual((process.communicate(timeout=60)[1], process.returncode), ("", -signal.SIGABRT))
        self.assertEqual(self.names(), [])

    def test_no_place_for_temporary_files_is_needed(self):
        done = subprocess.run([VELSTAT, "capture"], capture_output=True, env={**ENVIRONMENT, "TMPDIR": "/no/such"})
        self.assertEqual((done.returncode, done.stderr), (0, b""))


if __name__ == "__main__":
    tracing.require()
    unittest.main(argv=sys.argv[:1])
