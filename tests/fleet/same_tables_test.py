"""A capture that is loaded into a cluster has the same rows there as in velstat query: all columns of all tables. Only the
lines of records are not in `state` again."""

import json
import os
import pathlib
import re
import tempfile
import unittest
import unittest.mock

from cluster import Cluster
from command import run
from loading import load, make_tables

DATABASE = f"same_tables_{os.getpid()}"  # new, as dropping replicated tables takes seconds
CLUSTER = Cluster(os.environ["FLEET_CLUSTER"])
DEVICE = "A17"
# What has another form: bytes of varying length are text for ClickHouse, and a column has one type.
EXPRESSIONS = {("long_data", "raw_data"): "hex(raw_data) AS raw_data"}
VALUE = ("state", "value")


class SameTables(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.snapshot = pathlib.Path(folder.name) / "snapshot"
        assert run("capture", "--out", str(cls.snapshot))[0] == 0
        make_tables(CLUSTER, DATABASE)
        load(CLUSTER, DATABASE, "--device", DEVICE, cls.snapshot, cwd=folder.name)
        cls.tables = {}
        for line in run("query", "--schema")[1].splitlines():
            if found := re.match(r"(\w+): ", line):
                columns = cls.tables[found[1]] = []
            elif line and not line.endswith("only if named"):
                columns.append(line.split()[0])

    def rows(self, table, columns, *command):
        sql = pathlib.Path(self.snapshot.parent) / "question.sql"
        but = " WHERE report NOT LIKE 'KIP Profile %'" if (table, command[0]) == ("state", "query") else ""
        sql.write_text(f"SELECT {', '.join(EXPRESSIONS.get((table, name), name) for name in columns)} FROM {table}{but}")
        status, out, err = run(*command, "--format", "json")
        self.assertEqual((status, err), (0, ""))
        return sorted(out.splitlines())

    def test_all(self):
        some = 0
        for table, columns in self.tables.items():
            with self.subTest(table), unittest.mock.patch.dict("command.ENVIRONMENT", TZ="UTC"):
                columns = [name for name in columns if name != "source" and (table, name) != VALUE]  # the source is the capture
                sql = str(self.snapshot.parent / "question.sql")
                expected = self.rows(table, columns, "query", "--file", sql, str(self.snapshot))
                found = self.rows(table, columns, "fleet", "ask", "--sql", sql, "--database", DATABASE, "--to", CLUSTER.url(),
                                  "--credentials", CLUSTER.credentials)
                self.assertEqual(found, expected)
                some += bool(expected)
        self.assertGreater(some, 20)

    def test_values_of_reports(self):
        columns = ["report_number", "path", "type", "value"]
        sql = str(self.snapshot.parent / "question.sql")
        expected = [json.loads(line) for line in self.rows("state", columns, "query", "--file", sql, str(self.snapshot))]
        more = [*columns, "value_integer", "value_number"]
        found = [json.loads(line) for line in self.rows("state", more, "fleet", "ask", "--sql", sql, "--database", DATABASE, "--to",
                                                       CLUSTER.url(), "--credentials", CLUSTER.credentials)]
        key = lambda row: (row["report_number"], row["path"])
        for row, wanted in zip(sorted(found, key=key), sorted(expected, key=key), strict=True):
            value = wanted["value"]
            if isinstance(value, (int, float)):
                self.assertEqual(float(row["value_number"]), float(value))
                self.assertEqual(row["value_integer"], value if isinstance(value, int) else None)
            else:
                self.assertEqual((row["value"], row["value_integer"], row["value_number"]), (value, None, None))
            self.assertEqual((key(row), row["type"]), (key(wanted), wanted["type"]))


if __name__ == "__main__":
    unittest.main()
