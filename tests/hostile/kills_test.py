"""velstat, killed by SIGKILL: what it leaves is removed by the next run, but nothing that a living process writes."""

import struct
import unittest

import tracing
from command import run
from write_out import VARYING, WriteOut

ENTRY = struct.pack("<BBBi", 0x30, 3, 0, 5)


class Kills(WriteOut):
    def killed(self, call, *arguments):
        process = tracing.start(call, "signal=SIGKILL", *arguments)
        self.assertEqual((process.communicate(timeout=60)[1], process.returncode), ("", -9))

    def test_next_capture_removes_what_a_killed_one_left(self):
        left = 0
        for call in self.calls():
            with self.subTest(call.text):
                self.clear()
                self.killed(call, *self.arguments())
                left += any(name != "out" for name in self.names())
                if self.out.exists():
                    self.require_whole(self.out)
                    self.out.rename(self.parent / "first")
                self.assertEqual(run(*self.arguments())[0], 0)
                self.require_whole(self.out)
                self.assertEqual(set(self.names()) - {"first"}, {"out"})
        self.assertGreater(left, 10)

    def test_next_publish_removes_what_a_killed_one_left(self):
        entries = self.parent.parent / "entries.bin"
        entries.write_bytes(ENTRY)
        store = self.parent / "tally.sqlite"
        arguments = ["publish", "--tally", str(store), str(entries)]
        found = tracing.calls(*arguments)
        last = max(i for i, call in enumerate(found) if call.name.startswith("rename"))
        first = next(i for i, call in enumerate(found) if str(self.parent) in call.text and "O_CREAT" in call.text)
        calls = {call.name: call for call in found[first:last] if call.name not in VARYING}  # SQLite makes hundreds
        left = 0
        for call in calls.values():
            with self.subTest(call.text):
                self.clear()
                self.killed(call, *arguments)
                self.assertFalse(store.exists())
                left += bool(self.names())
                self.assertEqual(run(*arguments)[0], 0)
                self.assertEqual(self.names(), ["tally.sqlite"])
        self.assertGreater(left, 10)

    def test_what_a_living_one_writes_is_left_alone(self):
        locked = False  # before that nothing tells that it is not abandoned, and it makes another folder
        for call in self.calls()[:24]:  # the others are like the last of these
            with self.subTest(call.text):
                self.clear()
                process = tracing.start_stopped(call, *self.arguments())
                before = [name for name in self.names() if name != "out"]
                other = run(*self.arguments(self.parent / "other"))
                between = self.names()
                self.assertEqual(tracing.go_on(process), (0, ""))
                self.assertEqual(other, (0, other[1], ""))
                if locked:
                    self.assertLessEqual(set(before), set(between))
                locked = locked or call.name == "flock"
                self.require_whole(self.out)
                self.require_whole(self.parent / "other")
                self.assertEqual(self.names(), ["other", "out"])

    def test_other_folders_are_not_mistaken_for_what_was_left(self):
        for name in ("out.new-1", ".vel", "out.abcdef", ".vel-news"):
            (self.parent / name).mkdir()
        (self.parent / ".vel-new-1.0").write_text("a file")
        (self.parent / ".vel-new-2.0").symlink_to("out.abcdef")
        before = self.names()
        self.assertEqual(run(*self.arguments())[0], 0)
        self.assertEqual(self.names(), sorted([*before, "out"]))


if __name__ == "__main__":
    tracing.require()
    unittest.main()
