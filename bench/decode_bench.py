#!/usr/bin/env python3
"""How fast velstat decodes: on one core and on two, into a pipe, in each format, in how much memory, and beside
babeltrace2.

usage: decode_bench.py [--velstat FILE] [--records N] [--rounds N] [--folder DIR] [--without-babeltrace]

The kinds of run take turns, so that a busy moment hits all of them. Before anything is measured, the output on one core
and on two is compared. Measure a release build on a quiet machine with two cores or more. babeltrace2 takes minutes:
--without-babeltrace leaves it out."""

import argparse
import fcntl
import hashlib
import os
import pathlib
import shutil
import statistics
import struct
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
F_SETPIPE_SZ = 1031
MEBIBYTE = 1 << 20

# Runs between this process and the measured one, whose peak memory would otherwise include the memory of this one.
RUN = """
import os, resource, subprocess, sys, time
begin = time.monotonic()
status = subprocess.run(sys.argv[1:], stdin=0, stdout=1).returncode
seconds = time.monotonic() - begin
usage = resource.getrusage(resource.RUSAGE_CHILDREN)
os.write(2, b"%f %d" % (seconds, usage.ru_maxrss))
sys.exit(status)
"""
# Writes the same bytes repeatedly, from memory, in large blocks.
WRITE = """
import fcntl, os, sys
total, size = int(sys.argv[1]), int(sys.argv[2])
fcntl.fcntl(1, 1031, 1 << 20)
block = memoryview((b"'key':        123, " * size)[:size])
while total > 0:
    total -= os.write(1, block[:min(size, total)])
"""


def run(*command, stdout=subprocess.DEVNULL):
    """Seconds and peak memory in MB."""
    done = subprocess.run([sys.executable, "-c", RUN, *map(str, command)], stdout=stdout, stderr=subprocess.PIPE,
                          check=True)
    seconds, peak = done.stderr.split()
    return float(seconds), int(peak) * 1024 / 1e6


def through_pipe(*command):
    """Seconds from the first byte that comes through a pipe to the last one, and how many bytes there are."""
    reading, writing = os.pipe()
    fcntl.fcntl(reading, F_SETPIPE_SZ, MEBIBYTE)
    buffer = bytearray(MEBIBYTE)
    process = subprocess.Popen([str(part) for part in command], stdout=writing)
    os.close(writing)
    count = os.readv(reading, [buffer])
    begin = time.monotonic()
    while got := os.readv(reading, [buffer]):
        count += got
    seconds = time.monotonic() - begin
    os.close(reading)
    if process.wait() != 0:
        sys.exit(f"{command[0]} failed")
    return seconds, count


def digest(*command):
    process = subprocess.Popen([str(part) for part in command], stdout=subprocess.PIPE)
    result, count = hashlib.sha256(), 0
    while block := process.stdout.read(MEBIBYTE):
        result.update(block)
        count += len(block)
    if process.wait() != 0:
        sys.exit(f"{command[0]} failed")
    return result.hexdigest(), count


METADATA = """/* CTF 1.8 */
typealias integer { size = 8; align = 8; signed = false; } := uint8_t;
typealias integer { size = 32; align = 8; signed = false; } := uint32_t;
typealias integer { size = 64; align = 8; signed = false; } := uint64_t;
trace {
  major = 1; minor = 8; byte_order = le;
  packet.header := struct { uint32_t magic; uint32_t stream_id; };
};
clock { name = device; freq = 1000000; };
typealias integer { size = 64; align = 8; signed = false; map = clock.device.value; } := time_t;
stream {
  id = 0;
  packet.context := struct { uint64_t content_size; uint64_t packet_size; };
  event.header := struct { uint32_t id; time_t timestamp; };
};
event { id = 0; name = "record"; stream_id = 0; fields := struct { %s }; };
"""
INTEGERS = "".join(f"uint32_t arg{i}; " for i in range(1, 9))
TRACES = {  # name: fields, their bytes
    "8 integer fields": (INTEGERS, struct.pack("<8I", 1, 20, 300, 4000, 50000, 600000, 7000000, 80000000)),
    "8 integer fields and a 48-byte array": (INTEGERS + "uint8_t data[48];",
                                             struct.pack("<8I", 1, 20, 300, 4000, 50000, 600000, 7000000, 80000000)
                                             + bytes(range(100, 148))),
}


def write_trace(folder, fields, payload, count):
    """A trace of `count` equal events."""
    folder.mkdir()
    (folder / "metadata").write_text(METADATA % fields)
    event = struct.pack("<IQ", 0, 1000) + payload
    most = 10000
    with open(folder / "stream", "wb") as stream:
        while count:
            events = min(count, most)
            bits = (24 + events * len(event)) * 8
            stream.write(struct.pack("<IIQQ", 0xC1FC1FC1, 0, bits, bits) + event * events)
            count -= events


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--velstat", default=ROOT / "build/release/bin/velstat")
    parser.add_argument("--records", type=int, default=10_000_000)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--folder", help="for the records and traces; about 250 bytes a record (default: temporary)")
    parser.add_argument("--without-babeltrace", action="store_true")
    options = parser.parse_args()
    count, velstat = options.records, options.velstat
    folder = pathlib.Path(tempfile.mkdtemp(dir=options.folder))
    try:
        measure(velstat, count, options.rounds, folder, not options.without_babeltrace)
    finally:
        shutil.rmtree(folder)


def measure(velstat, count, rounds, folder, with_babeltrace):
    print(f"load before: {' '.join(f'{load:.2f}' for load in os.getloadavg())}; {os.cpu_count()} cores", flush=True)
    records = folder / "records.bin"
    with open(records, "wb") as file:
        subprocess.run([velstat, "generate", "records", "--seed", "1", "--count", str(count)], stdout=file, check=True)

    one, two = ([velstat, "decode", "--jobs", jobs, records] for jobs in ("1", "2"))
    expected, size = digest(*one)
    if digest(*two)[0] != expected:
        sys.exit("one core and two write different bytes")

    times = {"one": [], "two": [], "pipe": [], "memory": []}
    peak = 0
    for _ in range(rounds):
        for name, command in (("one", one), ("two", two)):
            seconds, memory = run(*command)
            times[name].append(seconds)
            peak = max(peak, memory)
        for block in (MEBIBYTE // 8, MEBIBYTE // 4, MEBIBYTE):
            times["memory"].append(through_pipe(sys.executable, "-c", WRITE, size, block)[0])
            seconds, read = through_pipe(*two)
            if read != size:
                sys.exit("the pipe lost bytes")
            times["pipe"].append(seconds)
    best = {name: min(values) for name, values in times.items()}
    middle = {name: statistics.median(values) for name, values in times.items()}

    print(f"{count} records of 48 bytes, {size / count:.0f} bytes of text each, {rounds} rounds\n")
    print("| what | best, s | median, s | million records/s | GB/s of text |")
    print("|---|---|---|---|---|")
    for name, key in (("one core to /dev/null", "one"), ("two cores to /dev/null", "two"), ("into a pipe", "pipe"),
                      ("as many bytes from memory into that pipe", "memory")):
        print(f"| {name} | {best[key]:.2f} | {middle[key]:.2f} | {count / best[key] / 1e6:.2f} | "
              f"{size / best[key] / 1e9:.2f} |")
    print("\n| ratio | of the best | of the medians |")
    print("|---|---|---|")
    for name, over, under in (("two cores against one", "one", "two"),
                              ("into a pipe against writing from memory", "memory", "pipe")):
        print(f"| {name} | {best[over] / best[under]:.2f} | {middle[over] / middle[under]:.2f} |")
    print(f"\npeak memory: {peak:.1f} MB for a file of {count * 48 / 1e6:.0f} MB", flush=True)
    every_format(velstat, count, rounds, records)
    if with_babeltrace:
        beside_babeltrace(count, best, folder)
    print(f"load after: {' '.join(f'{load:.2f}' for load in os.getloadavg())}")


FORMATS = {  # name: options
    "text": ["--format", "text"],
    "brief": ["--format", "brief"],
    "brief, differences of times": ["--delta"],
    "JSON": ["--format", "json"],
    "CSV": ["--format", "csv"],
    "JSON, four fields": ["--format", "json", "--fields", "timestamp,event,trace,arg1"],
    "CSV, four fields": ["--format", "csv", "--fields", "timestamp,event,trace,arg1"],
}


def every_format(velstat, count, rounds, records):
    commands = {name: [velstat, "decode", *options, "--jobs", "1", records] for name, options in FORMATS.items()}
    for name, command in commands.items():
        if digest(*command)[0] != digest(*command[:-3], "--jobs", "2", records)[0]:
            sys.exit(f"{name}: one core and two write different bytes")
        lines = int(subprocess.run(["sh", "-c", '"$@" | wc -l', "sh", *map(str, command)], stdout=subprocess.PIPE,
                                   check=True).stdout)
        if name != "text" and lines != count + name.startswith("CSV"):  # texts may hold newlines
            sys.exit(f"{name}: {lines} lines for {count} records")
    best = {name: min(run(*command)[0] for _ in range(rounds)) for name, command in commands.items()}
    print("\n| format, one core to /dev/null | best, s | million records/s |")
    print("|---|---|---|")
    for name, seconds in best.items():
        print(f"| {name} | {seconds:.2f} | {count / seconds / 1e6:.2f} |", flush=True)


def beside_babeltrace(count, best, folder):
    if shutil.which("babeltrace2") is None:
        sys.exit("babeltrace2 is not installed")
    print("\n| babeltrace2, pretty text to /dev/null | seconds | million events/s | velstat on one core | on two |")
    print("|---|---|---|---|---|")
    for number, (name, (fields, payload)) in enumerate(TRACES.items()):
        trace = folder / f"trace{number}"
        small = folder / f"small{number}"
        write_trace(small, fields, payload, 7)
        lines = subprocess.run(["babeltrace2", small], capture_output=True, check=True).stdout.count(b"\n")
        if lines != 7:
            sys.exit(f"babeltrace2 shows {lines} of 7 events")
        write_trace(trace, fields, payload, count)
        seconds, _ = run("babeltrace2", trace)
        shutil.rmtree(trace)
        print(f"| {name} | {seconds:.2f} | {count / seconds / 1e6:.2f} | {seconds / best['one']:.0f} times | "
              f"{seconds / best['two']:.0f} times |", flush=True)


if __name__ == "__main__":
    main()
