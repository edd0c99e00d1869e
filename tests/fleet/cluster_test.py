"""The life of fleet/cluster: what it starts, what it leaves behind, what it refuses."""

import json
import os
import pathlib
import signal
import stat
import subprocess
import sys
import tempfile

from cluster import SCRIPT, Cluster, Refused


def script(*arguments):
    return subprocess.run([SCRIPT, *arguments], capture_output=True, text=True, timeout=120)


def processes_of(folder):
    """Of anything whose command line names the folder, except for this test."""
    found = []
    for process in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
        try:
            if os.fsencode(folder) in process.read_bytes() and process.parent.name != str(os.getpid()):
                found.append(process.parent.name)
        except OSError:
            pass
    return found


def refused(expected, *arguments):
    done = script(*arguments)
    assert done.returncode == 1 and expected in done.stderr and done.stderr.count("\n") == 1, (done, expected)


def check_two_at_once_and_nothing_left(first, second):
    for folder in (first, second):
        done = script("up", "--dir", folder, "--shards", "1", "--replicas", "1")
        assert done.returncode == 0 and "http://127.0.0.1:" in done.stdout, done
    clusters = [Cluster(first), Cluster(second)]
    for number, cluster in enumerate(clusters):
        cluster.sql(f"CREATE TABLE t (x UInt8) ENGINE = Memory")
        cluster.sql(f"INSERT INTO t VALUES ({number})")
    assert [cluster.sql("SELECT x FROM t") for cluster in clusters] == ["0\n", "1\n"]

    refused("already runs here", "up", "--dir", first)
    assert stat.S_IMODE(os.stat(clusters[0].credentials).st_mode) == 0o600
    assert stat.S_IMODE(os.stat(first).st_mode) == 0o700

    assert script("down", "--dir", first).returncode == 0
    assert not os.path.exists(first) and not processes_of(first), processes_of(first)
    assert clusters[1].sql("SELECT x FROM t") == "1\n"
    refused("no cluster here", "down", "--dir", first)
    refused("no cluster here", "status", "--dir", first)


def check_password_is_needed(folder):
    cluster = Cluster(folder)
    cluster.password = "wrong"
    try:
        cluster.sql("SELECT 1")
    except Refused as error:
        assert "password" in str(error).lower(), error
    else:
        assert False, "answered without the password"


def check_leftovers_of_a_crash(folder):
    """All servers die, as when the machine does; the next `up` says so and begins anew."""
    for server in Cluster(folder).status["servers"]:
        os.kill(server["pid"], signal.SIGKILL)
    done = script("status", "--dir", folder)
    assert done.returncode == 1 and "stopped" in done.stdout, done
    done = script("up", "--dir", folder, "--shards", "1", "--replicas", "1")
    assert done.returncode == 0 and "removing what an interrupted cluster has left" in done.stderr, done
    try:
        Cluster(folder).sql("SELECT x FROM t")
        assert False, "the old data is still there"
    except Refused as error:
        assert "doesn't exist" in str(error), error
    # `up` itself was killed: servers run, but the cluster was never ready.
    description = pathlib.Path(folder, "cluster.json")
    description.write_text(json.dumps(json.loads(description.read_text()) | {"ready": False}))
    before = processes_of(folder)
    done = script("up", "--dir", folder, "--shards", "1", "--replicas", "1")
    assert done.returncode == 0 and "removing" in done.stderr, done
    assert not set(before) & set(processes_of(folder))
    # A damaged description is still a cluster's, which `down` removes.
    description.write_text("{")
    refused("damaged", "status", "--dir", folder)
    assert script("down", "--dir", folder).returncode == 0
    assert not os.path.exists(folder) and not processes_of(folder), processes_of(folder)


def check_foreign_folders(folder):
    os.mkdir(folder)
    pathlib.Path(folder, "letter").write_text("keep me")
    refused("not empty and not a cluster's folder", "up", "--dir", folder)
    refused("no cluster here", "down", "--dir", folder)
    assert pathlib.Path(folder, "letter").read_text() == "keep me"
    pathlib.Path(folder, "file").write_text("")
    assert script("up", "--dir", folder + "/file").returncode == 1


def check_a_killed_replica_catches_up():
    with Cluster(shards=1, replicas=2) as cluster:
        cluster.sql("CREATE TABLE t ON CLUSTER velstat (x UInt64) "
                    "ENGINE = ReplicatedMergeTree('/clickhouse/tables/{shard}/t', '{replica}') ORDER BY x")
        cluster.kill("shard1-replica2")
        assert script("status", "--dir", cluster.folder).returncode == 1
        cluster.sql("INSERT INTO t SELECT number FROM system.numbers LIMIT 1000")
        cluster.start("shard1-replica2")
        cluster.sql("SYSTEM SYNC REPLICA t", "shard1-replica2", receive_timeout=60)
        assert cluster.sql("SELECT sum(x) FROM t", "shard1-replica2") == "499500\n"
        refused("no server 'shard2-replica1' here", "kill", "--dir", cluster.folder, "shard2-replica1")
        folder = cluster.folder
    assert not processes_of(folder), processes_of(folder)


def main():
    with tempfile.TemporaryDirectory() as scratch:
        first, second = scratch + "/first <&>", scratch + "/second"
        check_foreign_folders(scratch + "/foreign")
        try:
            check_two_at_once_and_nothing_left(first, second)
            check_password_is_needed(second)
            check_leftovers_of_a_crash(second)
        finally:
            for folder in (first, second):
                script("down", "--dir", folder)
    check_a_killed_replica_catches_up()


if __name__ == "__main__":
    sys.exit(main())
