#!/usr/bin/env python3
"""How fast velstat query counts raw records, beside `velstat decode --format none` with the same filter.

usage: query_bench.py [--velstat FILE] [--records N] [--rounds N] [--folder DIR]

The two commands run alternately, each on one core, and the answers are compared with the number of records that decode
writes. Ratios of one run are worth more than times. Measure a release build on a quiet machine."""

import argparse
import os
import pathlib
import resource
import statistics
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent

# SQL, and decode's options for the same records.
FILTERS = {
    "all records": ("", []),
    "category = 'zorb'": ("WHERE category = 'zorb'", ["--category", "zorb"]),
    "a single sequence number": ("WHERE sequence_num = 77", ["--sequence", "77"]),
    "event = 'context'": ("WHERE event = 'context'", ["--event", "context"]),
}


def seconds(*command):
    """User and system time of a command, and its output."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    out = subprocess.run([str(part) for part in command], check=True, capture_output=True).stdout
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, out


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--velstat", default=ROOT / "build/release/bin/velstat", type=pathlib.Path)
    parser.add_argument("--records", default=4_000_000, type=int)
    parser.add_argument("--rounds", default=7, type=int)
    parser.add_argument("--folder", default=None, help="where the records are put")
    options = parser.parse_args()
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
    with tempfile.TemporaryDirectory(dir=options.folder) as folder:
        records = pathlib.Path(folder) / "records"
        with open(records, "wb") as file:
            subprocess.run([options.velstat, "generate", "records", "--seed", "1", "--count", str(options.records)],
                           check=True, stdout=file)
        print(f"{options.records} records, processor time, best of {options.rounds}")
        print(f"{'filter':26}{'million records/s':>18}{'ratio of the best':>18}{'of the medians':>16}")
        for name, (where, filters) in FILTERS.items():
            raw = subprocess.run([options.velstat, "decode", "--format", "raw", *filters, records], check=True,
                                 capture_output=True).stdout
            sql = f"SELECT count(*) AS n FROM records {where}"
            times = {"query": [], "decode": []}
            for _ in range(options.rounds):
                spent, out = seconds(options.velstat, "query", "--format", "csv", records, sql)
                if out != b"n\n%d\n" % (len(raw) // 48):
                    sys.exit(f"{name}: wrong answer: {out!r}")
                times["query"].append(spent)
                times["decode"].append(seconds(options.velstat, "decode", "--jobs", "1", "--format", "none", *filters,
                                               records)[0])
            best = {command: min(spent) for command, spent in times.items()}
            median = {command: statistics.median(spent) for command, spent in times.items()}
            print(f"{name:26}{options.records / best['query'] / 1e6:18.2f}{best['query'] / best['decode']:18.2f}"
                  f"{median['query'] / median['decode']:16.2f}")


main()
