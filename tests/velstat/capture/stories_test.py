#!/usr/bin/env python3
"""Each model that is shipped tells one story: statistics, profile log, error log, reports and metrics of its capture
agree with each other, and only the model's own fault shows.

usage: stories_test.py MODELS"""

import functools
import json
import pathlib
import re
import sys
import unittest

import command

MODELS = pathlib.Path(sys.argv[1])
SENSORS = {"Accelerometer": "accel", "Gyro": "gyro", "Compass": "compass", "Pressure": "pressure"}
CATEGORIES = {"execution", "trace", "sensors", "lantor", "corvane", "interrupt", "uart", "zorb", "control", "scm"}

# What a healthy device does not show, by model; Capture.faults() finds it.
SINGLE = [f"{speed}-Single{edge}" for speed in ("Slow", "Medium", "Fast") for edge in ("Down", "Up")]
STORIES = {
    "default": {},
    "idle": {},
    "actuator-timeout": {"clicks without haptic": 2, "actuator timeouts": 2},
    "amplifier-timeout": {"clicks without haptic": 16, "amplifier timeouts": 16, "assets disabled": SINGLE},
    "clock-jump": {"clock set back": {"fw": 1, "err": 1}},
    "damaged-log": {"unknown categories": 8, "lines left out": 2, "short batches": 3, "numbers missing": 6},
    "double-click": {"presses at once after another": 9},
    "dropped-events": {"sensors that drop events": ["gyro"]},
    "failing-sensor": {"services without report": ["Gyro"], "silent sensors": ["gyro"]},
    "firmware-restart": {"restarts": {"fw": 1, "err": 1}},
}
WITHOUT_STORY = {"garbage", "refusing-driver"}


class Line:
    def __init__(self, text):
        fields = dict(re.findall(r"'([\w-]+)': *'?([\w-]+)", text))
        self.kind = tuple(fields[key] for key in ("category", "component", "event", "type"))
        self.action = fields.get("trace", "")
        self.time, self.number = int(fields["timestamp"]), int(fields["sequence_num"])


class Capture:
    def __init__(self, model):
        status, out, err = command.run("capture", "--format", "json", "--model", str(MODELS / f"{model}.json"))
        assert (status, err) == (0, ""), err
        self.document = json.loads(out)
        self.records = self.document["records"]
        self.batches = {kind: [record for record in self.records if record["title"].endswith(f";type={kind}")]
                        for kind in ("fw", "kext", "err")}
        self.lines = {kind: [Line(line) for batch in batches for line in batch["value"]]
                      for kind, batches in self.batches.items()}
        self.metrics = {row["key"].removeprefix("com.tavik.kip."): row for row in self.document["metrics"]}

    def only(self, title):
        return next(record["value"] for record in self.records if record["title"] == title)

    def counter(self, key):
        return self.metrics.get(key, {"value": 0})["value"]

    def times(self, action, *kinds):
        return sum(line.action == action for kind in kinds for line in self.lines[kind])

    def presses(self):
        """The checkpoints of each press in the firmware's log, without the amplifier's."""
        presses = []
        for line in self.lines["fw"]:
            if line.action == "ckp_ZORBFingerON":
                presses.append([])
            if line.action.startswith("ckp_") and not line.action.startswith("ckp_ARC"):
                presses[-1].append((line.time, line.action))
        return presses

    def breaks(self, kind):
        """How often numbers begin anew, how often only the clock is set back, and how many numbers are missing."""
        restarts = jumps = missing = 0
        lines = self.lines[kind]
        for before, after in zip(lines, lines[1:]):
            restarts += after.number < before.number
            jumps += after.number > before.number and after.time < before.time
            missing += max(0, after.number - before.number - 1)
        return restarts, jumps, missing

    def faults(self):
        breaks = {kind: self.breaks(kind) for kind in self.lines}
        presses = self.presses()
        found = {
            "restarts": {kind: counts[0] for kind, counts in breaks.items() if counts[0]},
            "clock set back": {kind: counts[1] for kind, counts in breaks.items() if counts[1]},
            "numbers missing": sum(counts[2] for counts in breaks.values()),
            "unknown categories": sum(line.kind[0] not in CATEGORIES for lines in self.lines.values() for line in lines),
            "lines left out": sum(int(re.search(r"count=(\d+)", batch["title"])[1]) - len(batch["value"])
                                  for batches in self.batches.values() for batch in batches),
            "short batches": sum("count=32 " not in batch["title"]
                                 for batches in self.batches.values() for batch in batches),
            "actuator timeouts": self.times("HaldenCLTimeOut", "fw"),
            "amplifier timeouts": self.times("SoftReset", "fw"),
            "clicks without haptic": sum(downs - min(downs, plays) for downs, plays in (
                [[name for _, name in press].count(name) for name in ("ckp_ZORBButtonDown", "ckp_HaldenPlayAsset")]
                for press in presses)),
            "presses at once after another": sum(0 < after[0][0] - before[-1][0] < 100000
                                                 for before, after in zip(presses, presses[1:])),
            "assets disabled": [name for name, text in self.only("ZORB assets").items() if text.startswith("enable=0")
                                and not re.search("Tap|Deep|null", name)],
        }
        services = {service["name"]: service["first handler"] for service in self.document["services"]}
        reporting = {record["handler"] for record in self.records}
        found["services without report"] = [name for name, handler in services.items() if handler not in reporting]
        recorded = {line.kind[1] for line in self.lines["fw"] if line.kind[0] == "sensors"}
        if len(self.lines["fw"]) > 1000:  # long enough for every sensor
            found["silent sensors"] = [SENSORS[name] for name in services if name in SENSORS and SENSORS[name] not in recorded]
        found["sensors that drop events"] = []
        for record in self.records:
            if record["title"] == "SensorInfo":
                events, enqueued, dropped = map(int, re.findall(r"(?<!\.)\b\d+\b(?!\.)", record["value"]["APEvents"])[:3])
                assert events == enqueued + dropped, record["value"]["APEvents"]
                if dropped > events / 100:
                    found["sensors that drop events"].append(record["value"]["sensorType"])
        return {name: value for name, value in found.items() if value}


@functools.cache
def capture(model):
    return Capture(model)


class Stories(unittest.TestCase):
    def each(self, check):
        for model in STORIES:
            with self.subTest(model):
                check(model, capture(model))

    def test_every_model_has_its_story(self):
        shipped = {path.stem for path in MODELS.glob("*.json")} - {"device-model.schema"}
        self.assertEqual(shipped - WITHOUT_STORY, set(STORIES))

    def test_only_the_own_fault_shows(self):
        def check(model, captured):
            self.assertEqual(captured.faults(), STORIES[model])

        self.each(check)

    def test_statistics_are_those_of_the_last_press_in_the_log(self):
        def check(model, captured):
            press = captured.only("ZORB Statistics")["last button press"]
            clicks = [press[f"click {number}"] for number in range(1, press["click count"] + 1)]
            told = [(press["finger on ts"], "ckp_ZORBFingerON")] if press["finger on ts"] else []
            for click in clicks:
                for edge, checkpoint in (("down", "ckp_ZORBButtonDown"), ("up", "ckp_ZORBButtonUp")):
                    time, until_asset = click[f"button {edge} ts"], click[f"button {edge} to play asset"]
                    told += [(time, checkpoint)] + [(time + until_asset, "ckp_HaldenPlayAsset")] * bool(until_asset)
                self.assertEqual(click["play asset ts"], bool(until_asset) * (time + until_asset))
            told += [(press["finger off ts"], "ckp_ZORBFingerOFF")] if told else []
            told = [(nanoseconds // 1000, name) for nanoseconds, name in told]
            last = captured.presses()[-1] if captured.presses() else []
            self.assertEqual(told, [entry for entry in last if entry[1] != "ckp_HaldenStartHaptics"])
            self.assertEqual(press["start haptic ts"] // 1000,
                             next((time for time, name in last if name == "ckp_HaldenStartHaptics"), 0))
            if clicks:
                self.assertEqual(press["finger detect to button down"],
                                 clicks[0]["button down ts"] - press["finger on ts"])

        self.each(check)

    def test_latencies_enclose_all_presses_since_the_start(self):
        def check(model, captured):
            latency = captured.only("ZORB Statistics")["latency"]
            lines = captured.lines["fw"]
            starts = [after.time for before, after in zip(lines, lines[1:]) if after.number < before.number]
            presses = captured.presses()
            if starts:
                presses = [press for press in presses if starts[-1] <= press[0][0] <= lines[-1].time]
                self.assertGreater(len(presses), 3)
            seen = {"FD_to_BD": [], "BC_to_PlayAsset": []}
            for press in presses:
                downs = [time for time, name in press if name == "ckp_ZORBButtonDown"]
                seen["FD_to_BD"].append(downs[0] - press[0][0])
                for (before, edge), (after, name) in zip(press, press[2:]):
                    if name == "ckp_HaldenPlayAsset":
                        seen["BC_to_PlayAsset"].append(after - before)
            for name, microseconds in seen.items():
                if microseconds:
                    self.assertLessEqual(latency[f"min_nz_latency_{name}"] // 1000, min(microseconds))
                    self.assertGreaterEqual(latency[f"max_latency_{name}"] // 1000 + 1, max(microseconds))
                if microseconds and starts:  # the extremes are among them
                    self.assertEqual(latency[f"min_nz_latency_{name}"] // 1000, min(microseconds))
                    self.assertEqual(latency[f"max_latency_{name}"] // 1000, max(microseconds))

        self.each(check)

    def test_metrics_count_what_the_logs_show(self):
        def check(model, captured):
            count = captured.counter
            single, double, triple, long = (count(f"button.{kind}.count") for kind in
                                            ("single_click", "double_click", "triple_click", "long_press"))
            self.assertEqual(count("button.click.count"), single + 2 * double + 3 * triple)
            self.assertEqual(count("button.touch_with_click.count"), single + double + triple + long)
            self.assertEqual(count("button.halden.cl_timeout.count"), captured.times("HaldenCLTimeOut", "fw", "err"))
            amplifier = captured.times("PreWarmToDisabled", "fw", "err")
            if amplifier:
                self.assertEqual(count("button.MondelArc_probe_failure"), amplifier)
                self.assertEqual(count("button.timeout.count"), amplifier)
            if count("purl.reset_count"):
                self.assertEqual(count("purl.reset_count"), 1 + captured.breaks("fw")[0])
            if model in ("actuator-timeout", "amplifier-timeout"):  # no press of these devices went well
                self.assertEqual(count("button.timeout.count"), count("button.click.count"))

        self.each(check)

    def test_metrics_know_the_clicks_of_the_last_press(self):
        def check(model, captured):
            presses = captured.presses()
            if not presses:
                return
            doubles = sum([name for _, name in press].count("ckp_ZORBButtonDown") == 2 for press in presses)
            self.assertEqual(bool(doubles), bool(captured.counter("button.double_click.count")))
            durations = captured.metrics["button.click.duration"]
            times = [time for time, name in presses[-1] if name in ("ckp_ZORBButtonDown", "ckp_ZORBButtonUp")]
            for down, up in zip(times[::2], times[1::2]):
                self.assertLessEqual(durations["min"], round((up - down) / 250) / 4)
                self.assertGreaterEqual(durations["max"], round((up - down) / 250) / 4)

        self.each(check)

    def test_error_log_ends_before_timeouts_begin_in_the_profile_log(self):
        """Otherwise one timeout would be counted in both."""
        for model in ("actuator-timeout", "amplifier-timeout"):
            with self.subTest(model):
                lines = capture(model).lines
                self.assertLess(max(line.time for line in lines["err"]), min(line.time for line in lines["fw"]))

    def test_failing_read_is_logged_with_its_code(self):
        messages = [line["message"] for line in capture("failing-sensor").document["log"]]
        self.assertEqual(sum("result == 0 , timed out " in message and message.endswith("value:e00002d6\n")
                             for message in messages), 1)

    def test_everyday_timeouts_of_a_healthy_device_are_few(self):
        commands = [line for line in capture("default").lines["err"] if line.kind[2] == "timeout"]
        self.assertLess(len(commands), 10)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
