"""Reads a trace as viewers do: sorts it by time, keeps the stack of each track, and binds arrows to open slices."""

import json
import pathlib
from collections import defaultdict

import jsonschema

SCHEMA = json.loads((pathlib.Path(__file__).parent / "trace_event.schema.json").read_text())
# The schema says oneOf; the phase says which one, without trying all of them.
PHASES = {"X": "slice", "i": "instant", "C": "counter", "s": "flow", "t": "flow", "f": "flow", "M": "metadata"}
EVENTS = {phase: jsonschema.Draft202012Validator({"$ref": f"#/$defs/{name}", "$defs": SCHEMA["$defs"]})
          for phase, name in PHASES.items()}


def validate(document):
    events = document["traceEvents"]
    jsonschema.Draft202012Validator(SCHEMA).validate({**document, "traceEvents": events[:20]})
    for event in events:
        EVENTS[event["ph"]].validate(event)
        assert event["name"] and event["pid"] >= 0 and event["tid"] >= 0, event


class Trace:
    """A valid trace; anything that a viewer would drop or shorten is an AssertionError."""

    def __init__(self, text):
        document = json.loads(text)
        self.events, self.other = document["traceEvents"], document["otherData"]
        validate(document)
        self.processes = {event["pid"]: event["args"]["name"] for event in self.named("process_name")}
        self.tracks = {(event["pid"], event["tid"]): event["args"]["name"] for event in self.named("thread_name")}
        self.arrows = self._follow()

    def named(self, name):
        return (event for event in self.events if event["name"] == name)

    def of(self, phase, process=None, track=None):
        """Events in the order of the file; `process` and `track` are names."""
        return [event for event in self.events if event["ph"] == phase
                and process in (None, self.processes.get(event["pid"]))
                and track in (None, self.tracks.get((event["pid"], event["tid"])))]

    def _follow(self):
        """The names of the slices that each arrow goes through."""
        stacks, arrows = defaultdict(list), defaultdict(list)
        for event in sorted((event for event in self.events if event["ph"] != "M"), key=lambda event: event["ts"]):
            assert event["pid"] in self.processes, event
            if event["ph"] == "C":
                continue
            track = event["pid"], event["tid"]
            assert track in self.tracks, event
            stack = stacks[track]
            while stack and stack[-1]["ts"] + stack[-1]["dur"] <= event["ts"] and stack[-1]["ts"] < event["ts"]:
                stack.pop()
            if event["ph"] == "X":
                self._push(stack, event)
            elif event["ph"] in "stf":
                assert stack, f"an arrow without a slice: {event}"
                assert (event["ph"] == "s") != bool(arrows[event["id"]]), event
                arrows[event["id"]].append(stack[-1]["name"])
        return list(arrows.values())

    @staticmethod
    def _push(stack, event):
        """Of slices that begin together, the inner one comes first in the file."""
        end = event["ts"] + event["dur"]
        place = len(stack)
        while place and stack[place - 1]["ts"] == event["ts"] and stack[place - 1]["ts"] + stack[place - 1]["dur"] <= end:
            place -= 1
        if place:
            outer = stack[place - 1]
            assert end <= outer["ts"] + outer["dur"], f"{event} overlaps {outer} in part"
        stack.insert(place, event)
