"""Kills at random moments: loader, replicas and ZooKeeper die while loads run; then counts and sums equal the truth.

usage: random_kills.py [KILLS [SEED [RECORDS]]]    (3 kills, seed 1, 20000 records of each device)
Each round loads a set of raw records into new devices. Its victim dies at a random moment of the load, is started again,
and the load is resumed from its spool and repeated until it is complete."""

import json
import os
import pathlib
import random
import signal
import subprocess
import sys
import tempfile
import time

from cluster import Cluster
from loading import VELSTAT, command, found, make_tables, require_equal, sums, synchronise, velstat

DATABASE = "kills"
DEVICES = 6
VICTIMS = ("loader", "replica", "zookeeper")


class Rounds:
    def __init__(self, cluster, folder, records, seed):
        self.cluster, self.folder = cluster, folder
        self.random = random.Random(seed)
        self.sums = {}
        for number in range(DEVICES):
            made = subprocess.run([VELSTAT, "generate", "records", "--count", str(records), "--seed", str(number)],
                                  capture_output=True, check=True)
            (folder / f"{number}.bin").write_bytes(made.stdout)
            self.sums[number] = sums(made.stdout)
        self.truth = {}

    def listed(self, name):
        path = self.folder / f"{name}.jsonl"
        path.write_text("".join(json.dumps({"path": f"{number}.bin", "device": f"{name}-{number}"}) + "\n"
                                for number in self.sums))
        self.truth |= {f"{name}-{number}": each for number, each in self.sums.items()}
        return path

    def start(self, *arguments):
        nodes = [argument for node in self.cluster.nodes for argument in ("--to", node["url"])]
        line = command(self.cluster, DATABASE, *arguments)
        at = line.index("--to")
        return subprocess.Popen([VELSTAT, *map(str, line[:at] + nodes + line[at + 2:])], stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True)

    def normal_duration(self):
        begin = time.monotonic()
        loader = self.start("--list", self.listed("undisturbed"))
        _, errors = loader.communicate(timeout=300)
        assert loader.returncode == 0, errors
        return time.monotonic() - begin

    def one(self, number, duration):
        victim = VICTIMS[number % len(VICTIMS)]
        name = f"round{number}"
        moment = self.random.uniform(0, duration)
        spool = self.folder / f"{name}.spool"
        listed = self.listed(name)
        loader = self.start("--list", listed, "--spool", spool, "--patience", "2")
        try:
            loader.wait(timeout=moment)
        except subprocess.TimeoutExpired:
            pass
        server = None
        if victim == "loader":
            loader.send_signal(signal.SIGKILL)
        else:
            server = victim if victim == "zookeeper" else self.random.choice(self.cluster.nodes)["name"]
            self.cluster.kill(server)
        out, errors = loader.communicate(timeout=300)
        if server:
            self.cluster.start(server)
        summary = json.loads(out) if loader.returncode in (0, 1) and out else None
        if summary:
            assert sum(summary[kind]["records"] for kind in ("written", "spooled")) == sum(
                each["records"] for each in self.sums.values()), (name, summary)
        else:
            assert victim != "replica", (name, loader.returncode, errors)
        if spool.exists():
            assert loader.returncode != 0 and summary["spooled"]["captures"] > 0, (name, summary)
            self.until_complete("--resume", spool)
        self.until_complete("--list", listed)
        return f"{server or victim} after {moment:.2f} s, exit status {loader.returncode}, spooled " \
               f"{summary['spooled']['records'] if summary else '-'}"

    def until_complete(self, *arguments):
        done = velstat(*command(self.cluster, DATABASE, *arguments, "--spool", self.folder / "again.spool",
                                "--patience", "60"))
        assert done.returncode == 0, done

    def check(self, about):
        synchronise(self.cluster, DATABASE)
        for node in self.cluster.nodes:
            require_equal(found(self.cluster, DATABASE, node["name"]), self.truth, f"{about}, {node['name']}")


def main():
    kills = int(sys.argv[1]) if len(sys.argv) > 1 else 3
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    records = int(sys.argv[3]) if len(sys.argv) > 3 else 20_000
    with tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        with Cluster() as cluster:
            make_tables(cluster, DATABASE)
            rounds = Rounds(cluster, pathlib.Path(scratch), records, seed)
            duration = rounds.normal_duration()
            for number in range(kills):
                told = rounds.one(number, duration)
                rounds.check(f"round {number}: {told}")
                print(f"round {number}: {told}: counts and sums are right", flush=True)


if __name__ == "__main__":
    sys.exit(main())
