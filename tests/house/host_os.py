"""Plug-in and decoder need no more of the host OS than docs/host-os.md lists.

usage: host_os.py CLANG ROOT BINARY... : BINARY are the bundle's executable and the decoder's library.

The stand-in headers are those of platform/include without the functions and data that the page does not list. Every
source file has to compile against them, and the binaries have to need all that is listed.
"""

import json
import re
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

CLANG, ROOT, *BINARIES = sys.argv[1], Path(sys.argv[2]), *sys.argv[3:]
HEADERS = ROOT / "platform" / "include"
PAGE = ROOT / "docs" / "host-os.md"
ROOMS = ["TavikVELHIDStatistics", "profile/src"]
FLAGS = ["-fblocks", "-fsyntax-only", "-Werror"]


def documented():
    """Header → names, from the page's rows "| `header.h` | `name`, `name` |"."""
    rows = re.findall(r"^\| `([\w/]+\.h)` \| ([^|]*) \|", PAGE.read_text(), re.MULTILINE)
    assert rows, f"{PAGE}: no rows of headers"
    return {header: set(re.findall(r"`(\w+)`", names)) for header, names in rows}


def declared():
    """Header → [(name, begin, end)]: functions and data, with their place in the header's bytes."""
    names = sorted(str(path.relative_to(HEADERS)) for path in HEADERS.rglob("*.h"))
    with tempfile.NamedTemporaryFile("w", suffix=".c") as all_headers:
        all_headers.writelines(f"#include <{name}>\n" for name in names)
        all_headers.flush()
        tree = subprocess.run([CLANG, "-x", "c", "-std=c11", *FLAGS, "-I", HEADERS, "-Xclang", "-ast-dump=json", all_headers.name],
                              stdout=subprocess.PIPE, check=True).stdout
    found = {name: [] for name in names}
    file = ""

    def place(location):  # a location names its file only where that changes
        nonlocal file
        for part in (location.get("spellingLoc", {}), location.get("expansionLoc", {}), location):
            file = part.get("file", file)
        return location.get("expansionLoc", location)

    def visit(node, isTop):
        place(node.get("loc", {}))
        begin, end = (place(node.get("range", {}).get(side, {})) for side in ("begin", "end"))
        if isTop and node["kind"] in ("FunctionDecl", "VarDecl") and file.startswith(f"{HEADERS}/"):
            found[str(Path(file).relative_to(HEADERS))].append(
                (node["name"], begin["offset"], end["offset"] + end["tokLen"]))
        for inner in node.get("inner", []):
            visit(inner, False)

    for node in json.loads(tree)["inner"]:
        visit(node, True)
    return found


def write_stand_ins(folder, declarations, names):
    for header, places in declarations.items():
        content = (HEADERS / header).read_bytes()
        for name, begin, end in sorted(places, key=lambda place: -place[1]):
            if name not in names.get(header, ()):
                content = content[:begin] + content[content.index(b";", end) + 1:]
        (folder / header).parent.mkdir(parents=True, exist_ok=True)
        (folder / header).write_bytes(content)


def compile_file(source, folder):
    include = [folder, ROOT / "profile" / "include", ROOT / "profile" / "src", ROOT / "TavikVELHIDStatistics"]
    return subprocess.run([CLANG, "-x", "c++", "-std=c++20", *FLAGS, *(f"-I{path}" for path in include), source],
                          stderr=subprocess.PIPE, text=True).stderr


def needed():
    """What the binaries leave to others."""
    return {line.split()[-1] for binary in BINARIES
            for line in subprocess.run(["nm", "-D", "--undefined-only", binary], stdout=subprocess.PIPE, text=True,
                                       check=True).stdout.splitlines()}


def main():
    listed = documented()
    declarations = declared()
    errors = []
    known = {name for places in declarations.values() for name, _, _ in places}
    for header, names in listed.items():
        for name in sorted(names - {name for name, _, _ in declarations.get(header, [])}):
            errors.append(f"{PAGE}: {header} does not declare {name}")
    all_listed = set().union(*listed.values())
    for name in sorted(all_listed - needed()):
        errors.append(f"{PAGE}: lists {name}, which neither plug-in nor decoder needs")
    for name in sorted((known & needed()) - all_listed):
        errors.append(f"{PAGE}: does not list {name}, which plug-in or decoder need")
    sources = [path for room in ROOMS for path in sorted((ROOT / room).rglob("*.cpp"))]
    with tempfile.TemporaryDirectory() as folder, ThreadPoolExecutor(2) as pool:
        write_stand_ins(Path(folder), declarations, listed)
        errors += filter(None, pool.map(lambda source: compile_file(source, Path(folder)), sources))
    print("".join(error.rstrip("\n") + "\n" for error in errors), end="", file=sys.stderr)
    print(f"{len(sources)} files against {len(all_listed)} declarations of {len(listed)} headers")
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
