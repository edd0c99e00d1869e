"""velstat query: each table against what Python computes from other outputs, the formats, and SQL that is refused."""

import concurrent.futures
import csv
import functools
import io
import itertools
import json
import pathlib
import plistlib
import random
import re
import sqlite3
import subprocess
import tempfile
import unittest

from command import VELSTAT, binary, record, run, run_on_terminal

COMMON = ["category", "component", "event", "type", "timestamp", "sequence_num"]
IDS = ["type_id", "category_id", "component_id", "event_id"]
NEVER_ENDS = "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT count(*) FROM c"


def query(*arguments):
    """The rows of a query that succeeds, as JSON objects."""
    status, out, err = run("query", "--format", "json", *map(str, arguments))
    assert (status, err) == (0, ""), (status, err)
    return [json.loads(line) for line in out.splitlines()]


def decode(*arguments):
    status, out, err = run("decode", "--format", "json", *map(str, arguments))
    assert (status, err) == (0, ""), (status, err)
    return [json.loads(line) for line in out.splitlines()]


@functools.cache
def schema():
    """The type of each column that SELECT * gives, by table and column."""
    tables = {}
    for line in run("query", "--schema")[1].splitlines():
        if found := re.match(r"(\w+): ", line):
            columns = tables[found[1]] = {}
        elif line and not line.endswith("only if named"):
            name, kind = line.split()[:2]
            columns[name] = kind
    return tables


def sql_value(value, kind):
    """A value of a decoded line as SQL has it. Lines give 64-bit numbers as strings, SQL only those above 2^63 - 1."""
    if isinstance(value, list):
        return bytes(value).hex()
    if kind == "INTEGER" and isinstance(value, str) and int(value) < 2**63:
        return int(value)
    return value


def expected_row(line, layout, columns):
    values = {key: line[key] for key in COMMON}
    if layout is not None:
        for key, value in layout["fields"].items():
            name = key.replace("-", "_")
            if isinstance(value, dict):
                values[name], values[name + "_id"] = value["name"], value["id"]
            else:
                values[name] = value
    values |= {name: line[name.replace("_", "-")] for name in IDS}
    values["calendar_time"] = line.get("calendar-time")
    values["record"] = line["binary-data"]
    return {name: sql_value(value, columns[name]) for name, value in values.items()}


def generate(path, *options):
    with open(path, "wb") as file:
        subprocess.run([VELSTAT, "generate", "records", "--seed", "12", *options], check=True, stdout=file)
    return path


class WithFolder(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        cls.folder = pathlib.Path(cls.temporary.name)
        cls.device = generate(cls.folder / "device", "--count", "4000")
        cls.random = generate(cls.folder / "random", "--count", "20000", "--random")

    @classmethod
    def tearDownClass(cls):
        cls.temporary.cleanup()


class RecordTables(WithFolder):
    def compare(self, *inputs):
        shown = {"records": []}  # by table, the lines that it has a row of, with the first group of its layout
        for line in decode(*inputs):
            shown["records"].append((line, None))
            groups = {group["layout"]: group for group in reversed(line["payload"])}
            for layout, group in groups.items():
                shown.setdefault(layout.replace("-", "_"), []).append((line, group))
        filled = set()
        for table, columns in schema().items():
            if "sequence_num" not in columns:
                continue
            expected = [expected_row(line, group, columns) for line, group in shown.get(table, [])]
            rows = query(*inputs, f"SELECT * FROM {table}")
            self.assertEqual(len(rows), len(expected), table)
            for row, wanted in zip(rows, expected):
                self.assertEqual(list(row), list(columns), table)
                self.assertEqual({key: row[key] for key in wanted}, wanted, table)
            if rows:
                filled.add(table)
        return filled

    def test_EachTableHoldsWhatTheDecodedLinesSay_OfADevicesRecords(self):
        self.assertGreater(len(self.compare(self.device)), 10)

    def test_EachTableHoldsWhatTheDecodedLinesSay_OfRandomRecords(self):
        self.compare(self.random)

    def test_EachTableHoldsWhatTheDecodedLinesSay_OfSeveralInputs(self):
        other = generate(self.folder / "other", "--count", "2000", "--random")
        self.compare(other, self.device)

    def test_EveryLayoutHasATable(self):
        layouts = {group["layout"] for line in decode(self.device, self.random) for group in line["payload"]}
        tables = {table for table, columns in schema().items() if "sequence_num" in columns}
        self.assertLessEqual({layout.replace("-", "_") for layout in layouts}, tables)
        self.assertGreater(len(layouts), 10)

    def test_TextIsTheExactLine(self):
        done = subprocess.run([VELSTAT, "decode", "--framed", self.random], check=True, capture_output=True).stdout
        texts = []
        at = 0
        while at < len(done):
            size = int.from_bytes(done[at : at + 4], "little")
            texts.append(done[at + 4 : at + 4 + size].hex())
            at += 4 + size
        rows = query(self.random, "SELECT CAST(text AS BLOB) AS text FROM records")
        self.assertEqual([row["text"] for row in rows], texts)

    def test_SourceAndPositionTellWhereARecordIs(self):
        rows = query(self.device, self.random, "SELECT source, position, record FROM records WHERE rowid % 97 = 0")
        self.assertGreater(len(rows), 200)
        for row in rows:
            with open(row["source"], "rb") as file:
                file.seek(row["position"])
                self.assertEqual(file.read(48).hex(), row["record"])

    def test_TheStandardInputIsReadOnce(self):
        content = self.device.read_bytes()
        status, out, err = run("query", "--format", "csv", "-", "SELECT count(*) FROM records", stdin=content)
        self.assertEqual((status, out, err), (0, "count(*)\n4000\n", ""))
        status, out, err = run("query", "-", "SELECT * FROM records a, records b WHERE a.run = b.run", stdin=content)
        self.assertEqual((status, err), (1, "velstat: standard input: can be read only once\n"))


class Filters(WithFolder):
    """Nothing is pushed down into a materialized copy, so that SQLite does the whole work there."""

    COPY = ("WITH copy AS MATERIALIZED (SELECT rowid AS id, category, component, event, type, category_id, component_id,"
            " event_id, type_id, sequence_num, timestamp FROM records) ")  # fmt: skip

    CONDITIONS = [
        ("category", "= 'zorb'"), ("category", "IN ('zorb', 'nothing', 'uart', NULL)"), ("category", "= '12'"),
        ("category", "= '007'"), ("category", "= 7"), ("category", "= 'ZORB' COLLATE NOCASE"), ("category", "= 'ZORB'"), ("event", "= 'AmpTurnOn'"), ("type", "= 'event' COLLATE RTRIM"),
        ("category", "= NULL"),
        ("category", "= x'7a6f7262'"), ("category", "= '300'"), ("category", "> 'sensors'"),
        ("component", "= 'halden'"), ("component", "IN ('accel', '2')"), ("component", "= 3"),
        ("event", "= 'latency'"), ("event", "IN ('trace', 'context')"), ("event", "= '16'"),
        ("type", "= 'event'"), ("type", "IN ('short-data', '200')"),
        ("category_id", "= 7"), ("category_id", "= '7'"), ("category_id", "= 7.0"), ("category_id", "= 7.5"),
        ("category_id", "IN (1, '2', NULL)"), ("category_id", "= -1"), ("category_id", "= 300"),
        ("component_id", "IN (1, 2)"), ("event_id", "= 0"), ("type_id", "= 10"),
        ("sequence_num", "= {number}"), ("sequence_num", "< {number}"), ("sequence_num", ">= {number}"),
        ("sequence_num", "BETWEEN {number} - 900 AND {number} + 900.5"), ("sequence_num", "> '{number}'"),
        ("sequence_num", "IN ({number}, {number} + 1, 3.0)"), ("sequence_num", "< -5"), ("sequence_num", "> -5.5"),
        ("sequence_num", "<= {number}.5"), ("sequence_num", "> {number}.5"), ("sequence_num", "< 0"),
        ("timestamp", "< {time}"), ("timestamp", "> {time}"), ("timestamp", "<= {time}"), ("timestamp", ">= 1e30"),
        ("timestamp", "<= 9223372036854775807"), ("timestamp", "> 9223372036854775807"), ("timestamp", "= {time}"),
        ("sequence_num", "< {number}.0"), ("sequence_num", ">= '{number}.0'"), ("sequence_num", "= '1e3'"),
        ("category", "= 'Zorb'"), ("component", "= 'HALDEN' COLLATE NOCASE"), ("component", "= 'Halden'"),
        ("component", "= '6'"), ("component", "= 'nothing'"), ("component", "= ''"), ("type", "= 'Event'"),
        ("type", "= 'EVENT' COLLATE NOCASE"), ("event", "= 'Trace'"), ("type_id", "= ' 10 '"), ("type_id", "= '10x'"),
        ("timestamp", "= '18446744073709551615'"), ("timestamp", "< -1e30"), ("timestamp", "IS NULL"),
        ("category", "GLOB 'z*'"), ("category", "GLOB '[0-9]*'"), ("type", "GLOB '[^e]*'"), ("type", "GLOB 'E*'"),
        ("category", "NOT GLOB '[0-9]*'"), ("type", "GLOB NULL"), ("category", "GLOB 7"),
    ]  # fmt: skip

    def setUp(self):
        self.dice = random.Random(5)
        self.lines = decode(self.device, self.random)

    def conditions(self, count):
        line = self.dice.choice(self.lines)
        numbers = {"number": line["sequence_num"], "time": line["timestamp"]}
        chosen = self.dice.sample(self.CONDITIONS, count)
        return [(column, condition.format(**numbers)) for column, condition in chosen]

    def check(self, filters):
        """Compares the rows that each filter finds with those that it finds in the copy; gives their numbers."""
        counts = []
        for start in range(0, len(filters), 16):  # a statement may have so many parts
            parts = []
            for conditions in filters[start : start + 16]:
                where = " AND ".join(f"{column} {condition}" for column, condition in conditions)
                parts.append(f"SELECT count(*) AS count, group_concat(rowid) AS ids FROM records WHERE {where}")
                parts.append(f"SELECT count(*), group_concat(id) FROM copy WHERE {where}")
            rows = query(self.device, self.random, self.COPY + " UNION ALL ".join(parts))
            for conditions, pushed, copied in zip(filters[start:], rows[::2], rows[1::2]):
                self.assertEqual(pushed, copied, conditions)
                counts.append(pushed["count"])
        self.assertEqual(len(counts), len(filters))
        return counts

    def test_OneFilterGivesTheAnswerOfSQLite(self):
        line = self.lines[1234]
        numbers = {"number": line["sequence_num"], "time": line["timestamp"]}
        found = self.check([[(column, condition.format(**numbers))] for column, condition in self.CONDITIONS])
        self.assertGreater(sum(count > 0 for count in found), 25)

    def test_FiltersTogetherGiveTheAnswerOfSQLite(self):
        # A selection takes one list of each kind, so that only one of two such constraints is pushed down.
        twice = [("category_id", "= 7"), ("category", "= 'uart'"), ("category", "= 'zorb'"), ("category_id", "= 6"),
                 ("category_id", "IN (6, 7)")]  # fmt: skip
        self.check([list(pair) for pair in itertools.permutations(twice, 2)])
        self.check([self.conditions(count) for count in (2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4)])

    def test_ThePlanTellsWhatIsPushedDown(self):
        plans = {
            "category = 'zorb'": "category=",
            "category IN ('zorb', 'uart') AND timestamp >= 5": "category=* timestamp>=",
            "event_id = 3 AND sequence_num < 9": "event_id= sequence_num<",
            "type = 'Event' COLLATE NOCASE": "type=",
            "type = 'event' COLLATE RTRIM": "",
            "category GLOB '[0-9]*' AND type NOT GLOB 'e*'": "category=glob",
            "run = 0": "",
        }
        for where, plan in plans.items():
            rows = query(self.device, f"EXPLAIN QUERY PLAN SELECT count(*) FROM zorb_event WHERE {where}")
            self.assertRegex(rows[0]["detail"], rf"^SCAN zorb_event VIRTUAL TABLE INDEX [01]:{re.escape(plan)}$")


def leaves(value, path=""):
    """Paths, types and values of a tree."""
    if isinstance(value, (dict, list)) and value:
        members = value.items() if isinstance(value, dict) else enumerate(value)
        for key, inner in members:
            key = str(key).replace("\\", "\\\\").replace("/", "\\/")
            yield from leaves(inner, f"{path}/{key}" if path else key)
        return
    kinds = {dict: "dictionary", list: "array", str: "string", bool: "boolean", int: "integer", float: "real",
             bytes: "data"}  # fmt: skip
    shown = None if isinstance(value, (dict, list)) else value.hex() if isinstance(value, bytes) else value
    yield path, kinds[type(value)], int(value) if isinstance(value, bool) else shown


class CaptureTables(WithFolder):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.capture = cls.folder / "capture"
        subprocess.run([VELSTAT, "capture", "--out", cls.capture], check=True, stdout=subprocess.DEVNULL)
        cls.manifest = json.loads((cls.capture / "manifest.json").read_text())

    def test_StateHoldsTheValuesOfTheReports(self):
        expected = []
        for report in self.manifest["records"]:
            value = plistlib.loads((self.capture / report["property list"]).read_bytes())
            expected += [(report["title"], *leaf) for leaf in leaves(value)]
        rows = query(self.capture, "SELECT report, path, type, value FROM state")
        self.assertEqual(sorted(tuple(row.values()) for row in rows), sorted(expected))
        self.assertGreater(len(rows), 3328)

    def test_StateHoldsValuesOfEveryType(self):
        value = {"a/b": {"c\\": [1, -2.5, True, b"\0\xff"]}, "": "text", "empty": {}, "none": []}
        path = self.folder / "values.state"
        path.write_bytes(record(b"SensorInfo", value))
        rows = query(path, "SELECT path, type, value FROM state")
        self.assertEqual([tuple(row.values()) for row in rows], list(leaves(value)))

    def test_ServicesAndHandlersAreThoseOfTheManifest(self):
        rows = query(self.capture, "SELECT name, opened, first_handler, handlers FROM services")
        expected = [
            {"name": s["name"], "opened": int(s["opened"]), "first_handler": s.get("first handler") or None,
             "handlers": s["handlers"]}
            for s in self.manifest["services"]
        ]  # fmt: skip
        self.assertEqual(rows, expected)
        usages = [" ".join(f"{u['page']:#04x}/{u['usage']:#04x}" for u in s["usages"]) for s in self.manifest["services"]]
        self.assertEqual([row["usages"] for row in query(self.capture, "SELECT usages FROM services")], usages)
        rows = query(self.capture, "SELECT number, service, answered FROM handlers")
        self.assertEqual(
            [tuple(row.values()) for row in rows],
            [(h["handler"], h["service"], int(h["answered"])) for h in self.manifest["handler results"]],
        )

    def test_LogHoldsTheLinesOfTheLog(self):
        expected = [json.loads(line) for line in (self.capture / "log.jsonl").read_text().splitlines()]
        self.assertEqual(query(self.capture, "SELECT time, level, subsystem, category, message FROM log"), expected)

    def test_MetricsAreThoseOfTheStore(self):
        status, out, err = run("tally", "--format", "json", str(self.capture / "tally.sqlite"))
        self.assertEqual((status, err), (0, ""))
        rows = query(self.capture, "SELECT * FROM metrics")
        names = {name: name.replace("_", " ") for name in schema()["metrics"]}
        shared = ["key", "kind", "value", "overflows", "count", "sum", "min", "max", "mean", "standard_deviation", "p50",
                  "p90", "p99", "ignored"]  # fmt: skip
        for row, metric in zip(rows, json.loads(out), strict=True):
            self.assertEqual({n: row[n] for n in shared}, {n: metric.get(names[n]) for n in shared})

    def test_RecordsOfACaptureHaveTheTimesOfItsLines(self):
        lines = decode(self.capture)
        rows = query(self.capture, "SELECT calendar_time, calendar, timestamp FROM records")
        self.assertEqual([row["calendar_time"] for row in rows], [line["calendar-time"] for line in lines])
        self.assertEqual(len({row["calendar"] - row["timestamp"] for row in rows}), 1)

    def test_ReportAndPositionLeadToTheLineInState(self):
        rows = query(
            self.capture,
            "WITH r AS MATERIALIZED (SELECT report, position, CAST(text AS BLOB) AS text FROM records),"
            " s AS MATERIALIZED (SELECT report_number, path, CAST(value AS BLOB) AS value FROM state"
            "  WHERE type = 'string')"
            " SELECT count(*) AS n, sum(r.text = s.value) AS same FROM r JOIN s"
            " ON s.report_number = r.report AND s.path = CAST(r.position AS TEXT)",
        )
        self.assertEqual(rows, [{"n": 3328, "same": 3328}])


class Formats(WithFolder):
    SQL = "SELECT 1 AS a, 'x,\"y' AS b, NULL AS c, x'00ff' AS d, 2.0 AS e, 'two\nlines' AS f, 3 AS a"

    def test_CSVBeginsWithAHeaderAndQuotesWhatItMust(self):
        status, out, _ = run("query", "--format", "csv", str(self.device), self.SQL)
        self.assertEqual(status, 0)
        rows = list(csv.reader(io.StringIO(out)))
        self.assertEqual(rows, [["a", "b", "c", "d", "e", "f", "a:2"], ["1", 'x,"y', "", "00ff", "2.0", "two\nlines", "3"]])

    def test_JSONIsAnObjectALine(self):
        row = {"a": 1, "b": 'x,"y', "c": None, "d": "00ff", "e": 2.0, "f": "two\nlines", "a:2": 3}
        self.assertEqual(query(self.device, self.SQL), [row])

    def test_ATableIsAlignedAndEscaped(self):
        status, out, _ = run("query", str(self.device), "SELECT 'a\nb' AS x, 10 AS long UNION ALL SELECT 'c', 2")
        self.assertEqual((status, out), (0, "x     long\na\\nb  10\nc     2\n"))

    def test_ALongTableRepeatsItsHeader(self):
        out = run("query", str(self.device), "SELECT rowid FROM records LIMIT 2000")[1].splitlines()
        self.assertEqual([i for i, line in enumerate(out) if line == "rowid"], [0, 1002])
        self.assertEqual(len(out), 2003)

    def test_AnAnswerWithoutRowsHasItsHeader(self):
        for form, out in (("table", "a  b\n"), ("csv", "a,b\n"), ("json", "")):
            self.assertEqual(run("query", "--format", form, str(self.device), "SELECT 1 AS a, 2 AS b WHERE 0")[:2], (0, out))

    def test_DeviceTextIsEscapedOnATerminal(self):
        bytes_of_name = b"\x1b[2J\xc2\x9bname\0"
        hostile = bytes([8, 9, 6, 2]) + bytes(31) + bytes_of_name + bytes(48 - 35 - len(bytes_of_name))
        path = self.folder / "hostile"
        path.write_bytes(hostile)
        for form in ("table", "csv", "json"):
            out = run_on_terminal("query", "--format", form, str(path), "SELECT name, text FROM sensorinfo", NO_COLOR="1")
            self.assertIn("name", out)
            self.assertNotRegex(out, "[\x00-\x09\x0b-\x1f\x7f-\x9f]")

    def on_terminal(self, sql):
        """The lines of the table and the notes below it, in 80 columns."""
        lines = run_on_terminal("query", str(self.device), sql, NO_COLOR="1").splitlines()
        self.assertLessEqual(max(map(len, lines)), 80, lines)
        end = next((i for i, line in enumerate(lines) if re.match("In every line:|Also:|Left out:", line)), len(lines))
        return lines[:end], lines[end:]

    def test_AWideTableFitsTheTerminal(self):
        for sql, table, notes in (
            # Texts are cut, what fits is not.
            ("SELECT 'short' AS a, replace(hex(zeroblob(40)), '0', 'x') AS b, 12345678 AS c",
             ["a      b" + 64 * " " + "c", "short  " + 62 * "x" + "…  12345678"], []),
            # Numbers are never cut. The columns that say the same in every line make room first.
            ("SELECT rowid + 100000000000000000 AS a, 7 AS b, 'same' AS c, NULL AS d, rowid + 200000000000000000 AS e,"
             " rowid + 300000000000000000 AS f, rowid + 400000000000000000 AS g FROM records LIMIT 2",
             ["a                   e                   f                   g",
              "100000000000000001  200000000000000001  300000000000000001  400000000000000001",
              "100000000000000002  200000000000000002  300000000000000002  400000000000000002"],
             ["In every line:  b=7  c=same  d="]),
            # Then the last ones are left out.
            ("SELECT rowid + 100000000000000000 AS a, rowid + 1.5 AS b, rowid + 200000000000000000 AS c,"
             " rowid + 300000000000000000 AS d, rowid + 400000000000000000 AS e FROM records LIMIT 2",
             ["a                   b    c                   d",
              "100000000000000001  2.5  200000000000000001  300000000000000001",
              "100000000000000002  3.5  200000000000000002  300000000000000002"],
             ["Left out:  e"]),
            # What all texts of a column begin with does not use up their room.
            ("SELECT 'com.tavik.kip.button.touch_detected' || column1 AS a, column2 AS b, column3 AS c FROM (VALUES"
             f" ('.first.duration.of.all', 100000000001, '{60 * 'x'}'), ('.no.duration', 100000000002, '{60 * 'y'}'))",
             ["a                                          b             c",
              "com.tavik.kip.button.touch_detected.firs…  100000000001  " + 22 * "x" + "…",
              "com.tavik.kip.button.touch_detected.no.d…  100000000002  " + 22 * "y" + "…"], []),
        ):  # fmt: skip
            with self.subTest(sql):
                shown, below = self.on_terminal(sql)
                self.assertEqual((shown, below), (table, notes))

    def test_EveryColumnIsInTheTableOrNamedBelowIt(self):
        for table, columns in schema().items():
            for rows in (0, 1, 5):
                shown, below = self.on_terminal(f"SELECT * FROM {table} LIMIT {rows}")
                named = re.findall(r"\w+(?==)", " ".join(below)) + re.findall(r"(?<!=)\b\w+\b(?!=)", " ".join(
                    line for line in below if not line.startswith(("In", "Also"))))  # fmt: skip
                self.assertLessEqual(set(columns), set(shown[0].split()) | set(named), (table, rows))

    def test_InAFileATableHasItsWholeWidth(self):
        out = run("query", str(self.device), "SELECT * FROM records LIMIT 3")[1].splitlines()
        self.assertEqual(out[0].split(), list(schema()["records"]))
        self.assertEqual(len(out), 4)

    def test_SchemaHasALineForEachColumnAndReadsNothing(self):
        for table, columns in schema().items():
            status, out, _ = run("query", "--format", "csv", str(self.device), f"SELECT * FROM {table} LIMIT 0")
            self.assertEqual((status, out), (0, ",".join(columns) + "\n"))

    def test_HelpFits80Columns(self):
        self.assertLessEqual(max(map(len, run("query", "--help")[1].splitlines())), 80)
        self.assertLessEqual(max(map(len, run("query", "--schema")[1].splitlines())), 80)

    def test_TheSQLMayComeFromAFile(self):
        file = self.folder / "count.sql"
        file.write_text("-- how many\nSELECT count(*) AS n\nFROM records;\n")
        self.assertEqual(query("--file", file, self.device), [{"n": 4000}])
        file.write_text("SELECT\n  nowhere\nFROM records")
        status, out, err = run("query", "--file", str(file), str(self.device))
        self.assertEqual((status, out), (1, ""))
        self.assertTrue(err.startswith("velstat: the SQL, line 2, column 3: no such column: nowhere"), err)


class Export(WithFolder):
    def test_TheDatabaseHoldsAllTables(self):
        file = self.folder / "out.sqlite"
        self.assertEqual(run("query", str(self.device), "--export", str(file)), (0, "", ""))
        with sqlite3.connect(file) as database:
            for table, columns in schema().items():
                cursor = database.execute(f"SELECT * FROM {table}")
                self.assertEqual([column[0] for column in cursor.description], list(columns))
                rows = [[v.hex() if isinstance(v, bytes) else v for v in row] for row in cursor]
                self.assertEqual(rows, [list(row.values()) for row in query(self.device, f"SELECT * FROM {table}")])
        database.close()

    def test_AnInputIsNotReplaced(self):
        capture = self.folder / "export-capture"
        subprocess.run([VELSTAT, "capture", "--out", capture], check=True, stdout=subprocess.DEVNULL)
        link = self.folder / "link"
        link.symlink_to(self.device)
        for source, target in ((self.device, self.device), (self.device, link), (capture, capture / "log.jsonl")):
            before = target.read_bytes()
            status, out, err = run("query", str(source), "--export", str(target))
            self.assertEqual((status, out, err.count("\n")), (1, "", 1), err)
            self.assertEqual(target.read_bytes(), before)

    def test_NothingIsLeftWhereItCannotBeWritten(self):
        folder = self.folder / "missing"
        status, out, err = run("query", str(self.device), "--export", str(folder / "a.sqlite"))
        self.assertEqual((status, out, err), (1, "", f"velstat: {folder}/a.sqlite: No such file or directory\n"))
        folder = self.folder / "target"
        folder.mkdir()
        (folder / "a.sqlite-journal").write_text("of another database")
        status, out, err = run("query", str(self.device), "--export", str(folder / "a.sqlite"))
        self.assertEqual((status, out, err.count("\n")), (1, "", 1), err)
        self.assertEqual([path.name for path in folder.iterdir()], ["a.sqlite-journal"])


class Refusals(WithFolder):
    READS_ONLY = "velstat: the SQL may only read the tables that --schema shows; all other statements and functions are refused\n"
    REFUSED = {
        "SELEC 1": 'velstat: the SQL, line 1, column 1: near "SELEC": syntax error\n',
        "SELECT catgory FROM records":
            "velstat: the SQL, line 1, column 8: no such column: catgory; did you mean 'category'?\n",
        "SELECT r.sequence_nun FROM records r":
            "velstat: the SQL, line 1, column 8: no such column: r.sequence_nun; did you mean 'sequence_num'?\n",
        "SELECT * FROM recods": "velstat: the SQL: no such table: recods; did you mean 'records'?\n",
        "SELECT * FROM elsewhere": "velstat: the SQL: no such table: elsewhere; --schema lists tables and columns\n",
        "SELECT count(*) FROM records WHERE category = \"zorb\"":
            "velstat: the SQL, line 1, column 47: no such column: zorb; texts are written 'zorb'\n",
        "SELECT 1; SELECT 2": "velstat: the SQL, line 1, column 10: only one statement is allowed\n",
        " ": "velstat: the SQL holds no statement\n",
        " ; -- nothing": "velstat: the SQL holds no statement\n",
        "DELETE FROM records": "velstat: the SQL: table records may not be modified\n",
        "UPDATE records SET category = 'x'": "velstat: the SQL: table records may not be modified\n",
        "CREATE TABLE a(b)": READS_ONLY,
        "CREATE TEMP VIEW a AS SELECT 1": READS_ONLY,
        "DROP TABLE records": None,
        "BEGIN": READS_ONLY,
        "VACUUM INTO 'made.sqlite'": READS_ONLY,
        "ATTACH 'made.sqlite' AS a": READS_ONLY,
        "PRAGMA temp_store_directory = '.'": READS_ONLY,
        "SELECT * FROM pragma_table_info('records')": READS_ONLY,
        "SELECT load_extension('made.so')": READS_ONLY,
        "SELECT readfile('/etc/passwd')": "velstat: the SQL, line 1, column 8: no such function: readfile\n",
        "SELECT writefile('made.txt', 'x')": "velstat: the SQL, line 1, column 8: no such function: writefile\n",
        "SELECT zeroblob(2000000)": "velstat: the SQL: string or blob too big\n",
        "SELECT " + "(" * 2000 + "1" + ")" * 2000: None,
        "SELECT " + " UNION ALL SELECT ".join(["1"] * 200): None,
    }  # fmt: skip

    def test_WrongSQLGivesOneLineAndNothingElse(self):
        folder = self.folder / "refusals"
        folder.mkdir()
        for sql, line in self.REFUSED.items():
            status, out, err = run("query", str(self.device), sql, cwd=folder)
            self.assertEqual((status, out, err.count("\n")), (1, "", 1), (sql[:60], err))
            if line is not None:
                self.assertEqual(err, line)
        self.assertEqual(list(folder.iterdir()), [])

    def test_WhatNeverEndsStopsAtTheTimeout(self):
        # SQLite does not ask whether to go on while a function runs; this one appends 2147483647 times.
        repeated = ", ".join(["nullif(printf('%.*c', 2147483647, 'x'), 1)"] * 50)
        cases = [
            (str(self.device), NEVER_ENDS),
            (str(self.device), f"SELECT coalesce({repeated})"),
            # No record passes the filter, so that SQLite is never asked whether to go on.
            ("/dev/zero", "SELECT count(*) FROM records WHERE sequence_num = 1"),
        ]
        with concurrent.futures.ThreadPoolExecutor() as pool:
            ended = list(pool.map(lambda case: run("query", "--timeout", "1", *case), cases))
        line = "velstat: the SQL has not ended within 1 s and was stopped; --timeout gives it more time\n"
        self.assertEqual(ended, [(1, "", line)] * len(cases))

    def test_MemoryIsLimited(self):
        sql = ("WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c)"
               " SELECT hex(zeroblob(100000)) AS a FROM c ORDER BY random()")  # fmt: skip
        status, out, err = run("query", str(self.device), sql)
        self.assertEqual((status, out), (1, ""))
        self.assertEqual(err, "velstat: the SQL needs more than the 512 MiB of memory that it may use\n")

    def test_WrongUsageGivesOneLine(self):
        for arguments, line in (
            ([], "query: inputs and, as the last argument, the SQL are required"),
            (["SELECT 1"], "query: an input is required before the SQL"),
            ([str(self.device)], f"query: the SQL is missing: the last argument, '{self.device}', is an input"),
            (["--timeout", "x", str(self.device), "SELECT 1"], None),
            (["--export", "a", "--file", "b", str(self.device)], None),
            (["--format", "xml", str(self.device), "SELECT 1"], None),
        ):
            status, out, err = run("query", *arguments)
            self.assertEqual((status, out, err.count("\n")), (2, "", 1), err)
            if line is not None:
                self.assertEqual(err, f"velstat: {line}\n")

    def test_WrongInputsAreReportedAsDecodeDoes(self):
        picture = self.folder / "picture.png"
        picture.write_bytes(b"\x89PNG\r\n\x1a\n" + bytes(100))
        cut = self.folder / "cut"
        cut.write_bytes(self.device.read_bytes()[:-1])
        other = self.folder / "other.plist"
        other.write_bytes(binary({"a": 1}))
        for path in (self.folder / "nothing", picture, cut, other):
            status, _, err = run("query", str(path), "SELECT count(*) FROM records")
            self.assertEqual((status, err), (1, run("decode", str(path))[2]))
            self.assertEqual(err.count("\n"), 1)


if __name__ == "__main__":
    unittest.main()
