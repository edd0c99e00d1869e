"""What plain Python computes from captures, read by `velstat query`: the answers that the shipped questions must give."""

import collections
import math
import re
import sqlite3
import subprocess
from concurrent.futures import ThreadPoolExecutor

from loading import VELSTAT


class Device:
    """One capture. `steps` are what the button's components did, in the order of each part of the log."""

    def __init__(self, listed, path, file):
        self.device, self.build, self.lot = listed["device"], listed["build"], listed["lot"]
        done = subprocess.run([VELSTAT, "query", str(path), "--export", str(file)], capture_output=True, timeout=120)
        assert done.returncode == 0, done
        database = sqlite3.connect(file)
        database.row_factory = sqlite3.Row
        rows = lambda sql: [dict(row) for row in database.execute(sql)]
        self.records = rows("SELECT * FROM records")
        self.zorb = rows("SELECT * FROM zorb_event WHERE category = 'zorb' AND type = 'event'")
        self.timeouts = rows("SELECT * FROM event WHERE category = 'execution' AND component = 'command' AND event = 'timeout'")
        self.runs = rows("SELECT * FROM runs")
        self.handlers = rows("SELECT * FROM handlers")
        self.state = rows("SELECT * FROM state WHERE path = 'sensorType' OR path = 'APEvents' OR path GLOB 'client[0-9]*'")
        self.categories = collections.Counter(row["category"] for row in self.records)
        self.steps = collections.defaultdict(list)
        for row in self.zorb:
            self.steps[row["run"]].append((row["sequence_num"], row["trace"], row["timestamp"]))
        for steps in self.steps.values():
            steps.sort()

    def chain(self, *names):
        """Each two of these steps that follow each other: their names, and the time between them."""
        for steps in self.steps.values():
            chosen = [(name, time) for _, name, time in steps if name in names]
            for (one, before), (other, after) in zip(chosen, chosen[1:]):
                yield one, other, after - before

    def latencies(self):
        return [time for one, other, time in self.chain("ckp_ZORBButtonDown", "ckp_ZORBButtonUp", "ckp_HaldenPlayAsset")
                if one != other == "ckp_HaldenPlayAsset"]

    def sensors(self):
        """Of each sensor: its name, enqueued and dropped events, and its clients with their batch intervals."""
        reports = collections.defaultdict(dict)
        for row in self.state:
            reports[row["report_number"]][row["path"]] = row["value"]
        for values in reports.values():
            clients = [re.match(r"(.*): report=.* batch=(-?\d+)", value).groups() for path, value in values.items()
                       if path.startswith("client")]
            yield (values["sensorType"], *map(int, re.search(r"enqueued=(\d+) dropped=(\d+)", values["APEvents"]).groups()),
                   [(name, int(batch)) for name, batch in clients])

    def faults(self):
        haptics = collections.Counter((one, other) for one, other, _ in self.chain(
            "ckp_HaldenStartHaptics", "ckp_HaldenPlayAsset", "HaldenCLTimeOut", "HaldenCLFault"))
        power = list(self.chain("ckp_ARCTurnOn", "ckp_ARCReady", "ckp_ZORBFingerOFF"))
        found = {
            "actuator-timeout": haptics["ckp_HaldenStartHaptics", "HaldenCLTimeOut"] + haptics["ckp_HaldenStartHaptics", "HaldenCLFault"],
            "amplifier-timeout": sum(one == "ckp_ARCTurnOn" and other != "ckp_ARCReady" for one, other, _ in power),
            "failing-sensor": sum(not row["answered"] and row["result"] is not None for row in self.handlers),
            "dropped-events": sum(dropped >= 10 and dropped > 0.01 * (enqueued + dropped) for _, enqueued, dropped, _ in self.sensors()),
            "firmware-restart": sum(row["start"] == "restarted" for row in self.runs),
            "clock-jump": sum(row["start"] == "clock-back" for row in self.runs),
            "log-gaps": sum(row["gaps"] for row in self.runs),
            "damaged-log": sum(number for category, number in self.categories.items() if category.isdigit()),
        }
        return {fault for fault, times in found.items() if times}

    def kinds(self):
        actions = {(row["run"], row["sequence_num"]): row["trace"] for row in self.zorb}
        return collections.Counter((row["category"], row["component"], row["event"],
                                    actions.get((row["run"], row["sequence_num"]), "") if row["category"] == "zorb" else "")
                                   for row in self.records)


def read_fleet(captures, folder):
    """`captures`: lines of captures.jsonl with absolute paths."""
    with ThreadPoolExecutor(2) as pool:
        return list(pool.map(lambda line: Device(line, line["path"], folder / (line["device"] + ".sqlite")), captures))


def wilson(faulty, devices, z):
    share = faulty / devices
    middle = share + z * z / (2 * devices)
    half = z * math.sqrt(share * (1 - share) / devices + z * z / (4 * devices**2))
    whole = 1 + z * z / devices
    return share, max(0, (middle - half) / whole), min(1, (middle + half) / whole)


def fault_rates(fleet, z):
    """By fault, build and lot: devices, faulty ones, rate and its interval."""
    cells = collections.Counter((device.build, device.lot) for device in fleet)
    found = collections.Counter((fault, device.build, device.lot) for device in fleet for fault in device.faults())
    return {(fault, *cell): (devices, found[fault, *cell], *wilson(found[fault, *cell], devices, z))
            for fault in {fault for fault, _, _ in found} for cell, devices in cells.items()}


def quantile(ordered, level):
    return ordered[min(len(ordered) - 1, int(level * len(ordered)))]


def place(ordered, level, side, z):
    """The order statistic that bounds a quantile: 0 and infinity where there is none."""
    number = len(ordered)
    rank = math.ceil(number * level + side * z * math.sqrt(number * level * (1 - level)))
    return math.inf if rank > number else 0 if rank < 1 else ordered[rank - 1]


def change(before, after, level, z):
    """Change of a quantile, and its interval."""
    (b, b_low, b_high), (a, a_low, a_high) = ([place(ordered, level, side, z) for side in (0, -1, 1)] for ordered in (before, after))
    return a - b, a - b - math.hypot(a - a_low, b_high - b), a - b + math.hypot(a_high - a, b - b_low)


def scores(fleet, fault):
    """How like the devices with a fault each device is."""
    kinds = {device.device: device.kinds() for device in fleet}
    faulty = {device.device for device in fleet if fault in device.faults()}
    total = {True: collections.Counter(), False: collections.Counter()}
    for name, counts in kinds.items():
        total[name in faulty].update(counts)
    sizes = {which: sum(counts.values()) for which, counts in total.items()}
    weight = lambda kind: math.log((total[True][kind] + 1) / sizes[True] * sizes[False] / (total[False][kind] + 1))
    return {name: (name in faulty, sum(number * weight(kind) for kind, number in counts.items()) / sum(counts.values()))
            for name, counts in kinds.items()}
