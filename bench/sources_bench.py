#!/usr/bin/env python3
"""How fast velstat turns lines of text back into records: on one core and on all, and in how much memory.

usage: sources_bench.py [--velstat FILE] [--records N] [--rounds N] [--folder DIR]

The records come from a fixed seed, the lines have calendar and boot times, and the records that come back are compared
with those that the lines were made of. Processor time is what the work costs on a busy machine too; the time that
passes needs a quiet one."""

import argparse
import hashlib
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent

# Runs between this process and the measured one, whose peak memory would otherwise include the memory of this one.
RUN = """
import os, resource, subprocess, sys, time
begin = time.monotonic()
status = subprocess.run(sys.argv[1:], stdin=0, stdout=1).returncode
seconds = time.monotonic() - begin
usage = resource.getrusage(resource.RUSAGE_CHILDREN)
os.write(2, b"%f %f %d" % (seconds, usage.ru_utime + usage.ru_stime, usage.ru_maxrss))
sys.exit(status)
"""


def run(*command):
    """Seconds, processor seconds and peak memory in MB."""
    done = subprocess.run([sys.executable, "-c", RUN, *map(str, command)], stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, check=True)
    seconds, processor, peak = done.stderr.split()
    return float(seconds), float(processor), int(peak) * 1024 / 1e6


def digest(*command):
    result = hashlib.sha256()
    with subprocess.Popen(list(map(str, command)), stdout=subprocess.PIPE) as process:
        while block := process.stdout.read(1 << 20):
            result.update(block)
    if process.returncode != 0:
        sys.exit(f"{command} ended with {process.returncode}")
    return result.hexdigest()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--velstat", default=ROOT / "build/release/bin/velstat")
    parser.add_argument("--records", type=int, default=2_000_000)
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--folder")
    options = parser.parse_args()
    cores = os.cpu_count()
    with tempfile.TemporaryDirectory(dir=options.folder) as folder:
        raw, lines = pathlib.Path(folder, "raw"), pathlib.Path(folder, "lines")
        with raw.open("wb") as out:
            subprocess.run([options.velstat, "generate", "records", "--seed", "1", "--count", str(options.records)],
                           stdout=out, check=True)
        with lines.open("wb") as out:
            subprocess.run([options.velstat, "decode", "--timesync", "5,1731000000000000000", "--boot",
                            "1731000000000000", raw], stdout=out, check=True)
        expected = hashlib.sha256(raw.read_bytes()).hexdigest()
        ways = {f"{jobs} thread{'s' if jobs > 1 else ''}":
                [options.velstat, "decode", "--format", "raw", "--jobs", jobs, lines] for jobs in sorted({1, cores})}
        for name, command in ways.items():
            if digest(*command) != expected:
                sys.exit(f"{name}: the records are wrong")
        times = {name: [] for name in ways}
        for _ in range(options.rounds):  # interleaved, so that noise affects all of them
            for name, command in ways.items():
                times[name].append(run(*command))
        print(f"{options.records} lines of {lines.stat().st_size / options.records:.0f} bytes")
        for name, taken in times.items():
            seconds, processor, peak = zip(*taken)
            print(f"{name}: best {min(seconds):.2f} s, median {statistics.median(seconds):.2f} s, "
                  f"{options.records / min(seconds) / 1e6:.2f} million lines/s; processor best {min(processor):.2f} s, "
                  f"{options.records / min(processor) / 1e6:.2f} million lines/s a core; peak {max(peak):.1f} MB")


main()
