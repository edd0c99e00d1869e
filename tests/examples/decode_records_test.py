"""Runs the Python example on records whose texts and fields are known: python_example_test.py example library"""
import json
import struct
import subprocess
import sys
import tempfile

example, library = sys.argv[1:]
RECORDS = [
    struct.pack("<BBBBIQ8I", 5, 0, 1, 0, 7, 1000, 1, 2, 3, 4, 5, 6, 0, 0),
    struct.pack("<BBBBIQ19s13s", 8, 9, 0, 2, 8, 2000, b"\0" * 16 + b"\0\1\xff", b"caf\xe9"),
    struct.pack("<BBBBIQiiIIIIII", 3, 1, 0, 4, 9, 3000, -65536, 98304, 1, 4, 5, 6, 0, 0),
    struct.pack("<BBBBIQ32s", 2, 9, 0, 7, 10, 4000, bytes(range(32))),
]


def dump(record):
    return ",".join(map(str, record)).encode()


TEXTS = [
    b"{  'category':'execution', 'component':'function', 'event':  'function', 'type':  'function', 'timestamp':      1000,"
    b" 'sequence_num':         7, 'function-id':         1, 'extra-id':         2, 'thread-id':         3,"
    b" 'duration':         4, 'depth':         5, 'thread_duration':         6, 'type-id':5, 'category-id':0,"
    b" 'component-id':1, 'event-id':0, 'binary-data':[" + dump(RECORDS[0]) + b"]}",
    b"{  'category':'sensors', 'component': 'accel', 'event':'sensor-info', 'type':'sensorinfo', 'timestamp':      2000,"
    b" 'sequence_num':         8, 'name':          'caf\xe9', 'report-interval':         0, 'batch-interval':         0,"
    b" 'threshold':         0, 'time-limit':         0, 'connected':         \0, 'decimation':         \1,"
    b" 'gyroPowerMode':         \xff, 'type-id':8, 'category-id':2, 'component-id':0, 'event-id':9, 'binary-data':["
    + dump(RECORDS[1]) + b"]}",
]
FIELDS = {
    0: ["execution", [["function", {"function-id": 1, "extra-id": 2, "thread-id": 3, "duration": 4, "depth": 5,
                                    "thread_duration": 6}]]],
    2: ["corvane", [["corvane", {"arg1": 4294901760, "arg2": 98304, "arg3": 1, "arg4": 4, "arg5": 5, "arg6": 6,
                                 "x": -1.0, "y": 1.5, "z": 2.0**-16}]]],
    3: ["zorb", [["short-data", {"subtype": 256, "packet-size": 30, "data-length": 30, "data-offset": 0,
                                 "raw-data": list(range(2, 32))}]] * 2],
}


def run(*options):
    return subprocess.run([sys.executable, example, library, file.name, *options], check=True, capture_output=True).stdout


with tempfile.NamedTemporaryFile() as file:
    file.write(b"".join(RECORDS) + b"a tail")
    file.flush()
    text = run()
    assert text.startswith(b"\n".join(TEXTS) + b"\n"), text
    assert text.count(b"'binary-data'") == len(RECORDS), text
    fields = [json.loads(line) for line in run("--fields").splitlines()]
    assert len(fields) == len(RECORDS), fields
    for index, (category, payload) in FIELDS.items():
        assert fields[index] == {"category": category, "payload": payload}, fields[index]
