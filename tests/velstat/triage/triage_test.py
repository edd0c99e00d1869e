"""velstat triage, through the real command: what it says of each device model, and of wrong inputs and rules.

usage: triage_test.py SOURCE_FOLDER"""

import fcntl
import json
import os
import pathlib
import pty
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import termios
import unittest

from command import ENVIRONMENT, VELSTAT, binary, run

ROOT = pathlib.Path(sys.argv.pop())
MODELS = ROOT / "models"
SAMPLES = ROOT / "rules" / "samples"

# The rule of the first finding: the model's own fault.
FIRST = {
    "default": None,
    "idle": None,
    "actuator-timeout": "actuator-timeout",
    "amplifier-timeout": "amplifier-timeout",
    "clock-jump": "clock-jump",
    "damaged-log": "damaged-log",
    "double-click": "double-click-split",
    "dropped-events": "sensor-drops",
    "failing-sensor": "handler-no-answer",
    "firmware-restart": "firmware-restart",
    "garbage": "firmware-restart",  # random numbers look like many restarts
    "refusing-driver": "handler-no-answer",
}

RULE = """-- title: A title
-- severity: note
-- finding: {n} things
-- why: because
-- next: look
"""


def findings(*arguments, status=None):
    """The findings of a run without complaints, and its exit status unless it is given."""
    code, out, err = run("triage", "--format", "json", *map(str, arguments))
    assert err == "", err
    found = json.loads(out)["findings"]
    assert code == (status if status is not None else 1 if found else 0), (code, found)
    return found


class Captures(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp())
        for model in MODELS.glob("*.json"):
            if model.stem != "device-model.schema":
                status, _, err = run("capture", "--model", model, "--out", cls.folder / model.stem)
                assert (status, err) == (0, ""), (model, err)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def test_each_model_s_own_fault_comes_first(self):
        self.assertEqual({path.name for path in self.folder.iterdir()}, set(FIRST))
        for name, rule in FIRST.items():
            with self.subTest(name):
                found = findings(self.folder / name)
                self.assertEqual(found[0]["rule"] if found else None, rule)

    def test_only_healthy_models_have_no_findings_against_the_default_device(self):
        healthy = {name for name in FIRST if not findings(self.folder / name, "--against", self.folder / "default")}
        self.assertEqual(healthy, {"default", "idle"})

    def test_worst_first(self):
        order = ["error", "warning", "note"]
        for name in FIRST:
            severities = [order.index(finding["severity"]) for finding in findings(self.folder / name)]
            self.assertEqual(severities, sorted(severities), name)

    def test_a_sensor_that_failed_is_named_with_its_result_in_words(self):
        finding = findings(self.folder / "failing-sensor")[0]
        self.assertEqual(finding["text"], "'Gyro' left 1 of 1 questions unanswered: timed out (0xe00002d6).")

    def test_evidence_is_where_it_was_seen(self):
        """The file and line of a record, the file and path of a value."""
        for name in FIRST:
            for finding in findings(self.folder / name):
                evidence = finding["evidence"]
                self.assertEqual(evidence["source"], str(self.folder / name))
                if "file" not in evidence:
                    continue
                document = run("show", "--format", "json", evidence["file"])
                self.assertEqual(document[0], 0, document)
                self.assertEqual(json.loads(document[1])["title"], evidence["title"])
                if "path" in evidence:
                    self.assertEqual(run("show", "--path", evidence["path"], evidence["file"])[0], 0, evidence)
        finding = findings(self.folder / "actuator-timeout")[0]
        shown = json.loads(run("show", "--format", "json", finding["evidence"]["file"])[1])
        self.assertIn("ckp_HaldenStartHaptics", shown["value"][finding["evidence"]["position"]])

    def test_commands_that_rules_suggest_work(self):
        """On a capture that has everything."""
        source = str(self.folder / "default")
        tried = 0
        for rule in (ROOT / "rules").glob("*.sql"):
            header = re.split(r"\n(?!--)", rule.read_text())[0]
            text = re.sub(r"\n-- +", " ", header).replace("{source}", source).replace("{report}", "0")
            text = text.replace("{component}", "uart1").replace("{event}", "SingleDown").replace("--against GOOD", f"--against {source}")
            for sql in re.findall(r'velstat query \S+ "([^"]+)"', text):
                tried += 1
                status, out, err = run("query", source, sql)
                self.assertEqual((status, err), (0, ""), rule)
            for command in re.findall(r"velstat ((?:decode|tally|triage) \S+?(?: --[a-z]+ [\w/.-]+)*)(?=[\s:;,]|\.\s|\.?$)", text):
                tried += 1
                status, out, err = run(*command.rstrip(".").split())
                self.assertEqual((status, err), (0, ""), (rule, command))
        self.assertGreater(tried, 35)

    def test_several_captures_are_told_apart(self):
        found = findings(self.folder / "dropped-events", self.folder / "failing-sensor", self.folder / "default")
        self.assertEqual([(finding["rule"], pathlib.Path(finding["evidence"]["source"]).name) for finding in found],
                         [("handler-no-answer", "failing-sensor"), ("sensor-drops", "dropped-events"),
                          ("failed-checks", "failing-sensor")])

    def test_fail_on(self):
        path = self.folder / "dropped-events"  # a warning
        for severity, status in (("note", 1), ("warning", 1), ("error", 0)):
            self.assertEqual(run("triage", "--fail-on", severity, path)[0], status, severity)

    def test_text(self):
        status, out, err = run("triage", "dropped-events", cwd=self.folder)
        self.assertEqual((status, err), (1, ""))
        self.assertEqual(out, f"""1 warning ({len(list((ROOT / 'rules').glob('*.sql')))} rules)

warning  sensor-drops
         20.0 % of the events of 'gyro' were dropped: 9620 of 48098, the last
         one 0.030 s before its newest event.
  where  dropped-events/108-SensorInfo.state: APEvents
  why    Dropped events never reach the programs that subscribed: motion looks
         jerky, steps are missed. Up to 1 % in bursts is usual.
  next   Events are dropped when the queue of the user client is full: look for
         a subscriber that does not read (client0 … of this report), or for
         intervals that are too short.
""")
        self.assertRegex(run("triage", self.folder / "default")[1], r"\Anothing found \(\d+ rules\)\n\Z")

    def terminal(self, columns, *arguments, **environment):
        """What a terminal of that width gets, among the captures."""
        ours, theirs = pty.openpty()
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        process = subprocess.Popen([VELSTAT, *map(str, arguments)], stdout=theirs, cwd=self.folder,
                                   env={**ENVIRONMENT, **environment})
        os.close(theirs)
        output = b""
        try:
            while block := os.read(ours, 65536):
                output += block
        except OSError:  # the other side is closed
            pass
        os.close(ours)
        process.wait(60)
        return output.decode().replace("\r\n", "\n")

    def test_lines_fit_the_terminal(self):
        for columns in (60, 80, 200):
            for name in FIRST:
                for line in self.terminal(columns, "triage", name, NO_COLOR="1").splitlines():
                    self.assertLessEqual(len(line), min(columns, 100), line)
        for line in self.terminal(80, "triage", "--list", NO_COLOR="1").splitlines():
            self.assertLessEqual(len(line), 80, line)
        for line in run("triage", "--help")[1].splitlines():
            self.assertLessEqual(len(line), 80, line)

    def test_severities_have_colours_on_a_terminal_only(self):
        out = self.terminal(80, "triage", self.folder / "amplifier-timeout")
        self.assertIn("\x1b[31merror", out)
        self.assertIn("\x1b[33mwarning", out)
        self.assertNotIn("\x1b", self.terminal(80, "triage", self.folder / "amplifier-timeout", NO_COLOR="1"))
        self.assertNotIn("\x1b", run("triage", self.folder / "amplifier-timeout")[1])

    def test_an_input_that_cannot_be_read_is_3_and_the_rest_is_triaged(self):
        empty = self.folder.parent / (self.folder.name + "-empty")
        empty.mkdir()
        self.addCleanup(empty.rmdir)
        for bad in (self.folder / "missing", empty):
            status, out, err = run("triage", bad, self.folder / "dropped-events")
            self.assertEqual((status, err.count("\n")), (3, 1), err)
            self.assertRegex(err, rf"\Avelstat: {re.escape(str(bad))}: ")
            self.assertTrue(out.startswith("1 warning in what could be examined ("), out)
            self.assertIn("sensor-drops", out)
            status, out, err = run("triage", bad)
            self.assertEqual((status, out, err.count("\n")), (3, "", 1), err)
            status, out, err = run("triage", self.folder / "default", "--against", bad)
            self.assertEqual((status, err.count("\n")), (3, 1), err)


class Small(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def rule(self, name, text):
        (self.folder / name).write_text(text)
        return self.folder

    def test_reference_widens_what_is_found(self):
        sample = SAMPLES / "late-haptic.jsonl"
        self.assertEqual([finding["rule"] for finding in findings(sample)], ["haptic-latency-outlier"])
        self.assertEqual([finding["rule"] for finding in findings(sample, "--against", SAMPLES / "press.jsonl")],
                         ["latency-against-reference", "haptic-latency-outlier"])
        self.assertEqual(findings(SAMPLES / "press.jsonl", "--against", SAMPLES / "press.jsonl"), [])

    def test_pipes_are_read_as_often_as_rules_need(self):
        for name in ("late-haptic.jsonl", "sensor-bad.plist", "damaged-lines.txt"):
            content = (SAMPLES / name).read_bytes()
            status, out, err = run("triage", "--format", "json", "-", stdin=content)
            self.assertEqual((status, err), (1, ""))
            piped, named = json.loads(out)["findings"], findings(SAMPLES / name)
            self.assertEqual([finding["text"] for finding in piped], [finding["text"] for finding in named])
            self.assertEqual({finding["evidence"]["source"] for finding in piped}, {"standard input"})
        for left in (["triage", "-"], ["triage", "-", "--against", SAMPLES / "press.jsonl"]):
            self.assertEqual(run(*left, stdin=b"")[0], 0)

    def test_raw_records(self):
        raw = self.folder / "records.bin"
        raw.write_bytes(subprocess.run([VELSTAT, "decode", "--format", "raw", SAMPLES / "restart.jsonl"], check=True,
                                       stdout=subprocess.PIPE).stdout)
        found = findings(raw)
        self.assertEqual([finding["rule"] for finding in found], ["firmware-restart"])
        self.assertEqual(found[0]["evidence"]["position"] % 48, 0)

    def test_damage_is_a_finding_and_not_an_error(self):
        found = findings(SAMPLES / "damaged-lines.txt", status=1)
        self.assertEqual(found[0]["text"], "The log is damaged: 1 record whose words contradict their bytes, "
                                           "1 record without their 48 bytes.")

    def test_list_has_a_line_for_each_rule(self):
        lines = run("triage", "--list")[1].splitlines()
        self.assertEqual(len(lines), len(list((ROOT / "rules").glob("*.sql"))))
        self.assertIn("error    firmware-restart", "\n".join(line[:25] for line in lines))
        self.rule("mine.sql", RULE + "SELECT 1 AS n")
        own = run("triage", "--list", "--rules", self.folder)[1].splitlines()
        self.assertEqual(len(own), len(lines) + 1)
        self.assertRegex(own[-1], r"note +mine +A title")

    def test_rules_of_one_s_own(self):
        self.rule("mine.sql", RULE + "SELECT count(*) AS n, source FROM records GROUP BY source")
        found = findings("--rules", self.folder, SAMPLES / "press.jsonl")
        self.assertEqual([(finding["rule"], finding["text"]) for finding in found], [("mine", "34 things")])

    def test_only_the_rules_that_are_named(self):
        self.rule("mine.sql", RULE + "SELECT 1 AS n")
        for names, rules in ((["stuck-button"], []), (["mine"], ["mine"]), (["stuck-button", "mine"], ["mine"])):
            options = [word for name in names for word in ("--rule", name)]
            with self.subTest(names):
                found = findings("--rules", self.folder, *options, SAMPLES / "late-haptic.jsonl")
                self.assertEqual([finding["rule"] for finding in found], rules)
                listed = run("triage", "--list", "--rules", self.folder, *options)[1].splitlines()
                self.assertEqual(sorted(line.split()[1] for line in listed), sorted(names))
        self.assertGreater(len(findings("--rules", self.folder, SAMPLES / "late-haptic.jsonl")), 1)

    def test_a_rule_of_the_same_name_takes_the_place_of_the_shipped_one(self):
        self.rule("haptic-latency-outlier.sql", RULE + "SELECT 1 AS n WHERE 0")
        self.assertEqual(findings("--rules", self.folder, SAMPLES / "late-haptic.jsonl"), [])

    def test_wrong_rules_are_one_line_and_2(self):
        for text, message in (
                (RULE + "SELECT nn AS n FROM log", "the SQL, line 6, column 8: no such column: nn; "),
                (RULE + "SELECT 1 AS m", "line 3: {n} is not a column of the query, which has m"),
                (RULE.replace("severity: note", "severity: bad") + "SELECT 1 AS n", "line 2: 'severity' is one of note"),
                (RULE.replace("-- why", "-- wyh") + "SELECT 1 AS n", "line 4: 'wyh' is unknown; did you mean 'why'?"),
                ("SELECT 1 AS n", "line 1: a rule begins with comments"),
                (RULE + "DROP TABLE records", "the SQL"),
                (RULE + "INSERT INTO log VALUES (1)", "the SQL"),
                (RULE + "ATTACH 'x.sqlite' AS x", "the SQL may only read"),
                (RULE + "SELECT load_extension('x') AS n", "the SQL"),
                (RULE, "the SQL holds no statement")):
            with self.subTest(message):
                self.rule("bad.sql", text)
                before = sorted(self.folder.iterdir())
                status, out, err = run("triage", "--rules", self.folder, "--timeout", "1", SAMPLES / "press.jsonl")
                self.assertEqual((status, out, err.count("\n")), (2, "", 1), err)
                self.assertTrue(err.startswith(f"velstat: {self.folder / 'bad.sql'}: {message}"), err)
                self.assertEqual(sorted(self.folder.iterdir()), before)

    def test_a_rule_that_never_ends_is_3_and_the_others_go_on(self):
        never = "WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM c) SELECT count(*) AS n FROM c"
        large = "WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM c) SELECT n FROM c ORDER BY hex(zeroblob(9999))"
        for sql, limit, message in (
                (never, "2", "the SQL has not ended within 2 s and was stopped; --timeout gives it more time"),
                (large, "0", "the SQL needs more than the 512 MiB of memory that it may use")):
            self.rule("bad.sql", RULE + sql)
            status, out, err = run("triage", "--rules", self.folder, "--timeout", limit, SAMPLES / "gap.jsonl")
            self.assertEqual((status, err), (3, f"velstat: {self.folder / 'bad.sql'}: {message}\n"))
            self.assertIn("warning  log-gaps", out)

    def test_a_function_of_a_rule_that_takes_minutes_ends_the_command_with_3(self):
        repeated = ", ".join(["nullif(printf('%.*c', 2147483647, 'x'), 1)"] * 50)
        self.rule("bad.sql", RULE + f"SELECT coalesce({repeated}) AS n")
        self.assertEqual(run("triage", "--rules", self.folder, "--timeout", "1", SAMPLES / "gap.jsonl"),
                         (3, "", "velstat: the SQL has not ended within 1 s and was stopped; --timeout gives it more time\n"))

    def test_wrong_folders_of_rules(self):
        for folder, message in ((self.folder, "a folder of 1 to 1000 rules (*.sql) is expected; it has 0"),
                                (self.folder / "none", "No such file or directory"),
                                (SAMPLES / "press.jsonl", "Not a directory")):
            status, out, err = run("triage", "--rules", folder, SAMPLES / "press.jsonl")
            self.assertEqual((status, out, err), (2, "", f"velstat: {folder}: {message}\n"))
        os.mkfifo(self.folder / "pipe.sql")
        self.assertEqual(run("triage", "--rules", self.folder, SAMPLES / "press.jsonl")[0], 3)

    def test_self_test(self):
        count = len(list((ROOT / "rules").glob("*.sql")))
        self.assertEqual(run("triage", "--self-test"),
                         (0, f"{count} rules: each is triggered by its sample, and not by its clean one\n", ""))
        shutil.copy(SAMPLES / "press.jsonl", self.folder / "press.jsonl")
        samples = "-- triggers: press.jsonl\n-- clean: press.jsonl\n"
        self.rule("mine.sql", RULE + samples + "SELECT 1 AS n FROM records LIMIT 1")
        status, out, err = run("triage", "--self-test", "--rules", self.folder)
        self.assertEqual((status, out, err),
                         (1, "", f"velstat: {self.folder}/mine.sql: finds something in its sample press.jsonl\n"))

    def test_self_test_leaves_nothing(self):
        environment = {**ENVIRONMENT, "TMPDIR": str(self.folder)}
        subprocess.run([VELSTAT, "triage", "--self-test"], env=environment, check=True, stdout=subprocess.DEVNULL)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_wrong_usage(self):
        for arguments, message in (([], "triage: an input is required"),
                                   (["--fail-on", "all", "x"], "--fail-on: all not in {note,warning,error}"),
                                   (["--timeout", "-1", "x"], "--timeout: '-1' is not a number from 0 to 1000000"),
                                   (["--rule", "stuck-buton", "x"],
                                    "--rule: there is no rule 'stuck-buton'; did you mean 'stuck-button'?"),
                                   (["--rule", "stuck-button", "--self-test"], "--rule excludes --self-test"),
                                   (["--format", "csv", "x"], "--format: csv not in {text,json}")):
            self.assertEqual(run("triage", *arguments), (2, "", f"velstat: {message}\n"))

    def test_device_text_is_escaped(self):
        report = {"sensorType": "\x1b[31mgyro\n", "reportInterval": 1, "manufacturer": "", "model": "m", "client0": "c"}
        (self.folder / "s.plist").write_bytes(binary(report))
        status, out, err = run("triage", self.folder / "s.plist")
        self.assertEqual((status, err), (1, ""))
        self.assertIn(r"The sensor '\x1B[31mgyro\n' does not tell its manufacturer.", out)
        self.assertNotIn("\x1b", out)

    def test_random_records_end(self):
        """Bytes that mean nothing give findings, and no errors."""
        import random
        (self.folder / "r.bin").write_bytes(random.Random(7).randbytes(48 * 20_000))
        found = findings(self.folder / "r.bin")
        self.assertIn("damaged-log", [finding["rule"] for finding in found])


if __name__ == "__main__":
    unittest.main()
