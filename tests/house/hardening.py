#!/usr/bin/env python3
"""Checks that programs and libraries are built so that memory errors are hard to exploit.

usage: hardening.py [--commands compile_commands.json] BUILD-TYPE FOLDER...
Reads every ELF file below the folders. Those that ship, see SHIPPED, must be there, and must call the checks that the
compiler puts in. With --commands, the object files named there are read too, and the sources of the rooms that ship
must be compiled with FORTIFY. Debug builds have no FORTIFY, as it needs optimisation."""

import argparse
import json
import os
import pathlib
import re
import subprocess
import sys

# By file name without the version: whether FORTIFY leaves a trace. It leaves none where the compiler knows both sizes or
# neither, as everywhere in libvelprofile.so.
SHIPPED = {
    "velstat": True,
    "libvelplatform.so": True,
    "libvelprofile.so": False,
    "TavikVELHIDStatistics": True,
}
NOT_SHIPPED = {"bench", "examples", "fuzz", "tests"}
ENDBR64 = b"\xf3\x0f\x1e\xfa"


def readelf(*arguments):
    environment = {**os.environ, "LC_ALL": "C"}
    return subprocess.run(["readelf", "-W", *arguments], check=True, capture_output=True, text=True, env=environment).stdout


def is_elf(path):
    return path.is_file() and not path.is_symlink() and path.open("rb").read(4) == b"\x7fELF"


def search_path_problems(dynamic):
    for name, value in re.findall(r"\((RPATH|RUNPATH)\).*\[(.*)\]", dynamic):
        for element in value.split(":"):
            if not re.match(r"/|\$ORIGIN(/|$)", element):
                yield f"{name} '{value}' makes the loader search the current folder"


def segment_problems(text, dynamic):
    if "GNU_RELRO" not in text:
        yield "no RELRO segment"
    if not re.search(r"\(FLAGS\).*BIND_NOW|\(FLAGS_1\).*\bNOW\b", dynamic):
        yield "not linked with -z now, so that the table of called functions stays writable"
    if "(TEXTREL)" in dynamic:
        yield "relocations change its code"
    stack = re.search(r"GNU_STACK\s+(?:0x\w+\s+){5}([RWE ]{3})", text)
    if not stack or "E" in stack[1]:
        yield "executable stack"
    if re.search(r"LOAD\s+(?:0x\w+\s+){5}RWE", text):
        yield "memory that can be both written and executed"


def kind_problems(text, dynamic):
    if not re.search(r"Type:\s+DYN", text):
        yield "not position-independent"
    elif "INTERP" in text and not re.search(r"\(FLAGS_1\).*\bPIE\b", dynamic):
        yield "an executable that is not marked as PIE"


def exported_functions(text):
    """Names and addresses."""
    for line in text.splitlines():
        parts = line.split()
        if len(parts) > 7 and parts[3] == "FUNC" and parts[6].isdigit():
            yield parts[7], int(parts[1], 16)


def landing_pad_problems(path, text):
    """A file is not marked for indirect branch tracking, as Debian's start-up files are built without it. Our functions
    still have its landing pads."""
    content = path.read_bytes()
    segments = [[int(number, 16) for number in found] for found in re.findall(
        r"LOAD\s+(0x\w+)\s+(0x\w+)\s+0x\w+\s+(0x\w+)", text)]
    for name, address in exported_functions(text):
        offset = next(address - start + at for at, start, size in segments if start <= address < start + size)
        if content[offset:offset + 4] != ENDBR64:
            yield f"the function {name} does not begin with endbr64"


def import_problems(name, text, has_fortify):
    imports = set(re.findall(r"\bUND (\w+)", text))
    if "__stack_chk_fail" not in imports:
        yield "no function protects its stack"
    if has_fortify and SHIPPED[name] and not any(re.fullmatch(r"__\w+_chk", imported) for imported in imports):
        yield "no function of FORTIFY is called"


def file_problems(path, has_fortify):
    text = readelf("-h", "-l", "-d", "-n", "--dyn-syms", str(path))
    dynamic = "\n".join(line for line in text.splitlines() if re.match(r" 0x\w+ \(", line))
    yield from search_path_problems(dynamic)
    yield from segment_problems(text, dynamic)
    yield from kind_problems(text, dynamic)
    if not re.search(r"x86 feature:.*SHSTK", text):
        yield "not marked for shadow stacks"
    name = shipped_name(path)
    if name in SHIPPED:  # the others contain libraries of Debian's
        yield from landing_pad_problems(path, text)
        yield from import_problems(name, text, has_fortify)


def shipped_name(path):
    return re.sub(r"\.so\..*", ".so", path.name)


def command_problems(commands, has_fortify):
    """What the compiler was told, and what each object file says of it."""
    objects = {}
    for entry in json.loads(commands.read_text()):
        path = pathlib.Path(entry["directory"], re.search(r" -o (\S+)", entry["command"])[1])
        if path.suffix == ".o" and path.exists():
            objects[str(path)] = entry
    for path, entry in objects.items():
        room = pathlib.Path(path).relative_to(commands.parent).parts[0]
        fortified = re.search(r" -O[123s] .* -D_FORTIFY_SOURCE=[23] ", entry["command"])
        if has_fortify and room not in NOT_SHIPPED and not fortified:
            yield f"{path}: compiled without FORTIFY"
    notes = readelf("-n", *objects)
    for found in re.split(r"^File: ", notes, flags=re.M)[1:]:
        path = found.partition("\n")[0]
        if not re.search(r"x86 feature:.*IBT.*SHSTK", found):
            yield f"{path}: compiled without -fcf-protection"
    if not objects:
        yield "no object file was found"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--commands", type=lambda path: pathlib.Path(path).resolve())
    parser.add_argument("build_type")
    parser.add_argument("folders", nargs="+", type=pathlib.Path)
    given = parser.parse_args()
    has_fortify = given.build_type != "Debug"
    files = sorted(path for folder in given.folders for path in folder.rglob("*") if is_elf(path))
    problems = [f"{path}: {problem}" for path in files for problem in file_problems(path, has_fortify)]
    missing = SHIPPED.keys() - {shipped_name(path) for path in files}
    problems += [f"{name} was not found" for name in sorted(missing)]
    if given.commands:
        problems += command_problems(given.commands, has_fortify)
    print("\n".join(problems) or f"{len(files)} files, hardened")
    return 1 if problems else 0


sys.exit(main())
