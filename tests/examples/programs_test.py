"""The example programs: programs_test.py DECODE_FILE CUSTOM_DECODER"""

import os
import struct
import subprocess
import sys
import tempfile
import unittest

DECODE_FILE, CUSTOM_DECODER = sys.argv[1:3]
VELSTAT = os.environ["VELSTAT"]


def run(*command, stdin=b""):
    return subprocess.run(command, input=stdin, capture_output=True, timeout=60)


class Programs(unittest.TestCase):
    def test_decode_file_prints_what_velstat_does(self):
        records = run(VELSTAT, "generate", "records", "--seed", "8", "--count", "1000").stdout
        with tempfile.NamedTemporaryFile() as file:
            file.write(records)
            file.flush()
            done = run(DECODE_FILE, file.name)
        self.assertEqual(done.returncode, 0)
        self.assertEqual(done.stdout.count(b"'binary-data'"), 1000)
        self.assertEqual(done.stdout, run(VELSTAT, "decode", "-", stdin=records).stdout)

    def test_decode_file_says_what_is_wrong(self):
        self.assertEqual(run(DECODE_FILE).returncode, 2)
        missing = run(DECODE_FILE, "missing.bin")
        self.assertEqual((missing.returncode, missing.stdout), (1, b""))
        self.assertEqual(missing.stderr, b"missing.bin: No such file or directory\n")

    def test_custom_decoder_names_its_category_and_leaves_the_others(self):
        sample = struct.pack("<BBBBIQi28x", 3, 0, 0, 10, 1, 500, 2150)
        limit = struct.pack("<BBBBIQI28x", 4, 1, 0, 10, 2, 600, 9)
        fan = struct.pack("<BBBBIQ32x", 0, 1, 1, 10, 3, 700)
        other = struct.pack("<BBBBIQ32x", 0, 0, 2, 2, 4, 800)
        lines = run(CUSTOM_DECODER, stdin=sample + limit + fan + other).stdout.decode().splitlines()
        heads = [
            "{  'category':'thermal', 'component':  'zone', 'event':    'sample', 'type':     'event',"
            " 'timestamp':       500, 'sequence_num':         1, 'temperature':      21.5, 'type-id':3, 'category-id':10,",
            "{  'category':'thermal', 'component':  'zone', 'event':     'limit', 'type':   'trigger',"
            " 'timestamp':       600, 'sequence_num':         2, 'trigger':1, 'thread-id':         0,",
            "{  'category':'thermal', 'component':   'fan', 'event':         '1', 'type':      'stop',"
            " 'timestamp':       700, 'sequence_num':         3, 'type-id':0,",
            "{  'category':'sensors', 'component':'compass', 'event':   'latency',",
        ]
        self.assertEqual(len(lines), len(heads))
        for line, head in zip(lines, heads):
            self.assertEqual(line[:len(head)], head)


unittest.main(argv=sys.argv[:1])
