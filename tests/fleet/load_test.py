"""velstat fleet load: what it writes, that it writes it once, and what it refuses."""

import json
import os
import pathlib
import plistlib
import shutil
import subprocess
import sys
import tempfile

import jsonschema

from cluster import Cluster
from loading import (VELSTAT, command, found, listed, load, make_tables, records_of, require_equal, sums, truth_of,
                     velstat)

SCHEMA = json.loads((pathlib.Path(__file__).resolve().parents[2] / "docs/schemas/velstat.schema.json").read_text())
DATABASE = f"load_{os.getpid()}"  # new, as dropping replicated tables takes seconds
SMALL_TABLES = ("state", "handlers", "services", "log", "metrics", "clocks", "runs", "defects")


def amounts(summary, *names):
    return [(summary[name]["captures"], summary[name]["records"]) for name in names]


def check_fleet(cluster, folder, truth):
    records = sum(device["records"] for device in truth.values())
    summary = load(cluster, DATABASE, "--list", folder / "captures.jsonl")
    jsonschema.Draft202012Validator({**SCHEMA, "$ref": "#/$defs/fleet load"}).validate(summary)
    assert amounts(summary, "read", "written", "already there", "spooled") == [(len(truth), records)] * 2 + [(0, 0)] * 2, summary
    require_equal(found(cluster, DATABASE), truth, "loaded once")
    summary = load(cluster, DATABASE, "--list", folder / "captures.jsonl")
    assert amounts(summary, "written", "already there") == [(0, 0), (len(truth), records)], summary
    require_equal(found(cluster, DATABASE), truth, "loaded again")
    # A device's rows are on one shard, and each shard has some.
    devices = [{row["device"] for row in cluster.rows(f"SELECT DISTINCT device FROM {DATABASE}.records_stored", node["name"])}
               for node in cluster.nodes if node["name"].endswith("replica1")]
    assert all(devices) and not set.intersection(*devices), devices
    wrong = [node["name"] for node in cluster.nodes if cluster.sql(
        f"SELECT count() FROM {DATABASE}.records_stored WHERE sipHash64(device) % 2 != {node['shard'] - 1}", node["name"]) != "0\n"]
    assert not wrong, wrong


def check_small_tables(cluster, folder):
    """The same values as velstat query shows, for a device with a damaged log and one without."""
    captures = listed(folder)
    for device, path in (captures[0], captures[-1]):
        for table in SMALL_TABLES:
            asked = velstat("query", path, f"SELECT * FROM {table}", "--format", "json")
            expected = [row for row in map(json.loads, asked.stdout.splitlines())
                        if table != "state" or not row["report"].startswith("KIP Profile ")]  # those are records
            rows = cluster.rows(f"SELECT * FROM {DATABASE}.{table} WHERE device = '{device}' ORDER BY row")
            assert len(rows) == len(expected), (table, device, len(rows), len(expected))
            for number, (row, wanted) in enumerate(zip(rows, expected)):
                del wanted["source"]
                for key, value in wanted.items():
                    if table == "state" and key == "value" and not isinstance(value, (str, type(None))):
                        assert float(row["value_number"]) == float(value), (table, number, key, value, row)
                    else:
                        assert row[key] == value, (table, device, number, key, value, row[key])
                assert row["row"] == number
    counts = cluster.rows(f"SELECT count() AS n, uniqExact(capture) AS ids FROM {DATABASE}.captures")[0]
    assert counts == {"n": len(captures), "ids": len(captures)}, counts


def check_two_at_once(cluster, folder, truth):
    """Four loaders with the same captures, two of them with lists that overlap and so make other blocks."""
    database = DATABASE + "_at_once"
    make_tables(cluster, database)
    captures = listed(folder)
    lists = []
    for number, part in enumerate((captures[:-5], captures[5:])):
        lists.append(folder / f"part{number}.jsonl")
        lists[-1].write_text("".join(json.dumps({"path": str(path), "device": device}) + "\n" for device, path in part))
    whole = folder / "captures.jsonl"
    loaders = [subprocess.Popen([VELSTAT, *map(str, command(cluster, database, "--list", each))],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=folder)
               for each in (whole, whole, *lists)]
    for loader in loaders:
        _, errors = loader.communicate(timeout=120)
        assert loader.returncode == 0, errors
    for each in lists:  # and again, singly
        load(cluster, database, "--list", each)
    require_equal(found(cluster, database), truth, "four at once")


def check_overlap(cluster, folder):
    """Captures of one device have records in common, which count once, loaded together or in any order."""
    records = subprocess.run([VELSTAT, "generate", "records", "--count", "900", "--seed", "9"], capture_output=True).stdout
    records = [records[at:at + 48] for at in range(0, len(records), 48)]
    paths = []
    for number, part in enumerate((records[:500], records[300:], records[100:400])):
        lines = subprocess.run([VELSTAT, "decode"], input=b"".join(part), capture_output=True).stdout.decode().splitlines()
        path = folder / f"overlap{number}.plist"
        path.write_bytes(plistlib.dumps(lines, fmt=plistlib.FMT_BINARY))
        paths.append(path)
    expected = sums(records)
    assert sums(records_of(*paths)) == expected, "the captures do not make up the records"
    for device, loads in (("together", [paths]), ("one-by-one", [[path] for path in paths]),
                          ("backwards", [[path] for path in reversed(paths)]), ("mixed", [paths[:1], paths])):
        for inputs in loads:
            load(cluster, DATABASE, "--device", device, *inputs)
        actual = found(cluster, DATABASE)[device]
        assert actual == expected, (device, actual, expected)
    # Files of raw records have no records in common with others. Of several, some are read before the captures.
    other = subprocess.run([VELSTAT, "generate", "records", "--count", "80", "--seed", "8"], capture_output=True).stdout
    other = [other[at:at + 48] for at in range(0, len(other), 48)]
    raw = []
    for number in range(8):
        raw.append(folder / f"raw{number}.bin")
        raw[-1].write_bytes(b"".join(other[number * 10:number * 10 + 10]))
    load(cluster, DATABASE, "--device", "beside-raw", paths[0])
    load(cluster, DATABASE, "--device", "beside-raw", *raw, *paths[1:])
    actual = found(cluster, DATABASE)["beside-raw"]
    assert actual == sums(records + other), ("beside raw records", actual, sums(records + other))


def check_kinds(cluster, folder):
    """Raw records keep their repetitions; text, JSON and CSV are inputs like any other."""
    records = subprocess.run([VELSTAT, "generate", "records", "--count", "50", "--seed", "4"], capture_output=True).stdout
    twice = folder / "twice.bin"
    twice.write_bytes(records + records)
    load(cluster, DATABASE, "--device", "raw", twice)
    load(cluster, DATABASE, "--device", "raw", twice)
    assert found(cluster, DATABASE)["raw"] == sums([(records + records)[at:at + 48] for at in range(0, 4800, 48)])
    expected = sums([records[at:at + 48] for at in range(0, 2400, 48)])
    for kind in ("text", "json", "csv"):
        path = folder / f"lines.{kind}"
        path.write_bytes(subprocess.run([VELSTAT, "decode", "--format", kind], input=records, capture_output=True).stdout)
        load(cluster, DATABASE, "--device", kind, path)
        assert found(cluster, DATABASE)[kind] == expected, kind


def check_manifest(cluster, folder):
    """Device, build and lot come from the list, else from the options, else from the manifest."""
    _, path = listed(folder)[0]
    copy = folder / "copy"
    shutil.copytree(path, copy)
    manifest = json.loads((copy / "manifest.json").read_text())
    (copy / "manifest.json").write_text(json.dumps(manifest | {"device id": "own", "build": "b1", "lot": "l1"}))
    load(cluster, DATABASE, copy)
    load(cluster, DATABASE, "--device", "named", "--build", "b2", copy)
    rows = cluster.rows(f"SELECT device, build, lot, input FROM {DATABASE}.captures WHERE input = '{copy}' ORDER BY device")
    assert [(row["device"], row["build"], row["lot"]) for row in rows] == [("named", "b2", "l1"), ("own", "b1", "l1")], rows


def refused(expected, cluster, *arguments, database=DATABASE, to=None, credentials=None, status=1, lines=1, **options):
    line = command(cluster, database, *arguments, to=to)
    if credentials:
        line[line.index("--credentials") + 1] = credentials
    done = velstat(*line, **options)
    assert done.returncode == status and expected in done.stderr, (expected, done)
    assert done.stderr.count("\n") == lines, (expected, done.stderr)
    assert cluster.password not in done.stderr
    return done


def check_bad_inputs(cluster, folder):
    device, path = listed(folder)[0]
    own = ["--device", "bad", path]
    refused("onnect", cluster, *own, to="http://127.0.0.1:1")
    secret = folder / "secret"
    secret.write_text("default\nwrong-password\n")
    secret.chmod(0o600)
    assert "wrong-password" not in refused("does not accept the user and the password", cluster, *own, credentials=secret).stderr
    refused("has no tables of a fleet", cluster, *own, database="not_there")

    # One capture has no device: it is refused, and the others are loaded.
    captures = folder / "some.jsonl"
    other = listed(folder)[1][1]
    captures.write_text(json.dumps({"path": str(path)}) + "\n" + json.dumps({"path": str(other), "device": "good"}) + "\n")
    done = refused("the device's id is not known", cluster, "--list", captures)
    summary = json.loads(done.stdout)
    assert summary["refused"]["captures"] == 1 and summary["written"]["captures"] == 1, summary
    assert "good" in found(cluster, DATABASE)
    refused("No such file", cluster, "--device", "x", folder / "missing")
    for content, expected in ((b'{"device": "x"}\n', "line 1"), (b'{"path": "a"}\n{', "line 2"), (b'[]\n', "is not an object"),
                              (b'{"path": ""}\n', "the path is empty"), (b'{"path": "a", "device": "%s"}\n' % (b"x" * 300), "device")):
        captures.write_bytes(content)
        refused(expected, cluster, "--list", captures)
    refused("control characters", cluster, "--device", "a\tb", path)
    pipe = folder / "pipe"
    os.mkfifo(pipe)
    refused("neither a file nor a folder", cluster, "--device", "x", pipe)
    picture = folder / "picture.png"
    picture.write_bytes(b"\x89PNG\r\n\x1a\n" + bytes(100))
    summary = json.loads(refused("refused: a PNG picture", cluster, "--device", "x", picture).stdout)
    assert summary["refused"]["captures"] == 1 and summary["written"]["captures"] == 0, summary
    spool = folder / "there.spool"
    spool.write_bytes(b"not a spool")
    refused("there is a spool already", cluster, *own, "--spool", spool)
    refused("not a spool", cluster, "--resume", spool)
    refused("No such file", cluster, "--resume", folder / "no.spool")
    assert found(cluster, DATABASE).get("bad") is None


def check_other_tables(cluster, folder):
    """A database of another version, and tables that somebody has changed."""
    _, path = listed(folder)[0]
    database = DATABASE + "_other"
    make_tables(cluster, database)
    for node in cluster.nodes:
        if node["name"].endswith("replica1"): # replicas follow
            cluster.sql(f"ALTER TABLE {database}.log_stored DROP COLUMN level", node["name"])
    refused("has other columns", cluster, "--device", "x", path, database=database)
    for node in cluster.nodes:
        cluster.sql(f"DROP TABLE {database}.schema_version", node["name"])
        cluster.sql(f"CREATE VIEW {database}.schema_version AS SELECT toUInt32(999) AS version, '' AS definition", node["name"])
    refused("another version", cluster, "--device", "x", path, database=database)


def main():
    cluster = Cluster(os.environ["FLEET_CLUSTER"])
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch, "fleet")
        assert velstat("generate", "fleet", "--devices", "16", "--seed", "7", "--out", folder).returncode == 0
        os.chdir(folder)
        truth = truth_of(listed(folder))
        make_tables(cluster, DATABASE)
        check_fleet(cluster, folder, truth)
        check_two_at_once(cluster, folder, truth)
        for check in (check_small_tables, check_overlap, check_kinds, check_manifest, check_bad_inputs,
                      check_other_tables):
            check(cluster, folder)


if __name__ == "__main__":
    sys.exit(main())
