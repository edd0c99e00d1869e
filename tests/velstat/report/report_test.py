"""velstat report: what is in the page, against triage and query; what it refuses; which records a large input leaves."""

import base64
import json
import pathlib
import re
import subprocess
import tempfile
import unittest

from command import VELSTAT, run

MODELS = pathlib.Path(__file__).parents[3] / "models"
LIMIT = 100_000


def element(page, name):
    return re.search(f' id="{name}">([^<]*)<', page)[1]


def query(path, sql):
    status, out, err = run("query", "--format", "json", str(path), sql)
    assert (status, err) == (0, ""), err
    return [list(json.loads(line).values()) for line in out.splitlines()]


class WithFolder(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.temporary.cleanup)
        cls.folder = pathlib.Path(cls.temporary.name)

    @classmethod
    def capture(cls, model):
        path = cls.folder / model
        if not path.exists():
            subprocess.run([VELSTAT, "capture", "--model", MODELS / f"{model}.json", "--out", path], check=True, capture_output=True)
        return path

    @classmethod
    def generate(cls, name, *options):
        path = cls.folder / name
        with open(path, "wb") as file:
            subprocess.run([VELSTAT, "generate", "records", "--seed", "5", *options], check=True, stdout=file)
        return path

    def report(self, *arguments):
        page = self.folder / "page.html"
        status, _, err = run("report", *map(str, arguments), "-o", str(page))
        self.assertEqual((status, err), (0, ""))
        return page.read_text()

    def data(self, *arguments):
        return json.loads(element(self.report(*arguments), "data"))


class Content(WithFolder):
    def test_findings_are_those_of_triage(self):
        for model in ["actuator-timeout", "firmware-restart", "refusing-driver", "default"]:
            with self.subTest(model):
                capture = self.capture(model)
                expected = json.loads(run("triage", "--format", "json", str(capture))[1])["findings"]
                found = self.data(capture)["findings"]
                keys = ["rule", "severity", "text", "why", "next"]
                self.assertEqual([[each[key] for key in keys] for each in found], [[each[key] for key in keys] for each in expected])

    def test_evidence_is_the_number_of_the_record(self):
        capture = self.capture("actuator-timeout")
        finding = self.data(capture)["findings"][0]
        self.assertEqual(finding["rule"], "actuator-timeout")
        [[trace]] = query(capture, f"SELECT trace FROM zorb_event WHERE rowid = {finding['evidence']['record']}")
        self.assertEqual(trace, "ckp_HaldenStartHaptics")

    def test_records_are_those_of_the_capture(self):
        capture = self.capture("default")
        page = self.report(capture)
        raw = subprocess.run([VELSTAT, "decode", "--format", "raw", capture], check=True, capture_output=True).stdout
        self.assertEqual(base64.b64decode(element(page, "record-bytes"), validate=True), raw)
        records = json.loads(element(page, "data"))["records"]
        self.assertEqual((records["count"], records["parts"]), (len(raw) // 48, [[1, len(raw) // 48]]))
        counted = query(capture, "SELECT category, count(*) FROM records GROUP BY 1 ORDER BY 1")
        self.assertEqual(sorted(records["categories"]), counted)

    def test_tables_are_those_of_the_capture(self):
        capture = self.capture("default")
        tables = self.data(capture)["device"]["tables"]
        self.assertEqual(len(tables["log"]["rows"]), query(capture, "SELECT count(*) FROM log")[0][0])
        self.assertEqual(len(tables["assets"]["rows"]), 51)
        self.assertEqual({row[3] for row in tables["assets"]["rows"]}, {"Slow", "Medium", "Fast"})
        self.assertEqual(len({row[1] for row in tables["sensors"]["rows"]}), 5)
        shown = sum(len(tables[name]["rows"]) for name in ["assets", "sensors", "reports"])
        self.assertEqual(shown, query(capture, "SELECT count(*) FROM state WHERE value NOT GLOB '*binary-data*'")[0][0])

    def test_presses_have_their_steps(self):
        tables = self.data(self.capture("actuator-timeout"))["device"]["tables"]
        columns = tables["marks"]["columns"]
        steps = [dict(zip(columns, row)) for row in tables["marks"]["rows"]]
        self.assertEqual([each["label"] for each in steps if each["press"] == 1 and each["lane"] == "Haptic"], ["start", "timeout"])
        self.assertEqual(len(tables["presses"]["rows"]), 2)

    def test_latencies_are_counted(self):
        capture = self.capture("default")
        found = {each["kind"]: each for each in self.data(capture)["device"]["latencies"]}["Button edge to haptic"]
        times = query(capture, "SELECT timestamp, trace FROM zorb_event WHERE trace IN ('ckp_ZORBButtonDown', 'ckp_ZORBButtonUp', 'ckp_HaldenPlayAsset')")
        expected = sorted(play - edge for (edge, first), (play, second) in zip(times, times[1:])
                          if "Play" in second and "Play" not in first)
        self.assertEqual((found["count"], found["min"], found["max"]), (len(expected), expected[0], expected[-1]))
        self.assertEqual(found["p50"], expected[(len(expected) - 1) // 2])
        self.assertEqual(sum(count for _, count in found["distribution"]), len(expected))
        self.assertEqual(sorted(point[1] for point in found["course"]), expected)
        [[slowest]] = query(capture, f"SELECT timestamp FROM records WHERE rowid = {found['slowest']}")
        self.assertIn([slowest, "ckp_HaldenPlayAsset"], times)

    def test_a_reference_has_the_same_parts(self):
        good, bad = self.capture("default"), self.capture("actuator-timeout")
        self.assertIsNone(self.data(bad)["reference"])
        data = self.data(bad, "--against", good)
        self.assertEqual(data["reference"], self.data(good)["device"])
        self.assertEqual(data["device"]["tables"], self.data(bad)["device"]["tables"])

    def test_the_default_device_takes_less_than_a_megabyte(self):
        self.assertLess(len(self.report(self.capture("default"))), 1_000_000)

    def test_text_cannot_end_its_element(self):
        lines = self.folder / "hostile"
        (lines).mkdir()
        (lines / "manifest.json").write_text(json.dumps({"device": "</script><script>alert(1)</script><!--", "services": []}))
        (lines / "log.jsonl").write_text(json.dumps({"time": "2026-11-21T21:01:35.861772Z", "level": "error", "subsystem": "s",
                                                     "category": "c", "message": "<img src=x>]]><!--<script>"}) + "\n")
        page = self.report(lines)
        data = json.loads(element(page, "data"))
        self.assertEqual(data["device"]["inputs"][0]["device"], "</script><script>alert(1)</script><!--")
        self.assertEqual(page.count("</script>"), 4)
        self.assertNotIn("<img", page)


class ManyRecords(WithFolder):
    def test_up_to_the_limit_all_are_kept(self):
        path = self.generate("limit.bin", "--count", str(LIMIT))
        records = self.data(path)["records"]
        self.assertEqual((records["count"], records["parts"]), (LIMIT, [[1, LIMIT]]))

    def test_beyond_it_those_that_matter_are_kept(self):
        path = self.generate("many.bin", "--count", "400000")
        page = self.report(path)
        data = json.loads(element(page, "data"))
        parts = data["records"]["parts"]
        kept = base64.b64decode(element(page, "record-bytes"))
        raw = path.read_bytes()
        self.assertEqual(kept, b"".join(raw[48 * (first - 1):48 * (first - 1 + count)] for first, count in parts))
        self.assertLessEqual(len(kept), 48 * LIMIT)
        self.assertGreater(len(kept), 48 * LIMIT // 2)
        numbers = {number for first, count in parts for number in range(first, first + count)}
        self.assertTrue({1, 400000} <= numbers)
        presses = data["device"]["tables"]["presses"]
        first, last = (presses["columns"].index(name) for name in ["first_record", "last_record"])
        wanted = [number for row in presses["rows"] for number in range(row[first], row[last] + 1)]
        wanted += [each["evidence"]["record"] for each in data["findings"] if each["evidence"]["record"]]
        wanted += [each["slowest"] for each in data["device"]["latencies"]]
        self.assertEqual([number for number in wanted if number not in numbers], [])
        # No stretch is without any: the longest that is left out is far below a hundredth of all.
        gaps = [second[0] - first[0] - first[1] for first, second in zip(parts, parts[1:])]
        self.assertLess(max(gaps), 4000)
        # The rules were shared by two threads.
        expected = json.loads(run("triage", "--format", "json", str(path))[1])["findings"]
        self.assertEqual([each["text"] for each in data["findings"]], [each["text"] for each in expected])


class Refusals(WithFolder):
    def check(self, arguments, status, message, output="out.html"):
        out = self.folder / output
        with self.subTest(arguments):
            done = run("report", *map(str, arguments), "-o", str(out))
            self.assertEqual((done[0], done[1]), (status, ""))
            self.assertEqual(done[2].count("\n"), 1, done[2])
            self.assertIn(message, done[2])
            self.assertEqual(list(self.folder.glob("out.html*")), [])

    def test_bad_inputs_are_one_line_and_leave_no_file(self):
        empty = self.folder / "empty.bin"
        empty.write_bytes(b"")
        text = self.folder / "text.txt"
        text.write_text("hello\n")
        bare = self.folder / "bare"
        bare.mkdir(exist_ok=True)
        self.check([self.folder / "missing"], 1, "missing: No such file or directory")
        self.check([empty], 1, "nothing to show")
        self.check([text], 1, "refused: text without lines of profile records")
        self.check([bare], 1, "bare: an empty folder")
        self.check(["-"], 1, "standard input: a report reads its inputs several times")
        self.check([empty, "--against", "-"], 1, "standard input")

    def test_a_page_that_cannot_be_written_is_one_line(self):
        capture = self.capture("default")
        self.check([capture], 1, "No such file or directory", "nowhere/out.html")
        self.check([capture], 1, "not a regular file", "/dev/null")
        self.check([capture], 1, "is an input, which --output would overwrite", capture / "log.jsonl")
        self.assertTrue((capture / "log.jsonl").read_text())

    def test_what_can_be_read_is_shown_and_the_rest_reported(self):
        page = self.folder / "partly.html"
        status, out, err = run("report", str(self.capture("default")), str(self.folder / "missing"), "-o", str(page))
        self.assertEqual((status, err), (1, f"velstat: {self.folder}/missing: No such file or directory\n"))
        self.assertEqual(out, f"{page}: nothing found; 3328 records\n")
        self.assertEqual(len(json.loads(element(page.read_text(), "data"))["device"]["inputs"]), 2)

    def test_wrong_usage(self):
        for arguments, message in [([], "INPUT is required"), (["x"], "--output is required"), (["x", "-o", "y", "--timeout", "x"], "--timeout")]:
            with self.subTest(arguments):
                status, out, err = run("report", *arguments)
                self.assertEqual((status, out), (2, ""))
                self.assertIn(message, err)


if __name__ == "__main__":
    unittest.main()
