"""velstat fleet load while servers die, vanish, fill up or are slow. After each accident, what was reported as written
is there exactly once, and after --resume everything is.

Accidents happen at a certain INSERT: the loader talks to the nodes through proxies."""

import concurrent.futures
import contextlib
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import threading
import time

from cluster import Cluster
from loading import VELSTAT, command, found, load, make_tables, require_equal, sums, synchronise, velstat
from proxy import Proxy

DATABASE = "failures"
DEVICES = 8
RECORDS = 5000


class Fleet:
    """Raw records of a few devices. A scenario has its own devices, with the same records."""

    def __init__(self, folder):
        self.folder = folder
        self.records = {}
        for number in range(DEVICES):
            made = subprocess.run([VELSTAT, "generate", "records", "--count", str(RECORDS), "--seed", str(number)],
                                  capture_output=True, check=True)
            self.records[number] = made.stdout
            (folder / f"{number}.bin").write_bytes(made.stdout)

    def listed(self, scenario):
        path = self.folder / f"{scenario}.jsonl"
        path.write_text("".join(json.dumps({"path": f"{number}.bin", "device": f"{scenario}-{number}"}) + "\n"
                                for number in self.records))
        return path

    def truth(self, scenario):
        return {f"{scenario}-{number}": sums(records) for number, records in self.records.items()}


def of_scenario(rows, scenario):
    return {device: row for device, row in rows.items() if device.startswith(scenario + "-")}


def require_truth(cluster, fleet, scenario):
    """On every replica, once they have caught up."""
    synchronise(cluster, DATABASE)
    for node in cluster.nodes:
        require_equal(of_scenario(found(cluster, DATABASE, node["name"]), scenario), fleet.truth(scenario),
                      f"{scenario}, {node['name']}")


def require_reported(cluster, summary, scenario):
    """What is reported as written is there, and nothing twice."""
    rows = of_scenario(found(cluster, DATABASE), scenario)
    assert sum(row["records"] for row in rows.values()) == summary["written"]["records"], (scenario, summary, rows)


class Accident:
    """Happens once, at the `at`-th INSERT into the shard's records that any proxy sees."""

    def __init__(self, happen, table="records_stored"):
        self.happen, self.table = happen, table
        self.lock = threading.Lock()
        self.over = False

    def __call__(self, _, table):
        with self.lock:
            if self.over or table != self.table:
                return True
            self.over = True
            return self.happen() is not False


@contextlib.contextmanager
def proxies(cluster, shard, **hooks):
    """Arguments that name all nodes, those of one shard through proxies with these hooks."""
    with contextlib.ExitStack() as stack:
        names = []
        for node in cluster.nodes:
            url = node["url"]
            if node["shard"] == shard:
                url = stack.enter_context(Proxy(url, **hooks)).url
            names += ["--to", url]
        yield names


def run_load(cluster, names, *arguments, status=0):
    line = command(cluster, DATABASE, *arguments)
    at = line.index("--to")
    line[at:at + 2] = names
    done = velstat(*line)
    assert done.returncode == status, done
    return json.loads(done.stdout), done.stderr


def replicas(cluster, shard):
    return [node["name"] for node in cluster.nodes if node["shard"] == shard]


def check_replica_killed(cluster, fleet, moment):
    """The other replica takes over. After: the first one has the block, but no one was told."""
    scenario = f"replica-{moment}"
    victim = replicas(cluster, 1)[0]
    with proxies(cluster, 1, **{moment: Accident(lambda: cluster.kill(victim))}) as names:
        summary, _ = run_load(cluster, names, "--list", fleet.listed(scenario))
    assert summary["written"]["records"] == DEVICES * RECORDS, summary
    cluster.start(victim)
    require_truth(cluster, fleet, scenario)


def check_answer_lost(cluster, fleet):
    """The connection is cut at every table, after the server has the rows."""
    scenario = "cut"
    seen = set()
    lock = threading.Lock()

    def first_of_a_table(_, table):
        with lock:
            return table in seen or bool(seen.add(table))

    with proxies(cluster, 1, after=first_of_a_table) as names:
        run_load(cluster, names, "--list", fleet.listed(scenario))
    assert {"records_stored", "captures_stored", "runs_stored"} <= seen, seen
    require_truth(cluster, fleet, scenario)


def check_shard_down(cluster, fleet):
    """For longer than the loader waits: its rows go to the spool, the other shard's are written."""
    scenario = "shard"
    spool = fleet.folder / "shard.spool"

    def die():
        for name in replicas(cluster, 2):
            cluster.kill(name)

    with proxies(cluster, 2, before=Accident(die)) as names:
        summary, errors = run_load(cluster, names, "--list", fleet.listed(scenario), "--patience", "1", "--spool", spool, status=1)
    assert summary["spooled"]["records"] > 0 and summary["written"]["records"] > 0, summary
    assert summary["spooled"]["records"] + summary["written"]["records"] == DEVICES * RECORDS, summary
    assert str(spool) in errors and errors.count("\n") == 1, errors
    # It is still down: the spool remains as it is.
    before = spool.read_bytes()
    done = velstat(*command(cluster, DATABASE, "--resume", spool, "--patience", "0"))
    assert done.returncode == 1, done
    assert spool.read_bytes() == before and json.loads(done.stdout)["spooled"] == summary["spooled"], done
    for name in replicas(cluster, 2):
        cluster.start(name)
    require_reported(cluster, summary, scenario)
    resumed = load(cluster, DATABASE, "--resume", spool)
    assert resumed["written"] == summary["spooled"] and not spool.exists(), resumed
    require_truth(cluster, fleet, scenario)
    again = load(cluster, DATABASE, "--list", fleet.listed(scenario))
    assert again["already there"]["records"] == DEVICES * RECORDS, again


def check_shard_returns(cluster, fleet):
    """While the loader waits."""
    scenario = "returns"

    def die():
        for name in replicas(cluster, 2):
            cluster.kill(name)
        threading.Thread(target=lambda: [cluster.start(name) for name in replicas(cluster, 2)]).start()

    with proxies(cluster, 2, before=Accident(die)) as names:
        summary, _ = run_load(cluster, names, "--list", fleet.listed(scenario))
    assert summary["written"]["records"] == DEVICES * RECORDS, summary
    require_truth(cluster, fleet, scenario)


def check_zookeeper_down(cluster, fleet):
    """Tables become read-only."""
    scenario = "zookeeper"
    spool = fleet.folder / "zookeeper.spool"
    with proxies(cluster, 1, before=Accident(lambda: cluster.kill("zookeeper"))) as names:
        summary, _ = run_load(cluster, names, "--list", fleet.listed(scenario), "--patience", "1", "--spool", spool, status=1)
    cluster.start("zookeeper")
    resumed = load(cluster, DATABASE, "--resume", spool, "--patience", "60")
    assert resumed["written"] == summary["spooled"], (summary, resumed)
    require_truth(cluster, fleet, scenario)


def check_quorum(cluster, fleet):
    """With --quorum 2 nothing counts as written that only one replica has."""
    scenario = "quorum"
    spool = fleet.folder / "quorum.spool"
    victim, other = replicas(cluster, 1)
    cluster.kill(victim)
    while cluster.sql(f"SELECT max(active_replicas) FROM system.replicas WHERE database = '{DATABASE}'", other) != "1\n":
        time.sleep(0.1)
    summary, errors = run_load(cluster, ["--to", cluster.url(other)], "--list", fleet.listed(scenario), "--quorum", "2",
                               "--patience", "1", "--spool", spool, status=1)
    assert "quorum" in errors and summary["written"]["records"] + summary["spooled"]["records"] == DEVICES * RECORDS, errors
    assert cluster.sql(f"SELECT count() FROM {DATABASE}.records_stored WHERE startsWith(device, 'quorum')", other) == "0\n"
    cluster.start(victim)
    resumed = load(cluster, DATABASE, "--resume", spool, "--quorum", "2")
    assert resumed["written"] == summary["spooled"], (summary, resumed)
    require_truth(cluster, fleet, scenario)


def check_loader_killed(cluster, fleet, table):
    """At the INSERT into this table, which the server still gets. The load is then repeated."""
    scenario = f"loader-{table}"
    listed = fleet.listed(scenario)
    line = command(cluster, DATABASE, "--list", listed)
    at = line.index("--to")
    process = []
    reached = threading.Event()

    def die():
        process[0].send_signal(signal.SIGKILL)
        reached.set()

    with proxies(cluster, 1, before=Accident(die, table)) as names:
        line[at:at + 2] = names
        process.append(subprocess.Popen([VELSTAT, *map(str, line)], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        assert process[0].wait(timeout=60) == -signal.SIGKILL and reached.is_set(), scenario
    load(cluster, DATABASE, "--list", listed)
    require_truth(cluster, fleet, scenario)


def check_other_list_after_a_crash(cluster, fleet, backwards):
    """The loader dies before its captures count as loaded. Another list then packs some of them into other blocks, which
    the tables do not recognise: the rows are there twice until they are merged."""
    scenario = f"other-list-{backwards}"
    listed = fleet.listed(scenario)
    process = []
    with proxies(cluster, 1, before=Accident(lambda: process[0].kill(), "captures_stored")) as names:
        line = command(cluster, DATABASE, "--list", listed)
        at = line.index("--to")
        line[at:at + 2] = names
        process.append(subprocess.Popen([VELSTAT, *map(str, line)], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        assert process[0].wait(timeout=60) == -signal.SIGKILL
    part = fleet.folder / "part.jsonl"
    part.write_text("".join(listed.read_text().splitlines(keepends=True)[::2]))
    nodes = [argument for node in cluster.nodes[::-1 if backwards else 1] for argument in ("--to", node["url"])]
    for each in (part, listed):
        run_load(cluster, nodes, "--list", each)
    require_truth(cluster, fleet, scenario)


def check_slow_server(cluster, fleet):
    scenario = "slow"
    with proxies(cluster, 1, bytes_a_second=4_000_000) as names:
        summary, _ = run_load(cluster, names, "--list", fleet.listed(scenario))
    assert summary["written"]["records"] == DEVICES * RECORDS, summary
    require_truth(cluster, fleet, scenario)


def check_full_disk(fleet):
    """The server's files are on a small disk with a large file, which goes away later."""
    scenario = "disk"
    with tempfile.TemporaryDirectory() as place:
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64m", "tmpfs", place], check=True)
        try:
            cluster = Cluster(place, up=True, shards=1, replicas=1)
            make_tables(cluster, DATABASE)
            filler = pathlib.Path(place, "filler")
            free = os.statvfs(place)
            filler.write_bytes(bytes(free.f_bavail * free.f_frsize - 300_000))
            spool = fleet.folder / "disk.spool"
            done = velstat(*command(cluster, DATABASE, "--list", fleet.listed(scenario), "--patience", "0", "--spool", spool))
            assert done.returncode == 1 and "space" in done.stderr and done.stderr.count("\n") == 1, done
            summary = json.loads(done.stdout)
            require_reported(cluster, summary, scenario)
            filler.unlink()
            resumed = load(cluster, DATABASE, "--resume", spool)
            assert resumed["written"] == summary["spooled"], (summary, resumed)
            require_equal(found(cluster, DATABASE), fleet.truth(scenario), scenario)
            check_answer_lost(cluster, fleet)  # a server without replicas does not know which blocks it has
            cluster.run("down")
        finally:
            subprocess.run(["umount", "-l", place], check=True)


def main():
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch)
        os.chdir(folder)
        fleet = Fleet(folder)

        def with_cluster(*checks):
            with Cluster() as cluster:
                make_tables(cluster, DATABASE)
                for check, *details in checks:
                    check(cluster, fleet, *details)

        # Most of the time is waiting: for sessions to expire, and for servers to come back.
        with concurrent.futures.ThreadPoolExecutor() as threads:
            runs = [
                threads.submit(check_full_disk, fleet),
                threads.submit(with_cluster, (check_slow_server,), (check_answer_lost,),
                               (check_other_list_after_a_crash, False), (check_other_list_after_a_crash, True),
                               (check_replica_killed, "before"), (check_replica_killed, "after"),
                               *((check_loader_killed, table) for table in ("records_stored", "runs_stored", "captures_stored"))),
                threads.submit(with_cluster, (check_shard_down,), (check_quorum,), (check_shard_returns,), (check_zookeeper_down,)),
            ]
            for run in runs:
                run.result()


if __name__ == "__main__":
    sys.exit(main())
