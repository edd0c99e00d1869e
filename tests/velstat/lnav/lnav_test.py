"""lnav with the format that ships: it knows the lines of decode --format json, and answers SQL over them."""

import collections
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

from command import VELSTAT, run

FORMAT = pathlib.Path(sys.argv.pop())


class Lnav(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.folder = pathlib.Path(temporary.name)
        cls.environment = {**os.environ, "HOME": str(cls.folder), "TZ": "UTC"}
        cls.environment.pop("XDG_CONFIG_HOME", None)
        cls.lnav("-i", str(FORMAT))  # as the page tells users
        records = subprocess.run([VELSTAT, "generate", "records", "--seed", "5", "--count", "3000"], check=True,
                                 capture_output=True).stdout
        (cls.folder / "records").write_bytes(records)
        cls.log = cls.folder / "records.jsonl"
        cls.log.write_text(run("decode", "--format", "json", str(cls.folder / "records"))[1])
        cls.lines = [json.loads(line) for line in cls.log.read_text().splitlines()]

    @classmethod
    def lnav(cls, *arguments):
        done = subprocess.run(["lnav", *arguments], cwd=cls.folder, env=cls.environment, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=120)
        if done.returncode != 0 or "error" in done.stderr or "warning" in done.stderr:
            raise AssertionError(done.stdout + done.stderr)
        return done.stdout

    def ask(self, sql):
        return json.loads(self.lnav("-n", "-c", f";{sql}", "-c", ":write-json-to -", str(self.log)))

    def test_the_format_is_valid(self):
        self.lnav("-C")

    def test_every_line_is_a_message_with_its_fields(self):
        counted = {(row["category"], row["component"], row["event"], row["type"]): row["n"] for row in self.ask(
            "SELECT category, component, event, type, count(*) AS n FROM velstat_log GROUP BY 1, 2, 3, 4")}
        self.assertEqual(counted, collections.Counter(
            (line["category"], line["component"], line["event"], line["type"]) for line in self.lines))

    def test_times_are_the_clock_s_to_the_millisecond(self):
        rows = self.ask("SELECT sequence_num, log_time FROM velstat_log LIMIT 50")
        expected = [{"sequence_num": line["sequence_num"],
                     "log_time": f"1970-01-01 {hour:02}:{minute:02}:{second:02}.{thousandth:03}"}
                    for line in self.lines[:50]
                    for whole, thousandth in [divmod(int(line["timestamp"]) // 1000, 1000)]
                    for hour, minute, second in [(whole // 3600, whole // 60 % 60, whole % 60)]]
        self.assertEqual(rows, expected)

    def test_sql_reaches_the_fields_of_the_payload(self):
        rows = self.ask("SELECT json_extract(payload, '$[0].fields.trace.name') AS action, count(*) AS n "
                        "FROM velstat_log WHERE action IS NOT NULL GROUP BY 1")
        expected = collections.Counter(line["payload"][0]["fields"]["trace"]["name"] for line in self.lines
                                       if line["payload"] and "trace" in line["payload"][0]["fields"])
        self.assertGreater(len(expected), 5)
        self.assertEqual({row["action"]: row["n"] for row in rows}, expected)

    def test_filters_apply_and_lines_begin_with_time_and_names(self):
        shown = self.lnav("-n", "-c", ":filter-in ckp_HaldenPlayAsset", str(self.log)).splitlines()
        expected = [line for line in self.lines if line["event"] == "ckp_HaldenPlayAsset"]
        self.assertEqual(len(shown), len(expected))
        for text in shown:
            self.assertRegex(text, r"^\d\d:\d\d:\d\d\.\d{3} zorb +latency +ckp_HaldenPlayAsset ")


if __name__ == "__main__":
    unittest.main()
