#!/usr/bin/env python3
"""How many records a second velstat trace puts on a timeline, on one core, beside `velstat decode --format json`.

usage: trace_bench.py [--velstat FILE] [--records N] [--rounds N] [--folder DIR]

The number of events of each kind is compared with what velstat query counts in the same records, and the greatest memory
with that for a tenth of the records. Measure a release build on a quiet machine."""

import argparse
import collections
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
# Options of decode that select the records. Half of all records are dumps, which have no events in a trace; few records
# of presses are dumps.
MIXES = {"all": [], "presses": ["--category", "zorb"]}


def measure(*command, stdout=subprocess.DEVNULL):
    """User and system time of a command in seconds, and its greatest memory in bytes."""
    process = subprocess.Popen([str(part) for part in command], stdout=stdout)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{command[1]} ends with {process.returncode}")
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss << 10


def events(trace):
    """How many there are of each phase: each has a line."""
    counts = collections.Counter()
    with open(trace, "rb") as file:
        for line in file:
            if match := re.match(rb'{"ph":"(.)"', line):
                counts[match[1].decode()] += 1
    return counts


def expected(velstat, records):
    sql = """SELECT sum(type IN ('function', 'extfunction')), sum(component = 'scheduler' AND event = 'context-switch'),
                    sum(type IN ('long-data', 'short-data') AND NOT (category = 'zorb' AND event IN
                        ('input-packet', 'status-event'))), sum(missing > 0), count(*) FROM records"""
    out = subprocess.run([velstat, "query", "--format", "csv", records, sql], check=True, capture_output=True, text=True)
    return map(int, out.stdout.splitlines()[-1].split(","))


def check(velstat, records, trace):
    counts = events(trace)
    calls, switches, dumps, gaps, total = expected(velstat, records)
    # No press is cut by a restart in these records, so all other slices are presses and states.
    if counts["i"] != total - calls - switches - dumps + gaps or counts["X"] < calls + switches - 1 or counts["M"] == 0:
        sys.exit(f"wrong trace: {dict(counts)} of {calls} calls, {switches} switches, {dumps} dumps, {gaps} gaps, "
                 f"{total} records")
    return counts


def generate(velstat, path, count, filters):
    """`count` records, made from ten times as many where some are left out."""
    made = count * 10 if filters else count
    with open(path, "wb") as file:
        source = subprocess.Popen([velstat, "generate", "records", "--seed", "1", "--count", str(made)], stdout=subprocess.PIPE)
        subprocess.run([velstat, "decode", "--format", "raw", "--limit", str(count), *filters, "-"], stdin=source.stdout,
                       stdout=file, check=True)
        source.stdout.close()
        source.wait()
    if path.stat().st_size != 48 * count:
        sys.exit(f"{path.stat().st_size // 48} records were made instead of {count}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--velstat", default=ROOT / "build/release/bin/velstat", type=pathlib.Path)
    parser.add_argument("--records", default=4_000_000, type=int)
    parser.add_argument("--rounds", default=7, type=int)
    parser.add_argument("--folder", default=None, help="where records and traces are put")
    options = parser.parse_args()
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
    velstat = options.velstat
    with tempfile.TemporaryDirectory(dir=options.folder) as folder:
        records, few, trace = (pathlib.Path(folder) / name for name in ("records", "few", "trace.json"))
        print(f"{options.records} records, processor time, best of {options.rounds}")
        print(f"{'records':8}{'million records/s':>18}{'of decode, JSON':>17}{'bytes a record':>16}{'MB of memory':>14}")
        for mix, filters in MIXES.items():
            for path, count in (records, options.records), (few, options.records // 10):
                generate(velstat, path, count, filters)
            times, decoded = [], []
            for _ in range(options.rounds):
                spent, memory = measure(velstat, "trace", "--no-findings", records, "-o", trace)
                times.append(spent)
                decoded.append(measure(velstat, "decode", "--jobs", "1", "--format", "json", records)[0])
            check(velstat, records, trace)
            size = trace.stat().st_size
            less = measure(velstat, "trace", "--no-findings", few, "-o", trace)[1]
            if memory > less + (4 << 20):
                sys.exit(f"{mix}: {memory} bytes of memory, and {less} for a tenth of the records")
            print(f"{mix:8}{options.records / min(times) / 1e6:18.2f}{min(decoded) / min(times):17.2f}"
                  f"{size / options.records:16.0f}{memory / 1e6:14.1f}")


main()
