"""The Python in docs/python.md runs, on a capture and on raw records: document_test.py DOCUMENT"""

import contextlib
import io
import os
import re
import sys
import unittest

import sample

with open(sys.argv[1]) as page:
    PROGRAMS = re.findall(r"^```python\n(.*?)^```$", page.read(), flags=re.M | re.S)


class Document(sample.InFolder):
    def test_programs_print_records_and_counts(self):
        sample.velstat("capture", "--out", self.folder / "snapshot")
        self.file("records.bin", sample.velstat("generate", "records", "--count", "1000"))
        os.chdir(self.folder)
        expected = [r"\d+ \[\('zorb-status-event', \{'status-timestamp': .*\nzorb \d+\n", r"\[.*'trace', 'thread', 'arg1'"]
        self.assertEqual(len(PROGRAMS), len(expected))
        for program, shown in zip(PROGRAMS, expected):
            with contextlib.redirect_stdout(io.StringIO()) as out:
                exec(program, {})
            self.assertRegex(out.getvalue(), re.compile(shown, re.S))


unittest.main(argv=sys.argv[:1])
