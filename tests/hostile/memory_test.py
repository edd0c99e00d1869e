"""velstat with little memory (ulimit -v): one line says so, and nothing half-written is left."""

import resource
import signal
import subprocess
import unittest

from command import ENVIRONMENT, VELSTAT, binary
from write_out import WriteOut


class Memory(WriteOut):
    def test_memory_is_refused(self):
        """However little there is, from where the loader has enough for the program."""
        folder = self.parent.parent
        records = folder / "records.bin"
        with open(records, "wb") as file:
            subprocess.run([VELSTAT, "generate", "records", "--count", "20000"], stdout=file, check=True)
        large = folder / "large.plist"
        large.write_bytes(binary(list(range(100_000))))
        for arguments in (["capture", "--out", self.out], ["decode", records],
                          ["decode", "--jobs", "4", records], ["show", large], ["diff", large, large]):
            refused = 0
            for size in range(12_000_000, 52_000_000, 500_000):
                with self.subTest(arguments=arguments[:2], size=size):
                    done = subprocess.run([VELSTAT, *arguments], env=ENVIRONMENT, stdout=subprocess.DEVNULL,
                                          stderr=subprocess.PIPE, text=True, timeout=60,
                                          preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (size, size)))
                    if done.returncode == 127:
                        self.assertRegex(done.stderr, "error while loading shared libraries|cannot allocate TLS data")
                    elif done.returncode == 0:
                        self.assertEqual(done.stderr, "")
                    elif done.returncode == -signal.SIGABRT:
                        # Those functions have no way to tell their caller, nor has work on the session's queue, for which no
                        # caller waits. Before main, the C++ library may lack the memory for its first exception.
                        self.assertRegex(done.stderr, r"\A((CF\w+|session): out of memory[^\n]*|"
                                         r"terminate called without an active exception)\n\Z")
                    else:
                        self.assertEqual(done.returncode, 2 if arguments[0] == "diff" else 1)
                        self.assertRegex(done.stderr, r"\Avelstat: [^\n]+\n\Z")
                        refused += 1
                    if done.returncode != 0:
                        self.assertEqual(self.names(), [])
                    self.clear()
            self.assertGreater(refused, 0, arguments)


if __name__ == "__main__":
    unittest.main()
