#!/usr/bin/env python3
"""Checks from the includes that every room uses only the rooms that it may, and prints each include that does not.
Of the Python module, the same from its imports."""

import ast
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1]).resolve()

STANDARD = set("""
algorithm any array atomic barrier bit bitset cassert cctype cerrno cfenv cfloat charconv chrono cinttypes climits
clocale cmath compare complex concepts condition_variable csetjmp csignal cstdarg cstddef cstdint cstdio cstdlib cstring
ctime cwchar deque exception execution filesystem format forward_list fstream functional future initializer_list iomanip
ios iosfwd iostream istream iterator latch limits list locale map memory memory_resource mutex new numbers numeric
optional ostream queue random ranges ratio regex scoped_allocator semaphore set shared_mutex source_location span sstream
stack stdexcept stop_token streambuf string string_view system_error thread tuple type_traits typeindex typeinfo
unordered_map unordered_set utility valarray variant vector version
assert.h errno.h float.h inttypes.h limits.h math.h stdarg.h stdbool.h stddef.h stdint.h stdio.h stdlib.h string.h time.h
sys/time.h
""".split())

PLATFORM = {str(p.relative_to(ROOT / "platform/include")) for p in (ROOT / "platform/include").rglob("*.h")}
EDGE = {"profile/profile_description.h"}
READERS = {"control/tally.h"}  # it also reads stores, for rooms that host nothing
# The decoder classes need streams, which the rest of the decoder does without.
DECODERS = {"profile/profile_decoder.h", "profile/KIPLogDecoder.h"}
STREAMS = {"fstream", "iomanip", "ios", "iosfwd", "iostream", "istream", "ostream", "sstream", "streambuf"}


def kind(name):
    """What an included name belongs to."""
    if name in STANDARD:
        return "standard"
    if name in PLATFORM:
        return "platform"
    if name in READERS:
        return "reader"
    if name.startswith("control/"):
        return "control"
    if name.startswith("profile/"):
        return "profile"
    if name.startswith("host/model/"):
        return "model"
    for room in ("formats", "sources", "query", "rules", "fleet", "host", "velstat"):
        if name.startswith(room + "/"):
            return room
    if name in {p.name for p in (ROOT / "TavikVELHIDStatistics").glob("*.h")}:
        return "plug-in"
    if name.startswith(("tests/", "support/", "bench/", "fuzz/")):
        return "tests"
    return "library"


# Room: what it may include beside its own files. "library" stands for everything that is not ours.
ROOMS = [
    ("profile/src/edge", {"standard", "profile", "platform"}),
    ("profile/src/decoders", {"standard", "profile"}),
    ("profile", {"standard", "profile"}),
    ("TavikVELHIDStatistics", {"standard", "profile", "platform", "plug-in"}),
    ("platform/include", {"standard", "platform"}),
    ("platform/control", {"standard", "platform", "control", "reader"}),
    ("platform/src", {"standard", "platform", "control", "reader", "library"}),
    ("report/wasm", {"standard", "profile", "library"}),  # the compiler's header for vectors
    ("synthetic", {"standard", "profile", "synthetic"}),
    ("formats", {"standard", "platform", "formats", "library"}),
    ("sources", {"standard", "formats", "profile", "reader", "sources", "library"}),
    ("query", {"standard", "formats", "sources", "profile", "reader", "query", "library"}),
    ("rules", {"standard", "formats", "sources", "query", "rules", "library"}),
    ("fleet", {"standard", "formats", "sources", "query", "profile", "reader", "fleet", "library"}),
    ("host/model", {"standard", "platform", "formats", "model", "synthetic", "library"}),
    ("host", {"standard", "platform", "control", "reader", "formats", "model", "host", "synthetic", "library"}),
    ("tools", {"standard", "control", "formats", "sources", "query", "rules", "fleet", "model", "host", "profile", "synthetic",
               "velstat", "reader", "library"}),
]

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)

# The Python module: what it may import, at a module's top and inside of functions or for type checkers.
PYTHON = "python/velprofile"
PYTHON_LIBRARIES = {"numpy", "pandas"}
FOR_TYPES = "TYPE_CHECKING"


def imports(node, nested=False):
    """Every imported module below a node, and whether the import runs only when it is needed."""
    for child in ast.iter_child_nodes(node):
        if isinstance(child, ast.Import):
            yield from ((name.name.partition(".")[0], nested) for name in child.names)
        elif isinstance(child, ast.ImportFrom):
            yield "own" if child.level == 1 else (child.module or "").partition(".")[0], nested
        else:
            later = isinstance(child, ast.FunctionDef) or (isinstance(child, ast.If) and ast.unparse(child.test) == FOR_TYPES)
            yield from imports(child, nested or later)


def python_failures():
    sources = sorted((ROOT / PYTHON).glob("**/*"))
    if not any(path.name == "__init__.py" for path in sources):
        yield f"{PYTHON}: is missing"
    for path in sources:
        relative = path.relative_to(ROOT)
        if path.suffix in {".so", ".c", ".cpp", ".pyx"}:
            yield f"{relative}: the module has no compiled part"
        if path.suffix != ".py":
            continue
        tree = ast.parse(path.read_text())
        if not ast.get_docstring(tree):
            yield f"{relative}: does not say what it is for"
        for name, nested in imports(tree):
            if name in PYTHON_LIBRARIES and not nested:
                yield f"{relative}: may import {name} only in the functions that need it"
            elif name not in PYTHON_LIBRARIES | {"own"} | sys.stdlib_module_names:
                yield f"{relative}: may not import {name}"


def main():
    failures = list(python_failures())
    seen = 0
    for room, allowed in ROOMS:
        for path in sorted((ROOT / room).rglob("*")):
            if path.suffix not in {".h", ".cpp", ".c"}:
                continue
            relative = path.relative_to(ROOT)
            if next(r for r, _ in ROOMS if str(relative).startswith(r + "/")) != room:
                continue
            core = room == "profile" and str(relative).removeprefix("profile/include/") not in DECODERS
            edge = room == "profile" and str(relative).removeprefix("profile/include/") in EDGE
            for quote, name in INCLUDE.findall(path.read_text()):
                seen += 1
                if core and name in STREAMS | DECODERS:
                    failures.append(f"{relative}: may not include {name} (streams)")
                if quote == '"' and ((path.parent / name).exists() or (ROOT / room / name).exists()):
                    continue
                if room == "profile/src/decoders" and quote == '"' and (ROOT / "profile/src" / name).exists():
                    continue
                if edge and name in PLATFORM:
                    continue
                if name.startswith("synthetic/"):
                    found = "synthetic"
                else:
                    found = kind(name)
                if found == "library" and quote == '"' and (ROOT / room).joinpath("src", name).exists():
                    continue
                if found not in allowed or (name in EDGE and room in {"profile", "synthetic"}):
                    failures.append(f"{relative}: may not include {name} ({found})")
    print("\n".join(failures) or f"{seen} includes keep to the arrows")
    return 1 if failures or seen < 100 else 0


sys.exit(main())
