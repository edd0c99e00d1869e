"""A minimal Debian root for tests: made by mmdebstrap from the mirror that this machine's apt uses, and kept in the
build folder. What is run in it sees no other files, and has a /proc of its own."""

import hashlib
import os
import pathlib
import shutil
import stat
import subprocess
import tempfile
import time

from packing import run

RELEASE = "bookworm"
ARCHIVE = "root.tar"
DAYS_KEPT = 7  # then the mirror may no longer have what the root's apt knows of
# What apt, dpkg and man keep account in.
ACCOUNTS = ("var/lib/dpkg", "var/lib/apt", "var/cache/apt", "var/cache/debconf", "var/cache/ldconfig", "var/cache/man",
            "var/log", "etc/ld.so.cache", "etc/resolv.conf", "tmp", "home", "packages", "proc")
PATH = "/usr/local/bin:/usr/bin:/bin"


class Missing(Exception):
    """What this machine cannot do that these tests need."""


def check_rights():
    if os.geteuid() != 0:
        raise Missing("installing packages in a root of its own needs root")
    if not shutil.which("mmdebstrap"):
        raise Missing("mmdebstrap is missing: cmake/install-packages.sh test")
    probe = subprocess.run(["unshare", "--mount", "--pid", "--fork", "--mount-proc", "true"],
                           stderr=subprocess.PIPE, text=True)
    if probe.returncode != 0:
        raise Missing("a /proc of its own needs the right to mount (in a container --cap-add=SYS_ADMIN): "
                      + probe.stderr.strip())


def mirror():
    """Where apt gets this release from."""
    targets = run("apt-get", "indextargets", "--format", "$(REPO_URI)", "Created-By: Packages", "Origin: Debian",
                  f"Codename: {RELEASE}", "Component: main").decode().split()
    if not targets:
        raise Missing(f"apt has no source for Debian {RELEASE}, or has not read it yet: apt-get update")
    return targets[0]


def prepare(kept):
    """Checks what the root needs, and makes what it is unpacked from, unless that was made in the last days."""
    check_rights()
    archive = pathlib.Path(kept, ARCHIVE)
    if archive.exists() and time.time() - archive.stat().st_mtime < DAYS_KEPT * 24 * 60 * 60:
        return
    with tempfile.TemporaryDirectory() as folder:
        options = pathlib.Path(folder, "options")
        network = [line for line in run("apt-config", "dump", "Acquire").decode().splitlines()
                   if line.startswith(("Acquire::http", "Acquire::Retries"))]  # proxies, among others
        options.write_text("\n".join([*network, 'Acquire::GzipIndexes "true";', ""]))
        made = pathlib.Path(folder, "root.tar")
        done = subprocess.run(["mmdebstrap", "--quiet", "--variant=minbase", "--skip=cleanup/apt/lists",
                               "--dpkgopt=force-unsafe-io", f"--aptopt={options}", RELEASE, made, mirror()],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode != 0:
            why = next((line for line in done.stdout.splitlines() if line.startswith("E: ")), f"status {done.returncode}")
            raise Missing(f"no minimal root, for which Debian's mirror must be reached: {why}")
        archive.parent.mkdir(parents=True, exist_ok=True)
        shutil.move(made, archive)


class CleanRoot:
    def __init__(self, folder, kept):
        """Puts a new root into the folder, from what prepare() keeps."""
        self.kept = pathlib.Path(kept)
        self.path = pathlib.Path(folder)
        run("tar", "--extract", "--file", self.kept / ARCHIVE, "--directory", self.path)
        (self.path / "packages").mkdir()
        shutil.copy("/etc/resolv.conf", self.path / "etc/resolv.conf")
        self.run("useradd", "--create-home", "--shell", "/bin/bash", "user", user="root")

    def command(self, *command, user="user", environment=()):
        """A command line that runs the command in the root, in the user's home."""
        home = "/root" if user == "root" else f"/home/{user}"
        path = f"{PATH}:/usr/sbin:/sbin" if user == "root" else PATH
        settings = {"PATH": path, "HOME": home, "LANG": "C.UTF-8", "TERM": "dumb", "DEBIAN_FRONTEND": "noninteractive"}
        enter = 'mount -t proc proc "$0/proc" && exec chroot --userspec="$1" "$0" /usr/bin/env -i -C "$2" "${@:3}"'
        variables = [f"{name}={value}" for name, value in {**settings, **dict(environment)}.items()]
        return ["unshare", "--mount", "--pid", "--fork", "--kill-child", "bash", "-c", enter, str(self.path),
                user, home, *variables, *map(str, command)]

    def run(self, *command, user="user", expected=(0,), **options):
        """What the command writes."""
        done = subprocess.run(self.command(*command, user=user), capture_output=True, timeout=300, **options)
        if done.returncode not in expected:
            raise AssertionError(f"{' '.join(map(str, command))}: status {done.returncode}\n"
                                 f"{(done.stdout + done.stderr).decode(errors='replace')[-4000:]}")
        return done.stdout

    def apt(self, *arguments):
        """apt-get, as root. What it had to download is kept."""
        cache = self.path / "var/cache/apt/archives"
        archives = self.kept / "archives"
        archives.mkdir(parents=True, exist_ok=True)
        for archive in archives.glob("*.deb"):
            shutil.copy2(archive, cache)
        shown = self.run("apt-get", "--yes", "--quiet", "--no-install-recommends", "-o", "Dpkg::Use-Pty=0", *arguments,
                         user="root")
        for archive in cache.glob("*.deb"):
            if not (archives / archive.name).exists():
                shutil.copy2(archive, archives)
        return shown.decode()

    def files(self):
        """Everything that is in the root, except accounts: what it is, and what it contains."""
        found = {}
        for folder, names, files in os.walk(self.path):
            place = os.path.relpath(folder, self.path)
            names[:] = [name for name in names if os.path.normpath(f"{place}/{name}") not in ACCOUNTS]
            for name in names + files:
                path = os.path.normpath(f"{place}/{name}")
                full = self.path / path
                status = full.lstat()
                if path in ACCOUNTS:
                    continue
                content = os.readlink(full) if full.is_symlink() else ""
                if stat.S_ISREG(status.st_mode):
                    content = hashlib.sha256(full.read_bytes()).hexdigest()
                found[path] = (stat.filemode(status.st_mode), status.st_uid, status.st_gid, content)
        return found
