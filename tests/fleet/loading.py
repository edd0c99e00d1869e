"""What tests of `velstat fleet load` share: captures, the truth about them, and what the cluster has."""

import json
import os
import pathlib
import subprocess
import time

import numpy

from cluster import Refused

VELSTAT = os.environ["VELSTAT"]
# The number of records, and the sums of each of the six numbers of 64 bits in them.
SUMS = "device, count() AS records" + "".join(
    f", sum(reinterpretAsUInt64(substring(record, {8 * i + 1}, 8))) AS word{i}" for i in range(6))


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


def sums(records):
    """The same as SUMS, of 48 bytes each."""
    words = numpy.frombuffer(b"".join(records) if isinstance(records, list) else records, "<u8").reshape(-1, 6)
    total = words.sum(axis=0, dtype=numpy.uint64) # modulo 2^64, as the server's sums are
    return {"records": len(words)} | {f"word{i}": int(total[i]) for i in range(6)}


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


def synchronise(cluster, database):
    """Until all replicas have all records. A node that has just lost ZooKeeper refuses for a moment."""
    deadline = time.monotonic() + 120
    for node in cluster.nodes if cluster.status["replicated"] else []:
        while True:
            try:
                cluster.sql(f"SYSTEM SYNC REPLICA {database}.records_stored", node["name"], timeout=20)
                break
            except (Refused, OSError) as error:
                if time.monotonic() > deadline:
                    queue = cluster.sql("SELECT table, type, new_part_name, num_tries, last_exception, postpone_reason FROM "
                                        "system.replication_queue FORMAT Vertical", node["name"])
                    raise AssertionError(f"{node['name']} does not catch up: {queue}") from error
                time.sleep(0.1)


def listed(folder):
    """Pairs of device and path, of a folder made by `velstat generate fleet`."""
    lines = pathlib.Path(folder, "captures.jsonl").read_text().splitlines()
    return [(item["device"], pathlib.Path(folder, item["path"])) for item in map(json.loads, lines)]


def require_equal(actual, expected, about):
    """Names the first differences."""
    different = [(key, actual.get(key), expected.get(key)) for key in sorted(actual.keys() | expected.keys())
                 if actual.get(key) != expected.get(key)]
    assert not different, f"{about}: {len(different)} differ: {different[:3]}"
