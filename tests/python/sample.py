"""Records for the tests: every layout, with random payloads, and what velstat says about them."""

import json
import os
import pathlib
import random
import struct
import subprocess
import tempfile
import unittest

VELSTAT = os.environ["VELSTAT"]

# A layout, and the category, component, event and type of a record that shows it; for contexts the version too.
HEADS = {
    "long-data": (6, 0, 4, 1, None),
    "short-data": (7, 0, 9, 2, None),
    "event": (1, 1, 0, 3, None),
    "trigger": (9, 0, 0, 4, None),
    "function": (0, 1, 0, 5, None),
    "sensorinfo": (2, 0, 9, 8, None),
    "extfunction": (0, 4, 0, 9, None),
    "annotation": (2, 1, 10, 11, None),
    "decimationinfo": (2, 2, 0, 12, None),
    "corvane": (4, 0, 0, 3, None),
    "zorb-event": (7, 1, 0, 3, None),
    "zorb-input-packet": (7, 0, 2, 2, None),
    "zorb-status-event": (7, 0, 3, 2, None),
    "zorb-context-3": (7, 0, 1, 10, 3),
    "zorb-context-4": (7, 1, 1, 10, 4),
    "zorb-context-5": (7, 0, 1, 10, 5),
    "zorb-context-7": (7, 1, 1, 10, 7),
}


def every_layout(each=40, seed=1):
    """Records of each layout in a random order. Payloads are random, with small numbers and NULs among them."""
    chance = random.Random(seed)
    records = []
    for number, (category, component, event, kind, version) in enumerate(list(HEADS.values()) * each):
        payload = bytearray(chance.randbytes(32))
        for at in chance.sample(range(32), chance.randrange(24)):
            payload[at] = chance.choice([0, 0, 1, 7, 65])
        if chance.random() < 0.5:
            payload[0:4] = struct.pack("<I", chance.randrange(240))  # an action; the length of a slice follows
            payload[4:6] = struct.pack("<H", chance.choice([chance.randrange(40), 256]))
        if version is not None:
            payload[0:2] = struct.pack("<H", version)
        records.append(struct.pack("<BBBBIQ", kind, event, component, category, number, chance.getrandbits(64)) + payload)
    chance.shuffle(records)
    return b"".join(records)


def velstat(*arguments, stdin=b""):
    return subprocess.run([VELSTAT, *map(str, arguments)], input=stdin, check=True, capture_output=True).stdout


def as_json(records):
    return [json.loads(line) for line in velstat("decode", "--format", "json", "-", stdin=records).splitlines()]


class InFolder(unittest.TestCase):
    """A test with a folder of its own."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content)
        return path
