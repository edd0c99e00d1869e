#!/usr/bin/python3
"""How fast velstat fleet load writes records, next to the server's own rate for the same rows from a file.

usage: fleet_load_bench.py [--velstat FILE] [--records N] [--rounds N] [--folder DIR] [--replicated]

Starts a cluster of its own (fleet/cluster): one server, or with --replicated two shards of two replicas. The records
come from a fixed seed; after each round counts and sums are compared with those of the file. Loader and servers share
the machine's cores."""

import argparse
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests/fleet"))


def client_seconds(cluster, folder, statement, rows):
    """clickhouse-client with the same rows. The password is in a file."""
    node = cluster.nodes[0]
    configuration = folder / "client.xml"
    configuration.write_text(f"<config><host>127.0.0.1</host><port>{node['tcp']}</port><user>{cluster.user}</user>"
                             f"<password>{cluster.password}</password></config>")
    begin = time.monotonic()
    with open(rows, "rb") as file:
        subprocess.run(["clickhouse-client", "--config-file", configuration, "--query", statement], stdin=file, check=True)
    return time.monotonic() - begin


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--velstat", default=ROOT / "build/release/bin/velstat")
    parser.add_argument("--records", type=int, default=10_000_000)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--folder")
    parser.add_argument("--replicated", action="store_true")
    options = parser.parse_args()
    os.environ["VELSTAT"] = str(options.velstat)
    from cluster import Cluster
    from loading import command, found, make_tables, sums
    shape = {} if options.replicated else {"shards": 1, "replicas": 1}
    with tempfile.TemporaryDirectory(dir=options.folder) as scratch, Cluster(**shape) as cluster:
        folder = pathlib.Path(scratch)
        half = options.records // 2
        truth = {}
        for seed in (1, 2):
            with open(folder / f"{seed}.bin", "wb") as file:
                subprocess.run([options.velstat, "generate", "records", "--count", str(half), "--seed", str(seed)],
                               stdout=file, check=True)
            truth[f"device-{seed}"] = sums((folder / f"{seed}.bin").read_bytes())
        (folder / "list.jsonl").write_text("".join(f'{{"path": "{seed}.bin", "device": "device-{seed}"}}\n' for seed in (1, 2)))
        loads, clients = [], []
        rows = folder / "rows"
        for turn in range(options.rounds):
            make_tables(cluster, f"load{turn}")
            line = command(cluster, f"load{turn}", "--list", folder / "list.jsonl", "--spool", folder / "spool")
            begin = time.monotonic()
            subprocess.run([options.velstat, *map(str, line)], stdout=subprocess.DEVNULL, check=True)
            loads.append(time.monotonic() - begin)
            if (actual := found(cluster, f"load{turn}")) != truth:
                sys.exit(f"wrong records: {actual}, not {truth}")
            if options.replicated:
                continue
            columns = [row["name"] for row in cluster.rows(
                f"SELECT name FROM system.columns WHERE database = 'load{turn}' AND table = 'records_stored'")]
            make_tables(cluster, f"client{turn}")
            if not rows.exists():
                subprocess.run(["curl", "-sS", "--fail", "-K", "-", "-o", rows], text=True, check=True, input=(
                    f'url = "{cluster.url()}/"\nuser = "{cluster.user}:{cluster.password}"\n'
                    f'data = "SELECT {", ".join(columns)} FROM load{turn}.records_stored FORMAT RowBinary"\n'))
            clients.append(client_seconds(cluster, folder, f"INSERT INTO client{turn}.records_stored ({', '.join(columns)}) "
                                                           "FORMAT RowBinary", rows))
            if (actual := found(cluster, f"client{turn}")) != truth:
                sys.exit(f"wrong records of the client: {actual}, not {truth}")
        for node in cluster.nodes:
            for row in cluster.rows("SELECT sum(bytes_on_disk) / sum(rows) AS bytes, sum(rows) AS n FROM system.parts WHERE "
                                    "active AND database = 'load0' AND table = 'records_stored'", node["name"]):
                print(f"{node['name']}: {row['bytes']:.1f} bytes a record on disk, of {row['n']}")
        for name, seconds in (("velstat fleet load", loads), ("clickhouse-client", clients)):
            if seconds:
                middle = statistics.median(seconds)
                print(f"{name}: {2 * half / middle / 1e6:.2f} million records a second "
                      f"({', '.join(f'{each:.1f}' for each in seconds)} s)")
        if clients:
            print(f"loader / client: {100 * statistics.median(clients) / statistics.median(loads):.0f} %")


if __name__ == "__main__":
    main()
