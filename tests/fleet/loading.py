"""What tests of `velstat fleet load` share: captures, the truth about them, and what the cluster has."""

import json
import os
import pathlib
import subprocess

VELSTAT = os.environ["VELSTAT"]
# Sums of hashes over the 48 bytes: equal only if every record is there exactly once.
SUMS = ("device, count() AS records, sum(timestamp) AS times, sum(sipHash64(record)) AS hashes")


def velstat(*arguments, **options):
    return subprocess.run([VELSTAT, *map(str, arguments)], capture_output=True, text=True, timeout=300, **options)


def make_tables(cluster, database):
    """On all nodes, of a cluster with replicas or of one server."""
    kind = ["--cluster", cluster.status["cluster"], "--replicated"] if cluster.status["replicated"] else []
    nodes = [argument for node in cluster.nodes for argument in ("--to", node["url"])]
    done = velstat("fleet", "schema", "--database", database, *kind, *nodes, "--credentials", cluster.credentials)
    assert done.returncode == 0, done


def command(cluster, database, *arguments, to=None):
    return ["fleet", "load", "--to", to or cluster.url(), "--credentials", cluster.credentials, "--database", database,
            "--format", "json", *arguments]


def load(cluster, database, *arguments, to=None, status=0, **options):
    """The summary."""
    done = velstat(*command(cluster, database, *arguments, to=to), **options)
    assert done.returncode == status, done
    return json.loads(done.stdout)


def sip_hash(data):
    """SipHash-2-4 with a key of zeros, written as its authors describe it."""
    mask = 2**64 - 1
    v0, v1, v2, v3 = 0x736F6D6570736575, 0x646F72616E646F6D, 0x6C7967656E657261, 0x7465646279746573

    def rounds(count):
        nonlocal v0, v1, v2, v3
        for _ in range(count):
            v0 = (v0 + v1) & mask
            v1 = ((v1 << 13 | v1 >> 51) & mask) ^ v0
            v0 = (v0 << 32 | v0 >> 32) & mask
            v2 = (v2 + v3) & mask
            v3 = ((v3 << 16 | v3 >> 48) & mask) ^ v2
            v0 = (v0 + v3) & mask
            v3 = ((v3 << 21 | v3 >> 43) & mask) ^ v0
            v2 = (v2 + v1) & mask
            v1 = ((v1 << 17 | v1 >> 47) & mask) ^ v2
            v2 = (v2 << 32 | v2 >> 32) & mask

    padded = data + bytes(7 - len(data) % 8) + bytes([len(data) & 255])
    for at in range(0, len(padded), 8):
        word = int.from_bytes(padded[at:at + 8], "little")
        v3 ^= word
        rounds(2)
        v0 ^= word
    v2 ^= 0xFF
    rounds(4)
    return v0 ^ v1 ^ v2 ^ v3


def sums(records):
    """The same as SUMS, of 48 bytes each."""
    times = [int.from_bytes(record[8:16], "little") for record in records]
    return {"records": len(records), "times": sum(times) % 2**64,
            "hashes": sum(map(sip_hash, records)) % 2**64}


def records_of(*paths):
    """What `velstat decode` finds in captures of one device."""
    done = subprocess.run([VELSTAT, "decode", "--format", "raw", *map(str, paths)], capture_output=True, timeout=300)
    return [done.stdout[at:at + 48] for at in range(0, len(done.stdout), 48)]


def truth_of(captures):
    """By device, from pairs of device and path."""
    by_device = {}
    for device, path in captures:
        by_device.setdefault(device, []).append(path)
    return {device: sums(records_of(*paths)) for device, paths in by_device.items()}


def found(cluster, database, node=None):
    """What the cluster has, by device."""
    rows = cluster.rows(f"SELECT {SUMS} FROM {database}.records GROUP BY device", node)
    return {row.pop("device"): row for row in rows}


def listed(folder):
    """Pairs of device and path, of a folder made by `velstat generate fleet`."""
    lines = pathlib.Path(folder, "captures.jsonl").read_text().splitlines()
    return [(item["device"], pathlib.Path(folder, item["path"])) for item in map(json.loads, lines)]


def require_equal(actual, expected, about):
    """Names the first differences."""
    different = [(key, actual.get(key), expected.get(key)) for key in sorted(actual.keys() | expected.keys())
                 if actual.get(key) != expected.get(key)]
    assert not different, f"{about}: {len(different)} differ: {different[:3]}"
