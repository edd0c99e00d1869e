"""velstat tally: whole lines of what it prints, checked by SQLite, a JSON reader and a parser of OpenMetrics."""

import json
import math
import os
import random
import signal
import sqlite3
import subprocess
import tempfile
import unittest
from pathlib import Path

from prometheus_client.openmetrics.parser import text_string_to_metric_families

from command import ENVIRONMENT, VELSTAT, run, run_on_terminal

HOUR = 3_600_000_000
START = 1_700_000_000_123_456  # 2023-11-14 22:13:20 UTC
ENVIRONMENT["TZ"] = "XYZ-5:30"


class Writer:
    """A process that writes to a store."""

    def __init__(self, *commands):
        self.process = subprocess.Popen([os.environ["TALLY_WRITER"]], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.do(*commands)

    def do(self, *commands):
        for name, *arguments in commands:
            if name in ("clear", "set", "add", "empty", "only", "push"):
                arguments[0] = "x" + arguments[0].encode().hex()
            self.process.stdin.write((" ".join(map(str, [name, *arguments])) + "\n").encode())
            self.process.stdin.flush()
            assert self.process.stdout.readline() == b"ok\n", (name, arguments)

    def end(self):
        self.process.stdin.close()
        self.process.stdout.close()
        assert self.process.wait(timeout=60) == 0


class Tally(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.file = self.folder / "tally.sqlite"

    def fill(self, *commands):
        writer = Writer(("open", self.file), *commands)
        writer.end()

    def fill_story(self):
        self.fill(("time", START), ("add", "button.click.count", 3), ("push", "button.click.time", 1.5, 2),
                  ("push", "button.click.time", -4, 1),
                  ("time", START + HOUR), ("add", "button.click.count", 39), ("set", "test", -1),
                  ("push", "prox.time", 8, 250), ("clear", "prox.count"))

    def tally(self, *arguments):
        return run("tally", *arguments, cwd=self.folder)

    TABLE = """\
scalar              value  first sample         last change          last clear
button.click.count     42  2023-11-15 03:43:20  2023-11-15 04:43:20
prox.count              0                                            2023-11-15 04:43:20
test                   -1  2023-11-15 04:43:20  2023-11-15 04:43:20

distribution       count       mean  std dev  min  p50  p90  p99  max  first sample         last change
button.click.time      3  -0.333333  2.59272   -4  1.5  1.5  1.5  1.5  2023-11-15 03:43:20  2023-11-15 03:43:20
prox.time            250          8        0    8    8    8    8    8  2023-11-15 04:43:20  2023-11-15 04:43:20
"""

    def test_the_table_has_local_times_and_no_empty_columns(self):
        self.fill_story()
        self.assertEqual(self.tally("tally.sqlite"), (0, self.TABLE, ""))

    def test_a_store_without_keys_says_so(self):
        self.fill()
        self.assertEqual(self.tally("tally.sqlite"), (0, "no keys\n", ""))
        self.assertEqual(self.tally("--format", "json", "tally.sqlite"), (0, "[]\n", ""))
        self.assertEqual(self.tally("--format", "openmetrics", "tally.sqlite"), (0, "# EOF\n", ""))

    def test_overflows_and_ignored_samples_have_columns_when_there_are_any(self):
        self.fill(("time", START), ("set", "a", 2**63 - 1), ("add", "a", 2), ("set", "b", 0), ("push", "d", 1e300, 7))
        self.assertEqual(self.tally("tally.sqlite")[1], """\
scalar                value  overflows  first sample         last change
a       9223372036854775807          1  2023-11-15 03:43:20  2023-11-15 03:43:20
b                         0             2023-11-15 03:43:20  2023-11-15 03:43:20

distribution  count  ignored
d                 0        7
""")

    def test_keys_cannot_steer_the_terminal(self):
        self.fill(("time", START), ("add", "red\x1b[31m\n\u202e", 1), ("add", "Größe", 22))
        self.assertEqual(self.tally("tally.sqlite")[1], """\
scalar                 value  first sample         last change
Größe                     22  2023-11-15 03:43:20  2023-11-15 03:43:20
red\\x1B[31m\\n\\u{202E}      1  2023-11-15 03:43:20  2023-11-15 03:43:20
""")

    def test_titles_are_bold_on_a_terminal(self):
        self.fill_story()
        lines = self.TABLE.splitlines()
        lines[0], lines[5] = f"\x1b[1m{lines[0]}\x1b[0m", f"\x1b[1m{lines[5]}\x1b[0m"
        self.assertEqual(run_on_terminal("tally", "tally.sqlite", cwd=self.folder, COLUMNS="200").splitlines(), lines)
        self.assertEqual(run_on_terminal("tally", "tally.sqlite", cwd=self.folder, COLUMNS="200", NO_COLOR="1"), self.TABLE)

    def test_a_narrow_terminal_gets_fewer_columns_and_the_ends_of_keys(self):
        self.fill_story()
        self.assertEqual(run_on_terminal("tally", "tally.sqlite", cwd=self.folder, columns=64, NO_COLOR="1"), """\
scalar              value  last change
button.click.count     42  2023-11-15 04:43:20
prox.count              0
test                   -1  2023-11-15 04:43:20
(too narrow for: last clear, first sample)

distribution       count       mean  std dev  min  p50  p99  max
button.click.time      3  -0.333333  2.59272   -4  1.5  1.5  1.5
prox.time            250          8        0    8    8    8    8
(too narrow for: first sample, last change, p90)
""")
        self.fill(("time", START), ("add", "com.tavik.kip.Gr\u00f6\u00dfe." + "x" * 30, 7))
        self.assertEqual(run_on_terminal("tally", "--key", "com*", "tally.sqlite", cwd=self.folder, columns=45,
                                         NO_COLOR="1"), """\
scalar                                  value
\u2026.Gr\u00f6\u00dfe.xxxxxxxxxxxxxxxxxxxxxxxxxxxxxx      7
(too narrow for: first sample, last change)
""")

    def test_json_has_everything(self):
        self.fill_story()
        status, out, errors = self.tally("--format", "json", "--key", "button*", "--key", "prox.c*", "tally.sqlite")
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual(json.loads(out), [
            {"key": "button.click.count", "kind": "scalar", "value": 42, "overflows": 0,
             "first sample": "2023-11-14T22:13:20.123456Z", "last change": "2023-11-14T23:13:20.123456Z"},
            {"key": "button.click.time", "kind": "distribution", "count": 3, "sum": -1, "min": -4, "max": 1.5,
             "mean": -1 / 3, "standard deviation": math.sqrt(121 / 18), "p50": 1.5, "p90": 1.5, "p99": 1.5,
             "exact": True, "ignored": 0,
             "first sample": "2023-11-14T22:13:20.123456Z", "last change": "2023-11-14T22:13:20.123456Z"},
            {"key": "prox.count", "kind": "scalar", "value": 0, "overflows": 0,
             "last clear": "2023-11-14T23:13:20.123456Z"}])

    def test_keys_are_chosen_by_globs_and_a_glob_without_a_key_fails(self):
        self.fill_story()
        status, out, errors = self.tally("--key", "t?st", "--key", "*.time", "--key", "time", "tally.sqlite")
        self.assertEqual((status, errors), (1, "velstat: --key 'time': nothing matches\n"))
        self.assertEqual([line.split()[0] for line in out.splitlines() if line],
                         ["scalar", "test", "distribution", "button.click.time", "prox.time"])

    ODD_KEYS = ["", "a.b", "a_b", "a-b", "a b", "5a", "Größe", 'quote"', "back\\slash", "new\nline", "brace}", "a # b",
                "x=\"1\",y", "x.count", "x", "x_sum", "{", "le", "#", "# EOF", "tab\t", "\r", "\\x0D", "\u202e"]
    ESCAPED = {"\r": "\\x0D", "\u202e": "\\u{202E}"}

    def fill_odd_keys(self):
        commands = [("time", START)]
        for i, key in enumerate(self.ODD_KEYS):
            commands += [("set", key, 10 - i), ("push", key, -0.5, i), ("push", key, i + 0.25, 3)]
        self.fill(*commands, ("empty", "cleared"), ("push", "cleared", 1e300, 7), ("set", "big", 2**63 - 1),
                  ("add", "big", 2))

    def test_openmetrics_is_read_by_another_parser(self):
        self.fill_odd_keys()
        status, out, errors = self.tally("--format", "openmetrics", "tally.sqlite")
        self.assertEqual((status, errors), (0, ""))
        found = {}
        units = {}
        for family in text_string_to_metric_families(out):
            self.assertEqual(family.type, "gauge")
            self.assertNotEqual(family.documentation, "")
            self.assertNotIn(family.name, units)
            units[family.name] = family.unit
            for sample in family.samples:
                self.assertEqual(sample.name, family.name)
                place = (sample.name, sample.labels["key"], sample.labels.get("escaped"), sample.labels.get("statistic"))
                self.assertNotIn(place, found)
                found[place] = sample.value
        self.assertEqual(units, {"tallystore_scalar": "", "tallystore_scalar_overflows": "overflows",
                                 "tallystore_distribution": "", "tallystore_distribution_samples": "samples",
                                 "tallystore_distribution_ignored_samples": "samples"})

        scalar, distribution = "tallystore_scalar", "tallystore_distribution"
        cleared, big = ("cleared", None, None), ("big", None, None)
        expected = {(scalar, *big): 2**63 - 1, (scalar + "_overflows", *big): 1,
                    (distribution + "_samples", *cleared): 0, (distribution + "_ignored_samples", *cleared): 7}
        for i, key in enumerate(self.ODD_KEYS):
            samples = sorted([-0.5] * i + [i + 0.25] * 3)
            mean = sum(samples) / len(samples)
            statistics = {"sum": sum(samples), "min": samples[0], "max": samples[-1], "mean": mean,
                          "standard deviation": math.sqrt(sum((s - mean) ** 2 for s in samples) / len(samples))}
            for percent in (50, 90, 99):
                statistics[f"p{percent}"] = samples[-(-len(samples) * percent // 100) - 1]
            label = (self.ESCAPED.get(key, key), "true" if key in self.ESCAPED else None)
            expected |= {(scalar, *label, None): 10 - i, (scalar + "_overflows", *label, None): 0,
                         (distribution + "_samples", *label, None): len(samples),
                         (distribution + "_ignored_samples", *label, None): 0}
            expected |= {(distribution, *label, name): value for name, value in statistics.items()}
        self.assertEqual(found.keys(), expected.keys())
        for place, value in expected.items():
            self.assertAlmostEqual(found[place], value, delta=abs(value) * 1e-12, msg=place)

    def test_promtool_finds_nothing_to_improve_in_openmetrics(self):
        self.fill_odd_keys()
        out = self.tally("--format", "openmetrics", "tally.sqlite")[1]
        check = subprocess.run(["promtool", "check", "metrics"], input=out.encode(), capture_output=True, timeout=60)
        self.assertEqual((check.returncode, check.stdout, check.stderr), (0, b"", b""))
        worse = subprocess.run(["promtool", "check", "metrics"], input=out.replace("_samples", "_count").encode(),
                               capture_output=True, timeout=60)
        self.assertIn(b'should not have "_count" suffix', worse.stderr + worse.stdout)

    def test_openmetrics_has_only_families_with_samples(self):
        self.fill(("time", START), ("add", "a", 3), ("empty", "d"))
        self.assertEqual(self.tally("--format", "openmetrics", "tally.sqlite")[1], """\
# TYPE tallystore_scalar gauge
# HELP tallystore_scalar Value of a scalar, in the unit of its key.
tallystore_scalar{key="a"} 3
# TYPE tallystore_scalar_overflows gauge
# UNIT tallystore_scalar_overflows overflows
# HELP tallystore_scalar_overflows Additions to a scalar that were clamped.
tallystore_scalar_overflows{key="a"} 0
# TYPE tallystore_distribution_samples gauge
# UNIT tallystore_distribution_samples samples
# HELP tallystore_distribution_samples Number of samples of a distribution.
tallystore_distribution_samples{key="d"} 0
# TYPE tallystore_distribution_ignored_samples gauge
# UNIT tallystore_distribution_ignored_samples samples
# HELP tallystore_distribution_ignored_samples Samples of a distribution that are not finite or too large to count.
tallystore_distribution_ignored_samples{key="d"} 0
# EOF
""")

    def test_another_sqlite_reads_the_same_values(self):
        numbers = random.Random(9)
        commands = [("time", START), ("begin",)]
        for _ in range(500):
            commands += [("add", f"scalar{numbers.randrange(9)}", numbers.randrange(-99, 99)),
                         ("push", f"dist{numbers.randrange(3)}", numbers.gauss(5, 20), numbers.randrange(9))]
        self.fill(*commands, ("end",), ("clear", "scalar1"), ("empty", "dist1"), ("push", "dist1", 1e200, 3))
        with sqlite3.connect(self.file) as database:
            database.row_factory = sqlite3.Row
            rows = [dict(row) for row in database.execute("SELECT * FROM tally")]
        database.close()
        listed = json.loads(self.tally("--format", "json", "tally.sqlite")[1])
        self.assertEqual(len(rows), len(listed))
        self.assertEqual({"scalar", "distribution"}, {row["kind"] for row in rows})
        self.assertEqual({0, 1, None}, {row["exact"] for row in rows})
        for row, entry in zip(rows, listed):
            for name in row.keys():
                value = entry.get(name.replace("_", " "))
                if name in ("first_sample", "last_change", "last_clear"):
                    value = value and value[:-4] + "Z"
                if name == "exact" and value is None and row["count"] == 0:
                    value = 1
                self.assertEqual(row[name], value, (entry["key"], name))

    def test_watch_shows_it_again_when_it_changes_and_ends_after_the_count(self):
        writer = Writer(("open", self.file), ("time", START), ("add", "a", 1))
        watch = subprocess.Popen([VELSTAT, "tally", "--watch", "--interval", "0.001", "--count", "3", "--format", "json",
                                  str(self.file)], stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=ENVIRONMENT)
        for value in (1, 2, 3):
            self.assertEqual(json.loads(watch.stdout.readline())[0]["value"], value)
            writer.do(("add", "a", 1))
        self.assertEqual(watch.communicate(timeout=60), (b"", b""))
        self.assertEqual(watch.returncode, 0)
        writer.end()

    def test_watch_redraws_tables(self):
        writer = Writer(("open", self.file), ("time", START), ("add", "a", 1))
        one = """\
scalar  value  first sample         last change
a           1  2023-11-15 03:43:20  2023-11-15 03:43:20
"""
        watch = subprocess.Popen([VELSTAT, "tally", "--watch", "--interval", "0.001", "--count", "2", str(self.file)],
                                 stdout=subprocess.PIPE, env=ENVIRONMENT)
        self.assertEqual(watch.stdout.read(len(one)).decode(), one)
        writer.do(("add", "a", 6))
        self.assertEqual(watch.communicate(timeout=60)[0].decode(), "\n" + one.replace("1  2", "7  2", 1))
        writer.end()
        self.assertEqual(run_on_terminal("tally", "--watch", "--count", "1", "tally.sqlite", cwd=self.folder,
                                         NO_COLOR="1"),
                         "\x1b[H\x1b[2J" + one.replace("1  2", "7  2", 1))
        self.assertEqual(run_on_terminal("tally", "--watch", "--count", "1", "tally.sqlite", cwd=self.folder,
                                         TERM="dumb"), one.replace("1  2", "7  2", 1))

    def test_watch_ends_cleanly_when_it_is_interrupted(self):
        self.fill(("add", "a", 1))
        for number in (signal.SIGINT, signal.SIGTERM):
            watch = subprocess.Popen([VELSTAT, "tally", "--watch", "--interval", "3600", str(self.file)],
                                     stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=ENVIRONMENT)
            self.assertEqual(watch.stdout.readline()[:6], b"scalar")
            watch.send_signal(number)
            self.assertEqual(watch.communicate(timeout=60)[1], b"")
            self.assertEqual(watch.returncode, 0)

    def test_watch_ends_when_the_store_is_gone(self):
        self.fill(("add", "a", 1))
        watch = subprocess.Popen([VELSTAT, "tally", "--watch", "--interval", "0.001", str(self.file)],
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=ENVIRONMENT)
        watch.stdout.readline()
        self.file.unlink()
        self.assertEqual(watch.communicate(timeout=60)[1].decode(),
                         f"velstat: {self.file}: No such file or directory\n")
        self.assertEqual(watch.returncode, 1)

    def test_what_is_no_store_is_refused_with_a_line(self):
        (self.folder / "text").write_bytes(b"hello")
        (self.folder / "empty").write_bytes(b"")
        for name, cause in [("text", "not a TallyStore (not a database)"), ("empty", "not a TallyStore (empty)"),
                            ("missing", "No such file or directory"), (".", "not a TallyStore (not a regular file)")]:
            self.assertEqual(self.tally(name), (1, "", f"velstat: {name}: {cause}\n"))
        self.assertEqual(sorted(p.name for p in self.folder.iterdir()), ["empty", "text"])

    def test_wrong_usage(self):
        self.fill()
        for arguments in (["tally"], ["tally", "--format", "xml", "tally.sqlite"], ["tally", "--key", "[", "tally.sqlite"],
                          ["tally", "--count", "1", "tally.sqlite"], ["tally", "--interval", "1", "tally.sqlite"],
                          ["tally", "--watch", "--interval", "0", "tally.sqlite"],
                          ["tally", "--watch", "--interval", "nan", "tally.sqlite"],
                          ["tally", "--watch", "--interval", "inf", "tally.sqlite"],
                          ["tally", "--watch", "--interval", "x", "tally.sqlite"],
                          ["tally", "--watch", "--format", "openmetrics", "tally.sqlite"], ["tally", "a", "b"]):
            status, out, errors = run(*arguments, cwd=self.folder)
            self.assertEqual((status, out, errors.count("\n")), (2, "", 1), arguments)
            self.assertTrue(errors.startswith("velstat: "), errors)

    def test_help_has_an_example(self):
        status, out, errors = self.tally("--help")
        self.assertEqual((status, errors), (0, ""))
        self.assertIn("Example:\n  velstat tally --key 'com.tavik.kip.button.*' --watch tally.sqlite\n", out)


if __name__ == "__main__":
    unittest.main()
