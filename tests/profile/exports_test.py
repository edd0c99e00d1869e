"""Compares what the library exports with the list of its version script: exports_test.py nm library script."""
import re
import subprocess
import sys

nm, library, script = sys.argv[1:]
version, body = re.search(r"([\w.]+) \{\s*global:(.*?)local:", open(script).read(), re.S).groups()
wanted = {f"{name}@@{version}" for name in re.findall(r"(\w+);", body)}
lines = subprocess.run([nm, "-D", "--defined-only", library], check=True, capture_output=True, text=True).stdout
# Absolute symbols are the versions themselves.
exported = {name for kind, name in (line.split()[-2:] for line in lines.splitlines()) if kind != "A"}
if exported != wanted:
    sys.exit(f"missing: {sorted(wanted - exported)}\nunexpected: {sorted(exported - wanted)}")
