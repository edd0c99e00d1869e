#!/usr/bin/env python3
"""How long the shipped questions take, and how many bytes a fleet takes on disk.

usage: fleet_questions_bench.py [--velstat FILE] [--devices N] [--records N] [--copies N] [--rounds N] [--replicated]

Starts a cluster of its own (fleet/cluster): one server, or with --replicated two shards of two replicas. A synthetic
fleet is loaded, measured, and then copied inside of the servers under other devices' names: so questions have as much
to do as with so many more devices, but bytes on disk are not those of real ones, as copies compress well. Times are the
fastest of the rounds; processor time is that of all servers, and holds on a busy machine too."""

import argparse
import os
import pathlib
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests/fleet"))
DATABASE = "measured"
QUESTIONS = [["population"], ["fault-rate"], ["fault-builds"], ["latency"], ["latency-change"], ["dropped-events"], ["clients"],
             ["log-breaks"], ["device-timeline", "--device", "unit-000001"], ["similar-devices", "--fault", "actuator-timeout"]]


def processor_seconds(cluster):
    ticks = 0
    for server in cluster.status["servers"]:
        fields = pathlib.Path(f"/proc/{server['pid']}/stat").read_text().rsplit(")", 1)[1].split()
        ticks += int(fields[11]) + int(fields[12])
    return ticks / os.sysconf("SC_CLK_TCK")


def timed(cluster, work):
    processor, begin = processor_seconds(cluster), time.monotonic()
    done = work()
    return time.monotonic() - begin, processor_seconds(cluster) - processor, done


def leaders(cluster):
    """A node of each shard."""
    return {node["shard"]: node["name"] for node in reversed(cluster.nodes)}.values()


def copy(cluster, tables, copies):
    """Device unit-000007 also becomes unit-000007-1 and so on."""
    at_once = 9  # the servers' memory is bounded
    for node in leaders(cluster):
        for table in tables:
            columns = [row["name"] for row in cluster.rows(
                f"SELECT name FROM system.columns WHERE database = '{DATABASE}' AND table = '{table}'", node)]
            values = ", ".join("concat(device, '-', toString(number))" if name == "device" else name for name in columns)
            for first in range(1, copies, at_once):
                cluster.sql(f"INSERT INTO {DATABASE}.{table} ({', '.join(columns)}) SELECT {values} FROM (SELECT * FROM "
                            f"{DATABASE}.{table} WHERE NOT match(device, '-.*-')) CROSS JOIN (SELECT number FROM system.numbers "
                            f"LIMIT {first}, {min(at_once, copies - first)})", node)


def show_sizes(cluster, tables):
    sizes = {}
    for node in leaders(cluster):
        for row in cluster.rows("SELECT table, sum(rows) AS n, sum(bytes_on_disk) AS bytes FROM system.parts WHERE active AND "
                                f"database = '{DATABASE}' GROUP BY table", node):
            rows, size = sizes.get(row["table"], (0, 0))
            sizes[row["table"]] = rows + row["n"], size + row["bytes"]
    records = sizes["records_stored"][0]
    for table in tables:
        rows, size = sizes.get(table, (0, 0))
        print(f"{table:16} {rows:10} rows  {size / records:7.2f} bytes for each record")
    print(f"{'all':16} {'':10}       {sum(size for _, size in sizes.values()) / records:7.2f}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--velstat", default=ROOT / "build/release/bin/velstat")
    parser.add_argument("--devices", type=int, default=1000)
    parser.add_argument("--records", type=int, default=1024)
    parser.add_argument("--copies", type=int, default=1)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--replicated", action="store_true")
    options = parser.parse_args()
    os.environ["VELSTAT"] = str(options.velstat)
    from cluster import Cluster
    from loading import load, make_tables
    shape = {} if options.replicated else {"shards": 1, "replicas": 1}
    with tempfile.TemporaryDirectory() as scratch, Cluster(**shape) as cluster:
        fleet = pathlib.Path(scratch) / "fleet"
        subprocess.run([options.velstat, "generate", "fleet", "--devices", str(options.devices), "--records",
                        str(options.records), "--out", fleet], check=True)
        make_tables(cluster, DATABASE)
        seconds, processor, summary = timed(cluster, lambda: load(cluster, DATABASE, "--list", fleet / "captures.jsonl"))
        records = summary["written"]["records"]
        print(f"loaded {records} records in captures: {seconds:.1f} s, servers' processor time {processor:.1f} s")
        tables = [row["name"] for row in cluster.rows(
            f"SELECT name FROM system.tables WHERE database = '{DATABASE}' AND name LIKE '%\\_stored' ORDER BY name")]
        show_sizes(cluster, tables)
        if options.copies > 1:
            copy(cluster, tables, options.copies)
        number = cluster.rows(f"SELECT count() AS n FROM {DATABASE}.records")[0]["n"]
        if number != records * options.copies:
            sys.exit(f"{number} records instead of {records * options.copies}")
        print(f"{number} records\nquestion            time  processor")
        for question in QUESTIONS:
            command = [options.velstat, "fleet", "ask", *question, "--timeout", "0", "--format", "json", "--database", DATABASE,
                       "--to", cluster.url(), "--credentials", cluster.credentials]
            rounds = []
            for _ in range(options.rounds):
                rounds.append(timed(cluster, lambda: subprocess.run(command, capture_output=True, check=True).stdout))
                if rounds[-1][2] != rounds[0][2] or not rounds[0][2]:
                    sys.exit(f"{question[0]}: no answer, or another one")
            print(f"{question[0]:16} {min(each[0] for each in rounds):6.2f} s {min(each[1] for each in rounds):8.2f} s", flush=True)


if __name__ == "__main__":
    main()
