"""A cluster for tests: `with Cluster() as cluster:` starts one of its own, Cluster(os.environ["FLEET_CLUSTER"]) is the one
that all tests of a run share."""

import json
import pathlib
import subprocess
import tempfile
import urllib.error
import urllib.parse
import urllib.request

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "fleet/cluster"


class Refused(Exception):
    """The server's error message."""


class Cluster:
    def __init__(self, folder=None, up=False, **shape):
        """`up`: starts it in that folder. `shape`: shards and replicas."""
        self.temporary = None if folder else tempfile.TemporaryDirectory()
        self.folder = folder or self.temporary.name + "/cluster"
        self.shape = [f"--{name}={value}" for name, value in shape.items()]
        if up:
            self.run("up", *self.shape)
        if folder:
            self.look()

    def __enter__(self):
        self.run("up", *self.shape)
        self.look()
        return self

    def __exit__(self, *_):
        self.run("down")
        self.temporary.cleanup()

    def run(self, command, *arguments):
        done = subprocess.run([SCRIPT, command, "--dir", self.folder, *arguments], capture_output=True, text=True, timeout=120)
        assert done.returncode == 0, f"fleet/cluster {command}: {done.stderr}"
        return done.stdout

    def look(self):
        done = subprocess.run([SCRIPT, "status", "--json", "--dir", self.folder], capture_output=True, text=True, timeout=60)
        self.status = json.loads(done.stdout)
        self.servers = {server["name"]: server for server in self.status["servers"]}
        self.nodes = [server for server in self.status["servers"] if "url" in server]
        self.credentials = self.status["credentials"]
        self.user, self.password = pathlib.Path(self.credentials).read_text().splitlines()

    def url(self, node=None):
        return self.servers[node]["url"] if node else self.nodes[0]["url"]

    def kill(self, server):
        self.run("kill", server)

    def start(self, server):
        self.run("start", server)

    def sql(self, statement, node=None, data=b"", timeout=120, **settings):
        """The answer as text; the first node's if none is named."""
        request = urllib.request.Request(
            f"{self.url(node)}/?{urllib.parse.urlencode({'query': statement, **settings})}", data=data,
            headers={"X-ClickHouse-User": self.user, "X-ClickHouse-Key": self.password})
        try:
            with urllib.request.urlopen(request, timeout=timeout) as reply:
                return reply.read().decode()
        except urllib.error.HTTPError as error:
            raise Refused(error.read().decode()) from None

    def rows(self, statement, node=None, **settings):
        """Dictionaries. Numbers of 64 bits come as numbers, not as text."""
        answer = self.sql(statement + " FORMAT JSONEachRow", node, output_format_json_quote_64bit_integers=0, **settings)
        return [json.loads(line) for line in answer.split("\n") if line]  # a text may contain other line ends
