#!/usr/bin/env python3
"""velstat capture, through the real command.

usage: capture_test.py VELSTAT BUNDLE PLATFORM_LIBRARY MODELS"""

import json
import os
import pathlib
import plistlib
import pty
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

VELSTAT, BUNDLE, PLATFORM, MODELS = (pathlib.Path(argument) for argument in sys.argv[1:5])
HERE = pathlib.Path(__file__).parent
LIBRARIES = PLATFORM.parent.relative_to(VELSTAT.parent.parent)


# A zone that is not UTC, and that no time-zone data is needed for.
os.environ["TZ"] = "VEL-05:30"


def run(*arguments, velstat=VELSTAT, **options):
    return subprocess.run([velstat, *arguments], capture_output=True, text=True, timeout=60, **options)


def on_terminal(arguments, environment):
    """What a terminal gets from a capture."""
    ours, theirs = pty.openpty()
    process = subprocess.Popen([VELSTAT, "capture", *arguments], stdout=theirs, env=environment)
    os.close(theirs)
    output = b""
    try:
        while block := os.read(ours, 4096):
            output += block
    except OSError:  # the other side is closed
        pass
    os.close(ours)
    assert process.wait(60) == 0
    return output


class Temporary(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def model(self, text):
        path = self.folder / "model.json"
        path.write_text(text)
        return path


class Shown(Temporary):
    def test_models_as_text(self):
        """The output for each model that is shipped. After an intended change, write it again with
        VELSTAT_WRITE_GOLDEN=1 and read the difference."""
        self.maxDiff = None
        models = sorted(path.stem for path in MODELS.glob("*.json") if path.stem != "device-model.schema")
        self.assertEqual({f"capture_{name}.expect" for name in models},
                         {path.name for path in (HERE / "golden").glob("capture_*.expect")})
        for name in models:
            detail = ["--all"] if name in ("garbage", "refusing-driver") else []
            with self.subTest(name):
                result = run("capture", "--model", MODELS / f"{name}.json", *detail)
                self.assertEqual((result.returncode, result.stderr), (0, ""))
                golden = HERE / "golden" / f"capture_{name}.expect"
                if os.environ.get("VELSTAT_WRITE_GOLDEN"):
                    golden.write_text(result.stdout)
                self.assertEqual(result.stdout, golden.read_text())

    def test_every_model_under_every_api(self):
        for path in MODELS.glob("*.json"):
            if path.stem == "device-model.schema":
                continue
            for api in ("0", "1", "2", "4", "4294967295"):
                with self.subTest(path.stem, api=api):
                    result = run("capture", "--format", "json", "--model", path, "--api", api)
                    self.assertEqual((result.returncode, result.stderr), (0, ""))
                    titles = [record["title"] for record in json.loads(result.stdout)["records"]]
                    if int(api) < 2:
                        self.assertEqual(titles, [])
                    self.assertEqual([title for title in titles if not title.startswith("KIP Profile ")], [])

    def test_default_model_fits_two_screens(self):
        self.assertLess(len(run("capture").stdout.splitlines()), 110)

    def test_everything_is_there_with_all(self):
        shown = run("capture", "--all").stdout
        self.assertNotIn("…", shown)
        self.assertEqual(len(re.findall(r"^  KIP Profile \d+ ;count=32 ;type=(?:fw|kext|err)  state handler", shown, re.M)), 104)
        self.assertEqual(shown.count("'category':"), 104 * 32)
        self.assertEqual(shown.count("publishTSData op="), 23)  # repeated lines are one

    def test_routine_log_lines_are_one_line_and_not_red(self):
        """A healthy device's log has nothing else."""
        shown = run("capture").stdout
        self.assertIn("\nLog: 28 lines\n  routine  28 values published for 16 metrics (--all)\n\nMetrics", shown)
        self.assertNotIn("publishTSData", shown)
        environment = {**os.environ, "TERM": "xterm"}
        environment.pop("NO_COLOR", None)
        for arguments in ([], ["--all"]):
            self.assertNotIn(b"\x1b[31m", on_terminal([*arguments], environment))
        failing = MODELS / "garbage.json"
        self.assertIn(b"\x1b[31merror", on_terminal(["--model", failing], environment))
        version = "publishTSData veltsreckeys version mismatch (0x31/0x30)"
        self.assertIn(version, run("capture", "--model", failing).stdout)

    def test_findings_come_first(self):
        lines = run("capture", "--model", MODELS / "amplifier-timeout.json").stdout.splitlines()
        self.assertEqual(lines[1:4], [
            "", "Findings: 5 errors, 3 warnings",
            "  error    The amplifier was not ready after 16 of 16 requests to turn it on."])
        self.assertEqual(lines[lines.index("Services") - 3:lines.index("Services") - 1], [
            "  … 3 more (--all)",
            "  velstat capture --out DIR, then velstat triage DIR: why, what next, and where"])
        every = run("capture", "--all", "--model", MODELS / "amplifier-timeout.json", "--out", self.folder / "o").stdout
        self.assertIn("\n  warning  16 commands timed out", every)
        self.assertIn(f"\n  velstat triage {self.folder / 'o'}: why, what next, and where\n", every)

    def test_findings_are_those_of_triage(self):
        """Of the same capture, read back from its folder."""
        for name in ("amplifier-timeout", "damaged-log", "firmware-restart", "garbage", "refusing-driver", "default"):
            with self.subTest(name):
                out = self.folder / name
                captured = json.loads(run("capture", "--model", MODELS / f"{name}.json", "--format", "json", "--out", out).stdout)
                triaged = json.loads(run("triage", "--format", "json", out).stdout)
                for finding in triaged["findings"]:
                    finding["evidence"].pop("file", None)
                for finding in captured["findings"]:
                    finding["evidence"].pop("file", None)
                self.assertEqual(captured["findings"], triaged["findings"])

    def test_built_in_model_is_the_default_model(self):
        self.assertEqual(run("capture").stdout, run("capture", "--model", MODELS / "default.json").stdout)

    def test_model_by_the_name_of_a_shipped_one(self):
        self.assertEqual(run("capture", "--model", "idle").stdout, run("capture", "--model", MODELS / "idle.json").stdout)
        (self.folder / "idle").write_text('{"name": "mine"}')  # a file of this name comes first
        self.assertEqual(run("capture", "--model", "idle", cwd=self.folder).stdout.split(",")[0], "mine")
        for name in ("idel", "device-model.schema", "./idle", "../models/idle"):
            result = run("capture", "--model", name)
            self.assertEqual((result.returncode, result.stderr), (1, f"velstat: {name}: No such file or directory\n"))

    def test_model_from_standard_input(self):
        result = run("capture", "--model", "-", input='{"name": "piped"}')
        self.assertEqual(result.stdout.splitlines()[0], "piped, com.tavik.TavikVELHIDStatistics, api 3")

    def test_empty_model(self):
        result = run("capture", "--model", self.model("{}"))
        self.assertEqual(result.stdout, "unnamed device, com.tavik.TavikVELHIDStatistics, api 3\n\n"
                         "Findings: none\n\nServices\n  none\n\nRecords: 0 from 0 state handlers\n\nLog: 0 lines\n\nMetrics: 0 keys\n")

    def test_services_that_are_not_taken(self):
        result = run("capture", "--model", self.model('''{"services": [
            {"name": "number", "transport": 5},
            {"name": "no VEL", "transport": "USB", "usages": [{"page": 12, "usage": 1}]},
            {"name": "phone", "transport": "VEL", "usages": [{"page": 11, "usage": 1}], "driver": {}},
            {"name": "refused", "transport": "VEL", "usages": [{"page": 11, "usage": 1}],
             "driver": {"open-result": "0xE00002BC"}}]}'''))
        lines = result.stdout.splitlines()
        begin = lines.index("Services")
        self.assertEqual(lines[begin:begin + 5], [
            "Services",
            "  number   no usages  not taken (1 log line)",
            "  no VEL   0x0c/0x01  not taken",
            "  phone    0x0b/0x01  taken: state handlers 1 to 104",
            "  refused  0x0b/0x01  opened, no state handlers (1 log line)"])

    def test_analytics_that_nobody_takes_are_told(self):
        service = '''{"name": "s\\n%d", "transport": "VEL", "usages": [{"page": 12, "usage": 1}], "driver": {},
            "properties": {"KIPSupportsTallyStore": %s},
            "device": {"analytics": [[{"op": "add", "key": 0, "value": 1}]%s]}}'''
        batch = ', [{"op": "add", "key": 0, "value": 1}]'
        services = ", ".join([service % (1, "false", ""), service % (2, "false", batch), service % (3, "true", batch)])
        result = run("capture", "--model", self.model('{"services": [%s]}' % services))
        self.assertEqual(result.returncode, 0)
        self.assertEqual(result.stderr.splitlines(), [
            r"velstat: service 's\n1': 1 batch of analytics dropped: the plug-in takes none from it",
            r"velstat: service 's\n2': 2 batches of analytics dropped: the plug-in takes none from it"])
        self.assertRegex(result.stdout, r"click\.count +2\n")

    def test_repeated_log_lines_are_folded(self):
        result = run("capture", "--model", self.model('''{"services": [
            {"name": "a", "transport": 5}, {"name": "b", "transport": 5}]}'''))
        self.assertEqual(result.stdout.splitlines()[-4:-2], [
            "Log: 2 lines",
            "  default  : AssertMacros: CFGetTypeID(transport) == CFStringGetTypeID(),  file: "
            "TavikVELHIDStatistics/TavikVELHIDStatistics, line: 230 value:0 × 2"])

    def test_other_api_has_no_statistics(self):
        for api in ("0", "1", "2", "4", "4294967295"):
            result = run("capture", "--api", api)
            self.assertEqual(result.returncode, 0)
            self.assertNotIn("ZORB Statistics", result.stdout)

    def test_names_from_the_model_are_escaped(self):
        result = run("capture", "--model", self.model(r'{"name": "a\u001b[31m", "services": [{"name": "s\n"}]}'))
        self.assertIn(r"a\x1B[31m, com", result.stdout)
        self.assertIn(r"  s\n  no usages", result.stdout)


class Json(Temporary):
    def test_default_model(self):
        result = run("capture", "--format", "json")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        document = json.loads(result.stdout)
        self.assertEqual(list(document), ["device", "plug-in", "api", "findings", "services", "handlers", "records", "log", "metrics"])
        self.assertEqual(document["plug-in"],
                         {"identifier": "com.tavik.TavikVELHIDStatistics", "path": str(BUNDLE.resolve())})
        self.assertEqual(document["services"][0], {
            "name": "Button", "usages": [{"page": 12, "usage": 1}], "opened": True, "first handler": 1,
            "handlers": 106, "log lines": 0})
        self.assertEqual(document["services"][-1]["handlers"], 1)
        record = document["records"][0]
        self.assertEqual((record["handler"], record["title"]), (1, "ZORB Statistics"))
        self.assertEqual(record["value"]["last button press"]["click count"], 2)
        self.assertEqual(record["value"]["latency"]["max_latency_Total"], 414902500)
        for line in document["log"]:
            self.assertEqual(list(line), ["time", "level", "subsystem", "category", "message"])
            self.assertEqual((line["subsystem"], line["category"]), ("KIP", "TavikVELHIDStatistics"))

    def test_extreme_values(self):
        result = run("capture", "--format", "json", "--model", self.model('''{"services": [{"name": "b",
            "transport": "VEL", "usages": [{"page": 12, "usage": 1}],
            "driver": {"property-replies": {"215": [{"zorb-statistics": {"click count": 2147483647,
            "finger on ts": "0xFFFFFFFFFFFFFFFF", "turtle scans": 4294967295,
            "min_latency_Total": 9223372036854775808}}]}}}]}'''))
        value = json.loads(result.stdout)["records"][0]["value"]
        press = value["last button press"]
        self.assertEqual(press["click count"], 2147483647)
        self.assertEqual(press["finger on ts"], -1)
        self.assertEqual(press["turtle scans"], -1)
        self.assertEqual(value["latency"]["min_latency_Total"], -9223372036854775808)


class Out(Temporary):
    def setUp(self):
        super().setUp()
        self.out = self.folder / "out"

    def names(self):
        return sorted(path.name for path in self.folder.iterdir())

    def test_records_property_lists_and_log(self):
        document = json.loads(run("capture", "--format", "json", "--out", self.out).stdout)
        stems = [f"{number:03}-{record['title']}" for number, record in enumerate(document["records"], 1)]
        self.assertEqual(sorted(path.name for path in self.out.iterdir()),
                         sorted([stem + end for stem in stems for end in (".plist", ".state")] +
                                ["log.jsonl", "manifest.json", "tally.sqlite"]))
        self.assertEqual(stems[0], "001-ZORB Statistics")
        for stem, record in zip(stems, document["records"]):
            data = (self.out / (stem + ".plist")).read_bytes()
            self.assertEqual(plistlib.loads(data), record["value"])
            state = (self.out / (stem + ".state")).read_bytes()
            self.assertEqual(state[200:], data)
            self.assertEqual(state[:8], (1).to_bytes(4, "little") + len(data).to_bytes(4, "little"))
            self.assertEqual(state[136:200].rstrip(b"\0").decode(), record["title"])
        log = [json.loads(line) for line in (self.out / "log.jsonl").read_text().splitlines()]
        self.assertEqual(log, document["log"])
        self.assertEqual(self.names(), ["out"])

    def test_empty_folder_is_filled(self):
        self.out.mkdir()
        self.assertEqual(run("capture", "--out", f"{self.out}/").returncode, 0)
        self.assertTrue((self.out / "log.jsonl").exists())
        self.assertEqual(self.names(), ["out"])

    def refused(self, out, reason):
        result = run("capture", "--out", out)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (1, "", f"velstat: {out}: {reason}\n"))

    def test_folder_with_something_in_it_is_refused(self):
        self.out.mkdir()
        (self.out / "mine").touch()
        self.refused(self.out, "exists and is not empty")
        self.assertEqual([path.name for path in self.out.iterdir()], ["mine"])

    def test_file_is_refused(self):
        self.out.touch()
        self.refused(self.out, "exists and is no folder")

    def test_missing_parent_is_refused(self):
        self.refused(self.folder / "none" / "out", "No such file or directory")
        self.assertEqual(self.names(), [])

    def test_failing_capture_writes_nothing(self):
        self.assertEqual(run("capture", "--out", self.out, "--model", "missing").returncode, 1)
        self.assertEqual(self.names(), [])


class WrongInput(Temporary):
    def refused(self, line, *arguments):
        result = run("capture", *arguments)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (1, "", f"velstat: {line}\n"))

    def test_missing_model(self):
        self.refused("no/such.json: No such file or directory", "--model", "no/such.json")

    def test_broken_json(self):
        path = self.model('{"services": [\n  {"name": "s",}\n]}')
        self.refused(f"{path}: line 2, column 16: syntax error while parsing object key - unexpected '}}'; "
                     "expected string literal", "--model", path)

    def test_unknown_key(self):
        path = self.model('{"services": [{"name": "s", "transprot": "VEL"}]}')
        self.refused(f'{path}: /services/0: unknown key "transprot"; did you mean "transport"?', "--model", path)

    def test_hex_of_odd_length(self):
        path = self.model('{"services": [{"name": "s", "driver": {"property-replies": {"215": [{"hex": "abc"}]}}}]}')
        self.refused(f"{path}: /services/0/driver/property-replies/215/0/hex: has an odd number of hexadecimal digits",
                     "--model", path)

    def test_text_file_as_bundle(self):
        path = self.model("text")
        self.refused(f"{path}: not a bundle: a bundle is a folder, this is a file", "--plugin", path)

    def test_control_characters_do_not_reach_the_terminal(self):
        path = self.model('{"\\u001b[31m\\n": 1}')
        self.refused(f'{path}: (whole document): unknown key "\\x1B[31m\\n"; allowed: $schema, name, description, '
                     "boot-time, time-sync, services, named-services, extends, overrides", "--model", path)

    def test_bytes_that_are_not_utf8(self):
        path = self.folder / "model.json"
        path.write_bytes(b'{"name": "\xff"}')
        result = run("capture", "--model", path)
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, r"^velstat: .*: line 1, column \d+: .*\n$")


class Usage(Temporary):
    def test_wrong_usage_is_one_line_and_2(self):
        for arguments, message in (
                ("capture --api x", "--api: 'x' is not a number from 0 to 4294967295"),
                ("capture --api -1", "--api: '-1' is not a number from 0 to 4294967295"),
                ("capture --api 4294967296", "--api: '4294967296' is not a number from 0 to 4294967295"),
                ("capture --format xml", "--format: xml not in {text,json}"),
                ("tally --watch --count 1e3 store", "--count: '1e3' is not a number from 0 to 18446744073709551615")):
            result = run(*arguments.split())
            self.assertEqual((result.returncode, result.stdout, result.stderr), (2, "", f"velstat: {message}\n"))

    def test_unknown_word_is_named_before_what_is_missing(self):
        for arguments, line in ((["frob"], "'frob' is unknown here"), (["--frob"], "'--frob' is unknown here"),
                                (["generate", "foo"], "'foo' is unknown here"),
                                (["tally", "--frob"], "'--frob' is unknown here"),
                                (["capture", "--none"], "'--none' is unknown here"),
                                ([], "A subcommand is required"), (["tally"], "file is required")):
            result = run(*arguments)
            self.assertEqual((result.returncode, result.stdout, result.stderr), (2, "", f"velstat: {line}\n"))

    def test_help_has_an_example(self):
        for arguments, example in ((["--help"], "capture --model models/default.json"),
                                   (["capture", "--help"], "capture --model models/default.json"),
                                   (["generate", "--help"], "generate records --seed 1")):
            result = run(*arguments)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertIn("Example:\n  velstat " + example, result.stdout)


class Terminal(Temporary):
    def on_terminal(self, **environment):
        kept = {name: value for name, value in os.environ.items() if name != "NO_COLOR"}
        return on_terminal(["--model", self.model("{}")], {**kept, **environment})

    def test_colour_on_a_terminal_alone(self):
        self.assertIn(b"\x1b[1mServices\x1b[0m", self.on_terminal(TERM="xterm"))
        self.assertNotIn(b"\x1b", self.on_terminal(TERM="xterm", NO_COLOR="1"))
        self.assertNotIn(b"\x1b", self.on_terminal(TERM="dumb"))
        self.assertNotIn("\x1b", run("capture", env={**os.environ, "TERM": "xterm"}).stdout)

    def test_reader_that_has_gone_ends_it_quietly(self):
        reading, writing = os.pipe()
        os.close(reading)
        result = subprocess.run([VELSTAT, "capture"], stdout=writing, stderr=subprocess.PIPE, timeout=60)
        os.close(writing)
        self.assertEqual((result.returncode, result.stderr), (0, b""))

    def test_full_disk_is_told(self):
        with open("/dev/full", "w") as full:
            result = subprocess.run([VELSTAT, "capture"], stdout=full, stderr=subprocess.PIPE, timeout=60)
        self.assertEqual((result.returncode, result.stderr),
                         (1, b"velstat: standard output: No space left on device\n"))


class Place(Temporary):
    """Command, library and bundle find each other wherever they are put together."""

    def install(self, bundle):
        for folder in ("bin", LIBRARIES):
            (self.folder / folder).mkdir(parents=True)
        shutil.copy(VELSTAT, self.folder / "bin/velstat")
        shutil.copy(PLATFORM, self.folder / LIBRARIES / PLATFORM.name)
        shutil.copytree(BUNDLE, self.folder / bundle)
        return run("capture", "--format", "json", velstat=self.folder / "bin/velstat")

    def found(self, bundle):
        result = self.install(bundle)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(json.loads(result.stdout)["plug-in"]["path"], str((self.folder / bundle).resolve()))

    def test_as_built(self):
        self.found(LIBRARIES / "TavikVELHIDStatistics.plugin")

    def test_bundle_elsewhere_must_be_named(self):
        result = self.install("elsewhere/TavikVELHIDStatistics.plugin")
        root = self.folder.resolve()
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, rf"\Avelstat: no plug-in beside this command \({root}/{LIBRARIES}/"
                                        r"TavikVELHIDStatistics\.plugin[^)\n]*\): name one with --plugin\n\Z")
        self.assertEqual(result.stderr.count(f"{root}/{LIBRARIES}/Tavik"), 1)
        named = run("capture", "--plugin", self.folder / "elsewhere/TavikVELHIDStatistics.plugin",
                    velstat=self.folder / "bin/velstat")
        self.assertEqual(named.returncode, 0)

    def test_library_is_found_by_a_relative_path(self):
        dynamic = subprocess.run(["readelf", "-d", VELSTAT], capture_output=True, text=True, check=True).stdout
        self.assertRegex(dynamic, rf"R(UN)?PATH.*\[\$ORIGIN/\.\./{LIBRARIES}\]")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
