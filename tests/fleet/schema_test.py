"""velstat fleet schema on a real cluster: every column of every view of records against what velstat decode says of the same
bytes, and the answers to the same SQL as velstat query's."""

import itertools
import json
import os
import pathlib
import random
import re
import struct
import subprocess
import tempfile
import unittest

from cluster import Cluster
from command import run

DATABASE = f"schema_{os.getpid()}"  # new, as dropping replicated tables takes seconds
CLUSTER = Cluster(os.environ["FLEET_CLUSTER"])
RECORD = 48
FIRST, LAST = "type_id", "payload"  # the columns that are the 48 bytes


def schema(*arguments):
    status, out, err = run("fleet", "schema", "--database", DATABASE, *arguments)
    assert (status, err) == (0, ""), err
    return out


def stored_columns(table):
    """Name and type, in order, of the printed DDL."""
    body = re.search(rf"CREATE TABLE IF NOT EXISTS \S+`{table}_stored` \(\n(.*?)\n\) ENGINE", schema(), re.S)[1]
    return [re.match(r"  `(\w+)` ([\w()]+)", line).groups() for line in body.splitlines()]


def every_kind():
    """Records of all kinds that there are, and of some without names, with payloads that are hard to read."""
    seeded = random.Random(15)
    patterns = [bytes(32), b"\xff" * 32, bytes(range(0x70, 0x90)), b"ab\0c" * 8, b"\\'\"\n\t`%{}\x80" * 3 + b"xy", b"text"[:3] * 11]
    for category, component, event, kind in itertools.product(range(12), (0, 1, 2, 3, 5, 255), (0, 1, 2, 3, 16, 255), range(14)):
        payload = seeded.choice(patterns)[:32].ljust(32, b"\0")
        if seeded.random() < 0.5:
            payload = seeded.choice([0, 1, 3, 4, 5, 6, 7]).to_bytes(2, "little") + seeded.randbytes(30)
        sequence, time = seeded.choice([(0, 0), (2**32 - 1, 2**64 - 1), (2**31, 2**63), (seeded.getrandbits(32), seeded.getrandbits(64))])
        yield struct.pack("<BBBBIQ", kind, event, component, category, sequence, time) + payload
    zorb, context = 7, 10
    for version, component in itertools.product(range(9), range(25)):
        yield struct.pack("<BBBBIQ", context, component, component % 7, zorb, version, component) + version.to_bytes(2, "little") + seeded.randbytes(30)


def generated(*arguments):
    done = subprocess.run([os.environ["VELSTAT"], "generate", "records", *arguments], capture_output=True, check=True)
    return [done.stdout[at:at + RECORD] for at in range(0, len(done.stdout), RECORD)]


def insert(records, capture):
    """As the loader does, but written on its own: only the columns that differ from record to record."""
    names = [name for name, _ in stored_columns("records")]
    whole = names[names.index(FIRST):names.index(LAST) + 1]
    place = [name for name in names if name.startswith("position_")]
    columns = ", ".join(["device", "capture", "report_number", *place, *whole])
    text = len(capture).to_bytes(1, "little") + capture.encode()
    rows = b"".join(text + text + b"\xff" * 4 + struct.pack("<Q", RECORD * number) + record
                    for number, record in enumerate(records))
    CLUSTER.sql(f"INSERT INTO {DATABASE}.records_stored ({columns}) FORMAT RowBinary", data=rows)


def decoded(path):
    status, out, err = run("decode", "--format", "json", str(path))
    assert (status, err) == (0, ""), err
    return [json.loads(line) for line in out.splitlines()]


def columns_of(table):
    rows = CLUSTER.rows(f"SELECT name, type FROM system.columns WHERE database = '{DATABASE}' AND table = '{table}'")
    return {row["name"]: row["type"] for row in rows}


def fetched(table, where="1"):
    """All rows by position. Bytes come as hexadecimal digits; texts of any bytes as well, to be read as UTF-8 here."""
    columns = columns_of(table)
    chosen = ", ".join(f"hex({name}) AS {name}" if "String" in kind and "Nullable" not in kind else name for name, kind in columns.items())
    rows = CLUSTER.rows(f"SELECT {chosen} FROM {DATABASE}.{table} WHERE {where}")
    found = {row["position"]: row for row in rows}
    assert len(found) == len(rows), f"{table}: a record is there twice"
    return found, columns


class Same(unittest.TestCase):
    """Each record, through the views and through the decoder."""

    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        urls = [argument for node in CLUSTER.nodes for argument in ("--to", node["url"])]
        schema("--cluster", CLUSTER.status["cluster"], "--replicated", "--credentials", CLUSTER.credentials, *urls)
        cls.records = [*every_kind(), *generated("--random", "--seed", "15", "--count", "3000"), *generated("--count", "1000")]
        path = pathlib.Path(cls.folder.name) / "records.bin"
        path.write_bytes(b"".join(cls.records))
        cls.path = path
        cls.lines = decoded(path)
        insert(cls.records, "all")

    def check_common(self, row, line):
        for name in ("category", "component", "event", "type"):
            self.assertEqual(bytes.fromhex(row[name]).decode(), line[name])
            self.assertEqual(row[f"{name}_id"], line[f"{name}-id"])
        self.assertEqual(row["timestamp"], int(line["timestamp"]))
        self.assertEqual(row["sequence_num"], line["sequence_num"])
        self.assertEqual(list(bytes.fromhex(row["record"])), line["binary-data"])
        self.assertIsNone(row["report"])

    def check_field(self, row, name, value, kinds):
        if isinstance(value, list):
            self.assertEqual(list(bytes.fromhex(row[name])), value)
        elif isinstance(value, dict):
            self.assertEqual(bytes.fromhex(row[name]).decode(), value["name"])
            self.assertEqual(row[name + "_id"], value["id"])
        elif kinds[name] == "String":
            self.assertEqual(bytes.fromhex(row[name]).decode(), value)
        else:
            self.assertEqual(row[name], type(row[name])(value))
            self.assertEqual(str(row[name] + 0), str(type(row[name])(value) + 0))

    def test_records(self):
        found, _ = fetched("records")
        self.assertEqual(len(found), len(self.lines))
        for number, line in enumerate(self.lines):
            self.check_common(found[RECORD * number], line)

    def test_layouts(self):
        layouts = {}
        for number, line in enumerate(self.lines):
            for group in line["payload"]:
                layouts.setdefault(group["layout"], {})[RECORD * number] = group["fields"]
        tables = re.findall(r"^(\w+): records that show the layout (\S+)$", run("query", "--schema")[1], re.M)
        self.assertEqual({layout for _, layout in tables}, set(layouts), "each layout has a view and a record")
        for table, layout in tables:
            with self.subTest(layout):
                found, kinds = fetched(table)
                expected = layouts[layout]
                self.assertEqual(set(found), set(expected))
                self.assertGreater(len(found), 9)
                for position, fields in expected.items():
                    row = found[position]
                    self.check_common(row, self.lines[position // RECORD])
                    for key, value in fields.items():
                        self.check_field(row, key.replace("-", "_"), value, kinds)

    def test_columns_are_those_of_query(self):
        tables = {}
        for line in run("query", "--schema")[1].splitlines():
            if found := re.match(r"(\w+): ", line):
                columns = tables[found[1]] = set()
            elif line and not line.endswith("only if named"):
                columns.add(line.split()[0])
        self.assertGreater(len(tables), 25)
        for table, columns in tables.items():
            with self.subTest(table):
                self.assertLessEqual(columns | {"device", "build", "lot", "capture", "boot", "day"}, set(columns_of(table)))

    def test_same_questions(self):
        for question in (
                "SELECT category, count(*) AS n FROM records GROUP BY category ORDER BY category",
                "SELECT category, component, event, count(*) AS n, max(sequence_num) AS last FROM records WHERE type = 'event' "
                "GROUP BY category, component, event ORDER BY category, component, event",
                "SELECT trace, trace_id, arg1 FROM zorb_event WHERE component = 'amp' ORDER BY position LIMIT 20",
                "SELECT position, x, y, z FROM corvane WHERE x > 0 ORDER BY position LIMIT 50",
                "SELECT name, count(*) AS n, min(report_interval) AS least FROM sensorinfo GROUP BY name ORDER BY name",
                "SELECT hex(raw_data) AS bytes, data_length FROM long_data WHERE packet_size = 0 ORDER BY position LIMIT 50",
                "SELECT hex(record) AS bytes FROM short_data WHERE category = 'uart' ORDER BY position LIMIT 5",
                "SELECT sum(a.arg1) AS total, count(*) AS n FROM (SELECT arg1, position FROM event) AS a "
                "INNER JOIN (SELECT position FROM corvane) AS b USING (position)"):
            with self.subTest(question):
                status, out, err = run("query", "--format", "json", str(self.path), question)
                self.assertEqual((status, err), (0, ""))
                expected = [json.loads(line) for line in out.splitlines()]
                self.assertTrue(expected)
                found = CLUSTER.rows(question, database=DATABASE, distributed_product_mode="global")
                self.assertEqual(found, expected)

    def test_name_tables(self):
        """The names of all records, once more by joining."""
        joined = CLUSTER.rows(f"SELECT count() AS n FROM (SELECT category, category_id AS id FROM {DATABASE}.records_local) "
                              f"ANY INNER JOIN {DATABASE}.category_names USING id WHERE category = name")
        named = [line for line in self.lines if not line["category"].isdigit()]
        self.assertEqual(joined, [{"n": len(named)}])
        events = CLUSTER.rows(f"SELECT category_id, component_id, id, name FROM {DATABASE}.event_names")
        known = {(row["category_id"], row["component_id"], row["id"]): row["name"] for row in events}
        named = [line for line in self.lines if not line["event"].isdigit() and not line["component"].isdigit()]
        for line in named:
            self.assertEqual(known[line["category-id"], line["component-id"], line["event-id"]], line["event"])

    def test_printed_tables_are_for_clickhouse_client(self):
        """With comments and several statements, and the same tables as through HTTP."""
        other = DATABASE + "_printed"
        printed = run("fleet", "schema", "--database", other)[1]
        configuration = pathlib.Path(self.folder.name) / "client.xml"
        configuration.write_text(f"<config><user>{CLUSTER.user}</user><password>{CLUSTER.password}</password></config>")
        done = subprocess.run(["clickhouse-client", "--config-file", configuration, "--port", str(CLUSTER.nodes[0]["tcp"]), "-mn"],
                              input=printed, capture_output=True, text=True, timeout=60)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
        columns = "SELECT table, name, type FROM system.columns WHERE database = '{}' AND NOT endsWith(table, '_local') ORDER BY table, name"
        self.assertEqual(CLUSTER.sql(columns.format(other)), CLUSTER.sql(columns.format(DATABASE)))

    def test_running_it_again_keeps_what_is_stored(self):
        schema("--cluster", CLUSTER.status["cluster"], "--replicated", "--credentials", CLUSTER.credentials, "--to", CLUSTER.url())
        self.assertEqual(CLUSTER.rows(f"SELECT count() AS n FROM {DATABASE}.records"), [{"n": len(self.records)}])


if __name__ == "__main__":
    unittest.main()
