"""The reader of binary property lists against Python's: random lists, whole and damaged, from a fixed seed.

Whole lists must be read the same. Of damaged ones, what velstat reads Python must read the same; velstat may refuse
more (duplicate keys, cycles, trees that are too deep)."""

import datetime
import json
import math
import plistlib
import random
import tempfile
import unittest
from pathlib import Path

from command import run


def random_value(source, levels):
    kind = source.randrange(8 if levels == 0 else 11)
    if kind < 2:
        return source.choice([1, -1]) * source.getrandbits(source.randrange(64))
    if kind == 2:
        return 2**63 + source.getrandbits(63)
    if kind == 3:
        return source.choice([0.0, -0.5, 1e300, 5e-324, source.gauss(0, 1e6)])
    if kind == 4:
        return source.random() < 0.5
    if kind == 5:
        return "".join(source.choice("ab/*\n\u00e9\u20ac\U0001f600") for _ in range(source.randrange(30)))
    if kind == 6:
        return source.randbytes(source.randrange(30))
    if kind == 7:
        return source.choice([plistlib.UID(source.getrandbits(32)),
                              datetime.datetime(1970, 1, 1) + datetime.timedelta(seconds=source.getrandbits(32))])
    count = source.randrange(6)
    if kind == 8:
        return [random_value(source, levels - 1) for _ in range(count)]
    return {f"{i}{random_value(source, 0)!r}": random_value(source, levels - 1) for i in range(count)}


def as_shown(value):
    """The value as velstat puts it into JSON."""
    if isinstance(value, dict):
        return {key: as_shown(item) for key, item in value.items()}
    if isinstance(value, list):
        return [as_shown(item) for item in value]
    if value is None:
        return {"$null": True}
    if isinstance(value, bytes):
        return {"$data": value.hex()}
    if isinstance(value, plistlib.UID):
        return {"$uid": as_shown(value.data)}
    if isinstance(value, datetime.datetime):
        text = value.isoformat()
        return {"$date": text + "Z"}
    if isinstance(value, float) and not math.isfinite(value):
        return {"$real": None}
    if isinstance(value, int) and not isinstance(value, bool) and not -2**63 <= value < 2**63:
        return {"$integer": str(value)}
    return value


def equal(ours, theirs):
    if isinstance(theirs, dict) and "$real" in theirs:
        return ours is None
    if isinstance(theirs, dict) and isinstance(ours, dict):
        return list(ours) == list(theirs) and all(equal(ours[key], theirs[key]) for key in ours)
    if isinstance(theirs, list) and isinstance(ours, list):
        return len(ours) == len(theirs) and all(map(equal, ours, theirs))
    return ours == theirs and type(ours) is type(theirs)


class Differential(unittest.TestCase):
    def show(self, lists):
        """What velstat reads of each list, or None where it refuses."""
        with tempfile.TemporaryDirectory() as folder:
            for i, content in enumerate(lists):
                Path(folder, str(i)).write_bytes(content)
            status, out, errors = run("show", "--format", "json", *map(str, range(len(lists))), cwd=folder)
        shown = {int(file["file"]): file["value"] for file in json.loads(out)}
        self.assertEqual(errors.count("\n"), len(lists) - len(shown), "each list is shown or has its line")
        self.assertEqual(status, 0 if len(shown) == len(lists) else 1)
        return [(i in shown, shown.get(i)) for i in range(len(lists))]

    def test_whole_lists_are_read_the_same(self):
        source = random.Random(7)
        values = [random_value(source, 4) for _ in range(400)]
        lists = [plistlib.dumps(value, fmt=plistlib.FMT_BINARY, sort_keys=False) for value in values]
        for value, content, (read, shown) in zip(values, lists, self.show(lists)):
            self.assertTrue(read, content)
            self.assertTrue(equal(shown, as_shown(plistlib.loads(content))), (value, shown))

    def test_damaged_lists_are_refused_or_read_the_same(self):
        source = random.Random(11)
        lists = []
        for _ in range(3000):
            value = {"k": random_value(source, 3), "l": [random_value(source, 2)]}
            content = bytearray(plistlib.dumps(value, fmt=plistlib.FMT_BINARY))
            for _ in range(source.randrange(1, 4)):
                content[source.randrange(8, len(content))] ^= 1 << source.randrange(8)
            lists.append(bytes(content))
        both = 0
        for content, (read, shown) in zip(lists, self.show(lists)):
            if not read or "$set" in json.dumps(shown) or "$date" in json.dumps(shown):
                continue  # Python knows no sets, and not the dates that bits turned over make
            with self.subTest(content):
                self.assertTrue(equal(shown, as_shown(plistlib.loads(content))), shown)
                both += 1
        self.assertGreater(both, 300)


if __name__ == "__main__":
    unittest.main()
