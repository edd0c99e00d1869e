"""velstat generate fleet: a whole folder or none, the same for a seed, and the faults that its truth tells.

usage: fleet_test.py SCHEMA"""

import collections
import json
import os
import resource
import signal
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import jsonschema

from command import ENVIRONMENT, VELSTAT, run

SCHEMA = json.loads(Path(sys.argv.pop(1)).read_text())
DEVICES = 64

# Which rule of triage finds a fault. One finding may be the consequence of another one.
RULES = {
    "actuator-timeout": "actuator-timeout",
    "amplifier-timeout": "amplifier-timeout",
    "failing-sensor": "handler-no-answer",
    "dropped-events": "sensor-drops",
    "firmware-restart": "firmware-restart",
    "clock-jump": "clock-jump",
    "damaged-log": "damaged-log",
}


def generate(folder, *options, name="fleet"):
    return run("generate", "fleet", "--out", name, *options, cwd=folder)


def files(folder):
    return {str(path.relative_to(folder)): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


def rows(*arguments):
    status, out, error = run("query", "--format", "json", *arguments)
    assert status == 0, error
    return [json.loads(line) for line in out.splitlines()]


class Fleet(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.fleet = Path(folder.name) / "fleet"
        assert generate(folder.name, "--seed", "10", "--devices", str(DEVICES)) == (0, "", "")
        cls.truth = json.loads((cls.fleet / "truth.json").read_text())
        cls.list = [json.loads(line) for line in (cls.fleet / "captures.jsonl").read_text().splitlines()]

    def fits(self, definition, value):
        jsonschema.Draft202012Validator({**SCHEMA, "$ref": f"#/$defs/{definition}"}).validate(value)

    def test_json_fits_the_schema(self):
        self.fits("fleet truth", self.truth)
        for line in self.list:
            self.fits("fleet capture", line)
            self.fits("manifest", json.loads((self.fleet / line["path"] / "manifest.json").read_text()))

    def test_list_names_every_capture_once(self):
        self.assertEqual(sorted(line["path"] for line in self.list),
                         sorted(f"captures/{path.name}" for path in (self.fleet / "captures").iterdir()))
        self.assertEqual(len({line["device"] for line in self.list}), DEVICES)

    def test_devices_are_spread_evenly_over_builds_and_lots(self):
        cells = collections.Counter((line["build"], line["lot"]) for line in self.list)
        self.assertEqual(set(cells.values()), {DEVICES // 16})

    def test_truth_counts_the_faults_of_the_devices(self):
        planted = collections.Counter((fault, line["build"], line["lot"]) for line in self.list
                                      for fault in self.truth["faults by device"][line["device"]])
        for row in self.truth["faults"]:
            self.assertEqual((row["planted"], row["devices"]), (planted[row["fault"], row["build"], row["lot"]], DEVICES // 16))
        only = {faults[0] for faults in self.truth["faults by device"].values() if len(faults) == 1}
        self.assertEqual(only, set(RULES) | {"unbatched-client"}, "each comes up without others")

    def test_triage_finds_what_was_planted_and_nothing_else(self):
        for device, faults in self.truth["faults by device"].items():
            with self.subTest(device):
                _, out, _ = run("triage", "--format", "json", str(self.fleet / "captures" / device))
                found = {finding["rule"] for finding in json.loads(out)["findings"]}
                self.assertEqual(found & set(RULES.values()), {RULES[fault] for fault in faults if fault in RULES})
                if not faults:  # stalls of the last build do not come from the device
                    self.assertLessEqual(found, {"haptic-latency-outlier"})

    def test_clients_without_a_batch_interval_are_those_of_the_truth(self):
        clients = {Path(row["source"]).name: row["value"] for row in rows(
            *(str(path) for path in (self.fleet / "captures").iterdir()),
            "SELECT source, value FROM state WHERE path = 'client1' AND value LIKE 'stepcountd:%'")}
        self.assertEqual({device for device, value in clients.items() if " batch=0 " in value},
                         {device for device, faults in self.truth["faults by device"].items() if "unbatched-client" in faults})

    def test_haptics_of_the_last_build_come_later(self):
        latencies = collections.defaultdict(list)
        for line in self.list:
            checkpoints = rows(str(self.fleet / line["path"]), "SELECT trace, timestamp FROM zorb_event "
                               "WHERE component = 'latency' AND trace IN ('ckp_HaldenStartHaptics', 'ckp_HaldenPlayAsset')")
            for before, after in zip(checkpoints, checkpoints[1:]):
                if (before["trace"], after["trace"]) == ("ckp_HaldenStartHaptics", "ckp_HaldenPlayAsset"):
                    latencies[line["build"]].append(after["timestamp"] - before["timestamp"])
        *earlier, last = (row["build"] for row in self.truth["latencies"])
        usual = range(1350, 2450)  # the actuator, and what the two checkpoints take
        for build in earlier:
            self.assertLessEqual(set(latencies[build]), set(usual))
        stalls = {value for value in latencies[last] if value > 15000}
        self.assertLessEqual({value - 400 for value in set(latencies[last]) - stalls}, set(usual))
        self.assertLessEqual({value - 15400 for value in stalls}, set(usual))
        self.assertGreater(len(stalls), 0)

    def test_a_capture_has_as_many_records_as_were_asked_for(self):
        whole = next(device for device, faults in self.truth["faults by device"].items()
                     if "damaged-log" not in faults)
        self.assertEqual(rows(str(self.fleet / "captures" / whole), "SELECT count(*) AS n FROM records"), [{"n": 512}])


class Command(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def test_a_seed_gives_the_same_files_and_devices_do_not_depend_on_how_many_there_are(self):
        for name, seed, devices in (("first", 7, 3), ("second", 7, 3), ("larger", 7, 5), ("other", 8, 3)):
            self.assertEqual(generate(self.folder, "--seed", str(seed), "--devices", str(devices), name=name), (0, "", ""))
        first, second, larger, other = (files(self.folder / name) for name in ("first", "second", "larger", "other"))
        self.assertEqual(first, second)
        captures = {name: content for name, content in first.items() if name.startswith("captures/")}
        self.assertLessEqual(captures.items(), larger.items())
        self.assertNotEqual(first, other)

    def test_records_are_rounded_up_to_whole_batches(self):
        self.assertEqual(generate(self.folder, "--devices", "1", "--records", "600"), (0, "", ""))
        capture = str(self.folder / "fleet/captures/unit-000001")
        self.assertEqual(rows(capture, "SELECT count(*) AS n FROM records"), [{"n": 768}])

    def test_an_existing_fleet_is_not_overwritten(self):
        (self.folder / "fleet").mkdir()
        (self.folder / "fleet/mine").write_text("kept")
        self.assertEqual(generate(self.folder), (1, "", "velstat: fleet: exists and is not empty\n"))
        self.assertEqual(files(self.folder), {"fleet/mine": b"kept"})

    def test_wrong_numbers_are_refused(self):
        for option, value in (("--devices", "0"), ("--devices", "100001"), ("--builds", "0"), ("--lots", "65"),
                              ("--records", "511"), ("--records", "2049"), ("--seed", "-1"), ("--devices", "many")):
            with self.subTest(option + value):
                status, out, error = generate(self.folder, option, value)
                self.assertEqual((status, out), (2, ""))
                self.assertIn(option, error)
                self.assertEqual(list(self.folder.iterdir()), [])

    def test_a_fleet_larger_than_the_disk_is_refused_before_anything_is_written(self):
        shared = Path("/dev/shm")  # never has the 183 GB that this takes
        with tempfile.TemporaryDirectory(dir=shared) as folder:
            status, out, error = generate(folder, "--devices", "100000", "--records", "2048")
            self.assertEqual((status, out), (1, ""))
            self.assertRegex(error, r"\Avelstat: fleet: the fleet takes about 183080 MB, of which \d+ are free: .*\n\Z")
            self.assertEqual(os.listdir(folder), [])

    def test_what_cannot_be_written_leaves_nothing(self):
        done = subprocess.run([VELSTAT, "generate", "fleet", "--devices", "2", "--out", "fleet"], cwd=self.folder,
                              env=ENVIRONMENT, capture_output=True, text=True,
                              preexec_fn=lambda: (signal.signal(signal.SIGXFSZ, signal.SIG_IGN),
                                                  resource.setrlimit(resource.RLIMIT_FSIZE, (2000, 2000))))
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, r"\Avelstat: fleet/captures/unit-000001/[^\n]*: File too large\n\Z")
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_a_signal_leaves_nothing(self):
        process = subprocess.Popen([VELSTAT, "generate", "fleet", "--devices", "50000", "--out", "fleet"], cwd=self.folder,
                                   env=ENVIRONMENT, stderr=subprocess.PIPE)
        self.addCleanup(process.kill)
        while not list(self.folder.glob(".vel-new-*/captures/unit-000002")):
            self.assertIsNone(process.poll())
        process.terminate()
        _, error = process.communicate(timeout=60)
        self.assertEqual((process.returncode, error), (-signal.SIGTERM, b""))
        self.assertEqual(list(self.folder.iterdir()), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
