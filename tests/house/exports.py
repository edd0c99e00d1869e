#!/usr/bin/env python3
"""Compares what a shared object exports with its list.

usage: exports.py OBJECT SCRIPT [NAME...]
The linker version script is the list; names given besides it must be the whole of the list. Names bear the version of
their node in the script if it has one. A pattern in the list ("vel::control::*") covers C++ names."""

import fnmatch
import re
import subprocess
import sys


def exported(path):
    lines = subprocess.run(["nm", "-D", "--defined-only", path], check=True, capture_output=True, text=True).stdout
    versions = dict(line.split()[2].partition("@@")[::2] for line in lines.splitlines() if line.split()[1] != "A")
    assert versions, f"{path} exports nothing"
    return versions


def listed(script):
    """The names with their versions, and the patterns for C++ names."""
    text = re.sub(r"/\*.*?\*/|#[^\n]*", "", open(script).read(), flags=re.S)
    blocks = re.findall(r'extern "C\+\+"\s*\{(.*?)\}', text, flags=re.S)
    text = re.sub(r'extern "C\+\+"\s*\{.*?\};', "", text, flags=re.S)
    patterns = [entry.strip().strip('"') for block in blocks for entry in block.split(";") if entry.strip()]
    names = {}
    for version, body in re.findall(r"([\w.]*)\s*\{(.*?)\}", text, flags=re.S):
        exports = body.partition("global:")[2].partition("local:")[0]
        names.update(dict.fromkeys(re.findall(r"[A-Za-z_]\w*", exports), version))
    return names, patterns


def main():
    path, script, *whole = sys.argv[1:]
    names, patterns = listed(script)
    versions = exported(path)
    found = set(versions)
    problems = []
    if whole and names.keys() != set(whole):
        problems.append(f"{script} lists {sorted(names)}, not {sorted(whole)}")
    problems += [f"{path} lacks {name}" for name in sorted(names.keys() - found)]
    problems += [f"{path} exports {name} as version '{versions[name]}', not '{names[name]}'"
                 for name in sorted(found & names.keys()) if versions[name] != names[name]]
    extra = sorted(found - names.keys())
    readable = subprocess.run(["c++filt"], input="\n".join(extra), capture_output=True, text=True).stdout.split("\n")
    for name, text in zip(extra, readable):
        if not any(fnmatch.fnmatchcase(text, pattern) for pattern in patterns):
            problems.append(f"{path} exports {text}, which is not listed")
    print("\n".join(problems) or f"{len(found)} exports, as listed")
    return 1 if problems else 0


sys.exit(main())
