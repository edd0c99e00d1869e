"""velstat publish and the store of velstat capture: what arrives, asked of velstat tally and of another SQLite."""

import json
import os
import resource
import sqlite3
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path

from command import ENVIRONMENT, VELSTAT, run

CLICKS = "com.tavik.kip.button.click.count"
PICO = "com.tavik.kip.button.click.pico"
UNKNOWN = "com.tavik.kip.unknown"


def entry(op, key, value, version=0x30):
    return struct.pack("<BBBi", version, op, key, value)


class Folder(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.tally = self.folder / "tally.sqlite"
        self.entries = self.folder / "entries.bin"

    def rows(self, file):
        status, out, error = run("tally", "--format", "json", file)
        self.assertEqual((status, error), (0, ""))
        return {(row["key"], row["kind"]): row for row in json.loads(out)}

    def publish(self, *entries, options=()):
        self.entries.write_bytes(b"".join(entries))
        return run("publish", "--tally", self.tally, *options, self.entries)


class Publish(Folder):
    def test_entries_reach_the_store_in_their_order(self):
        self.assertEqual(self.publish(entry(3, 0, 5), entry(3, 0, 7), entry(1, 0, 0), entry(3, 0, 2), entry(2, 47, -1),
                                      entry(8, 7, 98304), entry(255, 7, -65536)),
                         (0, "", f"7 entries published into {self.tally}\n"))
        rows = self.rows(self.tally)
        self.assertEqual(set(rows), {(CLICKS, "scalar"), ("com.tavik.kip.test", "scalar"), (PICO, "distribution")})
        self.assertEqual(rows[CLICKS, "scalar"]["value"], 2)
        self.assertEqual(rows["com.tavik.kip.test", "scalar"]["value"], -1)
        distribution = rows[PICO, "distribution"]
        self.assertEqual([distribution[name] for name in ("count", "sum", "min", "max")], [253, 3 * 1.5 - 250, -1, 1.5])

    def test_entries_of_another_version_are_skipped_and_counted(self):
        self.assertEqual(self.publish(entry(3, 0, 1), entry(3, 0, 10, version=0x31), entry(3, 0, 100, version=0)),
                         (0, "", f"1 entry published into {self.tally}, 2 of another version of the key table "
                                 "skipped\n"))
        self.assertEqual(self.rows(self.tally)[CLICKS, "scalar"]["value"], 1)

    def test_key_beyond_the_table_is_published_as_unknown(self):
        self.publish(entry(3, 200, 4))
        self.assertEqual(self.rows(self.tally)[UNKNOWN, "scalar"]["value"], 4)

    def test_store_is_added_to(self):
        for _ in range(3):
            self.assertEqual(self.publish(entry(3, 0, 2))[0], 0)
        self.assertEqual(self.rows(self.tally)[CLICKS, "scalar"]["value"], 6)

    def test_standard_input_and_more_than_a_batch(self):
        self.assertEqual(run("publish", "--tally", self.tally, "-", stdin=entry(3, 0, 1) * 150000),
                         (0, "", f"150000 entries published into {self.tally}\n"))
        self.assertEqual(self.rows(self.tally)[CLICKS, "scalar"]["value"], 150000)

    def test_no_entries(self):
        self.assertEqual(self.publish(), (0, "", f"0 entries published into {self.tally}\n"))
        self.assertEqual(self.rows(self.tally), {})

    def test_batches_of_the_model_stay_out(self):
        self.publish(entry(2, 47, 3))
        self.assertEqual(set(self.rows(self.tally)), {("com.tavik.kip.test", "scalar")})

    def test_log_goes_to_a_file(self):
        log = self.folder / "log.jsonl"
        self.publish(entry(7, 0, 4096), entry(0, 0, 0, version=0x31), options=("--log", log))
        lines = [json.loads(line) for line in log.read_text().splitlines()]
        self.assertEqual([(line["level"], line["message"]) for line in lines], [
            ("error", f"publishTSData op=0x7 '{CLICKS}' (0)"),
            ("error", "publishTSData veltsreckeys version mismatch (0x31/0x30)")])

    def test_part_of_an_entry_is_refused_and_nothing_is_published(self):
        self.assertEqual(self.publish(entry(3, 0, 1), b"\x30\x03"), (
            1, "", f"velstat: {self.entries}: offset 7: an entry of 2 of its 7 bytes; the file has 9 bytes\n"))
        self.assertFalse(self.tally.exists())

    def test_missing_file(self):
        self.assertEqual(run("publish", "--tally", self.tally, "no/such"),
                         (1, "", "velstat: no/such: No such file or directory\n"))
        self.assertFalse(self.tally.exists())

    def test_model_without_a_taker(self):
        model = self.folder / "model.json"
        model.write_text('{"services": [{"name": "b", "transport": "VEL", "usages": [{"page": 12, "usage": 1}]}]}')
        self.assertEqual(self.publish(entry(3, 0, 1), options=("--model", model)), (
            1, "", 'velstat: no service of the model takes analytics: one needs "KIPSupportsTallyStore" and a '
                   "device\n"))
        self.assertEqual(self.rows(self.tally), {})

    def test_file_that_is_no_store_is_refused_and_kept(self):
        self.tally.write_text("mine")
        status, out, error = self.publish(entry(3, 0, 1))
        self.assertEqual((status, out), (1, ""))
        self.assertRegex(error, rf"\Avelstat: {self.tally}: [^\n]+\n\Z")
        self.assertEqual(self.tally.read_text(), "mine")

    def test_log_that_cannot_be_opened(self):
        for log, cause in [(self.entries / "log", "Not a directory"), (self.folder / "none" / "log",
                                                                      "No such file or directory")]:
            self.assertEqual(self.publish(entry(3, 0, 1), options=("--log", log)),
                             (1, "", f"velstat: {log}: {cause}\n"))
            self.assertEqual(self.rows(self.tally), {})

    def test_log_that_cannot_be_written_is_told_after_the_report(self):
        self.assertEqual(self.publish(entry(3, 0, 1), options=("--log", "/dev/full")), (
            1, "", f"1 entry published into {self.tally}\nvelstat: /dev/full: No space left on device\n"))
        self.assertEqual(self.rows(self.tally)[CLICKS, "scalar"]["value"], 1)

    def test_log_in_place_of_another_file_is_refused(self):
        self.publish(entry(3, 0, 5))
        model = self.folder / "model.json"
        model.write_text('{"services": []}')
        (self.folder / "link").symlink_to(self.tally)
        (self.folder / "hard").hardlink_to(self.entries)
        new = self.folder / "new.sqlite"
        before = {path: path.read_bytes() for path in self.folder.iterdir()}
        for log, tally, what in [
                (self.tally, self.tally, "the store"), (self.folder / "link", self.tally, "the store"),
                (new, new, "the store"), (self.folder / "." / "new.sqlite", f"{self.folder}/x/../new.sqlite", "the store"),
                (self.entries, self.tally, "the entries"), (self.folder / "hard", self.tally, "the entries"),
                (model, self.tally, "the model")]:
            with self.subTest(log=log, tally=tally):
                self.assertEqual(run("publish", "--tally", tally, "--model", model, "--log", log, self.entries),
                                 (1, "", f"velstat: {log}: is {what}, which --log would overwrite\n"))
        self.assertEqual({path: path.read_bytes() for path in self.folder.iterdir()}, before)

    def test_old_log_is_kept_when_the_store_is_refused(self):
        log = self.folder / "log.jsonl"
        log.write_text("old")
        self.tally.write_text("mine")
        self.assertEqual(self.publish(entry(3, 0, 1), options=("--log", log))[0], 1)
        self.assertEqual(log.read_text(), "old")

    def test_batch_that_cannot_be_stored_is_told_with_what_went_before(self):
        self.publish()
        # The second batch needs far more room than the first.
        self.entries.write_bytes(entry(3, 0, 1) * 65535 + entry(3, 0, 1, version=0) +
                                 b"".join(entry(6, key, int(1.02**i)) for key in range(48) for i in range(1000)))

        def full_disk():
            resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 16, resource.RLIM_INFINITY))

        done = subprocess.run([VELSTAT, "publish", "--tally", self.tally, self.entries], capture_output=True, text=True,
                              preexec_fn=full_disk, restore_signals=False)  # a write fails, not the process
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertRegex(done.stderr, rf"\Avelstat: {self.tally}: [^\n;]+; 65535 entries published before\n\Z")
        self.assertEqual({key: row["value"] for (key, _), row in self.rows(self.tally).items()}, {CLICKS: 65535})

    def test_lost_stderr_changes_nothing(self):
        self.entries.write_bytes(entry(3, 0, 1))
        log = self.folder / "log.jsonl"
        publish = [VELSTAT, "publish", "--log", log, "--tally", self.tally, self.entries]
        for closing in ("2>&-", "2>/dev/full"):
            with self.subTest(closing):
                self.tally.unlink(missing_ok=True)
                done = subprocess.run(["sh", "-c", f'"$@" {closing}', "sh", *publish], timeout=120)
                self.assertEqual(done.returncode, 0)
                self.assertEqual(self.rows(self.tally)[CLICKS, "scalar"]["value"], 1)
                self.assertEqual(len([json.loads(line) for line in log.read_text().splitlines()]), 1)
                failing = subprocess.run(["sh", "-c", f'"$@" {closing}', "sh", *publish, "--model", "no/such"])
                self.assertEqual(failing.returncode, 1)

    def test_store_must_be_named(self):
        status, out, error = run("publish", "entries.bin")
        self.assertEqual((status, out), (2, ""))
        self.assertRegex(error, r"\Avelstat: [^\n]*--tally[^\n]*\n\Z")

    def test_help_has_an_example(self):
        status, out, error = run("publish", "--help")
        self.assertEqual((status, error), (0, ""))
        self.assertIn("Example:\n  velstat publish --tally tally.sqlite", out)


class CapturedStore(Folder):
    def setUp(self):
        super().setUp()
        self.out = self.folder / "snapshot"
        status, out, error = run("capture", "--format", "json", "--out", self.out)
        self.assertEqual((status, error), (0, ""))
        self.document = json.loads(out)

    def test_capture_tally_and_sqlite_agree(self):
        rows = self.rows(self.out / "tally.sqlite")
        self.assertEqual(rows[CLICKS, "scalar"]["value"], 214 + 2)
        duration = rows["com.tavik.kip.button.click.duration", "distribution"]
        samples = [76.25] * 15 + [81.5] * 9 + [94.75] * 4 + [133.5, 78]
        self.assertEqual((duration["count"], duration["sum"], duration["min"], duration["max"]),
                         (30, sum(samples), min(samples), 133.5))
        self.assertEqual(self.document["metrics"], list(rows.values()))
        with sqlite3.connect(f"file:{self.out / 'tally.sqlite'}?mode=ro", uri=True) as store:
            self.assertEqual(dict(store.execute(SCALARS)),
                             {key: row["value"] for (key, kind), row in rows.items() if kind == "scalar"})
            self.assertEqual({key: numbers for key, *numbers in store.execute(DISTRIBUTIONS)},
                             {key: [row["count"], row["sum"]] for (key, kind), row in rows.items()
                              if kind == "distribution"})

    def test_store_is_one_file(self):
        self.assertEqual([path.name for path in self.out.glob("tally*")], ["tally.sqlite"])

    def test_manifest_lists_what_is_there(self):
        manifest = json.loads((self.out / "manifest.json").read_text())
        self.assertEqual(list(manifest), ["version", "device", "model", "plug-in", "api", "handlers", "services",
                                          "handler results", "records", "log", "tally"])
        self.assertEqual((manifest["device"], manifest["model"], manifest["plug-in"], manifest["api"]),
                         ("default device", "(built-in model)", "com.tavik.TavikVELHIDStatistics", 3))
        self.assertEqual((manifest["handlers"], len(manifest["records"])), (111, 111))
        self.assertEqual(manifest["version"], run("--version")[1].strip())
        names = {"manifest.json", manifest["log"]["file"], manifest["tally"]["file"]}
        for listed, record in zip(manifest["records"], self.document["records"]):
            self.assertEqual((listed["title"], listed["handler"]), (record["title"], record["handler"]))
            self.assertEqual((self.out / listed["file"]).stat().st_size, listed["size"])
            self.assertEqual((self.out / listed["property list"]).stat().st_size, listed["property list size"])
            names |= {listed["file"], listed["property list"]}
        self.assertEqual({path.name for path in self.out.iterdir()}, names)
        self.assertEqual(manifest["log"]["lines"], len((self.out / "log.jsonl").read_text().splitlines()))
        self.assertEqual(manifest["tally"]["metrics"], len(self.document["metrics"]))

    def test_model_is_read_before_a_folder_is_made(self):
        out = self.folder / "other"
        model = self.folder / "model"
        os.mkfifo(model)
        capture = subprocess.Popen([VELSTAT, "capture", "--model", model, "--out", out], stdout=subprocess.DEVNULL)
        with open(model, "w") as writer:  # opens when the other side does
            self.assertEqual(list(self.folder.glob("other*")), [])
            writer.write("{}")
        self.assertEqual(capture.wait(timeout=60), 0)
        self.assertTrue(out.is_dir())


SCALARS = "SELECT key, value FROM scalar"
DISTRIBUTIONS = "SELECT key, count, sum FROM distribution"


if __name__ == "__main__":
    unittest.main()
