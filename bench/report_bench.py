#!/usr/bin/env python3
"""velstat report of many records: time, memory and size of the page, which is checked.

    python3 bench/report_bench.py --records 10000000 --rounds 5 --folder /dev/shm
"""

import argparse
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).parent.parent
VELSTAT = ROOT / "build/release/bin/velstat"


def timed(*command):
    """Seconds on the clock, seconds of processors, peak memory in MB."""
    begin = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        sys.exit(f"{command}: status {os.waitstatus_to_exitcode(status)}")
    return time.monotonic() - begin, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def check(page, records):
    """The page tells how many records there are, and holds the ones that it says."""
    text = page.read_text()
    data = json.loads(re.search(' id="data">([^<]*)<', text)[1])["records"]
    held = sum(count for _, count in data["parts"])
    digits = len(re.search(' id="record-bytes">([^<]*)<', text)[1])
    assert data["count"] == records and digits == held * 64, (data["count"], held, digits)
    return held


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--records", type=int, default=10_000_000)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--folder", default=None)
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(dir=options.folder) as folder:
        records, page = pathlib.Path(folder, "records.bin"), pathlib.Path(folder, "page.html")
        with open(records, "wb") as file:
            subprocess.run([VELSTAT, "generate", "records", "--count", str(options.records)], check=True, stdout=file)
        runs = [timed(VELSTAT, "report", records, "-o", page) for _ in range(options.rounds)]
        held = check(page, options.records)
        size = page.stat().st_size / 1e6
    print("| records | best, s | median, s | processor time, s | peak memory, MB | page, MB | records in it |")
    print("|---|---|---|---|---|---|---|")
    clock = sorted(run[0] for run in runs)
    print(f"| {options.records:,} | {clock[0]:.2f} | {clock[len(clock) // 2]:.2f} | {min(run[1] for run in runs):.2f} "
          f"| {max(run[2] for run in runs):.0f} | {size:.1f} | {held:,} |")


main()
