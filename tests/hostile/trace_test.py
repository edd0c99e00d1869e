"""Records that nobody's firmware writes, on a timeline: it stays valid, in constant memory, and at most 64 times the size
of its input."""

import itertools
import random
import struct
import sys
import unittest

from measured import Bounded

sys.path.append(sys.argv.pop())
from viewer import Trace  # noqa: E402

EXECUTION, ZORB = 0, 7
FUNCTION, EXTENDED, EVENT = 5, 9, 3
LATENCY = 3


def record(kind, category, component, event, time, number, payload):
    return struct.pack("<BBBBIQ32s", kind, event, component, category, number & 0xffffffff, time, payload)


def call(number, time, duration, thread=7, depth=0):
    return record(FUNCTION, EXECUTION, 1, 0, time, number, struct.pack("<6I", 1, 0, thread, duration, depth, duration))


def named_call(number, time, name, duration=1):
    return record(EXTENDED, EXECUTION, 4, 0, time, number, struct.pack("<4I16s", 0, 7, duration, 0, name))


def checkpoint(number, time, which):
    return record(EVENT, ZORB, LATENCY, which, time, number, struct.pack("<II", which, 7))


def switch(number, time, before, after):
    return record(EVENT, EXECUTION, 0, 0, time, number, struct.pack("<II", before, after))


class Timelines(Bounded):
    def trace(self, records):
        content = b"".join(records)
        (self.folder / "records").write_bytes(content)
        run = self.measure("trace", "--no-findings", "records", "-o", "-", size=max(len(content), 4096), keep=1 << 30)
        self.assertEqual((run.status, run.errors), (0, ""))
        return Trace(run.output)

    def test_names_with_escapes(self):
        names = [bytes([byte]) * 15 for byte in range(1, 256)] + [b'","ph":"B', b"\\", b'"', b"</script>", b""]
        made = self.trace(named_call(i, 1000 + i * 10, name) for i, name in enumerate(names))
        shown = [each["name"] for each in made.of("X")]
        self.assertEqual(shown, [name.decode("latin-1") or "(no name)" for name in names])

    def test_times_that_go_back(self):
        chance = random.Random(1)
        for step in 10, 100_000, 10_000_000:
            with self.subTest(step):
                now, records = 1 << 40, []
                for i in range(2000):
                    now += chance.randrange(-step, step)
                    records.append(chance.choice((call(i, now, chance.randrange(2 * step)),
                                                  checkpoint(i, now, chance.randrange(8)),
                                                  switch(i, now, chance.randrange(3), chance.randrange(3)))))
                made = self.trace(records)
                self.assertEqual(made.other["times beyond the axis"], 0)

    def test_times_at_both_ends_of_the_clock(self):
        times = [0, 1, (1 << 53) - 1, 1 << 53, (1 << 64) - 1, 0, 5, (1 << 63)]
        made = self.trace(itertools.chain.from_iterable(
            (call(4 * i, time, 0xffffffff), checkpoint(4 * i + 1, time, i), switch(4 * i + 2, time, 1, 2))
            for i, time in enumerate(times)))
        self.assertGreater(made.other["times beyond the axis"], 0)

    def test_begins_and_ends_that_do_not_match(self):
        for which in range(8):
            with self.subTest(which):
                self.trace(checkpoint(i, 1000 + i, which) for i in range(500))
        self.trace(checkpoint(i, 1000 + i, which) for i, which in enumerate(
            itertools.chain.from_iterable(itertools.permutations(range(8), 4))))
        made = self.trace(switch(i, 1000 + 10 * i, i, i) for i in range(100))
        self.assertEqual({each["name"] for each in made.of("X")}, {"running: its end is not recorded"})

    def test_a_million_calls_in_each_other(self):
        content = b"".join(call(i, 2_000_000, i, depth=0xffffffff - i) for i in range(1_000_000))
        (self.folder / "records").write_bytes(content)
        run = self.measure("trace", "--no-findings", "records", "-o", "trace.json", size=len(content))
        self.assertEqual((run.status, run.errors), (0, ""))
        self.assertLess((self.folder / "trace.json").stat().st_size, 64 * len(content))
        made = self.trace(call(i, 2_000_000, i, depth=0xffffffff - i) for i in range(1000))
        self.assertEqual([each["dur"] for each in made.of("X")], list(range(1000)))

    def test_threads_without_number(self):
        content = b"".join(call(i, 1000 + i, 1, thread=i * 2654435761 & 0xffffffff) + switch(i, 1000 + i, i, i * 20011)
                           for i in range(200_000))
        (self.folder / "records").write_bytes(content)
        run = self.measure("trace", "--no-findings", "records", "-o", "trace.json", size=len(content))
        self.assertEqual((run.status, run.errors), (0, ""))
        self.assertLess((self.folder / "trace.json").stat().st_size, 64 * len(content))

    def test_a_restart_with_every_record(self):
        made = self.trace(checkpoint((i % 2) << 20, (i % 2) * 10_000_000, i % 8) for i in range(3000))
        self.assertGreater(sum(each["name"] == "restart" for each in made.of("i")), 1000)


if __name__ == "__main__":
    unittest.main()
