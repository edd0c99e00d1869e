"""velstat fleet ask on a real cluster: values arrive unchanged, SQL can only read, and each bad input is one line."""

import csv
import io
import json
import os
import pathlib
import tempfile
import unittest

from cluster import Cluster
from command import run, run_on_terminal

DATABASE = f"ask_{os.getpid()}"
CLUSTER = Cluster(os.environ["FLEET_CLUSTER"])
HEADER = "-- title: t\n-- explanation: e\n-- columns: value\n-- parameter: value {type}: v\n\nSELECT {{value}} AS value\n"


class Ask(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        urls = [argument for node in CLUSTER.nodes for argument in ("--to", node["url"])]
        status, out, err = run("fleet", "schema", "--database", DATABASE, "--cluster", CLUSTER.status["cluster"],
                               "--credentials", CLUSTER.credentials, *urls)
        assert (status, out, err) == (0, "", ""), err
        for number, node in enumerate(CLUSTER.nodes):
            CLUSTER.sql(f"INSERT INTO {DATABASE}.captures_stored (device, build, lot, capture, records) "
                        f"VALUES ('d{number}', 'b{number // 2}', 'l', 'c', {10 ** number})", node["name"])

    def ask(self, *arguments, credentials=None):
        return run("fleet", "ask", *arguments, "--database", DATABASE, "--to", CLUSTER.url(), "--credentials",
                   str(credentials or CLUSTER.credentials))

    def sql(self, text, *arguments):
        path = self.folder / "question.sql"
        path.write_bytes(text.encode("utf-8", "surrogateescape"))
        return self.ask("--sql", str(path), "--format", "json", *arguments)

    def refused(self, text, *arguments):
        status, out, err = self.sql(text, *arguments)
        self.assertEqual((status, out), (1, ""))
        self.assertRegex(err, r"\Avelstat: [^\n]+\n\Z")
        return err

    def test_shipped_question_in_all_formats(self):
        # Without replication the cluster reads one replica of each shard.
        rows = [["build", "lot", "devices", "captures", "records"], ["b0", "l", "1", "1", "1"], ["b1", "l", "1", "1", "100"]]
        self.assertEqual(self.ask("population")[1].split(), [word for row in rows for word in row])
        self.assertEqual(list(csv.reader(io.StringIO(self.ask("population", "--format", "csv")[1]))), rows)
        lines = self.ask("population", "--format", "json")[1].splitlines()
        self.assertEqual([json.loads(line) for line in lines], [dict(zip(rows[0], [*row[:2], *map(int, row[2:])])) for row in rows[1:]])
        self.assertEqual(self.ask("population", "--least=2", "--format", "json"), (0, "", ""))

    def test_list_and_description(self):
        status, out, err = run("fleet", "ask", "--list")
        self.assertEqual((status, err), (0, ""))
        self.assertRegex(out, r"(?m)^population +what is loaded")
        status, out, err = run("fleet", "ask", "population", "--describe")
        self.assertEqual((status, err), (0, ""))
        self.assertIn("--least integer (default: 1): ", out)
        self.assertIn("columns: build, lot, devices, captures, records\n", out)

    def test_texts_arrive_unchanged(self):
        for value in ("a", "'", "\\", "\\'", "' OR '1' = '1", "'); DROP TABLE records; --", "{value}", "--", "/*", "a\nb\tc\rd",
                      "\x01\x1b\x7f", "ä€😀", "\u202e", "%s%n", "\\N", "NULL", "x" * 50000):
            with self.subTest(value):
                status, out, err = self.sql(HEADER.format(type="string"), f"--value={value}")
                self.assertEqual((status, err), (0, ""))
                self.assertEqual(json.loads(out), {"value": value})

    def test_numbers_arrive_unchanged(self):
        for kind, value, expected in (("integer", "9223372036854775807", 2**63 - 1), ("integer", "-9223372036854775808", -2**63), ("integer", "-5", -5),
                                      ("number", "-1.5", -1.5), ("number", "1e300", 1e300), ("day", "2026-11-21", "2026-11-21")):
            with self.subTest(value):
                status, out, err = self.sql(HEADER.format(type=kind), "--value", value)
                self.assertEqual((status, err), (0, ""))
                self.assertEqual(json.loads(out), {"value": expected})
        self.assertEqual(self.sql(HEADER.format(type="integer").replace("SELECT {value}", "SELECT 7-{value}"), "--value", "-5")[1], '{"value": 12}\n')
        self.assertEqual(self.sql(HEADER.format(type="integer") + "LIMIT {value}", "--value", "1")[1], '{"value": 1}\n')

    def test_sql_can_only_read(self):
        for statement in (f"DROP TABLE {DATABASE}.captures_stored", f"INSERT INTO {DATABASE}.captures_stored (device) VALUES ('x')",
                          "CREATE TABLE t (a UInt8) ENGINE = Memory", "SET readonly = 0", "SELECT 1; SELECT 2",
                          f"ALTER TABLE {DATABASE}.captures_stored DELETE WHERE 1", "KILL QUERY WHERE 1", ""):
            with self.subTest(statement):
                self.refused(statement)
        self.assertEqual(CLUSTER.rows(f"SELECT count() AS n FROM {DATABASE}.captures"), [{"n": 2}])

    def test_tables_in_conditions_are_those_of_all_shards(self):
        """Without GLOBAL, which SQLite does not know."""
        status, out, err = self.sql("SELECT count(*) AS n FROM captures WHERE records IN (SELECT max(records) FROM captures)")
        self.assertEqual((status, out, err), (0, '{"n": 1}\n', ""))

    def test_wrong_sql_and_limits(self):
        self.assertIn("foo", self.refused("SELECT foo FROM records"))
        self.assertIn("Timeout exceeded", self.refused("SELECT max(number) FROM system.numbers", "--timeout", "1"))
        self.assertIn("FORMAT", self.refused("SELECT 1 FORMAT JSON"))

    def test_wrong_password(self):
        wrong = self.folder / "wrong"
        wrong.write_text("default\nhunter2\n")
        wrong.chmod(0o600)
        status, out, err = self.ask("population", credentials=wrong)
        self.assertEqual((status, out), (1, ""))
        self.assertEqual(err, f"velstat: {CLUSTER.url()}: the server does not accept the user and the password; they come from "
                         "--credentials, or VELSTAT_FLEET_USER and VELSTAT_FLEET_PASSWORD\n")

    def test_database_without_tables_and_of_another_version(self):
        for database, words in (("nowhere", "the database 'nowhere' has no tables of a fleet"), ("default", "the database 'default' has no tables of a fleet")):
            status, out, err = run("fleet", "ask", "population", "--database", database, "--to", CLUSTER.url(), "--credentials", CLUSTER.credentials)
            self.assertEqual((status, out), (1, ""))
            self.assertIn(words, err)
        other = DATABASE + "_other"
        CLUSTER.sql(f"CREATE DATABASE {other}")
        CLUSTER.sql(f"CREATE VIEW {other}.schema_version AS SELECT toUInt32(1) AS version, 'old' AS definition")
        status, out, err = run("fleet", "ask", "population", "--database", other, "--to", CLUSTER.url(), "--credentials", CLUSTER.credentials)
        self.assertEqual((status, out), (1, ""))
        self.assertIn("another version of velstat", err)

    def test_usage(self):
        for arguments, words in (([], "one question is required"), (["population", "--sql", "x.sql"], "one question is required"),
                                 (["population", "more"], "'more' is not a parameter"), (["population", "--least"], "--least has no value"),
                                 (["population", "--least", "1", "--least", "2"], "--least is there twice")):
            with self.subTest(words):
                status, out, err = run("fleet", "ask", *arguments)
                self.assertEqual((status, out), (2, ""))
                self.assertIn(words, err)
        self.assertIn("line 4: --format is an option of the command", self.refused(HEADER.format(type="day").replace("value", "format")))

    def test_table_fits_a_terminal(self):
        path = self.folder / "wide.sql"
        path.write_text(f"SELECT concat(toString(number), '{'x' * 300}') AS a, 'same' AS b, number FROM system.numbers LIMIT 3")
        text = run_on_terminal("fleet", "ask", "--sql", str(path), "--database", DATABASE, "--to", CLUSTER.url(), "--credentials",
                               CLUSTER.credentials, "--color=never", columns=60)
        self.assertLessEqual(max(map(len, text.splitlines())), 60)
        self.assertRegex(text, r"(?m)^0x{40,}…  same  0$")


if __name__ == "__main__":
    unittest.main()
