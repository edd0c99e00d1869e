"""velstat trace against what decode and triage say of the same inputs, read as a viewer would."""

import collections
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

from command import VELSTAT, on_terminal, run
from viewer import Trace

MODELS = pathlib.Path(sys.argv.pop())
SAMPLES = pathlib.Path(sys.argv.pop())
COUNTERS = {"fingerDetect", "fingerState", "buttonState", "stage", "stageProgress", "buttonProgress", "force"}


def trace(*arguments):
    status, out, errors = run("trace", *map(str, arguments), "-o", "-")
    assert (status, errors) == (0, ""), (status, errors)
    return Trace(out)


def decode(*inputs):
    status, out, errors = run("decode", "--format", "json", *map(str, inputs))
    assert (status, errors) == (0, ""), (status, errors)
    return [json.loads(line) for line in out.splitlines()]


def fields(line):
    return line["payload"][0]["fields"] if line["payload"] else {}


def layout(line):
    return line["payload"][0]["layout"] if line["payload"] else ""


def is_switch(line):
    return (line["component"], line["event"], line["type"]) == ("scheduler", "context-switch", "event")


def arguments_of(line):
    """What an instant shows: no dumps, nothing twice, and not the action that is its name."""
    shown = {key: value for key, value in fields(line).items()
             if key not in ("trace", "raw-data") and not key.startswith("xarg")}
    return {**shown, "sequence_num": line["sequence_num"]}


def name_of(line):
    return fields(line)["trace"]["name"] if "trace" in fields(line) else line["event"]


class WithCaptures(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.temporary.cleanup)
        cls.folder = pathlib.Path(cls.temporary.name)

    def capture(self, model):
        folder = self.folder / model
        if not folder.exists():
            status, _, errors = run("capture", "--model", str(MODELS / f"{model}.json"), "--out", str(folder))
            self.assertEqual((status, errors), (0, ""))
        return folder

    def generate(self, name, *options):
        path = self.folder / name
        if not path.exists():
            with open(path, "wb") as file:
                subprocess.run([VELSTAT, "generate", "records", "--seed", "3", *options], check=True, stdout=file)
        return path


class Events(WithCaptures):
    """Each event against the JSON line of its record."""

    def setUp(self):
        self.records = self.generate("device", "--count", "6000")
        self.lines = decode(self.records)
        self.trace = trace("--no-findings", self.records)

    def test_calls_are_slices_that_end_at_their_records(self):
        expected = collections.Counter()
        for line in self.lines:
            values, end = fields(line), int(line["timestamp"])
            if layout(line) == "function":
                expected[f"function {values['function-id']}", values["thread-id"], end] += 1
            elif layout(line) == "extfunction":
                expected[values["function"], values["thread"], end] += 1
        self.assertGreater(len(expected), 300)
        slices = self.trace.of("X", "records threads")
        self.assertEqual(collections.Counter((each["name"], each["tid"], each["ts"] + each["dur"]) for each in slices),
                         expected)
        self.assertEqual({self.trace.tracks[each["pid"], each["tid"]] for each in slices},
                         {f"thread {thread}" for _, thread, _ in expected})

    def test_calls_are_as_long_as_recorded_unless_they_would_overlap(self):
        slices = self.trace.of("X", "records threads")
        same = [each for each in slices if each["dur"] == each["args"]["duration"]]
        self.assertGreater(len(same), 0.9 * len(slices))

    def test_context_switches_are_the_states_of_threads(self):
        switches = [(int(line["timestamp"]), fields(line)["arg1"], fields(line)["arg2"]) for line in self.lines
                    if is_switch(line)]
        self.assertGreater(len(switches), 100)
        expected = [(begin, end, thread) for (begin, _, thread), (end, old, _) in zip(switches, switches[1:])
                    if old == thread]
        self.assertEqual(len(expected), len(switches) - 1)
        running = [(each["ts"], each["ts"] + each["dur"], each["tid"]) for each in self.trace.of("X", "records thread states")
                   if each["name"] == "running"]
        self.assertEqual(running, expected)

    def test_everything_else_is_an_instant_with_its_arguments(self):
        slices = ("function", "extfunction", "long-data", "short-data")
        expected = [(name_of(line), int(line["timestamp"]), arguments_of(line)) for line in self.lines
                    if layout(line) not in slices and not is_switch(line)]
        instants = [(each["name"], each["ts"], each["args"]) for each in self.trace.of("i")]
        self.assertEqual(instants, expected)
        kinds = {layout(line) for line in self.lines}
        self.assertGreater(kinds, {"zorb-event", "trigger", "event", "sensorinfo", "decimationinfo", "annotation"})

    def test_instants_have_a_track_for_each_component(self):
        wanted = {line["sequence_num"]: {line["category"], line["component"]} for line in self.lines}
        for each in self.trace.of("i"):
            track = self.trace.tracks[each["pid"], each["tid"]]
            self.assertEqual(set(track.split()), wanted[each["args"]["sequence_num"]])
        self.assertIn("interrupt gpio", self.trace.tracks.values())

    def test_button_finger_and_stage_are_counters(self):
        expected = [(key, int(line["timestamp"]), value) for line in self.lines
                    for key, value in fields(line).items() if key in COUNTERS]
        self.assertEqual({key for key, _, _ in expected}, COUNTERS)
        self.assertEqual([(each["name"], each["ts"], each["args"]["value"]) for each in self.trace.of("C")], expected)

    def test_the_last_configuration_of_each_sensor_is_metadata(self):
        expected = {}
        for line in self.lines:
            if layout(line) in ("sensorinfo", "decimationinfo"):
                expected[line["type"], line["component"]] = {"component": line["component"], "type": line["type"],
                                                             **arguments_of(line)}
        self.assertGreater(len(expected), 8)
        self.assertEqual({(each["type"], each["component"]): each for each in self.trace.other["sensors"]}, expected)

    def test_what_is_left_out_is_counted(self):
        dumps = sum(layout(line) in ("long-data", "short-data") for line in self.lines)
        self.assertGreater(dumps, 1000)
        self.assertEqual((self.trace.other["records"], self.trace.other["dumps left out"]), (6000, dumps))

    def test_random_records_make_a_valid_trace(self):
        records = bytearray(self.generate("random", "--count", "3000", "--random").read_bytes())
        for at in range(0, len(records), 48):
            records[at + 13:at + 16] = bytes(3)  # the high bytes of the time
        near = self.folder / "near"
        near.write_bytes(records)
        made = trace("--no-findings", near)
        self.assertEqual((made.other["records"], made.other["times beyond the axis"]), (3000, 0))
        self.assertGreater(len(made.of("i")), 1000)

    def test_all_forms_of_the_same_records_make_the_same_trace(self):
        lines = self.folder / "lines"
        for form in "text", "json", "csv":
            lines.write_text(run("decode", "--format", form, str(self.records))[1])
            self.assertEqual(trace("--no-findings", lines).events, self.trace.events, form)


class Presses(WithCaptures):
    def slices(self, model):
        made = trace("--no-findings", self.capture(model))
        return made, made.of("X", "fw", "button press")

    def test_every_press_is_a_finger_with_clicks_and_their_haptics(self):
        made, slices = self.slices("default")
        names = collections.Counter(each["name"] for each in slices)
        edges = collections.Counter(name_of(line) for line in decode(self.capture("default"))
                                    if line["component"] == "latency")
        self.assertEqual(names, {"finger": edges["ckp_ZORBFingerON"], "button down": edges["ckp_ZORBButtonDown"],
                                 "amplifier starts": edges["ckp_ARCTurnOn"], "haptic": edges["ckp_HaldenPlayAsset"]})
        self.assertNotIn("button press, overlapping", made.tracks.values())
        arrows = collections.Counter(map(tuple, made.arrows))
        self.assertEqual(arrows, {("finger", "button down", "haptic"): edges["ckp_ZORBButtonDown"],
                                  ("button down", "haptic"): edges["ckp_ZORBButtonUp"]})

    def test_a_haptic_that_fails_says_so_and_is_red(self):
        made, slices = self.slices("actuator-timeout")
        failed = [each for each in slices if each["name"] == "no haptic: HaldenCLTimeOut"]
        self.assertEqual([each["cname"] for each in failed], ["terrible"] * 2)
        self.assertNotIn("haptic", {each["name"] for each in slices})
        self.assertIn(["finger", "button down", "no haptic: HaldenCLTimeOut"], made.arrows)

    def test_an_amplifier_that_is_never_ready_lasts_as_long_as_the_finger(self):
        _, slices = self.slices("amplifier-timeout")
        fingers = [each for each in slices if each["name"] == "finger"]
        silent = [each for each in slices if each["name"] == "amplifier never ready"]
        self.assertEqual(len(fingers), len(silent))
        for finger, each in zip(fingers, silent):
            self.assertEqual((each["cname"], each["ts"] + each["dur"]), ("terrible", finger["ts"] + finger["dur"]))


class Marks(WithCaptures):
    def test_findings_are_where_their_evidence_is(self):
        capture = self.capture("actuator-timeout")
        findings = json.loads(run("triage", "--format", "json", str(capture))[1])["findings"]
        first = min(int(line["timestamp"]) for line in decode(capture))
        expected = []
        for finding in findings:
            evidence = finding["evidence"]
            where = first
            if "position" in evidence:
                sql = (f"SELECT timestamp FROM records WHERE report = {evidence['report']} "
                       f"AND position = {evidence['position']}")
                where = json.loads(run("query", "--format", "json", str(capture), sql)[1])["timestamp"]
            expected.append((finding["rule"], finding["text"], finding["severity"] + "s", where))
        made = trace(capture)
        marks = [(each["name"], each["args"]["finding"], made.tracks[each["pid"], each["tid"]], each["ts"])
                 for each in made.of("i", "findings")]
        self.assertIn("actuator-timeout", {name for name, *_ in marks})
        self.assertGreater(len({where for *_, where in marks}), 2)
        self.assertEqual(sorted(marks), sorted(expected))

    def test_after_a_restart_the_axis_goes_on(self):
        capture = self.capture("firmware-restart")
        made = trace("--no-findings", capture)
        runs = [json.loads(line) for line in
                run("query", "--format", "json", str(capture), "SELECT log, start, first_time FROM runs")[1].splitlines()]
        marks = [(made.processes[each["pid"]], each["name"], each["args"]["timestamp"]) for each in made.of("i")
                 if each["s"] == "g"]
        self.assertEqual(marks, [(f"{each['log']}, run 2", "restart", each["first_time"]) for each in runs
                                 if each["start"] == "restarted"])
        shift = next(each["args"]["added to timestamps"] for each in made.of("i") if each["s"] == "g")
        self.assertEqual(shift % 1_000_000, 0)
        before = max(each["ts"] for process in ("fw", "err", "kext") for each in made.of("i", process))
        after = [each for each in made.of("i", "fw, run 2") if "sequence_num" in each["args"]]
        self.assertTrue(before <= min(each["ts"] for each in after) <= before + 1_000_000)
        known = {(line["sequence_num"], int(line["timestamp"])) for line in decode(capture)}
        self.assertLess({(each["args"]["sequence_num"], each["ts"] - shift) for each in after}, known)

    def test_a_clock_that_goes_back_is_named_so(self):
        made = trace("--no-findings", self.capture("clock-jump"))
        self.assertEqual({each["name"] for each in made.of("i") if each["s"] == "g"}, {"the clock went back"})

    def test_gaps_tell_how_many_records_are_missing(self):
        sample = SAMPLES / "gap.jsonl"
        rows = run("query", "--format", "json", str(sample), "SELECT timestamp, missing FROM records WHERE missing > 0")[1]
        expected = [json.loads(row) for row in rows.splitlines()]
        self.assertTrue(expected)
        gaps = [each for each in trace("--no-findings", sample).of("i") if each["name"] == "gap"]
        self.assertEqual([{"timestamp": each["ts"], "missing": each["args"]["missing records"]} for each in gaps], expected)

    def test_inputs_are_told_apart_by_their_names(self):
        first, second = self.generate("one", "--count", "500"), self.generate("two", "--count", "600")
        made = trace("--no-findings", first, second)
        self.assertEqual({name for name in made.processes.values() if "threads" in name},
                         {f"{first}: records threads", f"{second}: records threads"})
        alone = trace("--no-findings", second).of("i")
        self.assertEqual([(each["ts"], each["args"]) for each in made.of("i", f"{second}: records")],
                         [(each["ts"], each["args"]) for each in alone])

    def test_the_clocks_of_the_inputs_are_metadata(self):
        clock, = trace("--no-findings", self.capture("actuator-timeout")).other["clocks"]
        self.assertEqual((clock["calendar minus timestamp"], clock["lines"]), ("1731000000000000", 384))


class Refusals(WithCaptures):
    def setUp(self):
        self.records = self.generate("few", "--count", "200")
        self.dumps = self.folder / "dumps"
        self.dumps.write_bytes(bytes([2, 200, 0, 2]) + bytes(44))
        self.far = self.folder / "far"
        self.far.write_bytes(self.dumps.read_bytes() + bytes([3, 0, 0, 1, 0, 0, 0, 0]) + b"\xff" * 8 + bytes(32))
        self.empty = self.folder / "empty"
        self.empty.write_bytes(b"")
        self.other = self.folder / "output"
        self.other.mkdir(exist_ok=True)

    def refused(self, *arguments, status=1):
        got, out, errors = run("trace", *map(str, arguments))
        self.assertEqual((got, out), (status, ""), errors)
        self.assertEqual(list(self.other.iterdir()), [])
        line, = errors.splitlines()
        return line

    def test_each_is_one_line_and_leaves_no_file(self):
        new = self.other / "t.json"
        for arguments, line in (
                ((self.folder / "missing", "-o", new), f"velstat: {self.folder}/missing: No such file or directory"),
                ((self.records, "-o", self.other / "no" / "t"), f"velstat: {self.other}/no/t: No such file or directory"),
                ((self.records, "-o", "/dev/null"), "velstat: /dev/null: not a regular file"),
                ((self.records, "-o", self.other), f"velstat: {self.other}: not a regular file"),
                ((self.records, "-o", self.records), f"velstat: {self.records}: is an input, which -o would overwrite"),
                ((self.empty, "-o", new), "velstat: nothing to show: the inputs hold no records"),
                ((self.dumps, "-o", new), "velstat: nothing to show: of 1 record, none has an event"),
                ((self.far, "-o", new), "velstat: nothing to show: of 2 records, none has an event, and the times of 1 "
                                        "are beyond 285 years"),
                ((self.dumps, "-o", "-"), "velstat: nothing to show: of 1 record, none has an event"),
                (("-", "-o", new), "velstat: standard input: can be read only once, but findings have to be looked for "
                                   "first: save it to a file, or use --no-findings")):
            with self.subTest(arguments):
                self.assertEqual(self.refused(*arguments), line)

    def test_wrong_usage(self):
        self.assertIn("INPUT", self.refused("-o", "x", status=2))
        self.assertIn("--output", self.refused(self.records, status=2))

    def test_a_terminal_gets_no_trace(self):
        status, shown = on_terminal(["trace", "--no-findings", str(self.records), "-o", "-"], errors=True)
        self.assertEqual(status, 2)
        self.assertIn(b"not for a terminal", shown)

    def test_a_failure_keeps_the_old_file(self):
        old = self.folder / "old.json"
        old.write_text("old")
        self.refused(self.dumps, "-o", old)
        self.assertEqual(old.read_text(), "old")

    def test_an_input_that_cannot_be_read_leaves_the_others_in_the_trace(self):
        new = self.folder / "part.json"
        status, out, errors = run("trace", "--no-findings", str(self.records), str(self.folder / "missing"), "-o", str(new))
        self.assertEqual((status, out, errors.count("\n")), (1, "", 1))
        self.assertEqual(Trace(new.read_text()).other["records"], 200)

    def test_a_file_holds_what_a_pipe_gets(self):
        new = self.folder / "whole.json"
        self.assertEqual(run("trace", str(self.records), "-o", str(new)), (0, "", ""))
        self.assertEqual(run("trace", str(self.records), "-o", "-"), (0, new.read_text(), ""))
        status, out, errors = run("trace", "--no-findings", "-", "-o", "-", stdin=self.records.read_bytes())
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual(Trace(out).other["records"], 200)


if __name__ == "__main__":
    unittest.main()
